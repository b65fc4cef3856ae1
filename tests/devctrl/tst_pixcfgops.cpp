// The detector controller's pixel-configuration and DAC operations against recording
// doubles: toggling by view and area, masking rectangles, masking and shifting by value
// in every pixel type, the configuration file dialogs, deferred DAC writes, the factory
// configuration and the device's configuration files.
#include "devctrlmpx.h"
#include "modaldriver.h"
#include "pixcfgfakes.h"

#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QProgressDialog>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <thread>

using namespace PluginDevControl;
using testdev::PixCfgDevice;
using testdev::ValueFrame;

namespace {

// The controller with the view on show in reach of the tests.
class ProbeCtrl : public DevCtrlMpx
{
public:
    using DevCtrlMpx::DevCtrlMpx;
    void setView(PixCfgType type) { pixCfgType = type; }
    size_t pendingCount()
    {
        std::lock_guard<std::mutex> lock(pendingDacsMutex);
        return pendingDacs.size();
    }
};

// Values 0, 1, 2, ... for the pixels of a width x height frame.
std::vector<double> ramp(unsigned count)
{
    std::vector<double> values(count);
    for (unsigned i = 0; i < count; ++i)
        values[i] = i;
    return values;
}

// A file dialog step that also records the dialog's title and the accept mode.
ModalDriver::Step recordDialog(QString* title, bool* saving)
{
    return [=](QWidget* w) {
        auto* dialog = qobject_cast<QFileDialog*>(w);
        if (!dialog)
            return false;
        *title = dialog->windowTitle();
        *saving = dialog->acceptMode() == QFileDialog::AcceptSave;
        return true; // the next step acts on the same dialog
    };
}

} // namespace

Q_DECLARE_METATYPE(DevCtrlMpx::PixCfgType)
Q_DECLARE_METATYPE(DevCtrlMpx::PixelArea)

class TstPixCfgOps : public QObject
{
    Q_OBJECT

    static constexpr unsigned W = 16;
    static constexpr unsigned H = 8;
    std::unique_ptr<PixCfgDevice> dev;
    std::unique_ptr<ProbeCtrl> ctrl;
    std::unique_ptr<QTemporaryDir> dir;

    void showValues(int type, const std::vector<double>& values)
    {
        ValueFrame* f = ValueFrame::create(type, W, H, values);
        ctrl->setCurrentFrame(f);
        f->decRef();
    }
    QString path(const QString& name) const { return dir->filePath(name); }

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }

    void init()
    {
        dev = std::make_unique<PixCfgDevice>(W, H, true);
        ctrl = std::make_unique<ProbeCtrl>(nullptr, dev.get(), nullptr, nullptr);
        dir = std::make_unique<QTemporaryDir>();
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel").clear();
    }
    void cleanup()
    {
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 20000));
        ctrl.reset();
        dev.reset();
    }

    // ---------------------------------------------------------------------------
    // togglePixCfg: what each view and area does to the configuration, clicked twice.

    void togglePixCfgTable_data()
    {
        QTest::addColumn<DevCtrlMpx::PixCfgType>("view");
        QTest::addColumn<DevCtrlMpx::PixelArea>("area");
        QTest::addColumn<QStringList>("calls");
        // Pixel (5, 3) of a 16 x 8 device is index 53.
        using C = DevCtrlMpx;
        QTest::newRow("frame pixel masks") << C::PixCfgNone << C::AreaPixel
                                           << QStringList {"setMaskBit(53,1)", "setMaskBit(53,0)"};
        QTest::newRow("frame row")
            << C::PixCfgNone << C::AreaRow << QStringList {"setMaskRow(3,1)", "setMaskRow(3,0)"};
        QTest::newRow("frame column") << C::PixCfgNone << C::AreaColumn
                                      << QStringList {"setMaskColumn(5,1)", "setMaskColumn(5,0)"};
        QTest::newRow("mask pixel") << C::PixCfgMask << C::AreaPixel
                                    << QStringList {"setMaskBit(53,1)", "setMaskBit(53,0)"};
        QTest::newRow("mask row") << C::PixCfgMask << C::AreaRow
                                  << QStringList {"setMaskRow(3,1)", "setMaskRow(3,0)"};
        QTest::newRow("mask column") << C::PixCfgMask << C::AreaColumn
                                     << QStringList {"setMaskColumn(5,1)", "setMaskColumn(5,0)"};
        QTest::newRow("test pixel") << C::PixCfgTest << C::AreaPixel
                                    << QStringList {"setTestBit(53,1)", "setTestBit(53,0)"};
        QTest::newRow("test row") << C::PixCfgTest << C::AreaRow
                                  << QStringList {"setTestRow(3,1)", "setTestRow(3,0)"};
        QTest::newRow("test column") << C::PixCfgTest << C::AreaColumn
                                     << QStringList {"setTestColumn(5,1)", "setTestColumn(5,0)"};
        QTest::newRow("thl pixel")
            << C::PixCfgThl << C::AreaPixel << QStringList {"setThl(53,8)", "setThl(53,9)"};
        QTest::newRow("thl row") << C::PixCfgThl << C::AreaRow
                                 << QStringList {"stepThlRow(3,1,1)", "stepThlRow(3,1,1)"};
        QTest::newRow("thl column") << C::PixCfgThl << C::AreaColumn
                                    << QStringList {"stepThlColumn(5,1,1)", "stepThlColumn(5,1,1)"};
        QTest::newRow("fifth view pixel") << C::PixCfgFifth << C::AreaPixel << QStringList();
        QTest::newRow("fifth view row") << C::PixCfgFifth << C::AreaRow << QStringList();
    }
    void togglePixCfgTable()
    {
        QFETCH(DevCtrlMpx::PixCfgType, view);
        QFETCH(DevCtrlMpx::PixelArea, area);
        QFETCH(QStringList, calls);
        ctrl->setView(view);
        QCOMPARE(ctrl->togglePixCfg(5, 3, area, {QRect(0, 0, 4, 4)}), 0);
        QCOMPARE(ctrl->togglePixCfg(5, 3, area, {}), 0);
        QCOMPARE(*dev->live.log, calls);
    }

    void togglePixCfgLeavesThlAtItsMaximum()
    {
        ctrl->setView(DevCtrlMpx::PixCfgThl);
        dev->live.setThl(53, dev->live.thlMax());
        dev->live.log->clear();
        QCOMPARE(ctrl->togglePixCfg(5, 3, DevCtrlMpx::AreaPixel, {}), 0);
        QCOMPARE(dev->live.thl(53), dev->live.thlMax());
        QVERIFY(dev->live.log->isEmpty());
    }

    void togglePixCfgOnTheMaskMasksThatPixelOnly()
    {
        ctrl->setView(DevCtrlMpx::PixCfgMask);
        ctrl->togglePixCfg(15, 7, DevCtrlMpx::AreaPixel, {});
        QVERIFY(dev->live.maskBit(7 * W + 15));
        QCOMPARE(dev->live.maskedCount(), 1);
    }

    // ---------------------------------------------------------------------------
    // maskRect

    void maskRectMasksEachRectangleInOrder()
    {
        const QList<QRect> rects {QRect(QPoint(1, 2), QPoint(3, 4)), QRect(10, 0, 2, 1)};
        QCOMPARE(ctrl->maskRect(rects, true), 0);
        QCOMPARE(*dev->live.log,
            QStringList({"setMaskBitRange(1,2,3,3,1)", "setMaskBitRange(10,0,2,1,1)"}));
        QCOMPARE(dev->live.maskedCount(), 9 + 2);
        QVERIFY(dev->live.maskBit(4 * W + 3));
        QVERIFY(!dev->live.maskBit(5 * W + 3));

        dev->live.log->clear();
        QCOMPARE(ctrl->maskRect({rects.at(1)}, false), 0);
        QCOMPARE(*dev->live.log, QStringList({"setMaskBitRange(10,0,2,1,0)"}));
        QCOMPARE(dev->live.maskedCount(), 9);
    }

    void maskRectSumsResultsAndEmptyGivesZero()
    {
        QCOMPARE(ctrl->maskRect({}, true), 0);
        QVERIFY(dev->live.log->isEmpty());
        // Two rectangles beyond the device: each refused with -1.
        const QList<QRect> outside {QRect(15, 0, 4, 1), QRect(0, 0, 1, 1), QRect(0, 7, 1, 3)};
        QCOMPARE(ctrl->maskRect(outside, true), -2);
        QCOMPARE(dev->live.log->size(), 3);
    }

    // ---------------------------------------------------------------------------
    // maskOver, maskUnder in every pixel type

    void maskByValue_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("16-bit signed") << int(ov::FrameInt16);
        QTest::newRow("32-bit unsigned") << int(ov::FrameUInt32);
        QTest::newRow("double") << int(ov::FrameDouble);
        QTest::newRow("64-bit unsigned") << int(ov::FrameUInt64);
    }
    void maskByValue()
    {
        QFETCH(int, type);
        showValues(type, ramp(W * H));

        // Over 100: pixels 101 to 127; the pixel equal to it stays.
        QCOMPARE(ctrl->maskOver(100), 0);
        QCOMPARE(dev->setPixCfgCalls, 1);
        QCOMPARE(dev->pixCfgCopies, 1);
        QVERIFY(dev->copies.back()->released);
        QCOMPARE(dev->live.maskedCount(), 27);
        QVERIFY(!dev->live.maskBit(100));
        QVERIFY(dev->live.maskBit(101));
        // The bits were set on the copy, never on the live configuration.
        for (const QString& call : *dev->live.log)
            QVERIFY2(call.startsWith("copy."), qPrintable(call));

        // Under 3: pixels 0, 1, 2, added to the mask that is there.
        QCOMPARE(ctrl->maskUnder(3), 0);
        QCOMPARE(dev->setPixCfgCalls, 2);
        QVERIFY(dev->copies.back()->released);
        QCOMPARE(dev->live.maskedCount(), 30);
        QVERIFY(dev->live.maskBit(2));
        QVERIFY(!dev->live.maskBit(3));
    }

    void maskWithoutFrameLeavesTheConfiguration()
    {
        QCOMPARE(ctrl->maskOver(1), -1);
        QCOMPARE(ctrl->maskUnder(1), -1);
        QCOMPARE(ctrl->shiftThlOver(1, 0), -1);
        QCOMPARE(ctrl->shiftThlUnder(1, 0), -1);
        QCOMPARE(dev->pixCfgCopies, 0);
        QCOMPARE(dev->setPixCfgCalls, 0);
        QCOMPARE(dev->live.maskedCount(), 0);
        QVERIFY(dev->live.log->isEmpty());
    }

    // ---------------------------------------------------------------------------
    // shiftThlOver, shiftThlUnder

    void shiftThl_data() { maskByValue_data(); }
    void shiftThl()
    {
        QFETCH(int, type);
        std::vector<double> values(W * H, 50.0);
        values[0] = 80; // over, adjustment 7 -> 6
        values[1] = 80; // over, adjustment 0: no room, masked
        values[2] = 60; // equal to the threshold: left alone
        values[3] = 10; // under, 7 -> 8
        values[4] = 10; // under, at the maximum: masked
        values[5] = 10; // under, 14 -> 15
        showValues(type, values);
        dev->live.setThl(1, 0);
        dev->live.setThl(4, dev->live.thlMax());
        dev->live.setThl(5, 14);

        QCOMPARE(ctrl->shiftThlOver(60, 0), 0);
        QCOMPARE(dev->setPixCfgCalls, 1);
        QVERIFY(dev->copies.back()->released);
        QCOMPARE(dev->live.thl(0), uint8_t(6));
        QCOMPARE(dev->live.thl(1), uint8_t(0));
        QVERIFY(dev->live.maskBit(1));
        QVERIFY(!dev->live.maskBit(0));
        QCOMPARE(dev->live.thl(2), uint8_t(7));
        QCOMPARE(dev->live.maskedCount(), 1);

        // The adjustment argument plays no part.
        QCOMPARE(ctrl->shiftThlUnder(60, 1), 0);
        QCOMPARE(dev->setPixCfgCalls, 2);
        QCOMPARE(dev->live.thl(2), uint8_t(7));
        QCOMPARE(dev->live.thl(3), uint8_t(8));
        QCOMPARE(dev->live.thl(4), dev->live.thlMax());
        QVERIFY(dev->live.maskBit(4));
        QCOMPARE(dev->live.thl(5), uint8_t(15));
        QVERIFY(!dev->live.maskBit(5));
        // Pixels of 50 are under 60 as well: one step up each.
        QCOMPARE(dev->live.thl(10), uint8_t(8));
        QCOMPARE(dev->live.maskedCount(), 2);
    }

    // ---------------------------------------------------------------------------
    // Pixel configuration files

    void pixCfgFileFilters_data()
    {
        QTest::addColumn<bool>("save");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<int>("format");
        const QStringList filters {"Binary Pixel Configuration (*.bpc)",
            "Ascii Mask Matrix (*.txt)", "Ascii Test Bit Matrix (*.txt)",
            "Ascii THL adj. bits Matrix (*.txt)"};
        for (int save = 0; save < 2; ++save)
            for (int i = 0; i < filters.size(); ++i)
                QTest::addRow("%s %d", save ? "save" : "open", i)
                    << bool(save) << filters.at(i) << i;
    }
    void pixCfgFileFilters()
    {
        QFETCH(bool, save);
        QFETCH(QString, filter);
        QFETCH(int, format);
        const QString name = path(filter.contains("bpc") ? "cfg.bpc" : "cfg.txt");
        if (!save) {
            QFile file(name);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        QString title;
        bool saving = false;
        QStringList seen;
        ModalDriver driver;
        driver.add(recordDialog(&title, &saving));
        driver.fileDialog(filter, name, &seen);
        if (save)
            ctrl->savePixCfg();
        else
            ctrl->openPixCfg();
        QVERIFY(driver.done());
        QCOMPARE(seen,
            QStringList({"Binary Pixel Configuration (*.bpc)", "Ascii Mask Matrix (*.txt)",
                "Ascii Test Bit Matrix (*.txt)", "Ascii THL adj. bits Matrix (*.txt)"}));
        QCOMPARE(title,
            save ? QString("Save Pixel Configuration") : QString("Open Pixel Configuration"));
        QCOMPARE(saving, save);
        const auto& calls = save ? dev->live.saves : dev->live.loads;
        QCOMPARE(calls.size(), size_t(1));
        QCOMPARE(QString::fromStdString(calls.at(0).path), name);
        QCOMPARE(calls.at(0).format, format);
        QVERIFY((save ? dev->live.loads : dev->live.saves).empty());
        // The folder is remembered under the operation's own key.
        QSettings settings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel");
        QCOMPARE(settings.value(save ? "devctrl/savepixcfg" : "devctrl/openpixcfg").toString(),
            QFileInfo(dir->path()).absoluteFilePath());
    }

    void pixCfgFileDialogCancelledDoesNothing()
    {
        ModalDriver driver;
        driver.fileDialog(QString(), QString());
        driver.fileDialog(QString(), QString());
        ctrl->savePixCfg();
        ctrl->openPixCfg();
        QVERIFY(driver.done());
        QVERIFY(dev->live.saves.empty());
        QVERIFY(dev->live.loads.empty());
    }

    // ---------------------------------------------------------------------------
    // DACs

    void dacWrittenAtOnceWhenIdle()
    {
        ctrl->setDacValue(3, 1, 200, false);
        QCOMPARE(*dev->liveDacs.log, QStringList({"setDacValue(3,1,200)"}));
        QCOMPARE(ctrl->pendingCount(), size_t(0));
    }

    void dacRefusedAtOnceOnALockedDevice()
    {
        dev->locked = true;
        ctrl->setDacValue(3, 1, 200, false);
        QVERIFY(dev->liveDacs.log->isEmpty());
        QCOMPARE(ctrl->pendingCount(), size_t(0));
        ctrl->setDacValuesToDevice();
        QVERIFY(dev->liveDacs.log->isEmpty());
    }

    void deferredDacWaitsForSetDacValuesToDevice()
    {
        ctrl->setDacValue(3, 0, 10, true);
        ctrl->setDacValue(4, 1, 20, true);
        ctrl->setDacValue(3, 0, 11, true);
        QVERIFY(dev->liveDacs.log->isEmpty());
        QCOMPARE(ctrl->pendingCount(), size_t(3));

        ctrl->setDacValuesToDevice();
        // In order of arrival on one copy, then the table in one call, then the copy back.
        QCOMPARE(*dev->liveDacs.log,
            QStringList({"copy.setDacValue(3,0,10)", "copy.setDacValue(4,1,20)",
                "copy.setDacValue(3,0,11)", "setDacs()", "release()"}));
        QCOMPARE(dev->liveDacs.dacValue(3, 0), 11);
        QCOMPARE(dev->liveDacs.dacValue(4, 1), 20);
        QCOMPARE(ctrl->pendingCount(), size_t(0));

        // Nothing left: a second call does not touch the device.
        dev->liveDacs.log->clear();
        ctrl->setDacValuesToDevice();
        QVERIFY(dev->liveDacs.log->isEmpty());
    }

    void deferredDacsKeptWhileLocked()
    {
        ctrl->setDacValue(7, 2, 99, true);
        dev->locked = true;
        ctrl->setDacValuesToDevice();
        QVERIFY(dev->liveDacs.log->isEmpty());
        QCOMPARE(ctrl->pendingCount(), size_t(1));
        dev->locked = false;
        ctrl->setDacValuesToDevice();
        QCOMPARE(dev->liveDacs.dacValue(7, 2), 99);
        QCOMPARE(ctrl->pendingCount(), size_t(0));
    }

    void dacDuringAMeasurementWaitsForTheFrameEnd()
    {
        // The base controller's run is empty: a measurement is the family's.
        struct Runner : ProbeCtrl
        {
            using ProbeCtrl::ProbeCtrl;
            void run() override { runAdvancedAcquisition(); }
        };
        // A device of its own: the controller of init() is registered with the other.
        PixCfgDevice measuring(W, H, true);
        auto runner = std::make_unique<Runner>(nullptr, &measuring, nullptr, nullptr);

        std::atomic<bool> go {false};
        std::atomic<bool> inside {false};
        QStringList atFrameEnd;
        measuring.script = [&](PixCfgDevice& d) {
            inside = true;
            while (!go.load())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            d.fire("AcqFinished", 1);
            atFrameEnd = *d.liveDacs.log;
            return 0;
        };
        QSignalSpy finished(runner.get(), &DevCtrlMpx::acqAllFinished);
        runner->acqParams().acqCount = 1;
        QCOMPARE(runner->startAcq(), 0);
        QVERIFY(QTest::qWaitFor([&] { return inside.load() && runner->isAcqRunning(); }, 5000));
        runner->setDacValue(5, 0, 42, false);
        runner->setDacValuesToDevice(); // does nothing while measuring
        QCOMPARE(runner->pendingCount(), size_t(1));
        QVERIFY(measuring.liveDacs.log->isEmpty());
        go = true;
        QVERIFY(QTest::qWaitFor([&] { return finished.count() == 1; }, 5000));
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 5000));
        QCOMPARE(atFrameEnd, QStringList({"copy.setDacValue(5,0,42)", "setDacs()", "release()"}));
        QCOMPARE(runner->pendingCount(), size_t(0));
        runner.reset();
    }

    // ---------------------------------------------------------------------------
    // Factory configuration and configuration files

    void factoryConfigLoadsOffTheGuiThread()
    {
        QSignalSpy finished(ctrl.get(), &DevCtrlMpx::sigProgressDialogFinished);
        ctrl->loadFactoryCfg();
        QProgressDialog* shown = nullptr;
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* p = qobject_cast<QProgressDialog*>(w))
                shown = p;
        QVERIFY(shown);
        QCOMPARE(shown->labelText(), QString("Loading factory config..."));
        QVERIFY(shown->isModal());
        QCOMPARE(shown->minimumDuration(), 1000);
        QCOMPARE(shown->maximum(), 1);
        QVERIFY(!shown->findChild<QPushButton*>());
        QPointer<QProgressDialog> watch(shown);

        QVERIFY(QTest::qWaitFor([&] { return finished.count() == 1; }, 5000));
        QCOMPARE(finished.at(0).at(0).toInt(), 0);
        QCOMPARE(dev->factoryLoads.load(), 1);
        QVERIFY(dev->factoryThread != std::this_thread::get_id());
        // Success closes the dialog without a word.
        QVERIFY(QTest::qWaitFor([&] { return watch.isNull(); }, 5000));
        QVERIFY(!QApplication::activeModalWidget());
    }

    void factoryConfigFailureIsShown()
    {
        dev->factoryResult = -3;
        QString text;
        ModalDriver driver;
        driver.add([&](QWidget* w) {
            auto* box = qobject_cast<QMessageBox*>(w);
            if (!box)
                return false;
            text = box->text();
            box->accept();
            return true;
        });
        ctrl->loadFactoryCfg();
        QVERIFY(QTest::qWaitFor([&] { return driver.done(); }, 5000));
        QCOMPARE(text, QString("Factory configuration not found."));
    }

    void configFilesGoToTheDevice()
    {
        ctrl->loadConfig("/data/det/one.xml");
        ctrl->saveConfig("/data/det/two.mcf");
        QCOMPARE(dev->configLoads, std::vector<std::string>({"/data/det/one.xml"}));
        QCOMPARE(dev->configSaves, std::vector<std::string>({"/data/det/two.mcf"}));
    }
};

QTEST_MAIN(TstPixCfgOps)
#include "tst_pixcfgops.moc"
