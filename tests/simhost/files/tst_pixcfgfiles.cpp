// Pixel configuration files of the simulated Timepix and Medipix2: the binary "*.bpc"
// file and the text matrices of one component, written and read back; damaged files
// refused without touching the configuration.
#include "cfgprobe.h"

#include <deviceset.h>
#include <pixcfgfile.h>
#include <rng.h>
#include <timepixdevice.h>

#include <QtTest>

#include <memory>

namespace {

std::shared_ptr<sim::TimepixDevice> makeDevice(bool medipix2, int chips = 1)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, medipix2 ? 208 : 512);
    desc.chips = chips;
    desc.width = chips == 4 ? 512 : 256;
    desc.height = chips == 4 ? 512 : 256;
    desc.medipix2 = medipix2;
    return std::make_shared<sim::TimepixDevice>(desc);
}

// Fills every component of every pixel with random legal values, in one change.
void randomise(sim::TimepixDevice& dev, uint64_t seed)
{
    ov::IMpxPixCfg* copy = dev.copyPixCfg();
    sim::Rng rng(seed);
    const unsigned n = unsigned(dev.width() * dev.height());
    const unsigned modeMax = dev.isTimepix() ? 3 : 7;
    auto* cfg = static_cast<sim::SimPixCfg*>(copy);
    sim::SimPixCfg::Pixels px;
    px.mask.resize(n);
    px.test.resize(n);
    px.thl.resize(n);
    px.mode.resize(n);
    for (unsigned i = 0; i < n; ++i) {
        px.mask[i] = uint8_t(rng.next() % 2);
        px.test[i] = uint8_t(rng.next() % 2);
        px.thl[i] = uint8_t(rng.next() % 16);
        px.mode[i] = uint8_t(rng.next() % (modeMax + 1));
    }
    QCOMPARE(cfg->replacePlanes(px), 0);
    QCOMPARE(dev.setPixCfg(copy), 0);
    copy->releaseCopy();
}

bool samePixels(const sim::SimPixCfg::Pixels& a, const sim::SimPixCfg::Pixels& b)
{
    return a.mask == b.mask && a.test == b.test && a.thl == b.thl && a.mode == b.mode;
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

uint32_t u32At(const QByteArray& b, int at)
{
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | uint8_t(b[at + i]);
    return v;
}

int load(sim::TimepixDevice& dev, const QString& path, int format)
{
    ov::FilePath p(path.toUtf8().constData());
    return dev.pixCfg()->loadFromFile(p, format);
}

int save(sim::TimepixDevice& dev, const QString& path, int format)
{
    ov::FilePath p(path.toUtf8().constData());
    return dev.pixCfg()->saveToFile(p, format);
}

// A matrix of h lines of w copies of a value.
QByteArray matrix(int w, int h, const char* value)
{
    QByteArray line;
    for (int x = 0; x < w; ++x)
        line += (x ? " " : "") + QByteArray(value);
    return (line + "\n").repeated(h);
}

} // namespace

class TestPixCfgFiles : public QObject
{
    Q_OBJECT

private slots:
    void binaryFileReadsBackEveryComponent_data() { addBothDetectorRows(); }
    void binaryFileReadsBackEveryComponent()
    {
        QFETCH(bool, medipix2);
        QFETCH(int, chips);
        auto dev = makeDevice(medipix2, chips);
        CfgProbe probe;
        probe.attach(dev.get());
        randomise(*dev, 7);
        const sim::SimPixCfg::Pixels written = dev->livePixCfg().snapshot();

        QTemporaryDir tmp;
        const QString path = tmp.filePath("cfg.bpc");
        const int eventsBefore = probe.events("PixCfgChanged");
        QCOMPARE(save(*dev, path, 0), 0);
        QCOMPARE(probe.events("PixCfgChanged"), eventsBefore); // saving changes nothing

        // The documented layout: header, then four bytes a pixel.
        const QByteArray bytes = readAll(path);
        const int w = dev->width(), h = dev->height();
        QCOMPARE(bytes.size(), 16 + 4 * w * h);
        QCOMPARE(bytes.left(4), QByteArray("OVPC"));
        QCOMPARE(uint8_t(bytes[4]) | (uint8_t(bytes[5]) << 8), 1);
        QCOMPARE(uint8_t(bytes[6]) | (uint8_t(bytes[7]) << 8), medipix2 ? 1 : 2);
        QCOMPARE(u32At(bytes, 8), uint32_t(w));
        QCOMPARE(u32At(bytes, 12), uint32_t(h));
        const unsigned probePixel = unsigned(w * 3 + 5);
        QCOMPARE(int(bytes[16 + 4 * int(probePixel)]), dev->pixCfg()->maskBit(probePixel) ? 0 : 1);
        QCOMPARE(int(bytes[16 + 4 * int(probePixel) + 2]), int(dev->pixCfg()->thl(probePixel)));
        QCOMPARE(int(bytes[16 + 4 * int(probePixel) + 3]), int(dev->pixCfg()->mode8(probePixel)));

        QCOMPARE(dev->pixCfg()->resetAll(), 0);
        QVERIFY(!samePixels(dev->livePixCfg().snapshot(), written));
        const int before = probe.events("PixCfgChanged");
        QCOMPARE(load(*dev, path, 0), 0);
        QCOMPARE(probe.events("PixCfgChanged"), before + 1);
        QVERIFY(samePixels(dev->livePixCfg().snapshot(), written));
        QCOMPARE(probe.errors(), 0);
    }

    void textMatricesReadBackAndReplaceOnlyTheirComponent_data()
    {
        QTest::addColumn<bool>("medipix2");
        QTest::addColumn<int>("format");
        QTest::newRow("Timepix mask") << false << 1;
        QTest::newRow("Timepix test") << false << 2;
        QTest::newRow("Timepix THL") << false << 3;
        QTest::newRow("Timepix mode") << false << 5;
        QTest::newRow("Medipix2 mask") << true << 1;
        QTest::newRow("Medipix2 test") << true << 2;
        QTest::newRow("Medipix2 THL") << true << 3;
        QTest::newRow("Medipix2 THH") << true << 4;
    }
    void textMatricesReadBackAndReplaceOnlyTheirComponent()
    {
        QFETCH(bool, medipix2);
        QFETCH(int, format);
        auto dev = makeDevice(medipix2);
        CfgProbe probe;
        probe.attach(dev.get());
        randomise(*dev, 11 + uint64_t(format));
        const sim::SimPixCfg::Pixels written = dev->livePixCfg().snapshot();
        QTemporaryDir tmp;
        const QString path = tmp.filePath("plane.txt");
        QCOMPARE(save(*dev, path, format), 0);

        // Height lines of width numbers; the mask matrix holds the chip's mask bit.
        const QList<QByteArray> lines = readAll(path).split('\n');
        QCOMPARE(lines.size(), 256 + 1);
        QVERIFY(lines.last().isEmpty());
        const QList<QByteArray> first = lines.first().split(' ');
        QCOMPARE(first.size(), 256);
        const std::vector<uint8_t>& plane = format == 1 ? written.mask
            : format == 2                               ? written.test
            : format == 3                               ? written.thl
                                                        : written.mode;
        for (int x = 0; x < 256; ++x) {
            const int expected = format == 1 ? (plane[size_t(x)] ? 0 : 1) : plane[size_t(x)];
            QCOMPARE(first[x].toInt(), expected);
        }

        // Loading onto the default configuration changes that component only.
        QCOMPARE(dev->pixCfg()->resetAll(), 0);
        const sim::SimPixCfg::Pixels defaults = dev->livePixCfg().snapshot();
        const int before = probe.events("PixCfgChanged");
        QCOMPARE(load(*dev, path, format), 0);
        QCOMPARE(probe.events("PixCfgChanged"), before + 1);
        const sim::SimPixCfg::Pixels now = dev->livePixCfg().snapshot();
        QCOMPARE(now.mask, format == 1 ? written.mask : defaults.mask);
        QCOMPARE(now.test, format == 2 ? written.test : defaults.test);
        QCOMPARE(now.thl, format == 3 ? written.thl : defaults.thl);
        QCOMPARE(now.mode, format >= 4 ? written.mode : defaults.mode);
        QCOMPARE(probe.errors(), 0);
    }

    void everyTextFormatOnTopOfEachOtherRestoresTheWhole()
    {
        for (bool medipix2 : {false, true}) {
            auto dev = makeDevice(medipix2);
            randomise(*dev, 99);
            const sim::SimPixCfg::Pixels written = dev->livePixCfg().snapshot();
            QTemporaryDir tmp;
            const std::vector<int> formats = {1, 2, 3, medipix2 ? 4 : 5};
            for (int f : formats)
                QCOMPARE(save(*dev, tmp.filePath(QString::number(f)), f), 0);
            QCOMPARE(dev->pixCfg()->resetAll(), 0);
            for (int f : formats)
                QCOMPARE(load(*dev, tmp.filePath(QString::number(f)), f), 0);
            QVERIFY(samePixels(dev->livePixCfg().snapshot(), written));
        }
    }

    void toleratesLineEndsBlanksAndTrailingEmptyLines()
    {
        auto dev = makeDevice(false);
        QTemporaryDir tmp;
        const QString path = tmp.filePath("thl.txt");
        QByteArray text = matrix(256, 256, "12");
        text.replace("\n", " \t\r\n");
        writeAll(path, text + "\r\n\n  \n");
        QCOMPARE(load(*dev, path, 3), 0);
        QCOMPARE(int(dev->pixCfg()->thl(256 * 255 + 255)), 12);
        QCOMPARE(int(dev->pixCfg()->thl(0)), 12);
    }

    void formatsTheChipDoesNotHaveAreRefused()
    {
        auto timepix = makeDevice(false);
        auto medipix2 = makeDevice(true);
        CfgProbe tp, mp;
        tp.attach(timepix.get());
        mp.attach(medipix2.get());
        QTemporaryDir tmp;
        QVERIFY(save(*timepix, tmp.filePath("a"), 4) < 0);  // THH on a Timepix
        QVERIFY(save(*medipix2, tmp.filePath("b"), 5) < 0); // mode on a Medipix2
        QVERIFY(save(*timepix, tmp.filePath("c"), 6) < 0);
        QVERIFY(save(*timepix, tmp.filePath("d"), -1) < 0);
        QVERIFY(!QFileInfo::exists(tmp.filePath("a")));
        QVERIFY(!QFileInfo::exists(tmp.filePath("b")));
        QCOMPARE(tp.errors(), 3);
        QCOMPARE(mp.errors(), 1);

        // A Timepix binary file is no Medipix2 configuration, and sizes must agree.
        QCOMPARE(save(*timepix, tmp.filePath("tpx.bpc"), 0), 0);
        QVERIFY(load(*medipix2, tmp.filePath("tpx.bpc"), 0) < 0);
        auto quad = makeDevice(false, 4);
        QVERIFY(load(*quad, tmp.filePath("tpx.bpc"), 0) < 0);
        QVERIFY(QString::fromStdString(mp.lastError()).contains("Timepix"));
    }

    void savingWhereNoFileCanBeWrittenFails()
    {
        auto dev = makeDevice(true);
        CfgProbe probe;
        probe.attach(dev.get());
        QTemporaryDir tmp;
        QVERIFY(save(*dev, tmp.path(), 0) < 0);
        QVERIFY(save(*dev, tmp.filePath("no/such/folder/x.bpc"), 0) < 0);
        QVERIFY(save(*dev, tmp.path(), 1) < 0);
        QCOMPARE(probe.errors(), 3);
        QVERIFY(QString::fromStdString(probe.lastError()).contains(tmp.path()));
    }

    void damagedFilesLeaveTheConfigurationAlone_data()
    {
        QTest::addColumn<int>("format");
        QTest::addColumn<QByteArray>("contents"); // "@dir" a directory, "@none" no file
        QTest::addColumn<QString>("why");         // expected in the log line

        // Binary files of the Medipix2 below: 16 + 4 x 65536 bytes.
        QByteArray good = QByteArray("OVPC")
            + QByteArray::fromHex("0100"
                                  "0100")
            + QByteArray::fromHex("00010000"
                                  "00010000");
        good += QByteArray::fromHex("01000703").repeated(65536);
        QTest::newRow("bpc missing") << 0 << QByteArray("@none") << "no such file";
        QTest::newRow("bpc directory") << 0 << QByteArray("@dir") << "directory";
        QTest::newRow("bpc empty") << 0 << QByteArray() << "not a binary";
        QTest::newRow("bpc truncated") << 0 << good.left(good.size() - 1) << "truncated";
        QTest::newRow("bpc one byte long") << 0 << good + 'x' << "too large";
        QTest::newRow("bpc garbage") << 0 << QByteArray(good.size(), '\x5a') << "not a binary";
        QByteArray version = good;
        version[4] = 2;
        QTest::newRow("bpc version") << 0 << version << "version";
        QByteArray kind = good;
        kind[6] = 2;
        QTest::newRow("bpc Timepix kind") << 0 << kind << "Timepix";
        QByteArray width = good;
        width[9] = 2;
        QTest::newRow("bpc wrong width") << 0 << width << "pixels";
        QByteArray thl = good;
        thl[16 + 4 * 1000 + 2] = 16;
        QTest::newRow("bpc THL 16") << 0 << thl << "out of range";
        QByteArray thh = good;
        thh[16 + 4 * 65535 + 3] = 8;
        QTest::newRow("bpc THH 8") << 0 << thh << "out of range";
        QByteArray mask = good;
        mask[16] = 2;
        QTest::newRow("bpc mask 2") << 0 << mask << "out of range";

        const QByteArray ok = matrix(256, 256, "1");
        QTest::newRow("text missing") << 1 << QByteArray("@none") << "no such file";
        QTest::newRow("text directory") << 3 << QByteArray("@dir") << "directory";
        QTest::newRow("text empty") << 2 << QByteArray() << "0 rows";
        QTest::newRow("text truncated") << 3 << ok.left(ok.size() / 2 + 101) << "51 numbers where";
        QTest::newRow("text a row short") << 3 << ok.left(ok.size() - 2 * 256) << "255 rows";
        QTest::newRow("text a row long") << 1 << ok + matrix(256, 1, "0") << "more than 256 rows";
        QByteArray longLine = ok;
        longLine.insert(0, "1 ");
        QTest::newRow("text a number too many") << 2 << longLine << "more than 256 numbers";
        QTest::newRow("text mask 2") << 1 << matrix(256, 256, "2") << "value above 1";
        QTest::newRow("text THL 16") << 3 << matrix(256, 256, "16") << "value above 15";
        QTest::newRow("text THH 8") << 4 << matrix(256, 256, "8") << "value above 7";
        QTest::newRow("text negative") << 3 << matrix(256, 256, "-1") << "not a number";
        QTest::newRow("text fraction") << 3 << matrix(256, 256, "1.5") << "not a number";
        QTest::newRow("text words") << 2 << matrix(256, 256, "abc") << "not a number";
        QByteArray gap = ok;
        gap.insert(gap.indexOf('\n') + 1, "\n");
        QTest::newRow("text empty line inside") << 1 << gap << "empty line";
        QTest::newRow("text binary garbage") << 3 << QByteArray(70000, '\x01') << "not a number";
        QTest::newRow("text huge") << 3 << QByteArray(17 * 65536 + 2048, ' ') << "too large";
    }
    void damagedFilesLeaveTheConfigurationAlone()
    {
        QFETCH(int, format);
        QFETCH(QByteArray, contents);
        QFETCH(QString, why);
        auto dev = makeDevice(true);
        CfgProbe probe;
        probe.attach(dev.get());
        randomise(*dev, 5);
        const sim::SimPixCfg::Pixels before = dev->livePixCfg().snapshot();
        const int eventsBefore = probe.allEvents();

        QTemporaryDir tmp;
        const QString path = tmp.filePath("damaged");
        if (contents == "@dir")
            QVERIFY(QDir(tmp.path()).mkdir("damaged"));
        else if (contents != "@none")
            writeAll(path, contents);

        QVERIFY(load(*dev, path, format) < 0);
        QVERIFY(samePixels(dev->livePixCfg().snapshot(), before));
        QCOMPARE(probe.allEvents(), eventsBefore);
        QCOMPARE(probe.errors(), 1);
        const QString line = QString::fromStdString(probe.lastError());
        QVERIFY2(line.contains(path), qPrintable(line));
        QVERIFY2(line.contains(why), qPrintable(line));
    }

    void workingCopiesLoadWithoutEventsUntilSet()
    {
        auto dev = makeDevice(false);
        CfgProbe probe;
        probe.attach(dev.get());
        QTemporaryDir tmp;
        const QString path = tmp.filePath("mode.txt");
        writeAll(path, matrix(256, 256, "3"));
        ov::IMpxPixCfg* copy = dev->copyPixCfg();
        ov::FilePath p(path.toUtf8().constData());
        QCOMPARE(copy->loadFromFile(p, 5), 0);
        QCOMPARE(int(copy->mode8(77)), 3);
        QCOMPARE(int(dev->pixCfg()->mode8(77)), 0);
        QCOMPARE(probe.events("PixCfgChanged"), 0);
        QCOMPARE(dev->setPixCfg(copy), 0);
        copy->releaseCopy();
        QCOMPARE(probe.events("PixCfgChanged"), 1);
        QCOMPARE(dev->pixCfg()->averageMode(), 3.0);
    }
};

QTEST_GUILESS_MAIN(TestPixCfgFiles)
#include "tst_pixcfgfiles.moc"
