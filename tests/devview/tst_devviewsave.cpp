// The File menu's data actions of a detector page: "Save Data..." with its choice
// dialog, the two save actions, "Open Frame..." and frame files dropped on the picture.
#include "timepixpage.h"

#include "../devctrl/modaldriver.h"
#include "dlgsavedata.h"
#include "ui_dlgsavedata.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using PluginDevControl::DevCtrlMpx;

class TstDevViewSave : public QObject
{
    Q_OBJECT

    QTemporaryDir out;

    QString path(const QString& name) const { return out.filePath(name); }

    static void measure(TimepixPage& page, int frames)
    {
        DevCtrlMpx* c = page.ctrl();
        c->acqParams().acqCount = frames;
        c->acqParams().acqTime = 0.0;
        QSignalSpy done(c, &DevCtrlMpx::acqAllFinished);
        QCOMPARE(c->startAcq(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 60000);
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
        QCOMPARE(c->acqFrameCount(), frames);
        c->showAcqFrame(0);
    }

    // The choice dialog: records which button was preset, picks choice (-1 cancels).
    static void choose(ModalDriver& driver, int choice, int* preset)
    {
        driver.add([=](QWidget* w) {
            auto* dialog = qobject_cast<DlgSaveData*>(w);
            if (!dialog)
                return false;
            QRadioButton* buttons[]
                = {dialog->ui->rbSaveRaw, dialog->ui->rbSaveFrame, dialog->ui->rbSaveAllFrames};
            for (int i = 0; i < 3; ++i)
                if (buttons[i]->isChecked())
                    *preset = i;
            if (choice < 0) {
                QTest::mouseClick(
                    dialog->ui->bbOkCancel->button(QDialogButtonBox::Cancel), Qt::LeftButton);
                return true;
            }
            QTest::mouseClick(buttons[choice], Qt::LeftButton);
            QTest::mouseClick(dialog->ui->bbOkCancel->button(QDialogButtonBox::Ok), Qt::LeftButton);
            return true;
        });
    }

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }

    // Each choice runs its operation, seen by the files it writes, and the dialog
    // comes back preset to the last accepted choice; Cancel runs nothing.
    void saveDataRunsTheChosenOperation()
    {
        TimepixPage page;
        QVERIFY(page.started && page.view);
        measure(page, 2);
        ModalDriver driver;
        int preset = -1;

        choose(driver, 2, &preset);
        driver.fileDialog("Text matrix frame (*.txt)", path("all.txt"));
        page.ui().acSaveData->trigger();
        QVERIFY(driver.done());
        QCOMPARE(preset, 0);
        QVERIFY(QFileInfo::exists(path("all_0000.txt")));
        QVERIFY(QFileInfo::exists(path("all_0001.txt")));

        choose(driver, 1, &preset);
        driver.fileDialog("Text matrix frame (*.txt)", path("one.txt"));
        page.ui().acSaveData->trigger();
        QVERIFY(driver.done());
        QCOMPARE(preset, 2);
        QVERIFY(QFileInfo::exists(path("one.txt")));
        QVERIFY(!QFileInfo::exists(path("one_0000.txt")));

        choose(driver, 0, &preset);
        driver.fileDialog("Text matrix frame (*.txt)", path("raw.txt"));
        page.ui().acSaveData->trigger();
        QVERIFY(driver.done());
        QCOMPARE(preset, 1);
        QVERIFY(QFileInfo::exists(path("raw0.txt")));
        QVERIFY(QFileInfo::exists(path("raw1.txt")));

        QStringList seen;
        choose(driver, -1, &preset);
        page.ui().acSaveData->trigger();
        QVERIFY(driver.done());
        QCOMPARE(preset, 0);
        // Cancel asked for no file name: a file dialog step would still be waiting.
        driver.fileDialog(QString(), QString(), &seen);
        QTest::qWait(200);
        QVERIFY(seen.isEmpty());
    }

    void saveActionsAndOpenFrame()
    {
        TimepixPage page;
        QVERIFY(page.started && page.view);
        measure(page, 2);
        ModalDriver driver;
        driver.fileDialog("Binary frame (*.bin)", path("cur.bin"));
        page.ui().acSaveCurrentFrame->trigger();
        QVERIFY(driver.done());
        QVERIFY(QFileInfo::exists(path("cur.bin")));
        driver.fileDialog("Binary frame (*.bin)", path("every.bin"));
        page.ui().acSaveAllFrames->trigger();
        QVERIFY(driver.done());
        QVERIFY(QFileInfo::exists(path("every_0001.bin")));

        // "Open Frame...": the description file of a saved frame.
        QVERIFY(QFileInfo::exists(path("cur.bin.dsc")));
        QString caption;
        QStringList filters;
        driver.fileDialog(QString(), path("cur.bin.dsc"), &filters, &caption);
        page.ui().acOpenFrame->trigger();
        QVERIFY(driver.done());
        QCOMPARE(caption, QString("Load Frames"));
        QCOMPARE(filters, QStringList {"Frames (*.dsc)"});
        QCOMPARE(int(page.ctrl()->loadedFileList().size()), 1);
        QCOMPARE(page.ctrl()->acqFrameCount(), 1);
        QSettings s(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel");
        QCOMPARE(
            s.value("devctrl/loadframes").toString(), QFileInfo(out.path()).absoluteFilePath());
    }

    void droppedFilesAreLoaded()
    {
        TimepixPage page;
        QVERIFY(page.started && page.view);
        measure(page, 3);
        ModalDriver driver;
        driver.fileDialog("Multi-frame file (*.mfd)", path("drop.mfd"));
        driver.itemDialog("Binary Sparse");
        page.ctrl()->saveAcqData();
        QVERIFY(driver.done());
        emit page.ui().mpxFrame->dropFiles(QList<QString> {});
        QVERIFY(page.ctrl()->loadedFileList().empty());
        emit page.ui().mpxFrame->dropFiles(QList<QString> {path("drop.mfd")});
        QCOMPARE(int(page.ctrl()->loadedFileList().size()), 3);
        QCOMPARE(page.ctrl()->acqFrameCount(), 3);
    }
};

QTEST_MAIN(TstDevViewSave)
#include "tst_devviewsave.moc"
