// DAC files (".dacs") of the simulated Timepix and Medipix2: written and read back for
// every chip, read by DAC name, and damaged files refused without touching the table.
#include "cfgprobe.h"

#include <deviceset.h>
#include <timepixdevice.h>

#include <QtTest>

#include <memory>

namespace {

std::shared_ptr<sim::TimepixDevice> makeDevice(bool medipix2, int chips)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, 77);
    desc.chips = chips;
    desc.width = chips == 4 ? 512 : 256 * chips;
    desc.height = chips == 4 ? 512 : 256;
    desc.medipix2 = medipix2;
    return std::make_shared<sim::TimepixDevice>(desc);
}

// A distinct legal value for every DAC of every chip.
void fillDistinct(sim::TimepixDevice& dev)
{
    ov::IMpxDacs* dacs = dev.dacs();
    for (int chip = 0; chip < int(dev.chipCount()); ++chip)
        for (int d = 0; d < dev.liveDacs().dacCount(); ++d)
            QCOMPARE(
                dacs->setDacValue(d, chip, (d * 7 + chip * 3 + 1) % (dacs->dacMaxValue(d) + 1)), 0);
}

void writeAll(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), bytes.size());
}

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

int load(sim::TimepixDevice& dev, const QString& path)
{
    ov::FilePath p(path.toUtf8().constData());
    return dev.dacs()->loadFromFile(p);
}

const char* const kMpx2Names = "IKrum Disc Preamp SetDisc THS IFF DelayN THLFine THLCoarse "
                               "THHFine THHCoarse FBK GND BiasLVDS RefLVDS";

// A good Medipix2 file of two chips, with a line that can be replaced.
QByteArray mpx2File(const QByteArray& chip1 = "Chip 1 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15")
{
    return QByteArray("# comment\n\nFormat 1\nDACs ") + kMpx2Names
        + "\nChip 0 5 127 255 127 100 128 128 375 7 100 7 128 80 128 128\n" + chip1 + "\n";
}

} // namespace

class TestDacsFiles : public QObject
{
    Q_OBJECT

private slots:
    void everyChipReadsBack_data() { addBothDetectorRows(); }
    void everyChipReadsBack()
    {
        QFETCH(bool, medipix2);
        QFETCH(int, chips);
        auto dev = makeDevice(medipix2, chips);
        CfgProbe probe;
        probe.attach(dev.get());
        fillDistinct(*dev);
        const std::vector<int> written = dev->liveDacs().snapshot();
        QTemporaryDir tmp;
        const QString path = tmp.filePath("chip.dacs");
        const int eventsBefore = probe.events("DacsChanged");
        QCOMPARE(dev->liveDacs().saveToFile(path.toStdString()), 0);
        QCOMPARE(probe.events("DacsChanged"), eventsBefore);

        // The documented layout: Format, the names, one line per chip.
        QList<QByteArray> lines;
        for (const QByteArray& l : readAll(path).split('\n'))
            if (!l.isEmpty() && !l.startsWith('#'))
                lines << l;
        QCOMPARE(lines.size(), 2 + chips);
        QCOMPARE(lines[0], QByteArray("Format 1"));
        ov::StrList names;
        dev->dacs()->dacNames(names);
        QByteArray expectedNames = "DACs";
        for (unsigned i = 0; i < names.size(); ++i)
            expectedNames += QByteArray(" ") + names.get(i);
        QCOMPARE(lines[1], expectedNames);
        const QList<QByteArray> last = lines.last().split(' ');
        QCOMPARE(last[0], QByteArray("Chip"));
        QCOMPARE(last[1].toInt(), chips - 1);
        QCOMPARE(last[2].toInt(), dev->dacs()->dacValue(0, chips - 1));

        QCOMPARE(dev->dacs()->resetDacs(), 0);
        QVERIFY(dev->liveDacs().snapshot() != written);
        const int before = probe.events("DacsChanged");
        QCOMPARE(load(*dev, path), 0);
        QCOMPARE(probe.events("DacsChanged"), before + 1);
        QCOMPARE(dev->liveDacs().snapshot(), written);
        QCOMPARE(probe.errors(), 0);
    }

    void valuesGoByNameAndChipNumber()
    {
        auto dev = makeDevice(true, 2);
        QTemporaryDir tmp;
        const QString path = tmp.filePath("swapped.dacs");
        // Columns in another order, chips listed backwards, blanks and CR line ends.
        writeAll(path,
            "Format 1\r\n"
            "DACs  RefLVDS IKrum Disc Preamp SetDisc THS IFF DelayN THLFine THLCoarse THHFine "
            "THHCoarse FBK GND BiasLVDS\r\n"
            "Chip 1 201 11 12 13 14 15 16 17 1000 9 900 3 18 19 20\r\n"
            "\tChip 0 200 1 2 3 4 5 6 7 0 0 1 1 8 9 10   \r\n");
        QCOMPARE(load(*dev, path), 0);
        const sim::SimDacs& d = dev->liveDacs();
        QCOMPARE(d.value(d.indexOf("RefLVDS"), 0), 200);
        QCOMPARE(d.value(d.indexOf("RefLVDS"), 1), 201);
        QCOMPARE(d.value(d.indexOf("IKrum"), 1), 11);
        QCOMPARE(d.value(d.indexOf("THLFine"), 1), 1000);
        QCOMPARE(d.value(d.indexOf("THHFine"), 1), 900);
        QCOMPARE(d.value(d.indexOf("BiasLVDS"), 0), 10);
    }

    void damagedFilesLeaveTheTableAlone_data()
    {
        QTest::addColumn<QByteArray>("contents"); // "@dir" a directory, "@none" no file
        QTest::addColumn<QString>("why");
        const QByteArray good = mpx2File();
        QTest::newRow("missing") << QByteArray("@none") << "no such file";
        QTest::newRow("directory") << QByteArray("@dir") << "directory";
        QTest::newRow("empty") << QByteArray() << "not a DAC file";
        QTest::newRow("truncated") << good.left(good.size() - 20) << "values where";
        QTest::newRow("cut after a line") << good.left(good.lastIndexOf("Chip 1")) << "chip 1";
        QTest::newRow("no format") << good.mid(good.indexOf("DACs")) << "Format 1";
        QTest::newRow("format 2") << QByteArray(good).replace("Format 1", "Format 2") << "Format 1";
        QTest::newRow("no names") << QByteArray("Format 1\n") << "no DACs line";
        QTest::newRow("unknown DAC")
            << QByteArray(good).replace("SetDisc", "Vcas") << "unknown DAC Vcas";
        QTest::newRow("Timepix file")
            << QByteArray(good).replace("THLFine", "THL") << "unknown DAC THL";
        QTest::newRow("missing DAC")
            << QByteArray(good).replace(" RefLVDS", "") << "RefLVDS missing";
        QTest::newRow("DAC twice") << QByteArray(good).replace("SetDisc", "Disc") << "twice";
        QTest::newRow("names twice") << good + "DACs " + kMpx2Names + "\n"
                                     << "second DACs line";
        QTest::newRow("chip missing") << mpx2File("") << "no values for chip 1";
        QTest::newRow("chip twice")
            << mpx2File("Chip 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15") << "listed twice";
        QTest::newRow("chip 2 of 2")
            << mpx2File("Chip 2 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15") << "bad chip number";
        QTest::newRow("too many values")
            << mpx2File("Chip 1 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16") << "16 values where 15";
        QTest::newRow("value above max")
            << mpx2File("Chip 1 256 2 3 4 5 6 7 8 9 10 11 12 13 14 15") << "bad value '256'";
        QTest::newRow("THLCoarse 16")
            << mpx2File("Chip 1 1 2 3 4 5 6 7 8 16 10 11 12 13 14 15") << "THLCoarse";
        QTest::newRow("negative") << mpx2File("Chip 1 -1 2 3 4 5 6 7 8 9 10 11 12 13 14 15")
                                  << "bad value '-1'";
        QTest::newRow("fraction") << mpx2File("Chip 1 1.5 2 3 4 5 6 7 8 9 10 11 12 13 14 15")
                                  << "bad value '1.5'";
        QTest::newRow("plus sign")
            << mpx2File("Chip 1 +1 2 3 4 5 6 7 8 9 10 11 12 13 14 15") << "bad value '+1'";
        QTest::newRow("unknown line") << good + "Bias 100\n"
                                      << "unknown line 'Bias'";
        QTest::newRow("NUL byte") << good + QByteArray("Chip", 4) + '\0' + "\n"
                                  << "NUL";
        QTest::newRow("garbage") << QByteArray(5000, '\xff') << "Format 1";
        QTest::newRow("huge") << QByteArray((1 << 20) + 1, '#') << "too large";
    }
    void damagedFilesLeaveTheTableAlone()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, why);
        auto dev = makeDevice(true, 2);
        CfgProbe probe;
        probe.attach(dev.get());
        fillDistinct(*dev);
        const std::vector<int> before = dev->liveDacs().snapshot();
        const int eventsBefore = probe.allEvents();
        QTemporaryDir tmp;
        const QString path = tmp.filePath("damaged.dacs");
        if (contents == "@dir")
            QVERIFY(QDir(tmp.path()).mkdir("damaged.dacs"));
        else if (contents != "@none")
            writeAll(path, contents);

        QVERIFY(load(*dev, path) < 0);
        QCOMPARE(dev->liveDacs().snapshot(), before);
        QCOMPARE(probe.allEvents(), eventsBefore);
        QCOMPARE(probe.errors(), 1);
        const QString line = QString::fromStdString(probe.lastError());
        QVERIFY2(line.contains(path), qPrintable(line));
        QVERIFY2(line.contains(why), qPrintable(line));
    }

    void theGoodFileOfTheDamagedCasesLoads()
    {
        auto dev = makeDevice(true, 2);
        QTemporaryDir tmp;
        writeAll(tmp.filePath("good.dacs"), mpx2File());
        QCOMPARE(load(*dev, tmp.filePath("good.dacs")), 0);
        QCOMPARE(dev->dacs()->dacValue(14, 1), 15);
        QCOMPARE(dev->dacs()->dacValue(7, 0), 375);
    }

    void aFileOfOtherChipsIsRefused()
    {
        auto quad = makeDevice(false, 4);
        auto single = makeDevice(false, 1);
        QTemporaryDir tmp;
        const QString path = tmp.filePath("quad.dacs");
        QCOMPARE(quad->liveDacs().saveToFile(path.toStdString()), 0);
        CfgProbe probe;
        probe.attach(single.get());
        QVERIFY(load(*single, path) < 0);
        QVERIFY(QString::fromStdString(probe.lastError()).contains("bad chip number"));
        // The other way round: chips 1 to 3 have no values.
        QCOMPARE(single->liveDacs().saveToFile(tmp.filePath("one.dacs").toStdString()), 0);
        QVERIFY(load(*quad, tmp.filePath("one.dacs")) < 0);
    }

    void savingToADirectoryFails()
    {
        auto dev = makeDevice(true, 1);
        CfgProbe probe;
        probe.attach(dev.get());
        QTemporaryDir tmp;
        QVERIFY(dev->liveDacs().saveToFile(tmp.path().toStdString()) < 0);
        QCOMPARE(probe.errors(), 1);
    }
};

QTEST_GUILESS_MAIN(TestDacsFiles)
#include "tst_dacsfiles.moc"
