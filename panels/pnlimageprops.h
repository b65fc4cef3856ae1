// The image properties panel: the displayed range as two fields and two sliders, the
// automatic range computed from each frame shown, and for Timepix3 pixel data the
// time window of the frame made from the pixels.
#pragma once

#include <ovdetector.h>

#include <QWidget>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

class QCheckBox;
class QComboBox;
class QMpxFrame;
class Ui_PnlImageProps;

namespace PluginDevControl {

class DevCtrlMpx;
class QRangeMgr;

class PnlImageProps : public QWidget
{
    Q_OBJECT

public:
    // The items of cmAutorange, in order.
    enum AutoRangeMode : int {
        AutoMinMax = 0,
        AutoMinMaxNonZero = 1,
        AutoMinMaxNonZeroMargin = 2,
        AutoFractile001 = 3,
        AutoFractile005 = 4,
        AutoFractile01 = 5,
        AutoFractile05 = 6,
        AutoSmart = 7,
    };

    // The saved range of ctrl is shown at once. ctrl may be null (no time window,
    // nothing saved).
    PnlImageProps(QWidget* parent, QMpxFrame* frame, DevCtrlMpx* ctrl);
    ~PnlImageProps() override;

    // The frame on show and its statistics region; the panel keeps a reference on the
    // frame and a copy of the region. With a frame the sliders span the frame's values
    // and the automatic range, when on, follows it. A null frame clears the panel.
    void onFrameChanged(ov::IMpxFrame* frame, const ov::Region* region);
    // Computes the range of the chosen mode, if automatic range is on and there is a
    // frame, and shows it.
    virtual void setAutoRange(ov::IMpxFrame* frame, const ov::Region* region);
    // The low and high fractiles of at most maxSamples non-zero pixels, read at a
    // stride over the frame or the first rectangle of the region. The sample buffer is
    // kept for the next frame. 0 and 1 without samples; 0 and the value with one.
    void calculateSmartRange(ov::IMpxFrame* frame, double low, double high, int maxSamples,
        const ov::Region* region, double* min, double* max);

    // Shows the range and passes it to the picture.
    void setRange(double min, double max);
    // The span of the sliders; neither the sliders nor the picture change.
    void setMinMax(double min, double max);
    double min() const;
    double max() const;

    void setWindowAll(bool all);
    QComboBox* autoRangeCombo() const;
    QCheckBox* autoRangeCheckBox() const;
    void enableGui(bool enabled, bool running);
    // Shows or hides the time window; a shown window stays unless show or force.
    void showTimeWindowPanel(bool show, bool force);
    // The data object of the latest Timepix3 measurement step, from any thread; pixel
    // and cluster data bring up the time window, whose controls then show the data's
    // frame type and fade window. Other families ignore it.
    void onAcqDataChanged(ov::IData* acqData);
    // Hands the range to the controller, which saves it with its settings.
    void onExit();

    QRangeMgr* rangeManager() const { return rangeMgr; }
    // The controller when it offers the Timepix3 time window, else null.
    DevCtrlMpx* timepix3Controller() const { return ctrlTpx3; }
    // The sample buffer of the smart range: where it is, its capacity in doubles and
    // how many samples the last computation stored.
    const double* smartBufferData() const { return smartBuffer.get(); }
    std::size_t smartBufferCapacity() const { return smartBufferCapacityCount; }
    std::size_t smartBufferUsed() const { return smartBufferUsedCount; }

    Ui_PnlImageProps* ui;

signals:
    void rangeChanged(double min, double max);
    void sigAcqDataUpdate();

public slots:
    void onAcqDataUpdate();

private slots:
    void on_cmAutorange_currentIndexChanged(int index);
    void on_chbAutoRange_toggled(bool checked);
    void on_chbAll_toggled(bool checked);
    void on_edTime_editingFinished();
    void onRangeEditFocused(bool hasFocus);
    void onRangeSliderAction(int action);

protected:
    // A time that does not read as one, left in the field on Return or on leaving it,
    // gives way to the time in effect.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // chbAll and edTime as the data on show has them: its frame type and fade window.
    // The time is left alone while the user types in it, unless evenWhileTyping.
    void showDataTimeWindow(bool evenWhileTyping);
    void restoreTimeText();

    template <typename T>
    void calculateSmartRangeT(ov::IMpxFrame* frame, int maxSamples, const ov::Region* region,
        double low, double high, double* min, double* max);

    // Guards curData, which may be replaced from the acquisition thread.
    std::mutex mutex;
    DevCtrlMpx* ctrl;
    DevCtrlMpx* ctrlTpx3 = nullptr;
    QRangeMgr* rangeMgr = nullptr;
    ov::RefData<ov::IMpxFrame> curFrame;
    // The minimum and maximum of the whole of curFrame.
    double curFrameMin = 0.0;
    double curFrameMax = 1.0;
    ov::Region* curRegion = nullptr;
    ov::RefData<ov::IData> curData;
    std::unique_ptr<double[]> smartBuffer;
    std::size_t smartBufferUsedCount = 0;
    std::size_t smartBufferCapacityCount = 0;
    bool timeWindowVisible = false;
    // The text of edTime for the time in effect: the data's, or the last one applied.
    QString shownTimeText;

    // The region behind curRegion, copied because the caller's goes away.
    ov::Region curRegionStore;
    std::vector<ov::RegionRect> curRegionRects;
    // Whether the latest data object holds Timepix3 pixels or clusters.
    std::atomic<bool> acqDataIsPixels {false};
};

} // namespace PluginDevControl
