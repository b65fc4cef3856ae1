#include "devctrlmpx2.h"

#include "callbackrelay.h"
#include "thresholdargs.h"

#include <QFileInfo>
#include <QTabBar>

#include <algorithm>
#include <cmath>
#include <memory>

namespace PluginDevControl {

const char* const DevCtrlMpx2::MODES[4] = {"Medipix", "ToT", "1 Hit", "Timepix"};

namespace {

constexpr const char* kTpSection = "TpPars";
constexpr int kTimepixPixCfgKind = 2;

} // namespace

DevCtrlMpx2::DevCtrlMpx2(ov::IOrvel* orvel, ov::IDevMpx2* dev, QMpxFrame* frame, QTabBar* tabs)
    : DevCtrlMpx(orvel, dev, frame, tabs), mpx2(dev)
{
    fixedTabs = true;
    if (mpx2)
        mpx2->registerEvent("TpxClockChanged", onTpxClockChangedWrapper, eventRelay);
    addFixedTabs(fixedTabNames());
    if (mpx2)
        getThresholdCalibrated();
}

// Events must not reach the Timepix part once it is being taken down.
DevCtrlMpx2::~DevCtrlMpx2()
{
    detachDeviceEvents();
}

QStringList DevCtrlMpx2::fixedTabNames()
{
    const bool timepix = mpx2 && mpx2->isTimepix();
    return {QStringLiteral("Frame"), QStringLiteral("Mask"), QStringLiteral("Test"),
        QStringLiteral("THL"), timepix ? QStringLiteral("Mode") : QStringLiteral("THH")};
}

void DevCtrlMpx2::onTpxClockChangedWrapper(long, long user)
{
    CallbackRelay::fromUserData(user)->with<DevCtrlMpx>(
        [](DevCtrlMpx* c) { emit static_cast<DevCtrlMpx2*>(c)->sigTpxClockChanged(); });
}

// ---------------------------------------------------------------------------------
// Settings

void DevCtrlMpx2::loadSettings(ov::ISettings* settings)
{
    DevCtrlMpx::loadSettings(settings);
    if (!settings)
        return;
    TpxPulses& tp = m_tpParams.tpx;
    tp.pulseCount = static_cast<uint32_t>(
        settings->getInt(kTpSection, "Count", static_cast<int>(tp.pulseCount)));
    tp.pulseHeight = settings->getDouble(kTpSection, "Height", tp.pulseHeight);
    tp.manualTpBits = settings->getBool(kTpSection, "ManualTpBits", tp.manualTpBits != 0) ? 1 : 0;
    tp.pulsePeriod = settings->getDouble(kTpSection, "Period", tp.pulsePeriod);
}

void DevCtrlMpx2::saveSettings(ov::ISettings* settings)
{
    if (settings) {
        const TpxPulses& tp = m_tpParams.tpx;
        settings->setInt(kTpSection, "Count", static_cast<int>(tp.pulseCount));
        settings->setDouble(kTpSection, "Height", tp.pulseHeight);
        settings->setBool(kTpSection, "ManualTpBits", tp.manualTpBits != 0);
        settings->setDouble(kTpSection, "Period", tp.pulsePeriod);
    }
    DevCtrlMpx::saveSettings(settings);
}

// ---------------------------------------------------------------------------------
// Measurement

int DevCtrlMpx2::startAcq()
{
    return DevCtrlMpx::startAcq();
}

int DevCtrlMpx2::stopAcq()
{
    return DevCtrlMpx::stopAcq();
}

void DevCtrlMpx2::onAcqRepeatFinish(long data)
{
    DevCtrlMpx::onAcqRepeatFinish(data);
}

// Test-pulse flag, integral byte, spacing and test-pulse block by acquisition type:
//   0: 0, 0, spacing,   none      1: 0, 1, spacing, none
//   2: 1, 0, tpSpacing, block     3: 0, 0, spacing, none
//   4: 1, 1, spacing,   block
void DevCtrlMpx2::run()
{
    runAdvancedAcquisition();
}

void DevCtrlMpx2::onAcqFinish(long frameIndex)
{
    if (thresholdPending.exchange(false))
        setThresholdImpl(pendingThreshold.load());
    DevCtrlMpx::onAcqFinish(frameIndex);
}

// ---------------------------------------------------------------------------------
// Threshold

void DevCtrlMpx2::thresholdArgs(uint32_t* chip, int* kind)
{
    const ThresholdArgs args = thresholdArgsFor(mpx2->chipCount(), thresholdCalibrated.load());
    *chip = args.chip;
    *kind = args.kind;
}

int DevCtrlMpx2::setThreshold(double value)
{
    if (isAcqRunning()) {
        pendingThreshold = value;
        thresholdPending = true;
        return 0;
    }
    return setThresholdImpl(value);
}

int DevCtrlMpx2::setThresholdImpl(double value)
{
    uint32_t chip = 0;
    int kind = 0;
    thresholdArgs(&chip, &kind);
    return mpx2->setThreshold(chip, kind, value);
}

double DevCtrlMpx2::threshold()
{
    uint32_t chip = 0;
    int kind = 0;
    thresholdArgs(&chip, &kind);
    return mpx2->threshold(chip, kind);
}

void DevCtrlMpx2::getThresholdCalibrated()
{
    thresholdCalibrated = allChipsCalibrated(mpx2);
}

void DevCtrlMpx2::onDevStgChanged()
{
    getThresholdCalibrated();
}

// ---------------------------------------------------------------------------------
// Pixel configuration

int DevCtrlMpx2::setTpxMode(int mode)
{
    ov::IMpxPixCfg* cfg = mpx2->pixCfg();
    if (!cfg)
        return -1;
    const int kind = cfg->kind();
    if (kind != kTimepixPixCfgKind)
        return kind;
    return cfg->setModeAll(static_cast<uint8_t>(mode));
}

void DevCtrlMpx2::showPixCfgFrames(bool show)
{
    showFixedTabs(show, fixedTabNames());
}

void DevCtrlMpx2::showPixCfgFrame(PixCfgType type)
{
    if (type != PixCfgFifth) {
        DevCtrlMpx::showPixCfgFrame(type);
        return;
    }
    ov::IMpxPixCfg* cfg = mpx2->pixCfg();
    const int width = mpx2->width();
    const int height = mpx2->height();
    if (!cfg || width <= 0 || height <= 0)
        return;
    // The same per-pixel byte is the mode on a Timepix and the THH bits on a Medipix2.
    const unsigned long count
        = static_cast<unsigned long>(width) * static_cast<unsigned long>(height);
    ov::DataBuff<unsigned char> bits(count);
    for (unsigned long i = 0; i < count; ++i)
        bits[i] = cfg->mode8(static_cast<unsigned>(i));
    showPixCfgBits(bits);
}

void DevCtrlMpx2::stepThhLine(bool column, unsigned index)
{
    ov::IMpxPixCfg* live = mpx2->pixCfg();
    ov::IMpxPixCfg* raw = mpx2->copyPixCfg();
    if (!live || !raw)
        return;
    std::unique_ptr<ov::IMpxPixCfg, void (*)(ov::IMpxPixCfg*)> copy(
        raw, [](ov::IMpxPixCfg* cfg) { cfg->releaseCopy(); });
    const unsigned width = static_cast<unsigned>(mpx2->width());
    const unsigned height = static_cast<unsigned>(mpx2->height());
    const unsigned length = column ? height : width;
    const uint8_t maximum = live->thhMax();
    for (unsigned i = 0; i < length; ++i) {
        const unsigned x = column ? index : i;
        const unsigned y = column ? i : index;
        const uint8_t value = copy->mode8(y * width + x);
        if (value < maximum)
            copy->setThhRange(x, y, 1, 1, static_cast<uint8_t>(value + 1));
    }
    mpx2->setPixCfg(copy.get());
}

int DevCtrlMpx2::togglePixCfg(unsigned x, unsigned y, PixelArea area, const QList<QRect>& rects)
{
    if (pixCfgType.load() != PixCfgFifth)
        return DevCtrlMpx::togglePixCfg(x, y, area, rects);
    // The mode of a Timepix pixel is not changed by clicking.
    if (mpx2->isTimepix())
        return 0;
    ov::IMpxPixCfg* pc = mpx2->pixCfg();
    if (!pc)
        return 0;
    if (area == AreaPixel) {
        const unsigned p = static_cast<unsigned>(mpx2->width()) * y + x;
        const uint8_t value = pc->mode8(p);
        if (value < pc->thhMax())
            pc->setThhRange(x, y, 1, 1, static_cast<uint8_t>(value + 1));
    } else if (area == AreaRow) {
        stepThhLine(false, y);
    } else if (area == AreaColumn) {
        stepThhLine(true, x);
    }
    return 0;
}

QString DevCtrlMpx2::onFrameTooltip(unsigned x, unsigned y, double value)
{
    const double mode = std::trunc(value);
    if (pixCfgType.load() == PixCfgFifth && mode >= 0.0 && mode <= 3.0 && mpx2->isTimepix()) {
        reportMouseAt(x, y, value);
        return QStringLiteral("[%1,%2]=%3")
            .arg(x)
            .arg(y)
            .arg(QString::fromLatin1(MODES[static_cast<int>(mode)]));
    }
    return DevCtrlMpx::onFrameTooltip(x, y, value);
}

// ---------------------------------------------------------------------------------
// Pixel configuration files

void DevCtrlMpx2::pixCfgFilters(QStringList* filters, QList<int>* formats) const
{
    *filters = {QStringLiteral("Binary Pixel Configuration (*.bpc)")};
    *formats = {ov::PixCfgBpc};
    switch (pixCfgType.load()) {
    case PixCfgMask:
        filters->append(QStringLiteral("Ascii Mask Matrix (*.txt)"));
        formats->append(ov::PixCfgMask);
        break;
    case PixCfgTest:
        filters->append(QStringLiteral("Ascii Test Bit Matrix (*.txt)"));
        formats->append(ov::PixCfgTest);
        break;
    case PixCfgThl:
        filters->append(QStringLiteral("Ascii THL adj. bits Matrix (*.txt)"));
        formats->append(ov::PixCfgThl);
        break;
    case PixCfgFifth:
        if (mpx2->isTimepix()) {
            filters->append(QStringLiteral("Ascii Timepix mode Matrix (*.txt)"));
            formats->append(ov::PixCfgMode);
        } else {
            filters->append(QStringLiteral("Ascii THH adj. bits Matrix (*.txt)"));
            formats->append(ov::PixCfgThh);
        }
        break;
    default:
        break;
    }
}

void DevCtrlMpx2::savePixCfg()
{
    QStringList filters;
    QList<int> formats;
    pixCfgFilters(&filters, &formats);
    pixCfgFile(true, filters, formats);
}

void DevCtrlMpx2::openPixCfg()
{
    QStringList filters;
    QList<int> formats;
    pixCfgFilters(&filters, &formats);
    const QString name = pixCfgFile(false, filters, formats);
    if (name.isEmpty())
        return;
    // The DACs saved beside the configuration, under its whole name with ".dacs" added.
    const QString dacsName = name + QStringLiteral(".dacs");
    if (!QFileInfo::exists(dacsName))
        return;
    if (ov::IMpxDacs* d = mpx2->dacs()) {
        ov::FilePath path(dacsName.toUtf8().constData());
        d->loadFromFile(path);
    }
}

} // namespace PluginDevControl
