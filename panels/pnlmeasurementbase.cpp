#include "pnlmeasurementbase.h"

#include "devctrlmpx.h"
#include "dlgacqstg.h"
#include "mydoublevalidator.h"
#include "qdoublelineedit.h"

#include <QCheckBox>
#include <QComboBox>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QSpinBox>
#include <QToolButton>

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

} // namespace

PnlMeasurementBase::PnlMeasurementBase(QWidget* parent, DevCtrlMpx* controller)
    : QWidget(parent), ctrl(controller)
{ }

PnlMeasurementBase::~PnlMeasurementBase() = default;

void PnlMeasurementBase::attachControls(const Controls& controls)
{
    form = controls;
    // The panel keeps its natural height; the settings column gives the rest away.
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);

    ov::IDevMpx* device = ctrl ? ctrl->devMpx() : nullptr;
    if (device)
        form.edTime->doubleValidator()->setRange(device->minAcqTime(), device->maxAcqTime(), 9);

    if (ctrl) {
        connect(ctrl, &DevCtrlMpx::acqAllFinished, this, &PnlMeasurementBase::onAcqAllFinished);
        connect(ctrl, &DevCtrlMpx::acqMeasStarted, this, &PnlMeasurementBase::onAcqMeasStarted);
        connect(ctrl, &DevCtrlMpx::acqMeasFinished, this, &PnlMeasurementBase::onAcqMeasFinished);
        connect(
            ctrl, &DevCtrlMpx::sigDevLockChanged, this, &PnlMeasurementBase::onDeviceLockChanged);
    }
    connect(this, &PnlMeasurementBase::sigAcqParams, this, &PnlMeasurementBase::onAcqParams);
    connect(this, &PnlMeasurementBase::sigAcqType, this, &PnlMeasurementBase::onAcqType);
    connect(this, &PnlMeasurementBase::sigOutputParams, this, &PnlMeasurementBase::onOutputParams);
    connect(this, &PnlMeasurementBase::sigRepeatParams, this, &PnlMeasurementBase::onRepeatParams);
    connect(this, &PnlMeasurementBase::sigStart, this, &PnlMeasurementBase::onStart);
    connect(this, &PnlMeasurementBase::sigStop, this, &PnlMeasurementBase::onStopSignal);
}

// ---------------------------------------------------------------------------------
// Entry points for any thread

void PnlMeasurementBase::setAcqParams(int count, double time)
{
    emit sigAcqParams(count, time);
}

void PnlMeasurementBase::setAcqType(int type)
{
    emit sigAcqType(type);
}

void PnlMeasurementBase::setOutputParams(const char* file, bool enabled)
{
    emit sigOutputParams(QString::fromUtf8(file ? file : ""), enabled);
}

void PnlMeasurementBase::setRepeatParams(int count, bool enabled)
{
    emit sigRepeatParams(count, enabled);
}

void PnlMeasurementBase::start()
{
    emit sigStart();
}

void PnlMeasurementBase::stop()
{
    emit sigStop();
}

void PnlMeasurementBase::onAcqParams(int count, double time)
{
    form.spCount->setValue(count);
    form.edTime->setText(QString::number(time, 'g', 6));
}

void PnlMeasurementBase::onAcqType(int type)
{
    form.cmAcqType->setCurrentIndex(comboIndexOfType(type));
}

void PnlMeasurementBase::onOutputParams(QString file, bool enabled)
{
    // The enabled state of the file field and its button stays as it was.
    form.edFileOutput->setText(file);
    form.cbFileOutput->setChecked(enabled);
}

void PnlMeasurementBase::onRepeatParams(int count, bool enabled)
{
    form.spRepeat->setValue(count);
    form.cbRepeat->setChecked(enabled);
}

void PnlMeasurementBase::onStart()
{
    startAcq();
}

void PnlMeasurementBase::onStopSignal()
{
    onStop();
}

void PnlMeasurementBase::onStop()
{
    if (ctrl)
        ctrl->stopAcq();
}

// ---------------------------------------------------------------------------------
// The controller's records

void PnlMeasurementBase::showCommonFields(const AcqParams& params)
{
    form.spCount->setValue(params.acqCount);
    form.cbRepeat->setChecked(params.repeatEnabled);
    form.spRepeat->setValue(params.repeatCount);
    form.edFileOutput->setText(QString::fromStdString(params.outputFile));
    form.cbFileOutput->setChecked(params.fileOutput);
}

void PnlMeasurementBase::readCommonFields(AcqParams* params) const
{
    params->acqCount = form.spCount->value();
    params->repeatEnabled = form.cbRepeat->isChecked();
    params->repeatCount = form.spRepeat->value();
    params->fileOutput = form.cbFileOutput->isChecked();
}

void PnlMeasurementBase::onExit()
{
    mergeFromController();
    handOverParams();
}

void PnlMeasurementBase::on_cmAcqType_currentIndexChanged(int index)
{
    acqTypeChanged(index);
}

void PnlMeasurementBase::acqTypeChanged(int)
{
    mergeFromController();
    if (ctrl)
        ctrl->setAcqParams(acqPars);
}

void PnlMeasurementBase::on_btMeasStg_clicked()
{
    mergeFromController();
    if (!ctrl)
        return;
    handOverParams();
    // The dialog writes to the controller, not to the panel. It stays a hidden child
    // of the panel afterwards, as each opening makes a new one.
    auto* dialog = new DlgAcqStg(this, ctrl);
    dialog->showDialog();
}

void PnlMeasurementBase::on_btBrowseFile_clicked()
{
    if (!ctrl)
        return;
    ov::IFileType* type = nullptr;
    unsigned flags = 0;
    const QString name = ctrl->getSaveFileName(&type, &flags, false);
    if (!name.isEmpty())
        form.edFileOutput->setText(name);
}

void PnlMeasurementBase::on_cbFileOutput_clicked()
{
    enableGui(true, false);
}

void PnlMeasurementBase::on_cbRepeat_clicked()
{
    // During a series this rewrites the live repeat count; outside a run it does nothing.
    if (ctrl)
        ctrl->setAcqRepeatEnabled(form.cbRepeat->isChecked());
}

// ---------------------------------------------------------------------------------
// Start and stop

bool PnlMeasurementBase::isOn() const
{
    return form.btStartStop->property(kOn).toBool();
}

bool PnlMeasurementBase::isTriggerMode(int mode)
{
    return (mode & 15) != 0;
}

void PnlMeasurementBase::enableGui(bool enabled, bool)
{
    form.cmAcqType->setEnabled(enabled);
    form.spCount->setEnabled(enabled && countEditable());
    form.edTime->setEnabled(enabled);
    form.spRepeat->setEnabled(enabled);
    form.cbFileOutput->setEnabled(enabled);
    form.btMeasStg->setEnabled(enabled);
    if (enabled) {
        const bool fileOutput = form.cbFileOutput->isChecked();
        form.edFileOutput->setEnabled(fileOutput);
        form.btBrowseFile->setEnabled(fileOutput);
        form.btStartStop->setEnabled(true);
    } else {
        // A run keeps Stop available; a lock or a start in preparation leaves Start off.
        form.edFileOutput->setEnabled(false);
        form.btBrowseFile->setEnabled(false);
        form.btStartStop->setEnabled(isOn());
    }
}

void PnlMeasurementBase::on_btStartStop_clicked()
{
    if (!isOn()) {
        startAcq();
        return;
    }
    // The panel waits for the controller's report before it shows Start again.
    if (ctrl)
        ctrl->stopAcq();
    form.btStartStop->setEnabled(false);
}

void PnlMeasurementBase::startAcq()
{
    mergeFromController();
    if (!checkBeforeHandOver())
        return;
    // The controller keeps what the user typed even if the start is declined below.
    if (ctrl)
        handOverParams();

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
    if (!checkOutput())
        return;

    enableGui(false, true);
    // A series that was not asked for cannot be switched on during the run; a ticked
    // box stays available so that a series can be ended early.
    if (!form.cbRepeat->isChecked())
        form.cbRepeat->setEnabled(false);
    form.lInfo->setText(isTriggerMode(acqPars.acqMode) ? " Trigger Measurement" : "");
    form.btStartStop->setIcon(QIcon(":/devcontrol/toolbar/icons/stop"));
    form.btStartStop->setText("Stop");
    form.btStartStop->setProperty(kOn, true);
    emit sigAcqStart();
    if (ctrl)
        ctrl->startAcq();
}

void PnlMeasurementBase::stopAcq()
{
    emit sigAcqStop();
    // With the panel enabled, this makes Start available again.
    enableGui(true, false);
    form.cbRepeat->setEnabled(true);
    form.btStartStop->setIcon(QIcon(":/devcontrol/toolbar/icons/start"));
    form.btStartStop->setText("Start");
    form.btStartStop->setProperty(kOn, false);
    // lInfo keeps the trigger wording until the next start.
}

void PnlMeasurementBase::onAcqMeasStarted()
{
    // "on" is set by now, so Stop becomes available.
    enableGui(false, true);
}

void PnlMeasurementBase::onAcqMeasFinished()
{
    // Between the repeats of a series the controls are live again; the button still
    // says Stop until everything has finished.
    if (ctrl && ctrl->isDeviceLocked())
        return;
    enableGui(true, false);
    form.btStartStop->setEnabled(true);
}

void PnlMeasurementBase::onAcqAllFinished(int)
{
    stopAcq();
}

void PnlMeasurementBase::onDeviceLockChanged()
{
    const bool locked = ctrl && ctrl->isDeviceLocked();
    enableGui(!locked, locked);
    form.btStartStop->setEnabled(!locked);
}

} // namespace PluginDevControl
