// Reads arbitrary text as a matrix of every element type.
#include "fileops.h"
#include "fuzzinput.h"

#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    // First byte: element code (supported or not); second: element count.
    const auto type = static_cast<_DataType>(data[0] % 12);
    const size_t count = data[1];
    const auto path = inputAsFile("readAsciiMatrix", data + 2, size - 2);

    // Exactly `count` doubles' worth of room, with guard bytes after it that
    // must stay untouched whatever the element type.
    constexpr unsigned char guard = 0xA5;
    std::vector<unsigned char> buffer(count * sizeof(double) + 16, guard);
    const int result = readAsciiMatrix(path, type, count, buffer.data());
    FUZZ_CHECK(result == 0 || result == -2 || result == -4);
    const bool supported
        = type == 1 || type == 2 || type == 3 || type == 4 || type == 5 || type == 8 || type == 9;
    FUZZ_CHECK(supported || result == -4);
    FUZZ_CHECK(count > 0 || result != -2);
    for (size_t i = count * sizeof(double); i < buffer.size(); ++i)
        FUZZ_CHECK(buffer[i] == guard);
    return 0;
}
