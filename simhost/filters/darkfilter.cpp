#include "darkfilter.h"

#include "simframe.h"

namespace sim {

DarkFilter::DarkFilter()
    : ReferenceFilter("Dark Subtraction", QStringLiteral("dark"),
        "Frame file of the dark (background) frame, subtracted from every frame; empty for "
        "none [string]")
{
    m_scale = &params().add("Scale",
        "Factor the dark frame is multiplied by before it is subtracted [0..1000]",
        ov::ParamDouble);
    m_scale->setRange(0.0, 1000.0);
    m_scale->assign(1.0);
    m_scale->setChanged([this](const SimParam& param) { paramChanged(param); });
}

int DarkFilter::resultType(int) const
{
    return ov::FrameDouble;
}

bool DarkFilter::compute(const SimFrame& in, SimFrame& out, QString* why)
{
    const std::shared_ptr<const ReferenceFrame> dark = referenceFor(in.width(), in.height(), why);
    if (!dark)
        return false;
    const double scale = m_scale->asDouble();
    const double* d = dark->pixels.data();
    double* o = out.pixels<double>();
    const size_t count = in.pixelCount();
    visitFrameType(in.dataType(), [&](auto zero) {
        using T = decltype(zero);
        const T* raw = in.pixels<T>();
        for (size_t i = 0; i < count; ++i)
            o[i] = double(raw[i]) - scale * d[i];
    });
    return true;
}

} // namespace sim
