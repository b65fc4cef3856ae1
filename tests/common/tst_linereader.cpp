// The own line reader.
#include "fileops.h"

#include <QtTest>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// A stream over `text` in a temporary file.
FILE* streamOf(const std::string& text)
{
    FILE* f = std::tmpfile();
    if (!f)
        return nullptr;
    std::fwrite(text.data(), 1, text.size(), f);
    std::rewind(f);
    return f;
}

} // namespace

class TestLineReader : public QObject
{
    Q_OBJECT

private slots:
    void readsLinesWithFeeds()
    {
        FILE* f = streamOf("first\n\nthird line\nlast");
        QVERIFY(f);
        char* line = nullptr;
        size_t capacity = 0;
        QCOMPARE(getline(f, &line, &capacity), 6L);
        QCOMPARE(std::string(line), std::string("first\n"));
        QVERIFY(capacity >= 7);
        QCOMPARE(getline(f, &line, &capacity), 1L);
        QCOMPARE(std::string(line), std::string("\n"));
        QCOMPARE(getline(f, &line, &capacity), 11L);
        QCOMPARE(std::string(line), std::string("third line\n"));
        QCOMPARE(getline(f, &line, &capacity), 4L);
        QCOMPARE(std::string(line), std::string("last"));
        QCOMPARE(getline(f, &line, &capacity), -1L);
        QCOMPARE(getline(f, &line, &capacity), -1L);
        std::free(line);
        std::fclose(f);
    }
    void growsCallersBuffer()
    {
        const std::string longLine(100000, 'x');
        FILE* f = streamOf(longLine + "\nshort\n");
        QVERIFY(f);
        size_t capacity = 4;
        char* line = static_cast<char*>(std::malloc(capacity));
        QCOMPARE(getline(f, &line, &capacity), 100001L);
        QVERIFY(capacity > 100001);
        QCOMPARE(std::string(line, 100000), longLine);
        QCOMPARE(getline(f, &line, &capacity), 6L);
        QCOMPARE(std::string(line), std::string("short\n"));
        std::free(line);
        std::fclose(f);
    }
    void keepsZeroBytes()
    {
        FILE* f = streamOf(std::string("a\0b\n", 4));
        QVERIFY(f);
        char* line = nullptr;
        size_t capacity = 0;
        QCOMPARE(getline(f, &line, &capacity), 4L);
        QCOMPARE(std::string(line, 4), std::string("a\0b\n", 4));
        std::free(line);
        std::fclose(f);
    }
    void emptyStream()
    {
        FILE* f = streamOf("");
        QVERIFY(f);
        char* line = nullptr;
        size_t capacity = 0;
        QCOMPARE(getline(f, &line, &capacity), -1L);
        std::free(line);
        std::fclose(f);
    }
    void nullArguments()
    {
        FILE* f = streamOf("x\n");
        QVERIFY(f);
        char* line = nullptr;
        size_t capacity = 0;
        QCOMPARE(getline(nullptr, &line, &capacity), -1L);
        QCOMPARE(getline(f, nullptr, &capacity), -1L);
        QCOMPARE(getline(f, &line, nullptr), -1L);
        QVERIFY(line == nullptr);
        std::fclose(f);
    }
};

QTEST_GUILESS_MAIN(TestLineReader)
#include "tst_linereader.moc"
