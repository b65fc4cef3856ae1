// Small, fast and reproducible random numbers for the simulated instruments.
//
// The generator is a 256-bit xor/shift/rotate generator seeded through a 64-bit mixing
// function, so any seed (0 included) gives a well spread state. Everything here is
// deterministic: the same seed gives the same sequence on every machine.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

namespace sim {

// Mixes a 64-bit value into a well spread one (one step of a Weyl sequence plus two
// multiply/xor-shift rounds); also used to derive seeds from several numbers.
inline uint64_t mix64(uint64_t x)
{
    x += 0x9e3779b97f4a7c15ull;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
    return x ^ (x >> 31);
}

inline uint64_t seedOf(uint64_t a, uint64_t b)
{
    return mix64(mix64(a) ^ (b * 0xd1342543de82ef95ull + 0x632be59bd9b4e019ull));
}

// Natural logarithm for x > 0, good to about 1e-8 relative, without calling the C
// library (whose speed varies a lot with the process state on some systems).
inline double fastLog(double x)
{
    uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    int e = static_cast<int>((bits >> 52) & 0x7ff) - 1023;
    bits = (bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull;
    double m;
    std::memcpy(&m, &bits, sizeof m);
    if (m > 1.4142135623730951) {
        m *= 0.5;
        ++e;
    }
    const double s = (m - 1.0) / (m + 1.0);
    const double s2 = s * s;
    const double series
        = s * (2.0 + s2 * (2.0 / 3.0 + s2 * (2.0 / 5.0 + s2 * (2.0 / 7.0 + s2 * (2.0 / 9.0)))));
    return series + e * 0.6931471805599453;
}

class Rng
{
public:
    explicit Rng(uint64_t seed = 0) { reseed(seed); }

    void reseed(uint64_t seed)
    {
        uint64_t x = seed;
        for (uint64_t& word : m_s) {
            x = mix64(x);
            word = x;
        }
        m_hasSpare = false;
    }

    uint64_t next()
    {
        const uint64_t result = rotl(m_s[1] * 5, 7) * 9;
        const uint64_t t = m_s[1] << 17;
        m_s[2] ^= m_s[0];
        m_s[3] ^= m_s[1];
        m_s[1] ^= m_s[2];
        m_s[0] ^= m_s[3];
        m_s[2] ^= t;
        m_s[3] = rotl(m_s[3], 45);
        return result;
    }

    uint32_t next32() { return static_cast<uint32_t>(next() >> 32); }
    // Uniform in [0, 1).
    double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }
    // Uniform in (0, 1].
    double uniformOpen() { return static_cast<double>((next() >> 11) + 1) * 0x1p-53; }
    // Exponential with mean 1.
    double exponential() { return -fastLog(uniformOpen()); }
    // Integer in [0, n).
    uint32_t below(uint32_t n)
    {
        return static_cast<uint32_t>((static_cast<uint64_t>(next32()) * n) >> 32);
    }
    // Standard normal (polar method; every second call is free).
    double normal()
    {
        if (m_hasSpare) {
            m_hasSpare = false;
            return m_spare;
        }
        double u, v, s;
        do {
            u = 2.0 * uniform() - 1.0;
            v = 2.0 * uniform() - 1.0;
            s = u * u + v * v;
        } while (s >= 1.0 || s == 0.0);
        const double f = std::sqrt(-2.0 * fastLog(s) / s);
        m_spare = v * f;
        m_hasSpare = true;
        return u * f;
    }

private:
    static uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

    uint64_t m_s[4];
    double m_spare = 0.0;
    bool m_hasSpare = false;
};

} // namespace sim
