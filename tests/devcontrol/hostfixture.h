// A simulated host with the plug-in started in-process, the way orvelsim starts it:
// initialize and onStart on a host thread while the GUI thread runs events.
#pragma once

#include "devcontrol.h"
#include "deviceset.h"
#include "mainwindow.h"
#include "pluginstarter.h"
#include "simhost.h"

#include <QTemporaryDir>

#include <memory>
#include <vector>

class HostFixture
{
    // Declared first so that it goes last, after the host has saved into it.
    std::unique_ptr<QTemporaryDir> m_home;

public:
    // A fresh home folder; the same one again when given (to test a restart).
    explicit HostFixture(const QString& homeDir = QString())
    {
        if (homeDir.isEmpty())
            m_home = std::make_unique<QTemporaryDir>();
        const QString path = homeDir.isEmpty() ? m_home->path() : homeDir;
        host = std::make_unique<sim::SimHost>(path);
    }
    ~HostFixture() { close(); }

    HostFixture(const HostFixture&) = delete;
    HostFixture& operator=(const HostFixture&) = delete;

    ov::IDev* connect(const sim::DeviceDesc& desc) { return host->connectDevice(desc); }
    void connectAll(const std::vector<sim::DeviceDesc>& descs)
    {
        for (const sim::DeviceDesc& desc : descs)
            host->connectDevice(desc);
    }
    void setCore(const QString& key, const QString& value)
    {
        host->coreSettings().setValue(key, value);
    }

    // Starts the plug-in; true when both calls returned 0.
    bool start()
    {
        control = std::make_unique<PluginDevControl::DevControl>();
        return sim::startPlugin(control.get(), host.get()).ok();
    }

    // The host's shutdown: close the plug-in, forget its callbacks, save settings.
    void close()
    {
        if (!control)
            return;
        control->onClose();
        host->dropCallbacks();
        host->saveAllSettings();
        control.reset();
    }

    PluginDevControl::MainWindow* window() const { return control ? control->window() : nullptr; }
    QString homePath() const { return host->homeDir(); }

    std::unique_ptr<sim::SimHost> host;
    std::unique_ptr<PluginDevControl::DevControl> control;
};

inline sim::DeviceDesc deviceDesc(int kind, const QString& name, uint32_t serial)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(kind, serial);
    desc.name = name;
    return desc;
}
