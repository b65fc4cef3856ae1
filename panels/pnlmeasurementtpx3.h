// The measurement panel of a Timepix3 detector. Beside frames it offers the data-driven
// pixel kinds, which have a time of their own and no count: the panel keeps the count
// and the other kind's time aside while a pixel kind is chosen, and puts them back
// when the choice returns to a frame kind.
#pragma once

#include "pnlmeasurementbase.h"

class Ui_PnlMeasurementTpx3;

namespace PluginDevControl {

class DevCtrlTpx3;

class PnlMeasurementTpx3 : public PnlMeasurementBase
{
    Q_OBJECT

public:
    PnlMeasurementTpx3(QWidget* parent, DevCtrlTpx3* ctrl);
    ~PnlMeasurementTpx3() override;

    // The acquisition type of an item of cmAcqType and back: the last item stands for
    // pixels with test pulses (type 5); type 4 has no item and selects nothing.
    static int typeOfIndex(int index);
    static int indexOfType(int type);

    Ui_PnlMeasurementTpx3* ui;

protected:
    void getAcqParsFromGui(AcqParams* params, AcqParamsTpx3* paramsTpx3);
    void setAcqParsToGui(AcqParams* params, AcqParamsTpx3* paramsTpx3);

    void mergeFromController() override;
    void handOverParams() override;
    void acqTypeChanged(int index) override;
    bool checkOutput() override;
    bool countEditable() const override;
    int comboIndexOfType(int type) const override { return indexOfType(type); }
    // Stops the controller and shows the panel idle at once.
    void onStop() override;

private:
    void swapTimeText();

    DevCtrlTpx3* ctrlTpx3;
    AcqParamsTpx3 acqParsTpx3;
    // The count to give back when a frame kind is chosen again.
    int savedCount = 0;
    // The time of the kind not chosen, to give back on a change of kind.
    QString savedTimeText;
};

} // namespace PluginDevControl
