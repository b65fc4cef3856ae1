// Helpers of the filter tests: small frames of every pixel type from plain numbers,
// their pixels back as doubles, reference frame files, and probes that count a
// device's "FiltersChanged" events and collect its log lines.
#pragma once

#include <framefile.h>
#include <simframe.h>
#include <visitframetype.h>

#include <ovcore.h>

#include <QString>
#include <QStringList>

#include <atomic>
#include <cmath>
#include <mutex>
#include <string>
#include <vector>

namespace filterprobe {

// A frame of the type with the values (rounded for integer types), one reference.
inline sim::SimFrame* makeFrame(
    unsigned width, unsigned height, int type, const std::vector<double>& values)
{
    sim::SimFrame* frame = sim::SimFrame::create(width, height, type);
    sim::visitFrameType(type, [&](auto zero) {
        using T = decltype(zero);
        T* px = frame->pixels<T>();
        for (size_t i = 0; i < values.size(); ++i)
            px[i] = std::is_floating_point_v<T> ? T(values[i]) : T(std::llround(values[i]));
    });
    frame->setAcqTime(0.25);
    frame->setFrameName("input");
    return frame;
}

inline std::vector<double> pixelsOf(const sim::SimFrame* frame)
{
    std::vector<double> out;
    for (size_t i = 0; i < frame->pixelCount(); ++i)
        out.push_back(frame->pixel(i));
    return out;
}

// Equal as numbers, NaN equal to NaN.
inline bool sameValues(const std::vector<double>& a, const std::vector<double>& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::isnan(a[i]) != std::isnan(b[i]))
            return false;
        if (!std::isnan(a[i]) && a[i] != b[i])
            return false;
    }
    return true;
}

inline QString valuesText(const std::vector<double>& v)
{
    QStringList parts;
    for (double d : v)
        parts << QString::number(d, 'g', 17);
    return parts.join(QLatin1Char(' '));
}

// A frame file of the values (binary by default: exact doubles); false when it cannot
// be written.
inline bool writeDoubleFrame(const std::string& path, unsigned width, unsigned height,
    const std::vector<double>& values, int fileType = sim::FileTypeBinaryFrame)
{
    sim::FrameView view;
    view.dataType = ov::FrameDouble;
    view.width = width;
    view.height = height;
    view.pixels = values.data();
    std::string error;
    return sim::writeFrameFile(path, fileType, 0, {view}, &error) == 0;
}

struct EventCounter
{
    std::atomic<int> count {0};
    static void onEvent(long, long user) { reinterpret_cast<EventCounter*>(user)->count++; }
    void watch(ov::IDev* dev) { dev->registerEvent("FiltersChanged", &onEvent, this); }
};

struct LogLines
{
    std::mutex mutex;
    QStringList lines;
    static void onLine(unsigned, const char* text, long user)
    {
        auto* self = reinterpret_cast<LogLines*>(user);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->lines << QString::fromUtf8(text);
    }
    void watch(ov::IDev* dev) { dev->registerLogCallback(&onLine, this); }
    int countContaining(const QString& text)
    {
        std::lock_guard<std::mutex> lock(mutex);
        int n = 0;
        for (const QString& line : lines)
            n += line.contains(text) ? 1 : 0;
        return n;
    }
};

} // namespace filterprobe
