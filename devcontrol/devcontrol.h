// The plug-in object: what the host loads, and the private interface through which
// the host and other plug-ins drive the user interface.
#pragma once

#include "ovsdk.h"

namespace PluginDevControl {

class MainWindow;
class DevViewMpx;

class DevControl : public ov::IOvPlugin, public ov::IDevControl
{
public:
    static constexpr const char* PLUGIN_NAME = "devcontrol";
    // Wording kept as the host shows it in its plug-in list.
    static constexpr const char* PLUGIN_DESC = "Plugin that control devices and measurement";
    static constexpr const char* OBJECT_NAME = "DevControlInterface";
    static constexpr unsigned OBJECT_ID = 1416159780u; // 0x5468E224

    DevControl() = default;
    ~DevControl() override;
    DevControl(const DevControl&) = delete;
    DevControl& operator=(const DevControl&) = delete;

    // IOvPlugin
    int initialize(ov::IOrvel* host) override;
    int onStart() override;
    int onClose() override;
    const char* name() const override { return PLUGIN_NAME; }
    const char* description() const override { return PLUGIN_DESC; }
    void* privateInterface() override { return static_cast<ov::IDevControl*>(this); }

    // IDevControl
    unsigned getObjectID() const override { return OBJECT_ID; }
    const char* getObjectName() const override { return OBJECT_NAME; }
    int showFrame(ov::IDev* dev, ov::IMpxFrame* frame) override;
    int setOutputFile(ov::IDev* dev, const ov::IFilePath* path, bool enabled) override;
    int setAcqParams(ov::IDev* dev, int count, double time) override;
    int setAcqType(ov::IDev* dev, int type) override;
    int setRepeat(ov::IDev* dev, int count, bool enabled) override;
    int start(ov::IDev* dev) override;
    int stop(ov::IDev* dev) override;
    int isRunning(ov::IDev* dev) override;
    int setColorMap(ov::IDev* dev, int index) override;
    int setRange(ov::IDev* dev, double min, double max) override;
    int setWindowAll(ov::IDev* dev, int value) override;
    int setCurrentSubFrame(ov::IDev* dev, int index) override;
    int setAcqMode(ov::IDev* dev, int mode) override;
    int setRepeatFileParams(ov::IDev* dev, unsigned flags, int digits) override;
    int setOutputFlags(ov::IDev* dev, unsigned flags) override;
    int setRefreshParams(ov::IDev* dev, bool dacs, bool pixCfg) override;
    int lastAcqResult(ov::IDev* dev) override;
    int show(bool visible) override;

    // Builds the main window; runs on the host's GUI thread.
    virtual void createView();

    static void createViewWrapper(unsigned long arg);
    bool isEduDeviceConnected() const;

    bool isMainUi() const { return mainUi; }
    MainWindow* window() const { return mainWindow; }

private:
    // Calls fn on the detector view of dev: -1 without a window, 0 otherwise.
    template <typename Fn>
    int forward(ov::IDev* dev, Fn fn);
    // Like forward, but returns the view's answer; 0 without a window or view.
    template <typename Fn>
    int query(ov::IDev* dev, Fn fn);

    ov::IOrvel* orvel = nullptr;
    MainWindow* mainWindow = nullptr;
    bool mainUi = false;
};

// The single plug-in object of this library.
DevControl& pluginInstance();

} // namespace PluginDevControl
