// The measurement settings dialog on a Timepix with a trigger input: the controls it
// fills from the controller's records, the rows it builds from the device's trigger
// parameters, the test-pulse group, and what OK and Cancel leave in the controller and
// on the device. The dialog is run modally and worked through its controls.
#include "../panels/typeinto.h"
#include "acqstgdevice.h"
#include "dlgacqstg.h"
#include "modaldriver.h"
#include "ui_dlgacqstg.h"

#include <qparamsbrowser.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSet>
#include <QSpinBox>
#include <QtTest>

#include <cstring>
#include <functional>

using acqstgtest::AcqStgSetup;
using PluginDevControl::AcqParams;
using PluginDevControl::DlgAcqStg;
using PluginDevControl::TpParams;
using PluginDevControl::Tpx3Pulses;
using TimepixSetup = AcqStgSetup<>;

namespace {

using Act = std::function<void(DlgAcqStg*)>;

// Opens the dialog on the controller, lets act work on it while it is shown, then
// presses OK (or Cancel). Returns what showDialog returned; *seen tells whether the
// dialog was shown at all.
template <class Setup>
bool runDialog(Setup& s, const Act& act, bool ok = true, bool* seen = nullptr)
{
    QWidget parent;
    auto* dialog = new DlgAcqStg(&parent, s.ctrl.get());
    ModalDriver driver;
    bool shown = false;
    driver.add([&](QWidget* w) {
        auto* d = qobject_cast<DlgAcqStg*>(w);
        if (!d)
            return false;
        shown = true;
        if (act)
            act(d);
        QDialogButtonBox* box = d->form()->bbOKCancel;
        QTest::mouseClick(
            box->button(ok ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel), Qt::LeftButton);
        return true;
    });
    const bool result = dialog->showDialog();
    if (seen)
        *seen = shown;
    return result;
}

// The label text in column 0 of a row of a grid, or "" when there is none.
QString labelAt(QGridLayout* grid, int row)
{
    QLayoutItem* item = grid->itemAtPosition(row, 0);
    auto* label = item ? qobject_cast<QLabel*>(item->widget()) : nullptr;
    return label ? label->text() : QString();
}

QWidget* controlAt(QGridLayout* grid, int row)
{
    QLayoutItem* item = grid->itemAtPosition(row, 1);
    return item ? item->widget() : nullptr;
}

bool sameTpParams(const TpParams& a, const TpParams& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace

class TestDlgAcqStg : public QObject
{
    Q_OBJECT

private slots:
    void triggerIndexesAndModes()
    {
        QCOMPARE(DlgAcqStg::getTriggerIndexFromMode(0), 0);
        QCOMPARE(DlgAcqStg::getTriggerIndexFromMode(1), 1);
        QCOMPARE(DlgAcqStg::getTriggerIndexFromMode(2), 2);
        QCOMPARE(DlgAcqStg::getTriggerIndexFromMode(3), 3);
        QCOMPARE(DlgAcqStg::getTriggerIndexFromMode(16 | 2), 2);
        QCOMPARE(DlgAcqStg::getModeFromTriggerIndex(0), 0u);
        QCOMPARE(DlgAcqStg::getModeFromTriggerIndex(1), 1u);
        QCOMPARE(DlgAcqStg::getModeFromTriggerIndex(2), 2u);
        QCOMPARE(DlgAcqStg::getModeFromTriggerIndex(3), 3u);
        QCOMPARE(DlgAcqStg::getModeFromTriggerIndex(4), 0u);
        QCOMPARE(DlgAcqStg::getModeFromTriggerIndex(-1), 0u);
    }

    void formTexts()
    {
        TimepixSetup s;
        QString title, firstTab;
        QStringList triggers, outputs;
        int digits = 0;
        runDialog(s, [&](DlgAcqStg* d) {
            title = d->windowTitle();
            firstTab = d->form()->tabWidget->currentWidget()->objectName();
            for (int i = 0; i < d->form()->cmbTrigger->count(); ++i)
                triggers << d->form()->cmbTrigger->itemText(i);
            for (int i = 0; i < d->form()->cmbFileOutput->count(); ++i)
                outputs << d->form()->cmbFileOutput->itemText(i);
            digits = d->form()->cmbFileDigits->count();
        });
        QCOMPARE(title, QString("Measurement Settings"));
        QCOMPARE(firstTab, QString("tabGeneral"));
        QCOMPARE(triggers,
            QStringList({"No Trigger", "Started by HW Trigger", "Stopped by HW Trigger",
                "Started & Stopped by HW Trigger"}));
        QCOMPARE(outputs,
            QStringList({"Suffix to file name (r_index)", "Separate directory", "Same file"}));
        QCOMPARE(digits, 11);
    }

    void triggerRowsFollowTheDevicesParameters()
    {
        TimepixSetup s;
        QStringList labels;
        QStringList controls;
        QString checkText;
        int timeoutMax = 0;
        QPair<int, int> holdOffRange;
        int holdOffValue = 0;
        runDialog(s, [&](DlgAcqStg* d) {
            auto* grid = qobject_cast<QGridLayout*>(d->form()->gbTrigger->layout());
            for (int row = 1; row < grid->rowCount(); ++row) {
                labels << labelAt(grid, row);
                QWidget* control = controlAt(grid, row);
                controls << (control ? control->metaObject()->className() : QString());
            }
            checkText = d->findChild<QCheckBox*>("TrgOutputEnabled")->text();
            timeoutMax = d->findChild<QSpinBox*>("TrgTimeout")->maximum();
            auto* holdOff = d->findChild<QSpinBox*>("TrgHoldOff");
            holdOffRange = qMakePair(holdOff->minimum(), holdOff->maximum());
            holdOffValue = holdOff->value();
        });
        // Sorted by the kind of value: yes/no, logic levels, ranges, lists, texts. The
        // counter without a value list and the gain get no row.
        // The sort is not stable: the two ranges come in either order.
        QCOMPARE(labels.mid(0, 2), QStringList({"Output Enabled", "Level"}));
        QCOMPARE(QSet<QString>(labels.begin() + 2, labels.begin() + 4),
            QSet<QString>({"Timeout", "Hold Off"}));
        QCOMPARE(labels.mid(4), QStringList({"Input Edge", "Source"}));
        QCOMPARE(controls,
            QStringList(
                {"QCheckBox", "QComboBox", "QSpinBox", "QSpinBox", "QComboBox", "QLineEdit"}));
        QCOMPARE(checkText, QString("Yes"));
        QCOMPARE(timeoutMax, 1000);
        // A range with a unit after it still gives its bounds.
        QCOMPARE(holdOffRange, qMakePair(2, 40));
        QCOMPARE(holdOffValue, 9);
    }

    void triggerValuesTravelInEightBits()
    {
        TimepixSetup s;
        s.dev.param("TrgCount").assign(7);
        QVERIFY(runDialog(s, [](DlgAcqStg* d) {
            // 300 fits the range shown; the device receives its low 8 bits.
            typeInto(d->findChild<QSpinBox*>("TrgTimeout"), "300");
            chooseItem(d->findChild<QComboBox*>("TrgInputEdge"), 1);
            chooseItem(d->findChild<QComboBox*>("TriggerLevel"), 0);
            auto* output = d->findChild<QCheckBox*>("TrgOutputEnabled");
            clickCheckBox(output);
            QCOMPARE(output->text(), QString("No"));
            // A text parameter is shown but not written.
            QVERIFY(d->findChild<QLineEdit*>("TrgSource")->isReadOnly());
        }));
        QCOMPARE(int(s.dev.param("TrgTimeout").u16Value()), 300 & 0xff);
        QCOMPARE(s.dev.param("TrgInputEdge").getAliasValue(), std::string("falling"));
        QCOMPARE(int(s.dev.param("TriggerLevel").byteValue()), 0);
        QVERIFY(!s.dev.param("TrgOutputEnabled").boolValue());
        QCOMPARE(s.dev.param("TrgSource").getString(), std::string("LEMO input"));
        QCOMPARE(int(s.dev.param("TrgCount").u32Value()), 7);
    }

    void cancelLeavesEverythingAsItWas()
    {
        TimepixSetup s;
        AcqParams stored;
        stored.acqMode = 1;
        stored.repeatDelay = 2.5;
        stored.repeatFileFlags = 2;
        s.ctrl->setAcqParams(stored);
        TpParams tp {};
        tp.tpx.pulseCount = 100;
        tp.tpx.pulsePeriod = 1e-3;
        tp.tpx.pulseHeight = 0.5;
        s.ctrl->setTpParams(tp);
        bool seen = false;
        const bool result = runDialog(
            s,
            [](DlgAcqStg* d) {
                chooseItem(d->form()->cmbTrigger, 3);
                typeInto(d->form()->sbDelay, "9");
                chooseItem(d->form()->cmbFileOutput, 2);
                typeInto(d->findChild<QSpinBox*>("sbPulseCount"), "7");
                typeInto(d->findChild<QSpinBox*>("TrgTimeout"), "12");
                clickCheckBox(d->form()->chbSensorRefresh);
                clickCheckBox(d->form()->chbCalibrateData);
            },
            false, &seen);
        QVERIFY(seen);
        QVERIFY(!result);
        QCOMPARE(s.ctrl->acqParams().acqMode, 1);
        QCOMPARE(s.ctrl->acqParams().repeatDelay, 2.5);
        QCOMPARE(s.ctrl->acqParams().repeatFileFlags, 2u);
        QVERIFY(sameTpParams(s.ctrl->tpParams(), tp));
        QCOMPARE(int(s.dev.param("TrgTimeout").u16Value()), 300);
        QCOMPARE(s.dev.refreshWrites, 0);
        QCOMPARE(s.dev.calibrationWrites, 0);
    }

    void okWritesTheTriggerDelayAndSeriesFiles()
    {
        TimepixSetup s;
        QVERIFY(runDialog(s, [](DlgAcqStg* d) {
            chooseItem(d->form()->cmbTrigger, 3);
            typeInto(d->form()->sbDelay, "1.25");
            d->form()->tabWidget->setCurrentIndex(1);
            chooseItem(d->form()->cmbFileDigits, 4);
            chooseItem(d->form()->cmbFileOutput, 1);
            chooseItem(d->form()->cmbFileNext, 1);
        }));
        const AcqParams& p = s.ctrl->acqParams();
        QCOMPARE(p.acqMode, 3);
        QCOMPARE(p.repeatDelay, 1.25);
        QCOMPARE(p.repeatFileDigits, 4);
        QCOMPARE(p.repeatFileFlags, 2u | 1u);
    }

    void sameFileAndSeparateDirectoryFlags_data()
    {
        QTest::addColumn<int>("output");
        QTest::addColumn<int>("next");
        QTest::addColumn<unsigned>("flags");
        QTest::newRow("suffix") << 0 << 0 << 0u;
        QTest::newRow("separate directory") << 1 << 0 << 2u;
        QTest::newRow("same file") << 2 << 0 << 4u;
        QTest::newRow("same file, continue") << 2 << 1 << 5u;
        QTest::newRow("suffix, continue") << 0 << 1 << 1u;
    }
    void sameFileAndSeparateDirectoryFlags()
    {
        QFETCH(int, output);
        QFETCH(int, next);
        QFETCH(unsigned, flags);
        TimepixSetup s;
        AcqParams stored;
        stored.repeatFileFlags = 7;
        s.ctrl->setAcqParams(stored);
        int shownOutput = -1;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            shownOutput = d->form()->cmbFileOutput->currentIndex();
            chooseItem(d->form()->cmbFileOutput, output);
            chooseItem(d->form()->cmbFileNext, next);
        }));
        QCOMPARE(shownOutput, 2); // bit 2 wins over bit 1 when both are stored
        QCOMPARE(s.ctrl->acqParams().repeatFileFlags, flags);
    }

    void fileDigitsAboveTenShowAndStoreTen()
    {
        TimepixSetup s;
        AcqParams stored;
        stored.repeatFileDigits = 12;
        s.ctrl->setAcqParams(stored);
        int shown = -1;
        QVERIFY(
            runDialog(s, [&](DlgAcqStg* d) { shown = d->form()->cmbFileDigits->currentIndex(); }));
        QCOMPARE(shown, 10);
        QCOMPARE(s.ctrl->acqParams().repeatFileDigits, 10);
    }

    void spacingFollowsTheMeasurementTypeAtOpening()
    {
        TimepixSetup s;
        AcqParams frames;
        frames.acqType = PluginDevControl::AcqFrames;
        frames.spacing = 3;
        frames.tpSpacing = 9;
        s.ctrl->setAcqParams(frames);
        int shown = 0;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) { shown = d->form()->sbSpacing->value(); }));
        QCOMPARE(shown, 3);
        QCOMPARE(s.ctrl->acqParams().spacing, 3);
        QCOMPARE(s.ctrl->acqParams().tpSpacing, 9);

        QVERIFY(runDialog(s, [](DlgAcqStg* d) { typeInto(d->form()->sbSpacing, "5"); }));
        QCOMPARE(s.ctrl->acqParams().spacing, 5);
        QCOMPARE(s.ctrl->acqParams().tpSpacing, 9);

        AcqParams pulses = s.ctrl->acqParams();
        pulses.acqType = PluginDevControl::AcqTestPulses;
        s.ctrl->setAcqParams(pulses);
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            shown = d->form()->sbSpacing->value();
            typeInto(d->form()->sbSpacing, "2");
        }));
        QCOMPARE(shown, 9);
        QCOMPARE(s.ctrl->acqParams().tpSpacing, 2);
        QCOMPARE(s.ctrl->acqParams().spacing, 5);
    }

    void aDeviceWithoutTriggerShowsAndWritesTheStartTrigger()
    {
        TimepixSetup s;
        s.dev.hwTrigger = false;
        int index = -1;
        bool enabled = true;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            index = d->form()->cmbTrigger->currentIndex();
            enabled = d->form()->cmbTrigger->isEnabled();
        }));
        QCOMPARE(index, 1);
        QVERIFY(!enabled);
        QCOMPARE(s.ctrl->acqParams().acqMode, 1);
    }

    void triggerComboNeedsATriggerCapability()
    {
        TimepixSetup s;
        s.dev.caps = 0;
        bool enabled = true;
        runDialog(s, [&](DlgAcqStg* d) { enabled = d->form()->cmbTrigger->isEnabled(); });
        QVERIFY(!enabled);
        s.dev.caps = ov::CapHwTriggerStop;
        runDialog(s, [&](DlgAcqStg* d) { enabled = d->form()->cmbTrigger->isEnabled(); });
        QVERIFY(enabled);
    }

    void compressionAndTdiFollowTheCapabilities()
    {
        TimepixSetup s;
        AcqParams stored;
        // Compression and TDI stored, a bit above them, and the start trigger.
        stored.acqMode = 1 | 16 | 32 | 64;
        s.ctrl->setAcqParams(stored);
        s.dev.caps = ov::CapHwTriggerStart | ov::CapCompression;
        bool compressionShown = false, tdiShown = true, compressionChecked = false;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            compressionShown = d->form()->chbDataCompression->isVisible();
            compressionChecked = d->form()->chbDataCompression->isChecked();
            tdiShown = d->form()->chbTDIReadout->isVisible();
        }));
        QVERIFY(compressionShown);
        QVERIFY(compressionChecked);
        QVERIFY(!tdiShown);
        // The hidden TDI box keeps its bit; the bit above is dropped.
        QCOMPARE(s.ctrl->acqParams().acqMode, 1 | 16 | 32);

        QVERIFY(runDialog(s, [](DlgAcqStg* d) { clickCheckBox(d->form()->chbDataCompression); }));
        QCOMPARE(s.ctrl->acqParams().acqMode, 1 | 32);
    }

    void sensorRefreshIsTheDevicesSetting()
    {
        TimepixSetup s;
        bool shown = false;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            shown = d->form()->chbSensorRefresh->isVisible();
            clickCheckBox(d->form()->chbSensorRefresh);
        }));
        QVERIFY(shown);
        QVERIFY(s.dev.refreshOn);
        QCOMPARE(s.dev.refreshWrites, 1);

        s.dev.refreshSupported = false;
        QVERIFY(
            runDialog(s, [&](DlgAcqStg* d) { shown = d->form()->chbSensorRefresh->isVisible(); }));
        QVERIFY(!shown);
        QCOMPARE(s.dev.refreshWrites, 1);
    }

    void testPulseGroupOfTheTimepix()
    {
        TimepixSetup s;
        TpParams tp {};
        tp.tpx.pulseCount = 250;
        tp.tpx.pulsePeriod = 2e-4;
        tp.tpx.pulseHeight = 0.75;
        tp.tpx.manualTpBits = 0;
        s.ctrl->setTpParams(tp);
        QStringList labels;
        double periodShown = 0.0, heightShown = 0.0;
        int countShown = 0, countMinimum = -1;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            auto* grid = qobject_cast<QGridLayout*>(d->form()->gbTP->layout());
            QVERIFY(grid);
            for (int row = 0; row < 3; ++row)
                labels << labelAt(grid, row);
            auto* count = d->findChild<QSpinBox*>("sbPulseCount");
            countShown = count->value();
            countMinimum = count->minimum();
            periodShown = d->findChild<QDoubleSpinBox*>("sbPulsePeriod")->value();
            heightShown = d->findChild<QDoubleSpinBox*>("sbPulseHeight")->value();
            QCOMPARE(controlAt(grid, 3), d->findChild<QCheckBox*>("chbManualTpBits"));
            QCOMPARE(
                d->findChild<QCheckBox*>("chbManualTpBits")->text(), QString("Manual TP Bits"));
            typeInto(count, "400");
            typeInto(d->findChild<QDoubleSpinBox*>("sbPulsePeriod"), "50");
            typeInto(d->findChild<QDoubleSpinBox*>("sbPulseHeight"), "1.234");
            clickCheckBox(d->findChild<QCheckBox*>("chbManualTpBits"));
        }));
        QCOMPARE(labels,
            QStringList({"Pulse count (1 - 1000)", "Pulse period (1 - 1e+04) [us]",
                "Pulse height (0 - 2) [V]"}));
        QCOMPARE(countShown, 250);
        QCOMPARE(countMinimum, 0);
        QCOMPARE(periodShown, 200.0);
        QCOMPARE(heightShown, 0.75);
        // The records are packed: their fields are read by value, never bound by reference.
        const TpParams& out = s.ctrl->tpParams();
        QCOMPARE(uint32_t(out.tpx.pulseCount), 400u);
        QVERIFY(qAbs(out.tpx.pulsePeriod - 50e-6) < 1e-12);
        QCOMPARE(double(out.tpx.pulseHeight), 1.234);
        QCOMPARE(int(out.tpx.manualTpBits), 1);
    }

    void storedValuesBeyondTheLimitsAreClipped()
    {
        TimepixSetup s;
        TpParams tp {};
        tp.tpx.pulseCount = 5000;
        tp.tpx.pulsePeriod = 1.0;
        tp.tpx.pulseHeight = 9.0;
        s.ctrl->setTpParams(tp);
        QVERIFY(runDialog(s, {}));
        QCOMPARE(uint32_t(s.ctrl->tpParams().tpx.pulseCount), 1000u);
        QVERIFY(qAbs(s.ctrl->tpParams().tpx.pulsePeriod - 0.01) < 1e-12);
        QCOMPARE(double(s.ctrl->tpParams().tpx.pulseHeight), 2.0);
    }

    void calibrateDataOnTheTimepix()
    {
        TimepixSetup s;
        bool shown = false, enabled = false;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            shown = d->form()->chbCalibrateData->isVisible();
            enabled = d->form()->chbCalibrateData->isEnabled();
            clickCheckBox(d->form()->chbCalibrateData);
        }));
        QVERIFY(shown);
        QVERIFY(enabled);
        QVERIFY(s.dev.calibrationOn);

        s.dev.calibrationSupported = false;
        const int writes = s.dev.calibrationWrites;
        QVERIFY(runDialog(
            s, [&](DlgAcqStg* d) { enabled = d->form()->chbCalibrateData->isEnabled(); }));
        QVERIFY(!enabled);
        QCOMPARE(s.dev.calibrationWrites, writes);
    }

    void anotherDeviceTypeShowsNoDialog()
    {
        TimepixSetup s;
        s.dev.kind = 99;
        AcqParams before = s.ctrl->acqParams();
        bool seen = true;
        QVERIFY(!runDialog(s, {}, true, &seen));
        QVERIFY(!seen);
        QCOMPARE(s.ctrl->acqParams().acqMode, before.acqMode);
        QCOMPARE(s.dev.refreshWrites, 0);
    }

    void anEmptyOutputFileHasNoFileParameters()
    {
        TimepixSetup s;
        AcqParams stored;
        stored.outputFile.clear();
        stored.fileFlags = 6;
        s.ctrl->setAcqParams(stored);
        int rows = -1;
        bool frameStg = true;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            rows = d->form()->tvFileParams->model()->rowCount();
            frameStg = !d->form()->wgtMpxFrameFileStg->isHidden();
        }));
        QCOMPARE(rows, 0);
        QCOMPARE(frameStg, s.ctrl->fileTypeFromFileName("") == 4);
        QCOMPARE(s.ctrl->acqParams().fileFlags, 6u);
    }

    void frameFilesShowTheirFlags()
    {
        TimepixSetup s;
        AcqParams stored;
        stored.outputFile = QDir(s.home.path()).filePath("run.mfd").toStdString();
        stored.fileFlags = 2 | 128;
        s.ctrl->setAcqParams(stored);
        bool visible = false, binary = false, sub = false, sparse = true;
        QStringList fileParams;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            // The multi-frame type's own parameters, straight from the host.
            QAbstractItemModel* model = d->form()->tvFileParams->model();
            for (int row = 0; row < model->rowCount(); ++row)
                fileParams << model->index(row, 0).data().toString();
            visible = !d->form()->wgtMpxFrameFileStg->isHidden();
            binary = d->form()->chbMpxFrameBinary->isChecked();
            sub = d->form()->chbMpxFrameSubFramesOneFile->isChecked();
            sparse = d->form()->chbMpxFrameSparse->isChecked();
            d->form()->tabWidget->setCurrentIndex(1);
            clickCheckBox(d->form()->chbMpxFrameSparse);
            clickCheckBox(d->form()->chbMpxFrameNoDSC);
            clickCheckBox(d->form()->chbMpxFrameSubFramesOneFile);
        }));
        QVERIFY(visible);
        QVERIFY(fileParams.contains("Compression"));
        QVERIFY(binary);
        QVERIFY(sub);
        QVERIFY(!sparse);
        QCOMPARE(s.ctrl->acqParams().fileFlags, 2u | 4u | 32u);
    }

    void otherFileTypesKeepTheirFlags()
    {
        TimepixSetup s;
        AcqParams stored;
        stored.outputFile = QDir(s.home.path()).filePath("frame.txt").toStdString();
        stored.fileFlags = 6;
        s.ctrl->setAcqParams(stored);
        bool visible = true;
        QVERIFY(runDialog(
            s, [&](DlgAcqStg* d) { visible = !d->form()->wgtMpxFrameFileStg->isHidden(); }));
        QVERIFY(!visible);
        QCOMPARE(s.ctrl->acqParams().fileFlags, 6u);
    }

    void testPulseGroupOfTheMedipix3()
    {
        AcqStgSetup<acqstgtest::Mpx3PulseDevice> s;
        TpParams tp {};
        tp.mpx3.pulseCount = 20;
        tp.mpx3.pulsePeriod = 1e-4;
        tp.mpx3.charge1 = 0.5;
        tp.mpx3.charge2 = 0.125;
        s.ctrl->setTpParams(tp);
        QStringList labels;
        bool calibrationShown = true;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            auto* grid = qobject_cast<QGridLayout*>(d->form()->gbTP->layout());
            for (int row = 0; row < 4; ++row)
                labels << labelAt(grid, row);
            QCOMPARE(controlAt(grid, 4), d->findChild<QCheckBox*>("chbManualTpBits"));
            QCOMPARE(d->findChild<QDoubleSpinBox*>("sbPulseCharge1")->value(), 0.5);
            QCOMPARE(d->findChild<QDoubleSpinBox*>("sbPulseCharge2")->value(), 0.125);
            calibrationShown = d->form()->chbCalibrateData->isVisible();
            typeInto(d->findChild<QDoubleSpinBox*>("sbPulseCharge2"), "0.2");
        }));
        QCOMPARE(labels,
            QStringList({"Pulse count (1 - 500)", "Pulse period (1 - 1e+03) [us]",
                "Pulse Charge1 (0 - 1.5) [V]", "Pulse Charge2 (0 - 0.25) [V]"}));
        QVERIFY(!calibrationShown);
        QCOMPARE(double(s.ctrl->tpParams().mpx3.charge2), 0.2);
        QCOMPARE(double(s.ctrl->tpParams().mpx3.charge1), 0.5);
        QCOMPARE(uint32_t(s.ctrl->tpParams().mpx3.pulseCount), 20u);
    }

    void testPulseGroupOfTheTimepix3()
    {
        AcqStgSetup<acqstgtest::Tpx3PulseDevice> s;
        TpParams tp {};
        tp.tpx3.pulseCount = 10;
        tp.tpx3.pulsePeriod = 1e-3;
        tp.tpx3.phase = 3;
        tp.tpx3.charge = 0; // below the minimum of 1
        tp.tpx3.external = 1;
        s.ctrl->setTpParams(tp);
        QStringList labels;
        QString externalText, digitalText;
        bool calibrationChecked = false;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            auto* grid = qobject_cast<QGridLayout*>(d->form()->gbTP->layout());
            for (int row = 0; row < 4; ++row)
                labels << labelAt(grid, row);
            QLayoutItem* external = grid->itemAtPosition(5, 0);
            QLayoutItem* digital = grid->itemAtPosition(5, 1);
            externalText = qobject_cast<QCheckBox*>(external->widget())->text();
            digitalText = qobject_cast<QCheckBox*>(digital->widget())->text();
            calibrationChecked = d->form()->chbCalibrateData->isChecked();
            typeInto(d->findChild<QSpinBox*>("sbPulsePhase"), "12");
            clickCheckBox(d->findChild<QCheckBox*>("chbDigital"));
        }));
        QCOMPARE(labels,
            QStringList({"Pulse count (1 - 1023)", "Pulse period (1 - 2e+03) [us]",
                "Pulse Phase (0 - 15)", "Pulse Charge (0 - 50000)[e]"}));
        QCOMPARE(externalText, QString("External"));
        QCOMPARE(digitalText, QString("Digital"));
        QVERIFY(calibrationChecked);
        QCOMPARE(s.dev.calibrationWrites, 1);
        const Tpx3Pulses& out = s.ctrl->tpParams().tpx3;
        QCOMPARE(int(out.phase), 12);
        QCOMPARE(uint32_t(out.charge), 1u); // clipped to the spin box's minimum
        QCOMPARE(int(out.digital), 1);
        QCOMPARE(int(out.external), 1);
    }

    void testPulseGroupOfTheTimepix2()
    {
        AcqStgSetup<acqstgtest::Tpx2PulseDevice> s;
        TpParams tp {};
        tp.tpx2.pulseCount = 5;
        tp.tpx2.pulsePeriod = 1e-3;
        tp.tpx2.pulseHeight = 1000.0;
        s.ctrl->setTpParams(tp);
        QStringList labels;
        bool rowTwoEmpty = false;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            auto* grid = qobject_cast<QGridLayout*>(d->form()->gbTP->layout());
            labels << labelAt(grid, 0) << labelAt(grid, 1) << labelAt(grid, 3);
            rowTwoEmpty = !grid->itemAtPosition(2, 0) && !grid->itemAtPosition(2, 1);
            QCOMPARE(controlAt(grid, 5), d->findChild<QCheckBox*>("chbDigital"));
            typeInto(d->findChild<QDoubleSpinBox*>("sbPulseHeight"), "2500.5");
            QVERIFY(d->form()->chbCalibrateData->isVisible());
            clickCheckBox(d->form()->chbCalibrateData);
        }));
        QVERIFY(s.dev.calibrationOn);
        QCOMPARE(s.dev.calibrationWrites, 1);
        QCOMPARE(labels,
            QStringList({"Pulse count (1 - 200)", "Pulse period (1 - 5e+03) [us]",
                "Pulse Height (0 - 12345.5)[e]"}));
        QVERIFY(rowTwoEmpty);
        QCOMPARE(double(s.ctrl->tpParams().tpx2.pulseHeight), 2500.5);
    }

    void theGroupIsBuiltWithoutTestPulseTypes()
    {
        TimepixSetup s;
        bool shown = false;
        QVERIFY(runDialog(s, [&](DlgAcqStg* d) {
            shown = d->form()->gbTP->isVisible() && d->findChild<QSpinBox*>("sbPulseCount");
        }));
        QVERIFY(shown);
    }
};

QTEST_MAIN(TestDlgAcqStg)
#include "tst_dlgacqstg.moc"
