// The controller of one pixel detector: measurement parameters, the start and stop of
// measurements on a worker thread, the device's events turned into Qt signals, and the
// hand-over of frames to the display. The chip-family controllers derive from it.
#pragma once

#include "acqparams.h"
#include "acqrecords.h"
#include "coalescedevents.h"

#include <ovdetector.h>

#include <QList>
#include <QObject>
#include <QRect>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

class QMpxFrame;
class QProgressDialog;
class QTabBar;

namespace PluginDevControl {

class CallbackRelay;
class PnlHistogram;
class PnlImageInfo;
class PnlImageProps;

// A statistics region of the frame on show, as the host's statistics operations take
// it: a list of rectangles in frame pixels. region() is a view that stays valid as long
// as this object is not changed.
struct FrameRegion
{
    std::vector<ov::RegionRect> rects;

    ov::Region region() const
    {
        return ov::Region {
            rects.empty() ? nullptr : rects.data(), static_cast<unsigned>(rects.size())};
    }
    static FrameRegion fromRect(const QRect& rect)
    {
        return FrameRegion {{ov::RegionRect {rect.x(), rect.y(), rect.width(), rect.height()}}};
    }
};

// One loaded frame or data set.
struct FileInfo
{
    std::string fileName;
    int index = 0; // position inside the file
    int type = 0;  // file type code
    bool multiFrame = false;
};

class DevCtrlMpx : public QObject
{
    Q_OBJECT

public:
    // What the frame widget shows.
    enum PixCfgType : int {
        PixCfgNone = 0, // the real frame
        PixCfgMask = 1,
        PixCfgTest = 2,
        PixCfgThl = 3,
        PixCfgFifth = 4, // the family's fifth tab
    };
    enum PixelArea : int {
        AreaPixel = 0,
        AreaRow = 1,
        AreaColumn = 2,
    };

    DevCtrlMpx(ov::IOrvel* orvel, ov::IDevMpx* dev, QMpxFrame* mpxFrame, QTabBar* frameTabs);
    ~DevCtrlMpx() override;

    virtual void loadSettings(ov::ISettings* settings);
    virtual void saveSettings(ov::ISettings* settings);
    virtual ov::IDev* dev() { return m_dev; }
    virtual ov::IDevMpx* devMpx() { return m_dev; }
    virtual ov::IOrvel* orvel() { return m_orvel; }
    virtual bool isDeviceLocked() const { return deviceLocked.load(); }
    // Also hands the panel's range changes to onRangeChanged.
    virtual void setImagePropsPanel(PnlImageProps* panel);
    virtual void setImageInfoPanel(PnlImageInfo* panel) { imageInfoPanel = panel; }
    virtual void setHistogramPanel(PnlHistogram* panel) { histogramPanel = panel; }
    virtual void showAcqFrame(unsigned long index);
    virtual void showPixCfgFrames(bool show);
    virtual void updateCurrentFrame();
    bool pixCfgFramesOnView() const { return pixCfgFramesShown; }

    // Pixel configuration (devctrlmpxpixcfg.cpp). togglePixCfg flips the bit of the
    // configuration view on show (the mask on the real frame) for a pixel, row or column;
    // maskRect masks or unmasks rectangles of frame pixels. The mask and shift operations
    // work on a copy of the configuration built from the frame on show and hand it to the
    // device in one call; -1 when there is no frame.
    virtual int togglePixCfg(unsigned x, unsigned y, PixelArea area, const QList<QRect>& rects);
    virtual int maskRect(const QList<QRect>& rects, bool masked);
    virtual int maskOver(double threshold);
    virtual int maskUnder(double threshold);
    virtual int shiftThlOver(double threshold, int adjustment);
    virtual int shiftThlUnder(double threshold, int adjustment);
    virtual void setAutoUpdateEnabled(bool enabled) { autoUpdate = enabled; }
    // Starts a measurement on a detached worker thread and returns 0 at once.
    virtual int startAcq();
    // Asks the device to abort, from a detached thread; returns 0 at once.
    virtual int stopAcq();
    virtual bool isAcqRunning() const { return acqRunning.load(); }
    virtual int curAcq() const { return m_curAcq.load(); }
    virtual int curRepeat() const { return m_curRepeat.load(); }
    virtual int acqCount() { return m_acqParams.acqCount; }
    virtual int repeatCount() { return m_acqParams.repeatCount; }
    virtual double acqTime() { return m_acqParams.acqTime; }
    virtual void setAcqParams(const AcqParams& params);
    virtual AcqParams& acqParams() { return m_acqParams; }
    virtual void setTpParams(const TpParams& params) { m_tpParams = params; }
    virtual TpParams& tpParams() { return m_tpParams; }
    virtual int setBias(double volts) { return m_dev->setBias(volts); }
    virtual double bias() { return m_dev->bias(); }
    virtual void showMaskedPixels(bool show);
    virtual int doDigitalTest(bool unused, unsigned* a, unsigned* b);
    virtual QString deviceStatusText();
    virtual int deviceStatus() { return m_dev->deviceStatus(); }
    virtual bool isNormalizedByTime() const { return normalizeByTimeOn; }
    virtual double frameMinRange() const { return m_frameMinRange; }
    virtual double frameMaxRange() const { return m_frameMaxRange; }
    virtual int lastAcqResult() const { return m_lastAcqResult.load(); }
    virtual uint32_t supportedAcqTypes() const { return m_dev->supportedAcqTypes(); }
    virtual int acqDataCount() const;
    virtual int acqFrameCount() const;
    // Takes over the caller's reference on frame.
    virtual void setFrame(ov::IMpxFrame* frame);
    virtual void showMpxFrame(ov::IMpxFrame* frame);
    // While a series runs: true restores its length, false lets the device end it
    // after the repeat in progress. Outside a run it does nothing.
    virtual void setAcqRepeatEnabled(bool enabled);
    virtual void setFrameRange(double min, double max);
    // Frames and data with a reference for the caller; null when there is none.
    virtual ov::IMpxFrame* lastFrame() const;
    virtual ov::IData* lastAcqData() const;
    virtual ov::IMpxFrame* frame(unsigned long index) const;
    virtual ov::IData* acqData(unsigned long index) const;
    // Draws frame (null: nothing) in the frame widget: the chosen sub-frame, filtered
    // and normalised by time when those are on, with the masked pixels overlaid.
    virtual void showFrame(ov::IMpxFrame* frame);
    // Shows the mask, test or THL bits of the device's pixel configuration as a frame.
    virtual void showPixCfgFrame(PixCfgType type);
    // The frame that saving, masking and statistics work on, with a reference: the
    // pixel-configuration frame, the processed copy, the chosen sub-frame (with
    // sameSizeOnly only when it has the frame's size) or the frame; null when none.
    virtual ov::RefData<ov::IMpxFrame> currentSubFrameOrFrame(bool sameSizeOnly);
    // Store the choice and redraw the current frame with it. The filter is not owned.
    virtual void setFilter(ov::IDataFilter* dataFilter);
    virtual void normalizeByTime(bool on);
    // The measurement itself, on the worker thread; empty here, the families run it.
    virtual void run();
    virtual void onAcqFinish(long frameIndex);
    virtual void onAcqRepeatFinish(long data);
    virtual void onAcqRepeatStart(long repeatIndex);
    virtual void onPixCfgChanged();
    virtual QString onFrameTooltip(unsigned x, unsigned y, double value);
    virtual void prepareSubFrameTabs();
    virtual void removeAllFrameTabs();
    virtual void clearLoadedData();

    // Saving and loading. The save operations ask for a file name and a type and hand
    // the writing to the host (pictures, code 10, are drawn here from the display).
    virtual void saveAcqData();
    virtual void saveCurrentFrame();
    virtual void saveAllFrames();
    virtual void saveFrames(const char* name, ov::IFileType* type, unsigned flags);
    virtual void saveFrame(ov::IMpxFrame* frame, const char* name, ov::IFileType* type,
        unsigned flags, bool useDisplay);
    // Asks for a file name among the device's file types (with framesOnly only those
    // that take frames); empty when cancelled. *type gets the chosen type, *flags the
    // multi-frame flags (0 for other types).
    virtual QString getSaveFileName(ov::IFileType** type, unsigned* flags, bool framesOnly);
    virtual int fileTypeFromFileName(const char* name);
    // The name of the first file that the measurement set up in acqParams() writes:
    // the output path with the repeat and frame numbers of a series' first file.
    virtual QString getFirstOutputFileName();
    virtual ov::IParamMgr* fileTypeParamsFromFileName(const char* name);
    // Asks how a multi-frame file is written; 4 (text sparse) when cancelled.
    virtual unsigned getMultiFrameTypeFlags();
    // Fills loadedFiles with one entry per frame (or data set) of the files and shows
    // the last one; an abort in the progress dialog keeps the entries made so far.
    virtual void loadFiles(QList<QString>& files);
    // The device's configuration file; no result, no message.
    virtual void loadConfig(const char* path);
    virtual void saveConfig(const char* path);
    // Ask for a file and hand it with its format code to the pixel configuration.
    virtual void savePixCfg();
    virtual void openPixCfg();
    // Loads the factory configuration off the GUI thread behind a progress dialog.
    virtual void loadFactoryCfg();
    // The data of one loaded entry, read from its file; null when the host gives none.
    ov::RefData<ov::IData> loadDataFromFile(const FileInfo& info) const;
    const std::vector<FileInfo>& loadedFileList() const { return loadedFiles; }
    // A DAC write: at once when no measurement runs and deferred is false (refused on a
    // locked device), otherwise kept until setDacValuesToDevice or the next finished
    // frame, where all kept writes go to the device in one table.
    virtual void setDacValue(int dac, int chip, int value, bool deferred);
    virtual void setDacValuesToDevice();
    virtual void setAcqFinishedDacValues();
    virtual void onDevStgChanged();
    virtual void onAcqDataChanged();

    // The frame on show, under the mutex; setCurrentFrame takes its own reference.
    void setCurrentFrame(ov::IMpxFrame* frame);
    ov::RefData<ov::IMpxFrame> currentFrame() const;

    // Number of detached threads of all controllers (measurements, aborts, background
    // saves and loads) that have not ended yet.
    static int detachedThreadCount() { return detachedThreads.load(); }
    // Aborts a measurement in progress and returns once every detached thread of this
    // controller is done with it and with the device; the owner calls it before
    // deleting the controller or letting the device go.
    void endMeasurement();

signals:
    void acqMeasStarted();
    void acqMeasFinished();
    void acqSingleFinished();
    void acqRepeatFinished();
    void acqRepeatStarted();
    void acqAllFinished(int result);
    void sigNewData(int index);
    void progress(double percent, unsigned frame);
    void acqFrameCountChange(int count);
    void frameTabChanged(int index);
    void sigAcqDataChanged();
    void sigShowFrame();
    void sigShowPixCfgFrame();
    void sigPixCfgChanged();
    void sigDacsChanged();
    void sigFiltersChanged();
    void sigDeviceStatusChanged(int status, QString text);
    void sigDeviceStgChanged();
    void sigBiasChanged();
    void sigDevLockChanged();
    void sigFrameMouseMove(int x, int y, double value);
    // The frame and region that the image properties, histogram and image info panels
    // show statistics of; a null frame when there is none.
    void sigFrameRegionChanged(ov::RefData<ov::IMpxFrame> frame, FrameRegion region);
    void sigAcqParamsChanged();
    void sigProgressDialogFinished(int code, QString message);

public slots:
    // Emits, on the GUI thread, the measurement signals that host threads marked since
    // the last delivery, with the latest values.
    void deliverAcqEvents();
    void onShowFrame();
    void onShowPixCfgFrame();
    void onCurrentTabChanged(int index);
    void onFrameZoomRectChanged(QRect rect);
    void onSelectionRectsChanged(QList<QRect> rects);
    void onMpxFrameMouseLeave();
    virtual void onNewData(int index);
    void onProgressDialogFinished(int code, QString message);
    void onRangeChanged(double min, double max);

protected:
    // The pixel under the mouse goes to the image info panel and to sigFrameMouseMove.
    void reportMouseAt(unsigned x, unsigned y, double value);
    // Device events are registered with this relay as their user data: the host cannot
    // forget them, so the controller's destructors cut the relay first.
    CallbackRelay* const eventRelay;
    // From now on device events reach nothing; returns once none is running. Called by
    // the destructor of every controller class, the most derived first.
    void detachDeviceEvents();

    // The steps of run() shared by the Timepix, Medipix3 and Timepix2 families:
    // fill the records, make the blocking device call, report the result.
    void runAdvancedAcquisition();
    // The same steps with a description the family made; the test-pulse block of the
    // device's kind goes along when testPulses is set. desc must live until it returns.
    void runAdvancedAcquisition(const AcqDesc& desc, bool testPulses);

    static void runWrapper(DevCtrlMpx* ctrl);
    static void onPixCfgChangedWrapper(long data, long user);
    static void onAcqMeasStartedWrapper(long data, long user);
    static void onAcqMeasFinishedWrapper(long data, long user);
    static void onAcqFinishWrapper(long data, long user);
    static void onAcqRepeatFinishWrapper(long data, long user);
    static void onAcqRepeatStartWrapper(long data, long user);
    static void onNewDataWrapper(long data, long user);
    static void onDacsChangedWrapper(long data, long user);
    static void onDeviceStatusChangedWrapper(long data, long user);
    static void onFiltersChangedWrapper(long data, long user);
    static void onDeviceStgChangedWrapper(long data, long user);
    static void onBiasChangedWrapper(long data, long user);
    static void onDevLockChangedWrapper(long data, long user);
    static QString onFrameTooltipWrapper(unsigned x, unsigned y, double value, void* user);

    // Shows one byte a pixel of the configuration, widened to a 16-bit frame of the
    // device's size that replaces the configuration frame held so far.
    void showPixCfgBits(const ov::DataBuff<unsigned char>& bits);
    // Masks the pixels of the frame on show that are over (or under) the threshold.
    int maskByValue(double threshold, bool over);
    // Steps the threshold adjustment of those pixels down (over) or up (under).
    int shiftThlByValue(double threshold, bool over);
    // Adds step to the threshold adjustment of every pixel of frame beyond the threshold
    // (above it when over, else below it), on a copy of the configuration that goes to
    // the device in one call; -1 when there is no frame or no copy.
    int shiftThlOfFrame(ov::IMpxFrame* frame, double threshold, bool over, int step);
    // Steps one adjustment by step on the working copy cfg for each pixel of frame, read
    // as T, beyond the threshold; a pixel whose adjustment has no room left is masked.
    template <typename T>
    void shiftThlAdj(
        ov::IMpxFrame* frame, ov::IMpxPixCfg* cfg, double threshold, bool over, int step);
    // Adds the tabs of names to the tab bar with its signals blocked.
    void addFixedTabs(const QStringList& names);
    // Shows the tab bar with the fixed tabs names and the real frame, or hides and empties
    // it and goes back to the real frame.
    void showFixedTabs(bool show, const QStringList& names);
    // Asks for a pixel-configuration file among filters and hands it, with the format
    // code of the chosen filter, to the configuration's save or load. The chosen name;
    // empty when cancelled.
    QString pixCfgFile(bool save, const QStringList& filters, const QList<int>& formats);

    // Seconds since the epoch, truncated to microseconds.
    static double nowSeconds();

    // Measurement events that reach the GUI thread coalesced: a host thread marks them
    // (postAcqEvents) with their values stored in the atomics below, and one queued
    // deliverAcqEvents emits the signals with the latest values.
    enum AcqEvent : unsigned {
        EvRepeatStarted = 1u << 0,  // acqRepeatStarted
        EvFrameFinished = 1u << 1,  // acqSingleFinished, progress, acqFrameCountChange
        EvNewData = 1u << 2,        // sigNewData with the latest index
        EvDataChanged = 1u << 3,    // onAcqDataChanged, on the GUI thread
        EvRepeatFinished = 1u << 4, // acqRepeatFinished
    };
    void postAcqEvents(unsigned events);
    // Whether finished frames go to the display: live update on, the real frame on show.
    bool displayWantsFrames() const;
    // Makes the device's newest frame the frame on show and asks the GUI to draw it.
    void handOverLastFrame();
    // Runs work on a detached thread that the controller counts, so that it can wait for
    // it before it or the device goes away.
    void startDetached(std::function<void()> work);

    // Guards currentFrameRef.
    mutable std::recursive_mutex mutex;
    ov::IOrvel* m_orvel;
    ov::IDevMpx* m_dev;
    QMpxFrame* mpxFrame;
    QTabBar* frameTabs;
    PnlImageProps* imagePropsPanel = nullptr;
    PnlImageInfo* imageInfoPanel = nullptr;
    PnlHistogram* histogramPanel = nullptr;
    QProgressDialog* progressDialog = nullptr;
    ov::RefData<ov::IMpxFrame> currentFrameRef;
    ov::RefData<ov::IMpxFrame> pixCfgFrame;
    ov::RefData<ov::IMpxFrame> processedFrame;
    ov::IDataFilter* filter = nullptr;
    std::atomic<PixCfgType> pixCfgType {PixCfgNone};
    ov::DataBuff<unsigned char> maskBuff;
    AcqParams m_acqParams;
    TpParams m_tpParams;
    // The live series description while run() is in the device call, else null.
    std::atomic<RepeatDesc*> activeRepeat {nullptr};
    std::vector<FileInfo> loadedFiles;
    ov::RefData<ov::IData> loadedData;
    QList<QRect> selectionRects;
    std::atomic<int> m_curAcq {0};
    std::atomic<int> m_curRepeat {0};
    int currentSubFrame = -1;
    std::atomic<unsigned> activeRepeatCount {0};
    std::atomic<int> m_lastAcqResult {0};
    std::atomic<bool> stopRequested {false};
    std::atomic<bool> acqRunning {false};
    std::atomic<bool> autoUpdate {true};
    bool showMasked = false;
    bool fixedTabs = false;
    // The fixed configuration tabs are on view (showFixedTabs).
    bool pixCfgFramesShown = false;
    bool normalizeByTimeOn = false;
    std::atomic<bool> deviceLocked {false};
    // (dac, chip, value) in order of arrival; filled on the GUI thread, drained on the
    // thread of "AcqFinished".
    std::vector<std::tuple<int, int, int>> pendingDacs;
    std::mutex pendingDacsMutex;
    std::atomic<double> lastFrameUpdate {0.0};
    std::atomic<bool> frameShown {true};
    double m_frameMinRange = 0.0;
    double m_frameMaxRange = 1.0;

private:
    // The file name for saving frames as shown, with its type and flags; empty with no
    // frame on show or when the user cancels.
    std::string askShownFramesFileName(ov::IFileType** type, unsigned* flags);
    // Saves each of count sub-frames of the frame on show, selecting each in turn (the
    // last stays selected), under the name fileFor makes of "_" + the sub-frame's name.
    void saveEachSubFrame(int count, ov::IFileType* type, unsigned flags,
        const std::function<std::string(const std::string&)>& fileFor);
    // The region the statistics of frame are taken over: the last selection, or the
    // whole frame without one.
    FrameRegion statisticsRegion(ov::IMpxFrame* frame) const;
    // Hands the frame on show and the selected region to the analysis panels.
    void updateRegionStatistics(const ov::RefData<ov::IMpxFrame>& frame, const FrameRegion& region);

    // Storage of the live series description: it outlives run(), so a late write of
    // setAcqRepeatEnabled lands in memory that is still ours. Aligned so that the
    // count can be written atomically.
    alignas(8) RepeatDesc repeatStore {};

    CoalescedEvents acqEvents;
    // Values carried by the coalesced events: the device's frame count after the
    // newest finished frame, and the index of the newest data object.
    std::atomic<int> latestFrameCount {0};
    std::atomic<int> latestDataIndex {0};
    // A repeated series runs: the rounds' last frames wait for the display's gate.
    std::atomic<bool> inSeries {false};
    // The run in progress has finished at least one frame.
    std::atomic<bool> framesThisRun {false};

    static std::atomic<int> detachedThreads;
    // Worker threads of this controller still running a measurement.
    std::atomic<int> measuringThreads {0};
    // Every detached thread of this controller that has not ended yet.
    std::atomic<int> ownThreads {0};
};

} // namespace PluginDevControl

Q_DECLARE_METATYPE(PluginDevControl::FrameRegion)
Q_DECLARE_METATYPE(ov::RefData<ov::IMpxFrame>)
