// The host's own configuration: "orvel.ini" in the home folder, read by the plug-in
// through ov::ICoreSettings and, for "MaxFrameMemory", directly as an ini file.
#pragma once

#include "hostlog.h"

#include <ovcore.h>

#include <QMap>
#include <QString>

#include <mutex>

namespace sim {

class CoreSettings final : public ov::ICoreSettings
{
public:
    // Key names of the core configuration.
    static constexpr const char* kMainUi = "MainUi";
    static constexpr const char* kVersion = "Version";
    static constexpr const char* kCreateFileDevice = "CreateFileDevice";
    static constexpr const char* kApplicationDirectory = "ApplicationDirectory";
    static constexpr const char* kMaxFrameMemory = "MaxFrameMemory";

    // Defaults for a home folder: the main interface is "devcontrol", the version is the
    // project's, no forced file device, the application directory is the home folder
    // itself and frames may take 4096 MB.
    static QMap<QString, QString> defaultsFor(const QString& homeDir);

    // Reads the file (an ini file in QSettings format, keys in [General] except
    // "MaxFrameMemory", which stands in [Settings]). A missing
    // file, missing keys or a corrupt file are replaced by the defaults and written back;
    // a corrupt file is reported through log.
    CoreSettings(const QString& path, const QMap<QString, QString>& defaults, LogFn log);
    ~CoreSettings() = default;
    CoreSettings(const CoreSettings&) = delete;
    CoreSettings& operator=(const CoreSettings&) = delete;

    // ov::ICoreSettings. getBool is true for "true", "1", "yes" or "on" (any case);
    // getString gives -1 and an empty text for an unknown key.
    bool getBool(const char* key) override;
    int getString(const char* key, ov::IString* out) override;

    QString value(const QString& key) const;
    bool contains(const QString& key) const;
    // Changes a value and writes the file.
    bool setValue(const QString& key, const QString& value);

    QString path() const { return m_path; }
    // Empty when the file was written or read fine, else why not.
    QString error() const;

private:
    bool writeLocked();

    const QString m_path;
    const LogFn m_log;
    mutable std::mutex m_mutex;
    QMap<QString, QString> m_values;
    QString m_error;
};

} // namespace sim
