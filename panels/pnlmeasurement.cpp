#include "pnlmeasurement.h"

#include "devctrlmpx.h"
#include "dlgacqstg.h"
#include "framememory.h"
#include "mydoublevalidator.h"
#include "ui_pnlmeasurement.h"

#include <QDir>
#include <QIcon>
#include <QMessageBox>
#include <QSignalBlocker>

#include <filesystem>
#include <system_error>

namespace PluginDevControl {

namespace {

const char* const kOn = "on";

// Whether anything (a file, a directory, even a dangling link) has this name; a
// failing test counts as nothing there.
bool nameTaken(const QString& name)
{
    std::error_code error;
    const auto status
        = std::filesystem::symlink_status(std::filesystem::u8path(name.toStdString()), error);
    if (error)
        return false;
    return status.type() != std::filesystem::file_type::not_found
        && status.type() != std::filesystem::file_type::none;
}

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
    : QWidget(parent), ui(new Ui_PnlMeasurement), ctrl(controller)
{
    ui->setupUi(this);
    // The panel keeps its natural height; the settings column gives the rest away.
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);

    ov::IDevMpx* device = ctrl ? ctrl->devMpx() : nullptr;
    if (device)
        ui->edTime->doubleValidator()->setRange(device->minAcqTime(), device->maxAcqTime(), 9);

    if (ctrl) {
        connect(ctrl, &DevCtrlMpx::acqAllFinished, this, &PnlMeasurement::onAcqAllFinished);
        connect(ctrl, &DevCtrlMpx::acqMeasStarted, this, &PnlMeasurement::onAcqMeasStarted);
        connect(ctrl, &DevCtrlMpx::acqMeasFinished, this, &PnlMeasurement::onAcqMeasFinished);
        connect(ctrl, &DevCtrlMpx::sigDevLockChanged, this, &PnlMeasurement::onDeviceLockChanged);
    }
    connect(this, &PnlMeasurement::sigAcqParams, this, &PnlMeasurement::onAcqParams);
    connect(this, &PnlMeasurement::sigAcqType, this, &PnlMeasurement::onAcqType);
    connect(this, &PnlMeasurement::sigOutputParams, this, &PnlMeasurement::onOutputParams);
    connect(this, &PnlMeasurement::sigRepeatParams, this, &PnlMeasurement::onRepeatParams);
    connect(this, &PnlMeasurement::sigStart, this, &PnlMeasurement::onStart);
    connect(this, &PnlMeasurement::sigStop, this, &PnlMeasurement::onStop);

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

// ---------------------------------------------------------------------------------
// Entry points for any thread

void PnlMeasurement::setAcqParams(int count, double time)
{
    emit sigAcqParams(count, time);
}

void PnlMeasurement::setAcqType(int type)
{
    emit sigAcqType(type);
}

void PnlMeasurement::setOutputParams(const char* file, bool enabled)
{
    emit sigOutputParams(QString::fromUtf8(file ? file : ""), enabled);
}

void PnlMeasurement::setRepeatParams(int count, bool enabled)
{
    emit sigRepeatParams(count, enabled);
}

void PnlMeasurement::start()
{
    emit sigStart();
}

void PnlMeasurement::stop()
{
    emit sigStop();
}

void PnlMeasurement::onAcqParams(int count, double time)
{
    ui->spCount->setValue(count);
    ui->edTime->setText(QString::number(time, 'g', 6));
}

void PnlMeasurement::onAcqType(int type)
{
    ui->cmAcqType->setCurrentIndex(type);
}

void PnlMeasurement::onOutputParams(QString file, bool enabled)
{
    // The enabled state of the file field and its button stays as it was.
    ui->edFileOutput->setText(file);
    ui->cbFileOutput->setChecked(enabled);
}

void PnlMeasurement::onRepeatParams(int count, bool enabled)
{
    ui->spRepeat->setValue(count);
    ui->cbRepeat->setChecked(enabled);
}

void PnlMeasurement::onStart()
{
    startAcq();
}

void PnlMeasurement::onStop()
{
    if (ctrl)
        ctrl->stopAcq();
}

// ---------------------------------------------------------------------------------
// The form and the controller's record

void PnlMeasurement::setAcqParsToGui(AcqParams* params)
{
    ui->spCount->setValue(params->acqCount);
    ui->edTime->setText(QString::number(params->acqTime, 'g', 6));
    ui->cbRepeat->setChecked(params->repeatEnabled);
    ui->spRepeat->setValue(params->repeatCount);
    ui->edFileOutput->setText(QString::fromStdString(params->outputFile));
    {
        // Showing the record is no change of type to hand back to the controller,
        // least of all while half of the form still shows the old values.
        const QSignalBlocker block(ui->cmAcqType);
        ui->cmAcqType->setCurrentIndex(params->acqType);
    }
    ui->cbFileOutput->setChecked(params->fileOutput);
}

void PnlMeasurement::getAcqParsFromGui(AcqParams* params)
{
    params->acqCount = ui->spCount->value();
    // A decimal comma of the user's locale counts as a point; what does not convert
    // becomes 0 and the device judges it.
    params->acqTime = ui->edTime->text().replace(',', '.').toDouble();
    params->repeatEnabled = ui->cbRepeat->isChecked();
    params->repeatCount = ui->spRepeat->value();
    params->outputFile = ui->edFileOutput->text().toUtf8().toStdString();
    params->acqType = ui->cmAcqType->currentIndex();
    params->fileOutput = ui->cbFileOutput->isChecked();
}

void PnlMeasurement::mergeFromController()
{
    if (ctrl)
        acqPars = ctrl->acqParams();
    getAcqParsFromGui(&acqPars);
}

void PnlMeasurement::onExit()
{
    mergeFromController();
    if (ctrl)
        ctrl->setAcqParams(acqPars);
}

void PnlMeasurement::on_cmAcqType_currentIndexChanged(int)
{
    mergeFromController();
    if (ctrl)
        ctrl->setAcqParams(acqPars);
}

void PnlMeasurement::on_btMeasStg_clicked()
{
    mergeFromController();
    if (!ctrl)
        return;
    ctrl->setAcqParams(acqPars);
    // The dialog writes to the controller, not to the panel. It stays a hidden child
    // of the panel afterwards, as each opening makes a new one.
    auto* dialog = new DlgAcqStg(this, ctrl);
    dialog->showDialog();
}

void PnlMeasurement::on_btBrowseFile_clicked()
{
    if (!ctrl)
        return;
    ov::IFileType* type = nullptr;
    unsigned flags = 0;
    const QString name = ctrl->getSaveFileName(&type, &flags, false);
    if (!name.isEmpty())
        ui->edFileOutput->setText(name);
}

void PnlMeasurement::on_cbFileOutput_clicked()
{
    enableGui(true, false);
}

void PnlMeasurement::on_cbRepeat_clicked()
{
    // During a series this rewrites the live repeat count; outside a run it does nothing.
    if (ctrl)
        ctrl->setAcqRepeatEnabled(ui->cbRepeat->isChecked());
}

// ---------------------------------------------------------------------------------
// Start and stop

bool PnlMeasurement::isOn() const
{
    return ui->btStartStop->property(kOn).toBool();
}

bool PnlMeasurement::isTriggerMode(int mode)
{
    return (mode & 15) != 0;
}

void PnlMeasurement::enableGui(bool enabled, bool)
{
    ui->cmAcqType->setEnabled(enabled);
    ui->spCount->setEnabled(enabled);
    ui->edTime->setEnabled(enabled);
    ui->spRepeat->setEnabled(enabled);
    ui->cbFileOutput->setEnabled(enabled);
    ui->btMeasStg->setEnabled(enabled);
    if (enabled) {
        const bool fileOutput = ui->cbFileOutput->isChecked();
        ui->edFileOutput->setEnabled(fileOutput);
        ui->btBrowseFile->setEnabled(fileOutput);
        ui->btStartStop->setEnabled(true);
    } else {
        // A run keeps Stop available; a lock or a start in preparation leaves Start off.
        ui->edFileOutput->setEnabled(false);
        ui->btBrowseFile->setEnabled(false);
        ui->btStartStop->setEnabled(isOn());
    }
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

void PnlMeasurement::on_btStartStop_clicked()
{
    if (!isOn()) {
        startAcq();
        return;
    }
    // The panel waits for the controller's report before it shows Start again.
    if (ctrl)
        ctrl->stopAcq();
    ui->btStartStop->setEnabled(false);
}

void PnlMeasurement::startAcq()
{
    mergeFromController();
    if (!checkFramesMemory())
        return;
    // The controller keeps what the user typed even if the start is declined below.
    if (ctrl)
        ctrl->setAcqParams(acqPars);

    if (acqPars.fileOutput && ctrl) {
        const QString first = ctrl->getFirstOutputFileName();
        if (nameTaken(first)) {
            const QString text
                = QString("File %1 already exists. Are you sure you want to continue ?").arg(first);
            if (QMessageBox::question(this, "File Exists", text, QMessageBox::Yes | QMessageBox::No)
                != QMessageBox::Yes)
                return;
        }
    }

    enableGui(false, true);
    // A series that was not asked for cannot be switched on during the run; a ticked
    // box stays available so that a series can be ended early.
    if (!ui->cbRepeat->isChecked())
        ui->cbRepeat->setEnabled(false);
    ui->lInfo->setText(isTriggerMode(acqPars.acqMode) ? " Trigger Measurement" : "");
    ui->btStartStop->setIcon(QIcon(":/devcontrol/toolbar/icons/stop"));
    ui->btStartStop->setText("Stop");
    ui->btStartStop->setProperty(kOn, true);
    emit sigAcqStart();
    if (ctrl)
        ctrl->startAcq();
}

void PnlMeasurement::stopAcq()
{
    emit sigAcqStop();
    enableGui(true, false);
    ui->cbRepeat->setEnabled(true);
    ui->btStartStop->setIcon(QIcon(":/devcontrol/toolbar/icons/start"));
    ui->btStartStop->setText("Start");
    ui->btStartStop->setProperty(kOn, false);
    ui->btStartStop->setEnabled(true);
    // lInfo keeps the trigger wording until the next start.
}

void PnlMeasurement::onAcqMeasStarted()
{
    // "on" is set by now, so Stop becomes available.
    enableGui(false, true);
}

void PnlMeasurement::onAcqMeasFinished()
{
    // Between the repeats of a series the controls are live again; the button still
    // says Stop until everything has finished.
    if (ctrl && ctrl->isDeviceLocked())
        return;
    enableGui(true, false);
    ui->btStartStop->setEnabled(true);
}

void PnlMeasurement::onAcqAllFinished(int)
{
    stopAcq();
}

void PnlMeasurement::onDeviceLockChanged()
{
    const bool locked = ctrl && ctrl->isDeviceLocked();
    enableGui(!locked, locked);
    ui->btStartStop->setEnabled(!locked);
}

} // namespace PluginDevControl
