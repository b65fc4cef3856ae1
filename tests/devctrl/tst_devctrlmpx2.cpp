// The Timepix controller: its tabs, the threshold arguments and the threshold that
// waits for the end of a frame, the calibration flag, pixel modes, the fifth tab on a
// Timepix and on a Medipix2 (recording doubles and the simulated Medipix2), mode tool
// tips, the file filters of the configuration tabs with the neighbouring DAC file, and
// the test-pulse settings.
#include "ctrlchecks.h"
#include "devctrlmpx2.h"
#include "modaldriver.h"
#include "pixcfgfakes.h"
#include "recordingsettings.h"

#include "livecounter.h"
#include "simhost.h"
#include "timepixdevice.h"

#include <qmpxframe.h>

#include <QFile>
#include <QSettings>
#include <QTabBar>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <thread>

using namespace PluginDevControl;
using testdev::PixCfgDevice;
using testdev::ValueFrame;

namespace {

class ProbeCtrl : public DevCtrlMpx2
{
public:
    using DevCtrlMpx2::DevCtrlMpx2;
    void setView(PixCfgType type) { pixCfgType = type; }
    PixCfgType view() const { return pixCfgType.load(); }
};

// Steps of a scripted measurement that the test moves on one by one.
struct Stepper
{
    std::atomic<int> reached {0};
    std::atomic<int> allowed {0};
    // On the measuring thread: say that step n is reached, wait until it may go on.
    void at(int n)
    {
        reached = n;
        while (allowed.load() < n)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    bool waitFor(int n) const
    {
        return QTest::qWaitFor([&] { return reached.load() >= n; }, 5000);
    }
};

} // namespace

Q_DECLARE_METATYPE(DevCtrlMpx::PixCfgType)

class TstDevCtrlMpx2 : public QObject
{
    Q_OBJECT

    static constexpr unsigned W = 16;
    static constexpr unsigned H = 8;

    static std::vector<double> shownPixels(const QMpxFrame& widget)
    {
        const double* data = widget.image->getData();
        const size_t n = size_t(widget.image->getDataWidth()) * widget.image->getDataHeight();
        return data ? std::vector<double>(data, data + n) : std::vector<double>();
    }

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void init()
    {
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel").clear();
    }
    void cleanup()
    {
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 20000));
    }

    // ---------------------------------------------------------------------------
    // Tabs

    void tabsOfTheFamily_data()
    {
        QTest::addColumn<bool>("timepix");
        QTest::addColumn<QString>("fifth");
        QTest::newRow("Timepix") << true << "Mode";
        QTest::newRow("Medipix2") << false << "THH";
    }
    void tabsOfTheFamily()
    {
        QFETCH(bool, timepix);
        QFETCH(QString, fifth);
        PixCfgDevice dev(W, H, timepix);
        QTabBar tabs;
        QSignalSpy changed(&tabs, &QTabBar::currentChanged);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, &tabs);
        ctrlchecks::checkFixedTabs(ctrl, tabs, {"Frame", "Mask", "Test", "THL", fifth}, changed);
    }

    // ---------------------------------------------------------------------------
    // Threshold

    void thresholdArguments_data() { ctrlchecks::addThresholdArgumentRows(); }
    void thresholdArguments()
    {
        PixCfgDevice dev(W, H, true);
        ctrlchecks::checkThresholdArguments<ProbeCtrl>(dev);
    }

    void calibrationFlagFollowsTheDeviceSettings()
    {
        PixCfgDevice dev(W, H, true, 3);
        dev.calibrated = {true, true, true};
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        QVERIFY(ctrl.isThresholdCalibrated());
        dev.calibrated[1] = false;
        QVERIFY(ctrl.isThresholdCalibrated()); // not asked again until the settings change
        dev.fire("DeviceCfgChanged", 0);
        QVERIFY(!ctrl.isThresholdCalibrated());
        dev.calibrated[1] = true;
        dev.fire("DeviceCfgChanged", 0);
        QVERIFY(ctrl.isThresholdCalibrated());
    }

    void thresholdWaitsForTheEndOfAFrame()
    {
        PixCfgDevice dev(W, H, true);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        auto values = [&dev] {
            std::vector<double> v;
            for (const auto& call : dev.writtenThresholds())
                v.push_back(call.value);
            return v;
        };
        Stepper steps;
        dev.script = [&steps](PixCfgDevice& d) {
            steps.at(1);
            d.fire("AcqFinished", 1);
            steps.at(2);
            d.fire("AcqFinished", 2);
            steps.at(3); // after the last frame, still measuring
            return 0;
        };
        QSignalSpy finished(&ctrl, &DevCtrlMpx::acqAllFinished);
        ctrl.acqParams().acqCount = 2;
        QCOMPARE(ctrl.startAcq(), 0);
        QVERIFY(steps.waitFor(1));
        QVERIFY(ctrl.isAcqRunning());
        QCOMPARE(ctrl.setThreshold(10), 0);
        QCOMPARE(ctrl.setThreshold(11), 0);
        QVERIFY(values().empty());
        steps.allowed = 1;
        QVERIFY(steps.waitFor(2));
        QCOMPARE(values(), std::vector<double>({11})); // only the last one of the frame
        ctrl.setThreshold(12);
        steps.allowed = 2;
        QVERIFY(steps.waitFor(3));
        QCOMPARE(values(), std::vector<double>({11, 12}));
        ctrl.setThreshold(13);
        steps.allowed = 3;
        QVERIFY(QTest::qWaitFor([&] { return finished.count() == 1; }, 5000));
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 5000));
        QCOMPARE(values(), std::vector<double>({11, 12}));

        // The value set after the last frame waits for a frame of a later run.
        dev.script = [](PixCfgDevice& d) {
            d.fire("AcqMeasStarted", 0);
            return 0;
        };
        QCOMPARE(ctrl.startAcq(), 0);
        QVERIFY(QTest::qWaitFor([&] { return finished.count() == 2; }, 5000));
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 5000));
        QCOMPARE(values(), std::vector<double>({11, 12}));
        dev.script = [](PixCfgDevice& d) {
            d.fire("AcqFinished", 1);
            return 0;
        };
        ctrl.acqParams().acqCount = 1;
        QCOMPARE(ctrl.startAcq(), 0);
        QVERIFY(QTest::qWaitFor([&] { return finished.count() == 3; }, 5000));
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 5000));
        QCOMPARE(values(), std::vector<double>({11, 12, 13}));

        // Without a measurement the value goes to the device at once.
        ctrl.setThreshold(14);
        QCOMPARE(values(), std::vector<double>({11, 12, 13, 14}));
    }

    // ---------------------------------------------------------------------------
    // Pixel modes and the fifth tab

    void setTpxModeOnlyOnATimepixConfiguration()
    {
        PixCfgDevice timepix(W, H, true);
        ProbeCtrl onTimepix(nullptr, &timepix, nullptr, nullptr);
        QCOMPARE(onTimepix.setTpxMode(256 + 3), 0); // cut to 8 bits
        QCOMPARE(*timepix.live.log, QStringList({"setModeAll(3)"}));
        QCOMPARE(timepix.live.mode8(17), uint8_t(3));

        PixCfgDevice medipix(W, H, false);
        ProbeCtrl onMedipix(nullptr, &medipix, nullptr, nullptr);
        QCOMPARE(onMedipix.setTpxMode(2), 1); // the kind of the configuration
        QVERIFY(medipix.live.log->isEmpty());
    }

    void fifthTabClickOnATimepixChangesNothing()
    {
        PixCfgDevice dev(W, H, true);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        ctrl.setView(DevCtrlMpx::PixCfgFifth);
        for (auto area : {DevCtrlMpx::AreaPixel, DevCtrlMpx::AreaRow, DevCtrlMpx::AreaColumn})
            QCOMPARE(ctrl.togglePixCfg(2, 1, area, {}), 0);
        QVERIFY(dev.live.log->isEmpty());
        QCOMPARE(dev.setPixCfgCalls, 0);
    }

    void fifthTabClickOnAMedipix2StepsThh()
    {
        PixCfgDevice dev(W, H, false);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        ctrl.setView(DevCtrlMpx::PixCfgFifth);
        const unsigned p = 3 * W + 5;
        dev.live.setMode(p, 6);
        QCOMPARE(ctrl.togglePixCfg(5, 3, DevCtrlMpx::AreaPixel, {}), 0);
        QCOMPARE(dev.live.mode8(p), uint8_t(7));
        // At the maximum it stays, with no wrap to 0.
        dev.live.log->clear();
        QCOMPARE(ctrl.togglePixCfg(5, 3, DevCtrlMpx::AreaPixel, {}), 0);
        QCOMPARE(dev.live.mode8(p), dev.live.thhMax());
        QVERIFY(dev.live.log->isEmpty());

        // A row: every pixel one step up (the one at the maximum stays), in one change.
        dev.live.setMode(3 * W + 0, 2);
        QCOMPARE(ctrl.togglePixCfg(9, 3, DevCtrlMpx::AreaRow, {}), 0);
        QCOMPARE(dev.setPixCfgCalls, 1);
        QVERIFY(dev.copies.back()->released);
        QCOMPARE(dev.live.mode8(3 * W + 0), uint8_t(3));
        QCOMPARE(dev.live.mode8(3 * W + 1), uint8_t(1));
        QCOMPARE(dev.live.mode8(p), uint8_t(7));
        QCOMPARE(dev.live.mode8(2 * W + 1), uint8_t(0));
        // A column.
        QCOMPARE(ctrl.togglePixCfg(1, 0, DevCtrlMpx::AreaColumn, {}), 0);
        QCOMPARE(dev.setPixCfgCalls, 2);
        QCOMPARE(dev.live.mode8(3 * W + 1), uint8_t(2));
        QCOMPARE(dev.live.mode8(7 * W + 1), uint8_t(1));
        QCOMPARE(dev.live.mode8(7 * W + 2), uint8_t(0));
    }

    void otherTabsUseTheBaseToggle()
    {
        PixCfgDevice dev(W, H, false);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        ctrl.setView(DevCtrlMpx::PixCfgTest);
        ctrl.togglePixCfg(5, 3, DevCtrlMpx::AreaPixel, {});
        QVERIFY(dev.live.testBit(3 * W + 5));
        ctrl.setView(DevCtrlMpx::PixCfgNone);
        ctrl.togglePixCfg(5, 3, DevCtrlMpx::AreaPixel, {});
        QVERIFY(dev.live.maskBit(3 * W + 5));
    }

    void modeToolTips_data()
    {
        QTest::addColumn<bool>("timepix");
        QTest::addColumn<DevCtrlMpx::PixCfgType>("view");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("tip");
        const auto fifth = DevCtrlMpx::PixCfgFifth;
        QTest::newRow("0") << true << fifth << 0.0 << "[2,1]=Medipix";
        QTest::newRow("1") << true << fifth << 1.0 << "[2,1]=ToT";
        QTest::newRow("2.9 truncated") << true << fifth << 2.9 << "[2,1]=1 Hit";
        QTest::newRow("3") << true << fifth << 3.0 << "[2,1]=Timepix";
        // Values beyond the modes, another tab and a Medipix2 take the base's tip.
        QTest::newRow("4") << true << fifth << 4.0 << "[2,1]=4\n";
        QTest::newRow("Medipix2 THH") << false << fifth << 2.0 << "[2,1]=2\n";
        QTest::newRow("Timepix THL tab") << true << DevCtrlMpx::PixCfgThl << 1.0 << "[2,1]=1\n";
        QTest::newRow("Timepix mask tab")
            << true << DevCtrlMpx::PixCfgMask << 1.0 << "[2,1]=Unmasked";
    }
    void modeToolTips()
    {
        QFETCH(bool, timepix);
        QFETCH(DevCtrlMpx::PixCfgType, view);
        QFETCH(double, value);
        QFETCH(QString, tip);
        PixCfgDevice dev(W, H, timepix);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        // A selection under the pointer makes the base's tip one with statistics.
        ValueFrame* f = ValueFrame::create(ov::FrameUInt32, W, H, std::vector<double>(W * H, 1));
        ctrl.setCurrentFrame(f);
        f->decRef();
        ctrl.onSelectionRectsChanged({QRect(0, 0, 4, 4)});
        ctrl.setView(view);
        QSignalSpy moved(&ctrl, &DevCtrlMpx::sigFrameMouseMove);
        const QString shown = ctrl.onFrameTooltip(2, 1, value);
        if (tip.endsWith('\n'))
            QVERIFY2(shown.startsWith(tip) && shown.contains("SNR"), qPrintable(shown));
        else
            QCOMPARE(shown, tip);
        QCOMPARE(moved.count(), 1);
        ctrl.setCurrentFrame(nullptr);
    }

    // ---------------------------------------------------------------------------
    // Pixel configuration files

    void fileFiltersByTab_data()
    {
        QTest::addColumn<bool>("timepix");
        QTest::addColumn<DevCtrlMpx::PixCfgType>("view");
        QTest::addColumn<QString>("second");
        QTest::addColumn<int>("format");
        using C = DevCtrlMpx;
        QTest::newRow("frame tab") << true << C::PixCfgNone << QString() << 0;
        QTest::newRow("mask") << true << C::PixCfgMask << "Ascii Mask Matrix (*.txt)" << 1;
        QTest::newRow("test") << true << C::PixCfgTest << "Ascii Test Bit Matrix (*.txt)" << 2;
        QTest::newRow("thl") << false << C::PixCfgThl << "Ascii THL adj. bits Matrix (*.txt)" << 3;
        QTest::newRow("thh on a Medipix2")
            << false << C::PixCfgFifth << "Ascii THH adj. bits Matrix (*.txt)" << 4;
        QTest::newRow("mode on a Timepix")
            << true << C::PixCfgFifth << "Ascii Timepix mode Matrix (*.txt)" << 5;
    }
    void fileFiltersByTab()
    {
        QFETCH(bool, timepix);
        QFETCH(DevCtrlMpx::PixCfgType, view);
        QFETCH(QString, second);
        QFETCH(int, format);
        PixCfgDevice dev(W, H, timepix);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        ctrl.setView(view);
        QTemporaryDir dir;
        QStringList expected {"Binary Pixel Configuration (*.bpc)"};
        if (!second.isEmpty())
            expected << second;
        const QString chosen = expected.last();
        const QString name = dir.filePath(second.isEmpty() ? "cfg.bpc" : "cfg.txt");

        // Saving: the path and the code of the chosen filter, and no DAC file.
        QStringList seen;
        {
            ModalDriver driver;
            driver.fileDialog(chosen, name, &seen);
            ctrl.savePixCfg();
            QVERIFY(driver.done());
        }
        QCOMPARE(seen, expected);
        QCOMPARE(dev.live.saves.size(), size_t(1));
        QCOMPARE(QString::fromStdString(dev.live.saves[0].path), name);
        QCOMPARE(dev.live.saves[0].format, format);
        QVERIFY(!QFile::exists(name + ".dacs"));
        QVERIFY(dev.liveDacs.loads.empty());

        // Opening, with the binary filter chosen in any tab: code 0.
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        {
            ModalDriver driver;
            driver.fileDialog(expected.first(), name, &seen);
            ctrl.openPixCfg();
            QVERIFY(driver.done());
        }
        QCOMPARE(seen, expected);
        QCOMPARE(dev.live.loads.size(), size_t(1));
        QCOMPARE(QString::fromStdString(dev.live.loads[0].path), name);
        QCOMPARE(dev.live.loads[0].format, 0);
        QVERIFY(dev.liveDacs.loads.empty());

        // Opening with the tab's filter.
        {
            ModalDriver driver;
            driver.fileDialog(chosen, name);
            ctrl.openPixCfg();
            QVERIFY(driver.done());
        }
        QCOMPARE(dev.live.loads.size(), size_t(2));
        QCOMPARE(dev.live.loads[1].format, format);
    }

    void openTakesTheNeighbouringDacFile()
    {
        PixCfgDevice dev(W, H, true);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        ctrl.setView(DevCtrlMpx::PixCfgMask);
        QTemporaryDir dir;
        const QString name = dir.filePath("mask.txt");
        for (const QString& f : {name, name + ".dacs", dir.filePath("mask.dacs")}) {
            QFile file(f);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        ModalDriver driver;
        driver.fileDialog("Ascii Mask Matrix (*.txt)", name);
        ctrl.openPixCfg();
        QVERIFY(driver.done());
        QCOMPARE(dev.live.loads.size(), size_t(1));
        QCOMPARE(dev.live.loads[0].format, 1);
        // Appended to the whole name, not in place of the extension.
        QCOMPARE(dev.liveDacs.loads.size(), size_t(1));
        QCOMPARE(QString::fromStdString(dev.liveDacs.loads[0]), name + ".dacs");

        // Cancelled: nothing at all.
        ModalDriver cancel;
        cancel.fileDialog(QString(), QString());
        ctrl.openPixCfg();
        QVERIFY(cancel.done());
        QCOMPARE(dev.live.loads.size(), size_t(1));
        QCOMPARE(dev.liveDacs.loads.size(), size_t(1));
    }

    // ---------------------------------------------------------------------------
    // Test-pulse settings

    void testPulseSettings()
    {
        PixCfgDevice dev(W, H, true);
        ProbeCtrl ctrl(nullptr, &dev, nullptr, nullptr);
        // The record is packed: its fields are read by value.
        const TpxPulses& tp = ctrl.tpParams().tpx;
        const uint32_t count = tp.pulseCount;
        const double height = tp.pulseHeight;
        const double period = tp.pulsePeriod;
        const int manual = tp.manualTpBits;
        RecordingSettings empty;
        ctrl.loadSettings(&empty);
        QCOMPARE(uint32_t(tp.pulseCount), count);
        QCOMPARE(double(tp.pulseHeight), height);
        QCOMPARE(double(tp.pulsePeriod), period);
        QCOMPARE(int(tp.manualTpBits), manual);

        RecordingSettings stored;
        stored.setInt("TpPars", "Count", 250);
        stored.setDouble("TpPars", "Height", 1.25);
        stored.setBool("TpPars", "ManualTpBits", true);
        stored.setDouble("TpPars", "Period", 0.002);
        stored.setInt("Acq", "Count", 7);
        ctrl.loadSettings(&stored);
        QCOMPARE(uint32_t(tp.pulseCount), 250u);
        QCOMPARE(double(tp.pulseHeight), 1.25);
        QCOMPARE(int(tp.manualTpBits), 1);
        QCOMPARE(double(tp.pulsePeriod), 0.002);
        QCOMPARE(ctrl.acqParams().acqCount, 7); // the base's settings first

        RecordingSettings saved;
        ctrl.saveSettings(&saved);
        QVERIFY(saved.writes.size() > 4);
        QCOMPARE(std::vector<std::string>(saved.writes.begin(), saved.writes.begin() + 4),
            std::vector<std::string>(
                {"TpPars/Count", "TpPars/Height", "TpPars/ManualTpBits", "TpPars/Period"}));
        QCOMPARE(saved.values["TpPars/Count"], std::string("250"));
        QCOMPARE(saved.values["TpPars/ManualTpBits"], std::string("1"));
        QCOMPARE(saved.getDouble("TpPars", "Height", 0), 1.25);
        QCOMPARE(saved.getDouble("TpPars", "Period", 0), 0.002);
        QCOMPARE(saved.getInt("Acq", "Count", 0), 7);
    }

    // ---------------------------------------------------------------------------
    // The fifth tab on the simulated detectors

    void fifthTabShowsTheDevicesBytes_data()
    {
        QTest::addColumn<bool>("medipix2");
        QTest::newRow("Medipix2: THH") << true;
        QTest::newRow("Timepix: modes") << false;
    }
    void fifthTabShowsTheDevicesBytes()
    {
        QFETCH(bool, medipix2);
        const long framesAtStart = sim::liveCount(sim::Counted::Frame);
        QTemporaryDir home;
        {
            auto host = std::make_unique<sim::SimHost>(home.path());
            sim::DeviceDesc desc = sim::makeDeviceDesc(1, 2121);
            desc.medipix2 = medipix2;
            desc.chips = 1;
            desc.width = 256;
            desc.height = 256;
            auto device = std::make_shared<sim::TimepixDevice>(desc);
            auto* dev = dynamic_cast<ov::IDevMpx2*>(host->connectDevice(device));
            QVERIFY(dev);
            QCOMPARE(dev->isTimepix(), !medipix2);
            QMpxFrame widget;
            QTabBar tabs;
            auto ctrl = std::make_unique<ProbeCtrl>(host.get(), dev, &widget, &tabs);
            QCOMPARE(tabs.tabText(4), medipix2 ? QString("THH") : QString("Mode"));

            ov::IMpxPixCfg* cfg = dev->pixCfg();
            const uint8_t top = medipix2 ? cfg->thhMax() : uint8_t(3);
            QVERIFY(top > 1);
            if (medipix2) {
                cfg->setModeAll(1);
                cfg->setThhRange(10, 20, 3, 2, top);
                cfg->setThhRange(0, 0, 1, 1, 0);
            } else {
                cfg->setModeAll(1);
                cfg->setModeRange(10, 20, 3, 2, top);
                cfg->setModeRange(0, 0, 1, 1, 0);
            }
            tabs.setCurrentIndex(4);
            QCOMPARE(ctrl->view(), DevCtrlMpx::PixCfgFifth);
            std::vector<double> expected(256 * 256);
            for (unsigned i = 0; i < expected.size(); ++i)
                expected[i] = cfg->mode8(i);
            QCOMPARE(expected[20 * 256 + 11], double(top));
            QCOMPARE(shownPixels(widget), expected);

            // A click on a pixel at the maximum leaves it; one below goes up on a
            // Medipix2 only, and the picture follows the device's change.
            ctrl->togglePixCfg(11, 20, DevCtrlMpx::AreaPixel, {});
            QCOMPARE(cfg->mode8(20 * 256 + 11), top);
            ctrl->togglePixCfg(0, 0, DevCtrlMpx::AreaPixel, {});
            QCOMPARE(cfg->mode8(0), medipix2 ? uint8_t(1) : uint8_t(0));
            QVERIFY(
                QTest::qWaitFor([&] { return shownPixels(widget).at(0) == cfg->mode8(0); }, 5000));
            QCOMPARE(shownPixels(widget).at(20 * 256 + 11), double(top));

            tabs.setCurrentIndex(0);
            QCOMPARE(ctrl->view(), DevCtrlMpx::PixCfgNone);
            QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 5000));
            ctrl.reset();
        }
        QCOMPARE(sim::liveCount(sim::Counted::Frame), framesAtStart);
    }
};

QTEST_MAIN(TstDevCtrlMpx2)
#include "tst_devctrlmpx2.moc"
