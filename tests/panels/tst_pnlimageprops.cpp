// The image properties panel: its form, the eight automatic ranges on frames of every
// pixel type with and without a region, typing and sliding by hand, the Timepix3 time
// window, and the hand-over from the controller.
#include "panelpage.h"
#include "pnlimageprops.h"
#include "qrangemgr.h"
#include "rangetestframes.h"
#include "tpx3fakes.h"
#include "typeinto.h"

#include <simdata.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleValidator>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>

#include <qlabelwithicon.h>

#include <algorithm>
#include <cmath>
#include <tuple>

using PluginDevControl::PnlImageProps;
using PluginDevControl::QRangeMgr;
using namespace rangetest;

namespace {

using PropsPage = paneltest::Page<PnlImageProps>;
using Tpx3Page = paneltest::Page<PnlImageProps, paneltest::TimeWindowCtrl>;

struct Controls
{
    QLabelWithIcon* head;
    QWidget* body;
    QWidget* top;
    QLineEdit* edMin;
    QLineEdit* edMax;
    QSlider* slMin;
    QSlider* slMax;
    QCheckBox* chbAutoRange;
    QComboBox* cmAutorange;
    QWidget* wTimeWindows;
    QLineEdit* edTime;
    QCheckBox* chbAll;
};

Controls controls(QWidget* panel)
{
    return {panel->findChild<QLabelWithIcon*>("lImageProperties"),
        panel->findChild<QWidget*>("pnlImageProperties"), panel->findChild<QWidget*>("pnlTop"),
        panel->findChild<QLineEdit*>("edMin"), panel->findChild<QLineEdit*>("edMax"),
        panel->findChild<QSlider*>("slMin"), panel->findChild<QSlider*>("slMax"),
        panel->findChild<QCheckBox*>("chbAutoRange"), panel->findChild<QComboBox*>("cmAutorange"),
        panel->findChild<QWidget*>("wTimeWindows"), panel->findChild<QLineEdit*>("edTime"),
        panel->findChild<QCheckBox*>("chbAll")};
}

// Shows the panel and waits until it can take the keyboard focus.
bool showActive(QWidget* panel)
{
    panel->show();
    return QTest::qWaitForWindowActive(panel);
}

// Turns automatic range on with a click and picks the mode.
void autoOn(const Controls& c, int mode)
{
    c.cmAutorange->setCurrentIndex(mode);
    if (!c.chbAutoRange->isChecked())
        QTest::mouseClick(
            c.chbAutoRange, Qt::LeftButton, {}, QPoint(4, c.chbAutoRange->height() / 2));
}

// A frame that reports fixed statistics and records what it is asked.
class ProbeFrame final : public testdev::NullMpxFrame
{
public:
    struct FractileCall
    {
        double q;
        int bins;
        const ov::Region* region;
        std::vector<ov::RegionRect> rects;
    };

    int incRef() override { return ++refs; }
    int decRef() override { return --refs; }
    uint8_t dataType() const override { return type; }
    unsigned width() const override { return 4; }
    unsigned height() const override { return 4; }
    size_t pixelCount() const override { return 16; }
    double minValue(const ov::Region* r) override { return record(r), low; }
    double maxValue(const ov::Region* r) override { return record(r), high; }
    double minNonZero(const ov::Region* r) override { return record(r), nonZero; }
    double fractile(double q, int bins, const ov::Region* r) override
    {
        FractileCall call {q, bins, r, {}};
        if (r && r->rects)
            call.rects.assign(r->rects, r->rects + r->count);
        fractiles.push_back(call);
        return 1000.0 * q;
    }

    void record(const ov::Region* r) { regions.push_back(r); }

    int refs = 1;
    uint8_t type = ov::FrameDouble;
    double low = -3.0;
    double high = 40.0;
    double nonZero = 2.0;
    std::vector<FractileCall> fractiles;
    std::vector<const ov::Region*> regions;
};

} // namespace

class TstPnlImageProps : public QObject
{
    Q_OBJECT

private slots:
    void form()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        QVERIFY(c.head && c.body && c.top && c.edMin && c.edMax && c.slMin && c.slMax);
        QVERIFY(c.chbAutoRange && c.cmAutorange && c.wTimeWindows && c.edTime && c.chbAll);
        QCOMPARE(c.head->text(), QString(" Image Properties"));
        QCOMPARE(c.chbAutoRange->text(), QString("Auto range:"));
        QCOMPARE(c.chbAll->text(), QString("Integral"));
        QStringList labels;
        for (QLabel* l : page.panel->findChildren<QLabel*>())
            labels << l->text();
        QVERIFY(labels.contains("Min:"));
        QVERIFY(labels.contains("Max:"));
        QVERIFY(labels.contains("Time [s]:"));
        QStringList items;
        for (int i = 0; i < c.cmAutorange->count(); ++i)
            items << c.cmAutorange->itemText(i);
        QCOMPARE(items,
            (QStringList {"Min-Max", "Min-Max Non Zero", "Min-Max Non Zero Margin",
                "0.001 - 0.999 fractile", "0.005 - 0.995 fractile", "0.01 - 0.99 fractile",
                "0.05 - 0.95 fractile", "Smart"}));
        auto* validator = qobject_cast<const QDoubleValidator*>(c.edTime->validator());
        QVERIFY(validator);
        QCOMPARE(validator->bottom(), 0.0);
        QCOMPARE(validator->top(), 1e+30);
        QCOMPARE(validator->decimals(), 5);
        QCOMPARE(c.edTime->maximumWidth(), 80);
        QCOMPARE(c.slMin->maximum(), 1000);
        QCOMPARE(c.slMax->maximum(), 1000);
        // Automatic range starts on, so that a new page follows its data.
        QVERIFY(c.chbAutoRange->isChecked());
        // The time window starts hidden; a plain controller has none.
        QVERIFY(c.wTimeWindows->isHidden());
        QCOMPARE(page.panel->timepix3Controller(), nullptr);
        QCOMPARE(page.panel->autoRangeCombo(), c.cmAutorange);
        QCOMPARE(page.panel->autoRangeCheckBox(), c.chbAutoRange);
    }

    void headCollapsesBody()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        page.panel->show();
        QVERIFY(c.body->isVisible());
        QTest::mouseClick(c.head, Qt::LeftButton, {}, QPoint(2, 2));
        QVERIFY(!c.head->isOpen());
        QVERIFY(!c.body->isVisible());
        QTest::mouseClick(c.head, Qt::LeftButton, {}, QPoint(2, 2));
        QVERIFY(c.body->isVisible());
    }

    // The controller's stored range is shown at once, on sliders from 0 to its maximum,
    // and goes back to the controller on exit.
    void savedRangeRoundTrip()
    {
        PropsPage page(20.0, 500.0);
        const Controls c = controls(page.panel.get());
        QCOMPARE(page.panel->min(), 20.0);
        QCOMPARE(page.panel->max(), 500.0);
        QCOMPARE(page.panel->rangeManager()->absMin, 0.0);
        QCOMPARE(page.panel->rangeManager()->absMax, 500.0);
        QCOMPARE(page.panel->rangeManager()->stepSize, 0.5);
        QCOMPARE(page.frame.image->rangeMin, 20.0);
        QCOMPARE(page.frame.image->rangeMax, 500.0);
        QCOMPARE(c.edMin->text(), QString("20"));
        QCOMPARE(c.slMin->value(), 40);
        QCOMPARE(c.slMax->value(), 1000);

        page.panel->setRange(-4.5, 77.0);
        page.panel->onExit();
        QCOMPARE(page.ctrl->frameMinRange(), -4.5);
        QCOMPARE(page.ctrl->frameMaxRange(), 77.0);
    }

    // setMinMax only moves the span of the sliders.
    void setMinMaxLeavesPicture()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        page.panel->setRange(2.0, 4.0);
        QSignalSpy spy(page.panel.get(), &PnlImageProps::rangeChanged);
        const int before = c.slMax->value();
        page.panel->setMinMax(-10.0, 90.0);
        QCOMPARE(page.panel->rangeManager()->absMin, -10.0);
        QCOMPARE(page.panel->rangeManager()->absMax, 90.0);
        QCOMPARE(page.panel->rangeManager()->stepSize, 0.1);
        QCOMPARE(c.slMax->value(), before);
        QCOMPARE(spy.count(), 0);
        QCOMPARE(page.frame.image->rangeMin, 2.0);
        QCOMPARE(page.frame.image->rangeMax, 4.0);
    }

    // Edge case: the range 5 to 5 is shown as 5 to 6 and kept as 5 to 5.
    void equalRangeShownOneWide()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        QSignalSpy spy(page.panel.get(), &PnlImageProps::rangeChanged);
        page.panel->setRange(5.0, 5.0);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toDouble(), 5.0);
        QCOMPARE(spy.at(0).at(1).toDouble(), 6.0);
        QCOMPARE(page.frame.image->rangeMin, 5.0);
        QCOMPARE(page.frame.image->rangeMax, 6.0);
        QCOMPARE(page.panel->min(), 5.0);
        QCOMPARE(page.panel->max(), 5.0);
        QCOMPARE(c.edMin->text(), QString("5"));
        QCOMPARE(c.edMax->text(), QString("5"));
    }

    void autoModes_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("mode");
        // No region, a part of the frame, and a region covering all of it (what the
        // controller passes when nothing is selected).
        QTest::addColumn<int>("regionKind");
        const char* const kinds[] = {"whole", "region", "full region"};
        for (int type : {2, 5, 7, 9})
            for (int mode = 0; mode < 8; ++mode)
                for (int kind = 0; kind < 3; ++kind)
                    QTest::addRow("type %d mode %d %s", type, mode, kinds[kind])
                        << type << mode << kind;
    }

    // Each mode on a 100 x 80 frame of known values; the region is 70 x 60 at (10, 5),
    // enough pixels for a sampling stride of 4 in the smart range.
    void autoModes()
    {
        QFETCH(int, type);
        QFETCH(int, mode);
        QFETCH(int, regionKind);
        const bool withRegion = regionKind != 0;
        const unsigned w = 100;
        const unsigned h = 80;
        const std::vector<double> values = patternValues(type, w, h);
        const QRect rect = regionKind == 1 ? QRect(10, 5, 70, 60)
            : regionKind == 2              ? QRect(0, 0, int(w), int(h))
                                           : QRect();
        const std::vector<std::size_t> whole = indicesOf(w, h, QRect());
        const std::vector<std::size_t> inside = indicesOf(w, h, rect);
        FrameRef frame(makeFrame(type, w, h, values));
        const OneRect one(withRegion ? rect : QRect(0, 0, 1, 1));
        const ov::Region region = one.region();
        const ov::Region* regionArg = withRegion ? &region : nullptr;

        Range expected {0.0, 1.0};
        const double fractiles[4][2] = {{0.001, 0.999}, {0.005, 0.995}, {0.01, 0.99}, {0.05, 0.95}};
        switch (mode) {
        case 0:
            expected = minMaxOf(values, inside);
            break;
        case 1:
            expected = marginOf(values, inside, 1.0);
            break;
        case 2:
            expected = marginOf(values, inside, 20.0);
            break;
        case 7:
            expected = smartOf(values, w, h, rect);
            break;
        default: {
            // The host's fractiles over the same pixels, at the mode's fractions.
            const double* q = fractiles[mode - 3];
            expected
                = {frame->fractile(q[0], 256, regionArg), frame->fractile(q[1], 256, regionArg)};
            // And they lie within two histogram bins of the exact order statistics.
            std::vector<double> sorted;
            for (std::size_t i : inside)
                sorted.push_back(values[i]);
            std::sort(sorted.begin(), sorted.end());
            const Range span = minMaxOf(values, inside);
            const double bin = (span.max - span.min) / 256.0;
            const double exactLow = sorted[std::size_t(q[0] * double(sorted.size() - 1))];
            const double exactHigh = sorted[std::size_t(q[1] * double(sorted.size() - 1))];
            QVERIFY2(std::abs(expected.min - exactLow) <= 2 * bin,
                qPrintable(QString::number(exactLow)));
            QVERIFY2(std::abs(expected.max - exactHigh) <= 2 * bin,
                qPrintable(QString::number(exactHigh)));
            break;
        }
        }
        QVERIFY(expected.min < expected.max);

        PropsPage page;
        const Controls c = controls(page.panel.get());
        page.panel->show();
        autoOn(c, mode);
        QVERIFY(c.chbAutoRange->isChecked());
        QSignalSpy spy(page.panel.get(), &PnlImageProps::rangeChanged);
        page.panel->onFrameChanged(frame.get(), regionArg);

        QCOMPARE(page.panel->min(), expected.min);
        QCOMPARE(page.panel->max(), expected.max);
        QCOMPARE(page.frame.image->rangeMin, expected.min);
        QCOMPARE(page.frame.image->rangeMax, expected.max);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toDouble(), expected.min);
        QCOMPARE(spy.at(0).at(1).toDouble(), expected.max);
        QCOMPARE(c.edMin->text(), QRangeMgr::doubleToStringNice(expected.min));
        QCOMPARE(c.edMax->text(), QRangeMgr::doubleToStringNice(expected.max));
        // The sliders span the whole frame, whatever the region.
        const Range all = minMaxOf(values, whole);
        QCOMPARE(page.panel->rangeManager()->absMin, all.min);
        QCOMPARE(page.panel->rangeManager()->absMax, all.max);
        const double step = (all.max - all.min) / 1000.0;
        // Whole steps above the frame's minimum, held inside the slider (the margin
        // modes can go below the minimum).
        auto position
            = [&](double v) { return std::clamp(int(std::trunc((v - all.min) / step)), 0, 1000); };
        QCOMPARE(c.slMin->value(), position(expected.min));
        QCOMPARE(c.slMax->value(), position(expected.max));
    }

    // The fractile modes ask the frame for their two fractions from 256 bins, over the
    // region handed in (null without one).
    void fractileArguments()
    {
        const double fractions[4][2] = {{0.001, 0.999}, {0.005, 0.995}, {0.01, 0.99}, {0.05, 0.95}};
        for (bool withRegion : {false, true}) {
            for (int mode = 3; mode <= 6; ++mode) {
                ProbeFrame frame;
                const OneRect one(QRect(1, 2, 3, 1));
                const ov::Region region = one.region();
                PropsPage page;
                const Controls c = controls(page.panel.get());
                autoOn(c, mode);
                page.panel->onFrameChanged(&frame, withRegion ? &region : nullptr);
                QCOMPARE(int(frame.fractiles.size()), 2);
                for (int k = 0; k < 2; ++k) {
                    const ProbeFrame::FractileCall& call = frame.fractiles[std::size_t(k)];
                    QCOMPARE(call.q, fractions[mode - 3][k]);
                    QCOMPARE(call.bins, 256);
                    QCOMPARE(call.region == nullptr, !withRegion);
                    if (withRegion) {
                        QCOMPARE(int(call.rects.size()), 1);
                        QCOMPARE(call.rects[0].x, 1);
                        QCOMPARE(call.rects[0].y, 2);
                        QCOMPARE(call.rects[0].width, 3);
                        QCOMPARE(call.rects[0].height, 1);
                    }
                }
                QCOMPARE(page.panel->min(), 1000.0 * fractions[mode - 3][0]);
                QCOMPARE(page.panel->max(), 1000.0 * fractions[mode - 3][1]);
            }
        }
    }

    // The margin stays negative for a frame with negative values, and a frame without
    // them is held at 0.
    void marginRule()
    {
        ProbeFrame frame;
        frame.low = -3.0;
        frame.nonZero = 2.0;
        frame.high = 258.0;
        PropsPage page;
        const Controls c = controls(page.panel.get());
        autoOn(c, 2);
        page.panel->onFrameChanged(&frame, nullptr);
        QCOMPARE(page.panel->min(), 2.0 - 256.0 / 256.0 * 20.0);
        QCOMPARE(page.panel->max(), 258.0);
        frame.low = 0.0;
        page.panel->onFrameChanged(&frame, nullptr);
        QCOMPARE(page.panel->min(), 0.0);
        c.cmAutorange->setCurrentIndex(1);
        QCOMPARE(page.panel->min(), 1.0);
    }

    // A region of the whole frame asks the frame for its minimum and maximum only once
    // per frame; a smaller region asks again for the region.
    void wholeFrameRegionReadOnce()
    {
        ProbeFrame frame; // 4 x 4
        PropsPage page;
        const Controls c = controls(page.panel.get());
        autoOn(c, PnlImageProps::AutoMinMaxNonZero);
        const OneRect whole(QRect(0, 0, 4, 4));
        const ov::Region wholeRegion = whole.region();
        frame.regions.clear();
        page.panel->onFrameChanged(&frame, &wholeRegion);
        // minValue and maxValue of the frame, then minNonZero of the region.
        QCOMPARE(int(frame.regions.size()), 3);
        QCOMPARE(frame.regions[0], nullptr);
        QCOMPARE(frame.regions[1], nullptr);
        QVERIFY(frame.regions[2] != nullptr);
        QCOMPARE(page.panel->min(), 2.0 - 38.0 / 256.0);
        QCOMPARE(page.panel->max(), 40.0);

        const OneRect part(QRect(1, 1, 2, 2));
        const ov::Region partRegion = part.region();
        frame.regions.clear();
        page.panel->onFrameChanged(&frame, &partRegion);
        QCOMPARE(int(frame.regions.size()), 5);
        for (int i = 2; i < 5; ++i)
            QVERIFY(frame.regions[std::size_t(i)] != nullptr);
    }

    void zerosSmart_data()
    {
        QTest::addColumn<int>("type");
        for (int type : {2, 5, 7, 9})
            QTest::addRow("type %d", type) << type;
    }

    // Edge case: a frame of zeros with Smart gives 0 to 1.
    void zerosSmart()
    {
        QFETCH(int, type);
        FrameRef frame(makeFrame(type, 64, 48, std::vector<double>(64 * 48, 0.0)));
        PropsPage page;
        page.panel->setRange(3.0, 9.0);
        const Controls c = controls(page.panel.get());
        autoOn(c, PnlImageProps::AutoSmart);
        page.panel->onFrameChanged(frame.get(), nullptr);
        QCOMPARE(page.panel->min(), 0.0);
        QCOMPARE(page.panel->max(), 1.0);
        QCOMPARE(page.frame.image->rangeMin, 0.0);
        QCOMPARE(page.frame.image->rangeMax, 1.0);
        QCOMPARE(page.panel->smartBufferUsed(), std::size_t(0));
        const OneRect one(QRect(3, 3, 10, 10));
        const ov::Region region = one.region();
        page.panel->setRange(3.0, 9.0);
        page.panel->onFrameChanged(frame.get(), &region);
        QCOMPARE(page.panel->min(), 0.0);
        QCOMPARE(page.panel->max(), 1.0);
    }

    void singleNonZeroSmart_data() { zerosSmart_data(); }

    // Edge case: a single non-zero pixel gives 0 to its value, on a small frame and on
    // a large one where the pixel lies on the sampling stride (7 for 64 x 100).
    void singleNonZeroSmart()
    {
        QFETCH(int, type);
        for (auto [w, h, index] : {std::tuple<unsigned, unsigned, std::size_t> {20, 10, 67},
                 std::tuple<unsigned, unsigned, std::size_t> {64, 100, 7 * 311}}) {
            std::vector<double> values(std::size_t(w) * h, 0.0);
            values[index] = 42.0;
            FrameRef frame(makeFrame(type, w, h, values));
            PropsPage page;
            const Controls c = controls(page.panel.get());
            autoOn(c, PnlImageProps::AutoSmart);
            page.panel->onFrameChanged(frame.get(), nullptr);
            QCOMPARE(page.panel->min(), 0.0);
            QCOMPARE(page.panel->max(), 42.0);
            QCOMPARE(page.panel->smartBufferUsed(), std::size_t(1));
            // The same through a region around the pixel.
            const int x = int(index % w);
            const int y = int(index / w);
            const OneRect one(QRect(x - 2, y - 1, 5, 3));
            const ov::Region region = one.region();
            page.panel->setRange(0.0, 1.0);
            page.panel->onFrameChanged(frame.get(), &region);
            QCOMPARE(page.panel->max(), 42.0);
        }
    }

    // An empty region or one outside the frame gives 0 to 1.
    void smartEmptyRegion()
    {
        std::vector<double> values(30 * 20, 5.0);
        FrameRef frame(makeFrame(ov::FrameUInt32, 30, 20, values));
        PropsPage page;
        for (const QRect& r : {QRect(4, 4, 0, 5), QRect(4, 4, 6, 0), QRect(40, 4, 5, 5)}) {
            double min = -7.0;
            double max = -7.0;
            const OneRect one(r);
            const ov::Region region = one.region();
            page.panel->calculateSmartRange(frame.get(), 0.01, 0.99, 1000, &region, &min, &max);
            QCOMPARE(min, 0.0);
            QCOMPARE(max, 1.0);
        }
    }

    // The fractions index the sorted samples by trunc(fraction * (n - 1)).
    void smartFractions()
    {
        std::vector<double> values {7, 3, 0, 10, 1, 9, 2, 8, 0, 4, 6, 5};
        FrameRef frame(makeFrame(ov::FrameDouble, 12, 1, values));
        PropsPage page;
        double min = 0.0;
        double max = 0.0;
        // Samples 1..10 (zeros are skipped): trunc(0.2 * 9) = 1, trunc(0.8 * 9) = 7.
        page.panel->calculateSmartRange(frame.get(), 0.2, 0.8, 1000, nullptr, &min, &max);
        QCOMPARE(min, 2.0);
        QCOMPARE(max, 8.0);
        page.panel->calculateSmartRange(frame.get(), 0.0, 1.0, 1000, nullptr, &min, &max);
        QCOMPARE(min, 1.0);
        QCOMPARE(max, 10.0);
        // At most four samples: the stride is ceil(12 / 4) = 3, pixels 0, 3, 6, 9 give 7,
        // 10, 2, 4 and the sorted samples 2, 4, 7, 10; trunc(0.5 * 3) = 1,
        // trunc(0.67 * 3) = 2.
        page.panel->calculateSmartRange(frame.get(), 0.5, 0.67, 4, nullptr, &min, &max);
        QCOMPARE(page.panel->smartBufferUsed(), std::size_t(4));
        QCOMPARE(min, 4.0);
        QCOMPARE(max, 7.0);
    }

    // In a region every row is walked from the left edge anew: with width 35 and
    // stride 3 every sample sits at a multiple of 3 from the edge.
    void smartRegionRowsStartAfresh()
    {
        const unsigned w = 100;
        const unsigned h = 10;
        std::vector<double> values(std::size_t(w) * h);
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = double(i % w) + 1.0;
        FrameRef frame(makeFrame(ov::FrameUInt64, w, h, values));
        PropsPage page;
        const OneRect one(QRect(5, 0, 35, 10)); // 350 pixels, 100 samples: stride 3
        const ov::Region region = one.region();
        double min = 0.0;
        double max = 0.0;
        page.panel->calculateSmartRange(frame.get(), 0.0, 1.0, 100, &region, &min, &max);
        QCOMPARE(page.panel->smartBufferUsed(), std::size_t(100));
        QCOMPARE(min, 6.0);
        QCOMPARE(max, 39.0);
        const double* samples = page.panel->smartBufferData();
        for (std::size_t i = 0; i < 100; ++i)
            QVERIFY2(
                std::fmod(samples[i] - 6.0, 3.0) == 0.0, qPrintable(QString::number(samples[i])));
        // Twelve per row: 8 full rows and 4 more, so 6 to 15 come nine times.
        QCOMPARE(std::count(samples, samples + 100, 6.0), std::ptrdiff_t(9));
        QCOMPARE(std::count(samples, samples + 100, 39.0), std::ptrdiff_t(8));
    }

    // The sample buffer survives between frames and grows only when too small.
    void smartBufferReused()
    {
        FrameRef a(makeFrame(ov::FrameInt16, 100, 80, patternValues(ov::FrameInt16, 100, 80)));
        FrameRef b(makeFrame(ov::FrameDouble, 64, 64, patternValues(ov::FrameDouble, 64, 64)));
        PropsPage page;
        const Controls c = controls(page.panel.get());
        QCOMPARE(page.panel->smartBufferData(), nullptr);
        autoOn(c, PnlImageProps::AutoSmart);
        page.panel->onFrameChanged(a.get(), nullptr);
        const double* first = page.panel->smartBufferData();
        QVERIFY(first);
        QCOMPARE(page.panel->smartBufferCapacity(), std::size_t(1100));
        page.panel->onFrameChanged(b.get(), nullptr);
        QCOMPARE(page.panel->smartBufferData(), first);
        double min = 0.0;
        double max = 0.0;
        page.panel->calculateSmartRange(a.get(), 0.01, 0.99, 3000, nullptr, &min, &max);
        QCOMPARE(page.panel->smartBufferCapacity(), std::size_t(3100));
        const double* grown = page.panel->smartBufferData();
        page.panel->calculateSmartRange(a.get(), 0.01, 0.99, 500, nullptr, &min, &max);
        QCOMPARE(page.panel->smartBufferData(), grown);
        QCOMPARE(page.panel->smartBufferCapacity(), std::size_t(3100));
    }

    // A frame of another pixel type leaves the smart range's values as they were.
    void smartUnknownType()
    {
        ProbeFrame frame;
        frame.type = 3;
        PropsPage page;
        double min = 0.25;
        double max = 0.75;
        page.panel->calculateSmartRange(&frame, 0.01, 0.99, 1000, nullptr, &min, &max);
        QCOMPARE(min, 0.25);
        QCOMPARE(max, 0.75);
        // Through the mode the start values 0 and 1 are shown.
        const Controls c = controls(page.panel.get());
        page.panel->setRange(4.0, 5.0);
        autoOn(c, PnlImageProps::AutoSmart);
        page.panel->onFrameChanged(&frame, nullptr);
        QCOMPARE(page.panel->min(), 0.0);
        QCOMPARE(page.panel->max(), 1.0);
    }

    // With automatic range off a frame only moves the span of the sliders.
    void autoOffKeepsRange()
    {
        FrameRef frame(
            makeFrame(ov::FrameUInt32, 100, 80, patternValues(ov::FrameUInt32, 100, 80)));
        PropsPage page;
        page.panel->autoRangeCheckBox()->setChecked(false);
        page.panel->setRange(3.0, 33.0);
        QSignalSpy spy(page.panel.get(), &PnlImageProps::rangeChanged);
        page.panel->onFrameChanged(frame.get(), nullptr);
        QCOMPARE(spy.count(), 0);
        QCOMPARE(page.panel->min(), 3.0);
        QCOMPARE(page.panel->max(), 33.0);
        QCOMPARE(page.panel->rangeManager()->absMax, 999.0);
    }

    // Turning automatic range on, or another mode, applies it to the kept frame and its
    // kept region, even after the caller's region has gone.
    void controlsApplyToKeptFrame()
    {
        const unsigned w = 100;
        const unsigned h = 80;
        const std::vector<double> values = patternValues(ov::FrameUInt32, w, h);
        FrameRef frame(makeFrame(ov::FrameUInt32, w, h, values));
        const QRect rect(20, 10, 30, 40);
        PropsPage page;
        const Controls c = controls(page.panel.get());
        c.chbAutoRange->setChecked(false);
        page.panel->show();
        {
            const OneRect one(rect);
            const ov::Region region = one.region();
            page.panel->onFrameChanged(frame.get(), &region);
        }
        QTest::mouseClick(
            c.chbAutoRange, Qt::LeftButton, {}, QPoint(4, c.chbAutoRange->height() / 2));
        const Range r0 = minMaxOf(values, indicesOf(w, h, rect));
        QCOMPARE(page.panel->min(), r0.min);
        QCOMPARE(page.panel->max(), r0.max);
        c.cmAutorange->setCurrentIndex(PnlImageProps::AutoSmart);
        const Range r7 = smartOf(values, w, h, rect);
        QCOMPARE(page.panel->min(), r7.min);
        QCOMPARE(page.panel->max(), r7.max);
        c.cmAutorange->setCurrentIndex(PnlImageProps::AutoMinMaxNonZeroMargin);
        const Range r2 = marginOf(values, indicesOf(w, h, rect), 20.0);
        QCOMPARE(page.panel->min(), r2.min);
    }

    // A null frame is stored and nothing else happens; the frame's reference moves.
    void frameReferences()
    {
        FrameRef a(makeFrame(ov::FrameInt16, 8, 8, std::vector<double>(64, 3.0)));
        FrameRef b(makeFrame(ov::FrameInt16, 8, 8, std::vector<double>(64, 4.0)));
        {
            PropsPage page;
            page.panel->onFrameChanged(a.get(), nullptr);
            QCOMPARE(a->refCount(), 2);
            page.panel->onFrameChanged(b.get(), nullptr);
            QCOMPARE(a->refCount(), 1);
            QCOMPARE(b->refCount(), 2);
            QSignalSpy spy(page.panel.get(), &PnlImageProps::rangeChanged);
            page.panel->onFrameChanged(nullptr, nullptr);
            QCOMPARE(b->refCount(), 1);
            QCOMPARE(spy.count(), 0);
            // Without a frame the controls do nothing.
            const Controls c = controls(page.panel.get());
            c.chbAutoRange->setChecked(true);
            c.cmAutorange->setCurrentIndex(3);
            QCOMPARE(spy.count(), 0);
            page.panel->onFrameChanged(b.get(), nullptr);
            QCOMPARE(b->refCount(), 2);
        }
        QCOMPARE(b->refCount(), 1);
    }

    // Typing into a range field: the picture follows and automatic range goes off.
    void typingTakesOver()
    {
        FrameRef frame(
            makeFrame(ov::FrameDouble, 100, 80, patternValues(ov::FrameDouble, 100, 80)));
        PropsPage page;
        const Controls c = controls(page.panel.get());
        QVERIFY(showActive(page.panel.get()));
        autoOn(c, PnlImageProps::AutoMinMax);
        page.panel->onFrameChanged(frame.get(), nullptr);
        QVERIFY(c.chbAutoRange->isChecked());
        QTest::mouseClick(c.edMin, Qt::LeftButton);
        QVERIFY(c.edMin->hasFocus());
        QVERIFY(!c.chbAutoRange->isChecked());
        c.edMin->selectAll();
        QTest::keyClicks(c.edMin, "17.5");
        QCOMPARE(page.panel->min(), 17.5);
        QCOMPARE(page.frame.image->rangeMin, 17.5);
        QCOMPARE(page.frame.getColorBar().getRangeMin(), 17.5);
        QTest::keyClick(c.edMax, Qt::Key_Tab); // on to edMax
        c.edMax->selectAll();
        QTest::keyClicks(c.edMax, "321");
        QCOMPARE(page.panel->max(), 321.0);
        QCOMPARE(page.frame.image->rangeMax, 321.0);
        // A new frame no longer changes the range.
        page.panel->onFrameChanged(frame.get(), nullptr);
        QCOMPARE(page.panel->min(), 17.5);
        QCOMPARE(page.panel->max(), 321.0);
    }

    // Edge case: after a click into edMax automatic range is off.
    void clickIntoMaxEndsAutoRange()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        QVERIFY(showActive(page.panel.get()));
        autoOn(c, PnlImageProps::AutoSmart);
        QVERIFY(c.chbAutoRange->isChecked());
        QTest::mouseClick(c.edMax, Qt::LeftButton);
        QVERIFY(c.edMax->hasFocus());
        QVERIFY(!c.chbAutoRange->isChecked());
    }

    // Edge case: text being typed in edMin stays as typed when frames arrive, while
    // edMax and the picture follow the automatic range.
    void typedTextSurvivesFrames()
    {
        const std::vector<double> values = patternValues(ov::FrameUInt32, 100, 80);
        FrameRef frame(makeFrame(ov::FrameUInt32, 100, 80, values));
        PropsPage page;
        const Controls c = controls(page.panel.get());
        QVERIFY(showActive(page.panel.get()));
        QTest::mouseClick(c.edMin, Qt::LeftButton);
        c.edMin->selectAll();
        QTest::keyClicks(c.edMin, "12");
        c.edMin->setCursorPosition(1);
        // Automatic range on again without taking the focus from the field.
        c.cmAutorange->setCurrentIndex(PnlImageProps::AutoMinMaxNonZero);
        c.chbAutoRange->setChecked(true);
        QVERIFY(c.edMin->hasFocus());
        for (int i = 0; i < 3; ++i) {
            page.panel->onFrameChanged(frame.get(), nullptr);
            QCOMPARE(c.edMin->text(), QString("12"));
            QCOMPARE(c.edMin->cursorPosition(), 1);
        }
        const Range expected = marginOf(values, indicesOf(100, 80, QRect()), 1.0);
        QCOMPARE(page.panel->min(), expected.min);
        QCOMPARE(page.frame.image->rangeMin, expected.min);
        QCOMPARE(c.edMax->text(), QRangeMgr::doubleToStringNice(expected.max));
    }

    // Moving a slider by keyboard or mouse: the picture follows and automatic range
    // goes off.
    void slidersTakeOver()
    {
        const std::vector<double> values = patternValues(ov::FrameInt16, 100, 80);
        FrameRef frame(makeFrame(ov::FrameInt16, 100, 80, values));
        PropsPage page;
        const Controls c = controls(page.panel.get());
        QVERIFY(showActive(page.panel.get()));
        autoOn(c, PnlImageProps::AutoMinMax);
        page.panel->onFrameChanged(frame.get(), nullptr);
        const Range all = minMaxOf(values, indicesOf(100, 80, QRect()));
        const double step = (all.max - all.min) / 1000.0;
        QCOMPARE(c.slMax->value(), 1000);

        c.slMax->setFocus();
        QTest::keyClick(c.slMax, Qt::Key_PageDown);
        QVERIFY(!c.chbAutoRange->isChecked());
        QCOMPARE(c.slMax->value(), 990);
        QCOMPARE(page.panel->max(), 990 * step + all.min);
        QCOMPARE(page.frame.image->rangeMax, 990 * step + all.min);
        QCOMPARE(c.edMax->text(), QRangeMgr::doubleToStringNice(990 * step + all.min));

        // A click on the groove right of the handle pages the minimum up.
        autoOn(c, PnlImageProps::AutoMinMax);
        QVERIFY(c.chbAutoRange->isChecked());
        QCOMPARE(c.slMin->value(), 0);
        QTest::mouseClick(
            c.slMin, Qt::LeftButton, {}, QPoint(c.slMin->width() - 3, c.slMin->height() / 2));
        QVERIFY(!c.chbAutoRange->isChecked());
        QVERIFY(c.slMin->value() > 0);
        QCOMPARE(page.panel->min(), c.slMin->value() * step + all.min);
        QCOMPARE(page.frame.image->rangeMin, c.slMin->value() * step + all.min);
    }

    // A range that the view sets from another thread arrives through setRange.
    void setRangeFromView()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        page.panel->setMinMax(0.0, 100.0);
        page.panel->setRange(10.0, 60.0);
        QCOMPARE(c.slMin->value(), 100);
        QCOMPARE(c.slMax->value(), 600);
        QCOMPARE(c.edMax->text(), QString("60"));
        QCOMPARE(page.frame.image->rangeMax, 60.0);
    }

    void windowAllAndEnable()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        page.panel->setWindowAll(true);
        QVERIFY(c.chbAll->isChecked());
        page.panel->setWindowAll(false);
        QVERIFY(!c.chbAll->isChecked());
        page.panel->enableGui(false, false);
        QVERIFY(!c.wTimeWindows->isEnabled());
        page.panel->enableGui(false, true);
        QVERIFY(c.wTimeWindows->isEnabled());
        page.panel->enableGui(true, false);
        QVERIFY(c.wTimeWindows->isEnabled());
    }

    // A shown time window stays unless asked to go, or forced.
    void timeWindowVisibility()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        page.panel->showTimeWindowPanel(true, false);
        QVERIFY(!c.wTimeWindows->isHidden());
        page.panel->showTimeWindowPanel(false, false);
        QVERIFY(!c.wTimeWindows->isHidden());
        page.panel->showTimeWindowPanel(false, true);
        QVERIFY(c.wTimeWindows->isHidden());
        page.panel->showTimeWindowPanel(false, false);
        QVERIFY(c.wTimeWindows->isHidden());
    }

    // On a controller with the time window, pixel and cluster data bring it up, and
    // its controls reach the controller.
    void timepix3TimeWindow()
    {
        Tpx3Page page;
        const Controls c = controls(page.panel.get());
        QCOMPARE(page.panel->timepix3Controller(), page.ctrl.get());
        QVERIFY(showActive(page.panel.get()));
        QVERIFY(!c.wTimeWindows->isVisible());

        sim::SimData* frames = sim::SimData::create(1);
        page.panel->onAcqDataChanged(frames);
        QVERIFY(!c.wTimeWindows->isVisible());
        QCOMPARE(frames->refCount(), 2);
        sim::SimData* pixels = sim::SimData::create(3);
        page.panel->onAcqDataChanged(pixels);
        QVERIFY(c.wTimeWindows->isVisible());
        QCOMPARE(frames->refCount(), 1);
        QCOMPARE(pixels->refCount(), 2);
        // Frame data after pixel data leaves the window up.
        page.panel->onAcqDataChanged(frames);
        QVERIFY(c.wTimeWindows->isVisible());
        page.panel->onAcqDataChanged(nullptr);
        QCOMPARE(frames->refCount(), 1);
        page.panel->showTimeWindowPanel(false, true);
        sim::SimData* clusters = sim::SimData::create(6);
        page.panel->onAcqDataChanged(clusters);
        QVERIFY(c.wTimeWindows->isVisible());

        QTest::mouseClick(c.chbAll, Qt::LeftButton, {}, QPoint(4, c.chbAll->height() / 2));
        QTest::mouseClick(c.chbAll, Qt::LeftButton, {}, QPoint(4, c.chbAll->height() / 2));
        QCOMPARE(page.ctrl->frameTypes, (std::vector<int> {0, 1}));

        QTest::mouseClick(c.edTime, Qt::LeftButton);
        QTest::keyClicks(c.edTime, "2.5");
        QTest::keyClick(c.edTime, Qt::Key_Return);
        QCOMPARE(page.ctrl->fadeSizes, (std::vector<double> {2.5}));
        // The validator keeps out negative times: the minus is refused as typed.
        c.edTime->selectAll();
        QTest::keyClicks(c.edTime, "-1");
        QCOMPARE(c.edTime->text(), QString("1"));
        QTest::keyClick(c.edTime, Qt::Key_Return);
        QCOMPARE(page.ctrl->fadeSizes, (std::vector<double> {2.5, 1.0}));

        page.panel.reset();
        QCOMPARE(clusters->refCount(), 1);
        frames->decRef();
        pixels->decRef();
        clusters->decRef();
    }

    // Other families keep the time window inert.
    void otherFamiliesIgnoreTimeWindow()
    {
        PropsPage page;
        const Controls c = controls(page.panel.get());
        sim::SimData* pixels = sim::SimData::create(3);
        page.panel->onAcqDataChanged(pixels);
        QVERIFY(c.wTimeWindows->isHidden());
        QCOMPARE(pixels->refCount(), 1);
        c.chbAll->setChecked(true); // no controller to tell; nothing happens
        c.edTime->setText("3");
        emit c.edTime->editingFinished();
        pixels->decRef();
    }

    // The controller hands the frame it draws, and the last selection as region, to the
    // panel.
    void handOverFromController()
    {
        const unsigned w = 100;
        const unsigned h = 80;
        const std::vector<double> values = patternValues(ov::FrameUInt32, w, h);
        FrameRef frame(makeFrame(ov::FrameUInt32, w, h, values));
        PropsPage page;
        page.ctrl->setImagePropsPanel(page.panel.get());
        const Controls c = controls(page.panel.get());
        autoOn(c, PnlImageProps::AutoMinMaxNonZero);
        page.ctrl->setCurrentFrame(frame.get());
        page.ctrl->updateCurrentFrame();
        const Range whole = marginOf(values, indicesOf(w, h, QRect()), 1.0);
        QCOMPARE(page.panel->min(), whole.min);
        QCOMPARE(page.panel->max(), whole.max);
        QCOMPARE(page.frame.image->rangeMax, whole.max);

        const QRect rect(30, 20, 25, 15);
        page.ctrl->onSelectionRectsChanged({QRect(0, 0, 5, 5), rect});
        const Range inRect = marginOf(values, indicesOf(w, h, rect), 1.0);
        QCOMPARE(page.panel->min(), inRect.min);
        QCOMPARE(page.panel->max(), inRect.max);
        page.ctrl->setImagePropsPanel(nullptr);
    }

    // The time window shows the frame type and fade window of the data on show, without
    // handing them back; a time being typed is left alone.
    void timeWindowFollowsTheData()
    {
        testdev::FakePixels pixels(nullptr, 10);
        Tpx3Page page;
        const Controls c = controls(page.panel.get());
        QVERIFY(showActive(page.panel.get()));
        pixels.type = ov::Tpx3FrameFade;
        pixels.fadeWindow = 0.2;
        page.panel->onAcqDataChanged(&pixels);
        QVERIFY(c.wTimeWindows->isVisible());
        QVERIFY(!c.chbAll->isChecked());
        QCOMPARE(c.edTime->text(), QString("0.2"));
        pixels.type = ov::Tpx3FrameIntegral;
        pixels.fadeWindow = 1.5;
        page.panel->onAcqDataChanged(&pixels);
        QVERIFY(c.chbAll->isChecked());
        QCOMPARE(c.edTime->text(), QString("1.5"));
        QVERIFY(page.ctrl->frameTypes.empty());
        QVERIFY(page.ctrl->fadeSizes.empty());

        typeInto(c.edTime, QStringLiteral("3"));
        pixels.fadeWindow = 0.7;
        page.panel->onAcqDataChanged(&pixels);
        QCOMPARE(c.edTime->text(), QString("3"));
        QTest::keyClick(c.edTime, Qt::Key_Return);
        QCOMPARE(page.ctrl->fadeSizes, (std::vector<double> {3.0}));
        // The fake controller passes nothing on: the data keeps 0.7, which is shown.
        QCOMPARE(c.edTime->text(), QString("0.7"));
        page.panel->onAcqDataChanged(nullptr);
        QCOMPARE(pixels.refs.load(), 1);
    }

    // A time is read with a point or a comma, in the C locale and in the system's; text
    // that does not read as a time is not applied, and the time in effect comes back.
    void timeTypedWithPointOrComma_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::newRow("C") << QLocale::c();
        QTest::newRow("de_DE") << QLocale(QLocale::German, QLocale::Germany);
        QTest::newRow("en_US") << QLocale(QLocale::English, QLocale::UnitedStates);
    }

    void timeTypedWithPointOrComma()
    {
        QFETCH(QLocale, locale);
        const QLocale before;
        QLocale::setDefault(locale);
        {
            Tpx3Page page;
            const Controls c = controls(page.panel.get());
            QVERIFY(showActive(page.panel.get()));
            page.panel->showTimeWindowPanel(true, true);
            std::vector<double> applied;
            auto enter = [&](const QString& text) {
                typeInto(c.edTime, text);
                QTest::keyClick(c.edTime, Qt::Key_Return);
            };
            enter(QStringLiteral("0,5"));
            applied.push_back(0.5);
            QCOMPARE(page.ctrl->fadeSizes, applied);
            enter(QStringLiteral("0.25"));
            applied.push_back(0.25);
            QCOMPARE(page.ctrl->fadeSizes, applied);
            enter(QStringLiteral("2,125"));
            applied.push_back(2.125);
            QCOMPARE(page.ctrl->fadeSizes, applied);
            // A comma is never taken for a thousands separator.
            enter(QStringLiteral("1,000"));
            applied.push_back(1.0);
            QCOMPARE(page.ctrl->fadeSizes, applied);
            QCOMPARE(c.edTime->text(), QString("1,000"));

            // Half a number on Return: nothing applied, the last time stands again.
            enter(QStringLiteral("1e"));
            QCOMPARE(page.ctrl->fadeSizes, applied);
            QCOMPARE(c.edTime->text(), QString("1,000"));
            enter(QString());
            QCOMPARE(page.ctrl->fadeSizes, applied);
            QCOMPARE(c.edTime->text(), QString("1,000"));
            // The same on leaving the field.
            typeInto(c.edTime, QStringLiteral("4e-"));
            QCOMPARE(c.edTime->text(), QString("4e-"));
            c.chbAll->setFocus();
            QTRY_VERIFY(!c.edTime->hasFocus());
            QCOMPARE(c.edTime->text(), QString("1,000"));
            QCOMPARE(page.ctrl->fadeSizes.back(), 1.0);
            // Six decimals are refused as typed, as the validator's five allow.
            typeInto(c.edTime, QStringLiteral("0.123456"));
            QCOMPARE(c.edTime->text(), QString("0.12345"));
        }
        QLocale::setDefault(before);
    }
};

QTEST_MAIN(TstPnlImageProps)
#include "tst_pnlimageprops.moc"
