// The controller of Medipix2 and Timepix devices (device kind 1): the measurement run,
// the fifth configuration tab (pixel modes on a Timepix, THH adjustments on a
// Medipix2), the energy threshold that waits for the end of a frame, and the test-pulse
// settings.
#pragma once

#include "devctrlmpx.h"

#include <atomic>

namespace PluginDevControl {

class DevCtrlMpx2 : public DevCtrlMpx
{
    Q_OBJECT

public:
    DevCtrlMpx2(ov::IOrvel* orvel, ov::IDevMpx2* dev, QMpxFrame* mpxFrame, QTabBar* frameTabs);
    ~DevCtrlMpx2() override;

    // Texts of the Timepix pixel modes, by mode value.
    static const char* const MODES[4];

    void loadSettings(ov::ISettings* settings) override;
    void saveSettings(ov::ISettings* settings) override;
    void showPixCfgFrames(bool show) override;
    int togglePixCfg(unsigned x, unsigned y, PixelArea area, const QList<QRect>& rects) override;
    int startAcq() override;
    int stopAcq() override;
    void savePixCfg() override;
    void openPixCfg() override;
    void showPixCfgFrame(PixCfgType type) override;
    void run() override;
    void onAcqFinish(long frameIndex) override;
    void onAcqRepeatFinish(long data) override;
    QString onFrameTooltip(unsigned x, unsigned y, double value) override;
    void onDevStgChanged() override;

    virtual ov::IDevMpx2* device() { return mpx2; }
    // During a measurement the value waits for the next finished frame; only the last
    // one set is applied.
    virtual int setThreshold(double value);
    virtual double threshold();
    virtual bool isThresholdCalibrated() const { return thresholdCalibrated.load(); }
    virtual int setThresholdImpl(double value);

    // The mode of all pixels of a Timepix configuration; on another configuration its
    // kind is returned and nothing changes.
    int setTpxMode(int mode);
    // The threshold counts as calibrated when every chip is.
    void getThresholdCalibrated();
    static void onTpxClockChangedWrapper(long data, long user);

signals:
    void sigTpxClockChanged();

protected:
    // The tabs above the frame: the frame itself and the four configuration views.
    QStringList fixedTabNames();
    // The host's chip and kind arguments of the threshold operations.
    void thresholdArgs(uint32_t* chip, int* kind);
    // The file filters offered for the configuration tab on show, with their formats.
    void pixCfgFilters(QStringList* filters, QList<int>* formats) const;
    // One THH step up on a whole row or column of a Medipix2, in one change.
    void stepThhLine(bool column, unsigned index);

    ov::IDevMpx2* mpx2;
    // Written on the GUI thread, taken on the thread of "AcqFinished": the value is
    // stored before the flag is raised, and the flag is read first.
    std::atomic<double> pendingThreshold {0.0};
    std::atomic<bool> thresholdCalibrated {false};
    std::atomic<bool> thresholdPending {false};
};

} // namespace PluginDevControl
