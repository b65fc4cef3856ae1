// The measurement settings of the simulated Timepix quad's page, worked as a user does:
// the gear button of the measurement panel, a hardware trigger, test pulses and a
// series with a file rule. What the device receives is checked record by record, and
// the measurement waits for the triggers that the host fires.
#include "../devctrl/modaldriver.h"
#include "../panels/typeinto.h"
#include "timepixpage.h"

#include "dlgacqstg.h"
#include "pnlmeasurement.h"
#include "timepixdevice.h"
#include "ui_dlgacqstg.h"
#include "ui_pnlmeasurement.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDirIterator>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QSpinBox>
#include <QToolButton>

#include <cstring>
#include <functional>

using namespace PluginDevControl;

namespace {

Ui_PnlMeasurement& panelUi(const TimepixPage& page)
{
    return *page.view->measurement()->ui;
}

sim::TimepixDevice* simDevice(const TimepixPage& page)
{
    return dynamic_cast<sim::TimepixDevice*>(page.fixture.host->deviceFor(page.dev).get());
}

void showWindow(TimepixPage& page)
{
    page.fixture.window()->resize(1200, 900);
    page.fixture.window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(page.fixture.window()));
}

// Clicks the gear button; act works on the dialog, then OK or Cancel is clicked.
// Returns whether the dialog was seen.
bool viaGearButton(TimepixPage& page, const std::function<void(DlgAcqStg*)>& act, bool ok)
{
    ModalDriver driver;
    bool seen = false;
    driver.add([&](QWidget* w) {
        auto* dialog = qobject_cast<DlgAcqStg*>(w);
        if (!dialog)
            return false;
        seen = true;
        act(dialog);
        QDialogButtonBox* box = dialog->form()->bbOKCancel;
        QTest::mouseClick(
            box->button(ok ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel), Qt::LeftButton);
        return true;
    });
    QTest::mouseClick(panelUi(page).btMeasStg, Qt::LeftButton);
    return seen;
}

int filesBelow(const QString& dir)
{
    int n = 0;
    QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        ++n;
    }
    return n;
}

} // namespace

class TestDevViewMeasSettings : public QObject
{
    Q_OBJECT

private slots:
    void triggeredTestPulseSeriesFromTheGearButton()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        sim::TimepixDevice* dev = simDevice(page);
        QVERIFY(dev);
        Ui_PnlMeasurement& ui = panelUi(page);
        DevCtrlMpx* ctrl = page.ctrl();

        // The panel: test pulses, 2 frames of 10 ms, a series of 2 rounds into files.
        chooseItem(ui.cmAcqType, 2);
        QCOMPARE(ui.cmAcqType->currentText(), QString("Test Pulses"));
        typeInto(ui.spCount, 2);
        typeInto(ui.edTime, "0.01");
        QTest::mouseClick(ui.cbRepeat, Qt::LeftButton);
        typeInto(ui.spRepeat, 2);
        QTest::mouseClick(ui.cbFileOutput, Qt::LeftButton);
        const QString outDir = QDir(page.fixture.homePath()).filePath("out");
        typeInto(ui.edFileOutput, QDir(outDir).filePath("pulses.txt"));

        // Every pixel gets its test bit, so that every pixel counts the pulses.
        ov::IMpxPixCfg* cfg = page.device()->pixCfg();
        QVERIFY(cfg);
        cfg->setAllTest(true);

        QVERIFY(viaGearButton(
            page,
            [](DlgAcqStg* d) {
                chooseItem(d->form()->cmbTrigger, 1);
                typeInto(d->findChild<QSpinBox*>("TrgTimeout"), "20");
                typeInto(d->form()->sbSpacing, "2");
                typeInto(d->findChild<QSpinBox*>("sbPulseCount"), "50");
                typeInto(d->findChild<QDoubleSpinBox*>("sbPulsePeriod"), "10");
                typeInto(d->findChild<QDoubleSpinBox*>("sbPulseHeight"), "1.5");
                d->form()->tabWidget->setCurrentIndex(1);
                chooseItem(d->form()->cmbFileOutput, 1);
                chooseItem(d->form()->cmbFileDigits, 3);
            },
            true));
        QCOMPARE(ctrl->acqParams().acqMode, 1);
        QCOMPARE(ctrl->acqParams().tpSpacing, 2);
        QCOMPARE(ctrl->acqParams().repeatFileFlags, 2u);
        QCOMPARE(ctrl->acqParams().repeatFileDigits, 3);
        QCOMPARE(int(dev->params().find("TrgTimeout")->u16Value()), 20);

        QSignalSpy finished(ctrl, &DevCtrlMpx::acqAllFinished);
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        // The measurement waits for its first trigger: no frame comes without one.
        QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 10000);
        QTest::qWait(200);
        QCOMPARE(dev->acqFrameCount(), 0);
        QVERIFY(page.view->isMeasurementRunning());

        // The device got exactly what the page and the dialog set up.
        const sim::AcqRequest request = dev->lastRequest();
        QVERIFY(request.acq.testPulses);
        QCOMPARE(request.acq.count, 2u);
        QCOMPARE(request.acq.time, 0.01);
        QCOMPARE(request.acq.mode, 1u);
        QCOMPARE(request.acq.spacing, 2u);
        QCOMPARE(QString::fromStdString(request.acq.outputFile).startsWith(outDir), true);
        QVERIFY(request.repeat.has_value());
        QCOMPARE(request.repeat->count, 2u);
        QCOMPARE(request.repeat->fileFlags, 2u);
        QCOMPARE(request.repeat->fileDigits, 3u);
        QVERIFY(request.testPulses.has_value());
        QCOMPARE(request.testPulses->count, 50u);
        QVERIFY(qAbs(request.testPulses->period - 10e-6) < 1e-12);
        QCOMPARE(request.testPulses->height, 1.5);

        // One trigger per frame, fired by the host while the device waits.
        int fired = 0;
        while (finished.isEmpty() && fired < 40) {
            if (dev->waitingForTrigger()) {
                dev->fireTrigger();
                ++fired;
            }
            QTest::qWait(20);
        }
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 30000);
        QCOMPARE(finished.at(0).at(0).toInt(), 0);
        QCOMPARE(fired, 4);
        QVERIFY(filesBelow(outDir) >= 4);
        // Every pixel has its test bit: about all of the 50 pulses of 75 keV cross the
        // thresholds of the quad (some pixels are dead, masked or hot).
        ov::RefData<ov::IMpxFrame> last(page.device()->lastAcqFrameRefInc(), false);
        const double mean = frameMean(last.get());
        QVERIFY2(mean > 40.0 && mean <= 50.0, qPrintable(QString("mean %1").arg(mean)));
    }

    void cancelLeavesEverythingAsItWas()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        sim::TimepixDevice* dev = simDevice(page);
        DevCtrlMpx* ctrl = page.ctrl();
        const AcqParams before = ctrl->acqParams();
        TpParams tpBefore = ctrl->tpParams();
        const uint16_t timeout = dev->params().find("TrgTimeout")->u16Value();
        const bool refresh = page.device()->isSensorRefreshEnabled();

        QVERIFY(viaGearButton(
            page,
            [](DlgAcqStg* d) {
                chooseItem(d->form()->cmbTrigger, 3);
                typeInto(d->findChild<QSpinBox*>("TrgTimeout"), "99");
                typeInto(d->findChild<QSpinBox*>("sbPulseCount"), "7");
                typeInto(d->form()->sbDelay, "3");
                clickCheckBox(d->form()->chbSensorRefresh);
                d->form()->tabWidget->setCurrentIndex(1);
                chooseItem(d->form()->cmbFileOutput, 2);
            },
            false));
        QCOMPARE(ctrl->acqParams().acqMode, before.acqMode);
        QCOMPARE(ctrl->acqParams().repeatDelay, before.repeatDelay);
        QCOMPARE(ctrl->acqParams().repeatFileFlags, before.repeatFileFlags);
        QVERIFY(std::memcmp(&ctrl->tpParams(), &tpBefore, sizeof tpBefore) == 0);
        QCOMPARE(dev->params().find("TrgTimeout")->u16Value(), timeout);
        QCOMPARE(page.device()->isSensorRefreshEnabled(), refresh);
    }

    void aMissingTriggerEndsTheMeasurementWithAReason()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        sim::TimepixDevice* dev = simDevice(page);
        Ui_PnlMeasurement& ui = panelUi(page);
        typeInto(ui.spCount, 1);
        typeInto(ui.edTime, "0.01");
        QVERIFY(viaGearButton(
            page,
            [](DlgAcqStg* d) {
                chooseItem(d->form()->cmbTrigger, 1);
                typeInto(d->findChild<QSpinBox*>("TrgTimeout"), "1");
            },
            true));
        QSignalSpy finished(page.ctrl(), &DevCtrlMpx::acqAllFinished);
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 20000);
        QCOMPARE(finished.at(0).at(0).toInt(), int(sim::AcqErrTriggerTimeout));
        QCOMPARE(dev->acqFrameCount(), 0);
        QTRY_COMPARE(ui.btStartStop->text(), QString("Start"));
    }

    void theGearButtonIsClosedDuringAMeasurement()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        Ui_PnlMeasurement& ui = panelUi(page);
        typeInto(ui.spCount, 50);
        typeInto(ui.edTime, "0.05");
        QSignalSpy finished(page.ctrl(), &DevCtrlMpx::acqAllFinished);
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QVERIFY(!ui.btMeasStg->isEnabled());
        QTRY_VERIFY(ui.btStartStop->isEnabled());
        QVERIFY(!ui.btMeasStg->isEnabled());
        QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 20000);
        QTRY_VERIFY(ui.btMeasStg->isEnabled());
    }
};

QTEST_MAIN(TestDevViewMeasSettings)
#include "tst_devviewmeassettings.moc"
