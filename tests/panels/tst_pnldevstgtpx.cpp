// The detector settings panel of a Timepix page: on its own over a controller and a
// test device whose bias range, sense, threshold steps and pixel modes a test chooses,
// and on the page of a simulated Timepix quad, where bias and threshold typed into the
// panel change the measured frames the way the physics of the sensor says.
#include "../devview/timepixpage.h"
#include "stgdevice.h"
#include "typeinto.h"

#include "devctrlmpx2.h"
#include "mydoublevalidator.h"
#include "pnldevstgtpx.h"
#include "pnlmeasurement.h"
#include "qdoublelineedit.h"
#include "timepixdevice.h"
#include "ui_pnldevstgtpx.h"

#include <QAction>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QToolButton>
#include <QToolTip>
#include <QVBoxLayout>

#include <cmath>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

Q_DECLARE_METATYPE(std::vector<uint8_t>)

using namespace PluginDevControl;
using stgtest::StgDevice;

namespace {

const QString kPending = "background-color: #ffd3a1;";
const QString kHeaderStyle
    = "background-color: qlineargradient(spread:pad, x1:0.467, y1:0.943182, x2:0.500091, "
      "y2:0.079, stop:0 rgba(68, 8, 1, 255), stop:1 rgba(102, 0, 0, 255));\ncolor: white;";
const QString kThlWarning = "Changing threshold will affect energy calibration!";
constexpr uint32_t kAllChips = 0xFFFFFFFFu;

// The panel over a controller of the test device, as a window of its own.
struct StgPanel
{
    explicit StgPanel(unsigned chips = 1) : dev(chips) { }
    ~StgPanel() { panel.reset(); }

    // Builds the controller and the panel over the device as it is set up now.
    void build()
    {
        ctrl = std::make_unique<DevCtrlMpx2>(nullptr, &dev, &frame, nullptr);
        panel = std::make_unique<PnlDevStgTpx>(nullptr, ctrl.get());
        panel->show();
    }
    void activate()
    {
        panel->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(panel.get()));
    }
    const Ui_PnlDevStgTpx& ui() const { return panel->form(); }
    QStringList modeWrites() const { return cfgLog().filter("setModeAll"); }
    const QStringList& cfgLog() const { return *dev.cfg.log; }

    StgDevice dev;
    QMpxFrame frame;
    std::unique_ptr<DevCtrlMpx2> ctrl;
    std::unique_ptr<PnlDevStgTpx> panel;
};

// Sets the default locale for the widgets made while it lives.
struct LocaleScope
{
    explicit LocaleScope(const QLocale& locale) { QLocale::setDefault(locale); }
    ~LocaleScope() { QLocale::setDefault(QLocale::c()); }
};

void typeThreshold(QDoubleSpinBox* box, const QString& text)
{
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, text);
}

void confirm(QWidget* field)
{
    QTest::keyClick(field, Qt::Key_Return);
}

std::vector<uint8_t> modes(int ones, int twos, int threes, int zeros = 0)
{
    std::vector<uint8_t> out;
    out.insert(out.end(), size_t(zeros), 0);
    out.insert(out.end(), size_t(ones), 1);
    out.insert(out.end(), size_t(twos), 2);
    out.insert(out.end(), size_t(threes), 3);
    return out;
}

// The page of the simulated quad with its settings panel; events still queued on the
// host's event thread are delivered before the page goes.
struct QuadPage
{
    QuadPage()
    {
        if (!page.view)
            return;
        device = dynamic_cast<sim::TimepixDevice*>(page.fixture.host->deviceFor(page.dev).get());
        panel = page.view->settingsPanel();
    }
    ~QuadPage()
    {
        if (device)
            device->setEventDeliveryMode(sim::EventDelivery::Direct);
    }
    QuadPage(const QuadPage&) = delete;
    QuadPage& operator=(const QuadPage&) = delete;

    bool ready() const { return page.view && device && panel; }
    const Ui_PnlDevStgTpx& ui() const { return panel->form(); }

    // Mean counts of one frame of a measurement run through the controller, with the
    // random sequence of the frames restarted, so that only the settings differ.
    double meanCounts(double seconds)
    {
        DevCtrlMpx* ctrl = page.ctrl();
        device->setSeed(20240611);
        ctrl->acqParams().acqCount = 1;
        ctrl->acqParams().acqTime = seconds;
        QSignalSpy finished(ctrl, &DevCtrlMpx::acqAllFinished);
        if (ctrl->startAcq() != 0)
            return -1.0;
        if (!QTest::qWaitFor([&finished] { return finished.count() == 1; }, 30000)
            || !QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 30000))
            return -1.0;
        if (finished.at(0).at(0).toInt() != 0)
            return -1.0;
        ov::RefData<ov::IMpxFrame> last(page.device()->lastAcqFrameRefInc(), false);
        return frameMean(last.get());
    }

    TimepixPage page;
    sim::TimepixDevice* device = nullptr;
    PnlDevStgTpx* panel = nullptr;
};

} // namespace

class TestPnlDevStgTpx : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }

    // ------------------------------------------------------------------------------
    // The panel on its own

    void formAsBuilt()
    {
        StgPanel p;
        p.build();
        const auto& ui = p.ui();
        QCOMPARE(p.panel->windowTitle(), QString("Form"));
        QCOMPARE(ui.lDevStg->text(), QString(" Detector Settings"));
        QCOMPARE(ui.lDevStg->styleSheet(), kHeaderStyle);
        QStringList labels;
        for (QLabel* label : ui.pnlDevStg->findChildren<QLabel*>())
            labels << label->text();
        QVERIFY(labels.contains("Bias [V]:"));
        QVERIFY(labels.contains("Clock [MHz]:"));
        QVERIFY(labels.contains("Mode:"));
        // One uncalibrated chip: the threshold is a DAC value.
        QCOMPARE(ui.lThreshold->text(), QString("Thl:"));

        QCOMPARE(ui.spThreshold->decimals(), 1);
        QCOMPARE(ui.spThreshold->minimum(), -3000.0);
        QCOMPARE(ui.spThreshold->maximum(), 3000.0);
        QVERIFY(!ui.spThreshold->keyboardTracking());
        QCOMPARE(ui.spThreshold->value(), 300.0);
        QVERIFY(ui.spThreshold->styleSheet().isEmpty());
        QVERIFY(ui.btnThlWarning->isFlat());
        QCOMPARE(ui.btnThlWarning->toolTip(), kThlWarning);
        QVERIFY(!ui.btnThlWarning->icon().isNull());

        QCOMPARE(ui.cmTpxMode->count(), 3);
        QCOMPARE(ui.cmTpxMode->itemText(0), QString("Counting"));
        QCOMPARE(ui.cmTpxMode->itemText(1), QString("Energy"));
        QCOMPARE(ui.cmTpxMode->itemText(2), QString("Time"));
        QCOMPARE(ui.cmTpxMode->maximumWidth(), 90);
        QCOMPARE(ui.cmTpxMode->currentIndex(), 0);

        QCOMPARE(ui.lBiasSenseVolt->text(), QString("Bias 0 V"));
        QCOMPARE(ui.lBiasSenseCurrent->text(), QString("Bias 0 uA"));
        QVERIFY(ui.lBiasSenseVolt->isHidden());
        QVERIFY(ui.lBiasSenseCurrent->isHidden());

        QCOMPARE(ui.btnDevStg->text(), QString("Detector Settings"));
        QCOMPARE(ui.btnDevStg->toolTip(), QString("More Detector Settings"));
        QVERIFY(!ui.btnDevStg->icon().isNull());
        // The full device dialog is not there yet: the button is never enabled.
        QVERIFY(!ui.btnDevStg->isEnabled());
        p.panel->enableGui(true, false);
        QVERIFY(!ui.btnDevStg->isEnabled());

        QCOMPARE(ui.edBias->text(), QString("100"));
        QCOMPARE(ui.edClock->text(), QString("48"));
        QVERIFY(ui.edBias->isEnabled());
        QCOMPARE(ui.edBias->doubleValidator()->bottom(), 0.0);
        QCOMPARE(ui.edBias->doubleValidator()->top(), 200.0);
        QCOMPARE(ui.edBias->doubleValidator()->decimals(), 4);

        // A device with a sense and a bias to adjust is polled every three seconds.
        QTimer* timer = p.panel->biasSenseTimer();
        QVERIFY(timer);
        QCOMPARE(timer->interval(), 3000);
        QVERIFY(timer->isActive());
        // Building the panel wrote nothing to the device.
        QVERIFY(p.dev.biasWrites.empty());
        QVERIFY(p.dev.clockWrites.empty());
        QVERIFY(p.dev.thresholdWrites.empty());
        QVERIFY(p.modeWrites().isEmpty());
    }

    void thresholdLabelByChipsAndCalibration()
    {
        StgPanel p(4);
        p.build();
        QCOMPARE(p.ui().lThreshold->text(), QString("Rel. Thl:"));
        // The chips are calibrated later; the device says its configuration changed.
        p.dev.calibrated = true;
        QCOMPARE(p.dev.fire("DeviceCfgChanged"), 1);
        QCOMPARE(p.ui().lThreshold->text(), QString("Thl [keV]:"));

        StgPanel calibrated(1);
        calibrated.dev.calibrated = true;
        calibrated.build();
        QCOMPARE(calibrated.ui().lThreshold->text(), QString("Thl [keV]:"));
    }

    void fixedBiasStaysDisabled()
    {
        StgPanel p;
        p.dev.biasLow = 0.0;
        p.dev.biasHigh = 0.0;
        p.dev.biasValue = 0.0;
        p.build();
        p.activate();
        const auto& ui = p.ui();
        QVERIFY(!ui.edBias->isEnabled());
        QCOMPARE(ui.edBias->text(), QString("0"));
        p.panel->enableGui(true, false);
        QVERIFY(!ui.edBias->isEnabled());
        QVERIFY(ui.edClock->isEnabled());
        QVERIFY(ui.cmTpxMode->isEnabled());
        p.panel->enableGui(false, false);
        QVERIFY(!ui.edBias->isEnabled());
        QVERIFY(!ui.edClock->isEnabled());
        QVERIFY(!ui.cmTpxMode->isEnabled());
        p.panel->enableGui(true, false);
        QVERIFY(!ui.edBias->isEnabled());
        QVERIFY(ui.edClock->isEnabled());

        // No polling although the device has a sense: no timer, no labels, no reading.
        QVERIFY(p.dev.hasBiasSense());
        QVERIFY(!p.panel->biasSenseTimer());
        QVERIFY(p.panel->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly).isEmpty());
        QTest::qWait(50);
        QVERIFY(ui.lBiasSenseVolt->isHidden());
        QVERIFY(ui.lBiasSenseCurrent->isHidden());
        QCOMPARE(p.dev.senseReads.load(), 0);

        // A device without a sense is not polled either, though its bias can be set.
        StgPanel quiet;
        quiet.dev.sense = false;
        quiet.build();
        QVERIFY(quiet.ui().edBias->isEnabled());
        QVERIFY(!quiet.panel->biasSenseTimer());
    }

    void decimalCommaSetsTheBias()
    {
        // Where the comma is the decimal sign the validator takes it as typed.
        {
            LocaleScope german(QLocale(QLocale::German, QLocale::Germany));
            StgPanel p;
            p.build();
            typeInto(p.ui().edBias, "12,5");
            QCOMPARE(p.ui().edBias->text(), QString("12,5"));
            confirm(p.ui().edBias);
            QCOMPARE(p.dev.biasWrites, std::vector<double>({12.5}));
            QCOMPARE(p.dev.biasValue, 12.5);
            QCOMPARE(p.ui().edBias->text(), QString("12.5"));
        }
        // Where the point is the decimal sign, a typed comma becomes the point.
        {
            StgPanel typed;
            typed.build();
            typeInto(typed.ui().edBias, "12,5");
            QCOMPARE(typed.ui().edBias->text(), QString("12.5"));
            confirm(typed.ui().edBias);
            QCOMPARE(typed.dev.biasWrites, std::vector<double>({12.5}));
        }
        // The field's own conversion replaces the comma whatever the locale.
        StgPanel p;
        p.build();
        p.ui().edBias->setText("12,5");
        emit p.ui().edBias->editingFinished();
        QCOMPARE(p.dev.biasWrites, std::vector<double>({12.5}));
        QCOMPARE(p.ui().edBias->text(), QString("12.5"));
    }

    void decimalCommaInTheClockGivesZero()
    {
        StgPanel p;
        p.build();
        const auto& ui = p.ui();
        typeInto(ui.edClock, "12,5");
        confirm(ui.edClock);
        // Plain conversion: 0, which this device refuses; the field shows its clock.
        QCOMPARE(p.dev.clockWrites, std::vector<double>({0.0}));
        QCOMPARE(p.dev.clockValue, 48.0);
        QCOMPARE(ui.edClock->text(), QString("48"));

        typeInto(ui.edClock, "24.5");
        confirm(ui.edClock);
        QCOMPARE(p.dev.clockWrites.back(), 24.5);
        QCOMPARE(p.dev.clockValue, 24.5);
        QCOMPARE(ui.edClock->text(), QString("24.5"));
        QVERIFY(p.dev.biasWrites.empty());
    }

    void meanModeSelectsTheIndex_data()
    {
        QTest::addColumn<std::vector<uint8_t>>("pixelModes");
        QTest::addColumn<int>("index");
        QTest::newRow("all counting") << modes(0, 0, 0, 10) << 0;
        QTest::newRow("mixed, mean 0.5") << modes(5, 0, 0, 5) << 0;
        QTest::newRow("all energy") << modes(10, 0, 0) << 1;
        QTest::newRow("mixed, mean 1.7") << modes(3, 7, 0) << 1;
        QTest::newRow("mean 2, one hit") << modes(0, 10, 0) << 2;
        QTest::newRow("mixed, mean 2.9") << modes(0, 1, 9) << 2;
        QTest::newRow("all time") << modes(0, 0, 10) << 2;
    }

    void meanModeSelectsTheIndex()
    {
        QFETCH(std::vector<uint8_t>, pixelModes);
        QFETCH(int, index);
        StgPanel p;
        // Start from another index than the expected one.
        p.dev.setModes(index == 0 ? modes(10, 0, 0) : modes(0, 0, 0, 10));
        p.build();
        const int start = index == 0 ? 1 : 0;
        QCOMPARE(p.ui().cmTpxMode->currentIndex(), start);

        p.dev.setModes(pixelModes);
        QCOMPARE(p.dev.fire("PixCfgChanged"), 1);
        QCOMPARE(p.ui().cmTpxMode->currentIndex(), index);
        // The reload only shows; nothing goes back to the device.
        QVERIFY(p.modeWrites().isEmpty());
    }

    void meanModeIgnoredOnAMedipix2()
    {
        StgPanel p;
        p.dev.timepix = false;
        p.build();
        QCOMPARE(p.ui().cmTpxMode->currentIndex(), 0);
        p.dev.setModes(modes(10, 0, 0));
        p.dev.fire("PixCfgChanged");
        QCOMPARE(p.ui().cmTpxMode->currentIndex(), 0);
        // Nor does it follow the clock.
        p.dev.clockValue = 20.0;
        p.dev.fire("TpxClockChanged");
        QCOMPARE(p.ui().edClock->text(), QString("48"));
    }

    void modeChosenSetsAllPixels()
    {
        StgPanel p;
        p.build();
        QComboBox* box = p.ui().cmTpxMode;
        box->setFocus();
        QTest::keyClick(box, Qt::Key_Down);
        QCOMPARE(box->currentIndex(), 1);
        QCOMPARE(p.modeWrites(), QStringList({"setModeAll(1)"}));
        QTest::keyClick(box, Qt::Key_Down);
        QCOMPARE(box->currentIndex(), 2);
        // "Time" is pixel mode 3; mode 2 is not offered.
        QCOMPARE(p.modeWrites().last(), QString("setModeAll(3)"));
        QTest::keyClick(box, Qt::Key_Up);
        QTest::keyClick(box, Qt::Key_Up);
        QCOMPARE(box->currentIndex(), 0);
        QCOMPARE(p.modeWrites(),
            QStringList({"setModeAll(1)", "setModeAll(3)", "setModeAll(1)", "setModeAll(0)"}));
        QCOMPARE(p.dev.cfg.averageMode(), 0.0);
    }

    void biasCurrentOfZeroHidesItsLabel()
    {
        StgPanel p;
        p.dev.senseVolts = 99.6;
        p.dev.senseMicroamps = 0.0;
        p.build();
        p.activate();
        const auto& ui = p.ui();
        QTimer* timer = p.panel->biasSenseTimer();
        QVERIFY(timer);
        QCOMPARE(timer->interval(), 3000);
        // The same timer, ticking faster, so that the test need not wait three seconds a
        // reading.
        timer->setInterval(10);

        QTRY_VERIFY(!ui.lBiasSenseVolt->isHidden());
        QCOMPARE(ui.lBiasSenseVolt->text(), QString("Bias 100 V"));
        QVERIFY(ui.lBiasSenseCurrent->isHidden());

        p.dev.senseMicroamps = 1.26;
        QTRY_VERIFY(!ui.lBiasSenseCurrent->isHidden());
        QCOMPARE(ui.lBiasSenseCurrent->text(), QString("Bias 1.3 uA"));

        p.dev.senseMicroamps = 0.0;
        QTRY_VERIFY(ui.lBiasSenseCurrent->isHidden());
        QVERIFY(!ui.lBiasSenseVolt->isHidden());

        // A tiny current and a current that is not a number both count as not 0.
        p.dev.senseMicroamps = 1e-9;
        QTRY_VERIFY(!ui.lBiasSenseCurrent->isHidden());
        QCOMPARE(ui.lBiasSenseCurrent->text(), QString("Bias 0.0 uA"));
        p.dev.senseMicroamps = 0.0;
        QTRY_VERIFY(ui.lBiasSenseCurrent->isHidden());
        p.dev.senseMicroamps = std::numeric_limits<double>::quiet_NaN();
        QTRY_VERIFY(!ui.lBiasSenseCurrent->isHidden());

        // The voltage is rounded to whole volts.
        p.dev.senseVolts = 12.49;
        QTRY_COMPARE(ui.lBiasSenseVolt->text(), QString("Bias 12 V"));
        p.dev.senseVolts = 12.5;
        QTRY_COMPARE(ui.lBiasSenseVolt->text(), QString("Bias 13 V"));
    }

    void pollingOnlyWhileSomebodyLooks()
    {
        StgPanel p;
        p.build();
        p.activate();
        const auto& ui = p.ui();
        p.panel->biasSenseTimer()->setInterval(10);
        auto quietFor = [&p](int ms) {
            const int before = p.dev.senseReads.load();
            QTest::qWait(ms);
            return p.dev.senseReads.load() == before;
        };
        auto reading = [&p] {
            const int before = p.dev.senseReads.load();
            return QTest::qWaitFor([&p, before] { return p.dev.senseReads.load() > before; });
        };
        QVERIFY(reading());

        // The device locked: the body is disabled and not polled.
        p.dev.locked = true;
        p.dev.fire("LockChanged");
        QVERIFY(!ui.pnlDevStg->isEnabled());
        QVERIFY(quietFor(100));
        p.dev.locked = false;
        p.dev.fire("LockChanged");
        QVERIFY(ui.pnlDevStg->isEnabled());
        QVERIFY(reading());

        // The body hidden.
        ui.pnlDevStg->hide();
        QVERIFY(quietFor(100));
        ui.pnlDevStg->show();
        QVERIFY(reading());

        // Another window active.
        QWidget other;
        other.resize(100, 100);
        other.show();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        QVERIFY(!p.panel->isActiveWindow());
        QVERIFY(quietFor(100));
        other.hide();

        // The panel hidden.
        p.panel->hide();
        QVERIFY(quietFor(100));
        p.panel->show();
        p.activate();
        QVERIFY(reading());
    }

    void thresholdMarkedUntilTheDeviceReports()
    {
        StgPanel p;
        p.build();
        QDoubleSpinBox* box = p.ui().spThreshold;
        typeThreshold(box, "123.4");
        // Keyboard tracking is off: nothing reaches the device while typing.
        QVERIFY(p.dev.thresholdWrites.empty());
        QVERIFY(box->styleSheet().isEmpty());
        confirm(box);
        QCOMPARE(p.dev.thresholdWrites.size(), size_t(1));
        QCOMPARE(p.dev.thresholdWrites[0].chip, 0u);
        QCOMPARE(p.dev.thresholdWrites[0].kind, int(ov::ThresholdChip));
        QCOMPARE(p.dev.thresholdWrites[0].value, 123.4);
        QCOMPARE(box->styleSheet(), kPending);
        QCOMPARE(box->value(), 123.4);
        // The DAC took whole steps; the controller reports what it holds.
        QCOMPARE(p.ctrl->threshold(), 123.0);

        QSignalSpy dacs(p.ctrl.get(), &DevCtrlMpx::sigDacsChanged);
        QCOMPARE(p.dev.fire("DacsChanged"), 1);
        QCOMPARE(dacs.count(), 1);
        QVERIFY(box->styleSheet().isEmpty());
        QCOMPARE(box->value(), 123.0);
        // Showing the device's value wrote nothing back.
        QCOMPARE(p.dev.thresholdWrites.size(), size_t(1));
    }

    void thresholdOfSeveralChips()
    {
        StgPanel p(4);
        p.build();
        typeThreshold(p.ui().spThreshold, "-20");
        confirm(p.ui().spThreshold);
        QCOMPARE(p.dev.thresholdWrites.size(), size_t(1));
        QCOMPARE(p.dev.thresholdWrites[0].chip, kAllChips);
        QCOMPARE(p.dev.thresholdWrites[0].kind, int(ov::ThresholdAllChips));
        QCOMPARE(p.dev.thresholdWrites[0].value, -20.0);

        p.dev.calibrated = true;
        p.dev.fire("DeviceCfgChanged");
        typeThreshold(p.ui().spThreshold, "7.5");
        confirm(p.ui().spThreshold);
        QCOMPARE(p.dev.thresholdWrites.size(), size_t(2));
        QCOMPARE(p.dev.thresholdWrites[1].chip, kAllChips);
        QCOMPARE(p.dev.thresholdWrites[1].kind, int(ov::ThresholdCalibrated));
        QCOMPARE(p.dev.thresholdWrites[1].value, 7.5);
        p.dev.fire("DacsChanged");
        QCOMPARE(p.ui().spThreshold->value(), 7.5);
    }

    void badBiasInputLeavesTheDevicesValue()
    {
        StgPanel p;
        p.build();
        const auto& ui = p.ui();

        // Letters are refused as they are typed; what is left is not a number and is
        // not confirmed.
        typeInto(ui.edBias, "abc");
        QCOMPARE(ui.edBias->text(), QString());
        confirm(ui.edBias);
        QVERIFY(p.dev.biasWrites.empty());
        typeInto(ui.edBias, "1x5v");
        QCOMPARE(ui.edBias->text(), QString("15"));
        confirm(ui.edBias);
        QCOMPARE(p.dev.biasWrites, std::vector<double>({15.0}));
        QCOMPARE(ui.edBias->text(), QString("15"));

        // A number beyond the device's range cannot be typed: the key that would leave
        // the range is refused, so 500 never reaches the device.
        typeInto(ui.edBias, "500");
        QCOMPARE(ui.edBias->text(), QString("50"));
        QCOMPARE(p.dev.biasWrites.size(), size_t(1));
        confirm(ui.edBias);
        QCOMPARE(p.dev.biasWrites.back(), 50.0);
        QCOMPARE(ui.edBias->text(), QString("50"));

        // Written past the validator, the device refuses it and the field shows the
        // device's bias again.
        ui.edBias->setText("500");
        emit ui.edBias->editingFinished();
        QCOMPARE(p.dev.biasWrites.back(), 500.0);
        QCOMPARE(p.dev.biasValue, 50.0);
        QCOMPARE(ui.edBias->text(), QString("50"));

        // A bias in range that the device refuses.
        p.dev.refuseBias = true;
        typeInto(ui.edBias, "150");
        confirm(ui.edBias);
        QCOMPARE(p.dev.biasWrites.back(), 150.0);
        QCOMPARE(p.dev.biasValue, 50.0);
        QCOMPARE(ui.edBias->text(), QString("50"));

        // Nothing else moved.
        QVERIFY(p.dev.clockWrites.empty());
        QCOMPARE(ui.edClock->text(), QString("48"));
        QVERIFY(p.dev.thresholdWrites.empty());
        QCOMPARE(ui.spThreshold->value(), 300.0);
        QVERIFY(ui.spThreshold->styleSheet().isEmpty());
        QVERIFY(p.modeWrites().isEmpty());
        QCOMPARE(ui.cmTpxMode->currentIndex(), 0);
    }

    void followsTheDeviceAndThePage()
    {
        StgPanel p;
        p.build();
        const auto& ui = p.ui();
        p.dev.biasValue = 33.0;
        QCOMPARE(p.dev.fire("BiasChanged"), 1);
        QCOMPARE(ui.edBias->text(), QString("33"));
        p.dev.clockValue = 24.0;
        QCOMPARE(p.dev.fire("TpxClockChanged"), 1);
        QCOMPARE(ui.edClock->text(), QString("24"));
        // Showing wrote nothing back.
        QVERIFY(p.dev.biasWrites.empty());
        QVERIFY(p.dev.clockWrites.empty());

        p.panel->onPixConfTriggered(true);
        QVERIFY(!ui.cmTpxMode->isEnabled());
        QVERIFY(ui.edClock->isEnabled());
        p.panel->onPixConfTriggered(false);
        QVERIFY(ui.cmTpxMode->isEnabled());
    }

    void warningButtonExplains()
    {
        StgPanel p;
        p.build();
        p.activate();
        QTest::mouseClick(p.ui().btnThlWarning, Qt::LeftButton);
        QTRY_VERIFY(QToolTip::isVisible());
        QCOMPARE(QToolTip::text(), kThlWarning);
        QToolTip::hideText();
    }

    void releasedPanelLeavesTheDeviceAlone()
    {
        StgPanel p;
        p.build();
        p.activate();
        const auto& ui = p.ui();
        QTimer* timer = p.panel->biasSenseTimer();
        QVERIFY(timer && timer->isActive());
        timer->setInterval(10);
        QTRY_VERIFY(p.dev.senseReads.load() > 0);
        p.panel->releaseDevice();
        QVERIFY(!timer->isActive());
        p.ctrl.reset();
        const int reads = p.dev.senseReads.load();

        typeInto(ui.edBias, "20");
        confirm(ui.edBias);
        typeInto(ui.edClock, "20");
        confirm(ui.edClock);
        typeThreshold(ui.spThreshold, "20");
        confirm(ui.spThreshold);
        ui.cmTpxMode->setCurrentIndex(2);
        p.panel->enableGui(true, false);
        p.panel->onPixConfTriggered(false);
        QTest::qWait(100);
        QVERIFY(p.dev.biasWrites.empty());
        QVERIFY(p.dev.clockWrites.empty());
        QVERIFY(p.dev.thresholdWrites.empty());
        QVERIFY(p.modeWrites().isEmpty());
        QCOMPARE(p.dev.senseReads.load(), reads);
    }

    void controllerGoneWithoutRelease()
    {
        StgPanel p;
        p.build();
        p.ctrl.reset();
        typeInto(p.ui().edBias, "20");
        confirm(p.ui().edBias);
        typeThreshold(p.ui().spThreshold, "20");
        confirm(p.ui().spThreshold);
        QVERIFY(p.dev.biasWrites.empty());
        QVERIFY(p.dev.thresholdWrites.empty());
    }

    // ------------------------------------------------------------------------------
    // On the page of the simulated quad

    void panelInItsPlaceOnThePage()
    {
        QuadPage q;
        QVERIFY(q.ready());
        DevViewMpx2* view = q.page.view;
        QVBoxLayout* column = q.page.ui().verticalLayout;
        QVERIFY(column->count() >= 5);
        QCOMPARE(column->itemAt(2)->widget(), view->measurement());
        QCOMPARE(column->itemAt(3)->widget(), q.panel);
        QCOMPARE(column->stretch(3), 1);

        const QList<QAction*> actions = view->panelsMenu()->actions();
        QVERIFY(actions.size() >= 4);
        QCOMPARE(actions.at(2)->text(), QString("Measurement"));
        QCOMPARE(actions.at(3)->text(), QString("Detector Settings"));
        QVERIFY(actions.at(3)->isChecked());
        QVERIFY(!q.panel->isHidden());
        actions.at(3)->trigger();
        QVERIFY(!actions.at(3)->isChecked());
        QVERIFY(q.panel->isHidden());
        actions.at(3)->trigger();
        QVERIFY(!q.panel->isHidden());

        // The quad's chips are calibrated: its threshold is in keV.
        QCOMPARE(q.ui().lThreshold->text(), QString("Thl [keV]:"));
        QCOMPARE(q.ui().edBias->text(), QString::number(q.page.device()->bias(), 'g', 6));
        QCOMPARE(q.ui().edClock->text(), QString::number(q.page.device()->clock(), 'g', 6));
        QVERIFY(q.panel->biasSenseTimer() && q.panel->biasSenseTimer()->isActive());
    }

    void pageEnablesLocksAndShowsPixCfg()
    {
        QuadPage q;
        QVERIFY(q.ready());
        const auto& ui = q.ui();
        DevViewMpx2* view = q.page.view;
        view->enableGui(false, false);
        QVERIFY(!ui.edClock->isEnabled());
        QVERIFY(!ui.cmTpxMode->isEnabled());
        QVERIFY(!ui.edBias->isEnabled());
        view->enableGui(true, false);
        QVERIFY(ui.edClock->isEnabled());
        QVERIFY(ui.cmTpxMode->isEnabled());
        QVERIFY(ui.edBias->isEnabled());
        QVERIFY(!ui.btnDevStg->isEnabled());

        // A lock from a host thread disables the body until the unlock.
        QVERIFY(ui.pnlDevStg->isEnabled());
        sim::TimepixDevice* device = q.device;
        std::thread([device] { device->setLocked(true); }).join();
        QTRY_VERIFY(!ui.pnlDevStg->isEnabled());
        std::thread([device] { device->setLocked(false); }).join();
        QTRY_VERIFY(ui.pnlDevStg->isEnabled());
        QVERIFY(ui.edClock->isEnabled());

        // The pixel configuration display takes the mode away while it is on.
        q.page.ui().acPixCfgEdit->trigger();
        QVERIFY(q.page.ui().acPixCfgEdit->isChecked());
        QVERIFY(!ui.cmTpxMode->isEnabled());
        q.page.ui().acPixCfgEdit->trigger();
        QVERIFY(ui.cmTpxMode->isEnabled());
    }

    void removedDeviceStopsThePolling()
    {
        QuadPage q;
        QVERIFY(q.ready());
        QPointer<PnlDevStgTpx> panel = q.panel;
        QPointer<QTimer> timer = panel->biasSenseTimer();
        QVERIFY(timer && timer->isActive());
        q.device = nullptr;
        QVERIFY(q.page.fixture.host->removeDevice(q.page.dev));
        // The page is retired, not yet deleted: its panel no longer polls.
        QVERIFY(panel);
        QVERIFY(timer);
        QVERIFY(!timer->isActive());
        panel->enableGui(true, false);
        panel->onPixConfTriggered(false);
    }

    void biasAndThresholdMoveTheCounts()
    {
        QuadPage q;
        QVERIFY(q.ready());
        const auto& ui = q.ui();
        q.page.fixture.window()->resize(1200, 900);
        q.page.fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(q.page.fixture.window()));

        // The sensor collects more the deeper it is depleted, up to full depletion at
        // 60 V; beyond that more bias changes nothing.
        auto countsAt = [&q, &ui](const QString& volts) {
            typeInto(ui.edBias, volts);
            confirm(ui.edBias);
            if (q.page.device()->bias() != volts.toDouble() || ui.edBias->text() != volts)
                return -1.0;
            return q.meanCounts(0.01);
        };
        const double at2 = countsAt("2");
        const double at20 = countsAt("20");
        const double at60 = countsAt("60");
        const double at100 = countsAt("100");
        const QString biasCounts = QString("mean counts at 2 V %1, 20 V %2, 60 V %3, 100 V %4")
                                       .arg(at2)
                                       .arg(at20)
                                       .arg(at60)
                                       .arg(at100);
        QVERIFY2(at2 > 0.0 && at100 > 0.0, qPrintable(biasCounts));
        QVERIFY2(at2 < 0.5 * at100, qPrintable(biasCounts));
        QVERIFY2(at20 > 1.5 * at2 && at20 < 0.9 * at100, qPrintable(biasCounts));
        QVERIFY2(std::abs(at60 - at100) < 0.02 * at100, qPrintable(biasCounts));

        // The threshold in keV: near the end point of the 40 kVp spectrum few photons are
        // left above it.
        typeThreshold(ui.spThreshold, "6");
        confirm(ui.spThreshold);
        QTRY_VERIFY(ui.spThreshold->styleSheet().isEmpty());
        QVERIFY(std::abs(q.page.view->familyController()->threshold() - 6.0) < 0.3);
        QVERIFY(std::abs(ui.spThreshold->value() - 6.0) < 0.35);
        const double low = q.meanCounts(0.01);
        typeThreshold(ui.spThreshold, "36");
        confirm(ui.spThreshold);
        QTRY_VERIFY(ui.spThreshold->styleSheet().isEmpty());
        QVERIFY(std::abs(q.page.view->familyController()->threshold() - 36.0) < 0.3);
        // What the sensor's chips see, through their own calibration.
        for (int chip = 0; chip < 4; ++chip)
            QVERIFY(std::abs(q.device->trueThresholdKeV(chip) - 36.0) < 1.0);
        const double high = q.meanCounts(0.01);
        QVERIFY2(low > 0.0 && high >= 0.0, qPrintable(QString("%1 %2").arg(low).arg(high)));
        QVERIFY2(high < 0.2 * low,
            qPrintable(QString("mean counts at 6 keV %1, at 36 keV %2").arg(low).arg(high)));
    }
};

QTEST_MAIN(TestPnlDevStgTpx)
#include "tst_pnldevstgtpx.moc"
