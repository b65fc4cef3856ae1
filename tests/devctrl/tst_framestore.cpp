// The frame store of the detector controller on the simulated host: which frame is on
// show, sub-frame tabs, filter and normalisation, the masked-pixel overlay, the
// pixel-configuration views, the tooltip statistics and the references it holds.
#include "devctrlmpx2.h"
#include "nulldevice.h"

#include "livecounter.h"
#include "livecounts.h"
#include "simframe.h"
#include "simhost.h"
#include "timepixdevice.h"

#include <qmpxframe.h>

#include <QTabBar>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <vector>

using namespace PluginDevControl;

namespace {

// The controller with its protected state in reach of the tests.
template <class Base>
class Probe : public Base
{
public:
    using Base::Base;
    int subFrame() const { return this->currentSubFrame; }
    void setSubFrame(int index) { this->currentSubFrame = index; }
    ov::IMpxFrame* processed() const { return this->processedFrame.get(); }
    ov::IMpxFrame* pixCfgShown() const { return this->pixCfgFrame.get(); }
    int pixCfg() const { return this->pixCfgType.load(); }
    bool isFrameShown() const { return this->frameShown.load(); }
    const QList<QRect>& selection() const { return this->selectionRects; }
    // Stands in for the file loading: an entry of the loaded list and its data.
    void addLoaded(ov::IData* data)
    {
        this->loadedFiles.push_back(FileInfo {"loaded.dsc", 0, 1, false});
        this->loadedData.reset(data);
    }
    bool hasLoadedData() const { return bool(this->loadedData); }
};
using BaseProbe = Probe<DevCtrlMpx>;
using TimepixProbe = Probe<DevCtrlMpx2>;

// A filter that doubles every pixel of a copy, when it finds the frame suitable.
class DoublingFilter final : public ov::IDataFilter
{
public:
    int filterType() override { return 1; }
    int filterName(ov::String& out) override
    {
        out.set("Doubling");
        return 0;
    }
    bool isSuitable(ov::IMpxFrame*) override
    {
        ++suitabilityChecks;
        return suitable;
    }
    ov::IMpxFrame* filterFrame(ov::IMpxFrame* frame, unsigned subFrame) override
    {
        ++filtered;
        lastSubFrame = subFrame;
        ov::IMpxFrame* copy = frame->clone();
        copy->scale(2.0, 0.0);
        copy->setFrameName("filtered");
        copy->setFrameInfoSource(0);
        return copy;
    }
    ov::IParamMgr* filterParams() override { return nullptr; }
    bool hasOwnDialog() override { return false; }
    int showOwnDialog() override { return 0; }

    bool suitable = true;
    int suitabilityChecks = 0;
    int filtered = 0;
    unsigned lastSubFrame = 0;
};

// A frame of a type the display does not know.
class OddTypeFrame final : public testdev::NullMpxFrame
{
public:
    int incRef() override { return ++refs; }
    int decRef() override { return --refs; }
    unsigned width() const override { return 4; }
    unsigned height() const override { return 2; }
    size_t pixelCount() const override { return 8; }
    uint8_t dataType() const override { return 3; }
    int refs = 1;
};

// A frame of width x height doubles with the given values.
sim::SimFrame* makeFrame(unsigned width, unsigned height, const std::vector<double>& values,
    double acqTime = 1.0, const char* name = nullptr)
{
    sim::SimFrame* f = sim::SimFrame::create(width, height, ov::FrameDouble);
    f->setData(values.data(), values.size() * sizeof(double));
    f->setAcqTime(acqTime);
    if (name)
        f->setFrameName(name);
    return f;
}

std::vector<double> ramp(size_t count, double start, double step)
{
    std::vector<double> v(count);
    for (size_t i = 0; i < count; ++i)
        v[i] = start + step * double(i);
    return v;
}

std::vector<double> shownPixels(QMpxFrame* widget)
{
    const double* data = widget->image->getData();
    const size_t n = size_t(widget->image->getDataWidth()) * widget->image->getDataHeight();
    return data ? std::vector<double>(data, data + n) : std::vector<double>();
}

// Statistics of a rectangle of a width-wide matrix, computed here rather than by the
// host: mean, min, max, count, population deviation, total.
struct Stats
{
    double mean = 0, min = 0, max = 0, deviation = 0, total = 0;
    int count = 0;
};
Stats statsOf(const std::vector<double>& v, unsigned width, const QRect& r)
{
    Stats s;
    std::vector<double> in;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            in.push_back(v[size_t(y) * width + size_t(x)]);
    s.count = int(in.size());
    s.min = *std::min_element(in.begin(), in.end());
    s.max = *std::max_element(in.begin(), in.end());
    for (double d : in)
        s.total += d;
    s.mean = s.total / s.count;
    double sq = 0;
    for (double d : in)
        sq += (d - s.mean) * (d - s.mean);
    s.deviation = std::sqrt(sq / s.count);
    return s;
}

QString tooltipText(
    unsigned x, unsigned y, double value, const Stats& s, const char* label, double ratio)
{
    const auto g = [](double d) { return QString::number(d, 'g', 6); };
    return QStringLiteral("[") + QString::number(x) + QStringLiteral(",") + QString::number(y)
        + QStringLiteral("]=") + g(value) + QStringLiteral("\nMin, Max: ") + g(s.min)
        + QStringLiteral(", ") + g(s.max) + QStringLiteral("\nCount, Total: ")
        + QString::number(s.count) + QStringLiteral(", ") + g(s.total) + QStringLiteral("\nMean: ")
        + g(s.mean) + QString::fromUtf8(" \xc2\xb1 ") + g(s.deviation) + QStringLiteral("\n")
        + QLatin1String(label) + QStringLiteral(": ") + g(ratio);
}

} // namespace

Q_DECLARE_METATYPE(ov::FrameDataType)

class TstFrameStore : public QObject
{
    Q_OBJECT

    livecounts::FramesAndData liveAtStart;
    std::unique_ptr<QTemporaryDir> home;
    std::unique_ptr<sim::SimHost> host;
    std::shared_ptr<sim::TimepixDevice> chip;
    ov::IDevMpx2* dev = nullptr;
    std::unique_ptr<QMpxFrame> widget;
    std::unique_ptr<QTabBar> tabs;
    std::unique_ptr<BaseProbe> ctrl;       // sub-frame tabs
    std::unique_ptr<TimepixProbe> tpxCtrl; // fixed pixel-configuration tabs

    // The controller with sub-frame tabs on the one widget and tab bar.
    BaseProbe* makeBase()
    {
        ctrl = std::make_unique<BaseProbe>(host.get(), dev, widget.get(), tabs.get());
        return ctrl.get();
    }
    // The Timepix controller with its fixed tabs on the one widget and tab bar.
    TimepixProbe* makeTimepix()
    {
        tpxCtrl = std::make_unique<TimepixProbe>(host.get(), dev, widget.get(), tabs.get());
        return tpxCtrl.get();
    }

    std::vector<double> deviceBits(int which)
    {
        ov::DataBuff<unsigned char> bytes;
        ov::IMpxPixCfg* cfg = dev->pixCfg();
        if (which == 1)
            cfg->maskBits(&bytes);
        else if (which == 2)
            cfg->testBits(&bytes);
        else
            cfg->thlBits(&bytes);
        return std::vector<double>(bytes.data(), bytes.data() + bytes.size());
    }

private slots:
    void init()
    {
        liveAtStart = livecounts::framesAndData();
        home = std::make_unique<QTemporaryDir>();
        host = std::make_unique<sim::SimHost>(home->path());
        sim::DeviceDesc desc = sim::makeDeviceDesc(1, 4343);
        desc.chips = 1;
        desc.width = 256;
        desc.height = 256;
        chip = std::make_shared<sim::TimepixDevice>(desc);
        ov::IDev* d = host->connectDevice(chip);
        QVERIFY(d);
        dev = dynamic_cast<ov::IDevMpx2*>(d);
        QVERIFY(dev);
        QCOMPARE(dev->width(), 256);
        QCOMPARE(dev->height(), 256);
        widget = std::make_unique<QMpxFrame>();
        widget->resize(300, 300);
        tabs = std::make_unique<QTabBar>();
    }

    void cleanup()
    {
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
        ctrl.reset();
        tpxCtrl.reset();
        tabs.reset();
        widget.reset();
        dev = nullptr;
        chip.reset();
        host.reset();
        home.reset();
        // Every frame and data object the controller took a reference on went back.
        QCOMPARE(livecounts::framesAndData(), liveAtStart);
    }

    void drawsEveryDataType_data()
    {
        QTest::addColumn<ov::FrameDataType>("type");
        QTest::addColumn<std::vector<double>>("values");
        QTest::newRow("16-bit signed")
            << ov::FrameInt16 << std::vector<double> {-32768, -5, 0, 1, 2, 300, 11810, 32767};
        QTest::newRow("32-bit unsigned")
            << ov::FrameUInt32
            << std::vector<double> {0, 1, 70000, 4294967295.0, 5, 6, 7, 123456789};
        QTest::newRow("64-bit unsigned")
            << ov::FrameUInt64
            << std::vector<double> {0, 1, 4294967296.0, 1099511627776.0, 9, 10, 11, 12};
        QTest::newRow("double") << ov::FrameDouble
                                << std::vector<double> {-1.5, 0.25, 3.75, 1e-9, 2e12, -7, 0, 8.5};
    }
    void drawsEveryDataType()
    {
        QFETCH(ov::FrameDataType, type);
        QFETCH(std::vector<double>, values);
        BaseProbe* c = makeBase();
        // The frame is built in its own type from the values.
        sim::SimFrame* f = sim::SimFrame::create(4, 2, type);
        QVERIFY(f);
        sim::visitFrameType(type, [&](auto t) {
            using T = decltype(t);
            for (size_t i = 0; i < values.size(); ++i)
                f->pixels<T>()[i] = static_cast<T>(values[i]);
        });
        c->showFrame(f);
        QCOMPARE(widget->image->getDataWidth(), 4u);
        QCOMPARE(widget->image->getDataHeight(), 2u);
        QCOMPARE(shownPixels(widget.get()), values);
        // Without filter and normalisation the host's frame is drawn as it stands.
        QCOMPARE(c->processed(), nullptr);
        QVERIFY(!widget->image->getImage().isNull());
        f->decRef();
    }

    void nullFrameAndUnknownTypeChangeNothing()
    {
        BaseProbe* c = makeBase();
        const std::vector<double> values = ramp(8, 1, 1);
        sim::SimFrame* f = makeFrame(4, 2, values);
        c->normalizeByTime(true);
        c->showFrame(f);
        ov::IMpxFrame* processed = c->processed();
        QVERIFY(processed);
        c->showFrame(nullptr);
        QCOMPARE(shownPixels(widget.get()), values);
        QCOMPARE(c->processed(), processed);
        QCOMPARE(c->subFrame(), -1);

        // A data type none of the four: not drawn, the old picture stays.
        c->normalizeByTime(false);
        OddTypeFrame odd;
        c->showFrame(&odd);
        QCOMPARE(shownPixels(widget.get()), values);
        QCOMPARE(odd.refs, 1);
        f->decRef();
    }

    void unsuitableFilterIsNotApplied()
    {
        BaseProbe* c = makeBase();
        DoublingFilter filter;
        filter.suitable = false;
        const std::vector<double> values = ramp(8, 10, 3);
        sim::SimFrame* f = makeFrame(4, 2, values, 1.0, "Frame 7");
        f->setFrameInfoSource(77);
        c->setCurrentFrame(f);
        c->setFilter(&filter); // redraws the current frame
        QCOMPARE(filter.suitabilityChecks, 1);
        QCOMPARE(filter.filtered, 0);
        QCOMPARE(shownPixels(widget.get()), values);
        QCOMPARE(c->processed(), nullptr);

        // A suitable filter works on a copy that keeps the source's name and info.
        filter.suitable = true;
        c->setFilter(&filter);
        QCOMPARE(filter.filtered, 1);
        QCOMPARE(filter.lastSubFrame, unsigned(-1)); // no sub-frame chosen
        std::vector<double> doubled = values;
        for (double& v : doubled)
            v *= 2.0;
        QCOMPARE(shownPixels(widget.get()), doubled);
        ov::IMpxFrame* processed = c->processed();
        QVERIFY(processed);
        QVERIFY(processed != f);
        QCOMPARE(processed->frameName(), std::string("Frame 7"));
        QCOMPARE(processed->frameInfoSource(), uint64_t(77));
        QCOMPARE(f->pixel(1), values[1]); // the host's frame is untouched
        // The statistics now work on the processed copy.
        QCOMPARE(c->currentSubFrameOrFrame(false).get(), processed);

        c->setFilter(nullptr);
        QCOMPARE(c->processed(), nullptr);
        QCOMPARE(shownPixels(widget.get()), values);
        f->decRef();
    }

    void normalisationDividesByTime()
    {
        BaseProbe* c = makeBase();
        sim::SimFrame* f = sim::SimFrame::create(3, 2, ov::FrameUInt32);
        const std::vector<uint32_t> counts {0, 1, 5, 100, 7, 250};
        f->setData(counts.data(), counts.size() * sizeof(uint32_t));
        f->setAcqTime(0.25);
        f->setFrameName("Frame 3");
        f->setFrameInfoSource(1234);
        c->setCurrentFrame(f);
        c->normalizeByTime(true);
        QVERIFY(c->isNormalizedByTime());
        std::vector<double> expected;
        for (uint32_t v : counts)
            expected.push_back(double(v) / 0.25);
        QCOMPARE(shownPixels(widget.get()), expected);
        ov::IMpxFrame* processed = c->processed();
        QVERIFY(processed);
        QCOMPARE(int(processed->dataType()), int(ov::FrameDouble));
        QCOMPARE(processed->frameName(), std::string("Frame 3"));
        QCOMPARE(processed->frameInfoSource(), uint64_t(1234));
        // The source keeps its type and counts.
        QCOMPARE(int(f->dataType()), int(ov::FrameUInt32));
        QCOMPARE(f->pixel(5), 250.0);

        // Filter and normalisation together: the filtered copy is normalised.
        DoublingFilter filter;
        c->setFilter(&filter);
        for (double& v : expected)
            v *= 2.0;
        QCOMPARE(shownPixels(widget.get()), expected);

        c->setFilter(nullptr);
        c->normalizeByTime(false);
        QCOMPARE(c->processed(), nullptr);
        QCOMPARE(shownPixels(widget.get()), std::vector<double>(counts.begin(), counts.end()));
        f->decRef();
    }

    void normalisingTimeZeroKeepsValuesAsDoubles()
    {
        BaseProbe* c = makeBase();
        sim::SimFrame* f = sim::SimFrame::create(4, 1, ov::FrameInt16);
        const std::vector<int16_t> counts {-3, 0, 9, 11810};
        f->setData(counts.data(), counts.size() * sizeof(int16_t));
        QCOMPARE(f->acqTime(), 0.0);
        c->setCurrentFrame(f);
        c->normalizeByTime(true);
        QCOMPARE(shownPixels(widget.get()), (std::vector<double> {-3, 0, 9, 11810}));
        QVERIFY(c->processed());
        QCOMPARE(int(c->processed()->dataType()), int(ov::FrameDouble));
        QCOMPARE(int(f->dataType()), int(ov::FrameInt16));
        f->decRef();
    }

    void threeSubFramesAfterNoneRebuildTabs()
    {
        BaseProbe* c = makeBase();
        tabs->show();
        // A frame without sub-frames and without a name: no tabs.
        c->setFrame(makeFrame(4, 2, ramp(8, 0, 1)));
        QVERIFY(tabs->isHidden());
        QCOMPARE(c->subFrame(), -1);

        // One with a name: one tab with it.
        c->setFrame(makeFrame(4, 2, ramp(8, 0, 1), 1.0, "Single"));
        QVERIFY(!tabs->isHidden());
        QCOMPARE(tabs->count(), 1);
        QCOMPARE(tabs->tabText(0), QStringLiteral("Single"));
        QCOMPARE(c->subFrame(), -1);

        // Three sub-frames: the tabs are rebuilt and the first sub-frame is shown.
        sim::SimFrame* parent = makeFrame(4, 2, ramp(8, 1000, 1), 1.0, "Parent");
        const char* names[] = {"Low", "High", "Sum"};
        for (int i = 0; i < 3; ++i) {
            sim::SimFrame* sub = makeFrame(4, 2, ramp(8, 100.0 * (i + 1), 1), 1.0, names[i]);
            parent->addSubFrame(sub);
            sub->decRef();
        }
        c->setFrame(parent);
        QCOMPARE(tabs->count(), 3);
        QCOMPARE(tabs->tabText(0), QStringLiteral("Low"));
        QCOMPARE(tabs->tabText(1), QStringLiteral("High"));
        QCOMPARE(tabs->tabText(2), QStringLiteral("Sum"));
        QCOMPARE(c->subFrame(), 0);
        QCOMPARE(tabs->currentIndex(), 0);
        QVERIFY(!tabs->isHidden());
        QCOMPARE(shownPixels(widget.get()), ramp(8, 100, 1));

        // A click on a tab shows that sub-frame.
        tabs->setCurrentIndex(2);
        QCOMPARE(c->subFrame(), 2);
        QCOMPARE(shownPixels(widget.get()), ramp(8, 300, 1));

        // Back to a frame with neither: the bar goes away.
        c->setFrame(makeFrame(4, 2, ramp(8, 5, 1)));
        QVERIFY(tabs->isHidden());
        QCOMPARE(c->subFrame(), -1);
        QCOMPARE(shownPixels(widget.get()), ramp(8, 5, 1));
    }

    void currentSubFrameOrFrameHonoursSameSize()
    {
        BaseProbe* c = makeBase();
        QVERIFY(!c->currentSubFrameOrFrame(false));
        sim::SimFrame* parent = makeFrame(4, 2, ramp(8, 0, 1));
        sim::SimFrame* same = makeFrame(4, 2, ramp(8, 10, 1));
        sim::SimFrame* smaller = makeFrame(2, 2, ramp(4, 20, 1));
        parent->addSubFrame(same);
        parent->addSubFrame(smaller);
        c->setCurrentFrame(parent);
        QCOMPARE(c->currentSubFrameOrFrame(false).get(), parent); // none chosen
        c->setSubFrame(0);
        QCOMPARE(c->currentSubFrameOrFrame(false).get(), same);
        QCOMPARE(c->currentSubFrameOrFrame(true).get(), same);
        c->setSubFrame(1);
        QCOMPARE(c->currentSubFrameOrFrame(false).get(), smaller);
        QCOMPARE(c->currentSubFrameOrFrame(true).get(), parent);
        c->setSubFrame(2); // out of range
        QCOMPARE(c->currentSubFrameOrFrame(false).get(), parent);
        // The result carries a reference of its own.
        {
            const int before = smaller->refCount();
            c->setSubFrame(1);
            ov::RefData<ov::IMpxFrame> held = c->currentSubFrameOrFrame(false);
            QCOMPARE(smaller->refCount(), before + 1);
        }
        same->decRef();
        smaller->decRef();
        parent->decRef();
    }

    void maskedOverlayOnlyWithShowMaskedOnRealFrame()
    {
        TimepixProbe* c = makeTimepix();
        ov::IMpxPixCfg* cfg = dev->pixCfg();
        QCOMPARE(cfg->setMaskBit(3, true), 0);
        QCOMPARE(cfg->setMaskBitRange(10, 20, 5, 2, true), 0);
        const std::vector<double> maskBytes = deviceBits(1);
        QCOMPARE(maskBytes.size(), size_t(65536));

        sim::SimFrame* f = makeFrame(256, 256, ramp(65536, 0, 0.5));
        auto frameMask = std::make_shared<const std::vector<uint8_t>>(65536, uint8_t(0));
        f->setMask(frameMask);
        QVERIFY(f->hasPixCfgInfo());
        c->setCurrentFrame(f);

        // Off: no overlay, no mask plane.
        c->showMaskedPixels(false);
        QVERIFY(!widget->image->showMasked);
        QCOMPARE(widget->image->mask, nullptr);

        // On: the device's mask bits lie in the picture's mask plane.
        c->showMaskedPixels(true);
        QVERIFY(widget->image->showMasked);
        QVERIFY(widget->image->mask);
        QCOMPARE(widget->image->getMaskWidth(), 256u);
        QCOMPARE(widget->image->getMaskHeight(), 256u);
        QCOMPARE(std::vector<double>(widget->image->mask, widget->image->mask + 65536), maskBytes);

        // A later change of the configuration reaches the plane at the next frame.
        // (A mask byte of 0 marks a masked pixel, 1 one that counts.)
        QCOMPARE(int(widget->image->mask[65535]), 1);
        QCOMPARE(cfg->setMaskBit(65535, true), 0);
        c->updateCurrentFrame();
        QCOMPARE(int(widget->image->mask[65535]), 0);

        // A frame without pixel-configuration information leaves the plane alone.
        // (Each change of the live configuration redraws the current frame.)
        sim::SimFrame* plain = makeFrame(256, 256, ramp(65536, 1, 0));
        QVERIFY(!plain->hasPixCfgInfo());
        c->setCurrentFrame(plain);
        QCOMPARE(cfg->setMaskBit(7, true), 0);
        c->updateCurrentFrame();
        QVERIFY(widget->image->showMasked);
        QCOMPARE(int(widget->image->mask[7]), 1);

        // On a pixel-configuration tab the overlay is off.
        c->setCurrentFrame(f);
        tabs->setCurrentIndex(2);
        QCOMPARE(c->pixCfg(), 2);
        QVERIFY(!widget->image->showMasked);
        tabs->setCurrentIndex(0);
        QVERIFY(widget->image->showMasked);
        QCOMPARE(int(widget->image->mask[7]), 0);

        c->showMaskedPixels(false);
        QVERIFY(!widget->image->showMasked);
        plain->decRef();
        f->decRef();
    }

    void pixCfgTabsShowDeviceBits()
    {
        TimepixProbe* c = makeTimepix();
        QCOMPARE(tabs->count(), 5);
        ov::IMpxPixCfg* cfg = dev->pixCfg();
        QCOMPARE(cfg->setMaskColumn(5, true), 0);
        QCOMPARE(cfg->setTestRow(9, true), 0);
        QCOMPARE(cfg->setThlRange(0, 0, 16, 16, 12), 0);
        QCOMPARE(cfg->setThl(300, 3), 0);

        const std::vector<double> frameValues = ramp(65536, 2, 1);
        c->setFrame(makeFrame(256, 256, frameValues, 1.0, "Frame 1"));
        QCOMPARE(shownPixels(widget.get()), frameValues);

        for (int tab = 1; tab <= 3; ++tab) {
            tabs->setCurrentIndex(tab);
            QCOMPARE(c->pixCfg(), tab);
            ov::IMpxFrame* shown = c->pixCfgShown();
            QVERIFY(shown);
            QCOMPARE(int(shown->dataType()), int(ov::FrameInt16));
            QCOMPARE(shown->width(), 256u);
            QCOMPARE(shown->height(), 256u);
            QCOMPARE(shownPixels(widget.get()), deviceBits(tab));
            // Saving, masking and statistics work on this frame now.
            QCOMPARE(c->currentSubFrameOrFrame(false).get(), shown);
        }
        // The bits themselves, not only whatever the device reported.
        // The mask tab shows 1 where a pixel counts: pixel (5, 40) is masked.
        tabs->setCurrentIndex(1);
        QCOMPARE(shownPixels(widget.get())[5 + 256 * 40], 0.0);
        QCOMPARE(shownPixels(widget.get())[6 + 256 * 40], 1.0);
        tabs->setCurrentIndex(3);
        QCOMPARE(shownPixels(widget.get())[300], 3.0);
        QCOMPARE(shownPixels(widget.get())[17 * 256], 7.0);

        // A live change of the configuration redraws the view on show.
        QCOMPARE(cfg->setThl(301, 14), 0);
        QTRY_COMPARE_WITH_TIMEOUT(shownPixels(widget.get())[301], 14.0, 5000);

        // Tab 0 returns to the real frame and drops the configuration frame.
        tabs->setCurrentIndex(0);
        QCOMPARE(c->pixCfg(), 0);
        QCOMPARE(c->pixCfgShown(), nullptr);
        QCOMPARE(shownPixels(widget.get()), frameValues);
        QCOMPARE(c->currentSubFrameOrFrame(false).get(), c->currentFrame().get());
    }

    void tooltipOfPixCfgViews()
    {
        TimepixProbe* c = makeTimepix();
        QSignalSpy moves(c, &DevCtrlMpx::sigFrameMouseMove);
        tabs->setCurrentIndex(1);
        QCOMPARE(c->onFrameTooltip(3, 4, 1.0), QStringLiteral("[3,4]=Unmasked"));
        QCOMPARE(c->onFrameTooltip(255, 0, 0.0), QStringLiteral("[255,0]=Masked"));
        tabs->setCurrentIndex(2);
        QCOMPARE(c->onFrameTooltip(12, 130, 1.0), QStringLiteral("[12,130]=On"));
        QCOMPARE(c->onFrameTooltip(12, 131, 0.0), QStringLiteral("[12,131]=Off"));
        QCOMPARE(moves.count(), 4);
        QCOMPARE(moves.at(2).at(0).toInt(), 12);
        QCOMPARE(moves.at(2).at(1).toInt(), 130);
        QCOMPARE(moves.at(2).at(2).toDouble(), 1.0);
        // The THL view has no text of its own, and without a selection none at all.
        tabs->setCurrentIndex(3);
        QCOMPARE(c->onFrameTooltip(1, 1, 7.0), QString());
    }

    void tooltipSignalAndContrastToNoise()
    {
        BaseProbe* c = makeBase();
        const unsigned width = 8;
        std::vector<double> values(64);
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = double((i * 7) % 11) + (i % 3 == 0 ? 0.5 : 0.0);
        sim::SimFrame* f = makeFrame(width, 8, values);
        c->setCurrentFrame(f);
        QCOMPARE(c->onFrameTooltip(1, 1, values[9]), QString()); // no selection

        const QRect first(0, 0, 4, 3);
        const QRect second(3, 2, 4, 5); // overlaps the first at (3,2)
        c->onSelectionRectsChanged({first, second});
        QCOMPARE(c->selection().size(), 2);

        const Stats a = statsOf(values, width, first);
        const Stats b = statsOf(values, width, second);
        QVERIFY(a.deviation > 0 && b.deviation > 0);

        // In the first rectangle only: signal to noise of that rectangle.
        QCOMPARE(c->onFrameTooltip(1, 1, values[9]),
            tooltipText(1, 1, values[9], a, "SNR", std::fabs(a.mean) / a.deviation));
        // In the second (also where both overlap: the later one wins): contrast to noise.
        const double cnr = std::fabs(a.mean - b.mean)
            / std::sqrt(b.deviation * b.deviation + a.deviation * a.deviation);
        QCOMPARE(c->onFrameTooltip(5, 5, values[45]), tooltipText(5, 5, values[45], b, "CNR", cnr));
        QCOMPARE(c->onFrameTooltip(3, 2, values[19]), tooltipText(3, 2, values[19], b, "CNR", cnr));
        // Outside both: nothing.
        QCOMPARE(c->onFrameTooltip(7, 0, values[7]), QString());

        // Without a frame there are no statistics.
        c->setCurrentFrame(nullptr);
        QCOMPARE(c->onFrameTooltip(1, 1, 0.0), QString());
        f->decRef();
    }

    void selectionAndZoomHandTheRegionOver()
    {
        BaseProbe* c = makeBase();
        qRegisterMetaType<ov::RefData<ov::IMpxFrame>>();
        qRegisterMetaType<FrameRegion>();
        std::vector<std::pair<ov::IMpxFrame*, std::vector<ov::RegionRect>>> seen;
        connect(c, &DevCtrlMpx::sigFrameRegionChanged, this,
            [&seen](ov::RefData<ov::IMpxFrame> frame, FrameRegion region) {
                seen.emplace_back(frame.get(), region.rects);
            });

        // No frame: a null frame and no region.
        c->onFrameZoomRectChanged(QRect(0, 0, 2, 2));
        QCOMPARE(seen.size(), size_t(1));
        QCOMPARE(seen[0].first, nullptr);
        QVERIFY(seen[0].second.empty());

        sim::SimFrame* f = makeFrame(6, 5, ramp(30, 0, 1));
        c->setCurrentFrame(f);
        // No selection: the whole frame.
        c->onFrameZoomRectChanged(QRect(1, 1, 2, 2));
        QCOMPARE(seen.size(), size_t(2));
        QCOMPARE(seen[1].first, f);
        QCOMPARE(seen[1].second.size(), size_t(1));
        QCOMPARE(seen[1].second[0].x, 0);
        QCOMPARE(seen[1].second[0].y, 0);
        QCOMPARE(seen[1].second[0].width, 6);
        QCOMPARE(seen[1].second[0].height, 5);

        // A new selection: stored, and its last rectangle is the region.
        c->onSelectionRectsChanged({QRect(0, 0, 2, 2), QRect(2, 1, 3, 4)});
        QCOMPARE(seen.size(), size_t(3));
        QCOMPARE(seen[2].first, f);
        QCOMPARE(seen[2].second.size(), size_t(1));
        QCOMPARE(seen[2].second[0].x, 2);
        QCOMPARE(seen[2].second[0].y, 1);
        QCOMPARE(seen[2].second[0].width, 3);
        QCOMPARE(seen[2].second[0].height, 4);
        f->decRef();
    }

    void showAcqFrameTakesTheDeviceStore()
    {
        TimepixProbe* t = makeTimepix();
        t->showAcqFrame(0); // an empty store: nothing
        QCOMPARE(t->currentFrame().get(), nullptr);
        t->acqParams().acqCount = 3;
        t->acqParams().acqTime = 0.0;
        QSignalSpy done(t, &DevCtrlMpx::acqAllFinished);
        QCOMPARE(t->startAcq(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 60000);
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
        QCOMPARE(t->acqFrameCount(), 3);
        t->showAcqFrame(1);
        ov::RefData<ov::IMpxFrame> second(dev->acqFrameRefInc(1), false);
        QCOMPARE(t->currentFrame().get(), second.get());
        ov::DataBuff<double> pixels;
        QCOMPARE(second->getData(&pixels, ov::FrameDouble), 0);
        QCOMPARE(shownPixels(widget.get()),
            std::vector<double>(pixels.data(), pixels.data() + pixels.size()));
        t->showAcqFrame(3); // beyond the store: nothing changes
        QCOMPARE(t->currentFrame().get(), second.get());
        QCOMPARE(QString::fromStdString(second->frameName()), QStringLiteral("Frame 2"));
    }

    void clearLoadedDataReturnsToTheDevice()
    {
        BaseProbe* c = makeBase();
        QCOMPARE(c->acqFrameCount(), 0);
        sim::SimData* data = sim::SimData::create();
        sim::SimFrame* f = makeFrame(2, 2, ramp(4, 0, 1));
        data->addFrame(f);
        f->decRef();
        c->addLoaded(data);
        c->addLoaded(data);
        data->decRef(); // the controller holds the only reference now
        QCOMPARE(c->acqFrameCount(), 2);
        QCOMPARE(c->acqDataCount(), 2);
        QCOMPARE(sim::liveCount(sim::Counted::Data), liveAtStart.data + 1);
        c->clearLoadedData();
        QVERIFY(!c->hasLoadedData());
        QCOMPARE(sim::liveCount(sim::Counted::Data), liveAtStart.data);
        QCOMPARE(c->acqFrameCount(), 0);
        QCOMPARE(c->acqDataCount(), 0);
    }

    void maskTabDuringMeasurementStopsLiveRefresh()
    {
        TimepixProbe* c = makeTimepix();
        std::atomic<int> handedOver {0};
        connect(
            c, &DevCtrlMpx::sigShowFrame, this, [&handedOver] { ++handedOver; },
            Qt::DirectConnection);
        QSignalSpy done(c, &DevCtrlMpx::acqAllFinished);
        c->acqParams().acqCount = 100;
        c->acqParams().acqTime = 0.02;
        QCOMPARE(c->startAcq(), 0);
        // Live frames arrive on the real-frame tab.
        QTRY_VERIFY_WITH_TIMEOUT(handedOver.load() >= 1 && c->isFrameShown(), 60000);
        QVERIFY(c->currentFrame());

        tabs->setCurrentIndex(1);
        QCOMPARE(c->pixCfg(), 1);
        const int atSwitch = handedOver.load();
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 120000);
        QCOMPARE(done.at(0).at(0).toInt(), 0);
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
        QCOMPARE(c->curAcq(), 100);
        QCoreApplication::processEvents();

        // At most a frame already past the test when the tab changed; not the last one,
        // which an open gate would always have let through.
        QVERIFY2(handedOver.load() <= atSwitch + 1,
            qPrintable(QStringLiteral("%1 frames after the switch at %2")
                           .arg(handedOver.load())
                           .arg(atSwitch)));
        ov::RefData<ov::IMpxFrame> last(dev->lastAcqFrameRefInc(), false);
        QVERIFY(last);
        QVERIFY(c->currentFrame().get() != last.get());
        // The mask view stays on show.
        QCOMPARE(c->pixCfg(), 1);
        QVERIFY(c->pixCfgShown());
        QCOMPARE(shownPixels(widget.get()), deviceBits(1));
    }
};

QTEST_MAIN(TstFrameStore)
#include "tst_framestore.moc"
