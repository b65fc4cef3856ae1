// "Dark Subtraction": out = raw - Scale x dark, pixel by pixel, in double. The dark
// (background) frame is read from the frame file of the parameter "File"; "Scale"
// (default 1) weighs it, for a dark taken with another exposure.
#pragma once

#include "referencefilter.h"

namespace sim {

class DarkFilter final : public ReferenceFilter
{
public:
    DarkFilter();

protected:
    bool compute(const SimFrame& in, SimFrame& out, QString* why) override;
    int resultType(int) const override;

private:
    SimParam* m_scale = nullptr;
};

} // namespace sim
