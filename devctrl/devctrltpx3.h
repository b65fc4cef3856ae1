// The controller of Timepix3 devices (device kind 3): frame measurements as on the other
// families, and data-driven measurements in which the device delivers pixel hits that
// it groups into pixel and cluster data objects, each with a frame made on demand.
#pragma once

#include "devctrlmpx.h"

#include <atomic>
#include <cstdint>
#include <functional>

namespace PluginDevControl {

class DevCtrlTpx3 : public DevCtrlMpx
{
    Q_OBJECT

public:
    DevCtrlTpx3(ov::IOrvel* orvel, ov::IDevTpx3* dev, QMpxFrame* mpxFrame, QTabBar* frameTabs);
    ~DevCtrlTpx3() override;

    void loadSettings(ov::ISettings* settings) override;
    void saveSettings(ov::ISettings* settings) override;
    // With pixel data and no stored frame the data object of the first index is shown.
    void showAcqFrame(unsigned long index) override;
    void showPixCfgFrames(bool show) override;
    // Step the threshold adjustment of the pixels of the frame on show beyond the limit,
    // in the direction the threshold's polarity gives; -1 without a frame.
    int shiftThlOver(double limit, int adjustment) override;
    int shiftThlUnder(double limit, int adjustment) override;
    // The time of one frame, or of the whole data-driven measurement; 0 reads as 1000.
    double acqTime() override;
    void run() override;
    void onDevStgChanged() override;

    virtual ov::IDevTpx3* device() { return tpx3; }
    // The device's operation mode, 8 bits.
    virtual int opMode();
    virtual int setOpMode(int mode);
    // Applied at once, also during a measurement.
    virtual double threshold();
    virtual int setThreshold(double value);
    virtual bool isThresholdCalibrated() const { return thresholdCalibrated.load(); }
    // Data objects with a reference for the caller; null when the object at the index is
    // of another kind, or when there is none.
    virtual ov::ITpx3Pixels* lastTpx3Pixels() const;
    virtual ov::ITpx3Pixels* tpx3Pixels(unsigned long index) const;
    virtual ov::ITpx3Clusters* lastTpx3Clusters() const;
    virtual ov::ITpx3Clusters* tpx3Clusters(unsigned long index) const;
    // A data-driven measurement: only the plain pixel kind.
    virtual bool isDataDriven();
    // Of the newest pixel data, else of the newest cluster data, else 0.
    virtual double fadeWindowSize() const;
    virtual uint32_t pixelCount() { return m_pixelCount.load(); }
    virtual void setAcqParamsTpx3(const AcqParamsTpx3& params) { m_acqParamsTpx3 = params; }
    virtual AcqParamsTpx3& acqParamsTpx3() { return m_acqParamsTpx3; }
    // Names of the device's own pixel files, by their exact ending.
    virtual bool isPixelFile(const QString& name);
    virtual void onTpx3StgChangedFunc();
    virtual void onNewDataFunc(int index);

    // Whether the threshold is given in calibrated units: every chip is calibrated.
    void getThresholdCalibrated();
    static void onTpx3StgChangedWrapper(long data, long user);

public slots:
    // Set on the newest pixel data (else cluster data), whose frame is then drawn.
    virtual void setFadeWindowSize(double seconds);
    virtual void setFrameType(int type);
    // Counts the hits of pixel and cluster data and shows their frame: at most ten
    // pictures a second, the newest data's when the interval is over.
    void onNewData(int index) override;

signals:
    void sigNewData(int index);
    void sigTpx3StgChanged();
    void sigOverflow();

protected:
    // The newest pixel data, else the newest cluster data, with a reference; null when
    // there is neither.
    ov::RefData<ov::ITpx3Data> lastTpx3Data() const;
    // Applies change to the newest pixel (else cluster) data and shows its frame as the
    // current one.
    void changeNewestData(const std::function<void(ov::ITpx3Data*)>& change);
    // The step of a pixel's threshold adjustment, by the threshold's polarity.
    int thlStep(bool over);
    // Hands the data at index to the image properties and shows its frame.
    void showData(int index);

    ov::IDevTpx3* tpx3;
    AcqParamsTpx3 m_acqParamsTpx3;
    // Hits in the latest pixel data; reset on the measuring thread, set on the GUI thread.
    std::atomic<uint32_t> m_pixelCount {0};
    std::atomic<bool> thresholdCalibrated {false};
    // Kept in the settings only.
    bool autoCtpr = false;
    // GUI thread: when the last picture of new data was shown (nowSeconds), and whether
    // the newest data waits for the next one.
    double m_lastPicture = 0.0;
    bool m_picturePending = false;
};

} // namespace PluginDevControl
