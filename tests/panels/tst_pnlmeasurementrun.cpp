// The measurement panel on the Timepix controller: real runs on the worker thread,
// with a scripted device that runs a series the way the host does, round by round,
// reading the live repeat count each time.
#include "fakedevice.h"
#include "signallog.h"

#include "acqrecordreader.h"
#include "devctrlmpx2.h"
#include "pnlmeasurement.h"
#include "ui_pnlmeasurement.h"

#include <qmpxframe.h>

#include <QCheckBox>
#include <QSignalSpy>
#include <QTabBar>
#include <QTest>
#include <QToolButton>

#include <chrono>
#include <memory>
#include <thread>

using namespace PluginDevControl;

namespace {

// A series as the host runs it: rounds until the live count is reached or the device
// is aborted, each round one measurement with its events.
int runSeries(testdev::FakeDevice& dev, const void* repeat, std::atomic<int>* rounds)
{
    for (uint32_t round = 0;; ++round) {
        if (dev.abort)
            return -1007;
        if (round >= (repeat ? sim::liveRepeatCount(repeat) : 1u))
            return 0;
        dev.fire("AcqSerieStarted", long(round));
        dev.fire("AcqMeasStarted", 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        dev.fire("AcqMeasFinished", 0);
        dev.fire("AcqSerieFinished", long(round));
        ++*rounds;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

struct RunPage
{
    RunPage()
    {
        ctrl = std::make_unique<DevCtrlMpx2>(nullptr, &dev, &frame, &tabs);
        dev.setScript([this](testdev::FakeDevice& d, const void* repeat) {
            return runSeries(d, repeat, &rounds);
        });
        panel = std::make_unique<PnlMeasurement>(nullptr, ctrl.get());
        panel->show();
    }
    ~RunPage()
    {
        ctrl->endMeasurement();
        panel.reset();
        ctrl.reset();
    }

    Ui_PnlMeasurement& ui() const { return *panel->ui; }

    testdev::FakeDevice dev;
    QMpxFrame frame;
    QTabBar tabs;
    std::atomic<int> rounds {0};
    std::unique_ptr<DevCtrlMpx2> ctrl;
    std::unique_ptr<PnlMeasurement> panel;
};

} // namespace

class TestPnlMeasurementRun : public QObject
{
    Q_OBJECT

private slots:
    void repeatZeroIsAnEndlessSeriesThatStopEnds()
    {
        RunPage page;
        QSignalSpy stops(page.panel.get(), &PnlMeasurement::sigAcqStop);
        page.panel->setAcqParams(1, 0.001);
        page.panel->setRepeatParams(0, true);
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QTRY_VERIFY(page.rounds.load() >= 3);
        const auto calls = page.dev.calls();
        QCOMPARE(int(calls.size()), 1);
        QVERIFY(calls[0].repeat != nullptr);
        QCOMPARE(testdev::readAt<uint32_t>(calls[0].repeatBytes, 0), 0xFFFFFFFFu);
        QCOMPARE(page.ctrl->repeatCount(), 0);

        QTRY_VERIFY(page.ui().btStartStop->isEnabled());
        QCOMPARE(page.ui().btStartStop->text(), QString("Stop"));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QTRY_COMPARE(stops.count(), 1);
        QCOMPARE(page.ctrl->lastAcqResult(), -1007);
        QVERIFY(page.dev.aborts.load() >= 1);
        QCOMPARE(page.ui().btStartStop->text(), QString("Start"));
        QVERIFY(page.ui().btStartStop->isEnabled());
        QVERIFY(!page.ui().btStartStop->property("on").toBool());
    }

    void untickingRepeatEndsTheSeriesAfterTheCurrentRound()
    {
        RunPage page;
        QSignalSpy stops(page.panel.get(), &PnlMeasurement::sigAcqStop);
        page.panel->setAcqParams(1, 0.001);
        page.panel->setRepeatParams(100000, true);
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QTRY_VERIFY(page.rounds.load() >= 2);
        QVERIFY(page.ui().cbRepeat->isEnabled());
        QTest::mouseClick(page.ui().cbRepeat, Qt::LeftButton);
        QTRY_COMPARE(stops.count(), 1);
        // Ended by the count, not aborted.
        QCOMPARE(page.ctrl->lastAcqResult(), 0);
        QCOMPARE(page.dev.aborts.load(), 0);
        QVERIFY(page.rounds.load() < 1000);
        QCOMPARE(page.ui().btStartStop->text(), QString("Start"));
    }
};

QTEST_MAIN(TestPnlMeasurementRun)
#include "tst_pnlmeasurementrun.moc"
