// Measurements through the controller on the simulated Timepix quad, with the device's
// events delivered on the acquisition thread and on the host's event thread.
#include "devctrlmpx2.h"

#include "livecounts.h"
#include "simhost.h"
#include "timepixdevice.h"

#include <qmpxframe.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTabBar>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>
#include <vector>

using namespace PluginDevControl;

Q_DECLARE_METATYPE(sim::EventDelivery::Mode)

namespace {

// Counts the frames that reach the frame widget.
class CountingCtrl : public DevCtrlMpx2
{
public:
    using DevCtrlMpx2::DevCtrlMpx2;
    void showFrame(ov::IMpxFrame* frame) override
    {
        if (frame)
            ++drawn;
        DevCtrlMpx2::showFrame(frame);
    }
    // The panels' data hand-over, with the thread it ran on.
    void onAcqDataChanged() override
    {
        if (QThread::currentThread() == qApp->thread())
            ++dataChangedOnGui;
        else
            ++dataChangedElsewhere;
        DevCtrlMpx2::onAcqDataChanged();
    }
    bool isFrameShown() const { return frameShown.load(); }
    int drawn = 0; // GUI thread only
    std::atomic<int> dataChangedOnGui {0};
    std::atomic<int> dataChangedElsewhere {0};
};

// What the GUI thread receives, in order of arrival.
struct Record
{
    std::vector<unsigned> progressFrames;
    std::vector<double> progressPercent;
    std::vector<int> frameCounts;
    int singles = 0;
    int repeatsStarted = 0;
    int repeatsFinished = 0;
    std::vector<int> results;
};

} // namespace

class TstDevCtrlSim : public QObject
{
    Q_OBJECT

    livecounts::FramesAndData liveAtStart;
    std::unique_ptr<QTemporaryDir> home;
    std::unique_ptr<sim::SimHost> host;
    std::shared_ptr<sim::TimepixDevice> quad;
    ov::IDevMpx2* dev = nullptr;
    std::unique_ptr<QMpxFrame> widget;
    std::unique_ptr<QTabBar> tabs;
    std::unique_ptr<CountingCtrl> ctrl;
    std::atomic<int> showSignals {0};
    Record rec;

    void listen()
    {
        CountingCtrl* c = ctrl.get();
        connect(c, &DevCtrlMpx::progress, this, [this](double p, unsigned f) {
            rec.progressPercent.push_back(p);
            rec.progressFrames.push_back(f);
        });
        connect(c, &DevCtrlMpx::acqFrameCountChange, this,
            [this](int n) { rec.frameCounts.push_back(n); });
        connect(c, &DevCtrlMpx::acqSingleFinished, this, [this] { ++rec.singles; });
        connect(c, &DevCtrlMpx::acqRepeatStarted, this, [this] { ++rec.repeatsStarted; });
        connect(c, &DevCtrlMpx::acqRepeatFinished, this, [this] { ++rec.repeatsFinished; });
        connect(c, &DevCtrlMpx::acqAllFinished, this, [this](int r) { rec.results.push_back(r); });
        connect(
            c, &DevCtrlMpx::sigShowFrame, this, [this] { ++showSignals; }, Qt::DirectConnection);
    }

    bool waitIdle()
    {
        return QTest::qWaitFor(
            [this] {
                return !rec.results.empty() && !ctrl->isAcqRunning()
                    && DevCtrlMpx::detachedThreadCount() == 0;
            },
            240000);
    }

    // The pixels on screen are those of the device's last frame.
    void verifyLastFrameOnScreen()
    {
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->isFrameShown(), 20000);
        ov::RefData<ov::IMpxFrame> last(dev->lastAcqFrameRefInc(), false);
        QVERIFY(last);
        QCOMPARE(ctrl->currentFrame().get(), last.get());
        ov::DataBuff<double> pixels;
        QCOMPARE(last->getData(&pixels, ov::FrameDouble), 0);
        QCOMPARE(widget->image->getDataWidth(), last->width());
        QCOMPARE(widget->image->getDataHeight(), last->height());
        const double* shown = widget->image->getData();
        QVERIFY(shown);
        QVERIFY(std::equal(pixels.data(), pixels.data() + pixels.size(), shown));
    }

    void addModes()
    {
        QTest::addColumn<sim::EventDelivery::Mode>("mode");
        QTest::newRow("acquisition thread") << sim::EventDelivery::Direct;
        QTest::newRow("host event thread") << sim::EventDelivery::HostThread;
    }

private slots:
    void init()
    {
        liveAtStart = livecounts::framesAndData();
        home = std::make_unique<QTemporaryDir>();
        host = std::make_unique<sim::SimHost>(home->path());
        auto device = std::make_shared<sim::TimepixDevice>(sim::makeDeviceDesc(1, 4242));
        quad = device;
        ov::IDev* d = host->connectDevice(device);
        QVERIFY(d);
        dev = dynamic_cast<ov::IDevMpx2*>(d);
        QVERIFY(dev);
        QCOMPARE(dev->width(), 512);
        // A modest store keeps the test light; the oldest frames make room.
        quad->store().setLimitBytes(size_t(48) << 20);
        widget = std::make_unique<QMpxFrame>();
        widget->resize(400, 400);
        tabs = std::make_unique<QTabBar>();
        ctrl = std::make_unique<CountingCtrl>(host.get(), dev, widget.get(), tabs.get());
        showSignals = 0;
        rec = Record();
        listen();
    }

    void cleanup()
    {
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
        ctrl.reset();
        tabs.reset();
        widget.reset();
        dev = nullptr;
        quad.reset();
        host.reset();
        home.reset();
        // The controller gave back every frame and data object it took.
        QCOMPARE(livecounts::framesAndData(), liveAtStart);
    }

    void twoHundredFrames_data() { addModes(); }
    void twoHundredFrames()
    {
        QFETCH(sim::EventDelivery::Mode, mode);
        quad->setEventDeliveryMode(mode);
        ctrl->acqParams().acqCount = 200;
        ctrl->acqParams().acqTime = 0.0;
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(ctrl->startAcq(), 0);
        QVERIFY(waitIdle());
        const double seconds = double(clock.elapsed()) / 1000.0;

        QCOMPARE(rec.results, std::vector<int> {0});
        QCOMPARE(ctrl->lastAcqResult(), 0);
        QCOMPARE(ctrl->curAcq(), 200);
        // Frames reach the GUI coalesced: as many signals as the GUI thread took, each
        // with the latest frame, ending on the last one before the end of the run.
        QVERIFY(rec.singles >= 1 && rec.singles <= 200);
        QCOMPARE(rec.progressFrames.size(), size_t(rec.singles));
        for (size_t i = 0; i < rec.progressFrames.size(); ++i) {
            const unsigned frame = rec.progressFrames[i];
            QVERIFY(frame >= 1 && frame <= 200);
            // The values are read when the GUI thread takes them: the same frame may come
            // twice, never an older one.
            QVERIFY(i == 0 || frame >= rec.progressFrames[i - 1]);
            QCOMPARE(rec.progressPercent[i], double(frame) / 200.0 * 100.0);
        }
        QCOMPARE(rec.progressFrames.back(), 200u);
        QCOMPARE(rec.frameCounts.size(), size_t(rec.singles));
        QCOMPARE(rec.frameCounts.back(), dev->acqFrameCount());
        QVERIFY(rec.frameCounts.front() >= 1);

        // At most about ten frames a second reach the GUI, and at least the last.
        verifyLastFrameOnScreen();
        const int limit = int(seconds * 10.0) + 2;
        QVERIFY2(showSignals.load() >= 1 && showSignals.load() <= limit,
            qPrintable(QStringLiteral("%1 frames handed over in %2 s")
                           .arg(showSignals.load())
                           .arg(seconds)));
        QVERIFY(ctrl->drawn >= 1);
        QVERIFY2(ctrl->drawn <= limit,
            qPrintable(QStringLiteral("%1 frames drawn in %2 s").arg(ctrl->drawn).arg(seconds)));
    }

    void measuredDataReachThePanelsOnTheGuiThread_data() { addModes(); }
    void measuredDataReachThePanelsOnTheGuiThread()
    {
        // The loaded files that the panels may read instead live on the GUI thread, and
        // reading them may read a file: the host's threads never do it.
        QFETCH(sim::EventDelivery::Mode, mode);
        quad->setEventDeliveryMode(mode);
        ctrl->acqParams().acqCount = 50;
        ctrl->acqParams().acqTime = 0.0;
        QCOMPARE(ctrl->startAcq(), 0);
        QVERIFY(waitIdle());
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->dataChangedOnGui.load() >= 1, 20000);
        QCOMPARE(ctrl->dataChangedElsewhere.load(), 0);
    }

    void endlessSeriesEndedByRepeatSwitch_data() { addModes(); }
    void endlessSeriesEndedByRepeatSwitch()
    {
        QFETCH(sim::EventDelivery::Mode, mode);
        quad->setEventDeliveryMode(mode);
        AcqParams& p = ctrl->acqParams();
        p.acqCount = 3;
        p.acqTime = 0.01;
        p.repeatEnabled = true;
        p.repeatCount = 0;
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->curRepeat() >= 2, 120000);
        QVERIFY(rec.results.empty());
        ctrl->setAcqRepeatEnabled(false);
        // Repeats finished, or the index of the one in progress.
        const int atSwitch = ctrl->curRepeat();
        QVERIFY(waitIdle());
        QCOMPARE(rec.results, std::vector<int> {0});
        // The series ends after the repeat in progress (one more may have begun while
        // the switch was on its way); the signals, coalesced, came for both kinds.
        QVERIFY2(ctrl->curRepeat() <= atSwitch + 2,
            qPrintable(QStringLiteral("%1 repeats, %2 at the switch")
                           .arg(ctrl->curRepeat())
                           .arg(atSwitch)));
        QTRY_VERIFY_WITH_TIMEOUT(rec.repeatsStarted >= 1 && rec.repeatsFinished >= 1, 20000);
        // Outside the run the switch does nothing.
        ctrl->setAcqRepeatEnabled(true);
        QVERIFY(!ctrl->isAcqRunning());
    }

    void endlessSeriesEndedByStop_data() { addModes(); }
    void endlessSeriesEndedByStop()
    {
        QFETCH(sim::EventDelivery::Mode, mode);
        quad->setEventDeliveryMode(mode);
        AcqParams& p = ctrl->acqParams();
        p.acqCount = 5;
        p.acqTime = 0.01;
        p.repeatEnabled = true;
        p.repeatCount = 0;
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(rec.repeatsStarted >= 1 && ctrl->curAcq() >= 2, 120000);
        QCOMPARE(ctrl->stopAcq(), 0);
        QVERIFY(waitIdle());
        QCOMPARE(rec.results, std::vector<int> {-1007});
        QCOMPARE(ctrl->lastAcqResult(), -1007);
        QVERIFY(!ctrl->isAcqRunning());
    }

    void hundredFramesReachTheFrameWidget()
    {
        widget->show();
        QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
        ctrl->acqParams().acqCount = 100;
        ctrl->acqParams().acqTime = 0.001;
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(ctrl->startAcq(), 0);
        QVERIFY(waitIdle());
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->isFrameShown(), 20000);
        const double seconds = double(clock.elapsed()) / 1000.0;
        QCOMPARE(rec.results, std::vector<int> {0});
        QCOMPARE(ctrl->curAcq(), 100);
        verifyLastFrameOnScreen();
        QVERIFY(ctrl->drawn >= 1);
        QVERIFY2(ctrl->drawn <= int(seconds * 10.0) + 2,
            qPrintable(QStringLiteral("%1 frames drawn in %2 s").arg(ctrl->drawn).arg(seconds)));
        // The picture was painted from the frame: it has the frame's size.
        QCOMPARE(widget->image->getDataWidth(), 512u);
        QVERIFY(!widget->image->getImage().isNull());
    }
};

QTEST_MAIN(TstDevCtrlSim)
#include "tst_devctrlsim.moc"
