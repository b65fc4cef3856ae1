#include "devicefilters.h"

#include "binningfilter.h"
#include "darkfilter.h"
#include "filtersettings.h"
#include "flatfieldfilter.h"
#include "hotpixelfilter.h"
#include "medianfilter.h"
#include "simdevice.h"
#include "simsettings.h"

#include <algorithm>

namespace sim {

namespace {

const char* const kFiltersChanged = "FiltersChanged";

} // namespace

DeviceFilters::DeviceFilters(std::shared_ptr<SimDevice> device, SimSettings* store)
    : m_device(std::move(device)), m_store(store)
{
    buildSingles();
    restore();
}

DeviceFilters::~DeviceFilters()
{
    if (m_store)
        m_store->release();
}

void DeviceFilters::buildSingles()
{
    m_singles.push_back(std::make_unique<DarkFilter>());
    m_singles.push_back(std::make_unique<FlatFieldFilter>());
    m_singles.push_back(std::make_unique<HotPixelFilter>());
    m_singles.push_back(std::make_unique<MedianFilter>());
    m_singles.push_back(std::make_unique<BinningFilter>());
    SimDevice* device = m_device.get();
    for (const auto& filter : m_singles) {
        filter->setLog([device](unsigned level, const QString& text) { device->log(level, text); });
        filter->setParamWritten([this](const FrameFilter& f, const SimParam& param) {
            if (m_store && !m_restoring)
                m_store->setString(f.name().c_str(), param.name(), param.asText().c_str());
        });
    }
}

void DeviceFilters::restore()
{
    if (!m_store)
        return;
    m_restoring = true;
    const ini::Values values = m_store->values();
    QStringList names;
    for (const auto& filter : m_singles)
        names << QString::fromStdString(filter->name());
    QStringList problems;
    for (const filtersettings::StoredParam& p :
        filtersettings::readParams(values, names, &problems)) {
        QString why;
        if (single(p.filter)->writeParam(p.param, p.value, &why) < 0)
            problems << QStringLiteral("%1, parameter %2 skipped: %3")
                            .arg(QString::fromStdString(p.filter), QString::fromStdString(p.param),
                                why);
    }
    const std::vector<filtersettings::StoredGroup> groups
        = filtersettings::readGroups(values, &problems);
    for (const filtersettings::StoredGroup& stored : groups) {
        const QString name = QString::fromStdString(stored.name);
        FilterGroup* group = insertGroup(stored.name);
        if (!group) {
            problems << QStringLiteral("group '%1' skipped: a filter has that name").arg(name);
            continue;
        }
        if (group->setMembers(stored.members, false) != 0) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_groups.pop_back();
            problems << QStringLiteral("group '%1' skipped: a member is not a filter of the device")
                            .arg(name);
        }
    }
    m_restoring = false;
    for (const QString& problem : problems)
        m_device->log(ov::LogWarning, QStringLiteral("Stored filter settings: %1").arg(problem));
    // What was skipped is not written back.
    if (!problems.isEmpty())
        saveGroups();
}

void DeviceFilters::list(ov::PtrList<ov::IDataFilter*>& out, bool withGroups) const
{
    for (const auto& filter : m_singles)
        out.add(filter.get());
    if (!withGroups)
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& group : m_groups)
        out.add(group.get());
}

std::vector<std::string> DeviceFilters::groupNames() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> names;
    for (const auto& group : m_groups)
        names.push_back(group->name());
    return names;
}

FrameFilter* DeviceFilters::single(const std::string& name) const
{
    for (const auto& filter : m_singles)
        if (filter->name() == name)
            return filter.get();
    return nullptr;
}

FilterGroup* DeviceFilters::group(const std::string& name) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& group : m_groups)
        if (group->name() == name)
            return group.get();
    return nullptr;
}

bool DeviceFilters::nameTaken(const std::string& name) const
{
    return single(name) || group(name);
}

FilterGroup* DeviceFilters::insertGroup(const std::string& name)
{
    if (name.empty() || single(name))
        return nullptr;
    FilterGroup* made = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (std::any_of(m_groups.begin(), m_groups.end(),
                [&name](const auto& group) { return group->name() == name; }))
            return nullptr;
        SimDevice* device = m_device.get();
        m_groups.push_back(std::make_unique<FilterGroup>(
            name, [this](const std::string& member) { return single(member); },
            [this](FilterGroup&) { groupChanged(); },
            [device](unsigned level, const QString& text) { device->log(level, text); }));
        made = m_groups.back().get();
    }
    saveGroups();
    return made;
}

int DeviceFilters::removeGroup(const ov::IDataFilter* filter)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = std::find_if(m_groups.begin(), m_groups.end(),
            [filter](const auto& group) { return group.get() == filter; });
        if (it == m_groups.end())
            return -1;
        (*it)->retire();
        m_retired.push_back(std::move(*it));
        m_groups.erase(it);
    }
    saveGroups();
    notifyChanged();
    return 0;
}

void DeviceFilters::groupChanged()
{
    saveGroups();
    notifyChanged();
}

void DeviceFilters::notifyChanged()
{
    m_device->fireEvent(kFiltersChanged, 0);
}

void DeviceFilters::saveGroups()
{
    if (!m_store || m_restoring)
        return;
    std::lock_guard<std::mutex> saving(m_saveMutex);
    std::vector<filtersettings::StoredGroup> groups;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& group : m_groups)
            groups.push_back({group->name(), group->members()});
    }
    const char* section = filtersettings::kGroups;
    const int before = m_store->getInt(section, "Count", 0);
    const QMap<QString, QString> keys = filtersettings::groupsSection(groups);
    for (auto it = keys.cbegin(); it != keys.cend(); ++it)
        m_store->setString(section, it.key().toUtf8().constData(), it.value().toUtf8().constData());
    // Entries of groups that are gone are emptied (a store cannot drop a key).
    for (int i = int(groups.size()) + 1; i <= before; ++i) {
        m_store->setString(section, QStringLiteral("Name%1").arg(i).toUtf8().constData(), "");
        m_store->setString(section, QStringLiteral("Members%1").arg(i).toUtf8().constData(), "");
    }
}

} // namespace sim
