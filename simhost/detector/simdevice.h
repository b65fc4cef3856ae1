// The host-side state of a simulated device, independent of the device interface it
// shows to plug-ins (see devicebase.h for how the two are joined).
//
// All state may be read and changed from any thread: plain values are atomic, the rest
// is guarded by a mutex that is never held while a callback runs.
#pragma once

#include "callbacks.h"
#include "deviceset.h"
#include "hostlog.h"
#include "livecounter.h"

#include <ovcore.h>

#include <QString>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace sim {

// Status codes of IDev::status().
enum DeviceStatus : int {
    StatusReady = 0,
    StatusWarning = 1,
    StatusError = 2,
};

// What became of a trigger sent to a device's hardware trigger input.
enum TriggerAnswer : int {
    TriggerNoInput = -1, // the device has no trigger input
    TriggerNoEdge = 0,   // a level change of the input that is not the trigger edge
    TriggerMissed = 1,   // counted, but no measurement waited for it (it is not kept)
    TriggerTaken = 2,    // a waiting measurement took it
};

class SimDevice
{
public:
    explicit SimDevice(const DeviceDesc& desc);
    virtual ~SimDevice();
    SimDevice(const SimDevice&) = delete;
    SimDevice& operator=(const SimDevice&) = delete;

    // The device interface handed to plug-ins.
    virtual ov::IDev* dev() = 0;

    const DeviceDesc& desc() const { return m_desc; }
    int kind() const { return m_desc.kind; }
    QString name() const { return m_desc.name; }
    uint32_t serial() const { return m_desc.serial; }

    // Set by the host when it connects the device, before anyone else can see it.
    struct Attachment
    {
        uint64_t id = 0; // unique for the host's lifetime
        LogFn hostLog;
        const ov::IMenuItem* menu = nullptr;
        QString configPath;
        QString factoryConfigPath;
        double frameMemoryMb = 4096.0; // "MaxFrameMemory" of the core settings
    };
    void attach(const Attachment& attachment);
    uint64_t id() const { return m_id; }
    // Memory the device may keep for the frames of its last measurement, in MB.
    double frameMemoryMb() const { return m_frameMemoryMb.load(); }
    void setFrameMemoryMb(double mb) { m_frameMemoryMb.store(mb); }

    // Record of IDev::deviceInfo: interface word (at most 7 characters, always
    // NUL-terminated) at byte 0, record kind at byte 8 (0, or 22 for an education
    // device), serial at byte 16; the reserved fields are 0.
    int fillDeviceInfo(ov::DevInfo* out) const;

    // Named device events ("LockChanged", "DeviceStatusChanged", ...).
    int addEventCallback(const char* name, ov::EventCallback cb, void* user);
    // Raises an event. Here: calls every subscriber of name on the calling thread and
    // returns how many; a device with its own event delivery may queue it instead.
    virtual int fireEvent(const char* name, long data);
    // Calls every subscriber of name on the calling thread; returns how many.
    int deliverEvent(const char* name, long data);

    // Log lines go to the device's own callbacks and, prefixed with the device name, to
    // the host log.
    int addLogCallback(ov::LogCallback cb, void* user);
    int removeLogCallback(ov::LogCallback cb, void* user);
    void log(unsigned level, const QString& text);
    // A line for the host log only: what the device does routinely, which its user need
    // not be shown each time (a device line opens the plug-in's message pane).
    void hostNote(unsigned level, const QString& text);

    bool locked() const { return m_locked.load(); }
    // Fires "LockChanged" (data 1 locked, 0 unlocked) when the state changes.
    void setLocked(bool locked);

    int statusCode() const;
    QString statusMessage() const;
    // Fires "DeviceStatusChanged" with the code as data; warnings and errors are logged.
    void setStatus(int code, const QString& text);

    // Asks the running operation to stop; the operation polls abortRequested().
    virtual int requestAbort();
    bool abortRequested() const { return m_abort.load(); }
    // Sets the abort flag without a log line (for a device going away, when the host's
    // log may already be gone).
    void raiseAbortFlag() { m_abort.store(true); }
    void clearAbort() { m_abort.store(false); }

    // The hardware trigger input of detectors that have one. fireTrigger sends one
    // trigger pulse from the host side (any thread); source says where it came from
    // ("host", "menu", "script"). Devices without an input answer TriggerNoInput.
    virtual bool hasTriggerInput() const { return false; }
    virtual int fireTrigger(const QString& source);
    int fireTrigger() { return fireTrigger(QStringLiteral("host")); }
    // True while a measurement of the device waits for a trigger.
    virtual bool waitingForTrigger() const { return false; }

    // Re-opens the device: clears the status to ready and the abort flag.
    virtual int reopen();
    int reconnectCount() const { return m_reconnects.load(); }

    // Loads the factory configuration file (applyFactoryConfig) and makes it the
    // device's configuration file; fires "DeviceCfgChanged". Without a factory file for
    // this device: -1 and an error line in the log.
    int useFactoryConfig();
    QString configPath() const;
    QString factoryConfigPath() const;
    const ov::IMenuItem* menu() const { return m_menu.load(); }

    // Forgets every callback (the plug-in that registered them is gone).
    void dropCallbacks();

protected:
    // Called at the end of attach(), when the configuration paths are known.
    virtual void attached() { }
    // Takes the settings of an existing factory configuration file; 0 or a negative
    // code. Devices without settings files take nothing.
    virtual int applyFactoryConfig(const QString& path);

private:
    const DeviceDesc m_desc;
    std::atomic<uint64_t> m_id {0};
    std::atomic<double> m_frameMemoryMb {4096.0};
    std::atomic<const ov::IMenuItem*> m_menu {nullptr};
    EventTable m_events;
    CallbackList<ov::LogCallback> m_logCallbacks;
    std::atomic<bool> m_locked {false};
    std::atomic<bool> m_abort {false};
    std::atomic<int> m_reconnects {0};

    mutable std::mutex m_mutex;
    LogFn m_hostLog;
    int m_status = StatusReady;
    QString m_statusText = QStringLiteral("Ready");
    QString m_configPath;
    QString m_factoryConfigPath;

    LiveToken<Counted::Device> m_live;
};

} // namespace sim
