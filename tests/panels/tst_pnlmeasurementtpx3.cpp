// The Timepix3 measurement panel on a controller that records its starts: the five
// kinds of measurement, the count and the two times kept apart while a pixel kind is
// chosen, the pixel-file warning and the stop that shows the panel idle at once.
#include "modaldriver.h"
#include "nulldevice.h"
#include "questionstep.h"
#include "typeinto.h"

#include "devctrltpx3.h"
#include "pnlmeasurementtpx3.h"
#include "simhost.h"
#include "ui_pnlmeasurementtpx3.h"

#include <qmpxframe.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <memory>
#include <vector>

using namespace PluginDevControl;

namespace {

class Tpx3Device : public testdev::NullDevTpx3
{
public:
    int deviceType() override { return 3; }
    uint32_t supportedAcqTypes() override { return 0; }
    double minAcqTime() override { return 1e-5; }
    double maxAcqTime() override { return 10000.0; }
    uint32_t pixelCount() override { return 256 * 256; }
    int width() override { return 256; }
    int height() override { return 256; }
};

// Records what the panel asks of it instead of measuring.
class RecordingCtrlTpx3 : public DevCtrlTpx3
{
public:
    using DevCtrlTpx3::DevCtrlTpx3;

    int startAcq() override
    {
        startParams.push_back(acqParams());
        startParamsTpx3.push_back(acqParamsTpx3());
        return 0;
    }
    int stopAcq() override
    {
        ++stops;
        return 0;
    }
    bool isDeviceLocked() const override { return locked; }

    int stops = 0;
    bool locked = false;
    std::vector<AcqParams> startParams;
    std::vector<AcqParamsTpx3> startParamsTpx3;
};

struct Tpx3Page
{
    explicit Tpx3Page(const AcqParams& stored = AcqParams(), double timeDataDriven = 2.5)
        : host(home.path())
    {
        ctrl = std::make_unique<RecordingCtrlTpx3>(&host, &dev, &frame, nullptr);
        ctrl->setAcqParams(stored);
        AcqParamsTpx3 storedTpx3;
        storedTpx3.timeDataDriven = timeDataDriven;
        ctrl->setAcqParamsTpx3(storedTpx3);
        panel = std::make_unique<PnlMeasurementTpx3>(nullptr, ctrl.get());
        panel->show();
    }
    ~Tpx3Page() { panel.reset(); }

    Ui_PnlMeasurementTpx3& ui() const { return *panel->ui; }
    bool on() const { return ui().btStartStop->property("on").toBool(); }
    int starts() const { return static_cast<int>(ctrl->startParams.size()); }
    void clickStart() const { QTest::mouseClick(ui().btStartStop, Qt::LeftButton); }
    // File output on, to a name in the page's folder.
    QString outputTo(const QString& fileName) const
    {
        const QString name = QDir(home.path()).filePath(fileName);
        if (!ui().cbFileOutput->isChecked())
            clickCheckBox(ui().cbFileOutput);
        typeInto(ui().edFileOutput, name);
        return name;
    }

    QTemporaryDir home;
    sim::SimHost host;
    Tpx3Device dev;
    QMpxFrame frame;
    std::unique_ptr<RecordingCtrlTpx3> ctrl;
    std::unique_ptr<PnlMeasurementTpx3> panel;
};

const char* const kPixelWarning
    = "Data in pixel mode should be saved in pixel file format (*.t3pa, *.t3p, *.t3r)";

} // namespace

class TestPnlMeasurementTpx3 : public QObject
{
    Q_OBJECT

private slots:
    void theFiveKindsAreFixed()
    {
        // The device offers no test pulses; the panel does not ask.
        Tpx3Page page;
        auto& ui = page.ui();
        const QStringList expected {
            "Frames", "Integral", "Test pulses", "Pixels", "Pixels & Test pulses"};
        QCOMPARE(ui.cmAcqType->count(), expected.size());
        for (int i = 0; i < expected.size(); ++i)
            QCOMPARE(ui.cmAcqType->itemText(i), expected[i]);
        QCOMPARE(ui.lMeasurement->text(), QString(" Measurement"));
        QCOMPARE(ui.btStartStop->text(), QString("Start"));
    }

    void theLastItemIsTypeFiveBothWays()
    {
        AcqParams stored;
        stored.acqType = AcqTpx3PixelsTestPulses;
        stored.acqCount = 40;
        stored.acqTime = 0.25;
        Tpx3Page page(stored, 3.5);
        auto& ui = page.ui();
        QCOMPARE(ui.cmAcqType->currentIndex(), 4);
        // A pixel kind shows the data-driven time and takes no count.
        QCOMPARE(ui.edTime->text(), QString("3.5"));
        QVERIFY(!ui.spCount->isEnabled());
        // Showing wrote nothing back.
        QCOMPARE(page.ctrl->acqParams().acqType, int(AcqTpx3PixelsTestPulses));

        chooseItem(ui.cmAcqType, 3);
        QCOMPARE(page.ctrl->acqParams().acqType, int(AcqTpx3Pixels));
        chooseItem(ui.cmAcqType, 4);
        QCOMPARE(page.ctrl->acqParams().acqType, int(AcqTpx3PixelsTestPulses));
        chooseItem(ui.cmAcqType, 2);
        QCOMPARE(page.ctrl->acqParams().acqType, int(AcqTestPulses));

        QCOMPARE(PnlMeasurementTpx3::typeOfIndex(4), 5);
        QCOMPARE(PnlMeasurementTpx3::indexOfType(5), 4);
        // Type 4 has no item: stored settings holding it select nothing.
        AcqParams integralPulses;
        integralPulses.acqType = AcqIntegralTestPulses;
        Tpx3Page other(integralPulses);
        QCOMPARE(other.ui().cmAcqType->currentIndex(), -1);
    }

    void pixelsSetTheCountAsideAndFramesBringItBack()
    {
        Tpx3Page page;
        auto& ui = page.ui();
        typeInto(ui.spCount, 50);
        QCOMPARE(ui.spCount->value(), 50);
        chooseItem(ui.cmAcqType, 3);
        QCOMPARE(ui.spCount->value(), 1);
        QVERIFY(!ui.spCount->isEnabled());
        QCOMPARE(page.ctrl->acqParams().acqCount, 1);
        chooseItem(ui.cmAcqType, 0);
        QCOMPARE(ui.spCount->value(), 50);
        QVERIFY(ui.spCount->isEnabled());
        QCOMPARE(page.ctrl->acqParams().acqCount, 50);
        QCOMPARE(page.ctrl->acqParams().acqType, int(AcqFrames));
    }

    void fromPixelsToPixelsWithTestPulsesRestoresCountAndTime()
    {
        Tpx3Page page(AcqParams(), 2.5);
        auto& ui = page.ui();
        typeInto(ui.spCount, 30);
        typeInto(ui.edTime, "0.5");
        chooseItem(ui.cmAcqType, 3);
        QCOMPARE(ui.edTime->text(), QString("2.5"));
        typeInto(ui.edTime, "9");
        chooseItem(ui.cmAcqType, 4);
        QCOMPARE(ui.spCount->value(), 30);
        QCOMPARE(ui.edTime->text(), QString("0.5"));
        // A change of kind hands over only the common record.
        QCOMPARE(page.ctrl->acqParams().acqType, int(AcqTpx3PixelsTestPulses));
        QCOMPARE(page.ctrl->acqParamsTpx3().timeDataDriven, 2.5);
        // At exit everything on the panel goes over: the time shown is this pixel
        // kind's.
        page.panel->onExit();
        QCOMPARE(page.ctrl->acqParamsTpx3().timeDataDriven, 0.5);
    }

    void theTwoTimesAreKeptApart()
    {
        Tpx3Page page(AcqParams(), 2.5);
        auto& ui = page.ui();
        QCOMPARE(ui.edTime->text(), QString("0.1"));
        typeInto(ui.edTime, "0.5");
        chooseItem(ui.cmAcqType, 3);
        // The pixel kind shows its own time.
        QCOMPARE(ui.edTime->text(), QString("2.5"));
        typeInto(ui.edTime, "7");
        page.clickStart();
        QCOMPARE(page.starts(), 1);
        QCOMPARE(page.ctrl->startParamsTpx3.back().timeDataDriven, 7.0);
        QCOMPARE(page.ctrl->startParams.back().acqType, int(AcqTpx3Pixels));
        // The frame time went over on the way through the frame kinds; the pixel time
        // did not overwrite it.
        QCOMPARE(page.ctrl->startParams.back().acqTime, 0.5);
        emit page.ctrl->acqAllFinished(0);
        QVERIFY(!page.on());

        chooseItem(ui.cmAcqType, 0);
        QCOMPARE(ui.edTime->text(), QString("0.5"));
        page.clickStart();
        QCOMPARE(page.starts(), 2);
        QCOMPARE(page.ctrl->startParams.back().acqTime, 0.5);
        QCOMPARE(page.ctrl->startParamsTpx3.back().timeDataDriven, 7.0);
    }

    void onlyPixelsWarnOfATextFile()
    {
        Tpx3Page page;
        auto& ui = page.ui();
        chooseItem(ui.cmAcqType, 3);
        const QString name = page.outputTo("hits.txt");
        ModalDriver driver;
        QString text;
        driver.add(answerQuestion("Warning", QMessageBox::Ok, &text));
        QSignalSpy started(page.panel.get(), &PnlMeasurementTpx3::sigAcqStart);
        page.clickStart();
        QVERIFY(driver.done());
        QCOMPARE(text, QString(kPixelWarning));
        QCOMPARE(page.starts(), 0);
        QCOMPARE(started.count(), 0);
        QVERIFY(!page.on());
        QVERIFY(ui.btStartStop->isEnabled());
        // The parameters are stored all the same.
        QCOMPARE(page.ctrl->acqParams().acqType, int(AcqTpx3Pixels));
        QVERIFY(page.ctrl->acqParams().fileOutput);
        QCOMPARE(QString::fromStdString(page.ctrl->acqParams().outputFile), name);

        // A pixel file of the device's own kind starts.
        page.outputTo("hits.t3pa");
        page.clickStart();
        QCOMPARE(page.starts(), 1);
        QVERIFY(page.on());
        emit page.ctrl->acqAllFinished(0);

        // Pixels with test pulses are not checked: the text file starts, unasked.
        chooseItem(ui.cmAcqType, 4);
        page.outputTo("hits.txt");
        int asked = 0;
        driver.add(refuseAnyQuestion(&asked));
        page.clickStart();
        QCOMPARE(asked, 0);
        QCOMPARE(page.starts(), 2);
        QCOMPARE(started.count(), 2);
        QCOMPARE(page.ctrl->startParams.back().acqType, int(AcqTpx3PixelsTestPulses));
        QCOMPARE(QString::fromStdString(page.ctrl->startParams.back().outputFile), name);
    }

    void anUntickedFileOutputEmptiesTheStoredName()
    {
        AcqParams stored;
        stored.outputFile = "/data/run.t3pa";
        stored.fileOutput = true;
        Tpx3Page page(stored);
        auto& ui = page.ui();
        QCOMPARE(ui.edFileOutput->text(), QString("/data/run.t3pa"));
        clickCheckBox(ui.cbFileOutput);
        QVERIFY(!ui.cbFileOutput->isChecked());
        QVERIFY(!ui.edFileOutput->isEnabled());
        page.panel->onExit();
        QVERIFY(page.ctrl->acqParams().outputFile.empty());
        QVERIFY(!page.ctrl->acqParams().fileOutput);
        // The text stays on the panel for the next time.
        QCOMPARE(ui.edFileOutput->text(), QString("/data/run.t3pa"));
    }

    void aLargeCountAsksNoMemoryQuestion()
    {
        Tpx3Page page;
        QSettings ini(QDir(page.home.path()).filePath("orvel.ini"), QSettings::IniFormat);
        ini.setValue("Settings/MaxFrameMemory", 1);
        ini.sync();
        typeInto(page.ui().spCount, 100000000);
        ModalDriver driver;
        int asked = 0;
        driver.add(refuseAnyQuestion(&asked));
        page.clickStart();
        QCOMPARE(asked, 0);
        QCOMPARE(page.starts(), 1);
        QCOMPARE(page.ctrl->startParams.back().acqCount, 100000000);
    }

    void aCommaInTheTimeIsNotReadAsAPoint()
    {
        Tpx3Page page;
        // The field's own key handling may turn a typed comma into a point, so the text
        // is put in as a caller of the panel's entry would leave it.
        page.ui().edTime->setText("0,5");
        page.clickStart();
        QCOMPARE(page.starts(), 1);
        QCOMPARE(page.ctrl->startParams.back().acqTime, 0.0);
    }

    void stopShowsThePanelIdleAtOnce()
    {
        Tpx3Page page;
        auto& ui = page.ui();
        QSignalSpy stops(page.panel.get(), &PnlMeasurementTpx3::sigAcqStop);
        page.clickStart();
        QVERIFY(page.on());
        QVERIFY(!ui.btStartStop->isEnabled());
        emit page.ctrl->acqMeasStarted();
        QVERIFY(ui.btStartStop->isEnabled());
        QCOMPARE(ui.btStartStop->text(), QString("Stop"));

        // The button waits for the controller's report.
        page.clickStart();
        QCOMPARE(page.ctrl->stops, 1);
        QVERIFY(page.on());
        QVERIFY(!ui.btStartStop->isEnabled());
        emit page.ctrl->acqAllFinished(0);
        QVERIFY(!page.on());
        QCOMPARE(stops.count(), 1);

        // A caller's stop shows the panel idle without waiting.
        page.clickStart();
        emit page.ctrl->acqMeasStarted();
        page.panel->stop();
        QTRY_VERIFY(!page.on());
        QCOMPARE(page.ctrl->stops, 2);
        QCOMPARE(stops.count(), 2);
        QCOMPARE(ui.btStartStop->text(), QString("Start"));
        QVERIFY(ui.btStartStop->isEnabled());
        QVERIFY(ui.cmAcqType->isEnabled());
    }

    void theCountStaysOffForPixelKindsAfterARun()
    {
        Tpx3Page page;
        auto& ui = page.ui();
        chooseItem(ui.cmAcqType, 4);
        QVERIFY(ui.spCount->isEnabled());
        page.clickStart();
        emit page.ctrl->acqMeasStarted();
        QVERIFY(!ui.spCount->isEnabled());
        emit page.ctrl->acqAllFinished(0);
        // Enabling the panel again leaves the count off for a pixel kind.
        QVERIFY(ui.cmAcqType->isEnabled());
        QVERIFY(!ui.spCount->isEnabled());
        chooseItem(ui.cmAcqType, 0);
        QVERIFY(ui.spCount->isEnabled());
    }

    void aLockTakesTheStartAway()
    {
        Tpx3Page page;
        page.ctrl->locked = true;
        emit page.ctrl->sigDevLockChanged();
        QVERIFY(!page.ui().btStartStop->isEnabled());
        QVERIFY(!page.ui().cmAcqType->isEnabled());
        page.ctrl->locked = false;
        emit page.ctrl->sigDevLockChanged();
        QVERIFY(page.ui().btStartStop->isEnabled());
        QVERIFY(page.ui().spCount->isEnabled());
    }
};

QTEST_MAIN(TestPnlMeasurementTpx3)
#include "tst_pnlmeasurementtpx3.moc"
