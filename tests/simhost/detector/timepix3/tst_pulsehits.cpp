// "Pixels & Test pulses" on the simulated Timepix3: the pulses of the test-pulse record
// come as hits flagged as injected, at their times, on the pixels with the test bit and
// nowhere else; pulses far above the threshold reach every working test pixel, pulses far
// below reach none; the particles' hits go on beside them.
#include "acqbytes.h"

#include <deviceset.h>
#include <physics.h>
#include <pulsehits.h>
#include <timepix3device.h>

#include <QtTest>

#include <map>
#include <set>
#include <vector>

using namespace acqbytes;

namespace {

struct RunHits
{
    std::vector<ov::Tpx3Hit> injected;
    std::vector<ov::Tpx3Hit> particles;
};

// A run of seconds with pulses (count, period, height in volts); every hit it delivered.
RunHits runWithPulses(sim::Timepix3Device& dev, double seconds, uint32_t count, double period,
    double height, int* result)
{
    Acq a;
    a.testPulses = 3; // pixel data with test pulses
    a.time = seconds;
    const auto tp = tpBlock(count, period, height);
    *result = dev.doAdvancedAcquisition(acqRecord(a).data(), nullptr, tp.data());
    RunHits out;
    uint64_t lastToa = 0;
    for (int i = 0; i < dev.acqDataCount(); ++i) {
        ov::IData* d = dev.acqDataRefInc(unsigned(i));
        auto* p = static_cast<ov::ITpx3Pixels*>(d);
        for (size_t k = 0; k < p->chunkPixelCount(); ++k) {
            const ov::Tpx3Hit& h = p->pixels()[k];
            // Still in order of arrival, through the whole run.
            if (h.toa < lastToa)
                *result = -999;
            lastToa = h.toa;
            (h.flags & sim::Tpx3PulseHits::kInjectedFlag ? out.injected : out.particles)
                .push_back(h);
        }
        d->decRef();
    }
    return out;
}

} // namespace

class TestPulseHits : public QObject
{
    Q_OBJECT

    std::shared_ptr<sim::Timepix3Device> makeDevice()
    {
        auto dev = std::make_shared<sim::Timepix3Device>(sim::makeDeviceDesc(ov::DevKindTpx3, 331));
        dev->setFrameMemoryMb(256);
        dev->setHitRate(2e5);
        ov::IMpxPixCfg* cfg = dev->pixCfg();
        for (int column = 40; column < 44; ++column)
            cfg->setTestColumn(column, true);
        return dev;
    }

private slots:
    void pulsesComeAsInjectedHitsOnTheTestPixels()
    {
        auto dev = makeDevice();
        int result = 0;
        // 20 pulses of 50 keV, one every 2 ms, in a run of 50 ms.
        const RunHits hits = runWithPulses(*dev, 0.05, 20, 2e-3, 1.0, &result);
        QCOMPARE(result, 0);
        QVERIFY(!hits.particles.empty());
        QVERIFY(!hits.injected.empty());
        std::map<uint64_t, std::set<std::pair<int, int>>> byTime;
        for (const ov::Tpx3Hit& h : hits.injected) {
            QVERIFY2(h.x >= 40 && h.x < 44, qPrintable(QString::number(h.x)));
            QVERIFY(h.tot >= 1);
            byTime[h.toa].insert({h.x, h.y});
        }
        // One time per pulse, at (k + 1/2) periods.
        QCOMPARE(byTime.size(), size_t(20));
        uint32_t k = 0;
        for (const auto& [toa, pixels] : byTime) {
            const double expected = (k + 0.5) * 2e-3 / 1.5625e-9;
            QVERIFY(std::abs(double(toa) - expected) <= 1.0);
            // Far above the threshold: every working test pixel, once per pulse.
            QVERIFY2(pixels.size() > 4 * 256 * 9 / 10, qPrintable(QString::number(pixels.size())));
            ++k;
        }
        QCOMPARE(dev->generatedHits(), uint64_t(hits.injected.size() + hits.particles.size()));
    }

    void pulseHitsAreAlikeWithAnyNumberOfReadoutThreads()
    {
        std::vector<ov::Tpx3Hit> seen[2];
        for (int i = 0; i < 2; ++i) {
            auto dev = makeDevice();
            dev->setReadoutThreads(i == 0 ? 1 : 3);
            int result = 0;
            // Pulses at the threshold: some test pixels see each one, and the draws
            // decide which.
            const double edge = dev->trueThresholdKeV(0) / sim::PhysicsModel::testPulseKeV(1.0);
            seen[i] = runWithPulses(*dev, 0.05, 40, 1e-3, edge, &result).injected;
            QCOMPARE(result, 0);
        }
        const size_t all = size_t(40) * 4 * 256;
        QVERIFY2(seen[0].size() > 100 && seen[0].size() < all * 9 / 10,
            qPrintable(QString::number(seen[0].size())));
        QCOMPARE(seen[0].size(), seen[1].size());
        for (size_t k = 0; k < seen[0].size(); ++k) {
            const ov::Tpx3Hit& a = seen[0][k];
            const ov::Tpx3Hit& b = seen[1][k];
            QVERIFY(a.toa == b.toa && a.x == b.x && a.y == b.y && a.tot == b.tot);
        }
    }

    void pulsesBelowTheThresholdInjectNothing()
    {
        auto dev = makeDevice();
        int result = 0;
        const RunHits hits = runWithPulses(*dev, 0.03, 10, 1e-3, 0.01, &result);
        QCOMPARE(result, 0);
        QVERIFY(hits.injected.empty());
        QVERIFY(!hits.particles.empty());
    }

    void pulsesAfterTheEndOfTheRunAreNotDelivered()
    {
        auto dev = makeDevice();
        int result = 0;
        // 100 pulses 1 ms apart, but the run lasts 20 ms.
        const RunHits hits = runWithPulses(*dev, 0.02, 100, 1e-3, 1.0, &result);
        QCOMPARE(result, 0);
        std::set<uint64_t> times;
        for (const ov::Tpx3Hit& h : hits.injected)
            times.insert(h.toa);
        QCOMPARE(times.size(), size_t(20));
    }

    void aPlainPixelsRunInjectsNothing()
    {
        auto dev = makeDevice();
        Acq a;
        a.testPulses = 2;
        a.time = 0.02;
        const auto tp = tpBlock(10, 1e-3, 1.0);
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, tp.data()), 0);
        for (int i = 0; i < dev->acqDataCount(); ++i) {
            ov::IData* d = dev->acqDataRefInc(unsigned(i));
            auto* p = static_cast<ov::ITpx3Pixels*>(d);
            for (size_t k = 0; k < p->chunkPixelCount(); ++k)
                QVERIFY(!(p->pixels()[k].flags & sim::Tpx3PulseHits::kInjectedFlag));
            d->decRef();
        }
    }
};

QTEST_GUILESS_MAIN(TestPulseHits)
#include "tst_pulsehits.moc"
