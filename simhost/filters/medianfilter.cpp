#include "medianfilter.h"

#include "isa.h"
#include "simframe.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

namespace sim {

namespace {

template <typename T>
bool isNan(T v)
{
    if constexpr (std::is_floating_point_v<T>)
        return std::isnan(v);
    else
        return false;
}

// The middle of two sorted values lo <= hi, without overflow; integers round half up.
template <typename T>
T middle(T lo, T hi)
{
    if constexpr (std::is_floating_point_v<T>)
        return lo + (hi - lo) / 2;
    else {
        using Wide = std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>;
        const Wide diff = Wide(hi) - Wide(lo);
        return T(Wide(lo) + diff / 2 + diff % 2);
    }
}

// The median of the pixel's neighbourhood as it stands: the edges clipped, NaN left out,
// an even count giving the middle of the two middle values.
template <typename T>
T clippedMedian(const T* in, unsigned width, unsigned height, int x, int y)
{
    const int w = int(width);
    const int h = int(height);
    T window[9];
    int n = 0;
    for (int ny = std::max(0, y - 1); ny <= std::min(h - 1, y + 1); ++ny)
        for (int nx = std::max(0, x - 1); nx <= std::min(w - 1, x + 1); ++nx) {
            const T v = in[size_t(ny) * width + size_t(nx)];
            if (isNan(v))
                continue;
            // Insertion into the sorted window.
            int at = n++;
            while (at > 0 && window[at - 1] > v) {
                window[at] = window[at - 1];
                --at;
            }
            window[at] = v;
        }
    if (n == 0)
        return std::numeric_limits<T>::quiet_NaN();
    if (n % 2)
        return window[n / 2];
    return middle(window[n / 2 - 1], window[n / 2]);
}

#define MEDIAN_INLINE __attribute__((always_inline)) inline

template <typename T>
MEDIAN_INLINE T median3(T a, T b, T c)
{
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// Sorts each column of three rows: lo <= mid <= hi. No pointer overlaps another, which
// keeps the loop vectorised.
template <typename T>
MEDIAN_INLINE void sortColumns(const T* __restrict above, const T* __restrict here,
    const T* __restrict below, T* __restrict lo, T* __restrict mid, T* __restrict hi, size_t w)
{
    for (size_t x = 0; x < w; ++x) {
        const T a = above[x];
        const T b = here[x];
        const T c = below[x];
        const T ab = std::min(a, b);
        const T AB = std::max(a, b);
        lo[x] = std::min(ab, c);
        hi[x] = std::max(AB, c);
        mid[x] = std::max(ab, std::min(AB, c));
    }
}

// The median of nine from three sorted columns: the median of the largest of the
// smallest values, the median of the middle values and the smallest of the largest.
template <typename T>
MEDIAN_INLINE void combineColumns(const T* __restrict lo, const T* __restrict mid,
    const T* __restrict hi, T* __restrict dst, size_t w)
{
    for (size_t x = 1; x + 1 < w; ++x) {
        const T l = std::max(std::max(lo[x - 1], lo[x]), lo[x + 1]);
        const T m = median3(mid[x - 1], mid[x], mid[x + 1]);
        const T u = std::min(std::min(hi[x - 1], hi[x]), hi[x + 1]);
        dst[x] = median3(l, m, u);
    }
}

// Every inner row of a frame at least 3 x 3. The rows' first and last pixels, and in a
// floating-point frame every pixel that has a NaN in its neighbourhood, are made afresh
// from their clipped neighbourhood.
template <typename T>
MEDIAN_INLINE void medianRows(const T* in, T* out, unsigned width, unsigned height, T* columns)
{
    const size_t w = width;
    T* lo = columns;
    T* mid = lo + w;
    T* hi = mid + w;
    for (int y = 1; y + 1 < int(height); ++y) {
        const T* above = in + size_t(y - 1) * w;
        const T* here = in + size_t(y) * w;
        const T* below = in + size_t(y + 1) * w;
        T* dst = out + size_t(y) * w;
        sortColumns(above, here, below, lo, mid, hi, w);
        combineColumns(lo, mid, hi, dst, w);
        const int last = int(w) - 1;
        dst[0] = clippedMedian(in, width, height, 0, y);
        dst[last] = clippedMedian(in, width, height, last, y);
        if constexpr (std::is_floating_point_v<T>) {
            for (int x = 1; x < last; ++x)
                if (isNan(above[x - 1]) || isNan(above[x]) || isNan(above[x + 1])
                    || isNan(here[x - 1]) || isNan(here[x]) || isNan(here[x + 1])
                    || isNan(below[x - 1]) || isNan(below[x]) || isNan(below[x + 1]))
                    dst[x] = clippedMedian(in, width, height, x, y);
        }
    }
}

#define MEDIAN_VARIANT(SUFFIX, ATTR)                                                               \
    template <typename T>                                                                          \
    ATTR void medianRows##SUFFIX(const T* in, T* out, unsigned width, unsigned height, T* columns) \
    {                                                                                              \
        medianRows(in, out, width, height, columns);                                               \
    }

MEDIAN_VARIANT(Generic, )
#ifdef SIM_ISA_X86
MEDIAN_VARIANT(Avx2, SIM_TARGET_AVX2)
MEDIAN_VARIANT(Avx512, SIM_TARGET_AVX512)
#endif

template <typename T>
void median3x3(const T* in, T* out, unsigned width, unsigned height)
{
    const int w = int(width);
    const int h = int(height);
    if (w < 3 || h < 3) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                out[size_t(y) * width + size_t(x)] = clippedMedian(in, width, height, x, y);
        return;
    }
    std::vector<T> columns(3 * size_t(w));
    switch (bestIsa()) {
#ifdef SIM_ISA_X86
    case Isa::Avx512:
        medianRowsAvx512(in, out, width, height, columns.data());
        break;
    case Isa::Avx2:
        medianRowsAvx2(in, out, width, height, columns.data());
        break;
#endif
    default:
        medianRowsGeneric(in, out, width, height, columns.data());
    }
    for (int y : {0, h - 1})
        for (int x = 0; x < w; ++x)
            out[size_t(y) * width + size_t(x)] = clippedMedian(in, width, height, x, y);
}

} // namespace

MedianFilter::MedianFilter() : FrameFilter("Median 3x3") { }

bool MedianFilter::compute(const SimFrame& in, SimFrame& out, QString*)
{
    visitFrameType(in.dataType(), [&](auto zero) {
        using T = decltype(zero);
        median3x3(in.pixels<T>(), out.pixels<T>(), in.width(), in.height());
    });
    return true;
}

} // namespace sim
