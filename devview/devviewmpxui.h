// The widgets and actions of a detector page: two tool bars, the frame area with its
// sub-frame tabs, the column of settings panels, the bottom panels and the status bar.
#pragma once

#include <QList>

class QAction;
class QFancyStatusBar;
class QMainWindow;
class QMiniSplitter;
class QMpxFrame;
class QScrollArea;
class QTabBar;
class QVBoxLayout;
class QWidget;

namespace PluginDevControl {

class Ui_DevViewMpx
{
public:
    // Creates every action and widget on window and lays out its central widget.
    void setupUi(QMainWindow* window);

    QWidget* centralwidget = nullptr;
    QWidget* secondToolbar = nullptr;
    QMiniSplitter* splitter = nullptr;
    QWidget* mainWidget = nullptr;
    QWidget* toolWidget = nullptr;
    QWidget* leftWidget = nullptr;
    QMpxFrame* mpxFrame = nullptr;
    QWidget* wtFrameTabs = nullptr;
    QTabBar* subFrameTabs = nullptr;
    QScrollArea* saSettings = nullptr;
    QWidget* scrollAreaWidgetContents = nullptr;
    QVBoxLayout* verticalLayout = nullptr;
    QFancyStatusBar* statusbar = nullptr;

    QAction *acOpenFrame, *acSaveData, *acSaveCurrentFrame, *acSaveAllFrames;
    QAction *acLoadConfig, *acSaveConfig, *acLoadFactory, *acReconnect, *acSaveOrvelConfig;
    QAction *acMirror, *acRotate, *acRotate0, *acRotate90, *acRotate180, *acRotate270;
    QAction *acShowGrid, *acShowChips, *acShowMaskedPixels, *acResizeAspectRatio;
    QAction *acUnderWarning, *acOverWarning;
    QAction *acCmGray, *acCmJet, *acCmJetWhite, *acCmHot, *acCmCool, *acCmHSL, *acCmCoolWarm,
        *acCmInvertGray;
    QAction *acPrevFrame, *acNextFrame, *acAutoUpdate;
    QAction *acPixCfgEdit, *acPixCfgToggleRow, *acPixCfgToggleColumn, *acPixCfgTogglePixel,
        *acPixCfgNone;
    QAction *acPixCfgMaskAll, *acPixCfgUnmaskAll, *acPixCfgMaskSelect, *acPixCfgUnmaskSelect,
        *acPixCfgStg;
    QAction *acPixCfgSave, *acPixCfgOpen, *acMaskOver, *acMaskUnder, *acThlOver, *acThlUnder;
    QAction *acUndock, *acDock, *acMeasurement, *acPythonScripting, *acHelp;
    // Present in the form but connected to nothing.
    QAction *acSize1, *acSize2, *acSize3, *acSize4;
    QAction *actionSize_1x, *actionSize_2x, *actionSize_3x, *actionSize_4x;
    QAction *acEnsureRatio, *actionShow_Grid;

    // The colour-map actions in menu order: Gray, Jet, Jet White, Hot, Cool, HSL,
    // Cool Warm, Inverted Gray.
    QList<QAction*> colorMapActions() const;
    // The rotation ring: 0, 90, 180, 270.
    QList<QAction*> rotationActions() const;
};

} // namespace PluginDevControl
