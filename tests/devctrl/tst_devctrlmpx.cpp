// The acquisition control of the detector controller against a scripted device: the
// records it hands over, the events it turns into signals, the frame gate.
#include "devctrlmpx2.h"
#include "fakedevice.h"
#include "recordingsettings.h"
#include "signallog.h"

#include <qmpxframe.h>

#include <QElapsedTimer>
#include <QTabBar>
#include <QtTest>

#include <chrono>
#include <cmath>
#include <memory>
#include <thread>

using namespace PluginDevControl;
using testdev::FakeDevice;
using testdev::FakeFrame;
using testdev::readAt;

namespace {

// The controller with its protected state in reach of the tests.
class ProbeCtrl : public DevCtrlMpx2
{
public:
    using DevCtrlMpx2::DevCtrlMpx2;
    bool isFrameShown() const { return frameShown.load(); }
    const RepeatDesc* liveRepeat() const { return activeRepeat.load(); }
    unsigned liveRepeatCount() const { return activeRepeatCount.load(); }
    bool stopWasRequested() const { return stopRequested.load(); }
    void setFrameShown(bool shown) { frameShown = shown; }
};

// Fires the events of a measurement of count frames, storing a frame before each.
int measure(FakeDevice& dev, int count)
{
    dev.fire("AcqMeasStarted", 0);
    for (int i = 1; i <= count; ++i) {
        dev.pushFrame(static_cast<uint32_t>(i * 10));
        dev.fire("AcqFinished", i);
    }
    dev.fire("AcqMeasFinished", 0);
    return 0;
}

} // namespace

class TstDevCtrlMpx : public QObject
{
    Q_OBJECT

    std::unique_ptr<FakeDevice> dev;
    std::unique_ptr<QMpxFrame> widget;
    std::unique_ptr<QTabBar> tabs;
    std::unique_ptr<ProbeCtrl> ctrl;
    int framesAtStart = 0;

    // Starts a measurement and waits until the worker has left the device call.
    int runToEnd()
    {
        SignalLog done(ctrl.get(), &DevCtrlMpx::acqAllFinished);
        if (ctrl->startAcq() != 0)
            return -9999;
        if (!QTest::qWaitFor([&] { return done.count() == 1 && !ctrl->isAcqRunning(); }, 20000))
            return -9998;
        if (!QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 20000))
            return -9997;
        return done.at(0, 0).toInt();
    }

private slots:
    void init()
    {
        framesAtStart = FakeFrame::live().load();
        dev = std::make_unique<FakeDevice>(1);
        widget = std::make_unique<QMpxFrame>();
        tabs = std::make_unique<QTabBar>();
        ctrl = std::make_unique<ProbeCtrl>(nullptr, dev.get(), widget.get(), tabs.get());
    }
    void cleanup()
    {
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 20000));
        ctrl.reset();
        tabs.reset();
        widget.reset();
        dev.reset();
        // Every reference the controller took on a frame was given back.
        QCOMPARE(FakeFrame::live().load(), framesAtStart);
    }

    void constructionRegistersEventsAndTabs()
    {
        const std::vector<std::string> expected {"PixCfgChanged", "AcqMeasStarted",
            "AcqMeasFinished", "AcqFinished", "AcqSerieFinished", "AcqSerieStarted", "AcqNewData",
            "DacsChanged", "DeviceStatusChanged", "FiltersChanged", "DeviceCfgChanged",
            "BiasChanged", "LockChanged", "TpxClockChanged"};
        QCOMPARE(dev->registeredEvents(), expected);
        QCOMPARE(ctrl->tpParams().devType, 1);
        QCOMPARE(tabs->count(), 5);
        QCOMPARE(tabs->tabText(0), QStringLiteral("Frame"));
        QCOMPARE(tabs->tabText(4), QStringLiteral("Mode"));
        QCOMPARE(widget->image->tooltipUser, static_cast<void*>(ctrl.get()));
    }

    void repeatCountZeroIsEndlessForTheDevice()
    {
        ctrl->acqParams().repeatEnabled = true;
        ctrl->acqParams().repeatCount = 0;
        ctrl->acqParams().acqCount = 1;
        dev->setScript([](FakeDevice& d, const void*) { return measure(d, 1); });
        QCOMPARE(runToEnd(), 0);
        const auto calls = dev->calls();
        QCOMPARE(calls.size(), size_t(1));
        QVERIFY(calls[0].repeat != nullptr);
        QCOMPARE(readAt<uint32_t>(calls[0].repeatBytes, 0), 0xFFFFFFFFu);
        QCOMPARE(ctrl->repeatCount(), 0);
    }

    void repeatDescOnlyWhenRepeatEnabled()
    {
        ctrl->acqParams().repeatEnabled = false;
        ctrl->acqParams().repeatCount = 4;
        QCOMPARE(runToEnd(), 0);
        QCOMPARE(dev->calls().at(0).repeat, nullptr);
        // Even so the live descriptor existed during the call, and is gone now.
        QCOMPARE(ctrl->liveRepeat(), nullptr);
        QCOMPARE(ctrl->liveRepeatCount(), 0u);
    }

    void spacingAndFlagsByAcqType_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<uint32_t>("flag");
        QTest::addColumn<int>("integral");
        QTest::addColumn<uint32_t>("spacing");
        QTest::addColumn<bool>("block");
        QTest::newRow("0 frames") << 0 << 0u << 0 << 3u << false;
        QTest::newRow("1 integral") << 1 << 0u << 1 << 3u << false;
        QTest::newRow("2 test pulses use tpSpacing") << 2 << 1u << 0 << 6u << true;
        QTest::newRow("3") << 3 << 0u << 0 << 3u << false;
        QTest::newRow("4 integral test pulses use spacing") << 4 << 1u << 1 << 3u << true;
    }
    void spacingAndFlagsByAcqType()
    {
        QFETCH(int, type);
        QFETCH(uint32_t, flag);
        QFETCH(int, integral);
        QFETCH(uint32_t, spacing);
        QFETCH(bool, block);
        ctrl->acqParams().acqType = type;
        ctrl->acqParams().spacing = 3;
        ctrl->acqParams().tpSpacing = 6;
        QCOMPARE(runToEnd(), 0);
        const auto call = dev->calls().at(0);
        QCOMPARE(readAt<uint32_t>(call.acq, 0), flag);
        QCOMPARE(int(call.acq[32]), integral);
        QCOMPARE(readAt<uint32_t>(call.acq, 28), spacing);
        const auto* tp = reinterpret_cast<const unsigned char*>(&ctrl->tpParams());
        QCOMPARE(call.tpBlock, block ? static_cast<const void*>(tp + 4) : nullptr);
    }

    // Stop between Start and the device's start: the device is not asked to measure,
    // and the measurement ends as aborted.
    void stopBeforeTheDeviceBeganIsNotLost()
    {
        QCOMPARE(ctrl->stopAcq(), 0);
        QSignalSpy finished(ctrl.get(), &DevCtrlMpx::acqAllFinished);
        ctrl->run();
        QCOMPARE(dev->calls().size(), size_t(0));
        QCOMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(0).toInt(), -1007);
        QCOMPARE(ctrl->lastAcqResult(), -1007);
        QVERIFY(!ctrl->isAcqRunning());
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 10000));
        // The next start clears the request and measures.
        QCOMPARE(runToEnd(), 0);
        QCOMPARE(dev->calls().size(), size_t(1));
    }

    void noFileOutputSendsEmptyStringNotNull()
    {
        ctrl->acqParams().outputFile = "/somewhere/frames.txt";
        ctrl->acqParams().fileOutput = false;
        QCOMPARE(runToEnd(), 0);
        ctrl->acqParams().fileOutput = true;
        QCOMPARE(runToEnd(), 0);
        const auto calls = dev->calls();
        QCOMPARE(calls.size(), size_t(2));
        QVERIFY(!calls[0].fileIsNull);
        QCOMPARE(calls[0].outputFile, std::string());
        QVERIFY(!calls[1].fileIsNull);
        QCOMPARE(calls[1].outputFile, std::string("/somewhere/frames.txt"));
    }

    void setAcqRepeatEnabledOutsideARunChangesNothing()
    {
        ctrl->setAcqRepeatEnabled(true);
        ctrl->setAcqRepeatEnabled(false);
        QCOMPARE(ctrl->liveRepeat(), nullptr);

        ctrl->acqParams().repeatEnabled = true;
        ctrl->acqParams().repeatCount = 5;
        const RepeatDesc* seen = nullptr;
        dev->setScript([&seen](FakeDevice&, const void* repeat) {
            seen = static_cast<const RepeatDesc*>(repeat);
            return 0;
        });
        QCOMPARE(runToEnd(), 0);
        QVERIFY(seen);
        QCOMPARE(loadRepeatCount(seen), 5u);
        // After the run the descriptor is no longer live: nothing is written into it.
        ctrl->setAcqRepeatEnabled(false);
        QCOMPARE(loadRepeatCount(seen), 5u);
        QCOMPARE(readAt<uint32_t>(dev->calls().at(0).repeatBytes, 0), 5u);
    }

    void setAcqRepeatEnabledWritesTheLiveCount()
    {
        ctrl->acqParams().repeatEnabled = true;
        ctrl->acqParams().repeatCount = 0;
        std::atomic<bool> inCall {false};
        std::atomic<bool> release {false};
        std::vector<uint32_t> seen;
        dev->setScript([&](FakeDevice&, const void* repeat) {
            const auto* r = static_cast<const RepeatDesc*>(repeat);
            seen.push_back(loadRepeatCount(r));
            inCall = true;
            while (!release.load())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            seen.push_back(loadRepeatCount(r));
            return 0;
        });
        SignalLog done(ctrl.get(), &DevCtrlMpx::acqAllFinished);
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(inCall.load(), 20000);
        QCOMPARE(ctrl->liveRepeatCount(), 0xFFFFFFFFu);
        ctrl->setAcqRepeatEnabled(false);
        QCOMPARE(loadRepeatCount(ctrl->liveRepeat()), 0u);
        ctrl->setAcqRepeatEnabled(true);
        QCOMPARE(loadRepeatCount(ctrl->liveRepeat()), 0xFFFFFFFFu);
        ctrl->setAcqRepeatEnabled(false);
        release = true;
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(!ctrl->isAcqRunning(), 20000);
        QCOMPARE(seen, (std::vector<uint32_t> {0xFFFFFFFFu, 0u}));
    }

    void oneFrameAlwaysReachesTheDisplay()
    {
        // Two one-frame "measurements" in the same instant, the GUI not having drawn
        // the first: the time gate and the handshake are both closed for the second,
        // yet it is the last frame of its measurement and goes through.
        ctrl->acqParams().acqCount = 1;
        std::atomic<int> shown {0};
        connect(
            ctrl.get(), &DevCtrlMpx::sigShowFrame, this, [&] { ++shown; }, Qt::DirectConnection);
        dev->setScript([](FakeDevice& d, const void*) {
            d.pushFrame(10);
            d.fire("AcqFinished", 1);
            d.pushFrame(20);
            d.fire("AcqFinished", 1);
            return 0;
        });
        QCOMPARE(runToEnd(), 0);
        QCOMPARE(shown.load(), 2);
        QCOMPARE(ctrl->curAcq(), 1);
    }

    void roundsOfASeriesWaitForTheGate()
    {
        // An endless series of one-frame rounds: every round's last frame would pass the
        // gate. In a series they wait for it like the others, and the end of the run
        // hands the store's last frame to the picture.
        ctrl->acqParams().acqCount = 1;
        ctrl->acqParams().repeatEnabled = true;
        std::atomic<int> shown {0};
        connect(
            ctrl.get(), &DevCtrlMpx::sigShowFrame, this, [&] { ++shown; }, Qt::DirectConnection);
        dev->setScript([](FakeDevice& d, const void*) {
            for (int round = 0; round < 2000; ++round) {
                d.fire("AcqSerieStarted", round);
                d.pushFrame(static_cast<uint32_t>(round));
                d.fire("AcqFinished", 1);
                d.fire("AcqSerieFinished", round);
            }
            return -1007;
        });
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(runToEnd(), -1007);
        // One frame per 0.1 s at most, the first at once, and the one at the end.
        const int allowed = 2 + static_cast<int>(clock.elapsed() / 100);
        QVERIFY2(shown.load() >= 2 && shown.load() <= allowed,
            qPrintable(
                QStringLiteral("%1 frames shown, %2 allowed").arg(shown.load()).arg(allowed)));
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->isFrameShown(), 20000);
        QCOMPARE(widget->image->getData()[0], 1999.0);
    }

    void gateHoldsBackFramesBetweenFirstAndLast()
    {
        ctrl->acqParams().acqCount = 5;
        std::atomic<int> shown {0};
        connect(
            ctrl.get(), &DevCtrlMpx::sigShowFrame, this, [&] { ++shown; }, Qt::DirectConnection);
        // Five frames at once: the first opens the gate (the last update is long ago),
        // frames 2 to 4 come within 0.1 s and before the GUI drew, the fifth is last.
        dev->setScript([](FakeDevice& d, const void*) { return measure(d, 5); });
        QCOMPARE(runToEnd(), 0);
        QCOMPARE(shown.load(), 2);
        // The GUI draws the last frame and opens the handshake again.
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->isFrameShown(), 20000);
        const double* pixels = widget->image->getData();
        QVERIFY(pixels);
        QCOMPARE(widget->image->getDataWidth(), 16u);
        QCOMPARE(widget->image->getDataHeight(), 8u);
        QCOMPARE(pixels[0], 50.0);
        QCOMPARE(pixels[3], 53.0);
    }

    void noDisplayWithoutFramesOrAutoUpdate()
    {
        ctrl->acqParams().acqCount = 2;
        std::atomic<int> shown {0};
        connect(
            ctrl.get(), &DevCtrlMpx::sigShowFrame, this, [&] { ++shown; }, Qt::DirectConnection);
        // No frame in the store: progress goes out, the display is left alone.
        dev->setScript([](FakeDevice& d, const void*) {
            d.fire("AcqFinished", 2);
            return 0;
        });
        SignalLog single(ctrl.get(), &DevCtrlMpx::acqSingleFinished);
        QCOMPARE(runToEnd(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(single.count(), 1, 20000);
        QCOMPARE(shown.load(), 0);
        ctrl->setAutoUpdateEnabled(false);
        dev->setScript([](FakeDevice& d, const void*) { return measure(d, 2); });
        QCOMPARE(runToEnd(), 0);
        QCOMPARE(shown.load(), 0);
    }

    void progressWithZeroCountIsNotGuarded()
    {
        ctrl->acqParams().acqCount = 0;
        SignalLog prog(ctrl.get(), &DevCtrlMpx::progress);
        for (const long frame : {1L, 0L}) {
            dev->setScript([frame](FakeDevice& d, const void*) {
                d.fire("AcqFinished", frame);
                return 0;
            });
            QCOMPARE(runToEnd(), 0);
        }
        QTRY_COMPARE_WITH_TIMEOUT(prog.count(), 2, 20000);
        QVERIFY(std::isinf(prog.at(0, 0).toDouble()));
        QCOMPARE(prog.at(0, 1).toUInt(), 1u);
        QVERIFY(std::isnan(prog.at(1, 0).toDouble()));
    }

    void frameEventsReachTheGuiCoalesced()
    {
        // A host thread finishes a hundred thousand frames while the GUI thread is busy:
        // one delivery is queued, and it carries the last frame's values.
        ctrl->acqParams().acqCount = 100000;
        ctrl->setAutoUpdateEnabled(false);
        SignalLog single(ctrl.get(), &DevCtrlMpx::acqSingleFinished);
        SignalLog prog(ctrl.get(), &DevCtrlMpx::progress);
        SignalLog counts(ctrl.get(), &DevCtrlMpx::acqFrameCountChange);
        SignalLog newData(ctrl.get(), &DevCtrlMpx::sigNewData);
        SignalLog repeats(ctrl.get(), &DevCtrlMpx::acqRepeatStarted);
        dev->pushFrame(1);
        std::thread host([this] {
            dev->fire("AcqSerieStarted", 0);
            for (long i = 1; i <= 100000; ++i) {
                dev->fire("AcqFinished", i);
                dev->fire("AcqNewData", i - 1);
            }
        });
        host.join();
        // Nothing has reached the listeners yet: they are served on the GUI thread.
        QCOMPARE(single.count(), 0);
        QCoreApplication::processEvents();
        QCOMPARE(single.count(), 1);
        QCOMPARE(repeats.count(), 1);
        QCOMPARE(prog.count(), 1);
        QCOMPARE(prog.at(0, 0).toDouble(), 100.0);
        QCOMPARE(prog.at(0, 1).toUInt(), 100000u);
        QCOMPARE(counts.count(), 1);
        QCOMPARE(counts.at(0, 0).toInt(), 1);
        QCOMPARE(newData.count(), 1);
        QCOMPARE(newData.at(0, 0).toInt(), 99999);
        // Once taken, the next event is delivered again.
        dev->fire("AcqFinished", 7);
        QTRY_COMPARE_WITH_TIMEOUT(prog.count(), 2, 20000);
        QCOMPARE(prog.at(1, 1).toUInt(), 7u);
        QCoreApplication::processEvents();
        QCOMPARE(single.count(), 2);
    }

    void signalsOfAMeasurementInOrder()
    {
        ctrl->acqParams().acqCount = 4;
        QStringList seen;
        connect(ctrl.get(), &DevCtrlMpx::acqMeasStarted, this, [&] { seen << "started"; });
        connect(ctrl.get(), &DevCtrlMpx::acqSingleFinished, this, [&] { seen << "single"; });
        connect(ctrl.get(), &DevCtrlMpx::progress, this,
            [&](double p, unsigned f) { seen << QStringLiteral("progress %1 %2").arg(p).arg(f); });
        connect(ctrl.get(), &DevCtrlMpx::acqFrameCountChange, this,
            [&](int n) { seen << QStringLiteral("frames %1").arg(n); });
        connect(ctrl.get(), &DevCtrlMpx::acqMeasFinished, this, [&] { seen << "finished"; });
        connect(ctrl.get(), &DevCtrlMpx::acqAllFinished, this,
            [&](int r) { seen << QStringLiteral("all %1").arg(r); });
        dev->setScript([](FakeDevice& d, const void*) {
            measure(d, 2);
            return -3;
        });
        QCOMPARE(runToEnd(), -3);
        QTRY_VERIFY_WITH_TIMEOUT(!seen.isEmpty() && seen.last() == "all -3", 20000);
        // The frames come in one or two deliveries, as the GUI thread takes them, each
        // with the values of the moment; they end on the last frame's values, before the
        // end of the measurement.
        QVERIFY2(seen.size() == 6 || seen.size() == 9, qPrintable(seen.join(", ")));
        QCOMPARE(seen.first(), QString("started"));
        QCOMPARE(seen.mid(seen.size() - 5),
            QStringList({"single", "progress 50 2", "frames 2", "finished", "all -3"}));
        if (seen.size() == 9) {
            QCOMPARE(seen.at(1), QString("single"));
            QVERIFY(seen.at(2) == "progress 25 1" || seen.at(2) == "progress 50 2");
            QVERIFY(seen.at(3) == "frames 1" || seen.at(3) == "frames 2");
        }
        QCOMPARE(ctrl->lastAcqResult(), -3);
        QCOMPARE(ctrl->curAcq(), 2);
        // startAcq resets the result before the next run.
        dev->setScript([](FakeDevice& d, const void*) {
            d.fire("AcqMeasStarted", 0);
            return 0;
        });
        SignalLog started(ctrl.get(), &DevCtrlMpx::acqMeasStarted);
        QCOMPARE(runToEnd(), 0);
        QCOMPARE(ctrl->lastAcqResult(), 0);
    }

    void repeatEventsCountRepeats()
    {
        dev->setScript([](FakeDevice& d, const void*) {
            d.fire("AcqSerieStarted", 0);
            d.fire("AcqFinished", 1);
            d.fire("AcqSerieFinished", 0);
            d.fire("AcqSerieStarted", 1);
            return 0;
        });
        SignalLog started(ctrl.get(), &DevCtrlMpx::acqRepeatStarted);
        SignalLog finished(ctrl.get(), &DevCtrlMpx::acqRepeatFinished);
        QCOMPARE(runToEnd(), 0);
        // Coalesced: both starts may come as one signal; the counters are exact.
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 20000);
        QVERIFY(started.count() >= 1 && started.count() <= 2);
        QCOMPARE(ctrl->curRepeat(), 1);
        QCOMPARE(ctrl->curAcq(), 0);
        dev->fire("AcqSerieFinished", 0);
        QCOMPARE(ctrl->curRepeat(), 2);
    }

    void deletingTheControllerWaitsForItsAbort()
    {
        // The abort runs on a thread of its own and holds the device: the controller
        // does not go (nor lets the device go) before it has ended.
        dev->abortDelayMs = 300;
        QCOMPARE(ctrl->stopAcq(), 0);
        ctrl.reset();
        QCOMPARE(dev->aborts.load(), 1);
        QCOMPARE(dev->abortsDone.load(), 1);
        QCOMPARE(DevCtrlMpx::detachedThreadCount(), 0);
    }

    void stopAcqAbortsOnAnotherThread()
    {
        QCOMPARE(ctrl->stopAcq(), 0);
        QVERIFY(ctrl->stopWasRequested());
        QTRY_COMPARE_WITH_TIMEOUT(dev->aborts.load(), 1, 20000);
        QCOMPARE(runToEnd(), 0);
        QVERIFY(!ctrl->stopWasRequested());
    }

    void deviceEventsBecomeSignals()
    {
        SignalLog lock(ctrl.get(), &DevCtrlMpx::sigDevLockChanged);
        SignalLog status(ctrl.get(), &DevCtrlMpx::sigDeviceStatusChanged);
        SignalLog dacs(ctrl.get(), &DevCtrlMpx::sigDacsChanged);
        SignalLog bias(ctrl.get(), &DevCtrlMpx::sigBiasChanged);
        SignalLog filters(ctrl.get(), &DevCtrlMpx::sigFiltersChanged);
        SignalLog stg(ctrl.get(), &DevCtrlMpx::sigDeviceStgChanged);
        SignalLog pixCfg(ctrl.get(), &DevCtrlMpx::sigPixCfgChanged);
        SignalLog clock(ctrl.get(), &DevCtrlMpx2::sigTpxClockChanged);
        SignalLog newData(ctrl.get(), &DevCtrlMpx::sigNewData);
        dev->locked = true;
        dev->fire("LockChanged", 1);
        QVERIFY(ctrl->isDeviceLocked());
        dev->fire("DeviceStatusChanged", 5);
        dev->fire("DacsChanged", 0);
        dev->fire("BiasChanged", 0);
        dev->fire("FiltersChanged", 0);
        dev->fire("DeviceCfgChanged", 0);
        dev->fire("PixCfgChanged", 0);
        dev->fire("TpxClockChanged", 0);
        dev->fire("AcqNewData", 6);
        QCOMPARE(lock.count(), 1);
        QCOMPARE(status.count(), 1);
        QCOMPARE(status.at(0, 0).toInt(), 5);
        QCOMPARE(status.at(0, 1).toString(), QStringLiteral("Fake ready"));
        QCOMPARE(dacs.count(), 1);
        QCOMPARE(bias.count(), 1);
        QCOMPARE(filters.count(), 1);
        QCOMPARE(stg.count(), 1);
        QCOMPARE(pixCfg.count(), 1);
        QCOMPARE(clock.count(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(newData.count(), 1, 20000);
        QCOMPARE(newData.at(0, 0).toInt(), 6);
    }

    void digitalTestCrossesCountersAndShowsFrame()
    {
        unsigned a = 0;
        unsigned b = 0;
        QCOMPARE(ctrl->doDigitalTest(true, &a, &b), 0);
        // The device fills its first counter (errors, 3) through b.
        QCOMPARE(b, 3u);
        QCOMPARE(a, 7u);
        QTRY_COMPARE_WITH_TIMEOUT(widget->image->getDataWidth(), 16u, 20000);
        QVERIFY(widget->image->getData());
        QCOMPARE(widget->image->getData()[0], 42.0);
        QCOMPARE(widget->image->getData()[1], 43.0);
    }

    void showFrameCopiesPixels()
    {
        FakeFrame* f = FakeFrame::create(16, 8, 100);
        ctrl->showFrame(f);
        QCOMPARE(widget->image->getDataWidth(), 16u);
        QCOMPARE(widget->image->getDataHeight(), 8u);
        for (unsigned i = 0; i < 128; ++i)
            QCOMPARE(widget->image->getData()[i], double(f->pixel(i)));
        ctrl->showFrame(nullptr); // does nothing
        QCOMPARE(widget->image->getData()[0], 100.0);
        f->decRef();
    }

    void setAcqParamsCopiesAndSignals()
    {
        SignalLog changed(ctrl.get(), &DevCtrlMpx::sigAcqParamsChanged);
        AcqParams p;
        p.acqCount = 17;
        p.acqTime = 0.25;
        p.repeatCount = 3;
        p.outputFile = "x.txt";
        ctrl->setAcqParams(p);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(ctrl->acqCount(), 17);
        QCOMPARE(ctrl->acqTime(), 0.25);
        QCOMPARE(ctrl->repeatCount(), 3);
        QCOMPARE(ctrl->acqParams().outputFile, std::string("x.txt"));
        // The reference lets panels write fields without a signal.
        ctrl->acqParams().acqCount = 18;
        QCOMPARE(ctrl->acqCount(), 18);
        QCOMPARE(changed.count(), 1);
    }

    void settingsSectionsAndOrder()
    {
        RecordingSettings s;
        ctrl->acqParams().acqCount = 33;
        ctrl->setFrameRange(2.0, 40.0);
        ctrl->saveSettings(&s);
        // The Timepix controller's four test-pulse keys come before the base's.
        QCOMPARE(s.writes.size(), size_t(24));
        QCOMPARE(s.writes.front(), std::string("TpPars/Count"));
        QCOMPARE(s.writes[4], std::string("Acq/Type"));
        QCOMPARE(s.writes[20], std::string("Acq/TpSpacing"));
        QCOMPARE(s.writes[21], std::string("Image/NormalizeByTime"));
        QCOMPARE(s.writes[22], std::string("Image/MinRange"));
        QCOMPARE(s.writes[23], std::string("Image/MaxRange"));

        FakeDevice other(1);
        ProbeCtrl fresh(nullptr, &other, nullptr, nullptr);
        QCOMPARE(fresh.frameMaxRange(), 1.0);
        fresh.loadSettings(&s);
        QCOMPARE(fresh.acqCount(), 33);
        QCOMPARE(fresh.frameMinRange(), 2.0);
        QCOMPARE(fresh.frameMaxRange(), 40.0);
        QCOMPARE(fresh.isNormalizedByTime(), false);
    }
};

QTEST_MAIN(TstDevCtrlMpx)
#include "tst_devctrlmpx.moc"
