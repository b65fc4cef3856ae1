#include "devviewmpx2.h"

#include "devctrlmpx2.h"
#include "devviewmpxui.h"
#include "pnldevstgtpx.h"
#include "pnlfilters.h"
#include "pnlhistogram.h"
#include "pnlimageinfo.h"
#include "pnlimageprops.h"
#include "pnlimagepropsadv.h"
#include "pnlmeasurement.h"

#include <QAction>
#include <QMenu>
#include <QToolButton>

namespace PluginDevControl {

DevViewMpx2::DevViewMpx2(QWidget* parent, ov::IOrvel* orvel, ov::IDev* device)
    : DevViewMpx(parent, orvel, device)
{
    initialize();
}

DevViewMpx2::~DevViewMpx2() = default;

void DevViewMpx2::releaseDevice()
{
    // The settings panel stops its polling and forgets the controller before it goes;
    // the filters panel closes a dialog of its own that is open.
    if (stgPanel)
        stgPanel->releaseDevice();
    if (filtersPanel)
        filtersPanel->releaseDevice();
    DevViewMpx::releaseDevice();
    // The family's pointers name the same device and controller, both gone now.
    devFamily = nullptr;
    ctrlFamily = nullptr;
}

void DevViewMpx2::initialize()
{
    devFamily = dynamic_cast<ov::IDevMpx2*>(dev);
    devMpx = devFamily;
    setupGui();
    ctrlFamily = new DevCtrlMpx2(host, devFamily, mpxFrame, subFrameTabs);
    ctrl = ctrlFamily;
    finishInitialization();
}

void DevViewMpx2::setupPanels()
{
    DevViewMpx::setupPanels();
    // The settings column in its order: image properties, advanced image properties,
    // measurement, detector settings, (the digital test,) filters, image info and
    // histogram.
    addImagePanels();
    measurementPanel = new PnlMeasurement(this, ctrl);
    addStgPanel(measurementPanel);
    stgPanel = new PnlDevStgTpx(this, ctrlFamily);
    addStgPanel(stgPanel);
    // The digital test panel (digTestPanel) comes here once it is built.
    filtersPanel = new PnlFilters(this, ctrl);
    addStgPanel(filtersPanel);
    addAnalysisPanels(measurementPanel);
    connect(this, &DevViewMpx::sigPixConfTriggered, stgPanel, &PnlDevStgTpx::onPixConfTriggered);
    setupPanelsMenu();
}

void DevViewMpx2::setupPanelsMenu()
{
    // "Digital Test" (hidden by default) joins after "Filters" with its panel.
    addPanelAction("Image Properties", imagePropsPanel, true);
    addPanelAction("Advanced Image Properties", imagePropsAdvPanel, false);
    addPanelAction("Measurement", measurementPanel, true);
    addPanelAction("Detector Settings", stgPanel, true);
    addPanelAction("Filters", filtersPanel, true);
    addPanelAction("Image Info", imageInfoPanel, true);
    addPanelAction("Histogram", histogramPanel, true);
}

void DevViewMpx2::loadSettings()
{
    DevViewMpx::loadSettings();
}

void DevViewMpx2::saveSettings()
{
    DevViewMpx::saveSettings();
}

void DevViewMpx2::onExit()
{
    if (measurementPanel)
        measurementPanel->onExit();
    if (stgPanel)
        stgPanel->onExit();
    DevViewMpx::onExit();
}

void DevViewMpx2::enableGui(bool enabled, bool measuring)
{
    DevViewMpx::enableGui(enabled, measuring);
    if (stgPanel)
        stgPanel->enableGui(enabled, measuring);
    if (measurementPanel)
        measurementPanel->enableGui(enabled, measuring);
}

PnlMeasurementBase* DevViewMpx2::measurementPanelBase() const
{
    return measurementPanel;
}

QToolButton* DevViewMpx2::initResetBitsMenu()
{
    reset = makeResetBitsMenu(
        this, [this]() -> ov::IMpxPixCfg* { return devFamily ? devFamily->pixCfg() : nullptr; },
        [](ov::IMpxPixCfg* cfg) { return int(cfg->thlMax()); });
    // A Timepix has no THH bits: the entry exists but is not offered.
    acResetThhBits = new QAction("Reset Thh Bits", this);
    acResetThhBits->setObjectName("acResetThhBits");
    if (!(devFamily && devFamily->isTimepix()))
        reset.menu->addAction(acResetThhBits);
    connect(acResetThhBits, &QAction::triggered, this, &DevViewMpx2::resetThhBits);
    return makeResetBitsButton(this, reset.menu);
}

void DevViewMpx2::resetThhBits()
{
    // A Timepix has no THH bits: the entry is not offered and does nothing.
    if (!devFamily || devFamily->isTimepix())
        return;
    if (ov::IMpxPixCfg* cfg = devFamily->pixCfg())
        cfg->setModeAll(cfg->thhMax());
}

QList<QAction*> DevViewMpx2::resetActions() const
{
    return reset.menu ? reset.menu->actions() : QList<QAction*>();
}

} // namespace PluginDevControl
