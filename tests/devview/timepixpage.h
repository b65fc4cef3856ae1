// A simulated host with the plug-in started and one Timepix quad connected, and the
// page of that detector, as a user sees it in the window.
#pragma once

#include "../devcontrol/hostfixture.h"
#include "devctrlmpx.h"
#include "devviewmpx2.h"
#include "devviewmpxui.h"
#include "qmpxframe.h"
#include "qmpximage.h"

#include <QTest>

// The mean of a frame's pixels; -1 when there is no frame or no data.
inline double frameMean(ov::IMpxFrame* frame)
{
    if (!frame)
        return -1.0;
    ov::DataBuff<double> data;
    frame->getData(&data, 9);
    if (data.size() == 0)
        return -1.0;
    double sum = 0.0;
    for (unsigned long i = 0; i < data.size(); ++i)
        sum += data.data()[i];
    return sum / double(data.size());
}

struct TimepixPage
{
    explicit TimepixPage(const QString& home = QString(), sim::DeviceDesc desc = quadDesc())
        : fixture(home)
    {
        dev = fixture.connect(desc);
        started = fixture.start();
        if (started && fixture.window())
            view = qobject_cast<PluginDevControl::DevViewMpx2*>(fixture.window()->getView(dev));
    }

    static sim::DeviceDesc quadDesc() { return sim::defaultDeviceSet().front(); }

    const PluginDevControl::Ui_DevViewMpx& ui() const { return view->form(); }
    PluginDevControl::DevCtrlMpx* ctrl() const { return view->controller(); }
    QMpxImage* image() const { return ui().mpxFrame->image; }
    ov::IDevMpx2* device() const { return dynamic_cast<ov::IDevMpx2*>(dev); }

    HostFixture fixture;
    ov::IDev* dev = nullptr;
    bool started = false;
    PluginDevControl::DevViewMpx2* view = nullptr;
};
