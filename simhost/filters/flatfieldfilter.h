// "Flat Field": out = raw x mean(flat) / flat, pixel by pixel, in double. The flat
// frame comes from the frame file of the parameter "File"; its mean is taken over its
// finite, non-zero pixels, and a flat without any such pixel is refused. Where the
// flat pixel is 0 or not finite the result is 0: that pixel saw no beam, so it has no
// gain to correct.
#pragma once

#include "referencefilter.h"

namespace sim {

class FlatFieldFilter final : public ReferenceFilter
{
public:
    FlatFieldFilter();

protected:
    bool usable(const ReferenceFrame& frame, QString* why) const override;
    bool compute(const SimFrame& in, SimFrame& out, QString* why) override;
    int resultType(int) const override;
};

} // namespace sim
