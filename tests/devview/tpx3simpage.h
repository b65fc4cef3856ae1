// The Timepix3 page on a simulated Timepix3 in a host of its own, shown, with the
// controls of its measurement panel that the tests work, and what its picture holds.
#pragma once

#include "devctrltpx3.h"
#include "devviewtpx3.h"
#include "hostfixture.h"
#include "pnlmeasurementtpx3.h"
#include "timepix3device.h"
#include "typeinto.h"

#include <qmpxframe.h>

#include <QComboBox>
#include <QLineEdit>
#include <QToolButton>
#include <QtTest>

#include <algorithm>

struct Tpx3SimPage
{
    HostFixture fixture;
    ov::IDev* dev = nullptr;
    sim::Timepix3Device* chip = nullptr;
    PluginDevControl::DevViewTpx3* view = nullptr;
    PluginDevControl::DevCtrlTpx3* ctrl = nullptr;
    PluginDevControl::PnlMeasurementTpx3* panel = nullptr;
    QComboBox* type = nullptr;
    QLineEdit* time = nullptr;
    QToolButton* startStop = nullptr;
    QMpxFrame* frame = nullptr;

    // Connects a Timepix3 of the serial making hitRate hits a second, starts the host and
    // shows its page; whether everything above was found.
    bool open(uint32_t serial, double hitRate)
    {
        dev = fixture.connect(sim::makeDeviceDesc(ov::DevKindTpx3, serial));
        chip = dynamic_cast<sim::Timepix3Device*>(dev);
        if (!chip)
            return false;
        chip->setHitRate(hitRate);
        if (!fixture.start())
            return false;
        view = qobject_cast<PluginDevControl::DevViewTpx3*>(fixture.window()->getView(dev));
        if (!view)
            return false;
        fixture.window()->show();
        if (!QTest::qWaitForWindowExposed(fixture.window()))
            return false;
        ctrl = view->familyController();
        panel = view->measurement();
        if (!ctrl || !panel)
            return false;
        type = panel->findChild<QComboBox*>(QStringLiteral("cmAcqType"));
        time = panel->findChild<QLineEdit*>(QStringLiteral("edTime"));
        startStop = panel->findChild<QToolButton*>(QStringLiteral("btStartStop"));
        frame = view->findChild<QMpxFrame*>();
        return type && time && startStop && frame && frame->image;
    }

    // Chooses "Pixels" and types the time of the run.
    void choosePixels(const QString& seconds)
    {
        chooseItem(type, 3);
        typeInto(time, seconds);
    }

    // Presses Start and waits until the run has begun.
    bool start()
    {
        QTest::mouseClick(startStop, Qt::LeftButton);
        return QTest::qWaitFor([this] { return ctrl->isAcqRunning(); }, 5000);
    }

    // Waits until the run and the page's work after it are over.
    bool waitEnd(int ms = 60000)
    {
        using PluginDevControl::DevCtrlMpx;
        return QTest::qWaitFor([this] { return !ctrl->isAcqRunning(); }, ms)
            && QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, ms);
    }

    // The sum of the counts in the picture of the 256 x 256 chip; -1 without one.
    double pictureTotal() const
    {
        const double* data = frame->image->getData();
        const size_t n = size_t(frame->image->getDataWidth()) * frame->image->getDataHeight();
        if (!data || n != size_t(256 * 256))
            return -1.0;
        double sum = 0.0;
        for (size_t i = 0; i < n; ++i)
            sum += data[i];
        return sum;
    }

    // The largest count in the picture; -1 without one.
    double pictureMax() const
    {
        const double* data = frame->image->getData();
        const size_t n = size_t(frame->image->getDataWidth()) * frame->image->getDataHeight();
        if (!data || n == 0)
            return -1.0;
        return *std::max_element(data, data + n);
    }
};
