#include "hotpixelfilter.h"

#include "isa.h"
#include "simframe.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>
#include <vector>

namespace sim {

namespace {

constexpr double kRounding = 1e-12;

// Scratch rows of one filtering: column sums padded by the radius on both sides, and
// window sums.
struct HotRows
{
    double* colSum;
    double* colSq;
    double* colN;
    double* sum;
    double* sq;
    double* n;
};

// Marks the pixels of a frame of pixel type T that stand out of their neighbourhood.
//
// The sums of value, square and count over each neighbourhood are taken in two passes
// per row: down the columns of the neighbourhood's rows, then across the window of
// column sums. The column sums are padded with zero counts so that the frame's edges
// clip the window by themselves. Each pixel then takes itself out of its window's sums.
// Every sum is made afresh (no running add and subtract), so that a uniform
// neighbourhood gives its value back and a pixel equal to it is never masked.
//
// With c neighbours of sum s and sum of squares q, the pixel v is hot when
// v > s/c + sigma * sqrt(q/c - (s/c)^2), taken times c to spare the division and the
// square root: d = c*v - s > 0 and d^2 > sigma^2 * (c*q - s^2). It is false for a NaN
// pixel and for a pixel without usable neighbours (d is NaN or 0). What rounding leaves
// of a uniform neighbourhood (a part in 10^12 of the sum, and c*q - s^2 just below 0)
// is not a hot pixel.
#define HOT_INLINE __attribute__((always_inline)) inline

// Adds the row's values and squares to the column sums, or with first, sets the sums to
// them; in a floating-point frame also the counts of usable (finite) values, which an
// integer frame does not need: all its values count. The pointers never overlap: each
// loop has its own stores, which keeps it vectorised.
template <typename T>
HOT_INLINE void addToColumns(const T* __restrict row, double* __restrict sum,
    double* __restrict squares, double* __restrict counts, size_t w, bool first)
{
    for (size_t x = 0; x < w; ++x) {
        double v = double(row[x]);
        if constexpr (std::is_floating_point_v<T>) {
            const bool finite = std::isfinite(v);
            v = finite ? v : 0.0;
            const double c = finite ? 1.0 : 0.0;
            counts[x] = first ? c : counts[x] + c;
        }
        sum[x] = first ? v : sum[x] + v;
        squares[x] = first ? v * v : squares[x] + v * v;
    }
}

// to[x] = the sum of from[x .. x + span - 1], for an odd span of at least 3: three terms
// in the first pass over the row, two in each further one.
HOT_INLINE void windowSums(
    const double* __restrict from, double* __restrict to, size_t w, size_t span)
{
    for (size_t x = 0; x < w; ++x)
        to[x] = from[x] + from[x + 1] + from[x + 2];
    for (size_t k = 3; k + 1 < span; k += 2)
        for (size_t x = 0; x < w; ++x)
            to[x] += from[x + k] + from[x + k + 1];
}

// Masks one row. The pixel's neighbours number counts[x] * rows less itself when it is
// usable.
template <typename T>
HOT_INLINE void maskRow(const T* __restrict row, T* __restrict dst, const double* __restrict sum,
    const double* __restrict squares, const double* __restrict counts, double rows, size_t w,
    double sigma2)
{
    for (size_t x = 0; x < w; ++x) {
        const double value = double(row[x]);
        double self = value;
        double selfCount = 1.0;
        if constexpr (std::is_floating_point_v<T>) {
            const bool finite = std::isfinite(value);
            self = finite ? value : 0.0;
            selfCount = finite ? 1.0 : 0.0;
        }
        const double c = counts[x] * rows - selfCount;
        const double s = sum[x] - self;
        const double q = squares[x] - self * self;
        const double d = c * value - s;
        const double spread = std::max(c * q - s * s, 0.0);
        const bool hot = d > kRounding * std::fabs(s) && d * d > sigma2 * spread;
        dst[x] = hot ? T(0) : row[x];
    }
}

template <typename T>
HOT_INLINE void maskHotRows(const T* in, T* out, unsigned width, unsigned height, int radius,
    double sigma, const HotRows& rows)
{
    constexpr bool floating = std::is_floating_point_v<T>;
    const size_t w = width;
    const int h = int(height);
    const size_t r = size_t(radius);
    const size_t span = 2 * r + 1;
    const size_t padded = w + span - 1;
    std::fill(rows.colSum, rows.colSum + padded, 0.0);
    std::fill(rows.colSq, rows.colSq + padded, 0.0);
    std::fill(rows.colN, rows.colN + padded, 0.0);
    if constexpr (!floating) {
        // Every value counts: a window's count is its width times its height, and the
        // widths, clipped at the edges, are the window sums of a row of ones.
        std::fill(rows.colN + r, rows.colN + r + w, 1.0);
        windowSums(rows.colN, rows.n, w, span);
    }

    for (int y = 0; y < h; ++y) {
        const int y0 = std::max(0, y - radius);
        const int y1 = std::min(h - 1, y + radius);
        for (int ny = y0; ny <= y1; ++ny)
            addToColumns(
                in + size_t(ny) * w, rows.colSum + r, rows.colSq + r, rows.colN + r, w, ny == y0);
        windowSums(rows.colSum, rows.sum, w, span);
        windowSums(rows.colSq, rows.sq, w, span);
        if constexpr (floating)
            windowSums(rows.colN, rows.n, w, span);
        maskRow(in + size_t(y) * w, out + size_t(y) * w, rows.sum, rows.sq, rows.n,
            floating ? 1.0 : double(y1 - y0 + 1), w, sigma * sigma);
    }
}

#define HOT_VARIANT(SUFFIX, ATTR)                                                                  \
    template <typename T>                                                                          \
    ATTR void maskHot##SUFFIX(const T* in, T* out, unsigned width, unsigned height, int radius,    \
        double sigma, const HotRows& rows)                                                         \
    {                                                                                              \
        maskHotRows(in, out, width, height, radius, sigma, rows);                                  \
    }

HOT_VARIANT(Generic, )
#ifdef SIM_ISA_X86
HOT_VARIANT(Avx2, SIM_TARGET_AVX2)
HOT_VARIANT(Avx512, SIM_TARGET_AVX512)
#endif

template <typename T>
void maskHot(const T* in, T* out, unsigned width, unsigned height, int radius, double sigma)
{
    const size_t padded = size_t(width) + 2 * size_t(radius);
    std::vector<double> scratch(3 * padded + 3 * size_t(width));
    double* p = scratch.data();
    const HotRows rows {p, p + padded, p + 2 * padded, p + 3 * padded, p + 3 * padded + width,
        p + 3 * padded + 2 * size_t(width)};
    switch (bestIsa()) {
#ifdef SIM_ISA_X86
    case Isa::Avx512:
        maskHotAvx512(in, out, width, height, radius, sigma, rows);
        return;
    case Isa::Avx2:
        maskHotAvx2(in, out, width, height, radius, sigma, rows);
        return;
#endif
    default:
        maskHotGeneric(in, out, width, height, radius, sigma, rows);
    }
}

} // namespace

HotPixelFilter::HotPixelFilter() : FrameFilter("Hot Pixel Mask")
{
    m_sigma = &params().add("Sigma",
        "A pixel above the mean of its neighbourhood plus this many standard deviations is "
        "masked (set to 0) [0..1000]",
        ov::ParamDouble);
    m_sigma->setRange(0.0, 1000.0);
    m_sigma->assign(5.0);
    m_radius = &params().add("Radius",
        "Half width of the neighbourhood in pixels: 1 is the 3 x 3 square around the pixel, "
        "without the pixel itself [1..10]",
        ov::ParamU8);
    m_radius->setRange(1.0, 10.0);
    m_radius->assign(1.0);
    for (SimParam* p : {m_sigma, m_radius})
        p->setChanged([this](const SimParam& param) { paramChanged(param); });
}

bool HotPixelFilter::compute(const SimFrame& in, SimFrame& out, QString*)
{
    const double sigma = m_sigma->asDouble();
    const int radius = int(m_radius->asInt());
    visitFrameType(in.dataType(), [&](auto zero) {
        using T = decltype(zero);
        maskHot(in.pixels<T>(), out.pixels<T>(), in.width(), in.height(), radius, sigma);
    });
    return true;
}

} // namespace sim
