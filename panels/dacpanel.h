// The DAC panel of a detector page: one spin box per DAC of the chip chosen in the chip
// bar, an "All" box per DAC that sends a change to every chip (as a value or, with
// "Relative", as a difference), and a button that resets the DACs to their defaults.
// The device's DAC table is the only store; every edit goes through the controller, so
// that a change made during a measurement waits for the end of the frame.
#pragma once

#include <QList>
#include <QWidget>

class QCheckBox;
class QShowEvent;
class QSpinBox;
class Ui_DacPanel;

namespace ov {
class IDevMpx;
class IMpxDacs;
} // namespace ov

namespace PluginDevControl {

class CallbackRelay;
class DevCtrlMpx;

class DacPanel : public QWidget
{
    Q_OBJECT

public:
    DacPanel(QWidget* parent, ov::IDevMpx* dev, DevCtrlMpx* ctrl);
    ~DacPanel() override;

    // Read access for tests and for the page.
    int currentChip() const { return m_chip; }
    const QList<QSpinBox*>& dacSpins() const { return m_dacSpins; }
    const QList<QCheckBox*>& allChecks() const { return m_allChecks; }
    const Ui_DacPanel& form() const { return *ui; }

    // The device's "DacsChanged" event; only emits sigDacsChanged().
    static void onDacsChangedWrapper(long data, long user);

signals:
    void sigDacsChanged();

public slots:
    void onDacsChanged();
    void onChipChange(int chip);
    void onDacChange(int value);

private slots:
    void on_btResetDacs_clicked();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void setupGui();
    void loadDacValues();
    ov::IMpxDacs* dacs() const;
    int chipCount() const;
    void changeAllChips(int dac, int value);

    Ui_DacPanel* ui;
    ov::IDevMpx* m_dev;
    DevCtrlMpx* m_ctrl;
    int m_chip = 0;
    bool m_changing = false;
    QList<QSpinBox*> m_dacSpins;
    QList<QCheckBox*> m_allChecks;
    // Stands in for the panel with the host, which cannot forget an event callback.
    CallbackRelay* m_relay = nullptr;
};

} // namespace PluginDevControl
