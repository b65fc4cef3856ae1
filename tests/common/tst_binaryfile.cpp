// Raw byte files and file comparison.
#include "fileops.h"
#include "testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

#include <random>
#include <vector>

namespace {

std::vector<unsigned char> randomBytes(size_t size, unsigned seed)
{
    std::mt19937 gen(seed);
    std::vector<unsigned char> bytes(size);
    for (auto& b : bytes)
        b = static_cast<unsigned char>(gen());
    return bytes;
}

} // namespace

class TestBinaryFile : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::filesystem::path path(const char* name) const { return tempPath(m_dir, name); }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void writeThenRead()
    {
        auto bytes = randomBytes(5000, 1);
        bytes[10] = 0; // zero and line feed bytes are data like any other
        bytes[11] = '\n';
        const auto p = path("b.bin");
        QCOMPARE(writeBinary(p, bytes.data(), bytes.size(), false), 0);
        QCOMPARE(std::filesystem::file_size(p), uintmax_t(5000));
        std::vector<unsigned char> back(bytes.size());
        QCOMPARE(readBinary(p, back.data(), back.size()), 0);
        QVERIFY(back == bytes);
    }
    void readLessThanAsked()
    {
        const auto bytes = randomBytes(100, 2);
        const auto p = path("short.bin");
        QCOMPARE(writeBinary(p, const_cast<unsigned char*>(bytes.data()), bytes.size(), false), 0);
        std::vector<unsigned char> back(101, 0xAA);
        QCOMPARE(readBinary(p, back.data(), 101), -2);
        QVERIFY(std::equal(bytes.begin(), bytes.end(), back.begin()));
        QCOMPARE(readBinary(p, back.data(), 50), 0); // a longer file is fine
    }
    void appendAndOverwrite()
    {
        unsigned char a[3] = {1, 2, 3};
        unsigned char b[2] = {4, 5};
        const auto p = path("append.bin");
        QCOMPARE(writeBinary(p, a, 3, false), 0);
        QCOMPARE(writeBinary(p, b, 2, true), 0);
        QCOMPARE(readTextFile(p), std::string("\x01\x02\x03\x04\x05"));
        QCOMPARE(writeBinary(p, b, 2, false), 0);
        QCOMPARE(readTextFile(p), std::string("\x04\x05"));
        QCOMPARE(writeBinary(path("append-new.bin"), a, 3, true), 0);
        QCOMPARE(readTextFile(path("append-new.bin")), std::string("\x01\x02\x03"));
    }
    void emptyFiles()
    {
        const auto p = path("empty.bin");
        QCOMPARE(writeBinary(p, nullptr, 0, false), 0);
        QVERIFY(std::filesystem::exists(p));
        QCOMPARE(std::filesystem::file_size(p), uintmax_t(0));
        unsigned char c = 7;
        QCOMPARE(readBinary(p, &c, 0), 0);
        QCOMPARE(readBinary(p, &c, 1), -2);
        QCOMPARE(c, static_cast<unsigned char>(7));
    }
    void openFailures()
    {
        unsigned char c[4] = {};
        QCOMPARE(readBinary(path("missing.bin"), c, 4), -1);
        QCOMPARE(readBinary(tempPath(m_dir, ""), c, 4), -1);
        QCOMPARE(writeBinary(path("no/such/dir/x.bin"), c, 4, false), -1);
        QCOMPARE(writeBinary(tempPath(m_dir, ""), c, 4, true), -1);
    }
    void nullData()
    {
        const auto p = path("keep.bin");
        QVERIFY(writeTextFile(p, "keep"));
        QCOMPARE(writeBinary(p, nullptr, 4, false), -5);
        QCOMPARE(readTextFile(p), std::string("keep"));
        QCOMPARE(readBinary(p, nullptr, 4), -5);
    }
    void writeToFullDevice()
    {
        if (!std::filesystem::exists("/dev/full"))
            QSKIP("this system has no /dev/full");
        auto bytes = randomBytes(64, 3);
        QCOMPARE(writeBinary("/dev/full", bytes.data(), bytes.size(), false), -3);
    }

    // ---- comparison ----
    void equalFiles_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("bufferSize");
        QTest::newRow("empty") << 0 << 0;
        QTest::newRow("smaller than a block") << 10 << 0;
        QTest::newRow("exactly one block") << 1024 << 1;
        QTest::newRow("several blocks") << 10000 << 4096;
        QTest::newRow("odd block size") << 10000 << 1500;
    }
    void equalFiles()
    {
        QFETCH(int, size);
        QFETCH(int, bufferSize);
        auto bytes = randomBytes(static_cast<size_t>(size), 4);
        const auto a = path("eq-a.bin");
        const auto b = path("eq-b.bin");
        QCOMPARE(writeBinary(a, bytes.data(), bytes.size(), false), 0);
        QCOMPARE(writeBinary(b, bytes.data(), bytes.size(), false), 0);
        QVERIFY(isFilesEqual(a, b, static_cast<size_t>(bufferSize)));
        QVERIFY(isFilesEqual(a, a, static_cast<size_t>(bufferSize)));
        if (size == 0)
            return;
        // One changed byte, at the start, in the middle and at the end.
        for (size_t at : {size_t(0), bytes.size() / 2, bytes.size() - 1}) {
            auto changed = bytes;
            changed[at] ^= 0x01;
            QCOMPARE(writeBinary(b, changed.data(), changed.size(), false), 0);
            QVERIFY(!isFilesEqual(a, b, static_cast<size_t>(bufferSize)));
        }
    }
    void differentSizes()
    {
        auto bytes = randomBytes(2000, 5);
        const auto a = path("size-a.bin");
        const auto b = path("size-b.bin");
        QCOMPARE(writeBinary(a, bytes.data(), 2000, false), 0);
        QCOMPARE(writeBinary(b, bytes.data(), 1999, false), 0);
        QVERIFY(!isFilesEqual(a, b, 0));
        QVERIFY(!isFilesEqual(b, a, 0));
    }
    void unopenableNotEqual()
    {
        const auto a = path("exists.bin");
        QVERIFY(writeTextFile(a, ""));
        QVERIFY(!isFilesEqual(a, path("missing.bin"), 1024));
        QVERIFY(!isFilesEqual(path("missing.bin"), path("missing.bin"), 1024));
        QVERIFY(!isFilesEqual(tempPath(m_dir, ""), tempPath(m_dir, ""), 1024));
        QVERIFY(!isFilesEqual(a, tempPath(m_dir, ""), 1024));
    }
    void enormousBufferSize()
    {
        auto bytes = randomBytes(3000, 6);
        const auto a = path("big-buf-a.bin");
        const auto b = path("big-buf-b.bin");
        QCOMPARE(writeBinary(a, bytes.data(), bytes.size(), false), 0);
        QCOMPARE(writeBinary(b, bytes.data(), bytes.size(), false), 0);
        QVERIFY(isFilesEqual(a, b, SIZE_MAX));
        bytes[2999] ^= 0x80;
        QCOMPARE(writeBinary(b, bytes.data(), bytes.size(), false), 0);
        QVERIFY(!isFilesEqual(a, b, SIZE_MAX));
    }

    // 48 MiB files: read in full, compared block by block.
    void hugeFiles()
    {
        const size_t size = size_t(48) << 20;
        auto bytes = randomBytes(size, 7);
        const auto a = path("huge-a.bin");
        const auto b = path("huge-b.bin");
        QCOMPARE(writeBinary(a, bytes.data(), size, false), 0);
        QCOMPARE(writeBinary(b, bytes.data(), size, false), 0);
        std::vector<unsigned char> back(size + 1);
        QCOMPARE(readBinary(a, back.data(), size), 0);
        QVERIFY(std::equal(bytes.begin(), bytes.end(), back.begin()));
        QCOMPARE(readBinary(a, back.data(), size + 1), -2);
        QVERIFY(isFilesEqual(a, b, 1 << 16));
        bytes[size - 1] ^= 0xFF;
        QCOMPARE(writeBinary(b, bytes.data(), size, false), 0);
        QVERIFY(!isFilesEqual(a, b, 1 << 16));
        std::filesystem::remove(a);
        std::filesystem::remove(b);
    }
};

QTEST_GUILESS_MAIN(TestBinaryFile)
#include "tst_binaryfile.moc"
