// The compact detector settings panel of a Medipix2 or Timepix page: bias, clock,
// threshold and counting mode, edited directly on the device through the controller.
// Every field ends up showing what the device took; a threshold typed but not yet
// confirmed by the device is marked until the device reports its DACs again.
#pragma once

#include <QPointer>
#include <QWidget>

class QTimer;
class Ui_PnlDevStgTpx;

namespace ov {
class IDevMpx2;
}

namespace PluginDevControl {

class DevCtrlMpx2;

class PnlDevStgTpx : public QWidget
{
    Q_OBJECT

public:
    PnlDevStgTpx(QWidget* parent, DevCtrlMpx2* ctrl);
    ~PnlDevStgTpx() override;

    // running is accepted for the callers' clarity and has no effect.
    void enableGui(bool enable, bool running);
    // Nothing of the panel is stored.
    void onExit() { }
    // The page lets go of its device: the panel stops polling and forgets the device
    // and the controller, so that nothing reaches them afterwards.
    void releaseDevice();

    const Ui_PnlDevStgTpx& form() const { return *ui; }
    // The bias-sense polling timer; null when the device has no sense or a fixed bias.
    QTimer* biasSenseTimer() const { return m_timer; }

public slots:
    // The pixel configuration display of the page is on: the mode is not offered then.
    void onPixConfTriggered(bool on);

private slots:
    void onDacsChanged();
    void onPixCfgChanged();
    void onBiasChanged();
    void onTpxClockChanged();
    void onDevStgChanged();
    void onDevLockChanged();
    void onTimer();

    void on_spThreshold_valueChanged(double value);
    void on_edBias_editingFinished();
    void on_edClock_editingFinished();
    void on_cmTpxMode_currentIndexChanged(int index);
    void on_btnThlWarning_clicked();
    void on_btnDevStg_clicked();

private:
    void showBias();
    void showClock();

    Ui_PnlDevStgTpx* ui;
    QPointer<DevCtrlMpx2> m_ctrl;
    ov::IDevMpx2* m_dev = nullptr;
    QTimer* m_timer = nullptr;
    bool m_biasFixed = false;
};

} // namespace PluginDevControl
