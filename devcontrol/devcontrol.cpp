#include "devcontrol.h"

#include "devviewmpx.h"
#include "mainwindow.h"

#include <QThread>

#include <cctype>
#include <cstring>

namespace PluginDevControl {

namespace {
// Device information kind of the education kit; with one connected the plug-in never
// takes over as the main user interface.
constexpr uint32_t kEducationDeviceKind = 22;
} // namespace

// The one plug-in object, built at library load and destroyed at unload.
static DevControl devControl;

DevControl& pluginInstance()
{
    return devControl;
}

DevControl::~DevControl() = default;

int DevControl::initialize(ov::IOrvel* host)
{
    orvel = host;
    if (isEduDeviceConnected()) {
        mainUi = false;
    } else {
        ov::String value;
        if (ov::ICoreSettings* core = orvel ? orvel->settingsStore() : nullptr)
            core->getString("MainUi", &value);
        std::string lower = value.str();
        for (char& c : lower)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        mainUi = lower == PLUGIN_NAME;
    }
    ov::IUiHooks* hooks = orvel ? orvel->uiHooks() : nullptr;
    if (!hooks)
        return 0;
    hooks->runOnUiThread(&DevControl::createViewWrapper, this, 1);
    return 0;
}

bool DevControl::isEduDeviceConnected() const
{
    if (!orvel)
        return false;
    for (ov::IDev* dev : orvel->devices()) {
        ov::DevInfo info;
        std::memset(&info, 0, sizeof info);
        dev->deviceInfo(&info);
        if (info.kind == kEducationDeviceKind)
            return true;
    }
    return false;
}

void DevControl::createViewWrapper(unsigned long arg)
{
    reinterpret_cast<DevControl*>(arg)->createView();
}

void DevControl::createView()
{
    mainWindow = new MainWindow(nullptr, orvel, mainUi);
}

int DevControl::onStart()
{
    if (!mainWindow)
        return 0;
    // The blocking signal waits for the GUI thread: called on that thread itself, it
    // would wait for ever.
    if (QThread::currentThread() == mainWindow->thread())
        mainWindow->onInitialize();
    else
        emit mainWindow->sigInitialize();
    if (mainUi)
        emit mainWindow->sigShowView(true);
    return 0;
}

int DevControl::onClose()
{
    if (!mainWindow)
        return 0;
    // Measurements end before the pages store their settings, which the measurement's
    // worker still reads.
    mainWindow->endDeviceWork();
    mainWindow->onExit();
    delete mainWindow;
    mainWindow = nullptr;
    return 0;
}

int DevControl::show(bool visible)
{
    if (!visible) {
        mainWindow->setVisible(false);
        return 0;
    }
    // From now on closing the window ends the application, even if it was not the
    // main interface at start: whoever showed it made it the user's window.
    mainWindow->setQuitOnClose(true);
    mainWindow->setVisible(true);
    mainWindow->setFocus(Qt::OtherFocusReason);
    mainWindow->activateWindow();
    return 0;
}

template <typename Fn>
int DevControl::forward(ov::IDev* dev, Fn fn)
{
    if (!mainWindow)
        return -1;
    if (DevViewMpx* view = mainWindow->getView(dev))
        fn(view);
    return 0;
}

template <typename Fn>
int DevControl::query(ov::IDev* dev, Fn fn)
{
    if (!mainWindow)
        return 0;
    DevViewMpx* view = mainWindow->getView(dev);
    return view ? fn(view) : 0;
}

int DevControl::showFrame(ov::IDev* dev, ov::IMpxFrame* frame)
{
    return forward(dev, [&](DevViewMpx* v) { v->showFrame(frame); });
}

int DevControl::setOutputFile(ov::IDev* dev, const ov::IFilePath* path, bool enabled)
{
    return forward(
        dev, [&](DevViewMpx* v) { v->setOutputParams(path ? path->get() : "", enabled); });
}

int DevControl::setAcqParams(ov::IDev* dev, int count, double time)
{
    return forward(dev, [&](DevViewMpx* v) { v->setAcqParams(count, time); });
}

int DevControl::setAcqType(ov::IDev* dev, int type)
{
    return forward(dev, [&](DevViewMpx* v) { v->setAcqType(type); });
}

int DevControl::setRepeat(ov::IDev* dev, int count, bool enabled)
{
    return forward(dev, [&](DevViewMpx* v) { v->setRepeatParams(count, enabled); });
}

int DevControl::start(ov::IDev* dev)
{
    return forward(dev, [](DevViewMpx* v) { v->start(); });
}

int DevControl::stop(ov::IDev* dev)
{
    return forward(dev, [](DevViewMpx* v) { v->stop(); });
}

int DevControl::isRunning(ov::IDev* dev)
{
    return query(dev, [](DevViewMpx* v) { return v->isRunning() ? 1 : 0; });
}

int DevControl::setColorMap(ov::IDev* dev, int index)
{
    return forward(dev, [&](DevViewMpx* v) { v->setColorMap(index); });
}

int DevControl::setRange(ov::IDev* dev, double min, double max)
{
    return forward(dev, [&](DevViewMpx* v) { v->setRange(min, max); });
}

int DevControl::setWindowAll(ov::IDev* dev, int value)
{
    return forward(dev, [&](DevViewMpx* v) { v->setWindowAll(value != 0); });
}

int DevControl::setCurrentSubFrame(ov::IDev* dev, int index)
{
    return forward(dev, [&](DevViewMpx* v) { v->setCurrentSubFrame(index); });
}

int DevControl::setAcqMode(ov::IDev* dev, int mode)
{
    return forward(dev, [&](DevViewMpx* v) { v->setAcqMode(mode); });
}

int DevControl::setRepeatFileParams(ov::IDev* dev, unsigned flags, int digits)
{
    return forward(dev, [&](DevViewMpx* v) { v->setRepeatFileParams(flags, digits); });
}

int DevControl::setOutputFlags(ov::IDev* dev, unsigned flags)
{
    return forward(dev, [&](DevViewMpx* v) { v->setOutputFlags(flags); });
}

int DevControl::setRefreshParams(ov::IDev* dev, bool dacs, bool pixCfg)
{
    return forward(dev, [&](DevViewMpx* v) { v->setRefreshParams(dacs, pixCfg); });
}

int DevControl::lastAcqResult(ov::IDev* dev)
{
    return query(dev, [](DevViewMpx* v) { return v->lastAcqResult(); });
}

} // namespace PluginDevControl
