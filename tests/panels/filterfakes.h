// A data filter manager for the tests of the filters panel and the group dialog: named
// filters that multiply a frame by a factor, groups that chain them, and a host that
// offers the manager. Every call the panel makes is recorded.
#pragma once

#include <nulldevice.h>
#include <simframe.h>

#include <ovcore.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace filtertest {

class FakeFilter : public ov::IDataFilter
{
public:
    FakeFilter(std::string filterName, double filterFactor)
        : name(std::move(filterName)), factor(filterFactor)
    { }
    virtual ~FakeFilter() = default;

    int filterType() override { return ov::DataFilterFrame; }
    int filterName(ov::String& out) override
    {
        out.set(name.c_str());
        return 0;
    }
    bool isSuitable(ov::IMpxFrame*) override { return true; }
    ov::IMpxFrame* filterFrame(ov::IMpxFrame* frame, unsigned) override
    {
        ++filtered;
        ov::IMpxFrame* out = frame->clone();
        out->convertTo(ov::FrameDouble);
        out->scale(factor, 0.0);
        return out;
    }
    ov::IParamMgr* filterParams() override { return nullptr; }
    bool hasOwnDialog() override { return ownDialog; }
    int showOwnDialog() override { return ++ownDialogShown, 0; }

    std::string name;
    double factor;
    bool ownDialog = false;
    int ownDialogShown = 0;
    int filtered = 0;
};

class FakeGroup final : public ov::IDataFilterGroup
{
public:
    FakeGroup(std::string groupName, std::vector<std::unique_ptr<FakeFilter>>* deviceFilters)
        : name(std::move(groupName)), singles(deviceFilters)
    { }
    virtual ~FakeGroup() = default;

    int filterType() override { return ov::DataFilterGroup; }
    int filterName(ov::String& out) override
    {
        out.set(name.c_str());
        return 0;
    }
    bool isSuitable(ov::IMpxFrame*) override { return true; }
    ov::IMpxFrame* filterFrame(ov::IMpxFrame* frame, unsigned sub) override
    {
        ov::IMpxFrame* out = frame->clone();
        for (FakeFilter* f : members) {
            ov::IMpxFrame* next = f->filterFrame(out, sub);
            out->decRef();
            out = next;
        }
        return out;
    }
    ov::IParamMgr* filterParams() override { return nullptr; }
    bool hasOwnDialog() override { return false; }
    int showOwnDialog() override { return -1; }
    int addFilterByName(const char* filterName) override
    {
        for (auto& f : *singles)
            if (f->name == filterName) {
                members.push_back(f.get());
                return 0;
            }
        return -1;
    }
    int clearFilters() override
    {
        members.clear();
        return 0;
    }
    int groupFilters(ov::PtrList<ov::IDataFilter*>& out) override
    {
        for (FakeFilter* f : members)
            out.add(f);
        return 0;
    }

    std::string name;
    std::vector<std::unique_ptr<FakeFilter>>* singles;
    std::vector<FakeFilter*> members;
};

class FakeFilterMgr final : public ov::IDataFilterMgr
{
public:
    virtual ~FakeFilterMgr() = default;

    FakeFilter* addFilter(const std::string& name, double factor)
    {
        singles.push_back(std::make_unique<FakeFilter>(name, factor));
        return singles.back().get();
    }
    int addGroup(const char* name) override
    {
        addGroupCalls.push_back(name);
        groups.push_back(std::make_unique<FakeGroup>(name, &singles));
        return 0;
    }
    int removeFilter(ov::IDev*, ov::IDataFilter* filter) override
    {
        const auto it = std::find_if(groups.begin(), groups.end(),
            [filter](const std::unique_ptr<FakeGroup>& g) { return g.get() == filter; });
        if (it == groups.end())
            return -1;
        // Kept until the test ends, so that a panel still pointing at it is caught by
        // the test's checks rather than by a crash.
        removed.push_back(std::move(*it));
        groups.erase(it);
        return 0;
    }
    int filters(const ov::IDev*, ov::PtrList<ov::IDataFilter*>& out, bool withGroups) override
    {
        ++listed;
        for (auto& f : singles)
            out.add(f.get());
        if (withGroups)
            for (auto& g : groups)
                out.add(g.get());
        return 0;
    }
    FakeGroup* group(size_t i) const { return groups.at(i).get(); }

    std::vector<std::unique_ptr<FakeFilter>> singles;
    std::vector<std::unique_ptr<FakeGroup>> groups;
    std::vector<std::unique_ptr<FakeGroup>> removed;
    std::vector<std::string> addGroupCalls;
    int listed = 0;
};

class FilterHost final : public testdev::NullOrvel
{
public:
    ov::IDataFilterMgr* dataFilterMgr() override { return &mgr; }
    FakeFilterMgr mgr;
};

} // namespace filtertest
