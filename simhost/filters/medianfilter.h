// "Median 3x3": every pixel becomes the median of its 3 x 3 neighbourhood, the pixel
// included. At the edges only the pixels that exist count (6 at a side, 4 in a
// corner); NaN pixels are left out, and a pixel whose neighbourhood is all NaN stays
// NaN. With an even count the median is the mean of the two middle values, rounded
// half up for integer types. The result keeps the frame's type.
#pragma once

#include "framefilter.h"

namespace sim {

class MedianFilter final : public FrameFilter
{
public:
    MedianFilter();

protected:
    bool compute(const SimFrame& in, SimFrame& out, QString* why) override;
};

} // namespace sim
