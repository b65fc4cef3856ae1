#include "simdevice.h"

#include <QFileInfo>

#include <cstring>

namespace sim {

SimDevice::SimDevice(const DeviceDesc& desc) : m_desc(desc) { }

SimDevice::~SimDevice() = default;

void SimDevice::attach(const Attachment& attachment)
{
    m_id.store(attachment.id);
    m_menu.store(attachment.menu);
    m_frameMemoryMb.store(attachment.frameMemoryMb);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hostLog = attachment.hostLog;
        m_configPath = attachment.configPath;
        m_factoryConfigPath = attachment.factoryConfigPath;
    }
    attached();
}

int SimDevice::fillDeviceInfo(ov::DevInfo* out) const
{
    if (!out)
        return -1;
    std::memset(out, 0, sizeof(*out));
    const QByteArray word = m_desc.interfaceWord().toLatin1().left(sizeof(out->ifaceName) - 1);
    std::memcpy(out->ifaceName, word.constData(), static_cast<size_t>(word.size()));
    out->kind = m_desc.education ? kEducationRecordKind : 0;
    out->serial = m_desc.serial;
    return 0;
}

int SimDevice::addEventCallback(const char* name, ov::EventCallback cb, void* user)
{
    return m_events.add(name, cb, user);
}

int SimDevice::fireEvent(const char* name, long data)
{
    return deliverEvent(name, data);
}

int SimDevice::deliverEvent(const char* name, long data)
{
    return name ? m_events.fire(name, data) : 0;
}

int SimDevice::addLogCallback(ov::LogCallback cb, void* user)
{
    return m_logCallbacks.add(cb, user);
}

int SimDevice::removeLogCallback(ov::LogCallback cb, void* user)
{
    return m_logCallbacks.remove(cb, user);
}

void SimDevice::log(unsigned level, const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    m_logCallbacks.call(level, utf8.constData());
    hostNote(level, text);
}

void SimDevice::hostNote(unsigned level, const QString& text)
{
    LogFn hostLog;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        hostLog = m_hostLog;
    }
    if (hostLog)
        hostLog(level, m_desc.name + QStringLiteral(": ") + text);
}

void SimDevice::setLocked(bool locked)
{
    if (m_locked.exchange(locked) == locked)
        return;
    log(ov::LogInfo, locked ? QStringLiteral("Locked") : QStringLiteral("Unlocked"));
    fireEvent("LockChanged", locked ? 1 : 0);
}

int SimDevice::statusCode() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_status;
}

QString SimDevice::statusMessage() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_statusText;
}

void SimDevice::setStatus(int code, const QString& text)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_status = code;
        m_statusText = text;
    }
    if (code == StatusWarning)
        log(ov::LogWarning, text);
    else if (code == StatusError)
        log(ov::LogError, text);
    fireEvent("DeviceStatusChanged", code);
}

int SimDevice::requestAbort()
{
    // Said once per request: a caller may repeat its abort until the measurement ends.
    if (!m_abort.exchange(true))
        log(ov::LogInfo, QStringLiteral("Abort requested"));
    return 0;
}

int SimDevice::fireTrigger(const QString&)
{
    return TriggerNoInput;
}

int SimDevice::reopen()
{
    m_reconnects.fetch_add(1);
    clearAbort();
    log(ov::LogInfo, QStringLiteral("Reconnected"));
    setStatus(StatusReady, QStringLiteral("Ready"));
    return 0;
}

int SimDevice::useFactoryConfig()
{
    const QString path = factoryConfigPath();
    if (path.isEmpty() || !QFileInfo(path).isFile()) {
        log(ov::LogError,
            QStringLiteral("No factory configuration for serial %1 (%2)")
                .arg(serial())
                .arg(path.isEmpty() ? QStringLiteral("no configuration folder") : path));
        return -1;
    }
    const int rc = applyFactoryConfig(path);
    if (rc != 0)
        return rc;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_configPath = path;
    }
    log(ov::LogInfo, QStringLiteral("Factory configuration loaded (%1)").arg(path));
    fireEvent("DeviceCfgChanged", 0);
    return 0;
}

int SimDevice::applyFactoryConfig(const QString&)
{
    return 0;
}

QString SimDevice::factoryConfigPath() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_factoryConfigPath;
}

QString SimDevice::configPath() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_configPath;
}

void SimDevice::dropCallbacks()
{
    m_events.clear();
    m_logCallbacks.clear();
}

} // namespace sim
