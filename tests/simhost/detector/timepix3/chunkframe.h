// The counts of a Timepix3 data object's frame, as the tests compare them.
#pragma once

#include <simframe.h>

#include <ovdetector.h>

#include <cstdint>
#include <vector>

// The 32-bit counts of the frame of a data object; empty without one of that type.
inline std::vector<uint32_t> frameValues(ov::IData* d)
{
    const auto* f = static_cast<const sim::SimFrame*>(d->frameAt(0));
    if (!f || f->dataType() != ov::FrameUInt32)
        return {};
    const uint32_t* p = f->pixels<uint32_t>();
    return std::vector<uint32_t>(p, p + f->pixelCount());
}
