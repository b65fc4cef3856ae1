#include "simhost.h"

#include "filtersettings.h"
#include "simdevices.h"
#include "tpx3hitio.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaObject>

#include <algorithm>

namespace sim {

namespace {

const char* const kNewDevice = "NewDevice";
const char* const kDeviceRemoved = "DeviceRemoved";
constexpr int kHistoryLimit = 10000;

const char* levelName(unsigned level)
{
    switch (level) {
    case ov::LogDebug:
        return "debug";
    case ov::LogInfo:
        return "info";
    case ov::LogWarning:
        return "warning";
    case ov::LogError:
        return "error";
    default:
        return "log";
    }
}

} // namespace

SimHost::SimHost(const QString& homeDir) : m_home(QDir(homeDir).absolutePath())
{
    m_logFn = [this](unsigned level, const QString& text) { log(level, text); };
    m_dataMgr.setLog(m_logFn);
    m_dataMgr.setHitFileReader(&loadTpx3HitFile);
    const bool homeOk = prepareHome();
    m_core = std::make_unique<CoreSettings>(QDir(m_home).filePath(QStringLiteral("orvel.ini")),
        CoreSettings::defaultsFor(m_home), m_logFn);
    if (homeOk && !m_core->error().isEmpty())
        m_error = m_core->error();
    m_settings = std::make_unique<SettingsRegistry>(settingsDir(), m_logFn);
    m_filters = std::make_unique<DataFilterMgr>();
    m_menu = std::make_unique<SimMenu>(*this);
    m_hooks = std::make_unique<UiHooks>(*m_menu);
}

SimHost::~SimHost()
{
    m_dataMgr.setLog(LogFn());
    m_hooks.reset();
    m_menu.reset();
    m_settings->saveAll();
    // The filters hold the devices and the stores they write to; the values are in the
    // stores already.
    m_filters.reset();
    std::vector<std::shared_ptr<SimDevice>> devices;
    {
        std::lock_guard<std::mutex> lock(m_devicesMutex);
        devices.swap(m_devices);
    }
    for (const auto& device : devices)
        device->dropCallbacks();
}

bool SimHost::prepareHome()
{
    const QFileInfo info(m_home);
    if (info.exists() && !info.isDir()) {
        m_error = QStringLiteral("home folder %1 is not a folder").arg(m_home);
        return false;
    }
    QDir dir;
    for (const QString& sub : {QString(), QStringLiteral("samples"), QStringLiteral("help"),
             QStringLiteral("settings"), QStringLiteral("devices")}) {
        const QString path = sub.isEmpty() ? m_home : QDir(m_home).filePath(sub);
        if (!dir.mkpath(path)) {
            m_error = QStringLiteral("cannot create folder %1").arg(path);
            return false;
        }
    }
    // Permission bits do not tell the whole story (root, read-only mounts): try it.
    QFile probe(QDir(m_home).filePath(QStringLiteral(".write-test")));
    if (!probe.open(QIODevice::WriteOnly)) {
        m_error
            = QStringLiteral("home folder %1 is not writable: %2").arg(m_home, probe.errorString());
        return false;
    }
    probe.close();
    probe.remove();
    return true;
}

QString SimHost::settingsDir() const
{
    return QDir(m_home).filePath(QStringLiteral("settings"));
}

QString SimHost::samplesDir() const
{
    return QDir(m_home).filePath(QStringLiteral("samples"));
}

QString SimHost::helpDir() const
{
    return QDir(m_home).filePath(QStringLiteral("help"));
}

QString SimHost::devicesDir() const
{
    return QDir(m_home).filePath(QStringLiteral("devices"));
}

int SimHost::devices(ov::PtrList<ov::IDev*>& out)
{
    out.clear();
    for (const auto& device : deviceList())
        out.add(device->dev());
    return 0;
}

ov::ISettings* SimHost::moduleSettings(const char* module, ov::IDev* dev, int)
{
    if (!module || !*module)
        return nullptr;
    QString key;
    if (dev) {
        ov::String name;
        ov::DevInfo info {};
        dev->deviceName(name);
        dev->deviceInfo(&info);
        key = SettingsRegistry::deviceKey(QString::fromUtf8(name.get()), info.serial);
    }
    return m_settings->settings(QString::fromUtf8(module), key);
}

int SimHost::registerEvent(const char* eventName, ov::EventCallback cb, void* user)
{
    if (!eventName)
        return -1;
    const std::string name(eventName);
    if (name != kNewDevice && name != kDeviceRemoved)
        return -1;
    return m_events.add(eventName, cb, user);
}

int SimHost::registerLogCallback(ov::LogCallback cb, void* user)
{
    return m_logCallbacks.add(cb, user);
}

int SimHost::unregisterLogCallback(ov::LogCallback cb, void* user)
{
    return m_logCallbacks.remove(cb, user);
}

int SimHost::requestExit()
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return -1;
    m_exitRequests.fetch_add(1);
    log(ov::LogInfo, QStringLiteral("Exit requested"));
    // exit() rather than quit(): it also ends nested event loops of the GUI thread.
    QMetaObject::invokeMethod(
        app, []() { QCoreApplication::exit(0); }, Qt::QueuedConnection);
    return 0;
}

ov::IDev* SimHost::connectDevice(const DeviceDesc& desc)
{
    std::shared_ptr<SimDevice> device = createDevice(desc);
    if (!device) {
        log(ov::LogError,
            QStringLiteral("Cannot connect %1: unknown device kind %2")
                .arg(desc.name)
                .arg(desc.kind));
        return nullptr;
    }
    return connectDevice(std::move(device));
}

ov::IDev* SimHost::connectDevice(std::shared_ptr<SimDevice> device)
{
    if (!device)
        return nullptr;
    SimDevice::Attachment attachment;
    attachment.id = m_nextId.fetch_add(1);
    attachment.hostLog
        = [this](unsigned level, const QString& text) { logDeviceLine(level, text); };
    attachment.menu = m_menu->addDevice(attachment.id, device->name(), device->hasTriggerInput());
    const QString key = SettingsRegistry::deviceKey(device->name(), device->serial());
    attachment.configPath = QDir(devicesDir()).filePath(key + QStringLiteral(".cfg"));
    attachment.factoryConfigPath
        = QDir(devicesDir()).filePath(key + QStringLiteral(".factory.cfg"));
    bool mbOk = false;
    const double mb = m_core->value(QLatin1String(CoreSettings::kMaxFrameMemory)).toDouble(&mbOk);
    if (mbOk && mb > 0.0)
        attachment.frameMemoryMb = mb;
    device->attach(attachment);
    if (DataFilterMgr::hasFrames(*device))
        m_filters->addDevice(
            device, m_settings->settings(QLatin1String(filtersettings::kModule), key));
    {
        std::lock_guard<std::mutex> lock(m_devicesMutex);
        m_devices.push_back(device);
    }
    ov::IDev* dev = device->dev();
    log(ov::LogInfo,
        QStringLiteral("Device connected: %1 (sn %2)").arg(device->name()).arg(device->serial()));
    m_events.fire(kNewDevice, reinterpret_cast<long>(dev));
    m_menu->notifyChanged();
    return dev;
}

bool SimHost::removeDevice(ov::IDev* dev)
{
    const std::shared_ptr<SimDevice> device = deviceFor(dev);
    return device && removeDeviceById(device->id());
}

bool SimHost::removeDeviceById(uint64_t id)
{
    std::shared_ptr<SimDevice> device;
    {
        std::lock_guard<std::mutex> lock(m_devicesMutex);
        const auto it = std::find_if(m_devices.begin(), m_devices.end(),
            [id](const std::shared_ptr<SimDevice>& d) { return d->id() == id; });
        if (it == m_devices.end())
            return false;
        device = *it;
        m_devices.erase(it);
    }
    m_menu->removeDevice(id);
    log(ov::LogInfo, QStringLiteral("Device removed: %1").arg(device->name()));
    // Subscribers are done with the device when this returns.
    m_events.fire(kDeviceRemoved, reinterpret_cast<long>(device->dev()));
    m_filters->removeDevice(id);
    m_menu->notifyChanged();
    device->dropCallbacks();
    return true;
}

std::shared_ptr<SimDevice> SimHost::deviceById(uint64_t id) const
{
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    for (const auto& device : m_devices) {
        if (device->id() == id)
            return device;
    }
    return nullptr;
}

std::shared_ptr<SimDevice> SimHost::deviceByName(const QString& name) const
{
    const QString wanted = name.simplified();
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    for (const auto& device : m_devices) {
        if (device->name().compare(wanted, Qt::CaseInsensitive) == 0)
            return device;
    }
    return nullptr;
}

std::shared_ptr<SimDevice> SimHost::deviceFor(ov::IDev* dev) const
{
    if (!dev)
        return nullptr;
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    for (const auto& device : m_devices) {
        if (device->dev() == dev)
            return device;
    }
    return nullptr;
}

std::vector<std::shared_ptr<SimDevice>> SimHost::deviceList() const
{
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    return m_devices;
}

int SimHost::deviceCount() const
{
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    return static_cast<int>(m_devices.size());
}

uint32_t SimHost::unusedSerial() const
{
    std::lock_guard<std::mutex> lock(m_devicesMutex);
    uint32_t serial = 2000;
    bool clash = true;
    while (clash) {
        clash = false;
        for (const auto& device : m_devices) {
            if (device->serial() == serial) {
                ++serial;
                clash = true;
            }
        }
    }
    return serial;
}

int SimHost::triggerDevice(SimDevice& device, const QString& source)
{
    const int answer = device.fireTrigger(source);
    // A taken trigger is routine (one per frame) and goes to the host's own log only; a
    // missed one is news for the user.
    if (answer == TriggerTaken)
        logDeviceLine(ov::LogInfo,
            QStringLiteral("Trigger (%1) to %2: taken by its measurement")
                .arg(source, device.name()));
    else if (answer == TriggerMissed)
        log(ov::LogInfo,
            QStringLiteral("Trigger (%1) to %2: no measurement was waiting for one (counted, "
                           "not kept)")
                .arg(source, device.name()));
    return answer;
}

int SimHost::triggerAll(const QString& source)
{
    int inputs = 0;
    for (const auto& device : deviceList()) {
        if (!device->hasTriggerInput())
            continue;
        ++inputs;
        triggerDevice(*device, source);
    }
    if (inputs == 0)
        log(ov::LogInfo,
            QStringLiteral("Trigger (%1): no connected device has a trigger input").arg(source));
    return inputs;
}

void SimHost::log(unsigned level, const QString& text)
{
    logDeviceLine(level, text);
    const QByteArray utf8 = text.toUtf8();
    m_logCallbacks.call(level, utf8.constData());
}

void SimHost::logDeviceLine(unsigned level, const QString& text)
{
    LogFn echo;
    {
        std::lock_guard<std::mutex> lock(m_historyMutex);
        m_history.append(QStringLiteral("%1: %2").arg(QLatin1String(levelName(level)), text));
        if (m_history.size() > kHistoryLimit)
            m_history.removeFirst();
        echo = m_logEcho;
    }
    if (echo)
        echo(level, text);
}

void SimHost::setLogEcho(LogFn echo)
{
    std::lock_guard<std::mutex> lock(m_historyMutex);
    m_logEcho = std::move(echo);
}

QStringList SimHost::logHistory() const
{
    std::lock_guard<std::mutex> lock(m_historyMutex);
    return m_history;
}

void SimHost::dropCallbacks()
{
    m_events.clear();
    m_logCallbacks.clear();
    m_menu->dropCallbacks();
    for (const auto& device : deviceList())
        device->dropCallbacks();
}

} // namespace sim
