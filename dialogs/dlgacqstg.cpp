#include "dlgacqstg.h"

#include "devctrlmpx.h"
#include "ui_dlgacqstg.h"

#include <ovdetector.h>

#include <algorithm>

namespace PluginDevControl {

namespace {

// Bits of the mode word that the dialog edits.
constexpr unsigned kTriggerStart = 1u << 0;
constexpr unsigned kTriggerStop = 1u << 1;
constexpr unsigned kCompression = 1u << 4;
constexpr unsigned kTdiReadout = 1u << 5;
// The file type that writes frames, whose own flags the dialog shows.
constexpr int kFrameFileType = 4;
// Bits of AcqParams::fileFlags for frame files.
constexpr unsigned kFileBinary = 2;
constexpr unsigned kFileSparse = 4;
constexpr unsigned kFileNoDsc = 32;
constexpr unsigned kFileSubFramesOneFile = 128;
// Bits of AcqParams::repeatFileFlags.
constexpr unsigned kRepeatContinue = 1;
constexpr unsigned kRepeatSeparateDir = 2;
constexpr unsigned kRepeatSameFile = 4;

bool isTestPulseType(int acqType)
{
    return acqType == AcqTestPulses || acqType == AcqIntegralTestPulses;
}

} // namespace

DlgAcqStg::DlgAcqStg(QWidget* parent, DevCtrlMpx* controller)
    : QDialog(parent),
      ui(new Ui::DlgAcqStg),
      dev(controller ? controller->devMpx() : nullptr),
      ctrl(controller)
{
    ui->setupUi(this);
    ui->tabWidget->setCurrentIndex(0);
    if (ctrl) {
        tpPars = ctrl->tpParams();
        acqPars = ctrl->acqParams();
    }
}

DlgAcqStg::~DlgAcqStg()
{
    delete ui;
}

int DlgAcqStg::getTriggerIndexFromMode(unsigned int mode)
{
    const bool start = mode & kTriggerStart;
    const bool stop = mode & kTriggerStop;
    if (start && stop)
        return 3;
    if (start)
        return 1;
    if (stop)
        return 2;
    return 0;
}

unsigned int DlgAcqStg::getModeFromTriggerIndex(int index)
{
    switch (index) {
    case 1:
        return kTriggerStart;
    case 2:
        return kTriggerStop;
    case 3:
        return kTriggerStart | kTriggerStop;
    default:
        return 0;
    }
}

bool DlgAcqStg::showDialog()
{
    if (!ctrl || !dev)
        return false;
    tpPars = ctrl->tpParams();
    acqPars = ctrl->acqParams();
    const std::string& outputFile = acqPars.outputFile;
    fileTypeCode = ctrl->fileTypeFromFileName(outputFile.c_str());
    ov::IParamMgr* fileParams
        = outputFile.empty() ? nullptr : ctrl->fileTypeParamsFromFileName(outputFile.c_str());
    acqPars = ctrl->acqParams();

    ui->sbDelay->setValue(acqPars.repeatDelay);
    // One control serves two fields; the measurement type at opening says which.
    const bool testPulses = isTestPulseType(acqPars.acqType);
    ui->sbSpacing->setValue(testPulses ? acqPars.tpSpacing : acqPars.spacing);
    ui->chbRefreshDACs->setChecked(acqPars.refreshDacs);
    ui->chbRefreshPixCfg->setChecked(acqPars.refreshPixCfg);
    // A device without a trigger input shows (disabled) the start trigger, and OK
    // writes it: such a device ignores the trigger bits.
    const bool hwTrigger = dev->hasHwTrigger();
    ui->cmbTrigger->setCurrentIndex(
        getTriggerIndexFromMode(hwTrigger ? unsigned(acqPars.acqMode) : kTriggerStart));
    ui->cmbFileDigits->setCurrentIndex(std::clamp(acqPars.repeatFileDigits, 0, 10));
    ui->cmbFileNext->setCurrentIndex(acqPars.repeatFileFlags & kRepeatContinue ? 1 : 0);
    const bool frameFile = fileTypeCode == kFrameFileType;
    ui->wgtMpxFrameFileStg->setVisible(frameFile);
    ui->cmbFileOutput->setCurrentIndex(acqPars.repeatFileFlags & kRepeatSameFile ? 2
            : acqPars.repeatFileFlags & kRepeatSeparateDir                       ? 1
                                                                                 : 0);
    if (frameFile) {
        ui->chbMpxFrameBinary->setChecked(acqPars.fileFlags & kFileBinary);
        ui->chbMpxFrameNoDSC->setChecked(acqPars.fileFlags & kFileNoDsc);
        ui->chbMpxFrameSparse->setChecked(acqPars.fileFlags & kFileSparse);
        ui->chbMpxFrameSubFramesOneFile->setChecked(acqPars.fileFlags & kFileSubFramesOneFile);
    }
    ui->tvFileParams->setParams(fileParams);

    const uint32_t caps = dev->capabilityFlags();
    ui->cmbTrigger->setEnabled(hwTrigger && (caps & (kTriggerStart | kTriggerStop)));
    addTriggerParams();
    ui->chbDataCompression->setVisible(caps & kCompression);
    ui->chbDataCompression->setChecked(acqPars.acqMode & kCompression);
    ui->chbTDIReadout->setVisible(caps & kTdiReadout);
    ui->chbTDIReadout->setChecked(acqPars.acqMode & kTdiReadout);
    ui->chbCalibrateData->setVisible(false);
    const bool sensorRefresh = dev->isSensorRefreshSupported();
    ui->chbSensorRefresh->setVisible(sensorRefresh);
    ui->chbSensorRefresh->setChecked(sensorRefresh && dev->isSensorRefreshEnabled());

    switch (dev->deviceType()) {
    case ov::DevKindMpx2:
        execMpx2();
        break;
    case ov::DevKindMpx3:
        execMpx3();
        break;
    case ov::DevKindTpx3:
        execTpx3();
        break;
    case ov::DevKindTpx2:
        execTpx2();
        break;
    default:
        break;
    }
    if (!accepted)
        return false;

    if (isTestPulseType(acqPars.acqType))
        acqPars.tpSpacing = ui->sbSpacing->value();
    else
        acqPars.spacing = ui->sbSpacing->value();
    acqPars.refreshDacs = ui->chbRefreshDACs->isChecked();
    acqPars.refreshPixCfg = ui->chbRefreshPixCfg->isChecked();
    // The check boxes count whether shown or not: a hidden one keeps the bit it was
    // given above. Mode bits other than these are dropped.
    unsigned mode = getModeFromTriggerIndex(ui->cmbTrigger->currentIndex());
    if (ui->chbDataCompression->isChecked())
        mode |= kCompression;
    if (ui->chbTDIReadout->isChecked())
        mode |= kTdiReadout;
    acqPars.acqMode = int(mode);
    acqPars.repeatDelay = ui->sbDelay->value();
    acqPars.repeatFileDigits = ui->cmbFileDigits->currentIndex();

    unsigned repeatFlags = 0;
    if (ui->cmbFileOutput->currentIndex() == 1)
        repeatFlags |= kRepeatSeparateDir;
    else if (ui->cmbFileOutput->currentIndex() == 2)
        repeatFlags |= kRepeatSameFile;
    if (ui->cmbFileNext->currentIndex() > 0)
        repeatFlags |= kRepeatContinue;
    acqPars.repeatFileFlags = repeatFlags;

    if (frameFile) {
        unsigned flags = 0;
        if (ui->chbMpxFrameBinary->isChecked())
            flags |= kFileBinary;
        if (ui->chbMpxFrameNoDSC->isChecked())
            flags |= kFileNoDsc;
        if (ui->chbMpxFrameSparse->isChecked())
            flags |= kFileSparse;
        if (ui->chbMpxFrameSubFramesOneFile->isChecked())
            flags |= kFileSubFramesOneFile;
        acqPars.fileFlags = flags;
    }

    ctrl->setTpParams(tpPars);
    ctrl->setAcqParams(acqPars);
    saveParamValues();
    if (dev->isSensorRefreshSupported())
        dev->setSensorRefreshEnabled(ui->chbSensorRefresh->isChecked());
    return true;
}

bool DlgAcqStg::runDialog()
{
    exec();
    return accepted;
}

void DlgAcqStg::on_bbOKCancel_accepted()
{
    accepted = true;
    accept();
}

void DlgAcqStg::on_bbOKCancel_rejected()
{
    accepted = false;
    reject();
}

} // namespace PluginDevControl
