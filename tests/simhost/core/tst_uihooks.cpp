// The UI hooks of the simulated host: running code on the GUI thread, the menu tree and
// the exit request.
#include "acqbytes.h"

#include <livecounter.h>
#include <simhost.h>
#include <timepixdevice.h>

#include <QEventLoop>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <thread>

namespace {

struct HookProbe
{
    std::atomic<bool> ran {false};
    std::atomic<bool> onGui {false};
    int sleepMs = 0;
};

void hook(unsigned long arg)
{
    auto* probe = reinterpret_cast<HookProbe*>(arg);
    if (probe->sleepMs > 0)
        QThread::msleep(static_cast<unsigned long>(probe->sleepMs));
    probe->onGui = QThread::currentThread() == QCoreApplication::instance()->thread();
    probe->ran = true;
}

void countMenuChange(long data, long user)
{
    auto* counter = reinterpret_cast<std::pair<int, long>*>(user);
    counter->first++;
    counter->second = data;
}

const sim::MenuItem* item(sim::SimHost& host, const QStringList& path)
{
    return host.menu().find(path);
}

QStringList titles(const sim::MenuItem* menu)
{
    QStringList out;
    ov::PtrList<const ov::IMenuItem*> children;
    menu->children(children);
    for (const ov::IMenuItem* child : children.items())
        out << QString::fromUtf8(child->title());
    return out;
}

} // namespace

class TestUiHooks : public QObject
{
    Q_OBJECT

private slots:
    void runOnUiThreadFromAWorkerWaits()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::IUiHooks* hooks = host.uiHooks();
        QVERIFY(hooks);
        HookProbe probe;
        probe.sleepMs = 50;
        std::atomic<bool> ranBeforeReturn {false};
        std::atomic<int> rc {-99};
        std::atomic<bool> done {false};
        std::thread worker([&]() {
            rc = hooks->runOnUiThread(&hook, &probe, 1);
            ranBeforeReturn = probe.ran.load();
            done = true;
        });
        // The GUI thread keeps processing events, as the host's event loop does.
        QTRY_VERIFY_WITH_TIMEOUT(done.load(), 5000);
        worker.join();
        QCOMPARE(rc.load(), 0);
        QVERIFY(ranBeforeReturn);
        QVERIFY(probe.onGui);
    }

    void runOnUiThreadWithoutWaiting()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        HookProbe probe;
        // The GUI thread is busy joining the worker, so a waiting call could not return:
        // flag 0 must return before the function has run.
        std::thread worker([&]() { host.uiHooks()->runOnUiThread(&hook, &probe, 0); });
        worker.join();
        QVERIFY(!probe.ran);
        QTRY_VERIFY(probe.ran.load());
        QVERIFY(probe.onGui);
    }

    void runOnUiThreadOnTheGuiThreadRunsAtOnce()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        HookProbe probe;
        QCOMPARE(host.uiHooks()->runOnUiThread(&hook, &probe, 1), 0);
        QVERIFY(probe.ran);
        QVERIFY(probe.onGui);
        QCOMPARE(host.uiHooks()->runOnUiThread(nullptr, &probe, 1), -1);
    }

    void menuTreeHasTheHostMenus()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        const ov::IMenuItem* root = host.uiHooks()->menuRoot();
        QVERIFY(root);
        QVERIFY(root->isSubMenu());
        QCOMPARE(titles(host.menu().root()),
            QStringList({QStringLiteral("Measurement"), QStringLiteral("Simulation")}));
        QCOMPARE(titles(item(host, {QStringLiteral("Simulation")})),
            QStringList({QStringLiteral("Connect device"), QStringLiteral("Remove device"),
                QStringLiteral("Lock or unlock device"), QStringLiteral("Raise warning"),
                QStringLiteral("Raise error"), QStringLiteral("Clear status"),
                QStringLiteral("Fire trigger")}));
        const auto* connect
            = item(host, {QStringLiteral("Simulation"), QStringLiteral("Connect device")});
        QCOMPARE(titles(connect).size(), 8);
        QCOMPARE(QString::fromUtf8(connect->owner()), QStringLiteral("orvelsim"));
        QVERIFY(!connect->isSeparator());
        QVERIFY(titles(item(host, {QStringLiteral("Simulation"), QStringLiteral("Remove device")}))
                    .isEmpty());
    }

    void menuItemsConnectAndRemoveDevices()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        std::pair<int, long> changes {0, 0};
        QCOMPARE(host.uiHooks()->registerMenuChanged(&countMenuChange, &changes), 0);

        const auto* connectTpx3 = item(host,
            {QStringLiteral("Simulation"), QStringLiteral("Connect device"),
                QStringLiteral("Timepix3")});
        QVERIFY(connectTpx3);
        QVERIFY(!connectTpx3->isSubMenu());
        connectTpx3->execute();
        QCOMPARE(host.deviceCount(), 1);
        const auto device = host.deviceList().front();
        QCOMPARE(device->kind(), 3);
        QVERIFY(device->name().startsWith(QStringLiteral("sparrel ")));
        QCOMPARE(changes.first, 1);
        QCOMPARE(changes.second, reinterpret_cast<long>(host.uiHooks()->menuRoot()));

        const QStringList removePath
            = {QStringLiteral("Simulation"), QStringLiteral("Remove device")};
        QCOMPARE(titles(item(host, removePath)), QStringList {device->name()});

        // Lock, warning, error and clear act on that device.
        item(host,
            {QStringLiteral("Simulation"), QStringLiteral("Lock or unlock device"), device->name()})
            ->execute();
        QVERIFY(device->locked());
        item(host, {QStringLiteral("Simulation"), QStringLiteral("Raise warning"), device->name()})
            ->execute();
        QCOMPARE(device->dev()->status(), 1);
        item(host, {QStringLiteral("Simulation"), QStringLiteral("Raise error"), device->name()})
            ->execute();
        QCOMPARE(device->dev()->status(), 2);
        item(host, {QStringLiteral("Simulation"), QStringLiteral("Clear status"), device->name()})
            ->execute();
        QCOMPARE(device->dev()->status(), 0);

        // Its own device menu.
        ov::PtrList<const ov::IMenuItem*> own;
        device->dev()->deviceMenu()->children(own);
        QCOMPARE(QString::fromUtf8(own.get(0)->title()), QStringLiteral("Reconnect"));
        own.get(0)->execute();
        QCOMPARE(device->reconnectCount(), 1);

        // A second device gets a different serial, then the first is removed by menu.
        connectTpx3->execute();
        QCOMPARE(host.deviceCount(), 2);
        QVERIFY(host.deviceList().at(1)->serial() != device->serial());
        const sim::MenuItem* removeItem = item(host, removePath + QStringList {device->name()});
        removeItem->execute();
        QCOMPARE(host.deviceCount(), 1);
        QVERIFY(!titles(item(host, removePath)).contains(device->name()));
        QCOMPARE(changes.first, 3);
        // An item kept from before the removal is still safe to run; it finds nothing.
        removeItem->execute();
        QCOMPARE(host.deviceCount(), 1);
    }

    void abortAllReachesEveryDevice()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        for (const auto& desc : sim::defaultDeviceSet())
            host.connectDevice(desc);
        item(host, {QStringLiteral("Measurement"), QStringLiteral("Abort all operations")})
            ->execute();
        for (const auto& device : host.deviceList())
            QVERIFY(device->abortRequested());
    }

    void fireTriggerReachesTheDevicesWithATriggerInput()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        for (const auto& desc : sim::defaultDeviceSet())
            host.connectDevice(desc);
        const auto quad = std::dynamic_pointer_cast<sim::TimepixDevice>(
            host.deviceByName(QStringLiteral("kalbar W0512")));
        const auto mpx2 = std::dynamic_pointer_cast<sim::TimepixDevice>(
            host.deviceByName(QStringLiteral("tornel B0208")));
        QVERIFY(quad && mpx2);
        QVERIFY(quad->hasTriggerInput() && !mpx2->hasTriggerInput());
        const sim::MenuItem* fire
            = item(host, {QStringLiteral("Simulation"), QStringLiteral("Fire trigger")});
        QVERIFY(fire && !fire->isSubMenu());

        // Nobody waits: the trigger is counted and lost, and the log says so.
        fire->execute();
        QCOMPARE(quad->triggerCount(), 1u);
        QCOMPARE(quad->params().find("TrgSource")->asText(), std::string("menu"));
        QVERIFY(host.logHistory().contains(
            QStringLiteral("info: Trigger (menu) to kalbar W0512: no measurement was waiting for "
                           "one (counted, not kept)")));

        // A measurement started by trigger waits for the menu.
        acqbytes::Acq a;
        a.mode = 1;
        const auto record = acqbytes::acqRecord(a);
        std::atomic<int> rc {1};
        std::thread worker(
            [&] { rc = quad->doAdvancedAcquisition(record.data(), nullptr, nullptr); });
        QTRY_VERIFY_WITH_TIMEOUT(quad->waitingForTrigger(), 5000);
        fire->execute();
        worker.join();
        QCOMPARE(rc.load(), 0);
        QCOMPARE(quad->acqFrameCount(), 1);
        QCOMPARE(quad->triggerCount(), 2u);
        QVERIFY(host.logHistory().contains(
            QStringLiteral("info: Trigger (menu) to kalbar W0512: taken by its measurement")));

        // The device's own menu has the item when the device has a trigger input.
        auto ownTitles = [](ov::IDev* dev) {
            QStringList out;
            ov::PtrList<const ov::IMenuItem*> own;
            dev->deviceMenu()->children(own);
            for (const ov::IMenuItem* child : own.items())
                out << QString::fromUtf8(child->title());
            return out;
        };
        QVERIFY(ownTitles(quad->dev()).contains(QStringLiteral("Fire trigger")));
        QVERIFY(!ownTitles(mpx2->dev()).contains(QStringLiteral("Fire trigger")));
        ov::PtrList<const ov::IMenuItem*> own;
        quad->dev()->deviceMenu()->children(own);
        own.items().back()->execute();
        QCOMPARE(quad->triggerCount(), 3u);

        // Without a device that has a trigger input (the Timepix3 has one, too) the menu
        // item says so and does nothing.
        for (const auto& device : host.deviceList())
            if (device->hasTriggerInput())
                QVERIFY(host.removeDevice(device->dev()));
        fire->execute();
        QVERIFY(host.logHistory().contains(
            QStringLiteral("info: Trigger (menu): no connected device has a trigger input")));
    }

    void menuItemsRunOnTheGuiThread()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        std::atomic<bool> onGui {false};
        std::atomic<int> calls {0};
        struct Probe
        {
            std::atomic<bool>* onGui;
            std::atomic<int>* calls;
        } probe {&onGui, &calls};
        host.registerEvent(
            "NewDevice",
            [](long, long user) {
                auto* p = reinterpret_cast<Probe*>(user);
                *p->onGui = QThread::currentThread() == QCoreApplication::instance()->thread();
                (*p->calls)++;
            },
            &probe);
        const auto* connectMotor = item(host,
            {QStringLiteral("Simulation"), QStringLiteral("Connect device"),
                QStringLiteral("Motor")});
        std::thread worker([connectMotor]() { connectMotor->execute(); });
        worker.join();
        QTRY_COMPARE(calls.load(), 1);
        QVERIFY(onGui);
        QCOMPARE(host.deviceCount(), 1);
    }

    void requestExitEndsTheEventLoop()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        QEventLoop loop;
        bool timedOut = false;
        QTimer::singleShot(5000, &loop, [&]() {
            timedOut = true;
            loop.quit();
        });
        std::thread worker([&host]() { host.requestExit(); });
        loop.exec();
        worker.join();
        QVERIFY(!timedOut);
        QCOMPARE(host.exitRequests(), 1);
    }

    void menuItemsDoNotLeak()
    {
        QTemporaryDir tmp;
        {
            sim::SimHost host(tmp.path());
            host.connectDevice(sim::defaultDeviceSet().front());
            QVERIFY(sim::liveCount(sim::Counted::MenuItem) > 0);
        }
        QCOMPARE(sim::liveCount(sim::Counted::MenuItem), 0L);
    }
};

QTEST_MAIN(TestUiHooks)
#include "tst_uihooks.moc"
