// The Timepix3 page on the simulated Timepix3, worked as a user would: choose "Pixels",
// type the time of the run, press Start, watch the picture fill and the rate of hits,
// and press Stop in the middle of a long run.
#include "devctrltpx3.h"
#include "devviewtpx3.h"
#include "hostfixture.h"
#include "pnlmeasurementtpx3.h"
#include "timepix3device.h"
#include "typeinto.h"

#include <qmpxframe.h>

#include <QElapsedTimer>
#include <QLabel>
#include <QToolButton>
#include <QtTest>

using namespace PluginDevControl;

namespace {

// The number a status label shows after its prefix, without the blanks between groups.
double labelNumber(const QLabel* label, const QString& prefix)
{
    QString text = label->text();
    if (!text.startsWith(prefix))
        return -1.0;
    text = text.mid(prefix.size()).remove(QLatin1Char(' '));
    bool ok = false;
    const double value = text.toDouble(&ok);
    return ok ? value : -1.0;
}

QLabel* labelStartingWith(QWidget* view, const QString& prefix)
{
    for (QLabel* l : view->findChildren<QLabel*>())
        if (l->text().startsWith(prefix))
            return l;
    return nullptr;
}

} // namespace

class TstDevViewTpx3Sim : public QObject
{
    Q_OBJECT

private slots:
    void pixelsRunFillsThePictureAndShowsTheRate()
    {
        HostFixture fixture;
        ov::IDev* dev = fixture.connect(sim::makeDeviceDesc(ov::DevKindTpx3, 4711));
        QVERIFY(dev);
        auto* chip = dynamic_cast<sim::Timepix3Device*>(dev);
        QVERIFY(chip);
        chip->setHitRate(3e6);
        QVERIFY(fixture.start());
        auto* view = qobject_cast<DevViewTpx3*>(fixture.window()->getView(dev));
        QVERIFY(view);
        fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(fixture.window()));
        PnlMeasurementTpx3* panel = view->measurement();
        DevCtrlTpx3* ctrl = view->familyController();
        QVERIFY(panel && ctrl);
        auto* type = panel->findChild<QComboBox*>(QStringLiteral("cmAcqType"));
        auto* time = panel->findChild<QLineEdit*>(QStringLiteral("edTime"));
        auto* startStop = panel->findChild<QToolButton*>(QStringLiteral("btStartStop"));
        QVERIFY(type && time && startStop);

        chooseItem(type, 3);
        QCOMPARE(type->currentText(), QStringLiteral("Pixels"));
        typeInto(time, QStringLiteral("0.8"));
        QElapsedTimer wall;
        wall.start();
        QTest::mouseClick(startStop, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->isAcqRunning(), 5000);
        QCOMPARE(ctrl->acqParamsTpx3().timeDataDriven, 0.8);
        QVERIFY(ctrl->isDataDriven());
        // The rate of hits appears while the run goes on.
        QLabel* rate = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((rate = labelStartingWith(view, QStringLiteral("PPS: ")))
                && labelNumber(rate, QStringLiteral("PPS: ")) > 0.0,
            20000);
        QTRY_VERIFY_WITH_TIMEOUT(!ctrl->isAcqRunning(), 60000);
        QTRY_VERIFY_WITH_TIMEOUT(DevCtrlMpx::detachedThreadCount() == 0, 60000);
        const double seconds = double(wall.elapsed()) / 1000.0;
        QCOMPARE(ctrl->lastAcqResult(), 0);
        QCOMPARE(chip->lostPixels(), uint64_t(0));

        // The picture counts every hit of the run.
        const uint64_t hits = chip->generatedHits();
        QVERIFY(hits > 0);
        QTRY_COMPARE_WITH_TIMEOUT(uint64_t(ctrl->pixelCount()), hits, 10000);
        auto* frame = view->findChild<QMpxFrame*>();
        QVERIFY(frame && frame->image);
        // The picture of the newest chunk may follow its count by a moment.
        auto pictureTotal = [frame] {
            const double* data = frame->image->getData();
            const size_t n = size_t(frame->image->getDataWidth()) * frame->image->getDataHeight();
            if (!data || n != size_t(256 * 256))
                return -1.0;
            double sum = 0.0;
            for (size_t i = 0; i < n; ++i)
                sum += data[i];
            return sum;
        };
        QTRY_COMPARE_WITH_TIMEOUT(pictureTotal(), double(hits), 10000);
        // The rate shown is hits over the time since the start: never above what was
        // delivered in the time the run took at the least, never far below it.
        const double shown = labelNumber(rate, QStringLiteral("PPS: "));
        QVERIFY2(shown <= double(hits) / 0.7 && shown >= 0.3 * double(hits) / seconds,
            qPrintable(rate->text()));
    }

    void stopEndsALongRun()
    {
        HostFixture fixture;
        ov::IDev* dev = fixture.connect(sim::makeDeviceDesc(ov::DevKindTpx3, 4712));
        QVERIFY(fixture.start());
        auto* view = qobject_cast<DevViewTpx3*>(fixture.window()->getView(dev));
        QVERIFY(view);
        fixture.window()->show();
        PnlMeasurementTpx3* panel = view->measurement();
        DevCtrlTpx3* ctrl = view->familyController();
        auto* type = panel->findChild<QComboBox*>(QStringLiteral("cmAcqType"));
        auto* time = panel->findChild<QLineEdit*>(QStringLiteral("edTime"));
        auto* startStop = panel->findChild<QToolButton*>(QStringLiteral("btStartStop"));
        chooseItem(type, 3);
        typeInto(time, QStringLiteral("60"));
        QTest::mouseClick(startStop, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->isAcqRunning(), 5000);
        QTest::qWait(300);
        QElapsedTimer clock;
        clock.start();
        QTest::mouseClick(startStop, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!ctrl->isAcqRunning(), 20000);
        QVERIFY(clock.elapsed() < 20000);
        QTRY_VERIFY_WITH_TIMEOUT(DevCtrlMpx::detachedThreadCount() == 0, 20000);
        // The panel is ready for the next run.
        QTRY_VERIFY_WITH_TIMEOUT(type->isEnabled(), 5000);
        QVERIFY(!panel->findChild<QSpinBox*>(QStringLiteral("spCount"))->isEnabled());
    }
};

QTEST_MAIN(TstDevViewTpx3Sim)
#include "tst_devviewtpx3sim.moc"
