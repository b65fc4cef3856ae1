// The Timepix3 hit source and the threads that read it out: a span of time gives the same
// hits however often, on whichever thread and in whatever order it is made; a run gives
// the same hits with one producer thread or several, chunk by chunk the hits of the
// source's spans; arrivals are those of a Poisson process at the rate asked for, and
// charge sharing makes clusters of one to four hits.
#include "acqbytes.h"

#include <acqrecordreader.h>
#include <deviceset.h>
#include <hitsource.h>
#include <timepix3device.h>

#include <QtTest>

#include <cmath>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

using namespace acqbytes;

namespace {

constexpr uint64_t kStepsPerChunk
    = uint64_t(sim::Timepix3Device::kChunkSeconds / sim::Tpx3HitSource::kToaStepSeconds);

std::shared_ptr<sim::Timepix3Device> makeDevice(uint32_t serial)
{
    auto dev = std::make_shared<sim::Timepix3Device>(sim::makeDeviceDesc(ov::DevKindTpx3, serial));
    dev->setFrameMemoryMb(512);
    return dev;
}

bool sameHits(const std::vector<ov::Tpx3Hit>& a, const std::vector<ov::Tpx3Hit>& b)
{
    return a.size() == b.size()
        && std::memcmp(a.data(), b.data(), a.size() * sizeof(ov::Tpx3Hit)) == 0;
}

std::vector<ov::Tpx3Hit> span(const sim::Tpx3HitSource& source, uint64_t from, uint64_t to)
{
    std::vector<ov::Tpx3Hit> hits;
    source.generate(from, to, false, hits, nullptr);
    return hits;
}

// The hits of every chunk of a data-driven run, in the order they were announced.
struct Chunks
{
    sim::Timepix3Device* dev = nullptr;
    std::mutex mutex;
    std::vector<std::vector<ov::Tpx3Hit>> hits;

    static void onNewData(long index, long user)
    {
        auto* self = reinterpret_cast<Chunks*>(user);
        ov::IData* d = self->dev->acqDataRefInc(unsigned(index));
        if (!d)
            return;
        auto* p = static_cast<ov::ITpx3Pixels*>(d);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->hits.emplace_back(p->pixels(), p->pixels() + p->chunkPixelCount());
        d->decRef();
    }
};

std::vector<std::vector<ov::Tpx3Hit>> runChunks(uint32_t serial, unsigned threads, double rate)
{
    auto dev = makeDevice(serial);
    dev->setHitRate(rate);
    dev->setReadoutThreads(threads);
    Chunks c;
    c.dev = dev.get();
    dev->registerEvent("AcqNewData", &Chunks::onNewData, &c);
    Acq a;
    a.testPulses = 2; // pixel data
    a.time = 0.1;
    if (dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr) != sim::AcqOk)
        return {};
    if (dev->lostPixels() != 0)
        return {};
    return c.hits;
}

} // namespace

class TestTpx3HitSource : public QObject
{
    Q_OBJECT

private slots:
    void aSpanGivesTheSameHitsWhereverItIsMade()
    {
        auto dev = makeDevice(901);
        dev->setHitRate(4e6);
        const sim::Tpx3HitSource source = dev->hitSource(0);
        const uint64_t from = 3 * kStepsPerChunk, to = 4 * kStepsPerChunk;
        const std::vector<ov::Tpx3Hit> first = span(source, from, to);
        QVERIFY(first.size() > 20000);
        // Again, after another span, and on two threads at once.
        span(source, 0, kStepsPerChunk);
        QVERIFY(sameHits(span(source, from, to), first));
        std::vector<ov::Tpx3Hit> a, b;
        std::thread ta([&] { a = span(source, from, to); });
        std::thread tb([&] { b = span(source, from, to); });
        ta.join();
        tb.join();
        QVERIFY(sameHits(a, first));
        QVERIFY(sameHits(b, first));
        // Another span has other hits; so has another run.
        QVERIFY(!sameHits(span(source, to, to + kStepsPerChunk), first));
        QVERIFY(!sameHits(span(dev->hitSource(1), from, to), first));
        // In order of arrival, inside the chip, in the span (a hit late by time walk at
        // most 200 steps).
        for (size_t i = 0; i < first.size(); ++i) {
            QVERIFY(first[i].toa >= from && first[i].toa < to + 200);
            QVERIFY(i == 0 || first[i].toa >= first[i - 1].toa);
            QVERIFY(first[i].x < 256 && first[i].y < 256 && first[i].tot >= 1);
        }
        QVERIFY(source.expectedHits(from, to) > first.size());
    }

    void aRunIsTheSameWithAnyNumberOfReadoutThreads()
    {
        const auto one = runChunks(902, 1, 3e6);
        const auto three = runChunks(902, 3, 3e6);
        QCOMPARE(one.size(), size_t(10));
        QCOMPARE(three.size(), one.size());
        // Chunk k holds the hits of the first run's source over the k-th 10 ms.
        auto dev = makeDevice(902);
        dev->setHitRate(3e6);
        const sim::Tpx3HitSource source = dev->hitSource(0);
        for (size_t k = 0; k < one.size(); ++k) {
            const auto expected = span(source, k * kStepsPerChunk, (k + 1) * kStepsPerChunk);
            QVERIFY(!expected.empty());
            QVERIFY2(sameHits(one[k], expected), qPrintable(QString::number(k)));
            QVERIFY2(sameHits(three[k], expected), qPrintable(QString::number(k)));
        }
        QVERIFY(dev->readoutThreads() >= 1); // one per core by default
        dev->setReadoutThreads(2);
        QCOMPARE(dev->readoutThreads(), 2u);
    }

    void arrivalsAreAPoissonProcessAtTheRateAsked()
    {
        auto dev = makeDevice(903);
        const double rate = 8e6;
        dev->setHitRate(rate);
        const sim::Tpx3HitSource source = dev->hitSource(0);
        const uint64_t steps = 10 * kStepsPerChunk; // 0.1 s
        std::vector<ov::Tpx3Hit> hits;
        std::vector<ov::Tpx3Cluster> clusters;
        source.generate(0, steps, false, hits, &clusters);
        // The mean rate of hits over the span.
        const double expected = rate * 0.1;
        QVERIFY2(std::abs(double(hits.size()) - expected) < 0.02 * expected,
            qPrintable(QString::number(hits.size())));
        // Gaps between particles: exponential, whose spread equals its mean.
        std::vector<double> gaps;
        for (size_t i = 1; i < clusters.size(); ++i)
            gaps.push_back(double(clusters[i].toa) - double(clusters[i - 1].toa));
        double mean = 0.0, square = 0.0;
        for (double g : gaps)
            mean += g;
        mean /= double(gaps.size());
        for (double g : gaps)
            square += (g - mean) * (g - mean);
        const double spread = std::sqrt(square / double(gaps.size()));
        QVERIFY2(std::abs(spread / mean - 1.0) < 0.05,
            qPrintable(QStringLiteral("%1 %2").arg(mean).arg(spread)));
        // Charge sharing: photons of one to four hits, mostly one (a neighbour's share is
        // often below its threshold), some of two and more.
        size_t sizes[5] = {0, 0, 0, 0, 0};
        size_t inClusters = 0;
        for (const ov::Tpx3Cluster& c : clusters) {
            inClusters += c.size;
            if (c.size <= 4)
                ++sizes[c.size];
        }
        QCOMPARE(inClusters, hits.size());
        const double n = double(clusters.size());
        QVERIFY2(double(sizes[1]) / n > 0.5 && double(sizes[1]) / n < 0.99,
            qPrintable(QString::number(double(sizes[1]) / n)));
        QVERIFY(double(sizes[2]) / n > 0.01);
        QVERIFY(sizes[3] + sizes[4] > 0);
        QVERIFY(double(sizes[1] + sizes[2] + sizes[3] + sizes[4]) > 0.999 * n);
    }
};

QTEST_GUILESS_MAIN(TestTpx3HitSource)
#include "tst_tpx3hitsource.moc"
