#include "devctrltpx3.h"

#include "callbackrelay.h"
#include "thresholdargs.h"

#include "pnlimageprops.h"

#include <QTabBar>
#include <QTimer>

namespace PluginDevControl {

namespace {

constexpr const char* kTpSection = "TpPars";
// Seconds between two pictures of new data-driven data.
constexpr double kPictureInterval = 0.1;
// The threshold polarity is asked of all chips at once.
constexpr int kAllChips = -1;

QStringList tpx3TabNames()
{
    return {QStringLiteral("Frame"), QStringLiteral("Mask"), QStringLiteral("Test"),
        QStringLiteral("THL")};
}

// The hits counted in pixel or cluster data; 0 for other data.
uint32_t hitsOf(ov::IData* data)
{
    switch (data->dataKind()) {
    case ov::DataTpx3Pixels:
        return static_cast<uint32_t>(static_cast<ov::ITpx3Pixels*>(data)->pixelCount());
    case ov::DataTpx3Clusters:
        return static_cast<uint32_t>(static_cast<ov::ITpx3Clusters*>(data)->pixelCount());
    default:
        return 0;
    }
}

bool isTpx3Data(ov::IData* data)
{
    const int kind = data->dataKind();
    return kind == ov::DataTpx3Pixels || kind == ov::DataTpx3Clusters;
}

// data, which carries the caller's reference, as T when it is of kind; otherwise the
// reference is dropped and the result is null.
template <typename T>
T* dataOfKind(ov::IData* data, int kind)
{
    if (!data)
        return nullptr;
    if (data->dataKind() != kind) {
        data->decRef();
        return nullptr;
    }
    return static_cast<T*>(data);
}

} // namespace

DevCtrlTpx3::DevCtrlTpx3(ov::IOrvel* orvel, ov::IDevTpx3* dev, QMpxFrame* frame, QTabBar* tabs)
    : DevCtrlMpx(orvel, dev, frame, tabs), tpx3(dev)
{
    fixedTabs = true;
    if (tpx3)
        tpx3->registerEvent("Tpx3StgChanged", onTpx3StgChangedWrapper, eventRelay);
    addFixedTabs(tpx3TabNames());
    if (tpx3)
        getThresholdCalibrated();
}

// Events must not reach the Timepix3 part once it is being taken down.
DevCtrlTpx3::~DevCtrlTpx3()
{
    detachDeviceEvents();
}

void DevCtrlTpx3::onTpx3StgChangedWrapper(long, long user)
{
    CallbackRelay::fromUserData(user)->with<DevCtrlMpx>(
        [](DevCtrlMpx* c) { static_cast<DevCtrlTpx3*>(c)->onTpx3StgChangedFunc(); });
}

void DevCtrlTpx3::onTpx3StgChangedFunc()
{
    emit sigTpx3StgChanged();
}

void DevCtrlTpx3::onNewDataFunc(int index)
{
    emit sigNewData(index);
}

// ---------------------------------------------------------------------------------
// Settings

void DevCtrlTpx3::loadSettings(ov::ISettings* settings)
{
    DevCtrlMpx::loadSettings(settings);
    if (!settings)
        return;
    Tpx3Pulses& tp = m_tpParams.tpx3;
    tp.pulseCount = static_cast<uint32_t>(
        settings->getInt(kTpSection, "Count", static_cast<int>(tp.pulseCount)));
    tp.digital = settings->getBool(kTpSection, "Digital", tp.digital != 0) ? 1 : 0;
    tp.external = settings->getBool(kTpSection, "External", tp.external != 0) ? 1 : 0;
    tp.manualTpBits = settings->getBool(kTpSection, "ManualTpBits", tp.manualTpBits != 0) ? 1 : 0;
    tp.pulsePeriod = settings->getDouble(kTpSection, "Period", tp.pulsePeriod);
    // Stored as a double, kept as a byte.
    tp.phase = static_cast<uint8_t>(
        static_cast<int>(settings->getDouble(kTpSection, "Phase", tp.phase)) & 0xFF);
    autoCtpr = settings->getBool(kTpSection, "AutoCtpr", autoCtpr);
    tp.charge = static_cast<uint32_t>(
        settings->getInt(kTpSection, "Charge", static_cast<int>(tp.charge)));
    m_acqParamsTpx3.load(settings);
}

void DevCtrlTpx3::saveSettings(ov::ISettings* settings)
{
    if (settings) {
        const Tpx3Pulses& tp = m_tpParams.tpx3;
        settings->setInt(kTpSection, "Count", static_cast<int>(tp.pulseCount));
        settings->setBool(kTpSection, "Digital", tp.digital != 0);
        settings->setBool(kTpSection, "External", tp.external != 0);
        settings->setBool(kTpSection, "ManualTpBits", tp.manualTpBits != 0);
        settings->setDouble(kTpSection, "Period", tp.pulsePeriod);
        settings->setDouble(kTpSection, "Phase", tp.phase);
        settings->setBool(kTpSection, "AutoCtpr", autoCtpr);
        settings->setInt(kTpSection, "Charge", static_cast<int>(tp.charge));
        m_acqParamsTpx3.save(settings);
    }
    DevCtrlMpx::saveSettings(settings);
}

// ---------------------------------------------------------------------------------
// Measurement

// Word at offset 0, integral byte, test-pulse block, time and spacing by type:
//   0 frames: 0, 0, -, acqTime, spacing        1 integral: 0, 1, -, acqTime, spacing
//   2 test pulses: 1, 0, yes, acqTime, tpSpacing
//   3 pixels: 2, 0, -, timeDataDriven, spacing
//   4 integral test pulses: 1, 1, yes, acqTime, tpSpacing
//   5 pixels and test pulses: 3, 0, yes, acqTime, spacing
// and frames for any other type. The refresh bytes go as 0.
void DevCtrlTpx3::run()
{
    m_pixelCount = 0;
    const AcqDesc desc = makeTpx3AcqDesc(m_acqParams, m_acqParamsTpx3.timeDataDriven);
    runAdvancedAcquisition(desc, tpx3SendsTestPulses(m_acqParams.acqType));
}

bool DevCtrlTpx3::isDataDriven()
{
    return m_acqParams.acqType == AcqTpx3Pixels;
}

double DevCtrlTpx3::acqTime()
{
    const double time = isDataDriven() ? m_acqParamsTpx3.timeDataDriven : m_acqParams.acqTime;
    return time == 0.0 ? 1000.0 : time;
}

bool DevCtrlTpx3::isPixelFile(const QString& name)
{
    for (const char* ending : {"t3p", "t3pa", "t3r", "prd"}) {
        if (name.endsWith(QLatin1String(ending), Qt::CaseSensitive))
            return true;
    }
    return false;
}

// ---------------------------------------------------------------------------------
// Pixel and cluster data

void DevCtrlTpx3::onNewData(int index)
{
    ov::RefData<ov::IData> data(m_dev->acqDataRefInc(static_cast<unsigned>(index)), false);
    if (!data || !imagePropsPanel)
        return;
    if (isTpx3Data(data.get()))
        m_pixelCount = hitsOf(data.get());
    if (!autoUpdate.load() || pixCfgType.load() != PixCfgNone)
        return;
    // Chunks come a hundred times a second and more; a picture (its frame made, the
    // panels and the display updated) ten times is what a person follows, and leaves
    // the cores to the measurement. The newest data goes when the interval is over.
    const double wait = m_lastPicture + kPictureInterval - nowSeconds();
    if (wait > 0.0) {
        if (!m_picturePending) {
            m_picturePending = true;
            QTimer::singleShot(static_cast<int>(wait * 1000.0) + 1, this, [this] {
                m_picturePending = false;
                const int newest = acqDataCount() - 1;
                if (newest >= 0)
                    onNewData(newest);
            });
        }
        return;
    }
    m_lastPicture = nowSeconds();
    showData(index);
}

void DevCtrlTpx3::showData(int index)
{
    ov::RefData<ov::IData> data(m_dev->acqDataRefInc(static_cast<unsigned>(index)), false);
    if (!data || !imagePropsPanel)
        return;
    const bool tpx3Data = isTpx3Data(data.get());
    if (tpx3Data)
        m_pixelCount = hitsOf(data.get());
    if (!autoUpdate.load() || pixCfgType.load() != PixCfgNone)
        return;
    imagePropsPanel->onAcqDataChanged(data.get());
    if (!tpx3Data)
        return;
    // The object keeps its frame; the frame on show takes a reference of its own.
    ov::IMpxFrame* frame = data->frameAt(0);
    if (frame)
        frame->incRef();
    setFrame(frame);
}

ov::ITpx3Pixels* DevCtrlTpx3::tpx3Pixels(unsigned long index) const
{
    return dataOfKind<ov::ITpx3Pixels>(acqData(index), ov::DataTpx3Pixels);
}

ov::ITpx3Clusters* DevCtrlTpx3::tpx3Clusters(unsigned long index) const
{
    return dataOfKind<ov::ITpx3Clusters>(acqData(index), ov::DataTpx3Clusters);
}

ov::ITpx3Pixels* DevCtrlTpx3::lastTpx3Pixels() const
{
    return tpx3Pixels(static_cast<unsigned long>(acqDataCount() - 1));
}

ov::ITpx3Clusters* DevCtrlTpx3::lastTpx3Clusters() const
{
    return tpx3Clusters(static_cast<unsigned long>(acqDataCount() - 1));
}

ov::RefData<ov::ITpx3Data> DevCtrlTpx3::lastTpx3Data() const
{
    if (ov::ITpx3Pixels* pixels = lastTpx3Pixels())
        return ov::RefData<ov::ITpx3Data>(pixels, false);
    return ov::RefData<ov::ITpx3Data>(lastTpx3Clusters(), false);
}

double DevCtrlTpx3::fadeWindowSize() const
{
    const ov::RefData<ov::ITpx3Data> data = lastTpx3Data();
    return data ? data->fadeWindowSize() : 0.0;
}

void DevCtrlTpx3::changeNewestData(const std::function<void(ov::ITpx3Data*)>& change)
{
    const ov::RefData<ov::ITpx3Data> data = lastTpx3Data();
    if (!data)
        return;
    change(data.get());
    // The data's frame, made anew for the change, becomes the current frame, so that
    // range, statistics and histogram follow the picture and not the frame before.
    ov::IMpxFrame* frame = data->frameAt(0);
    if (frame)
        frame->incRef();
    setFrame(frame);
}

void DevCtrlTpx3::setFadeWindowSize(double seconds)
{
    changeNewestData([seconds](ov::ITpx3Data* data) { data->setFadeWindowSize(seconds); });
}

void DevCtrlTpx3::setFrameType(int type)
{
    changeNewestData([type](ov::ITpx3Data* data) { data->setFrameType(type); });
}

void DevCtrlTpx3::showAcqFrame(unsigned long index)
{
    if (index >= static_cast<unsigned long>(acqDataCount()))
        return;
    if (isDataDriven() && acqFrameCount() == 0)
        showData(0);
    else
        DevCtrlMpx::showAcqFrame(index);
}

// ---------------------------------------------------------------------------------
// Threshold, operation mode, configuration

double DevCtrlTpx3::threshold()
{
    const ThresholdArgs args = thresholdArgsFor(tpx3->chipCount(), thresholdCalibrated.load());
    return tpx3->threshold(args.chip, args.kind);
}

int DevCtrlTpx3::setThreshold(double value)
{
    const ThresholdArgs args = thresholdArgsFor(tpx3->chipCount(), thresholdCalibrated.load());
    return tpx3->setThreshold(args.chip, args.kind, value);
}

void DevCtrlTpx3::getThresholdCalibrated()
{
    thresholdCalibrated = allChipsCalibrated(tpx3);
}

void DevCtrlTpx3::onDevStgChanged()
{
    getThresholdCalibrated();
}

int DevCtrlTpx3::opMode()
{
    return tpx3->operationMode();
}

int DevCtrlTpx3::setOpMode(int mode)
{
    return tpx3->setOperationMode(static_cast<uint8_t>(mode));
}

void DevCtrlTpx3::showPixCfgFrames(bool show)
{
    showFixedTabs(show, tpx3TabNames());
}

int DevCtrlTpx3::thlStep(bool over)
{
    // With the polarity set a higher adjustment moves a pixel's threshold up.
    const bool polarity = tpx3->chipPolarity(kAllChips);
    return over == polarity ? 1 : -1;
}

// The frame on show, not a sub-frame; without one the result is -1.
int DevCtrlTpx3::shiftThlOver(double limit, int)
{
    return shiftThlOfFrame(currentFrame().get(), limit, true, thlStep(true));
}

int DevCtrlTpx3::shiftThlUnder(double limit, int)
{
    return shiftThlOfFrame(currentFrame().get(), limit, false, thlStep(false));
}

} // namespace PluginDevControl
