#include "menuitem.h"

#include "guithread.h"

#include <QMetaObject>
#include <QObject>
#include <algorithm>

namespace sim {

MenuItem::MenuItem(Kind kind, std::string title, std::string owner)
    : m_kind(kind), m_title(std::move(title)), m_owner(std::move(owner))
{ }

std::unique_ptr<MenuItem> MenuItem::action(
    std::string title, std::string owner, Action run, QObject* guiContext)
{
    std::unique_ptr<MenuItem> item(new MenuItem(Kind::Action, std::move(title), std::move(owner)));
    item->m_run = std::move(run);
    item->m_guiContext = guiContext;
    return item;
}

std::unique_ptr<MenuItem> MenuItem::subMenu(
    std::string title, std::string owner, std::shared_ptr<std::mutex> treeMutex)
{
    std::unique_ptr<MenuItem> item(new MenuItem(Kind::SubMenu, std::move(title), std::move(owner)));
    item->m_treeMutex = std::move(treeMutex);
    return item;
}

std::unique_ptr<MenuItem> MenuItem::separator(std::string owner)
{
    return std::unique_ptr<MenuItem>(
        new MenuItem(Kind::Separator, std::string(), std::move(owner)));
}

void MenuItem::children(ov::PtrList<const ov::IMenuItem*>& out) const
{
    out.clear();
    for (const MenuItem* child : childItems())
        out.add(child);
}

std::vector<const MenuItem*> MenuItem::childItems() const
{
    if (!m_treeMutex)
        return {};
    std::lock_guard<std::mutex> lock(*m_treeMutex);
    return m_children;
}

void MenuItem::setChildren(std::vector<const MenuItem*> children)
{
    if (!m_treeMutex)
        return;
    std::lock_guard<std::mutex> lock(*m_treeMutex);
    m_children = std::move(children);
}

void MenuItem::appendChild(const MenuItem* child)
{
    if (!m_treeMutex)
        return;
    std::lock_guard<std::mutex> lock(*m_treeMutex);
    m_children.push_back(child);
}

void MenuItem::removeChild(const MenuItem* child)
{
    if (!m_treeMutex)
        return;
    std::lock_guard<std::mutex> lock(*m_treeMutex);
    m_children.erase(std::remove(m_children.begin(), m_children.end(), child), m_children.end());
}

const MenuItem* MenuItem::find(const std::string& title) const
{
    for (const MenuItem* child : childItems()) {
        if (child->m_title == title)
            return child;
        if (const MenuItem* deeper = child->find(title))
            return deeper;
    }
    return nullptr;
}

void MenuItem::execute() const
{
    if (m_kind != Kind::Action || !m_run)
        return;
    if (isGuiThread() || !m_guiContext || !hasApplication()) {
        m_run();
        return;
    }
    // The context object belongs to the tree; if the tree goes away first the queued
    // call is dropped with it.
    const Action run = m_run;
    QMetaObject::invokeMethod(
        m_guiContext, [run]() { run(); }, Qt::QueuedConnection);
}

} // namespace sim
