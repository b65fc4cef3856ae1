// A minimal plug-in for the host tests: records on which threads the host calls it,
// builds a window through the UI hook and shows it from onStart, as the real plug-in
// does.
#include "testprobe.h"

#include <ovsdk.h>

#include <QCoreApplication>
#include <QLabel>
#include <QMetaObject>
#include <QThread>

#include <cstring>
#include <future>

namespace {

bool onGuiThread()
{
    return QCoreApplication::instance()
        && QCoreApplication::instance()->thread() == QThread::currentThread();
}

class TestPlugin final : public ov::IOvPlugin
{
public:
    int initialize(ov::IOrvel* host) override
    {
        m_host = host;
        m_probe.initCalls++;
        m_probe.initOnGui = onGuiThread();
        m_probe.devicesAtInit = static_cast<int>(host->devices().size());
        ov::String mainUi;
        if (host->settingsStore())
            host->settingsStore()->getString("MainUi", &mainUi);
        m_probe.mainUiIsDevcontrol = std::strcmp(mainUi.get(), "devcontrol") == 0;
        host->registerEvent("NewDevice", &TestPlugin::onNewDevice, this);
        if (ov::IUiHooks* hooks = host->uiHooks())
            hooks->runOnUiThread(&TestPlugin::createWindowWrapper, this, 1);
        m_probe.windowBuiltInInit = m_window != nullptr;
        return 0;
    }
    int onStart() override
    {
        m_probe.startCalls++;
        m_probe.startOnGui = onGuiThread();
        if (m_window) {
            // The window is shown and asked on the GUI thread only; the answer comes back
            // through a promise, a hand-over that ThreadSanitizer can see.
            QLabel* window = m_window;
            std::promise<bool> shown;
            std::future<bool> answer = shown.get_future();
            auto showIt = [window, &shown]() {
                window->show();
                shown.set_value(window->isVisible());
            };
            if (onGuiThread())
                showIt();
            else
                QMetaObject::invokeMethod(window, showIt, Qt::QueuedConnection);
            m_probe.windowShownInStart = answer.get();
        }
        return 0;
    }
    int onClose() override
    {
        m_probe.closeCalls++;
        m_probe.closeOnGui = onGuiThread();
        // Left in the host's settings, so a test can see it after the module is gone.
        if (ov::ISettings* s
            = m_host ? m_host->moduleSettings("testplugin", nullptr, 0) : nullptr) {
            s->setBool("Close", "onGui", onGuiThread());
            s->setInt("Close", "calls", m_probe.closeCalls.load());
            s->release();
        }
        delete m_window;
        m_window = nullptr;
        return 0;
    }
    const char* name() const override { return "testplugin"; }
    const char* description() const override { return "Plug-in of the host tests"; }
    void* privateInterface() override { return &m_probe; }

private:
    static void createWindowWrapper(unsigned long arg)
    {
        auto* self = reinterpret_cast<TestPlugin*>(arg);
        self->m_probe.hookCalls++;
        self->m_probe.hookOnGui = onGuiThread();
        self->m_window = new QLabel(QStringLiteral("Test plug-in window"));
        self->m_window->resize(320, 200);
    }
    static void onNewDevice(long, long user)
    {
        reinterpret_cast<TestPlugin*>(user)->m_probe.newDeviceEvents++;
    }

    ov::IOrvel* m_host = nullptr;
    QLabel* m_window = nullptr;
    TestProbe m_probe;
};

TestPlugin g_plugin;

} // namespace

extern "C" __attribute__((visibility("default"))) void* ovGetPlugin()
{
    return static_cast<ov::IOvPlugin*>(&g_plugin);
}
