// The DAC panel on the pages of a simulated Timepix quad and a single-chip Medipix2:
// edits typed and stepped in the spin boxes reach the device's DAC table through the
// controller, changes for all chips by value and by difference, defaults, a change made
// during a measurement, and the panel following changes made elsewhere.
#include "../devview/timepixpage.h"

#include "dacpanel.h"
#include "qfancystatusbar.h"
#include "qswitchablebuttonbar.h"
#include "timepixdevice.h"
#include "ui_dacpanel.h"

#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QSpinBox>
#include <QStyle>
#include <QStyleOptionSpinBox>
#include <QToolButton>

#include <thread>
#include <vector>

using namespace PluginDevControl;

namespace {

const QString kPending = "background-color: #ffd3a1;";

struct DacPage
{
    explicit DacPage(const sim::DeviceDesc& desc = TimepixPage::quadDesc()) : page(QString(), desc)
    {
        if (!page.view)
            return;
        device = dynamic_cast<sim::TimepixDevice*>(page.fixture.host->deviceFor(page.dev).get());
        panel = page.view->findChild<DacPanel*>();
    }

    // Events still queued on the host's event thread are delivered before the page
    // goes, so that none of them meets a controller that is already gone.
    ~DacPage()
    {
        if (device)
            device->setEventDeliveryMode(sim::EventDelivery::Direct);
    }
    DacPage(const DacPage&) = delete;
    DacPage& operator=(const DacPage&) = delete;

    static sim::DeviceDesc medipix2Desc() { return sim::defaultDeviceSet().at(1); }

    bool ready() const { return page.view && device && panel; }
    sim::SimDacs& dacs() const { return device->liveDacs(); }
    const Ui_DacPanel& ui() const { return panel->form(); }
    QSpinBox* spin(int dac) const { return panel->dacSpins().at(dac); }

    QFancyToggleButton* statusButton() const
    {
        for (QFancyToggleButton* button : page.ui().statusbar->buttons)
            if (button->title == "DAC Panel")
                return button;
        return nullptr;
    }

    void showWindow()
    {
        page.fixture.window()->resize(1200, 900);
        page.fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(page.fixture.window()));
    }

    // Opens the panel the way a user does: by its button in the status bar.
    void open()
    {
        showWindow();
        QFancyToggleButton* button = statusButton();
        QVERIFY(button);
        if (!panel->isVisible())
            QTest::mouseClick(button, Qt::LeftButton);
        QTRY_VERIFY(panel->isVisible());
        // Let the layout of the opened panel settle before anything is clicked.
        QTRY_VERIFY(ui().sbbChips->buttons.at(0)->height() > 0);
    }

    void clickChip(int index) const
    {
        QTest::mouseClick(ui().sbbChips->buttons.at(index), Qt::LeftButton);
    }

    TimepixPage page;
    sim::TimepixDevice* device = nullptr;
    DacPanel* panel = nullptr;
};

// Types a number over the whole text of a spin box and confirms it with Enter.
void typeValue(QSpinBox* box, int value)
{
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, QString::number(value));
    QTest::keyClick(box, Qt::Key_Enter);
}

// A click on the up arrow of a spin box.
void clickUpArrow(QSpinBox* box)
{
    QStyleOptionSpinBox opt;
    opt.initFrom(box);
    opt.rect = box->rect();
    opt.subControls = QStyle::SC_All;
    opt.stepEnabled = QAbstractSpinBox::StepUpEnabled | QAbstractSpinBox::StepDownEnabled;
    opt.buttonSymbols = box->buttonSymbols();
    opt.frame = box->hasFrame();
    const QRect up
        = box->style()->subControlRect(QStyle::CC_SpinBox, &opt, QStyle::SC_SpinBoxUp, box);
    QTest::mouseClick(box, Qt::LeftButton, Qt::NoModifier, up.center());
}

// Writes a value per chip straight into the device's table.
void setChipValues(sim::SimDacs& dacs, int dac, const std::vector<int>& values)
{
    for (size_t c = 0; c < values.size(); ++c)
        QCOMPARE(dacs.setDacValue(dac, int(c), values[c]), 0);
}

std::vector<int> chipValues(const sim::SimDacs& dacs, int dac)
{
    std::vector<int> values;
    for (int c = 0; c < dacs.chipCount(); ++c)
        values.push_back(dacs.value(dac, c));
    return values;
}

// Starts a measurement of `count` frames of `seconds` each from the controller.
void startMeasurement(DacPage& p, int count, double seconds)
{
    DevCtrlMpx* ctrl = p.page.ctrl();
    ctrl->acqParams().acqCount = count;
    ctrl->acqParams().acqTime = seconds;
    p.page.view->onStartAcq();
    QCOMPARE(ctrl->startAcq(), 0);
    // The worker thread marks the measurement as running when it begins.
    QTRY_VERIFY(ctrl->isAcqRunning());
}

void endMeasurement(DacPage& p)
{
    p.page.ctrl()->stopAcq();
    QTRY_VERIFY_WITH_TIMEOUT(!p.page.ctrl()->isAcqRunning(), 20000);
    QTRY_VERIFY_WITH_TIMEOUT(!p.page.view->isMeasurementRunning(), 20000);
}

} // namespace

class TestDacPanel : public QObject
{
    Q_OBJECT

private slots:
    void singleChipHasNoAllOrRelativeBoxes()
    {
        DacPage p(DacPage::medipix2Desc());
        QVERIFY(p.ready());
        QVERIFY(p.statusButton());
        QCOMPARE(p.panel->windowTitle(), QString("Form"));
        QVERIFY(p.panel->allChecks().isEmpty());
        QVERIFY(p.panel->findChildren<QCheckBox*>(QString(), Qt::FindChildrenRecursively).size()
            == 1); // only chbRelative
        QVERIFY(p.ui().chbRelative->isHidden());
        QCOMPARE(p.ui().sbbChips->buttons.size(), 1);
        QCOMPARE(p.ui().sbbChips->buttons.at(0)->text(), QString("Chip 1"));
        QVERIFY(p.ui().sbbChips->buttons.at(0)->isChecked());

        // One spin box per DAC, named and bounded by the device, showing its value.
        const auto& table = p.dacs().table();
        QCOMPARE(p.panel->dacSpins().size(), int(table.size()));
        QStringList labels;
        for (QLabel* label : p.ui().saDacs->widget()->findChildren<QLabel*>())
            labels << label->text();
        for (int i = 0; i < int(table.size()); ++i) {
            QVERIFY(labels.contains(QString(table[size_t(i)].name)));
            QCOMPARE(p.spin(i)->minimum(), 0);
            QCOMPARE(p.spin(i)->maximum(), table[size_t(i)].maxValue);
            QCOMPARE(p.spin(i)->value(), p.dacs().value(i, 0));
            QVERIFY(!p.spin(i)->keyboardTracking());
        }
        QCOMPARE(p.ui().btResetDacs->toolTip(), QString("Set DACs to default values"));
        QVERIFY(!p.ui().btResetDacs->icon().isNull());
    }

    void deviceWithoutDacsHasNoPanel()
    {
        // The simulated Medipix3 offers no DAC table yet.
        HostFixture fixture;
        sim::DeviceDesc plain;
        for (const sim::DeviceDesc& d : sim::defaultDeviceSet())
            if (d.kind == ov::DevKindMpx3)
                plain = d;
        ov::IDev* dev = fixture.connect(plain);
        QVERIFY(dev);
        QVERIFY(fixture.start());
        auto* view = qobject_cast<DevViewMpx*>(fixture.window()->getView(dev));
        QVERIFY(view);
        auto* mpx = dynamic_cast<ov::IDevMpx*>(dev);
        QVERIFY(!mpx || !mpx->dacs());
        QVERIFY(!view->findChild<DacPanel*>());
        QVERIFY(!view->form().statusbar->buttons.isEmpty());
        for (QFancyToggleButton* button : view->form().statusbar->buttons)
            QVERIFY(button->title != "DAC Panel");
    }

    void singleChipEditsGoToTheDevice()
    {
        DacPage p(DacPage::medipix2Desc());
        QVERIFY(p.ready());
        p.open();
        const int thl = p.dacs().indexOf("THLFine");
        QVERIFY(thl >= 0);

        typeValue(p.spin(thl), 512);
        QCOMPARE(p.dacs().value(thl, 0), 512);
        // The device's event reloaded the panel: the mark of a waiting value is gone.
        QTRY_COMPARE(p.spin(thl)->styleSheet(), QString());
        QCOMPARE(p.spin(thl)->value(), 512);

        QTest::keyClick(p.spin(thl), Qt::Key_Up);
        QCOMPARE(p.dacs().value(thl, 0), 513);
        clickUpArrow(p.spin(thl));
        QCOMPARE(p.dacs().value(thl, 0), 514);
        QTest::keyClick(p.spin(thl), Qt::Key_Down);
        QCOMPARE(p.dacs().value(thl, 0), 513);

        // Typing digits alone writes nothing; the value goes out on Enter.
        const uint64_t before = p.dacs().version();
        p.spin(thl)->selectAll();
        QTest::keyClicks(p.spin(thl), "77");
        QCOMPARE(p.dacs().version(), before);
        QCOMPARE(p.dacs().value(thl, 0), 513);
        QTest::keyClick(p.spin(thl), Qt::Key_Enter);
        QCOMPARE(p.dacs().value(thl, 0), 77);

        // The spin box bounds the value to the DAC's range.
        typeValue(p.spin(thl), 1020);
        QTest::keyClick(p.spin(thl), Qt::Key_PageUp); // ten steps
        QCOMPARE(p.spin(thl)->value(), 1023);
        QCOMPARE(p.dacs().value(thl, 0), 1023);
    }

    void singleChipValueAlreadyOnTheDeviceIsNotWritten()
    {
        DacPage p(DacPage::medipix2Desc());
        QVERIFY(p.ready());
        p.open();
        const int ikrum = p.dacs().indexOf("IKrum");
        const int shown = p.spin(ikrum)->value();
        // Another party changes the DAC; its event comes through the host's event thread
        // and has not reached the panel yet, so the panel still shows the old value.
        p.device->setEventDeliveryMode(sim::EventDelivery::HostThread);
        QCOMPARE(p.dacs().setDacValue(ikrum, 0, shown + 10), 0);
        QCOMPARE(p.spin(ikrum)->value(), shown);
        const uint64_t before = p.dacs().version();

        typeValue(p.spin(ikrum), shown + 10);
        QCOMPARE(p.dacs().version(), before);
        QCOMPARE(p.spin(ikrum)->styleSheet(), kPending);
        // The event arrives, the panel reloads and the mark goes.
        QTRY_COMPARE(p.spin(ikrum)->styleSheet(), QString());
        QCOMPARE(p.spin(ikrum)->value(), shown + 10);
        QCOMPARE(p.dacs().version(), before);
    }

    void multiChipLayoutAndChipSelection()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        QCOMPARE(p.dacs().chipCount(), 4);
        QVERIFY(!p.ui().chbRelative->isHidden());
        QCOMPARE(p.ui().chbRelative->text(), QString("Relative"));
        QVERIFY(!p.ui().chbRelative->isChecked());
        QCOMPARE(p.ui().sbbChips->buttons.size(), 4);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(p.ui().sbbChips->buttons.at(i)->text(), QString("Chip %1").arg(i + 1));
        QCOMPARE(p.panel->allChecks().size(), p.panel->dacSpins().size());
        for (QCheckBox* all : p.panel->allChecks()) {
            QCOMPARE(all->text(), QString("All"));
            QVERIFY(!all->isChecked());
        }
        // The DAC area is tall enough for the names, spin boxes and "All" boxes: no
        // vertical scrolling.
        QVERIFY(p.ui().saDacs->minimumHeight() > p.ui().saDacs->widget()->sizeHint().height());
        QVERIFY(
            p.ui().saDacs->viewport()->height() >= p.ui().saDacs->widget()->sizeHint().height());
        for (QCheckBox* all : p.panel->allChecks()) {
            const QRect inArea(all->mapTo(p.ui().saDacs->viewport(), QPoint(0, 0)), all->size());
            QVERIFY(inArea.bottom() < p.ui().saDacs->viewport()->height());
        }

        const int disc = p.dacs().indexOf("Disc");
        setChipValues(p.dacs(), disc, {11, 22, 33, 44});
        QCOMPARE(p.spin(disc)->value(), 11);
        p.clickChip(2);
        QCOMPARE(p.panel->currentChip(), 2);
        QVERIFY(p.ui().sbbChips->buttons.at(2)->isChecked());
        QVERIFY(!p.ui().sbbChips->buttons.at(0)->isChecked());
        QCOMPARE(p.spin(disc)->value(), 33);
        for (int i = 0; i < p.panel->dacSpins().size(); ++i)
            QCOMPARE(p.spin(i)->value(), p.dacs().value(i, 2));

        // Without "All" an edit goes to the chip shown only.
        typeValue(p.spin(disc), 99);
        QCOMPARE(chipValues(p.dacs(), disc), (std::vector<int> {11, 22, 99, 44}));
    }

    void multiChipWritesEvenTheValueTheChipHas()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const int fbk = p.dacs().indexOf("FBK");
        const int shown = p.spin(fbk)->value();
        p.device->setEventDeliveryMode(sim::EventDelivery::HostThread);
        QCOMPARE(p.dacs().setDacValue(fbk, 0, shown + 3), 0);
        QCOMPARE(p.spin(fbk)->value(), shown);
        const uint64_t before = p.dacs().version();

        typeValue(p.spin(fbk), shown + 3);
        QCOMPARE(p.dacs().version(), before + 1);
        QCOMPARE(p.dacs().value(fbk, 0), shown + 3);
        QTRY_COMPARE(p.spin(fbk)->styleSheet(), QString());
    }

    void allChipsRelative()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const int disc = p.dacs().indexOf("Disc"); // 0 to 255
        QCOMPARE(p.dacs().dacMaxValue(disc), 255);
        setChipValues(p.dacs(), disc, {10, 20, 30, 40});
        p.clickChip(1);
        QCOMPARE(p.spin(disc)->value(), 20);
        QTest::mouseClick(p.panel->allChecks().at(disc), Qt::LeftButton);
        QVERIFY(p.panel->allChecks().at(disc)->isChecked());
        QTest::mouseClick(p.ui().chbRelative, Qt::LeftButton);
        QVERIFY(p.ui().chbRelative->isChecked());

        uint64_t before = p.dacs().version();
        typeValue(p.spin(disc), 25);
        QCOMPARE(chipValues(p.dacs(), disc), (std::vector<int> {15, 25, 35, 45}));
        // All chips in one write, whose event reloads the panel.
        QCOMPARE(p.dacs().version(), before + 1);
        QCOMPARE(p.spin(disc)->value(), 25);
        QCOMPARE(p.spin(disc)->styleSheet(), QString());

        // A difference that takes a chip below 0 leaves it at 0.
        setChipValues(p.dacs(), disc, {3, 20, 30, 40});
        typeValue(p.spin(disc), 10);
        QCOMPARE(chipValues(p.dacs(), disc), (std::vector<int> {0, 10, 20, 30}));

        // One above the maximum leaves it at the maximum; a step works the same way.
        setChipValues(p.dacs(), disc, {250, 20, 30, 40});
        QTest::keyClick(p.spin(disc), Qt::Key_PageUp); // ten steps
        QCOMPARE(chipValues(p.dacs(), disc), (std::vector<int> {255, 30, 40, 50}));
        clickUpArrow(p.spin(disc));
        QCOMPARE(chipValues(p.dacs(), disc), (std::vector<int> {255, 31, 41, 51}));

        // Other DACs keep their own "All" box: unchecked, they change one chip.
        const int gnd = p.dacs().indexOf("GND");
        setChipValues(p.dacs(), gnd, {1, 2, 3, 4});
        typeValue(p.spin(gnd), 9);
        QCOMPARE(chipValues(p.dacs(), gnd), (std::vector<int> {1, 9, 3, 4}));
    }

    void allChipsByValue()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const int thl = p.dacs().indexOf("THL"); // 0 to 1023
        setChipValues(p.dacs(), thl, {300, 400, 500, 600});
        p.clickChip(3);
        QTest::mouseClick(p.panel->allChecks().at(thl), Qt::LeftButton);
        QVERIFY(!p.ui().chbRelative->isChecked());
        const uint64_t before = p.dacs().version();
        typeValue(p.spin(thl), 777);
        QCOMPARE(chipValues(p.dacs(), thl), (std::vector<int> {777, 777, 777, 777}));
        QCOMPARE(p.dacs().version(), before + 1);
        QTest::keyClick(p.spin(thl), Qt::Key_Down);
        QCOMPARE(chipValues(p.dacs(), thl), (std::vector<int> {776, 776, 776, 776}));
    }

    void resetButtonBringsDefaults()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const auto& table = p.dacs().table();
        for (int i = 0; i < int(table.size()); ++i)
            setChipValues(p.dacs(), i, {1, 2, 3, 4});
        p.clickChip(1);
        QCOMPARE(p.spin(0)->value(), 2);
        QTest::mouseClick(p.ui().btResetDacs, Qt::LeftButton);
        for (int i = 0; i < int(table.size()); ++i) {
            QCOMPARE(chipValues(p.dacs(), i), std::vector<int>(4, table[size_t(i)].defaultValue));
            QCOMPARE(p.spin(i)->value(), table[size_t(i)].defaultValue);
        }
    }

    void hiddenPanelReloadsWhenShown()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const int hist = p.dacs().indexOf("Hist");
        const int shown = p.spin(hist)->value();
        // Close the panel with its status bar button.
        QTest::mouseClick(p.statusButton(), Qt::LeftButton);
        QTRY_VERIFY(!p.panel->isVisible());

        QCOMPARE(p.dacs().setDacValue(hist, 0, shown + 40), 0);
        QCOMPARE(p.spin(hist)->value(), shown);

        QTest::mouseClick(p.statusButton(), Qt::LeftButton);
        QTRY_VERIFY(p.panel->isVisible());
        QCOMPARE(p.spin(hist)->value(), shown + 40);
    }

    void followsChangesMadeElsewhere()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const int vcas = p.dacs().indexOf("Vcas");
        // On the GUI thread the event reloads at once.
        QCOMPARE(p.dacs().setDacValue(vcas, 0, 17), 0);
        QCOMPARE(p.spin(vcas)->value(), 17);

        // From another thread, with the event on the host's event thread, it arrives
        // queued on the GUI thread.
        p.device->setEventDeliveryMode(sim::EventDelivery::HostThread);
        std::thread writer([&] { p.dacs().setDacValue(vcas, -1, 201); });
        writer.join();
        QTRY_COMPARE(p.spin(vcas)->value(), 201);
        p.clickChip(3);
        QCOMPARE(p.spin(vcas)->value(), 201);
    }

    void changeDuringMeasurementWaitsForTheFrame()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const int ikrum = p.dacs().indexOf("IKrum");
        const int before = p.dacs().value(ikrum, 0);
        // Frames of a second: the edit comes well before the first one is finished.
        startMeasurement(p, 2, 1.0);

        typeValue(p.spin(ikrum), before + 20);
        QVERIFY(p.page.ctrl()->isAcqRunning());
        // Not yet on the chip: the value waits in the controller, marked in the panel.
        QCOMPARE(p.dacs().value(ikrum, 0), before);
        QCOMPARE(p.spin(ikrum)->styleSheet(), kPending);
        QCOMPARE(p.device->acqFrameCount(), 0);

        // The end of the frame writes it, and the write's event clears the mark.
        QTRY_COMPARE_WITH_TIMEOUT(p.dacs().value(ikrum, 0), before + 20, 10000);
        QVERIFY(p.device->acqFrameCount() >= 1);
        QTRY_COMPARE(p.spin(ikrum)->styleSheet(), QString());
        QCOMPARE(p.spin(ikrum)->value(), before + 20);
        endMeasurement(p);
    }

    void allChipsDuringMeasurementWaitForTheFrame()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const int thl = p.dacs().indexOf("THL");
        setChipValues(p.dacs(), thl, {100, 200, 300, 400});
        QTest::mouseClick(p.panel->allChecks().at(thl), Qt::LeftButton);
        QTest::mouseClick(p.ui().chbRelative, Qt::LeftButton);
        startMeasurement(p, 3, 0.5);

        typeValue(p.spin(thl), 150);
        QCOMPARE(chipValues(p.dacs(), thl), (std::vector<int> {100, 200, 300, 400}));
        QCOMPARE(p.spin(thl)->styleSheet(), kPending);
        QTRY_COMPARE_WITH_TIMEOUT(
            chipValues(p.dacs(), thl), (std::vector<int> {150, 250, 350, 450}), 10000);
        QTRY_COMPARE(p.spin(thl)->styleSheet(), QString());
        endMeasurement(p);
    }

    void anotherChipClearsTheMarkWithoutApplying()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        const int disc = p.dacs().indexOf("Disc");
        setChipValues(p.dacs(), disc, {10, 20, 30, 40});
        // One long frame: the change waits for its end.
        startMeasurement(p, 1, 2.0);
        typeValue(p.spin(disc), 66);
        QCOMPARE(p.spin(disc)->styleSheet(), kPending);

        p.clickChip(1);
        QCOMPARE(p.spin(disc)->value(), 20);
        for (QSpinBox* spin : p.panel->dacSpins())
            QCOMPARE(spin->styleSheet(), QString());
        QVERIFY(p.page.ctrl()->isAcqRunning());
        QCOMPARE(p.dacs().value(disc, 0), 10);

        // The change still waits in the controller and lands on chip 1 after the frame.
        QTRY_COMPARE_WITH_TIMEOUT(p.dacs().value(disc, 0), 66, 10000);
        QCOMPARE(p.dacs().value(disc, 1), 20);
        QCOMPARE(p.spin(disc)->value(), 20);
        endMeasurement(p);
    }

    void lockedDeviceDisablesThePanel()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        p.device->setLocked(true);
        QTRY_VERIFY(!p.panel->isEnabled());
        p.device->setLocked(false);
        QTRY_VERIFY(p.panel->isEnabled());
        typeValue(p.spin(0), 42);
        QCOMPARE(p.dacs().value(0, 0), 42);
    }

    void singleChipPanelAsAPicture()
    {
        DacPage p(DacPage::medipix2Desc());
        QVERIFY(p.ready());
        p.open();
        // Names and spin boxes are in full view above the scroll bar, once the layout
        // has settled (it may take a few passes of the event loop on a slow machine).
        QWidget* viewport = p.ui().saDacs->viewport();
        const auto allInView = [&] {
            for (QSpinBox* spin : p.panel->dacSpins()) {
                const QRect inArea(spin->mapTo(viewport, QPoint(0, 0)), spin->size());
                if (inArea.top() < 0 || inArea.bottom() >= viewport->height())
                    return false;
            }
            return true;
        };
        QTRY_VERIFY(allInView());
        QVERIFY(p.panel->grab().toImage().save(QDir::current().filePath("tst_dacpanel_mpx2.png")));
    }

    void pageWithThePanelAsAPicture()
    {
        DacPage p;
        QVERIFY(p.ready());
        p.open();
        p.clickChip(1);
        QTest::mouseClick(p.panel->allChecks().at(0), Qt::LeftButton);
        // The layout settles within a few passes of the event loop.
        QTRY_VERIFY(p.ui().saDacs->viewport()->rect().contains(
            QRect(p.spin(0)->mapTo(p.ui().saDacs->viewport(), QPoint(0, 0)), p.spin(0)->size())));
        const QImage page = p.page.fixture.window()->grab().toImage();
        QVERIFY(page.save(QDir::current().filePath("tst_dacpanel_page.png")));
        QVERIFY(p.panel->grab().toImage().save(QDir::current().filePath("tst_dacpanel.png")));

        // The chip bar, the "Relative" box and the reset button stand in one row above
        // the DACs; every spin box has room for its value.
        const QRect dacsArea = p.ui().saDacs->geometry();
        for (QWidget* w :
            {static_cast<QWidget*>(p.ui().saChips), static_cast<QWidget*>(p.ui().chbRelative),
                static_cast<QWidget*>(p.ui().btResetDacs)})
            QVERIFY(w->geometry().bottom() <= dacsArea.top());
        for (QSpinBox* spin : p.panel->dacSpins()) {
            QVERIFY(spin->width() >= spin->minimumSizeHint().width());
            QVERIFY(spin->height() >= spin->minimumSizeHint().height());
        }
        const QRect first(
            p.spin(0)->mapTo(p.ui().saDacs->viewport(), QPoint(0, 0)), p.spin(0)->size());
        QVERIFY(p.ui().saDacs->viewport()->rect().contains(first));
        for (QToolButton* chip : p.ui().sbbChips->buttons) {
            const QRect inArea(chip->mapTo(p.ui().saChips->viewport(), QPoint(0, 0)), chip->size());
            QVERIFY(p.ui().saChips->viewport()->rect().contains(inArea));
            QVERIFY(chip->height() >= chip->minimumSizeHint().height());
        }
        QVERIFY(p.ui().sbbChips->buttons.at(1)->isChecked());
    }
};

QTEST_MAIN(TestDacPanel)
#include "tst_dacpanel.moc"
