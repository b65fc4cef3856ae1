#include "devviewtpx3.h"

#include "devctrltpx3.h"
#include "devviewmpxui.h"
#include "pnlfilters.h"
#include "pnlhistogram.h"
#include "pnlimageinfo.h"
#include "pnlimageprops.h"
#include "pnlimagepropsadv.h"
#include "pnlmeasurementtpx3.h"
#include "qfancyprogressbar.h"
#include "qmpxframe.h"
#include "qmpximage.h"
#include "separegroups.h"

#include <QLabel>
#include <QMenu>
#include <QTimer>

namespace PluginDevControl {

namespace {

// One decimal, the thousands apart by blanks: 1234567.8 reads "1 234 567.8".
QString grouped(double value)
{
    return separeGroups(QString::number(value, 'f', 1), QChar(' '));
}

} // namespace

DevViewTpx3::DevViewTpx3(QWidget* parent, ov::IOrvel* orvel, ov::IDev* device)
    : DevViewMpx(parent, orvel, device)
{
    initialize();
}

DevViewTpx3::~DevViewTpx3() = default;

void DevViewTpx3::releaseDevice()
{
    // The filters panel closes a dialog of its own that is open.
    if (filtersPanel)
        filtersPanel->releaseDevice();
    DevViewMpx::releaseDevice();
    // The family's pointers name the same device and controller, both gone now.
    devFamily = nullptr;
    ctrlFamily = nullptr;
}

void DevViewTpx3::initialize()
{
    devFamily = dynamic_cast<ov::IDevTpx3*>(dev);
    devMpx = devFamily;
    setupGui();
    // The page's progress runs on a timer of its own, made afresh for this family.
    delete progressTimer;
    progressTimer = new QTimer(this);
    ctrlFamily = new DevCtrlTpx3(host, devFamily, mpxFrame, subFrameTabs);
    ctrl = ctrlFamily;
    finishInitialization();
    // Values are drawn relative to the range of the frame on show.
    mpxFrame->image->showRelative = true;
}

void DevViewTpx3::setupPanels()
{
    DevViewMpx::setupPanels();
    // The settings column in its order: image properties, advanced image properties,
    // measurement, (the detector settings,) filters, (the digital test,) image info
    // and histogram. The Timepix3 settings panel (stgPanel) and the digital test panel
    // (digTestPanel) take their places once they are built.
    addImagePanels();
    measurementPanel = new PnlMeasurementTpx3(this, ctrlFamily);
    addStgPanel(measurementPanel);
    filtersPanel = new PnlFilters(this, ctrl);
    addStgPanel(filtersPanel);
    addAnalysisPanels(measurementPanel);
    setupPanelsMenu();
}

void DevViewTpx3::setupPanelsMenu()
{
    // "Detector Settings" (shown) joins after "Measurement", and "Digital Test"
    // (hidden) after "Filters", with their panels.
    addPanelAction("Image Properties", imagePropsPanel, true);
    addPanelAction("Advanced Image Properties", imagePropsAdvPanel, false);
    addPanelAction("Measurement", measurementPanel, true);
    addPanelAction("Filters", filtersPanel, false);
    addPanelAction("Image Info", imageInfoPanel, true);
    addPanelAction("Histogram", histogramPanel, true);
}

PnlMeasurementBase* DevViewTpx3::measurementPanelBase() const
{
    return measurementPanel;
}

void DevViewTpx3::loadSettings()
{
    DevViewMpx::loadSettings();
}

void DevViewTpx3::saveSettings()
{
    DevViewMpx::saveSettings();
}

void DevViewTpx3::onExit()
{
    if (measurementPanel)
        measurementPanel->onExit();
    DevViewMpx::onExit();
}

void DevViewTpx3::enableGui(bool enabled, bool measuring)
{
    DevViewMpx::enableGui(enabled, measuring);
    if (measurementPanel)
        measurementPanel->enableGui(enabled, measuring);
    // The time windows of pixel data stay usable while measuring.
    if (imagePropsPanel)
        imagePropsPanel->enableGui(enabled, measuring);
}

void DevViewTpx3::onTimeProgress()
{
    if (!progressTimer->isActive())
        return;
    const double t = currentTime();
    const double elapsed = t - measurementStart;
    timeLabel->setText(grouped(elapsed).prepend("T: ").append(" s"));
    if (ctrlFamily && elapsed > 0) {
        if (ctrlFamily->isDataDriven())
            fpsLabel->setText("PPS: " + grouped(ctrlFamily->pixelCount() / elapsed));
        else
            fpsLabel->setText("FPS: " + grouped(ctrlFamily->curAcq() / elapsed));
    }
    updateProgressBar(t);
}

QToolButton* DevViewTpx3::initResetBitsMenu()
{
    // Four entries; the threshold adjustment goes to 0. This family has no THH bits.
    reset = makeResetBitsMenu(
        this, [this]() -> ov::IMpxPixCfg* { return devFamily ? devFamily->pixCfg() : nullptr; },
        [](ov::IMpxPixCfg*) { return 0; });
    return makeResetBitsButton(this, reset.menu);
}

QList<QAction*> DevViewTpx3::resetActions() const
{
    return reset.menu ? reset.menu->actions() : QList<QAction*>();
}

} // namespace PluginDevControl
