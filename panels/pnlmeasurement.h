// The measurement panel of a frame-based detector: type, count, time, repeats and file
// output of a measurement, and the Start/Stop button. It keeps no acquisition logic of
// its own: it lays its fields over the controller's parameters, refuses or confirms a
// start, and mirrors the controller's running state in its controls.
#pragma once

#include "pnlmeasurementbase.h"

class Ui_PnlMeasurement;

namespace PluginDevControl {

class PnlMeasurement : public PnlMeasurementBase
{
    Q_OBJECT

public:
    PnlMeasurement(QWidget* parent, DevCtrlMpx* ctrl);
    ~PnlMeasurement() override;

    Ui_PnlMeasurement* ui;

protected:
    void getAcqParsFromGui(AcqParams* params);
    void setAcqParsToGui(AcqParams* params);
    // Whether the start may go on: true when the frames fit "MaxFrameMemory", else
    // the user's answer.
    bool checkFramesMemory();

    void mergeFromController() override;
    void handOverParams() override;
    bool checkBeforeHandOver() override { return checkFramesMemory(); }
};

} // namespace PluginDevControl
