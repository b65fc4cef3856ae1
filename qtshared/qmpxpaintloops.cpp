#include "qmpxpaintloops.h"

#include "colormap.h"

#include <algorithm>
#include <atomic>
#include <cmath>
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

// Runs rowsFn(first, end) over all rows, split between two threads for large frames.
template <typename RowsFn>
void forRowBands(const Frame& frame, bool threaded, RowsFn rowsFn)
{
    const std::size_t pixels = static_cast<std::size_t>(frame.width) * frame.height;
    if (threaded && frame.height > 1 && pixels >= threadedPixels()
        && std::thread::hardware_concurrency() > 1) {
        const unsigned int middle = frame.height / 2;
        std::thread helper([&rowsFn, middle] { rowsFn(0u, middle); });
        rowsFn(middle, frame.height);
        helper.join();
    } else {
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

// Positions in the colour list for n contiguous values. Written as selects on
// doubles and kept apart from the table reads, so that it vectorises.
template <bool Log>
void linearIndices(const double* __restrict in, std::int32_t* __restrict index, unsigned int n,
    const Scale& s, const LinearLut& lut)
{
    const double min = s.min;
    const double max = s.max;
    const double divisor = Log ? s.logStep : s.step;
    const double topPos = static_cast<double>(s.top);
    const double overPos = lut.overIndex;
    const double underPos = lut.underIndex;
    const double nanPos = lut.nanIndex;
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

// One picture row of the linear loop, in blocks: values are gathered into a
// contiguous block when the row walks the data backwards or by columns, turned
// into positions, then into colours.
template <bool Log>
void linearRow(
    const Frame& frame, const Scale& s, const LinearLut& lut, std::uint32_t* out, RowWalk walk)
{
    const std::ptrdiff_t stride = walk.stride;
    const std::uint32_t* colors = lut.colors.data();
    double gathered[chunk];
    std::int32_t index[chunk];

    for (unsigned int x0 = 0; x0 < frame.width; x0 += chunk) {
        const unsigned int n = std::min(chunk, frame.width - x0);
        const std::ptrdiff_t first = walk.start + static_cast<std::ptrdiff_t>(x0) * stride;
        const double* in = frame.data + first;
        if (stride != 1) {
            for (unsigned int i = 0; i < n; ++i)
                gathered[i] = in[static_cast<std::ptrdiff_t>(i) * stride];
            in = gathered;
        }
        linearIndices<Log>(in, index, n, s, lut);
        std::uint32_t* dst = out + x0;
        if (frame.mask) {
            const unsigned char* m = frame.mask + first;
            const int maskValue = frame.maskValue;
            const std::int32_t nanIndex = static_cast<std::int32_t>(lut.nanIndex);
            for (unsigned int i = 0; i < n; ++i) {
                const bool masked = m[static_cast<std::ptrdiff_t>(i) * stride] == maskValue
                    && index[i] != nanIndex;
                dst[i] = masked ? s.specialColor : colors[index[i]];
            }
        } else {
            for (unsigned int i = 0; i < n; ++i)
                dst[i] = colors[index[i]];
        }
    }
}

template <bool Log>
void linearRows(
    const Frame& frame, const Scale& s, const LinearLut& lut, unsigned int first, unsigned int end)
{
    for (unsigned int y = first; y < end; ++y) {
        const RowWalk walk = rowWalk(frame.angle, frame.width, frame.height, y);
        std::uint32_t* out = frame.bits + static_cast<std::ptrdiff_t>(y) * frame.wordsPerLine;
        linearRow<Log>(frame, s, lut, out, walk);
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
    const bool inverted = scale.min >= scale.max;
    forRowBands(frame, true, [&](unsigned int first, unsigned int end) {
        if (inverted)
            invertedRows(frame, lut, scale.specialColor, first, end);
        else if (scale.logScale)
            linearRows<true>(frame, scale, lut, first, end);
        else
            linearRows<false>(frame, scale, lut, first, end);
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
    forPixels(frame, 0, frame.height, [&](std::ptrdiff_t i) -> std::uint32_t {
        if (isMasked(frame, i))
            return specialColor;
        return map->decodeColor(frame.data[i], min, max);
    });
}

} // namespace mpxpaint
