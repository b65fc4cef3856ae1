#include "simmenu.h"

#include "guithread.h"
#include "simdevice.h"
#include "simhost.h"

namespace sim {

SimMenu::SimMenu(SimHost& host)
    : m_host(host), m_context(makeGuiContext()), m_treeMutex(std::make_shared<std::mutex>())
{
    m_root = keep(MenuItem::subMenu("Orvel", kOwner, m_treeMutex));

    MenuItem* measurement = addSubMenu(m_root, "Measurement");
    addAction(measurement, QStringLiteral("Abort all operations"), [this]() {
        for (const auto& device : m_host.deviceList())
            device->requestAbort();
    });

    MenuItem* simulation = addSubMenu(m_root, "Simulation");
    MenuItem* connect = addSubMenu(simulation, "Connect device");
    for (const KindInfo& info : deviceKinds()) {
        const int kind = info.kind;
        addAction(connect, QLatin1String(info.label),
            [this, kind]() { m_host.connectDevice(makeDeviceDesc(kind, m_host.unusedSerial())); });
    }
    m_remove = addSubMenu(simulation, "Remove device");
    m_lock = addSubMenu(simulation, "Lock or unlock device");
    m_warn = addSubMenu(simulation, "Raise warning");
    m_error = addSubMenu(simulation, "Raise error");
    m_clear = addSubMenu(simulation, "Clear status");
    addAction(simulation, QStringLiteral("Fire trigger"),
        [this]() { m_host.triggerAll(QStringLiteral("menu")); });
}

SimMenu::~SimMenu() = default;

MenuItem* SimMenu::keep(std::unique_ptr<MenuItem> item)
{
    MenuItem* raw = item.get();
    std::lock_guard<std::mutex> lock(m_itemsMutex);
    m_items.push_back(std::move(item));
    return raw;
}

MenuItem* SimMenu::addSubMenu(MenuItem* parent, const char* title)
{
    MenuItem* item = keep(MenuItem::subMenu(title, kOwner, m_treeMutex));
    parent->appendChild(item);
    return item;
}

MenuItem* SimMenu::addAction(MenuItem* parent, const QString& title, MenuItem::Action run)
{
    MenuItem* item
        = keep(MenuItem::action(title.toStdString(), kOwner, std::move(run), m_context.get()));
    parent->appendChild(item);
    return item;
}

MenuItem::Action SimMenu::onDevice(uint64_t id, std::function<void(SimDevice&)> fn)
{
    return [this, id, fn]() {
        // The shared pointer keeps the device alive while fn runs, even if another
        // thread removes it meanwhile.
        if (const std::shared_ptr<SimDevice> device = m_host.deviceById(id))
            fn(*device);
    };
}

const MenuItem* SimMenu::addDevice(uint64_t id, const QString& name, bool triggerInput)
{
    std::vector<std::pair<MenuItem*, const MenuItem*>> placed;
    auto place = [&](MenuItem* parent, MenuItem::Action run) {
        placed.emplace_back(parent, addAction(parent, name, std::move(run)));
    };
    place(m_remove, [this, id]() { m_host.removeDeviceById(id); });
    place(m_lock, onDevice(id, [](SimDevice& d) { d.setLocked(!d.locked()); }));
    place(m_warn, onDevice(id, [](SimDevice& d) {
        d.setStatus(StatusWarning, QStringLiteral("Simulated warning"));
    }));
    place(m_error, onDevice(id, [](SimDevice& d) {
        d.setStatus(StatusError, QStringLiteral("Simulated error"));
    }));
    place(m_clear,
        onDevice(id, [](SimDevice& d) { d.setStatus(StatusReady, QStringLiteral("Ready")); }));

    // The device's own menu.
    MenuItem* deviceRoot = keep(MenuItem::subMenu(name.toStdString(), kOwner, m_treeMutex));
    addAction(
        deviceRoot, QStringLiteral("Reconnect"), onDevice(id, [](SimDevice& d) { d.reopen(); }));
    addAction(deviceRoot, QStringLiteral("Abort operation"),
        onDevice(id, [](SimDevice& d) { d.requestAbort(); }));
    addAction(deviceRoot, QStringLiteral("Clear status"),
        onDevice(id, [](SimDevice& d) { d.setStatus(StatusReady, QStringLiteral("Ready")); }));
    if (triggerInput)
        addAction(deviceRoot, QStringLiteral("Fire trigger"), onDevice(id, [this](SimDevice& d) {
            m_host.triggerDevice(d, QStringLiteral("menu"));
        }));

    std::lock_guard<std::mutex> lock(m_itemsMutex);
    m_deviceItems[id] = std::move(placed);
    return deviceRoot;
}

void SimMenu::removeDevice(uint64_t id)
{
    std::vector<std::pair<MenuItem*, const MenuItem*>> placed;
    {
        std::lock_guard<std::mutex> lock(m_itemsMutex);
        const auto it = m_deviceItems.find(id);
        if (it == m_deviceItems.end())
            return;
        placed = std::move(it->second);
        m_deviceItems.erase(it);
    }
    for (const auto& [parent, item] : placed)
        parent->removeChild(item);
}

const MenuItem* SimMenu::find(const QStringList& path) const
{
    const MenuItem* current = m_root;
    for (const QString& title : path) {
        const std::string wanted = title.toStdString();
        const MenuItem* next = nullptr;
        for (const MenuItem* child : current->childItems()) {
            if (wanted == child->title()) {
                next = child;
                break;
            }
        }
        if (!next)
            return nullptr;
        current = next;
    }
    return current;
}

void SimMenu::notifyChanged()
{
    m_changed.call(reinterpret_cast<long>(static_cast<const ov::IMenuItem*>(m_root)));
}

} // namespace sim
