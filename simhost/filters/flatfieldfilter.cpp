#include "flatfieldfilter.h"

#include "simframe.h"

#include <cmath>

namespace sim {

FlatFieldFilter::FlatFieldFilter()
    : ReferenceFilter("Flat Field", QStringLiteral("flat"),
        "Frame file of the flat (open beam) frame that every frame is divided by, scaled "
        "by its mean; empty for none [string]")
{ }

int FlatFieldFilter::resultType(int) const
{
    return ov::FrameDouble;
}

bool FlatFieldFilter::usable(const ReferenceFrame& frame, QString* why) const
{
    if (frame.nonZeroCount > 0)
        return true;
    if (why)
        *why = QStringLiteral("The flat frame in %1 has no finite non-zero pixel")
                   .arg(QString::fromStdString(frame.path));
    return false;
}

bool FlatFieldFilter::compute(const SimFrame& in, SimFrame& out, QString* why)
{
    const std::shared_ptr<const ReferenceFrame> flat = referenceFor(in.width(), in.height(), why);
    if (!flat)
        return false;
    const double mean = flat->meanNonZero;
    const double* f = flat->pixels.data();
    double* o = out.pixels<double>();
    const size_t count = in.pixelCount();
    visitFrameType(in.dataType(), [&](auto zero) {
        using T = decltype(zero);
        const T* raw = in.pixels<T>();
        for (size_t i = 0; i < count; ++i)
            o[i] = (f[i] != 0.0 && std::isfinite(f[i])) ? double(raw[i]) * mean / f[i] : 0.0;
    });
    return true;
}

} // namespace sim
