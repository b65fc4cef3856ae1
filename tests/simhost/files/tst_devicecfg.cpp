// Device configuration files of the simulated Timepix and Medipix2 (the ini file with
// the pixel configuration and DAC files beside it), and the factory configuration the
// host gives the quad of the embedded device set.
#include "acqbytes.h"
#include "cfgprobe.h"

#include <deviceset.h>
#include <simframe.h>
#include <simhost.h>
#include <timepixdevice.h>

#include <QtTest>

#include <cmath>
#include <memory>

namespace {

std::shared_ptr<sim::TimepixDevice> makeDevice(bool medipix2, int chips = 1)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, 640);
    desc.chips = chips;
    desc.width = chips == 4 ? 512 : 256;
    desc.height = chips == 4 ? 512 : 256;
    desc.medipix2 = medipix2;
    return std::make_shared<sim::TimepixDevice>(desc);
}

// Every setting a configuration file carries, changed away from its default.
void changeEverything(sim::TimepixDevice& dev)
{
    ov::IMpxPixCfg* cfg = dev.pixCfg();
    QCOMPARE(cfg->setMaskBitRange(3, 4, 20, 2, true), 0);
    QCOMPARE(cfg->setTestColumn(9, true), 0);
    QCOMPARE(cfg->setThlRange(100, 100, 50, 60, 13), 0);
    QCOMPARE(cfg->setModeAll(dev.isTimepix() ? 1 : 6), 0);
    QCOMPARE(dev.dacs()->setDacValue(0, -1, 17), 0);
    QCOMPARE(dev.dacs()->setDacValue(2, int(dev.chipCount()) - 1, 201), 0);
    QCOMPARE(dev.setBias(57.25), 0);
    if (dev.isTimepix())
        QCOMPARE(dev.setClock(33.5), 0);
    QCOMPARE(dev.setDacDelay(120), 0);
}

struct State
{
    sim::SimPixCfg::Pixels px;
    std::vector<int> dacs;
    double bias = 0.0, clock = 0.0;
    int dacDelay = 0;
};

State stateOf(sim::TimepixDevice& dev)
{
    return {dev.livePixCfg().snapshot(), dev.liveDacs().snapshot(), dev.bias(), dev.clock(),
        dev.dacDelay()};
}

bool sameState(const State& a, const State& b)
{
    return a.px.mask == b.px.mask && a.px.test == b.px.test && a.px.thl == b.px.thl
        && a.px.mode == b.px.mode && a.dacs == b.dacs && a.bias == b.bias && a.clock == b.clock
        && a.dacDelay == b.dacDelay;
}

int saveCfg(sim::TimepixDevice& dev, const QString& path)
{
    ov::FilePath p(path.toUtf8().constData());
    return dev.saveConfigFile(&p);
}

int loadCfg(sim::TimepixDevice& dev, const QString& path)
{
    ov::FilePath p(path.toUtf8().constData());
    return dev.loadConfigFile(&p);
}

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

} // namespace

class TestDeviceCfg : public QObject
{
    Q_OBJECT

private slots:
    void configurationReadsBackIntoAnotherDevice_data() { addBothDetectorRows(); }
    void configurationReadsBackIntoAnotherDevice()
    {
        QFETCH(bool, medipix2);
        QFETCH(int, chips);
        auto source = makeDevice(medipix2, chips);
        changeEverything(*source);
        QTemporaryDir tmp;
        const QString path = tmp.filePath("bench/run.cfg");
        QCOMPARE(saveCfg(*source, path), 0);
        // The ini file names its two companions, which lie beside it.
        QVERIFY(QFileInfo::exists(tmp.filePath("bench/run.bpc")));
        QVERIFY(QFileInfo::exists(tmp.filePath("bench/run.dacs")));
        const QByteArray ini = readAll(path);
        QVERIFY(ini.contains("PixelConfiguration=run.bpc"));
        QVERIFY(ini.contains("Dacs=run.dacs"));
        QVERIFY(ini.contains(medipix2 ? "Chip=Medipix2" : "Chip=Timepix"));
        QCOMPARE(ini.contains("Clock="), !medipix2);

        auto target = makeDevice(medipix2, chips);
        CfgProbe probe;
        probe.attach(target.get());
        QVERIFY(!sameState(stateOf(*target), stateOf(*source)));
        QCOMPARE(loadCfg(*target, path), 0);
        QVERIFY(sameState(stateOf(*target), stateOf(*source)));
        QCOMPARE(probe.events("PixCfgChanged"), 1);
        QCOMPARE(probe.events("DacsChanged"), 1);
        QCOMPARE(probe.events("BiasChanged"), 1);
        QCOMPARE(probe.events("TpxClockChanged"), medipix2 ? 0 : 1);
        QCOMPARE(probe.events("DeviceCfgChanged"), 1);
        QCOMPARE(probe.errors(), 0);
    }

    void aMovedConfigurationTakesItsCompanionsAlong()
    {
        auto source = makeDevice(true);
        changeEverything(*source);
        QTemporaryDir tmp;
        QCOMPARE(saveCfg(*source, tmp.filePath("a/x.cfg")), 0);
        QVERIFY(QDir(tmp.path()).rename("a", "b"));
        auto target = makeDevice(true);
        QCOMPARE(loadCfg(*target, tmp.filePath("b/x.cfg")), 0);
        QVERIFY(sameState(stateOf(*target), stateOf(*source)));
    }

    void damagedConfigurationsChangeNothing_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<QString>("why");
        QTest::newRow("no file") << "no-cfg"
                                 << "no such file";
        QTest::newRow("directory") << "dir-cfg"
                                   << "directory";
        QTest::newRow("garbage ini") << "garbage"
                                     << "line";
        QTest::newRow("bias out of range") << "bias"
                                           << "Bias=500";
        QTest::newRow("no format") << "format"
                                   << "Format is missing";
        QTest::newRow("Timepix configuration") << "timepix"
                                               << "Timepix";
        QTest::newRow("other size") << "width"
                                    << "512 x 256";
        QTest::newRow("pixel file missing") << "no-bpc"
                                            << "no such file";
        QTest::newRow("pixel file truncated") << "cut-bpc"
                                              << "truncated";
        QTest::newRow("DAC file damaged") << "bad-dacs"
                                          << "bad value";
        QTest::newRow("DAC file is a directory") << "dir-dacs"
                                                 << "directory";
        QTest::newRow("clock on a Medipix2") << "clock"
                                             << "no clock";
    }
    void damagedConfigurationsChangeNothing()
    {
        QFETCH(QString, damage);
        QFETCH(QString, why);
        auto source = makeDevice(true);
        changeEverything(*source);
        QTemporaryDir tmp;
        const QString path = tmp.filePath("m.cfg");
        QCOMPARE(saveCfg(*source, path), 0);
        const QByteArray ini = readAll(path);
        auto edit = [&](const char* from, const char* to) {
            QVERIFY(ini.contains(from));
            writeAll(path, QByteArray(ini).replace(from, to));
        };
        if (damage == "no-cfg") {
            QFile::remove(path);
        } else if (damage == "dir-cfg") {
            QFile::remove(path);
            QVERIFY(QDir(tmp.path()).mkdir("m.cfg"));
        } else if (damage == "garbage") {
            writeAll(path, "this is not\nan ini file\n");
        } else if (damage == "bias") {
            edit("Bias=57.25", "Bias=500");
        } else if (damage == "format") {
            edit("Format=1\n", "");
        } else if (damage == "timepix") {
            edit("Chip=Medipix2", "Chip=Timepix");
        } else if (damage == "width") {
            edit("Width=256", "Width=512");
        } else if (damage == "no-bpc") {
            QVERIFY(QFile::remove(tmp.filePath("m.bpc")));
        } else if (damage == "cut-bpc") {
            const QByteArray bpc = readAll(tmp.filePath("m.bpc"));
            writeAll(tmp.filePath("m.bpc"), bpc.left(bpc.size() - 100));
        } else if (damage == "bad-dacs") {
            writeAll(
                tmp.filePath("m.dacs"), readAll(tmp.filePath("m.dacs")).replace(" 17 ", " 999 "));
        } else if (damage == "dir-dacs") {
            QVERIFY(QFile::remove(tmp.filePath("m.dacs")));
            QVERIFY(QDir(tmp.path()).mkdir("m.dacs"));
        } else if (damage == "clock") {
            edit("[Settings]\n", "[Settings]\nClock=48\n");
        }

        auto target = makeDevice(true);
        CfgProbe probe;
        probe.attach(target.get());
        const State before = stateOf(*target);
        QVERIFY(loadCfg(*target, path) < 0);
        QVERIFY(sameState(stateOf(*target), before));
        QCOMPARE(probe.allEvents(), 0);
        QCOMPARE(probe.errors(), 1);
        const QString line = QString::fromStdString(probe.lastError());
        QVERIFY2(line.contains(why), qPrintable(line));
        QVERIFY2(line.contains(tmp.path()), qPrintable(line));
    }

    void noPathAndUnwritablePlacesFail()
    {
        auto dev = makeDevice(false);
        CfgProbe probe;
        probe.attach(dev.get());
        QVERIFY(dev->loadConfigFile(nullptr) < 0);
        QVERIFY(dev->saveConfigFile(nullptr) < 0);
        QTemporaryDir tmp;
        QVERIFY(saveCfg(*dev, tmp.path()) < 0);
        QCOMPARE(probe.errors(), 3);
        // A configuration named like one of its companions would overwrite it.
        QVERIFY(saveCfg(*dev, tmp.filePath("run.bpc")) < 0);
        QVERIFY(saveCfg(*dev, tmp.filePath("run.dacs")) < 0);
        QCOMPARE(probe.errors(), 5);
        QVERIFY(!QFileInfo::exists(tmp.filePath("run.bpc")));
    }

    void theQuadComesWithAFactoryConfiguration()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        const sim::DeviceDesc quadDesc = sim::defaultDeviceSet().front();
        ov::IDev* dev = host.connectDevice(quadDesc);
        auto quad = std::dynamic_pointer_cast<sim::TimepixDevice>(host.deviceFor(dev));
        QVERIFY(quad);
        const QString factory = QDir(host.devicesDir()).filePath("kalbar_W0512_sn512.factory.cfg");
        QVERIFY(QFileInfo::exists(factory));
        QVERIFY(
            QFileInfo::exists(QDir(host.devicesDir()).filePath("kalbar_W0512_sn512.factory.bpc")));
        QVERIFY(
            QFileInfo::exists(QDir(host.devicesDir()).filePath("kalbar_W0512_sn512.factory.dacs")));

        CfgProbe probe;
        probe.attach(dev);
        QCOMPARE(dev->loadFactoryConfig(), 0);
        ov::String path;
        dev->configFilePath(path);
        QCOMPARE(QString::fromUtf8(path.get()), factory);
        QCOMPARE(probe.events("PixCfgChanged"), 1);
        QCOMPARE(probe.events("DacsChanged"), 1);
        QCOMPARE(probe.errors(), 0);

        // Equalised: the adjustments spread around the middle of their range, and the
        // hot pixels (four a chip) are masked.
        const sim::SimPixCfg::Pixels px = quad->livePixCfg().snapshot();
        double sum = 0.0, sum2 = 0.0;
        for (uint8_t v : px.thl) {
            sum += v;
            sum2 += double(v) * v;
        }
        const double mean = sum / double(px.thl.size());
        const double sd = std::sqrt(sum2 / double(px.thl.size()) - mean * mean);
        QVERIFY2(std::fabs(mean - 7.5) < 0.3, qPrintable(QString::number(mean)));
        QVERIFY2(sd > 2.0 && sd < 4.0, qPrintable(QString::number(sd)));
        size_t masked = 0;
        for (uint8_t m : px.mask)
            masked += m;
        QCOMPARE(masked, size_t(16));

        // The masked pixels are the hot ones: in a frame every masked pixel reads 0,
        // and without the mask they count far above the rest.
        acqbytes::Acq a;
        a.time = 0.01;
        QCOMPARE(quad->doAdvancedAcquisition(acqbytes::acqRecord(a).data(), nullptr, nullptr), 0);
        ov::RefData<ov::IMpxFrame> masked1(quad->lastAcqFrameRefInc(), false);
        QCOMPARE(quad->pixCfg()->setAllMask(false), 0);
        QCOMPARE(quad->doAdvancedAcquisition(acqbytes::acqRecord(a).data(), nullptr, nullptr), 0);
        ov::RefData<ov::IMpxFrame> open(quad->lastAcqFrameRefInc(), false);
        const double mean1 = open->regionMean(nullptr);
        for (size_t i = 0; i < px.mask.size(); ++i) {
            if (!px.mask[i])
                continue;
            QCOMPARE(static_cast<sim::SimFrame*>(masked1.get())->pixel(i), 0.0);
            QVERIFY(static_cast<sim::SimFrame*>(open.get())->pixel(i) > 10.0 * mean1);
        }

        // An edited factory file is kept: the host writes it only when it is missing.
        writeAll(factory, readAll(factory).replace("DacDelay=50", "DacDelay=77"));
        host.removeDevice(dev);
        dev = host.connectDevice(quadDesc);
        QCOMPARE(dev->loadFactoryConfig(), 0);
        auto again = std::dynamic_pointer_cast<sim::TimepixDevice>(host.deviceFor(dev));
        QCOMPARE(again->dacDelay(), 77);
    }

    void aDeviceWithoutFactoryConfigurationSaysSo()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::DeviceDesc medipix2;
        for (const sim::DeviceDesc& d : sim::defaultDeviceSet())
            if (d.medipix2)
                medipix2 = d;
        ov::IDev* dev = host.connectDevice(medipix2);
        QVERIFY(dev);
        CfgProbe probe;
        probe.attach(dev);
        ov::String before;
        dev->configFilePath(before);
        QVERIFY(dev->loadFactoryConfig() < 0);
        ov::String after;
        dev->configFilePath(after);
        QCOMPARE(QString::fromUtf8(after.get()), QString::fromUtf8(before.get()));
        QCOMPARE(probe.allEvents(), 0);
        QCOMPARE(probe.errors(), 1);
        QVERIFY(QString::fromStdString(probe.lastError()).contains("No factory configuration"));

        // A device not connected to a host has no configuration folder at all.
        auto loose = makeDevice(false);
        QVERIFY(loose->loadFactoryConfig() < 0);
    }
};

QTEST_GUILESS_MAIN(TestDeviceCfg)
#include "tst_devicecfg.moc"
