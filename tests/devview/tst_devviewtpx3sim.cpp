// The Timepix3 page on the simulated Timepix3, worked as a user would: choose "Pixels",
// type the time of the run, press Start, watch the picture fill and the rate of hits,
// and press Stop in the middle of a long run.
#include "pnlimageprops.h"
#include "tpx3simpage.h"
#include "ui_pnlimageprops.h"

#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QToolButton>
#include <QtTest>

#include <algorithm>

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
        Tpx3SimPage page;
        QVERIFY(page.open(4711, 3e6));
        auto* type = page.type;
        auto* time = page.time;
        auto* ctrl = page.ctrl;
        auto* chip = page.chip;
        chooseItem(type, 3);
        QCOMPARE(type->currentText(), QStringLiteral("Pixels"));
        typeInto(time, QStringLiteral("0.8"));
        QElapsedTimer wall;
        wall.start();
        QVERIFY(page.start());
        QCOMPARE(ctrl->acqParamsTpx3().timeDataDriven, 0.8);
        QVERIFY(ctrl->isDataDriven());
        // The rate of hits appears while the run goes on.
        QLabel* rate = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((rate = labelStartingWith(page.view, QStringLiteral("PPS: ")))
                && labelNumber(rate, QStringLiteral("PPS: ")) > 0.0,
            20000);
        QVERIFY(page.waitEnd());
        const double seconds = double(wall.elapsed()) / 1000.0;
        QCOMPARE(ctrl->lastAcqResult(), 0);
        QCOMPARE(chip->lostPixels(), uint64_t(0));

        // The picture counts every hit of the run.
        const uint64_t hits = chip->generatedHits();
        QVERIFY(hits > 0);
        QTRY_COMPARE_WITH_TIMEOUT(uint64_t(ctrl->pixelCount()), hits, 10000);
        // The picture of the newest chunk may follow its count by a moment.
        QTRY_COMPARE_WITH_TIMEOUT(page.pictureTotal(), double(hits), 10000);
        // The rate shown is hits over the time since the start: never above what was
        // delivered in the time the run took at the least, never far below it.
        const double shown = labelNumber(rate, QStringLiteral("PPS: "));
        QVERIFY2(shown <= double(hits) / 0.7 && shown >= 0.3 * double(hits) / seconds,
            qPrintable(rate->text()));
    }

    void stopEndsALongRun()
    {
        Tpx3SimPage page;
        QVERIFY(page.open(4712, 2e6));
        PnlMeasurementTpx3* panel = page.panel;
        DevCtrlTpx3* ctrl = page.ctrl;
        auto* type = page.type;
        auto* startStop = page.startStop;
        page.choosePixels(QStringLiteral("60"));
        QVERIFY(page.start());
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

    // After a data-driven run the frame box stands on the first index, and the time
    // window of the image properties shows the run's frame type and fade window; the
    // Integral box and the time typed there change how the run's picture is made.
    void afterAPixelsRunTheFrameBoxAndTheTimeWindowShowTheRun()
    {
        Tpx3SimPage page;
        QVERIFY(page.open(4713, 1e6));
        DevViewTpx3* view = page.view;
        DevCtrlTpx3* ctrl = page.ctrl;
        auto* chip = page.chip;
        auto* startStop = page.startStop;
        auto* props = view->findChild<PnlImageProps*>();
        QVERIFY(props);
        QWidget* window = props->ui->wTimeWindows;
        QCheckBox* integral = props->ui->chbAll;
        QLineEdit* fade = props->ui->edTime;
        QSpinBox* frames = view->frameBox();

        page.choosePixels(QStringLiteral("0.5"));
        QVERIFY(page.start());
        QVERIFY(page.waitEnd());
        QTRY_COMPARE_WITH_TIMEOUT(startStop->text(), QString("Start"), 5000);
        const uint64_t hits = chip->generatedHits();
        QVERIFY(hits > 0);
        QTRY_COMPARE_WITH_TIMEOUT(page.pictureTotal(), double(hits), 10000);

        // Data objects but no frames: the box offers the first index, never -1.
        QVERIFY(ctrl->acqDataCount() > 0);
        QCOMPARE(ctrl->acqFrameCount(), 0);
        QVERIFY(frames->isEnabled());
        QCOMPARE(frames->value(), 0);
        QCOMPARE(frames->text(), QString("0"));

        // The run's frames are integral: the box says so, and the fade window is shown.
        ov::RefData<ov::ITpx3Pixels> last(ctrl->lastTpx3Pixels(), false);
        QVERIFY(last);
        QCOMPARE(last->frameType(), int(ov::Tpx3FrameIntegral));
        QVERIFY(window->isVisible());
        QVERIFY(window->isEnabled());
        QVERIFY(integral->isChecked());
        QCOMPARE(fade->text(), QString::number(last->fadeWindowSize(), 'g', 6));
        if (!props->ui->chbAutoRange->isChecked())
            clickCheckBox(props->ui->chbAutoRange);
        props->ui->cmAutorange->setCurrentIndex(PnlImageProps::AutoMinMax);
        const double integralMax = page.pictureMax();
        QCOMPARE(props->max(), integralMax);

        // Unticked, the picture holds the hits of the fade window; a window shorter than
        // the run, typed with a decimal comma, leaves out the earlier hits.
        clickCheckBox(integral);
        QCOMPARE(last->frameType(), int(ov::Tpx3FrameFade));
        typeInto(fade, QStringLiteral("0,05"));
        QTest::keyClick(fade, Qt::Key_Return);
        QCOMPARE(last->fadeWindowSize(), 0.05);
        QCOMPARE(fade->text(), QString("0.05"));
        QTRY_VERIFY_WITH_TIMEOUT(page.pictureTotal() > 0.0, 5000);
        const double windowTotal = page.pictureTotal();
        QVERIFY2(windowTotal < 0.5 * double(hits), qPrintable(QString::number(windowTotal)));
        // The automatic range follows the new picture, not the integral one before.
        QVERIFY(props->ui->chbAutoRange->isChecked());
        QCOMPARE(props->ui->cmAutorange->currentIndex(), int(PnlImageProps::AutoMinMax));
        QCOMPARE(props->max(), page.pictureMax());
        QVERIFY(props->max() < integralMax);

        // A time that does not read as one is not applied; the one in effect comes back.
        typeInto(fade, QStringLiteral("1e"));
        QTest::keyClick(fade, Qt::Key_Return);
        QCOMPARE(fade->text(), QString("0.05"));
        QCOMPARE(last->fadeWindowSize(), 0.05);
        // A time the host refuses (it takes none of 0) leaves the one in effect on show.
        typeInto(fade, QStringLiteral("0"));
        QTest::keyClick(fade, Qt::Key_Return);
        QCOMPARE(last->fadeWindowSize(), 0.05);
        QCOMPARE(fade->text(), QString("0.05"));
        typeInto(fade, QString());
        integral->setFocus();
        QCOMPARE(fade->text(), QString("0.05"));
        QCOMPARE(page.pictureTotal(), windowTotal);

        // Ticked again, every hit of the run is back.
        clickCheckBox(integral);
        QCOMPARE(last->frameType(), int(ov::Tpx3FrameIntegral));
        QTRY_COMPARE_WITH_TIMEOUT(page.pictureTotal(), double(hits), 5000);
        QCOMPARE(props->max(), integralMax);

        // Unticked once more, the next run starts with integral frames again (the
        // host's choice for a new run), and the box follows.
        clickCheckBox(integral);
        QVERIFY(!integral->isChecked());
        QCOMPARE(last->frameType(), int(ov::Tpx3FrameFade));
        QVERIFY(page.start());
        QVERIFY(page.waitEnd());
        ov::RefData<ov::ITpx3Pixels> next(ctrl->lastTpx3Pixels(), false);
        QVERIFY(next && next.get() != last.get());
        QCOMPARE(next->frameType(), int(ov::Tpx3FrameIntegral));
        QTRY_VERIFY_WITH_TIMEOUT(integral->isChecked(), 5000);
        QCOMPARE(frames->value(), 0);
    }
};

QTEST_MAIN(TstDevViewTpx3Sim)
#include "tst_devviewtpx3sim.moc"
