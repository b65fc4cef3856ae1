#include "devviewmpxui.h"

#include "qfancystatusbar.h"
#include "qminisplitter.h"
#include "qmpxframe.h"

#include <QAction>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QScrollArea>
#include <QTabBar>
#include <QVBoxLayout>

namespace PluginDevControl {

namespace {

// One row of the action table. An icon name starting with "2/" lives with the
// pixel-configuration tool bar's icons.
struct ActionRow
{
    QAction* Ui_DevViewMpx::*member;
    const char* name;
    const char* text;
    const char* shortcut;
    bool checkable;
    const char* icon;
    const char* toolTip;
};

const ActionRow kActions[] = {
    {&Ui_DevViewMpx::acOpenFrame, "acOpenFrame", "Open Frame...", "", false, "folder_open.png", ""},
    {&Ui_DevViewMpx::acSaveData, "acSaveData", "Save Data...", "Ctrl+S", false, "disk_black.png",
        ""},
    {&Ui_DevViewMpx::acSaveCurrentFrame, "acSaveCurrentFrame", "Save Current Frame ...", "", false,
        "", ""},
    {&Ui_DevViewMpx::acSaveAllFrames, "acSaveAllFrames", "Save All Frames...", "", false, "", ""},
    {&Ui_DevViewMpx::acLoadConfig, "acLoadConfig", "Load Config...", "", false, "", ""},
    {&Ui_DevViewMpx::acSaveConfig, "acSaveConfig", "Save Config...", "", false, "", ""},
    {&Ui_DevViewMpx::acLoadFactory, "acLoadFactory", "Load Factory Config", "", false, "", ""},
    {&Ui_DevViewMpx::acReconnect, "acReconnect", "Reconnect", "Ctrl+Shift+R", false, "", ""},
    {&Ui_DevViewMpx::acSaveOrvelConfig, "acSaveOrvelConfig", "Save Orvel Config", "", false, "",
        "Saves all devices settings for next Orvel start."},
    {&Ui_DevViewMpx::acMirror, "acMirror", "Mirror Image", "", true, "", ""},
    {&Ui_DevViewMpx::acRotate, "acRotate", "Rotate", "Ctrl+R", false, "rotata.png",
        "Rotate clockwise"},
    {&Ui_DevViewMpx::acRotate0, "acRotate0", "0", "", true, "", ""},
    {&Ui_DevViewMpx::acRotate90, "acRotate90", "90", "", true, "", ""},
    {&Ui_DevViewMpx::acRotate180, "acRotate180", "180", "", true, "", ""},
    {&Ui_DevViewMpx::acRotate270, "acRotate270", "270", "", true, "", ""},
    {&Ui_DevViewMpx::acShowGrid, "acShowGrid", "Show Grid", "Ctrl+G", true, "grid.png", ""},
    {&Ui_DevViewMpx::acShowChips, "acShowChips", "Show Chips", "", true,
        "application-split-tile.png", "Show Chip Numbers"},
    {&Ui_DevViewMpx::acShowMaskedPixels, "acShowMaskedPixels", "Show Masked Pixels", "Ctrl+M", true,
        "", ""},
    {&Ui_DevViewMpx::acResizeAspectRatio, "acResizeAspectRatio", "Ensure Aspect Ratio", "Ctrl+A",
        true, "", ""},
    {&Ui_DevViewMpx::acUnderWarning, "acUnderWarning", "Under warning", "", true, "underwarn.png",
        ""},
    {&Ui_DevViewMpx::acOverWarning, "acOverWarning", "Over warning", "", true, "overwarn.png", ""},
    {&Ui_DevViewMpx::acCmGray, "acCmGray", "Gray", "", true, "cm_gray.png", ""},
    {&Ui_DevViewMpx::acCmJet, "acCmJet", "Jet", "", true, "cm_jet.png", ""},
    {&Ui_DevViewMpx::acCmJetWhite, "acCmJetWhite", "Jet White", "", true, "", ""},
    {&Ui_DevViewMpx::acCmHot, "acCmHot", "Hot", "", true, "cm_hot.png", ""},
    {&Ui_DevViewMpx::acCmCool, "acCmCool", "Cool", "", true, "cm_cool.png", ""},
    {&Ui_DevViewMpx::acCmHSL, "acCmHSL", "HSL", "", true, "cm_hsl.png", ""},
    {&Ui_DevViewMpx::acCmCoolWarm, "acCmCoolWarm", "Cool Warm", "", true, "", ""},
    {&Ui_DevViewMpx::acCmInvertGray, "acCmInvertGray", "Inverted Gray", "", true, "cm_invgray.png",
        ""},
    {&Ui_DevViewMpx::acPrevFrame, "acPrevFrame", "Previous Frame", "Ctrl+Left", false,
        "arrow_180.png", ""},
    {&Ui_DevViewMpx::acNextFrame, "acNextFrame", "Next Frame", "Ctrl+Right", false, "arrow.png",
        ""},
    {&Ui_DevViewMpx::acAutoUpdate, "acAutoUpdate", "Auto Update", "Ctrl+U", true, "autoupdate.png",
        ""},
    {&Ui_DevViewMpx::acPixCfgEdit, "acPixCfgEdit", "Edit Pixel Configuration", "Ctrl+P", true,
        "pixcfgedit.png", ""},
    {&Ui_DevViewMpx::acPixCfgToggleRow, "acPixCfgToggleRow", "Toggle Row", "", true,
        "2/maskrow.png", "Togle Bits in Row"},
    {&Ui_DevViewMpx::acPixCfgToggleColumn, "acPixCfgToggleColumn", "Toggle Bits in Column", "",
        true, "2/maskcol.png", ""},
    {&Ui_DevViewMpx::acPixCfgTogglePixel, "acPixCfgTogglePixel", "Toggle Bit in Pixel", "", true,
        "2/maskpixel.png", ""},
    {&Ui_DevViewMpx::acPixCfgNone, "acPixCfgNone", "acPixCfgNone", "", true, "2/cursor.png",
        "No Toggling"},
    {&Ui_DevViewMpx::acPixCfgMaskAll, "acPixCfgMaskAll", "Mask All", "", false, "2/mask.png",
        "Mask All Pixels"},
    {&Ui_DevViewMpx::acPixCfgUnmaskAll, "acPixCfgUnmaskAll", "Unmask All Pixels", "", false,
        "2/unmask.png", ""},
    {&Ui_DevViewMpx::acPixCfgMaskSelect, "acPixCfgMaskSelect", "Mask Selection", "", false,
        "2/maskselect.png", ""},
    {&Ui_DevViewMpx::acPixCfgUnmaskSelect, "acPixCfgUnmaskSelect", "Unmask Selection", "", false,
        "2/unmaskselect.png", ""},
    {&Ui_DevViewMpx::acPixCfgStg, "acPixCfgStg", "Set Pixel Cfg. Bits", "", false,
        "2/pixcfgstg.png", ""},
    {&Ui_DevViewMpx::acPixCfgSave, "acPixCfgSave", "Save Pixel Configuration", "", false, "", ""},
    {&Ui_DevViewMpx::acPixCfgOpen, "acPixCfgOpen", "Open Pixel Configuration", "", false, "", ""},
    {&Ui_DevViewMpx::acMaskOver, "acMaskOver", "Mask pixels over", "", false, "2/maskover.png",
        "Mask Pixels counting over value"},
    {&Ui_DevViewMpx::acMaskUnder, "acMaskUnder", "Mask Pixels Under Value", "", false,
        "2/maskunder.png", ""},
    {&Ui_DevViewMpx::acThlOver, "acThlOver", "Shift thl Bits Over Value", "", false,
        "2/thlover.png", "Shift thl Bits for Pixels Over Value"},
    {&Ui_DevViewMpx::acThlUnder, "acThlUnder", "Shift thl Under Value", "", false, "2/thlunder.png",
        "Shift thl Adj. Bits for Pixels Under Value"},
    {&Ui_DevViewMpx::acUndock, "acUndock", "Undock", "", false, "applications.png", ""},
    {&Ui_DevViewMpx::acDock, "acDock", "Dock", "", false, "application-sidebar.png", ""},
    {&Ui_DevViewMpx::acMeasurement, "acMeasurement", "Measurements", "", false, "", ""},
    {&Ui_DevViewMpx::acPythonScripting, "acPythonScripting", "Python Scripting", "", false,
        "python.png", ""},
    {&Ui_DevViewMpx::acHelp, "acHelp", "Help", "", false, "", ""},
    {&Ui_DevViewMpx::acSize1, "acSize1", "Size 1x", "", false, "", ""},
    {&Ui_DevViewMpx::acSize2, "acSize2", "Size 2x", "", false, "", ""},
    {&Ui_DevViewMpx::acSize3, "acSize3", "Size 3x", "", false, "", ""},
    {&Ui_DevViewMpx::acSize4, "acSize4", "Size 4x", "", false, "", ""},
    {&Ui_DevViewMpx::actionSize_1x, "actionSize_1x", "Size 1x", "", false, "", ""},
    {&Ui_DevViewMpx::actionSize_2x, "actionSize_2x", "Size 2x", "", false, "", ""},
    {&Ui_DevViewMpx::actionSize_3x, "actionSize_3x", "Size 3x", "", false, "", ""},
    {&Ui_DevViewMpx::actionSize_4x, "actionSize_4x", "Size 4x", "", false, "", ""},
    {&Ui_DevViewMpx::acEnsureRatio, "acEnsureRatio", "Ensure Aspect Ratio", "", false, "", ""},
    {&Ui_DevViewMpx::actionShow_Grid, "actionShow_Grid", "Show Grid", "", false, "", ""},
};

QString iconPath(const char* name)
{
    const QString file = QString::fromLatin1(name);
    if (file.startsWith("2/"))
        return ":/devcontrol/toolbar2/icons/resources/" + file.mid(2);
    return ":/devcontrol/toolbar/icons/resources/" + file;
}

} // namespace

void Ui_DevViewMpx::setupUi(QMainWindow* window)
{
    window->resize(939, 802);
    for (const ActionRow& row : kActions) {
        auto* action = new QAction(QString::fromUtf8(row.text), window);
        action->setObjectName(row.name);
        if (*row.shortcut)
            action->setShortcut(QKeySequence(QString::fromLatin1(row.shortcut)));
        action->setCheckable(row.checkable);
        if (*row.icon)
            action->setIcon(QIcon(iconPath(row.icon)));
        if (*row.toolTip)
            action->setToolTip(QString::fromUtf8(row.toolTip));
        this->*row.member = action;
    }
    acAutoUpdate->setChecked(true);

    centralwidget = new QWidget(window);
    centralwidget->setObjectName("centralwidget");
    auto* central = new QVBoxLayout(centralwidget);
    central->setSpacing(0);
    central->setContentsMargins(0, 0, 0, 0);

    secondToolbar = new QWidget(centralwidget);
    secondToolbar->setObjectName("secondToolbar");
    secondToolbar->setMinimumHeight(23);
    secondToolbar->hide();
    central->addWidget(secondToolbar);

    splitter = new QMiniSplitter(Qt::Vertical, centralwidget);
    splitter->setObjectName("splitter");
    splitter->setHandleWidth(1);
    splitter->setMinimumSize(100, 200);
    central->addWidget(splitter);

    mainWidget = new QWidget(splitter);
    mainWidget->setObjectName("mainWidget");
    auto* mainLayout = new QHBoxLayout(mainWidget);
    mainLayout->setSpacing(2);
    mainLayout->setContentsMargins(5, 5, 5, 5);

    leftWidget = new QWidget(mainWidget);
    leftWidget->setObjectName("leftWidget");
    auto* leftLayout = new QVBoxLayout(leftWidget);
    leftLayout->setSpacing(0);
    leftLayout->setContentsMargins(0, 0, 0, 2);
    mpxFrame = new QMpxFrame(leftWidget);
    mpxFrame->setObjectName("mpxFrame");
    leftLayout->addWidget(mpxFrame, 1);

    wtFrameTabs = new QWidget(leftWidget);
    wtFrameTabs->setObjectName("wtFrameTabs");
    wtFrameTabs->setMinimumHeight(15);
    auto* tabsLayout = new QHBoxLayout(wtFrameTabs);
    tabsLayout->setContentsMargins(0, 0, 0, 0);
    subFrameTabs = new QTabBar(wtFrameTabs);
    subFrameTabs->setObjectName("subFrameTabs");
    subFrameTabs->setShape(QTabBar::RoundedSouth);
    subFrameTabs->hide();
    tabsLayout->addStretch();
    tabsLayout->addWidget(subFrameTabs);
    tabsLayout->addStretch();
    leftLayout->addWidget(wtFrameTabs);
    mainLayout->addWidget(leftWidget, 1);

    saSettings = new QScrollArea(mainWidget);
    saSettings->setObjectName("saSettings");
    saSettings->setFrameShape(QFrame::NoFrame);
    saSettings->setWidgetResizable(true);
    saSettings->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollAreaWidgetContents = new QWidget();
    scrollAreaWidgetContents->setObjectName("scrollAreaWidgetContents");
    verticalLayout = new QVBoxLayout(scrollAreaWidgetContents);
    verticalLayout->setObjectName("verticalLayout");
    verticalLayout->setSpacing(0);
    verticalLayout->setContentsMargins(0, 0, 0, 0);
    verticalLayout->addStretch();
    saSettings->setWidget(scrollAreaWidgetContents);
    mainLayout->addWidget(saSettings);

    toolWidget = new QWidget(splitter);
    toolWidget->setObjectName("toolWidget");
    toolWidget->hide();
    splitter->addWidget(mainWidget);
    splitter->addWidget(toolWidget);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 0);

    statusbar = new QFancyStatusBar(centralwidget);
    statusbar->setObjectName("statusbar");
    central->addWidget(statusbar);

    window->setCentralWidget(centralwidget);
}

QList<QAction*> Ui_DevViewMpx::colorMapActions() const
{
    return {
        acCmGray, acCmJet, acCmJetWhite, acCmHot, acCmCool, acCmHSL, acCmCoolWarm, acCmInvertGray};
}

QList<QAction*> Ui_DevViewMpx::rotationActions() const
{
    return {acRotate0, acRotate90, acRotate180, acRotate270};
}

} // namespace PluginDevControl
