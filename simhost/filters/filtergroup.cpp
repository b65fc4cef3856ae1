#include "filtergroup.h"

#include "framefilter.h"
#include "resultframe.h"
#include "simframe.h"

namespace sim {

FilterGroup::FilterGroup(std::string name, Resolve resolve, Changed changed, LogFn log)
    : m_name(std::move(name)),
      m_resolve(std::move(resolve)),
      m_changed(std::move(changed)),
      m_log(std::move(log))
{ }

FilterGroup::~FilterGroup() = default;

std::vector<std::string> FilterGroup::members() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> names;
    names.reserve(m_members.size());
    for (const FrameFilter* f : m_members)
        names.push_back(f->name());
    return names;
}

int FilterGroup::setMembers(const std::vector<std::string>& names, bool notify)
{
    std::vector<FrameFilter*> members;
    for (const std::string& name : names) {
        FrameFilter* f = m_resolve(name);
        if (!f)
            return -1;
        members.push_back(f);
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_retired)
            return -1;
        if (members == m_members)
            return 0;
        m_members.swap(members);
    }
    m_unsuitable.clear();
    if (notify && m_changed)
        m_changed(*this);
    return 0;
}

void FilterGroup::retire()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_retired = true;
    m_members.clear();
}

bool FilterGroup::retired() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_retired;
}

int FilterGroup::filterName(ov::String& out)
{
    out.set(m_name.c_str());
    return 0;
}

int FilterGroup::groupFilters(ov::PtrList<ov::IDataFilter*>& out)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (FrameFilter* f : m_members)
        out.add(f);
    return 0;
}

int FilterGroup::addFilterByName(const char* name)
{
    FrameFilter* f = name ? m_resolve(name) : nullptr;
    if (!f)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_retired)
            return -1;
        m_members.push_back(f);
    }
    m_unsuitable.clear();
    if (m_changed)
        m_changed(*this);
    return 0;
}

int FilterGroup::clearFilters()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_retired)
            return -1;
        if (m_members.empty())
            return 0;
        m_members.clear();
    }
    m_unsuitable.clear();
    if (m_changed)
        m_changed(*this);
    return 0;
}

bool FilterGroup::chainFor(
    unsigned width, unsigned height, std::vector<FrameFilter*>* chain, QString* why) const
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_retired) {
            *why = QStringLiteral("the group was removed");
            return false;
        }
        *chain = m_members;
    }
    for (const FrameFilter* f : *chain) {
        QString reason;
        if (!f->acceptsSize(width, height, &reason)) {
            *why = QStringLiteral("%1: %2").arg(QString::fromStdString(f->name()), reason);
            return false;
        }
        f->resultSize(&width, &height);
    }
    return true;
}

void FilterGroup::noteUnsuitable(const QString& why)
{
    if (m_log && m_unsuitable.take(why))
        m_log(ov::LogWarning,
            QStringLiteral("Filter group %1 not applied: %2")
                .arg(QString::fromStdString(m_name), why));
}

bool FilterGroup::isSuitable(ov::IMpxFrame* frame)
{
    const auto* f = dynamic_cast<const SimFrame*>(frame);
    if (!f) {
        if (frame)
            noteUnsuitable(QStringLiteral("the frame was not made by this host"));
        return false;
    }
    std::vector<FrameFilter*> chain;
    QString why;
    if (chainFor(f->width(), f->height(), &chain, &why)) {
        m_unsuitable.clear();
        return true;
    }
    noteUnsuitable(why);
    return false;
}

ov::IMpxFrame* FilterGroup::filterFrame(ov::IMpxFrame* frame, unsigned)
{
    const auto* f = dynamic_cast<const SimFrame*>(frame);
    if (!f) {
        if (frame)
            noteUnsuitable(QStringLiteral("the frame was not made by this host"));
        return nullptr;
    }
    return apply(*f);
}

SimFrame* FilterGroup::apply(const SimFrame& frame)
{
    std::vector<FrameFilter*> chain;
    QString why;
    if (!chainFor(frame.width(), frame.height(), &chain, &why)) {
        noteUnsuitable(why);
        return nullptr;
    }
    if (chain.empty())
        return plainCopy(frame);
    SimFrame* current = nullptr;
    for (FrameFilter* member : chain) {
        SimFrame* next = member->apply(current ? *current : frame);
        if (current)
            current->decRef();
        current = next;
        // The member said why in the log (a setting changed under the chain).
        if (!current)
            return nullptr;
    }
    m_unsuitable.clear();
    return current;
}

} // namespace sim
