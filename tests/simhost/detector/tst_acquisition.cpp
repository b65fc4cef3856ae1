// The measurement of the simulated Timepix: the records read at their byte offsets, the
// order and data of the events in both delivery modes, the repeat loop, abort, the
// store and its memory limit.
#include "acqbytes.h"
#include "livecounts.h"

#include <acqrecordreader.h>
#include <deviceset.h>
#include <simdevices.h>
#include <timepixdevice.h>

#include <QtTest>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

using namespace acqbytes;

namespace {

struct Event
{
    std::string name;
    long data;
    std::thread::id thread;
    int framesStored;
};

struct Recorder
{
    sim::TimepixDevice* dev = nullptr;
    std::mutex mutex;
    std::vector<Event> events;
    std::function<void(const Event&)> hook;

    std::vector<Event> take()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return events;
    }
    int count(const char* name)
    {
        std::lock_guard<std::mutex> lock(mutex);
        int n = 0;
        for (const Event& e : events)
            n += e.name == name;
        return n;
    }
};

template <int Which>
void onEvent(long data, long user)
{
    static const char* const names[] = {"AcqMeasStarted", "AcqSerieStarted", "AcqFinished",
        "AcqNewData", "AcqSerieFinished", "AcqMeasFinished"};
    auto* rec = reinterpret_cast<Recorder*>(user);
    Event e {names[Which], data, std::this_thread::get_id(), rec->dev->acqFrameCount()};
    {
        std::lock_guard<std::mutex> lock(rec->mutex);
        rec->events.push_back(e);
    }
    if (rec->hook)
        rec->hook(e);
}

void subscribe(sim::TimepixDevice& dev, Recorder& rec)
{
    rec.dev = &dev;
    dev.registerEvent("AcqMeasStarted", &onEvent<0>, &rec);
    dev.registerEvent("AcqSerieStarted", &onEvent<1>, &rec);
    dev.registerEvent("AcqFinished", &onEvent<2>, &rec);
    dev.registerEvent("AcqNewData", &onEvent<3>, &rec);
    dev.registerEvent("AcqSerieFinished", &onEvent<4>, &rec);
    dev.registerEvent("AcqMeasFinished", &onEvent<5>, &rec);
}

std::shared_ptr<sim::TimepixDevice> makeDevice(int chips, bool eventThread, uint32_t serial = 77)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, serial);
    desc.chips = chips;
    desc.width = chips == 4 ? 512 : 256;
    desc.height = chips == 4 ? 512 : 256;
    desc.eventThread = eventThread;
    return std::make_shared<sim::TimepixDevice>(desc);
}

} // namespace

class TestAcquisition : public QObject
{
    Q_OBJECT

private:
    livecounts::FramesAndData m_live0;

private slots:
    void init() { m_live0 = livecounts::framesAndData(); }
    void cleanup()
    {
        // Every test has let go of its device by now: no frame or data object is left.
        QCOMPARE(livecounts::framesAndData(), m_live0);
    }

    void parsesMeasurementRecord()
    {
        Acq a;
        a.testPulses = 1;
        a.count = 123456;
        a.time = 0.25;
        a.mode = 0x13;
        a.fileType = 7;
        a.fileFlags = 0x80000001u;
        a.spacing = 4;
        a.integral = 1;
        a.refreshDacs = 0;
        a.refreshPixCfg = 1;
        a.output = "/tmp/out_###.txt";
        const auto bytes = acqRecord(a);
        sim::AcqRecord r;
        QCOMPARE(sim::parseAcqRecord(bytes.data(), &r), int(sim::AcqOk));
        QCOMPARE(r.testPulses, true);
        QCOMPARE(r.count, 123456u);
        QCOMPARE(r.time, 0.25);
        QCOMPARE(r.mode, 0x13u);
        QCOMPARE(r.fileType, 7u);
        QCOMPARE(r.fileFlags, 0x80000001u);
        QCOMPARE(r.spacing, 4u);
        QCOMPARE(r.integral, true);
        QCOMPARE(r.refreshDacs, false);
        QCOMPARE(r.refreshPixCfg, true);
        QCOMPARE(QString::fromStdString(r.outputFile), QStringLiteral("/tmp/out_###.txt"));
    }

    void rejectsBadMeasurementRecords()
    {
        sim::AcqRecord r;
        QCOMPARE(sim::parseAcqRecord(nullptr, &r), int(sim::AcqErrNoRecord));
        Acq a;
        a.count = 0;
        QCOMPARE(sim::parseAcqRecord(acqRecord(a).data(), &r), int(sim::AcqErrBadCount));
        a = Acq();
        a.time = -1.0;
        QCOMPARE(sim::parseAcqRecord(acqRecord(a).data(), &r), int(sim::AcqErrBadTime));
        a = Acq();
        a.integral = 2;
        QCOMPARE(sim::parseAcqRecord(acqRecord(a).data(), &r), int(sim::AcqErrBadFlag));
        a = Acq();
        a.testPulses = 4;
        QCOMPARE(sim::parseAcqRecord(acqRecord(a).data(), &r), int(sim::AcqErrBadFlag));
        a.testPulses = 3;
        QCOMPARE(sim::parseAcqRecord(acqRecord(a).data(), &r), int(sim::AcqOk));
        QVERIFY(r.testPulses);
        QVERIFY(r.pixels);
        a = Acq();
        a.output = nullptr;
        QCOMPARE(sim::parseAcqRecord(acqRecord(a).data(), &r), int(sim::AcqErrNoOutputName));
    }

    void parsesRepeatAndTestPulseRecords()
    {
        Repeat rep(0xFFFFFFFFu, 1.5, 6, 3);
        sim::RepeatRecord r;
        QCOMPARE(sim::parseRepeatRecord(rep.bytes.data(), &r), int(sim::AcqOk));
        QCOMPARE(r.count, sim::kEndlessRepeats);
        QCOMPARE(r.delay, 1.5);
        QCOMPARE(r.fileFlags, 6u);
        QCOMPARE(r.fileDigits, 3u);
        rep.setCount(9);
        QCOMPARE(sim::liveRepeatCount(rep.bytes.data()), 9u);
        Repeat bad(1, -2.0);
        QCOMPARE(sim::parseRepeatRecord(bad.bytes.data(), &r), int(sim::AcqErrBadRepeat));

        const auto tp = tpBlock(250, 0.0002, 0.75, 1);
        sim::TestPulseRecord t;
        QCOMPARE(sim::parseTestPulseRecord(tp.data(), &t), int(sim::AcqOk));
        QCOMPARE(t.count, 250u);
        QCOMPARE(t.period, 0.0002);
        QCOMPARE(t.height, 0.75);
        QCOMPARE(int(t.manualBits), 1);
    }

    void deviceRefusesBadRecords()
    {
        auto dev = makeDevice(1, false);
        Recorder rec;
        subscribe(*dev, rec);
        Acq a;
        a.count = 0;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrBadCount));
        a = Acq();
        a.time = 1e9; // above maxAcqTime
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrBadTime));
        a = Acq();
        a.testPulses = 1; // but no block
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrBadTestPulses));
        const auto tooMany = tpBlock(sim::TimepixDevice::kMaxPulseCount + 1, 1e-4, 0.5);
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, tooMany.data()),
            int(sim::AcqErrBadTestPulses));
        a = Acq();
        a.mode = 1u << 5; // TDI readout: not on this device
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrUnsupported));
        // No measurement started, so no event either.
        QCOMPARE(int(rec.take().size()), 0);
    }

    void measurementFiresEventsInOrder_data()
    {
        QTest::addColumn<bool>("eventThread");
        QTest::newRow("direct") << false;
        QTest::newRow("host thread") << true;
    }
    void measurementFiresEventsInOrder()
    {
        QFETCH(bool, eventThread);
        auto dev = makeDevice(4, eventThread);
        Recorder rec;
        subscribe(*dev, rec);
        Acq a;
        a.count = 200;
        a.time = 0.0;
        const auto bytes = acqRecord(a);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(dev->doAdvancedAcquisition(bytes.data(), nullptr, nullptr), 0);
        QVERIFY2(timer.elapsed() < 20000, "time 0 must not wait");
        // Everything was delivered before the call returned.
        const std::vector<Event> ev = rec.take();
        QCOMPARE(int(ev.size()), 4 + 2 * 200);
        QCOMPARE(QString::fromStdString(ev[0].name), QStringLiteral("AcqMeasStarted"));
        QCOMPARE(QString::fromStdString(ev[1].name), QStringLiteral("AcqSerieStarted"));
        QCOMPARE(ev[1].data, 0L);
        for (int i = 1; i <= 200; ++i) {
            const Event& fin = ev[size_t(2 * i)];
            const Event& data = ev[size_t(2 * i + 1)];
            QCOMPARE(QString::fromStdString(fin.name), QStringLiteral("AcqFinished"));
            QCOMPARE(fin.data, long(i));
            // The frame is in the store when its event comes (with the host thread the
            // measurement may already be further on).
            if (eventThread)
                QVERIFY(fin.framesStored >= i);
            else
                QCOMPARE(fin.framesStored, i);
            QCOMPARE(QString::fromStdString(data.name), QStringLiteral("AcqNewData"));
            QCOMPARE(data.data, long(i - 1));
        }
        QCOMPARE(QString::fromStdString(ev[402].name), QStringLiteral("AcqSerieFinished"));
        QCOMPARE(QString::fromStdString(ev[403].name), QStringLiteral("AcqMeasFinished"));
        QCOMPARE(ev[403].data, 0L);
        for (const Event& e : ev) {
            if (eventThread)
                QVERIFY(e.thread == dev->eventThreadId() && e.thread != std::this_thread::get_id());
            else
                QVERIFY(e.thread == std::this_thread::get_id());
        }
        QCOMPARE(dev->acqFrameCount(), 200);
        QCOMPARE(dev->acqDataCount(), 200);
        ov::RefData<ov::IMpxFrame> last(dev->lastAcqFrameRefInc(), false);
        QVERIFY(last);
        QCOMPARE(QString::fromStdString(last->frameName()), QStringLiteral("Frame 200"));
        QCOMPARE(int(last->width()), 512);
        QCOMPARE(int(last->dataType()), int(ov::FrameInt16));
        QVERIFY(last->hasPixCfgInfo());
        QVERIFY(last->regionTotal(nullptr) > 0.0);
        ov::RefData<ov::IMpxFrame> first(dev->acqFrameRefInc(0), false);
        QCOMPARE(QString::fromStdString(first->frameName()), QStringLiteral("Frame 1"));
        QVERIFY(dev->acqFrameRefInc(200) == nullptr);
        QVERIFY(dev->acqDataRefInc(200) == nullptr);
        ov::RefData<ov::IData> newest(dev->lastAcqDataRefInc(0), false);
        QVERIFY(newest && newest->frameAt(0) == last.get());
        QVERIFY(newest->frameAt(1) == nullptr);
    }

    void repeatCountChangedDuringSeries_data()
    {
        QTest::addColumn<bool>("eventThread");
        QTest::newRow("direct") << false;
        QTest::newRow("host thread") << true;
    }
    void repeatCountChangedDuringSeries()
    {
        QFETCH(bool, eventThread);
        auto dev = makeDevice(1, eventThread);
        Recorder rec;
        subscribe(*dev, rec);
        Acq a;
        a.count = 5;
        const auto bytes = acqRecord(a);
        Repeat rep(sim::kEndlessRepeats, 0.0);
        // The plug-in ends the endless series from another thread.
        std::atomic<bool> stop {false};
        std::thread writer([&] {
            while (!stop.load()) {
                if (rec.count("AcqSerieFinished") >= 4) {
                    rep.setCount(0);
                    return;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
        const int rc = dev->doAdvancedAcquisition(bytes.data(), rep.bytes.data(), nullptr);
        stop = true;
        writer.join();
        QCOMPARE(rc, 0);
        const int rounds = rec.count("AcqSerieStarted");
        QVERIFY2(rounds >= 4 && rounds < 1000, qPrintable(QString::number(rounds)));
        QCOMPARE(rec.count("AcqSerieFinished"), rounds);
        QCOMPARE(rec.count("AcqFinished"), rounds * 5);
        // The store holds the last round only.
        QCOMPARE(dev->acqFrameCount(), 5);

        // A count lowered inside a round's events ends the series after that round. Only
        // events delivered on the measuring thread make this exact; from the host's
        // event thread the change lands at some later round, which the part above covers.
        if (eventThread)
            return;
        Recorder rec2;
        subscribe(*dev, rec2);
        Repeat rep2(10, 0.0);
        rec2.hook = [&](const Event& e) {
            if (e.name == "AcqSerieStarted" && e.data == 1)
                rep2.setCount(2);
        };
        QCOMPARE(dev->doAdvancedAcquisition(bytes.data(), rep2.bytes.data(), nullptr), 0);
        QCOMPARE(rec2.count("AcqSerieStarted"), 2);
    }

    void repeatDelayIsHonoured()
    {
        auto dev = makeDevice(1, false);
        Recorder rec;
        subscribe(*dev, rec);
        Acq a;
        a.count = 1;
        Repeat rep(3, 0.1);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), rep.bytes.data(), nullptr), 0);
        QVERIFY(timer.elapsed() >= 195);
        QCOMPARE(rec.count("AcqSerieStarted"), 3);
        std::vector<long> rounds;
        for (const Event& e : rec.take())
            if (e.name == "AcqSerieStarted")
                rounds.push_back(e.data);
        QCOMPARE(rounds, (std::vector<long> {0, 1, 2}));
    }

    void abortFromAnotherThread_data()
    {
        QTest::addColumn<bool>("eventThread");
        QTest::newRow("direct") << false;
        QTest::newRow("host thread") << true;
    }
    void abortFromAnotherThread()
    {
        QFETCH(bool, eventThread);
        auto dev = makeDevice(1, eventThread);
        Recorder rec;
        subscribe(*dev, rec);
        Acq a;
        a.count = 100000000;
        a.time = 0.001;
        const auto bytes = acqRecord(a);
        std::atomic<int> rc {1};
        std::thread worker(
            [&] { rc = dev->doAdvancedAcquisition(bytes.data(), nullptr, nullptr); });
        QTRY_VERIFY(rec.count("AcqFinished") >= 3);
        std::thread([&] { dev->abortOperation(); }).join();
        worker.join();
        QCOMPARE(rc.load(), int(sim::AcqErrAborted));
        const std::vector<Event> ev = rec.take();
        QCOMPARE(QString::fromStdString(ev.back().name), QStringLiteral("AcqMeasFinished"));
        QCOMPARE(ev.back().data, long(sim::AcqErrAborted));
        QCOMPARE(rec.count("AcqSerieFinished"), 1);
        // The next measurement runs normally.
        a.count = 2;
        a.time = 0.0;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
    }

    void storeKeepsWithinMemoryLimit()
    {
        auto dev = makeDevice(4, false);
        dev->setFrameMemoryMb(1.0); // two 512 x 512 frames of 16 bits
        Acq a;
        a.count = 10;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(dev->acqFrameCount(), 2);
        QCOMPARE(dev->acqDataCount(), 2);
        ov::RefData<ov::IMpxFrame> oldest(dev->acqFrameRefInc(0), false);
        QCOMPARE(QString::fromStdString(oldest->frameName()), QStringLiteral("Frame 9"));
        QVERIFY(dev->acqFrameRefInc(2) == nullptr);
        QVERIFY(dev->lastAcqDataRefInc(2) == nullptr);
        QCOMPARE(dev->store().droppedCount(), 8);
        // A reference held by the plug-in outlives the store's.
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(QString::fromStdString(oldest->frameName()), QStringLiteral("Frame 9"));
    }

    void integralSumsFrames()
    {
        auto dev = makeDevice(1, false);
        Acq a;
        a.count = 6;
        a.time = 0.001;
        dev->setSeed(42);
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        double total = 0.0;
        for (int i = 0; i < 6; ++i) {
            ov::RefData<ov::IMpxFrame> f(dev->acqFrameRefInc(unsigned(i)), false);
            total += f->regionTotal(nullptr);
        }
        QVERIFY(total > 0.0);
        a.integral = 1;
        dev->setSeed(42);
        Recorder rec;
        subscribe(*dev, rec);
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(dev->acqFrameCount(), 1);
        ov::RefData<ov::IMpxFrame> sum(dev->lastAcqFrameRefInc(), false);
        QCOMPARE(int(sum->dataType()), int(ov::FrameUInt32));
        QCOMPARE(QString::fromStdString(sum->frameName()), QStringLiteral("Integral 6"));
        QCOMPARE(sum->regionTotal(nullptr), total);
        QCOMPARE(rec.count("AcqFinished"), 6);
        QCOMPARE(rec.count("AcqNewData"), 1);
    }

    void testPulsesCountOnTestPixels()
    {
        auto dev = makeDevice(1, false);
        ov::IMpxPixCfg* cfg = dev->pixCfg();
        QCOMPARE(cfg->setTestColumn(10, true), 0);
        QCOMPARE(cfg->setMaskBit(10 + 5 * 256, true), 0);
        Acq a;
        a.testPulses = 1;
        a.count = 2;
        a.spacing = 1;
        const auto tp = tpBlock(100, 1e-5, 1.0); // 50 keV-like pulses, well above threshold
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, tp.data()), 0);
        ov::RefData<ov::IMpxFrame> f(dev->lastAcqFrameRefInc(), false);
        const ov::RegionRect column {10, 0, 1, 256};
        const ov::Region inColumn {&column, 1};
        // 255 test pixels (one masked), dead pixels aside, count all 100 pulses.
        const double total = f->regionTotal(&inColumn);
        QVERIFY2(total >= 100.0 * 250 && total <= 100.0 * 255, qPrintable(QString::number(total)));
        QCOMPARE(static_cast<sim::SimFrame*>(f.get())->pixel(10 + 5 * 256), 0.0);
        QCOMPARE(f->regionTotal(nullptr), total);
        // Pulses far below the threshold are not seen.
        const auto weak = tpBlock(100, 1e-5, 0.01);
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, weak.data()), 0);
        ov::RefData<ov::IMpxFrame> g(dev->lastAcqFrameRefInc(), false);
        QCOMPARE(g->regionTotal(nullptr), 0.0);
    }

    void lockedDeviceRefusesAndCreateDeviceMakesTimepix()
    {
        sim::DeviceDesc desc = sim::defaultDeviceSet().front();
        std::shared_ptr<sim::SimDevice> made = sim::createDevice(desc);
        auto* dev = dynamic_cast<sim::TimepixDevice*>(made.get());
        QVERIFY(dev);
        QCOMPARE(dev->width(), 512);
        QCOMPARE(int(dev->chipCount()), 4);
        QVERIFY(dev->isTimepix());
        dev->setLocked(true);
        Acq a;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrLocked));
        dev->setLocked(false);
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);

        QStringList words {QStringLiteral("timepix"), QStringLiteral("kalbar"),
            QStringLiteral("M0002"), QStringLiteral("2"), QStringLiteral("chips=1"),
            QStringLiteral("mpx2"), QStringLiteral("events=thread")};
        sim::DeviceDesc mpx;
        QString error;
        QVERIFY2(sim::parseDeviceWords(words, &mpx, &error), qPrintable(error));
        QVERIFY(mpx.medipix2 && mpx.eventThread);
        std::shared_ptr<sim::SimDevice> m2 = sim::createDevice(mpx);
        auto* mdev = dynamic_cast<sim::TimepixDevice*>(m2.get());
        QVERIFY(mdev && !mdev->isTimepix());
        QCOMPARE(mdev->eventDeliveryMode(), sim::EventDelivery::HostThread);
        QCOMPARE(mdev->pixCfg()->kind(), 1);
        // Other kinds stay plain devices.
        sim::DeviceDesc motor = sim::makeDeviceDesc(ov::DevKindMotor, 5);
        QVERIFY(!dynamic_cast<sim::TimepixDevice*>(sim::createDevice(motor).get()));
    }
};

QTEST_GUILESS_MAIN(TestAcquisition)
#include "tst_acquisition.moc"
