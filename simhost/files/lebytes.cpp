#include "lebytes.h"

#include <array>

namespace sim {

namespace {

template <typename T>
void putLe(std::string* out, T value)
{
    for (size_t i = 0; i < sizeof(T); ++i)
        out->push_back(char((value >> (8 * i)) & 0xFFu));
}

template <typename T>
T getLe(const char* data)
{
    T value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value = T(value | (T(static_cast<unsigned char>(data[i])) << (8 * i)));
    return value;
}

std::array<uint32_t, 256> makeCrcTable()
{
    std::array<uint32_t, 256> table {};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int k = 0; k < 8; ++k)
            c = (c & 1u) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[n] = c;
    }
    return table;
}

} // namespace

void putLe16(std::string* out, uint16_t value)
{
    putLe(out, value);
}

void putLe32(std::string* out, uint32_t value)
{
    putLe(out, value);
}

void putLe64(std::string* out, uint64_t value)
{
    putLe(out, value);
}

uint16_t getLe16(const char* data)
{
    return getLe<uint16_t>(data);
}

uint32_t getLe32(const char* data)
{
    return getLe<uint32_t>(data);
}

uint64_t getLe64(const char* data)
{
    return getLe<uint64_t>(data);
}

uint32_t crc32Of(const char* data, size_t size)
{
    static const std::array<uint32_t, 256> table = makeCrcTable();
    uint32_t c = 0xFFFFFFFFu;
    for (size_t i = 0; i < size; ++i)
        c = table[(c ^ static_cast<unsigned char>(data[i])) & 0xFFu] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

} // namespace sim
