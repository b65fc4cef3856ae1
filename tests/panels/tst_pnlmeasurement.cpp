// The measurement panel on its own: form, entry points, merging into the controller's
// record, the questions before a start, and the running state of its controls.
#include "measpage.h"
#include "modaldriver.h"
#include "questionstep.h"
#include "typeinto.h"

#include "framememory.h"
#include "mydoublevalidator.h"
#include "qdoublelineedit.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QToolButton>

#include <thread>

using namespace PluginDevControl;
using meastest::MeasPage;

namespace {

void touch(const QString& path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("x");
}

} // namespace

class TestPnlMeasurement : public QObject
{
    Q_OBJECT

private slots:
    void formShowsTheControllersRecord()
    {
        AcqParams stored;
        stored.acqType = 1;
        stored.acqCount = 17;
        stored.acqTime = 0.125;
        stored.repeatEnabled = true;
        stored.repeatCount = 3;
        stored.outputFile = "/data/r\xc3\xb6ntgen.txt";
        stored.fileOutput = true;
        MeasPage page(ov::AcqTypeTestPulses, stored);
        auto& ui = page.ui();
        QCOMPARE(ui.lMeasurement->text(), QString(" Measurement"));
        QCOMPARE(ui.cmAcqType->count(), 3);
        QCOMPARE(ui.cmAcqType->itemText(0), QString("Frames"));
        QCOMPARE(ui.cmAcqType->itemText(1), QString("Integral"));
        QCOMPARE(ui.cmAcqType->itemText(2), QString("Test Pulses"));
        QCOMPARE(ui.cmAcqType->currentIndex(), 1);
        QCOMPARE(ui.spCount->value(), 17);
        QCOMPARE(ui.edTime->text(), QString("0.125"));
        QVERIFY(ui.cbRepeat->isChecked());
        QCOMPARE(ui.spRepeat->value(), 3);
        QCOMPARE(ui.edFileOutput->text(), QString::fromUtf8("/data/r\xc3\xb6ntgen.txt"));
        QVERIFY(ui.cbFileOutput->isChecked());
        QVERIFY(ui.edFileOutput->isEnabled());
        QVERIFY(ui.btBrowseFile->isEnabled());
        QCOMPARE(ui.btStartStop->text(), QString("Start"));
        QVERIFY(!page.on());
        QCOMPARE(ui.btMeasStg->toolTip(), QString("More Measurement Settings"));
        // Showing the record wrote nothing back.
        QCOMPARE(page.ctrl->acqParams().fileOutput, true);
        QCOMPARE(page.ctrl->acqParams().acqType, 1);

        // The time field's validator follows the device's limits with 9 decimals.
        MyDoubleValidator* validator = ui.edTime->doubleValidator();
        QCOMPARE(validator->bottom(), 1e-5);
        QCOMPARE(validator->top(), 10000.0);
        QCOMPARE(validator->decimals(), 9);
        QCOMPARE(validator->getLineEdit(), static_cast<QLineEdit*>(ui.edTime));
        QCOMPARE(ui.spCount->minimum(), 1);
        QCOMPARE(ui.spCount->maximum(), 100000000);
        QCOMPARE(ui.spRepeat->minimum(), 0);
        QCOMPARE(ui.spRepeat->maximum(), 100000);
    }

    void withoutTestPulsesTwoTypesAndAStoredTwoSelectsNothing()
    {
        AcqParams stored;
        stored.acqType = 2;
        MeasPage page(0, stored);
        QCOMPARE(page.ui().cmAcqType->count(), 2);
        QCOMPARE(page.ui().cmAcqType->currentIndex(), -1);
    }

    void entryPointsReachTheWidgetsFromAnyThread()
    {
        MeasPage page;
        auto& ui = page.ui();
        std::thread caller([&] {
            page.panel->setAcqParams(250, 0.0123456789);
            page.panel->setRepeatParams(12, true);
            page.panel->setOutputParams("/tmp/gr\xc3\xbc\xc3\x9f.txt", true);
        });
        caller.join();
        QTRY_COMPARE(ui.spCount->value(), 250);
        QCOMPARE(ui.edTime->text(), QString("0.0123457"));
        QTRY_COMPARE(ui.spRepeat->value(), 12);
        QVERIFY(ui.cbRepeat->isChecked());
        QTRY_COMPARE(ui.edFileOutput->text(), QString::fromUtf8("/tmp/gr\xc3\xbc\xc3\x9f.txt"));
        QVERIFY(ui.cbFileOutput->isChecked());
        // The enabled state of the file field stays as it was, deliberately.
        QVERIFY(!ui.edFileOutput->isEnabled());
        QVERIFY(!ui.btBrowseFile->isEnabled());

        // A new type reaches the controller at once, together with the other fields.
        page.panel->setAcqType(1);
        QCOMPARE(ui.cmAcqType->currentIndex(), 1);
        QCOMPARE(page.ctrl->acqParams().acqType, 1);
        QCOMPARE(page.ctrl->acqParams().acqCount, 250);
        QCOMPARE(page.ctrl->acqParams().repeatCount, 12);
        QCOMPARE(page.ctrl->starts, 0);

        page.panel->start();
        QCOMPARE(page.ctrl->starts, 1);
        page.panel->stop();
        QCOMPARE(page.ctrl->stops, 1);
    }

    void typeChangedByTheUserKeepsTheDialogsFields()
    {
        MeasPage page;
        page.ctrl->acqParams().acqMode = 3;
        page.ctrl->acqParams().spacing = 7;
        page.ctrl->acqParams().fileFlags = 0x40;
        typeInto(page.ui().spCount, 42);
        QCOMPARE(page.ctrl->acqParams().acqCount, 100); // not yet handed over
        page.ui().cmAcqType->setFocus();
        QTest::keyClick(page.ui().cmAcqType, Qt::Key_Down);
        QCOMPARE(page.ui().cmAcqType->currentIndex(), 1);
        const AcqParams& p = page.ctrl->acqParams();
        QCOMPARE(p.acqType, 1);
        QCOMPARE(p.acqCount, 42);
        QCOMPARE(p.acqMode, 3);
        QCOMPARE(p.spacing, 7);
        QCOMPARE(p.fileFlags, 0x40u);

        // The settings button merges the same way, then opens the measurement settings
        // (cancelled here).
        typeInto(page.ui().spCount, 43);
        ModalDriver driver;
        QString opened;
        driver.add([&opened](QWidget* w) {
            auto* dialog = qobject_cast<QDialog*>(w);
            if (!dialog)
                return false;
            opened = dialog->windowTitle();
            dialog->reject();
            return true;
        });
        QTest::mouseClick(page.ui().btMeasStg, Qt::LeftButton);
        QCOMPARE(opened, QString("Measurement Settings"));
        QCOMPARE(page.ctrl->acqParams().acqCount, 43);
        QCOMPARE(page.ctrl->acqParams().acqMode, 3);
        QCOMPARE(page.ui().spCount->value(), 43);
    }

    void exitHandsThePanelToTheController()
    {
        MeasPage page;
        typeInto(page.ui().spCount, 9);
        typeInto(page.ui().edTime, "2.5");
        QTest::mouseClick(page.ui().cbRepeat, Qt::LeftButton);
        page.panel->onExit();
        QCOMPARE(page.ctrl->acqParams().acqCount, 9);
        QCOMPARE(page.ctrl->acqParams().acqTime, 2.5);
        QVERIFY(page.ctrl->acqParams().repeatEnabled);
    }

    void frameMemoryEstimate()
    {
        // 2 bytes a pixel on Timepix and Medipix2, 4 on Medipix3, 8 on Timepix3.
        QCOMPARE(estimateFrameMemoryMb(1, 0, 10, 1u << 20), uint64_t(20));
        QCOMPARE(estimateFrameMemoryMb(2, 0, 10, 1u << 20), uint64_t(40));
        QCOMPARE(estimateFrameMemoryMb(3, 2, 10, 1u << 20), uint64_t(80));
        QCOMPARE(estimateFrameMemoryMb(4, 0, 10, 1u << 20), uint64_t(20));
        // Integrating kinds keep one frame.
        QCOMPARE(estimateFrameMemoryMb(1, 1, 100000, 1u << 20), uint64_t(2));
        QCOMPARE(estimateFrameMemoryMb(3, 4, 100000, 1u << 20), uint64_t(8));
        // Rounded down.
        QCOMPARE(estimateFrameMemoryMb(1, 0, 1, 65536 * 8 - 1), uint64_t(0));
        QCOMPARE(estimateFrameMemoryMb(1, 0, 100000000, 262144), uint64_t(50000000));

        QTemporaryDir dir;
        QCOMPARE(maxFrameMemoryMb(dir.path()), 2048u);
        QSettings ini(QDir(dir.path()).filePath("orvel.ini"), QSettings::IniFormat);
        ini.setValue("MaxFrameMemory", 5); // not in the group: not the host's key
        ini.sync();
        QCOMPARE(maxFrameMemoryMb(dir.path()), 2048u);
        ini.setValue("Settings/MaxFrameMemory", 77);
        ini.sync();
        QCOMPARE(maxFrameMemoryMb(dir.path()), 77u);
    }

    void memoryQuestionOnlyAboveTheLimit()
    {
        MeasPage page;
        page.setFrameMemoryLimit(10); // 1 M pixels of 2 bytes: 2 MB a frame
        ModalDriver driver;
        int asked = 0;
        driver.add(refuseAnyQuestion(&asked));

        // Exactly at the limit: no question.
        typeInto(page.ui().spCount, 5);
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(asked, 0);
        QCOMPARE(page.ctrl->starts, 1);
        emit page.ctrl->acqAllFinished(0);

        // Integral: one frame, however large the count.
        page.ui().cmAcqType->setCurrentIndex(1);
        typeInto(page.ui().spCount, 100000000);
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(asked, 0);
        QCOMPARE(page.ctrl->starts, 2);
        emit page.ctrl->acqAllFinished(0);
        QVERIFY(!driver.done());
    }

    void memoryQuestionNoChangesNothing()
    {
        MeasPage page;
        page.setFrameMemoryLimit(10);
        typeInto(page.ui().spCount, 6);
        ModalDriver driver;
        QString text;
        driver.add(answerQuestion("Memory", QMessageBox::No, &text));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QVERIFY(driver.done());
        QCOMPARE(text,
            QString("The entered number of frames will take 12 MB of memory. Are you sure you "
                    "want to proceed ?"));
        QCOMPARE(page.ctrl->starts, 0);
        QCOMPARE(page.ctrl->acqParams().acqCount, 100);
        QVERIFY(!page.on());
        QVERIFY(page.ui().spCount->isEnabled());

        driver.add(answerQuestion("Memory", QMessageBox::Yes));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QVERIFY(driver.done());
        QCOMPARE(page.ctrl->starts, 1);
        QCOMPARE(page.ctrl->acqParams().acqCount, 6);
        QVERIFY(page.on());
    }

    void existingOutputFileAndNoLeaveTheParametersIdle()
    {
        MeasPage page;
        const QString name = QDir(page.home.path()).filePath("run.mfd");
        touch(name);
        QTest::mouseClick(page.ui().cbFileOutput, Qt::LeftButton);
        QVERIFY(page.ui().edFileOutput->isEnabled());
        typeInto(page.ui().edFileOutput, name);
        typeInto(page.ui().spCount, 7);
        ModalDriver driver;
        QString text;
        driver.add(answerQuestion("File Exists", QMessageBox::No, &text));
        QSignalSpy started(page.panel.get(), &PnlMeasurement::sigAcqStart);
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QVERIFY(driver.done());
        QCOMPARE(
            text, QString("File %1 already exists. Are you sure you want to continue ?").arg(name));
        // The controller holds what was typed; the panel is idle.
        QCOMPARE(page.ctrl->acqParams().acqCount, 7);
        QCOMPARE(QString::fromStdString(page.ctrl->acqParams().outputFile), name);
        QVERIFY(page.ctrl->acqParams().fileOutput);
        QCOMPARE(page.ctrl->starts, 0);
        QCOMPARE(started.count(), 0);
        QVERIFY(!page.on());
        QVERIFY(page.ui().btStartStop->isEnabled());
        QCOMPARE(page.ui().btStartStop->text(), QString("Start"));

        driver.add(answerQuestion("File Exists", QMessageBox::Yes));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QVERIFY(driver.done());
        QCOMPARE(page.ctrl->starts, 1);
        QCOMPARE(started.count(), 1);
    }

    void theTestUsesTheFirstNameOfTheSeries()
    {
        MeasPage page;
        // Text frames are single-frame files: three frames give a_0.txt to a_2.txt.
        const QString name = QDir(page.home.path()).filePath("a.txt");
        touch(name);
        page.panel->setOutputParams(name.toUtf8().constData(), true);
        page.panel->setAcqParams(3, 0.1);
        ModalDriver driver;
        int asked = 0;
        driver.add(refuseAnyQuestion(&asked));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(asked, 0);
        QCOMPARE(page.ctrl->starts, 1);
        emit page.ctrl->acqAllFinished(0);

        const QString first = QDir(page.home.path()).filePath("a_0.txt");
        QCOMPARE(page.ctrl->getFirstOutputFileName(), first);
        touch(first);
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(asked, 1);
        QCOMPARE(page.ctrl->starts, 1);
        QVERIFY(!page.on());
    }

    void aDirectoryOfTheNameCountsAsExisting()
    {
        MeasPage page;
        const QString name = QDir(page.home.path()).filePath("taken.mfd");
        QVERIFY(QDir().mkpath(name));
        page.panel->setOutputParams(name.toUtf8().constData(), true);
        ModalDriver driver;
        driver.add(answerQuestion("File Exists", QMessageBox::No));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QVERIFY(driver.done());
        QCOMPARE(page.ctrl->starts, 0);
    }

    void commaInTheTimeIsAPoint()
    {
        MeasPage page;
        page.ui().edTime->doubleValidator()->setLocale(QLocale(QLocale::German, QLocale::Germany));
        typeInto(page.ui().edTime, "0,5");
        QCOMPARE(page.ui().edTime->text(), QString("0,5"));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(page.ctrl->starts, 1);
        QCOMPARE(page.ctrl->startParams.back().acqTime, 0.5);
    }

    void anUnfinishedExponentStartsWithZero()
    {
        MeasPage page;
        typeInto(page.ui().edTime, "1e");
        QCOMPARE(page.ui().edTime->text(), QString("1e"));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(page.ctrl->startParams.back().acqTime, 0.0);
        emit page.ctrl->acqAllFinished(0);

        typeInto(page.ui().edTime, "1e-");
        QCOMPARE(page.ui().edTime->text(), QString("1e-"));
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(page.ctrl->startParams.back().acqTime, 0.0);
    }

    void timeFieldRefusesWhatCannotBecomeValid()
    {
        MeasPage page;
        QLineEdit* edit = page.ui().edTime;
        // A leading zero on the way to a small time is allowed though 0 is out of range.
        typeInto(edit, "0.00002");
        QCOMPARE(edit->text(), QString("0.00002"));
        // Above the device's longest time the keystroke is refused.
        typeInto(edit, "99999");
        QCOMPARE(edit->text(), QString("9999"));
        // More than nine decimals are refused silently.
        typeInto(edit, "0.1234567891");
        QCOMPARE(edit->text(), QString("0.123456789"));
        typeInto(edit, "-");
        QCOMPARE(edit->text(), QString("-"));
    }

    void runningStateThroughASeries()
    {
        MeasPage page;
        auto& ui = page.ui();
        QSignalSpy starts(page.panel.get(), &PnlMeasurement::sigAcqStart);
        QSignalSpy stops(page.panel.get(), &PnlMeasurement::sigAcqStop);
        QTest::mouseClick(ui.cbRepeat, Qt::LeftButton);
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);

        // Starting: the button says Stop but cannot be pressed yet.
        QCOMPARE(page.ctrl->starts, 1);
        QCOMPARE(starts.count(), 1);
        QVERIFY(page.on());
        QCOMPARE(ui.btStartStop->text(), QString("Stop"));
        QVERIFY(!ui.btStartStop->isEnabled());
        for (QWidget* w : std::initializer_list<QWidget*> {ui.cmAcqType, ui.spCount, ui.edTime,
                 ui.spRepeat, ui.cbFileOutput, ui.btMeasStg, ui.edFileOutput, ui.btBrowseFile})
            QVERIFY2(!w->isEnabled(), qPrintable(w->objectName()));
        // A ticked repeat box stays, to end the series early.
        QVERIFY(ui.cbRepeat->isEnabled());

        // Measuring.
        emit page.ctrl->acqMeasStarted();
        QVERIFY(ui.btStartStop->isEnabled());
        QVERIFY(!ui.spCount->isEnabled());

        // Between the repeats the controls are live again, the button still says Stop.
        emit page.ctrl->acqMeasFinished();
        QVERIFY(ui.spCount->isEnabled());
        QVERIFY(ui.cmAcqType->isEnabled());
        QVERIFY(ui.btStartStop->isEnabled());
        QCOMPARE(ui.btStartStop->text(), QString("Stop"));
        emit page.ctrl->acqMeasStarted();
        QVERIFY(!ui.spCount->isEnabled());
        emit page.ctrl->acqMeasFinished();

        // Stop between two repeats: the controller is told, the button waits.
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QCOMPARE(page.ctrl->stops, 1);
        QCOMPARE(page.ctrl->starts, 1);
        QVERIFY(!ui.btStartStop->isEnabled());
        QVERIFY(page.on());
        QCOMPARE(stops.count(), 0);

        emit page.ctrl->acqAllFinished(-1007);
        QCOMPARE(stops.count(), 1);
        QVERIFY(!page.on());
        QVERIFY(ui.btStartStop->isEnabled());
        QCOMPARE(ui.btStartStop->text(), QString("Start"));
        QVERIFY(ui.spCount->isEnabled());
        QVERIFY(ui.cbRepeat->isEnabled());
    }

    void anUntickedRepeatCannotBeSwitchedOnDuringARun()
    {
        MeasPage page;
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QVERIFY(!page.ui().cbRepeat->isEnabled());
        emit page.ctrl->acqAllFinished(0);
        QVERIFY(page.ui().cbRepeat->isEnabled());
    }

    void repeatBoxRewritesTheLiveCount()
    {
        MeasPage page;
        QTest::mouseClick(page.ui().cbRepeat, Qt::LeftButton);
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        emit page.ctrl->acqMeasStarted();
        QTest::mouseClick(page.ui().cbRepeat, Qt::LeftButton);
        QTest::mouseClick(page.ui().cbRepeat, Qt::LeftButton);
        QCOMPARE(page.ctrl->repeatSwitches, (std::vector<bool> {true, false, true}));
    }

    void triggerWordingStaysUntilTheNextStart()
    {
        MeasPage page;
        page.ctrl->acqParams().acqMode = 2;
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(page.ui().lInfo->text(), QString(" Trigger Measurement"));
        emit page.ctrl->acqMeasStarted();
        emit page.ctrl->acqMeasFinished();
        emit page.ctrl->acqAllFinished(0);
        QCOMPARE(page.ui().lInfo->text(), QString(" Trigger Measurement"));

        // All four low bits count as trigger bits.
        page.ctrl->acqParams().acqMode = 8;
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(page.ui().lInfo->text(), QString(" Trigger Measurement"));
        emit page.ctrl->acqAllFinished(0);
        page.ctrl->acqParams().acqMode = 16;
        QTest::mouseClick(page.ui().btStartStop, Qt::LeftButton);
        QCOMPARE(page.ui().lInfo->text(), QString());
    }

    void aForeignLockTakesEverythingAway()
    {
        MeasPage page;
        auto& ui = page.ui();
        page.ctrl->locked = true;
        emit page.ctrl->sigDevLockChanged();
        QVERIFY(!ui.btStartStop->isEnabled());
        QVERIFY(!ui.spCount->isEnabled());
        QVERIFY(!ui.cmAcqType->isEnabled());
        // While locked the end of a measurement does not bring the controls back.
        emit page.ctrl->acqMeasFinished();
        QVERIFY(!ui.spCount->isEnabled());
        QVERIFY(!ui.btStartStop->isEnabled());

        page.ctrl->locked = false;
        emit page.ctrl->sigDevLockChanged();
        QVERIFY(ui.btStartStop->isEnabled());
        QVERIFY(ui.spCount->isEnabled());
    }

    void fileOutputBoxEnablesTheFileField()
    {
        MeasPage page;
        auto& ui = page.ui();
        QVERIFY(!ui.edFileOutput->isEnabled());
        QTest::mouseClick(ui.cbFileOutput, Qt::LeftButton);
        QVERIFY(ui.edFileOutput->isEnabled());
        QVERIFY(ui.btBrowseFile->isEnabled());
        QTest::mouseClick(ui.cbFileOutput, Qt::LeftButton);
        QVERIFY(!ui.edFileOutput->isEnabled());
        QVERIFY(!ui.btBrowseFile->isEnabled());
    }

    void browsingSetsTheFileUnlessCancelled()
    {
        MeasPage page;
        auto& ui = page.ui();
        QTest::mouseClick(ui.cbFileOutput, Qt::LeftButton);
        typeInto(ui.edFileOutput, "/old.txt");
        QTest::mouseClick(ui.btBrowseFile, Qt::LeftButton);
        QCOMPARE(page.ctrl->browses, 1);
        QVERIFY(!page.ctrl->browseFramesOnly);
        QCOMPARE(ui.edFileOutput->text(), QString("/old.txt"));
        page.ctrl->browseAnswer = "/new/run.mfd";
        QTest::mouseClick(ui.btBrowseFile, Qt::LeftButton);
        QCOMPARE(ui.edFileOutput->text(), QString("/new/run.mfd"));
    }
};

QTEST_MAIN(TestPnlMeasurement)
#include "tst_pnlmeasurement.moc"
