// What the measurement panels of all detector families share: the entry points for
// callers on any thread, the start and stop sequences, the running state mirrored in
// the controls and the controller's reports. A family's panel supplies its form, the
// merge of its fields into the controller's records and the checks of its own.
#pragma once

#include "acqparams.h"

#include <QString>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleLineEdit;
class QLabel;
class QLineEdit;
class QSpinBox;
class QToolButton;

namespace PluginDevControl {

class DevCtrlMpx;

class PnlMeasurementBase : public QWidget
{
    Q_OBJECT

public:
    ~PnlMeasurementBase() override;

    // Entry points for callers on any thread: each only emits its signal, which
    // reaches the panel's own thread.
    void setAcqParams(int count, double time);
    void setAcqType(int type);
    void setOutputParams(const char* file, bool enabled);
    void setRepeatParams(int count, bool enabled);
    void start();
    void stop();

    // Hands what stands on the panel to the controller, so that its saved settings
    // hold it.
    void onExit();
    // running is accepted for the callers' clarity and has no effect.
    virtual void enableGui(bool enabled, bool running);

signals:
    void sigAcqStart();
    void sigAcqStop();

    void sigAcqParams(int count, double time);
    void sigAcqType(int type);
    void sigOutputParams(QString file, bool enabled);
    void sigRepeatParams(int count, bool enabled);
    void sigStart();
    void sigStop();

private slots:
    void onAcqParams(int count, double time);
    void onAcqType(int type);
    void onOutputParams(QString file, bool enabled);
    void onRepeatParams(int count, bool enabled);
    void onStart();
    void onStopSignal();

    void onAcqAllFinished(int result);
    void onAcqMeasStarted();
    void onAcqMeasFinished();
    void onDeviceLockChanged();

    void on_btStartStop_clicked();
    void on_btMeasStg_clicked();
    void on_btBrowseFile_clicked();
    void on_cbRepeat_clicked();
    void on_cbFileOutput_clicked();
    void on_cmAcqType_currentIndexChanged(int index);

protected:
    // The controls that every family's form has under the same names.
    struct Controls
    {
        QComboBox* cmAcqType = nullptr;
        QSpinBox* spCount = nullptr;
        QDoubleLineEdit* edTime = nullptr;
        QCheckBox* cbRepeat = nullptr;
        QSpinBox* spRepeat = nullptr;
        QCheckBox* cbFileOutput = nullptr;
        QLineEdit* edFileOutput = nullptr;
        QToolButton* btBrowseFile = nullptr;
        QToolButton* btMeasStg = nullptr;
        QLabel* lInfo = nullptr;
        QToolButton* btStartStop = nullptr;
    };
    template <class Form>
    static Controls controlsOf(Form* form)
    {
        return Controls {form->cmAcqType, form->spCount, form->edTime, form->cbRepeat,
            form->spRepeat, form->cbFileOutput, form->edFileOutput, form->btBrowseFile,
            form->btMeasStg, form->lInfo, form->btStartStop};
    }

    PnlMeasurementBase(QWidget* parent, DevCtrlMpx* ctrl);
    // Run by the family's constructor once its form is set up: narrows the time field to
    // the device's limits and connects the controller and the entry points.
    void attachControls(const Controls& controls);

    // The fields every family shows alike: count, repeats and file output. The file
    // name is shown here; how it is read back is the family's choice.
    void showCommonFields(const AcqParams& params);
    void readCommonFields(AcqParams* params) const;

    void startAcq();
    void stopAcq();
    static bool isTriggerMode(int mode);
    bool isOn() const;

    // The controller's records with the panel's fields laid over them, in the working
    // copies.
    virtual void mergeFromController() = 0;
    // Gives the working copies to the controller: on a start, at exit and before the
    // settings dialog.
    virtual void handOverParams() = 0;
    // A new choice in cmAcqType: merge and hand over the common record.
    virtual void acqTypeChanged(int index);
    // Checks after the merge, before anything is handed over; false drops the start.
    virtual bool checkBeforeHandOver() { return true; }
    // Checks of the output once the user agreed to overwrite; false drops the start.
    virtual bool checkOutput() { return true; }
    // Whether spCount may be edited when the panel is enabled.
    virtual bool countEditable() const { return true; }
    // The item of cmAcqType that stands for an acquisition type.
    virtual int comboIndexOfType(int type) const { return type; }
    // Stop asked for by a caller through stop().
    virtual void onStop();

    Controls form;
    DevCtrlMpx* ctrl;
    AcqParams acqPars;
};

} // namespace PluginDevControl
