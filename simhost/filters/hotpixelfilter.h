// "Hot Pixel Mask": a pixel whose value lies above mean + Sigma x deviation of its
// neighbourhood is set to 0 (masked). The neighbourhood is the square of half width
// "Radius" around the pixel (1: the 3 x 3 square), without the pixel itself, clipped
// at the frame's edges. Neighbours that are NaN or infinite are left out of the mean
// and the (population) standard deviation; a pixel with no usable neighbour stays as
// it is, and so does a NaN pixel. A pixel must lie above the mean by more than a part
// in 10^12 of it: the rounding of the sums does not make a uniform region hot. Zero
// pixels are values like any other. The result keeps the frame's type and every
// unmasked pixel's exact value.
#pragma once

#include "framefilter.h"

namespace sim {

class HotPixelFilter final : public FrameFilter
{
public:
    HotPixelFilter();

protected:
    bool compute(const SimFrame& in, SimFrame& out, QString* why) override;

private:
    SimParam* m_sigma = nullptr;
    SimParam* m_radius = nullptr;
};

} // namespace sim
