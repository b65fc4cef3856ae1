#include "settingsregistry.h"

#include <QDir>
#include <QFileInfo>

namespace sim {

SettingsRegistry::SettingsRegistry(const QString& root, LogFn log)
    : m_root(root), m_log(std::move(log))
{ }

SettingsRegistry::~SettingsRegistry() = default;

QString SettingsRegistry::safeFileName(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        const bool keep = (c.unicode() < 128 && c.isLetterOrNumber()) || c == QLatin1Char('-')
            || c == QLatin1Char('_') || c == QLatin1Char('.');
        out += keep ? c : QLatin1Char('_');
    }
    if (out.isEmpty() || out == QLatin1String(".") || out == QLatin1String(".."))
        out = QStringLiteral("_") + out;
    return out;
}

QString SettingsRegistry::deviceKey(const QString& deviceName, uint32_t serial)
{
    return safeFileName(QStringLiteral("%1_sn%2").arg(deviceName.trimmed()).arg(serial));
}

SimSettings* SettingsRegistry::createLocked(
    const QString& module, const QString& deviceKey, QString* message)
{
    const auto id = std::make_pair(module, deviceKey);
    const auto found = m_stores.find(id);
    if (found != m_stores.end())
        return found->second.get();

    const QString folder = QDir(m_root).filePath(safeFileName(module));
    ini::Values defaults;
    QString fileName = QStringLiteral("generic.ini");
    QString label = module + QStringLiteral(" (generic)");
    if (!deviceKey.isEmpty()) {
        // A device without stored settings of its own begins with the module's generic
        // ones; that is also what a corrupt device file falls back to.
        defaults = createLocked(module, QString(), message)->values();
        fileName = safeFileName(deviceKey) + QStringLiteral(".ini");
        label = module + QStringLiteral(" / ") + deviceKey;
    }
    auto store
        = std::make_unique<SimSettings>(QDir(folder).filePath(fileName), label, defaults, m_log);
    QString problem;
    store->loadQuiet(&problem);
    if (!problem.isEmpty() && message)
        *message += (message->isEmpty() ? QString() : QStringLiteral("\n")) + problem;
    SimSettings* result = store.get();
    m_stores.emplace(id, std::move(store));
    return result;
}

SimSettings* SettingsRegistry::settings(const QString& module, const QString& deviceKey)
{
    if (module.trimmed().isEmpty())
        return nullptr;
    QString message;
    SimSettings* store = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        store = createLocked(module, deviceKey, &message);
        store->addRef();
    }
    // Logged outside the lock: a log callback may ask for settings itself.
    if (!message.isEmpty() && m_log) {
        for (const QString& line : message.split(QLatin1Char('\n')))
            m_log(ov::LogWarning, line);
    }
    return store;
}

int SettingsRegistry::saveAll()
{
    std::vector<SimSettings*> stores;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& entry : m_stores)
            stores.push_back(entry.second.get());
    }
    // Stores are never removed before the registry dies, so the pointers stay valid.
    int rc = 0;
    for (SimSettings* store : stores) {
        if (store->save() != 0)
            rc = -1;
    }
    return rc;
}

int SettingsRegistry::storeCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(m_stores.size());
}

} // namespace sim
