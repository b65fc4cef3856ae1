#include "simsettings.h"

namespace sim {

namespace {

QString sectionName(const char* section)
{
    return section && *section ? QString::fromUtf8(section) : QStringLiteral("General");
}

} // namespace

SimSettings::SimSettings(
    const QString& path, const QString& label, const ini::Values& defaults, LogFn log)
    : m_path(path), m_label(label), m_defaults(defaults), m_log(std::move(log)), m_values(defaults)
{ }

int SimSettings::loadQuiet(QString* message)
{
    ini::Values read;
    const ini::ReadResult result = ini::readFile(m_path, read);
    std::lock_guard<std::mutex> lock(m_mutex);
    switch (result.status) {
    case ini::Status::Ok:
        m_values = read;
        return 0;
    case ini::Status::Missing:
        return 0;
    case ini::Status::Unreadable:
    case ini::Status::Corrupt:
        break;
    }
    m_values = m_defaults;
    if (!m_problemReported && message) {
        m_problemReported = true;
        *message = QStringLiteral("Settings %1 (%2) could not be read: %3; using defaults")
                       .arg(m_label, m_path, result.message);
    }
    return -1;
}

int SimSettings::load()
{
    QString message;
    const int rc = loadQuiet(&message);
    if (!message.isEmpty() && m_log)
        m_log(ov::LogWarning, message);
    return rc;
}

int SimSettings::save()
{
    const ini::Values snapshot = values();
    QString error;
    if (ini::writeFile(m_path, snapshot, &error))
        return 0;
    if (m_log)
        m_log(ov::LogError,
            QStringLiteral("Settings %1 could not be written to %2: %3")
                .arg(m_label, m_path, error));
    return -1;
}

ini::Values SimSettings::values() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_values;
}

int SimSettings::setText(const char* section, const char* key, const QString& value)
{
    if (!key || !*key)
        return -1;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_values[sectionName(section)][QString::fromUtf8(key)] = value;
    return 0;
}

bool SimSettings::lookup(const char* section, const char* key, QString* value) const
{
    if (!key || !*key)
        return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto s = m_values.constFind(sectionName(section));
    if (s == m_values.cend())
        return false;
    const auto k = s->constFind(QString::fromUtf8(key));
    if (k == s->cend())
        return false;
    *value = k.value();
    return true;
}

int SimSettings::setString(const char* section, const char* key, const char* value)
{
    return setText(section, key, QString::fromUtf8(value ? value : ""));
}

int SimSettings::setInt(const char* section, const char* key, int value)
{
    return setText(section, key, QString::number(value));
}

int SimSettings::setDouble(const char* section, const char* key, double value)
{
    return setText(section, key, QString::number(value, 'g', 17));
}

int SimSettings::setBool(const char* section, const char* key, bool value)
{
    return setText(section, key, value ? QStringLiteral("true") : QStringLiteral("false"));
}

int SimSettings::getString(const char* section, const char* key, const char* def, ov::IString* out)
{
    if (!out)
        return -1;
    QString value;
    if (lookup(section, key, &value))
        out->set(value.toUtf8().constData());
    else
        out->set(def ? def : "");
    return 0;
}

int SimSettings::getInt(const char* section, const char* key, int def)
{
    QString text;
    if (!lookup(section, key, &text))
        return def;
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    return ok ? value : def;
}

double SimSettings::getDouble(const char* section, const char* key, double def)
{
    QString text;
    if (!lookup(section, key, &text))
        return def;
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    return ok ? value : def;
}

bool SimSettings::getBool(const char* section, const char* key, bool def)
{
    QString text;
    if (!lookup(section, key, &text))
        return def;
    const QString v = text.trimmed().toLower();
    if (v == QLatin1String("true") || v == QLatin1String("1") || v == QLatin1String("yes")
        || v == QLatin1String("on"))
        return true;
    if (v == QLatin1String("false") || v == QLatin1String("0") || v == QLatin1String("no")
        || v == QLatin1String("off"))
        return false;
    return def;
}

void SimSettings::release()
{
    // Never below zero: a surplus release is harmless.
    int refs = m_refs.load();
    while (refs > 0 && !m_refs.compare_exchange_weak(refs, refs - 1)) { }
}

} // namespace sim
