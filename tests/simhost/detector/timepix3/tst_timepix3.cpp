// The simulated Timepix3: data-driven runs delivering every hit the chip made or
// counting it as lost, frames of chunks equal to histograms of their hits, clusters,
// pixel files written by a run, frame modes by operation mode, and its settings.
#include "acqbytes.h"
#include "chunkframe.h"

#include <acqrecordreader.h>
#include <deviceset.h>
#include <simframe.h>
#include <timepix3device.h>
#include <timepixdevice.h>
#include <tpx3hitfile.h>

#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

using namespace acqbytes;

namespace {

// Takes a reference on every data object as "AcqNewData" announces it, on the
// measuring thread, so that nothing the memory limit lets go is missed.
struct Collector
{
    sim::Timepix3Device* dev = nullptr;
    std::mutex mutex;
    std::vector<ov::ITpx3Data*> data;
    int finished = 0;
    // A reader that falls behind: the first chunk is held until the readout has lost
    // hits, however fast the machine makes them.
    bool holdUntilLoss = false;

    ~Collector()
    {
        for (ov::ITpx3Data* d : data)
            d->decRef();
    }
    static void onNewData(long index, long user)
    {
        auto* self = reinterpret_cast<Collector*>(user);
        ov::IData* d = self->dev->acqDataRefInc(unsigned(index));
        QVERIFY(d);
        QVERIFY(d->dataKind() == ov::DataTpx3Pixels || d->dataKind() == ov::DataTpx3Clusters);
        {
            std::lock_guard<std::mutex> lock(self->mutex);
            self->data.push_back(static_cast<ov::ITpx3Data*>(d));
        }
        if (self->holdUntilLoss && self->data.size() == 1) {
            const auto give = std::chrono::steady_clock::now() + std::chrono::seconds(60);
            while (self->dev->lostPixels() == 0 && std::chrono::steady_clock::now() < give)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    static void onFinished(long, long user)
    {
        auto* self = reinterpret_cast<Collector*>(user);
        std::lock_guard<std::mutex> lock(self->mutex);
        ++self->finished;
    }
    void subscribe(sim::Timepix3Device& d)
    {
        dev = &d;
        d.registerEvent("AcqNewData", &onNewData, this);
        d.registerEvent("AcqFinished", &onFinished, this);
    }
};

std::shared_ptr<sim::Timepix3Device> makeDevice(uint32_t serial = 317)
{
    auto dev = std::make_shared<sim::Timepix3Device>(sim::makeDeviceDesc(ov::DevKindTpx3, serial));
    dev->setFrameMemoryMb(512);
    return dev;
}

int runPixels(sim::Timepix3Device& dev, double seconds, const char* output = "")
{
    Acq a;
    a.testPulses = 2; // pixel data
    a.time = seconds;
    a.output = output;
    return dev.doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr);
}

const ov::Tpx3Hit* hitsOf(ov::ITpx3Data* d, size_t* n)
{
    auto* p = static_cast<ov::ITpx3Pixels*>(d);
    *n = p->chunkPixelCount();
    return p->pixels();
}

std::vector<uint32_t> histogram(const std::vector<ov::Tpx3Hit>& hits, int w, int h)
{
    std::vector<uint32_t> out(size_t(w) * size_t(h), 0);
    for (const ov::Tpx3Hit& hit : hits)
        ++out[size_t(hit.y) * size_t(w) + hit.x];
    return out;
}

} // namespace

class TestTimepix3 : public QObject
{
    Q_OBJECT

private slots:
    void everyHitIsDeliveredOrCountedLost()
    {
        auto dev = makeDevice();
        dev->setHitRate(5e6);
        Collector c;
        c.subscribe(*dev);
        QCOMPARE(runPixels(*dev, 0.25), int(sim::AcqOk));
        QCOMPARE(c.finished, 1);
        QVERIFY(c.data.size() >= 20);
        std::vector<ov::Tpx3Hit> all;
        uint64_t lastToa = 0;
        for (ov::ITpx3Data* d : c.data) {
            QCOMPARE(d->dataKind(), int(ov::DataTpx3Pixels));
            size_t n = 0;
            const ov::Tpx3Hit* h = hitsOf(d, &n);
            for (size_t i = 0; i < n; ++i) {
                // In order of arrival within a chunk, inside the chip.
                if (i > 0)
                    QVERIFY(h[i].toa >= h[i - 1].toa);
                QVERIFY(h[i].x < 256 && h[i].y < 256);
                QVERIFY(h[i].tot >= 1);
                lastToa = std::max(lastToa, h[i].toa);
            }
            all.insert(all.end(), h, h + n);
            // The count of the run up to this chunk.
            QCOMPARE(static_cast<ov::ITpx3Pixels*>(d)->pixelCount(), all.size());
        }
        QCOMPARE(dev->lostPixels(), uint64_t(0));
        QCOMPARE(uint64_t(all.size()), dev->generatedHits());
        // About the rate asked for, over the run's time.
        QVERIFY2(all.size() > 0.7 * 5e6 * 0.25 && all.size() < 1.4 * 5e6 * 0.25,
            qPrintable(QString::number(all.size())));
        QVERIFY(lastToa < uint64_t(0.2501 / 1.5625e-9) + 1000);

        // The integral frame of the last chunk is the histogram of all hits.
        QCOMPARE(frameValues(c.data.back()), histogram(all, 256, 256));
        // That of an earlier chunk counts the hits up to it.
        const size_t k = c.data.size() / 2;
        std::vector<ov::Tpx3Hit> upTo;
        for (size_t i = 0; i <= k; ++i) {
            size_t n = 0;
            const ov::Tpx3Hit* h = hitsOf(c.data[i], &n);
            upTo.insert(upTo.end(), h, h + n);
        }
        QCOMPARE(frameValues(c.data[k]), histogram(upTo, 256, 256));
    }

    void fadeFrameCountsTheWindowOnly()
    {
        auto dev = makeDevice();
        dev->setHitRate(2e6);
        Collector c;
        c.subscribe(*dev);
        QCOMPARE(runPixels(*dev, 0.2), int(sim::AcqOk));
        ov::ITpx3Data* last = c.data.back();
        QCOMPARE(last->setFadeWindowSize(0.05), 0);
        QCOMPARE(last->setFrameType(ov::Tpx3FrameFade), 0);
        QCOMPARE(last->frameType(), int(ov::Tpx3FrameFade));
        // The other chunks of the run share the setting.
        QCOMPARE(c.data.front()->fadeWindowSize(), 0.05);
        std::vector<ov::Tpx3Hit> all;
        for (ov::ITpx3Data* d : c.data) {
            size_t n = 0;
            const ov::Tpx3Hit* h = hitsOf(d, &n);
            all.insert(all.end(), h, h + n);
        }
        uint64_t end = 0;
        for (const ov::Tpx3Hit& h : all)
            end = std::max(end, h.toa + 1);
        end = std::max<uint64_t>(end, uint64_t(0.2 / 1.5625e-9));
        const uint64_t from = end - uint64_t(0.05 / 1.5625e-9);
        std::vector<ov::Tpx3Hit> window;
        for (const ov::Tpx3Hit& h : all)
            if (h.toa >= from)
                window.push_back(h);
        QVERIFY(window.size() > 0 && window.size() < all.size() / 2);
        QCOMPARE(frameValues(last), histogram(window, 256, 256));
        QCOMPARE(last->setFadeWindowSize(-1.0), -1);
        QCOMPARE(last->setFrameType(7), -1);
        // Back to integral: all hits again.
        QCOMPARE(last->setFrameType(ov::Tpx3FrameIntegral), 0);
        QCOMPARE(frameValues(last), histogram(all, 256, 256));
    }

    void aSlowReaderLosesHitsAndTheyAreCounted()
    {
        auto dev = makeDevice();
        dev->setHitRate(4e6);
        QVERIFY(dev->params().find("ReadoutBuffer"));
        dev->params().find("ReadoutBuffer")->assign(1);
        QCOMPARE(dev->readoutBufferChunks(), size_t(1));
        Collector c;
        c.holdUntilLoss = true;
        c.subscribe(*dev);
        QCOMPARE(runPixels(*dev, 0.3), int(sim::AcqOk));
        uint64_t delivered = 0;
        for (ov::ITpx3Data* d : c.data) {
            size_t n = 0;
            hitsOf(d, &n);
            delivered += n;
        }
        QVERIFY(dev->lostPixels() > 0);
        QCOMPARE(delivered + dev->lostPixels(), dev->generatedHits());
        // Each chunk knows the loss up to it; it never falls.
        uint64_t before = 0;
        for (ov::ITpx3Data* d : c.data) {
            QVERIFY(d->lostPixels() >= before);
            before = d->lostPixels();
        }
    }

    void clustersHoldTheHitsOfOneParticle()
    {
        auto dev = makeDevice();
        dev->setHitRate(1e6);
        dev->params().find("DataOutput")->assign(1);
        Collector c;
        c.subscribe(*dev);
        QCOMPARE(runPixels(*dev, 0.1), int(sim::AcqOk));
        uint64_t hits = 0, inClusters = 0;
        for (ov::ITpx3Data* d : c.data) {
            QCOMPARE(d->dataKind(), int(ov::DataTpx3Clusters));
            auto* cl = static_cast<ov::ITpx3Clusters*>(d);
            hits += cl->chunkPixelCount();
            QCOMPARE(uint64_t(cl->pixelCount()), hits);
            for (size_t i = 0; i < cl->clusterCount(); ++i) {
                const ov::Tpx3Cluster& k = cl->clusters()[i];
                QVERIFY(k.size >= 1);
                QVERIFY(k.x >= 0.0f && k.x <= 256.0f && k.y >= 0.0f && k.y <= 256.0f);
                QVERIFY(k.energy >= float(k.size));
                inClusters += k.size;
            }
        }
        QVERIFY(hits > 0);
        QCOMPARE(inClusters, hits);
        QCOMPARE(hits, dev->generatedHits());
    }

    void aRunWritesItsHitsToAPixelFile()
    {
        QTemporaryDir dir;
        const std::string path = dir.filePath(QStringLiteral("run.t3p")).toStdString();
        auto dev = makeDevice();
        dev->setHitRate(1e6);
        Collector c;
        c.subscribe(*dev);
        QCOMPARE(runPixels(*dev, 0.1, path.c_str()), int(sim::AcqOk));
        std::vector<ov::Tpx3Hit> delivered;
        for (ov::ITpx3Data* d : c.data) {
            size_t n = 0;
            const ov::Tpx3Hit* h = hitsOf(d, &n);
            delivered.insert(delivered.end(), h, h + n);
        }
        std::vector<ov::Tpx3Hit> read;
        unsigned w = 0, h = 0;
        std::string error;
        QCOMPARE(sim::readTpx3Hits(path, sim::Tpx3HitList, &read, &w, &h, &error), 0);
        QCOMPARE(w, 256u);
        QCOMPARE(h, 256u);
        QCOMPARE(read.size(), delivered.size());
        QVERIFY(std::memcmp(read.data(), delivered.data(), read.size() * sizeof(ov::Tpx3Hit)) == 0);
        // A frame-file name is refused for pixel data.
        const std::string txt = dir.filePath(QStringLiteral("run.txt")).toStdString();
        QCOMPARE(runPixels(*dev, 0.02, txt.c_str()), int(sim::AcqErrOutputFile));
        QVERIFY(!QFile::exists(QString::fromStdString(txt)));
    }

    void abortEndsTheRunEarly()
    {
        auto dev = makeDevice();
        // The abort comes once the run is under way (an abort while nothing runs is
        // not kept for the next measurement), however slowly the run starts.
        std::thread stopper([&] {
            const auto give = std::chrono::steady_clock::now() + std::chrono::seconds(60);
            while (!dev->acquisitionRunning() && std::chrono::steady_clock::now() < give)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            dev->abortOperation();
        });
        const auto t0 = std::chrono::steady_clock::now();
        const int rc = runPixels(*dev, 30.0);
        stopper.join();
        QCOMPARE(rc, int(sim::AcqErrAborted));
        QVERIFY(std::chrono::steady_clock::now() - t0 < std::chrono::seconds(10));
    }

    void destroyingTheDeviceEndsItsRunFirst()
    {
        auto dev = makeDevice();
        std::thread run([&] { runPixels(*dev, 30.0); });
        QTRY_VERIFY_WITH_TIMEOUT(dev->acquisitionRunning(), 5000);
        QTest::qWait(100);
        // The measuring thread still holds the device when it goes: it must see the
        // abort and leave before any part of the device is destroyed.
        std::thread destroy([&] { dev.reset(); });
        destroy.join();
        run.join();
        QVERIFY(!dev);
    }

    void onlyTheTimepix3HasPixelReadout()
    {
        sim::TimepixDevice tpx(sim::makeDeviceDesc(ov::DevKindMpx2, 5));
        Acq a;
        a.testPulses = 2;
        a.time = 0.01;
        QCOMPARE(tpx.doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrUnsupported));
    }

    void operationModeDecidesTheFrames()
    {
        auto dev = makeDevice();
        Acq a;
        a.time = 0.01;
        auto meanOf = [&](uint8_t mode) {
            dev->setOperationMode(mode);
            const int rc = dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr);
            if (rc != sim::AcqOk)
                return -1.0;
            auto* f = static_cast<sim::SimFrame*>(dev->lastAcqFrameRefInc());
            const int16_t* p = static_cast<const sim::SimFrame*>(f)->pixels<int16_t>();
            double sum = 0.0;
            const size_t n = f->pixelCount();
            for (size_t i = 0; i < n; ++i)
                sum += p[i];
            f->decRef();
            return sum / double(n);
        };
        const double counts = meanOf(2);        // Event + iToT: counts of 10 ms
        const double arrival = meanOf(1);       // ToA: clock counts from the first hit
        const double overThreshold = meanOf(3); // Only ToT: clock counts of the energy
        QVERIFY2(counts > 1.0 && counts < 500.0, qPrintable(QString::number(counts)));
        QVERIFY2(arrival > 10.0 * counts, qPrintable(QString::number(arrival)));
        QVERIFY2(overThreshold > counts, qPrintable(QString::number(overThreshold)));
        QCOMPARE(dev->operationMode(), uint8_t(3));
    }

    void settingsAreCheckedAndAnnounced()
    {
        auto dev = makeDevice();
        static int changes = 0;
        changes = 0;
        dev->registerEvent(
            "Tpx3StgChanged", [](long, long) { ++changes; }, nullptr);
        QCOMPARE(dev->setOperationMode(4), -1);
        QCOMPARE(dev->setVco(2), 0);
        QCOMPARE(dev->vco(), uint8_t(2));
        QCOMPARE(dev->setVco(sim::Timepix3Device::kVcoSettings), -1);
        QCOMPARE(dev->setGrayCounter(1), 0);
        QCOMPARE(dev->grayCounter(), uint8_t(1));
        QCOMPARE(dev->setConvertToa(true), 0);
        QVERIFY(dev->convertToa());
        QCOMPARE(dev->setTimeWalk(0, 1, 2, 3, 4, 5), 0);
        double c = 0, d = 0, e = 0, f = 0, m = 0;
        QCOMPARE(dev->timeWalk(0, &c, &d, &e, &f, &m), 0);
        QCOMPARE(std::vector<double>({c, d, e, f, m}), std::vector<double>({1, 2, 3, 4, 5}));
        QCOMPARE(dev->setTimeWalk(1, 1, 2, 3, 4, 5), -1); // one chip
        QCOMPARE(dev->setChipCalibration(0, -0.09, 39.0), 0);
        double a = 0, b = 0;
        QCOMPARE(dev->chipCalibration(0, &a, &b), 0);
        QCOMPARE(a, -0.09);
        QCOMPARE(b, 39.0);
        QCOMPARE(changes, 5);
        QCOMPARE(dev->chipCount(), 1u);
        QVERIFY(dev->isDataCalibrationSupported());
        QVERIFY(dev->temperature() > 20.0 && dev->temperature() < 80.0);
    }
};

QTEST_GUILESS_MAIN(TestTimepix3)
#include "tst_timepix3.moc"
