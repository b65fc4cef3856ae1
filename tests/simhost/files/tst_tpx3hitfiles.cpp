// Timepix3 hit files: every format written and read back exactly (empty lists, extreme
// times, the largest pixel and ToT), and damaged files refused with a message naming the
// file and no hits handed out: truncated at every length, single bytes changed, wrong
// magic, counts larger than the file, bad text. Names by ending, in exact case.
#include <lebytes.h>
#include <tpx3hitfile.h>

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

Q_DECLARE_METATYPE(std::vector<ov::Tpx3Hit>)

namespace {

constexpr uint64_t kMaxToa = std::numeric_limits<uint64_t>::max();
const int kFormats[] = {sim::Tpx3HitList, sim::Tpx3HitText, sim::Tpx3HitRaw, sim::Tpx3HitSorted};

bool sameHit(const ov::Tpx3Hit& a, const ov::Tpx3Hit& b)
{
    return a.toa == b.toa && a.x == b.x && a.y == b.y && a.tot == b.tot && a.flags == b.flags;
}

bool sameHits(const std::vector<ov::Tpx3Hit>& a, const std::vector<ov::Tpx3Hit>& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), sameHit);
}

ov::Tpx3Hit hit(uint64_t toa, uint16_t x, uint16_t y, uint16_t tot, uint16_t flags = 0)
{
    return ov::Tpx3Hit {toa, x, y, tot, flags};
}

// Hits in arrival order, not sorted by time: ToA within `span` of `base`.
std::vector<ov::Tpx3Hit> randomHits(
    size_t n, unsigned width, unsigned height, uint64_t base, uint64_t span, uint32_t seed)
{
    std::mt19937_64 rng(seed);
    std::vector<ov::Tpx3Hit> hits(n);
    for (ov::Tpx3Hit& h : hits) {
        h.toa = base + (span ? rng() % span : 0);
        h.x = uint16_t(rng() % width);
        h.y = uint16_t(rng() % height);
        h.tot = uint16_t(rng() % 3 == 0 ? rng() : rng() % 1024);
        h.flags = uint16_t(rng() % 5 == 0 ? rng() : 0);
    }
    return hits;
}

// What reading gives for hits written in the format: the time-sorted format sorts
// them, keeping the order of hits of equal time.
std::vector<ov::Tpx3Hit> expectedBack(int format, std::vector<ov::Tpx3Hit> hits)
{
    if (format == sim::Tpx3HitSorted)
        std::stable_sort(hits.begin(), hits.end(),
            [](const ov::Tpx3Hit& a, const ov::Tpx3Hit& b) { return a.toa < b.toa; });
    return hits;
}

std::string encoded(
    int format, const std::vector<ov::Tpx3Hit>& hits, unsigned width = 256, unsigned height = 256)
{
    std::string out;
    std::string error;
    if (sim::encodeTpx3Hits(format, hits.data(), hits.size(), width, height, &out, &error) != 0)
        qWarning("encode failed: %s", error.c_str());
    return out;
}

// Decodes bytes: gives the message of a refusal, or nothing when the bytes were read. A
// refusal that changed the outputs or does not name the origin fails the test.
std::string refusal(int format, const std::string& bytes)
{
    const std::vector<ov::Tpx3Hit> before {hit(7, 1, 2, 3, 4)};
    std::vector<ov::Tpx3Hit> hits = before;
    unsigned width = 11;
    unsigned height = 13;
    std::string error;
    const int rc = sim::decodeTpx3Hits(
        format, bytes.data(), bytes.size(), "probe.bytes", &hits, &width, &height, &error);
    if (rc == 0)
        return std::string();
    if (rc != -1 || !sameHits(hits, before) || width != 11 || height != 13)
        QTest::qFail(("outputs changed by a failed read: " + error).c_str(), __FILE__, __LINE__);
    if (error.rfind("probe.bytes: ", 0) != 0)
        QTest::qFail(("message does not name the origin: " + error).c_str(), __FILE__, __LINE__);
    return error;
}

bool refused(int format, const std::string& bytes)
{
    return !refusal(format, bytes).empty();
}

// The bytes with their checksums made right again after a change, so that the change
// itself is what the reader meets.
std::string resealed(int format, std::string bytes)
{
    auto seal = [&](size_t end) {
        std::string crc;
        sim::putLe32(&crc, sim::crc32Of(bytes.data(), end));
        bytes.replace(end, 4, crc);
    };
    if (format == sim::Tpx3HitSorted)
        seal(40);
    else
        seal(bytes.size() - 4);
    return bytes;
}

std::string withLe64(std::string bytes, size_t at, uint64_t value)
{
    std::string v;
    sim::putLe64(&v, value);
    bytes.replace(at, 8, v);
    return bytes;
}

std::string slurp(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const char* nameOf(int format)
{
    return sim::tpx3HitFormatEnding(format);
}

} // namespace

class TestTpx3HitFiles : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void sortedFormatChunks();
    void layouts();
    void truncatedAtEveryLength_data();
    void truncatedAtEveryLength();
    void changedBytes_data();
    void changedBytes();
    void wrongMagic();
    void countsLargerThanFile();
    void badText_data();
    void badText();
    void badRawWords();
    void unsortedProcessedFile();
    void writeRefusesBadLists();
    void readErrorsNameTheFile();
    void formatFromName();
};

void TestTpx3HitFiles::roundTrip_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<unsigned>("width");
    QTest::addColumn<unsigned>("height");
    QTest::addColumn<std::vector<ov::Tpx3Hit>>("hits");

    const uint64_t near48 = (uint64_t(1) << 48) - 5000;
    const std::vector<ov::Tpx3Hit> extremes {hit(kMaxToa, 65535, 65535, 65535, 65535),
        hit(0, 0, 0, 0, 0), hit(kMaxToa - 1, 0, 65535, 1024, 0),
        hit((uint64_t(1) << 18) - 1, 65535, 0, 1023, 1), hit(uint64_t(1) << 18, 1, 1, 1023, 0),
        hit(uint64_t(1) << 48, 2, 3, 0, 0x8000), hit(kMaxToa, 4, 5, 6, 0)};
    for (int f : kFormats) {
        const std::string n = nameOf(f);
        QTest::newRow((n + " empty").c_str()) << f << 256u << 256u << std::vector<ov::Tpx3Hit>();
        QTest::newRow((n + " one hit").c_str())
            << f << 1u << 1u << std::vector<ov::Tpx3Hit> {hit(12345, 0, 0, 17)};
        QTest::newRow((n + " random").c_str())
            << f << 256u << 512u << randomHits(3000, 256, 512, 0, 1u << 30, 1 + f);
        QTest::newRow((n + " near 2^48").c_str())
            << f << 256u << 256u << randomHits(500, 256, 256, near48, 10000, 11 + f);
        // Far beyond the raw format's 2^18-step wrap, back and forth in time.
        QTest::newRow((n + " wide times").c_str())
            << f << 300u << 200u << randomHits(800, 300, 200, 0, kMaxToa, 21 + f);
        QTest::newRow((n + " extremes").c_str()) << f << 65536u << 65536u << extremes;
        QTest::newRow((n + " equal times").c_str())
            << f << 16u << 16u << randomHits(300, 16, 16, 99, 3, 31 + f);
    }
}

void TestTpx3HitFiles::roundTrip()
{
    QFETCH(int, format);
    QFETCH(unsigned, width);
    QFETCH(unsigned, height);
    QFETCH(std::vector<ov::Tpx3Hit>, hits);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const std::string path = dir.filePath(QStringLiteral("hits.")).toStdString() + nameOf(format);
    std::string error;
    QCOMPARE(sim::writeTpx3Hits(path, format, hits.data(), hits.size(), width, height, &error), 0);
    QVERIFY2(error.empty(), error.c_str());

    std::vector<ov::Tpx3Hit> back {hit(1, 1, 1, 1)};
    unsigned w = 0;
    unsigned h = 0;
    QVERIFY2(sim::readTpx3Hits(path, format, &back, &w, &h, &error) == 0, error.c_str());
    QCOMPARE(w, width);
    QCOMPARE(h, height);
    QCOMPARE(back.size(), hits.size());
    QVERIFY(sameHits(back, expectedBack(format, hits)));

    // The bytes in memory are the file's bytes, and decode alike.
    const std::string bytes = encoded(format, hits, width, height);
    QVERIFY(bytes == slurp(path));
    std::vector<ov::Tpx3Hit> again;
    QCOMPARE(
        sim::decodeTpx3Hits(format, bytes.data(), bytes.size(), "memory", &again, &w, &h, &error),
        0);
    QVERIFY(sameHits(again, back));
}

void TestTpx3HitFiles::sortedFormatChunks()
{
    // More hits than a chunk holds, and gaps in time wider than a 32-bit offset: the
    // chunks split there, and all reads back sorted.
    std::vector<ov::Tpx3Hit> hits = randomHits(70000, 64, 64, 0, 1u << 20, 5);
    for (size_t i = 0; i < 50; ++i)
        hits.push_back(hit((uint64_t(5) << 32) * (i + 1), 1, 2, 3));
    hits.push_back(hit(kMaxToa, 0, 0, 0));
    const std::string bytes = encoded(sim::Tpx3HitSorted, hits, 64, 64);
    const uint64_t chunks = sim::getLe64(bytes.data() + 32);
    QCOMPARE(chunks, uint64_t(2 + 50 + 1));
    QCOMPARE(sim::getLe64(bytes.data() + 24), uint64_t(hits.size()));
    std::vector<ov::Tpx3Hit> back;
    unsigned w = 0;
    unsigned h = 0;
    std::string error;
    QVERIFY2(sim::decodeTpx3Hits(
                 sim::Tpx3HitSorted, bytes.data(), bytes.size(), "m", &back, &w, &h, &error)
            == 0,
        error.c_str());
    QVERIFY(sameHits(back, expectedBack(sim::Tpx3HitSorted, hits)));
}

void TestTpx3HitFiles::layouts()
{
    // The checksum is the common CRC-32.
    QCOMPARE(sim::crc32Of("123456789", 9), 0xCBF43926u);

    const std::vector<ov::Tpx3Hit> one {hit(0x0123456789ABCDEFull, 0x1234, 0x0056, 0x0789, 1)};

    // Binary list: header of 32 bytes, one 16-byte record, the checksum.
    const std::string list = encoded(sim::Tpx3HitList, one, 0x2000, 0x100);
    QCOMPARE(list.size(), size_t(32 + 16 + 4));
    QCOMPARE(list.substr(0, 8), std::string("OVT3HITS"));
    QCOMPARE(sim::getLe32(list.data() + 8), 1u);
    QCOMPARE(sim::getLe32(list.data() + 12), 0x2000u);
    QCOMPARE(sim::getLe32(list.data() + 16), 0x100u);
    QCOMPARE(sim::getLe32(list.data() + 20), 16u);
    QCOMPARE(sim::getLe64(list.data() + 24), uint64_t(1));
    QCOMPARE(static_cast<unsigned char>(list[32]), 0xEFu); // little-endian ToA
    QCOMPARE(sim::getLe64(list.data() + 32), one[0].toa);
    QCOMPARE(sim::getLe16(list.data() + 40), uint16_t(0x1234));
    QCOMPARE(sim::getLe16(list.data() + 42), uint16_t(0x0056));
    QCOMPARE(sim::getLe16(list.data() + 44), uint16_t(0x0789));
    QCOMPARE(sim::getLe16(list.data() + 46), uint16_t(1));
    QCOMPARE(sim::getLe32(list.data() + 48), sim::crc32Of(list.data(), 48));

    // Text.
    QCOMPARE(encoded(sim::Tpx3HitText, one, 0x2000, 0x100),
        std::string("# Timepix3 hits width=8192 height=256 hits=1\n"
                    "Index\tToA\tX\tY\tToT\tFlags\n"
                    "0\t81985529216486895\t4660\t86\t1929\t1\n"));

    // Raw: a time-extension word (ToA >> 18), an extra word (ToT >> 10, flags) and the
    // hit word (x, y, coarse and fine ToA, low ToT).
    const std::string raw = encoded(sim::Tpx3HitRaw, one, 0x2000, 0x100);
    QCOMPARE(raw.size(), size_t(40 + 3 * 8 + 4));
    QCOMPARE(raw.substr(0, 8), std::string("OVT3RAWD"));
    QCOMPARE(sim::getLe64(raw.data() + 24), uint64_t(1));
    QCOMPARE(sim::getLe64(raw.data() + 32), uint64_t(3));
    QCOMPARE(sim::getLe64(raw.data() + 40), (uint64_t(0x2) << 60) | (one[0].toa >> 18));
    QCOMPARE(sim::getLe64(raw.data() + 48), (uint64_t(0x5) << 60) | (uint64_t(1) << 16) | 1u);
    const uint64_t low = one[0].toa & 0x3FFFF;
    QCOMPARE(sim::getLe64(raw.data() + 56),
        (uint64_t(0xB) << 60) | (uint64_t(0x1234) << 44) | (uint64_t(0x56) << 28)
            | ((low >> 4) << 14) | ((low & 0xF) << 10) | 0x389u);
    // A hit in the first 2^18 steps with a small ToT and no flags is one word.
    QCOMPARE(encoded(sim::Tpx3HitRaw, {hit(5, 0, 0, 1)}).size(), size_t(40 + 8 + 4));

    // Processed: 44-byte header, a chunk of 16 + 12 + 4 bytes.
    const std::string prd = encoded(sim::Tpx3HitSorted, one, 0x2000, 0x100);
    QCOMPARE(prd.size(), size_t(44 + 16 + 12 + 4));
    QCOMPARE(prd.substr(0, 8), std::string("OVT3SORT"));
    QCOMPARE(sim::getLe32(prd.data() + 20), 65536u);
    QCOMPARE(sim::getLe64(prd.data() + 32), uint64_t(1));
    QCOMPARE(sim::getLe32(prd.data() + 40), sim::crc32Of(prd.data(), 40));
    QCOMPARE(prd.substr(44, 4), std::string("CHNK"));
    QCOMPARE(sim::getLe32(prd.data() + 48), 1u);
    QCOMPARE(sim::getLe64(prd.data() + 52), one[0].toa);
    QCOMPARE(sim::getLe32(prd.data() + 60), 0u);
    QCOMPARE(sim::getLe16(prd.data() + 64), uint16_t(0x1234));
    QCOMPARE(sim::getLe32(prd.data() + 72), sim::crc32Of(prd.data() + 44, 28));
}

void TestTpx3HitFiles::truncatedAtEveryLength_data()
{
    QTest::addColumn<int>("format");
    for (int f : kFormats)
        QTest::newRow(nameOf(f)) << f;
}

void TestTpx3HitFiles::truncatedAtEveryLength()
{
    // No format has a shorter whole file inside a longer one: every cut is refused.
    QFETCH(int, format);
    const std::vector<ov::Tpx3Hit> hits {hit(3, 1, 2, 3), hit(1u << 20, 4, 5, 2000, 1),
        hit(2, 255, 255, 65535), hit(kMaxToa, 0, 7, 8), hit(2, 9, 9, 9, 9)};
    const std::string whole = encoded(format, hits);
    QVERIFY(!refused(format, whole));
    for (size_t n = 0; n < whole.size(); ++n) {
        const std::string error = refusal(format, whole.substr(0, n));
        QVERIFY2(!error.empty(), qPrintable(QString("cut at %1 read as whole").arg(n)));
        QVERIFY2(refused(format, whole.substr(0, n)), error.c_str());
    }
}

void TestTpx3HitFiles::changedBytes_data()
{
    truncatedAtEveryLength_data();
}

void TestTpx3HitFiles::changedBytes()
{
    // The binary formats' checksums catch every changed byte; the text catches every byte
    // turned into a letter (a digit changed into another digit is another valid number:
    // text has no checksum, so that it can be edited).
    QFETCH(int, format);
    const std::vector<ov::Tpx3Hit> hits {
        hit(3, 1, 2, 3), hit(1u << 20, 4, 5, 2000, 1), hit(2, 255, 255, 65535)};
    const std::string whole = encoded(format, hits);
    for (size_t i = 0; i < whole.size(); ++i) {
        std::string changed = whole;
        if (format == sim::Tpx3HitText) {
            changed[i] = changed[i] == 'x' ? 'q' : 'x';
        } else {
            changed[i] = char(changed[i] ^ (i % 2 ? 0x01 : 0x80));
        }
        QVERIFY2(refused(format, changed), qPrintable(QString("byte %1 changed unnoticed").arg(i)));
    }
}

void TestTpx3HitFiles::wrongMagic()
{
    const std::vector<ov::Tpx3Hit> hits {hit(3, 1, 2, 3)};
    for (int f : kFormats) {
        if (f == sim::Tpx3HitText)
            continue;
        std::string bytes = encoded(f, hits);
        bytes[2] = 'X';
        QVERIFY(refusal(f, bytes).find("wrong magic") != std::string::npos);
        // A file of another format is not read as this one.
        for (int g : kFormats) {
            if (g != f)
                QVERIFY(refused(g, encoded(f, hits)));
        }
    }
    QVERIFY(refusal(sim::Tpx3HitList, "").find("wrong magic") != std::string::npos);
    QVERIFY(refused(sim::Tpx3HitText, encoded(sim::Tpx3HitList, hits)));
    QVERIFY(refusal(42, encoded(sim::Tpx3HitList, hits)).find("unknown") != std::string::npos);
}

void TestTpx3HitFiles::countsLargerThanFile()
{
    // Counts near 2^64 in an otherwise good file: refused at once, with nothing allocated
    // for them (an allocation of that size would throw and end the test).
    const std::vector<ov::Tpx3Hit> hits {hit(3, 1, 2, 3), hit(4, 1, 2, 3)};
    for (uint64_t count : {uint64_t(3), uint64_t(1) << 40, kMaxToa}) {
        const std::string list
            = resealed(sim::Tpx3HitList, withLe64(encoded(sim::Tpx3HitList, hits), 24, count));
        QVERIFY(refusal(sim::Tpx3HitList, list).find("holds at most") != std::string::npos);

        const std::string raw = encoded(sim::Tpx3HitRaw, hits);
        const std::string rawWords = resealed(sim::Tpx3HitRaw, withLe64(raw, 32, count));
        QVERIFY(refusal(sim::Tpx3HitRaw, rawWords).find("holds at most") != std::string::npos);
        const std::string rawHits = resealed(sim::Tpx3HitRaw, withLe64(raw, 24, count));
        QVERIFY(refused(sim::Tpx3HitRaw, rawHits));

        const std::string prd = encoded(sim::Tpx3HitSorted, hits);
        QVERIFY(
            refused(sim::Tpx3HitSorted, resealed(sim::Tpx3HitSorted, withLe64(prd, 24, count))));
        QVERIFY(
            refused(sim::Tpx3HitSorted, resealed(sim::Tpx3HitSorted, withLe64(prd, 32, count))));

        const std::string text = "# Timepix3 hits width=4 height=4 hits=" + std::to_string(count)
            + "\nIndex\tToA\tX\tY\tToT\tFlags\n0\t1\t2\t3\t4\t5\n";
        QVERIFY(refusal(sim::Tpx3HitText, text).find("truncated") != std::string::npos);
    }
    // Fewer hits counted than there are.
    const std::string list
        = resealed(sim::Tpx3HitList, withLe64(encoded(sim::Tpx3HitList, hits), 24, 1));
    QVERIFY(refused(sim::Tpx3HitList, list));
    QVERIFY(refused(sim::Tpx3HitText,
        "# Timepix3 hits width=4 height=4 "
        "hits=0\nIndex\tToA\tX\tY\tToT\tFlags\n0\t1\t2\t3\t4\t5\n"));
}

void TestTpx3HitFiles::badText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("message");
    const QString head = QStringLiteral("# Timepix3 hits width=16 height=8 hits=1\n");
    const QString columns = QStringLiteral("Index\tToA\tX\tY\tToT\tFlags\n");
    QTest::newRow("good") << head + columns + "0\t5\t15\t7\t65535\t65535\n" << QString();
    QTest::newRow("negative") << head + columns + "0\t-5\t1\t1\t1\t0\n"
                              << "bad ToA \"-5\"";
    QTest::newRow("plus") << head + columns + "0\t+5\t1\t1\t1\t0\n"
                          << "bad ToA";
    QTest::newRow("fraction") << head + columns + "0\t5\t1.5\t1\t1\t0\n"
                              << "bad x \"1.5\"";
    QTest::newRow("hex") << head + columns + "0\t0x5\t1\t1\t1\t0\n"
                         << "bad ToA";
    QTest::newRow("space") << head + columns + "0\t 5\t1\t1\t1\t0\n"
                           << "bad ToA";
    QTest::newRow("empty field") << head + columns + "0\t5\t\t1\t1\t0\n"
                                 << "bad x \"\"";
    QTest::newRow("toa too large") << head + columns + "0\t18446744073709551616\t1\t1\t1\t0\n"
                                   << "bad ToA";
    QTest::newRow("x outside chip") << head + columns + "0\t5\t16\t1\t1\t0\n"
                                    << "bad x \"16\"";
    QTest::newRow("y outside chip") << head + columns + "0\t5\t1\t8\t1\t0\n"
                                    << "bad y";
    QTest::newRow("tot too large") << head + columns + "0\t5\t1\t1\t65536\t0\n"
                                   << "bad ToT";
    QTest::newRow("flags letters") << head + columns + "0\t5\t1\t1\t1\tab\n"
                                   << "bad flags";
    QTest::newRow("missing column") << head + columns + "0\t5\t1\t1\t1\n"
                                    << "5 columns, expected 6";
    QTest::newRow("extra column") << head + columns + "0\t5\t1\t1\t1\t0\t9\n"
                                  << "bad flags";
    QTest::newRow("wrong index") << head + columns + "1\t5\t1\t1\t1\t0\n"
                                 << "index 1, expected 0";
    QTest::newRow("crlf") << head + columns + "0\t5\t1\t1\t1\t0\r\n"
                          << "bad flags";
    QTest::newRow("no last newline") << head + columns + "0\t5\t1\t1\t1\t0"
                                     << "no end of line";
    QTest::newRow("line after") << head + columns + "0\t5\t1\t1\t1\t0\n\n"
                                << "text after";
    QTest::newRow("no header") << columns + "0\t5\t1\t1\t1\t0\n"
                               << "line 1 is not a header";
    QTest::newRow("zero width") << QStringLiteral("# Timepix3 hits width=0 height=8 hits=1\n")
            + columns + "0\t5\t0\t1\t1\t0\n"
                                << "chip size 0 x 8";
    QTest::newRow("wide chip") << QStringLiteral("# Timepix3 hits width=65537 height=8 hits=0\n")
            + columns << "line 1 is not a header";
    QTest::newRow("bad count") << QStringLiteral("# Timepix3 hits width=16 height=8 hits=one\n")
            + columns << "line 1 is not a header";
    QTest::newRow("columns renamed") << head + "Index\tTime\tX\tY\tToT\tFlags\n0\t5\t1\t1\t1\t0\n"
                                     << "line 2 does not name";
    QTest::newRow("columns spaces") << head + "Index ToA X Y ToT Flags\n0\t5\t1\t1\t1\t0\n"
                                    << "line 2 does not name";
    QTest::newRow("fewer lines") << QString(head).replace("hits=1", "hits=2") + columns
            + "0\t5\t1\t1\t1\t0\n"
                                 << "1 of 2 hits read";
}

void TestTpx3HitFiles::badText()
{
    QFETCH(QString, text);
    QFETCH(QString, message);
    const std::string bytes = text.toStdString();
    if (message.isEmpty()) {
        QVERIFY(!refused(sim::Tpx3HitText, bytes));
        return;
    }
    const std::string error = refusal(sim::Tpx3HitText, bytes);
    QVERIFY2(error.find(message.toStdString()) != std::string::npos, error.c_str());
    QVERIFY2(error.rfind("probe.bytes: t3pa hit file: ", 0) == 0, error.c_str());
}

void TestTpx3HitFiles::badRawWords()
{
    const std::string good = encoded(sim::Tpx3HitRaw, {hit(1u << 19, 1, 2, 3000, 7)});
    QCOMPARE(sim::getLe64(good.data() + 32), uint64_t(3));
    QVERIFY(!refused(sim::Tpx3HitRaw, good));
    const uint64_t time = sim::getLe64(good.data() + 40);
    const uint64_t extra = sim::getLe64(good.data() + 48);
    const uint64_t hitWord = sim::getLe64(good.data() + 56);
    auto words = [&](uint64_t a, uint64_t b, uint64_t c) {
        std::string bytes = withLe64(withLe64(withLe64(good, 40, a), 48, b), 56, c);
        return refusal(sim::Tpx3HitRaw, resealed(sim::Tpx3HitRaw, bytes));
    };
    QVERIFY(words(time, extra, hitWord).empty());
    QVERIFY(words(uint64_t(0x7) << 60, extra, hitWord).find("word 0: unknown word type 7")
        != std::string::npos);
    QVERIFY(words(time | (uint64_t(1) << 50), extra, hitWord).find("reserved bits")
        != std::string::npos);
    QVERIFY(words(time, extra | (uint64_t(1) << 40), hitWord).find("reserved bits")
        != std::string::npos);
    QVERIFY(words(time, extra, extra).find("not followed by its hit") != std::string::npos);
    QVERIFY(words(extra, time, hitWord).find("not followed by its hit") != std::string::npos);
    QVERIFY(words(time, hitWord, extra).find("extra word without its hit") != std::string::npos);
    QVERIFY(words(time, hitWord, hitWord).find("more hits than") != std::string::npos);
    QVERIFY(words(time, time, time).find("0 hits in the words") != std::string::npos);
    // A hit word whose pixel lies outside the chip.
    const uint64_t farX = (hitWord & ~(uint64_t(0xFFFF) << 44)) | (uint64_t(300) << 44);
    QVERIFY(words(time, extra, farX).find("outside the chip") != std::string::npos);
    // Reserved header field.
    std::string reserved = good;
    reserved[20] = 1;
    QVERIFY(refusal(sim::Tpx3HitRaw, resealed(sim::Tpx3HitRaw, reserved)).find("reserved")
        != std::string::npos);
}

void TestTpx3HitFiles::unsortedProcessedFile()
{
    const std::string good = encoded(sim::Tpx3HitSorted, {hit(10, 1, 1, 1), hit(20, 2, 2, 2)});
    QVERIFY(!refused(sim::Tpx3HitSorted, good));
    // The second record's offset made smaller than the first one's (chunk CRC redone).
    auto withChunk = [&](size_t at, uint32_t value) {
        std::string bytes = good;
        std::string v;
        sim::putLe32(&v, value);
        bytes.replace(at, 4, v);
        std::string crc;
        sim::putLe32(&crc, sim::crc32Of(bytes.data() + 44, bytes.size() - 48));
        bytes.replace(bytes.size() - 4, 4, crc);
        return refusal(sim::Tpx3HitSorted, bytes);
    };
    const size_t records = 44 + 16;
    QVERIFY(withChunk(records, 0).empty());
    QVERIFY(withChunk(records + 12, 0).empty()); // equal times are in order
    QVERIFY(withChunk(records, 5).find("out of range") != std::string::npos);
    QVERIFY(withChunk(records + 12, 0xFFFFFFFFu).empty());
    QVERIFY(withChunk(44, 0x4B4E4843u + 1).find("no chunk marker") != std::string::npos);
    QVERIFY(withChunk(48, 0).find("0 hits") != std::string::npos);
    QVERIFY(withChunk(48, 3).find("more hits than") != std::string::npos);
    // ToA base near the end of time: base + offset would overflow.
    std::string late = withLe64(good, 52, kMaxToa - 4);
    std::string crc;
    sim::putLe32(&crc, sim::crc32Of(late.data() + 44, late.size() - 48));
    late.replace(late.size() - 4, 4, crc);
    QVERIFY(refusal(sim::Tpx3HitSorted, late).find("out of range") != std::string::npos);
    // Bytes after the last chunk.
    QVERIFY(
        refusal(sim::Tpx3HitSorted, good + "x").find("after the last chunk") != std::string::npos);
    // Two chunks whose times go back: each in order, the second starts earlier.
    std::vector<ov::Tpx3Hit> spread {hit(0, 0, 0, 0), hit(uint64_t(1) << 33, 0, 0, 0)};
    std::string twoChunks = encoded(sim::Tpx3HitSorted, spread);
    QCOMPARE(sim::getLe64(twoChunks.data() + 32), uint64_t(2));
    twoChunks = withLe64(twoChunks, 44 + 32 + 8, 0); // second chunk's base ToA
    twoChunks = withLe64(twoChunks, 52, 1);          // first chunk's base ToA
    for (size_t at : {size_t(44), size_t(44 + 32)}) {
        std::string c;
        sim::putLe32(&c, sim::crc32Of(twoChunks.data() + at, 28));
        twoChunks.replace(at + 28, 4, c);
    }
    QVERIFY(refusal(sim::Tpx3HitSorted, twoChunks).find("earlier than the one before")
        != std::string::npos);
}

void TestTpx3HitFiles::writeRefusesBadLists()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const std::string path = dir.filePath(QStringLiteral("bad.t3p")).toStdString();
    const std::vector<ov::Tpx3Hit> hits {hit(1, 0, 0, 0), hit(2, 256, 0, 0)};
    std::string error;
    QCOMPARE(sim::writeTpx3Hits(path, sim::Tpx3HitList, hits.data(), 2, 256, 256, &error), -1);
    QVERIFY2(error.find(path + ": hit 1 at pixel (256, 0) lies outside") == 0, error.c_str());
    QVERIFY(!fs::exists(path));
    QCOMPARE(sim::writeTpx3Hits(path, sim::Tpx3HitList, hits.data(), 1, 0, 256, &error), -1);
    QVERIFY2(error.find("chip size 0 x 256") != std::string::npos, error.c_str());
    QCOMPARE(sim::writeTpx3Hits(path, sim::Tpx3HitList, hits.data(), 1, 256, 65537, &error), -1);
    QCOMPARE(sim::writeTpx3Hits(path, 4, hits.data(), 1, 256, 256, &error), -1);
    QVERIFY2(error.find("unknown Timepix3 hit format 4") != std::string::npos, error.c_str());
    QCOMPARE(sim::writeTpx3Hits(path, sim::Tpx3HitList, nullptr, 1, 256, 256, &error), -1);
    QVERIFY(!fs::exists(path));
    // A directory is not a file to write.
    QCOMPARE(sim::writeTpx3Hits(
                 dir.path().toStdString(), sim::Tpx3HitList, hits.data(), 1, 256, 256, &error),
        -1);
}

void TestTpx3HitFiles::readErrorsNameTheFile()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    std::vector<ov::Tpx3Hit> hits;
    unsigned w = 0;
    unsigned h = 0;
    std::string error;
    const std::string missing = dir.filePath(QStringLiteral("missing.t3r")).toStdString();
    QCOMPARE(sim::readTpx3Hits(missing, sim::Tpx3HitRaw, &hits, &w, &h, &error), -1);
    QVERIFY2(error.find(missing) == 0, error.c_str());
    QCOMPARE(
        sim::readTpx3Hits(dir.path().toStdString(), sim::Tpx3HitRaw, &hits, &w, &h, &error), -1);
    QVERIFY2(error.find("directory") != std::string::npos, error.c_str());

    // A damaged file: the message names the file, the format and what is wrong.
    const std::string path = dir.filePath(QStringLiteral("cut.t3p")).toStdString();
    const std::vector<ov::Tpx3Hit> some = randomHits(10, 8, 8, 0, 100, 3);
    QCOMPARE(sim::writeTpx3Hits(path, sim::Tpx3HitList, some.data(), some.size(), 8, 8, &error), 0);
    fs::resize_file(path, fs::file_size(path) - 20);
    QCOMPARE(sim::readTpx3Hits(path, sim::Tpx3HitList, &hits, &w, &h, &error), -1);
    QVERIFY2(error.find(path + ": t3p hit file: the header counts 10 hits") == 0, error.c_str());
    QVERIFY(hits.empty());
}

void TestTpx3HitFiles::formatFromName()
{
    struct Case
    {
        const char* name;
        int format; // -1: not a hit file
    };
    const Case cases[] = {
        {"run.t3p", sim::Tpx3HitList},
        {"run.t3pa", sim::Tpx3HitText},
        {"/data/run_001.t3r", sim::Tpx3HitRaw},
        {"run.prd", sim::Tpx3HitSorted},
        {"runt3pa", sim::Tpx3HitText}, // no dot demanded
        {"t3p", sim::Tpx3HitList},
        {"run.T3P", -1},
        {"run.T3pa", -1},
        {"run.t3R", -1},
        {"run.PRD", -1},
        {"run.t3p.txt", -1},
        {"run.t3", -1},
        {"run.t3pb", -1},
        {"", -1},
    };
    for (const Case& c : cases) {
        sim::Tpx3HitFormat format = sim::Tpx3HitSorted;
        const bool found = sim::tpx3HitFormatFromName(c.name, &format);
        QVERIFY2(found == (c.format >= 0), c.name);
        if (found)
            QVERIFY2(format == c.format, c.name);
    }
    QCOMPARE(QString(sim::tpx3HitFormatEnding(sim::Tpx3HitList)), QStringLiteral("t3p"));
    QCOMPARE(QString(sim::tpx3HitFormatEnding(sim::Tpx3HitText)), QStringLiteral("t3pa"));
    QCOMPARE(QString(sim::tpx3HitFormatEnding(sim::Tpx3HitRaw)), QStringLiteral("t3r"));
    QCOMPARE(QString(sim::tpx3HitFormatEnding(sim::Tpx3HitSorted)), QStringLiteral("prd"));
    QVERIFY(sim::tpx3HitFormatEnding(4) == nullptr);
    QVERIFY(sim::tpx3HitFormatEnding(-1) == nullptr);
}

QTEST_GUILESS_MAIN(TestTpx3HitFiles)
#include "tst_tpx3hitfiles.moc"
