#include "coresettings.h"

#include "inifile.h"

#include <QDir>
#include <QFile>
#include <QSettings>

#ifndef ORVEL_VERSION
#define ORVEL_VERSION "0.0.0"
#endif

namespace sim {

namespace {

// Where a key stands in the file: "MaxFrameMemory" in group "Settings", where the
// plug-in reads it directly; every other key in [General].
QString fileKey(const QString& key)
{
    if (key == QLatin1String(CoreSettings::kMaxFrameMemory))
        return QStringLiteral("Settings/") + key;
    return key;
}

} // namespace

QMap<QString, QString> CoreSettings::defaultsFor(const QString& homeDir)
{
    return {
        {QLatin1String(kMainUi), QStringLiteral("devcontrol")},
        {QLatin1String(kVersion), QStringLiteral(ORVEL_VERSION)},
        {QLatin1String(kCreateFileDevice), QStringLiteral("false")},
        {QLatin1String(kApplicationDirectory), QDir(homeDir).absolutePath()},
        {QLatin1String(kMaxFrameMemory), QStringLiteral("4096")},
    };
}

CoreSettings::CoreSettings(const QString& path, const QMap<QString, QString>& defaults, LogFn log)
    : m_path(path), m_log(std::move(log))
{
    bool dirty = false;
    QFile file(path);
    if (!file.exists()) {
        dirty = true;
    } else if (!file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
    } else {
        // The structural check catches damage that QSettings would silently skip.
        ini::Values parsed;
        const ini::ReadResult check = ini::parse(file.readAll(), parsed);
        file.close();
        QSettings settings(path, QSettings::IniFormat);
        if (check.status != ini::Status::Ok || settings.status() != QSettings::NoError) {
            const QString why
                = check.status != ini::Status::Ok ? check.message : QStringLiteral("format error");
            if (m_log)
                m_log(ov::LogWarning,
                    QStringLiteral("Core settings %1 are corrupt (%2); using defaults")
                        .arg(path, why));
            dirty = true;
        } else {
            QStringList keys = settings.childKeys();
            if (settings.contains(fileKey(QLatin1String(kMaxFrameMemory))))
                keys.append(QLatin1String(kMaxFrameMemory));
            for (const QString& key : keys) {
                const QVariant v = settings.value(fileKey(key));
                m_values[key] = v.typeId() == QMetaType::QStringList
                    ? v.toStringList().join(QLatin1Char(','))
                    : v.toString();
            }
        }
    }
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it) {
        if (!m_values.contains(it.key())) {
            m_values.insert(it.key(), it.value());
            dirty = true;
        }
    }
    if (dirty && m_error.isEmpty()) {
        std::lock_guard<std::mutex> lock(m_mutex);
        writeLocked();
    }
}

bool CoreSettings::writeLocked()
{
    // Start from an empty file so that a corrupt one is replaced as a whole.
    QFile::remove(m_path);
    QSettings settings(m_path, QSettings::IniFormat);
    settings.clear();
    for (auto it = m_values.cbegin(); it != m_values.cend(); ++it)
        settings.setValue(fileKey(it.key()), it.value());
    settings.sync();
    if (settings.status() != QSettings::NoError) {
        m_error = QStringLiteral("cannot write %1").arg(m_path);
        return false;
    }
    m_error.clear();
    return true;
}

bool CoreSettings::getBool(const char* key)
{
    const QString v = value(QString::fromUtf8(key ? key : "")).trimmed().toLower();
    return v == QLatin1String("true") || v == QLatin1String("1") || v == QLatin1String("yes")
        || v == QLatin1String("on");
}

int CoreSettings::getString(const char* key, ov::IString* out)
{
    if (!out)
        return -1;
    const QString k = QString::fromUtf8(key ? key : "");
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_values.constFind(k);
    if (it == m_values.cend()) {
        out->set("");
        return -1;
    }
    out->set(it.value().toUtf8().constData());
    return 0;
}

QString CoreSettings::value(const QString& key) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_values.value(key);
}

bool CoreSettings::contains(const QString& key) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_values.contains(key);
}

bool CoreSettings::setValue(const QString& key, const QString& value)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_values[key] = value;
    return writeLocked();
}

QString CoreSettings::error() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_error;
}

} // namespace sim
