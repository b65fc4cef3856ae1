// The host's filter manager (ov::IDataFilterMgr): the filters of every connected device
// that has frames (the detectors and the file device), one DeviceFilters each.
//
// addGroup has no device: it adds an empty group of that name to every such device
// connected now, and is refused (-1, nothing added) when the name is empty, already
// used by a filter or group of one of them, or when no such device is connected.
// removeFilter removes a group of one device; single filters cannot be removed.
//
// The host adds a device's filters when it connects the device (before anyone can see
// it) and drops them after "DeviceRemoved" has returned, when no page holds them.
#pragma once

#include "devicefilters.h"

#include <ovcore.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace sim {

class SimDevice;
class SimSettings;

class DataFilterMgr final : public ov::IDataFilterMgr
{
public:
    DataFilterMgr() = default;
    ~DataFilterMgr() = default;
    DataFilterMgr(const DataFilterMgr&) = delete;
    DataFilterMgr& operator=(const DataFilterMgr&) = delete;

    // Whether a device gets filters: it has frames.
    static bool hasFrames(const SimDevice& device);
    // Makes the device's filters and restores them from store (see DeviceFilters).
    void addDevice(const std::shared_ptr<SimDevice>& device, SimSettings* store);
    void removeDevice(uint64_t id);
    std::shared_ptr<DeviceFilters> filtersOf(const ov::IDev* dev) const;
    std::shared_ptr<DeviceFilters> filtersById(uint64_t id) const;

    // ov::IDataFilterMgr
    int addGroup(const char* name) override;
    int removeFilter(ov::IDev* dev, ov::IDataFilter* filter) override;
    // -1 (and an empty list) for a device without filters.
    int filters(const ov::IDev* dev, ov::PtrList<ov::IDataFilter*>& out, bool withGroups) override;

private:
    std::vector<std::shared_ptr<DeviceFilters>> all() const;

    std::mutex m_addMutex; // one addGroup at a time, so its check holds for its adds
    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<DeviceFilters>> m_devices; // under m_mutex
};

} // namespace sim
