#include "referenceframe.h"

#include "framefile.h"
#include "visitframetype.h"

#include <cmath>
#include <cstring>

namespace sim {

std::shared_ptr<const ReferenceFrame> readReferenceFrame(const std::string& path, QString* error)
{
    FrameData data;
    std::string why;
    if (readFrameFromFile(path, 0, &data, &why) == 0
        && data.pixels.size() != size_t(data.width) * data.height * pixelBytes(data.dataType))
        why = "the frame's pixels do not match its size";
    if (!why.empty() || data.pixels.empty()) {
        if (why.empty())
            why = "the file holds an empty frame";
        if (error)
            *error = QStringLiteral("Cannot read frame file %1: %2")
                         .arg(QString::fromStdString(path), QString::fromStdString(why));
        return nullptr;
    }
    auto ref = std::make_shared<ReferenceFrame>();
    ref->path = path;
    ref->width = data.width;
    ref->height = data.height;
    const size_t count = size_t(data.width) * data.height;
    ref->pixels.resize(count);
    visitFrameType(data.dataType, [&](auto zero) {
        using T = decltype(zero);
        for (size_t i = 0; i < count; ++i) {
            T v;
            std::memcpy(&v, data.pixels.data() + i * sizeof(T), sizeof(T));
            ref->pixels[i] = double(v);
        }
    });
    double sum = 0.0;
    for (const double v : ref->pixels) {
        if (std::isfinite(v) && v != 0.0) {
            sum += v;
            ++ref->nonZeroCount;
        }
    }
    ref->meanNonZero = ref->nonZeroCount ? sum / double(ref->nonZeroCount) : 0.0;
    return ref;
}

} // namespace sim
