// The base of every page on a device tab: detectors, motors, X-ray and high-voltage
// sources. A view can leave its tab as a window of its own and come back.
#pragma once

#include "ovsdk.h"

#include <QMainWindow>

class QAction;
class QMenuBar;
class QToolBar;

namespace PluginDevControl {

class DevView : public QMainWindow
{
    Q_OBJECT

public:
    DevView(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);
    ~DevView() override;

    virtual int devType() const;
    virtual void onExit();
    virtual QString fullName() const;
    virtual QString devName() const;
    virtual void setViewMenuBar(QMenuBar* bar);
    virtual QMenuBar* viewMenuBar();
    virtual QWidget* widget();
    virtual ov::IDev* getDev();
    virtual void enableUndocking(bool enable);
    // Lets go of the device at once: the host destroys it when its removal returns.
    // The page itself is deleted later, once nothing of it is on the call stack (the
    // removal may have been chosen from the page's own menu).
    virtual void releaseDevice();
    // Ends what the page has running on the device (a measurement) and waits until it
    // has ended; before the page stores its settings for good.
    virtual void endDeviceWork();

    QAction* undockAction() const { return acUndock; }
    QAction* dockAction() const { return acDock; }

signals:
    void sigUndock();
    void sigDock();

protected:
    // Creates "Undock" and "Dock" on the tool bar; "Dock" starts hidden.
    void addDockActions(QToolBar* toolBar);

    ov::IOrvel* host;
    ov::IDev* dev;
    QAction* acUndock = nullptr;
    QAction* acDock = nullptr;
};

} // namespace PluginDevControl
