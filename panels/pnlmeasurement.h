// The measurement panel of a frame-based detector: type, count, time, repeats and file
// output of a measurement, and the Start/Stop button. It keeps no acquisition logic of
// its own: it lays its fields over the controller's parameters, refuses or confirms a
// start, and mirrors the controller's running state in its controls.
#pragma once

#include "acqparams.h"

#include <QString>
#include <QWidget>

class Ui_PnlMeasurement;

namespace PluginDevControl {

class DevCtrlMpx;

class PnlMeasurement : public QWidget
{
    Q_OBJECT

public:
    PnlMeasurement(QWidget* parent, DevCtrlMpx* ctrl);
    ~PnlMeasurement() override;

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

    Ui_PnlMeasurement* ui;

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
    void onStop();

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
    void startAcq();
    void stopAcq();
    void getAcqParsFromGui(AcqParams* params);
    void setAcqParsToGui(AcqParams* params);
    static bool isTriggerMode(int mode);
    // Whether the start may go on: true when the frames fit "MaxFrameMemory", else
    // the user's answer.
    bool checkFramesMemory();

private:
    // The controller's whole record with the panel's seven fields laid over it, in the
    // working copy.
    void mergeFromController();
    bool isOn() const;

    DevCtrlMpx* ctrl;
    AcqParams acqPars;
};

} // namespace PluginDevControl
