// The hardware trigger of the simulated Timepix: a measurement started or stopped by
// triggers fired from other threads, the trigger delay, the timeout and abort while
// waiting, triggers that nobody waits for, the input edge, the trigger output, the
// Medipix2 that has no trigger input, and the records the device keeps of what it was
// asked for.
#include "acqbytes.h"

#include <deviceset.h>
#include <simframe.h>
#include <timepixdevice.h>

#include <QElapsedTimer>
#include <QtTest>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

using namespace acqbytes;

namespace {

std::shared_ptr<sim::TimepixDevice> makeDevice(bool medipix2 = false)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, medipix2 ? 208 : 77);
    desc.chips = 1;
    desc.width = 256;
    desc.height = 256;
    desc.medipix2 = medipix2;
    return std::make_shared<sim::TimepixDevice>(desc);
}

struct LogLines
{
    std::mutex mutex;
    std::vector<std::pair<unsigned, QString>> lines;

    static void collect(unsigned level, const char* text, long user)
    {
        auto* self = reinterpret_cast<LogLines*>(user);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->lines.emplace_back(level, QString::fromUtf8(text));
    }
    int count(unsigned level, const QString& text)
    {
        std::lock_guard<std::mutex> lock(mutex);
        int n = 0;
        for (const auto& line : lines)
            n += line.first == level && line.second == text;
        return n;
    }
    int countStarting(unsigned level, const QString& start)
    {
        std::lock_guard<std::mutex> lock(mutex);
        int n = 0;
        for (const auto& line : lines)
            n += line.first == level && line.second.startsWith(start);
        return n;
    }
};

// A measurement on a thread of its own, as the plug-in runs it.
class Run
{
public:
    Run(sim::TimepixDevice& dev, const Acq& acq, const void* repeat = nullptr)
        : m_bytes(acqRecord(acq)), m_thread([this, &dev, repeat] {
              m_rc = dev.doAdvancedAcquisition(m_bytes.data(), repeat, nullptr);
              m_done = true;
          })
    { }
    ~Run()
    {
        if (m_thread.joinable())
            m_thread.join();
    }
    int result()
    {
        m_thread.join();
        return m_rc.load();
    }
    bool done() const { return m_done.load(); }

private:
    std::array<unsigned char, 43> m_bytes;
    std::atomic<int> m_rc {1};
    std::atomic<bool> m_done {false};
    std::thread m_thread;
};

// A trigger from a thread of its own, as from a pulse generator.
int fireFromAnotherThread(sim::TimepixDevice& dev)
{
    int answer = 0;
    std::thread([&] { answer = dev.fireTrigger(); }).join();
    return answer;
}

void setParam(sim::TimepixDevice& dev, const char* name, double value)
{
    sim::SimParam* p = dev.params().find(name);
    QVERIFY2(p, name);
    QCOMPARE(p->setDoubleValue(value), 0);
}

} // namespace

class TestTimepixTrigger : public QObject
{
    Q_OBJECT

private slots:
    void startByTriggerWaitsBeforeEveryFrame()
    {
        auto dev = makeDevice();
        QVERIFY(dev->hasTriggerInput());
        QVERIFY(dev->hasHwTrigger());
        QVERIFY(dev->capabilityFlags() & ov::CapHwTriggerStart);
        QVERIFY(dev->capabilityFlags() & ov::CapHwTriggerStop);
        Acq a;
        a.mode = 1;
        a.count = 3;
        a.time = 0.01;
        Run run(*dev, a);
        for (int frame = 0; frame < 3; ++frame) {
            QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
            // Waiting, the frame is not taken yet.
            QCOMPARE(dev->acqFrameCount(), frame);
            QVERIFY(!run.done());
            QCOMPARE(fireFromAnotherThread(*dev), int(sim::TriggerTaken));
            QTRY_VERIFY_WITH_TIMEOUT(dev->acqFrameCount() == frame + 1, 5000);
        }
        QCOMPARE(run.result(), 0);
        QCOMPARE(dev->acqFrameCount(), 3);
        QVERIFY(!dev->waitingForTrigger());
        QCOMPARE(dev->triggerCount(), 3u);
        QCOMPARE(dev->params().find("TrgCount")->u32Value(), 3u);
        QCOMPARE(dev->params().find("TrgSource")->asText(), std::string("host"));
        ov::RefData<ov::IMpxFrame> f(dev->lastAcqFrameRefInc(), false);
        QCOMPARE(f->acqTime(), 0.01);
        QVERIFY(f->regionTotal(nullptr) > 0.0);
    }

    void triggersNobodyWaitsForAreCountedAndLost()
    {
        auto dev = makeDevice();
        setParam(*dev, "TrgTimeout", 5);
        // Idle: counted, not kept for the next measurement.
        QCOMPARE(dev->fireTrigger(), int(sim::TriggerMissed));
        QCOMPARE(dev->triggerCount(), 1u);
        Acq a;
        a.mode = 1;
        a.count = 2;
        a.time = 0.5;
        Run run(*dev, a);
        QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
        QTest::qWait(50);
        QVERIFY(dev->waitingForTrigger());
        QCOMPARE(dev->acqFrameCount(), 0);
        QCOMPARE(fireFromAnotherThread(*dev), int(sim::TriggerTaken));
        // The shutter of the first frame is open: a second trigger now is lost, and the
        // second frame waits for one of its own.
        QCOMPARE(dev->fireTrigger(QStringLiteral("script")), int(sim::TriggerMissed));
        QTRY_VERIFY_WITH_TIMEOUT(dev->acqFrameCount() == 1 && dev->waitingForTrigger(), 5000);
        QTest::qWait(50);
        QCOMPARE(dev->acqFrameCount(), 1);
        QVERIFY(!run.done());
        QCOMPARE(dev->fireTrigger(), int(sim::TriggerTaken));
        QCOMPARE(run.result(), 0);
        QCOMPARE(dev->acqFrameCount(), 2);
        QCOMPARE(dev->triggerCount(), 4u);
    }

    void theTriggerDelayHoldsTheShutter()
    {
        auto dev = makeDevice();
        setParam(*dev, "TrgDelay", 150);
        Acq a;
        a.mode = 1;
        Run run(*dev, a);
        QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(fireFromAnotherThread(*dev), int(sim::TriggerTaken));
        QCOMPARE(run.result(), 0);
        QVERIFY2(timer.elapsed() >= 145, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(dev->acqFrameCount(), 1);
    }

    void stopByTriggerEndsTheExposure()
    {
        auto dev = makeDevice();
        dev->setSeed(5);
        Acq a;
        a.mode = 2;
        a.time = 0.0; // the trigger decides
        Run run(*dev, a);
        // The shutter opens at once and waits for the trigger that closes it.
        QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
        QElapsedTimer open;
        open.start();
        QTest::qWait(200);
        QCOMPARE(fireFromAnotherThread(*dev), int(sim::TriggerTaken));
        const double shut = open.elapsed() / 1000.0;
        QCOMPARE(run.result(), 0);
        ov::RefData<ov::IMpxFrame> f(dev->lastAcqFrameRefInc(), false);
        // The frame took as long as the shutter was open, and counted for that long.
        QVERIFY2(f->acqTime() >= 0.195 && f->acqTime() <= shut + 0.5,
            qPrintable(QString::number(f->acqTime())));
        const double longMean = f->regionMean(nullptr);
        a.mode = 0;
        a.time = 0.02;
        dev->setSeed(5);
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        ov::RefData<ov::IMpxFrame> g(dev->lastAcqFrameRefInc(), false);
        const double shortMean = g->regionMean(nullptr);
        QVERIFY2(longMean > 5.0 * shortMean,
            qPrintable(QStringLiteral("%1 %2").arg(longMean).arg(shortMean)));
    }

    void startAndStopTriggersGateTheShutter()
    {
        auto dev = makeDevice();
        Acq a;
        a.mode = 3;
        a.count = 2;
        a.time = 5.0; // not used: the triggers open and close
        Run run(*dev, a);
        for (int frame = 0; frame < 2; ++frame) {
            QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
            QCOMPARE(fireFromAnotherThread(*dev), int(sim::TriggerTaken)); // opens
            QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
            QTest::qWait(100);
            QCOMPARE(dev->acqFrameCount(), frame);
            QCOMPARE(fireFromAnotherThread(*dev), int(sim::TriggerTaken)); // closes
            QTRY_VERIFY_WITH_TIMEOUT(dev->acqFrameCount() == frame + 1, 5000);
        }
        QCOMPARE(run.result(), 0);
        QCOMPARE(dev->triggerCount(), 4u);
        ov::RefData<ov::IMpxFrame> f(dev->lastAcqFrameRefInc(), false);
        QVERIFY2(
            f->acqTime() >= 0.095 && f->acqTime() < 4.0, qPrintable(QString::number(f->acqTime())));
    }

    void noTriggerWithinTheTimeoutFailsTheMeasurement()
    {
        auto dev = makeDevice();
        LogLines log;
        dev->registerLogCallback(&LogLines::collect, &log);
        std::atomic<long> finished {0};
        dev->registerEvent(
            "AcqMeasFinished",
            [](long data, long user) { reinterpret_cast<std::atomic<long>*>(user)->store(data); },
            &finished);
        setParam(*dev, "TrgTimeout", 1);
        Acq a;
        a.mode = 1;
        a.count = 2;
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrTriggerTimeout));
        QVERIFY(timer.elapsed() >= 990);
        QCOMPARE(int(sim::AcqErrTriggerTimeout), -1013);
        QCOMPARE(finished.load(), long(sim::AcqErrTriggerTimeout));
        QCOMPARE(
            log.count(ov::LogError, QStringLiteral("Measurement failed: no trigger within 1 s")),
            1);
        QVERIFY(!dev->waitingForTrigger());
        QCOMPARE(dev->acqFrameCount(), 0);
        dev->unregisterLogCallback(&LogLines::collect, &log);
    }

    void abortWhileWaitingForATrigger()
    {
        auto dev = makeDevice();
        setParam(*dev, "TrgTimeout", 0); // waits for ever
        Acq a;
        a.mode = 1;
        Run run(*dev, a);
        QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
        QTest::qWait(20);
        std::thread([&] { dev->abortOperation(); }).join();
        QCOMPARE(run.result(), int(sim::AcqErrAborted));
        QVERIFY(!dev->waitingForTrigger());
        // The next measurement runs normally.
        a.mode = 0;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
    }

    void theInputCountsTheChosenEdge()
    {
        auto dev = makeDevice();
        sim::SimParam* edge = dev->params().find("TrgInputEdge");
        QCOMPARE(edge->getAliasValue(), std::string("rising"));
        QCOMPARE(dev->setTriggerLine(true), int(sim::TriggerMissed));
        QCOMPARE(dev->setTriggerLine(true), int(sim::TriggerNoEdge)); // no change
        QCOMPARE(dev->setTriggerLine(false), int(sim::TriggerNoEdge));
        QCOMPARE(dev->triggerCount(), 1u);
        QCOMPARE(dev->params().find("TrgSource")->asText(), std::string("line"));
        QCOMPARE(edge->setAliasValue("falling"), 0);
        QCOMPARE(dev->setTriggerLine(true), int(sim::TriggerNoEdge));
        QCOMPARE(dev->setTriggerLine(false), int(sim::TriggerMissed));
        QCOMPARE(dev->triggerCount(), 2u);
        // A pulse has both edges: one trigger, whichever edge counts, from either level.
        QCOMPARE(dev->fireTrigger(), int(sim::TriggerMissed));
        QCOMPARE(dev->setTriggerLine(true), int(sim::TriggerNoEdge));
        QCOMPARE(dev->fireTrigger(), int(sim::TriggerMissed));
        QVERIFY(dev->triggerLine());
        QCOMPARE(dev->triggerCount(), 4u);

        // A measurement waits for the falling edge: the rising one does not start it.
        Acq a;
        a.mode = 1;
        Run run(*dev, a);
        QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
        QCOMPARE(dev->setTriggerLine(false), int(sim::TriggerTaken));
        QCOMPARE(run.result(), 0);
        QCOMPARE(dev->triggerCount(), 5u);
    }

    void theTriggerOutputFollowsTheShutter()
    {
        auto dev = makeDevice();
        Acq a;
        a.count = 2;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(dev->triggerOutCount(), 0u); // not enabled
        QVERIFY(!dev->triggerOutputHigh());   // rests at log 0 (its pulses are log 1)

        QCOMPARE(dev->params().find("TrgOutputEnabled")->setBoolValue(true), 0);
        a.count = 3;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(dev->triggerOutCount(), 3u); // one pulse per opening of the shutter
        QCOMPARE(dev->params().find("TrgOutCount")->u32Value(), 3u);

        // The pulse lasts as long as the shutter is open, at TriggerLevel.
        a.count = 1;
        a.time = 0.4;
        {
            Run run(*dev, a);
            QTRY_VERIFY_WITH_TIMEOUT(dev->triggerOutputHigh(), 5000);
            QCOMPARE(run.result(), 0);
        }
        QVERIFY(!dev->triggerOutputHigh());
        QCOMPARE(dev->triggerOutCount(), 4u);
        QCOMPARE(dev->params().find("TriggerLevel")->setAliasValue("log 0"), 0);
        QVERIFY(dev->triggerOutputHigh()); // at rest: high
        {
            Run run(*dev, a);
            QTRY_VERIFY_WITH_TIMEOUT(!dev->triggerOutputHigh(), 5000);
            QCOMPARE(run.result(), 0);
        }
        QVERIFY(dev->triggerOutputHigh());
        QCOMPARE(dev->triggerOutCount(), 5u);
    }

    void aMedipix2IgnoresTheTriggerMode()
    {
        auto dev = makeDevice(true);
        QVERIFY(!dev->hasTriggerInput());
        QVERIFY(!dev->hasHwTrigger());
        QCOMPARE(dev->capabilityFlags(), 0u);
        QCOMPARE(dev->fireTrigger(), int(sim::TriggerNoInput));
        QCOMPARE(dev->setTriggerLine(true), int(sim::TriggerNoInput));
        LogLines log;
        dev->registerLogCallback(&LogLines::collect, &log);
        const QString note = QStringLiteral(
            "Measurement: this device has no trigger input; the trigger mode is ignored");
        Acq a;
        a.mode = 1; // what the plug-in's settings dialog writes on such a device
        a.count = 2;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(dev->acqFrameCount(), 2);
        QCOMPARE(log.count(ov::LogWarning, note), 1); // once per measurement
        a.mode = 3;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(log.count(ov::LogWarning, note), 2);
        a.mode = 0;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(log.count(ov::LogWarning, note), 2);
        // Other bits it cannot do are refused as before.
        a.mode = 1u << 4;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrUnsupported));
        a.mode = 1u | (1u << 5);
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrUnsupported));
        QCOMPARE(log.count(ov::LogWarning, note), 2);
        // The record keeps the mode it was sent.
        a.mode = 1;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(dev->lastRequest().acq.mode, 1u);
        dev->unregisterLogCallback(&LogLines::collect, &log);
    }

    void theDeviceKeepsWhatItWasAskedFor()
    {
        auto dev = makeDevice();
        // What the device measures goes to the host's log only: its user's message pane
        // is not opened by every measurement.
        LogLines log, device;
        sim::SimDevice::Attachment attachment;
        attachment.hostLog = [&log, &dev](unsigned level, const QString& text) {
            const QString prefix = dev->name() + QStringLiteral(": ");
            const std::string line
                = (text.startsWith(prefix) ? text.mid(prefix.size()) : text).toStdString();
            LogLines::collect(level, line.c_str(), reinterpret_cast<long>(&log));
        };
        dev->attach(attachment);
        dev->registerLogCallback(&LogLines::collect, &device);
        QCOMPARE(dev->acceptedRequests(), 0u);
        QCOMPARE(dev->pixCfg()->setTestColumn(3, true), 0);
        Acq a;
        a.testPulses = 1;
        a.count = 2;
        a.time = 0.001;
        a.mode = 0x10;
        a.spacing = 2;
        a.fileType = 4;
        a.fileFlags = 0x2;
        const QTemporaryDir tmp;
        const QByteArray out = QFile::encodeName(tmp.filePath(QStringLiteral("run.mfd")));
        a.output = out.constData();
        Repeat repeat(2, 0.01, 1, 3);
        const auto tp = tpBlock(50, 1e-5, 0.75, 1);
        QCOMPARE(
            dev->doAdvancedAcquisition(acqRecord(a).data(), repeat.bytes.data(), tp.data()), 0);
        QCOMPARE(dev->acceptedRequests(), 1u);
        sim::AcqRequest r = dev->lastRequest();
        QVERIFY(r.acq.testPulses);
        QCOMPARE(r.acq.count, 2u);
        QCOMPARE(r.acq.time, 0.001);
        QCOMPARE(r.acq.mode, 0x10u);
        QCOMPARE(r.acq.fileType, 4u);
        QCOMPARE(r.acq.fileFlags, 2u);
        QCOMPARE(r.acq.spacing, 2u);
        QCOMPARE(r.acq.outputFile, out.toStdString());
        QVERIFY(r.repeat && r.testPulses);
        QCOMPARE(r.repeat->count, 2u);
        QCOMPARE(r.repeat->delay, 0.01);
        QCOMPARE(r.repeat->fileFlags, 1u);
        QCOMPARE(r.repeat->fileDigits, 3u);
        QCOMPARE(r.testPulses->count, 50u);
        QCOMPARE(r.testPulses->period, 1e-5);
        QCOMPARE(r.testPulses->height, 0.75);
        QCOMPARE(int(r.testPulses->manualBits), 1);
        // One info line says what was asked for.
        const QString line = QStringLiteral(
            "Measurement: 2 frames of 0.001 s; mode 0x10 (data compression); test pulses: 50 of "
            "0.75 V every 1e-05 s, spacing 2, manual test bits; series of 2 rounds, 0.01 s "
            "apart; output %1 (type 4, flags 0x2)")
                                 .arg(QString::fromUtf8(out));
        QCOMPARE(log.count(ov::LogInfo, line), 1);

        // A refused measurement leaves the records as they were and says nothing of them.
        Acq refused;
        refused.count = 0;
        QVERIFY(dev->doAdvancedAcquisition(acqRecord(refused).data(), nullptr, nullptr) < 0);
        QCOMPARE(dev->acceptedRequests(), 1u);
        QCOMPARE(dev->lastRequest().acq.count, 2u);

        // Without series and test pulses, a triggered integral.
        Acq b;
        b.count = 1;
        b.integral = 1;
        b.mode = 1;
        b.refreshDacs = 1;
        Run run(*dev, b);
        QTRY_VERIFY_WITH_TIMEOUT(dev->waitingForTrigger(), 5000);
        QCOMPARE(dev->fireTrigger(), int(sim::TriggerTaken));
        QCOMPARE(run.result(), 0);
        r = dev->lastRequest();
        QVERIFY(!r.repeat && !r.testPulses);
        QVERIFY(r.acq.integral && r.acq.refreshDacs);
        QCOMPARE(dev->acceptedRequests(), 2u);
        QCOMPARE(log.count(ov::LogInfo,
                     QStringLiteral("Measurement: 1 frame of 0 s, integral; mode 0x1 (started "
                                    "by trigger); no test pulses; one round; DACs refreshed "
                                    "first; no output file")),
            1);
        QCOMPARE(log.countStarting(ov::LogInfo, QStringLiteral("Measurement: ")), 2);
        QCOMPARE(device.countStarting(ov::LogInfo, QStringLiteral("Measurement: ")), 0);
        dev->unregisterLogCallback(&LogLines::collect, &device);
    }
};

QTEST_GUILESS_MAIN(TestTimepixTrigger)
#include "tst_timepixtrigger.moc"
