// Settings of the simulated Timepix: pixel configuration, DACs, thresholds, bias and
// the rest, each with its event; and the physics model behind the frames: test pulses,
// bias and clock as they show on measured frames, and refused bias and clock values.
#include "acqbytes.h"

#include <deviceset.h>
#include <physics.h>
#include <simframe.h>
#include <timepixdevice.h>

#include <QtTest>

#include <cmath>
#include <map>
#include <mutex>

namespace {

struct Counter
{
    std::mutex mutex;
    std::map<std::string, int> counts;
    int get(const char* name)
    {
        std::lock_guard<std::mutex> lock(mutex);
        return counts[name];
    }
};

template <int Which>
void onEvent(long, long user)
{
    static const char* const names[] = {"PixCfgChanged", "DacsChanged", "BiasChanged",
        "DeviceCfgChanged", "TpxClockChanged", "LockChanged", "DeviceStatusChanged"};
    auto* c = reinterpret_cast<Counter*>(user);
    std::lock_guard<std::mutex> lock(c->mutex);
    ++c->counts[names[Which]];
}

std::shared_ptr<sim::TimepixDevice> makeDevice(int chips, bool medipix2 = false)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, 321);
    desc.chips = chips;
    desc.width = chips == 4 ? 512 : 256;
    desc.height = chips == 4 ? 512 : 256;
    desc.medipix2 = medipix2;
    auto dev = std::make_shared<sim::TimepixDevice>(desc);
    return dev;
}

void subscribe(sim::TimepixDevice& dev, Counter& c)
{
    dev.registerEvent("PixCfgChanged", &onEvent<0>, &c);
    dev.registerEvent("DacsChanged", &onEvent<1>, &c);
    dev.registerEvent("BiasChanged", &onEvent<2>, &c);
    dev.registerEvent("DeviceCfgChanged", &onEvent<3>, &c);
    dev.registerEvent("TpxClockChanged", &onEvent<4>, &c);
    dev.registerEvent("LockChanged", &onEvent<5>, &c);
    dev.registerEvent("DeviceStatusChanged", &onEvent<6>, &c);
}

double meanCounts(sim::PhysicsModel& model, double exposure, uint64_t seed, int frames = 1)
{
    std::vector<int16_t> out(size_t(model.width()) * size_t(model.height()));
    double total = 0.0;
    for (int f = 0; f < frames; ++f) {
        sim::Rng rng(sim::seedOf(seed, uint64_t(f)));
        model.frame(rng, exposure, out.data());
        for (int16_t v : out)
            total += v;
    }
    return total / (double(out.size()) * frames);
}

// One frame of a measurement of time seconds (with test pulses when tp is given), with
// a fixed random sequence; empty when the measurement fails.
std::vector<double> measureFrame(sim::TimepixDevice& dev, double time,
    const std::array<unsigned char, 21>* tp = nullptr, uint64_t seed = 42)
{
    dev.setSeed(seed);
    acqbytes::Acq a;
    a.time = time;
    a.testPulses = tp ? 1 : 0;
    if (dev.doAdvancedAcquisition(acqbytes::acqRecord(a).data(), nullptr, tp ? tp->data() : nullptr)
        != 0)
        return {};
    ov::RefData<ov::IMpxFrame> f(dev.lastAcqFrameRefInc(), false);
    const auto* frame = static_cast<sim::SimFrame*>(f.get());
    std::vector<double> out(frame->pixelCount());
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = frame->pixel(i);
    return out;
}

double total(const std::vector<double>& px)
{
    double sum = 0.0;
    for (double v : px)
        sum += v;
    return sum;
}

struct LogLines
{
    std::vector<std::pair<unsigned, QString>> lines;
    static void collect(unsigned level, const char* text, long user)
    {
        reinterpret_cast<LogLines*>(user)->lines.emplace_back(level, QString::fromUtf8(text));
    }
    QStringList warnings() const
    {
        QStringList out;
        for (const auto& line : lines)
            if (line.first == ov::LogWarning)
                out << line.second;
        return out;
    }
};

} // namespace

class TestTimepix : public QObject
{
    Q_OBJECT

private slots:
    void pixelConfigurationAndEvents()
    {
        auto dev = makeDevice(1);
        Counter c;
        subscribe(*dev, c);
        ov::IMpxPixCfg* cfg = dev->pixCfg();
        QCOMPARE(cfg->kind(), 2);
        QCOMPARE(int(cfg->thlMax()), 15);
        QCOMPARE(cfg->setMaskBit(5, true), 0);
        QVERIFY(cfg->maskBit(5) && !cfg->maskBit(6));
        QCOMPARE(cfg->setMaskColumn(3, true), 0);
        QVERIFY(cfg->maskColumn(3) && !cfg->maskColumn(4));
        QCOMPARE(cfg->setMaskRow(256, true), -1); // out of range: no change, no event
        QCOMPARE(cfg->setTestBitRange(10, 10, 4, 2, true), 0);
        QVERIFY(cfg->testBit(11 * 256 + 13) && !cfg->testBit(12 * 256 + 13));
        QCOMPARE(cfg->setThl(7, 16), -1);
        QCOMPARE(cfg->setThl(7, 12), 0);
        QCOMPARE(cfg->stepThlColumn(7, 5, 1), 0);
        QCOMPARE(int(cfg->thl(7)), 15); // clamped at thlMax
        QCOMPARE(int(cfg->thl(7 + 256)), 12);
        QCOMPARE(cfg->stepThlRow(1, 3, 0), 0); // absolute
        QCOMPARE(int(cfg->thl(7 + 256)), 3);
        QCOMPARE(cfg->setModeRange(0, 0, 128, 256, 3), 0);
        QCOMPARE(cfg->averageMode(), 1.5);
        QCOMPARE(cfg->setModeAll(4), -1);
        QCOMPARE(cfg->setThhRange(0, 0, 1, 1, 1), -1); // not on a Timepix
        ov::DataBuff<unsigned char> mask;
        QCOMPARE(cfg->maskBits(&mask), 0);
        QCOMPARE(int(mask.size()), 65536);
        // Pixel 5 is masked: its mask bit is 0; pixel 6 counts.
        QCOMPARE(int(mask[5]), 0);
        QCOMPARE(int(mask[6]), 1);
        QCOMPARE(c.get("PixCfgChanged"), 7);

        // A working copy changes nothing until setPixCfg makes it current.
        ov::IMpxPixCfg* copy = dev->copyPixCfg();
        QCOMPARE(copy->setAllMask(true), 0);
        QVERIFY(!cfg->maskBit(100));
        QCOMPARE(c.get("PixCfgChanged"), 7);
        QCOMPARE(dev->setPixCfg(copy), 0);
        QVERIFY(cfg->maskBit(100));
        QCOMPARE(c.get("PixCfgChanged"), 8);
        copy->releaseCopy();
        QCOMPARE(cfg->resetAll(), 0);
        QVERIFY(!cfg->maskBit(5));
        QCOMPARE(cfg->averageMode(), 0.0);
        QCOMPARE(c.get("PixCfgChanged"), 9);
        ov::FilePath path("/nonexistent-folder/none.bpc");
        QVERIFY(cfg->loadFromFile(path, 0) < 0); // no such file: nothing changes
        QCOMPARE(c.get("PixCfgChanged"), 9);

        auto mpx2 = makeDevice(1, true);
        QCOMPARE(mpx2->pixCfg()->kind(), 1);
        QCOMPARE(int(mpx2->pixCfg()->thhMax()), 7);
        QCOMPARE(mpx2->pixCfg()->setThhRange(0, 0, 2, 2, 6), 0);
        QCOMPARE(int(mpx2->pixCfg()->mode8(1)), 6);
    }

    void dacsThresholdsAndEvents()
    {
        auto dev = makeDevice(4);
        Counter c;
        subscribe(*dev, c);
        ov::IMpxDacs* dacs = dev->dacs();
        ov::StrList names;
        dacs->dacNames(names);
        QCOMPARE(int(names.size()), 14);
        QCOMPARE(QString::fromUtf8(names.get(6)), QStringLiteral("THL"));
        QCOMPARE(dacs->dacMaxValue(6), 1023);
        QCOMPARE(dacs->dacMaxValue(7), 15);
        QCOMPARE(dacs->dacValue(6, 3), 375);
        QCOMPARE(dacs->setDacValue(6, 2, 1024), -1);
        QCOMPARE(dacs->setDacValue(6, 2, 400), 0);
        QCOMPARE(c.get("DacsChanged"), 1);
        QCOMPARE(dev->threshold(2, ov::ThresholdChip), 400.0);
        QCOMPARE(dev->threshold(0, ov::ThresholdAllChips), (375.0 * 3 + 400.0) / 4);
        ov::IMpxDacs* copy = dev->dacsCopy();
        QCOMPARE(copy->setDacValue(0, -1, 20), 0);
        QCOMPARE(dacs->dacValue(0, 1), 5);
        QCOMPARE(dev->setDacs(copy), 0);
        QCOMPARE(dacs->dacValue(0, 1), 20);
        QCOMPARE(c.get("DacsChanged"), 2);
        copy->release();
        QCOMPARE(dacs->resetDacs(), 0);
        QCOMPARE(dacs->dacValue(6, 2), 375);

        // Calibrated threshold in keV: set, read back, and the physics follows.
        QVERIFY(dev->isChipCalibrated(0));
        QCOMPARE(dev->setThreshold(0xFFFFFFFFu, ov::ThresholdCalibrated, 10.0), 0);
        QVERIFY(std::fabs(dev->threshold(0xFFFFFFFFu, ov::ThresholdCalibrated) - 10.0) < 0.1);
        QVERIFY(std::fabs(dev->trueThresholdKeV(1) - 10.0) < 0.5);
        QCOMPARE(dev->setThreshold(0, ov::ThresholdChip, 2000), -1);
        QCOMPARE(dev->setChipCalibration(1, 1, 0.0, 0.0, 0.0, 0.0), 0);
        QVERIFY(!dev->isChipCalibrated(1));
        QCOMPARE(dev->setThreshold(1, ov::ThresholdCalibrated, 8.0), -1);

        QCOMPARE(dev->setBias(250.0), -1);
        QCOMPARE(dev->setBias(80.0), 0);
        QCOMPARE(dev->bias(), 80.0);
        QCOMPARE(c.get("BiasChanged"), 1);
        QVERIFY(dev->hasBiasSense());
        const double sensed = dev->senseBiasVoltage();
        QVERIFY(std::fabs(sensed - 80.0) < 2.0 && sensed != 80.0);
        QVERIFY(dev->senseBiasCurrent() > 0.0);
        QCOMPARE(dev->setClock(40.0), 0);
        QCOMPARE(dev->clock(), 40.0);
        QCOMPARE(c.get("TpxClockChanged"), 1);
        QCOMPARE(dev->setDacDelay(120), 0);
        QCOMPARE(dev->dacDelay(), 120);
        QVERIFY(dev->chipPolarity(-1)); // the device as a whole
        QCOMPARE(dev->setChipPolarity(3, false), 0);
        QVERIFY(!dev->chipPolarity(3) && dev->chipPolarity(2));
        QVERIFY(!dev->chipPolarity(-1));
        QVERIFY(!dev->chipPolarity(-2));
        unsigned w = 0, h = 0, idx[4], rot[4];
        QCOMPARE(dev->chipLayout(&w, &h, idx, rot), 0);
        QVERIFY(w == 2 && h == 2 && idx[3] == 3 && rot[0] == 0);
        unsigned bad[4] = {0, 0, 1, 2};
        QCOMPARE(dev->setChipLayout(2, 2, bad, rot), -1);
        ov::StrList ids;
        dev->chipIds(ids);
        QCOMPARE(int(ids.size()), 4);
        QVERIFY(QString::fromUtf8(ids.get(0)) != QString::fromUtf8(ids.get(1)));
        // calibration, polarity, layout (refused: none), delay, sensor refresh
        QCOMPARE(dev->setSensorRefreshEnabled(true), 0);
        QCOMPARE(c.get("DeviceCfgChanged"), 4);
        dev->setLocked(true);
        QCOMPARE(c.get("LockChanged"), 1);
        uint32_t maxCount = 0;
        double maxHeight = 0, maxPeriod = 0;
        QCOMPARE(dev->testPulseLimits(&maxCount, &maxHeight, &maxPeriod), 0);
        QVERIFY(maxCount > 0 && maxHeight > 0 && maxPeriod > 0);
        QVERIFY(dev->supportedAcqTypes() & ov::AcqTypeTestPulses);
    }

    void physicsRespondsToItsInputs()
    {
        sim::PhysicsModel model(256, 256, 1, 99);
        sim::PhysicsInputs in = model.inputs();
        in.pixels.mask.assign(65536, 0);
        in.pixels.test.assign(65536, 0);
        in.pixels.thl.assign(65536, 7);
        in.pixels.mode.assign(65536, 0);
        model.setInputs(in);
        const double base = meanCounts(model, 0.01, 1);
        QVERIFY(base > 10.0);
        // Same seed, same frame.
        std::vector<int16_t> a(65536), b(65536);
        sim::Rng r1(5), r2(5), r3(6);
        model.frame(r1, 0.01, a.data());
        model.frame(r2, 0.01, b.data());
        QVERIFY(a == b);
        model.frame(r3, 0.01, b.data());
        QVERIFY(a != b);
        // More flux, more counts.
        in.source.flux *= 2.0;
        model.setInputs(in);
        const double doubled = meanCounts(model, 0.01, 1);
        QVERIFY2(doubled > 1.8 * base && doubled < 2.2 * base,
            qPrintable(QString::number(doubled / base)));
        in.source.flux /= 2.0;
        // A masked pixel reads 0 (a hot pixel included).
        const uint32_t hot = model.hotPixels().front();
        in.pixels.mask[hot] = 1;
        in.pixels.mask[1000] = 1;
        model.setInputs(in);
        sim::Rng r4(8);
        model.frame(r4, 1.0, a.data());
        QCOMPARE(int(a[hot]), 0);
        QCOMPARE(int(a[1000]), 0);
        QVERIFY(a[1001] > 0);
        // A threshold near the end point of the 40 kV spectrum: far fewer counts.
        in.chips[0].thresholdKeV = 36.0;
        model.setInputs(in);
        const double high = meanCounts(model, 0.01, 1);
        QVERIFY2(high < 0.05 * base, qPrintable(QString::number(high / base)));
        // Near the noise edge the pixels count wildly.
        in.chips[0].thresholdKeV = 1.0;
        model.setInputs(in);
        QVERIFY(meanCounts(model, 0.01, 1) > 5.0 * base);
        // Raising the adjustment bits of a region raises its thresholds.
        in.chips[0].thresholdKeV = 20.0;
        model.setInputs(in);
        const double mid = meanCounts(model, 0.05, 3);
        std::fill(in.pixels.thl.begin(), in.pixels.thl.end(), 15);
        model.setInputs(in);
        QVERIFY(meanCounts(model, 0.05, 3) < 0.9 * mid);
        // No bias, no signal; full depletion gives full efficiency.
        QCOMPARE(sim::biasEfficiency(0.0, 60.0), 0.0);
        QVERIFY(std::fabs(sim::biasEfficiency(100.0, 60.0) - 1.0) < 1e-12);
        QVERIFY(sim::biasEfficiency(15.0, 60.0) < sim::biasEfficiency(30.0, 60.0));
        QCOMPARE(sim::spectrumFractionAbove(40.0, 40.0), 0.0);
        // Time over threshold gives energies (clock counts), not hit counts.
        std::fill(in.pixels.thl.begin(), in.pixels.thl.end(), 7);
        std::fill(in.pixels.mode.begin(), in.pixels.mode.end(), 1);
        in.chips[0].thresholdKeV = 5.0;
        model.setInputs(in);
        sim::Rng r5(3);
        model.frame(r5, 0.0002, a.data());
        int hits = 0;
        double energy = 0.0;
        for (int16_t v : a) {
            if (v > 0) {
                ++hits;
                energy += v;
            }
        }
        QVERIFY(hits > 100);
        QVERIFY2(energy / hits > 5.0 && energy / hits < 45.0,
            qPrintable(QString::number(energy / hits)));
    }

    void devicePhysicsFollowsThresholdAndMask()
    {
        auto dev = makeDevice(1);
        auto measure = [&](double time) {
            std::array<unsigned char, 43> rec {};
            const uint32_t count = 1;
            std::memcpy(&rec[4], &count, 4);
            std::memcpy(&rec[8], &time, 8);
            static const char empty[] = "";
            const uint64_t p = reinterpret_cast<uintptr_t>(empty);
            std::memcpy(&rec[35], &p, 8);
            rec[28] = 1;
            if (dev->doAdvancedAcquisition(rec.data(), nullptr, nullptr) != 0)
                return -1.0;
            ov::RefData<ov::IMpxFrame> f(dev->lastAcqFrameRefInc(), false);
            return f->regionMean(nullptr);
        };
        const double base = measure(0.01);
        QVERIFY(base > 5.0);
        QCOMPARE(dev->setThreshold(0, ov::ThresholdCalibrated, 37.0), 0);
        QVERIFY(measure(0.01) < 0.05 * base);
        QCOMPARE(dev->setThreshold(0, ov::ThresholdCalibrated, 5.0), 0);
        QCOMPARE(dev->pixCfg()->setAllMask(true), 0);
        QCOMPARE(measure(0.01), 0.0);
    }

    void testPulsesCountOnTestPixelsByCountAndHeight()
    {
        auto dev = makeDevice(1);
        ov::IMpxPixCfg* cfg = dev->pixCfg();
        for (int column = 20; column < 30; ++column)
            QCOMPARE(cfg->setTestColumn(column, true), 0);
        const ov::RegionRect rect {20, 0, 10, 256};
        // The digital test tells the dead pixels, which read 0 whatever comes.
        ov::IMpxFrame* test = nullptr;
        QCOMPARE(dev->doDigitalTest(nullptr, nullptr, &test), 0);
        ov::RefData<ov::IMpxFrame> good(test, false);
        // Mean counts of the test pixels that work.
        auto testMean = [&](const std::vector<double>& px) {
            double sum = 0.0;
            int n = 0;
            for (int y = 0; y < 256; ++y)
                for (int x = rect.x; x < rect.x + rect.width; ++x) {
                    const size_t i = size_t(y) * 256 + size_t(x);
                    if (static_cast<sim::SimFrame*>(good.get())->pixel(i) == 0.0)
                        continue;
                    sum += px[i];
                    ++n;
                }
            return sum / n;
        };
        // Pulses of 50 keV, far above the threshold: every test pixel counts every pulse,
        // and pixels without the test bit read 0.
        double previous = 0.0;
        for (uint32_t count : {10u, 100u, 1000u}) {
            const auto tp = acqbytes::tpBlock(count, 1e-6, 1.0);
            const std::vector<double> px = measureFrame(*dev, 0.0, &tp);
            QVERIFY(!px.empty());
            const double mean = testMean(px);
            QVERIFY2(mean >= 0.98 * count && mean <= count,
                qPrintable(QStringLiteral("%1 pulses: %2").arg(count).arg(mean)));
            QVERIFY(mean > previous);
            previous = mean;
            double outside = 0.0;
            for (size_t i = 0; i < px.size(); ++i)
                if (int(i % 256) < rect.x || int(i % 256) >= rect.x + rect.width)
                    outside += px[i];
            QCOMPARE(outside, 0.0);
        }
        // Pulses far below the threshold (0.5 keV against 10 keV) are not seen; at the
        // threshold about half of them count.
        QCOMPARE(dev->setThreshold(0, ov::ThresholdCalibrated, 10.0), 0);
        const auto weak = acqbytes::tpBlock(100, 1e-6, 0.01);
        QCOMPARE(total(measureFrame(*dev, 0.0, &weak)), 0.0);
        const double edge = dev->trueThresholdKeV(0) / sim::PhysicsModel::testPulseKeV(1.0);
        const auto atEdge = acqbytes::tpBlock(100, 1e-6, edge);
        const double half = testMean(measureFrame(*dev, 0.0, &atEdge));
        QVERIFY2(half > 15.0 && half < 85.0, qPrintable(QString::number(half)));
        // A higher threshold hides pulses of the same height.
        const auto strong = acqbytes::tpBlock(100, 1e-6, 0.3); // 15 keV
        const double before = testMean(measureFrame(*dev, 0.0, &strong));
        QCOMPARE(dev->setThreshold(0, ov::ThresholdCalibrated, 25.0), 0);
        const double after = testMean(measureFrame(*dev, 0.0, &strong));
        QVERIFY2(before > 95.0 && after < 1.0,
            qPrintable(QStringLiteral("%1 %2").arg(before).arg(after)));
    }

    void biasRaisesTheCountsUpToFullDepletion()
    {
        auto dev = makeDevice(1);
        std::vector<double> totals;
        for (double volts : {10.0, 30.0, 60.0, 150.0}) {
            QCOMPARE(dev->setBias(volts), 0);
            totals.push_back(total(measureFrame(*dev, 0.01)));
        }
        QVERIFY2(totals[0] < 0.9 * totals[1] && totals[1] < 0.95 * totals[2],
            qPrintable(QStringLiteral("%1 %2 %3").arg(totals[0]).arg(totals[1]).arg(totals[2])));
        // Beyond full depletion (60 V) more bias changes nothing.
        QCOMPARE(totals[3], totals[2]);
    }

    void theClockScalesTimeOverThresholdAndTimeOfArrival()
    {
        auto dev = makeDevice(1);
        auto ratio = [&](double time) -> double {
            if (dev->setClock(48.0) != 0)
                return -1.0;
            const double at48 = total(measureFrame(*dev, time));
            if (dev->setClock(24.0) != 0 || !(at48 > 0.0))
                return -1.0;
            return total(measureFrame(*dev, time)) / at48;
        };
        // Counting: the clock does not matter.
        QCOMPARE(ratio(0.01), 1.0);
        // Time over threshold: half the clock, half the clock counts.
        QCOMPARE(dev->pixCfg()->setModeAll(1), 0);
        const double tot = ratio(0.001);
        QVERIFY2(std::fabs(tot - 0.5) < 0.03, qPrintable(QString::number(tot)));
        // Time of arrival: counts from the first hit to the end of the shutter.
        QCOMPARE(dev->pixCfg()->setModeAll(3), 0);
        const double toa = ratio(1e-4);
        QVERIFY2(std::fabs(toa - 0.5) < 0.01, qPrintable(QString::number(toa)));
    }

    void refusedBiasAndClockChangeNothingAndSayWhy()
    {
        auto dev = makeDevice(1);
        Counter c;
        subscribe(*dev, c);
        LogLines log;
        dev->registerLogCallback(&LogLines::collect, &log);
        QCOMPARE(dev->setBias(120.0), 0);
        QCOMPARE(dev->setClock(40.0), 0);
        QCOMPARE(c.get("BiasChanged"), 1);
        QCOMPARE(c.get("TpxClockChanged"), 1);
        const double before = total(measureFrame(*dev, 0.01));
        QVERIFY(dev->setBias(std::nan("")) < 0);
        QVERIFY(dev->setBias(-5.0) < 0);
        QVERIFY(dev->setBias(250.0) < 0);
        QVERIFY(dev->setClock(0.5) < 0);
        QVERIFY(dev->setClock(std::nan("")) < 0);
        QVERIFY(dev->setClock(101.0) < 0);
        QCOMPARE(dev->bias(), 120.0);
        QCOMPARE(dev->clock(), 40.0);
        QCOMPARE(c.get("BiasChanged"), 1);
        QCOMPARE(c.get("TpxClockChanged"), 1);
        QCOMPARE(total(measureFrame(*dev, 0.01)), before);
        QCOMPARE(log.warnings(),
            QStringList({QStringLiteral("Bias nan V refused: the bias goes from 0 to 200 V"),
                QStringLiteral("Bias -5 V refused: the bias goes from 0 to 200 V"),
                QStringLiteral("Bias 250 V refused: the bias goes from 0 to 200 V"),
                QStringLiteral("Clock 0.5 MHz refused: the clock goes from 1 to 100 MHz"),
                QStringLiteral("Clock nan MHz refused: the clock goes from 1 to 100 MHz"),
                QStringLiteral("Clock 101 MHz refused: the clock goes from 1 to 100 MHz")}));
        dev->unregisterLogCallback(&LogLines::collect, &log);

        auto mpx2 = makeDevice(1, true);
        LogLines mlog;
        mpx2->registerLogCallback(&LogLines::collect, &mlog);
        QVERIFY(mpx2->setClock(48.0) < 0);
        QCOMPARE(mlog.warnings(),
            QStringList {QStringLiteral("Clock 48 MHz refused: a Medipix2 has no Timepix clock")});
        mpx2->unregisterLogCallback(&LogLines::collect, &mlog);
    }
};

QTEST_GUILESS_MAIN(TestTimepix)
#include "tst_timepix.moc"
