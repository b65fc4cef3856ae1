// The Timepix3 page on a test device: its panels in their order and their defaults, the
// reset menu, the measurement panel driving the controller, and the rate in the status
// bar while a measurement runs: pixels per second for pixel data, frames otherwise.
#include "nulldevice.h"
#include "pixcfgfakes.h"
#include "typeinto.h"

#include "acqrecords.h"
#include "devctrltpx3.h"
#include "devviewfactory.h"
#include "devviewmpxui.h"
#include "devviewtpx3.h"
#include "pnlfilters.h"
#include "pnlhistogram.h"
#include "pnlimageinfo.h"
#include "pnlimageprops.h"
#include "pnlimagepropsadv.h"
#include "pnlmeasurementtpx3.h"
#include "qmpxframe.h"
#include "qmpximage.h"
#include "simhost.h"
#include "ui_pnlimageprops.h"
#include "ui_pnlmeasurementtpx3.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QMenu>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

using namespace PluginDevControl;

namespace {

// A pixel data object with a number of hits and no frame.
class HitsData final : public ov::ITpx3Pixels
{
public:
    explicit HitsData(size_t count) : hits(count) { }
    int incRef() override { return ++refs; }
    int decRef() override { return --refs; }
    int dataKind() const override { return ov::DataTpx3Pixels; }
    int saveToFile(ov::IFilePath*, int, int) override { return -1; }
    ov::IMpxFrame* frameAt(unsigned) override { return nullptr; }
    unsigned frameCount() const override { return 0; }
    uint64_t lostPixels() const override { return 0; }
    double fadeWindowSize() const override { return 0.0; }
    int setFadeWindowSize(double) override { return 0; }
    int frameType() const override { return 0; }
    int setFrameType(int) override { return 0; }
    size_t pixelCount() const override { return hits; }
    size_t chunkPixelCount() const override { return hits; }
    const ov::Tpx3Hit* pixels() const override { return nullptr; }

    std::atomic<int> refs {1};
    size_t hits;
};

// A Timepix3 whose measurement lasts until it is aborted, with one pixel data object.
class Tpx3Device final : public testdev::NullDevTpx3
{
public:
    Tpx3Device() : cfg(256, 256, 3) { }
    int deviceType() override { return ov::DevKindTpx3; }
    int width() override { return 256; }
    int height() override { return 256; }
    uint32_t pixelCount() override { return 256 * 256; }
    unsigned chipCount() override { return 1; }
    double minAcqTime() override { return 1e-5; }
    double maxAcqTime() override { return 10000.0; }
    ov::IMpxPixCfg* pixCfg() override { return &cfg; }
    int doAdvancedAcquisition(const void* desc, const void*, const void* pulses) override
    {
        lastDesc = *static_cast<const AcqDesc*>(desc);
        sentPulses = pulses != nullptr;
        measuring = true;
        while (!aborted.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        aborted = false;
        measuring = false;
        return 0;
    }
    int abortOperation() override
    {
        if (measuring.load())
            aborted = true;
        return 0;
    }
    int acqDataCount() override { return 1; }
    ov::IData* acqDataRefInc(unsigned index) override
    {
        if (index != 0)
            return nullptr;
        data.incRef();
        return &data;
    }

    testdev::RecordingPixCfg cfg;
    HitsData data {50000000};
    // What the last measurement was asked for; read once it runs.
    AcqDesc lastDesc {};
    bool sentPulses = false;
    std::atomic<bool> measuring {false};
    std::atomic<bool> aborted {false};
};

struct Tpx3ViewPage
{
    // stored writes the page's settings before the page reads them.
    explicit Tpx3ViewPage(const std::function<void(ov::ISettings*)>& stored = {})
        : host(home.path())
    {
        if (stored) {
            ov::ISettings* settings = host.moduleSettings("devcontrol", &dev, 0);
            settings->load();
            stored(settings);
            settings->save();
            settings->release();
        }
        view.reset(createDeviceView(nullptr, &host, &dev));
        page = qobject_cast<DevViewTpx3*>(view.get());
        if (page)
            page->show();
    }
    ~Tpx3ViewPage()
    {
        if (page && page->isMeasurementRunning())
            stopRun();
        view.reset();
    }

    Ui_PnlMeasurementTpx3& meas() const { return *page->measurement()->ui; }
    Ui_PnlImageProps& props() const { return *page->findChild<PnlImageProps*>()->ui; }
    QLabel* rateLabel() const { return page->statusLabel(0); }
    QLabel* timeLabel() const { return page->statusLabel(1); }
    void startRun() const
    {
        QTest::mouseClick(meas().btStartStop, Qt::LeftButton);
        QTRY_VERIFY(dev.measuring.load());
        QTRY_VERIFY(page->isMeasurementRunning());
    }
    void stopRun() const
    {
        page->measurement()->stop();
        QTRY_VERIFY(!dev.measuring.load());
        QTRY_VERIFY(!page->isMeasurementRunning());
    }

    QTemporaryDir home;
    sim::SimHost host;
    mutable Tpx3Device dev;
    std::unique_ptr<DevView> view;
    DevViewTpx3* page = nullptr;
};

// The number after the label's prefix, without its group blanks.
double rateOf(const QString& text, const QString& prefix)
{
    if (!text.startsWith(prefix))
        return -1.0;
    return text.mid(prefix.size()).remove(' ').toDouble();
}

double seconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

class TestDevViewTpx3 : public QObject
{
    Q_OBJECT

private slots:
    void theFactoryMakesTheTimepix3Page()
    {
        Tpx3ViewPage page;
        QVERIFY(page.page);
        QVERIFY(page.page->familyController());
        QCOMPARE(page.page->controller(), page.page->familyController());
        QVERIFY(page.page->measurement());
        // The image shows values relative to its range.
        QVERIFY(page.page->form().mpxFrame->image->showRelative);
    }

    void aDeviceOfTheKindWithoutTheFamilysInterfaceGetsTheBasicPage()
    {
        class OtherDevice final : public testdev::NullDevMpx2
        {
        public:
            int deviceType() override { return ov::DevKindTpx3; }
        };
        QTemporaryDir home;
        sim::SimHost host(home.path());
        OtherDevice dev;
        std::unique_ptr<DevView> view(createDeviceView(nullptr, &host, &dev));
        QVERIFY(view);
        QVERIFY(!qobject_cast<DevViewTpx3*>(view.get()));
        QVERIFY(qobject_cast<DevViewMpx*>(view.get()));
    }

    void thePanelsStandInTheirOrder()
    {
        Tpx3ViewPage page;
        QVERIFY(page.page);
        QVBoxLayout* column = page.page->form().verticalLayout;
        QStringList classes;
        for (int i = 0; i < column->count(); ++i) {
            if (QWidget* w = column->itemAt(i)->widget())
                classes << w->metaObject()->className();
        }
        const QStringList expected {"PluginDevControl::PnlImageProps",
            "PluginDevControl::PnlImagePropsAdv", "PluginDevControl::PnlMeasurementTpx3",
            "PluginDevControl::PnlFilters", "PluginDevControl::PnlImageInfo",
            "PluginDevControl::PnlHistogram"};
        QCOMPARE(classes, expected);

        // The panels menu with its defaults: filters are hidden on this family.
        QStringList titles;
        QList<bool> shown;
        for (QAction* action : page.page->panelsMenu()->actions()) {
            if (!action->isCheckable())
                continue;
            titles << action->text();
            shown << action->isChecked();
        }
        QCOMPARE(titles,
            QStringList({"Image Properties", "Advanced Image Properties", "Measurement", "Filters",
                "Image Info", "Histogram"}));
        QCOMPARE(shown, QList<bool>({true, false, true, false, true, true}));
        QVERIFY(!page.page->filters()->isVisible());
        QVERIFY(page.page->measurement()->isVisible());
    }

    void theResetMenuHasFourEntriesAndThlGoesToZero()
    {
        Tpx3ViewPage page;
        QVERIFY(page.page);
        const QList<QAction*> actions = page.page->resetActions();
        QStringList names;
        for (QAction* action : actions)
            names << action->objectName();
        QCOMPARE(names,
            QStringList(
                {"acResetAllBits", "acResetMaskBits", "acResetTestBits", "acResetThlBits"}));
        auto* button = page.page->findChild<QToolButton*>("resetBitsButton");
        QVERIFY(button);
        QCOMPARE(button->toolTip(), QString("Reset Pixel Cfg. Bits"));
        QCOMPARE(button->popupMode(), QToolButton::InstantPopup);

        QCOMPARE(int(page.dev.cfg.thl(100)), 7);
        actions[3]->trigger();
        QCOMPARE(int(page.dev.cfg.thl(100)), 0);
        QCOMPARE(int(page.dev.cfg.thl(256 * 256 - 1)), 0);
    }

    void choosingPixelsSetsTheControllersType()
    {
        Tpx3ViewPage page;
        QVERIFY(page.page);
        DevCtrlTpx3* ctrl = page.page->familyController();
        QVERIFY(!ctrl->isDataDriven());
        chooseItem(page.meas().cmAcqType, 3);
        QCOMPARE(page.meas().cmAcqType->currentText(), QString("Pixels"));
        QCOMPARE(ctrl->acqParams().acqType, int(AcqTpx3Pixels));
        QVERIFY(ctrl->isDataDriven());
        chooseItem(page.meas().cmAcqType, 4);
        QCOMPARE(ctrl->acqParams().acqType, int(AcqTpx3PixelsTestPulses));
        QVERIFY(!ctrl->isDataDriven());
    }

    void theEntryPointsReachThePanel()
    {
        Tpx3ViewPage page;
        QVERIFY(page.page);
        page.page->setAcqParams(12, 0.75);
        page.page->setOutputParams("/data/run.t3pa", true);
        QTRY_COMPARE(page.meas().spCount->value(), 12);
        QCOMPARE(page.meas().edTime->text(), QString("0.75"));
        QCOMPARE(page.meas().edFileOutput->text(), QString("/data/run.t3pa"));
        page.page->setAcqType(2);
        QTRY_COMPARE(page.meas().cmAcqType->currentIndex(), 2);
        // Pixels with test pulses (type 5) stand in the last item; the controller gets 5.
        page.page->setAcqType(5);
        QTRY_COMPARE(page.meas().cmAcqType->currentIndex(), 4);
        QCOMPARE(page.meas().cmAcqType->currentText(), QString("Pixels & Test pulses"));
        QCOMPARE(page.page->familyController()->acqParams().acqType, 5);
        page.page->setAcqType(3);
        QTRY_COMPARE(page.meas().cmAcqType->currentIndex(), 3);
        QCOMPARE(page.page->familyController()->acqParams().acqType, 3);
    }

    void pixelsShowThePixelRate()
    {
        Tpx3ViewPage page;
        QVERIFY(page.page);
        chooseItem(page.meas().cmAcqType, 3);
        const double before = seconds();
        page.startRun();
        const double started = seconds();
        QTRY_VERIFY(page.rateLabel()->text().startsWith("PPS: "));
        QTest::qWait(300);
        const double newData = seconds();
        page.page->familyController()->onNewData(0);
        QCOMPARE(page.page->familyController()->pixelCount(), 50000000u);
        QTRY_VERIFY(rateOf(page.rateLabel()->text(), "PPS: ") > 0.0);
        const double shown = seconds();
        const QString text = page.rateLabel()->text();
        const double rate = rateOf(text, "PPS: ");
        // Hits over the time since the start, one decimal, in groups of three digits.
        QVERIFY2(
            rate >= 5e7 / (shown - before) && rate <= 5e7 / (newData - started), qPrintable(text));
        QVERIFY2(QRegularExpression("^PPS: \\d{1,3}( \\d{3})+\\.\\d$").match(text).hasMatch(),
            qPrintable(text));
        QVERIFY2(QRegularExpression("^T: \\d+\\.\\d s$").match(page.timeLabel()->text()).hasMatch(),
            qPrintable(page.timeLabel()->text()));
        page.stopRun();
    }

    void framesShowTheFrameRate()
    {
        for (int index : {0, 4}) {
            Tpx3ViewPage page;
            QVERIFY(page.page);
            chooseItem(page.meas().cmAcqType, index);
            page.startRun();
            page.page->familyController()->onNewData(0);
            QTest::qWait(250);
            // Pixels with test pulses is no data-driven measurement: frames are counted.
            QTRY_COMPARE(page.rateLabel()->text(), QString("FPS: 0.0"));
            page.stopRun();
        }
    }

    // A run takes away what would change it: the measurement's fields, the second tool
    // bar and the frame navigation. Stop stays, and so does the time window of pixel
    // data. When the run has ended all comes back, the navigation over the stored data.
    void aRunDisablesWhatWouldChangeIt()
    {
        Tpx3ViewPage page;
        QVERIFY(page.page);
        const Ui_PnlMeasurementTpx3& m = page.meas();
        const Ui_DevViewMpx& form = page.page->form();
        const QList<QWidget*> fields {
            m.cmAcqType, m.spCount, m.edTime, m.spRepeat, m.cbFileOutput, m.btMeasStg};
        for (QWidget* w : fields)
            QVERIFY2(w->isEnabled(), qPrintable(w->objectName()));
        QVERIFY(form.secondToolbar->isEnabled());
        // The device holds a data object from before: the navigation is offered.
        QVERIFY(page.page->frameBox()->isEnabled());

        page.startRun();
        for (QWidget* w : fields)
            QVERIFY2(!w->isEnabled(), qPrintable(w->objectName()));
        QVERIFY(!m.edFileOutput->isEnabled());
        QVERIFY(!m.btBrowseFile->isEnabled());
        QVERIFY(!m.cbRepeat->isEnabled());
        QVERIFY(m.btStartStop->isEnabled());
        QCOMPARE(m.btStartStop->text(), QString("Stop"));
        QVERIFY(!form.secondToolbar->isEnabled());
        QVERIFY(!page.page->frameBox()->isEnabled());
        QVERIFY(!form.acNextFrame->isEnabled());
        QVERIFY(!form.acPrevFrame->isEnabled());
        QVERIFY(page.props().wTimeWindows->isEnabled());

        page.stopRun();
        QTRY_COMPARE(m.btStartStop->text(), QString("Start"));
        for (QWidget* w : fields)
            QVERIFY2(w->isEnabled(), qPrintable(w->objectName()));
        QVERIFY(m.cbRepeat->isEnabled());
        QVERIFY(m.btStartStop->isEnabled());
        // File output is not ticked: its name and browser stay off.
        QVERIFY(!m.edFileOutput->isEnabled());
        QVERIFY(form.secondToolbar->isEnabled());
        QVERIFY(page.page->frameBox()->isEnabled());
        QVERIFY(form.acNextFrame->isEnabled());
        QVERIFY(page.props().wTimeWindows->isEnabled());

        // Disabled with no run (a lock), the time window goes off with the rest.
        page.page->enableGui(false, false);
        QVERIFY(!m.cmAcqType->isEnabled());
        QVERIFY(!m.btStartStop->isEnabled());
        QVERIFY(!form.secondToolbar->isEnabled());
        QVERIFY(!page.props().wTimeWindows->isEnabled());
        page.page->enableGui(true, false);
        QVERIFY(m.cmAcqType->isEnabled());
        QVERIFY(page.props().wTimeWindows->isEnabled());
    }

    // On exit what stands on the measurement panel and the range of the picture reach
    // the controller and the page's stored settings, without a start; the data-driven
    // time too, which a change of type alone does not hand over.
    void exitHandsOverWhatStandsOnThePage()
    {
        Tpx3ViewPage page;
        QVERIFY(page.page);
        const Ui_PnlMeasurementTpx3& m = page.meas();
        DevCtrlTpx3* ctrl = page.page->familyController();
        typeInto(m.spCount, 7);
        typeInto(m.edTime, QStringLiteral("0.25"));
        clickCheckBox(m.cbFileOutput);
        typeInto(m.edFileOutput, QStringLiteral("/data/run.t3pa"));
        Ui_PnlImageProps& props = page.props();
        typeInto(props.edMin, QStringLiteral("3"));
        typeInto(props.edMax, QStringLiteral("250"));
        QVERIFY(ctrl->acqParams().acqCount != 7);
        QVERIFY(!ctrl->acqParams().fileOutput);
        QVERIFY(ctrl->frameMaxRange() != 250.0);

        page.page->onExit();
        QCOMPARE(ctrl->acqParams().acqCount, 7);
        QCOMPARE(ctrl->acqParams().acqTime, 0.25);
        QVERIFY(ctrl->acqParams().fileOutput);
        QCOMPARE(ctrl->acqParams().outputFile, std::string("/data/run.t3pa"));
        QCOMPARE(ctrl->frameMinRange(), 3.0);
        QCOMPARE(ctrl->frameMaxRange(), 250.0);

        chooseItem(m.cmAcqType, 3);
        typeInto(m.edTime, QStringLiteral("1.5"));
        // The type went over as it was chosen; the data-driven time waits for the exit.
        QCOMPARE(ctrl->acqParams().acqType, int(AcqTpx3Pixels));
        QCOMPARE(ctrl->acqParamsTpx3().timeDataDriven, 0.0);
        page.page->onExit();
        QCOMPARE(ctrl->acqParamsTpx3().timeDataDriven, 1.5);
        QCOMPARE(ctrl->acqParams().acqTime, 0.25);
        // Pixels take no count: the panel shows 1, and 1 goes over.
        QCOMPARE(ctrl->acqParams().acqCount, 1);

        // The settings were written: another look at them finds the values.
        ov::ISettings* stored = page.host.moduleSettings("devcontrol", &page.dev, 0);
        stored->load();
        QCOMPARE(stored->getInt("Acq", "Type", -1), 3);
        QCOMPARE(stored->getDouble("Acq", "TimeDataDriven", -1.0), 1.5);
        QCOMPARE(stored->getDouble("Acq", "Time", -1.0), 0.25);
        QCOMPARE(stored->getDouble("Image", "MinRange", -1.0), 3.0);
        QCOMPARE(stored->getDouble("Image", "MaxRange", -1.0), 250.0);
        stored->release();
    }

    // Stored settings may hold type 4, integral test pulses, which has no item: the
    // panel selects nothing, and Start measures that type as it stands.
    void startWithStoredIntegralTestPulses()
    {
        Tpx3ViewPage page([](ov::ISettings* settings) {
            settings->setInt("Acq", "Type", 4);
            settings->setDouble("Acq", "Time", 0.5);
            settings->setInt("Acq", "Spacing", 2);
            settings->setInt("Acq", "TpSpacing", 6);
        });
        QVERIFY(page.page);
        DevCtrlTpx3* ctrl = page.page->familyController();
        QCOMPARE(ctrl->acqParams().acqType, 4);
        QCOMPARE(page.meas().cmAcqType->currentIndex(), -1);
        QCOMPARE(page.meas().edTime->text(), QString("0.5"));
        QVERIFY(page.meas().spCount->isEnabled());

        page.startRun();
        QCOMPARE(ctrl->acqParams().acqType, 4);
        QVERIFY(!ctrl->isDataDriven());
        QCOMPARE(page.dev.lastDesc.testPulses, 1u);
        QCOMPARE(int(page.dev.lastDesc.integral), 1);
        QCOMPARE(page.dev.lastDesc.time, 0.5);
        QCOMPARE(page.dev.lastDesc.spacing, 6u);
        QVERIFY(page.dev.sentPulses);
        // Frames are counted for it, not pixels.
        QTRY_VERIFY(page.rateLabel()->text().startsWith("FPS: "));
        page.stopRun();
        QCOMPARE(page.meas().cmAcqType->currentIndex(), -1);
    }
};

QTEST_MAIN(TestDevViewTpx3)
#include "tst_devviewtpx3.moc"
