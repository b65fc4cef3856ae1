#include "qmpxpaintloops.h"

#include "paintbands.h"
#include "qmpxlinearfused.h"
#include "vectorstate.h"

#include "colormap.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

namespace mpxpaint {

RowWalk rowWalk(int angle, unsigned int width, unsigned int height, unsigned int y)
{
    const std::ptrdiff_t w = width;
    const std::ptrdiff_t h = height;
    const std::ptrdiff_t r = y;
    switch (angle) {
    case 90:
        return {(w - 1) * h + r, -h};
    case 180:
        return {(h - r) * w - 1, -1};
    case 270:
        return {h - r - 1, h};
    case -90:
        return {w * h - r - 1, -h};
    case -180:
        return {(h - 1 - r) * w, 1};
    case -270:
        return {r, h};
    case -360:
        return {w * (r + 1) - 1, -1};
    default:
        return {w * r, 1};
    }
}

namespace {

std::atomic<std::size_t> threadedPixelsMinimum {std::size_t(1024) * 1024};
} // namespace

std::size_t threadedPixels()
{
    return threadedPixelsMinimum.load(std::memory_order_relaxed);
}

void setThreadedPixels(std::size_t pixels)
{
    threadedPixelsMinimum.store(pixels, std::memory_order_relaxed);
}

namespace {

// Rows per band handed out to the painting threads: about 16384 pixels, a few
// microseconds of work, so that the two threads end close together.
unsigned int bandRows(const Frame& frame)
{
    return std::max(1u, 16384u / std::max(frame.width, 1u));
}

// Runs rowsFn(first, end) over all rows, shared with the helper thread for large frames.
template <typename RowsFn>
void forRowBands(const Frame& frame, bool threaded, RowsFn rowsFn)
{
    const std::size_t pixels = static_cast<std::size_t>(frame.width) * frame.height;
    static const bool twoCores = std::thread::hardware_concurrency() > 1;
    if (threaded && twoCores && frame.height > 1 && pixels >= threadedPixels()) {
        runBands(frame.height, bandRows(frame), rowsFn);
    } else {
        cleanVectorState();
        rowsFn(0u, frame.height);
    }
}

// Calls pixelFn(dataIndex) -> colour for each pixel of rows [first, end).
template <typename PixelFn>
void forPixels(const Frame& frame, unsigned int first, unsigned int end, PixelFn pixelFn)
{
    for (unsigned int y = first; y < end; ++y) {
        const RowWalk walk = rowWalk(frame.angle, frame.width, frame.height, y);
        std::uint32_t* out = frame.bits + static_cast<std::ptrdiff_t>(y) * frame.wordsPerLine;
        std::ptrdiff_t index = walk.start;
        for (unsigned int x = 0; x < frame.width; ++x, index += walk.stride)
            out[x] = pixelFn(index);
    }
}

bool isMasked(const Frame& frame, std::ptrdiff_t index)
{
    return frame.mask && frame.mask[index] == frame.maskValue;
}

// Table index of a scaled position, saturated to the table; NaN gives 0.
unsigned int tableIndex(double position, unsigned int top)
{
    if (!(position > 0.0))
        return 0;
    return position < static_cast<double>(top) ? static_cast<unsigned int>(position) : top;
}

double log10OrZero(double v)
{
    return v == 0.0 ? 0.0 : std::log10(v);
}

// Colours of the linear loop, addressed by a small index: the table entries
// 0..top, followed by the results of the range tests. Computing one index per
// pixel with selects and reading one colour lets the compiler vectorise the
// arithmetic and keeps the loop free of branches.
struct LinearLut
{
    explicit LinearLut(const Scale& s)
        : colors(s.top + 5u),
          overIndex(s.top + 1),
          underIndex(s.top + 2),
          nanIndex(s.top + 3),
          zeroIndex(s.top + 4)
    {
        std::copy(s.table, s.table + s.top + 1, colors.begin());
        colors[overIndex] = s.over ? s.overColor : s.table[s.top];
        colors[underIndex] = s.under ? s.underColor : s.table[0];
        colors[nanIndex] = colors[overIndex];
        colors[zeroIndex] = 0;
    }
    std::vector<std::uint32_t> colors;
    unsigned int overIndex, underIndex, nanIndex, zeroIndex;
};

constexpr unsigned int chunk = 256;

// Per-frame constants of the linear index computation.
struct LinearConsts
{
    LinearConsts(const Scale& s, const LinearLut& lut, bool log)
        : min(s.min),
          max(s.max),
          divisor(log ? s.logStep : s.step),
          topPos(s.top),
          limitPos(double(s.top) + 1.0),
          overPos(lut.overIndex),
          underPos(lut.underIndex),
          nanPos(lut.nanIndex),
          top(s.top)
    { }
    double min, max, divisor, topPos, limitPos, overPos, underPos, nanPos;
    unsigned int top;
    // The fast way, prepared by prepareFast: null keeps the division.
    FusedLinearFn fused = nullptr;
    FusedLinear fusedConsts;
    // thresholds[r]: the smallest value in the range whose entry is r or more;
    // thresholds[0] is -inf and thresholds[top + 1] is +inf. Empty: no fast way.
    std::vector<double> thresholds;
};

// The rule for a value inside the range.
template <bool Log>
std::int32_t ruleIndex(double v, const LinearConsts& c)
{
    double t;
    if (Log)
        t = log10OrZero(v - c.min) / c.divisor + 0.5;
    else
        t = (v - c.min) / c.divisor + 0.5;
    t = t > 0.0 ? t : 0.0;
    t = t < c.topPos ? t : c.topPos;
    return static_cast<std::int32_t>(t);
}

// Prepares the fast way of the linear (not logarithmic) loop: multiplication by
// the reciprocal of the step, corrected to the rule's entry by one comparison.
//
// The rule's entry grows with the value (subtraction, division, addition and
// truncation all keep the order), so entry r begins at a threshold value, found
// here by walking from an estimate to where the rule changes. The product
// u = (value - min) * (1 / step) + 1 differs from the rule's quotient plus 1/2
// by at most (top + 2) * 2^-51 while the reciprocal is a normal number (whether
// or not the multiplication and addition are fused into one rounding), so with
// r = trunc(u) the rule's entry is r - 1 or r: r exactly when the value reaches
// thresholds[r]. The result is the rule's entry for every value, with no margin.
void prepareFast(LinearConsts& c, const Scale& s, const LinearLut& lut, int maskValue)
{
    const FusedLinearFn fused = fusedLinearFn();
    if (!fused)
        return;
    const double step = s.step;
    if (!(std::isfinite(step) && step >= 0x1p-1021 && step <= 0x1p1020 && s.top >= 1
            && s.top < (1u << 24) && std::isfinite(s.min) && std::isfinite(s.max)))
        return;
    const double infinity = std::numeric_limits<double>::infinity();
    std::vector<double> thresholds(std::size_t(s.top) + 2);
    thresholds[0] = -infinity;
    thresholds[s.top + 1] = infinity;
    for (unsigned int r = 1; r <= s.top; ++r) {
        double v = s.min + (double(r) - 0.5) * step;
        v = std::min(std::max(v, s.min), s.max);
        // The estimate lies a few units in the last place off; give up on an
        // unexpected long walk and keep the division.
        int budget = 4096;
        if (ruleIndex<false>(v, c) >= std::int32_t(r)) {
            while (v > s.min && --budget > 0) {
                const double below = std::nextafter(v, -infinity);
                if (ruleIndex<false>(below, c) < std::int32_t(r))
                    break;
                v = below;
            }
        } else {
            while (--budget > 0) {
                if (v >= s.max) {
                    v = infinity;
                    break;
                }
                v = std::nextafter(v, infinity);
                if (ruleIndex<false>(v, c) >= std::int32_t(r))
                    break;
            }
        }
        if (budget <= 0)
            return;
        thresholds[r] = v;
    }
    c.thresholds = std::move(thresholds);
    FusedLinear& f = c.fusedConsts;
    f.min = s.min;
    f.max = s.max;
    f.reciprocal = 1.0 / step;
    f.limitPos = c.limitPos;
    f.nearWhole = (double(s.top) + 2.0) * 0x1p-44;
    f.thresholds = c.thresholds.data();
    f.colors = lut.colors.data();
    f.overIndex = static_cast<std::int32_t>(lut.overIndex);
    f.underIndex = static_cast<std::int32_t>(lut.underIndex);
    f.nanIndex = static_cast<std::int32_t>(lut.nanIndex);
    f.specialColor = s.specialColor;
    f.maskValue = maskValue;
    c.fused = fused;
}

// Positions in the colour list for n contiguous values by the rule. Written as
// selects on doubles and kept apart from the table reads, so that it vectorises
// (apart from log10).
template <bool Log>
void ruleIndices(const double* __restrict in, std::int32_t* __restrict index, unsigned int n,
    const LinearConsts& c)
{
    const double min = c.min;
    const double max = c.max;
    const double divisor = c.divisor;
    const double topPos = c.topPos;
    const double overPos = c.overPos;
    const double underPos = c.underPos;
    const double nanPos = c.nanPos;
    for (unsigned int i = 0; i < n; ++i) {
        const double v = in[i];
        double t;
        if (Log)
            t = log10OrZero(v - min) / divisor + 0.5;
        else
            t = (v - min) / divisor + 0.5;
        t = t > 0.0 ? t : 0.0;
        t = t < topPos ? t : topPos;
        t = v > max ? overPos : t;
        t = v < min ? underPos : t;
        t = v != v ? nanPos : t; // NaN wins over every other test, even the mask
        index[i] = static_cast<std::int32_t>(t);
    }
}

// One picture row of the linear loop, in blocks: values (and mask bytes) are
// gathered into a contiguous block when the row walks the data backwards or by
// columns, then painted by the fused pass when the fast way is prepared, else
// turned into positions in the colour list by the rule and then into colours.
template <bool Log>
void linearRow(const Frame& frame, const Scale& s, const LinearLut& lut, const LinearConsts& c,
    std::uint32_t* out, RowWalk walk)
{
    const std::ptrdiff_t stride = walk.stride;
    const std::uint32_t* colors = lut.colors.data();
    double gathered[chunk];
    unsigned char gatheredMask[chunk];
    std::int32_t index[chunk];

    for (unsigned int x0 = 0; x0 < frame.width; x0 += chunk) {
        const unsigned int n = std::min(chunk, frame.width - x0);
        const std::ptrdiff_t first = walk.start + static_cast<std::ptrdiff_t>(x0) * stride;
        const double* in = frame.data + first;
        const unsigned char* m = frame.mask ? frame.mask + first : nullptr;
        std::uint32_t* dst = out + x0;
        if (stride != 1) {
            for (unsigned int i = 0; i < n; ++i)
                gathered[i] = in[static_cast<std::ptrdiff_t>(i) * stride];
            in = gathered;
            if (m) {
                for (unsigned int i = 0; i < n; ++i)
                    gatheredMask[i] = m[static_cast<std::ptrdiff_t>(i) * stride];
                m = gatheredMask;
            }
        }
        if (c.fused) {
            c.fused(in, m, dst, n, c.fusedConsts);
            continue;
        }
        ruleIndices<Log>(in, index, n, c);
        if (m) {
            const int maskValue = frame.maskValue;
            const std::int32_t nanIndex = static_cast<std::int32_t>(lut.nanIndex);
            for (unsigned int i = 0; i < n; ++i) {
                const bool masked = m[i] == maskValue && index[i] != nanIndex;
                dst[i] = masked ? s.specialColor : colors[index[i]];
            }
        } else {
            for (unsigned int i = 0; i < n; ++i)
                dst[i] = colors[index[i]];
        }
    }
}

template <bool Log>
void linearRows(const Frame& frame, const Scale& s, const LinearLut& lut, const LinearConsts& c,
    unsigned int first, unsigned int end)
{
    for (unsigned int y = first; y < end; ++y) {
        const RowWalk walk = rowWalk(frame.angle, frame.width, frame.height, y);
        std::uint32_t* out = frame.bits + static_cast<std::ptrdiff_t>(y) * frame.wordsPerLine;
        linearRow<Log>(frame, s, lut, c, out, walk);
    }
}

// An inverted range paints every pixel transparent, except NaN and masked ones.
void invertedRows(const Frame& frame, const LinearLut& lut, std::uint32_t special,
    unsigned int first, unsigned int end)
{
    const double* data = frame.data;
    const std::uint32_t nanColor = lut.colors[lut.nanIndex];
    forPixels(frame, first, end, [&](std::ptrdiff_t i) -> std::uint32_t {
        const double v = data[i];
        if (v != v)
            return nanColor;
        return isMasked(frame, i) ? special : 0u;
    });
}

} // namespace

void paintLinear(const Frame& frame, const Scale& scale)
{
    const LinearLut lut(scale);
    LinearConsts consts(scale, lut, scale.logScale);
    if (!scale.logScale && scale.min < scale.max)
        prepareFast(consts, scale, lut, frame.maskValue);
    const bool inverted = scale.min >= scale.max;
    forRowBands(frame, true, [&](unsigned int first, unsigned int end) {
        if (inverted)
            invertedRows(frame, lut, scale.specialColor, first, end);
        else if (scale.logScale)
            linearRows<true>(frame, scale, lut, consts, first, end);
        else
            linearRows<false>(frame, scale, lut, consts, first, end);
    });
}

void paintGamma(const Frame& frame, const Scale& s)
{
    const std::uint32_t overColor = s.over ? s.overColor : s.table[s.top];
    const std::uint32_t underColor = s.under ? s.underColor : s.table[0];
    const bool inverted = s.min >= s.max;
    forRowBands(frame, true, [&](unsigned int first, unsigned int end) {
        forPixels(frame, first, end, [&](std::ptrdiff_t i) -> std::uint32_t {
            if (isMasked(frame, i))
                return s.specialColor;
            if (inverted)
                return 0u;
            const double value = frame.data[i];
            if (value > s.max)
                return overColor;
            if (value < s.min)
                return underColor;
            const double v = value - s.min;
            const double level = s.logScale ? std::pow(log10OrZero(v) / s.logSpan, s.exponent)
                                            : std::pow(v / s.span, s.exponent);
            return s.table[tableIndex(level * s.top, s.top)];
        });
    });
}

void paintRaw(const Frame& frame, std::uint32_t specialColor)
{
    forRowBands(frame, true, [&](unsigned int first, unsigned int end) {
        forPixels(frame, first, end, [&](std::ptrdiff_t i) -> std::uint32_t {
            if (isMasked(frame, i))
                return specialColor;
            const double v = frame.data[i];
            // Values outside the 64-bit range (and NaN) have no integer: they give 0.
            const bool representable = v > -9223372036854775808.0 && v < 9223372036854775808.0;
            const std::int64_t word = representable ? static_cast<std::int64_t>(v) : 0;
            return static_cast<std::uint32_t>(word) | 0xFF000000u;
        });
    });
}

void paintDecode(
    const Frame& frame, ColorMap* map, double min, double max, std::uint32_t specialColor)
{
    cleanVectorState();
    forPixels(frame, 0, frame.height, [&](std::ptrdiff_t i) -> std::uint32_t {
        if (isMasked(frame, i))
            return specialColor;
        return map->decodeColor(frame.data[i], min, max);
    });
}

} // namespace mpxpaint
