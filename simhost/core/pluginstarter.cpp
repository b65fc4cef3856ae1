#include "pluginstarter.h"

#include "guithread.h"
#include "pluginmodule.h"
#include "simhost.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QMetaObject>

#include <atomic>
#include <thread>

namespace sim {

StartResult startPlugin(ov::IOvPlugin* plugin, ov::IOrvel* host)
{
    StartResult result;
    if (!plugin)
        return result;
    std::atomic<bool> done {false};
    QCoreApplication* app = QCoreApplication::instance();
    std::thread hostThread([&]() {
        result.initResult = plugin->initialize(host);
        if (result.initResult == 0)
            result.startResult = plugin->onStart();
        done.store(true);
        // Wakes the loop below in case it is waiting for events.
        if (app)
            QMetaObject::invokeMethod(
                app, []() {}, Qt::QueuedConnection);
    });
    if (app && isGuiThread()) {
        QEventLoop loop;
        while (!done.load())
            loop.processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    hostThread.join();
    return result;
}

int closePlugin(PluginModule& module, SimHost& host)
{
    int rc = 0;
    if (ov::IOvPlugin* plugin = module.plugin())
        rc = plugin->onClose();
    host.dropCallbacks();
    host.saveAllSettings();
    module.unload();
    return rc;
}

} // namespace sim
