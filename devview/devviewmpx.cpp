#include "devviewmpx.h"

#include "devicenames.h"
#include "devicepage.h"

#include <QAction>
#include <QMenuBar>
#include <QToolBar>

namespace PluginDevControl {

DevViewMpx::DevViewMpx(QWidget* parent, ov::IOrvel* orvel, ov::IDev* device)
    : DevView(parent, orvel, device), devFullName(deviceFullName(device))
{
    if (host)
        settings = host->moduleSettings("devcontrol", dev, 0);

    auto* toolBar = addToolBar("toolBar");
    toolBar->setObjectName("toolBar");
    toolBar->setMovable(false);
    auto* spacer = new QWidget(toolBar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolBar->addWidget(spacer);
    addDockActions(toolBar);

    acSaveOrvelConfig = new QAction("Save Orvel Config", this);
    acSaveOrvelConfig->setObjectName("acSaveOrvelConfig");
    acSaveOrvelConfig->setToolTip("Saves all devices settings for next Orvel start.");
    connect(acSaveOrvelConfig, &QAction::triggered, this, &DevViewMpx::sigSaveOnExit);

    acResizeAspectRatio = new QAction("Ensure Aspect Ratio", this);
    acResizeAspectRatio->setObjectName("acResizeAspectRatio");
    acResizeAspectRatio->setShortcut(QKeySequence("Ctrl+A"));
    acResizeAspectRatio->setCheckable(true);
    acResizeAspectRatio->setChecked(true);

    QMenu* file = menuBar()->addMenu("File");
    file->addAction(acSaveOrvelConfig);
    QMenu* view = menuBar()->addMenu("View");
    view->addAction(acResizeAspectRatio);

    setCentralWidget(new DevicePage(dev, devFullName, this));
    if (settings) {
        settings->load();
        loadSettings();
    }
}

DevViewMpx::~DevViewMpx()
{
    if (settings)
        settings->release();
}

int DevViewMpx::devType() const
{
    return dev ? dev->deviceType() : 0;
}

QString DevViewMpx::fullName() const
{
    return devFullName;
}

QString DevViewMpx::devName() const
{
    return deviceShortName(dev);
}

void DevViewMpx::onExit()
{
    if (!settings)
        return;
    saveSettings();
    settings->save();
}

void DevViewMpx::loadSettings()
{
    acResizeAspectRatio->setChecked(settings->getBool("View", "KeepAspectRatio", true));
}

void DevViewMpx::saveSettings()
{
    settings->setBool("View", "KeepAspectRatio", acResizeAspectRatio->isChecked());
}

// Until the measurement controls of a family exist, the operations below have nothing
// to act on; they answer as a detector that is idle.
int DevViewMpx::showFrame(ov::IMpxFrame*)
{
    return 0;
}
void DevViewMpx::setAcqParams(int, double) { }
void DevViewMpx::setAcqType(int) { }
void DevViewMpx::setOutputParams(const char*, bool) { }
void DevViewMpx::setRepeatParams(int, bool) { }
void DevViewMpx::setRepeatFileParams(unsigned, int) { }
void DevViewMpx::setOutputFlags(unsigned) { }
void DevViewMpx::setRefreshParams(bool, bool) { }
void DevViewMpx::start() { }
void DevViewMpx::stop() { }
bool DevViewMpx::isRunning()
{
    return false;
}
int DevViewMpx::lastAcqResult()
{
    return 0;
}
void DevViewMpx::setColorMap(int) { }
void DevViewMpx::setRange(double, double) { }
void DevViewMpx::setWindowAll(bool) { }
void DevViewMpx::setCurrentSubFrame(int) { }
void DevViewMpx::setAcqMode(int) { }

} // namespace PluginDevControl
