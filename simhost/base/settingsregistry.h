// All module settings stores of the host, by module and device.
//
// Files: <root>/<module>/generic.ini for the module as a whole and
// <root>/<module>/<device key>.ini per device, where the device key is made from the
// device name and serial number (see deviceKey). The registry owns every store and
// returns the same object for the same (module, device) pair for its whole lifetime.
#pragma once

#include "hostlog.h"
#include "simsettings.h"

#include <QString>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace sim {

class SettingsRegistry
{
public:
    SettingsRegistry(const QString& root, LogFn log);
    ~SettingsRegistry();
    SettingsRegistry(const SettingsRegistry&) = delete;
    SettingsRegistry& operator=(const SettingsRegistry&) = delete;

    // The store of a module for a device (deviceKey empty: the generic store). A device
    // store whose file does not exist yet starts as a copy of the generic store. Each
    // call counts one reference (see SimSettings::release). Null for an empty module.
    SimSettings* settings(const QString& module, const QString& deviceKey);

    // Saves every store; 0, or -1 when at least one could not be written.
    int saveAll();
    int storeCount() const;

    // "kalbar W0512", 512 -> "kalbar_W0512_sn512".
    static QString deviceKey(const QString& deviceName, uint32_t serial);
    // Keeps letters, digits, '-', '_' and '.'; everything else becomes '_'. Never empty
    // and never "." or "..".
    static QString safeFileName(const QString& text);

private:
    SimSettings* createLocked(const QString& module, const QString& deviceKey, QString* message);

    const QString m_root;
    const LogFn m_log;
    mutable std::mutex m_mutex;
    std::map<std::pair<QString, QString>, std::unique_ptr<SimSettings>> m_stores;
};

} // namespace sim
