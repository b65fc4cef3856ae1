#include "qmpxlinearfused.h"

#include <atomic>

#if defined(__GNUC__) && defined(__x86_64__)
#define MPXFUSED_X86 1
#include <immintrin.h>
// GCC 12's intrinsic headers start some results from a deliberately undefined
// register (a self-initialised variable), which its flow analysis reports once
// the intrinsics are inlined here.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace mpxpaint {

namespace {

std::atomic<LoopLimit> loopLimit {LoopLimit::Widest};

#ifdef MPXFUSED_X86

// One pixel the same way as the vector passes, for the tails of the AVX2 pass.
__attribute__((always_inline)) inline std::uint32_t fusedPixel(
    double v, const unsigned char* mask, unsigned int i, const FusedLinear& c)
{
    double u = (v - c.min) * c.reciprocal + 1.0;
    u = u > 1.0 ? u : 1.0; // also for NaN
    u = u < c.limitPos ? u : c.limitPos;
    const std::int32_t r = static_cast<std::int32_t>(u);
    std::int32_t k = v >= c.thresholds[r] ? r : r - 1;
    k = v > c.max ? c.overIndex : k;
    k = v < c.min ? c.underIndex : k;
    if (v != v)
        return c.colors[c.nanIndex];
    if (mask && mask[i] == c.maskValue)
        return c.specialColor;
    return c.colors[k];
}

#define MPXFUSED_AVX512 "avx512f,avx512vl,avx512dq,avx512bw,fma"

// Constants of the AVX-512 pass in registers.
struct Avx512Consts
{
    __m512d min, max, reciprocal, half, one, limit, topPos, zero, nearLow, nearHigh;
    __m256i oneI, overI, underI, nanI;
};

// Entries of eight values by the thresholds (see prepareFast): exact for values
// inside the range.
__attribute__((target(MPXFUSED_AVX512), always_inline)) inline __m256i entriesByThresholds(
    __m512d v, const Avx512Consts& k, const double* thresholds)
{
    __m512d u = _mm512_fmadd_pd(_mm512_sub_pd(v, k.min), k.reciprocal, k.one);
    u = _mm512_max_pd(u, k.one); // the second operand for NaN
    u = _mm512_min_pd(u, k.limit);
    const __m256i r = _mm512_cvttpd_epi32(u);
    const __m512d threshold = _mm512_i32gather_pd(r, thresholds, 8);
    const __mmask8 reached = _mm512_cmp_pd_mask(v, threshold, _CMP_GE_OQ);
    return _mm256_mask_sub_epi32(r, static_cast<__mmask8>(~reached), r, k.oneI);
}

// Colour list positions of eight values; lanes outside `lanes` read nothing.
// The rule's quotient plus 1/2 is computed with the reciprocal; it differs from
// the rule's by far less than nearLow, so unless it lies that close to a whole
// number its truncation is the rule's entry. Only then are the thresholds read.
__attribute__((target(MPXFUSED_AVX512), always_inline)) inline __m256i positionsAvx512(
    const double* p, __mmask8 lanes, const Avx512Consts& k, const double* thresholds, __mmask8& nan)
{
    const __m512d v = _mm512_maskz_loadu_pd(lanes, p);
    const __m512d t = _mm512_fmadd_pd(_mm512_sub_pd(v, k.min), k.reciprocal, k.half);
    const __m512d fraction
        = _mm512_sub_pd(t, _mm512_roundscale_pd(t, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC));
    const __mmask8 inRange
        = _mm512_cmp_pd_mask(v, k.min, _CMP_GE_OQ) & _mm512_cmp_pd_mask(v, k.max, _CMP_LE_OQ);
    const __mmask8 near = _mm512_mask_cmp_pd_mask(inRange, fraction, k.nearLow, _CMP_LT_OQ)
        | _mm512_mask_cmp_pd_mask(inRange, fraction, k.nearHigh, _CMP_GT_OQ);
    __m256i e = _mm512_cvttpd_epi32(_mm512_min_pd(_mm512_max_pd(t, k.zero), k.topPos));
    if (near)
        e = entriesByThresholds(v, k, thresholds);
    e = _mm256_mask_mov_epi32(e, _mm512_cmp_pd_mask(v, k.max, _CMP_GT_OQ), k.overI);
    e = _mm256_mask_mov_epi32(e, _mm512_cmp_pd_mask(v, k.min, _CMP_LT_OQ), k.underI);
    nan = _mm512_cmp_pd_mask(v, v, _CMP_UNORD_Q);
    return _mm256_mask_mov_epi32(e, nan, k.nanI);
}

// Sixteen pixels per step: two halves of eight doubles give eight 32-bit positions
// each; one gather reads the sixteen colours. The last step masks its lanes.
__attribute__((target(MPXFUSED_AVX512))) void fusedAvx512(const double* in,
    const unsigned char* mask, std::uint32_t* out, unsigned int n, const FusedLinear& c)
{
    Avx512Consts k;
    k.min = _mm512_set1_pd(c.min);
    k.max = _mm512_set1_pd(c.max);
    k.reciprocal = _mm512_set1_pd(c.reciprocal);
    k.half = _mm512_set1_pd(0.5);
    k.one = _mm512_set1_pd(1.0);
    k.limit = _mm512_set1_pd(c.limitPos);
    k.topPos = _mm512_set1_pd(c.limitPos - 1.0);
    k.zero = _mm512_setzero_pd();
    k.nearLow = _mm512_set1_pd(c.nearWhole);
    k.nearHigh = _mm512_set1_pd(1.0 - c.nearWhole);
    k.oneI = _mm256_set1_epi32(1);
    k.overI = _mm256_set1_epi32(c.overIndex);
    k.underI = _mm256_set1_epi32(c.underIndex);
    k.nanI = _mm256_set1_epi32(c.nanIndex);
    const __m512i special = _mm512_set1_epi32(static_cast<int>(c.specialColor));
    const __m512i maskValue = _mm512_set1_epi32(c.maskValue);
    const double* thresholds = c.thresholds;
    const int* colors = reinterpret_cast<const int*>(c.colors);

    for (unsigned int i = 0; i < n; i += 16) {
        const unsigned int left = n - i;
        const __mmask16 lanes
            = left >= 16 ? __mmask16(0xFFFF) : static_cast<__mmask16>((1u << left) - 1u);
        __mmask8 nanLow, nanHigh;
        const __m256i low
            = positionsAvx512(in + i, static_cast<__mmask8>(lanes), k, thresholds, nanLow);
        // A last step of eight values or fewer loads nothing for its upper half, and
        // its pointer stays inside the values.
        const double* upper = left > 8 ? in + i + 8 : in + i;
        const __m256i high
            = positionsAvx512(upper, static_cast<__mmask8>(lanes >> 8), k, thresholds, nanHigh);
        const __m512i e = _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
        __m512i color = _mm512_i32gather_epi32(e, colors, 4);
        if (mask) {
            const __m512i bytes = _mm512_cvtepu8_epi32(_mm_maskz_loadu_epi8(lanes, mask + i));
            const __mmask16 nan = static_cast<__mmask16>(nanLow | (unsigned(nanHigh) << 8));
            const __mmask16 masked
                = static_cast<__mmask16>(_mm512_cmpeq_epi32_mask(bytes, maskValue) & ~nan);
            color = _mm512_mask_mov_epi32(color, masked, special);
        }
        _mm512_mask_storeu_epi32(out + i, lanes, color);
    }
}

// Constants of the AVX2 pass in registers.
struct Avx2Consts
{
    __m256d min, max, reciprocal, half, one, limit, topPos, zero, nearLow, nearHigh, over, under,
        nan;
};

// Entries of four values by the thresholds, as doubles; exact inside the range.
__attribute__((target("avx2,fma"), always_inline)) inline __m256d entriesByThresholds(
    __m256d v, const Avx2Consts& k, const double* thresholds)
{
    __m256d u = _mm256_fmadd_pd(_mm256_sub_pd(v, k.min), k.reciprocal, k.one);
    u = _mm256_max_pd(u, k.one); // the second operand for NaN
    u = _mm256_min_pd(u, k.limit);
    const __m256d threshold = _mm256_i32gather_pd(thresholds, _mm256_cvttpd_epi32(u), 8);
    const __m256d below = _mm256_cmp_pd(v, threshold, _CMP_NGE_UQ);
    return _mm256_sub_pd(
        _mm256_round_pd(u, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC), _mm256_and_pd(below, k.one));
}

// Colour list positions of four values, selected as doubles and converted once;
// the thresholds are read only near a whole number, as in the AVX-512 pass.
__attribute__((target("avx2,fma"), always_inline)) inline __m128i positionsAvx2(
    const double* p, const Avx2Consts& k, const double* thresholds)
{
    const __m256d v = _mm256_loadu_pd(p);
    const __m256d t = _mm256_fmadd_pd(_mm256_sub_pd(v, k.min), k.reciprocal, k.half);
    const __m256d whole = _mm256_round_pd(t, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
    const __m256d fraction = _mm256_sub_pd(t, whole);
    const __m256d inRange
        = _mm256_and_pd(_mm256_cmp_pd(v, k.min, _CMP_GE_OQ), _mm256_cmp_pd(v, k.max, _CMP_LE_OQ));
    const __m256d near = _mm256_and_pd(inRange,
        _mm256_or_pd(_mm256_cmp_pd(fraction, k.nearLow, _CMP_LT_OQ),
            _mm256_cmp_pd(fraction, k.nearHigh, _CMP_GT_OQ)));
    __m256d e = _mm256_round_pd(
        _mm256_min_pd(_mm256_max_pd(t, k.zero), k.topPos), _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
    if (_mm256_movemask_pd(near))
        e = entriesByThresholds(v, k, thresholds);
    e = _mm256_blendv_pd(e, k.over, _mm256_cmp_pd(v, k.max, _CMP_GT_OQ));
    e = _mm256_blendv_pd(e, k.under, _mm256_cmp_pd(v, k.min, _CMP_LT_OQ));
    e = _mm256_blendv_pd(e, k.nan, _mm256_cmp_pd(v, v, _CMP_UNORD_Q));
    return _mm256_cvttpd_epi32(e);
}

// Eight pixels per step as two halves of four doubles; the selects work on the
// positions as doubles and convert once. The tail goes pixel by pixel.
__attribute__((target("avx2,fma"))) void fusedAvx2(const double* in, const unsigned char* mask,
    std::uint32_t* out, unsigned int n, const FusedLinear& c)
{
    Avx2Consts k;
    k.min = _mm256_set1_pd(c.min);
    k.max = _mm256_set1_pd(c.max);
    k.reciprocal = _mm256_set1_pd(c.reciprocal);
    k.half = _mm256_set1_pd(0.5);
    k.one = _mm256_set1_pd(1.0);
    k.limit = _mm256_set1_pd(c.limitPos);
    k.topPos = _mm256_set1_pd(c.limitPos - 1.0);
    k.zero = _mm256_setzero_pd();
    k.nearLow = _mm256_set1_pd(c.nearWhole);
    k.nearHigh = _mm256_set1_pd(1.0 - c.nearWhole);
    k.over = _mm256_set1_pd(c.overIndex);
    k.under = _mm256_set1_pd(c.underIndex);
    k.nan = _mm256_set1_pd(c.nanIndex);
    const __m256i nanI = _mm256_set1_epi32(c.nanIndex);
    const __m256i special = _mm256_set1_epi32(static_cast<int>(c.specialColor));
    const __m256i maskValue = _mm256_set1_epi32(c.maskValue);
    const double* thresholds = c.thresholds;
    const int* colors = reinterpret_cast<const int*>(c.colors);

    unsigned int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256i e = _mm256_set_m128i(
            positionsAvx2(in + i + 4, k, thresholds), positionsAvx2(in + i, k, thresholds));
        __m256i color = _mm256_i32gather_epi32(colors, e, 4);
        if (mask) {
            const __m256i bytes
                = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(mask + i)));
            const __m256i masked = _mm256_andnot_si256(
                _mm256_cmpeq_epi32(e, nanI), _mm256_cmpeq_epi32(bytes, maskValue));
            color = _mm256_blendv_epi8(color, special, masked);
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), color);
    }
    for (; i < n; ++i)
        out[i] = fusedPixel(in[i], mask, i, c);
}

bool cpuHasAvx2()
{
    static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return has;
}

bool cpuHasAvx512()
{
    static const bool has = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")
        && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw")
        && __builtin_cpu_supports("fma");
    return has;
}

#endif

} // namespace

void setLoopLimit(LoopLimit limit)
{
    loopLimit.store(limit, std::memory_order_relaxed);
}

FusedLinearFn fusedLinearFn()
{
#ifdef MPXFUSED_X86
    const LoopLimit limit = loopLimit.load(std::memory_order_relaxed);
    if (limit == LoopLimit::Widest && cpuHasAvx512())
        return fusedAvx512;
    if (limit != LoopLimit::Division && cpuHasAvx2())
        return fusedAvx2;
#endif
    return nullptr;
}

} // namespace mpxpaint
