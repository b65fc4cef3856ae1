// The common part of the host's data filters: a named ov::IDataFilter with its
// parameters, the guard of its state, the device log it reports to, and the way it
// makes its result.
//
// A filter never changes the frame it is given. filterFrame makes a new sim::SimFrame
// (one reference, owned by the caller) with the acquisition time, name and info source
// of the input, and fills it through the derived class's compute(). The sub-frame index
// that the display passes along is not used: the frame handed in is the one filtered.
//
// Threads: filterFrame and isSuitable run on the GUI thread while parameters may be
// written from a script or the GUI. A derived class keeps its state under mutex();
// compute() copies it (plain values and shared, never changed, reference data) and
// works without any lock, allocating only the output frame and its own scratch rows.
#pragma once

#include "hostlog.h"
#include "oncenote.h"
#include "simparams.h"

#include <ovdetector.h>

#include <QString>

#include <functional>
#include <mutex>
#include <string>

namespace sim {

class SimFrame;

class FrameFilter : public ov::IDataFilter
{
public:
    // Where a filter's messages go (the device log); what it does when its settings
    // change and should be kept (persistence).
    using ParamWritten = std::function<void(const FrameFilter& filter, const SimParam& param)>;

    explicit FrameFilter(std::string name);
    virtual ~FrameFilter();
    FrameFilter(const FrameFilter&) = delete;
    FrameFilter& operator=(const FrameFilter&) = delete;

    const std::string& name() const { return m_name; }
    SimParamMgr& params() { return m_params; }
    void setLog(LogFn log);
    void setParamWritten(ParamWritten written);

    // Writes one parameter from its text, as a script or a stored setting does; 0, or
    // the parameter's negative code with *why saying why it was refused (the same text
    // that goes to the log); kNoSuchParam for a name the filter does not have.
    static constexpr int kNoSuchParam = -6;
    int writeParam(const std::string& param, const std::string& value, QString* why);

    // Whether a frame of this size can be filtered, and the size of the result; why
    // tells the user what is missing. Groups chain these without computing. By default
    // any frame with pixels, of the same size.
    virtual bool acceptsSize(unsigned width, unsigned height, QString* why) const;
    virtual void resultSize(unsigned* width, unsigned* height) const;

    // ov::IDataFilter
    int filterType() override { return ov::DataFilterFrame; }
    int filterName(ov::String& out) override;
    // False for a frame that is not one of the host's, or of a size or state the filter
    // cannot take; the reason is logged once, until it changes or the filter works again.
    bool isSuitable(ov::IMpxFrame* frame) override;
    // A new frame, or null when the frame is not suitable.
    ov::IMpxFrame* filterFrame(ov::IMpxFrame* frame, unsigned subFrame) override;
    ov::IParamMgr* filterParams() override { return &m_params; }
    bool hasOwnDialog() override { return false; }
    int showOwnDialog() override { return -1; }

    // The filter applied to a host frame; null when it cannot be (logged once).
    SimFrame* apply(const SimFrame& frame);

protected:
    // Fills out, a frame of resultSize() and the type resultType(), from in. Takes what
    // it needs of the filter's state as a snapshot under mutex() and computes without
    // the lock; false (with why) when the state changed meanwhile and no longer fits.
    virtual bool compute(const SimFrame& in, SimFrame& out, QString* why) = 0;
    virtual int resultType(int inputType) const { return inputType; }

    std::mutex& mutex() const { return m_mutex; }
    // A message for the device log, prefixed with the filter's name.
    void log(unsigned level, const QString& text) const;
    // Refuses a parameter write from a check with a message: the refusal hook logs it
    // and hands it to writeParam's caller.
    static int refuse(const QString& message);
    // Called by the change hook of every parameter, after the filter took the value:
    // the next unsuitable frame is explained again, and the owner keeps the value.
    void paramChanged(const SimParam& param);

private:
    void noteUnsuitable(const QString& why);
    void paramRefused(const SimParam& param, int code, const std::string& value);

    const std::string m_name;
    SimParamMgr m_params;
    mutable std::mutex m_mutex;
    LogFn m_log;            // set before the filter is shared
    ParamWritten m_written; // set before the filter is shared
    OnceNote m_unsuitable;
};

} // namespace sim
