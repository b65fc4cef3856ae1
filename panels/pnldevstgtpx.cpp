#include "pnldevstgtpx.h"

#include "devctrlmpx2.h"
#include "mydoublevalidator.h"
#include "ui_pnldevstgtpx.h"

#include <QSignalBlocker>
#include <QTimer>
#include <QToolTip>

namespace PluginDevControl {

namespace {

// The mark of a value edited but not yet confirmed by the device.
const char* const kUnconfirmed = "background-color: #ffd3a1;";
const char* const kThlWarning = "Changing threshold will affect energy calibration!";
constexpr int kBiasSensePeriodMs = 3000;
// The combo box offers counting (0), energy (1) and time (2); time is pixel mode 3.
constexpr int kTimeIndex = 2;
constexpr int kTimePixelMode = 3;

QString numberText(double value)
{
    return QString::number(value, 'g', 6);
}

} // namespace

PnlDevStgTpx::PnlDevStgTpx(QWidget* parent, DevCtrlMpx2* ctrl)
    : QWidget(parent), ui(new Ui_PnlDevStgTpx), m_ctrl(ctrl), m_dev(ctrl ? ctrl->device() : nullptr)
{
    ui->setupUi(this);
    // The panel keeps its natural height; the settings column gives the rest away.
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    onDevStgChanged();

    if (m_ctrl)
        showBias();
    if (m_dev) {
        const QSignalBlocker blocker(ui->edClock);
        showClock();
    }

    if (m_ctrl) {
        connect(m_ctrl, &DevCtrlMpx::sigDacsChanged, this, &PnlDevStgTpx::onDacsChanged);
        connect(m_ctrl, &DevCtrlMpx::sigPixCfgChanged, this, &PnlDevStgTpx::onPixCfgChanged);
        connect(m_ctrl, &DevCtrlMpx::sigBiasChanged, this, &PnlDevStgTpx::onBiasChanged);
        connect(m_ctrl, &DevCtrlMpx2::sigTpxClockChanged, this, &PnlDevStgTpx::onTpxClockChanged);
        connect(m_ctrl, &DevCtrlMpx::sigDeviceStgChanged, this, &PnlDevStgTpx::onDevStgChanged);
        connect(m_ctrl, &DevCtrlMpx::sigDevLockChanged, this, &PnlDevStgTpx::onDevLockChanged);
    }

    const double biasMin = m_dev ? m_dev->biasMin() : 0.0;
    const double biasMax = m_dev ? m_dev->biasMax() : 0.0;
    // A range of nothing but 0 V: the device has no bias to adjust.
    if (biasMin == 0.0 && biasMax == 0.0) {
        m_biasFixed = true;
        ui->edBias->setEnabled(false);
    }
    ui->lBiasSenseCurrent->hide();
    ui->lBiasSenseVolt->hide();
    ui->edBias->doubleValidator()->setRange(biasMin, biasMax, 4);

    if (m_dev && m_dev->hasBiasSense() && !m_biasFixed) {
        m_timer = new QTimer(this);
        connect(m_timer, &QTimer::timeout, this, &PnlDevStgTpx::onTimer);
        m_timer->start(kBiasSensePeriodMs);
    }

    // The threshold and the mode start from what the device holds now.
    onDacsChanged();
    onPixCfgChanged();
    enableGui(true, false);
}

PnlDevStgTpx::~PnlDevStgTpx()
{
    delete ui;
}

void PnlDevStgTpx::releaseDevice()
{
    if (m_timer)
        m_timer->stop();
    if (m_ctrl)
        disconnect(m_ctrl, nullptr, this, nullptr);
    m_ctrl = nullptr;
    m_dev = nullptr;
}

void PnlDevStgTpx::enableGui(bool enable, bool)
{
    ui->edBias->setEnabled(enable && !m_biasFixed);
    ui->edClock->setEnabled(enable);
    ui->cmTpxMode->setEnabled(enable);
    // The full device dialog is not offered yet: its button stays disabled.
    ui->btnDevStg->setEnabled(false);
}

void PnlDevStgTpx::showBias()
{
    ui->edBias->setText(numberText(m_ctrl->bias()));
}

void PnlDevStgTpx::showClock()
{
    ui->edClock->setText(numberText(m_dev->clock()));
}

// ---------------------------------------------------------------------------------
// The controller's signals

void PnlDevStgTpx::onDevStgChanged()
{
    if (m_ctrl && m_ctrl->isThresholdCalibrated())
        ui->lThreshold->setText("Thl [keV]:");
    else if (m_dev && m_dev->chipCount() > 1)
        ui->lThreshold->setText("Rel. Thl:");
    else
        ui->lThreshold->setText("Thl:");
}

void PnlDevStgTpx::onDacsChanged()
{
    if (!m_ctrl)
        return;
    ui->spThreshold->setStyleSheet(QString());
    const QSignalBlocker blocker(ui->spThreshold);
    ui->spThreshold->setValue(m_ctrl->threshold());
}

void PnlDevStgTpx::onBiasChanged()
{
    if (!m_ctrl)
        return;
    const QSignalBlocker blocker(ui->edBias);
    showBias();
}

void PnlDevStgTpx::onTpxClockChanged()
{
    if (!m_dev)
        return;
    const QSignalBlocker blocker(ui->edClock);
    if (m_dev->isTimepix())
        showClock();
}

void PnlDevStgTpx::onPixCfgChanged()
{
    if (!m_dev || !m_dev->isTimepix())
        return;
    ov::IMpxPixCfg* cfg = m_dev->pixCfg();
    if (!cfg)
        return;
    const QSignalBlocker blocker(ui->cmTpxMode);
    // The mean mode of all pixels, cut to a whole number: a mixed configuration shows
    // the mode below its mean.
    const int mode = static_cast<int>(cfg->averageMode());
    ui->cmTpxMode->setCurrentIndex(mode == kTimePixelMode ? kTimeIndex : mode);
}

void PnlDevStgTpx::onDevLockChanged()
{
    if (!m_ctrl)
        return;
    ui->pnlDevStg->setEnabled(!m_ctrl->isDeviceLocked());
}

void PnlDevStgTpx::onPixConfTriggered(bool on)
{
    ui->cmTpxMode->setEnabled(!on);
}

// Each reading is a round trip to the device: only when somebody can see the result.
void PnlDevStgTpx::onTimer()
{
    if (!m_dev || !isVisible() || !ui->pnlDevStg->isVisible() || !window()->isActiveWindow()
        || !ui->pnlDevStg->isEnabled())
        return;
    const double current = m_dev->senseBiasCurrent();
    const double voltage = m_dev->senseBiasVoltage();
    ui->lBiasSenseVolt->setText(QString("Bias %1 V").arg(static_cast<int>(voltage + 0.5)));
    ui->lBiasSenseCurrent->setText(QString("Bias %1 uA").arg(current, 0, 'f', 1));
    // A current that is not a number counts as not 0.
    ui->lBiasSenseCurrent->setVisible(current != 0.0);
    ui->lBiasSenseVolt->setVisible(true);
}

// ---------------------------------------------------------------------------------
// The user's edits

void PnlDevStgTpx::on_spThreshold_valueChanged(double)
{
    if (!m_ctrl)
        return;
    const double value = ui->spThreshold->value();
    ui->spThreshold->setStyleSheet(kUnconfirmed);
    m_ctrl->setThreshold(value);
}

void PnlDevStgTpx::on_edBias_editingFinished()
{
    if (!m_ctrl)
        return;
    // A decimal comma is taken as a point.
    QString text = ui->edBias->text();
    text.replace(',', '.');
    m_ctrl->setBias(text.toDouble());
    showBias();
}

void PnlDevStgTpx::on_edClock_editingFinished()
{
    if (!m_dev)
        return;
    const QSignalBlocker blocker(ui->edClock);
    const double value = ui->edClock->text().toDouble();
    m_dev->setClock(value);
    showClock();
}

void PnlDevStgTpx::on_cmTpxMode_currentIndexChanged(int index)
{
    if (!m_ctrl)
        return;
    // Pixel mode 2 (one hit) is not offered here.
    m_ctrl->setTpxMode(index == kTimeIndex ? kTimePixelMode : index);
}

void PnlDevStgTpx::on_btnThlWarning_clicked()
{
    QPushButton* button = ui->btnThlWarning;
    QToolTip::showText(
        button->mapToGlobal(button->rect().center()), kThlWarning, button, button->rect());
}

void PnlDevStgTpx::on_btnDevStg_clicked()
{
    // The full device dialog is not offered yet; the button stays disabled.
}

} // namespace PluginDevControl
