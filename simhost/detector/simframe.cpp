#include "simframe.h"

#include "simfiletypes.h"
#include "vectorstate.h"

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

namespace {
std::atomic<uint64_t> nextFrameSerial {1};
std::atomic<uint64_t> nextOrigin {1};
} // namespace

uint64_t SimFrame::newOrigin()
{
    return nextOrigin.fetch_add(1, std::memory_order_relaxed);
}

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
      m_data(size_t(width) * height * frameTypeSize(dataType), 0),
      m_serial(nextFrameSerial.fetch_add(1, std::memory_order_relaxed))
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

int SimFrame::saveToFile(ov::IFilePath* path, ov::IFileType* type, unsigned flags)
{
    if (!path || !type) {
        logFileError(QStringLiteral("Saving a frame: no file name or no file type"));
        return -1;
    }
    return saveFramesToFile({this}, path->get(), type->typeCode(), flags);
}

int SimFrame::setData(const void* data, size_t bytes)
{
    if (!data || bytes != m_data.size())
        return -1;
    std::memcpy(m_data.data(), data, bytes);
    pixelsChanged();
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
    // The loan is writable and its writes cannot be seen: from now on no statistics
    // are kept for this frame.
    m_lent.store(true, std::memory_order_release);
    pixelsChanged();
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
    pixelsChanged();
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
    pixelsChanged();
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

SimFrame::Spans SimFrame::spansOf(const ov::Region* region) const
{
    const int64_t w = m_width;
    const int64_t h = m_height;
    Spans spans;
    if (!region || region->count == 0 || !region->rects) {
        spans.push_back({0, pixelCount()});
        return spans;
    }
    struct Box
    {
        int64_t x0, y0, x1, y1;
    };
    auto clip = [w, h](const ov::RegionRect& r, Box* b) {
        b->x0 = std::max<int64_t>(r.x, 0);
        b->y0 = std::max<int64_t>(r.y, 0);
        b->x1 = std::min<int64_t>(r.width > 0 ? int64_t(r.x) + r.width : r.x, w);
        b->y1 = std::min<int64_t>(r.height > 0 ? int64_t(r.y) + r.height : r.y, h);
        return b->x0 < b->x1 && b->y0 < b->y1;
    };
    // Appends the row piece [x0, x1) of row y, joining it to the previous span when
    // they touch (also across the end of a row).
    auto add = [&spans, w](int64_t y, int64_t x0, int64_t x1) {
        const size_t begin = size_t(y * w + x0);
        if (!spans.empty() && spans.back().begin + spans.back().count == begin)
            spans.back().count += size_t(x1 - x0);
        else
            spans.push_back({begin, size_t(x1 - x0)});
    };
    std::vector<Box> boxes;
    boxes.reserve(region->count);
    int64_t minY = h;
    int64_t maxY = 0;
    for (unsigned r = 0; r < region->count; ++r) {
        Box b;
        if (!clip(region->rects[r], &b))
            continue;
        boxes.push_back(b);
        minY = std::min(minY, b.y0);
        maxY = std::max(maxY, b.y1);
    }
    if (boxes.size() == 1) {
        for (int64_t y = boxes[0].y0; y < boxes[0].y1; ++y)
            add(y, boxes[0].x0, boxes[0].x1);
        return spans;
    }
    // Overlapping rectangles: the union of their pieces on each row, so every pixel
    // counts once, in increasing order.
    std::vector<std::pair<int64_t, int64_t>> pieces;
    for (int64_t y = minY; y < maxY; ++y) {
        pieces.clear();
        for (const Box& b : boxes)
            if (b.y0 <= y && y < b.y1)
                pieces.push_back({b.x0, b.x1});
        std::sort(pieces.begin(), pieces.end());
        size_t i = 0;
        while (i < pieces.size()) {
            int64_t x0 = pieces[i].first;
            int64_t x1 = pieces[i].second;
            for (++i; i < pieces.size() && pieces[i].first <= x1; ++i)
                x1 = std::max(x1, pieces[i].second);
            add(y, x0, x1);
        }
    }
    return spans;
}

bool SimFrame::keepable(const Spans& spans) const
{
    return spans.size() == 1 && spans[0].begin == 0 && spans[0].count == pixelCount()
        && !m_lent.load(std::memory_order_acquire);
}

template <class Fn>
bool SimFrame::withKept(uint64_t generation, Fn fn) const
{
    std::lock_guard<std::mutex> lock(m_keptMutex);
    if (m_generation.load(std::memory_order_acquire) != generation)
        return false;
    if (m_kept.generation != generation) {
        m_kept = Kept();
        m_kept.generation = generation;
    }
    return fn(m_kept);
}

framestats::Extremes SimFrame::extremes(const Spans& spans) const
{
    const bool keep = keepable(spans);
    const uint64_t generation = m_generation.load(std::memory_order_acquire);
    framestats::Extremes e;
    if (keep && withKept(generation, [&](Kept& k) {
            e = k.extremes;
            return k.hasExtremes;
        }))
        return e;
    // Called from the GUI thread, whose vector registers Qt leaves dirty.
    cleanVectorState();
    e = framestats::extremes(m_type, m_data.data(), spans);
    if (keep)
        withKept(generation, [&](Kept& k) {
            k.extremes = e;
            k.hasExtremes = true;
            return true;
        });
    return e;
}

double SimFrame::spansTotal(const Spans& spans) const
{
    const bool keep = keepable(spans);
    const uint64_t generation = m_generation.load(std::memory_order_acquire);
    double sum = 0.0;
    if (keep && withKept(generation, [&](Kept& k) {
            sum = k.total;
            return k.hasTotal;
        }))
        return sum;
    cleanVectorState();
    sum = framestats::total(m_type, m_data.data(), spans);
    if (keep)
        withKept(generation, [&](Kept& k) {
            k.total = sum;
            k.hasTotal = true;
            return true;
        });
    return sum;
}

size_t SimFrame::histogramOf(const Spans& spans, const framestats::Extremes& ext, int bins,
    double min, double max, double* out) const
{
    const bool keep = keepable(spans);
    const uint64_t generation = m_generation.load(std::memory_order_acquire);
    size_t counted = 0;
    if (keep && withKept(generation, [&](Kept& k) {
            if (k.histBins != bins || !(k.histMin == min) || !(k.histMax == max))
                return false;
            std::copy(k.hist.begin(), k.hist.end(), out);
            counted = k.histCounted;
            return true;
        }))
        return counted;
    cleanVectorState();
    counted = framestats::histogram(m_type, m_data.data(), spans, bins, min, max, ext, out);
    if (keep)
        withKept(generation, [&](Kept& k) {
            k.hist.assign(out, out + bins);
            k.histBins = bins;
            k.histMin = min;
            k.histMax = max;
            k.histCounted = counted;
            return true;
        });
    return counted;
}

double SimFrame::maxValue(const ov::Region* region)
{
    return extremes(spansOf(region)).max;
}

double SimFrame::minValue(const ov::Region* region)
{
    return extremes(spansOf(region)).min;
}

double SimFrame::minNonZero(const ov::Region* region)
{
    return extremes(spansOf(region)).minNonZero;
}

double SimFrame::regionMean(const ov::Region* region)
{
    const Spans spans = spansOf(region);
    size_t count = 0;
    for (const framestats::Span& s : spans)
        count += s.count;
    return count ? spansTotal(spans) / static_cast<double>(count) : 0.0;
}

double SimFrame::regionTotal(const ov::Region* region)
{
    return spansTotal(spansOf(region));
}

double SimFrame::regionDeviation(const ov::Region* region)
{
    // Standard deviation of the pixels of the region (population, n in the divisor),
    // computed around the mean in a second pass for accuracy.
    const Spans spans = spansOf(region);
    size_t count = 0;
    for (const framestats::Span& s : spans)
        count += s.count;
    if (count == 0)
        return 0.0;
    const bool keep = keepable(spans);
    const uint64_t generation = m_generation.load(std::memory_order_acquire);
    double deviation = 0.0;
    if (keep && withKept(generation, [&](Kept& k) {
            deviation = k.deviation;
            return k.hasDeviation;
        }))
        return deviation;
    const double mean = spansTotal(spans) / static_cast<double>(count);
    cleanVectorState();
    const double acc = framestats::squaredDeviations(m_type, m_data.data(), spans, mean);
    deviation = std::sqrt(acc / static_cast<double>(count));
    if (keep)
        withKept(generation, [&](Kept& k) {
            k.deviation = deviation;
            k.hasDeviation = true;
            return true;
        });
    return deviation;
}

int SimFrame::nonZeroCount(const ov::Region* region)
{
    cleanVectorState();
    return static_cast<int>(framestats::nonZeroCount(m_type, m_data.data(), spansOf(region)));
}

int SimFrame::pixelCountInRegion(const ov::Region* region)
{
    size_t n = 0;
    for (const framestats::Span& s : spansOf(region))
        n += s.count;
    return static_cast<int>(n);
}

int SimFrame::histogram(int bins, double* out, const ov::Region* region, double min, double max)
{
    if (bins <= 0 || !out)
        return -1;
    const Spans spans = spansOf(region);
    const framestats::Extremes ext = extremes(spans);
    if (!(max > min)) {
        min = ext.min;
        max = ext.max;
    }
    return static_cast<int>(histogramOf(spans, ext, bins, min, max, out));
}

double SimFrame::fractile(double q, int bins, const ov::Region* region)
{
    if (bins <= 0)
        bins = 1;
    q = std::clamp(q, 0.0, 1.0);
    const Spans spans = spansOf(region);
    const framestats::Extremes s = extremes(spans);
    if (s.count == 0)
        return 0.0;
    if (s.max <= s.min)
        return s.min;
    // Both fractions of a range mode come from one histogram, kept with the frame.
    std::vector<double> hist(static_cast<size_t>(bins));
    histogramOf(spans, s, bins, s.min, s.max, hist.data());
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
