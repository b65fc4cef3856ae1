// "Measurement Settings": everything of a measurement that the measurement panel does
// not show. Data options, the hardware trigger and the device's own trigger parameters,
// test pulses, the files of a repeated series, and the output file type's own options.
// The dialog edits copies of the controller's AcqParams and TpParams and writes both
// back on OK; the test-pulse group is built at run time for the device's chip family.
#pragma once

#include "acqparams.h"
#include "acqrecords.h"

#include <QDialog>
#include <QList>

namespace ov {
class IDevMpx;
class IParam;
} // namespace ov

class QCheckBox;
class QDoubleSpinBox;
class QGridLayout;
class QSpinBox;

namespace Ui {
class DlgAcqStg;
}

namespace PluginDevControl {

class DevCtrlMpx;

class DlgAcqStg : public QDialog
{
    Q_OBJECT

public:
    // Builds the form and reads the controller's records; changes nothing else.
    DlgAcqStg(QWidget* parent, DevCtrlMpx* ctrl);
    ~DlgAcqStg() override;

    // Fills the controls, runs the dialog modally and, on OK, writes the records back
    // to the controller, the trigger parameters to the device and the sensor refresh.
    // True when the user pressed OK.
    bool showDialog();

    // The trigger combo box index of the trigger bits of a mode word, and back.
    static int getTriggerIndexFromMode(unsigned int mode);
    static unsigned int getModeFromTriggerIndex(int index);

    Ui::DlgAcqStg* form() const { return ui; }

protected:
    // Each family builds its test-pulse group, runs the dialog and reads the group back.
    void execMpx2();
    void execMpx3();
    void execTpx3();
    void execTpx2();
    // One row per trigger parameter of the device under the trigger combo box.
    void addTriggerParams();
    // Writes the trigger parameter rows to the device.
    void saveParamValues();

private slots:
    void on_bbOKCancel_accepted();
    void on_bbOKCancel_rejected();

private:
    // A control made for a device parameter: the widget, the parameter, and the kind
    // of its value domain.
    struct ParamControl
    {
        QWidget* widget;
        ov::IParam* param;
        int type;
    };

    // The grid of the test-pulse group with the two rows every family has: the pulse
    // count and the period (shown in microseconds).
    QGridLayout* startTestPulseGroup(uint32_t maxCount, double maxPeriod);
    // The calibrate-data box of the families that have it, from the device.
    void showCalibrateData(bool supported, bool enabled);
    // Runs the dialog; false when it was cancelled.
    bool runDialog();
    // The rows every family's pulse block has: count, period and manual test bits.
    template <class Pulses>
    void showCommonPulses(const Pulses& pulses);
    template <class Pulses>
    void readCommonPulses(Pulses& pulses) const;
    // The calibrate-data box from a device that has one, and back to it on OK.
    template <class Device>
    bool showCalibration(Device* device);
    template <class Device>
    void writeCalibration(Device* device, bool supported) const;
    QCheckBox* addCheckRow(
        QGridLayout* grid, int row, int column, const char* name, const QString& text);
    QDoubleSpinBox* addDoubleRow(QGridLayout* grid, int row, const char* name, const QString& label,
        double minimum, double maximum, double step, int decimals);
    QSpinBox* addIntRow(QGridLayout* grid, int row, const char* name, const QString& label,
        int minimum, int maximum);

    Ui::DlgAcqStg* ui;
    ov::IDevMpx* dev;
    DevCtrlMpx* ctrl;
    TpParams tpPars;
    AcqParams acqPars;
    bool accepted = false;
    QList<ParamControl> paramControls;
    int fileTypeCode = 0;

    // The test-pulse controls of the running family (null where the family has none).
    QSpinBox* sbPulseCount = nullptr;
    QDoubleSpinBox* sbPulsePeriod = nullptr;
    QDoubleSpinBox* sbPulseHeight = nullptr;
    QDoubleSpinBox* sbPulseCharge1 = nullptr;
    QDoubleSpinBox* sbPulseCharge2 = nullptr;
    QSpinBox* sbPulsePhase = nullptr;
    QSpinBox* sbPulseCharge = nullptr;
    QCheckBox* chbManualTpBits = nullptr;
    QCheckBox* chbExternal = nullptr;
    QCheckBox* chbDigital = nullptr;
};

} // namespace PluginDevControl
