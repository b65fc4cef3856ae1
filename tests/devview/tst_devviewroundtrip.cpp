// What a user does with data at the bench: measure on the Timepix quad, save with
// "Save Data..." in each host format, start the program again, open the saved frames
// with "Open Frame..." and step through them with the frame actions. Every frame shown
// must be the frame that was measured, pixel for pixel, with its acquisition time.
#include "timepixpage.h"

#include "../devctrl/modaldriver.h"
#include "dlgsavedata.h"

#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QtTest>

#include <vector>

using PluginDevControl::DevCtrlMpx;

namespace {

struct FrameCopy
{
    std::vector<short> pixels;
    unsigned width = 0;
    unsigned height = 0;
    double acqTime = 0.0;
};

FrameCopy copyOf(ov::IMpxFrame* frame)
{
    FrameCopy copy;
    if (!frame || frame->dataType() != ov::FrameInt16)
        return copy;
    ov::RefDataBuff<short> pixels;
    if (frame->dataRef(&pixels) != 0 || !pixels.data())
        return copy;
    copy.pixels.assign(pixels.data(), pixels.data() + pixels.size());
    copy.width = frame->width();
    copy.height = frame->height();
    copy.acqTime = frame->acqTime();
    return copy;
}

FrameCopy shownFrame(DevCtrlMpx* ctrl)
{
    ov::RefData<ov::IMpxFrame> frame = ctrl->currentFrame();
    return copyOf(frame.get());
}

} // namespace

class TstDevViewRoundTrip : public QObject
{
    Q_OBJECT

    // Answers the save-data question with "Save raw data".
    static void chooseRaw(ModalDriver& driver)
    {
        driver.add([](QWidget* w) {
            auto* dialog = qobject_cast<DlgSaveData*>(w);
            if (!dialog)
                return false;
            auto* raw = dialog->findChild<QRadioButton*>(QStringLiteral("rbSaveRaw"));
            auto* box = dialog->findChild<QDialogButtonBox*>(QStringLiteral("bbOkCancel"));
            if (!raw || !box)
                return false;
            QTest::mouseClick(raw, Qt::LeftButton);
            QTest::mouseClick(box->button(QDialogButtonBox::Ok), Qt::LeftButton);
            return true;
        });
    }

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }

    void measureSaveRestartOpenAndStep_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("multiFrameType"); // empty: a file per frame
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("open"); // the description files to open
        QTest::newRow("ASCII sparse") << "Multi-frame file (*.mfd)"
                                      << "ASCII Sparse"
                                      << "s.mfd" << QStringList {"s.mfd.dsc"};
        QTest::newRow("ASCII matrix") << "Multi-frame file (*.mfd)"
                                      << "ASCII Matrix"
                                      << "m.mfd" << QStringList {"m.mfd.dsc"};
        QTest::newRow("binary sparse") << "Multi-frame file (*.mfd)"
                                       << "Binary Sparse"
                                       << "bs.mfd" << QStringList {"bs.mfd.dsc"};
        QTest::newRow("binary matrix") << "Multi-frame file (*.mfd)"
                                       << "Binary Matrix"
                                       << "bm.mfd" << QStringList {"bm.mfd.dsc"};
        QTest::newRow("text per frame") << "Text matrix frame (*.txt)" << QString() << "t.txt"
                                        << QStringList {"t0.txt.dsc", "t1.txt.dsc", "t2.txt.dsc"};
        QTest::newRow("binary per frame") << "Binary frame (*.bin)" << QString() << "b.bin"
                                          << QStringList {"b0.bin.dsc", "b1.bin.dsc", "b2.bin.dsc"};
    }

    void measureSaveRestartOpenAndStep()
    {
        QFETCH(QString, filter);
        QFETCH(QString, multiFrameType);
        QFETCH(QString, name);
        QFETCH(QStringList, open);
        QTemporaryDir home;
        QTemporaryDir out;
        const int count = 3;
        std::vector<FrameCopy> measured;

        {
            TimepixPage page(home.path());
            QVERIFY(page.started && page.view);
            DevCtrlMpx* c = page.ctrl();
            c->acqParams().acqCount = count;
            c->acqParams().acqTime = 0.02;
            QSignalSpy done(c, &DevCtrlMpx::acqAllFinished);
            QCOMPARE(c->startAcq(), 0);
            QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 60000);
            QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
            QCOMPARE(c->acqFrameCount(), count);
            for (int i = 0; i < count; ++i) {
                ov::RefData<ov::IMpxFrame> f(c->frame(static_cast<unsigned long>(i)), false);
                measured.push_back(copyOf(f.get()));
                QVERIFY(!measured.back().pixels.empty());
            }
            // Frames of a simulated scene differ from each other (Poisson noise).
            QVERIFY(measured[0].pixels != measured[1].pixels);

            ModalDriver driver;
            chooseRaw(driver);
            driver.fileDialog(filter, out.filePath(name));
            if (!multiFrameType.isEmpty())
                driver.itemDialog(multiFrameType);
            page.ui().acSaveData->trigger();
            QVERIFY(driver.done());
        }

        // The program starts again with the same home folder.
        TimepixPage page(home.path());
        QVERIFY(page.started && page.view);
        QStringList quoted;
        for (const QString& file : open) {
            QVERIFY2(QFileInfo::exists(out.filePath(file)), qPrintable(file));
            quoted << QLatin1Char('"') + file + QLatin1Char('"');
        }
        ModalDriver driver;
        // Several files are chosen in the name field as a quoted list.
        driver.fileDialog(QString(),
            open.size() == 1 ? out.filePath(open.front())
                             : out.path() + QLatin1Char('/') + quoted.join(QLatin1Char(' ')));
        page.ui().acOpenFrame->trigger();
        QVERIFY(driver.done());

        DevCtrlMpx* c = page.ctrl();
        QCOMPARE(int(c->loadedFileList().size()), count);
        QCOMPARE(c->acqFrameCount(), count);
        auto* spin = page.view->findChild<QSpinBox*>(QStringLiteral("frameSpinBox"));
        QVERIFY(spin);
        QCOMPARE(spin->maximum(), count - 1);

        // Opening shows the last frame; stepping back and forth shows each in turn.
        const auto check = [&](int index) {
            const FrameCopy shown = shownFrame(c);
            QCOMPARE(shown.width, measured[index].width);
            QCOMPARE(shown.height, measured[index].height);
            QCOMPARE(shown.acqTime, measured[index].acqTime);
            QVERIFY2(shown.pixels == measured[index].pixels,
                qPrintable(QStringLiteral("frame %1 differs").arg(index)));
        };
        check(count - 1);
        for (int i = count - 2; i >= 0; --i) {
            page.ui().acPrevFrame->trigger();
            QCOMPARE(spin->value(), i);
            check(i);
        }
        page.ui().acNextFrame->trigger();
        QCOMPARE(spin->value(), 1);
        check(1);
    }
};

QTEST_MAIN(TstDevViewRoundTrip)
#include "tst_devviewroundtrip.moc"
