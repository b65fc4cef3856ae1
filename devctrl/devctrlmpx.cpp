#include "devctrlmpx.h"

#include <qmpxframe.h>

#include <QMessageBox>
#include <QProgressDialog>
#include <QTabBar>

#include <chrono>
#include <cstring>
#include <thread>

namespace PluginDevControl {

std::atomic<int> DevCtrlMpx::detachedThreads {0};

namespace {

DevCtrlMpx* controllerOf(long user)
{
    return reinterpret_cast<DevCtrlMpx*>(user);
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

DevCtrlMpx::DevCtrlMpx(ov::IOrvel* orvel, ov::IDevMpx* dev, QMpxFrame* frame, QTabBar* tabs)
    : m_orvel(orvel),
      m_dev(dev),
      mpxFrame(frame),
      frameTabs(tabs),
      m_tpParams(defaultTpParams(dev ? dev->deviceType() : 0))
{
    if (m_dev) {
        void* self = this;
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
    if (mpxFrame && mpxFrame->image->tooltipUser == this) {
        mpxFrame->image->tooltipFunc = nullptr;
        mpxFrame->image->tooltipUser = nullptr;
    }
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

int DevCtrlMpx::startAcq()
{
    m_lastAcqResult = 0;
    stopRequested = false;
    clearLoadedData();
    ++detachedThreads;
    std::thread(runWrapper, this).detach();
    return 0;
}

void DevCtrlMpx::runWrapper(DevCtrlMpx* ctrl)
{
    ctrl->run();
    --detachedThreads;
}

int DevCtrlMpx::stopAcq()
{
    stopRequested = true;
    ov::IDev* device = m_dev;
    ++detachedThreads;
    std::thread([device] {
        device->abortOperation();
        --detachedThreads;
    }).detach();
    return 0;
}

void DevCtrlMpx::run() { }

void DevCtrlMpx::runAdvancedAcquisition()
{
    acqRunning = true;

    const AcqDesc desc = makeAcqDesc(m_acqParams);

    const RepeatDesc repeat = makeRepeatDesc(m_acqParams);
    std::memcpy(&repeatStore, &repeat, sizeof repeat);
    activeRepeatCount = repeat.count;
    activeRepeat.store(&repeatStore, std::memory_order_release);

    const void* tpBlock = testPulseBlock(m_tpParams, desc.testPulses == 1);

    m_curAcq = 0;
    m_curRepeat = 0;

    const int result = m_dev->doAdvancedAcquisition(
        &desc, m_acqParams.repeatEnabled ? &repeatStore : nullptr, tpBlock);

    activeRepeat.store(nullptr, std::memory_order_release);
    activeRepeatCount = 0;
    m_lastAcqResult = result;
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
    controllerOf(user)->onPixCfgChanged();
}

void DevCtrlMpx::onAcqMeasStartedWrapper(long, long user)
{
    emit controllerOf(user)->acqMeasStarted();
}

void DevCtrlMpx::onAcqMeasFinishedWrapper(long, long user)
{
    emit controllerOf(user)->acqMeasFinished();
}

void DevCtrlMpx::onAcqFinishWrapper(long data, long user)
{
    controllerOf(user)->onAcqFinish(data);
}

void DevCtrlMpx::onAcqRepeatFinishWrapper(long data, long user)
{
    controllerOf(user)->onAcqRepeatFinish(data);
}

void DevCtrlMpx::onAcqRepeatStartWrapper(long data, long user)
{
    controllerOf(user)->onAcqRepeatStart(data);
}

void DevCtrlMpx::onNewDataWrapper(long data, long user)
{
    emit controllerOf(user)->sigNewData(static_cast<int>(data));
}

void DevCtrlMpx::onDacsChangedWrapper(long, long user)
{
    emit controllerOf(user)->sigDacsChanged();
}

void DevCtrlMpx::onDeviceStatusChangedWrapper(long, long user)
{
    DevCtrlMpx* ctrl = controllerOf(user);
    const QString text = ctrl->deviceStatusText();
    const int status = ctrl->deviceStatus();
    emit ctrl->sigDeviceStatusChanged(status, text);
}

void DevCtrlMpx::onFiltersChangedWrapper(long, long user)
{
    emit controllerOf(user)->sigFiltersChanged();
}

void DevCtrlMpx::onDeviceStgChangedWrapper(long, long user)
{
    DevCtrlMpx* ctrl = controllerOf(user);
    ctrl->onDevStgChanged();
    emit ctrl->sigDeviceStgChanged();
}

void DevCtrlMpx::onBiasChangedWrapper(long, long user)
{
    emit controllerOf(user)->sigBiasChanged();
}

void DevCtrlMpx::onDevLockChangedWrapper(long, long user)
{
    DevCtrlMpx* ctrl = controllerOf(user);
    ctrl->deviceLocked = ctrl->m_dev->isLocked();
    emit ctrl->sigDevLockChanged();
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
    emit acqRepeatFinished();
}

void DevCtrlMpx::onAcqRepeatStart(long repeatIndex)
{
    m_curRepeat = static_cast<int>(repeatIndex);
    m_curAcq = 0;
    emit acqRepeatStarted();
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
    const int frames = m_dev->acqFrameCount();
    setAcqFinishedDacValues();

    const int count = acqCount();
    emit acqSingleFinished();
    emit progress(
        static_cast<double>(cur) / static_cast<double>(count) * 100.0, static_cast<unsigned>(cur));
    emit acqFrameCountChange(frames);

    if (frames == 0 || !autoUpdate.load() || pixCfgType.load() != PixCfgNone)
        return;

    // At most ten frames a second, and none while the GUI still draws the last one;
    // the last frame of a measurement always goes through.
    const double now = nowSeconds();
    const double elapsed = now - lastFrameUpdate.load();
    const bool gateOpen = elapsed > 0.1 && frameShown.load();
    if (!gateOpen && cur != count && cur != 0)
        return;

    lastFrameUpdate = now;
    ov::IMpxFrame* last = m_dev->lastAcqFrameRefInc();
    setCurrentFrame(last);
    if (last)
        last->decRef();
    frameShown = false;

    emit sigShowFrame();
    onAcqDataChanged();
}

void DevCtrlMpx::setAcqFinishedDacValues() { }

void DevCtrlMpx::onDevStgChanged() { }

void DevCtrlMpx::onNewData(int index)
{
    if (!autoUpdate.load() || pixCfgType.load() != PixCfgNone)
        return;
    ov::RefData<ov::IData> data(m_dev->acqDataRefInc(static_cast<unsigned>(index)), false);
    if (!data)
        return;
    // The image properties panel takes the new data object when it is set.
}

void DevCtrlMpx::onAcqDataChanged()
{
    if (!imagePropsPanel)
        return;
    // The image properties panel is handed loadedData, or the device's last data.
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

void DevCtrlMpx::onRangeChanged(double, double) { }

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

ov::IMpxFrame* DevCtrlMpx::frame(unsigned long index) const
{
    return m_dev->acqFrameRefInc(static_cast<unsigned>(index));
}

ov::IData* DevCtrlMpx::acqData(unsigned long index) const
{
    return m_dev->acqDataRefInc(static_cast<unsigned>(index));
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

void DevCtrlMpx::showPixCfgFrame(PixCfgType) { }

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

    // A frame with sub-frames shows the chosen one, the first by default.
    ov::RefData<ov::IMpxFrame> drawn(frame);
    const std::vector<ov::IMpxFrame*> subs = frame->subFrames();
    if (currentSubFrame == -1 && !subs.empty())
        currentSubFrame = 0;
    if (currentSubFrame >= 0 && currentSubFrame < static_cast<int>(subs.size())
        && subs[static_cast<size_t>(currentSubFrame)])
        drawn.reset(subs[static_cast<size_t>(currentSubFrame)]);

    if (pixCfgType.load() == PixCfgNone)
        processedFrame.dec();

    ov::IMpxFrame* f = drawn.get();
    const bool sizeChanged = f->width() != mpxFrame->image->getDataWidth()
        || f->height() != mpxFrame->image->getDataHeight();
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
        return;

    mpxFrame->image->showMasked = showMasked && pixCfgType.load() == PixCfgNone;
    mpxFrame->image->update();
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
    const std::vector<ov::IMpxFrame*> subs = f->subFrames();
    const int count = static_cast<int>(subs.size());
    if (count == 0) {
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
    const bool blocked = frameTabs->blockSignals(true);
    if (frameTabs->count() == count) {
        for (int i = 0; i < count; ++i)
            frameTabs->setTabText(i,
                subs[static_cast<size_t>(i)]
                    ? QString::fromStdString(subs[static_cast<size_t>(i)]->frameName())
                    : QString());
    } else {
        removeAllFrameTabs();
        for (ov::IMpxFrame* sub : subs)
            frameTabs->addTab(sub ? QString::fromStdString(sub->frameName()) : QString());
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

void DevCtrlMpx::onFrameZoomRectChanged(QRect) { }

void DevCtrlMpx::onSelectionRectsChanged(QList<QRect> rects)
{
    selectionRects = rects;
}

void DevCtrlMpx::onMpxFrameMouseLeave() { }

QString DevCtrlMpx::onFrameTooltip(unsigned x, unsigned y, double value)
{
    emit sigFrameMouseMove(static_cast<int>(x), static_cast<int>(y), value);
    return QString();
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

} // namespace PluginDevControl
