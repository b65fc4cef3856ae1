// The displayed range during live measurements on the Timepix page: the automatic range
// follows the data in every mode, and a range typed by hand stays put.
#include "timepixpage.h"

#include "pnlimageprops.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <thread>

using namespace PluginDevControl;

namespace {

struct Extremes
{
    double min;
    double max;
    double minNonZero;
};

Extremes extremesOf(ov::IMpxFrame* frame)
{
    ov::DataBuff<double> values;
    frame->getData(&values, 9);
    Extremes e {INFINITY, -INFINITY, INFINITY};
    for (size_t i = 0; i < values.size(); ++i) {
        const double v = values.data()[i];
        e.min = std::min(e.min, v);
        e.max = std::max(e.max, v);
        if (v != 0.0)
            e.minNonZero = std::min(e.minNonZero, v);
    }
    return e;
}

bool measure(TimepixPage& page, int frames, double time)
{
    DevCtrlMpx* ctrl = page.ctrl();
    ctrl->acqParams().acqCount = frames;
    ctrl->acqParams().acqTime = time;
    // The end of the run is queued to this thread after the last frame's display, so
    // once it has arrived the last frame is on the screen.
    bool finished = false;
    QObject receiver;
    QObject::connect(
        ctrl, &DevCtrlMpx::acqAllFinished, &receiver, [&finished] { finished = true; },
        Qt::QueuedConnection);
    if (ctrl->startAcq() != 0)
        return false;
    return QTest::qWaitFor([&finished] { return finished; }, 60000);
}

} // namespace

class TestDevViewMpxRange : public QObject
{
    Q_OBJECT

private slots:
    void automaticRangeFollowsTheDataInEveryMode()
    {
        TimepixPage page;
        QVERIFY(page.view);
        auto* panel = page.view->findChild<PnlImageProps*>();
        QVERIFY(panel);
        panel->autoRangeCheckBox()->setChecked(true);
        const int modes = panel->autoRangeCombo()->count();
        QCOMPARE(modes, 8);
        for (int mode = 0; mode < modes; ++mode) {
            panel->autoRangeCombo()->setCurrentIndex(mode);
            // A short exposure, then a long one: the counts and with them the range grow.
            QVERIFY(measure(page, 3, 0.001));
            const double shortMax = page.image()->rangeMax;
            QVERIFY(measure(page, 3, 0.05));
            ov::RefData<ov::IMpxFrame> last = page.ctrl()->currentFrame();
            QVERIFY(last);
            const Extremes e = extremesOf(last.get());
            const double lo = page.image()->rangeMin;
            const double hi = page.image()->rangeMax;
            QVERIFY2(hi > shortMax,
                qPrintable(QString("mode %1: %2 !> %3").arg(mode).arg(hi).arg(shortMax)));
            QVERIFY2(lo >= e.min && hi <= e.max + 1.0,
                qPrintable(QString("mode %1: [%2, %3] outside [%4, %5]")
                               .arg(mode)
                               .arg(lo)
                               .arg(hi)
                               .arg(e.min)
                               .arg(e.max)));
            QCOMPARE(panel->min(), lo);
            QCOMPARE(panel->max(), hi);
            if (mode == PnlImageProps::AutoMinMax) {
                QCOMPARE(lo, e.min);
                QCOMPARE(hi, e.max);
            }
            if (mode == PnlImageProps::AutoMinMaxNonZero
                || mode == PnlImageProps::AutoMinMaxNonZeroMargin) {
                // Below the smallest non-zero count by a 256th (or twenty) of the span,
                // but not below 0 for counts.
                const double factor = mode == PnlImageProps::AutoMinMaxNonZero ? 1.0 : 20.0;
                const double below = e.minNonZero - (e.max - e.minNonZero) / 256.0 * factor;
                QCOMPARE(lo, std::max(0.0, below));
                QCOMPARE(hi, e.max);
            }
        }
    }

    void otherPluginsSetRangeAndWindowThroughTheInterface()
    {
        TimepixPage page;
        QVERIFY(page.view);
        auto* panel = page.view->findChild<PnlImageProps*>();
        QVERIFY(panel);
        // From a host thread, as another plug-in would call it.
        std::thread caller([&page] { page.fixture.control->setRange(page.dev, 3.0, 40.0); });
        caller.join();
        QTRY_COMPARE(page.image()->rangeMin, 3.0);
        QCOMPARE(page.image()->rangeMax, 40.0);
        QCOMPARE(panel->min(), 3.0);
        QCOMPARE(panel->max(), 40.0);
        auto* integral = panel->findChild<QCheckBox*>("chbAll");
        QVERIFY(integral);
        page.fixture.control->setWindowAll(page.dev, 1);
        QTRY_VERIFY(integral->isChecked());
        page.fixture.control->setWindowAll(page.dev, 0);
        QTRY_VERIFY(!integral->isChecked());
    }

    void panelsMenuAndSavedRange()
    {
        QTemporaryDir home;
        {
            TimepixPage page(home.path());
            QVERIFY(page.view);
            QStringList titles;
            QList<bool> shown;
            for (QAction* action : page.view->panelsMenu()->actions()) {
                titles << action->text();
                shown << action->isChecked();
            }
            QCOMPARE(titles,
                QStringList({"Image Properties", "Advanced Image Properties", "Measurement",
                    "Detector Settings", "Filters", "Image Info", "Histogram"}));
            QCOMPARE(shown, QList<bool>({true, false, true, true, true, true, true}));
            auto* panel = page.view->findChild<PnlImageProps*>();
            panel->autoRangeCheckBox()->setChecked(false);
            panel->setRange(12.0, 345.0);
            page.fixture.close();
        }
        TimepixPage page(home.path());
        QVERIFY(page.view);
        ov::ISettings* settings = page.view->viewSettings();
        QCOMPARE(settings->getDouble("Image", "MinRange", -1), 12.0);
        QCOMPARE(settings->getDouble("Image", "MaxRange", -1), 345.0);
        auto* panel = page.view->findChild<PnlImageProps*>();
        QCOMPARE(panel->min(), 12.0);
        QCOMPARE(panel->max(), 345.0);
    }

    void aNewMeasurementClearsThePanel()
    {
        TimepixPage page;
        QVERIFY(page.view);
        auto* panel = page.view->findChild<PnlImageProps*>();
        panel->autoRangeCheckBox()->setChecked(true);
        QVERIFY(measure(page, 2, 0.01));
        // While the old frame is kept, another mode is applied to it at once.
        panel->autoRangeCombo()->setCurrentIndex(PnlImageProps::AutoMinMax);
        const double oldMax = panel->max();
        QVERIFY(oldMax > 1.0);
        // A new measurement lets go of it: until its first frame (two seconds away)
        // there is nothing to apply a mode to, and the range stays as set.
        page.ctrl()->acqParams().acqCount = 1;
        page.ctrl()->acqParams().acqTime = 2.0;
        QCOMPARE(page.ctrl()->startAcq(), 0);
        panel->setRange(1.0, 2.0);
        panel->autoRangeCombo()->setCurrentIndex(PnlImageProps::AutoSmart);
        QCOMPARE(panel->min(), 1.0);
        QCOMPARE(panel->max(), 2.0);
        page.ctrl()->stopAcq();
        QTRY_VERIFY_WITH_TIMEOUT(DevCtrlMpx::detachedThreadCount() == 0, 30000);
    }

    void manualRangeStaysPut()
    {
        TimepixPage page;
        QVERIFY(page.view);
        page.fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(page.fixture.window()));
        auto* panel = page.view->findChild<PnlImageProps*>();
        QVERIFY(panel);
        panel->autoRangeCheckBox()->setChecked(true);
        auto* edMin = panel->findChild<QLineEdit*>("edMin");
        auto* edMax = panel->findChild<QLineEdit*>("edMax");
        QVERIFY(edMin && edMax);

        QTest::mouseClick(edMin, Qt::LeftButton);
        edMin->selectAll();
        QTest::keyClicks(edMin, "2");
        QTest::keyClick(edMin, Qt::Key_Tab);
        QTest::mouseClick(edMax, Qt::LeftButton);
        edMax->selectAll();
        QTest::keyClicks(edMax, "7");
        QTest::keyClick(edMax, Qt::Key_Tab);
        QVERIFY(!panel->autoRangeCheckBox()->isChecked());
        QCOMPARE(page.image()->rangeMin, 2.0);
        QCOMPARE(page.image()->rangeMax, 7.0);

        QVERIFY(measure(page, 4, 0.02));
        QCOMPARE(page.image()->rangeMin, 2.0);
        QCOMPARE(page.image()->rangeMax, 7.0);
        QCOMPARE(edMin->text(), QString("2"));
        QCOMPARE(edMax->text(), QString("7"));
    }
};

QTEST_MAIN(TestDevViewMpxRange)
#include "tst_devviewmpxrange.moc"
