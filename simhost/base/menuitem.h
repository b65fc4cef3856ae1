// One entry of a host menu tree (ov::IMenuItem): an action, a sub-menu or a separator.
//
// Titles and owners never change after construction. The children of a sub-menu may
// change while the host runs (hot plug), so they are guarded by the mutex of the tree
// the item belongs to, which is shared by all its items.
#pragma once

#include "livecounter.h"

#include <ovcore.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class QObject;

namespace sim {

class MenuItem final : public ov::IMenuItem
{
public:
    enum class Kind {
        Action,
        SubMenu,
        Separator
    };
    using Action = std::function<void()>;

    // guiContext: an object living on the GUI thread; execute() called on another
    // thread queues the action to it. treeMutex guards the children of sub-menus.
    static std::unique_ptr<MenuItem> action(
        std::string title, std::string owner, Action run, QObject* guiContext);
    static std::unique_ptr<MenuItem> subMenu(
        std::string title, std::string owner, std::shared_ptr<std::mutex> treeMutex);
    static std::unique_ptr<MenuItem> separator(std::string owner);

    ~MenuItem() = default;
    MenuItem(const MenuItem&) = delete;
    MenuItem& operator=(const MenuItem&) = delete;

    bool isSubMenu() const override { return m_kind == Kind::SubMenu; }
    bool isSeparator() const override { return m_kind == Kind::Separator; }
    const char* title() const override { return m_title.c_str(); }
    const char* owner() const override { return m_owner.c_str(); }
    void children(ov::PtrList<const ov::IMenuItem*>& out) const override;
    // Runs the action on the GUI thread: at once when called there, otherwise queued
    // (without waiting, so a busy GUI thread cannot dead-lock the caller). Sub-menus
    // and separators do nothing.
    void execute() const override;

    // Sub-menus: the children are owned by the caller (the menu tree), which keeps them
    // alive at least as long as this item.
    void setChildren(std::vector<const MenuItem*> children);
    void appendChild(const MenuItem* child);
    void removeChild(const MenuItem* child);
    std::vector<const MenuItem*> childItems() const;
    // Depth-first search by title; null when absent.
    const MenuItem* find(const std::string& title) const;

private:
    MenuItem(Kind kind, std::string title, std::string owner);

    const Kind m_kind;
    const std::string m_title;
    const std::string m_owner;
    Action m_run;
    QObject* m_guiContext = nullptr;
    std::shared_ptr<std::mutex> m_treeMutex;
    std::vector<const MenuItem*> m_children;
    LiveToken<Counted::MenuItem> m_live;
};

} // namespace sim
