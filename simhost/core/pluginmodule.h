// A plug-in library loaded with the platform's dynamic loader.
#pragma once

#include <ovplugin.h>

#include <QString>

namespace sim {

class PluginModule
{
public:
    PluginModule() = default;
    // Unloads the library if still loaded.
    ~PluginModule();
    PluginModule(const PluginModule&) = delete;
    PluginModule& operator=(const PluginModule&) = delete;

    // Loads the library, resolves ov::kGetPluginSymbol and calls it. False with error()
    // set when the file is missing, cannot be loaded, lacks the symbol or gives no
    // plug-in object.
    bool load(const QString& path);
    // Closes the library. The plug-in object goes with it: call only after onClose.
    void unload();

    bool isLoaded() const { return m_handle != nullptr; }
    ov::IOvPlugin* plugin() const { return m_plugin; }
    QString path() const { return m_path; }
    QString error() const { return m_error; }

private:
    bool fail(const QString& message);

    void* m_handle = nullptr;
    ov::IOvPlugin* m_plugin = nullptr;
    QString m_path;
    QString m_error;
};

} // namespace sim
