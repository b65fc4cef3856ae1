#include "framestats.h"

#include "isa.h"
#include "visitframetype.h"

#include <ovdetector.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

// The loops that pay for wide registers (extremes, histogram positions) are built for
// AVX-512, AVX2 and baseline x86-64 and chosen at run time.

namespace sim::framestats {

namespace {

#define FS_INLINE __attribute__((always_inline)) inline

// ---- extremes -------------------------------------------------------------------------

// Per-lane accumulators; L lanes fill one 512-bit register.
template <typename T>
struct ExtAcc
{
    static constexpr int L = int(64 / sizeof(T));
    T mn[L];
    T mx[L];
    T nz[L];         // unsigned: min of v - 1 (wrapping); int16: min of v with 0 as max; double:
                     // min of the non-zero values
    double zeros[L]; // double: the zeros seen per lane
};

template <typename T>
FS_INLINE void extInit(ExtAcc<T>& a)
{
    for (int k = 0; k < ExtAcc<T>::L; ++k) {
        if constexpr (std::is_floating_point_v<T>) {
            a.mn[k] = std::numeric_limits<T>::infinity();
            a.mx[k] = -std::numeric_limits<T>::infinity();
            a.nz[k] = std::numeric_limits<T>::infinity();
        } else {
            a.mn[k] = std::numeric_limits<T>::max();
            a.mx[k] = std::numeric_limits<T>::lowest();
            a.nz[k] = std::numeric_limits<T>::max();
        }
        a.zeros[k] = 0.0;
    }
}

template <typename T>
FS_INLINE void extStep(ExtAcc<T>& a, int k, T v)
{
    // v < m ? v : m keeps the accumulator for NaN, as std::min(m, v) does.
    a.mn[k] = v < a.mn[k] ? v : a.mn[k];
    a.mx[k] = v > a.mx[k] ? v : a.mx[k];
    if constexpr (std::is_floating_point_v<T>) {
        const T c = v != T(0) ? v : std::numeric_limits<T>::infinity();
        a.nz[k] = c < a.nz[k] ? c : a.nz[k];
        a.zeros[k] += v == T(0) ? 1.0 : 0.0;
    } else if constexpr (std::is_unsigned_v<T>) {
        const T d = T(v - T(1));
        a.nz[k] = d < a.nz[k] ? d : a.nz[k];
    } else {
        const T c = v != T(0) ? v : std::numeric_limits<T>::max();
        a.nz[k] = c < a.nz[k] ? c : a.nz[k];
    }
}

template <typename T>
FS_INLINE void extRun(const T* __restrict p, size_t n, ExtAcc<T>& a)
{
    constexpr int L = ExtAcc<T>::L;
    size_t i = 0;
    for (; i + L <= n; i += L)
        for (int k = 0; k < L; ++k)
            extStep(a, k, p[i + size_t(k)]);
    for (; i < n; ++i)
        extStep(a, 0, p[i]);
}

template <typename T>
FS_INLINE void extSpans(const void* px, const Span* spans, size_t count, ExtAcc<T>& a)
{
    const T* p = static_cast<const T*>(px);
    for (size_t s = 0; s < count; ++s)
        extRun(p + spans[s].begin, spans[s].count, a);
}

// ---- histogram positions --------------------------------------------------------------

struct HistConsts
{
    double min;
    double max;
    double width;
    double bins;
    bool flat; // width not > 0: every counted pixel goes to bin 0
};

// Slot per pixel: 0 for a pixel that is not counted, else its bin + 1.
template <typename T>
FS_INLINE void histSlots(
    const T* __restrict p, size_t n, int32_t* __restrict slot, const HistConsts& c)
{
    const double min = c.min;
    const double max = c.max;
    const double width = c.width;
    const double bins = c.bins;
    const double last = bins - 1.0;
    for (size_t i = 0; i < n; ++i) {
        const double v = static_cast<double>(p[i]);
        double t = (v - min) / width * bins;
        // int(t) >= bins becomes the last bin; so does a NaN position (an infinite
        // width), which int() would not define.
        t = t < bins ? t : last;
        t = c.flat ? 0.0 : t;
        t = ((v >= min) & (v <= max)) ? t : -1.0;
        slot[i] = static_cast<int32_t>(t) + 1;
    }
}

constexpr size_t kBlock = 1024;

template <typename T>
FS_INLINE void histSpans(const void* px, const Span* spans, size_t count, const HistConsts& c,
    uint32_t* counts, size_t stride)
{
    // counts holds four tables of stride entries (slot 0 included), used in turn so
    // that runs of equal values do not wait on each other's increments.
    const T* p = static_cast<const T*>(px);
    int32_t slot[kBlock];
    uint32_t* c0 = counts;
    uint32_t* c1 = counts + stride;
    uint32_t* c2 = counts + 2 * stride;
    uint32_t* c3 = counts + 3 * stride;
    for (size_t s = 0; s < count; ++s) {
        const T* q = p + spans[s].begin;
        size_t left = spans[s].count;
        while (left > 0) {
            const size_t n = std::min(left, kBlock);
            histSlots(q, n, slot, c);
            size_t i = 0;
            for (; i + 4 <= n; i += 4) {
                ++c0[slot[i]];
                ++c1[slot[i + 1]];
                ++c2[slot[i + 2]];
                ++c3[slot[i + 3]];
            }
            for (; i < n; ++i)
                ++c0[slot[i]];
            q += n;
            left -= n;
        }
    }
}

// ---- instantiations per instruction set -----------------------------------------------

#define FS_VARIANTS(SUFFIX, ATTR)                                                                  \
    template <typename T>                                                                          \
    ATTR void extremes##SUFFIX(const void* px, const Span* spans, size_t n, ExtAcc<T>& a)          \
    {                                                                                              \
        extSpans<T>(px, spans, n, a);                                                              \
    }                                                                                              \
    template <typename T>                                                                          \
    ATTR void hist##SUFFIX(const void* px, const Span* spans, size_t n, const HistConsts& c,       \
        uint32_t* counts, size_t stride)                                                           \
    {                                                                                              \
        histSpans<T>(px, spans, n, c, counts, stride);                                             \
    }

FS_VARIANTS(Generic, )
#ifdef SIM_ISA_X86
FS_VARIANTS(Avx2, SIM_TARGET_AVX2)
FS_VARIANTS(Avx512, SIM_TARGET_AVX512)
#endif

template <typename T>
void runExtremes(const void* px, const std::vector<Span>& spans, ExtAcc<T>& a)
{
    switch (bestIsa()) {
#ifdef SIM_ISA_X86
    case Isa::Avx512:
        extremesAvx512<T>(px, spans.data(), spans.size(), a);
        return;
    case Isa::Avx2:
        extremesAvx2<T>(px, spans.data(), spans.size(), a);
        return;
#endif
    default:
        extremesGeneric<T>(px, spans.data(), spans.size(), a);
    }
}

template <typename T>
void runHist(const void* px, const std::vector<Span>& spans, const HistConsts& c, uint32_t* counts,
    size_t stride)
{
    switch (bestIsa()) {
#ifdef SIM_ISA_X86
    case Isa::Avx512:
        histAvx512<T>(px, spans.data(), spans.size(), c, counts, stride);
        return;
    case Isa::Avx2:
        histAvx2<T>(px, spans.data(), spans.size(), c, counts, stride);
        return;
#endif
    default:
        histGeneric<T>(px, spans.data(), spans.size(), c, counts, stride);
    }
}

// The value of the first pixel of the region that equals 0 (0.0 or -0.0): the sign of
// a zero minimum or maximum is that of the first zero visited.
double firstZero(const double* p, const std::vector<Span>& spans)
{
    for (const Span& s : spans)
        for (size_t i = s.begin; i < s.begin + s.count; ++i)
            if (p[i] == 0.0)
                return p[i];
    return 0.0;
}

template <typename T>
Extremes extremesOf(const void* px, const std::vector<Span>& spans)
{
    Extremes e;
    for (const Span& s : spans)
        e.count += s.count;
    if (e.count == 0)
        return e;
    ExtAcc<T> a;
    extInit(a);
    runExtremes<T>(px, spans, a);
    T mn = a.mn[0];
    T mx = a.mx[0];
    T nz = a.nz[0];
    double zeros = a.zeros[0];
    for (int k = 1; k < ExtAcc<T>::L; ++k) {
        mn = a.mn[k] < mn ? a.mn[k] : mn;
        mx = a.mx[k] > mx ? a.mx[k] : mx;
        nz = a.nz[k] < nz ? a.nz[k] : nz;
        zeros += a.zeros[k];
    }
    e.min = static_cast<double>(mn);
    e.max = static_cast<double>(mx);
    if constexpr (std::is_floating_point_v<T>) {
        const double* p = static_cast<const double*>(px);
        if (e.min == 0.0 || e.max == 0.0) {
            const double zero = firstZero(p, spans);
            if (e.min == 0.0)
                e.min = zero;
            if (e.max == 0.0)
                e.max = zero;
        }
        e.hasNonZero = zeros < static_cast<double>(e.count);
        // Only NaN besides zeros: non-zero, yet no smallest non-zero value.
        e.minNonZero = e.hasNonZero ? nz : 0.0;
    } else if constexpr (std::is_unsigned_v<T>) {
        e.hasNonZero = nz != std::numeric_limits<T>::max();
        e.minNonZero = e.hasNonZero ? static_cast<double>(T(nz + T(1))) : 0.0;
        e.umin = mn;
        e.umax = mx;
    } else {
        e.hasNonZero = nz != std::numeric_limits<T>::max() || mx == std::numeric_limits<T>::max();
        e.minNonZero = e.hasNonZero ? static_cast<double>(nz) : 0.0;
        e.smin = mn;
        e.smax = mx;
    }
    return e;
}

constexpr double kExact = 9007199254740992.0; // 2^53: integers up to it are doubles

template <typename T>
double sequentialTotal(const T* p, const std::vector<Span>& spans)
{
    double sum = 0.0;
    for (const Span& s : spans)
        for (size_t i = s.begin; i < s.begin + s.count; ++i)
            sum += static_cast<double>(p[i]);
    return sum;
}

template <typename T>
double totalOf(const void* px, const std::vector<Span>& spans)
{
    const T* p = static_cast<const T*>(px);
    // Integer pixels are added exactly; while no partial sum passes 2^53 the plain
    // double additions are exact too and give the same number.
    if constexpr (std::is_same_v<T, int16_t>) {
        // |partial sum| <= 2^15 * 2^32 pixels: always exact.
        int64_t sum = 0;
        for (const Span& s : spans)
            for (size_t i = s.begin; i < s.begin + s.count; ++i)
                sum += p[i];
        return static_cast<double>(sum);
    } else if constexpr (std::is_same_v<T, uint32_t>) {
        uint64_t sum = 0; // < 2^32 pixels * 2^32: no overflow
        for (const Span& s : spans)
            for (size_t i = s.begin; i < s.begin + s.count; ++i)
                sum += p[i];
        if (static_cast<double>(sum) <= kExact)
            return static_cast<double>(sum);
        return sequentialTotal(p, spans);
    } else if constexpr (std::is_same_v<T, uint64_t>) {
        uint64_t hi = 0;
        uint64_t lo = 0;
        for (const Span& s : spans)
            for (size_t i = s.begin; i < s.begin + s.count; ++i) {
                hi += p[i] >> 32;
                lo += p[i] & 0xffffffffu;
            }
        // Pixels are not negative, so a total of at most 2^53 bounds every partial sum.
        const uint64_t loHi = lo >> 32;
        if (hi + loHi < (uint64_t(1) << 21) && hi + loHi >= hi) {
            const uint64_t sum = ((hi + loHi) << 32) + (lo & 0xffffffffu);
            if (sum <= (uint64_t(1) << 53))
                return static_cast<double>(sum);
        }
        return sequentialTotal(p, spans);
    } else {
        return sequentialTotal(p, spans);
    }
}

} // namespace

Extremes extremes(int dataType, const void* pixels, const std::vector<Span>& spans)
{
    return visitFrameType(dataType, [&](auto t) { return extremesOf<decltype(t)>(pixels, spans); });
}

double total(int dataType, const void* pixels, const std::vector<Span>& spans)
{
    return visitFrameType(dataType, [&](auto t) { return totalOf<decltype(t)>(pixels, spans); });
}

size_t nonZeroCount(int dataType, const void* pixels, const std::vector<Span>& spans)
{
    return visitFrameType(dataType, [&](auto t) {
        using T = decltype(t);
        const T* p = static_cast<const T*>(pixels);
        size_t n = 0;
        for (const Span& s : spans)
            for (size_t i = s.begin; i < s.begin + s.count; ++i)
                n += p[i] != T(0) ? 1 : 0; // NaN != 0 holds
        return n;
    });
}

double squaredDeviations(
    int dataType, const void* pixels, const std::vector<Span>& spans, double mean)
{
    return visitFrameType(dataType, [&](auto t) {
        using T = decltype(t);
        const T* p = static_cast<const T*>(pixels);
        double acc = 0.0;
        for (const Span& s : spans)
            for (size_t i = s.begin; i < s.begin + s.count; ++i) {
                const double d = static_cast<double>(p[i]) - mean;
                acc += d * d;
            }
        return acc;
    });
}

size_t histogram(int dataType, const void* pixels, const std::vector<Span>& spans, int bins,
    double min, double max, const Extremes& ext, double* out)
{
    std::fill(out, out + bins, 0.0);
    if (ext.count == 0)
        return 0;
    const double width = max - min;
    const double dbins = static_cast<double>(bins);
    auto binOf = [&](double v) {
        if (!(width > 0.0))
            return 0;
        const double t = (v - min) / width * dbins;
        return t < dbins ? static_cast<int>(t) : bins - 1;
    };
    return visitFrameType(dataType, [&](auto t) -> size_t {
        using T = decltype(t);
        const T* p = static_cast<const T*>(pixels);
        if constexpr (std::is_integral_v<T>) {
            // Few distinct values: count each value, then place the values in bins
            // with the rule itself.
            uint64_t range = 0;
            if constexpr (std::is_signed_v<T>)
                range = uint64_t(ext.smax - ext.smin);
            else
                range = ext.umax - ext.umin;
            if (range < 65536 && range <= 4 * ext.count + 4096 && ext.count <= 0xffffffffu) {
                // Two tables used in turn, so that runs of equal values do not wait
                // on each other's increments.
                const size_t stride = size_t(range) + 1;
                std::vector<uint32_t> perValue(2 * stride, 0);
                uint32_t* c = perValue.data();
                uint32_t* c1 = c + stride;
                for (const Span& s : spans) {
                    const T* q = p + s.begin;
                    const size_t n = s.count;
                    size_t i = 0;
                    if constexpr (std::is_signed_v<T>) {
                        const int32_t base = int32_t(ext.smin);
                        for (; i + 2 <= n; i += 2) {
                            ++c[int32_t(q[i]) - base];
                            ++c1[int32_t(q[i + 1]) - base];
                        }
                        for (; i < n; ++i)
                            ++c[int32_t(q[i]) - base];
                    } else {
                        const T base = T(ext.umin);
                        for (; i + 2 <= n; i += 2) {
                            ++c[size_t(q[i] - base)];
                            ++c1[size_t(q[i + 1] - base)];
                        }
                        for (; i < n; ++i)
                            ++c[size_t(q[i] - base)];
                    }
                }
                for (size_t k = 0; k < stride; ++k)
                    c[k] += c1[k];
                size_t counted = 0;
                for (size_t k = 0; k <= range; ++k) {
                    if (!c[k])
                        continue;
                    double v;
                    if constexpr (std::is_signed_v<T>)
                        v = static_cast<double>(T(ext.smin + int64_t(k)));
                    else
                        v = static_cast<double>(T(ext.umin + k));
                    if (!(v >= min && v <= max))
                        continue;
                    out[binOf(v)] += static_cast<double>(c[k]);
                    counted += c[k];
                }
                return counted;
            }
        }
        HistConsts hc {min, max, width, dbins, !(width > 0.0)};
        const size_t stride = size_t(bins) + 1;
        std::vector<uint32_t> counts(4 * stride, 0);
        runHist<T>(pixels, spans, hc, counts.data(), stride);
        size_t counted = 0;
        for (int b = 0; b < bins; ++b) {
            const size_t i = size_t(b) + 1;
            const uint64_t n = uint64_t(counts[i]) + counts[stride + i] + counts[2 * stride + i]
                + counts[3 * stride + i];
            out[b] = static_cast<double>(n);
            counted += n;
        }
        return counted;
    });
}

} // namespace sim::framestats
