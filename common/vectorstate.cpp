#include "vectorstate.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>

namespace {

__attribute__((target("avx"))) void zeroUpperAvx()
{
    _mm256_zeroupper();
}

bool cpuHasAvx()
{
    static const bool has = __builtin_cpu_supports("avx");
    return has;
}

} // namespace

void cleanVectorState()
{
    if (cpuHasAvx())
        zeroUpperAvx();
}

#else

void cleanVectorState() { }

#endif
