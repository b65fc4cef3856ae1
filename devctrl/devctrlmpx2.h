// The controller of Medipix2 and Timepix devices (device kind 1).
#pragma once

#include "devctrlmpx.h"

namespace PluginDevControl {

class DevCtrlMpx2 : public DevCtrlMpx
{
    Q_OBJECT

public:
    DevCtrlMpx2(ov::IOrvel* orvel, ov::IDevMpx2* dev, QMpxFrame* mpxFrame, QTabBar* frameTabs);
    ~DevCtrlMpx2() override;

    int startAcq() override;
    int stopAcq() override;
    void run() override;
    void onAcqRepeatFinish(long data) override;

    virtual ov::IDevMpx2* device() { return mpx2; }

    static void onTpxClockChangedWrapper(long data, long user);

signals:
    void sigTpxClockChanged();

protected:
    // The tabs above the frame: the frame itself and the four configuration views.
    void addFixedTabs();

    ov::IDevMpx2* mpx2;
    double pendingThreshold = 0.0;
    bool thresholdCalibrated = false;
    bool thresholdPending = false;
};

} // namespace PluginDevControl
