#include "pnlmeasurement.h"

#include "devctrlmpx.h"
#include "framememory.h"
#include "ui_pnlmeasurement.h"

#include <QMessageBox>
#include <QSignalBlocker>

namespace PluginDevControl {

namespace {

QString applicationDirectory(DevCtrlMpx* ctrl)
{
    ov::IOrvel* host = ctrl ? ctrl->orvel() : nullptr;
    ov::ICoreSettings* core = host ? host->settingsStore() : nullptr;
    if (!core)
        return QString();
    ov::String value;
    core->getString("ApplicationDirectory", &value);
    return QString::fromUtf8(value.get());
}

} // namespace

PnlMeasurement::PnlMeasurement(QWidget* parent, DevCtrlMpx* controller)
    : PnlMeasurementBase(parent, controller), ui(new Ui_PnlMeasurement)
{
    ui->setupUi(this);
    attachControls(controlsOf(ui));

    // The items are indexed by the acquisition type: 0 frames, 1 integral, 2 test pulses.
    if (ctrl && (ctrl->supportedAcqTypes() & ov::AcqTypeTestPulses))
        ui->cmAcqType->addItem("Test Pulses");

    if (ctrl)
        acqPars = ctrl->acqParams();
    setAcqParsToGui(&acqPars);
    enableGui(true, false);
}

PnlMeasurement::~PnlMeasurement()
{
    delete ui;
}

void PnlMeasurement::setAcqParsToGui(AcqParams* params)
{
    showCommonFields(*params);
    ui->edTime->setText(QString::number(params->acqTime, 'g', 6));
    // Showing the record is no change of type to hand back to the controller.
    const QSignalBlocker block(ui->cmAcqType);
    ui->cmAcqType->setCurrentIndex(params->acqType);
}

void PnlMeasurement::getAcqParsFromGui(AcqParams* params)
{
    readCommonFields(params);
    // A decimal comma of the user's locale counts as a point; what does not convert
    // becomes 0 and the device judges it.
    params->acqTime = ui->edTime->text().replace(',', '.').toDouble();
    params->outputFile = ui->edFileOutput->text().toUtf8().toStdString();
    params->acqType = ui->cmAcqType->currentIndex();
}

void PnlMeasurement::mergeFromController()
{
    if (ctrl)
        acqPars = ctrl->acqParams();
    getAcqParsFromGui(&acqPars);
}

void PnlMeasurement::handOverParams()
{
    if (ctrl)
        ctrl->setAcqParams(acqPars);
}

bool PnlMeasurement::checkFramesMemory()
{
    ov::IDevMpx* device = ctrl ? ctrl->devMpx() : nullptr;
    const int deviceType = device ? device->deviceType() : 0;
    const uint32_t pixels = device ? device->pixelCount() : 0;
    const uint64_t estimate
        = estimateFrameMemoryMb(deviceType, acqPars.acqType, acqPars.acqCount, pixels);
    const unsigned limit = maxFrameMemoryMb(applicationDirectory(ctrl));
    if (limit >= estimate)
        return true;
    const QString text = QString("The entered number of frames will take %1 MB of memory. "
                                 "Are you sure you want to proceed ?")
                             .arg(estimate);
    return QMessageBox::question(this, "Memory", text, QMessageBox::Yes | QMessageBox::No)
        == QMessageBox::Yes;
}

} // namespace PluginDevControl
