// The host's menu tree, offered to plug-ins through ov::IUiHooks::menuRoot(), and the
// per-device menus of IDev::deviceMenu().
//
//   Orvel
//     Measurement
//       Abort all operations
//     Simulation
//       Connect device      > one item per simulated kind
//       Remove device       > one item per connected device
//       Lock or unlock device > one item per connected device (toggles)
//       Raise warning       > one item per connected device (status 1)
//       Raise error         > one item per connected device (status 2)
//       Clear status        > one item per connected device (status 0)
//       Fire trigger          a trigger pulse to every device with a trigger input
//
// A device's own menu: Reconnect, Abort operation, Clear status, and Fire trigger for a
// device with a trigger input.
//
// Items are never deleted while the tree lives: the items of a removed device are taken
// out of their sub-menus but kept, so a plug-in that still holds one can execute it
// safely (the action then finds no device and does nothing). Actions refer to devices
// by their host id, never by pointer.
#pragma once

#include "callbacks.h"
#include "menuitem.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace sim {

class SimHost;
class SimDevice;

class SimMenu
{
public:
    static constexpr const char* kOwner = "orvelsim";

    explicit SimMenu(SimHost& host);
    ~SimMenu();
    SimMenu(const SimMenu&) = delete;
    SimMenu& operator=(const SimMenu&) = delete;

    const MenuItem* root() const { return m_root; }
    // The item at a path of titles below the root ({"Simulation", "Remove device",
    // "kalbar W0512"}); null when there is none.
    const MenuItem* find(const QStringList& path) const;

    // Adds the items of a device and returns its device menu (owned by this tree).
    const MenuItem* addDevice(uint64_t id, const QString& name, bool triggerInput = false);
    void removeDevice(uint64_t id);

    int registerChanged(ov::EventCallback cb, void* user) { return m_changed.add(cb, user); }
    // Calls the menu-changed callbacks with the root as event data.
    void notifyChanged();
    void dropCallbacks() { m_changed.clear(); }

private:
    MenuItem* keep(std::unique_ptr<MenuItem> item);
    MenuItem* addSubMenu(MenuItem* parent, const char* title);
    MenuItem* addAction(MenuItem* parent, const QString& title, MenuItem::Action run);
    // Runs fn with the device of id, if it is still connected.
    MenuItem::Action onDevice(uint64_t id, std::function<void(SimDevice&)> fn);

    SimHost& m_host;
    std::unique_ptr<QObject> m_context;
    std::shared_ptr<std::mutex> m_treeMutex;
    std::mutex m_itemsMutex;
    std::vector<std::unique_ptr<MenuItem>> m_items;
    std::map<uint64_t, std::vector<std::pair<MenuItem*, const MenuItem*>>> m_deviceItems;
    CallbackList<ov::EventCallback> m_changed;

    MenuItem* m_root = nullptr;
    MenuItem* m_remove = nullptr;
    MenuItem* m_lock = nullptr;
    MenuItem* m_warn = nullptr;
    MenuItem* m_error = nullptr;
    MenuItem* m_clear = nullptr;
};

} // namespace sim
