// The filters of one detector device: its single filters, in a fixed order, and the
// groups made for it, in the order of their creation. Every change of the list or of a
// group fires the device event "FiltersChanged" (data 0), and every parameter and group
// is written to the device's filter settings store as it changes, so that it comes
// back when the host starts again (see filtersettings.h).
//
// Threads: any thread may list, add, remove and edit; events fire without a lock held.
// Filters and groups live as long as this object (removed groups are retired, see
// filtergroup.h), so pointers handed out stay valid while the device is connected.
#pragma once

#include "filtergroup.h"
#include "framefilter.h"

#include <ovcore.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

class SimDevice;
class SimSettings;

class DeviceFilters
{
public:
    // store: where the device's filter settings are kept (may be null: nothing kept);
    // one reference of it is given back when this object goes. What the store holds is
    // restored at once, without events.
    DeviceFilters(std::shared_ptr<SimDevice> device, SimSettings* store);
    ~DeviceFilters();
    DeviceFilters(const DeviceFilters&) = delete;
    DeviceFilters& operator=(const DeviceFilters&) = delete;

    SimDevice& device() const { return *m_device; }
    // The single filters, then (withGroups) the groups.
    void list(ov::PtrList<ov::IDataFilter*>& out, bool withGroups) const;
    std::vector<std::string> groupNames() const;
    FrameFilter* single(const std::string& name) const;
    FilterGroup* group(const std::string& name) const;
    // Whether a single filter or a live group has the name.
    bool nameTaken(const std::string& name) const;

    // A new empty group; null when the name is empty or taken. Fires nothing: the
    // caller calls notifyChanged() once it holds no lock of its own.
    FilterGroup* insertGroup(const std::string& name);
    // Retires a group of this device and fires the event; -1 for a single filter or a
    // filter that is not one of this device's groups.
    int removeGroup(const ov::IDataFilter* filter);
    // Fires "FiltersChanged" on the device.
    void notifyChanged();

private:
    void buildSingles();
    void restore();
    void saveGroups();
    void groupChanged();

    const std::shared_ptr<SimDevice> m_device;
    SimSettings* const m_store;
    std::vector<std::unique_ptr<FrameFilter>> m_singles; // fixed after construction
    std::mutex m_saveMutex; // one writer of the groups section at a time; before m_mutex
    mutable std::mutex m_mutex;
    std::vector<std::unique_ptr<FilterGroup>> m_groups;  // under m_mutex
    std::vector<std::unique_ptr<FilterGroup>> m_retired; // under m_mutex
    bool m_restoring = false;                            // during construction only
};

} // namespace sim
