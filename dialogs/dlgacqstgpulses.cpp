// The test-pulse group of the measurement settings, one layout per chip family. Every
// family asks the device for its limits, builds its rows, runs the dialog and, on OK,
// copies the controls into its block of TpParams. Pulse periods are kept in seconds and
// shown in microseconds.
#include "dlgacqstg.h"

#include "ui_dlgacqstg.h"

#include <ovdetector.h>

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QSpinBox>

#include <algorithm>
#include <climits>

namespace PluginDevControl {

namespace {

constexpr double kMicroseconds = 1e6;

int spinLimit(uint64_t value)
{
    return int(std::min<uint64_t>(value, INT_MAX));
}

} // namespace

QSpinBox* DlgAcqStg::addIntRow(
    QGridLayout* grid, int row, const char* name, const QString& label, int minimum, int maximum)
{
    auto* box = new QSpinBox(ui->gbTP);
    box->setObjectName(QLatin1String(name));
    box->setRange(minimum, maximum);
    grid->addWidget(new QLabel(label, ui->gbTP), row, 0);
    grid->addWidget(box, row, 1);
    return box;
}

QDoubleSpinBox* DlgAcqStg::addDoubleRow(QGridLayout* grid, int row, const char* name,
    const QString& label, double minimum, double maximum, double step, int decimals)
{
    auto* box = new QDoubleSpinBox(ui->gbTP);
    box->setObjectName(QLatin1String(name));
    box->setDecimals(decimals);
    box->setRange(minimum, maximum);
    if (step > 0.0)
        box->setSingleStep(step);
    grid->addWidget(new QLabel(label, ui->gbTP), row, 0);
    grid->addWidget(box, row, 1);
    return box;
}

QCheckBox* DlgAcqStg::addCheckRow(
    QGridLayout* grid, int row, int column, const char* name, const QString& text)
{
    auto* box = new QCheckBox(text, ui->gbTP);
    box->setObjectName(QLatin1String(name));
    grid->addWidget(box, row, column);
    return box;
}

QGridLayout* DlgAcqStg::startTestPulseGroup(uint32_t maxCount, double maxPeriod)
{
    auto* grid = new QGridLayout(ui->gbTP);
    grid->setContentsMargins(5, 5, 5, 5);
    // The count may be 0 although the label says 1: the device decides.
    sbPulseCount = addIntRow(grid, 0, "sbPulseCount",
        QStringLiteral("Pulse count (1 - %1)").arg(maxCount), 0, spinLimit(maxCount));
    const double maxPeriodUs = maxPeriod * kMicroseconds;
    sbPulsePeriod = addDoubleRow(grid, 1, "sbPulsePeriod",
        QStringLiteral("Pulse period (1 - %1) [us]").arg(maxPeriodUs, 0, 'g', 3), 1.0, maxPeriodUs,
        0.1, 2);
    return grid;
}

void DlgAcqStg::showCalibrateData(bool supported, bool enabled)
{
    ui->chbCalibrateData->setVisible(true);
    ui->chbCalibrateData->setEnabled(supported);
    ui->chbCalibrateData->setChecked(enabled);
}

template <class Pulses>
void DlgAcqStg::showCommonPulses(const Pulses& pulses)
{
    sbPulseCount->setValue(spinLimit(pulses.pulseCount));
    sbPulsePeriod->setValue(pulses.pulsePeriod * kMicroseconds);
    chbManualTpBits->setChecked(pulses.manualTpBits);
}

template <class Pulses>
void DlgAcqStg::readCommonPulses(Pulses& pulses) const
{
    pulses.pulseCount = uint32_t(sbPulseCount->value());
    pulses.pulsePeriod = sbPulsePeriod->value() / kMicroseconds;
    pulses.manualTpBits = chbManualTpBits->isChecked() ? 1 : 0;
}

template <class Device>
bool DlgAcqStg::showCalibration(Device* device)
{
    const bool supported = device->isDataCalibrationSupported();
    showCalibrateData(supported, device->isDataCalibrationEnabled());
    return supported;
}

template <class Device>
void DlgAcqStg::writeCalibration(Device* device, bool supported) const
{
    if (supported)
        device->setDataCalibrationEnabled(ui->chbCalibrateData->isChecked());
}

void DlgAcqStg::execMpx2()
{
    auto* device = dynamic_cast<ov::IDevMpx2*>(dev);
    if (!device)
        return;
    uint32_t maxCount = 0;
    double maxHeight = 0.0, maxPeriod = 0.0;
    device->testPulseLimits(&maxCount, &maxHeight, &maxPeriod);
    QGridLayout* grid = startTestPulseGroup(maxCount, maxPeriod);
    sbPulseHeight = addDoubleRow(grid, 2, "sbPulseHeight",
        QStringLiteral("Pulse height (0 - %1) [V]").arg(maxHeight, 0, 'g', 3), 0.0, maxHeight,
        0.001, 3);
    chbManualTpBits = addCheckRow(grid, 3, 1, "chbManualTpBits", QStringLiteral("Manual TP Bits"));
    grid->setRowStretch(4, 1);
    ui->tabWidget->adjustSize();
    const bool calibration = showCalibration(device);

    TpxPulses& tp = tpPars.tpx;
    showCommonPulses(tp);
    sbPulseHeight->setValue(tp.pulseHeight);
    if (!runDialog())
        return;
    readCommonPulses(tp);
    tp.pulseHeight = sbPulseHeight->value();
    writeCalibration(device, calibration);
}

void DlgAcqStg::execMpx3()
{
    auto* device = dynamic_cast<ov::IDevMpx3*>(dev);
    if (!device)
        return;
    uint32_t maxCount = 0;
    double maxPeriod = 0.0, maxCharge1 = 0.0, maxCharge2 = 0.0;
    device->testPulseLimits(&maxCount, &maxPeriod, &maxCharge1, &maxCharge2);
    QGridLayout* grid = startTestPulseGroup(maxCount, maxPeriod);
    sbPulseCharge1 = addDoubleRow(grid, 2, "sbPulseCharge1",
        QStringLiteral("Pulse Charge1 (0 - %1) [V]").arg(maxCharge1, 0, 'g', 3), 0.0, maxCharge1,
        0.001, 3);
    sbPulseCharge2 = addDoubleRow(grid, 3, "sbPulseCharge2",
        QStringLiteral("Pulse Charge2 (0 - %1) [V]").arg(maxCharge2, 0, 'g', 3), 0.0, maxCharge2,
        0.001, 3);
    chbManualTpBits = addCheckRow(grid, 4, 1, "chbManualTpBits", QStringLiteral("Manual TP Bits"));
    grid->setRowStretch(5, 1);
    ui->tabWidget->adjustSize();

    Mpx3Pulses& tp = tpPars.mpx3;
    showCommonPulses(tp);
    sbPulseCharge1->setValue(tp.charge1);
    sbPulseCharge2->setValue(tp.charge2);
    if (!runDialog())
        return;
    readCommonPulses(tp);
    tp.charge1 = sbPulseCharge1->value();
    tp.charge2 = sbPulseCharge2->value();
}

void DlgAcqStg::execTpx3()
{
    auto* device = dynamic_cast<ov::IDevTpx3*>(dev);
    if (!device)
        return;
    uint32_t maxCount = 0, maxCharge = 0;
    double maxPeriod = 0.0;
    uint8_t maxPhase = 0;
    device->testPulseLimits(&maxCount, &maxPeriod, &maxPhase, &maxCharge);
    QGridLayout* grid = startTestPulseGroup(maxCount, maxPeriod);
    sbPulsePhase = addIntRow(
        grid, 2, "sbPulsePhase", QStringLiteral("Pulse Phase (0 - %1)").arg(maxPhase), 0, maxPhase);
    sbPulseCharge = addIntRow(grid, 3, "sbPulseCharge",
        QStringLiteral("Pulse Charge (0 - %1)[e]").arg(maxCharge), 1, spinLimit(maxCharge));
    chbManualTpBits = addCheckRow(grid, 4, 1, "chbManualTpBits", QStringLiteral("Manual TP Bits"));
    chbExternal = addCheckRow(grid, 5, 0, "chbExternal", QStringLiteral("External"));
    chbDigital = addCheckRow(grid, 5, 1, "chbDigital", QStringLiteral("Digital"));
    grid->setRowStretch(6, 1);
    ui->tabWidget->adjustSize();
    const bool calibration = showCalibration(device);

    Tpx3Pulses& tp = tpPars.tpx3;
    showCommonPulses(tp);
    sbPulsePhase->setValue(tp.phase);
    sbPulseCharge->setValue(spinLimit(tp.charge));
    chbExternal->setChecked(tp.external);
    chbDigital->setChecked(tp.digital);
    if (!runDialog())
        return;
    readCommonPulses(tp);
    tp.phase = uint8_t(sbPulsePhase->value());
    tp.charge = uint32_t(sbPulseCharge->value());
    tp.external = chbExternal->isChecked() ? 1 : 0;
    tp.digital = chbDigital->isChecked() ? 1 : 0;
    writeCalibration(device, calibration);
}

void DlgAcqStg::execTpx2()
{
    auto* device = dynamic_cast<ov::IDevTpx2*>(dev);
    if (!device)
        return;
    uint32_t maxCount = 0;
    double maxHeight = 0.0, maxPeriod = 0.0;
    device->testPulseLimits(&maxCount, &maxHeight, &maxPeriod);
    QGridLayout* grid = startTestPulseGroup(maxCount, maxPeriod);
    // Row 2 stays empty in this family.
    sbPulseHeight = addDoubleRow(grid, 3, "sbPulseHeight",
        QStringLiteral("Pulse Height (0 - %1)[e]")
            .arg(QString::number(maxHeight, 'g', QLocale::FloatingPointShortest)),
        0.0, maxHeight, 0.0, 2);
    chbManualTpBits = addCheckRow(grid, 4, 1, "chbManualTpBits", QStringLiteral("Manual TP Bits"));
    chbDigital = addCheckRow(grid, 5, 1, "chbDigital", QStringLiteral("Digital"));
    grid->setRowStretch(6, 1);
    ui->tabWidget->adjustSize();
    const bool calibration = showCalibration(device);

    Tpx2Pulses& tp = tpPars.tpx2;
    showCommonPulses(tp);
    sbPulseHeight->setValue(tp.pulseHeight);
    chbDigital->setChecked(tp.digital);
    if (!runDialog())
        return;
    readCommonPulses(tp);
    tp.pulseHeight = sbPulseHeight->value();
    tp.digital = chbDigital->isChecked() ? 1 : 0;
    writeCalibration(device, calibration);
}

} // namespace PluginDevControl
