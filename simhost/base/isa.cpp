#include "isa.h"

#include <algorithm>
#include <atomic>

namespace sim {

namespace {

std::atomic<Isa> cap {Isa::Avx512};

} // namespace

Isa detectedIsa()
{
#ifdef SIM_ISA_X86
    static const Isa best = [] {
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")
            && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw"))
            return Isa::Avx512;
        if (__builtin_cpu_supports("avx2"))
            return Isa::Avx2;
        return Isa::Generic;
    }();
    return best;
#else
    return Isa::Generic;
#endif
}

Isa bestIsa()
{
    return std::min(detectedIsa(), cap.load(std::memory_order_relaxed));
}

void capIsa(Isa isa)
{
    cap.store(isa, std::memory_order_relaxed);
}

} // namespace sim
