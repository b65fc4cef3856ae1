// Output files of measurements: the simulated Timepix writes every frame of every round
// under the names that the output-naming rules predict, the files hold the measured
// frames, a continued series skips names that exist, and a file that cannot be
// written is logged without stopping the measurement.
#include "acqbytes.h"
#include "livecounts.h"

#include <deviceset.h>
#include <framefile.h>
#include <outputfilename.h>
#include <simdata.h>
#include <simdatamgr.h>
#include <simfiletypes.h>
#include <simframe.h>
#include <timepixdevice.h>

#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <string>

using namespace acqbytes;
namespace fs = std::filesystem;

namespace {

std::shared_ptr<sim::TimepixDevice> makeDevice(QStringList* errors, std::mutex* mutex)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, 4242);
    desc.chips = 1;
    desc.width = 256;
    desc.height = 256;
    auto dev = std::make_shared<sim::TimepixDevice>(desc);
    sim::SimDevice::Attachment a;
    a.hostLog = [errors, mutex](unsigned level, const QString& text) {
        if (level != ov::LogError)
            return;
        std::lock_guard<std::mutex> lock(*mutex);
        *errors << text;
    };
    dev->attach(a);
    return dev;
}

// Every file below dir, as paths relative to it.
std::set<std::string> filesBelow(const fs::path& dir)
{
    std::set<std::string> out;
    for (const auto& e : fs::recursive_directory_iterator(dir))
        if (e.is_regular_file())
            out.insert(fs::relative(e.path(), dir).generic_string());
    return out;
}

std::string rel(const std::string& path, const fs::path& dir)
{
    return fs::relative(fs::path(path), dir).generic_string();
}

} // namespace

class TestOutputFiles : public QObject
{
    Q_OBJECT

private:
    livecounts::FramesAndData m_live0;
    std::mutex m_mutex;
    QStringList m_errors;
    sim::SimDataMgr m_mgr;

    // The plug-in's view of the first name, through the same rules and the host's types.
    static std::string predictedFirst(const std::string& out, uint32_t fileType, uint32_t count,
        bool integral, const Repeat* repeat)
    {
        OutputNamingParams p;
        p.outputFile = out;
        p.fileType = int(fileType);
        p.acqType = integral ? 1 : 0;
        p.acqCount = int(count);
        p.repeatEnabled = repeat != nullptr;
        if (repeat) {
            uint32_t c = 0;
            uint32_t flags = 0;
            uint32_t digits = 0;
            std::memcpy(&c, repeat->bytes.data(), 4);
            std::memcpy(&flags, repeat->bytes.data() + 12, 4);
            std::memcpy(&digits, repeat->bytes.data() + 16, 4);
            p.repeatCount = c == 0xFFFFFFFFu ? 0 : int(c);
            p.repeatFileFlags = flags;
            p.repeatFileDigits = int(digits);
        }
        sim::HostOutputFileTypes types;
        return getFirstOutputFileName(p, &types);
    }

    int run(sim::TimepixDevice& dev, const std::string& out, uint32_t count, uint32_t fileType,
        uint32_t fileFlags, const Repeat* repeat, bool integral = false)
    {
        Acq a;
        a.count = count;
        a.time = 0.0;
        a.fileType = fileType;
        a.fileFlags = fileFlags;
        a.integral = integral ? 1 : 0;
        a.output = out.c_str();
        const auto rec = acqRecord(a);
        return dev.doAdvancedAcquisition(
            rec.data(), repeat ? repeat->bytes.data() : nullptr, nullptr);
    }

    QStringList takeErrors()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        QStringList e = m_errors;
        m_errors.clear();
        return e;
    }

    // Frame `index` of the device's store equals frame `inFile` of the file.
    void checkStoredFrame(sim::TimepixDevice& dev, int index, const std::string& path, int inFile)
    {
        sim::SimFrame* stored = dev.store().frameRefInc(index);
        QVERIFY(stored);
        ov::FilePath fp(path.c_str());
        ov::IData* data = m_mgr.loadData(&fp, inFile);
        QVERIFY2(data, path.c_str());
        auto* loaded = dynamic_cast<sim::SimFrame*>(data->frameAt(0));
        QCOMPARE(int(loaded->dataType()), int(stored->dataType()));
        QCOMPARE(loaded->width(), stored->width());
        QCOMPARE(loaded->height(), stored->height());
        QCOMPARE(loaded->acqTime(), stored->acqTime());
        QCOMPARE(loaded->name(), stored->name());
        QVERIFY(std::memcmp(loaded->rawData(), stored->rawData(),
                    stored->pixelCount() * sim::frameTypeSize(stored->dataType()))
            == 0);
        data->decRef();
        stored->decRef();
    }

private slots:
    void init()
    {
        m_live0 = livecounts::framesAndData();
        takeErrors();
    }
    void cleanup() { QCOMPARE(livecounts::framesAndData(), m_live0); }

    void repeatedSeriesOfTextFrames()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        auto dev = makeDevice(&m_errors, &m_mutex);
        const std::string out = (dir / "run" / "a.txt").string();
        Repeat repeat(2, 0.0);
        const std::string first = predictedFirst(out, 1, 3, false, &repeat);
        QCOMPARE(rel(first, dir), std::string("run/a_r0_0.txt"));
        QCOMPARE(run(*dev, out, 3, 1, 0, &repeat), 0);

        std::set<std::string> expected;
        for (int r = 0; r < 2; ++r)
            for (int i = 0; i < 3; ++i) {
                const std::string name
                    = rel(getRepeatAcqIndexFileName(out, r, 1, false, i, 1, 3), dir);
                expected.insert(name);
                expected.insert(name + ".dsc");
            }
        QVERIFY(expected.count(rel(first, dir)));
        QCOMPARE(filesBelow(dir), expected);
        // The store holds the last round; its frames are in the last round's files.
        for (int i = 0; i < 3; ++i)
            checkStoredFrame(*dev, i, getRepeatAcqIndexFileName(out, 1, 1, false, i, 1, 3), 0);
        QVERIFY(takeErrors().isEmpty());
    }

    void multiFrameFilePerRound_data()
    {
        QTest::addColumn<unsigned>("flags");
        QTest::newRow("text matrix") << 0u;
        QTest::newRow("binary matrix") << 2u;
        QTest::newRow("text sparse") << 4u;
        QTest::newRow("binary sparse") << 6u;
    }
    void multiFrameFilePerRound()
    {
        QFETCH(unsigned, flags);
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        auto dev = makeDevice(&m_errors, &m_mutex);
        const std::string out = (dir / "b.mfd").string();
        Repeat repeat(3, 0.0);
        const std::string first = predictedFirst(out, 1, 4, false, &repeat);
        QCOMPARE(rel(first, dir), std::string("b_r0.mfd"));
        QCOMPARE(run(*dev, out, 4, 1, flags, &repeat), 0);
        QCOMPARE(filesBelow(dir),
            (std::set<std::string> {"b_r0.mfd", "b_r0.mfd.dsc", "b_r1.mfd", "b_r1.mfd.dsc",
                "b_r2.mfd", "b_r2.mfd.dsc"}));
        for (const char* name : {"b_r0.mfd", "b_r1.mfd", "b_r2.mfd"}) {
            std::string error;
            QCOMPARE(sim::countFramesInFile((dir / name).string(), &error), 4);
        }
        for (int i = 0; i < 4; ++i)
            checkStoredFrame(*dev, i, (dir / "b_r2.mfd").string(), i);
        QVERIFY(takeErrors().isEmpty());
    }

    void continuedSeriesSkipsExistingNames()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        auto dev = makeDevice(&m_errors, &m_mutex);
        const std::string out = (dir / "c.txt").string();
        for (const char* name : {"c_r0.txt", "c_r1.txt"}) {
            std::ofstream f(dir / name);
            f << "keep me\n";
        }
        Repeat repeat(2, 0.0, RepeatFileContinue);
        const std::string first = predictedFirst(out, 1, 1, false, &repeat);
        QCOMPARE(rel(first, dir), std::string("c_r2.txt"));
        QCOMPARE(run(*dev, out, 1, 1, 0, &repeat), 0);
        QCOMPARE(filesBelow(dir),
            (std::set<std::string> {
                "c_r0.txt", "c_r1.txt", "c_r2.txt", "c_r2.txt.dsc", "c_r3.txt", "c_r3.txt.dsc"}));
        std::ifstream kept(dir / "c_r0.txt");
        std::string line;
        std::getline(kept, line);
        QCOMPARE(line, std::string("keep me"));
        checkStoredFrame(*dev, 0, (dir / "c_r3.txt").string(), 0);

        // The next series goes on after those.
        QCOMPARE(rel(predictedFirst(out, 1, 1, false, &repeat), dir), std::string("c_r4.txt"));
        QCOMPARE(run(*dev, out, 1, 1, 0, &repeat), 0);
        QVERIFY(fs::exists(dir / "c_r4.txt"));
        QVERIFY(fs::exists(dir / "c_r5.txt"));
        QVERIFY(!fs::exists(dir / "c_r6.txt"));

        // Without "continue" the series starts again at 0 and overwrites.
        Repeat again(2, 0.0, 0);
        QCOMPARE(run(*dev, out, 1, 1, 0, &again), 0);
        std::string error;
        QCOMPARE(sim::countFramesInFile((dir / "c_r0.txt").string(), &error), 1);
        QVERIFY(takeErrors().isEmpty());
    }

    void directoryPerRepeat()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        auto dev = makeDevice(&m_errors, &m_mutex);
        const std::string out = (dir / "d" / "out" / "e.bin").string();
        fs::create_directories(dir / "d" / "out" / "00");
        Repeat repeat(2, 0.0, RepeatFileSubDir | RepeatFileContinue, 2);
        const std::string first = predictedFirst(out, 1, 2, false, &repeat);
        QCOMPARE(rel(first, dir), std::string("d/out/01/e_0.bin"));
        QCOMPARE(run(*dev, out, 2, 1, 0, &repeat), 0);
        QCOMPARE(filesBelow(dir),
            (std::set<std::string> {"d/out/01/e_0.bin", "d/out/01/e_0.bin.dsc", "d/out/01/e_1.bin",
                "d/out/01/e_1.bin.dsc", "d/out/02/e_0.bin", "d/out/02/e_0.bin.dsc",
                "d/out/02/e_1.bin", "d/out/02/e_1.bin.dsc"}));
        checkStoredFrame(*dev, 1, (dir / "d/out/02/e_1.bin").string(), 0);
    }

    void sameFileForTheWholeSeries()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        auto dev = makeDevice(&m_errors, &m_mutex);
        const std::string out = (dir / "s.mfd").string();
        Repeat repeat(3, 0.0, RepeatFileSameFile);
        QCOMPARE(rel(predictedFirst(out, 1, 2, false, &repeat), dir), std::string("s.mfd"));
        QCOMPARE(run(*dev, out, 2, 4, sim::FileFlagBinary, &repeat), 0);
        QCOMPARE(filesBelow(dir), (std::set<std::string> {"s.mfd", "s.mfd.dsc"}));
        std::string error;
        QCOMPARE(sim::countFramesInFile(out, &error), 6);
        // The last round is at the end of the file.
        checkStoredFrame(*dev, 0, out, 4);
        checkStoredFrame(*dev, 1, out, 5);
    }

    void integralAndSingleMeasurements()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        auto dev = makeDevice(&m_errors, &m_mutex);
        // An integral writes one frame per round, without a frame number.
        const std::string integral = (dir / "i.txt").string();
        Repeat repeat(2, 0.0);
        QCOMPARE(rel(predictedFirst(integral, 1, 5, true, &repeat), dir), std::string("i_r0.txt"));
        QCOMPARE(run(*dev, integral, 5, 1, 0, &repeat, true), 0);
        QVERIFY(fs::exists(dir / "i_r0.txt"));
        QVERIFY(fs::exists(dir / "i_r1.txt"));
        checkStoredFrame(*dev, 0, (dir / "i_r1.txt").string(), 0);
        ov::FilePath fp((dir / "i_r1.txt").c_str());
        ov::IData* data = m_mgr.loadData(&fp, 0);
        QCOMPARE(int(data->frameAt(0)->dataType()), int(ov::FrameUInt32));
        data->decRef();

        // Without a repeat record: frame numbers only; the type comes from the record.
        const std::string single = (dir / "n.dat").string();
        QCOMPARE(rel(predictedFirst(single, 2, 2, false, nullptr), dir), std::string("n_0.dat"));
        QCOMPARE(run(*dev, single, 2, 2, 0, nullptr), 0);
        QVERIFY(fs::exists(dir / "n_0.dat"));
        QVERIFY(fs::exists(dir / "n_1.dat"));
        checkStoredFrame(*dev, 1, (dir / "n_1.dat").string(), 0);

        // No output name: nothing written.
        const auto before = filesBelow(dir);
        QCOMPARE(run(*dev, "", 2, 1, 0, nullptr), 0);
        QCOMPARE(filesBelow(dir), before);
        QVERIFY(takeErrors().isEmpty());
    }

    void writeFailuresAreLogged()
    {
        QTemporaryDir tmp;
        const fs::path dir = tmp.path().toStdString();
        auto dev = makeDevice(&m_errors, &m_mutex);
        {
            std::ofstream f(dir / "afile");
            f << "x";
        }
        // A folder that cannot be made: the measurement runs, the failure is logged,
        // and the result says that the output asked for is missing.
        const std::string blocked = (dir / "afile" / "x.txt").string();
        QCOMPARE(run(*dev, blocked, 3, 1, 0, nullptr), int(sim::AcqErrOutputFile));
        QCOMPARE(dev->acqFrameCount(), 3);
        const QStringList errors = takeErrors();
        QCOMPARE(errors.size(), 2); // the first failure, then how many
        QVERIFY(errors[0].contains("afile"));
        QVERIFY(errors[1].contains("3 frame(s)"));

        // Types the host cannot write: measured, logged, and failed for the output.
        const int noOutput = sim::AcqErrOutputFile;
        QCOMPARE(run(*dev, (dir / "q.xyz").string(), 1, 1, 0, nullptr), noOutput);
        QCOMPARE(takeErrors().size(), 1);
        QCOMPARE(run(*dev, (dir / "q.png").string(), 1, 1, 0, nullptr), noOutput);
        QCOMPARE(takeErrors().size(), 1);
        QCOMPARE(run(*dev, (dir / "q.txt").string(), 1, 77, 0, nullptr), noOutput);
        QCOMPARE(takeErrors().size(), 1);
        // Without an output name nothing is asked for and nothing fails.
        QCOMPARE(run(*dev, std::string(), 1, 1, 0, nullptr), 0);
        QCOMPARE(takeErrors().size(), 0);
        QCOMPARE(filesBelow(dir), (std::set<std::string> {"afile"}));
    }
};

QTEST_MAIN(TestOutputFiles)
#include "tst_outputfiles.moc"
