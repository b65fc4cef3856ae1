#include "devctrlmpx.h"

#include "callbackrelay.h"

#include "vectorstate.h"

#include "pnlhistogram.h"
#include "pnlimageinfo.h"
#include "pnlimageprops.h"

#include <outputfilename.h>
#include <qmpxframe.h>
#include <qmyfiledialog.h>

#include <QCoreApplication>
#include <QDir>
#include <QInputDialog>
#include <QMap>
#include <QMessageBox>
#include <QProgressDialog>
#include <QStringList>
#include <QTabBar>

#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

namespace PluginDevControl {

namespace {
// The host's result of a measurement ended by abortOperation.
constexpr int kAcqAborted = -1007;
// An abort is repeated every so many milliseconds while the measurement still runs,
// and a Stop gives up after so many tries (ten seconds).
constexpr int kAbortRepeatMs = 20;
constexpr int kAbortTries = 500;
} // namespace

std::atomic<int> DevCtrlMpx::detachedThreads {0};

namespace {

// Runs fn with the controller behind a device event's user data, unless the controller
// has gone: the host cannot forget a registered callback, and an event may still be on
// its way when the page closes.
template <typename Fn>
void withController(long user, Fn fn)
{
    CallbackRelay::fromUserData(user)->with<DevCtrlMpx>(fn);
}

// Copies the pixels of frame into a buffer of T and hands them to the widget.
template <typename T>
bool drawPixels(QMpxFrame* widget, ov::IMpxFrame* frame, int dataType)
{
    ov::DataBuff<T> pixels;
    if (frame->getData(&pixels, dataType) != 0)
        return false;
    const unsigned width = frame->width();
    const unsigned height = frame->height();
    if (pixels.size() < static_cast<unsigned long>(width) * height)
        return false;
    widget->setData<T>(pixels.data(), width, height);
    return true;
}

} // namespace

void DevCtrlMpx::detachDeviceEvents()
{
    eventRelay->detach();
}

DevCtrlMpx::DevCtrlMpx(ov::IOrvel* orvel, ov::IDevMpx* dev, QMpxFrame* frame, QTabBar* tabs)
    : eventRelay(CallbackRelay::create(this)),
      m_orvel(orvel),
      m_dev(dev),
      mpxFrame(frame),
      frameTabs(tabs),
      m_tpParams(defaultTpParams(dev ? dev->deviceType() : 0))
{
    if (m_dev) {
        void* self = eventRelay;
        m_dev->registerEvent("PixCfgChanged", onPixCfgChangedWrapper, self);
        m_dev->registerEvent("AcqMeasStarted", onAcqMeasStartedWrapper, self);
        m_dev->registerEvent("AcqMeasFinished", onAcqMeasFinishedWrapper, self);
        m_dev->registerEvent("AcqFinished", onAcqFinishWrapper, self);
        m_dev->registerEvent("AcqSerieFinished", onAcqRepeatFinishWrapper, self);
        m_dev->registerEvent("AcqSerieStarted", onAcqRepeatStartWrapper, self);
        m_dev->registerEvent("AcqNewData", onNewDataWrapper, self);
        m_dev->registerEvent("DacsChanged", onDacsChangedWrapper, self);
        m_dev->registerEvent("DeviceStatusChanged", onDeviceStatusChangedWrapper, self);
        m_dev->registerEvent("FiltersChanged", onFiltersChangedWrapper, self);
        m_dev->registerEvent("DeviceCfgChanged", onDeviceStgChangedWrapper, self);
        m_dev->registerEvent("BiasChanged", onBiasChangedWrapper, self);
        m_dev->registerEvent("LockChanged", onDevLockChangedWrapper, self);
    }

    if (frameTabs)
        connect(frameTabs, &QTabBar::currentChanged, this, &DevCtrlMpx::onCurrentTabChanged);
    connect(this, &DevCtrlMpx::sigShowFrame, this, &DevCtrlMpx::onShowFrame);
    connect(this, &DevCtrlMpx::sigShowPixCfgFrame, this, &DevCtrlMpx::onShowPixCfgFrame);
    connect(this, &DevCtrlMpx::sigNewData, this, &DevCtrlMpx::onNewData);
    connect(
        this, &DevCtrlMpx::sigProgressDialogFinished, this, &DevCtrlMpx::onProgressDialogFinished);
    if (mpxFrame) {
        connect(mpxFrame, &QMpxFrame::zoomRectChanged, this, &DevCtrlMpx::onFrameZoomRectChanged);
        connect(mpxFrame, &QMpxFrame::selectionRectsChanged, this,
            &DevCtrlMpx::onSelectionRectsChanged);
        connect(mpxFrame, &QMpxFrame::mouseLeave, this, &DevCtrlMpx::onMpxFrameMouseLeave);
        mpxFrame->image->tooltipFunc = onFrameTooltipWrapper;
        mpxFrame->image->tooltipUser = this;
    }
}

DevCtrlMpx::~DevCtrlMpx()
{
    detachDeviceEvents();
    // The page ends measurements first; a background save or load may still run.
    endMeasurement();
    if (mpxFrame && mpxFrame->image->tooltipUser == this) {
        mpxFrame->image->tooltipFunc = nullptr;
        mpxFrame->image->tooltipUser = nullptr;
    }
    // A progress dialog whose closing was still on its way.
    delete progressDialog;
    std::lock_guard<std::recursive_mutex> lock(mutex);
    currentFrameRef.dec();
    pixCfgFrame.dec();
    processedFrame.dec();
    loadedData.dec();
}

// ---------------------------------------------------------------------------------
// Settings

void DevCtrlMpx::loadSettings(ov::ISettings* settings)
{
    if (!settings)
        return;
    m_acqParams.load(settings);
    normalizeByTimeOn = settings->getBool("Image", "NormalizeByTime", normalizeByTimeOn);
    m_frameMinRange = settings->getDouble("Image", "MinRange", m_frameMinRange);
    m_frameMaxRange = settings->getDouble("Image", "MaxRange", m_frameMaxRange);
}

void DevCtrlMpx::saveSettings(ov::ISettings* settings)
{
    if (!settings)
        return;
    m_acqParams.save(settings);
    settings->setBool("Image", "NormalizeByTime", normalizeByTimeOn);
    settings->setDouble("Image", "MinRange", m_frameMinRange);
    settings->setDouble("Image", "MaxRange", m_frameMaxRange);
}

void DevCtrlMpx::setAcqParams(const AcqParams& params)
{
    // Field by field: the stored record keeps its own dynamic type.
    m_acqParams.acqType = params.acqType;
    m_acqParams.acqCount = params.acqCount;
    m_acqParams.acqTime = params.acqTime;
    m_acqParams.acqMode = params.acqMode;
    m_acqParams.outputFile = params.outputFile;
    m_acqParams.fileOutput = params.fileOutput;
    m_acqParams.fileType = params.fileType;
    m_acqParams.fileFlags = params.fileFlags;
    m_acqParams.repeatEnabled = params.repeatEnabled;
    m_acqParams.repeatCount = params.repeatCount;
    m_acqParams.repeatDelay = params.repeatDelay;
    m_acqParams.repeatFileFlags = params.repeatFileFlags;
    m_acqParams.repeatFileDigits = params.repeatFileDigits;
    m_acqParams.spacing = params.spacing;
    m_acqParams.tpSpacing = params.tpSpacing;
    m_acqParams.refreshDacs = params.refreshDacs;
    m_acqParams.refreshPixCfg = params.refreshPixCfg;
    emit sigAcqParamsChanged();
}

void DevCtrlMpx::setFrameRange(double min, double max)
{
    m_frameMinRange = min;
    m_frameMaxRange = max;
}

QString DevCtrlMpx::deviceStatusText()
{
    ov::String text;
    m_dev->deviceStatusText(&text);
    return QString::fromUtf8(text.get());
}

// ---------------------------------------------------------------------------------
// Start and stop

void DevCtrlMpx::setImagePropsPanel(PnlImageProps* panel)
{
    if (imagePropsPanel)
        disconnect(
            imagePropsPanel, &PnlImageProps::rangeChanged, this, &DevCtrlMpx::onRangeChanged);
    imagePropsPanel = panel;
    if (panel)
        connect(panel, &PnlImageProps::rangeChanged, this, &DevCtrlMpx::onRangeChanged);
}

int DevCtrlMpx::startAcq()
{
    m_lastAcqResult = 0;
    stopRequested = false;
    clearLoadedData();
    if (imagePropsPanel) {
        imagePropsPanel->onAcqDataChanged(nullptr);
        imagePropsPanel->onFrameChanged(nullptr, nullptr);
    }
    ++measuringThreads;
    startDetached([this] { runWrapper(this); });
    return 0;
}

void DevCtrlMpx::runWrapper(DevCtrlMpx* ctrl)
{
    ctrl->run();
    --ctrl->measuringThreads;
}

void DevCtrlMpx::startDetached(std::function<void()> work)
{
    ++detachedThreads;
    ++ownThreads;
    std::thread([this, work = std::move(work)] {
        // A new thread inherits the vector registers of the GUI thread that made it.
        cleanVectorState();
        work();
        // The controller may be gone as soon as this count drops.
        --ownThreads;
        --detachedThreads;
    }).detach();
}

void DevCtrlMpx::endMeasurement()
{
    if (measuringThreads.load() != 0)
        stopRequested = true;
    int waited = 0;
    while (ownThreads.load() != 0) {
        // An abort that reaches the device just before its measurement begins is lost
        // there: it is repeated until the measurement has ended.
        if (waited++ % kAbortRepeatMs == 0 && measuringThreads.load() != 0 && m_dev)
            m_dev->abortOperation();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

int DevCtrlMpx::stopAcq()
{
    stopRequested = true;
    ov::IDev* device = m_dev;
    startDetached([this, device] {
        // Repeated while the measurement runs, as in endMeasurement, for as long as a
        // device may reasonably take to begin; a later Stop tries again.
        for (int tries = 0; tries < kAbortTries; ++tries) {
            device->abortOperation();
            for (int ms = 0; ms < kAbortRepeatMs && measuringThreads.load() != 0; ++ms)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (measuringThreads.load() == 0 || !stopRequested.load())
                break;
        }
    });
    return 0;
}

void DevCtrlMpx::run() { }

void DevCtrlMpx::runAdvancedAcquisition()
{
    const AcqDesc desc = makeAcqDesc(m_acqParams);
    runAdvancedAcquisition(desc, desc.testPulses == 1);
}

void DevCtrlMpx::runAdvancedAcquisition(const AcqDesc& desc, bool testPulses)
{
    acqRunning = true;

    const RepeatDesc repeat = makeRepeatDesc(m_acqParams);
    std::memcpy(&repeatStore, &repeat, sizeof repeat);
    activeRepeatCount = repeat.count;
    activeRepeat.store(&repeatStore, std::memory_order_release);

    const void* tpBlock = testPulseBlock(m_tpParams, testPulses);

    m_curAcq = 0;
    m_curRepeat = 0;
    inSeries = m_acqParams.repeatEnabled;
    framesThisRun = false;

    // A Stop pressed after Start but before the device began found nothing to abort:
    // the measurement ends here, as aborted, instead of running unasked.
    const int result = stopRequested.load()
        ? kAcqAborted
        : m_dev->doAdvancedAcquisition(
            &desc, m_acqParams.repeatEnabled ? &repeatStore : nullptr, tpBlock);

    activeRepeat.store(nullptr, std::memory_order_release);
    activeRepeatCount = 0;
    m_lastAcqResult = result;
    // A series, or a measurement that ended early: its last frame may not have passed
    // the gate of onAcqFinish, and the picture must end on the frame the store ends with.
    const bool lastMayBeHeld = inSeries.load() || m_curAcq.load() != acqCount();
    inSeries = false;
    // A run refused before its first frame leaves the picture as startAcq left it.
    if (framesThisRun.load() && lastMayBeHeld && displayWantsFrames() && m_dev->acqFrameCount() > 0)
        handOverLastFrame();
    emit acqAllFinished(result);
    acqRunning = false;
}

void DevCtrlMpx::setAcqRepeatEnabled(bool enabled)
{
    RepeatDesc* live = activeRepeat.load(std::memory_order_acquire);
    if (!live)
        return;
    storeRepeatCount(live, enabled ? activeRepeatCount.load() : 0u);
}

// ---------------------------------------------------------------------------------
// Device events. The wrappers run on whichever thread fires the event: they only emit
// signals, touch counters, and swap the current frame under the mutex.

void DevCtrlMpx::onPixCfgChangedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) { c->onPixCfgChanged(); });
}

void DevCtrlMpx::onAcqMeasStartedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) { emit c->acqMeasStarted(); });
}

void DevCtrlMpx::onAcqMeasFinishedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) { emit c->acqMeasFinished(); });
}

void DevCtrlMpx::onAcqFinishWrapper(long data, long user)
{
    withController(user, [data](DevCtrlMpx* c) { c->onAcqFinish(data); });
}

void DevCtrlMpx::onAcqRepeatFinishWrapper(long data, long user)
{
    withController(user, [data](DevCtrlMpx* c) { c->onAcqRepeatFinish(data); });
}

void DevCtrlMpx::onAcqRepeatStartWrapper(long data, long user)
{
    withController(user, [data](DevCtrlMpx* c) { c->onAcqRepeatStart(data); });
}

void DevCtrlMpx::onNewDataWrapper(long data, long user)
{
    withController(user, [data](DevCtrlMpx* c) {
        c->latestDataIndex = static_cast<int>(data);
        c->postAcqEvents(EvNewData);
    });
}

void DevCtrlMpx::onDacsChangedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) { emit c->sigDacsChanged(); });
}

void DevCtrlMpx::onDeviceStatusChangedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) {
        const QString text = c->deviceStatusText();
        const int status = c->deviceStatus();
        emit c->sigDeviceStatusChanged(status, text);
    });
}

void DevCtrlMpx::onFiltersChangedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) { emit c->sigFiltersChanged(); });
}

void DevCtrlMpx::onDeviceStgChangedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) {
        c->onDevStgChanged();
        emit c->sigDeviceStgChanged();
    });
}

void DevCtrlMpx::onBiasChangedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) { emit c->sigBiasChanged(); });
}

void DevCtrlMpx::onDevLockChangedWrapper(long, long user)
{
    withController(user, [](DevCtrlMpx* c) {
        c->deviceLocked = c->m_dev->isLocked();
        emit c->sigDevLockChanged();
    });
}

QString DevCtrlMpx::onFrameTooltipWrapper(unsigned x, unsigned y, double value, void* user)
{
    return static_cast<DevCtrlMpx*>(user)->onFrameTooltip(x, y, value);
}

void DevCtrlMpx::onPixCfgChanged()
{
    if (pixCfgType.load() != PixCfgNone)
        emit sigShowPixCfgFrame();
    else
        emit sigShowFrame();
    emit sigPixCfgChanged();
}

void DevCtrlMpx::onAcqRepeatFinish(long)
{
    ++m_curRepeat;
    postAcqEvents(EvRepeatFinished);
}

void DevCtrlMpx::onAcqRepeatStart(long repeatIndex)
{
    m_curRepeat = static_cast<int>(repeatIndex);
    m_curAcq = 0;
    postAcqEvents(EvRepeatStarted);
}

void DevCtrlMpx::postAcqEvents(unsigned events)
{
    if (acqEvents.mark(events))
        QMetaObject::invokeMethod(this, &DevCtrlMpx::deliverAcqEvents, Qt::QueuedConnection);
}

void DevCtrlMpx::deliverAcqEvents()
{
    const unsigned events = acqEvents.take();
    // A round's end comes before the next round's start, and both before the frames,
    // which belong to the newest round.
    if (events & EvRepeatFinished)
        emit acqRepeatFinished();
    if (events & EvRepeatStarted)
        emit acqRepeatStarted();
    if (events & EvFrameFinished) {
        const int cur = m_curAcq.load();
        emit acqSingleFinished();
        emit progress(static_cast<double>(cur) / static_cast<double>(acqCount()) * 100.0,
            static_cast<unsigned>(cur));
        emit acqFrameCountChange(latestFrameCount.load());
    }
    if (events & EvNewData)
        emit sigNewData(latestDataIndex.load());
    if (events & EvDataChanged)
        onAcqDataChanged();
}

double DevCtrlMpx::nowSeconds()
{
    using namespace std::chrono;
    const auto us = duration_cast<microseconds>(system_clock::now().time_since_epoch());
    return static_cast<double>(us.count()) / 1e6;
}

void DevCtrlMpx::onAcqFinish(long frameIndex)
{
    const int cur = static_cast<int>(frameIndex);
    m_curAcq = cur;
    framesThisRun = true;
    const int frames = m_dev->acqFrameCount();
    latestFrameCount = frames;
    setAcqFinishedDacValues();

    // acqSingleFinished, progress and acqFrameCountChange go out on the GUI thread with
    // the latest values, however many frames finish before it takes them.
    postAcqEvents(EvFrameFinished);

    if (frames == 0 || !displayWantsFrames())
        return;

    // At most ten frames a second, and none while the GUI still draws the last one;
    // the last frame of a measurement always goes through. In a series the rounds' last
    // frames would pass as often as rounds end (thousands a second with short rounds):
    // there they wait for the gate too, and the end of the run hands over the store's
    // last frame instead.
    const int count = acqCount();
    const double elapsed = nowSeconds() - lastFrameUpdate.load();
    const bool gateOpen = elapsed > 0.1 && frameShown.load();
    const bool lastOfMeasurement = !inSeries.load() && (cur == count || cur == 0);
    if (!gateOpen && !lastOfMeasurement)
        return;
    handOverLastFrame();
}

bool DevCtrlMpx::displayWantsFrames() const
{
    return autoUpdate.load() && pixCfgType.load() == PixCfgNone;
}

void DevCtrlMpx::handOverLastFrame()
{
    lastFrameUpdate = nowSeconds();
    ov::IMpxFrame* last = m_dev->lastAcqFrameRefInc();
    setCurrentFrame(last);
    if (last)
        last->decRef();
    frameShown = false;

    emit sigShowFrame();
    // The panels read the data on the GUI thread, where the loaded files are kept.
    postAcqEvents(EvDataChanged);
}

void DevCtrlMpx::onDevStgChanged() { }

void DevCtrlMpx::onNewData(int index)
{
    if (!autoUpdate.load() || pixCfgType.load() != PixCfgNone)
        return;
    ov::RefData<ov::IData> data(m_dev->acqDataRefInc(static_cast<unsigned>(index)), false);
    if (!data)
        return;
    if (imagePropsPanel)
        imagePropsPanel->onAcqDataChanged(data.get());
}

void DevCtrlMpx::onAcqDataChanged()
{
    if (!imagePropsPanel)
        return;
    ov::RefData<ov::IData> data;
    if (loadedData)
        data = loadedData;
    else
        data = ov::RefData<ov::IData>(lastAcqData(), false);
    imagePropsPanel->onAcqDataChanged(data.get());
}

void DevCtrlMpx::onProgressDialogFinished(int code, QString message)
{
    if (progressDialog) {
        progressDialog->close();
        delete progressDialog;
        progressDialog = nullptr;
    }
    if (code != 0)
        QMessageBox::critical(nullptr, QStringLiteral("Error"), message);
}

void DevCtrlMpx::onRangeChanged(double min, double max)
{
    // The histogram shows the values inside the displayed range.
    if (!imagePropsPanel || !histogramPanel)
        return;
    ov::RefData<ov::IMpxFrame> f = currentSubFrameOrFrame(false);
    if (!f)
        return;
    const FrameRegion region = statisticsRegion(f.get());
    const ov::Region view = region.region();
    histogramPanel->updateHistogram(f.get(), min, max, &view);
}

// ---------------------------------------------------------------------------------
// Frames

int DevCtrlMpx::acqDataCount() const
{
    if (!loadedFiles.empty())
        return static_cast<int>(loadedFiles.size());
    return m_dev->acqDataCount();
}

int DevCtrlMpx::acqFrameCount() const
{
    if (!loadedFiles.empty())
        return static_cast<int>(loadedFiles.size());
    return m_dev->acqFrameCount();
}

// With files loaded, every entry is read again from disk. The frame is asked of the
// loaded data by the whole index, not by the position inside the file.
ov::IMpxFrame* DevCtrlMpx::frame(unsigned long index) const
{
    if (loadedFiles.empty())
        return m_dev->acqFrameRefInc(static_cast<unsigned>(index));
    if (index >= loadedFiles.size())
        return nullptr;
    ov::RefData<ov::IData> data = loadDataFromFile(loadedFiles[index]);
    if (!data)
        return nullptr;
    ov::IMpxFrame* result = data->frameAt(static_cast<unsigned>(index));
    if (result)
        result->incRef();
    return result;
}

ov::IData* DevCtrlMpx::acqData(unsigned long index) const
{
    if (loadedFiles.empty())
        return m_dev->acqDataRefInc(static_cast<unsigned>(index));
    if (index >= loadedFiles.size())
        return nullptr;
    ov::RefData<ov::IData> data = loadDataFromFile(loadedFiles[index]);
    ov::IData* result = data.get();
    if (result)
        result->incRef();
    return result;
}

ov::IMpxFrame* DevCtrlMpx::lastFrame() const
{
    const int count = acqFrameCount();
    return count > 0 ? frame(static_cast<unsigned long>(count - 1)) : nullptr;
}

ov::IData* DevCtrlMpx::lastAcqData() const
{
    const int count = acqDataCount();
    return count > 0 ? acqData(static_cast<unsigned long>(count - 1)) : nullptr;
}

void DevCtrlMpx::clearLoadedData()
{
    loadedFiles.clear();
    loadedData.dec();
}

void DevCtrlMpx::setCurrentFrame(ov::IMpxFrame* frame)
{
    std::lock_guard<std::recursive_mutex> lock(mutex);
    currentFrameRef.reset(frame);
}

ov::RefData<ov::IMpxFrame> DevCtrlMpx::currentFrame() const
{
    std::lock_guard<std::recursive_mutex> lock(mutex);
    return currentFrameRef;
}

void DevCtrlMpx::setFrame(ov::IMpxFrame* frame)
{
    setCurrentFrame(frame);
    if (frame)
        frame->decRef();
    updateCurrentFrame();
}

void DevCtrlMpx::showMpxFrame(ov::IMpxFrame* frame)
{
    setCurrentFrame(frame);
    emit sigShowFrame();
}

void DevCtrlMpx::showAcqFrame(unsigned long index)
{
    if (index >= static_cast<unsigned long>(acqFrameCount()))
        return;
    ov::RefData<ov::IMpxFrame> f(frame(index), false);
    if (!f)
        return;
    setCurrentFrame(f.get());
    updateCurrentFrame();
}

void DevCtrlMpx::showPixCfgFrames(bool) { }

void DevCtrlMpx::addFixedTabs(const QStringList& names)
{
    if (!frameTabs)
        return;
    const bool blocked = frameTabs->blockSignals(true);
    for (const QString& name : names)
        frameTabs->addTab(name);
    frameTabs->blockSignals(blocked);
}

void DevCtrlMpx::showFixedTabs(bool show, const QStringList& names)
{
    pixCfgFramesShown = show;
    if (!frameTabs)
        return;
    const bool blocked = frameTabs->blockSignals(true);
    if (show) {
        removeAllFrameTabs();
        addFixedTabs(names);
        frameTabs->show();
        onCurrentTabChanged(0);
    } else {
        frameTabs->hide();
        removeAllFrameTabs();
        pixCfgFrame.dec();
        pixCfgType = PixCfgNone;
        onShowFrame();
    }
    frameTabs->blockSignals(blocked);
}

void DevCtrlMpx::showPixCfgFrame(PixCfgType type)
{
    ov::IMpxPixCfg* cfg = m_dev->pixCfg();
    if (!cfg)
        return;
    ov::DataBuff<unsigned char> bits;
    int rc = -1;
    switch (type) {
    case PixCfgMask:
        rc = cfg->maskBits(&bits);
        break;
    case PixCfgTest:
        rc = cfg->testBits(&bits);
        break;
    case PixCfgThl:
        rc = cfg->thlBits(&bits);
        break;
    default:
        return; // the real frame, or a view this class does not know
    }
    if (rc != 0)
        return;
    showPixCfgBits(bits);
}

void DevCtrlMpx::showPixCfgBits(const ov::DataBuff<unsigned char>& bits)
{
    ov::IDataMgr* dataMgr = m_orvel ? m_orvel->dataMgr() : nullptr;
    if (!dataMgr)
        return;
    const int width = m_dev->width();
    const int height = m_dev->height();
    if (width <= 0 || height <= 0)
        return;
    const unsigned long count
        = static_cast<unsigned long>(width) * static_cast<unsigned long>(height);

    // One byte a pixel widened to the 16-bit frame type; pixels the device did not
    // report stay 0.
    ov::DataBuff<short> values(count);
    for (unsigned long i = 0; i < count; ++i)
        values[i] = i < bits.size() ? static_cast<short>(bits[i]) : short(0);

    ov::IMpxFrame* made = dataMgr->createMpxFrame(
        static_cast<unsigned>(width), static_cast<unsigned>(height), ov::FrameInt16);
    if (!made)
        return;
    pixCfgFrame.reset(made, false);
    pixCfgFrame->setData(values.data(), values.byteSize());
    showFrame(pixCfgFrame.get());
}

void DevCtrlMpx::showMaskedPixels(bool show)
{
    showMasked = show;
    updateCurrentFrame();
}

void DevCtrlMpx::updateCurrentFrame()
{
    if (pixCfgType.load() != PixCfgNone)
        return;
    ov::RefData<ov::IMpxFrame> f = currentFrame();
    if (!fixedTabs)
        prepareSubFrameTabs();
    showFrame(f.get());
}

void DevCtrlMpx::onShowFrame()
{
    if (!fixedTabs) {
        ov::RefData<ov::IMpxFrame> f = currentFrame();
        prepareSubFrameTabs();
        showFrame(f.get());
    } else {
        updateCurrentFrame();
    }
    frameShown = true;
}

void DevCtrlMpx::onShowPixCfgFrame()
{
    showPixCfgFrame(pixCfgType.load());
}

void DevCtrlMpx::showFrame(ov::IMpxFrame* frame)
{
    if (!frame || !mpxFrame)
        return;
    const double time = frame->acqTime();

    // A frame with sub-frames shows the chosen one, the first by default.
    ov::RefData<ov::IMpxFrame> source(frame);
    const int subCount = frame->subFrameCount();
    if (currentSubFrame == -1 && subCount > 0)
        currentSubFrame = 0;
    if (currentSubFrame >= 0 && currentSubFrame < subCount) {
        const std::vector<ov::IMpxFrame*> subs = frame->subFrames();
        const auto at = static_cast<size_t>(currentSubFrame);
        if (at < subs.size() && subs[at])
            source.reset(subs[at]);
    }

    // The filter and the normalisation work on a copy; without them the host's frame
    // is drawn as it stands.
    ov::RefData<ov::IMpxFrame> drawn = source;
    if (pixCfgType.load() == PixCfgNone) {
        ov::RefData<ov::IMpxFrame> result;
        if (filter && filter->isSuitable(source.get()))
            result.reset(
                filter->filterFrame(source.get(), static_cast<unsigned>(currentSubFrame)), false);
        if (normalizeByTimeOn && !result)
            result.reset(source->clone(), false);
        if (!result) {
            processedFrame.dec();
        } else {
            if (normalizeByTimeOn) {
                result->convertTo(ov::FrameDouble);
                // Time 0 leaves the values as they are; NaN scales by NaN.
                result->scale(time == 0.0 ? 1.0 : 1.0 / time, 0.0);
            }
            const std::string name = source->frameName();
            if (!name.empty())
                result->setFrameName(name.c_str());
            result->setFrameInfoSource(source->frameInfoSource());
            processedFrame = result;
            drawn = result;
        }
    }

    ov::IMpxFrame* f = drawn.get();
    QMpxImage* image = mpxFrame->image;
    const bool sizeChanged
        = f->width() != image->getDataWidth() || f->height() != image->getDataHeight();
    const int type = f->dataType();
    bool drawnOk = false;
    switch (type) {
    case ov::FrameInt16:
        drawnOk = drawPixels<short>(mpxFrame, f, type);
        break;
    case ov::FrameUInt32:
        drawnOk = drawPixels<unsigned>(mpxFrame, f, type);
        break;
    case ov::FrameUInt64:
        drawnOk = drawPixels<unsigned long>(mpxFrame, f, type);
        break;
    case ov::FrameDouble:
        drawnOk = drawPixels<double>(mpxFrame, f, type);
        break;
    default:
        break;
    }
    if (!drawnOk)
        return; // the old picture stays

    // The device's mask bits go into the picture's mask plane when they cover it.
    const bool realFrame = pixCfgType.load() == PixCfgNone;
    ov::IMpxPixCfg* cfg
        = showMasked && realFrame && source->hasPixCfgInfo() ? m_dev->pixCfg() : nullptr;
    if (cfg) {
        maskBuff.resize(static_cast<unsigned long>(source->pixelCount()));
        const unsigned width = f->width();
        const unsigned height = f->height();
        const unsigned long pixels = static_cast<unsigned long>(width) * height;
        if (cfg->maskBits(&maskBuff) == 0 && maskBuff.size() == pixels
            && image->getDataWidth() == width && image->getDataHeight() == height) {
            if (image->mask && image->getMaskWidth() == width && image->getMaskHeight() == height)
                std::memcpy(image->mask, maskBuff.data(), pixels);
            else
                image->setMask(maskBuff.data(), width, height);
        }
    }

    // One repaint serves both the new mask plane and the overlay flag.
    image->showMasked = showMasked && realFrame;
    image->redraw();
    if (sizeChanged)
        mpxFrame->update();
}

void DevCtrlMpx::removeAllFrameTabs()
{
    if (!frameTabs)
        return;
    for (int i = frameTabs->count(); i > 0; --i)
        frameTabs->removeTab(0);
}

void DevCtrlMpx::prepareSubFrameTabs()
{
    if (!frameTabs)
        return;
    ov::RefData<ov::IMpxFrame> f = currentFrame();
    if (!f)
        return;
    const int count = f->subFrameCount();
    if (count <= 0) {
        const QString name = QString::fromStdString(f->frameName());
        if (name.isEmpty()) {
            if (frameTabs->isVisible())
                frameTabs->hide();
            currentSubFrame = -1;
            return;
        }
        const bool blocked = frameTabs->blockSignals(true);
        if (frameTabs->count() == 1) {
            frameTabs->setTabText(0, name);
        } else {
            removeAllFrameTabs();
            frameTabs->addTab(name);
        }
        frameTabs->setCurrentIndex(currentSubFrame);
        frameTabs->blockSignals(blocked);
        frameTabs->show();
        return;
    }
    const std::vector<ov::IMpxFrame*> subs = f->subFrames();
    auto subName = [&subs](int i) {
        const auto at = static_cast<size_t>(i);
        return at < subs.size() && subs[at] ? QString::fromStdString(subs[at]->frameName())
                                            : QString();
    };
    const bool blocked = frameTabs->blockSignals(true);
    if (frameTabs->count() == count) {
        for (int i = 0; i < count; ++i)
            frameTabs->setTabText(i, subName(i));
    } else {
        removeAllFrameTabs();
        for (int i = 0; i < count; ++i)
            frameTabs->addTab(subName(i));
    }
    if (currentSubFrame == -1 || currentSubFrame >= frameTabs->count())
        currentSubFrame = 0;
    frameTabs->setCurrentIndex(currentSubFrame);
    frameTabs->blockSignals(blocked);
    frameTabs->show();
}

void DevCtrlMpx::onCurrentTabChanged(int index)
{
    if (!fixedTabs) {
        currentSubFrame = index;
        updateCurrentFrame();
        return;
    }
    if (index == 0) {
        pixCfgType = PixCfgNone;
        pixCfgFrame.dec();
        updateCurrentFrame();
    } else if (index >= 1 && index <= 4) {
        pixCfgType = static_cast<PixCfgType>(index);
        showPixCfgFrame(static_cast<PixCfgType>(index));
    } else {
        showPixCfgFrame(pixCfgType.load());
    }
}

ov::RefData<ov::IMpxFrame> DevCtrlMpx::currentSubFrameOrFrame(bool sameSizeOnly)
{
    if (pixCfgFrame)
        return pixCfgFrame;
    ov::RefData<ov::IMpxFrame> f = currentFrame();
    if (!f)
        return f;
    if (processedFrame)
        return processedFrame;
    if (currentSubFrame >= 0 && currentSubFrame < f->subFrameCount()) {
        const std::vector<ov::IMpxFrame*> subs = f->subFrames();
        const auto at = static_cast<size_t>(currentSubFrame);
        if (at < subs.size() && subs[at]) {
            ov::IMpxFrame* sub = subs[at];
            if (!sameSizeOnly || (sub->width() == f->width() && sub->height() == f->height()))
                return ov::RefData<ov::IMpxFrame>(sub);
        }
    }
    return f;
}

void DevCtrlMpx::setFilter(ov::IDataFilter* dataFilter)
{
    filter = dataFilter;
    ov::RefData<ov::IMpxFrame> f = currentFrame();
    if (f)
        showFrame(f.get());
}

void DevCtrlMpx::normalizeByTime(bool on)
{
    normalizeByTimeOn = on;
    ov::RefData<ov::IMpxFrame> f = currentFrame();
    if (f)
        showFrame(f.get());
}

FrameRegion DevCtrlMpx::statisticsRegion(ov::IMpxFrame* frame) const
{
    if (!frame)
        return FrameRegion();
    // The last selection, or the whole frame without one.
    const QRect rect = selectionRects.isEmpty()
        ? QRect(0, 0, static_cast<int>(frame->width()), static_cast<int>(frame->height()))
        : selectionRects.last();
    return FrameRegion::fromRect(rect);
}

void DevCtrlMpx::onFrameZoomRectChanged(QRect)
{
    ov::RefData<ov::IMpxFrame> f = currentSubFrameOrFrame(false);
    updateRegionStatistics(f, statisticsRegion(f.get()));
}

void DevCtrlMpx::onSelectionRectsChanged(QList<QRect> rects)
{
    selectionRects = rects;
    onFrameZoomRectChanged(mpxFrame ? mpxFrame->getZoomRect() : QRect());
}

// The image properties panel takes frame and region (with a null frame only it is
// told), the histogram panel updates from them within the image properties' range, and
// the image info panel recomputes its statistics.
void DevCtrlMpx::updateRegionStatistics(
    const ov::RefData<ov::IMpxFrame>& frame, const FrameRegion& region)
{
    const ov::Region panelRegion = region.region();
    if (imagePropsPanel)
        imagePropsPanel->onFrameChanged(frame.get(), &panelRegion);
    if (frame && imagePropsPanel && histogramPanel)
        histogramPanel->updateHistogram(
            frame.get(), imagePropsPanel->min(), imagePropsPanel->max(), &panelRegion);
    if (frame && imageInfoPanel)
        imageInfoPanel->updateStatistics(frame.get(), &panelRegion);
    emit sigFrameRegionChanged(frame, region);
}

void DevCtrlMpx::onMpxFrameMouseLeave()
{
    if (imageInfoPanel)
        imageInfoPanel->onMpxFrameMouseLeave();
}

void DevCtrlMpx::reportMouseAt(unsigned x, unsigned y, double value)
{
    emit sigFrameMouseMove(static_cast<int>(x), static_cast<int>(y), value);
    if (imageInfoPanel)
        imageInfoPanel->updateCoordinates(static_cast<int>(x), static_cast<int>(y), value);
}

QString DevCtrlMpx::onFrameTooltip(unsigned x, unsigned y, double value)
{
    reportMouseAt(x, y, value);

    const PixCfgType type = pixCfgType.load();
    if (type == PixCfgMask) // 1 means that the pixel counts
        return QStringLiteral("[%1,%2]=%3")
            .arg(x)
            .arg(y)
            .arg(value == 1.0 ? QStringLiteral("Unmasked") : QStringLiteral("Masked"));
    if (type == PixCfgTest)
        return QStringLiteral("[%1,%2]=%3")
            .arg(x)
            .arg(y)
            .arg(value == 1.0 ? QStringLiteral("On") : QStringLiteral("Off"));

    // The topmost selection under the pointer.
    const QPoint point(static_cast<int>(x), static_cast<int>(y));
    int found = -1;
    for (int i = static_cast<int>(selectionRects.size()) - 1; i >= 0; --i) {
        if (selectionRects.at(i).contains(point)) {
            found = i;
            break;
        }
    }
    if (found < 0)
        return QString();
    ov::RefData<ov::IMpxFrame> f = currentSubFrameOrFrame(false);
    if (!f)
        return QString();

    const FrameRegion foundRegion = FrameRegion::fromRect(selectionRects.at(found));
    const ov::Region here = foundRegion.region();
    const double mean = f->regionMean(&here);
    const double min = f->minValue(&here);
    const double max = f->maxValue(&here);
    const int count = f->pixelCountInRegion(&here);
    const double deviation = f->regionDeviation(&here);
    const double total = f->regionTotal(&here);
    const FrameRegion firstRegion = FrameRegion::fromRect(selectionRects.first());
    const ov::Region first = firstRegion.region();
    const double firstMean = f->regionMean(&first);
    const double firstDeviation = f->regionDeviation(&first);

    // Signal to noise in the first selection; contrast to noise against it in another.
    QString label;
    double ratio = 0.0;
    if (found == 0) {
        label = QStringLiteral("SNR");
        ratio = std::fabs(mean) / deviation;
    } else {
        label = QStringLiteral("CNR");
        ratio = std::fabs(firstMean - mean)
            / std::sqrt(deviation * deviation + firstDeviation * firstDeviation);
    }
    return QStringLiteral("[%1,%2]=%3\nMin, Max: %4, %5\nCount, Total: %6, %7\nMean: %8 \u00b1 "
                          "%9\n%10: %11")
        .arg(x)
        .arg(y)
        .arg(value)
        .arg(min)
        .arg(max)
        .arg(count)
        .arg(total)
        .arg(mean)
        .arg(deviation)
        .arg(label)
        .arg(ratio);
}

int DevCtrlMpx::doDigitalTest(bool, unsigned* a, unsigned* b)
{
    ov::IMpxFrame* result = nullptr;
    // The device's operation takes the two counters in the other order.
    const int rc = m_dev->doDigitalTest(b, a, &result);
    if (result) {
        showMpxFrame(result);
        result->decRef();
    }
    return rc;
}

// ---------------------------------------------------------------------------------
// Saving and loading

namespace {

// The picture type: drawn here from the display, never by the host.
constexpr int PictureFileType = 10;
constexpr int MultiFrameFileType = 4;

// Draws frame into an off-screen frame widget with the settings of shown and writes
// it as a picture of twice the frame's size in each direction.
template <typename T>
bool feedPixels(QMpxFrame& target, ov::IMpxFrame* frame)
{
    ov::RefDataBuff<T> pixels;
    if (frame->dataRef(&pixels) != 0 || !pixels.data())
        return false;
    if (pixels.size() < static_cast<unsigned long>(frame->width()) * frame->height())
        return false;
    target.setData<T>(pixels.data(), frame->width(), frame->height());
    return true;
}

ColorMap* copyColorMap(ColorMap* source)
{
    if (!source || source->count == 0 || !source->colors)
        return nullptr;
    auto* colors = new unsigned int[source->count];
    std::memcpy(colors, source->colors, source->count * sizeof(unsigned int));
    auto* map = new ColorMap(colors, source->count);
    map->underRangeColor = source->underRangeColor;
    map->overRangeColor = source->overRangeColor;
    map->specialColor = source->specialColor;
    map->decodesColors = source->decodesColors;
    map->defaultColorMap = source->defaultColorMap;
    return map;
}

// One progress dialog for the frame-saving and loading loops.
QProgressDialog* makeProgressDialog(const QString& label, int maximum, int minimumDuration)
{
    auto* dialog = new QProgressDialog(label, QStringLiteral("Abort"), 0, maximum);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setModal(true);
    dialog->setMinimumDuration(minimumDuration);
    dialog->setAutoClose(false);
    dialog->setAutoReset(false);
    return dialog;
}

} // namespace

QString DevCtrlMpx::getSaveFileName(ov::IFileType** type, unsigned* flags, bool framesOnly)
{
    if (flags)
        *flags = 0;
    ov::IDataMgr* dataMgr = m_orvel ? m_orvel->dataMgr() : nullptr;
    std::vector<ov::IFileType*> types;
    if (dataMgr)
        types = dataMgr->deviceSupportedFileTypes(m_dev);

    ov::DevInfo info;
    std::memset(&info, 0, sizeof(info));
    m_dev->deviceInfo(&info);
    if (info.kind == 4) {
        for (auto it = types.begin(); it != types.end(); ++it) {
            if (*it && std::strcmp((*it)->extension(), "t3r") == 0) {
                types.erase(it);
                break;
            }
        }
    }

    QStringList filters;
    QMap<QString, ov::IFileType*> byFilter;
    for (ov::IFileType* t : types) {
        if (!t || (framesOnly && !t->canSaveFrames(1)))
            continue;
        const QString text = QString::fromUtf8(t->description()) + QStringLiteral(" (*.")
            + QString::fromUtf8(t->extension()) + QStringLiteral(")");
        filters.append(text);
        byFilter.insert(text, t);
    }

    QString selected;
    const QString name = QMyFileDialog::getSaveFileName(nullptr, QStringLiteral("Save Frames"),
        QStringLiteral("::devctrl/savefile"), filters.join(QStringLiteral(";;")), &selected);
    if (byFilter.isEmpty())
        return QString();
    auto found = byFilter.constFind(selected);
    if (found == byFilter.constEnd())
        return QString();
    if (type)
        *type = found.value();
    if (found.value()->typeCode() == MultiFrameFileType && flags)
        *flags = getMultiFrameTypeFlags();
    return name;
}

unsigned DevCtrlMpx::getMultiFrameTypeFlags()
{
    const QStringList items {QStringLiteral("ASCII Sparse"), QStringLiteral("ASCII Matrix"),
        QStringLiteral("Binary Sparse"), QStringLiteral("Binary Matrix")};
    bool ok = false;
    const QString item = QInputDialog::getItem(nullptr, QStringLiteral("Multiframe type"),
        QStringLiteral("Please select the type of multi frame file"), items, 0, false, &ok);
    if (!ok)
        return 4;
    if (item == items[1])
        return 0;
    if (item == items[2])
        return 6;
    if (item == items[3])
        return 2;
    return 4;
}

void DevCtrlMpx::saveAcqData()
{
    ov::IFileType* type = nullptr;
    unsigned flags = 0;
    const QString name = getSaveFileName(&type, &flags, false);
    if (name.isEmpty() || !type)
        return;
    const std::string path = name.toStdString();
    if (type->canSaveFrames(1)) {
        saveFrames(path.c_str(), type, flags);
        return;
    }

    // A data object that is not a frame set is written whole, off the GUI thread.
    delete progressDialog;
    progressDialog = new QProgressDialog(QStringLiteral("Saving data..."), QString(), 0, 1);
    progressDialog->setWindowModality(Qt::ApplicationModal);
    progressDialog->setMinimumDuration(0);
    progressDialog->setCancelButton(nullptr);
    progressDialog->show();

    ov::IDevMpx* device = m_dev;
    startDetached([relay = eventRelay, device, path, type] {
        ov::RefData<ov::IData> data(device->lastAcqDataRefInc(0), false);
        if (data) {
            const int kind = data->dataKind();
            if (type->canSaveFrames(kind)) {
                ov::FilePath file(path.c_str());
                data->saveToFile(&file, type->typeCode(), kind == ov::DataTpx3Pixels ? 1 : 0);
            }
        }
        // Through the relay: a closing page waits for this thread but takes no more
        // signals.
        relay->with<DevCtrlMpx>(
            [](DevCtrlMpx* c) { emit c->sigProgressDialogFinished(0, QString()); });
        data.dec();
    });
}

std::string DevCtrlMpx::askShownFramesFileName(ov::IFileType** type, unsigned* flags)
{
    if (!currentFrame())
        return std::string();
    const QString name = getSaveFileName(type, flags, true);
    if (name.isEmpty() || !*type)
        return std::string();
    return name.toStdString();
}

void DevCtrlMpx::saveCurrentFrame()
{
    ov::IFileType* type = nullptr;
    unsigned flags = 0;
    const std::string path = askShownFramesFileName(&type, &flags);
    if (path.empty())
        return;
    // A start from the host's side may have cleared the frame while the dialog was open.
    ov::RefData<ov::IMpxFrame> shown = currentFrame();
    if (!shown)
        return;
    const int subFrames = shown->subFrameCount();
    if (subFrames == 0) {
        ov::RefData<ov::IMpxFrame> f = currentSubFrameOrFrame(false);
        if (f)
            saveFrame(f.get(), path.c_str(), type, flags, true);
        return;
    }
    saveEachSubFrame(subFrames, type, flags,
        [&path](const std::string& suffix) { return getFileNameWithSuffix(path, suffix.c_str()); });
}

void DevCtrlMpx::saveEachSubFrame(int count, ov::IFileType* type, unsigned flags,
    const std::function<std::string(const std::string&)>& fileFor)
{
    for (int i = 0; i < count; ++i) {
        currentSubFrame = i;
        updateCurrentFrame();
        ov::RefData<ov::IMpxFrame> f = currentSubFrameOrFrame(false);
        if (!f)
            continue;
        const std::string file = fileFor("_" + f->frameName());
        saveFrame(f.get(), file.c_str(), type, flags, true);
    }
}

void DevCtrlMpx::saveAllFrames()
{
    ov::IFileType* type = nullptr;
    unsigned flags = 0;
    const std::string path = askShownFramesFileName(&type, &flags);
    if (path.empty())
        return;
    const int count = acqFrameCount();
    QProgressDialog* dialog = makeProgressDialog(QStringLiteral("Saving files..."), count, 1);
    for (int index = 0; index < count; ++index) {
        dialog->setValue(index);
        if (dialog->wasCanceled())
            break;
        QCoreApplication::processEvents();
        // What is saved is what is shown, so every frame is drawn in turn.
        showAcqFrame(static_cast<unsigned long>(index));
        ov::RefData<ov::IMpxFrame> current = currentFrame();
        const int subFrames = current ? current->subFrameCount() : 0;
        if (subFrames == 0) {
            ov::RefData<ov::IMpxFrame> f = currentSubFrameOrFrame(false);
            if (f) {
                const std::string file = getFileNameIdx(path, index, 4, "_", "");
                saveFrame(f.get(), file.c_str(), type, flags, true);
            }
            continue;
        }
        saveEachSubFrame(subFrames, type, flags, [&path, index](const std::string& suffix) {
            return getFileNameIdx(path, index, 4, "_", suffix.c_str());
        });
    }
    dialog->setValue(count);
    dialog->close();
    delete dialog;
}

void DevCtrlMpx::saveFrames(const char* name, ov::IFileType* type, unsigned flags)
{
    if (!name || !type)
        return;
    const int count = acqFrameCount();
    QProgressDialog* dialog = makeProgressDialog(QStringLiteral("Saving files..."), count, 1);
    const bool multi = type->isMultiFrame();
    const int digits = count > 0 ? static_cast<int>(std::log10(count) + 1.0) : 1;
    for (int index = 0; index < acqFrameCount(); ++index) {
        dialog->setValue(index);
        if (dialog->wasCanceled())
            break;
        QCoreApplication::processEvents();
        const std::string file = (count == 1 || multi)
            ? std::string(name)
            : getFileNameIdx(name, index, digits, "", "");
        ov::RefData<ov::IMpxFrame> f(frame(static_cast<unsigned long>(index)), false);
        if (f)
            saveFrame(f.get(), file.c_str(), type, flags, true);
    }
    dialog->setValue(count);
    dialog->close();
    delete dialog;
}

void DevCtrlMpx::saveFrame(
    ov::IMpxFrame* frame, const char* name, ov::IFileType* type, unsigned flags, bool useDisplay)
{
    if (!frame || !name || !type)
        return;
    if (type->typeCode() != PictureFileType) {
        ov::FilePath path(name);
        frame->saveToFile(&path, type, flags);
        return;
    }

    double min = 0.0;
    double max = 0.0;
    if (useDisplay && mpxFrame) {
        min = mpxFrame->image->rangeMin;
        max = mpxFrame->image->rangeMax;
    } else {
        min = frame->minValue(nullptr);
        max = frame->maxValue(nullptr);
    }

    QMpxFrame picture;
    if (mpxFrame) {
        picture.image->showGrid = mpxFrame->image->showGrid;
        picture.image->showMasked = mpxFrame->image->showMasked;
        picture.image->showRelative = mpxFrame->image->showRelative;
        picture.setRotation(mpxFrame->getRotation());
        picture.setMirrored(mpxFrame->isMirrored());
    }
    bool fed = false;
    switch (frame->dataType()) {
    case ov::FrameInt16:
        fed = feedPixels<short>(picture, frame);
        break;
    case ov::FrameUInt32:
        fed = feedPixels<unsigned>(picture, frame);
        break;
    case ov::FrameUInt64:
        fed = feedPixels<unsigned long>(picture, frame);
        break;
    case ov::FrameDouble:
        fed = feedPixels<double>(picture, frame);
        break;
    default:
        break;
    }
    if (!fed)
        return;
    const unsigned width = frame->width();
    const unsigned height = frame->height();
    picture.getAxisX().setRange(0, width - 1.0);
    picture.getAxisY().setRange(0, height - 1.0);
    picture.setRange(min, max);
    picture.image->showUnderRange = false;
    picture.image->showOverRange = false;
    if (mpxFrame) {
        if (ColorMap* map = copyColorMap(mpxFrame->image->getColorMap()))
            picture.setCustomColorMap(map);
    }
    picture.saveToFile(name, 2 * width, 2 * height, QMpxFrame::PictureSize, true, true, true);
}

int DevCtrlMpx::fileTypeFromFileName(const char* name)
{
    ov::IDataMgr* dataMgr = m_orvel ? m_orvel->dataMgr() : nullptr;
    if (!dataMgr)
        return -1;
    ov::FilePath path(name);
    return dataMgr->fileTypeIdFromFileName(&path);
}

ov::IParamMgr* DevCtrlMpx::fileTypeParamsFromFileName(const char* name)
{
    if (!name || !*name)
        return nullptr;
    ov::IDataMgr* dataMgr = m_orvel ? m_orvel->dataMgr() : nullptr;
    if (!dataMgr)
        return nullptr;
    ov::FilePath path(name);
    ov::IFileType* type = dataMgr->fileTypeFromFileName(&path);
    return type ? type->params() : nullptr;
}

ov::RefData<ov::IData> DevCtrlMpx::loadDataFromFile(const FileInfo& info) const
{
    ov::IDataMgr* dataMgr = m_orvel ? m_orvel->dataMgr() : nullptr;
    if (!dataMgr)
        return {};
    ov::FilePath path(info.fileName.c_str());
    // The host's result carries the caller's reference, which the holder takes over.
    return ov::RefData<ov::IData>(dataMgr->loadData(&path, info.index), false);
}

void DevCtrlMpx::loadFiles(QList<QString>& files)
{
    clearLoadedData();
    ov::IDataMgr* dataMgr = m_orvel ? m_orvel->dataMgr() : nullptr;
    if (!dataMgr)
        return;

    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(files.size()));
    int total = 0;
    for (const QString& file : files) {
        names.push_back(QDir::toNativeSeparators(file).toUtf8().toStdString());
        ov::FilePath path(names.back().c_str());
        const int count = dataMgr->dataCountInFile(&path);
        if (count > 0)
            total += count;
    }

    QProgressDialog* dialog = makeProgressDialog(QStringLiteral("Loading files..."), total, 1000);
    for (size_t i = 0; i < names.size(); ++i) {
        // The value counts files, deliberately not on the scale of total.
        dialog->setValue(static_cast<int>(i));
        if (dialog->wasCanceled())
            break;
        ov::FilePath path(names[i].c_str());
        const int code = dataMgr->fileTypeIdFromFileName(&path);
        if (code != 6 && code != 7) {
            const int frames = dataMgr->frameCountInFile(&path);
            for (int j = 0; j < frames; ++j) {
                loadedFiles.push_back(FileInfo {names[i], j, MultiFrameFileType, true});
                QCoreApplication::processEvents();
            }
        } else {
            loadedFiles.push_back(FileInfo {names[i], 0, code, false});
        }
    }
    dialog->setValue(total);
    dialog->close();
    delete dialog;

    emit acqFrameCountChange(total);
    ov::RefData<ov::IData> last(lastAcqData(), false);
    if (!last)
        return;
    loadedData = last;
    ov::RefData<ov::IMpxFrame> f(lastFrame(), false);
    setCurrentFrame(f.get());
    emit sigShowFrame();
}

} // namespace PluginDevControl
