// The status bar of a detector page: counters, time, LEDs, icons and progress, and the
// log reaching the message panel.
#include "timepixpage.h"

#include "msgpanel.h"
#include "pnlimageprops.h"
#include "qclickablelabel.h"
#include "qfancyprogressbar.h"
#include "qfancystatusbar.h"
#include "timetostr.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QSpinBox>
#include <QTextEdit>
#include <QThread>

#include <algorithm>
#include <thread>

using namespace PluginDevControl;

class TestDevViewMpxStatus : public QObject
{
    Q_OBJECT

private slots:
    void timeAsText()
    {
        QCOMPARE(timeToStr(3661.25), QString("1:01:01.2"));
        QCOMPARE(timeToStr(0.0), QString("0:00:00.0"));
        QCOMPARE(timeToStr(59.99), QString("0:00:59.9"));
        QCOMPARE(timeToStr(36000.5), QString("10:00:00.5"));
    }

    void startState()
    {
        TimepixPage page;
        QVERIFY(page.view);
        QCOMPARE(page.view->statusLabel(0)->text(), QString("FPS: 0"));
        QCOMPARE(page.view->statusLabel(1)->text(), QString("T: 0:00:00.0"));
        QCOMPARE(page.view->statusLabel(2)->text(), QString("R: 0/0"));
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: 0/0"));
        QCOMPARE(page.view->statusLabel(0)->styleSheet(), QString("color: white;"));
        QVERIFY(!page.view->statusLed(DevViewMpx::StatusOk)->isHidden());
        QVERIFY(page.view->statusLed(DevViewMpx::StatusWarning)->isHidden());
        QVERIFY(page.view->statusLed(DevViewMpx::StatusError)->isHidden());
        ov::String text;
        page.dev->statusText(text);
        QCOMPARE(page.view->statusLed(DevViewMpx::StatusOk)->toolTip(), QString(text.get()));
        QVERIFY(page.view->warningLabel()->isHidden());
        QVERIFY(page.view->errorLabel()->isHidden());
        // The message panel is the first bottom panel.
        QVERIFY(!page.ui().statusbar->buttons.isEmpty());
        QCOMPARE(page.ui().statusbar->buttons.at(0)->title, QString("Messages"));
    }

    void progressOnlyWhileRunning()
    {
        TimepixPage page;
        QVERIFY(page.view);
        page.ctrl()->acqParams().acqCount = 10;
        page.view->onAcqProgress(50.0, 5);
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: 0/0"));
        QCOMPARE(page.view->progress()->value(), 0);

        page.view->onStartAcq();
        QVERIFY(page.view->isMeasurementRunning());
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: 0/10"));
        // Right after the start the update is dropped, as less than 0.1 s went by...
        page.view->onAcqProgress(30.0, 3);
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: 0/10"));
        // ...but the last frame always gets through.
        page.view->onAcqProgress(100.0, 10);
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: 10/10"));
        QCOMPARE(page.view->progress()->value(), 100);
        QTest::qWait(150);
        page.view->onAcqProgress(55.7, 5);
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: 5/10"));
        QCOMPARE(page.view->progress()->value(), 55);

        page.view->onAcqAllFinished(-1007);
        QVERIFY(!page.view->progress()->error());
        QVERIFY(!page.view->isMeasurementRunning());
        page.view->onStartAcq();
        page.view->onAcqAllFinished(-3);
        QVERIFY(page.view->progress()->error());
        page.view->onStartAcq();
        QVERIFY(!page.view->progress()->error());
        page.view->onAcqAllFinished(0);
        QVERIFY(!page.view->progress()->error());
    }

    void timerShowsTimeAndRate()
    {
        TimepixPage page;
        QVERIFY(page.view);
        page.ctrl()->acqParams().acqCount = 4;
        page.ctrl()->acqParams().acqTime = 1.0;
        page.view->onStartAcq();
        QTRY_VERIFY(page.view->statusLabel(1)->text() != "T: 0:00:00.0");
        QVERIFY(page.view->statusLabel(1)->text().startsWith("T: 0:00:0"));
        QVERIFY(page.view->statusLabel(0)->text().startsWith("FPS: 0.0"));
        // Within a one-second frame of a four-frame run the bar creeps forward.
        QTRY_VERIFY(page.view->progress()->value() >= 2);
        QVERIFY(page.view->progress()->value() <= 25);
        page.view->onStopAcq();
    }

    void deviceStatusTable()
    {
        TimepixPage page;
        QVERIFY(page.view);
        auto* view = page.view;
        view->onDeviceStatusChanged(1, "warm");
        QVERIFY(!view->statusLed(DevViewMpx::StatusWarning)->isHidden());
        QVERIFY(view->statusLed(DevViewMpx::StatusOk)->isHidden());
        QCOMPARE(view->statusLed(DevViewMpx::StatusWarning)->toolTip(), QString("warm"));
        view->onDeviceStatusChanged(2, "broken");
        QVERIFY(!view->statusLed(DevViewMpx::StatusError)->isHidden());
        view->onDeviceStatusChanged(101, "lost");
        QCOMPARE(view->statusLed(DevViewMpx::StatusError)->toolTip(), QString("lost"));
        view->onDeviceStatusChanged(100, "bias low");
        QVERIFY(!view->warningLabel()->isHidden());
        QCOMPARE(view->warningLabel()->toolTip(), QString("bias low"));
        QVERIFY(!view->statusLed(DevViewMpx::StatusWarning)->isHidden());
        view->onDeviceStatusChanged(55, "ignored");
        QCOMPARE(view->statusLed(DevViewMpx::StatusWarning)->toolTip(), QString("bias low"));

        // A click on the warning icon hides it and shows the green LED.
        page.fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(page.fixture.window()));
        QTest::mouseClick(view->warningLabel(), Qt::LeftButton);
        QVERIFY(view->warningLabel()->isHidden());
        QVERIFY(!view->statusLed(DevViewMpx::StatusOk)->isHidden());
        QCOMPARE(view->statusLed(DevViewMpx::StatusOk)->toolTip(), QString("Device ready"));
        view->showErrorIcon(true, "fault");
        QVERIFY(!view->errorLabel()->isHidden());
        QTest::mouseClick(view->errorLabel(), Qt::LeftButton);
        QVERIFY(view->errorLabel()->isHidden());

        view->onDeviceStatusChanged(100, "again");
        view->onDeviceStatusChanged(0, "");
        QVERIFY(view->warningLabel()->isHidden());
        QCOMPARE(view->statusLed(DevViewMpx::StatusOk)->toolTip(), QString("Device ready"));

        // The simulated device raises a warning through the host: the page follows.
        auto device = page.fixture.host->deviceFor(page.dev);
        device->setStatus(1, QStringLiteral("tube warming"));
        QTRY_VERIFY(!view->statusLed(DevViewMpx::StatusWarning)->isHidden());
        QCOMPARE(view->statusLed(DevViewMpx::StatusWarning)->toolTip(), QString("tube warming"));
    }

    void logFromAHostThreadReachesThePanelInOrder()
    {
        TimepixPage page;
        QVERIFY(page.view);
        MsgPanel* panel = page.view->messagePanel();
        QFancyStatusBar* bar = page.ui().statusbar;
        // Keep the panel closed so that the badge counts.
        panel->findChild<QCheckBox*>("chbOpen")->setChecked(false);
        auto device = page.fixture.host->deviceFor(page.dev);
        std::thread writer([&] {
            for (int i = 0; i < 20; ++i)
                device->log(i % 3 == 0 ? ov::LogError : ov::LogInfo, QString("line %1").arg(i));
        });
        writer.join();
        QTRY_COMPARE(bar->buttons.at(0)->getIconBadgeNumber(), 20);
        QTest::qWait(50);
        QCOMPARE(bar->buttons.at(0)->getIconBadgeNumber(), 20);
        const QStringList lines = panel->findChild<QTextEdit*>("txtLog")->toPlainText().split('\n');
        // Each line once: the page hears its device and the host, and the host does not
        // repeat its devices' lines to the page.
        QCOMPARE(lines.size(), 20);
        int next = 0;
        for (const QString& line : lines) {
            if (line == QString("line %1").arg(next))
                ++next;
        }
        QCOMPARE(next, 20);
        QVERIFY(bar->widgets.at(0)->isHidden());

        // With "Open when new message" ticked the first bottom panel opens.
        panel->findChild<QCheckBox*>("chbOpen")->setChecked(true);
        device->log(ov::LogWarning, "open up");
        QTRY_VERIFY(!bar->widgets.at(0)->isHidden());
        QVERIFY(bar->buttons.at(0)->isChecked());
        QCOMPARE(bar->buttons.at(0)->getIconBadgeNumber(), 0);
    }

    void refusedMeasurementSaysWhy()
    {
        TimepixPage page;
        QVERIFY(page.view);
        MsgPanel* panel = page.view->messagePanel();
        page.fixture.host->deviceFor(page.dev)->setLocked(true);
        DevCtrlMpx* ctrl = page.ctrl();
        ctrl->acqParams().acqCount = 3;
        ctrl->acqParams().acqTime = 0.0;
        page.view->onStartAcq();
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!page.view->isMeasurementRunning(), 20000);
        QCOMPARE(ctrl->lastAcqResult(), -1009);
        const QString why = "Measurement failed (code -1009): Measurement refused: the device "
                            "is locked";
        QTRY_VERIFY(panel->findChild<QTextEdit*>("txtLog")->toPlainText().contains(why));
        QVERIFY(page.view->progress()->error());
        QLabel* red = page.ui().statusbar->findChild<QLabel*>("ledRed");
        QVERIFY(red && !red->isHidden());
        QCOMPARE(red->toolTip(), why);
        QVERIFY(page.ui().statusbar->findChild<QLabel*>("ledGreen")->isHidden());

        // Unlocked, the next measurement starts from the device's own status again.
        page.fixture.host->deviceFor(page.dev)->setLocked(false);
        page.view->onStartAcq();
        QVERIFY(red->isHidden());
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!page.view->isMeasurementRunning(), 20000);
        QCOMPARE(ctrl->lastAcqResult(), 0);
        QVERIFY(red->isHidden());
        QVERIFY(!page.view->progress()->error());
    }

    void unwrittenOutputFilesFailTheMeasurement()
    {
        TimepixPage page;
        QVERIFY(page.view);
        MsgPanel* panel = page.view->messagePanel();
        DevCtrlMpx* ctrl = page.ctrl();
        QFile blocker(QDir(page.fixture.homePath()).filePath("notafolder"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        ctrl->acqParams().acqCount = 3;
        ctrl->acqParams().acqTime = 0.0;
        ctrl->acqParams().fileOutput = true;
        ctrl->acqParams().outputFile
            = QDir(page.fixture.homePath()).filePath("notafolder/shot.txt").toStdString();
        page.view->onStartAcq();
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!page.view->isMeasurementRunning(), 20000);
        QCOMPARE(ctrl->lastAcqResult(), -1012);
        const QString why
            = "Measurement failed (code -1012): Output: 3 frame(s) could not be written";
        QTRY_VERIFY(panel->findChild<QTextEdit*>("txtLog")->toPlainText().contains(why));
        QLabel* red = page.ui().statusbar->findChild<QLabel*>("ledRed");
        QVERIFY(!red->isHidden());
        QCOMPARE(red->toolTip(), why);
        QVERIFY(page.view->progress()->error());
        // The frames were measured all the same.
        QCOMPARE(ctrl->acqFrameCount(), 3);
    }

    void countsAgreeAfterStop_data()
    {
        QTest::addColumn<bool>("eventThread");
        QTest::newRow("acquisition thread") << false;
        QTest::newRow("host event thread") << true;
    }

    void countsAgreeAfterStop()
    {
        QFETCH(bool, eventThread);
        sim::DeviceDesc desc = TimepixPage::quadDesc();
        desc.eventThread = eventThread;
        TimepixPage page(QString(), desc);
        QVERIFY(page.view);
        DevCtrlMpx* ctrl = page.ctrl();
        ctrl->acqParams().acqCount = 2000;
        ctrl->acqParams().acqTime = 0.0;
        page.view->onStartAcq();
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(ctrl->curAcq() >= 50, 60000);
        QCOMPARE(ctrl->stopAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!page.view->isMeasurementRunning(), 60000);
        QCOMPARE(ctrl->lastAcqResult(), -1007);
        // Status bar, frame navigator and store tell the same number of frames, and the
        // picture is the store's last frame.
        const int frames = ctrl->acqFrameCount();
        QVERIFY(frames >= 50 && frames < 2000);
        QCOMPARE(ctrl->curAcq(), frames);
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: %1/2000").arg(frames));
        QCOMPARE(page.view->frameBox()->maximum(), frames - 1);
        QCOMPARE(page.view->frameBox()->value(), frames - 1);
        ov::RefData<ov::IMpxFrame> last(page.device()->lastAcqFrameRefInc(), false);
        QTRY_COMPARE(ctrl->currentFrame().get(), last.get());
    }

    void closingDuringAMeasurementEndsItFirst()
    {
        TimepixPage page;
        QVERIFY(page.view);
        DevCtrlMpx* ctrl = page.ctrl();
        ctrl->acqParams().acqCount = 100000;
        ctrl->acqParams().acqTime = 0.01;
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY(ctrl->curAcq() >= 2);
        // The host closes the plug-in while frames still arrive: the page aborts the
        // measurement and waits for its worker before it goes.
        page.fixture.close();
        page.view = nullptr;
        QTRY_COMPARE(DevCtrlMpx::detachedThreadCount(), 0);
    }

    void measurementShowsLiveFramesOnThePage()
    {
        TimepixPage page;
        QVERIFY(page.view);
        page.fixture.window()->resize(1200, 900);
        page.fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(page.fixture.window()));
        DevCtrlMpx* ctrl = page.ctrl();
        ctrl->acqParams().acqCount = 40;
        ctrl->acqParams().acqTime = 0.01;
        page.view->onStartAcq();
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!page.view->isMeasurementRunning(), 60000);
        QCOMPARE(page.view->statusLabel(3)->text(), QString("A: 40/40"));
        QCOMPARE(page.view->progress()->value(), 100);
        QVERIFY(!page.view->progress()->error());
        QCOMPARE(page.view->frameBox()->maximum(), 39);

        // The picture holds counts: with the automatic range on, not all pixels alike.
        auto* props = page.view->findChild<PnlImageProps*>();
        QVERIFY(props);
        props->autoRangeCombo()->setCurrentIndex(PnlImageProps::AutoSmart);
        props->autoRangeCheckBox()->setChecked(true);
        QVERIFY(page.image()->rangeMax > page.image()->rangeMin);
        const QImage shot = page.fixture.window()->grab().toImage();
        const QImage frame = page.ui().mpxFrame->image->grab().toImage();
        QSet<QRgb> colours;
        for (int y = 0; y < frame.height(); y += 7)
            for (int x = 0; x < frame.width(); x += 7)
                colours.insert(frame.pixel(x, y));
        QVERIFY2(colours.size() > 10, qPrintable(QString::number(colours.size())));
        const QString dir = qEnvironmentVariable("ORVEL_TEST_BINARY_DIR", QDir::tempPath());
        QDir().mkpath(dir + "/screenshots");
        QVERIFY(shot.save(dir + "/screenshots/timepix-page.png"));
    }
};

QTEST_MAIN(TestDevViewMpxStatus)
#include "tst_devviewmpxstatus.moc"
