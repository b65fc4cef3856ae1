#include "devviewmpx.h"

#include "callbackrelay.h"
#include "dacpanel.h"
#include "devctrlmpx.h"
#include "devicenames.h"
#include "devviewmpxui.h"
#include "dlgpixcfg.h"
#include "dlgsavedata.h"
#include "msgpanel.h"
#include "pnlhistogram.h"
#include "pnlimageinfo.h"
#include "pnlimageprops.h"
#include "pnlimagepropsadv.h"
#include "pnlmeasurementbase.h"
#include "qfancystatusbar.h"
#include "qfancytoolwindow.h"
#include "qlabelwithicon.h"
#include "qlastdir.h"
#include "qminisplitter.h"
#include "qmpxframe.h"
#include "qmyfiledialog.h"
#include "qorvelmenu.h"

#include <QActionGroup>
#include <QComboBox>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QIcon>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QScrollArea>
#include <QSpinBox>
#include <QTabBar>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <vector>

namespace PluginDevControl {

namespace {

QSpinBox* makeValueSpinBox(QWidget* parent)
{
    auto* box = new QSpinBox(parent);
    box->setRange(-99999, 99999);
    box->setValue(0);
    return box;
}

QIcon orvelIcon()
{
    QIcon icon;
    for (int size : {16, 32, 48, 96, 256})
        icon.addFile(
            QString(":/icons/resources/Orvel_icon_white_%1x%1.png").arg(size), QSize(size, size));
    return icon;
}

} // namespace

DevViewMpx::DevViewMpx(QWidget* parent, ov::IOrvel* orvel, ov::IDev* device)
    : DevView(parent, orvel, device),
      ui(new Ui_DevViewMpx),
      progressTimer(new QTimer(this)),
      spareTimer(new QTimer(this)),
      devFullName(deviceFullName(device))
{
    if (host)
        settings = host->moduleSettings("devcontrol", dev, 0);
    connect(this, &DevViewMpx::sigSetColorMap, this, &DevViewMpx::onSetColorMap);
    connect(this, &DevViewMpx::sigSetRange, this, &DevViewMpx::onSetRange);
    connect(this, &DevViewMpx::sigSetWindowAll, this, &DevViewMpx::onSetWindowAll);
    connect(this, &DevViewMpx::sigSetCurrentSubFrame, this, &DevViewMpx::onSetCurrentSubFrame);
}

DevViewMpx::~DevViewMpx()
{
    detachHostCallbacks();
    progressTimer->stop();
    spareTimer->stop();
    delete toolsMenu;
    delete menuBarMenu;
    if (ctrl)
        ctrl->endMeasurement();
    delete ctrl;
    delete ui;
    if (settings)
        settings->release();
}

void DevViewMpx::detachHostCallbacks()
{
    if (!relay)
        return;
    if (dev)
        dev->unregisterLogCallback(onLogWrapper, relay);
    if (host)
        host->unregisterLogCallback(onLogWrapper, relay);
    relay->detach();
    relay = nullptr;
}

void DevViewMpx::endDeviceWork()
{
    if (ctrl)
        ctrl->endMeasurement();
}

void DevViewMpx::releaseDevice()
{
    detachHostCallbacks();
    progressTimer->stop();
    spareTimer->stop();
    running = false;
    // The measurement ends and every thread of the controller lets go of the device;
    // the controller goes with it, so nothing on the page can reach the device.
    endDeviceWork();
    delete ctrl;
    ctrl = nullptr;
    // Signals of the controller and the host already queued for the page would find
    // the controller gone.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    for (QObject* child : findChildren<QObject*>())
        QCoreApplication::removePostedEvents(child, QEvent::MetaCall);
    if (settings) {
        settings->release();
        settings = nullptr;
    }
    // Dialogs of the page that are open end now; the page is deleted after they have
    // returned (MainWindow keeps it until then).
    for (QDialog* dialog : findChildren<QDialog*>()) {
        if (dialog->isVisible())
            dialog->reject();
    }
    setEnabled(false);
    devMpx = nullptr;
    DevView::releaseDevice();
}

// ---------------------------------------------------------------------------------
// Building the page

void DevViewMpx::setupGui()
{
    ui->setupUi(this);
    mpxFrame = ui->mpxFrame;
    subFrameTabs = ui->subFrameTabs;
    acUndock = ui->acUndock;
    acDock = ui->acDock;
    acDock->setVisible(false);

    frameSpinBox = new QSpinBox(this);
    frameSpinBox->setObjectName("frameSpinBox");
    frameSpinBox->setRange(0, 0);
    maskValueSpinBox = makeValueSpinBox(this);
    maskValueSpinBox->setObjectName("maskValueSpinBox");
    thlValueSpinBox = makeValueSpinBox(this);
    thlValueSpinBox->setObjectName("thlValueSpinBox");

    colorMapGroup = new QActionGroup(this);
    // The group's order is the order in which stored map numbers pick a check mark.
    for (QAction* action : {ui->acCmGray, ui->acCmJet, ui->acCmJetWhite, ui->acCmHot, ui->acCmCool,
             ui->acCmInvertGray, ui->acCmHSL, ui->acCmCoolWarm})
        colorMapGroup->addAction(action);
    ui->acCmGray->setChecked(true);
    rotationGroup = new QActionGroup(this);
    for (QAction* action : ui->rotationActions())
        rotationGroup->addAction(action);
    ui->acRotate0->setChecked(true);

    auto* toolBar = addToolBar("toolBar");
    toolBar->setObjectName("toolBar");
    toolBar->setMovable(false);
    toolBar->addAction(ui->acOpenFrame);
    toolBar->addAction(ui->acSaveData);
    toolBar->addSeparator();
    toolBar->addAction(ui->acShowGrid);
    toolBar->addAction(ui->acShowChips);
    toolBar->addAction(ui->acRotate);
    toolBar->addSeparator();
    auto* colorButton = new QToolButton(toolBar);
    colorButton->setObjectName("colorButton");
    colorButton->setIcon(QIcon(":/devcontrol/toolbar/icons/color.png"));
    colorButton->setToolTip("Colour map");
    colorButton->setPopupMode(QToolButton::InstantPopup);
    auto* colorMenu = new QMenu(colorButton);
    colorMenu->addActions(ui->colorMapActions());
    colorButton->setMenu(colorMenu);
    toolBar->addWidget(colorButton);
    toolBar->addAction(ui->acUnderWarning);
    toolBar->addAction(ui->acOverWarning);
    toolBar->addSeparator();
    toolBar->addAction(ui->acPrevFrame);
    toolBar->addWidget(frameSpinBox);
    toolBar->addAction(ui->acNextFrame);
    toolBar->addAction(ui->acAutoUpdate);
    toolBar->addSeparator();
    toolBar->addAction(ui->acPixCfgEdit);
    toolBar->addAction(ui->acMeasurement);
    toolBar->addAction(ui->acPythonScripting);
    auto* spacer = new QWidget(toolBar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolBar->addWidget(spacer);
    toolBar->addAction(ui->acDock);
    toolBar->addAction(ui->acUndock);
    menuButton = new QToolButton(toolBar);
    menuButton->setObjectName("menuButton");
    menuButton->setIcon(orvelIcon());
    menuButton->setPopupMode(QToolButton::InstantPopup);
    toolBar->addWidget(menuButton);

    QMenu* file = menuBar()->addMenu("File");
    file->addAction(ui->acOpenFrame);
    file->addAction(ui->acSaveData);
    file->addSeparator();
    file->addAction(ui->acLoadConfig);
    file->addAction(ui->acSaveConfig);
    file->addAction(ui->acLoadFactory);
    file->addSeparator();
    file->addAction(ui->acReconnect);
    file->addSeparator();
    file->addAction(ui->acSaveOrvelConfig);
    QMenu* view = menuBar()->addMenu("View");
    view->addAction(ui->acMirror);
    QMenu* rotate = view->addMenu("Rotate Image");
    rotate->addActions(ui->rotationActions());
    view->addSeparator();
    view->addAction(ui->acShowGrid);
    view->addAction(ui->acShowMaskedPixels);
    view->addAction(ui->acResizeAspectRatio);
    menuPanels = menuBar()->addMenu("Panels");
    menuTools = menuBar()->addMenu("Tools");
    QMenu* help = menuBar()->addMenu("Help");
    help->addAction(ui->acHelp);

    setupStatusBar();
    initSecondToolbar();
    connectActions();
}

void DevViewMpx::initSecondToolbar()
{
    auto* layout = new QHBoxLayout(ui->secondToolbar);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* bar = new QToolBar(ui->secondToolbar);
    bar->setObjectName("pixCfgToolBar");
    bar->setIconSize(QSize(16, 16));
    bar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    layout->addWidget(bar);

    bar->addAction(ui->acPixCfgOpen);
    bar->addAction(ui->acPixCfgSave);
    bar->addSeparator();
    bar->addAction(ui->acPixCfgNone);
    bar->addAction(ui->acPixCfgTogglePixel);
    bar->addAction(ui->acPixCfgToggleColumn);
    bar->addAction(ui->acPixCfgToggleRow);
    bar->addSeparator();
    bar->addAction(ui->acPixCfgMaskAll);
    bar->addAction(ui->acPixCfgUnmaskAll);
    bar->addAction(ui->acPixCfgMaskSelect);
    bar->addAction(ui->acPixCfgUnmaskSelect);
    bar->addAction(ui->acPixCfgStg);
    if (QToolButton* reset = initResetBitsMenu())
        bar->addWidget(reset);
    bar->addSeparator();
    bar->addAction(ui->acMaskUnder);
    bar->addWidget(maskValueSpinBox);
    bar->addAction(ui->acMaskOver);
    bar->addSeparator();
    bar->addAction(ui->acThlUnder);
    bar->addWidget(thlValueSpinBox);
    bar->addAction(ui->acThlOver);
    if (thlSelectCombo)
        bar->addWidget(thlSelectCombo);

    pixCfgToggleGroup = new QActionGroup(this);
    for (QAction* action : {ui->acPixCfgNone, ui->acPixCfgTogglePixel, ui->acPixCfgToggleColumn,
             ui->acPixCfgToggleRow})
        pixCfgToggleGroup->addAction(action);
    ui->acPixCfgNone->setChecked(true);
}

QToolButton* DevViewMpx::initResetBitsMenu()
{
    return nullptr;
}

void DevViewMpx::connectActions()
{
    connect(ui->acOpenFrame, &QAction::triggered, this, [this] {
        if (!ctrl)
            return;
        QList<QString> files
            = QMyFileDialog::getOpenFileNames(nullptr, QStringLiteral("Load Frames"),
                QLastDir(QStringLiteral("devctrl/loadframes")), QStringLiteral("Frames (*.dsc)"));
        if (!files.isEmpty())
            ctrl->loadFiles(files);
    });
    connect(ui->acSaveData, &QAction::triggered, this, [this] {
        if (!ctrl)
            return;
        DlgSaveData dialog(this);
        dialog.setChoise(saveDataChoice);
        // The device may have gone while the dialog was open.
        if (dialog.exec() != QDialog::Accepted || !ctrl)
            return;
        saveDataChoice = dialog.choice();
        switch (saveDataChoice) {
        case 0:
            ctrl->saveAcqData();
            break;
        case 1:
            ctrl->saveCurrentFrame();
            break;
        case 2:
            ctrl->saveAllFrames();
            break;
        default:
            break;
        }
    });
    connect(ui->acSaveCurrentFrame, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->saveCurrentFrame();
    });
    connect(ui->acSaveAllFrames, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->saveAllFrames();
    });
    connect(ui->acReconnect, &QAction::triggered, this, [this] {
        if (dev)
            dev->reconnect();
    });
    connect(ui->acSaveOrvelConfig, &QAction::triggered, this, &DevViewMpx::sigSaveOnExit);
    connect(ui->acMirror, &QAction::triggered, this,
        [this](bool checked) { mpxFrame->setMirrored(checked); });
    connect(ui->acRotate, &QAction::triggered, this, &DevViewMpx::rotateClockwise);
    const QList<QAction*> ring = ui->rotationActions();
    for (int i = 0; i < ring.size(); ++i)
        connect(ring[i], &QAction::triggered, this, [this, i] { mpxFrame->setRotation(i * 90); });
    connect(ui->acShowGrid, &QAction::triggered, this, [this](bool checked) {
        mpxFrame->image->showGrid = checked;
        mpxFrame->image->redraw();
    });
    connect(ui->acShowChips, &QAction::triggered, this, &DevViewMpx::showChips);
    connect(ui->acShowMaskedPixels, &QAction::triggered, this, [this](bool checked) {
        if (ctrl)
            ctrl->showMaskedPixels(checked);
    });
    connect(ui->acResizeAspectRatio, &QAction::triggered, this, [this](bool checked) {
        mpxFrame->zoomOut();
        mpxFrame->keepAspectRatio(checked);
    });
    connect(ui->acUnderWarning, &QAction::triggered, this, [this](bool checked) {
        mpxFrame->image->showUnderRange = checked;
        mpxFrame->image->redraw();
    });
    connect(ui->acOverWarning, &QAction::triggered, this, [this](bool checked) {
        mpxFrame->image->showOverRange = checked;
        mpxFrame->image->redraw();
    });
    const QList<QAction*> maps = ui->colorMapActions();
    for (int i = 0; i < maps.size(); ++i)
        connect(maps[i], &QAction::triggered, this, [this, i] { setColorMap(i); });
    connect(ui->acPrevFrame, &QAction::triggered, this, [this] {
        if (frameSpinBox->value() >= 1)
            frameSpinBox->setValue(frameSpinBox->value() - 1);
    });
    connect(ui->acNextFrame, &QAction::triggered, this, [this] {
        if (frameSpinBox->value() < frameSpinBox->maximum())
            frameSpinBox->setValue(frameSpinBox->value() + 1);
    });
    connect(ui->acAutoUpdate, &QAction::triggered, this, [this](bool checked) {
        if (!ctrl)
            return;
        ctrl->setAutoUpdateEnabled(checked);
        ctrl->showAcqFrame(static_cast<unsigned long>(frameSpinBox->value() - 1));
    });
    connect(ui->acPixCfgEdit, &QAction::triggered, this, &DevViewMpx::setPixCfgEditing);
    connect(ui->acPixCfgToggleRow, &QAction::triggered, this,
        [this] { setToggleMode(false, QMpxImage::PixCfgRow); });
    connect(ui->acPixCfgToggleColumn, &QAction::triggered, this,
        [this] { setToggleMode(false, QMpxImage::PixCfgColumn); });
    connect(ui->acPixCfgTogglePixel, &QAction::triggered, this,
        [this] { setToggleMode(false, QMpxImage::PixCfgPixel); });
    connect(ui->acPixCfgNone, &QAction::triggered, this,
        [this] { setToggleMode(true, QMpxImage::PixCfgNone); });
    connect(ui->acPixCfgMaskAll, &QAction::triggered, this, [this] {
        if (ov::IMpxPixCfg* cfg = devMpx ? devMpx->pixCfg() : nullptr)
            cfg->setAllMask(true);
    });
    connect(ui->acPixCfgUnmaskAll, &QAction::triggered, this, [this] {
        if (ov::IMpxPixCfg* cfg = devMpx ? devMpx->pixCfg() : nullptr)
            cfg->setAllMask(false);
    });
    connect(ui->acPixCfgMaskSelect, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->maskRect(mpxFrame->image->getSelectRealRects(), true);
    });
    connect(ui->acPixCfgUnmaskSelect, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->maskRect(mpxFrame->image->getSelectRealRects(), false);
    });
    // Sets configuration bits on the rectangles selected on the frame, or on a region
    // chosen in the dialog when nothing is selected.
    connect(ui->acPixCfgStg, &QAction::triggered, this, [this] {
        if (!devMpx)
            return;
        DlgPixCfg dialog(this, devMpx, mpxFrame->image->getSelectRealRects());
        dialog.exec();
    });
    connect(ui->acPixCfgSave, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->savePixCfg();
    });
    connect(ui->acPixCfgOpen, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->openPixCfg();
    });
    connect(ui->acMaskOver, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->maskOver(maskValueSpinBox->value());
    });
    connect(ui->acMaskUnder, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->maskUnder(maskValueSpinBox->value());
    });
    // The combo chooses the adjustment where a family has two.
    connect(ui->acThlOver, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->shiftThlOver(
                thlValueSpinBox->value(), thlSelectCombo ? thlSelectCombo->currentIndex() : 0);
    });
    connect(ui->acThlUnder, &QAction::triggered, this, [this] {
        if (ctrl)
            ctrl->shiftThlUnder(
                thlValueSpinBox->value(), thlSelectCombo ? thlSelectCombo->currentIndex() : 0);
    });
    connect(ui->acLoadConfig, &QAction::triggered, this, [this] {
        if (!ctrl)
            return;
        const QString name = QDir::toNativeSeparators(QMyFileDialog::getOpenFileName(nullptr,
            QStringLiteral("Load Config"), QLastDir(QStringLiteral("devctrl/loadcfg")),
            QStringLiteral("Config files (*.mcf *.xml)")));
        if (!name.isEmpty() && ctrl)
            ctrl->loadConfig(name.toUtf8().constData());
        raise();
        activateWindow();
    });
    connect(ui->acSaveConfig, &QAction::triggered, this, [this] {
        if (!ctrl || !dev)
            return;
        ov::String configPath;
        dev->configFilePath(configPath);
        const QString suggested = QFileInfo(QString::fromUtf8(configPath.get())).fileName();
        const QString name = QDir::toNativeSeparators(QMyFileDialog::getSaveFileName(nullptr,
            QStringLiteral("Save Config"), QLastDir(QStringLiteral("devctrl/savecfg")),
            QStringLiteral("Orvel Config (*.xml);;"), nullptr, QFileDialog::Options(), suggested));
        if (!name.isEmpty() && ctrl)
            ctrl->saveConfig(name.toUtf8().constData());
    });
    connect(ui->acLoadFactory, &QAction::triggered, this, [this] {
        if (!ctrl)
            return;
        const auto answer = QMessageBox::question(this, QStringLiteral("Factory config"),
            QStringLiteral("Do you want to load the factory config for the detector ?"),
            QMessageBox::Yes | QMessageBox::No);
        if (answer == QMessageBox::Yes && ctrl)
            ctrl->loadFactoryCfg();
    });
    connect(ui->acUndock, &QAction::triggered, this, [this] {
        acUndock->setVisible(false);
        acDock->setVisible(true);
        emit sigUndock();
    });
    connect(ui->acDock, &QAction::triggered, this, [this] {
        acDock->setVisible(false);
        acUndock->setVisible(true);
        emit sigDock();
    });
    connect(ui->acMeasurement, &QAction::triggered, this, [this] {
        if (measurementItem)
            measurementItem->execute();
    });
    connect(ui->acPythonScripting, &QAction::triggered, this, [this] {
        if (scriptingItem)
            scriptingItem->execute();
    });
    connect(ui->acHelp, &QAction::triggered, this, &DevViewMpx::openHelp);
}

// ---------------------------------------------------------------------------------
// Initialisation sequence, run by the chip-family view

void DevViewMpx::initialize()
{
    if (settings) {
        settings->load();
        loadSettings();
    }
    getDeviceStatus();
    initMeasurementIcon();
    initPythonScriptingIcon();
}

void DevViewMpx::finishInitialization()
{
    DevViewMpx::initialize();
    setupPanels();
    setupSlotsAndCbs();
    initMpxGuiParams();
    refreshOrvelMenu();
    loadPanelsStateFromSettings();
    enableGui(true, false);
}

void DevViewMpx::setupPanels()
{
    msgPanel = new MsgPanel(this);
    addBottomPanel(msgPanel, "Messages");
    if (devMpx && devMpx->dacs()) {
        dacPanel = new DacPanel(this, devMpx, ctrl);
        addBottomPanel(dacPanel, "DAC Panel");
    }
}

void DevViewMpx::addImagePanels()
{
    imagePropsPanel = new PnlImageProps(this, mpxFrame, ctrl);
    addStgPanel(imagePropsPanel);
    imagePropsAdvPanel = new PnlImagePropsAdv(this, mpxFrame, ctrl);
    addStgPanel(imagePropsAdvPanel);
}

void DevViewMpx::addAnalysisPanels(PnlMeasurementBase* measurement)
{
    imageInfoPanel = new PnlImageInfo(this);
    addStgPanel(imageInfoPanel);
    histogramPanel = new PnlHistogram(this);
    addStgPanel(histogramPanel);

    // The first six panels share the height they can use; the spacer at the end
    // takes what they leave.
    for (int item = 0; item <= 5 && item < ui->verticalLayout->count() - 1; ++item)
        ui->verticalLayout->setStretch(item, 1);
    ui->saSettings->setMinimumWidth(settingsPanelWidth);
    ctrl->setImagePropsPanel(imagePropsPanel);
    ctrl->setHistogramPanel(histogramPanel);
    ctrl->setImageInfoPanel(imageInfoPanel);
    connect(measurement, &PnlMeasurementBase::sigAcqStart, this, &DevViewMpx::onStartAcq);
    connect(measurement, &PnlMeasurementBase::sigAcqStop, this, &DevViewMpx::onStopAcq);
}

void DevViewMpx::setupSlotsAndCbs()
{
    // The host cannot forget an event or menu callback, so it is handed a relay that
    // outlives this page.
    relay = CallbackRelay::create(this);
    if (dev) {
        dev->registerEvent("DeviceCfgChanged", onDeviceCfgChangedWrapper, relay);
        dev->registerEvent("DevMenuChanged", onMenuChangedWrapper, relay);
        dev->registerLogCallback(onLogWrapper, relay);
    }
    if (host) {
        if (ov::IUiHooks* hooks = host->uiHooks())
            hooks->registerMenuChanged(onMenuChangedWrapper, relay);
        host->registerLogCallback(onLogWrapper, relay);
    }

    if (ctrl) {
        connect(ctrl, &DevCtrlMpx::acqRepeatFinished, this, &DevViewMpx::onAcqRepeatFinished);
        connect(ctrl, &DevCtrlMpx::acqRepeatStarted, this, &DevViewMpx::onAcqRepeatStarted);
        connect(ctrl, &DevCtrlMpx::acqAllFinished, this, &DevViewMpx::onAcqAllFinished);
        connect(ctrl, &DevCtrlMpx::progress, this, &DevViewMpx::onAcqProgress);
        connect(ctrl, &DevCtrlMpx::acqFrameCountChange, this, &DevViewMpx::onFrameCountChanged);
        connect(
            ctrl, &DevCtrlMpx::sigDeviceStatusChanged, this, &DevViewMpx::onDeviceStatusChanged);
        connect(ctrl, &DevCtrlMpx::sigDevLockChanged, this, &DevViewMpx::onDevLockChanged);
    }
    connect(frameSpinBox, qOverload<int>(&QSpinBox::valueChanged), this,
        &DevViewMpx::onsbFrameValueChanged);
    connect(progressTimer, &QTimer::timeout, this, &DevViewMpx::onTimeProgress);
    connect(this, &DevViewMpx::sigLogEvent, this, &DevViewMpx::onLogEvent, Qt::QueuedConnection);
    connect(
        this, &DevViewMpx::sigMenuChanged, this, &DevViewMpx::onMenuChanged, Qt::QueuedConnection);
    connect(mpxFrame, &QMpxFrame::clicked, this, &DevViewMpx::onFrameClicked);
    connect(mpxFrame, &QMpxFrame::dropFiles, this, &DevViewMpx::onDropFiles);
}

void DevViewMpx::initMpxGuiParams()
{
    if (!devMpx)
        return;
    const int width = devMpx->width();
    const int height = devMpx->height();
    mpxFrame->getAxisX().setRange(0, width - 1);
    mpxFrame->getAxisY().setRange(0, height - 1);
    std::vector<double> zeros(devMpx->pixelCount(), 0.0);
    if (zeros.size() >= static_cast<size_t>(width) * static_cast<size_t>(height) && width > 0)
        mpxFrame->setData<double>(zeros.data(), width, height);
}

namespace {

// The first direct child of the host's menu root with the given title.
const ov::IMenuItem* findMenuItem(ov::IOrvel* host, const char* title)
{
    ov::IUiHooks* hooks = host ? host->uiHooks() : nullptr;
    const ov::IMenuItem* root = hooks ? hooks->menuRoot() : nullptr;
    if (!root)
        return nullptr;
    ov::PtrList<const ov::IMenuItem*> children;
    root->children(children);
    for (const ov::IMenuItem* child : children.items())
        if (child && child->title() && QString::fromUtf8(child->title()) == title)
            return child;
    return nullptr;
}

} // namespace

void DevViewMpx::initMeasurementIcon()
{
    if (!host || !host->uiHooks())
        return;
    measurementItem = findMenuItem(host, "Measurement");
    ui->acMeasurement->setVisible(measurementItem != nullptr);
}

void DevViewMpx::initPythonScriptingIcon()
{
    if (!host || !host->uiHooks())
        return;
    scriptingItem = findMenuItem(host, "Python Scripting");
    ui->acPythonScripting->setVisible(scriptingItem != nullptr);
}

void DevViewMpx::refreshOrvelMenu()
{
    const ov::IMenuItem* deviceMenu = dev ? dev->deviceMenu() : nullptr;
    ov::IUiHooks* hooks = host ? host->uiHooks() : nullptr;
    const ov::IMenuItem* root = hooks ? hooks->menuRoot() : nullptr;

    auto* newTools = new QOrvelMenu(false);
    newTools->addToQMenu(deviceMenu);
    newTools->menu()->addSeparator();
    newTools->addToQMenu(root);
    auto* newBar = new QOrvelMenu(true);
    newBar->addToQMenu(deviceMenu);
    newBar->menu()->addSeparator();
    newBar->addToQMenu(root);

    menuButton->setMenu(newTools->menu());
    menuTools->clear();
    menuTools->addActions(newBar->menu()->actions());
    // Later: the old menus may be delivering the click that changed the menu.
    if (toolsMenu)
        toolsMenu->deleteLater();
    if (menuBarMenu)
        menuBarMenu->deleteLater();
    toolsMenu = newTools;
    menuBarMenu = newBar;
}

// ---------------------------------------------------------------------------------
// Panels

void DevViewMpx::addBottomPanel(QWidget* panel, const QString& title)
{
    auto* window = new QFancyToolWindow(panel, title, ui->splitter);
    window->hide();
    ui->splitter->addWidget(window);
    ui->splitter->setStretchFactor(ui->splitter->indexOf(window), 0);
    bottomPanels.append(window);
    ui->statusbar->addButton(bottomPanels.size() - 1, title, window);
}

void DevViewMpx::addStgPanel(QWidget* panel)
{
    ui->verticalLayout->insertWidget(ui->verticalLayout->count() - 1, panel);
    settingsPanelWidth = std::max(settingsPanelWidth, panel->minimumSizeHint().width());
}

QAction* DevViewMpx::addPanelAction(const QString& title, QWidget* panel, bool visible)
{
    QAction* action = menuPanels->addAction(title);
    action->setCheckable(true);
    action->setChecked(visible);
    action->setData(QVariant::fromValue(static_cast<QObject*>(panel)));
    connect(action, &QAction::triggered, this, &DevViewMpx::onPanelVisibleTriggered);
    panel->setVisible(visible);
    return action;
}

void DevViewMpx::onPanelVisibleTriggered()
{
    auto* action = qobject_cast<QAction*>(sender());
    if (!action)
        return;
    if (auto* panel = qobject_cast<QWidget*>(action->data().value<QObject*>()))
        panel->setVisible(action->isChecked());
}

QLabelWithIcon* DevViewMpx::getPanelLabelWithIcon(QWidget* panel)
{
    if (!panel)
        return nullptr;
    for (QObject* child : panel->children())
        if (auto* label = qobject_cast<QLabelWithIcon*>(child))
            return label;
    return nullptr;
}

void DevViewMpx::savePanelsStateToSettings()
{
    if (!settings)
        return;
    for (QAction* action : menuPanels->actions()) {
        auto* panel = qobject_cast<QWidget*>(action->data().value<QObject*>());
        const QByteArray key = action->text().toUtf8();
        settings->setBool("Panels", key.constData(), action->isChecked());
        QLabelWithIcon* label = getPanelLabelWithIcon(panel);
        settings->setBool("PanelsCollapsed", key.constData(), label ? !label->isOpen() : false);
    }
}

void DevViewMpx::loadPanelsStateFromSettings()
{
    if (!settings)
        return;
    for (QAction* action : menuPanels->actions()) {
        auto* panel = qobject_cast<QWidget*>(action->data().value<QObject*>());
        const QByteArray key = action->text().toUtf8();
        const bool visible = settings->getBool("Panels", key.constData(), action->isChecked());
        const bool collapsed = settings->getBool("PanelsCollapsed", key.constData(), false);
        action->setChecked(visible);
        if (panel)
            panel->setVisible(visible);
        if (QLabelWithIcon* label = getPanelLabelWithIcon(panel)) {
            // A press flips the flag: setting it to the collapsed state first leaves the
            // panel open when it was not collapsed, and closed when it was.
            label->setOpen(collapsed);
            label->mousePressEvent(nullptr);
        }
    }
}

// ---------------------------------------------------------------------------------
// Settings

QAction* DevViewMpx::aspectRatioAction() const
{
    return ui->acResizeAspectRatio;
}

void DevViewMpx::loadSettings()
{
    if (!settings)
        return;
    if (ctrl)
        ctrl->loadSettings(settings);
    ui->acResizeAspectRatio->setChecked(settings->getBool("View", "KeepAspectRatio", true));
    ui->acShowMaskedPixels->setChecked(settings->getBool("View", "ShowMaskedPixels", false));
    if (ctrl)
        ctrl->showMaskedPixels(ui->acShowMaskedPixels->isChecked());
    const int map = settings->getInt("View", "ColorMap", 0);
    const QList<QAction*> group = colorMapGroup->actions();
    if (map >= 0 && map < group.size()) {
        group[map]->setChecked(true);
        mpxFrame->setColorMap(static_cast<ColorMap::DefaultColorMap>(map));
    }
}

void DevViewMpx::saveSettings()
{
    if (!settings)
        return;
    if (ctrl)
        ctrl->saveSettings(settings);
    savePanelsStateToSettings();
    settings->setBool("View", "KeepAspectRatio", ui->acResizeAspectRatio->isChecked());
    settings->setBool("View", "ShowMaskedPixels", ui->acShowMaskedPixels->isChecked());
    int map = 0;
    if (ColorMap* colors = mpxFrame->image->getColorMap())
        map = colors->getDefaultColorMap();
    settings->setInt("View", "ColorMap", map);
}

void DevViewMpx::onExit()
{
    // The panel hands its range to the controller, which saves it with its settings.
    if (imagePropsPanel)
        imagePropsPanel->onExit();
    saveSettings();
    if (settings)
        settings->save();
}

// ---------------------------------------------------------------------------------
// Operations of the plug-in's private interface

int DevViewMpx::devType() const
{
    return dev ? dev->deviceType() : 0;
}

QString DevViewMpx::fullName() const
{
    return devFullName;
}

QString DevViewMpx::devName() const
{
    return deviceShortName(dev);
}

void DevViewMpx::setViewMenuBar(QMenuBar* bar)
{
    setMenuBar(bar);
}

QMenuBar* DevViewMpx::viewMenuBar()
{
    return menuBar();
}

void DevViewMpx::enableUndocking(bool enable)
{
    acDock->setVisible(false);
    acUndock->setVisible(enable);
}

int DevViewMpx::showFrame(ov::IMpxFrame* frame)
{
    if (ctrl)
        ctrl->showMpxFrame(frame);
    return 0;
}

// The families forward these to their measurement panel.
// These go to the measurement panel, which takes them to the GUI thread; a page
// without one does nothing.
void DevViewMpx::setAcqParams(int count, double time)
{
    if (PnlMeasurementBase* panel = measurementPanelBase())
        panel->setAcqParams(count, time);
}

void DevViewMpx::setAcqType(int type)
{
    if (PnlMeasurementBase* panel = measurementPanelBase())
        panel->setAcqType(type);
}

void DevViewMpx::setOutputParams(const char* path, bool enabled)
{
    if (PnlMeasurementBase* panel = measurementPanelBase())
        panel->setOutputParams(path, enabled);
}

void DevViewMpx::setRepeatParams(int count, bool enabled)
{
    if (PnlMeasurementBase* panel = measurementPanelBase())
        panel->setRepeatParams(count, enabled);
}

void DevViewMpx::start()
{
    if (PnlMeasurementBase* panel = measurementPanelBase())
        panel->start();
}

void DevViewMpx::stop()
{
    if (PnlMeasurementBase* panel = measurementPanelBase())
        panel->stop();
}

void DevViewMpx::setRepeatFileParams(unsigned flags, int digits)
{
    if (!ctrl)
        return;
    ctrl->acqParams().repeatFileFlags = flags;
    ctrl->acqParams().repeatFileDigits = digits;
}

void DevViewMpx::setOutputFlags(unsigned flags)
{
    if (ctrl)
        ctrl->acqParams().fileFlags = flags;
}

void DevViewMpx::setRefreshParams(bool dacs, bool pixCfg)
{
    if (!ctrl)
        return;
    ctrl->acqParams().refreshDacs = dacs;
    ctrl->acqParams().refreshPixCfg = pixCfg;
}

void DevViewMpx::setAcqMode(int mode)
{
    if (ctrl)
        ctrl->acqParams().acqMode = mode;
}

bool DevViewMpx::isRunning()
{
    return ctrl && ctrl->isAcqRunning();
}

int DevViewMpx::lastAcqResult()
{
    return ctrl ? ctrl->lastAcqResult() : 0;
}

void DevViewMpx::setColorMap(int index)
{
    emit sigSetColorMap(index);
}

void DevViewMpx::setRange(double min, double max)
{
    emit sigSetRange(min, max);
}

void DevViewMpx::setWindowAll(bool all)
{
    emit sigSetWindowAll(all);
}

void DevViewMpx::setCurrentSubFrame(int index)
{
    emit sigSetCurrentSubFrame(index);
}

void DevViewMpx::onSetColorMap(int index)
{
    if (index < 0 || index >= ColorMap::Tracking)
        return;
    mpxFrame->setColorMap(static_cast<ColorMap::DefaultColorMap>(index));
}

// The range and window reach the picture through the image-properties panel.
void DevViewMpx::onSetRange(double min, double max)
{
    if (imagePropsPanel)
        imagePropsPanel->setRange(min, max);
}

void DevViewMpx::onSetWindowAll(bool all)
{
    if (imagePropsPanel)
        imagePropsPanel->setWindowAll(all);
}

void DevViewMpx::onSetCurrentSubFrame(int index)
{
    if (index >= 0 && index < subFrameTabs->count())
        subFrameTabs->setCurrentIndex(index);
}

// ---------------------------------------------------------------------------------
// Actions

void DevViewMpx::rotateClockwise()
{
    const QList<QAction*> ring = ui->rotationActions();
    for (int i = 0; i < ring.size(); ++i) {
        if (ring[i]->isChecked()) {
            const int next = (i + 1) % ring.size();
            ring[next]->setChecked(true);
            mpxFrame->setRotation(next * 90);
            return;
        }
    }
    ui->acRotate90->setChecked(true);
    mpxFrame->setRotation(90);
}

void DevViewMpx::setToggleMode(bool selection, int mode)
{
    mpxFrame->image->selectionEnabled = selection;
    mpxFrame->image->pixCfgMode = mode;
    mpxFrame->image->redraw();
}

void DevViewMpx::setPixCfgEditing(bool checked)
{
    emit sigPixConfTriggered(checked);
    ui->secondToolbar->setVisible(checked);
    if (ctrl)
        ctrl->showPixCfgFrames(checked);
    if (checked) {
        mpxFrame->image->selectionEnabled = ui->acPixCfgNone->isChecked();
        return;
    }
    ui->acPixCfgNone->setChecked(true);
    setToggleMode(true, QMpxImage::PixCfgNone);
}

void DevViewMpx::showChips(bool show)
{
    QList<QRect> rects;
    QList<QString> texts;
    if (show)
        getChipRectsTexts(rects, texts);
    mpxFrame->image->chipRects = rects;
    mpxFrame->image->chipTexts = texts;
    mpxFrame->image->redraw();
}

void DevViewMpx::getChipRectsTexts(QList<QRect>& rects, QList<QString>& texts)
{
    if (!devMpx)
        return;
    const unsigned chips = devMpx->chipCount();
    unsigned gridWidth = 0;
    unsigned gridHeight = 0;
    std::vector<unsigned> indexes(std::max(chips, 1u) * 4, 0);
    std::vector<unsigned> rotations(indexes.size(), 0);
    if (devMpx->chipLayout(&gridWidth, &gridHeight, indexes.data(), rotations.data()) != 0)
        return;
    if (static_cast<size_t>(gridWidth) * gridHeight > indexes.size())
        return;
    ov::StrList ids;
    devMpx->chipIds(ids);
    const std::vector<std::string>& names = ids.items();
    for (unsigned y = 0; y < gridHeight; ++y) {
        for (unsigned x = 0; x < gridWidth; ++x) {
            const unsigned chip = indexes[y * gridWidth + x];
            rects.append(QRect(QPoint(256 * x, 256 * y), QPoint(256 * x + 255, 256 * y + 255)));
            const QString id
                = chip < names.size() ? QString::fromStdString(names[chip]) : QString();
            texts.append(QString("%1\n%2").arg(chip + 1).arg(id));
        }
    }
}

// Each checked toggle action toggles its area; the mouse button plays no part.
void DevViewMpx::onFrameClicked(unsigned column, unsigned row, unsigned, unsigned, int)
{
    if (!ctrl)
        return;
    const QList<QRect> rects;
    if (ui->acPixCfgToggleRow->isChecked())
        ctrl->togglePixCfg(column, row, DevCtrlMpx::AreaRow, rects);
    if (ui->acPixCfgToggleColumn->isChecked())
        ctrl->togglePixCfg(column, row, DevCtrlMpx::AreaColumn, rects);
    if (ui->acPixCfgTogglePixel->isChecked())
        ctrl->togglePixCfg(column, row, DevCtrlMpx::AreaPixel, rects);
}

void DevViewMpx::onDropFiles(QList<QString> files)
{
    if (ctrl && !files.isEmpty())
        ctrl->loadFiles(files);
}

void DevViewMpx::openHelp()
{
    QString dir;
    if (ov::ICoreSettings* core = host ? host->settingsStore() : nullptr) {
        ov::String value;
        core->getString("ApplicationDirectory", &value);
        dir = QString::fromUtf8(value.get());
    }
    const QString path = QDir(dir).filePath("help/OrvelPro.pdf");
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

// ---------------------------------------------------------------------------------
// Frame navigation and locking

void DevViewMpx::onFrameCountChanged(int count)
{
    {
        // The box counts from 0, its minimum, which a count of 0 (a data-driven run
        // delivers data objects but no frames) must not pull down to -1: it then holds
        // 0, the first index, which shows the first data object of such a run.
        const QSignalBlocker block(frameSpinBox);
        frameSpinBox->setMaximum(std::max(count - 1, frameSpinBox->minimum()));
        frameSpinBox->setValue(count - 1);
    }
    const bool any = count >= 1;
    frameSpinBox->setEnabled(any);
    ui->acNextFrame->setEnabled(any);
    ui->acPrevFrame->setEnabled(any);
}

void DevViewMpx::onsbFrameValueChanged(int index)
{
    if (ctrl)
        ctrl->showAcqFrame(static_cast<unsigned long>(index));
}

void DevViewMpx::enableGui(bool enabled, bool)
{
    const bool haveData = ctrl && ctrl->acqDataCount() != 0;
    ui->acNextFrame->setEnabled(haveData);
    ui->acPrevFrame->setEnabled(haveData);
    frameSpinBox->setEnabled(haveData);
    ui->secondToolbar->setEnabled(enabled);
}

void DevViewMpx::onDevLockChanged()
{
    const bool locked = dev && dev->isLocked();
    enableGui(!locked, false);
    if (dacPanel)
        dacPanel->setEnabled(!locked);
}

// ---------------------------------------------------------------------------------
// Window events and host callbacks

void DevViewMpx::resizeEvent(QResizeEvent* event)
{
    DevView::resizeEvent(event);
}

void DevViewMpx::showEvent(QShowEvent* event)
{
    DevView::showEvent(event);
    if (firstShow) {
        firstShow = false;
        onFirstWindowShow();
    }
}

void DevViewMpx::onFirstWindowShow()
{
    mpxFrame->keepAspectRatio(ui->acResizeAspectRatio->isChecked());
}

void DevViewMpx::reconnect()
{
    emit sigMenuChanged();
    emit sigReconnect(this);
}

void DevViewMpx::onDeviceCfgChangedWrapper(long, long user)
{
    CallbackRelay::fromUserData(user)->with<DevViewMpx>([](DevViewMpx* view) {
        QMetaObject::invokeMethod(view, &DevViewMpx::reconnect, Qt::QueuedConnection);
    });
}

void DevViewMpx::onMenuChangedWrapper(long, long user)
{
    CallbackRelay::fromUserData(user)->with<DevViewMpx>(
        [](DevViewMpx* view) { emit view->sigMenuChanged(); });
}

void DevViewMpx::onLogWrapper(unsigned level, const char* text, long user)
{
    const QString message = QString::fromUtf8(text ? text : "");
    CallbackRelay::fromUserData(user)->with<DevViewMpx>(
        [&](DevViewMpx* view) { emit view->sigLogEvent(static_cast<int>(level), message); });
}

} // namespace PluginDevControl
