// Text matrices: exact output of every element type in decimal and
// hexadecimal, reading back, and the result codes for bad calls and bad files.
#include "fileops.h"
#include "testfiles.h"

#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdint>
#include <limits>
#include <vector>

namespace {

// Writes `values` as decimal text, checks the exact file text, reads the file
// back as the same type and checks the values.
template <typename T>
void checkDecimal(_DataType type, std::vector<T> values, size_t width, const std::string& text)
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const auto path = tempPath(dir, "m.txt");
    QCOMPARE(writeAsciiMatrix(path, type, values.data(), values.size(), width, false), 0);
    QCOMPARE(readTextFile(path), text);
    std::vector<T> back(values.size(), T(42));
    QCOMPARE(readAsciiMatrix(path, type, back.size(), back.data()), 0);
    QVERIFY(back == values);
}

template <typename T>
void checkHex(_DataType type, std::vector<T> values, size_t width, const std::string& text)
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const auto path = tempPath(dir, "h.txt");
    QCOMPARE(writeAsciiMatrixHex(path, type, values.data(), values.size(), width, false), 0);
    QCOMPARE(readTextFile(path), text);
}

} // namespace

class TestAsciiMatrix : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::filesystem::path path(const char* name) const { return tempPath(m_dir, name); }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    // ---- decimal text of every element type ----
    void decimalUint8() { checkDecimal<uint8_t>(DT_UINT8, {0, 7, 128, 255}, 2, "0 7\n128 255\n"); }
    void decimalInt16()
    {
        checkDecimal<int16_t>(DT_INT16, {-32768, -1, 0, 32767}, 2, "-32768 -1\n0 32767\n");
    }
    void decimalUint16() { checkDecimal<uint16_t>(DT_UINT16, {0, 65535}, 1, "0\n65535\n"); }
    void decimalInt32()
    {
        checkDecimal<int32_t>(DT_INT32,
            {std::numeric_limits<int32_t>::min(), -5, std::numeric_limits<int32_t>::max()}, 3,
            "-2147483648 -5 2147483647\n");
    }
    void decimalUint32()
    {
        checkDecimal<uint32_t>(DT_UINT32, {0, 4294967295u}, 2, "0 4294967295\n");
    }
    void decimalFloat()
    {
        checkDecimal<float>(DT_FLOAT, {1.5f, -0.25f, 3.0f}, 3, "1.500000 -0.250000 3.000000\n");
    }
    void decimalDouble()
    {
        checkDecimal<double>(
            DT_DOUBLE, {0.5, -2.5, 1e6, 0.125}, 2, "0.500000 -2.500000\n1000000.000000 0.125000\n");
    }

    // ---- hexadecimal text; negative values in the element's own width ----
    void hexUint8() { checkHex<uint8_t>(DT_UINT8, {0x0A, 0xFF, 0}, 3, "0A FF 00\n"); }
    void hexInt16()
    {
        checkHex<int16_t>(DT_INT16, {-1, 0x1234, -32768, 5}, 2, "FFFF 1234\n8000 0005\n");
    }
    void hexUint16() { checkHex<uint16_t>(DT_UINT16, {0xBEEF, 1}, 2, "BEEF 0001\n"); }
    void hexInt32()
    {
        checkHex<int32_t>(DT_INT32, {-1, -2, 0x7FFFFFFF, std::numeric_limits<int32_t>::min()}, 2,
            "FFFFFFFF FFFFFFFE\n7FFFFFFF 80000000\n");
    }
    void hexUint32() { checkHex<uint32_t>(DT_UINT32, {0xDEADBEEF, 16}, 1, "DEADBEEF\n00000010\n"); }
    void hexFloatingPointUnsupported()
    {
        float f[2] = {1.0f, 2.0f};
        double d[2] = {1.0, 2.0};
        const auto p = path("hexfloat.txt");
        QVERIFY(writeTextFile(p, "keep"));
        QCOMPARE(writeAsciiMatrixHex(p, DT_FLOAT, f, 2, 2, false), -4);
        QCOMPARE(writeAsciiMatrixHex(p, DT_DOUBLE, d, 2, 2, false), -4);
        QCOMPARE(readTextFile(p), std::string("keep"));
    }

    // ---- layout ----
    void doubleMatrix256x256()
    {
        const size_t count = 65536;
        std::vector<double> values(count);
        for (size_t i = 0; i < count; ++i)
            values[i] = static_cast<double>(i) * 0.375 - 1000.0;
        const auto p = path("cal_a.txt");
        QCOMPARE(writeAsciiMatrix(p, DT_DOUBLE, values.data(), count, 256, false), 0);

        const QString text = QString::fromStdString(readTextFile(p));
        QVERIFY(text.endsWith('\n'));
        QStringList lines = text.split('\n');
        QCOMPARE(lines.takeLast(), QString()); // after the final line feed
        QCOMPARE(lines.size(), 256);
        const QRegularExpression fixedSix("^-?\\d+\\.\\d{6}$");
        for (int row = 0; row < lines.size(); ++row) {
            const QString& line = lines[row];
            QVERIFY2(!line.endsWith(' '), qPrintable(QString("row %1").arg(row)));
            const QStringList numbers = line.split(' ');
            QCOMPARE(numbers.size(), 256);
            for (int col = 0; col < numbers.size(); ++col) {
                QVERIFY(fixedSix.match(numbers[col]).hasMatch());
                const double value = values[static_cast<size_t>(row * 256 + col)];
                QCOMPARE(numbers[col], QString::number(value, 'f', 6));
            }
        }
        QCOMPARE(lines[0].section(' ', 0, 1), QString("-1000.000000 -999.625000"));
    }
    void lastRowShorterThanWidth()
    {
        int32_t v[5] = {1, 2, 3, 4, 5};
        const auto p = path("short.txt");
        QCOMPARE(writeAsciiMatrix(p, DT_INT32, v, 5, 2, false), 0);
        QCOMPARE(readTextFile(p), std::string("1 2\n3 4\n5 "));
    }
    void zeroWidthWritesOneRow()
    {
        int32_t v[3] = {1, 2, 3};
        const auto p = path("w0.txt");
        QCOMPARE(writeAsciiMatrix(p, DT_INT32, v, 3, 0, false), 0);
        QCOMPARE(readTextFile(p), std::string("1 2 3\n"));
        QCOMPARE(writeAsciiMatrixHex(p, DT_INT32, v, 3, 0, false), 0);
        QCOMPARE(readTextFile(p), std::string("00000001 00000002 00000003\n"));
    }
    void appendAndOverwrite()
    {
        uint16_t a[2] = {1, 2};
        uint16_t b[2] = {3, 4};
        const auto p = path("append.txt");
        QVERIFY(writeTextFile(p, "old text that is longer\n"));
        QCOMPARE(writeAsciiMatrix(p, DT_UINT16, a, 2, 2, false), 0);
        QCOMPARE(readTextFile(p), std::string("1 2\n"));
        QCOMPARE(writeAsciiMatrix(p, DT_UINT16, b, 2, 2, true), 0);
        QCOMPARE(readTextFile(p), std::string("1 2\n3 4\n"));
        QCOMPARE(writeAsciiMatrixHex(p, DT_UINT16, b, 2, 1, true), 0);
        QCOMPARE(readTextFile(p), std::string("1 2\n3 4\n0003\n0004\n"));
        const auto fresh = path("append-new.txt");
        QCOMPARE(writeAsciiMatrix(fresh, DT_UINT16, a, 2, 2, true), 0);
        QCOMPARE(readTextFile(fresh), std::string("1 2\n"));
    }
    void writeNothing()
    {
        const auto p = path("empty-write.txt");
        QVERIFY(writeTextFile(p, "x"));
        QCOMPARE(writeAsciiMatrix(p, DT_DOUBLE, nullptr, 0, 4, false), 0);
        QCOMPARE(readTextFile(p), std::string());
    }

    // ---- reading ----
    void readIgnoresLineStructure()
    {
        const auto p = path("ws.txt");
        QVERIFY(writeTextFile(p, "  1\t2\n\n\n3    -4\r\n5"));
        int32_t v[5] = {};
        QCOMPARE(readAsciiMatrix(p, DT_INT32, 5, v), 0);
        QCOMPARE(v[0], 1);
        QCOMPARE(v[1], 2);
        QCOMPARE(v[2], 3);
        QCOMPARE(v[3], -4);
        QCOMPARE(v[4], 5);
    }
    void readFewerNumbersThanCount()
    {
        // 65535 numbers for 65536 elements: -2, and what was read stays.
        std::vector<uint32_t> values(65535);
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<uint32_t>(i * 7 + 1);
        const auto p = path("n65535.txt");
        QCOMPARE(writeAsciiMatrix(p, DT_UINT32, values.data(), values.size(), 256, false), 0);
        std::vector<uint32_t> back(65536, 0xFFFFFFFFu);
        QCOMPARE(readAsciiMatrix(p, DT_UINT32, 65536, back.data()), -2);
        QVERIFY(std::equal(values.begin(), values.end(), back.begin()));
        QCOMPARE(back[65535], 0xFFFFFFFFu);
    }
    void readMoreNumbersThanCount()
    {
        std::vector<double> values(65537);
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<double>(i) / 4.0;
        const auto p = path("n65537.txt");
        QCOMPARE(writeAsciiMatrix(p, DT_DOUBLE, values.data(), values.size(), 256, false), 0);
        std::vector<double> back(65537, -1.0);
        QCOMPARE(readAsciiMatrix(p, DT_DOUBLE, 65536, back.data()), 0);
        QVERIFY(std::equal(values.begin(), values.begin() + 65536, back.begin()));
        QCOMPARE(back[65536], -1.0); // not asked for, not touched
    }
    void readTextWhereNumbersExpected()
    {
        const auto p = path("text.txt");
        QVERIFY(writeTextFile(p, "1 2 abc 4\n"));
        int16_t v[4] = {9, 9, 9, 9};
        QCOMPARE(readAsciiMatrix(p, DT_INT16, 4, v), -2);
        QCOMPARE(v[0], int16_t(1));
        QCOMPARE(v[1], int16_t(2));
        QCOMPARE(v[2], int16_t(9));
        QCOMPARE(v[3], int16_t(9));
        QVERIFY(writeTextFile(p, "\xff\xfe\x00garbage"));
        double d[1] = {};
        QCOMPARE(readAsciiMatrix(p, DT_DOUBLE, 1, d), -2);
    }
    void readEmptyFile()
    {
        const auto p = path("empty.txt");
        QVERIFY(writeTextFile(p, ""));
        uint8_t v[1] = {};
        QCOMPARE(readAsciiMatrix(p, DT_UINT8, 1, v), -2);
        QCOMPARE(readAsciiMatrix(p, DT_UINT8, 0, v), 0);
    }
    void readMissingFileOrDirectory()
    {
        float v[1] = {};
        QCOMPARE(readAsciiMatrix(path("missing.txt"), DT_FLOAT, 1, v), -1);
        QCOMPARE(readAsciiMatrix(path("missing.txt"), DT_FLOAT, 0, v), -1);
        QCOMPARE(readAsciiMatrix(tempPath(m_dir, ""), DT_FLOAT, 1, v), -1);
        QCOMPARE(readAsciiMatrix(std::filesystem::path(), DT_FLOAT, 1, v), -1);
    }
    void readNullData()
    {
        const auto p = path("one.txt");
        QVERIFY(writeTextFile(p, "1\n"));
        QCOMPARE(readAsciiMatrix(p, DT_INT32, 1, nullptr), -5);
        QCOMPARE(readAsciiMatrix(p, DT_INT32, 0, nullptr), 0);
    }

    // ---- unsupported element codes ----
    void unsupportedType_data()
    {
        QTest::addColumn<int>("code");
        for (int code : {0, 6, 7, 10, -1, 255})
            QTest::addRow("type %d", code) << code;
    }
    void unsupportedType()
    {
        QFETCH(int, code);
        const auto type = static_cast<_DataType>(code);
        double buffer[4] = {};
        const auto numbers = path("numbers.txt");
        QVERIFY(writeTextFile(numbers, "1 2 3 4\n"));
        const auto empty = path("nothing.txt");
        QVERIFY(writeTextFile(empty, ""));
        const auto words = path("words.txt");
        QVERIFY(writeTextFile(words, "no numbers here"));
        for (const auto& p : {numbers, empty, words})
            QCOMPARE(readAsciiMatrix(p, type, 4, buffer), -4);
        // A missing file is reported before the type.
        QCOMPARE(readAsciiMatrix(path("absent.txt"), type, 4, buffer), -1);
        // Writers refuse before touching the file.
        QCOMPARE(writeAsciiMatrix(numbers, type, buffer, 4, 2, false), -4);
        QCOMPARE(writeAsciiMatrixHex(numbers, type, buffer, 4, 2, false), -4);
        QCOMPARE(readTextFile(numbers), std::string("1 2 3 4\n"));
    }

    // ---- write failures ----
    void writeOpenFailure()
    {
        int32_t v[1] = {1};
        QCOMPARE(writeAsciiMatrix(path("no/such/dir/m.txt"), DT_INT32, v, 1, 1, false), -1);
        QCOMPARE(writeAsciiMatrix(tempPath(m_dir, ""), DT_INT32, v, 1, 1, false), -1);
        QCOMPARE(writeAsciiMatrixHex(path("no/such/dir/m.txt"), DT_INT32, v, 1, 1, true), -1);
    }
    void writeNullData()
    {
        const auto p = path("keep.txt");
        QVERIFY(writeTextFile(p, "keep"));
        QCOMPARE(writeAsciiMatrix(p, DT_INT32, nullptr, 3, 1, false), -5);
        QCOMPARE(writeAsciiMatrixHex(p, DT_INT32, nullptr, 3, 1, false), -5);
        QCOMPARE(readTextFile(p), std::string("keep"));
    }
    void writeToFullDevice()
    {
        if (!std::filesystem::exists("/dev/full"))
            QSKIP("this system has no /dev/full");
        std::vector<double> v(100, 1.0);
        QCOMPARE(writeAsciiMatrix("/dev/full", DT_DOUBLE, v.data(), v.size(), 10, false), -3);
        QCOMPARE(writeAsciiMatrixHex("/dev/full", DT_UINT8, v.data(), 8, 4, false), -3);
    }
};

QTEST_GUILESS_MAIN(TestAsciiMatrix)
#include "tst_asciimatrix.moc"
