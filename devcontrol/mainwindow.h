// The plug-in's one top-level window: a tab per connected device, kept in step with
// the host's hot-plug events.
#pragma once

#include "ovsdk.h"

#include <QList>
#include <QMainWindow>
#include <QMap>
#include <QPointer>
#include <QString>

#include <atomic>

class QMenuBar;
class QTimer;
class QFancyTabWidget;
class Ui_MainWindow;

namespace PluginDevControl {

class DevView;
class DevViewMpx;
class DevViewMotor;

class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow(QWidget* parent, ov::IOrvel* orvel, bool quitOnClose);
    ~MainWindow() override;

    // The detector view of a device, or null (no view, or not a detector).
    DevViewMpx* getView(ov::IDev* dev) const;

    void setQuitOnClose(bool quit) { quitOnClose = quit; }
    bool isQuitOnClose() const { return quitOnClose; }
    bool isWarnNoDevice() const { return warnNoDevice; }

    // Read-only views of the window's state, for the plug-in object and tests.
    QFancyTabWidget* tabWidget() const;
    const QList<DevView*>& allViews() const { return views; }
    const QList<DevView*>& dockedViewList() const { return dockedViews; }
    const QList<ov::IDev*>& deviceList() const { return devices; }
    DevViewMotor* sharedMotorView() const { return motorView; }

    static bool validDevice(ov::IDev* dev);
    QString removeIntfFromName(const QString& name, const QString& fullName) const;
    static void onNewDeviceWrapper(long eventData, long userData);
    static void onDeviceRemovedWrapper(long eventData, long userData);

signals:
    void sigShowView(bool visible);
    void sigInitialize();
    void sigNewDevice(unsigned long long dev);
    void sigDeviceRemoved(unsigned long long dev);

public slots:
    void onInitialize();
    void onNewDevice(unsigned long long dev);
    void onDeviceRemoved(unsigned long long dev);
    void onShowView(bool visible);
    void onChange(int index);
    void onUndock();
    void onDock();
    void onReconnect(QWidget* widget);
    void onExit();
    // Ends every page's measurement and waits for them; the plug-in closes after it.
    void endDeviceWork();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    bool addNewDevice(ov::IDev* dev);
    void addDevView(DevView* view, bool redock);
    void addNewTab(const QString& name, const QString& fullName, DevView* view);
    void undockView(DevView* view);
    // Takes a docked view off its tab and shows the tab before it, or the first, with
    // its menu bar; false when the view is not docked.
    bool takeOffTab(DevView* view);
    // A tick of the reaper: the retired views go after two ticks in a row with no modal
    // dialog and no pop-up menu open, since a dialog or menu of theirs may have been
    // running its own event loop when their device went.
    void reapRetiredViews();
    void removeTabAt(int index);
    void showWarnNoDev();
    QString coreString(const char* key) const;

    Ui_MainWindow* ui;
    QList<QMenuBar*> menuBars;
    QList<DevView*> views;
    QList<DevView*> dockedViews;
    QList<QString> titles;
    QList<ov::IDev*> devices;
    // Views of removed devices waiting for their deletion; whatever is left of them
    // goes with the window.
    QList<QPointer<DevView>> retiredViews;
    // Deletes the retired views once nothing of them can be on the call stack.
    QTimer* reaper = nullptr;
    int quietTicks = 0;
    // Counts removals the GUI thread has finished. The host thread that fired the
    // removal reads it (acquire) once the blocking call returns, before the host frees
    // the device: Qt's own wait already orders the two, this states the order in a form
    // the thread checker can see, as Qt's internals are not built for it.
    std::atomic<unsigned long long> removalsDone {0};
    QMap<QString, QString> deviceImages;
    QMenuBar* curMenuBar = nullptr;
    DevView* curView = nullptr;
    ov::IOrvel* orvel;
    DevViewMotor* motorView = nullptr;
    bool quitOnClose;
    bool warnNoDevice = false;
};

} // namespace PluginDevControl
