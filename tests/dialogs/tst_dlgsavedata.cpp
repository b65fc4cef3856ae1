// The "Save Data" choice dialog: texts, the preset choice and the stored answer.
#include "dlgsavedata.h"
#include "ui_dlgsavedata.h"

#include <QPushButton>
#include <QtTest>

class TstDlgSaveData : public QObject
{
    Q_OBJECT

private slots:
    void textsAndDefault()
    {
        DlgSaveData dialog;
        QCOMPARE(dialog.windowTitle(), QString("Save Data"));
        QCOMPARE(dialog.ui->rbSaveRaw->parentWidget(), dialog.ui->groupBox);
        QCOMPARE(dialog.ui->rbSaveRaw->text(), QString("Save raw data to frames or other format"));
        QCOMPARE(dialog.ui->rbSaveFrame->text(),
            QString("Save the currently visible frame as shown on screen with\nselected image "
                    "range, applied calibration or filters to file (frame, image, ..)"));
        QCOMPARE(dialog.ui->rbSaveAllFrames->text(),
            QString("Save all  measured frames from memory to frame or image files with\n"
                    "selected image range, applied calibration or filters."));
        QVERIFY(dialog.ui->rbSaveRaw->isChecked());
        QVERIFY(dialog.ui->bbOkCancel->button(QDialogButtonBox::Ok));
        QVERIFY(dialog.ui->bbOkCancel->button(QDialogButtonBox::Cancel));
        QCOMPARE(dialog.choice(), 0);
    }

    void setChoiseChecksOneButton()
    {
        DlgSaveData dialog;
        dialog.setChoise(2);
        QVERIFY(dialog.ui->rbSaveAllFrames->isChecked());
        QVERIFY(!dialog.ui->rbSaveRaw->isChecked());
        dialog.setChoise(1);
        QVERIFY(dialog.ui->rbSaveFrame->isChecked());
        QVERIFY(!dialog.ui->rbSaveAllFrames->isChecked());
        dialog.setChoise(3); // no such button: nothing changes
        QVERIFY(dialog.ui->rbSaveFrame->isChecked());
        dialog.setChoise(-1);
        QVERIFY(dialog.ui->rbSaveFrame->isChecked());
        dialog.setChoise(0);
        QVERIFY(dialog.ui->rbSaveRaw->isChecked());
    }

    void okStoresTheChoice_data()
    {
        QTest::addColumn<int>("choice");
        QTest::newRow("raw") << 0;
        QTest::newRow("current frame") << 1;
        QTest::newRow("all frames") << 2;
    }
    void okStoresTheChoice()
    {
        QFETCH(int, choice);
        DlgSaveData dialog;
        dialog.show();
        QRadioButton* buttons[]
            = {dialog.ui->rbSaveRaw, dialog.ui->rbSaveFrame, dialog.ui->rbSaveAllFrames};
        QTest::mouseClick(buttons[choice], Qt::LeftButton);
        QTest::mouseClick(dialog.ui->bbOkCancel->button(QDialogButtonBox::Ok), Qt::LeftButton);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(dialog.choice(), choice);
    }

    void cancelKeepsTheOldChoice()
    {
        DlgSaveData dialog;
        dialog.show();
        QTest::mouseClick(dialog.ui->rbSaveAllFrames, Qt::LeftButton);
        QTest::mouseClick(dialog.ui->bbOkCancel->button(QDialogButtonBox::Cancel), Qt::LeftButton);
        QCOMPARE(dialog.result(), int(QDialog::Rejected));
        QCOMPARE(dialog.choice(), 0);
    }
};

QTEST_MAIN(TstDlgSaveData)
#include "tst_dlgsavedata.moc"
