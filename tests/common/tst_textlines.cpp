// Matrix dimensions and line counts of text files, including files far larger
// than any real calibration file.
#include "fileops.h"
#include "testfiles.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdint>
#include <vector>

class TestTextLines : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::filesystem::path path(const char* name) const { return tempPath(m_dir, name); }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void dimensions_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::newRow("plain") << QByteArray("1 2 3\n4 5 6\n") << 3 << 2;
        QTest::newRow("leading empty lines")
            << QByteArray("\n\n  \n\t\n1.5 2.5 3.5 4.5\n5 6 7 8\n") << 4 << 2;
        QTest::newRow("empty lines between and after") << QByteArray("1 2\n\n3 4\n\n\n") << 2 << 2;
        QTest::newRow("no final line feed") << QByteArray("1 2 3") << 3 << 1;
        QTest::newRow("crlf") << QByteArray("1 2\r\n3 4\r\n\r\n") << 2 << 2;
        QTest::newRow("later rows not checked") << QByteArray("1 2\n3 4 5 6\n7\n") << 2 << 3;
        QTest::newRow("text rows") << QByteArray("abc def\n1 2\n") << 0 << 2;
        QTest::newRow("stops at first non-number") << QByteArray("1 2 x 3\n") << 2 << 1;
        QTest::newRow("numbers without blanks") << QByteArray("1.5-2 +3e2\n") << 3 << 1;
        QTest::newRow("special values") << QByteArray("nan inf -inf 0x10\n") << 4 << 1;
        QTest::newRow("empty file") << QByteArray() << 0 << 0;
        QTest::newRow("only blank lines") << QByteArray("\n \n\r\n") << 0 << 0;
    }
    void dimensions()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, width);
        QFETCH(int, height);
        const auto p = path("dims.txt");
        QVERIFY(writeTextFile(p, text.toStdString()));
        size_t w = 99;
        size_t h = 99;
        QCOMPARE(getAsciiMatrixDimensions(p, &w, &h), 0);
        QCOMPARE(w, size_t(width));
        QCOMPARE(h, size_t(height));
    }
    void dimensionsOfWrittenMatrix()
    {
        std::vector<int16_t> v(6 * 9, -3);
        const auto p = path("written.txt");
        QCOMPARE(writeAsciiMatrix(p, DT_INT16, v.data(), v.size(), 9, false), 0);
        size_t w = 0;
        size_t h = 0;
        QCOMPARE(getAsciiMatrixDimensions(p, &w, &h), 0);
        QCOMPARE(w, size_t(9));
        QCOMPARE(h, size_t(6));
    }
    void dimensionsNullOutputs()
    {
        const auto p = path("d.txt");
        QVERIFY(writeTextFile(p, "1 2\n"));
        size_t value = 5;
        QCOMPARE(getAsciiMatrixDimensions(p, nullptr, &value), -5);
        QCOMPARE(getAsciiMatrixDimensions(p, &value, nullptr), -5);
        QCOMPARE(getAsciiMatrixDimensions(p, nullptr, nullptr), -5);
        QCOMPARE(getAsciiMatrixDimensions(path("missing"), nullptr, nullptr), -5);
    }
    void dimensionsUnopenable()
    {
        size_t w = 7;
        size_t h = 7;
        QCOMPARE(getAsciiMatrixDimensions(path("missing.txt"), &w, &h), -1);
        QCOMPARE(w, size_t(0));
        QCOMPARE(h, size_t(0));
        w = h = 7;
        QCOMPARE(getAsciiMatrixDimensions(tempPath(m_dir, ""), &w, &h), -1);
        QCOMPARE(w, size_t(0));
        QCOMPARE(h, size_t(0));
    }

    void lineCount_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("all");
        QTest::addColumn<int>("nonEmpty");
        QTest::newRow("empty") << QByteArray() << 0 << 0;
        QTest::newRow("one without feed") << QByteArray("abc") << 1 << 1;
        QTest::newRow("one with feed") << QByteArray("abc\n") << 1 << 1;
        QTest::newRow("mixed") << QByteArray("a\n\nb\n  \nc") << 5 << 3;
        QTest::newRow("only feeds") << QByteArray("\n\n\n") << 3 << 0;
        QTest::newRow("crlf") << QByteArray("1\r\n\r\n2\r\n") << 3 << 2;
    }
    void lineCount()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, all);
        QFETCH(int, nonEmpty);
        const auto p = path("lines.txt");
        QVERIFY(writeTextFile(p, text.toStdString()));
        QCOMPARE(getNumberOfLinesInFile(p, false), all);
        QCOMPARE(getNumberOfLinesInFile(p, true), nonEmpty);
    }
    void lineCountUnopenable()
    {
        QCOMPARE(getNumberOfLinesInFile(path("missing.txt"), false), -1);
        QCOMPARE(getNumberOfLinesInFile(tempPath(m_dir, ""), true), -1);
    }

    // About 40 MB of text: write, measure and read back in full.
    void hugeMatrix()
    {
        const size_t width = 1024;
        const size_t height = 4096;
        std::vector<uint32_t> values(width * height);
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<uint32_t>(i * 2654435761u);
        const auto p = path("huge.txt");
        QCOMPARE(writeAsciiMatrix(p, DT_UINT32, values.data(), values.size(), width, false), 0);
        QVERIFY(std::filesystem::file_size(p) > 30u * 1024 * 1024);

        size_t w = 0;
        size_t h = 0;
        QCOMPARE(getAsciiMatrixDimensions(p, &w, &h), 0);
        QCOMPARE(w, width);
        QCOMPARE(h, height);
        QCOMPARE(getNumberOfLinesInFile(p, false), int(height));

        std::vector<uint32_t> back(values.size() + 1, 0);
        QCOMPARE(readAsciiMatrix(p, DT_UINT32, values.size(), back.data()), 0);
        QVERIFY(std::equal(values.begin(), values.end(), back.begin()));
        QCOMPARE(readAsciiMatrix(p, DT_UINT32, back.size(), back.data()), -2);
    }

    // Millions of numbers on a single line must be counted in linear time.
    void hugeSingleLine()
    {
        const size_t blankSeparated = 3'000'000;
        const size_t runTogether = 1'000'000;
        std::string spaced;
        spaced.reserve(blankSeparated * 2);
        for (size_t i = 0; i < blankSeparated; ++i)
            spaced += "7 ";
        std::string packed = "1";
        packed.reserve(runTogether * 2);
        for (size_t i = 1; i < runTogether; ++i)
            packed += "-1";

        QElapsedTimer timer;
        timer.start();
        size_t w = 0;
        size_t h = 0;
        const auto p = path("oneline.txt");
        QVERIFY(writeTextFile(p, spaced));
        QCOMPARE(getAsciiMatrixDimensions(p, &w, &h), 0);
        QCOMPARE(w, blankSeparated);
        QCOMPARE(h, size_t(1));
        QVERIFY(writeTextFile(p, packed + "\n\n2 2\n"));
        QCOMPARE(getAsciiMatrixDimensions(p, &w, &h), 0);
        QCOMPARE(w, runTogether);
        QCOMPARE(h, size_t(2));
        // A quadratic scan would need hours here; linear takes well under a second.
        QVERIFY2(timer.elapsed() < 60000, "counting numbers on one line is too slow");
    }

    // One number of a thousand digits, and long runs of white space.
    void longTokens()
    {
        const auto p = path("long.txt");
        QVERIFY(writeTextFile(p, std::string(5000, ' ') + std::string(1000, '9') + " 1\n"));
        size_t w = 0;
        size_t h = 0;
        QCOMPARE(getAsciiMatrixDimensions(p, &w, &h), 0);
        QCOMPARE(w, size_t(2));
        QCOMPARE(h, size_t(1));
        QVERIFY(writeTextFile(p, std::string(3000, '0') + "x 1\n"));
        QCOMPARE(getAsciiMatrixDimensions(p, &w, &h), 0);
        QCOMPARE(w, size_t(1));
        double d[2] = {};
        QVERIFY(writeTextFile(p, "0." + std::string(4000, '5') + " 2\n"));
        QCOMPARE(readAsciiMatrix(p, DT_DOUBLE, 2, d), 0);
        QCOMPARE(d[1], 2.0);
        QVERIFY(d[0] > 0.55 && d[0] < 0.56);
    }
};

QTEST_GUILESS_MAIN(TestTextLines)
#include "tst_textlines.moc"
