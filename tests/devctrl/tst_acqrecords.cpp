// The records handed to the device, as bytes; the acquisition parameters in settings.
#include "acqparams.h"
#include "acqrecords.h"
#include "fakedevice.h"
#include "recordingsettings.h"

#include <QtTest>

#include <cmath>
#include <cstring>

using namespace PluginDevControl;
using testdev::readAt;

namespace {

template <typename Record>
std::vector<unsigned char> image(const Record& r)
{
    const auto* p = reinterpret_cast<const unsigned char*>(&r);
    return std::vector<unsigned char>(p, p + sizeof r);
}

// Little-endian bytes of a value, lowest byte first, computed from its numeric bits.
template <typename T>
std::vector<unsigned char> le(T value)
{
    uint64_t bits = 0;
    if constexpr (std::is_floating_point_v<T>)
        std::memcpy(&bits, &value, sizeof bits);
    else
        bits = static_cast<uint64_t>(static_cast<std::make_unsigned_t<T>>(value));
    std::vector<unsigned char> out(sizeof(T));
    for (size_t i = 0; i < sizeof(T); ++i)
        out[i] = static_cast<unsigned char>((bits >> (8 * i)) & 0xFF);
    return out;
}

bool bytesAt(const std::vector<unsigned char>& img, size_t offset,
    const std::vector<unsigned char>& expected)
{
    return offset + expected.size() <= img.size()
        && std::equal(expected.begin(), expected.end(), img.begin() + long(offset));
}

} // namespace

class TstAcqRecords : public QObject
{
    Q_OBJECT

private slots:
    void tpParamsDefaultImage()
    {
        const TpParams tp = defaultTpParams(3);
        const auto img = image(tp);
        QCOMPARE(img.size(), size_t(164));
        QVERIFY(bytesAt(img, 0, le<int32_t>(3)));
        QVERIFY(bytesAt(img, 4, le<uint32_t>(100)));
        QVERIFY(bytesAt(img, 8, le<double>(0.0001)));
        QVERIFY(bytesAt(img, 16, le<double>(0.5)));
        QCOMPARE(img[24], uint8_t(0));
        QVERIFY(bytesAt(img, 25, le<uint32_t>(100)));
        QVERIFY(bytesAt(img, 29, le<double>(0.000001)));
        QVERIFY(bytesAt(img, 37, le<double>(0.5)));
        QVERIFY(bytesAt(img, 45, le<double>(0.5)));
        QCOMPARE(img[53], uint8_t(0));
        QCOMPARE(img[54], uint8_t(1));
        for (size_t i = 55; i < 87; ++i)
            QCOMPARE(img[i], uint8_t(0xFF));
        QVERIFY(bytesAt(img, 87, le<uint32_t>(10)));
        QVERIFY(bytesAt(img, 91, le<double>(0.000002)));
        QCOMPARE(img[99], uint8_t(0));
        QCOMPARE(img[100], uint8_t(1));
        QCOMPARE(img[101], uint8_t(0));
        QCOMPARE(img[102], uint8_t(0));
        QCOMPARE(img[103], uint8_t(1));
        for (size_t i = 104; i < 136; ++i)
            QCOMPARE(img[i], uint8_t(0xFF));
        QVERIFY(bytesAt(img, 136, le<uint32_t>(100)));
        QVERIFY(bytesAt(img, 140, le<uint32_t>(100)));
        QVERIFY(bytesAt(img, 144, le<double>(0.000001)));
        QVERIFY(bytesAt(img, 152, le<double>(0.5)));
        QCOMPARE(img[160], uint8_t(0));
        QCOMPARE(img[161], uint8_t(0));
        QCOMPARE(img[162], uint8_t(0));
        QCOMPARE(img[163], uint8_t(0));
    }

    void tpParamsKnownValues()
    {
        TpParams tp = defaultTpParams(1);
        tp.tpx.pulseCount = 0x01020304;
        tp.tpx.pulseHeight = -2.25;
        tp.tpx.manualTpBits = 0xA5;
        tp.mpx3.charge2 = 1.5;
        tp.tpx3.charge = 0xCAFE;
        tp.tpx2.digital = 1;
        const auto img = image(tp);
        QCOMPARE(img[4], uint8_t(0x04));
        QCOMPARE(img[5], uint8_t(0x03));
        QCOMPARE(img[6], uint8_t(0x02));
        QCOMPARE(img[7], uint8_t(0x01));
        QVERIFY(bytesAt(img, 16, le<double>(-2.25)));
        QCOMPARE(img[24], uint8_t(0xA5));
        QVERIFY(bytesAt(img, 45, le<double>(1.5)));
        QVERIFY(bytesAt(img, 136, le<uint32_t>(0xCAFE)));
        QCOMPARE(img[161], uint8_t(1));
    }

    void testPulseBlockByKind_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("offset"); // -1: no block
        QTest::newRow("Timepix") << 1 << 4;
        QTest::newRow("Medipix3") << 2 << 25;
        QTest::newRow("Timepix3") << 3 << 87;
        QTest::newRow("Timepix2") << 4 << 140;
        QTest::newRow("file device") << 10 << -1;
        QTest::newRow("unknown") << 0 << -1;
    }
    void testPulseBlockByKind()
    {
        QFETCH(int, kind);
        QFETCH(int, offset);
        const TpParams tp = defaultTpParams(kind);
        const auto* base = reinterpret_cast<const unsigned char*>(&tp);
        QCOMPARE(testPulseBlock(tp, false), nullptr);
        const void* block = testPulseBlock(tp, true);
        if (offset < 0) {
            QCOMPARE(block, nullptr);
        } else {
            QCOMPARE(static_cast<const unsigned char*>(block), base + offset);
            // Every block starts with its pulse count.
            const uint32_t expected = kind == 3 ? 10u : 100u;
            uint32_t count = 0;
            std::memcpy(&count, block, 4);
            QCOMPARE(count, expected);
        }
    }

    void acqDescImage()
    {
        AcqParams p;
        p.acqType = AcqIntegral;
        p.acqCount = 0x11223344;
        p.acqTime = 0.125;
        p.acqMode = 0x31;
        p.fileType = 7;
        p.fileFlags = 0x80000001u;
        p.spacing = 9;
        p.tpSpacing = 5;
        p.refreshDacs = true;
        p.refreshPixCfg = false;
        p.fileOutput = true;
        p.outputFile = "/data/run.txt";
        const AcqDesc d = makeAcqDesc(p);
        const auto img = image(d);
        QCOMPARE(img.size(), size_t(43));
        QVERIFY(bytesAt(img, 0, le<uint32_t>(0)));
        QVERIFY(bytesAt(img, 4, {0x44, 0x33, 0x22, 0x11}));
        QVERIFY(bytesAt(img, 8, le<double>(0.125)));
        QVERIFY(bytesAt(img, 16, le<uint32_t>(0x31)));
        QVERIFY(bytesAt(img, 20, le<uint32_t>(7)));
        QVERIFY(bytesAt(img, 24, {0x01, 0x00, 0x00, 0x80}));
        QVERIFY(bytesAt(img, 28, le<uint32_t>(9)));
        QCOMPARE(img[32], uint8_t(1));
        QCOMPARE(img[33], uint8_t(1));
        QCOMPARE(img[34], uint8_t(0));
        const char* file = readAt<const char*>(img, 35);
        QCOMPARE(file, p.outputFile.c_str());
        QCOMPARE(QString::fromUtf8(file), QStringLiteral("/data/run.txt"));
    }

    void acqDescByType_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<uint32_t>("flag");
        QTest::addColumn<int>("integral");
        QTest::addColumn<uint32_t>("spacing");
        QTest::newRow("frames") << 0 << 0u << 0 << 3u;
        QTest::newRow("integral") << 1 << 0u << 1 << 3u;
        QTest::newRow("test pulses") << 2 << 1u << 0 << 11u;
        QTest::newRow("type 3") << 3 << 0u << 0 << 3u;
        QTest::newRow("integral test pulses") << 4 << 1u << 1 << 3u;
    }
    void acqDescByType()
    {
        QFETCH(int, type);
        QFETCH(uint32_t, flag);
        QFETCH(int, integral);
        QFETCH(uint32_t, spacing);
        AcqParams p;
        p.acqType = type;
        p.spacing = 3;
        p.tpSpacing = 11;
        const auto img = image(makeAcqDesc(p));
        QCOMPARE(readAt<uint32_t>(img, 0), flag);
        QCOMPARE(int(img[32]), integral);
        QCOMPARE(readAt<uint32_t>(img, 28), spacing);
    }

    void acqDescWithoutFileOutputHasEmptyString()
    {
        AcqParams p;
        p.outputFile = "/data/not-written.txt";
        p.fileOutput = false;
        const auto img = image(makeAcqDesc(p));
        const char* file = readAt<const char*>(img, 35);
        QVERIFY(file != nullptr);
        QCOMPARE(file[0], '\0');
    }

    void repeatDescImage()
    {
        AcqParams p;
        p.repeatCount = 12;
        p.repeatDelay = 2.5;
        p.repeatFileFlags = 5;
        p.repeatFileDigits = 4;
        const auto img = image(makeRepeatDesc(p));
        QCOMPARE(img.size(), size_t(20));
        QVERIFY(bytesAt(img, 0, le<uint32_t>(12)));
        QVERIFY(bytesAt(img, 4, le<double>(2.5)));
        QVERIFY(bytesAt(img, 12, le<uint32_t>(5)));
        QVERIFY(bytesAt(img, 16, le<uint32_t>(4)));

        p.repeatCount = 0;
        const auto endless = image(makeRepeatDesc(p));
        QVERIFY(bytesAt(endless, 0, {0xFF, 0xFF, 0xFF, 0xFF}));
    }

    void repeatCountStoredAtomically()
    {
        alignas(8) RepeatDesc r = makeRepeatDesc(AcqParams());
        QCOMPARE(loadRepeatCount(&r), 0xFFFFFFFFu);
        storeRepeatCount(&r, 0);
        QCOMPARE(readAt<uint32_t>(image(r), 0), 0u);
        QCOMPARE(readAt<double>(image(r), 4), 0.0);
    }

    void acqParamsDefaults()
    {
        const AcqParams p;
        QCOMPARE(p.acqType, 0);
        QCOMPARE(p.acqCount, 100);
        QCOMPARE(p.acqTime, 0.1);
        QCOMPARE(p.acqMode, 0);
        QVERIFY(p.outputFile.empty());
        QCOMPARE(p.fileOutput, false);
        QCOMPARE(p.fileType, 1);
        QCOMPARE(p.fileFlags, 0u);
        QCOMPARE(p.repeatEnabled, false);
        QCOMPARE(p.repeatCount, 0);
        QCOMPARE(p.repeatDelay, 0.0);
        QCOMPARE(p.repeatFileFlags, 0u);
        QCOMPARE(p.repeatFileDigits, 0);
        QCOMPARE(p.spacing, 1);
        QCOMPARE(p.tpSpacing, 4);
        QCOMPARE(p.refreshDacs, false);
        QCOMPARE(p.refreshPixCfg, false);
    }

    void acqParamsSaveOrderAndRoundTrip()
    {
        AcqParams p;
        p.acqType = 4;
        p.acqCount = 250;
        p.acqTime = 0.003;
        p.acqMode = 16;
        p.outputFile = "/tmp/ünïcode/frames.txt";
        p.fileOutput = true;
        p.fileType = 6;
        p.fileFlags = 3;
        p.repeatEnabled = true;
        p.repeatCount = 9;
        p.repeatDelay = 1.75;
        p.repeatFileFlags = 6;
        p.repeatFileDigits = 3;
        p.spacing = 2;
        p.tpSpacing = 8;
        p.refreshDacs = true;
        p.refreshPixCfg = true;
        RecordingSettings s;
        p.save(&s);
        const std::vector<std::string> order {"Acq/Type", "Acq/Count", "Acq/Time", "Acq/FileName",
            "Acq/FileOutputEnabled", "Acq/FileType", "Acq/Mode", "Acq/OutputFlags",
            "Acq/RefreshDacs", "Acq/RefreshPixCfg", "Acq/Repeat", "Acq/RepeatCount",
            "Acq/RepeatDelay", "Acq/RepeatDigits", "Acq/RepeatFlags", "Acq/Spacing",
            "Acq/TpSpacing"};
        QCOMPARE(s.writes, order);

        AcqParams q;
        q.load(&s);
        QCOMPARE(q.acqType, 4);
        QCOMPARE(q.acqCount, 250);
        QCOMPARE(q.acqTime, 0.003);
        QCOMPARE(q.acqMode, 16);
        QCOMPARE(q.outputFile, p.outputFile);
        QCOMPARE(q.fileOutput, true);
        QCOMPARE(q.fileType, 6);
        QCOMPARE(q.fileFlags, 3u);
        QCOMPARE(q.repeatEnabled, true);
        QCOMPARE(q.repeatCount, 9);
        QCOMPARE(q.repeatDelay, 1.75);
        QCOMPARE(q.repeatFileFlags, 6u);
        QCOMPARE(q.repeatFileDigits, 3);
        QCOMPARE(q.spacing, 2);
        QCOMPARE(q.tpSpacing, 8);
        QCOMPARE(q.refreshDacs, true);
        QCOMPARE(q.refreshPixCfg, true);
    }

    void acqParamsLoadKeepsPresentValuesAsDefaults()
    {
        RecordingSettings s;
        s.setInt("Acq", "Count", 7);
        AcqParams p;
        p.acqTime = 0.5;
        p.outputFile = "kept.txt";
        p.load(&s);
        QCOMPARE(p.acqCount, 7);
        QCOMPARE(p.acqTime, 0.5);
        QCOMPARE(p.outputFile, std::string("kept.txt"));
        QCOMPARE(p.tpSpacing, 4);
    }
};

QTEST_GUILESS_MAIN(TstAcqRecords)
#include "tst_acqrecords.moc"
