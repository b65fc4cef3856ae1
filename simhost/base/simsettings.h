// One settings store of a module, for one device or for the module as a whole
// ("generic"), kept in memory and persisted in an ini file (see inifile.h).
#pragma once

#include "hostlog.h"
#include "inifile.h"
#include "livecounter.h"

#include <ovcore.h>

#include <QString>

#include <atomic>
#include <mutex>

namespace sim {

class SimSettings final : public ov::ISettings
{
public:
    // defaults: the values a store starts from when its file does not exist yet, and
    // falls back to when the file is corrupt. label names the store in log messages.
    SimSettings(const QString& path, const QString& label, const ini::Values& defaults, LogFn log);
    ~SimSettings() = default;
    SimSettings(const SimSettings&) = delete;
    SimSettings& operator=(const SimSettings&) = delete;

    // Re-reads the file. No file yet: the values stay as they are, result 0. Corrupt or
    // unreadable file: the values become the defaults, the problem is logged (once per
    // store), result -1.
    int load() override;
    // Writes all values to the file; -1 (and a log line) when that fails.
    int save() override;
    int setString(const char* section, const char* key, const char* value) override;
    int setInt(const char* section, const char* key, int value) override;
    int setDouble(const char* section, const char* key, double value) override;
    int setBool(const char* section, const char* key, bool value) override;
    // Fills out with the stored text, or with def when the key is absent.
    int getString(const char* section, const char* key, const char* def, ov::IString* out) override;
    int getInt(const char* section, const char* key, int def) override;
    double getDouble(const char* section, const char* key, double def) override;
    bool getBool(const char* section, const char* key, bool def) override;
    // Gives back one reference handed out by IOrvel::moduleSettings. The host keeps
    // owning the object (and its values) until it shuts down, so a pointer stays valid
    // even after the last release; the count is kept for leak checks.
    void release() override;

    // Host side.
    void addRef() { m_refs.fetch_add(1); }
    int references() const { return m_refs.load(); }
    ini::Values values() const;
    QString path() const { return m_path; }
    // Like load(), but hands a problem back in message instead of logging it, for
    // callers that hold a lock.
    int loadQuiet(QString* message);

private:
    int setText(const char* section, const char* key, const QString& value);
    bool lookup(const char* section, const char* key, QString* value) const;

    const QString m_path;
    const QString m_label;
    const ini::Values m_defaults;
    const LogFn m_log;
    mutable std::mutex m_mutex;
    ini::Values m_values;
    bool m_problemReported = false;
    std::atomic<int> m_refs {0};
    LiveToken<Counted::Settings> m_live;
};

} // namespace sim
