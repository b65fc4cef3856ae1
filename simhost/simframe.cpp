#include "simframe.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace sim {

size_t frameTypeSize(int dataType)
{
    switch (dataType) {
    case ov::FrameInt16:
        return 2;
    case ov::FrameUInt32:
        return 4;
    case ov::FrameUInt64:
    case ov::FrameDouble:
        return 8;
    default:
        return 0;
    }
}

bool isFrameType(int dataType)
{
    return frameTypeSize(dataType) != 0;
}

template <typename T>
T clampToType(double value)
{
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(value);
    } else {
        if (std::isnan(value))
            return T(0);
        const double r = std::nearbyint(value);
        constexpr double lo = static_cast<double>(std::numeric_limits<T>::lowest());
        constexpr double hi = static_cast<double>(std::numeric_limits<T>::max());
        if (r <= lo)
            return std::numeric_limits<T>::lowest();
        if (r >= hi)
            return std::numeric_limits<T>::max();
        return static_cast<T>(r);
    }
}

template int16_t clampToType<int16_t>(double);
template uint32_t clampToType<uint32_t>(double);
template uint64_t clampToType<uint64_t>(double);
template double clampToType<double>(double);

namespace {

// Converts count pixels of type From into type To.
template <typename From, typename To>
void convertPixels(const From* in, To* out, size_t count)
{
    if constexpr (std::is_same_v<From, To>) {
        std::memcpy(out, in, count * sizeof(To));
    } else if constexpr (
        std::is_integral_v<
            From> && std::is_integral_v<To> && ((std::is_signed_v<From> == std::is_signed_v<To> && sizeof(From) <= sizeof(To)) || (std::is_unsigned_v<From> && std::is_signed_v<To> && sizeof(From) < sizeof(To)))) {
        // Every value fits: a plain widening.
        for (size_t i = 0; i < count; ++i)
            out[i] = static_cast<To>(in[i]);
    } else {
        for (size_t i = 0; i < count; ++i)
            out[i] = clampToType<To>(static_cast<double>(in[i]));
    }
}

void convertRaw(const void* in, int inType, void* out, int outType, size_t count)
{
    visitFrameType(inType, [&](auto from) {
        using From = decltype(from);
        visitFrameType(outType, [&](auto to) {
            using To = decltype(to);
            convertPixels(static_cast<const From*>(in), static_cast<To*>(out), count);
        });
    });
}

} // namespace

SimFrame* SimFrame::create(unsigned width, unsigned height, int dataType)
{
    if (!isFrameType(dataType) || width == 0 || height == 0 || width > 65536 || height > 65536)
        return nullptr;
    return new SimFrame(width, height, dataType);
}

SimFrame::SimFrame(unsigned width, unsigned height, int dataType)
    : m_width(width),
      m_height(height),
      m_type(dataType),
      m_data(size_t(width) * height * frameTypeSize(dataType), 0)
{ }

SimFrame::~SimFrame()
{
    for (SimFrame* sub : m_subFrames)
        sub->decRef();
}

int SimFrame::incRef()
{
    return m_refs.fetch_add(1, std::memory_order_relaxed) + 1;
}

int SimFrame::decRef()
{
    const int left = m_refs.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0)
        delete this;
    return left;
}

int SimFrame::saveToFile(ov::IFilePath*, ov::IFileType*, unsigned)
{
    return -1;
}

int SimFrame::setData(const void* data, size_t bytes)
{
    if (!data || bytes != m_data.size())
        return -1;
    std::memcpy(m_data.data(), data, bytes);
    return 0;
}

int SimFrame::getData(ov::IByteBuff* out, int dataType)
{
    if (!out || !isFrameType(dataType))
        return -1;
    const size_t n = pixelCount();
    out->resizeByte(static_cast<unsigned long>(n * frameTypeSize(dataType)));
    if (out->byteSize() != n * frameTypeSize(dataType))
        return -1; // the buffer's element size does not fit the type asked for
    convertRaw(m_data.data(), m_type, out->dataByte(), dataType, n);
    return 0;
}

int SimFrame::dataRef(ov::IRefByteBuff* out, int chip)
{
    if (!out || (chip != 0 && chip != -1))
        return -1;
    out->setByte(m_data.data(), static_cast<unsigned long>(m_data.size()));
    return 0;
}

int SimFrame::convertTo(int dataType)
{
    if (!isFrameType(dataType))
        return -1;
    if (dataType == m_type)
        return 0;
    std::vector<unsigned char> converted(pixelCount() * frameTypeSize(dataType));
    convertRaw(m_data.data(), m_type, converted.data(), dataType, pixelCount());
    m_data.swap(converted);
    m_type = dataType;
    return 0;
}

int SimFrame::frameName(ov::IString* out) const
{
    if (!out)
        return -1;
    out->set(m_name.c_str());
    return 0;
}

int SimFrame::setFrameName(const char* name)
{
    m_name = name ? name : "";
    return 0;
}

ov::IMpxFrame* SimFrame::clone() const
{
    SimFrame* copy = new SimFrame(m_width, m_height, m_type);
    copy->m_data = m_data;
    copy->m_name = m_name;
    copy->m_acqTime = m_acqTime;
    copy->m_infoSource = m_infoSource;
    copy->m_mask = m_mask;
    for (SimFrame* sub : m_subFrames)
        copy->m_subFrames.push_back(static_cast<SimFrame*>(sub->clone()));
    return copy;
}

int SimFrame::scale(double factor, double time)
{
    if (!std::isfinite(factor))
        return -1;
    visitFrameType(m_type, [&](auto t) {
        using T = decltype(t);
        T* p = pixels<T>();
        const size_t n = pixelCount();
        for (size_t i = 0; i < n; ++i)
            p[i] = clampToType<T>(static_cast<double>(p[i]) * factor);
    });
    if (time > 0.0)
        m_acqTime = time;
    return 0;
}

double SimFrame::pixel(size_t index) const
{
    if (index >= pixelCount())
        return 0.0;
    return visitFrameType(
        m_type, [&](auto t) { return static_cast<double>(pixels<decltype(t)>()[index]); });
}

template <class Fn>
void SimFrame::forEachIndex(const ov::Region* region, Fn fn) const
{
    const int w = static_cast<int>(m_width);
    const int h = static_cast<int>(m_height);
    if (!region || region->count == 0 || !region->rects) {
        const size_t n = pixelCount();
        for (size_t i = 0; i < n; ++i)
            fn(i);
        return;
    }
    auto clip = [w, h](const ov::RegionRect& r, int* x0, int* y0, int* x1, int* y1) {
        *x0 = std::max(r.x, 0);
        *y0 = std::max(r.y, 0);
        *x1 = std::min(r.width > 0 ? r.x + r.width : r.x, w);
        *y1 = std::min(r.height > 0 ? r.y + r.height : r.y, h);
        return *x0 < *x1 && *y0 < *y1;
    };
    int x0, y0, x1, y1;
    if (region->count == 1) {
        if (!clip(region->rects[0], &x0, &y0, &x1, &y1))
            return;
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x)
                fn(size_t(y) * m_width + size_t(x));
        return;
    }
    // Several rectangles may overlap: mark the pixels first so each counts once.
    std::vector<uint8_t> marks(pixelCount(), 0);
    int minY = h, maxY = 0;
    for (unsigned r = 0; r < region->count; ++r) {
        if (!clip(region->rects[r], &x0, &y0, &x1, &y1))
            continue;
        minY = std::min(minY, y0);
        maxY = std::max(maxY, y1);
        for (int y = y0; y < y1; ++y)
            std::memset(&marks[size_t(y) * m_width + size_t(x0)], 1, size_t(x1 - x0));
    }
    for (int y = minY; y < maxY; ++y) {
        for (int x = 0; x < w; ++x) {
            const size_t i = size_t(y) * m_width + size_t(x);
            if (marks[i])
                fn(i);
        }
    }
}

SimFrame::Stats SimFrame::stats(const ov::Region* region) const
{
    Stats s;
    s.min = std::numeric_limits<double>::infinity();
    s.max = -std::numeric_limits<double>::infinity();
    s.minNonZero = std::numeric_limits<double>::infinity();
    visitFrameType(m_type, [&](auto t) {
        using T = decltype(t);
        const T* p = pixels<T>();
        forEachIndex(region, [&](size_t i) {
            const double v = static_cast<double>(p[i]);
            ++s.count;
            s.min = std::min(s.min, v);
            s.max = std::max(s.max, v);
            if (v != 0.0) {
                s.hasNonZero = true;
                s.minNonZero = std::min(s.minNonZero, v);
            }
            s.sum += v;
            s.sumSquares += v * v;
        });
    });
    if (s.count == 0) {
        s.min = s.max = 0.0;
    }
    if (!s.hasNonZero)
        s.minNonZero = 0.0;
    return s;
}

double SimFrame::maxValue(const ov::Region* region)
{
    return stats(region).max;
}

double SimFrame::minValue(const ov::Region* region)
{
    return stats(region).min;
}

double SimFrame::minNonZero(const ov::Region* region)
{
    return stats(region).minNonZero;
}

double SimFrame::regionMean(const ov::Region* region)
{
    const Stats s = stats(region);
    return s.count ? s.sum / static_cast<double>(s.count) : 0.0;
}

double SimFrame::regionTotal(const ov::Region* region)
{
    return stats(region).sum;
}

double SimFrame::regionDeviation(const ov::Region* region)
{
    // Standard deviation of the pixels of the region (population, n in the divisor),
    // computed around the mean in a second pass for accuracy.
    const Stats s = stats(region);
    if (s.count == 0)
        return 0.0;
    const double mean = s.sum / static_cast<double>(s.count);
    double acc = 0.0;
    visitFrameType(m_type, [&](auto t) {
        const auto* p = pixels<decltype(t)>();
        forEachIndex(region, [&](size_t i) {
            const double d = static_cast<double>(p[i]) - mean;
            acc += d * d;
        });
    });
    return std::sqrt(acc / static_cast<double>(s.count));
}

int SimFrame::pixelCountInRegion(const ov::Region* region)
{
    size_t n = 0;
    forEachIndex(region, [&](size_t) { ++n; });
    return static_cast<int>(n);
}

int SimFrame::histogram(int bins, double* out, const ov::Region* region, double min, double max)
{
    if (bins <= 0 || !out)
        return -1;
    std::fill(out, out + bins, 0.0);
    if (!(max > min)) {
        const Stats s = stats(region);
        min = s.min;
        max = s.max;
    }
    const double width = max - min;
    int counted = 0;
    visitFrameType(m_type, [&](auto t) {
        const auto* p = pixels<decltype(t)>();
        forEachIndex(region, [&](size_t i) {
            const double v = static_cast<double>(p[i]);
            if (!(v >= min && v <= max))
                return;
            int bin = width > 0.0 ? static_cast<int>((v - min) / width * bins) : 0;
            if (bin >= bins)
                bin = bins - 1;
            out[bin] += 1.0;
            ++counted;
        });
    });
    return counted;
}

double SimFrame::fractile(double q, int bins, const ov::Region* region)
{
    if (bins <= 0)
        bins = 1;
    q = std::clamp(q, 0.0, 1.0);
    const Stats s = stats(region);
    if (s.count == 0)
        return 0.0;
    if (s.max <= s.min)
        return s.min;
    std::vector<double> hist(static_cast<size_t>(bins));
    histogram(bins, hist.data(), region, s.min, s.max);
    const double target = q * static_cast<double>(s.count);
    const double binWidth = (s.max - s.min) / bins;
    double below = 0.0;
    for (int b = 0; b < bins; ++b) {
        const double inBin = hist[static_cast<size_t>(b)];
        if (below + inBin >= target && inBin > 0.0) {
            const double part = (target - below) / inBin;
            return s.min + (b + part) * binWidth;
        }
        below += inBin;
    }
    return s.max;
}

int SimFrame::subFrames(ov::PtrList<ov::IMpxFrame*>* out)
{
    if (!out)
        return -1;
    for (SimFrame* sub : m_subFrames)
        out->add(sub);
    return 0;
}

int SimFrame::setAcqTime(double seconds)
{
    if (!(seconds >= 0.0) || !std::isfinite(seconds))
        return -1;
    m_acqTime = seconds;
    return 0;
}

int SimFrame::addSubFrame(SimFrame* frame)
{
    if (!frame || frame == this)
        return -1;
    frame->incRef();
    m_subFrames.push_back(frame);
    return 0;
}

SimFrame* SimFrame::subFrame(int index) const
{
    if (index < 0 || static_cast<size_t>(index) >= m_subFrames.size())
        return nullptr;
    return m_subFrames[static_cast<size_t>(index)];
}

void SimFrame::setMask(std::shared_ptr<const std::vector<uint8_t>> mask)
{
    if (mask && !mask->empty() && mask->size() != pixelCount())
        return;
    m_mask = std::move(mask);
}

const std::vector<uint8_t>& SimFrame::mask() const
{
    static const std::vector<uint8_t> none;
    return m_mask ? *m_mask : none;
}

size_t SimFrame::memoryBytes() const
{
    size_t bytes = m_data.size();
    for (const SimFrame* sub : m_subFrames)
        bytes += sub->memoryBytes();
    return bytes;
}

} // namespace sim
