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
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

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
    imagePropsPanel = new PnlImageProps(this, mpxFrame, ctrl);
    addStgPanel(imagePropsPanel);
    imagePropsAdvPanel = new PnlImagePropsAdv(this, mpxFrame, ctrl);
    addStgPanel(imagePropsAdvPanel);
    measurementPanel = new PnlMeasurement(this, ctrl);
    addStgPanel(measurementPanel);
    stgPanel = new PnlDevStgTpx(this, ctrlFamily);
    addStgPanel(stgPanel);
    // The digital test panel (digTestPanel) comes here once it is built.
    filtersPanel = new PnlFilters(this, ctrl);
    addStgPanel(filtersPanel);
    imageInfoPanel = new PnlImageInfo(this);
    addStgPanel(imageInfoPanel);
    histogramPanel = new PnlHistogram(this);
    addStgPanel(histogramPanel);

    // The first six panels share the height they can use; the spacer at the end
    // takes what they leave.
    for (int item = 0; item <= 5 && item < ui->verticalLayout->count() - 1; ++item)
        ui->verticalLayout->setStretch(item, 1);
    ui->saSettings->setMinimumWidth(settingsPanelWidth);
    ctrl->setImagePropsPanel(imagePropsPanel);
    ctrl->setHistogramPanel(histogramPanel);
    ctrl->setImageInfoPanel(imageInfoPanel);
    connect(this, &DevViewMpx::sigPixConfTriggered, stgPanel, &PnlDevStgTpx::onPixConfTriggered);
    connect(measurementPanel, &PnlMeasurement::sigAcqStart, this, &DevViewMpx::onStartAcq);
    connect(measurementPanel, &PnlMeasurement::sigAcqStop, this, &DevViewMpx::onStopAcq);
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

void DevViewMpx2::setAcqParams(int count, double time)
{
    if (measurementPanel)
        measurementPanel->setAcqParams(count, time);
}

void DevViewMpx2::setAcqType(int type)
{
    if (measurementPanel)
        measurementPanel->setAcqType(type);
}

void DevViewMpx2::setOutputParams(const char* path, bool enabled)
{
    if (measurementPanel)
        measurementPanel->setOutputParams(path, enabled);
}

void DevViewMpx2::setRepeatParams(int count, bool enabled)
{
    if (measurementPanel)
        measurementPanel->setRepeatParams(count, enabled);
}

void DevViewMpx2::start()
{
    if (measurementPanel)
        measurementPanel->start();
}

void DevViewMpx2::stop()
{
    if (measurementPanel)
        measurementPanel->stop();
}

QToolButton* DevViewMpx2::initResetBitsMenu()
{
    resetMenu = new QMenu(this);
    auto add = [this](const char* name, const char* text) {
        QAction* action = resetMenu->addAction(text);
        action->setObjectName(name);
        return action;
    };
    acResetAllBits = add("acResetAllBits", "Reset All Bits");
    acResetMaskBits = add("acResetMaskBits", "Reset Mask Bits");
    acResetTestBits = add("acResetTestBits", "Reset Test Bits");
    acResetThlBits = add("acResetThlBits", "Reset Thl Bits");
    const bool timepix = devFamily && devFamily->isTimepix();
    acResetThhBits = new QAction("Reset Thh Bits", this);
    acResetThhBits->setObjectName("acResetThhBits");
    if (!timepix)
        resetMenu->addAction(acResetThhBits);

    auto pixCfg = [this]() -> ov::IMpxPixCfg* { return devFamily ? devFamily->pixCfg() : nullptr; };
    connect(acResetAllBits, &QAction::triggered, this, [pixCfg] {
        if (ov::IMpxPixCfg* cfg = pixCfg())
            cfg->resetAll();
    });
    connect(acResetMaskBits, &QAction::triggered, this, [pixCfg] {
        if (ov::IMpxPixCfg* cfg = pixCfg())
            cfg->setAllMask(false);
    });
    connect(acResetTestBits, &QAction::triggered, this, [pixCfg] {
        if (ov::IMpxPixCfg* cfg = pixCfg())
            cfg->setAllTest(false);
    });
    connect(acResetThlBits, &QAction::triggered, this, [pixCfg] {
        if (ov::IMpxPixCfg* cfg = pixCfg())
            cfg->setAllThl(cfg->thlMax());
    });
    connect(acResetThhBits, &QAction::triggered, this, &DevViewMpx2::resetThhBits);

    auto* button = new QToolButton(this);
    button->setObjectName("resetBitsButton");
    button->setIcon(QIcon(":/devcontrol/toolbar2/icons/reset.png"));
    button->setToolTip("Reset Pixel Cfg. Bits");
    button->setPopupMode(QToolButton::InstantPopup);
    button->setMenu(resetMenu);
    return button;
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
    return resetMenu ? resetMenu->actions() : QList<QAction*>();
}

} // namespace PluginDevControl
