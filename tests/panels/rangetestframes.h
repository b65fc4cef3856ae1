// Frames with known pixels for the range tests, and the ranges they should give,
// computed here straight from the pixel values.
#pragma once

#include <simframe.h>

#include <ovdetector.h>

#include <QRect>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace rangetest {

// Holds one reference on a simulated frame and drops it at the end.
class FrameRef
{
public:
    explicit FrameRef(sim::SimFrame* frame) : f(frame) { }
    FrameRef(const FrameRef&) = delete;
    FrameRef& operator=(const FrameRef&) = delete;
    ~FrameRef()
    {
        if (f)
            f->decRef();
    }
    sim::SimFrame* get() const { return f; }
    sim::SimFrame* operator->() const { return f; }

private:
    sim::SimFrame* f;
};

// A frame of the type holding values (row after row), converted to the pixel type.
inline sim::SimFrame* makeFrame(
    int type, unsigned width, unsigned height, const std::vector<double>& values)
{
    sim::SimFrame* frame = sim::SimFrame::create(width, height, type);
    sim::visitFrameType(type, [&](auto t) {
        using T = decltype(t);
        std::vector<T> pixels(values.size());
        for (std::size_t i = 0; i < values.size(); ++i)
            pixels[i] = static_cast<T>(values[i]);
        frame->setData(pixels.data(), pixels.size() * sizeof(T));
    });
    return frame;
}

// Values that a frame of the type holds: some zeros, negative ones only for the
// signed types, fractions only for double.
inline std::vector<double> patternValues(int type, unsigned width, unsigned height)
{
    std::vector<double> v(std::size_t(width) * height);
    for (std::size_t i = 0; i < v.size(); ++i) {
        const double p = double((i * 7919u + 13u) % 1000u);
        double value = p;
        if (type == ov::FrameInt16 || type == ov::FrameDouble)
            value = p - 200.0;
        if (type == ov::FrameDouble)
            value += 0.25;
        if ((i * 31u) % 9u == 0u)
            value = 0.0;
        v[i] = value;
    }
    return v;
}

struct Range
{
    double min;
    double max;
};

// The indices of a rectangle (or of the whole frame for a null rectangle) in row order.
inline std::vector<std::size_t> indicesOf(unsigned width, unsigned height, const QRect& rect)
{
    std::vector<std::size_t> out;
    const QRect r = rect.isNull() ? QRect(0, 0, int(width), int(height)) : rect;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            out.push_back(std::size_t(y) * width + std::size_t(x));
    return out;
}

inline Range minMaxOf(const std::vector<double>& v, const std::vector<std::size_t>& idx)
{
    Range r {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
    for (std::size_t i : idx) {
        r.min = std::min(r.min, v[i]);
        r.max = std::max(r.max, v[i]);
    }
    return r;
}

inline double minNonZeroOf(const std::vector<double>& v, const std::vector<std::size_t>& idx)
{
    double m = std::numeric_limits<double>::infinity();
    for (std::size_t i : idx)
        if (v[i] != 0.0)
            m = std::min(m, v[i]);
    return std::isinf(m) ? 0.0 : m;
}

// The margin modes: the maximum, and the smallest non-zero value lowered by
// factor / 256 of the span, kept at 0 or above for frames without negative values.
inline Range marginOf(
    const std::vector<double>& v, const std::vector<std::size_t>& idx, double factor)
{
    const Range all = minMaxOf(v, idx);
    const double nz = minNonZeroOf(v, idx);
    double low = nz - (all.max - nz) / 256.0 * factor;
    if (all.min >= 0.0 && low < 0.0)
        low = 0.0;
    return {low, all.max};
}

// The smart range as the rule states it: non-zero samples at a stride, at most
// maxSamples, fractiles 0.01 and 0.99 of the sorted samples.
inline Range smartOf(const std::vector<double>& v, unsigned width, unsigned height,
    const QRect& rect, int maxSamples = 1000)
{
    std::vector<double> s;
    const std::size_t limit = std::size_t(maxSamples);
    if (rect.isNull()) {
        const std::size_t n = v.size();
        const std::size_t stride
            = n < limit ? 1 : std::size_t(std::ceil(double(n) / double(limit)));
        for (std::size_t k = 0; k * stride < n && s.size() < limit; ++k)
            if (v[k * stride] != 0.0)
                s.push_back(v[k * stride]);
    } else {
        const std::size_t n = std::size_t(rect.width()) * std::size_t(rect.height());
        const std::size_t stride = n < limit ? 1 : n / limit;
        for (int y = rect.top(); y <= rect.bottom() && s.size() < limit; ++y)
            for (std::size_t x = 0; x < std::size_t(rect.width()) && s.size() < limit;
                 x += stride) {
                const double value = v[std::size_t(y) * width + std::size_t(rect.left()) + x];
                if (value != 0.0)
                    s.push_back(value);
            }
    }
    (void)height;
    if (s.empty())
        return {0.0, 1.0};
    if (s.size() == 1)
        return {0.0, s[0]};
    std::sort(s.begin(), s.end());
    const std::size_t last = s.size() - 1;
    return {s[std::size_t(0.01 * double(last))], s[std::size_t(0.99 * double(last))]};
}

// A region of one rectangle, as the controller hands it over.
struct OneRect
{
    explicit OneRect(const QRect& r) : rect {r.x(), r.y(), r.width(), r.height()} { }
    ov::RegionRect rect;
    ov::Region region() const { return ov::Region {&rect, 1}; }
};

} // namespace rangetest
