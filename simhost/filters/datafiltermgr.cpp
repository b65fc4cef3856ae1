#include "datafiltermgr.h"

#include "simdevice.h"

#include <QString>

#include <algorithm>

namespace sim {

bool DataFilterMgr::hasFrames(const SimDevice& device)
{
    return device.desc().isDetector() || device.kind() == ov::DevKindFile;
}

void DataFilterMgr::addDevice(const std::shared_ptr<SimDevice>& device, SimSettings* store)
{
    auto filters = std::make_shared<DeviceFilters>(device, store);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_devices.push_back(std::move(filters));
}

void DataFilterMgr::removeDevice(uint64_t id)
{
    std::shared_ptr<DeviceFilters> gone;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = std::find_if(m_devices.begin(), m_devices.end(),
            [id](const auto& filters) { return filters->device().id() == id; });
        if (it == m_devices.end())
            return;
        gone = *it;
        m_devices.erase(it);
    }
}

std::vector<std::shared_ptr<DeviceFilters>> DataFilterMgr::all() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_devices;
}

std::shared_ptr<DeviceFilters> DataFilterMgr::filtersOf(const ov::IDev* dev) const
{
    if (!dev)
        return nullptr;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& filters : m_devices)
        if (filters->device().dev() == dev)
            return filters;
    return nullptr;
}

std::shared_ptr<DeviceFilters> DataFilterMgr::filtersById(uint64_t id) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& filters : m_devices)
        if (filters->device().id() == id)
            return filters;
    return nullptr;
}

int DataFilterMgr::addGroup(const char* name)
{
    const std::string text = name ? QString::fromUtf8(name).trimmed().toStdString() : std::string();
    if (text.empty())
        return -1;
    std::vector<std::shared_ptr<DeviceFilters>> added;
    {
        std::lock_guard<std::mutex> adding(m_addMutex);
        const std::vector<std::shared_ptr<DeviceFilters>> devices = all();
        if (devices.empty())
            return -1;
        for (const auto& filters : devices)
            if (filters->nameTaken(text))
                return -1;
        for (const auto& filters : devices)
            if (filters->insertGroup(text))
                added.push_back(filters);
    }
    for (const auto& filters : added)
        filters->notifyChanged();
    return added.empty() ? -1 : 0;
}

int DataFilterMgr::removeFilter(ov::IDev* dev, ov::IDataFilter* filter)
{
    const std::shared_ptr<DeviceFilters> filters = filtersOf(dev);
    return filters && filter ? filters->removeGroup(filter) : -1;
}

int DataFilterMgr::filters(const ov::IDev* dev, ov::PtrList<ov::IDataFilter*>& out, bool withGroups)
{
    const std::shared_ptr<DeviceFilters> filters = filtersOf(dev);
    if (!filters)
        return -1;
    filters->list(out, withGroups);
    return 0;
}

} // namespace sim
