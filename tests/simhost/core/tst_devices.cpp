// Devices of the simulated host: the device set, the device record, events, logs and
// hot plug from other threads.
#include <deviceset.h>
#include <livecounter.h>
#include <simdevices.h>
#include <simhost.h>

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

namespace {

// Records what the host's device events looked like from inside the callback.
struct EventProbe
{
    std::mutex mutex;
    std::vector<std::thread::id> newDeviceThreads;
    std::vector<std::thread::id> removedThreads;
    std::vector<QString> removedNames;
    std::vector<long> liveAtRemoval;
    std::atomic<bool> removalCallbackDone {false};
    int removalDelayMs = 0;
};

void onNewDevice(long, long user)
{
    auto* probe = reinterpret_cast<EventProbe*>(user);
    std::lock_guard<std::mutex> lock(probe->mutex);
    probe->newDeviceThreads.push_back(std::this_thread::get_id());
}

void onDeviceRemoved(long data, long user)
{
    auto* probe = reinterpret_cast<EventProbe*>(user);
    auto* dev = reinterpret_cast<ov::IDev*>(data);
    // The device must still be alive here: the plug-in lets go of it in this callback.
    ov::String name;
    dev->deviceName(name);
    if (probe->removalDelayMs > 0)
        QThread::msleep(static_cast<unsigned long>(probe->removalDelayMs));
    std::lock_guard<std::mutex> lock(probe->mutex);
    probe->removedThreads.push_back(std::this_thread::get_id());
    probe->removedNames.push_back(QString::fromUtf8(name.get()));
    probe->liveAtRemoval.push_back(sim::liveCount(sim::Counted::Device));
    probe->removalCallbackDone = true;
}

struct LogProbe
{
    std::mutex mutex;
    QStringList lines;
};

void collect(unsigned level, const char* text, long user)
{
    auto* probe = reinterpret_cast<LogProbe*>(user);
    std::lock_guard<std::mutex> lock(probe->mutex);
    probe->lines << QStringLiteral("%1|%2").arg(level).arg(QString::fromUtf8(text));
}

struct DevEvents
{
    std::vector<std::pair<std::string, long>> seen;
};

void onLockChanged(long data, long user)
{
    reinterpret_cast<DevEvents*>(user)->seen.emplace_back("LockChanged", data);
}

void onStatusChanged(long data, long user)
{
    reinterpret_cast<DevEvents*>(user)->seen.emplace_back("DeviceStatusChanged", data);
}

void onCfgChanged(long data, long user)
{
    reinterpret_cast<DevEvents*>(user)->seen.emplace_back("DeviceCfgChanged", data);
}

const QStringList kIconKeys = {"kalbar", "tornel", "dummy", "usb", "lite", "sparrel", "quillet",
    "hanvik", "zoltin", "composite", "filedev", "motors", "xray", "hv", "vorn", "brevik", "morlan"};

} // namespace

class TestDevices : public QObject
{
    Q_OBJECT

private slots:
    void defaultSetHasEveryKind()
    {
        const auto set = sim::defaultDeviceSet();
        QCOMPARE(set.size(), size_t(10));
        std::map<int, int> kinds;
        std::set<uint32_t> serials;
        for (const auto& desc : set) {
            kinds[desc.kind]++;
            serials.insert(desc.serial);
            QCOMPARE(desc.name.split(QLatin1Char(' ')).size(), 2);
            QVERIFY2(kIconKeys.contains(desc.interfaceWord()), qPrintable(desc.name));
        }
        QCOMPARE(serials.size(), set.size());
        const std::map<int, int> expected
            = {{1, 2}, {2, 1}, {3, 1}, {4, 1}, {10, 1}, {11, 2}, {12, 1}, {14, 1}};
        QCOMPARE(kinds, expected);
        QCOMPARE(set.front().kind, int(ov::DevKindMpx2));
        QCOMPARE(set.front().chips, 4);
        QCOMPARE(set.front().width, 512);
        QCOMPARE(set.front().height, 512);
        QCOMPARE(set.back().kind, int(ov::DevKindHvSource));
        QCOMPARE(set.back().outputs, 2);
    }

    void deviceSetFileIsParsed()
    {
        std::vector<sim::DeviceDesc> set;
        QString error;
        const QString text = QStringLiteral("# kind name serial options\n"
                                            "timepix kalbar W0087 87 chips=4\n"
                                            "\n"
                                            "3 \"sparrel F0001\" 1 edu\n"
                                            "hv hv Bench 7 outputs=3   # comment\n"
                                            "1 tornel A 5 chips=2\n"
                                            "2 hanvik M1 9 size=128x64\n");
        QVERIFY2(
            sim::parseDeviceSet(text, QStringLiteral("set.txt"), &set, &error), qPrintable(error));
        QCOMPARE(set.size(), size_t(5));
        QCOMPARE(set[0].name, QStringLiteral("kalbar W0087"));
        QCOMPARE(set[0].serial, 87u);
        QCOMPARE(set[0].width, 512);
        QCOMPARE(set[1].kind, int(ov::DevKindTpx3));
        QCOMPARE(set[1].name, QStringLiteral("sparrel F0001"));
        QVERIFY(set[1].education);
        QVERIFY(!set[0].education);
        QCOMPARE(set[2].outputs, 3);
        QCOMPARE(set[3].width, 512);
        QCOMPARE(set[3].height, 256);
        QCOMPARE(set[4].width, 128);
        QCOMPARE(set[4].height, 64);
    }

    void deviceSetErrorsNameTheLine_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("kind") << "1 kalbar A 1\nfoo kalbar B 2\n"
                              << "set.txt:2: unknown device kind 'foo'";
        QTest::newRow("serial") << "\n\n1 kalbar A x1\n"
                                << "set.txt:3: bad serial number 'x1'";
        QTest::newRow("option") << "1 kalbar A 1 turbo\n"
                                << "set.txt:1: unknown option 'turbo'";
        QTest::newRow("size") << "1 kalbar A 1 size=12\n"
                              << "set.txt:1: bad size '12' (expected WxH)";
        QTest::newRow("name") << "1 \"kalbar A B\" 1\n"
                              << "set.txt:1: device name 'kalbar A B' must be two words";
        QTest::newRow("quote") << "1 \"kalbar A 1\n"
                               << "set.txt:1: missing closing quote";
        QTest::newRow("short") << "1 kalbar\n"
                               << "set.txt:1: expected KIND NAME SERIAL [OPTIONS]";
    }

    void deviceSetErrorsNameTheLine()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        std::vector<sim::DeviceDesc> set;
        QString error;
        QVERIFY(!sim::parseDeviceSet(text, QStringLiteral("set.txt"), &set, &error));
        QCOMPARE(error, expected);
    }

    void deviceInfoRecordBytes()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindTpx3, 0x01020304u);
        desc.name = QStringLiteral("sparrel F0317");
        ov::IDev* dev = host.connectDevice(desc);
        unsigned char record[24];
        std::memset(record, 0xAA, sizeof record);
        QCOMPARE(dev->deviceInfo(reinterpret_cast<ov::DevInfo*>(record)), 0);
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(record), 8), QByteArray("sparrel\0", 8));
        uint32_t kind = 0xffff;
        uint32_t serial = 0;
        std::memcpy(&kind, record + 8, 4);
        std::memcpy(&serial, record + 16, 4);
        QCOMPARE(kind, 0u);
        QCOMPARE(serial, 0x01020304u);
        for (int i : {12, 13, 14, 15, 20, 21, 22, 23})
            QCOMPARE(int(record[i]), 0);
        QCOMPARE(dev->deviceType(), 3);

        // An education device has 22 at byte 8; a long interface word stays terminated.
        sim::DeviceDesc edu = sim::makeDeviceDesc(ov::DevKindMpx2, 9);
        edu.name = QStringLiteral("composite C1");
        edu.education = true;
        ov::IDev* eduDev = host.connectDevice(edu);
        std::memset(record, 0xAA, sizeof record);
        eduDev->deviceInfo(reinterpret_cast<ov::DevInfo*>(record));
        std::memcpy(&kind, record + 8, 4);
        QCOMPARE(kind, 22u);
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(record), 8), QByteArray("composi\0", 8));
        QCOMPARE(dev->deviceInfo(nullptr), -1);
    }

    void everyKindIsADeviceOfThatType()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        for (const auto& desc : sim::defaultDeviceSet()) {
            ov::IDev* dev = host.connectDevice(desc);
            QVERIFY(dev);
            QCOMPARE(dev->deviceType(), desc.kind);
            ov::String name;
            QCOMPARE(dev->deviceName(name), 0);
            QCOMPARE(QString::fromUtf8(name.get()), desc.name);
            ov::String path;
            dev->configFilePath(path);
            QVERIFY(QString::fromUtf8(path.get()).startsWith(host.devicesDir()));
            QVERIFY(dev->deviceMenu());
            QCOMPARE(QString::fromUtf8(dev->deviceMenu()->title()), desc.name);
        }
        QCOMPARE(host.deviceCount(), 10);
        sim::DeviceDesc bad;
        bad.kind = 7;
        bad.name = QStringLiteral("x y");
        QVERIFY(host.connectDevice(bad) == nullptr);
        QCOMPARE(host.deviceCount(), 10);
        QCOMPARE(host.devices().size(), size_t(10));
    }

    void deviceStateAndEvents()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::IDev* dev = host.connectDevice(sim::defaultDeviceSet().front());
        auto device = host.deviceFor(dev);
        QVERIFY(device);
        DevEvents events;
        QCOMPARE(dev->registerEvent("LockChanged", &onLockChanged, &events), 0);
        QCOMPARE(dev->registerEvent("DeviceStatusChanged", &onStatusChanged, &events), 0);
        QCOMPARE(dev->registerEvent("DeviceCfgChanged", &onCfgChanged, &events), 0);
        QCOMPARE(dev->registerEvent(nullptr, &onLockChanged, &events), -1);

        QCOMPARE(dev->isLocked(), false);
        device->setLocked(true);
        device->setLocked(true); // no change, no event
        QCOMPARE(dev->isLocked(), true);
        device->setLocked(false);

        QCOMPARE(dev->status(), 0);
        device->setStatus(sim::StatusError, QStringLiteral("Chip 2 does not answer"));
        QCOMPARE(dev->status(), 2);
        ov::String text;
        dev->statusText(text);
        QCOMPARE(QString::fromUtf8(text.get()), QStringLiteral("Chip 2 does not answer"));
        QCOMPARE(dev->reconnect(), 0);
        QCOMPARE(dev->status(), 0);
        QCOMPARE(device->reconnectCount(), 1);

        QCOMPARE(dev->loadFactoryConfig(), 0);
        ov::String path;
        dev->configFilePath(path);
        QVERIFY(QString::fromUtf8(path.get()).endsWith(QStringLiteral(".factory.cfg")));

        const std::vector<std::pair<std::string, long>> expected
            = {{"LockChanged", 1}, {"LockChanged", 0}, {"DeviceStatusChanged", 2},
                {"DeviceStatusChanged", 0}, {"DeviceCfgChanged", 0}};
        QCOMPARE(events.seen, expected);

        QVERIFY(!device->abortRequested());
        QCOMPARE(dev->abortOperation(), 0);
        QVERIFY(device->abortRequested());
        dev->reconnect();
        QVERIFY(!device->abortRequested());
        // The Timepix has parameters; their contents are the family's tests' business.
        QVERIFY(dev->paramMgr() != nullptr);
        QVERIFY(dev->paramMgr()->param("DeviceName"));
    }

    void logCallbacksReceiveLinesInOrder()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        LogProbe first;
        LogProbe second;
        QCOMPARE(host.registerLogCallback(&collect, &first), 0);
        QCOMPARE(host.registerLogCallback(&collect, &second), 0);
        for (int i = 0; i < 50; ++i)
            host.log(static_cast<unsigned>(i % 4), QStringLiteral("line %1").arg(i));
        QCOMPARE(first.lines.size(), 50);
        for (int i = 0; i < 50; ++i)
            QCOMPARE(first.lines.at(i), QStringLiteral("%1|line %2").arg(i % 4).arg(i));
        QCOMPARE(second.lines, first.lines);

        QCOMPARE(host.unregisterLogCallback(&collect, &second), 0);
        QCOMPARE(host.unregisterLogCallback(&collect, &second), -1);
        host.log(ov::LogInfo, QStringLiteral("only first"));
        QCOMPARE(first.lines.size(), 51);
        QCOMPARE(second.lines.size(), 50);

        // A device logs to its own callbacks, and with its name to the host's echo and
        // history, but not to the host's callbacks: a page listening to both its device
        // and the host sees each line once.
        QStringList echoed;
        host.setLogEcho([&echoed](unsigned level, const QString& text) {
            echoed << QStringLiteral("%1|%2").arg(level).arg(text);
        });
        ov::IDev* dev = host.connectDevice(sim::defaultDeviceSet().front());
        LogProbe devLog;
        QCOMPARE(dev->registerLogCallback(&collect, &devLog), 0);
        first.lines.clear();
        echoed.clear();
        host.deviceFor(dev)->log(ov::LogWarning, QStringLiteral("bias low"));
        QCOMPARE(devLog.lines, QStringList {QStringLiteral("1|bias low")});
        QVERIFY(first.lines.isEmpty());
        QCOMPARE(echoed, QStringList {QStringLiteral("1|kalbar W0512: bias low")});
        // The host's own lines reach its callbacks and the echo.
        host.log(ov::LogError, QStringLiteral("host line"));
        QCOMPARE(first.lines, QStringList {QStringLiteral("2|host line")});
        QCOMPARE(echoed.last(), QStringLiteral("2|host line"));
        host.setLogEcho(nullptr);
        QCOMPARE(dev->unregisterLogCallback(&collect, &devLog), 0);
        host.deviceFor(dev)->log(ov::LogInfo, QStringLiteral("again"));
        QCOMPARE(devLog.lines.size(), 1);
        QVERIFY(host.logHistory().contains(QStringLiteral("warning: kalbar W0512: bias low")));
    }

    void hostEventNamesAreChecked()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        EventProbe probe;
        QCOMPARE(host.registerEvent("NewDevice", &onNewDevice, &probe), 0);
        QCOMPARE(host.registerEvent("DeviceRemoved", &onDeviceRemoved, &probe), 0);
        QCOMPARE(host.registerEvent("NoSuchEvent", &onNewDevice, &probe), -1);
        QCOMPARE(host.registerEvent("NewDevice", nullptr, &probe), -1);
    }

    void hotPlugFromAWorkerThread()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        EventProbe probe;
        probe.removalDelayMs = 100;
        host.registerEvent("NewDevice", &onNewDevice, &probe);
        host.registerEvent("DeviceRemoved", &onDeviceRemoved, &probe);
        const long liveBefore = sim::liveCount(sim::Counted::Device);

        std::thread::id workerId;
        ov::IDev* dev = nullptr;
        bool doneWhenReturned = false;
        long liveAfterReturn = -1;
        qint64 removalMs = 0;
        std::thread worker([&]() {
            workerId = std::this_thread::get_id();
            dev = host.connectDevice(sim::defaultDeviceSet().at(1));
            QElapsedTimer clock;
            clock.start();
            host.removeDevice(dev);
            removalMs = clock.elapsed();
            doneWhenReturned = probe.removalCallbackDone;
            liveAfterReturn = sim::liveCount(sim::Counted::Device);
        });
        worker.join();

        QVERIFY(dev);
        QCOMPARE(probe.newDeviceThreads.size(), size_t(1));
        QVERIFY(probe.newDeviceThreads.front() == workerId);
        QCOMPARE(probe.removedThreads.size(), size_t(1));
        QVERIFY(probe.removedThreads.front() == workerId);
        QCOMPARE(probe.removedNames.front(), sim::defaultDeviceSet().at(1).name);
        // Synchronous: the removal waited for the callback, during which the device was
        // still alive; it was destroyed only afterwards.
        QVERIFY(doneWhenReturned);
        QVERIFY(removalMs >= 90);
        QCOMPARE(probe.liveAtRemoval.front(), liveBefore + 1);
        QCOMPARE(liveAfterReturn, liveBefore);
        QCOMPARE(host.deviceCount(), 0);
        QVERIFY(!host.removeDevice(dev));
        QCOMPARE(probe.removedThreads.size(), size_t(1));
    }

    void concurrentHotPlugKeepsTheListConsistent()
    {
        QTemporaryDir tmp;
        const long liveBefore = sim::liveCount(sim::Counted::Device);
        {
            sim::SimHost host(tmp.path());
            EventProbe probe;
            host.registerEvent("NewDevice", &onNewDevice, &probe);
            host.registerEvent("DeviceRemoved", &onDeviceRemoved, &probe);
            std::vector<std::thread> threads;
            for (int t = 0; t < 4; ++t) {
                threads.emplace_back([&host, t]() {
                    for (int i = 0; i < 25; ++i) {
                        sim::DeviceDesc desc
                            = sim::makeDeviceDesc(ov::DevKindMotor, uint32_t(t * 100 + i));
                        ov::IDev* dev = host.connectDevice(desc);
                        host.moduleSettings("devcontrol", dev, 0)->setInt("A", "i", i);
                        host.deviceFor(dev)->log(ov::LogInfo, QStringLiteral("hello"));
                        if (i % 2 == 0)
                            host.removeDevice(dev);
                    }
                });
            }
            for (auto& thread : threads)
                thread.join();
            QCOMPARE(host.deviceCount(), 4 * 12);
            QCOMPARE(probe.newDeviceThreads.size(), size_t(100));
            QCOMPARE(probe.removedThreads.size(), size_t(52));
            QCOMPARE(sim::liveCount(sim::Counted::Device), liveBefore + 48);
            QCOMPARE(host.menu()
                         .find({QStringLiteral("Simulation"), QStringLiteral("Remove device")})
                         ->childItems()
                         .size(),
                size_t(48));
        }
        QCOMPARE(sim::liveCount(sim::Counted::Device), liveBefore);
    }
};

QTEST_MAIN(TestDevices)
#include "tst_devices.moc"
