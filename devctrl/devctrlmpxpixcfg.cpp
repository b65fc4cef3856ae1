// The detector controller's work on the pixel configuration and the DACs: toggling bits
// by clicking, masking and shifting threshold adjustments by the values of the frame on
// show, configuration files, and DAC writes that wait for the end of a frame.
#include "devctrlmpx.h"

#include "callbackrelay.h"

#include <qmyfiledialog.h>

#include <QProgressDialog>
#include <QStringList>

#include <memory>
#include <string>

namespace PluginDevControl {

namespace {

// A working copy of the device's configuration, given back to the device on every path.
using PixCfgCopy = std::shared_ptr<ov::IMpxPixCfg>;

PixCfgCopy copyPixCfgOf(ov::IDevMpx* dev)
{
    ov::IMpxPixCfg* copy = dev->copyPixCfg();
    if (!copy)
        return PixCfgCopy();
    return PixCfgCopy(copy, [](ov::IMpxPixCfg* cfg) { cfg->releaseCopy(); });
}

// Calls visit(pixel, value) for every pixel of frame, read in place as T.
template <typename T, typename Visit>
void visitPixelsAs(ov::IMpxFrame* frame, Visit&& visit)
{
    ov::RefDataBuff<T> pixels;
    if (frame->dataRef(&pixels) != 0 || !pixels.data())
        return;
    const T* data = pixels.data();
    const unsigned long count = pixels.size();
    for (unsigned long i = 0; i < count; ++i)
        visit(static_cast<unsigned>(i), static_cast<double>(data[i]));
}

// The same in the frame's own pixel type; frames of other types are not walked.
template <typename Visit>
void visitPixels(ov::IMpxFrame* frame, Visit&& visit)
{
    const int type = frame->dataType();
    if (type == ov::FrameInt16)
        visitPixelsAs<short>(frame, visit);
    else if (type == ov::FrameUInt32)
        visitPixelsAs<unsigned>(frame, visit);
    else if (type == ov::FrameDouble)
        visitPixelsAs<double>(frame, visit);
    else if (type == ov::FrameUInt64)
        visitPixelsAs<unsigned long>(frame, visit);
}

const QStringList& basePixCfgFilters()
{
    static const QStringList filters {QStringLiteral("Binary Pixel Configuration (*.bpc)"),
        QStringLiteral("Ascii Mask Matrix (*.txt)"),
        QStringLiteral("Ascii Test Bit Matrix (*.txt)"),
        QStringLiteral("Ascii THL adj. bits Matrix (*.txt)")};
    return filters;
}

const QList<int>& basePixCfgFormats()
{
    static const QList<int> formats {ov::PixCfgBpc, ov::PixCfgMask, ov::PixCfgTest, ov::PixCfgThl};
    return formats;
}

} // namespace

// ---------------------------------------------------------------------------------
// Bits by clicking and by value

int DevCtrlMpx::togglePixCfg(unsigned x, unsigned y, PixelArea area, const QList<QRect>&)
{
    ov::IMpxPixCfg* pc = m_dev->pixCfg();
    if (!pc)
        return 0;
    const unsigned p = static_cast<unsigned>(m_dev->width()) * y + x;
    switch (pixCfgType.load()) {
    case PixCfgNone: // a click on the real frame masks
    case PixCfgMask:
        if (area == AreaPixel)
            pc->setMaskBit(p, !pc->maskBit(p));
        else if (area == AreaRow)
            pc->setMaskRow(y, !pc->maskRow(y));
        else if (area == AreaColumn)
            pc->setMaskColumn(x, !pc->maskColumn(x));
        break;
    case PixCfgTest:
        if (area == AreaPixel)
            pc->setTestBit(p, !pc->testBit(p));
        else if (area == AreaRow)
            pc->setTestRow(y, !pc->testRow(y));
        else if (area == AreaColumn)
            pc->setTestColumn(x, !pc->testColumn(x));
        break;
    case PixCfgThl:
        if (area == AreaPixel) {
            const uint8_t value = pc->thl(p);
            if (value < pc->thlMax())
                pc->setThl(p, static_cast<uint8_t>(value + 1));
        } else if (area == AreaRow) {
            pc->stepThlRow(y, 1, 1);
        } else if (area == AreaColumn) {
            pc->stepThlColumn(x, 1, 1);
        }
        break;
    default:
        break;
    }
    return 0;
}

int DevCtrlMpx::maskRect(const QList<QRect>& rects, bool masked)
{
    ov::IMpxPixCfg* pc = m_dev->pixCfg();
    if (!pc)
        return 0;
    int sum = 0;
    for (const QRect& r : rects)
        sum += pc->setMaskBitRange(static_cast<unsigned>(r.left()), static_cast<unsigned>(r.top()),
            static_cast<unsigned>(r.right() - r.left() + 1),
            static_cast<unsigned>(r.bottom() - r.top() + 1), masked);
    return sum;
}

int DevCtrlMpx::maskByValue(double threshold, bool over)
{
    ov::RefData<ov::IMpxFrame> f = currentSubFrameOrFrame(true);
    if (!f)
        return -1;
    PixCfgCopy cfg = copyPixCfgOf(m_dev);
    if (!cfg)
        return -1;
    visitPixels(f.get(), [&](unsigned pixel, double value) {
        if (over ? value > threshold : value < threshold)
            cfg->setMaskBit(pixel, true);
    });
    // The whole copy in one call: one "PixCfgChanged", not one per pixel.
    m_dev->setPixCfg(cfg.get());
    return 0;
}

int DevCtrlMpx::maskOver(double threshold)
{
    return maskByValue(threshold, true);
}

int DevCtrlMpx::maskUnder(double threshold)
{
    return maskByValue(threshold, false);
}

template <typename T>
void DevCtrlMpx::shiftThlAdj(
    ov::IMpxFrame* frame, ov::IMpxPixCfg* cfg, double threshold, bool over, int step)
{
    ov::IMpxPixCfg* live = m_dev->pixCfg();
    const int maxAdj = live ? live->thlMax() : cfg->thlMax();
    visitPixelsAs<T>(frame, [&](unsigned pixel, double value) {
        if (over ? !(value > threshold) : !(value < threshold))
            return;
        const int adjusted = cfg->thl(pixel) + step;
        // An adjustment without room left cannot move the pixel: it is masked instead.
        if (adjusted < 0 || adjusted > maxAdj)
            cfg->setMaskBit(pixel, true);
        else
            cfg->setThl(pixel, static_cast<uint8_t>(adjusted));
    });
}

int DevCtrlMpx::shiftThlOfFrame(ov::IMpxFrame* frame, double threshold, bool over, int step)
{
    if (!frame)
        return -1;
    PixCfgCopy cfg = copyPixCfgOf(m_dev);
    if (!cfg)
        return -1;
    const int type = frame->dataType();
    if (type == ov::FrameInt16)
        shiftThlAdj<short>(frame, cfg.get(), threshold, over, step);
    else if (type == ov::FrameUInt32)
        shiftThlAdj<unsigned>(frame, cfg.get(), threshold, over, step);
    else if (type == ov::FrameDouble)
        shiftThlAdj<double>(frame, cfg.get(), threshold, over, step);
    else if (type == ov::FrameUInt64)
        shiftThlAdj<unsigned long>(frame, cfg.get(), threshold, over, step);
    m_dev->setPixCfg(cfg.get());
    return 0;
}

int DevCtrlMpx::shiftThlByValue(double threshold, bool over)
{
    ov::RefData<ov::IMpxFrame> f = currentSubFrameOrFrame(true);
    return shiftThlOfFrame(f.get(), threshold, over, over ? -1 : 1);
}

int DevCtrlMpx::shiftThlOver(double threshold, int)
{
    return shiftThlByValue(threshold, true);
}

int DevCtrlMpx::shiftThlUnder(double threshold, int)
{
    return shiftThlByValue(threshold, false);
}

// ---------------------------------------------------------------------------------
// Files

QString DevCtrlMpx::pixCfgFile(bool save, const QStringList& filters, const QList<int>& formats)
{
    QString selected;
    const QString joined = filters.join(QStringLiteral(";;"));
    const QString name = save
        ? QMyFileDialog::getSaveFileName(nullptr, QStringLiteral("Save Pixel Configuration"),
            QStringLiteral("::devctrl/savepixcfg"), joined, &selected)
        : QMyFileDialog::getOpenFileName(nullptr, QStringLiteral("Open Pixel Configuration"),
            QStringLiteral("::devctrl/openpixcfg"), joined, &selected);
    if (name.isEmpty())
        return name;
    const qsizetype index = filters.indexOf(selected);
    const int format = index >= 0 && index < formats.size() ? formats.at(index) : formats.value(0);
    if (ov::IMpxPixCfg* cfg = m_dev->pixCfg()) {
        ov::FilePath path(name.toUtf8().constData());
        if (save)
            cfg->saveToFile(path, format);
        else
            cfg->loadFromFile(path, format);
    }
    return name;
}

void DevCtrlMpx::openPixCfg()
{
    pixCfgFile(false, basePixCfgFilters(), basePixCfgFormats());
}

void DevCtrlMpx::savePixCfg()
{
    pixCfgFile(true, basePixCfgFilters(), basePixCfgFormats());
}

void DevCtrlMpx::loadConfig(const char* path)
{
    ov::FilePath file(path);
    m_dev->loadConfigFile(&file);
}

void DevCtrlMpx::saveConfig(const char* path)
{
    ov::FilePath file(path);
    m_dev->saveConfigFile(&file);
}

void DevCtrlMpx::loadFactoryCfg()
{
    delete progressDialog;
    progressDialog
        = new QProgressDialog(QStringLiteral("Loading factory config..."), QString(), 0, 1);
    progressDialog->setWindowModality(Qt::ApplicationModal);
    progressDialog->setCancelButton(nullptr);
    progressDialog->setMinimumDuration(1000);
    progressDialog->show();

    ov::IDev* device = m_dev;
    startDetached([relay = eventRelay, device] {
        const int result = device->loadFactoryConfig();
        // Through the relay: a closing page waits for this thread but takes no more
        // signals.
        relay->with<DevCtrlMpx>([result](DevCtrlMpx* c) {
            emit c->sigProgressDialogFinished(
                result, QStringLiteral("Factory configuration not found."));
        });
    });
}

// ---------------------------------------------------------------------------------
// DACs

void DevCtrlMpx::setDacValue(int dac, int chip, int value, bool deferred)
{
    if (!isAcqRunning() && !deferred) {
        if (m_dev->isLocked())
            return;
        if (ov::IMpxDacs* d = m_dev->dacs())
            d->setDacValue(dac, chip, value);
        return;
    }
    std::lock_guard<std::mutex> lock(pendingDacsMutex);
    pendingDacs.emplace_back(dac, chip, value);
}

void DevCtrlMpx::setDacValuesToDevice()
{
    if (isAcqRunning())
        return;
    setAcqFinishedDacValues();
}

void DevCtrlMpx::setAcqFinishedDacValues()
{
    std::unique_lock<std::mutex> lock(pendingDacsMutex);
    if (pendingDacs.empty())
        return;
    // A locked device keeps the writes for a later frame.
    if (m_dev->isLocked())
        return;
    std::unique_ptr<ov::IMpxDacs, void (*)(ov::IMpxDacs*)> d(
        m_dev->dacsCopy(), [](ov::IMpxDacs* copy) { copy->release(); });
    if (!d)
        return;
    for (const auto& [dac, chip, value] : pendingDacs)
        d->setDacValue(dac, chip, value);
    pendingDacs.clear();
    // The device may raise "DacsChanged" on this thread, and its handlers may queue new
    // writes: the list is free again before the chips are written.
    lock.unlock();
    // One table: the chips are written once, between two frames.
    m_dev->setDacs(d.get());
}

} // namespace PluginDevControl
