// A controller on a device that does nothing, a frame widget, and the panel under test,
// destroyed in the reverse order.
#pragma once

#include "devctrlmpx.h"
#include "nulldevice.h"

#include <qmpxframe.h>

#include <QMetaObject>
#include <QObject>

#include <memory>
#include <vector>

namespace paneltest {

// A controller that offers the Timepix3 time window, recording what it is told.
class TimeWindowCtrl : public PluginDevControl::DevCtrlMpx
{
    Q_OBJECT

public:
    using DevCtrlMpx::DevCtrlMpx;
    Q_INVOKABLE void setFrameType(int type) { frameTypes.push_back(type); }
    Q_INVOKABLE void setFadeWindowSize(double seconds) { fadeSizes.push_back(seconds); }
    std::vector<int> frameTypes;
    std::vector<double> fadeSizes;
};

template <class Panel, class Ctrl = PluginDevControl::DevCtrlMpx>
struct Page
{
    // savedMin and savedMax are the controller's stored range when the panel is made.
    explicit Page(double savedMin = 0.0, double savedMax = 1.0)
        : ctrl(std::make_unique<Ctrl>(nullptr, &dev, &frame, nullptr))
    {
        ctrl->setFrameRange(savedMin, savedMax);
        panel = std::make_unique<Panel>(nullptr, &frame, ctrl.get());
    }
    ~Page() { panel.reset(); }

    testdev::NullDevMpx2 dev;
    QMpxFrame frame;
    std::unique_ptr<Ctrl> ctrl;
    std::unique_ptr<Panel> panel;
};

} // namespace paneltest
