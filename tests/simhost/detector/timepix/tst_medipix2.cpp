// The single-chip Medipix2 of the embedded device set: what it is, that it measures
// frames with the common physics, and that its THH adjustment bits and THH DACs shape
// the energy window it counts.
#include "acqbytes.h"

#include <deviceset.h>
#include <simframe.h>
#include <simhost.h>
#include <timepixdevice.h>

#include <QtTest>

#include <memory>

namespace {

sim::DeviceDesc medipix2Desc()
{
    for (const sim::DeviceDesc& d : sim::defaultDeviceSet())
        if (d.medipix2)
            return d;
    return {};
}

// Total counts of one frame of a time, with a fixed random sequence.
double frameTotal(sim::TimepixDevice& dev, double time, uint64_t seed = 42)
{
    dev.setSeed(seed);
    acqbytes::Acq a;
    a.time = time;
    if (dev.doAdvancedAcquisition(acqbytes::acqRecord(a).data(), nullptr, nullptr) != 0)
        return -1.0;
    ov::RefData<ov::IMpxFrame> f(dev.lastAcqFrameRefInc(), false);
    return f->regionTotal(nullptr);
}

} // namespace

class TestMedipix2 : public QObject
{
    Q_OBJECT

private slots:
    void theDefaultSetHasASingleChipMedipix2()
    {
        const std::vector<sim::DeviceDesc> set = sim::defaultDeviceSet();
        int found = 0;
        for (const sim::DeviceDesc& d : set)
            found += d.medipix2 ? 1 : 0;
        QCOMPARE(found, 1);
        QVERIFY(set.at(1).medipix2); // beside the quad
        const sim::DeviceDesc d = medipix2Desc();
        QCOMPARE(d.kind, int(ov::DevKindMpx2));
        QCOMPARE(d.chips, 1);
        QCOMPARE(d.width, 256);
        QCOMPARE(d.height, 256);
        QCOMPARE(d.name.split(' ').size(), 2);
        QCOMPARE(d.interfaceWord(), QStringLiteral("tornel"));
        QVERIFY(!d.factoryConfig);
    }

    void itShowsItselfAsAMedipix2()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::IDev* dev = host.connectDevice(medipix2Desc());
        QVERIFY(dev);
        QCOMPARE(dev->deviceType(), 1);
        auto mpx = std::dynamic_pointer_cast<sim::TimepixDevice>(host.deviceFor(dev));
        QVERIFY(mpx);
        ov::IDevMpx2* m = mpx.get();
        QVERIFY(!m->isTimepix());
        QCOMPARE(m->width(), 256);
        QCOMPARE(m->height(), 256);
        QCOMPARE(m->chipCount(), 1u);
        QCOMPARE(m->pixCfg()->kind(), 1);
        QCOMPARE(int(m->pixCfg()->thhMax()), 7);
        QCOMPARE(int(m->pixCfg()->thlMax()), 15);
        QCOMPARE(int(m->pixCfg()->mode8(1234)), 3); // THH adjustment, default 3
        QVERIFY(!m->hasBiasSense());
        QCOMPARE(m->clock(), 0.0);
        QVERIFY(m->setClock(48.0) < 0);
        QVERIFY(!m->isChipCalibrated(0));
        ov::StrList names;
        m->dacs()->dacNames(names);
        const std::vector<std::string> expected
            = {"IKrum", "Disc", "Preamp", "SetDisc", "THS", "IFF", "DelayN", "THLFine", "THLCoarse",
                "THHFine", "THHCoarse", "FBK", "GND", "BiasLVDS", "RefLVDS"};
        QCOMPARE(names.items(), expected);
        ov::DevInfo info;
        QCOMPARE(dev->deviceInfo(&info), 0);
        QCOMPARE(QByteArray(info.ifaceName), QByteArray("tornel"));
        QCOMPARE(info.serial, 208u);
    }

    void itMeasuresFrames()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::IDev* dev = host.connectDevice(medipix2Desc());
        auto mpx = std::dynamic_pointer_cast<sim::TimepixDevice>(host.deviceFor(dev));
        acqbytes::Acq a;
        a.count = 3;
        a.time = 0.02;
        QCOMPARE(mpx->doAdvancedAcquisition(acqbytes::acqRecord(a).data(), nullptr, nullptr), 0);
        QCOMPARE(mpx->acqFrameCount(), 3);
        ov::RefData<ov::IMpxFrame> f(mpx->lastAcqFrameRefInc(), false);
        QCOMPARE(f->width(), 256u);
        QCOMPARE(f->height(), 256u);
        QCOMPARE(int(f->dataType()), 2);
        // 5000 photons a pixel a second through open beam, less the test object and the
        // part of the spectrum outside the window: tens of counts a pixel, not flat.
        const double mean = f->regionMean(nullptr);
        QVERIFY2(mean > 5.0 && mean < 100.0, qPrintable(QString::number(mean)));
        QVERIFY(f->maxValue(nullptr) > 2.0 * mean);
        QCOMPARE(f->minValue(nullptr), 0.0); // dead pixels
        // A masked pixel reads 0; twice the time gives about twice the counts.
        QCOMPARE(mpx->pixCfg()->setMaskBitRange(0, 0, 256, 128, true), 0);
        const double half = frameTotal(*mpx, 0.02);
        QCOMPARE(mpx->pixCfg()->setAllMask(false), 0);
        const double whole = frameTotal(*mpx, 0.02);
        const double twice = frameTotal(*mpx, 0.04);
        QVERIFY(half > 0.2 * whole && half < 0.8 * whole);
        QVERIFY2(std::abs(twice / whole - 2.0) < 0.1, qPrintable(QString::number(twice / whole)));
    }

    void thhAdjustmentBitsMoveTheUpperThreshold()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::IDev* dev = host.connectDevice(medipix2Desc());
        auto mpx = std::dynamic_pointer_cast<sim::TimepixDevice>(host.deviceFor(dev));
        ov::IMpxPixCfg* cfg = mpx->pixCfg();
        // A higher adjustment lifts each pixel's upper threshold: the window widens.
        QCOMPARE(cfg->setModeAll(0), 0);
        const double low = frameTotal(*mpx, 0.05);
        QCOMPARE(cfg->setModeAll(7), 0);
        const double high = frameTotal(*mpx, 0.05);
        QVERIFY2(high > low * 1.01, qPrintable(QStringLiteral("%1 %2").arg(low).arg(high)));
        QVERIFY(cfg->setModeAll(8) < 0);
        QCOMPARE(int(cfg->mode8(0)), 7);

        // Only part of the chip: the top half alone gains.
        QCOMPARE(cfg->setModeAll(0), 0);
        QCOMPARE(cfg->setThhRange(0, 0, 256, 128, 7), 0);
        QVERIFY(cfg->setModeRange(0, 0, 256, 128, 1) < 0); // no Timepix modes here
        mpx->setSeed(42);
        acqbytes::Acq a;
        a.time = 0.05;
        QCOMPARE(mpx->doAdvancedAcquisition(acqbytes::acqRecord(a).data(), nullptr, nullptr), 0);
        ov::RefData<ov::IMpxFrame> f(mpx->lastAcqFrameRefInc(), false);
        const double mixed = f->regionTotal(nullptr);
        QVERIFY(mixed > low && mixed < high);
    }

    void thhDacsCloseTheWindow()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::IDev* dev = host.connectDevice(medipix2Desc());
        auto mpx = std::dynamic_pointer_cast<sim::TimepixDevice>(host.deviceFor(dev));
        const sim::SimDacs& dacs = mpx->liveDacs();
        const int thhFine = dacs.indexOf("THHFine");
        const int thlFine = dacs.indexOf("THLFine");
        const double open = frameTotal(*mpx, 0.05);
        // The upper threshold down to the lower one: (almost) nothing left to count.
        QCOMPARE(mpx->dacs()->setDacValue(thhFine, 0, dacs.value(thlFine, 0)), 0);
        const double closed = frameTotal(*mpx, 0.05);
        QVERIFY2(closed < 0.05 * open, qPrintable(QStringLiteral("%1 %2").arg(open).arg(closed)));
        // A higher THHFine is a lower upper threshold: fewer counts.
        QCOMPARE(mpx->dacs()->setDacValue(thhFine, 0, 150), 0);
        const double narrower = frameTotal(*mpx, 0.05);
        QVERIFY(narrower < open && narrower > closed);
    }
};

QTEST_GUILESS_MAIN(TestMedipix2)
#include "tst_medipix2.moc"
