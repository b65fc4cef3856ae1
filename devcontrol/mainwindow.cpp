#include "mainwindow.h"

#include "devicekinds.h"
#include "devview.h"
#include "devviewfactory.h"
#include "devviewmotor.h"
#include "devviewmpx.h"
#include "qfancytabwidget.h"
#include "ui_mainwindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QScreen>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstring>

namespace PluginDevControl {

namespace {
const char* const kDefaultImage = ":/devcontrol/images/unknown";
// How often the reaper looks whether the views of removed devices can go.
constexpr int kReaperIntervalMs = 100;
} // namespace

MainWindow::MainWindow(QWidget* parent, ov::IOrvel* host, bool quit)
    : QMainWindow(parent), ui(new Ui_MainWindow), orvel(host), quitOnClose(quit)
{
    if (orvel) {
        orvel->registerEvent("NewDevice", &MainWindow::onNewDeviceWrapper, this);
        orvel->registerEvent("DeviceRemoved", &MainWindow::onDeviceRemovedWrapper, this);
    }

    ui->setupUi(this);
    ui->tabWidget->update();

    connect(ui->tabWidget, &QFancyTabWidget::currentChanged, this, &MainWindow::onChange);

    connect(this, &MainWindow::sigShowView, this, &MainWindow::onShowView);
    // Blocking: onStart returns with every tab in place.
    connect(this, &MainWindow::sigInitialize, this, &MainWindow::onInitialize,
        Qt::BlockingQueuedConnection);
    connect(this, &MainWindow::sigNewDevice, this, &MainWindow::onNewDevice);
    // Blocking: the host destroys the device as soon as its callback returns.
    connect(this, &MainWindow::sigDeviceRemoved, this, &MainWindow::onDeviceRemoved,
        Qt::BlockingQueuedConnection);

    const char* const keys[][2] = {
        {"kalbar", "kalbar"},
        {"tornel", "tornel"},
        {"dummy", "dummy"},
        {"usb", "usb"},
        {"lite", "usb"},
        {"sparrel", "sparrel"},
        {"quillet", "sparrel"},
        {"hanvik", "hanvik"},
        {"zoltin", "zoltin"},
        {"composite", "composite"},
        {"filedev", "composite"},
        {"motors", "motors"},
        {"xray", "xray"},
        {"hv", "hv"},
        {"vorn", "vorn"},
        {"brevik", "brevik"},
        {"morlan", "morlan"},
    };
    for (const auto& row : keys)
        deviceImages.insert(row[0], QString(":/devcontrol/images/") + row[1]);
}

MainWindow::~MainWindow()
{
    // Undocked views are top-level windows with no parent; docked ones would go with
    // the tab widget, but deleting all of them here keeps the order well defined.
    const QList<DevView*> all = views;
    views.clear();
    dockedViews.clear();
    qDeleteAll(all);
    for (const QPointer<DevView>& retired : retiredViews)
        delete retired.data();
    if (centralWidget() != ui->centralwidget)
        delete ui->centralwidget; // taken out while the "no devices" note is shown
    delete ui;
}

QFancyTabWidget* MainWindow::tabWidget() const
{
    return ui->tabWidget;
}

bool MainWindow::validDevice(ov::IDev* dev)
{
    return dev && isKnownDeviceKind(dev->deviceType());
}

DevViewMpx* MainWindow::getView(ov::IDev* dev) const
{
    if (!dev)
        return nullptr;
    for (DevView* view : views) {
        if (view->getDev() == dev)
            return qobject_cast<DevViewMpx*>(view);
    }
    return nullptr;
}

QString MainWindow::coreString(const char* key) const
{
    ov::String value;
    if (ov::ICoreSettings* core = orvel ? orvel->settingsStore() : nullptr)
        core->getString(key, &value);
    return QString::fromUtf8(value.get());
}

void MainWindow::onInitialize()
{
    const std::vector<ov::IDev*> list = orvel ? orvel->devices() : std::vector<ov::IDev*>();
    int added = 0;
    for (ov::IDev* dev : list) {
        if (validDevice(dev) && addNewDevice(dev))
            ++added;
    }
    if (dockedViews.size() == 1)
        dockedViews.first()->enableUndocking(false);
    if (added > 0)
        ui->tabWidget->setCurrentIndex(0);

    ov::ICoreSettings* core = orvel ? orvel->settingsStore() : nullptr;
    const bool fileDeviceWanted = core && core->getBool("CreateFileDevice");
    if (added == 1 && list.front()->deviceType() == ov::DevKindFile && !fileDeviceWanted)
        warnNoDevice = true;

    if (added == 0) {
        // Keep the tab widget alive behind the label, so a device plugged in later
        // still gets its tab.
        takeCentralWidget();
        auto* label = new QLabel("No devices connected.\nPlease make sure the devices are "
                                 "correctly connected to the computer.");
        label->setObjectName("lblNoDevice");
        label->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
        setCentralWidget(label);
    }
}

void MainWindow::onNewDeviceWrapper(long eventData, long userData)
{
    auto* window = reinterpret_cast<MainWindow*>(userData);
    emit window->sigNewDevice(static_cast<unsigned long long>(eventData));
}

void MainWindow::onDeviceRemovedWrapper(long eventData, long userData)
{
    auto* window = reinterpret_cast<MainWindow*>(userData);
    const auto dev = static_cast<unsigned long long>(eventData);
    if (QThread::currentThread() == qApp->thread()) {
        window->onDeviceRemoved(dev);
        return;
    }
    emit window->sigDeviceRemoved(dev);
    // Pairs with the release at the end of onDeviceRemoved.
    (void)window->removalsDone.load(std::memory_order_acquire);
}

void MainWindow::onNewDevice(unsigned long long dev)
{
    // The event was queued: the device may have been removed before it arrived here
    // (plugged in and out at once), and the pointer is then no device at all.
    auto* device = reinterpret_cast<ov::IDev*>(dev);
    if (!orvel)
        return;
    const std::vector<ov::IDev*> connected = orvel->devices();
    if (std::find(connected.begin(), connected.end(), device) == connected.end())
        return;
    addNewDevice(device);
}

bool MainWindow::addNewDevice(ov::IDev* dev)
{
    if (!dev || devices.contains(dev))
        return false;
    if (dev->deviceType() == ov::DevKindMotor) {
        if (!motorView) {
            motorView = new DevViewMotor(this, orvel, nullptr);
            connect(motorView, &DevView::sigUndock, this, &MainWindow::onUndock);
            connect(motorView, &DevView::sigDock, this, &MainWindow::onDock);
            addDevView(motorView, false);
        }
        motorView->addMotor(dev);
        devices.append(dev);
        return true;
    }

    DevView* view = createDeviceView(this, orvel, dev);
    if (!view)
        return false;
    devices.append(dev);
    if (auto* detector = qobject_cast<DevViewMpx*>(view->widget())) {
        connect(detector, &DevViewMpx::sigReconnect, this, &MainWindow::onReconnect);
        connect(detector, &DevViewMpx::sigSaveOnExit, this, &MainWindow::onExit);
    }
    connect(view, &DevView::sigUndock, this, &MainWindow::onUndock);
    connect(view, &DevView::sigDock, this, &MainWindow::onDock);
    addDevView(view, false);
    return true;
}

void MainWindow::addDevView(DevView* view, bool redock)
{
    if (!view)
        return;
    if (centralWidget() != ui->centralwidget) {
        // A device arrived after "no devices": the tabs come back in place of the note.
        setCentralWidget(ui->centralwidget);
        ui->centralwidget->show();
    }
    if (!redock)
        view->setWindowFlags(Qt::WindowFlags());
    addNewTab(view->devName(), view->fullName(), view);
    if (!redock)
        views.append(view);

    QString title = view->fullName();
    if (ov::IDev* dev = view->getDev()) {
        ov::DevInfo info;
        std::memset(&info, 0, sizeof info);
        dev->deviceInfo(&info);
        if (info.serial != 0)
            title += QString(" sn %1").arg(info.serial);
    }
    titles.append(title);
    menuBars.append(view->viewMenuBar());
    dockedViews.append(view);
}

void MainWindow::addNewTab(const QString& name, const QString& fullName, DevView* view)
{
    const QString key = name.toLower();
    QString image = kDefaultImage;
    QString text = fullName;
    if (deviceImages.contains(key)) {
        image = deviceImages.value(key);
        text = removeIntfFromName(name, fullName);
    } else {
        switch (view->devType()) {
        case ov::DevKindXray:
            image = deviceImages.value("xray");
            break;
        case ov::DevKindMotor:
            image = deviceImages.value("motors");
            break;
        case ov::DevKindHvSource:
            image = deviceImages.value("hv");
            break;
        default:
            break;
        }
    }
    ui->tabWidget->addTab(view, QIcon(QPixmap(image)), text);
}

QString MainWindow::removeIntfFromName(const QString& name, const QString& fullName) const
{
    if (deviceImages.isEmpty() || !deviceImages.contains(name.toLower()))
        return fullName;
    const QStringList parts = fullName.split(' ', Qt::KeepEmptyParts);
    return parts.size() == 2 ? parts.at(1) : fullName;
}

void MainWindow::onChange(int index)
{
    if (curMenuBar && curView)
        curView->setViewMenuBar(curMenuBar);
    curMenuBar = nullptr;
    curView = nullptr;
    if (index < 0 || index >= dockedViews.size())
        return;

    curMenuBar = menuBars.at(index);
    curView = dockedViews.at(index);
    setMenuBar(curMenuBar);

    const QString title = "Orvel " + coreString("Version") + " - " + titles.at(index);
    curView->setWindowTitle(title);
    setWindowTitle(title);
}

void MainWindow::removeTabAt(int index)
{
    DevView* view = dockedViews.at(index);
    if (view == curView) {
        // The view leaves the window: give it its menu bar back first.
        curView->setViewMenuBar(curMenuBar);
        curView = nullptr;
        curMenuBar = nullptr;
    }
    // The tab widget would announce a new current tab while the lists below still
    // hold the removed entry; the caller selects the next tab itself.
    const QSignalBlocker blocker(ui->tabWidget);
    ui->tabWidget->removeTab(index);
    titles.removeAt(index);
    menuBars.removeAt(index);
    dockedViews.removeAt(index);
}

bool MainWindow::takeOffTab(DevView* view)
{
    const int index = dockedViews.indexOf(view);
    if (index < 0)
        return false;
    removeTabAt(index);

    if (ui->tabWidget->count() > 0) {
        const int next = index > 0 ? index - 1 : 0;
        {
            // The tab and its page are set here, the menu bar and title by onChange
            // below, whether or not the tab widget saw a change of tab.
            const QSignalBlocker blocker(ui->tabWidget);
            ui->tabWidget->setCurrentIndex(next);
        }
        onChange(next);
    }

    if (dockedViews.size() == 1)
        dockedViews.first()->enableUndocking(false);
    return true;
}

void MainWindow::undockView(DevView* view)
{
    if (!takeOffTab(view))
        return;
    view->setParent(nullptr);
    // Beside the main window rather than exactly on top of it, so that the user sees
    // that a window of its own has opened.
    constexpr int kUndockOffset = 40;
    view->move(x() + kUndockOffset, y() + kUndockOffset);
    view->show();
}

void MainWindow::onUndock()
{
    if (auto* view = qobject_cast<DevView*>(sender()))
        undockView(view);
}

void MainWindow::onDock()
{
    auto* view = qobject_cast<DevView*>(sender());
    if (view && views.contains(view) && !dockedViews.contains(view))
        addDevView(view, true);
    if (dockedViews.size() >= 2) {
        for (DevView* docked : dockedViews)
            docked->enableUndocking(true);
    }
    ui->tabWidget->update();
}

void MainWindow::onReconnect(QWidget* widget)
{
    for (int i = 0; i < dockedViews.size(); ++i) {
        DevView* view = dockedViews.at(i);
        if (view->widget() == widget) {
            ui->tabWidget->setTabText(i, removeIntfFromName(view->devName(), view->fullName()));
            return;
        }
    }
}

void MainWindow::onDeviceRemoved(unsigned long long devId)
{
    struct MarkDone
    {
        std::atomic<unsigned long long>& count;
        ~MarkDone() { count.fetch_add(1, std::memory_order_release); }
    } markDone {removalsDone};
    auto* dev = reinterpret_cast<ov::IDev*>(devId);
    if (!dev)
        return;
    if (dev->deviceType() == ov::DevKindMotor) {
        if (motorView)
            motorView->removeMotor(dev);
    } else {
        DevView* view = nullptr;
        for (DevView* v : views) {
            if (v->getDev() == dev)
                view = v;
        }
        // X-ray and high-voltage views are found here too, unlike through getView: they
        // hold the device and must let go of it before the host destroys it.
        if (!view)
            return;
        takeOffTab(view);
        // The measurement ends before the page stores its settings: the worker still
        // reads the parameters that storing writes.
        view->endDeviceWork();
        view->onExit();
        views.removeAll(view);
        // The device is destroyed when this returns, but the page may be on the call
        // stack (the removal chosen from its own menu, or one of its dialogs open): it
        // lets go of the device now and is deleted by the reaper once nothing of it can
        // be running any more.
        view->releaseDevice();
        view->close();
        view->hide();
        retiredViews.append(view);
        quietTicks = 0;
        if (!reaper) {
            reaper = new QTimer(this);
            reaper->setInterval(kReaperIntervalMs);
            connect(reaper, &QTimer::timeout, this, &MainWindow::reapRetiredViews);
        }
        reaper->start();
    }
    devices.removeAll(dev);
}

void MainWindow::reapRetiredViews()
{
    if (QApplication::activeModalWidget() || QApplication::activePopupWidget()) {
        quietTicks = 0;
        return;
    }
    if (++quietTicks < 2)
        return;
    const QList<QPointer<DevView>> retired = retiredViews;
    retiredViews.clear();
    for (const QPointer<DevView>& view : retired)
        delete view.data();
    reaper->stop();
}

void MainWindow::onShowView(bool visible)
{
    if (!visible) {
        hide();
        return;
    }
    show();
    if (warnNoDevice)
        showWarnNoDev();
}

void MainWindow::showWarnNoDev()
{
    QMessageBox box(QMessageBox::Warning, "Warning",
        "No devices found. \nShowing only artificial device : FileDevice 0", QMessageBox::Ok, this);
    box.setObjectName("msgNoDevice");
    box.adjustSize();
    if (QScreen* screen = QGuiApplication::primaryScreen())
        box.move(screen->geometry().center() - box.rect().center());
    box.exec();
}

void MainWindow::endDeviceWork()
{
    for (DevView* view : views)
        view->endDeviceWork();
}

void MainWindow::onExit()
{
    for (DevView* view : views)
        view->onExit();
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (quitOnClose)
        QCoreApplication::quit();
    event->accept();
}

} // namespace PluginDevControl
