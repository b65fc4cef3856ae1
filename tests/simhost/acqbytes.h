// Hand-made byte images of the measurement records, written field by field at their
// byte offsets, little-endian, for the acquisition tests.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace acqbytes {

template <size_t N>
void putU32(std::array<unsigned char, N>& b, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        b[at + size_t(i)] = static_cast<unsigned char>(v >> (8 * i));
}

template <size_t N>
void putU64(std::array<unsigned char, N>& b, size_t at, uint64_t v)
{
    for (int i = 0; i < 8; ++i)
        b[at + size_t(i)] = static_cast<unsigned char>(v >> (8 * i));
}

template <size_t N>
void putF64(std::array<unsigned char, N>& b, size_t at, double v)
{
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    putU64(b, at, bits);
}

struct Acq
{
    uint32_t testPulses = 0, count = 1, mode = 0, fileType = 1, fileFlags = 0, spacing = 1;
    double time = 0.0;
    uint8_t integral = 0, refreshDacs = 0, refreshPixCfg = 0;
    const char* output = "";
};

// 43 bytes.
inline std::array<unsigned char, 43> acqRecord(const Acq& a)
{
    std::array<unsigned char, 43> b {};
    b.fill(0xEE); // no field may rely on zeroed padding
    putU32(b, 0, a.testPulses);
    putU32(b, 4, a.count);
    putF64(b, 8, a.time);
    putU32(b, 16, a.mode);
    putU32(b, 20, a.fileType);
    putU32(b, 24, a.fileFlags);
    putU32(b, 28, a.spacing);
    b[32] = a.integral;
    b[33] = a.refreshDacs;
    b[34] = a.refreshPixCfg;
    putU64(b, 35, static_cast<uint64_t>(reinterpret_cast<uintptr_t>(a.output)));
    return b;
}

// 20 bytes; alignas so that the live count can be written atomically by the test.
struct alignas(8) Repeat
{
    std::array<unsigned char, 20> bytes {};
    Repeat(uint32_t count, double delay, uint32_t flags = 0, uint32_t digits = 0)
    {
        putU32(bytes, 0, count);
        putF64(bytes, 4, delay);
        putU32(bytes, 12, flags);
        putU32(bytes, 16, digits);
    }
    void setCount(uint32_t count)
    {
        __atomic_store_n(reinterpret_cast<uint32_t*>(bytes.data()), count, __ATOMIC_RELAXED);
    }
};

// 21 bytes: the Timepix block of the test-pulse record.
inline std::array<unsigned char, 21> tpBlock(
    uint32_t count, double period, double height, uint8_t manual = 0)
{
    std::array<unsigned char, 21> b {};
    putU32(b, 0, count);
    putF64(b, 4, period);
    putF64(b, 12, height);
    b[20] = manual;
    return b;
}

} // namespace acqbytes
