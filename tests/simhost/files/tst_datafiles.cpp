// The host's data files: the file types it lists, every type and form written and read
// back for every pixel type, files without description, multi-frame files, and
// damaged files (truncated, wrong numbers, wrong sizes, empty, garbage, directories)
// that must give a logged error and no frame.
#include "livecounts.h"

#include <framefile.h>
#include <simdata.h>
#include <simdatamgr.h>
#include <simfiletypes.h>
#include <simframe.h>
#include <simhost.h>

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct LogLines
{
    std::mutex mutex;
    QStringList errors;
    QStringList all;
    sim::LogFn fn()
    {
        return [this](unsigned level, const QString& text) {
            std::lock_guard<std::mutex> lock(mutex);
            all << text;
            if (level == ov::LogError)
                errors << text;
        };
    }
    QStringList takeErrors()
    {
        std::lock_guard<std::mutex> lock(mutex);
        QStringList out = errors;
        errors.clear();
        return out;
    }
};

std::string slurp(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void spit(const fs::path& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    QVERIFY(out.good());
}

// A frame of the type whose pixels cover the type's range: extremes, zeros (a third
// of the pixels, for the sparse forms) and random values; not square, so that width
// and height cannot be swapped unnoticed.
sim::SimFrame* makeFrame(int type, unsigned width, unsigned height, uint32_t seed)
{
    sim::SimFrame* frame = sim::SimFrame::create(width, height, type);
    std::mt19937_64 rng(seed);
    sim::visitFrameType(type, [&](auto t) {
        using T = decltype(t);
        T* px = frame->pixels<T>();
        const size_t n = frame->pixelCount();
        for (size_t i = 0; i < n; ++i) {
            if (rng() % 3 == 0) {
                px[i] = T(0);
                continue;
            }
            if constexpr (std::is_floating_point_v<T>) {
                const double mantissa = double(rng() >> 11) / double(uint64_t(1) << 53);
                const int exponent = int(rng() % 80) - 40;
                px[i] = (rng() & 1 ? -1.0 : 1.0) * std::ldexp(mantissa, exponent);
            } else {
                px[i] = static_cast<T>(rng());
            }
        }
        if (n >= 4) {
            px[0] = std::numeric_limits<T>::max();
            px[1] = std::numeric_limits<T>::lowest();
            if constexpr (std::is_floating_point_v<T>) {
                px[2] = std::numeric_limits<T>::denorm_min();
                px[3] = 0.1;
            } else {
                px[2] = T(1);
                px[3] = T(-1); // wraps for unsigned types: their largest value
            }
        }
    });
    frame->setAcqTime(0.1 + seed * 1e-3 / 3.0);
    frame->setFrameName(("Frame " + std::to_string(seed)).c_str());
    return frame;
}

// Same type, size, time, name and bit-identical pixels.
bool sameFrame(const sim::SimFrame* a, ov::IMpxFrame* b, QString* why)
{
    if (!b)
        return *why = "no frame", false;
    if (a->dataType() != b->dataType())
        return *why = QString("type %1 vs %2").arg(a->dataType()).arg(b->dataType()), false;
    if (a->width() != b->width() || a->height() != b->height())
        return *why = QString("size %1x%2 vs %3x%4")
                          .arg(a->width())
                          .arg(a->height())
                          .arg(b->width())
                          .arg(b->height()),
               false;
    if (a->acqTime() != b->acqTime())
        return *why = QString("time %1 vs %2")
                          .arg(a->acqTime(), 0, 'g', 17)
                          .arg(b->acqTime(), 0, 'g', 17),
               false;
    if (a->name() != b->frameName())
        return *why = QString("name %1 vs %2")
                          .arg(QString::fromStdString(a->name()),
                              QString::fromStdString(b->frameName())),
               false;
    auto* sb = dynamic_cast<sim::SimFrame*>(b);
    if (!sb)
        return *why = "not a host frame", false;
    if (std::memcmp(
            a->rawData(), sb->rawData(), a->pixelCount() * sim::frameTypeSize(a->dataType()))
        != 0)
        return *why = "pixels differ", false;
    return true;
}

const int kPixelTypes[] = {ov::FrameInt16, ov::FrameUInt32, ov::FrameUInt64, ov::FrameDouble};

} // namespace

class TestDataFiles : public QObject
{
    Q_OBJECT

private:
    livecounts::FramesAndData m_live0;
    QTemporaryDir m_tmp;
    LogLines m_log;
    sim::SimDataMgr m_mgr;

    fs::path dir() const { return fs::path(m_tmp.path().toStdString()); }
    std::string file(const char* name) const { return (dir() / name).string(); }

    // Loads frame index of a file through the data manager.
    ov::IData* load(const std::string& path, int index = 0)
    {
        ov::FilePath fp(path.c_str());
        return m_mgr.loadData(&fp, index);
    }
    int count(const std::string& path)
    {
        ov::FilePath fp(path.c_str());
        return m_mgr.frameCountInFile(&fp);
    }
    // The file must not load: null, one logged error that names the file.
    void expectDamaged(const std::string& path, int index = 0)
    {
        m_log.takeErrors();
        ov::IData* data = load(path, index);
        QVERIFY2(!data, path.c_str());
        const QStringList errors = m_log.takeErrors();
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors[0].contains(QString::fromStdString(sim::dataPathOf(path)))
                || errors[0].contains(QString::fromStdString(path)),
            qPrintable(errors[0]));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_tmp.isValid());
        m_mgr.setLog(m_log.fn());
    }
    void init()
    {
        m_live0 = livecounts::framesAndData();
        // A host made by a test takes the log of saves over; take it back.
        m_mgr.setLog(m_log.fn());
        m_log.takeErrors();
    }
    void cleanup() { QCOMPARE(livecounts::framesAndData(), m_live0); }

    void fileTypeList()
    {
        ov::PtrList<ov::IFileType*> list;
        QCOMPARE(m_mgr.supportedFileTypes(nullptr, list), 0);
        QCOMPARE(list.size(), 4u);
        const int codes[] = {4, 2, 3, 10};
        const char* exts[] = {"mfd", "txt", "bin", "png"};
        const bool multi[] = {true, false, false, false};
        for (unsigned i = 0; i < 4; ++i) {
            ov::IFileType* t = list.get(i);
            QCOMPARE(t->typeCode(), codes[i]);
            QCOMPARE(QString(t->extension()), QString(exts[i]));
            QCOMPARE(t->isMultiFrame(), multi[i]);
            QVERIFY(std::strlen(t->description()) > 0);
            QVERIFY(t->canSaveFrames(1));
            QVERIFY(t->canSaveFrames(3));
            QVERIFY(!t->canSaveFrames(2));
            // The binary types have their compression; the others no parameters.
            if (codes[i] == 4 || codes[i] == 3) {
                QVERIFY(t->params());
                QVERIFY(t->params()->param("Compression"));
                QVERIFY(t->params()->param("CompressionLevel"));
            } else {
                QCOMPARE(t->params(), (ov::IParamMgr*)nullptr);
            }
            QCOMPARE(m_mgr.fileTypeById(codes[i]), t);
            const std::string name = std::string("/d/x.") + exts[i];
            ov::FilePath fp(name.c_str());
            QCOMPARE(m_mgr.fileTypeIdFromFileName(&fp), codes[i]);
            QCOMPARE(m_mgr.fileTypeFromFileName(&fp), t);
        }
        QCOMPARE(m_mgr.fileTypeById(5), (ov::IFileType*)nullptr);
        const std::pair<const char*, int> names[] = {{"/d/X.TXT", 2}, {"/d/x.txt.dsc", 2},
            {"/d/x.mfd.DSC", 4}, {"/d/x.dsc", -1}, {"/d/x", -1}, {"/d/x.xyz", -1}, {"", -1}};
        for (const auto& [name, code] : names) {
            ov::FilePath fp(name);
            QCOMPARE(m_mgr.fileTypeIdFromFileName(&fp), code);
        }
        QCOMPARE(m_mgr.fileTypeIdFromFileName(nullptr), -1);
        // The data manager of the host is this one, with the same types.
        QTemporaryDir home;
        sim::SimHost host(home.path());
        ov::IDataMgr* mgr = host.dataMgr();
        QVERIFY(mgr);
        QCOMPARE(mgr->deviceSupportedFileTypes(nullptr).size(), size_t(4));
    }

    void roundTrip_data()
    {
        QTest::addColumn<int>("fileType");
        QTest::addColumn<unsigned>("flags");
        QTest::addColumn<int>("pixelType");
        QTest::addColumn<QString>("ext");
        const struct
        {
            int type;
            unsigned flags;
            const char* name;
            const char* ext;
        } forms[] = {
            {2, 0, "text frame", "txt"},
            {3, 0, "binary frame", "bin"},
            {4, 0, "multi text matrix", "mfd"},
            {4, 2, "multi binary matrix", "mfd"},
            {4, 4, "multi text sparse", "mfd"},
            {4, 6, "multi binary sparse", "mfd"},
        };
        for (const auto& f : forms)
            for (int px : kPixelTypes)
                QTest::addRow("%s, type %d", f.name, px) << f.type << f.flags << px << f.ext;
    }
    void roundTrip()
    {
        QFETCH(int, fileType);
        QFETCH(unsigned, flags);
        QFETCH(int, pixelType);
        QFETCH(QString, ext);
        sim::SimFrame* frame
            = makeFrame(pixelType, 37, 23, uint32_t(fileType * 100 + flags * 10 + pixelType));
        const std::string path = file(
            qPrintable(QString("rt_%1_%2_%3.%4").arg(fileType).arg(flags).arg(pixelType).arg(ext)));
        ov::FilePath fp(path.c_str());
        QCOMPARE(frame->saveToFile(&fp, m_mgr.fileTypeById(fileType), flags), 0);
        QVERIFY(fs::is_regular_file(path));
        QVERIFY(fs::is_regular_file(path + ".dsc"));
        QCOMPARE(count(path), 1);
        ov::FilePath counted(path.c_str());
        QCOMPARE(m_mgr.dataCountInFile(&counted), 1);

        ov::IData* data = load(path);
        QVERIFY(data);
        QCOMPARE(data->frameCount(), 1u);
        QString why;
        QVERIFY2(sameFrame(frame, data->frameAt(0), &why), qPrintable(why));
        // Loading through the description's name gives the same.
        ov::IData* again = load(path + ".dsc");
        QVERIFY2(sameFrame(frame, again ? again->frameAt(0) : nullptr, &why), qPrintable(why));
        QVERIFY(m_log.takeErrors().isEmpty());
        again->decRef();
        data->decRef();
        frame->decRef();
    }

    void sparseFilesHoldOnlyNonZeroPixels()
    {
        sim::SimFrame* frame = sim::SimFrame::create(100, 100, ov::FrameInt16);
        frame->pixels<int16_t>()[4321] = 7;
        frame->pixels<int16_t>()[9999] = -3;
        const std::string path = file("sparse.mfd");
        QCOMPARE(sim::saveFramesToFile({frame}, path, 4, sim::FileFlagSparse), 0);
        // Two pairs in text, and the empty line that closes the frame.
        QCOMPARE(slurp(path), std::string("4321 7\n9999 -3\n\n"));
        const std::string binPath = file("sparse_bin.mfd");
        QCOMPARE(
            sim::saveFramesToFile({frame}, binPath, 4, sim::FileFlagSparse | sim::FileFlagBinary),
            0);
        QCOMPARE(fs::file_size(binPath), uintmax_t(2 * (4 + 2)));
        ov::IData* data = load(binPath);
        QString why;
        QVERIFY2(sameFrame(frame, data ? data->frameAt(0) : nullptr, &why), qPrintable(why));
        data->decRef();
        frame->decRef();
    }

    void textMatrixLayout()
    {
        // Rows of numbers separated by blanks, one row per line: what other tools read.
        sim::SimFrame* frame = sim::SimFrame::create(3, 2, ov::FrameDouble);
        const double v[] = {0.5, -1.25, 3, 1e-7, 0.1, 123456789.5};
        frame->setData(v, sizeof v);
        const std::string path = file("layout.txt");
        ov::FilePath fp(path.c_str());
        QCOMPARE(frame->saveToFile(&fp, m_mgr.fileTypeById(2), 0), 0);
        QCOMPARE(slurp(path), std::string("0.5 -1.25 3\n1e-07 0.1 123456789.5\n"));
        const std::string dsc = slurp(path + ".dsc");
        QVERIFY(dsc.find("[File]\nFormat=1\nData=layout.txt\nFileType=2\nForm=text matrix\n")
            != std::string::npos);
        QVERIFY(dsc.find("[Frame 0]\nName=\nDataType=9\nWidth=3\nHeight=2\nAcqTime=0\nOffset=0\n"
                         "Bytes=34\nEntries=6\n")
            != std::string::npos);
        frame->decRef();
    }

    void multiFrameFiles_data()
    {
        QTest::addColumn<unsigned>("flags");
        QTest::newRow("text matrix") << 0u;
        QTest::newRow("binary matrix") << 2u;
        QTest::newRow("text sparse") << 4u;
        QTest::newRow("binary sparse") << 6u;
    }
    void multiFrameFiles()
    {
        QFETCH(unsigned, flags);
        // Frames of every type and of different sizes in one file.
        std::vector<sim::SimFrame*> frames;
        uint32_t seed = 1000;
        for (int px : kPixelTypes)
            frames.push_back(makeFrame(px, 16 + unsigned(px), 9, seed++));
        frames.push_back(makeFrame(ov::FrameInt16, 1, 1, seed++));
        const std::string path = file(qPrintable(QString("multi_%1.mfd").arg(flags)));
        const std::vector<const sim::SimFrame*> cframes(frames.begin(), frames.end());
        QCOMPARE(sim::saveFramesToFile(cframes, path, 4, flags), 0);
        QCOMPARE(count(path), int(frames.size()));
        for (size_t i = 0; i < frames.size(); ++i) {
            ov::IData* data = load(path, int(i));
            QString why;
            QVERIFY2(sameFrame(frames[i], data ? data->frameAt(0) : nullptr, &why),
                qPrintable(QString("frame %1: %2").arg(i).arg(why)));
            data->decRef();
        }
        expectDamaged(path, int(frames.size()));
        expectDamaged(path, -1);
        for (sim::SimFrame* f : frames)
            f->decRef();
    }

    void dataObjectsSaveAllFrames()
    {
        sim::SimData* data = sim::SimData::create(ov::DataFrames);
        sim::SimFrame* a = makeFrame(ov::FrameUInt32, 8, 4, 1);
        sim::SimFrame* b = makeFrame(ov::FrameUInt32, 8, 4, 2);
        data->addFrame(a);
        data->addFrame(b);
        // A multi-frame file takes both.
        ov::FilePath multi(file("data.mfd").c_str());
        QCOMPARE(data->saveToFile(&multi, 4, 0), 0);
        QCOMPARE(count(file("data.mfd")), 2);
        // A single-frame type writes one numbered file per frame.
        ov::FilePath single(file("data.txt").c_str());
        QCOMPARE(data->saveToFile(&single, 2, 0), 0);
        QVERIFY(!fs::exists(file("data.txt")));
        ov::IData* r0 = load(file("data_0.txt"));
        ov::IData* r1 = load(file("data_1.txt"));
        QString why;
        QVERIFY2(sameFrame(a, r0 ? r0->frameAt(0) : nullptr, &why), qPrintable(why));
        QVERIFY2(sameFrame(b, r1 ? r1->frameAt(0) : nullptr, &why), qPrintable(why));
        r0->decRef();
        r1->decRef();
        a->decRef();
        b->decRef();
        data->decRef();
    }

    void subFramesInOneFile()
    {
        sim::SimFrame* main = makeFrame(ov::FrameInt16, 6, 5, 1);
        sim::SimFrame* sub0 = makeFrame(ov::FrameInt16, 6, 5, 2);
        sim::SimFrame* sub1 = makeFrame(ov::FrameUInt32, 6, 5, 3);
        main->addSubFrame(sub0);
        main->addSubFrame(sub1);
        const std::string path = file("subs.mfd");
        ov::FilePath fp(path.c_str());
        QCOMPARE(main->saveToFile(&fp, m_mgr.fileTypeById(4), sim::FileFlagSubFramesOneFile), 0);
        QCOMPARE(count(path), 3);
        QString why;
        const sim::SimFrame* expected[] = {main, sub0, sub1};
        for (int i = 0; i < 3; ++i) {
            ov::IData* d = load(path, i);
            QVERIFY2(sameFrame(expected[i], d ? d->frameAt(0) : nullptr, &why), qPrintable(why));
            d->decRef();
        }
        // Without the flag only the frame itself.
        QCOMPARE(main->saveToFile(&fp, m_mgr.fileTypeById(4), 0), 0);
        QCOMPARE(count(path), 1);
        sub0->decRef();
        sub1->decRef();
        main->decRef();
    }

    void withoutDescription()
    {
        // A text matrix without its description reads back with the values; the type is
        // the smallest that holds them, the time 0, the name the file's.
        sim::SimFrame* f16 = makeFrame(ov::FrameInt16, 11, 7, 5);
        const std::string p16 = file("nodsc16.txt");
        QCOMPARE(sim::saveFramesToFile({f16}, p16, 2, sim::FileFlagNoDescription), 0);
        QVERIFY(!fs::exists(p16 + ".dsc"));
        ov::IData* d16 = load(p16);
        QVERIFY(d16);
        ov::IMpxFrame* r16 = d16->frameAt(0);
        QCOMPARE(int(r16->dataType()), int(ov::FrameInt16));
        QCOMPARE(r16->width(), 11u);
        QCOMPARE(r16->height(), 7u);
        QCOMPARE(r16->acqTime(), 0.0);
        QCOMPARE(QString::fromStdString(r16->frameName()), QString("nodsc16.txt"));
        QVERIFY(
            std::memcmp(f16->rawData(), dynamic_cast<sim::SimFrame*>(r16)->rawData(), 11 * 7 * 2)
            == 0);
        d16->decRef();

        // Larger values choose larger types; fractions choose double.
        const std::pair<std::string, int> cases[]
            = {{"0 40000\n1 2\n", ov::FrameUInt32}, {"-1 40000\n1 2\n", ov::FrameDouble},
                {"0 18446744073709551615\n", ov::FrameUInt64}, {"0 5000000000\n", ov::FrameUInt64},
                {"1.5 2\n", ov::FrameDouble}, {"-32768 32767\n", ov::FrameInt16}};
        int n = 0;
        for (const auto& [text, type] : cases) {
            const std::string p = file(qPrintable(QString("guess%1.txt").arg(n++)));
            spit(p, text);
            ov::IData* d = load(p);
            QVERIFY2(d, text.c_str());
            QCOMPARE(int(d->frameAt(0)->dataType()), type);
            d->decRef();
        }
        ov::IData* big = load(file("guess2.txt"));
        ov::DataBuff<unsigned long> values;
        big->frameAt(0)->getData(&values, ov::FrameUInt64);
        QCOMPARE(uint64_t(values.data()[1]), std::numeric_limits<uint64_t>::max());
        big->decRef();

        // A multi-frame text matrix keeps its frames apart by empty lines.
        sim::SimFrame* a = makeFrame(ov::FrameInt16, 4, 3, 8);
        sim::SimFrame* b = makeFrame(ov::FrameInt16, 5, 2, 9);
        const std::string pm = file("nodsc.mfd");
        QCOMPARE(sim::saveFramesToFile({a, b}, pm, 4, sim::FileFlagNoDescription), 0);
        QCOMPARE(count(pm), 2);
        ov::IData* db = load(pm, 1);
        QCOMPARE(db->frameAt(0)->width(), 5u);
        QCOMPARE(db->frameAt(0)->height(), 2u);
        QCOMPARE(QString::fromStdString(db->frameAt(0)->frameName()), QString("nodsc.mfd [1]"));
        QVERIFY(
            std::memcmp(b->rawData(), dynamic_cast<sim::SimFrame*>(db->frameAt(0))->rawData(), 20)
            == 0);
        db->decRef();

        // Binary and sparse files cannot be read without their description.
        QCOMPARE(sim::saveFramesToFile({a}, file("nodsc.bin"), 3, sim::FileFlagNoDescription), 0);
        expectDamaged(file("nodsc.bin"));
        QCOMPARE(sim::saveFramesToFile({a}, file("nodsc_sparse.mfd"), 4,
                     sim::FileFlagNoDescription | sim::FileFlagSparse),
            0);
        expectDamaged(file("nodsc_sparse.mfd"));

        // Writing without description removes a stale one.
        QCOMPARE(sim::saveFramesToFile({a}, file("stale.txt"), 2, 0), 0);
        QVERIFY(fs::exists(file("stale.txt.dsc")));
        QCOMPARE(sim::saveFramesToFile({b}, file("stale.txt"), 2, sim::FileFlagNoDescription), 0);
        QVERIFY(!fs::exists(file("stale.txt.dsc")));
        ov::IData* ds = load(file("stale.txt"));
        QCOMPARE(ds->frameAt(0)->width(), 5u);
        ds->decRef();
        a->decRef();
        b->decRef();
        f16->decRef();
    }

    void handWrittenDescription()
    {
        // A file made by another program after the documented format loads.
        spit(dir() / "hand.mfd", "1 2 3\n4 5 6\n\n7 8\n");
        spit(dir() / "hand.mfd.dsc",
            "# made by hand\n[File]\nFormat=1\nFileType=4\nForm=text matrix\nFuture=ignored\n\n"
            "[Frame 0]\nName=first\nDataType=5\nWidth=3\nHeight=2\nAcqTime=1.5\nOffset=0\n"
            "Bytes=12\nEntries=6\n[Frame 1]\nDataType=9\nWidth=2\nHeight=1\nOffset=13\nBytes=4\n"
            "Entries=2\n");
        QCOMPARE(count(file("hand.mfd")), 2);
        ov::IData* d0 = load(file("hand.mfd"), 0);
        QVERIFY(d0);
        ov::IMpxFrame* f0 = d0->frameAt(0);
        QCOMPARE(int(f0->dataType()), 5);
        QCOMPARE(f0->acqTime(), 1.5);
        QCOMPARE(QString::fromStdString(f0->frameName()), QString("first"));
        QCOMPARE(f0->regionTotal(nullptr), 21.0);
        ov::IData* d1 = load(file("hand.mfd"), 1);
        QVERIFY(d1);
        QCOMPARE(d1->frameAt(0)->regionTotal(nullptr), 15.0);
        QCOMPARE(QString::fromStdString(d1->frameAt(0)->frameName()), QString());
        d0->decRef();
        d1->decRef();
    }

    void damagedFilesBaseline()
    {
        // The damaged files below are this file with one thing changed.
        const std::string path = file("baseline.mfd");
        spit(path, "1 2 3\n4 5 6\n");
        spit(path + ".dsc",
            "[File]\nFormat=1\nFileType=4\nForm=text matrix\n[Frame 0]\nDataType=2\nWidth=3\n"
            "Height=2\nOffset=0\nBytes=12\nEntries=6\n");
        QCOMPARE(count(path), 1);
        ov::IData* data = load(path);
        QVERIFY(data);
        ov::DataBuff<short> px;
        QCOMPARE(data->frameAt(0)->getData(&px, ov::FrameInt16), 0);
        QCOMPARE(px.size(), 6ul);
        for (int i = 0; i < 6; ++i)
            QCOMPARE(int(px.data()[i]), i + 1);
        data->decRef();
        QVERIFY(m_log.takeErrors().isEmpty());
    }

    void damagedFiles_data()
    {
        QTest::addColumn<QString>("data");        // "<dir>" for a directory
        QTest::addColumn<QString>("description"); // "<none>", "<dir>"
        QTest::addColumn<bool>("countFails");

        const QString head = "[File]\nFormat=1\nFileType=4\nForm=text matrix\n";
        const QString frame = "[Frame 0]\nDataType=2\nWidth=3\nHeight=2\nOffset=0\nBytes=%1\n"
                              "Entries=6\n";
        const QString good = "1 2 3\n4 5 6\n";
        QTest::newRow("truncated data") << "1 2 3\n4" << head + frame.arg(12) << true;
        QTest::newRow("empty data") << "" << head + frame.arg(12) << true;
        QTest::newRow("data is a directory") << "<dir>" << head + frame.arg(12) << true;
        QTest::newRow("description is a directory") << good << "<dir>" << true;
        QTest::newRow("empty description") << good << "" << true;
        QTest::newRow("garbage description")
            << good
            << QString::fromLatin1("\x7f"
                                   "ELF\x02\x01\x01\xff\xfe garbage \x01\x02")
            << true;
        QTest::newRow("number out of range") << "1 2 3\n4 5 70000\n"
                                             << head + frame.arg(16) << false;
        QTest::newRow("negative unsigned")
            << "1 2 3\n4 5 -6\n"
            << head + frame.arg(13).replace("DataType=2", "DataType=5") << false;
        QTest::newRow("fraction in integer frame") << "1 2 3\n4 5 6.5\n"
                                                   << head + frame.arg(14) << false;
        QTest::newRow("word among numbers") << "1 2 x\n4 5 6\n" << head + frame.arg(12) << false;
        QTest::newRow("more numbers than size") << "1 2 3\n4 5 6 7\n"
                                                << head + frame.arg(14) << false;
        QTest::newRow("fewer numbers than size") << "1 2 3\n4 5   \n"
                                                 << head + frame.arg(12) << false;
        QTest::newRow("width wrong in description")
            << good << head + frame.arg(12).replace("Width=3", "Width=4") << true;
        QTest::newRow("size matches, data too short")
            << good
            << head + frame.arg(12).replace("Width=3", "Width=4").replace("Entries=6", "Entries=8")
            << false;
        QTest::newRow("bytes beyond the file") << good << head + frame.arg(400) << true;
        QTest::newRow("huge width") << good
                                    << head
                + frame.arg(12)
                      .replace("Width=3", "Width=100000")
                      .replace("Entries=6", "Entries=200000")
                                    << true;
        QTest::newRow("huge frame") << good
                                    << head
                + frame.arg(12)
                      .replace("Width=3", "Width=65536")
                      .replace("Height=2", "Height=65536")
                                    << true;
        QTest::newRow("zero height")
            << good << head + frame.arg(12).replace("Height=2", "Height=0") << true;
        QTest::newRow("width not a number")
            << good << head + frame.arg(12).replace("Width=3", "Width=3x") << true;
        QTest::newRow("negative offset")
            << good << head + frame.arg(12).replace("Offset=0", "Offset=-1") << true;
        QTest::newRow("unknown pixel type")
            << good << head + frame.arg(12).replace("DataType=2", "DataType=6") << true;
        QTest::newRow("missing height")
            << good << head + frame.arg(12).replace("Height=2\n", "") << true;
        QTest::newRow("unknown format version")
            << good << QString(head).replace("Format=1", "Format=3") + frame.arg(12) << true;
        QTest::newRow("unknown form")
            << good << QString(head).replace("text matrix", "text cube") + frame.arg(12) << true;
        QTest::newRow("frames out of order")
            << good << head + frame.arg(12).replace("Frame 0", "Frame 1") << true;
        QTest::newRow("a frame before [File]") << good << frame.arg(12) + head << true;
        QTest::newRow("line without key") << good << head + "just words\n" + frame.arg(12) << true;
        QTest::newRow("NUL in description")
            << good << head + QString(QChar(0)) + "\n" + frame.arg(12) << true;
        QTest::newRow("negative time") << good << head + frame.arg(12) + "AcqTime=-1\n" << true;
        QTest::newRow("sparse index beyond frame")
            << "2 1\n6 1\n"
            << QString(head).replace("text matrix", "text sparse")
                + frame.arg(8).replace("Entries=6", "Entries=2")
            << false;
        QTest::newRow("binary matrix bytes disagree with size")
            << "123456789012"
            << QString(head).replace("text matrix", "binary matrix") + frame.arg(11) << true;
        QTest::newRow("binary sparse index beyond frame")
            << QString::fromLatin1("\x09\x00\x00\x00\x01\x00", 6)
            << QString(head).replace("text matrix", "binary sparse")
                + frame.arg(6).replace("Entries=6", "Entries=1")
            << false;
        QTest::newRow("single-frame type with two frames")
            << good + good
            << QString(head).replace("FileType=4", "FileType=2") + frame.arg(12)
                + frame.arg(12).replace("Frame 0", "Frame 1").replace("Offset=0", "Offset=12")
            << true;
    }
    void damagedFiles()
    {
        QFETCH(QString, data);
        QFETCH(QString, description);
        QFETCH(bool, countFails);
        static int n = 0;
        const std::string path = file(qPrintable(QString("damaged%1.mfd").arg(n++)));
        const QByteArray dataBytes = data.toLatin1();
        if (data == "<dir>")
            fs::create_directory(path);
        else
            spit(path, std::string(dataBytes.constData(), size_t(dataBytes.size())));
        const QByteArray dscBytes = description.toLatin1();
        if (description == "<dir>")
            fs::create_directory(path + ".dsc");
        else if (description != "<none>")
            spit(path + ".dsc", std::string(dscBytes.constData(), size_t(dscBytes.size())));

        expectDamaged(path);
        m_log.takeErrors();
        const int frames = count(path);
        if (countFails) {
            QCOMPARE(frames, -1);
            QCOMPARE(m_log.takeErrors().size(), 1);
        } else {
            // The description is sound; the frame's own data are not.
            QCOMPARE(frames, 1);
        }
    }

    void damagedFilesWithoutDescription_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("name");
        QTest::newRow("empty") << QByteArray() << "empty.txt";
        QTest::newRow("blank lines only") << QByteArray("\n  \n\t\n") << "blank.txt";
        QTest::newRow("binary garbage")
            << QByteArray("\x00\x01\x02\xff\xfe\x80 1 2", 10) << "garbage.txt";
        QTest::newRow("ragged rows") << QByteArray("1 2 3\n4 5\n") << "ragged.txt";
        QTest::newRow("word") << QByteArray("1 2\nthree 4\n") << "word.txt";
        QTest::newRow("plus sign") << QByteArray("+1 2\n") << "plus.txt";
        QTest::newRow("picture") << QByteArray("\x89PNG\r\n\x1a\n", 8) << "pic.png";
        QTest::newRow("unknown extension") << QByteArray("1 2\n") << "numbers.dat";
        QTest::newRow("binary frame") << QByteArray(8, '\0') << "raw.bin";
        QTest::newRow("too wide") << QByteArray(70000 * 2, ' ').replace(" ", "1 ") << "wide.txt";
    }
    void damagedFilesWithoutDescription()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, name);
        const std::string path = file(qPrintable(name));
        spit(path, std::string(data.constData(), size_t(data.size())));
        expectDamaged(path);
        QCOMPARE(count(path), -1);
    }

    void missingAndDirectories()
    {
        expectDamaged(file("does_not_exist.txt"));
        QCOMPARE(count(file("does_not_exist.txt")), -1);
        fs::create_directory(dir() / "a_dir.txt");
        expectDamaged(file("a_dir.txt"));
        // Writing into a directory's place fails with a logged error.
        sim::SimFrame* f = makeFrame(ov::FrameInt16, 3, 3, 1);
        m_log.takeErrors();
        ov::FilePath fp(file("a_dir.txt").c_str());
        QCOMPARE(f->saveToFile(&fp, m_mgr.fileTypeById(2), 0), -1);
        QCOMPARE(m_log.takeErrors().size(), 1);
        // Pictures are not the host's to write.
        ov::FilePath pic(file("p.png").c_str());
        QCOMPARE(f->saveToFile(&pic, m_mgr.fileTypeById(10), 0), -1);
        QCOMPARE(m_log.takeErrors().size(), 1);
        QVERIFY(!fs::exists(file("p.png")));
        QCOMPARE(f->saveToFile(nullptr, m_mgr.fileTypeById(2), 0), -1);
        QCOMPARE(f->saveToFile(&fp, nullptr, 0), -1);
        m_log.takeErrors();
        f->decRef();
    }

    void loadErrorsReachTheHostLog()
    {
        QTemporaryDir home;
        sim::SimHost host(home.path());
        const int before = host.logHistory().size();
        ov::FilePath fp(file("nothing_here.txt").c_str());
        QCOMPARE(host.dataMgr()->loadData(&fp, 0), (ov::IData*)nullptr);
        const QStringList history = host.logHistory();
        QCOMPARE(history.size(), before + 1);
        QVERIFY(history.last().startsWith("error: "));
        QVERIFY(history.last().contains("nothing_here.txt"));
    }
};

QTEST_MAIN(TestDataFiles)
#include "tst_datafiles.moc"
