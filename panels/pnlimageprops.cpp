#include "pnlimageprops.h"

#include "decimaltextvalidator.h"
#include "devctrlmpx.h"
#include "qrangemgr.h"
#include "ui_pnlimageprops.h"

#include <qmpxframe.h>

#include <QAbstractSlider>
#include <QKeyEvent>
#include <QMetaObject>
#include <QSignalBlocker>
#include <QThread>

#include <algorithm>
#include <cmath>

namespace PluginDevControl {

namespace {

// Data object types of Timepix3 pixel-mode measurements.
constexpr int kTpx3PixelData = 3;
constexpr int kTpx3ClusterData = 6;

// Sampling of the smart range: fractiles and sample count, and the spare room of its
// buffer.
constexpr double kSmartLow = 0.01;
constexpr double kSmartHigh = 0.99;
constexpr int kSmartSamples = 1000;
constexpr int kSmartBufferSpare = 100;
// Histogram bins of the fractile modes, and the unit of the margin below the smallest
// non-zero value (1/256 of the span per unit of the factor).
constexpr int kFractileBins = 256;
constexpr double kMarginUnit = 0.00390625;

// The Timepix3 controller offers the time window through two invokable operations;
// a controller without them has no time window.
bool offersTimeWindow(const QObject* ctrl)
{
    if (!ctrl)
        return false;
    const QMetaObject* meta = ctrl->metaObject();
    return meta->indexOfMethod("setFrameType(int)") >= 0
        && meta->indexOfMethod("setFadeWindowSize(double)") >= 0;
}

// Minimum and maximum for the margin modes: the maximum, and the smallest non-zero
// value lowered by factor/256 of the span to it; not below 0 for non-negative frames.
// regionMin and regionMax are the frame's minimum and maximum over region.
void marginRange(ov::IMpxFrame* frame, const ov::Region* region, double factor, double regionMin,
    double regionMax, double* min, double* max)
{
    const double top = regionMax;
    const double nonZero = frame->minNonZero(region);
    double low = nonZero - (top - nonZero) * kMarginUnit * factor;
    if (regionMin >= 0.0 && low < 0.0)
        low = 0.0;
    *min = low;
    *max = top;
}

// Whether the statistics of region are those of the whole frame: no rectangle, or one
// that covers every pixel.
bool coversFrame(const ov::Region* region, ov::IMpxFrame* frame)
{
    if (!region || region->count == 0 || !region->rects)
        return true;
    if (region->count != 1)
        return false;
    const ov::RegionRect& r = region->rects[0];
    return r.x <= 0 && r.y <= 0
        && static_cast<long long>(r.x) + r.width >= static_cast<long long>(frame->width())
        && static_cast<long long>(r.y) + r.height >= static_cast<long long>(frame->height());
}

// The pixels of a frame as T: the frame's own memory when it lends it, else a copy.
template <typename T>
class FramePixels
{
public:
    FramePixels(ov::IMpxFrame* frame, int dataType)
    {
        const unsigned long count = frame->pixelCount();
        if (frame->dataRef(&view, 0) == 0 && view.data() && view.size() == count) {
            pixels = view.data();
            return;
        }
        if (frame->getData(&copy, dataType) == 0 && copy.size() == count)
            pixels = copy.data();
    }
    const T* data() const { return pixels; }

private:
    ov::RefDataBuff<T> view;
    ov::DataBuff<T> copy;
    const T* pixels = nullptr;
};

} // namespace

PnlImageProps::PnlImageProps(QWidget* parent, QMpxFrame* frame, DevCtrlMpx* controller)
    : QWidget(parent), ui(new Ui_PnlImageProps), ctrl(controller)
{
    ui->setupUi(this);
    // The panel keeps its natural height; the settings column gives the rest away.
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    ui->lImageProperties->setText(" Image Properties");
    QFont headFont = ui->lImageProperties->label->font();
    headFont.setBold(true);
    ui->lImageProperties->label->setFont(headFont);
    connect(ui->lImageProperties, &QLabelWithIcon::openStateChanged, ui->pnlImageProperties,
        &QWidget::setVisible);

    // A point or a comma for the decimals, whatever the system's locale.
    ui->edTime->setValidator(new DecimalTextValidator(0.0, 1e+30, 5, ui->edTime));
    ui->edTime->setMaximumWidth(80);
    ui->edTime->installEventFilter(this);

    if (offersTimeWindow(ctrl))
        ctrlTpx3 = ctrl;

    rangeMgr = new QRangeMgr(ui->edMin, ui->edMax, ui->slMin, ui->slMax, frame, this);
    connect(rangeMgr, &QRangeMgr::rangeChanged, this, &PnlImageProps::rangeChanged);
    // Taking over the range by hand ends the automatic range.
    connect(ui->edMin, &QFocusLineEdit::focused, this, &PnlImageProps::onRangeEditFocused);
    connect(ui->edMax, &QFocusLineEdit::focused, this, &PnlImageProps::onRangeEditFocused);
    connect(
        ui->slMin, &QAbstractSlider::actionTriggered, this, &PnlImageProps::onRangeSliderAction);
    connect(
        ui->slMax, &QAbstractSlider::actionTriggered, this, &PnlImageProps::onRangeSliderAction);
    connect(this, &PnlImageProps::sigAcqDataUpdate, this, &PnlImageProps::onAcqDataUpdate);

    showTimeWindowPanel(false, true);

    // The range saved by the controller, on sliders from 0 to its maximum.
    const double savedMin = ctrl ? ctrl->frameMinRange() : 0.0;
    const double savedMax = ctrl ? ctrl->frameMaxRange() : 1.0;
    setMinMax(0.0, savedMax);
    rangeMgr->setMinMax(savedMin, savedMax, false);
}

PnlImageProps::~PnlImageProps()
{
    // The fields may still report a focus change while the children go.
    disconnect(ui->edMin, nullptr, this, nullptr);
    disconnect(ui->edMax, nullptr, this, nullptr);
    delete ui;
}

void PnlImageProps::onFrameChanged(ov::IMpxFrame* frame, const ov::Region* region)
{
    curFrame.reset(frame);
    if (region) {
        curRegionRects.assign(region->rects, region->rects + (region->rects ? region->count : 0));
        curRegionStore.rects = curRegionRects.empty() ? nullptr : curRegionRects.data();
        curRegionStore.count = static_cast<unsigned>(curRegionRects.size());
        curRegion = &curRegionStore;
    } else {
        curRegionRects.clear();
        curRegionStore = ov::Region();
        curRegion = nullptr;
    }
    if (!frame)
        return;
    curFrameMin = frame->minValue(nullptr);
    curFrameMax = frame->maxValue(nullptr);
    setMinMax(curFrameMin, curFrameMax);
    setAutoRange(curFrame.get(), curRegion);
}

void PnlImageProps::setAutoRange(ov::IMpxFrame* frame, const ov::Region* region)
{
    if (!ui->chbAutoRange->isChecked() || !frame)
        return;
    // The minimum and maximum over the region. Each is a pass over the pixels in the
    // host, so for the frame on show with a region of the whole frame (what the
    // controller hands over without a selection) those read in onFrameChanged serve.
    const bool known = frame == curFrame.get() && coversFrame(region, frame);
    auto regionMin = [&] { return known ? curFrameMin : frame->minValue(region); };
    auto regionMax = [&] { return known ? curFrameMax : frame->maxValue(region); };
    double min = 0.0;
    double max = 1.0;
    switch (ui->cmAutorange->currentIndex()) {
    case AutoMinMax:
        if (region) {
            min = regionMin();
            max = regionMax();
        } else {
            min = rangeMgr->absMin;
            max = rangeMgr->absMax;
        }
        break;
    case AutoMinMaxNonZero:
        marginRange(frame, region, 1.0, regionMin(), regionMax(), &min, &max);
        break;
    case AutoMinMaxNonZeroMargin:
        marginRange(frame, region, 20.0, regionMin(), regionMax(), &min, &max);
        break;
    case AutoFractile001:
        min = frame->fractile(0.001, kFractileBins, region);
        max = frame->fractile(0.999, kFractileBins, region);
        break;
    case AutoFractile005:
        min = frame->fractile(0.005, kFractileBins, region);
        max = frame->fractile(0.995, kFractileBins, region);
        break;
    case AutoFractile01:
        min = frame->fractile(0.01, kFractileBins, region);
        max = frame->fractile(0.99, kFractileBins, region);
        break;
    case AutoFractile05:
        min = frame->fractile(0.05, kFractileBins, region);
        max = frame->fractile(0.95, kFractileBins, region);
        break;
    case AutoSmart:
        calculateSmartRange(frame, kSmartLow, kSmartHigh, kSmartSamples, region, &min, &max);
        break;
    default:
        return;
    }
    rangeMgr->setMinMax(min, max, false);
}

void PnlImageProps::calculateSmartRange(ov::IMpxFrame* frame, double low, double high,
    int maxSamples, const ov::Region* region, double* min, double* max)
{
    if (!frame || maxSamples < 0)
        return;
    const std::size_t needed = static_cast<std::size_t>(maxSamples) + kSmartBufferSpare;
    if (!smartBuffer || smartBufferCapacityCount < needed) {
        smartBuffer.reset(new double[needed]);
        smartBufferCapacityCount = needed;
    }
    switch (frame->dataType()) {
    case ov::FrameInt16:
        calculateSmartRangeT<short>(frame, maxSamples, region, low, high, min, max);
        break;
    case ov::FrameUInt32:
        calculateSmartRangeT<unsigned int>(frame, maxSamples, region, low, high, min, max);
        break;
    case ov::FrameUInt64:
        calculateSmartRangeT<unsigned long>(frame, maxSamples, region, low, high, min, max);
        break;
    case ov::FrameDouble:
        calculateSmartRangeT<double>(frame, maxSamples, region, low, high, min, max);
        break;
    default:
        break;
    }
}

template <typename T>
void PnlImageProps::calculateSmartRangeT(ov::IMpxFrame* frame, int maxSamples,
    const ov::Region* region, double low, double high, double* min, double* max)
{
    double* samples = smartBuffer.get();
    const std::size_t limit = static_cast<std::size_t>(maxSamples);
    std::size_t n = 0;
    const std::size_t width = frame->width();
    const std::size_t height = frame->height();
    const std::size_t pixelCount = width * height;

    const FramePixels<T> source(frame, frame->dataType());
    const T* pixels = source.data();
    if (!pixels && pixelCount > 0) {
        // The frame did not hand out its pixels: nothing to sample.
        *min = 0.0;
        *max = 1.0;
        smartBufferUsedCount = 0;
        return;
    }

    if (!region || region->count == 0 || !region->rects) {
        // Every stride-th pixel of the frame, so that at most maxSamples are visited.
        std::size_t stride = 1;
        if (limit > 0 && pixelCount >= limit)
            stride = (pixelCount + limit - 1) / limit;
        for (std::size_t i = 0; i < pixelCount && n < limit; i += stride) {
            const T v = pixels[i];
            if (v != T(0))
                samples[n++] = static_cast<double>(v);
        }
    } else {
        // The rectangle inside the frame; each of its rows is walked from the left edge.
        const ov::RegionRect& r = region->rects[0];
        const long long left = std::max<long long>(r.x, 0);
        const long long top = std::max<long long>(r.y, 0);
        const long long right = std::min<long long>(
            static_cast<long long>(r.x) + r.width, static_cast<long long>(width));
        const long long bottom = std::min<long long>(
            static_cast<long long>(r.y) + r.height, static_cast<long long>(height));
        if (right <= left || bottom <= top) {
            *min = 0.0;
            *max = 1.0;
            smartBufferUsedCount = 0;
            return;
        }
        const std::size_t regionWidth = static_cast<std::size_t>(right - left);
        const std::size_t regionPixels = regionWidth * static_cast<std::size_t>(bottom - top);
        std::size_t stride = 1;
        if (limit > 0 && regionPixels >= limit)
            stride = std::max<std::size_t>(regionPixels / limit, 1);
        for (long long y = top; y < bottom && n < limit; ++y) {
            const T* row = pixels + static_cast<std::size_t>(y) * width + left;
            for (std::size_t x = 0; x < regionWidth && n < limit; x += stride) {
                const T v = row[x];
                if (v != T(0))
                    samples[n++] = static_cast<double>(v);
            }
        }
    }

    smartBufferUsedCount = n;
    if (n == 0) {
        *min = 0.0;
        *max = 1.0;
        return;
    }
    if (n == 1) {
        *min = 0.0;
        *max = samples[0];
        return;
    }
    std::sort(samples, samples + n);
    auto at = [&](double fraction) {
        const double pos = std::trunc(fraction * static_cast<double>(n - 1));
        const double clamped = std::clamp(pos, 0.0, static_cast<double>(n - 1));
        return samples[static_cast<std::size_t>(clamped)];
    };
    *min = at(low);
    *max = at(high);
}

void PnlImageProps::setRange(double min, double max)
{
    rangeMgr->setMinMax(min, max, false);
}

void PnlImageProps::setMinMax(double min, double max)
{
    rangeMgr->absMin = min;
    rangeMgr->absMax = max;
    rangeMgr->stepSize = (max - min) / rangeMgr->sliderSteps;
}

double PnlImageProps::min() const
{
    return rangeMgr->curMin;
}

double PnlImageProps::max() const
{
    return rangeMgr->curMax;
}

void PnlImageProps::setWindowAll(bool all)
{
    ui->chbAll->setChecked(all);
}

QComboBox* PnlImageProps::autoRangeCombo() const
{
    return ui->cmAutorange;
}

QCheckBox* PnlImageProps::autoRangeCheckBox() const
{
    return ui->chbAutoRange;
}

void PnlImageProps::enableGui(bool enabled, bool running)
{
    ui->wTimeWindows->setEnabled(enabled || running);
}

void PnlImageProps::showTimeWindowPanel(bool show, bool force)
{
    if (timeWindowVisible && !show && !force)
        return;
    timeWindowVisible = show;
    ui->wTimeWindows->setVisible(show);
}

void PnlImageProps::onAcqDataChanged(ov::IData* acqData)
{
    if (!ctrlTpx3)
        return;
    bool pixels = false;
    {
        std::lock_guard<std::mutex> lock(mutex);
        curData.reset(acqData);
        if (acqData) {
            const int kind = acqData->dataKind();
            pixels = kind == kTpx3PixelData || kind == kTpx3ClusterData;
        }
        // Set with the data it describes, so that two callers cannot leave them apart.
        acqDataIsPixels.store(pixels);
    }
    if (QThread::currentThread() == thread())
        onAcqDataUpdate();
    else
        emit sigAcqDataUpdate();
}

void PnlImageProps::onAcqDataUpdate()
{
    showTimeWindowPanel(acqDataIsPixels.load(), false);
    showDataTimeWindow(false);
}

void PnlImageProps::showDataTimeWindow(bool evenWhileTyping)
{
    ov::RefData<ov::IData> onShow;
    {
        std::lock_guard<std::mutex> lock(mutex);
        onShow = curData;
    }
    auto* tpx3 = dynamic_cast<ov::ITpx3Data*>(onShow.get());
    if (!tpx3)
        return;
    {
        // Showing the data's state is no choice of the user's to hand back.
        const QSignalBlocker block(ui->chbAll);
        ui->chbAll->setChecked(tpx3->frameType() == ov::Tpx3FrameIntegral);
    }
    shownTimeText = QString::number(tpx3->fadeWindowSize(), 'g', 6);
    if (evenWhileTyping || !ui->edTime->hasFocus())
        ui->edTime->setText(shownTimeText);
}

void PnlImageProps::restoreTimeText()
{
    ui->edTime->setText(shownTimeText);
}

bool PnlImageProps::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == ui->edTime && !ui->edTime->hasAcceptableInput()) {
        if (event->type() == QEvent::FocusOut)
            restoreTimeText();
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent*>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                // The time in effect stays; nothing new is applied.
                restoreTimeText();
                return true;
            }
        }
    }
    return QWidget::eventFilter(watched, event);
}

void PnlImageProps::onExit()
{
    if (ctrl)
        ctrl->setFrameRange(rangeMgr->curMin, rangeMgr->curMax);
}

void PnlImageProps::on_cmAutorange_currentIndexChanged(int)
{
    if (curFrame)
        setAutoRange(curFrame.get(), curRegion);
}

void PnlImageProps::on_chbAutoRange_toggled(bool)
{
    if (curFrame)
        setAutoRange(curFrame.get(), curRegion);
}

void PnlImageProps::on_chbAll_toggled(bool checked)
{
    // Integral shows all pixels of the data (type 0); otherwise the time window (1).
    if (ctrlTpx3)
        QMetaObject::invokeMethod(
            ctrlTpx3, "setFrameType", Qt::DirectConnection, Q_ARG(int, checked ? 0 : 1));
}

void PnlImageProps::on_edTime_editingFinished()
{
    if (!ctrlTpx3)
        return;
    const auto* validator = static_cast<const DecimalTextValidator*>(ui->edTime->validator());
    const std::optional<double> seconds = validator->valueOf(ui->edTime->text());
    if (!seconds) {
        restoreTimeText();
        return;
    }
    shownTimeText = ui->edTime->text();
    QMetaObject::invokeMethod(
        ctrlTpx3, "setFadeWindowSize", Qt::DirectConnection, Q_ARG(double, *seconds));
    // What the data took: a time it refused leaves the one in effect on show.
    showDataTimeWindow(true);
}

void PnlImageProps::onRangeEditFocused(bool hasFocus)
{
    if (hasFocus)
        ui->chbAutoRange->setChecked(false);
}

void PnlImageProps::onRangeSliderAction(int action)
{
    if (action != QAbstractSlider::SliderNoAction)
        ui->chbAutoRange->setChecked(false);
}

} // namespace PluginDevControl
