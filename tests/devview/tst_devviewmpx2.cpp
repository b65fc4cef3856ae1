// The Timepix page with its measurement panel: the settings column and the panels
// menu, the measurement entry points of the page, and the whole road of a measurement
// through the real widgets on the simulated Timepix quad.
#include "../panels/typeinto.h"
#include "timepixpage.h"

#include "../panels/questionstep.h"
#include "pnldevstgtpx.h"
#include "pnlfilters.h"
#include "pnlhistogram.h"
#include "pnlimageinfo.h"
#include "pnlimageprops.h"
#include "pnlimagepropsadv.h"
#include "pnlmeasurement.h"
#include "separegroups.h"
#include "ui_pnlmeasurement.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QScrollArea>
#include <QSpinBox>
#include <QToolButton>
#include <QVBoxLayout>

#include <thread>

using namespace PluginDevControl;

namespace {

Ui_PnlMeasurement& panelUi(const TimepixPage& page)
{
    return *page.view->measurement()->ui;
}

void showWindow(TimepixPage& page)
{
    page.fixture.window()->resize(1200, 900);
    page.fixture.window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(page.fixture.window()));
}

} // namespace

class TestDevViewMpx2 : public QObject
{
    Q_OBJECT

private slots:
    void digitGroups()
    {
        QCOMPARE(separeGroups("999.5", ' '), QString("999.5"));
        QCOMPARE(separeGroups("12", ' '), QString("12"));
        QCOMPARE(separeGroups("", ' '), QString(""));
        QCOMPARE(separeGroups("1234567.8", ' '), QString("1 234 567.8"));
        QCOMPARE(separeGroups("1000", ','), QString("1,000"));
        QCOMPARE(separeGroups("123456", ' '), QString("123 456"));
        QCOMPARE(separeGroups("0.123456", ' '), QString("0.123456"));
    }

    void settingsColumnInItsOrder()
    {
        TimepixPage page;
        QVERIFY(page.view);
        QVBoxLayout* column = page.ui().verticalLayout;
        QVERIFY(column->count() >= 5);
        QVERIFY(qobject_cast<PnlImageProps*>(column->itemAt(0)->widget()));
        QVERIFY(qobject_cast<PnlImagePropsAdv*>(column->itemAt(1)->widget()));
        QCOMPARE(column->itemAt(2)->widget(), page.view->measurement());
        QVERIFY(page.view->settingsPanel());
        QCOMPARE(column->itemAt(3)->widget(), page.view->settingsPanel());
        QCOMPARE(column->itemAt(4)->widget(), page.view->filters());
        QVERIFY(qobject_cast<PnlImageInfo*>(column->itemAt(5)->widget()));
        QVERIFY(qobject_cast<PnlHistogram*>(column->itemAt(6)->widget()));
        // The spacer stays last and takes what the panels leave; the first six panels
        // share the height.
        QVERIFY(column->itemAt(column->count() - 1)->spacerItem());
        for (int i = 0; i < 6; ++i)
            QCOMPARE(column->stretch(i), 1);
        QVERIFY(page.ui().saSettings->minimumWidth() >= 260);
        QVERIFY(page.ui().saSettings->minimumWidth()
            >= page.view->measurement()->minimumSizeHint().width());
    }

    void panelsMenuWithDefaults()
    {
        TimepixPage page;
        QVERIFY(page.view);
        const QList<QAction*> actions = page.view->panelsMenu()->actions();
        QStringList texts;
        for (QAction* a : actions)
            texts << a->text();
        QCOMPARE(texts,
            QStringList({"Image Properties", "Advanced Image Properties", "Measurement",
                "Detector Settings", "Filters", "Image Info", "Histogram"}));
        QVERIFY(actions.at(0)->isChecked());
        QVERIFY(!actions.at(1)->isChecked());
        QVERIFY(actions.at(2)->isChecked());
        QVERIFY(actions.at(3)->isChecked());
        QVERIFY(actions.at(4)->isChecked());
        QVERIFY(actions.at(5)->isChecked());
        QVERIFY(actions.at(6)->isChecked());
        QVERIFY(!page.view->filters()->isHidden());
        QVERIFY(!page.view->measurement()->isHidden());
        QVERIFY(!page.view->settingsPanel()->isHidden());

        actions.at(2)->trigger();
        QVERIFY(page.view->measurement()->isHidden());
        actions.at(2)->trigger();
        QVERIFY(!page.view->measurement()->isHidden());

        actions.at(3)->trigger();
        QVERIFY(page.view->settingsPanel()->isHidden());
        QVERIFY(!page.view->measurement()->isHidden());
        actions.at(3)->trigger();
        QVERIFY(!page.view->settingsPanel()->isHidden());
    }

    void pageEntryPointsGoToThePanel()
    {
        TimepixPage page;
        QVERIFY(page.view);
        DevViewMpx* view = page.view;
        Ui_PnlMeasurement& ui = panelUi(page);
        std::thread caller([view] {
            view->setAcqParams(7, 0.5);
            view->setRepeatParams(4, true);
            view->setOutputParams("/tmp/out.mfd", true);
            view->setAcqType(1);
        });
        caller.join();
        QTRY_COMPARE(ui.cmAcqType->currentIndex(), 1);
        QCOMPARE(ui.spCount->value(), 7);
        QCOMPARE(ui.edTime->text(), QString("0.5"));
        QCOMPARE(ui.spRepeat->value(), 4);
        QVERIFY(ui.cbRepeat->isChecked());
        QCOMPARE(ui.edFileOutput->text(), QString("/tmp/out.mfd"));
        QVERIFY(ui.cbFileOutput->isChecked());
        // The type change handed the whole form to the controller.
        QCOMPARE(page.ctrl()->acqParams().acqType, 1);
        QCOMPARE(page.ctrl()->acqParams().acqCount, 7);
        QCOMPARE(page.ctrl()->acqParams().outputFile, std::string("/tmp/out.mfd"));

        // The page's enableGui reaches the panel.
        page.view->enableGui(false, false);
        QVERIFY(!ui.spCount->isEnabled());
        QVERIFY(!ui.btStartStop->isEnabled());
        page.view->enableGui(true, false);
        QVERIFY(ui.spCount->isEnabled());
        QVERIFY(ui.btStartStop->isEnabled());

        // start and stop from another thread run and end a measurement.
        view->setOutputParams("", false);
        view->setRepeatParams(0, false);
        view->setAcqType(0);
        view->setAcqParams(4000, 0.01); // within the default 2048 MB
        std::thread starter([view] { view->start(); });
        starter.join();
        QTRY_VERIFY(page.ctrl()->curAcq() >= 2);
        QVERIFY(page.view->isMeasurementRunning());
        std::thread stopper([view] { view->stop(); });
        stopper.join();
        QTRY_VERIFY_WITH_TIMEOUT(!page.view->isMeasurementRunning(), 20000);
        QTRY_COMPARE(ui.btStartStop->text(), QString("Start"));
        QCOMPARE(page.ctrl()->lastAcqResult(), -1007);
    }

    void wholeRoadOfAMeasurement()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        Ui_PnlMeasurement& ui = panelUi(page);
        DevCtrlMpx* ctrl = page.ctrl();

        // Frames, 5 of them, 1 ms each, typed and chosen as a user does.
        ui.cmAcqType->setFocus();
        QTest::keyClick(ui.cmAcqType, Qt::Key_Down);
        QCOMPARE(ui.cmAcqType->currentIndex(), 1);
        QTest::keyClick(ui.cmAcqType, Qt::Key_Up);
        QCOMPARE(ui.cmAcqType->currentIndex(), 0);
        typeInto(ui.spCount, 5);
        typeInto(ui.edTime, "0.001");
        QCOMPARE(ui.edTime->text(), QString("0.001"));

        QSignalSpy frames(ctrl, &DevCtrlMpx::acqFrameCountChange);
        QSignalSpy finished(ctrl, &DevCtrlMpx::acqAllFinished);
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QCOMPARE(ui.btStartStop->text(), QString("Stop"));
        QVERIFY(page.view->isMeasurementRunning());
        QCOMPARE(ctrl->acqParams().acqCount, 5);
        QCOMPARE(ctrl->acqParams().acqTime, 0.001);

        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 30000);
        QCOMPARE(finished.at(0).at(0).toInt(), 0);
        // Frame counts come coalesced, the last one exact.
        QTRY_VERIFY(!frames.isEmpty() && frames.last().at(0).toInt() == 5);
        QVERIFY(frames.count() <= 5);
        QTRY_COMPARE(ui.btStartStop->text(), QString("Start"));
        QVERIFY(ui.btStartStop->isEnabled());
        QVERIFY(!ui.btStartStop->property("on").toBool());
        QVERIFY(!page.view->isMeasurementRunning());
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: 5/5"));
        QCOMPARE(page.view->frameBox()->maximum(), 4);
        QVERIFY(ui.spCount->isEnabled());

        // An endless series: repeat ticked with a count of 0, ended with Stop.
        QTest::mouseClick(ui.cbRepeat, Qt::LeftButton);
        QVERIFY(ui.cbRepeat->isChecked());
        typeInto(ui.spRepeat, 0);
        typeInto(ui.spCount, 2);
        QSignalSpy repeats(ctrl, &DevCtrlMpx::acqRepeatFinished);
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QVERIFY(ctrl->acqParams().repeatEnabled);
        QCOMPARE(ctrl->acqParams().repeatCount, 0);
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->curRepeat() >= 3 && repeats.count() >= 1, 30000);
        QVERIFY(finished.count() == 1);
        QTRY_VERIFY(ui.btStartStop->isEnabled());
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 2, 30000);
        QCOMPARE(finished.at(1).at(0).toInt(), -1007);
        QTRY_COMPARE(ui.btStartStop->text(), QString("Start"));
        QVERIFY(ui.btStartStop->isEnabled());
        QVERIFY(!page.view->isMeasurementRunning());
        QVERIFY(ui.cbRepeat->isEnabled());
    }

    void overwriteQuestionOnThePage()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        Ui_PnlMeasurement& ui = panelUi(page);
        const QString name = QDir(page.fixture.homePath()).filePath("shot.mfd");
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        QTest::mouseClick(ui.cbFileOutput, Qt::LeftButton);
        typeInto(ui.edFileOutput, name);
        typeInto(ui.spCount, 3);
        ModalDriver driver;
        QString text;
        driver.add(answerQuestion("File Exists", QMessageBox::No, &text));
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QVERIFY(driver.done());
        QVERIFY(text.contains(name));
        QVERIFY(!page.view->isMeasurementRunning());
        QCOMPARE(ui.btStartStop->text(), QString("Start"));
        QCOMPARE(page.ctrl()->acqParams().acqCount, 3);
        QVERIFY(page.ctrl()->acqParams().fileOutput);
    }

    void memoryLimitOfTheHostsIni()
    {
        // The simulated host allows 4096 MB; a quad frame takes 0.5 MB.
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        Ui_PnlMeasurement& ui = panelUi(page);
        ModalDriver driver;
        int asked = 0;
        driver.add(refuseAnyQuestion(&asked));
        typeInto(ui.spCount, 8192);
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QCOMPARE(asked, 0);
        QVERIFY(page.view->isMeasurementRunning());
        // Stop once the device measures: an abort before that would find nothing to end.
        QTRY_VERIFY(page.ctrl()->curAcq() >= 1);
        QTRY_VERIFY(ui.btStartStop->isEnabled());
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!page.view->isMeasurementRunning(), 20000);
        QTRY_COMPARE(ui.btStartStop->text(), QString("Start"));

        // One frame more than 4096 MB holds.
        typeInto(ui.spCount, 8194);
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QCOMPARE(asked, 1);
        QVERIFY(!page.view->isMeasurementRunning());
        QCOMPARE(ui.btStartStop->text(), QString("Start"));
    }

    void panelFieldsSurviveARestart()
    {
        QTemporaryDir home;
        {
            TimepixPage page(home.path());
            QVERIFY(page.view);
            Ui_PnlMeasurement& ui = panelUi(page);
            typeInto(ui.spCount, 33);
            typeInto(ui.edTime, "0.25");
            QTest::mouseClick(ui.cbRepeat, Qt::LeftButton);
            typeInto(ui.spRepeat, 6);
        }
        TimepixPage again(home.path());
        QVERIFY(again.view);
        Ui_PnlMeasurement& ui = panelUi(again);
        QCOMPARE(ui.spCount->value(), 33);
        QCOMPARE(ui.edTime->text(), QString("0.25"));
        QVERIFY(ui.cbRepeat->isChecked());
        QCOMPARE(ui.spRepeat->value(), 6);
    }

    void pageWithThePanelAsAPicture()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        Ui_PnlMeasurement& ui = panelUi(page);
        QTest::mouseClick(ui.cbFileOutput, Qt::LeftButton);
        typeInto(ui.edFileOutput, "/data/run.mfd");
        QTest::qWait(50);
        const QImage picture = page.fixture.window()->grab().toImage();
        const QString path = QDir::current().filePath("tst_devviewmpx2_page.png");
        QVERIFY(picture.save(path));
        const QImage panel = page.view->measurement()->grab().toImage();
        QVERIFY(panel.save(QDir::current().filePath("tst_devviewmpx2_panel.png")));
        // The panel stands fully inside the settings column.
        const QRect inColumn(page.view->measurement()->mapTo(page.ui().saSettings, QPoint(0, 0)),
            page.view->measurement()->size());
        QVERIFY(page.ui().saSettings->rect().contains(inColumn));

        // And while it measures: Stop, with the form locked.
        QTest::mouseClick(ui.cbFileOutput, Qt::LeftButton);
        typeInto(ui.spCount, 4000);
        typeInto(ui.edTime, "0.01");
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QTRY_VERIFY(page.ctrl()->curAcq() >= 2);
        QTRY_VERIFY(ui.btStartStop->isEnabled());
        QVERIFY(page.view->measurement()->grab().toImage().save(
            QDir::current().filePath("tst_devviewmpx2_running.png")));
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!page.view->isMeasurementRunning(), 20000);
    }
};

QTEST_MAIN(TestDevViewMpx2)
#include "tst_devviewmpx2.moc"
