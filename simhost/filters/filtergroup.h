// A filter group: a named chain of a device's single filters, applied in order to the
// result of the one before; the same filter may stand several times. An empty group
// gives a plain copy of the frame. Members are named; a name that is not one of the
// device's single filters (a group's, say) is refused, so chains cannot loop.
//
// A removed group is retired, not deleted: a display that still holds it finds it
// unsuitable for every frame, and its edits are refused, until the device goes.
#pragma once

#include "hostlog.h"
#include "oncenote.h"
#include "simparams.h"

#include <ovdetector.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

class FrameFilter;
class SimFrame;

class FilterGroup final : public ov::IDataFilterGroup
{
public:
    // The device's single filter of a name, or null.
    using Resolve = std::function<FrameFilter*(const std::string& name)>;
    // The members changed (after the change, without a lock held).
    using Changed = std::function<void(FilterGroup& group)>;

    FilterGroup(std::string name, Resolve resolve, Changed changed, LogFn log);
    virtual ~FilterGroup();
    FilterGroup(const FilterGroup&) = delete;
    FilterGroup& operator=(const FilterGroup&) = delete;

    const std::string& name() const { return m_name; }
    std::vector<std::string> members() const;
    // Replaces the members in one change; -1 (nothing changed) when a name is unknown.
    // notify false: no change hook (restoring stored groups).
    int setMembers(const std::vector<std::string>& names, bool notify = true);
    void retire();
    bool retired() const;

    // ov::IDataFilter
    int filterType() override { return ov::DataFilterGroup; }
    int filterName(ov::String& out) override;
    // Every member in turn takes the size the one before it gives.
    bool isSuitable(ov::IMpxFrame* frame) override;
    ov::IMpxFrame* filterFrame(ov::IMpxFrame* frame, unsigned subFrame) override;
    // A group has no parameters of its own: an empty list.
    ov::IParamMgr* filterParams() override { return &m_noParams; }
    bool hasOwnDialog() override { return false; }
    int showOwnDialog() override { return -1; }

    // ov::IDataFilterGroup: -1 for an unknown name or a retired group.
    int addFilterByName(const char* name) override;
    int clearFilters() override;
    int groupFilters(ov::PtrList<ov::IDataFilter*>& out) override;

    // The chain applied to a host frame; null when a member cannot take it (logged once).
    SimFrame* apply(const SimFrame& frame);

private:
    // The member filters now, or false (with why) when the chain cannot take a frame
    // of this size.
    bool chainFor(
        unsigned width, unsigned height, std::vector<FrameFilter*>* chain, QString* why) const;
    void noteUnsuitable(const QString& why);

    const std::string m_name;
    const Resolve m_resolve;
    const Changed m_changed;
    const LogFn m_log;
    SimParamMgr m_noParams;
    OnceNote m_unsuitable;
    mutable std::mutex m_mutex;
    std::vector<FrameFilter*> m_members; // under m_mutex
    bool m_retired = false;              // under m_mutex
};

} // namespace sim
