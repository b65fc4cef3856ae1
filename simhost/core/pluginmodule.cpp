#include "pluginmodule.h"

#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

namespace sim {

PluginModule::~PluginModule()
{
    unload();
}

bool PluginModule::fail(const QString& message)
{
    m_error = message;
    unload();
    return false;
}

bool PluginModule::load(const QString& path)
{
    unload();
    m_error.clear();
    const QFileInfo info(path);
    m_path = info.absoluteFilePath();
    if (!info.exists())
        return fail(QStringLiteral("plug-in not found: %1").arg(m_path));
    if (!info.isFile())
        return fail(QStringLiteral("plug-in is not a file: %1").arg(m_path));

    const QByteArray native = QFile::encodeName(m_path);
    dlerror();
    m_handle = dlopen(native.constData(), RTLD_NOW | RTLD_LOCAL);
    if (!m_handle) {
        const char* why = dlerror();
        return fail(QStringLiteral("cannot load plug-in %1: %2")
                        .arg(m_path, QString::fromLocal8Bit(why ? why : "unknown error")));
    }
    dlerror();
    void* symbol = dlsym(m_handle, ov::kGetPluginSymbol);
    if (!symbol) {
        return fail(QStringLiteral("plug-in %1 does not export %2")
                        .arg(m_path, QLatin1String(ov::kGetPluginSymbol)));
    }
    // POSIX guarantees that a data pointer from dlsym converts to a function pointer.
    const auto getPlugin = reinterpret_cast<ov::GetPluginFunc>(symbol);
    m_plugin = static_cast<ov::IOvPlugin*>(getPlugin());
    if (!m_plugin) {
        return fail(QStringLiteral("plug-in %1: %2 returned no plug-in object")
                        .arg(m_path, QLatin1String(ov::kGetPluginSymbol)));
    }
    return true;
}

void PluginModule::unload()
{
    m_plugin = nullptr;
    if (m_handle) {
        dlclose(m_handle);
        m_handle = nullptr;
    }
}

} // namespace sim
