#include "resultframe.h"

#include "simframe.h"

#include <cstring>

namespace sim {

SimFrame* newResultFrame(const SimFrame& input, unsigned width, unsigned height, int dataType)
{
    SimFrame* out = SimFrame::create(width, height, dataType);
    if (!out)
        return nullptr;
    out->setAcqTime(input.acqTime());
    out->setFrameName(input.name().c_str());
    out->setFrameInfoSource(input.frameInfoSource());
    return out;
}

SimFrame* plainCopy(const SimFrame& input)
{
    SimFrame* out = newResultFrame(input, input.width(), input.height(), input.dataType());
    if (out)
        std::memcpy(
            out->rawData(), input.rawData(), input.pixelCount() * frameTypeSize(input.dataType()));
    return out;
}

} // namespace sim
