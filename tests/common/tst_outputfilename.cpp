// Output file names of measurements: index and suffix names, repeat and frame numbers,
// repeat digits and the search for a free repeat index, and the first name of a series.
#include "outputfilename.h"
#include "testfiles.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <filesystem>
#include <map>
#include <string>

namespace fs = std::filesystem;

namespace {

// File types as a host might have them: by extension, and two codes above 1000.
class FakeTypes final : public OutputFileTypes
{
public:
    int multiFrameByName(const std::string& path) const override
    {
        return multiFrameById(typeIdFromName(path));
    }
    int multiFrameById(int code) const override
    {
        switch (code) {
        case 2:
        case 3:
        case 10:
        case 1001:
            return 0;
        case 4:
        case 1002:
            return 1;
        default:
            return -1;
        }
    }
    int typeIdFromName(const std::string& path) const override
    {
        static const std::map<std::string, int> byExt {
            {".txt", 2}, {".bin", 3}, {".mfd", 4}, {".png", 10}, {".one", 1001}, {".all", 1002}};
        const auto it = byExt.find(fs::path(path).extension().string());
        return it == byExt.end() ? -1 : it->second;
    }
};

OutputNamingParams params(const std::string& file, int acqCount, bool repeat = false,
    int repeatCount = 0, unsigned flags = 0, int digits = 0)
{
    OutputNamingParams p;
    p.outputFile = file;
    p.acqCount = acqCount;
    p.repeatEnabled = repeat;
    p.repeatCount = repeatCount;
    p.repeatFileFlags = flags;
    p.repeatFileDigits = digits;
    return p;
}

void touch(const fs::path& path)
{
    QVERIFY(writeTextFile(path, "x"));
}

} // namespace

class TestOutputFileName : public QObject
{
    Q_OBJECT

private slots:
    void indexNames_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("width");
        QTest::addColumn<QString>("prefix"); // "<null>" for a null pointer
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<QString>("expected");
        const QString null = QStringLiteral("<null>");
        QTest::newRow("example dsc") << "/d/a.dsc" << 7 << 3 << "_"
                                     << ""
                                     << "/d/a_007.dsc";
        QTest::newRow("example no extension") << "a" << 12 << 3 << "_r" << null << "a_r012";
        QTest::newRow("two dots") << "a.b.dsc" << 7 << 3 << "_" << null << "a.b_007.dsc";
        QTest::newRow("wider number not cut")
            << "/d/a.txt" << 12345 << 3 << "_" << null << "/d/a_12345.txt";
        QTest::newRow("width 0") << "a.txt" << 7 << 0 << "_" << null << "a_7.txt";
        QTest::newRow("negative index") << "a.txt" << -7 << 3 << "_" << null << "a_0-7.txt";
        QTest::newRow("negative, wide") << "a.txt" << -42 << 5 << "_" << null << "a_00-42.txt";
        QTest::newRow("null prefix and suffix")
            << "/x/y/f.dat" << 3 << 2 << null << null << "/x/y/f03.dat";
        QTest::newRow("suffix before extension") << "/x/f.dat" << 3 << 2 << "_"
                                                 << "_b"
                                                 << "/x/f_03_b.dat";
        QTest::newRow("relative dir") << "out/f.dat" << 1 << 1 << "_" << null << "out/f_1.dat";
        QTest::newRow("hidden file") << "/d/.cfg" << 1 << 2 << "_" << null << "/d/.cfg_01";
    }
    void indexNames()
    {
        QFETCH(QString, path);
        QFETCH(int, index);
        QFETCH(int, width);
        QFETCH(QString, prefix);
        QFETCH(QString, suffix);
        QFETCH(QString, expected);
        const std::string pre = prefix.toStdString();
        const std::string suf = suffix.toStdString();
        const char* p = prefix == "<null>" ? nullptr : pre.c_str();
        const char* s = suffix == "<null>" ? nullptr : suf.c_str();
        const std::string result = getFileNameIdx(fs::path(path.toStdString()), index, width, p, s);
        QCOMPARE(QString::fromStdString(result), expected);

        char buffer[64];
        std::memset(buffer, 'Z', sizeof buffer);
        char* result2 = getFileNameIdx(
            fs::path(path.toStdString()), index, width, p, s, buffer, sizeof buffer);
        QCOMPARE(static_cast<void*>(result2), static_cast<void*>(buffer));
        QCOMPARE(QString::fromLatin1(buffer), expected);
    }

    void bufferLimits()
    {
        char buffer[8];
        std::memset(buffer, 'Z', sizeof buffer);
        // A null buffer or size 0: nothing happens, the pointer comes back.
        QCOMPARE(static_cast<void*>(getFileNameIdx("/d/a.dsc", 7, 3, "_", "", nullptr, 8)),
            static_cast<void*>(nullptr));
        QCOMPARE(static_cast<void*>(getFileNameIdx("/d/a.dsc", 7, 3, "_", "", buffer, 0)),
            static_cast<void*>(buffer));
        QCOMPARE(buffer[0], 'Z');
        // Cut to size - 1 bytes and terminated at the last byte.
        QCOMPARE(static_cast<void*>(getFileNameIdx("/d/a.dsc", 7, 3, "_", "", buffer, 5)),
            static_cast<void*>(buffer));
        QCOMPARE(std::string(buffer), std::string("/d/a"));
        QCOMPARE(buffer[5], 'Z');
        getFileNameIdx("/d/a.dsc", 7, 3, "_", "", buffer, 1);
        QCOMPARE(buffer[0], '\0');
    }

    void longNamesCutAt4095()
    {
        const std::string dir = "/" + std::string(5000, 'd');
        const std::string result = getFileNameIdx(fs::path(dir + "/a.txt"), 1, 3, "_", nullptr);
        QCOMPARE(result.size(), size_t(4095));
        QCOMPARE(result, (dir + "/a_001.txt").substr(0, 4095));
        // Just below the limit nothing is lost.
        const std::string fits = "/" + std::string(4080, 'e') + "/a.txt";
        QCOMPARE(getFileNameIdx(fs::path(fits), 1, 3, "_", nullptr),
            "/" + std::string(4080, 'e') + "/a_001.txt");
    }

    void suffixNames()
    {
        QCOMPARE(
            getFileNameWithSuffix("/d/a.txt", "_Counter 0"), std::string("/d/a_Counter 0.txt"));
        QCOMPARE(getFileNameWithSuffix("/d/a.b.txt", "_x"), std::string("/d/a.b_x.txt"));
        QCOMPARE(getFileNameWithSuffix("a", "_x"), std::string("a_x"));
        QCOMPARE(getFileNameWithSuffix("/d/a.txt", nullptr), std::string("/d/a.txt"));
    }

    void repeatAndFrameNames_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("repeatIndex");
        QTest::addColumn<int>("repeatDigits");
        QTest::addColumn<bool>("subDir");
        QTest::addColumn<int>("acqIndex");
        QTest::addColumn<int>("acqDigits");
        QTest::addColumn<int>("acqCount");
        QTest::addColumn<QString>("expected");
        QTest::newRow("repeat suffix") << "a.dsc" << 3 << 3 << false << 0 << 0 << 1 << "a_r003.dsc";
        QTest::newRow("repeat and frame")
            << "a.dsc" << 3 << 3 << false << 1 << 4 << 2 << "a_r003_0001.dsc";
        QTest::newRow("repeat digits 0: frame only")
            << "a.dsc" << 3 << 0 << false << 1 << 4 << 2 << "a_0001.dsc";
        QTest::newRow("repeat digits 0, one frame: unchanged")
            << "/p/a.dsc" << 3 << 0 << false << 0 << 4 << 1 << "/p/a.dsc";
        QTest::newRow("one frame: no frame number")
            << "a.dsc" << 3 << 3 << false << 0 << 4 << 1 << "a_r003.dsc";
        QTest::newRow("frame digits 0: no frame number")
            << "a.dsc" << 3 << 3 << false << 5 << 0 << 10 << "a_r003.dsc";
        QTest::newRow("sub-directory")
            << "/x/out/a.dsc" << 2 << 3 << true << 0 << 0 << 1 << "/x/out/002/a.dsc";
        QTest::newRow("sub-directory, no parent")
            << "a.dsc" << 2 << 3 << true << 0 << 0 << 1 << "002/a.dsc";
        QTest::newRow("sub-directory, parent with extension")
            << "/x/out.v1/a.dsc" << 2 << 3 << true << 0 << 0 << 1 << "/x/out/002/.v1a.dsc";
        QTest::newRow("sub-directory and frame")
            << "/x/out/a.dsc" << 2 << 3 << true << 7 << 2 << 10 << "/x/out/002/a_07.dsc";
        QTest::newRow("sub-directory, root parent")
            << "/a.dsc" << 2 << 3 << true << 0 << 0 << 1 << "/002/a.dsc";
        QTest::newRow("sub-directory, digits 0: unchanged")
            << "/x/out/a.dsc" << 2 << 0 << true << 0 << 0 << 1 << "/x/out/a.dsc";
        QTest::newRow("no extension stays without one")
            << "/x/a" << 4 << 2 << false << 3 << 1 << 5 << "/x/a_r04_3";
        QTest::newRow("two dots lose only the last")
            << "a.b.dsc" << 7 << 3 << false << 0 << 0 << 1 << "a.b_r007.dsc";
        QTest::newRow("negative frame digits count as digits")
            << "a.dsc" << 0 << 0 << false << 5 << -1 << 2 << "a_5.dsc";
    }
    void repeatAndFrameNames()
    {
        QFETCH(QString, path);
        QFETCH(int, repeatIndex);
        QFETCH(int, repeatDigits);
        QFETCH(bool, subDir);
        QFETCH(int, acqIndex);
        QFETCH(int, acqDigits);
        QFETCH(int, acqCount);
        QFETCH(QString, expected);
        QCOMPARE(QString::fromStdString(getRepeatAcqIndexFileName(fs::path(path.toStdString()),
                     repeatIndex, repeatDigits, subDir, acqIndex, acqDigits, acqCount)),
            expected);
    }

    void digitCounts()
    {
        QCOMPARE(outputIndexDigits(1), 1);
        QCOMPARE(outputIndexDigits(9), 1);
        QCOMPARE(outputIndexDigits(10), 2);
        QCOMPARE(outputIndexDigits(99), 2);
        QCOMPARE(outputIndexDigits(100), 3);
        QCOMPARE(outputIndexDigits(1000), 4);
        QCOMPARE(outputIndexDigits(65535), 5);
        // The count goes through single precision first: 99999999 becomes 1e8.
        QCOMPARE(outputIndexDigits(99999999), 9);
        QCOMPARE(outputIndexDigits(999999999), 10);
        QCOMPARE(outputIndexDigits(0), 1);
        QCOMPARE(outputIndexDigits(-5), 1);
    }

    void repeatDigitsWithoutSearch_data()
    {
        QTest::addColumn<bool>("repeat");
        QTest::addColumn<int>("acqCount");
        QTest::addColumn<int>("repeatCount");
        QTest::addColumn<unsigned>("flags");
        QTest::addColumn<int>("digitsIn");
        QTest::addColumn<int>("digitsOut");
        QTest::newRow("no repeat keeps digits") << false << 10 << 50 << 0u << 0 << 0;
        QTest::newRow("no repeat keeps set digits") << false << 10 << 50 << 0u << 4 << 4;
        QTest::newRow("auto digits of 5") << true << 10 << 5 << 0u << 0 << 1;
        QTest::newRow("auto digits of 150") << true << 10 << 150 << 0u << 0 << 3;
        QTest::newRow("set digits kept") << true << 10 << 150 << 0u << 5 << 5;
        QTest::newRow("one repeat, auto") << true << 10 << 1 << 0u << 0 << 0;
        QTest::newRow("one frame, one repeat keeps digits") << true << 1 << 1 << 0u << 2 << 2;
        QTest::newRow("endless: 1") << true << 10 << 0 << 0u << 0 << 1;
        QTest::newRow("endless overrides set digits") << true << 10 << 0 << 0u << 4 << 1;
        QTest::newRow("same file: 0") << true << 10 << 150 << 4u << 0 << 0;
        QTest::newRow("same file, set digits: 0") << true << 10 << 150 << 4u << 3 << 0;
        QTest::newRow("same file, no repeat: 0") << false << 10 << 150 << 4u << 3 << 0;
        QTest::newRow("same file does not apply to endless") << true << 10 << 0 << 4u << 0 << 1;
        QTest::newRow("negative count keeps digits") << true << 10 << -3 << 0u << 2 << 2;
    }
    void repeatDigitsWithoutSearch()
    {
        QFETCH(bool, repeat);
        QFETCH(int, acqCount);
        QFETCH(int, repeatCount);
        QFETCH(unsigned, flags);
        QFETCH(int, digitsIn);
        QFETCH(int, digitsOut);
        FakeTypes types;
        int digits = digitsIn;
        int first = 9;
        getFirstRepeatParams(
            params("/nonexistent/dir/a.txt", acqCount, repeat, repeatCount, flags, digitsIn),
            &types, digits, first);
        QCOMPARE(digits, digitsOut);
        QCOMPARE(first, 0); // no continued series: the series starts at 0
    }

    void continuedSeriesSkipsExistingNames()
    {
        QTemporaryDir tmp;
        QVERIFY(tmp.isValid());
        const fs::path dir = tmp.path().toStdString();
        const std::string out = (dir / "a.txt").string();
        // Three files a_r000 to a_r002: the first free index is 3, although the series
        // has only 2 repeats.
        for (const char* name : {"a_r000.txt", "a_r001.txt", "a_r002.txt"})
            touch(dir / name);
        FakeTypes types;
        int digits = 3;
        int first = 0;
        getFirstRepeatParams(params(out, 1, true, 2, RepeatFileContinue, 3), &types, digits, first);
        QCOMPARE(first, 3);
        QCOMPARE(digits, 3);

        // Without "continue" the series starts from 0 (overwriting).
        first = 0;
        getFirstRepeatParams(params(out, 1, true, 2, 0, 3), &types, digits, first);
        QCOMPARE(first, 0);

        // The search starts from the index given: 1 is taken, so 3 again.
        first = 1;
        getFirstRepeatParams(params(out, 1, true, 2, RepeatFileContinue, 3), &types, digits, first);
        QCOMPARE(first, 3);

        // A start at or beyond the repeat count is kept as it is.
        first = 5;
        getFirstRepeatParams(params(out, 1, true, 2, RepeatFileContinue, 3), &types, digits, first);
        QCOMPARE(first, 5);

        // A gap: the first free name wins, even with later ones taken.
        touch(dir / "b_r0.txt");
        touch(dir / "b_r2.txt");
        digits = 0;
        first = 0;
        getFirstRepeatParams(params((dir / "b.txt").string(), 1, true, 5, RepeatFileContinue, 0),
            &types, digits, first);
        QCOMPARE(digits, 1);
        QCOMPARE(first, 1);

        // Anything of that name counts as taken, a directory too.
        fs::create_directory(dir / "c_r0.txt");
        digits = 0;
        first = 0;
        getFirstRepeatParams(params((dir / "c.txt").string(), 1, true, 5, RepeatFileContinue, 0),
            &types, digits, first);
        QCOMPARE(first, 1);

        // One repeat: nothing to search.
        digits = 0;
        first = 0;
        getFirstRepeatParams(params(out, 1, true, 1, RepeatFileContinue, 3), &types, digits, first);
        QCOMPARE(first, 0);
    }

    void continuedSeriesUsesFrameNumbersOfTheSearch()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        FakeTypes types;
        // Single-frame type, 10 frames: the search tests the name of frame 0.
        touch(dir / "s_r0_00.txt");
        int digits = 0;
        int first = 0;
        getFirstRepeatParams(params((dir / "s.txt").string(), 10, true, 3, RepeatFileContinue, 0),
            &types, digits, first);
        QCOMPARE(first, 1);
        // "s_r0.txt" alone does not make index 0 taken.
        touch(dir / "t_r0.txt");
        first = 0;
        getFirstRepeatParams(params((dir / "t.txt").string(), 10, true, 3, RepeatFileContinue, 0),
            &types, digits, first);
        QCOMPARE(first, 0);
        // A multi-frame type has no frame numbers.
        touch(dir / "m_r0.mfd");
        touch(dir / "m_r1.mfd");
        first = 0;
        getFirstRepeatParams(params((dir / "m.mfd").string(), 10, true, 3, RepeatFileContinue, 0),
            &types, digits, first);
        QCOMPARE(first, 2);
        // By code instead of by name.
        OutputNamingParams p = params((dir / "m.xyz").string(), 10, true, 3, RepeatFileContinue, 0);
        touch(dir / "m_r0.xyz");
        p.fileType = 4;
        first = 0;
        getFirstRepeatParams(p, &types, digits, first);
        QCOMPARE(first, 1);
    }

    void sameFileSearchesWithRealDigits()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        touch(dir / "a_r000.txt");
        FakeTypes types;
        int digits = 3;
        int first = 0;
        getFirstRepeatParams(params((dir / "a.txt").string(), 1, true, 4,
                                 RepeatFileContinue | RepeatFileSameFile, 3),
            &types, digits, first);
        QCOMPARE(digits, 0);
        QCOMPARE(first, 1);
        // The name then carries no repeat index at all.
        OutputNamingParams p = params(
            (dir / "a.txt").string(), 1, true, 4, RepeatFileContinue | RepeatFileSameFile, 3);
        QCOMPARE(getFirstOutputFileName(p, &types), (dir / "a.txt").string());
    }

    void directoryModeSearchesDirectories()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        fs::create_directories(dir / "out" / "0");
        fs::create_directories(dir / "out" / "1");
        touch(dir / "out" / "2"); // a file where the directory would go: taken too
        FakeTypes types;
        const OutputNamingParams p = params(
            (dir / "out" / "a.txt").string(), 1, true, 3, RepeatFileContinue | RepeatFileSubDir, 0);
        int digits = 0;
        int first = 0;
        getFirstRepeatParams(p, &types, digits, first);
        QCOMPARE(digits, 1);
        QCOMPARE(first, 3);
        QCOMPARE(getFirstOutputFileName(p, &types), (dir / "out" / "3" / "a.txt").string());
    }

    void firstOutputName_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("fileType");
        QTest::addColumn<int>("acqType");
        QTest::addColumn<int>("acqCount");
        QTest::addColumn<bool>("repeat");
        QTest::addColumn<int>("repeatCount");
        QTest::addColumn<unsigned>("flags");
        QTest::addColumn<int>("digits");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one frame")
            << "/n/a.txt" << 1 << 0 << 1 << false << 0 << 0u << 0 << "/n/a.txt";
        QTest::newRow("ten frames")
            << "/n/a.txt" << 1 << 0 << 10 << false << 0 << 0u << 0 << "/n/a_00.txt";
        QTest::newRow("1000 frames")
            << "/n/a.txt" << 1 << 0 << 1000 << false << 0 << 0u << 0 << "/n/a_0000.txt";
        QTest::newRow("count 0 gives one digit, no number")
            << "/n/a.txt" << 1 << 0 << 0 << false << 0 << 0u << 0 << "/n/a.txt";
        QTest::newRow("integral has no frame number")
            << "/n/a.txt" << 1 << 1 << 10 << false << 0 << 0u << 0 << "/n/a.txt";
        QTest::newRow("integral test pulses too")
            << "/n/a.txt" << 1 << 4 << 10 << false << 0 << 0u << 0 << "/n/a.txt";
        QTest::newRow("test pulses are frames")
            << "/n/a.txt" << 1 << 2 << 10 << false << 0 << 0u << 0 << "/n/a_00.txt";
        QTest::newRow("multi-frame: no frame number")
            << "/n/a.mfd" << 1 << 0 << 10 << false << 0 << 0u << 0 << "/n/a.mfd";
        QTest::newRow("binary single frames")
            << "/n/a.bin" << 1 << 0 << 10 << false << 0 << 0u << 0 << "/n/a_00.bin";
        QTest::newRow("picture by code")
            << "/n/a.xyz" << 10 << 0 << 10 << false << 0 << 0u << 0 << "/n/a_00.xyz";
        QTest::newRow("unknown extension counts as multi")
            << "/n/a.dsc" << 1 << 0 << 10 << false << 0 << 0u << 0 << "/n/a.dsc";
        QTest::newRow("code above 1000, single")
            << "/n/a.one" << 1001 << 0 << 10 << false << 0 << 0u << 0 << "/n/a_00.one";
        QTest::newRow("code above 1000, multi")
            << "/n/a.all" << 1002 << 0 << 10 << false << 0 << 0u << 0 << "/n/a.all";
        QTest::newRow("code above 1000 by name")
            << "/n/a.one" << 1 << 0 << 10 << false << 0 << 0u << 0 << "/n/a_00.one";
        QTest::newRow("code above 1000 without type: multi")
            << "/n/a.txt" << 1234 << 0 << 10 << false << 0 << 0u << 0 << "/n/a.txt";
        QTest::newRow("repeats: auto digits")
            << "/n/a.txt" << 1 << 0 << 10 << true << 12 << 0u << 0 << "/n/a_r00_00.txt";
        QTest::newRow("repeats of one frame")
            << "/n/a.txt" << 1 << 0 << 1 << true << 5 << 0u << 0 << "/n/a_r0.txt";
        QTest::newRow("one repeat of one frame")
            << "/n/a.txt" << 1 << 0 << 1 << true << 1 << 0u << 0 << "/n/a.txt";
        QTest::newRow("one repeat, set digits")
            << "/n/a.txt" << 1 << 0 << 1 << true << 1 << 0u << 3 << "/n/a_r000.txt";
        QTest::newRow("repeat off, set digits still number")
            << "/n/a.txt" << 1 << 0 << 1 << false << 5 << 0u << 2 << "/n/a_r00.txt";
        QTest::newRow("repeat digits 0 and frames")
            << "/n/a.txt" << 1 << 0 << 10 << false << 0 << 0u << 0 << "/n/a_00.txt";
        QTest::newRow("endless series")
            << "/n/a.mfd" << 1 << 0 << 10 << true << 0 << 0u << 0 << "/n/a_r0.mfd";
        QTest::newRow("directory per repeat")
            << "/n/out/a.txt" << 1 << 0 << 1 << true << 3 << 2u << 0 << "/n/out/0/a.txt";
        QTest::newRow("same file")
            << "/n/a.mfd" << 1 << 0 << 10 << true << 30 << 4u << 0 << "/n/a.mfd";
        QTest::newRow("no output name") << "" << 1 << 0 << 10 << false << 0 << 0u << 0 << "";
    }
    void firstOutputName()
    {
        QFETCH(QString, file);
        QFETCH(int, fileType);
        QFETCH(int, acqType);
        QFETCH(int, acqCount);
        QFETCH(bool, repeat);
        QFETCH(int, repeatCount);
        QFETCH(unsigned, flags);
        QFETCH(int, digits);
        QFETCH(QString, expected);
        OutputNamingParams p
            = params(file.toStdString(), acqCount, repeat, repeatCount, flags, digits);
        p.fileType = fileType;
        p.acqType = acqType;
        FakeTypes types;
        QCOMPARE(QString::fromStdString(getFirstOutputFileName(p, &types)), expected);
        // The plan names the same first file.
        QCOMPARE(
            QString::fromStdString(outputFileName(getOutputNamePlan(p, &types), 0, 0)), expected);
    }

    void withoutTypes()
    {
        // No type answers: the name alone does not make a type, so frames are not
        // numbered (one file takes them), as for any unknown type.
        OutputNamingParams p = params("/n/a.txt", 10);
        QCOMPARE(getFirstOutputFileName(p, nullptr), std::string("/n/a.txt"));
        p.fileType = 2;
        QCOMPARE(getFirstOutputFileName(p, nullptr), std::string("/n/a_00.txt"));
    }

    void planNamesEveryFile()
    {
        FakeTypes types;
        OutputNamingParams p = params("/n/a.txt", 3, true, 12, 0, 0);
        const OutputNamePlan plan = getOutputNamePlan(p, &types);
        QCOMPARE(plan.repeatDigits, 2);
        QCOMPARE(plan.acqDigits, 1);
        QCOMPARE(plan.firstIndex, 0);
        QCOMPARE(outputFileName(plan, 0, 0), std::string("/n/a_r00_0.txt"));
        QCOMPARE(outputFileName(plan, 11, 2), std::string("/n/a_r11_2.txt"));
        p.repeatFileFlags = RepeatFileSubDir;
        const OutputNamePlan dirs = getOutputNamePlan(p, &types);
        QCOMPARE(outputFileName(dirs, 4, 1), std::string("/n/04/a_1.txt"));
    }
};

QTEST_APPLESS_MAIN(TestOutputFileName)
#include "tst_outputfilename.moc"
