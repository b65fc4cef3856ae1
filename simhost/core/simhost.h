// The simulated host: the ov::IOrvel that plug-ins see, with its home folder, settings,
// devices, events, log, menus and UI hooks.
//
// Home folder layout (created when missing):
//   <home>/orvel.ini           core settings (ov::ICoreSettings)
//   <home>/samples/            data replayed by the file device
//   <home>/help/               the user manual
//   <home>/settings/<module>/  module settings (generic.ini, <device key>.ini)
//   <home>/devices/            device configuration files
//
// Thread safety: every operation may be called from any thread. Callbacks registered by
// plug-ins are called on the thread that causes the event, never with a host lock held.
#pragma once

#include "callbacks.h"
#include "coresettings.h"
#include "datafiltermgr.h"
#include "deviceset.h"
#include "settingsregistry.h"
#include "simdatamgr.h"
#include "simdevice.h"
#include "simmenu.h"
#include "uihooks.h"

#include <ovcore.h>

#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace sim {

class SimHost final : public ov::IOrvel
{
public:
    // Prepares the home folder; check error() afterwards.
    explicit SimHost(const QString& homeDir);
    // Saves all settings and destroys the devices, without firing any event: by then
    // the plug-ins are closed.
    ~SimHost();
    SimHost(const SimHost&) = delete;
    SimHost& operator=(const SimHost&) = delete;

    // Empty when the home folder is usable; otherwise why not (the host still works,
    // but nothing it writes will persist).
    QString error() const { return m_error; }
    QString homeDir() const { return m_home; }
    QString settingsDir() const;
    QString samplesDir() const;
    QString helpDir() const;
    QString devicesDir() const;
    CoreSettings& coreSettings() { return *m_core; }
    SettingsRegistry& settingsRegistry() { return *m_settings; }
    SimMenu& menu() { return *m_menu; }

    // ov::IOrvel
    using ov::IOrvel::devices;
    int devices(ov::PtrList<ov::IDev*>& out) override;
    // The store of module for dev (null dev: the module's generic store). Same object
    // for the same module and device (name and serial); flag is not used.
    ov::ISettings* moduleSettings(const char* module, ov::IDev* dev, int flag = 0) override;
    ov::ICoreSettings* settingsStore() override { return m_core.get(); }
    // The data manager makes frames, knows the file types and loads files.
    ov::IDataMgr* dataMgr() override { return &m_dataMgr; }
    // The filters of the devices that have frames (see docs/filters.md); their settings
    // are kept in the module "filters" of the settings registry, per device.
    ov::IDataFilterMgr* dataFilterMgr() override { return m_filters.get(); }
    DataFilterMgr& filterMgr() { return *m_filters; }
    // Only "NewDevice" and "DeviceRemoved" exist at host level; other names give -1.
    int registerEvent(const char* eventName, ov::EventCallback cb, void* user) override;
    int registerLogCallback(ov::LogCallback cb, void* user) override;
    int unregisterLogCallback(ov::LogCallback cb, void* user) override;
    ov::IUiHooks* uiHooks() override { return m_hooks.get(); }
    // Queues a quit of the application to the GUI thread; -1 without an application.
    int requestExit() override;

    // Devices. connectDevice adds a device and fires "NewDevice" (event data: the
    // ov::IDev*) on the calling thread; null for an unknown kind.
    ov::IDev* connectDevice(const DeviceDesc& desc);
    ov::IDev* connectDevice(std::shared_ptr<SimDevice> device);
    // Takes the device out of the list, fires "DeviceRemoved" on the calling thread and
    // waits for it to return, and only then lets the device go. False when unknown.
    bool removeDevice(ov::IDev* dev);
    bool removeDeviceById(uint64_t id);
    std::shared_ptr<SimDevice> deviceById(uint64_t id) const;
    std::shared_ptr<SimDevice> deviceByName(const QString& name) const;
    std::shared_ptr<SimDevice> deviceFor(ov::IDev* dev) const;
    std::vector<std::shared_ptr<SimDevice>> deviceList() const;
    int deviceCount() const;
    // A serial number no connected device has.
    uint32_t unusedSerial() const;

    // Hardware triggers from the host's side (menu, script): a trigger pulse to one
    // device, or to every connected device that has a trigger input. Each device
    // answers a TriggerAnswer, and the host log says what became of the trigger.
    // triggerAll gives how many devices have an input.
    int triggerDevice(SimDevice& device, const QString& source);
    int triggerAll(const QString& source);

    // Log: the host's own lines go to the registered callbacks in order, to the echo
    // and to the history.
    void log(unsigned level, const QString& text);
    // A device's line, already given to the device's own callbacks: it goes to the echo
    // and the history with the device's name, not to the host's callbacks, since a page
    // that listens to its device and to the host would see it twice.
    void logDeviceLine(unsigned level, const QString& text);
    // Where the host's console gets every line, of the host and of its devices; kept
    // when the plug-ins' callbacks are dropped.
    void setLogEcho(LogFn echo);
    // The most recent lines (at most 10000), as "<level>: <text>".
    QStringList logHistory() const;

    int saveAllSettings() { return m_settings->saveAll(); }
    // Forgets every callback registered by plug-ins, at host and device level; called
    // when the plug-ins have closed, as the contract has no way to unregister events.
    void dropCallbacks();
    int exitRequests() const { return m_exitRequests.load(); }

private:
    bool prepareHome();

    QString m_home;
    QString m_error;
    LogFn m_logFn;
    std::unique_ptr<CoreSettings> m_core;
    std::unique_ptr<SettingsRegistry> m_settings;
    // Holds settings stores of the registry: made after it, gone before it.
    std::unique_ptr<DataFilterMgr> m_filters;
    SimDataMgr m_dataMgr;
    EventTable m_events;
    CallbackList<ov::LogCallback> m_logCallbacks;
    LogFn m_logEcho; // under m_historyMutex
    std::atomic<int> m_exitRequests {0};
    std::atomic<uint64_t> m_nextId {1};

    mutable std::mutex m_devicesMutex;
    std::vector<std::shared_ptr<SimDevice>> m_devices;

    mutable std::mutex m_historyMutex;
    QStringList m_history;

    // Built last and destroyed first: they call back into the host.
    std::unique_ptr<SimMenu> m_menu;
    std::unique_ptr<UiHooks> m_hooks;
};

} // namespace sim
