// Every action of the detector page against the table of the page's actions: text,
// shortcut, checkable, icon and tool tip, so that a typo in any of them shows.
#include "timepixpage.h"

#include <QAction>
#include <QIcon>
#include <QtTest>

#include <memory>

class TstDevViewMpxActionTable : public QObject
{
    Q_OBJECT

    static void row(const char* name, const char* text, const char* shortcut, bool checkable,
        const char* icon, const char* toolTip)
    {
        QTest::newRow(name) << QString(text) << QString(shortcut) << checkable << QString(icon)
                            << QString(toolTip);
    }

    std::unique_ptr<TimepixPage> page;

private slots:
    void initTestCase() { page = std::make_unique<TimepixPage>(); }

    void actionsAsTheTableSays_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shortcut");
        QTest::addColumn<bool>("checkable");
        QTest::addColumn<QString>("icon");    // empty: no icon
        QTest::addColumn<QString>("toolTip"); // empty: none of its own
        row("acOpenFrame", "Open Frame...", "", false,
            ":/devcontrol/toolbar/icons/resources/folder_open.png", "");
        row("acSaveData", "Save Data...", "Ctrl+S", false,
            ":/devcontrol/toolbar/icons/resources/disk_black.png", "");
        row("acSaveCurrentFrame", "Save Current Frame ...", "", false, "", "");
        row("acSaveAllFrames", "Save All Frames...", "", false, "", "");
        row("acLoadConfig", "Load Config...", "", false, "", "");
        row("acSaveConfig", "Save Config...", "", false, "", "");
        row("acLoadFactory", "Load Factory Config", "", false, "", "");
        row("acReconnect", "Reconnect", "Ctrl+Shift+R", false, "", "");
        row("acSaveOrvelConfig", "Save Orvel Config", "", false, "",
            "Saves all devices settings for next Orvel start.");
        row("acMirror", "Mirror Image", "", true, "", "");
        row("acRotate", "Rotate", "Ctrl+R", false,
            ":/devcontrol/toolbar/icons/resources/rotata.png", "Rotate clockwise");
        row("acRotate0", "0", "", true, "", "");
        row("acRotate90", "90", "", true, "", "");
        row("acRotate180", "180", "", true, "", "");
        row("acRotate270", "270", "", true, "", "");
        row("acShowGrid", "Show Grid", "Ctrl+G", true,
            ":/devcontrol/toolbar/icons/resources/grid.png", "");
        row("acShowChips", "Show Chips", "", true,
            ":/devcontrol/toolbar/icons/resources/application-split-tile.png", "Show Chip Numbers");
        row("acShowMaskedPixels", "Show Masked Pixels", "Ctrl+M", true, "", "");
        row("acResizeAspectRatio", "Ensure Aspect Ratio", "Ctrl+A", true, "", "");
        row("acUnderWarning", "Under warning", "", true,
            ":/devcontrol/toolbar/icons/resources/underwarn.png", "");
        row("acOverWarning", "Over warning", "", true,
            ":/devcontrol/toolbar/icons/resources/overwarn.png", "");
        row("acCmGray", "Gray", "", true, ":/devcontrol/toolbar/icons/resources/cm_gray.png", "");
        row("acCmJet", "Jet", "", true, ":/devcontrol/toolbar/icons/resources/cm_jet.png", "");
        row("acCmJetWhite", "Jet White", "", true, "", "");
        row("acCmHot", "Hot", "", true, ":/devcontrol/toolbar/icons/resources/cm_hot.png", "");
        row("acCmCool", "Cool", "", true, ":/devcontrol/toolbar/icons/resources/cm_cool.png", "");
        row("acCmHSL", "HSL", "", true, ":/devcontrol/toolbar/icons/resources/cm_hsl.png", "");
        row("acCmCoolWarm", "Cool Warm", "", true, "", "");
        row("acCmInvertGray", "Inverted Gray", "", true,
            ":/devcontrol/toolbar/icons/resources/cm_invgray.png", "");
        row("acPrevFrame", "Previous Frame", "Ctrl+Left", false,
            ":/devcontrol/toolbar/icons/resources/arrow_180.png", "");
        row("acNextFrame", "Next Frame", "Ctrl+Right", false,
            ":/devcontrol/toolbar/icons/resources/arrow.png", "");
        row("acAutoUpdate", "Auto Update", "Ctrl+U", true,
            ":/devcontrol/toolbar/icons/resources/autoupdate.png", "");
        row("acPixCfgEdit", "Edit Pixel Configuration", "Ctrl+P", true,
            ":/devcontrol/toolbar/icons/resources/pixcfgedit.png", "");
        row("acPixCfgToggleRow", "Toggle Row", "", true,
            ":/devcontrol/toolbar2/icons/resources/maskrow.png", "Togle Bits in Row");
        row("acPixCfgToggleColumn", "Toggle Bits in Column", "", true,
            ":/devcontrol/toolbar2/icons/resources/maskcol.png", "");
        row("acPixCfgTogglePixel", "Toggle Bit in Pixel", "", true,
            ":/devcontrol/toolbar2/icons/resources/maskpixel.png", "");
        row("acPixCfgNone", "acPixCfgNone", "", true,
            ":/devcontrol/toolbar2/icons/resources/cursor.png", "No Toggling");
        row("acPixCfgMaskAll", "Mask All", "", false,
            ":/devcontrol/toolbar2/icons/resources/mask.png", "Mask All Pixels");
        row("acPixCfgUnmaskAll", "Unmask All Pixels", "", false,
            ":/devcontrol/toolbar2/icons/resources/unmask.png", "");
        row("acPixCfgMaskSelect", "Mask Selection", "", false,
            ":/devcontrol/toolbar2/icons/resources/maskselect.png", "");
        row("acPixCfgUnmaskSelect", "Unmask Selection", "", false,
            ":/devcontrol/toolbar2/icons/resources/unmaskselect.png", "");
        row("acPixCfgStg", "Set Pixel Cfg. Bits", "", false,
            ":/devcontrol/toolbar2/icons/resources/pixcfgstg.png", "");
        row("acPixCfgSave", "Save Pixel Configuration", "", false, "", "");
        row("acPixCfgOpen", "Open Pixel Configuration", "", false, "", "");
        row("acMaskOver", "Mask pixels over", "", false,
            ":/devcontrol/toolbar2/icons/resources/maskover.png",
            "Mask Pixels counting over value");
        row("acMaskUnder", "Mask Pixels Under Value", "", false,
            ":/devcontrol/toolbar2/icons/resources/maskunder.png", "");
        row("acThlOver", "Shift thl Bits Over Value", "", false,
            ":/devcontrol/toolbar2/icons/resources/thlover.png",
            "Shift thl Bits for Pixels Over Value");
        row("acThlUnder", "Shift thl Under Value", "", false,
            ":/devcontrol/toolbar2/icons/resources/thlunder.png",
            "Shift thl Adj. Bits for Pixels Under Value");
        row("acUndock", "Undock", "", false,
            ":/devcontrol/toolbar/icons/resources/applications.png", "");
        row("acDock", "Dock", "", false,
            ":/devcontrol/toolbar/icons/resources/application-sidebar.png", "");
        row("acMeasurement", "Measurements", "", false, "", "");
        row("acPythonScripting", "Python Scripting", "", false,
            ":/devcontrol/toolbar/icons/resources/python.png", "");
        row("acHelp", "Help", "", false, "", "");
    }

    void actionsAsTheTableSays()
    {
        QFETCH(QString, text);
        QFETCH(QString, shortcut);
        QFETCH(bool, checkable);
        QFETCH(QString, icon);
        QFETCH(QString, toolTip);
        QVERIFY(page && page->started && page->view);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        auto* action = page->view->findChild<QAction*>(name);
        QVERIFY2(action, qPrintable(name));
        QCOMPARE(action->text(), text);
        QCOMPARE(action->shortcut().toString(), shortcut);
        QCOMPARE(action->isCheckable(), checkable);
        if (icon.isEmpty()) {
            QVERIFY(action->icon().isNull());
        } else {
            QVERIFY2(QFile::exists(icon), qPrintable(icon));
            QCOMPARE(action->icon().pixmap(16).toImage(), QIcon(icon).pixmap(16).toImage());
        }
        if (!toolTip.isEmpty())
            QCOMPARE(action->toolTip(), toolTip);
    }

    // One page serves every row; it is taken down before Qt is.
    void cleanupTestCase() { page.reset(); }
};

QTEST_MAIN(TstDevViewMpxActionTable)
#include "tst_devviewmpxactiontable.moc"
