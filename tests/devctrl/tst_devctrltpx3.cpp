// The Timepix3 controller against a recording Timepix3: the measurement description of
// every acquisition type as the device receives it, the data-driven time, pixel and
// cluster data reaching the image properties panel and the frame, the fade window and
// frame type, the threshold applied at once, the operation mode, the threshold shift by
// polarity, the tabs, the settings and the names of pixel files.
#include "ctrlchecks.h"
#include "devctrltpx3.h"
#include "fakedevice.h"
#include "recordingsettings.h"
#include "tpx3fakes.h"

#include "pnlimageprops.h"

#include <qmpxframe.h>

#include <QCheckBox>
#include <QLineEdit>
#include <QTabBar>
#include <QtTest>

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>

using namespace PluginDevControl;
using testdev::FakeClusters;
using testdev::FakeFrameData;
using testdev::FakePixels;
using testdev::readAt;
using testdev::Tpx3Device;
using testdev::ValueFrame;

namespace {

class ProbeCtrl : public DevCtrlTpx3
{
public:
    using DevCtrlTpx3::DevCtrlTpx3;
    void setView(PixCfgType type) { pixCfgType = type; }
    PixCfgType view() const { return pixCfgType.load(); }
    bool autoCtprKept() const { return autoCtpr; }
};

ov::IMpxFrame* smallFrame(double value)
{
    return testdev::FakeFrame::create(2, 2, static_cast<uint32_t>(value));
}

// A controller on a Timepix3 with a frame widget and the image properties panel. The
// data objects that its device holds are made before it, so that they outlive the
// references the panel and the frame keep.
struct PanelRig
{
    explicit PanelRig(std::vector<ov::IData*> objects)
    {
        dev.dataObjects = std::move(objects);
        ctrl.setImagePropsPanel(panel.get());
    }
    ~PanelRig() { ctrl.setImagePropsPanel(nullptr); }

    Tpx3Device dev {4, 2};
    QMpxFrame widget;
    ProbeCtrl ctrl {nullptr, &dev, &widget, nullptr};
    std::unique_ptr<PnlImageProps> panel = std::make_unique<PnlImageProps>(nullptr, &widget, &ctrl);
};

// Runs one measurement of ctrl and waits for its end and for its threads.
bool runOnce(DevCtrlMpx& ctrl)
{
    QSignalSpy finished(&ctrl, &DevCtrlMpx::acqAllFinished);
    if (ctrl.startAcq() != 0)
        return false;
    return QTest::qWaitFor([&] { return finished.count() == 1; }, 5000)
        && QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 5000);
}

} // namespace

class TstDevCtrlTpx3 : public QObject
{
    Q_OBJECT

    static constexpr unsigned W = 4;
    static constexpr unsigned H = 2;

private slots:
    void cleanup()
    {
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 20000));
    }

    // ---------------------------------------------------------------------------
    // The measurement description

    void descriptionByType_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<uint32_t>("word");
        QTest::addColumn<int>("integral");
        QTest::addColumn<bool>("testPulses");
        QTest::addColumn<double>("time");
        QTest::addColumn<uint32_t>("spacing");
        // acqTime 0.25, data-driven time 7.5, spacing 3, tpSpacing 9.
        QTest::newRow("Frames") << 0 << 0u << 0 << false << 0.25 << 3u;
        QTest::newRow("Integral") << 1 << 0u << 1 << false << 0.25 << 3u;
        QTest::newRow("Test pulses") << 2 << 1u << 0 << true << 0.25 << 9u;
        QTest::newRow("Pixels") << 3 << 2u << 0 << false << 7.5 << 3u;
        QTest::newRow("integral test pulses") << 4 << 1u << 1 << true << 0.25 << 9u;
        QTest::newRow("Pixels & Test pulses") << 5 << 3u << 0 << true << 0.25 << 3u;
        QTest::newRow("above 5") << 6 << 0u << 0 << false << 0.25 << 3u;
        QTest::newRow("far above 5") << 42 << 0u << 0 << false << 0.25 << 3u;
    }
    void descriptionByType()
    {
        QFETCH(int, type);
        QFETCH(uint32_t, word);
        QFETCH(int, integral);
        QFETCH(bool, testPulses);
        QFETCH(double, time);
        QFETCH(uint32_t, spacing);
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        AcqParams& p = ctrl.acqParams();
        p.acqType = type;
        p.acqCount = 17;
        p.acqTime = 0.25;
        p.acqMode = 0x11;
        p.fileType = 5;
        p.fileFlags = 0x40;
        p.spacing = 3;
        p.tpSpacing = 9;
        p.refreshDacs = true;
        p.refreshPixCfg = true;
        p.fileOutput = true;
        p.outputFile = "/data/run.t3pa";
        ctrl.acqParamsTpx3().timeDataDriven = 7.5;
        QVERIFY(runOnce(ctrl));

        const auto calls = dev.recordedCalls();
        QCOMPARE(calls.size(), size_t(1));
        const auto& acq = calls[0].acq;
        QCOMPARE(readAt<uint32_t>(acq, 0), word);
        QCOMPARE(readAt<uint32_t>(acq, 4), 17u);
        QCOMPARE(readAt<double>(acq, 8), time);
        QCOMPARE(readAt<uint32_t>(acq, 16), 0x11u);
        QCOMPARE(readAt<uint32_t>(acq, 20), 5u);
        QCOMPARE(readAt<uint32_t>(acq, 24), 0x40u);
        QCOMPARE(readAt<uint32_t>(acq, 28), spacing);
        QCOMPARE(int(acq[32]), integral);
        // The refresh bytes are never sent on this family.
        QCOMPARE(int(acq[33]), 0);
        QCOMPARE(int(acq[34]), 0);
        QCOMPARE(calls[0].outputFile, std::string("/data/run.t3pa"));
        const auto* tpBase = reinterpret_cast<const unsigned char*>(&ctrl.tpParams());
        QCOMPARE(calls[0].tpBlock, testPulses ? static_cast<const void*>(tpBase + 87) : nullptr);
        QCOMPARE(ctrl.isDataDriven(), type == 3);
    }

    void storedIntegralTestPulsesRunAsTheirRow()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        RecordingSettings stored;
        stored.values["Acq/Type"] = "4";
        stored.values["Acq/Spacing"] = "2";
        stored.values["Acq/TpSpacing"] = "6";
        stored.values["Acq/Time"] = "0.5";
        ctrl.loadSettings(&stored);
        QCOMPARE(ctrl.acqParams().acqType, 4);
        QVERIFY(runOnce(ctrl));
        const auto calls = dev.recordedCalls();
        QCOMPARE(calls.size(), size_t(1));
        QCOMPARE(readAt<uint32_t>(calls[0].acq, 0), 1u);
        QCOMPARE(int(calls[0].acq[32]), 1);
        QCOMPARE(readAt<uint32_t>(calls[0].acq, 28), 6u);
        QCOMPARE(readAt<double>(calls[0].acq, 8), 0.5);
        QVERIFY(calls[0].tpBlock != nullptr);
        QVERIFY(!ctrl.isDataDriven());
    }

    void pixelsWithoutFileOutputSendAnEmptyName()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        ctrl.acqParams().acqType = 3;
        ctrl.acqParams().fileOutput = false;
        ctrl.acqParams().outputFile = "/data/ignored.t3p";
        QVERIFY(runOnce(ctrl));
        const auto calls = dev.recordedCalls();
        QCOMPARE(calls.size(), size_t(1));
        QVERIFY(!calls[0].fileIsNull);
        QCOMPARE(calls[0].outputFile, std::string());
    }

    void aRunStartsWithNoHitsCounted()
    {
        FakePixels pixels(smallFrame(1), 42);
        PanelRig rig({&pixels});
        ProbeCtrl& ctrl = rig.ctrl;
        ctrl.onNewData(0);
        QCOMPARE(ctrl.pixelCount(), 42u);
        uint32_t countInRun = 99;
        rig.dev.script = [&ctrl, &countInRun](Tpx3Device&) {
            countInRun = ctrl.pixelCount();
            return 0;
        };
        QVERIFY(runOnce(ctrl));
        QCOMPARE(countInRun, 0u);
        QCOMPARE(ctrl.pixelCount(), 0u);
    }

    void acqTimeOfTheRun()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        ctrl.acqParams().acqTime = 0.5;
        ctrl.acqParamsTpx3().timeDataDriven = 2.5;
        QCOMPARE(ctrl.acqTime(), 0.5);
        ctrl.acqParams().acqType = 3;
        QCOMPARE(ctrl.acqTime(), 2.5);
        ctrl.acqParamsTpx3().timeDataDriven = 0.0;
        QCOMPARE(ctrl.acqTime(), 1000.0);
        ctrl.acqParams().acqType = 5; // not data-driven: the frame time
        QCOMPARE(ctrl.acqTime(), 0.5);
        ctrl.acqParams().acqTime = 0.0;
        QCOMPARE(ctrl.acqTime(), 1000.0);
    }

    // ---------------------------------------------------------------------------
    // Pixel and cluster data

    void newDataOfEachKind_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("autoUpdate");
        QTest::addColumn<bool>("configView");
        QTest::addColumn<uint32_t>("hits");      // pixelCount afterwards
        QTest::addColumn<bool>("panelGetsData"); // the panel holds a reference
        QTest::addColumn<bool>("frameSet");
        QTest::newRow("pixels") << 3 << true << false << 42u << true << true;
        QTest::newRow("clusters") << 6 << true << false << 17u << true << true;
        QTest::newRow("frames") << 1 << true << false << 0u << true << false;
        QTest::newRow("pixels, no update") << 3 << false << false << 42u << false << false;
        QTest::newRow("clusters, no update") << 6 << false << false << 17u << false << false;
        QTest::newRow("frames, no update") << 1 << false << false << 0u << false << false;
        QTest::newRow("pixels, mask on view") << 3 << true << true << 42u << false << false;
        QTest::newRow("frames, mask on view") << 1 << true << true << 0u << false << false;
    }
    void newDataOfEachKind()
    {
        QFETCH(int, kind);
        QFETCH(bool, autoUpdate);
        QFETCH(bool, configView);
        QFETCH(uint32_t, hits);
        QFETCH(bool, panelGetsData);
        QFETCH(bool, frameSet);
        FakePixels pixels(smallFrame(3), 42);
        FakeClusters clusters(smallFrame(6), 17);
        FakeFrameData frames(smallFrame(1));
        // The object of the index is the second one; data of another kind keeps a frame
        // of its own that must not be shown.
        ov::IMpxFrame* expectedFrame = nullptr;
        std::vector<ov::IData*> objects {&pixels, &frames};
        if (kind == 3) {
            objects = {&frames, &pixels};
            expectedFrame = pixels.frame();
        } else if (kind == 6) {
            objects = {&frames, &clusters};
            expectedFrame = clusters.frame();
        }
        PanelRig rig(objects);
        ProbeCtrl& ctrl = rig.ctrl;
        ctrl.setAutoUpdateEnabled(autoUpdate);
        if (configView)
            ctrl.setView(DevCtrlMpx::PixCfgMask);

        ctrl.onNewData(1);
        QCOMPARE(ctrl.pixelCount(), hits);
        const int refs = kind == 3 ? pixels.refs.load()
            : kind == 6            ? clusters.refs.load()
                                   : frames.refs.load();
        QCOMPARE(refs, panelGetsData ? 2 : 1);
        QCOMPARE(ctrl.currentFrame().get(), frameSet ? expectedFrame : nullptr);
        ctrl.setImagePropsPanel(nullptr);
        rig.panel.reset();
        QCOMPARE(pixels.refs.load(), 1);
        QCOMPARE(clusters.refs.load(), 1);
        QCOMPARE(frames.refs.load(), 1);
    }

    void newDataWithoutPanelCountsNothing()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        FakePixels pixels(smallFrame(3), 42);
        dev.dataObjects = {&pixels};
        ctrl.onNewData(0);
        QCOMPARE(ctrl.pixelCount(), 0u);
        QVERIFY(!ctrl.currentFrame());
        QCOMPARE(pixels.refs.load(), 1);
        ctrl.onNewData(5); // no object at that index
        QCOMPARE(ctrl.pixelCount(), 0u);
    }

    void hostEventBringsTheDataToTheFrame()
    {
        FakePixels first(smallFrame(3), 5);
        FakePixels second(smallFrame(4), 9);
        PanelRig rig({&first, &second});
        std::thread host([&rig] { rig.dev.fire("AcqNewData", 1); });
        host.join();
        QTRY_COMPARE(rig.ctrl.pixelCount(), 9u);
        QCOMPARE(rig.ctrl.currentFrame().get(), second.frame());
    }

    void dataObjectsByKind()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        FakePixels pixels(smallFrame(3), 1);
        FakeClusters clusters(smallFrame(6), 1);
        FakeFrameData frames(smallFrame(1));
        dev.dataObjects = {&pixels, &clusters, &frames};

        ov::ITpx3Pixels* p = ctrl.tpx3Pixels(0);
        QCOMPARE(p, static_cast<ov::ITpx3Pixels*>(&pixels));
        QCOMPARE(pixels.refs.load(), 2); // the caller's reference
        p->decRef();
        QVERIFY(!ctrl.tpx3Pixels(1));
        QVERIFY(!ctrl.tpx3Clusters(0));
        ov::ITpx3Clusters* c = ctrl.tpx3Clusters(1);
        QCOMPARE(c, static_cast<ov::ITpx3Clusters*>(&clusters));
        c->decRef();
        QVERIFY(!ctrl.lastTpx3Pixels()); // the last object is of another kind
        QVERIFY(!ctrl.lastTpx3Clusters());
        QVERIFY(!ctrl.tpx3Pixels(3));
        QCOMPARE(pixels.refs.load(), 1);
        QCOMPARE(clusters.refs.load(), 1);
        QCOMPARE(frames.refs.load(), 1);

        dev.dataObjects = {&clusters, &pixels};
        p = ctrl.lastTpx3Pixels();
        QCOMPARE(p, static_cast<ov::ITpx3Pixels*>(&pixels));
        p->decRef();
        dev.dataObjects = {&pixels, &clusters};
        c = ctrl.lastTpx3Clusters();
        QCOMPARE(c, static_cast<ov::ITpx3Clusters*>(&clusters));
        c->decRef();
        dev.dataObjects.clear();
        QVERIFY(!ctrl.lastTpx3Pixels());
        QVERIFY(!ctrl.lastTpx3Clusters());
    }

    void fadeWindowAndFrameTypeReachTheNewestData()
    {
        Tpx3Device dev(W, H);
        QMpxFrame widget;
        ProbeCtrl ctrl(nullptr, &dev, &widget, nullptr);
        FakePixels pixels(smallFrame(3), 1);
        FakeClusters clusters(smallFrame(6), 1);
        FakeFrameData frames(smallFrame(1));
        pixels.fadeWindow = 0.5;
        clusters.fadeWindow = 0.25;

        dev.dataObjects = {&frames};
        QCOMPARE(ctrl.fadeWindowSize(), 0.0);
        ctrl.setFadeWindowSize(4.0); // nothing to set it on
        ctrl.setFrameType(ov::Tpx3FrameFade);

        dev.dataObjects = {&pixels, &clusters};
        QCOMPARE(ctrl.fadeWindowSize(), 0.25);
        ctrl.setFadeWindowSize(2.0);
        QCOMPARE(clusters.fadeWindow, 2.0);
        QCOMPARE(pixels.fadeWindow, 0.5);
        QCOMPARE(widget.image->getData()[0], 6.0); // the clusters' frame drawn

        dev.dataObjects = {&clusters, &pixels};
        QCOMPARE(ctrl.fadeWindowSize(), 0.5);
        ctrl.setFrameType(ov::Tpx3FrameFade);
        QCOMPARE(pixels.type, int(ov::Tpx3FrameFade));
        QCOMPARE(clusters.type, int(ov::Tpx3FrameIntegral));
        QCOMPARE(widget.image->getData()[0], 3.0);
        QCOMPARE(pixels.refs.load(), 1);
        QCOMPARE(clusters.refs.load(), 1);
        QCOMPARE(frames.refs.load(), 1);
        dev.dataObjects.clear();
    }

    void imagePropertiesPanelDrivesFadeWindowAndFrameType()
    {
        FakePixels pixels(smallFrame(3), 8);
        PanelRig rig({&pixels});
        PnlImageProps& panel = *rig.panel;
        QCOMPARE(panel.timepix3Controller(), static_cast<DevCtrlMpx*>(&rig.ctrl));
        auto* edTime = panel.findChild<QLineEdit*>("edTime");
        auto* chbAll = panel.findChild<QCheckBox*>("chbAll");
        QVERIFY(edTime && chbAll);
        panel.show();
        rig.ctrl.onNewData(0); // pixel data bring up the time window
        QTRY_VERIFY(edTime->isVisible());

        edTime->setFocus();
        edTime->clear();
        QTest::keyClicks(edTime, "1.5");
        QTest::keyClick(edTime, Qt::Key_Return);
        QCOMPARE(pixels.fadeWindow, 1.5);

        const bool all = chbAll->isChecked();
        QTest::mouseClick(chbAll, Qt::LeftButton);
        QCOMPARE(pixels.type, all ? int(ov::Tpx3FrameFade) : int(ov::Tpx3FrameIntegral));
        QTest::mouseClick(chbAll, Qt::LeftButton);
        QCOMPARE(pixels.type, all ? int(ov::Tpx3FrameIntegral) : int(ov::Tpx3FrameFade));
    }

    void showAcqFrameOfPixelData()
    {
        FakePixels first(smallFrame(3), 5);
        FakePixels second(smallFrame(4), 9);
        PanelRig rig({&first, &second});
        ProbeCtrl& ctrl = rig.ctrl;
        ctrl.acqParams().acqType = 3;

        ctrl.showAcqFrame(2); // beyond the data: nothing
        QCOMPARE(ctrl.pixelCount(), 0u);
        QVERIFY(!ctrl.currentFrame());
        ctrl.showAcqFrame(1); // no stored frame: the first data object
        QCOMPARE(ctrl.pixelCount(), 5u);
        QCOMPARE(ctrl.currentFrame().get(), first.frame());

        // With frames stored, or in a frame measurement, the frame store answers.
        ctrl.setFrame(nullptr);
        rig.dev.frameCount = 2;
        ctrl.showAcqFrame(1);
        QVERIFY(!ctrl.currentFrame());
    }

    // ---------------------------------------------------------------------------
    // Threshold, operation mode

    void thresholdArguments_data() { ctrlchecks::addThresholdArgumentRows(); }
    void thresholdArguments()
    {
        Tpx3Device dev(W, H);
        ctrlchecks::checkThresholdArguments<ProbeCtrl>(dev);
    }

    void thresholdIsAppliedAtOnceDuringARun()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        std::atomic<bool> inRun {false};
        std::atomic<bool> release {false};
        dev.script = [&](Tpx3Device&) {
            inRun = true;
            while (!release.load())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return 0;
        };
        QSignalSpy finished(&ctrl, &DevCtrlMpx::acqAllFinished);
        QCOMPARE(ctrl.startAcq(), 0);
        QVERIFY(QTest::qWaitFor([&] { return inRun.load(); }, 5000));
        QVERIFY(ctrl.isAcqRunning());
        QCOMPARE(ctrl.setThreshold(8.5), 0);
        QCOMPARE(dev.writtenThresholds().size(), size_t(1));
        QCOMPARE(dev.writtenThresholds()[0].value, 8.5);
        release = true;
        QVERIFY(QTest::qWaitFor([&] { return finished.count() == 1; }, 5000));
    }

    void calibrationFlagFollowsTheDeviceSettings()
    {
        Tpx3Device dev(W, H, 2);
        dev.calibrated = {true, true};
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        QVERIFY(ctrl.isThresholdCalibrated());
        dev.calibrated[0] = false;
        QVERIFY(ctrl.isThresholdCalibrated());
        dev.fire("DeviceCfgChanged", 0);
        QVERIFY(!ctrl.isThresholdCalibrated());
    }

    void operationModeInEightBits()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        dev.opMode = 2;
        QCOMPARE(ctrl.opMode(), 2);
        QCOMPARE(ctrl.setOpMode(0x103), 0);
        QCOMPARE(dev.opModeWrites, std::vector<uint8_t>({3}));
        QCOMPARE(ctrl.opMode(), 3);
    }

    void settingsChangeOfTheDeviceIsSignalled()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        QSignalSpy changed(&ctrl, &DevCtrlTpx3::sigTpx3StgChanged);
        std::thread host([&dev] { dev.fire("Tpx3StgChanged", 0); });
        host.join();
        QCOMPARE(changed.count(), 1);
        QSignalSpy newData(&ctrl, &DevCtrlTpx3::sigNewData);
        ctrl.onNewDataFunc(4);
        QCOMPARE(newData.count(), 1);
        QCOMPARE(newData.at(0).at(0).toInt(), 4);
    }

    // ---------------------------------------------------------------------------
    // Threshold shift

    void shiftThresholdAdjustments_data()
    {
        QTest::addColumn<int>("pixelType");
        QTest::addColumn<bool>("polarity");
        QTest::addColumn<bool>("over");
        // Pixel values 0, 5, 10, 20, 20, 3, 20, 0 against the limit 8; the adjustments
        // start at 7, with pixel 3 at the maximum 15 and pixel 0 at 0.
        for (int type : {int(ov::FrameInt16), int(ov::FrameUInt32), int(ov::FrameUInt64),
                 int(ov::FrameDouble)}) {
            for (bool polarity : {true, false}) {
                for (bool over : {true, false}) {
                    const QString name = QString("type %1, polarity %2, %3")
                                             .arg(type)
                                             .arg(polarity)
                                             .arg(over ? "over" : "under");
                    QTest::newRow(qPrintable(name)) << type << polarity << over;
                }
            }
        }
    }
    void shiftThresholdAdjustments()
    {
        QFETCH(int, pixelType);
        QFETCH(bool, polarity);
        QFETCH(bool, over);
        Tpx3Device dev(W, H);
        dev.polarity = polarity;
        dev.live.thlPlane[0] = 0;
        dev.live.thlPlane[3] = 15;
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        ov::IMpxFrame* frame = ValueFrame::create(pixelType, W, H, {0, 5, 10, 20, 20, 3, 20, 0});
        ctrl.setCurrentFrame(frame);
        frame->decRef();

        const int rc = over ? ctrl.shiftThlOver(8, 1) : ctrl.shiftThlUnder(8, 1);
        QCOMPARE(rc, 0);
        QCOMPARE(dev.setPixCfgCalls, 1);
        QVERIFY(dev.copies.back()->released);
        QVERIFY(!dev.polarityChips.empty());
        QCOMPARE(dev.polarityChips.back(), -1); // all chips

        const int step = over == polarity ? 1 : -1;
        const std::vector<unsigned> beyond
            = over ? std::vector<unsigned>({2, 3, 4, 6}) : std::vector<unsigned>({0, 1, 5, 7});
        const std::vector<uint8_t> start {0, 7, 7, 15, 7, 7, 7, 7};
        for (unsigned p = 0; p < W * H; ++p) {
            const bool moved = std::find(beyond.begin(), beyond.end(), p) != beyond.end();
            const int wanted = int(start[p]) + (moved ? step : 0);
            // Out of 0 to 15 (a wrap below 0 included) the pixel is masked, not moved.
            const bool masked = wanted < 0 || wanted > 15;
            QCOMPARE(dev.live.maskBit(p), masked);
            QCOMPARE(int(dev.live.thl(p)), masked ? int(start[p]) : wanted);
        }
        ctrl.setFrame(nullptr);
    }

    void shiftWithoutFrameFails()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        QCOMPARE(ctrl.shiftThlOver(8, 1), -1);
        QCOMPARE(ctrl.shiftThlUnder(8, 1), -1);
        QCOMPARE(dev.setPixCfgCalls, 0);
        QVERIFY(dev.copies.empty());
    }

    // ---------------------------------------------------------------------------
    // Tabs, settings, file names

    void fourTabs()
    {
        Tpx3Device dev(W, H);
        QTabBar tabs;
        QSignalSpy changed(&tabs, &QTabBar::currentChanged);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, &tabs);
        ctrlchecks::checkFixedTabs(ctrl, tabs, {"Frame", "Mask", "Test", "THL"}, changed);
    }

    void testPulseSettingsRoundTrip()
    {
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        RecordingSettings empty;
        ctrl.loadSettings(&empty); // defaults stay
        // The record is packed: its fields are compared as copies.
        QCOMPARE(uint32_t(ctrl.tpParams().tpx3.pulseCount), 10u);
        QCOMPARE(uint8_t(ctrl.tpParams().tpx3.digital), uint8_t(1));
        QCOMPARE(ctrl.acqParamsTpx3().timeDataDriven, 0.0);

        RecordingSettings stored;
        stored.values["TpPars/Count"] = "250";
        stored.values["TpPars/Digital"] = "0";
        stored.values["TpPars/External"] = "1";
        stored.values["TpPars/ManualTpBits"] = "1";
        stored.values["TpPars/Period"] = "0.004";
        stored.values["TpPars/Phase"] = "300.7"; // cut to 8 bits: 300 & 0xFF
        stored.values["TpPars/AutoCtpr"] = "1";
        stored.values["TpPars/Charge"] = "1234";
        stored.values["Acq/TimeDataDriven"] = "12.5";
        ctrl.loadSettings(&stored);
        const Tpx3Pulses& tp = ctrl.tpParams().tpx3;
        QCOMPARE(uint32_t(tp.pulseCount), 250u);
        QCOMPARE(uint8_t(tp.digital), uint8_t(0));
        QCOMPARE(uint8_t(tp.external), uint8_t(1));
        QCOMPARE(uint8_t(tp.manualTpBits), uint8_t(1));
        QCOMPARE(double(tp.pulsePeriod), 0.004);
        QCOMPARE(uint8_t(tp.phase), uint8_t(44));
        QCOMPARE(uint32_t(tp.charge), 1234u);
        QVERIFY(ctrl.autoCtprKept());
        QCOMPARE(ctrl.acqParamsTpx3().timeDataDriven, 12.5);

        RecordingSettings saved;
        ctrl.saveSettings(&saved);
        const std::vector<std::string> head(saved.writes.begin(), saved.writes.begin() + 10);
        QCOMPARE(head,
            std::vector<std::string>({"TpPars/Count", "TpPars/Digital", "TpPars/External",
                "TpPars/ManualTpBits", "TpPars/Period", "TpPars/Phase", "TpPars/AutoCtpr",
                "TpPars/Charge", "Acq/TimeDataDriven", "Acq/Type"}));
        QCOMPARE(saved.values["TpPars/Phase"], std::string("44"));

        Tpx3Device other(W, H);
        ProbeCtrl again(nullptr, &other, nullptr, nullptr);
        again.loadSettings(&saved);
        QCOMPARE(std::memcmp(&again.tpParams().tpx3, &tp, sizeof tp), 0);
        QVERIFY(again.autoCtprKept());
        QCOMPARE(again.acqParamsTpx3().timeDataDriven, 12.5);
    }

    void pixelFileNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("pixelFile");
        QTest::newRow("t3p") << "run.t3p" << true;
        QTest::newRow("t3pa") << "/data/run.t3pa" << true;
        QTest::newRow("t3r") << "run.t3r" << true;
        QTest::newRow("prd") << "run.prd" << true;
        QTest::newRow("no dot") << "runt3p" << true;
        QTest::newRow("upper case") << "run.T3P" << false;
        QTest::newRow("upper case prd") << "run.PRD" << false;
        QTest::newRow("mixed case") << "run.t3Pa" << false;
        QTest::newRow("longer ending") << "run.t3pb" << false;
        QTest::newRow("frames") << "run.dsc" << false;
        QTest::newRow("empty") << "" << false;
    }
    void pixelFileNames()
    {
        QFETCH(QString, name);
        QFETCH(bool, pixelFile);
        Tpx3Device dev(W, H);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        QCOMPARE(ctrl.isPixelFile(name), pixelFile);
    }
};

QTEST_MAIN(TstDevCtrlTpx3)
#include "tst_devctrltpx3.moc"
