// "Binning 2x2": each block of 2 x 2 pixels becomes one pixel holding their sum, so the
// result has half the width and height; an odd last column or row has no partner and
// is dropped. int16 and double frames give double, uint32 and uint64 frames give
// uint64 (a sum beyond its range stays at the largest uint64). A NaN in a block makes
// its sum NaN. Frames narrower or lower than 2 pixels are not suitable.
#pragma once

#include "framefilter.h"

namespace sim {

class BinningFilter final : public FrameFilter
{
public:
    BinningFilter();

    bool acceptsSize(unsigned width, unsigned height, QString* why) const override;
    void resultSize(unsigned* width, unsigned* height) const override;

protected:
    bool compute(const SimFrame& in, SimFrame& out, QString* why) override;
    int resultType(int inputType) const override;
};

} // namespace sim
