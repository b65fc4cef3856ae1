// The actions of a detector page, each triggered as a user would, with its visible
// effect on the picture, the tool bars or the device.
#include "timepixpage.h"

#include "colormap.h"
#include "qfancystatusbar.h"
#include "qmpxframe.h"
#include "simdevice.h"

#include <QAction>
#include <QDesktopServices>
#include <QMenu>
#include <QMenuBar>
#include <QSignalSpy>
#include <QSpinBox>
#include <QToolBar>
#include <QToolButton>
#include <QUrl>

#include <thread>
#include <vector>

using namespace PluginDevControl;

namespace {

QStringList actionNames(const QList<QAction*>& actions)
{
    QStringList names;
    for (QAction* action : actions) {
        if (action->isSeparator())
            names << "|";
        else if (!action->objectName().isEmpty())
            names << action->objectName();
        else
            names << action->text();
    }
    return names;
}

// Receives the URLs that the page asks the desktop to open.
class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl& url) { urls << url; }
};

// The pixels of a frame as doubles; empty for no frame.
std::vector<double> pixelsOf(ov::IMpxFrame* frame)
{
    if (!frame)
        return {};
    ov::DataBuff<double> data;
    frame->getData(&data, 9);
    return std::vector<double>(data.data(), data.data() + data.size());
}

// Measures count frames from the controller and waits until everything has ended.
bool measure(DevCtrlMpx* ctrl, int count)
{
    ctrl->acqParams().acqCount = count;
    // Long enough for every frame to differ from the others.
    ctrl->acqParams().acqTime = 0.01;
    if (ctrl->startAcq() != 0)
        return false;
    return QTest::qWaitFor([ctrl] { return !ctrl->isAcqRunning(); }, 30000)
        && QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 30000);
}

int countMasked(ov::IMpxPixCfg* cfg, unsigned pixels)
{
    int n = 0;
    for (unsigned i = 0; i < pixels; ++i)
        n += cfg->maskBit(i) ? 1 : 0;
    return n;
}

} // namespace

class TestDevViewMpxActions : public QObject
{
    Q_OBJECT

private slots:
    void pageIsBuiltInOrder()
    {
        TimepixPage page;
        QVERIFY(page.view);
        const Ui_DevViewMpx& ui = page.ui();

        auto* toolBar = page.view->findChild<QToolBar*>("toolBar");
        QVERIFY(toolBar);
        QStringList names;
        for (QAction* action : toolBar->actions()) {
            if (action->isSeparator())
                names << "|";
            else if (auto* w = toolBar->widgetForAction(action);
                     w && !qobject_cast<QToolButton*>(w))
                names << (w->objectName().isEmpty() ? "spacer" : w->objectName());
            else if (!action->objectName().isEmpty())
                names << action->objectName();
            else if (auto* button = qobject_cast<QToolButton*>(toolBar->widgetForAction(action)))
                names << button->objectName();
        }
        QCOMPARE(names,
            QStringList({"acOpenFrame", "acSaveData", "|", "acShowGrid", "acShowChips", "acRotate",
                "|", "colorButton", "acUnderWarning", "acOverWarning", "|", "acPrevFrame",
                "frameSpinBox", "acNextFrame", "acAutoUpdate", "|", "acPixCfgEdit", "acMeasurement",
                "acPythonScripting", "spacer", "acDock", "acUndock", "menuButton"}));

        // The page's menu bar stands in the main window while its tab is current.
        QMenuBar* bar = page.fixture.window()->menuBar();
        QStringList menus;
        for (QAction* action : bar->actions())
            menus << action->text();
        QCOMPARE(menus, QStringList({"File", "View", "Panels", "Tools", "Help"}));
        QMenu* file = bar->actions().at(0)->menu();
        QCOMPARE(actionNames(file->actions()),
            QStringList({"acOpenFrame", "acSaveData", "|", "acLoadConfig", "acSaveConfig",
                "acLoadFactory", "|", "acReconnect", "|", "acSaveOrvelConfig"}));
        QMenu* view = bar->actions().at(1)->menu();
        QCOMPARE(actionNames(view->actions()),
            QStringList({"acMirror", "Rotate Image", "|", "acShowGrid", "acShowMaskedPixels",
                "acResizeAspectRatio"}));

        auto* colorButton = page.view->findChild<QToolButton*>("colorButton");
        QCOMPARE(actionNames(colorButton->menu()->actions()),
            QStringList({"acCmGray", "acCmJet", "acCmJetWhite", "acCmHot", "acCmCool", "acCmHSL",
                "acCmCoolWarm", "acCmInvertGray"}));
        QVERIFY(ui.acCmGray->isChecked());
        QVERIFY(!ui.secondToolbar->isVisible());
        QVERIFY(!ui.acDock->isVisible());
        QVERIFY(ui.acAutoUpdate->isChecked());

        // Texts, shortcuts and icons of a sample of the table.
        QCOMPARE(ui.acSaveData->text(), QString("Save Data..."));
        QCOMPARE(ui.acSaveData->shortcut(), QKeySequence("Ctrl+S"));
        QCOMPARE(ui.acReconnect->shortcut(), QKeySequence("Ctrl+Shift+R"));
        QCOMPARE(ui.acPixCfgToggleRow->toolTip(), QString("Togle Bits in Row"));
        QCOMPARE(ui.acSaveOrvelConfig->toolTip(),
            QString("Saves all devices settings for next Orvel start."));
        for (QAction* action : {ui.acOpenFrame, ui.acRotate, ui.acCmJet, ui.acPixCfgMaskAll,
                 ui.acThlUnder, ui.acUndock})
            QVERIFY2(!action->icon().isNull(), qPrintable(action->objectName()));
    }

    void viewActionsChangeThePicture()
    {
        TimepixPage page;
        QVERIFY(page.view);
        const Ui_DevViewMpx& ui = page.ui();
        QMpxFrame* frame = ui.mpxFrame;

        // The frame reports the picture's own mirroring, the inverse of the user's.
        ui.acMirror->trigger();
        QVERIFY(ui.acMirror->isChecked());
        QVERIFY(!frame->isMirrored());
        ui.acMirror->trigger();
        QVERIFY(frame->isMirrored());
        ui.acShowGrid->trigger();
        QVERIFY(page.image()->showGrid);
        ui.acShowGrid->trigger();
        QVERIFY(!page.image()->showGrid);
        ui.acUnderWarning->trigger();
        QVERIFY(page.image()->showUnderRange);
        ui.acOverWarning->trigger();
        QVERIFY(page.image()->showOverRange);

        // The frame reports the picture's rotation, half a turn from the user's angle.
        auto userAngle = [frame] { return (frame->getRotation() + 180) % 360; };
        ui.acRotate180->trigger();
        QCOMPARE(userAngle(), 180);
        // The ring: 180 -> 270 -> 0 -> 90.
        ui.acRotate->trigger();
        QVERIFY(ui.acRotate270->isChecked());
        QCOMPARE(userAngle(), 270);
        ui.acRotate->trigger();
        QVERIFY(ui.acRotate0->isChecked());
        QCOMPARE(userAngle(), 0);
        page.fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowActive(page.fixture.window()));
        QTest::keyClick(page.fixture.window(), Qt::Key_R, Qt::ControlModifier);
        QCOMPARE(userAngle(), 90);
        QVERIFY(ui.acRotate90->isChecked());
        // Each angle of the sub-menu, chosen directly.
        const std::pair<QAction*, int> angles[]
            = {{ui.acRotate270, 270}, {ui.acRotate0, 0}, {ui.acRotate90, 90}};
        for (const auto& [action, angle] : angles) {
            action->trigger();
            QCOMPARE(userAngle(), angle);
            QVERIFY(action->isChecked());
        }

        const QList<QAction*> maps = ui.colorMapActions();
        for (int i = 0; i < maps.size(); ++i) {
            maps[i]->trigger();
            QTRY_COMPARE(int(page.image()->getColorMap()->getDefaultColorMap()), i);
            QVERIFY(maps[i]->isChecked());
        }

        ui.acResizeAspectRatio->setChecked(false);
        ui.acResizeAspectRatio->trigger();
        QVERIFY(frame->isKeepingAspect());
        ui.acResizeAspectRatio->trigger();
        QVERIFY(!frame->isKeepingAspect());

        // Four chips of the quad, numbered from 1 with their identifiers.
        ui.acShowChips->trigger();
        QCOMPARE(page.image()->chipRects.size(), 4);
        QCOMPARE(page.image()->chipRects.first(), QRect(0, 0, 256, 256));
        QVERIFY(page.image()->chipRects.contains(QRect(256, 256, 256, 256)));
        ov::StrList ids;
        page.device()->chipIds(ids);
        QVERIFY(page.image()->chipTexts.contains(
            QString("1\n%1").arg(QString::fromStdString(ids.items().at(0)))));
        ui.acShowChips->trigger();
        QVERIFY(page.image()->chipRects.isEmpty());
        QVERIFY(page.image()->chipTexts.isEmpty());
    }

    void pixelConfigurationEditing()
    {
        TimepixPage page;
        QVERIFY(page.view);
        page.fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(page.fixture.window()));
        const Ui_DevViewMpx& ui = page.ui();
        QSignalSpy triggered(page.view, &DevViewMpx::sigPixConfTriggered);

        QVERIFY(QTest::qWaitForWindowActive(page.fixture.window()));
        QTest::keyClick(page.fixture.window(), Qt::Key_P, Qt::ControlModifier);
        QVERIFY(ui.acPixCfgEdit->isChecked());
        QCOMPARE(triggered.count(), 1);
        QCOMPARE(triggered.last().at(0).toBool(), true);
        QVERIFY(ui.secondToolbar->isVisible());
        QVERIFY(page.image()->selectionEnabled);

        ui.acPixCfgToggleRow->trigger();
        QCOMPARE(page.image()->pixCfgMode, int(QMpxImage::PixCfgRow));
        QVERIFY(!page.image()->selectionEnabled);
        ui.acPixCfgToggleColumn->trigger();
        QCOMPARE(page.image()->pixCfgMode, int(QMpxImage::PixCfgColumn));
        QVERIFY(!ui.acPixCfgToggleRow->isChecked());
        ui.acPixCfgTogglePixel->trigger();
        QCOMPARE(page.image()->pixCfgMode, int(QMpxImage::PixCfgPixel));
        QVERIFY(!page.image()->selectionEnabled);
        // "No Toggling" gives the selection back.
        ui.acPixCfgNone->trigger();
        QCOMPARE(page.image()->pixCfgMode, int(QMpxImage::PixCfgNone));
        QVERIFY(page.image()->selectionEnabled);
        ui.acPixCfgTogglePixel->trigger();

        // Mask all and unmask all act on the device's configuration.
        ov::IMpxPixCfg* cfg = page.device()->pixCfg();
        const unsigned pixels = page.device()->pixelCount();
        ui.acPixCfgMaskAll->trigger();
        QCOMPARE(countMasked(cfg, pixels), int(pixels));
        ui.acPixCfgUnmaskAll->trigger();
        QCOMPARE(countMasked(cfg, pixels), 0);

        // Leaving the editing resets the toggle to none and hides the second bar.
        ui.acPixCfgEdit->trigger();
        QCOMPARE(triggered.last().at(0).toBool(), false);
        QVERIFY(!ui.secondToolbar->isVisible());
        QVERIFY(ui.acPixCfgNone->isChecked());
        QCOMPARE(page.image()->pixCfgMode, int(QMpxImage::PixCfgNone));
        QVERIFY(page.image()->selectionEnabled);
    }

    void resetMenuOfTheFamily_data()
    {
        QTest::addColumn<bool>("medipix2");
        QTest::addColumn<int>("entries");
        QTest::newRow("Timepix") << false << 4;
        QTest::newRow("Medipix2") << true << 5;
    }

    void resetMenuOfTheFamily()
    {
        QFETCH(bool, medipix2);
        QFETCH(int, entries);
        sim::DeviceDesc desc = TimepixPage::quadDesc();
        desc.medipix2 = medipix2;
        TimepixPage page(QString(), desc);
        QVERIFY(page.view);
        auto* button = page.view->findChild<QToolButton*>("resetBitsButton");
        QVERIFY(button);
        QCOMPARE(button->toolTip(), QString("Reset Pixel Cfg. Bits"));
        const QList<QAction*> reset = page.view->resetActions();
        QCOMPARE(reset.size(), entries);
        QCOMPARE(reset.at(0)->text(), QString("Reset All Bits"));

        ov::IMpxPixCfg* cfg = page.device()->pixCfg();
        cfg->setAllMask(true);
        page.view->findChild<QAction*>("acResetMaskBits")->trigger();
        QVERIFY(!cfg->maskBit(0));
        cfg->setAllThl(0);
        page.view->findChild<QAction*>("acResetThlBits")->trigger();
        QCOMPARE(cfg->thl(0), cfg->thlMax());

        // The THH entry on a Timepix does nothing, even when triggered.
        cfg->setModeAll(cfg->thhMax());
        const int full = cfg->mode8(0);
        cfg->setModeAll(1);
        const int before = cfg->mode8(0);
        QVERIFY(before != full);
        page.view->findChild<QAction*>("acResetThhBits")->trigger();
        QCOMPARE(int(cfg->mode8(0)), medipix2 ? full : before);
    }

    void frameNavigationAfterAMeasurement()
    {
        TimepixPage page;
        QVERIFY(page.view);
        const Ui_DevViewMpx& ui = page.ui();
        DevCtrlMpx* ctrl = page.ctrl();
        ctrl->acqParams().acqCount = 5;
        ctrl->acqParams().acqTime = 0.0;
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!ctrl->isAcqRunning(), 30000);
        QTRY_COMPARE(page.view->frameBox()->maximum(), 4);
        QCOMPARE(page.view->frameBox()->value(), 4);
        QVERIFY(ui.acPrevFrame->isEnabled());

        ui.acNextFrame->trigger();
        QCOMPARE(page.view->frameBox()->value(), 4);
        ui.acPrevFrame->trigger();
        QCOMPARE(page.view->frameBox()->value(), 3);
        // The picture follows the spin box: frame 3 of the store is on show.
        ov::RefData<ov::IMpxFrame> shown = ctrl->currentFrame();
        ov::IMpxFrame* third = ctrl->frame(3);
        QVERIFY(shown && third);
        ov::DataBuff<double> a;
        ov::DataBuff<double> b;
        shown->getData(&a, 9);
        third->getData(&b, 9);
        third->decRef();
        QVERIFY(std::equal(a.data(), a.data() + a.size(), b.data()));
        QTest::keyClick(page.view, Qt::Key_Left, Qt::ControlModifier);
        QCOMPARE(page.view->frameBox()->value(), 2);
        page.view->frameBox()->setValue(0);
        ui.acPrevFrame->trigger();
        QCOMPARE(page.view->frameBox()->value(), 0);

        ui.acAutoUpdate->trigger();
        QVERIFY(!ui.acAutoUpdate->isChecked());
    }

    // With Auto Update off a measurement leaves the picture alone; switching it on
    // shows the frame before the one the spin box names.
    void autoUpdateOffKeepsThePicture()
    {
        TimepixPage page;
        QVERIFY(page.view);
        const Ui_DevViewMpx& ui = page.ui();
        DevCtrlMpx* ctrl = page.ctrl();
        QVERIFY(measure(ctrl, 3));
        QTRY_COMPARE(page.view->frameBox()->maximum(), 2);
        QApplication::processEvents();

        // Switching off shows the frame before the spin box's one, like switching on.
        ui.acAutoUpdate->trigger();
        QVERIFY(!ui.acAutoUpdate->isChecked());
        ov::RefData<ov::IMpxFrame> firstRunSecond(ctrl->frame(1), false);
        const std::vector<double> before
            = pixelsOf(ov::RefData<ov::IMpxFrame>(ctrl->currentFrame()).get());
        QVERIFY(!before.empty());
        QCOMPARE(before, pixelsOf(firstRunSecond.get()));
        QVERIFY(measure(ctrl, 3));
        QApplication::processEvents();
        QCOMPARE(pixelsOf(ov::RefData<ov::IMpxFrame>(ctrl->currentFrame()).get()), before);
        ov::RefData<ov::IMpxFrame> newest(ctrl->frame(2), false);
        QVERIFY(pixelsOf(newest.get()) != before);

        ui.acAutoUpdate->trigger();
        QVERIFY(ui.acAutoUpdate->isChecked());
        QCOMPARE(page.view->frameBox()->value(), 2);
        ov::RefData<ov::IMpxFrame> second(ctrl->frame(1), false);
        QCOMPARE(pixelsOf(ov::RefData<ov::IMpxFrame>(ctrl->currentFrame()).get()),
            pixelsOf(second.get()));
    }

    // "Show Masked Pixels" hands the device's mask to the picture, which draws the masked
    // pixels in its special colour, and stops when switched off.
    void showMaskedPixelsMarksTheMaskedPixels()
    {
        TimepixPage page;
        QVERIFY(page.view);
        const Ui_DevViewMpx& ui = page.ui();
        DevCtrlMpx* ctrl = page.ctrl();
        ov::IMpxPixCfg* cfg = page.device()->pixCfg();
        const unsigned width = static_cast<unsigned>(page.device()->width());
        const unsigned masked = 10 * width + 20; // pixel (20, 10)
        QCOMPARE(cfg->setMaskBit(masked, true), 0);
        QVERIFY(measure(ctrl, 1));
        QApplication::processEvents();
        if (ui.acShowMaskedPixels->isChecked())
            ui.acShowMaskedPixels->trigger();
        QVERIFY(!page.image()->showMasked);
        ui.acShowMaskedPixels->trigger();
        QVERIFY(ui.acShowMaskedPixels->isChecked());
        QVERIFY(page.image()->showMasked);
        // The picture's mask plane marks the masked pixel (and only it, nearby) with the
        // value the paint loops draw in the special colour.
        QMpxImage* image = page.image();
        QVERIFY(image->mask != nullptr);
        QCOMPARE(int(image->mask[masked]), image->getMaskValue());
        QVERIFY(int(image->mask[masked + 1]) != image->getMaskValue());
        ui.acShowMaskedPixels->trigger();
        QVERIFY(!page.image()->showMasked);
    }

    // Host events from a host thread: a lock disables the configuration tool bar until
    // the unlock; a changed device menu and a changed device configuration reach the
    // window as the page's signals.
    void hostEventsReachThePage()
    {
        TimepixPage page;
        QVERIFY(page.view);
        auto* device = dynamic_cast<sim::SimDevice*>(page.dev);
        QVERIFY(device);
        const Ui_DevViewMpx& ui = page.ui();
        QVERIFY(ui.secondToolbar->isEnabled());
        std::thread([device] { device->setLocked(true); }).join();
        QTRY_VERIFY(!ui.secondToolbar->isEnabled());
        std::thread([device] { device->setLocked(false); }).join();
        QTRY_VERIFY(ui.secondToolbar->isEnabled());

        QSignalSpy menu(page.view, &DevViewMpx::sigMenuChanged);
        std::thread([device] { device->fireEvent("DevMenuChanged", 0); }).join();
        QTRY_COMPARE(menu.count(), 1);

        QSignalSpy reconnect(page.view, &DevViewMpx::sigReconnect);
        std::thread([device] { device->fireEvent("DeviceCfgChanged", 0); }).join();
        QTRY_COMPARE(reconnect.count(), 1);
        QCOMPARE(menu.count(), 2);
    }

    void dockingReconnectHelpAndSaveConfig()
    {
        TimepixPage page;
        QVERIFY(page.view);
        const Ui_DevViewMpx& ui = page.ui();

        QSignalSpy undock(page.view, &DevView::sigUndock);
        QSignalSpy dock(page.view, &DevView::sigDock);
        ui.acUndock->trigger();
        QCOMPARE(undock.count(), 1);
        QVERIFY(!ui.acUndock->isVisible());
        QVERIFY(ui.acDock->isVisible());
        ui.acDock->trigger();
        QCOMPARE(dock.count(), 1);
        QVERIFY(ui.acUndock->isVisible());
        QVERIFY(!ui.acDock->isVisible());

        const int before = page.fixture.host->deviceFor(page.dev)->reconnectCount();
        ui.acReconnect->trigger();
        QCOMPARE(page.fixture.host->deviceFor(page.dev)->reconnectCount(), before + 1);

        QSignalSpy save(page.view, &DevViewMpx::sigSaveOnExit);
        ui.acSaveOrvelConfig->trigger();
        QCOMPARE(save.count(), 1);

        UrlCatcher catcher;
        QDesktopServices::setUrlHandler("file", &catcher, "open");
        page.fixture.setCore("ApplicationDirectory", "/opt/orvel");
        ui.acHelp->trigger();
        QDesktopServices::unsetUrlHandler("file");
        QCOMPARE(catcher.urls.size(), 1);
        QCOMPARE(catcher.urls.first().toLocalFile(), QString("/opt/orvel/help/OrvelPro.pdf"));
    }

    void hostMenusAreCopied()
    {
        TimepixPage page;
        QVERIFY(page.view);
        // The host's menu has "Measurement", so the action is there; no scripting item.
        QVERIFY(page.ui().acMeasurement->isVisible());
        QVERIFY(!page.ui().acPythonScripting->isVisible());
        QMenu* buttonMenu = page.view->hostMenuButton()->menu();
        QVERIFY(buttonMenu);
        QStringList titles;
        for (QAction* action : buttonMenu->actions())
            titles << action->text();
        QVERIFY(titles.contains("Measurement"));
        QVERIFY(titles.contains("Simulation"));
        // The menu bar's copy leaves out the host's own items: its sub-menus stay, as
        // sub-menus are not items of an owner.
        QVERIFY(!page.view->menuBarToolsMenu()->actions().isEmpty());
    }
};

QTEST_MAIN(TestDevViewMpxActions)
#include "tst_devviewmpxactions.moc"
