// A filter that works with a stored frame of the same size as the frames it filters
// (dark subtraction, flat field). Its parameter "File" names the frame file; empty means
// no frame yet. A path that cannot be read, or a frame the filter cannot use, is refused
// by the parameter's check with the reason, and the filter keeps its frame.
#pragma once

#include "framefilter.h"
#include "referenceframe.h"

#include <memory>

namespace sim {

class ReferenceFilter : public FrameFilter
{
public:
    // what: "dark" or "flat", for messages.
    ReferenceFilter(std::string name, QString what, const std::string& fileDescription);

    bool acceptsSize(unsigned width, unsigned height, QString* why) const override;
    // The stored frame in use now; null without one.
    std::shared_ptr<const ReferenceFrame> reference() const;

protected:
    // Whether the filter can use this frame at all; why says what is wrong with it.
    virtual bool usable(const ReferenceFrame& frame, QString* why) const;
    // The stored frame for a frame of width x height, or null (with why).
    std::shared_ptr<const ReferenceFrame> referenceFor(
        unsigned width, unsigned height, QString* why) const;

private:
    void take(const SimParam& param);

    const QString m_what;
    SimParam* m_file = nullptr;
    std::shared_ptr<const ReferenceFrame> m_reference; // under mutex()
    // Read by the check, taken by the change hook that follows it.
    std::shared_ptr<const ReferenceFrame> m_checked; // under mutex()
};

} // namespace sim
