#include "pnlmeasurementtpx3.h"

#include "devctrltpx3.h"
#include "ui_pnlmeasurementtpx3.h"

#include <QMessageBox>
#include <QSignalBlocker>

namespace PluginDevControl {

namespace {

const int kPixelsIndex = 3;
const int kPixelsTestPulsesIndex = 4;

// Both pixel kinds measure for timeDataDriven and take no count.
bool isPixelType(int type)
{
    return type == AcqTpx3Pixels || type == AcqTpx3PixelsTestPulses;
}

} // namespace

PnlMeasurementTpx3::PnlMeasurementTpx3(QWidget* parent, DevCtrlTpx3* controller)
    : PnlMeasurementBase(parent, controller), ui(new Ui_PnlMeasurementTpx3), ctrlTpx3(controller)
{
    ui->setupUi(this);
    attachControls(controlsOf(ui));
    if (ctrlTpx3) {
        acqPars = ctrlTpx3->acqParams();
        acqParsTpx3 = ctrlTpx3->acqParamsTpx3();
    }
    setAcqParsToGui(&acqPars, &acqParsTpx3);
    enableGui(true, false);
}

PnlMeasurementTpx3::~PnlMeasurementTpx3()
{
    delete ui;
}

int PnlMeasurementTpx3::typeOfIndex(int index)
{
    return index == kPixelsTestPulsesIndex ? int(AcqTpx3PixelsTestPulses) : index;
}

int PnlMeasurementTpx3::indexOfType(int type)
{
    if (type == AcqTpx3PixelsTestPulses)
        return kPixelsTestPulsesIndex;
    if (type == AcqIntegralTestPulses)
        return -1;
    return type;
}

void PnlMeasurementTpx3::setAcqParsToGui(AcqParams* params, AcqParamsTpx3* paramsTpx3)
{
    savedCount = params->acqCount;
    showCommonFields(*params);
    {
        // Showing the record is no change of type to hand back to the controller.
        const QSignalBlocker block(ui->cmAcqType);
        ui->cmAcqType->setCurrentIndex(indexOfType(params->acqType));
    }
    const QString frameTime = QString::number(params->acqTime, 'g', 6);
    const QString pixelTime = QString::number(paramsTpx3->timeDataDriven, 'g', 6);
    const bool pixels = isPixelType(params->acqType);
    ui->edTime->setText(pixels ? pixelTime : frameTime);
    savedTimeText = pixels ? frameTime : pixelTime;
    if (pixels)
        ui->spCount->setEnabled(false);
}

void PnlMeasurementTpx3::getAcqParsFromGui(AcqParams* params, AcqParamsTpx3* paramsTpx3)
{
    readCommonFields(params);
    // With no item chosen (stored settings hold type 4, which has none) the record
    // keeps its type, so that such a start measures as that type.
    const int index = ui->cmAcqType->currentIndex();
    if (index >= 0)
        params->acqType = typeOfIndex(index);
    // An unticked file output leaves no name behind, so that nothing downstream takes
    // the type of a file that will not be written.
    params->outputFile = ui->cbFileOutput->isChecked()
        ? ui->edFileOutput->text().toUtf8().toStdString()
        : std::string();
    const double time = ui->edTime->text().toDouble();
    if (isPixelType(params->acqType))
        paramsTpx3->timeDataDriven = time;
    else
        params->acqTime = time;
}

void PnlMeasurementTpx3::mergeFromController()
{
    if (ctrlTpx3) {
        acqPars = ctrlTpx3->acqParams();
        acqParsTpx3 = ctrlTpx3->acqParamsTpx3();
    }
    getAcqParsFromGui(&acqPars, &acqParsTpx3);
}

void PnlMeasurementTpx3::handOverParams()
{
    if (!ctrlTpx3)
        return;
    ctrlTpx3->setAcqParams(acqPars);
    ctrlTpx3->setAcqParamsTpx3(acqParsTpx3);
}

void PnlMeasurementTpx3::swapTimeText()
{
    const QString shown = ui->edTime->text();
    ui->edTime->setText(savedTimeText);
    savedTimeText = shown;
}

void PnlMeasurementTpx3::acqTypeChanged(int index)
{
    if (index == kPixelsIndex) {
        savedCount = ui->spCount->value();
        ui->spCount->setValue(1);
        ui->spCount->setEnabled(false);
        swapTimeText();
    } else if (!ui->spCount->isEnabled()) {
        // Leaving the pixel kind: the count and the other time come back.
        ui->spCount->setEnabled(true);
        ui->spCount->setValue(savedCount);
        swapTimeText();
    }
    // Only the common record goes to the controller here; the data-driven time follows
    // on a start, at exit and before the settings dialog.
    PnlMeasurementBase::acqTypeChanged(index);
}

bool PnlMeasurementTpx3::countEditable() const
{
    const int index = ui->cmAcqType->currentIndex();
    return index != kPixelsIndex && index != kPixelsTestPulsesIndex && index != 5;
}

bool PnlMeasurementTpx3::checkOutput()
{
    // Pixel data belongs in the device's own pixel formats; pixels with test pulses
    // are left to the user.
    if (!ctrlTpx3 || !acqPars.fileOutput || acqPars.acqType != AcqTpx3Pixels)
        return true;
    if (ctrlTpx3->isPixelFile(ctrlTpx3->getFirstOutputFileName()))
        return true;
    QMessageBox::warning(this, "Warning",
        "Data in pixel mode should be saved in pixel file format (*.t3pa, *.t3p, *.t3r)",
        QMessageBox::Ok);
    return false;
}

void PnlMeasurementTpx3::onStop()
{
    PnlMeasurementBase::onStop();
    stopAcq();
}

} // namespace PluginDevControl
