// The page of a pixel detector: the shell that every chip family builds on. It owns the
// window with its tool bars, menus, frame area, panels and status bar, the settings of
// the view, and connects all of it to the family's detector controller.
#pragma once

#include "devview.h"

#include <QList>
#include <QRect>
#include <QString>

class QAction;
class QActionGroup;
class QClickableLabel;
class QComboBox;
class QFancyProgressBar;
class QLabel;
class QLabelWithIcon;
class QMenu;
class QMpxFrame;
class QSpinBox;
class QTabBar;
class QTimer;
class QToolButton;

namespace PluginDevControl {

class CallbackRelay;
class DacPanel;
class DevCtrlMpx;
class MsgPanel;
class PnlDigTest;
class PnlHistogram;
class PnlImageInfo;
class PnlImageProps;
class PnlImagePropsAdv;
class PnlMeasurementBase;
class QOrvelMenu;
class Ui_DevViewMpx;

class DevViewMpx : public DevView
{
    Q_OBJECT

public:
    enum StatusType {
        StatusOk = 0,
        StatusWarning = 1,
        StatusError = 2
    };

    DevViewMpx(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);
    ~DevViewMpx() override;

    int devType() const override;
    void onExit() override;
    QString fullName() const override;
    QString devName() const override;
    void setViewMenuBar(QMenuBar* bar) override;
    QMenuBar* viewMenuBar() override;
    QWidget* widget() override { return this; }
    ov::IDev* getDev() override { return dev; }
    void enableUndocking(bool enable) override;
    void releaseDevice() override;
    void endDeviceWork() override;

    virtual void enableGui(bool enabled, bool running);
    virtual int showFrame(ov::IMpxFrame* frame);
    virtual void setAcqParams(int count, double time);
    virtual void setAcqType(int type);
    virtual void setOutputParams(const char* path, bool enabled);
    virtual void setRepeatParams(int count, bool enabled);
    virtual void setRepeatFileParams(unsigned flags, int digits);
    virtual void setOutputFlags(unsigned flags);
    virtual void setRefreshParams(bool dacs, bool pixCfg);
    virtual void start();
    virtual void stop();
    virtual bool isRunning();
    virtual int lastAcqResult();
    virtual void setColorMap(int index);
    virtual void setRange(double min, double max);
    virtual void setWindowAll(bool all);
    virtual void setCurrentSubFrame(int index);
    virtual void setAcqMode(int mode);
    virtual void onTimeProgress();
    virtual void initialize();
    virtual void setupPanels();
    virtual void loadSettings();
    virtual void saveSettings();
    virtual void showWarningIcon(bool show, QString text);
    virtual void showErrorIcon(bool show, QString text);
    virtual void showStatusLed(StatusType type, QString text);
    virtual void getDeviceStatus();
    virtual void getChipRectsTexts(QList<QRect>& rects, QList<QString>& texts);
    virtual QToolButton* initResetBitsMenu();
    virtual QLabelWithIcon* getPanelLabelWithIcon(QWidget* panel);

    // Read access for the page's owner and for tests.
    const Ui_DevViewMpx& form() const { return *ui; }
    DevCtrlMpx* controller() const { return ctrl; }
    ov::ISettings* viewSettings() const { return settings; }
    QAction* aspectRatioAction() const;
    QMenu* panelsMenu() const { return menuPanels; }
    QMenu* menuBarToolsMenu() const { return menuTools; }
    QToolButton* hostMenuButton() const { return menuButton; }
    QSpinBox* frameBox() const { return frameSpinBox; }
    MsgPanel* messagePanel() const { return msgPanel; }
    QFancyProgressBar* progress() const { return progressBar; }
    QLabel* statusLabel(int index) const; // 0 FPS, 1 time, 2 repeat, 3 acquisition
    QLabel* statusLed(StatusType type) const;
    QClickableLabel* warningLabel() const { return warningIcon; }
    QClickableLabel* errorLabel() const { return errorIcon; }
    QList<QWidget*> bottomPanelList() const { return bottomPanels; }
    bool isMeasurementRunning() const { return running; }

signals:
    void sigReconnect(QWidget* view);
    void sigLogEvent(int level, QString text);
    void sigMenuChanged();
    void sigSaveOnExit();
    void sigPixConfTriggered(bool checked);
    void sigSetColorMap(int index);
    void sigSetRange(double min, double max);
    void sigSetWindowAll(bool all);
    void sigSetCurrentSubFrame(int index);

public slots:
    void onStartAcq();
    void onStopAcq();
    void onAcqAllFinished(int result);
    void onAcqRepeatStarted();
    void onAcqRepeatFinished();
    void onAcqProgress(double percent, unsigned int frames);
    void onDeviceStatusChanged(int status, QString text);
    void onLogEvent(int level, QString text);
    void onMenuChanged() { refreshOrvelMenu(); }

protected slots:
    void onSetColorMap(int index);
    void onSetRange(double min, double max);
    void onSetWindowAll(bool all);
    void onSetCurrentSubFrame(int index);
    void onFrameCountChanged(int count);
    void onsbFrameValueChanged(int index);
    void onDevLockChanged();
    void onFrameClicked(unsigned column, unsigned row, unsigned x, unsigned y, int button);
    void onDropFiles(QList<QString> files);
    void onPanelVisibleTriggered();
    void onHideWarningIcon();
    void onHideErrorIcon();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

    // Builds every widget, tool bar, menu and status-bar item of the page.
    void setupGui();
    // The part of the start-up that follows the controller's creation: settings,
    // device status, panels, callbacks, the empty picture, host menus, panel states.
    void finishInitialization();
    void initSecondToolbar();
    void setupStatusBar();
    // A measurement that failed says why in the message panel and on the LED.
    void reportFailedMeasurement(int result);
    void connectActions();
    void setupSlotsAndCbs();
    void initMpxGuiParams();
    void initMeasurementIcon();
    void initPythonScriptingIcon();
    void refreshOrvelMenu();
    void addBottomPanel(QWidget* panel, const QString& title);
    void addStgPanel(QWidget* panel);
    // The panels at the head of the settings column: image properties and advanced
    // image properties.
    void addImagePanels();
    // The panels at its foot: image info and histogram. Then the column's layout, the
    // controller's panels and the measurement panel's start and stop are set up.
    void addAnalysisPanels(PnlMeasurementBase* measurement);
    QAction* addPanelAction(const QString& title, QWidget* panel, bool visible);
    void savePanelsStateToSettings();
    void loadPanelsStateFromSettings();
    void onFirstWindowShow();
    // The progress bar of a running measurement at time t: the frames done and the
    // part of the frame in progress.
    void updateProgressBar(double t);
    // Seconds of the system clock, the time base of the progress labels.
    static double currentTime();
    // The measurement panel that the entry points for other plug-ins go to, if any.
    virtual PnlMeasurementBase* measurementPanelBase() const { return nullptr; }
    void setProgressAcq(int done);
    void setProgressRepeat(int done);
    void reconnect();

    void rotateClockwise();
    void setPixCfgEditing(bool checked);
    void setToggleMode(bool selection, int mode);
    void showChips(bool show);
    void openHelp();

    static void onDeviceCfgChangedWrapper(long data, long user);
    static void onMenuChangedWrapper(long data, long user);
    static void onLogWrapper(unsigned level, const char* text, long user);
    // Takes the page's callbacks off the device and the host; nothing reaches the page
    // through them afterwards.
    void detachHostCallbacks();

    Ui_DevViewMpx* ui;
    CallbackRelay* relay = nullptr;
    ov::IDevMpx* devMpx = nullptr;
    ov::ISettings* settings = nullptr;
    DevCtrlMpx* ctrl = nullptr;
    const ov::IMenuItem* measurementItem = nullptr;
    const ov::IMenuItem* scriptingItem = nullptr;
    QSpinBox* frameSpinBox = nullptr;
    QSpinBox* maskValueSpinBox = nullptr;
    QSpinBox* thlValueSpinBox = nullptr;
    QComboBox* thlSelectCombo = nullptr;
    DacPanel* dacPanel = nullptr;
    QActionGroup* colorMapGroup = nullptr;
    QActionGroup* rotationGroup = nullptr;
    QActionGroup* pixCfgToggleGroup = nullptr;
    MsgPanel* msgPanel = nullptr;
    QFancyProgressBar* progressBar = nullptr;
    QLabel* fpsLabel = nullptr;
    QLabel* timeLabel = nullptr;
    QLabel* repeatLabel = nullptr;
    QLabel* acqLabel = nullptr;
    QLabel* ledGreen = nullptr;
    QLabel* ledYellow = nullptr;
    QLabel* ledRed = nullptr;
    QClickableLabel* warningIcon = nullptr;
    QClickableLabel* errorIcon = nullptr;
    QList<QWidget*> bottomPanels;
    QOrvelMenu* toolsMenu = nullptr;
    QOrvelMenu* menuBarMenu = nullptr;
    QToolButton* menuButton = nullptr;
    QMenu* menuTools = nullptr;
    QMenu* menuPanels = nullptr;
    QMpxFrame* mpxFrame = nullptr;
    QTabBar* subFrameTabs = nullptr;
    PnlImageProps* imagePropsPanel = nullptr;
    PnlImageInfo* imageInfoPanel = nullptr;
    PnlHistogram* histogramPanel = nullptr;
    PnlImagePropsAdv* imagePropsAdvPanel = nullptr;
    PnlDigTest* digTestPanel = nullptr;
    QTimer* progressTimer = nullptr;
    QTimer* spareTimer = nullptr;
    int settingsPanelWidth = 260;
    int saveDataChoice = 0;
    QString devFullName;
    bool firstShow = true;
    bool running = false;

    double measurementStart = 0.0;
    double repeatStart = 0.0;
    double lastFrameTime = 0.0;
    double lastProgressUpdate = 0.0;
    unsigned framesDone = 0;
    // The last error line of the log during the measurement in progress.
    QString lastRunError;
};

} // namespace PluginDevControl
