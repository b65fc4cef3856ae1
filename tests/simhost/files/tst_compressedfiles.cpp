// Compressed binary frame files: the file types' compression parameters, every pixel
// type and binary form written compressed and read back to the same values, what the
// description says, text forms that stay text, measurement output that follows the
// parameters, and damaged compressed files that give a clear error and no frame.
#include "acqbytes.h"
#include "livecounts.h"

#include <deviceset.h>
#include <framefile.h>
#include <paramparser.h>
#include <simdata.h>
#include <simdatamgr.h>
#include <simfiletypes.h>
#include <simframe.h>
#include <timepixdevice.h>

#include <QTemporaryDir>
#include <QtTest>

#include <filesystem>
#include <fstream>
#include <iterator>
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
    QStringList warnings;
    sim::LogFn fn()
    {
        return [this](unsigned level, const QString& text) {
            std::lock_guard<std::mutex> lock(mutex);
            if (level == ov::LogError)
                errors << text;
            else if (level == ov::LogWarning)
                warnings << text;
        };
    }
    QStringList takeErrors()
    {
        std::lock_guard<std::mutex> lock(mutex);
        QStringList out = errors;
        errors.clear();
        return out;
    }
    QStringList takeWarnings()
    {
        std::lock_guard<std::mutex> lock(mutex);
        QStringList out = warnings;
        warnings.clear();
        return out;
    }
};

std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void spit(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    QVERIFY(out.good());
}

// A frame like a detector's: mostly zeros, some counts, a few extremes.
sim::SimFrame* makeFrame(int type, unsigned width, unsigned height, uint32_t seed)
{
    sim::SimFrame* frame = sim::SimFrame::create(width, height, type);
    std::mt19937_64 rng(seed);
    sim::visitFrameType(type, [&](auto t) {
        using T = decltype(t);
        T* px = frame->pixels<T>();
        for (size_t i = 0; i < frame->pixelCount(); ++i)
            px[i] = rng() % 4 == 0 ? T(rng() % 5000) : T(0);
        px[0] = std::numeric_limits<T>::max();
        px[1] = std::numeric_limits<T>::lowest();
        if constexpr (std::is_floating_point_v<T>)
            px[2] = 0.1;
    });
    frame->setAcqTime(0.25 + seed * 1e-3);
    frame->setFrameName(("Frame " + std::to_string(seed)).c_str());
    return frame;
}

sim::FrameView viewOf(const sim::SimFrame& f)
{
    sim::FrameView v;
    v.dataType = f.dataType();
    v.width = f.width();
    v.height = f.height();
    v.acqTime = f.acqTime();
    v.name = f.name();
    v.pixels = f.rawData();
    return v;
}

bool samePixels(const sim::SimFrame& a, const sim::FrameData& b)
{
    return a.dataType() == b.dataType && a.width() == b.width && a.height() == b.height
        && a.acqTime() == b.acqTime && a.name() == b.name
        && b.pixels.size() == a.pixelCount() * sim::frameTypeSize(a.dataType())
        && std::memcmp(a.rawData(), b.pixels.data(), b.pixels.size()) == 0;
}

// Offset and length of frame `index` as the description lists them.
std::pair<uint64_t, uint64_t> placeOf(const std::string& dataPath, int index)
{
    sim::Description d;
    std::string error;
    if (sim::parseDescription(slurp(dataPath + ".dsc"), dataPath, &d, &error) != 0
        || size_t(index) >= d.frames.size())
        return {0, 0};
    return {d.frames[size_t(index)].offset, d.frames[size_t(index)].bytes};
}

} // namespace

class TestCompressedFiles : public QObject
{
    Q_OBJECT

private:
    livecounts::FramesAndData m_live0;
    QTemporaryDir m_tmp;
    LogLines m_log;
    sim::SimDataMgr m_mgr;

    std::string file(const char* name) const
    {
        return (fs::path(m_tmp.path().toStdString()) / name).string();
    }
    static sim::SimFileType& type(int code) { return *sim::hostFileTypeById(code); }
    static sim::SimParam& param(int code, const char* name)
    {
        return *type(code).paramMgr()->find(name);
    }

    // The file must not load: null, one logged error that names the file and says why.
    void expectDamaged(const std::string& path, const QString& why)
    {
        m_log.takeErrors();
        ov::FilePath fp(path.c_str());
        ov::IData* data = m_mgr.loadData(&fp, 0);
        QVERIFY2(!data, path.c_str());
        const QStringList errors = m_log.takeErrors();
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors[0].contains(QString::fromStdString(path)), qPrintable(errors[0]));
        QVERIFY2(errors[0].contains(why), qPrintable(errors[0]));
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
        m_mgr.setLog(m_log.fn());
        m_log.takeErrors();
        m_log.takeWarnings();
    }
    void cleanup()
    {
        // The parameters belong to the process: leave them as they were.
        type(sim::FileTypeMultiFrame).resetParams();
        type(sim::FileTypeBinaryFrame).resetParams();
        QCOMPARE(livecounts::framesAndData(), m_live0);
    }

    void theBinaryTypesHaveCompressionParameters()
    {
        for (int code : {int(sim::FileTypeMultiFrame), int(sim::FileTypeBinaryFrame)}) {
            ov::IParamMgr* params = type(code).params();
            QVERIFY(params);
            const std::vector<ov::IParam*> all = params->params();
            QCOMPARE(int(all.size()), 2);
            ov::IParam* c = params->param("Compression");
            QVERIFY(c);
            QVERIFY(c->flags() & ov::ParamHasAliases);
            QCOMPARE(c->aliasList(), (std::vector<std::string> {"none", "zlib"}));
            QCOMPARE(c->getAliasValue(), std::string("none"));
            QCOMPARE(getParamType(c->description()), int(PT_LIST));
            ov::IParam* level = params->param("CompressionLevel");
            QVERIFY(level);
            QCOMPARE(getParamType(level->description()), int(PT_RANGE));
            QCOMPARE(parseParamValues(level->description()), std::vector<std::string> {"1..9"});
            QCOMPARE(int(level->byteValue()), 6);
            QCOMPARE(sim::fileOptionsOf(code).compression, int(sim::CompressNone));
            QCOMPARE(c->setAliasValue("zlib"), 0);
            QCOMPARE(level->setByteValue(9), 0);
            QCOMPARE(sim::fileOptionsOf(code).compression, int(sim::CompressZlib));
            QCOMPARE(sim::fileOptionsOf(code).level, 9);
        }
        QVERIFY(!type(sim::FileTypeTextFrame).params());
        QVERIFY(!type(sim::FileTypePicture).params());
        // The types are one per process: what one asks for, every other finds.
        ov::FilePath fp("/d/other.mfd");
        QCOMPARE(m_mgr.fileTypeFromFileName(&fp)->params()->param("Compression")->getAliasValue(),
            std::string("zlib"));

        // Refused values change nothing and are told in the log with the value and why.
        QCOMPARE(param(sim::FileTypeMultiFrame, "Compression").setAliasValue("lzma"),
            int(sim::ParamErrNoAlias));
        QCOMPARE(param(sim::FileTypeBinaryFrame, "CompressionLevel").setByteValue(12),
            int(sim::ParamErrRange));
        QCOMPARE(sim::fileOptionsOf(sim::FileTypeBinaryFrame).level, 9);
        const QStringList warnings = m_log.takeWarnings();
        QCOMPARE(warnings,
            QStringList({QStringLiteral("File type Multi-frame file, parameter Compression: lzma "
                                        "refused: not one of none|zlib"),
                QStringLiteral("File type Binary frame, parameter CompressionLevel: 12 refused: "
                               "outside 1..9")}));
    }

    void everyBinaryFormRoundTrips()
    {
        int n = 0;
        for (int pixelType : {int(ov::FrameInt16), int(ov::FrameUInt32), int(ov::FrameUInt64),
                 int(ov::FrameDouble)}) {
            for (const unsigned flags : {unsigned(sim::FileFlagBinary),
                     unsigned(sim::FileFlagBinary | sim::FileFlagSparse)}) {
                std::vector<sim::SimFrame*> frames = {makeFrame(pixelType, 37, 21, 1),
                    makeFrame(pixelType, 37, 21, 2), makeFrame(pixelType, 5, 3, 3)};
                std::vector<sim::FrameView> views;
                for (auto* f : frames)
                    views.push_back(viewOf(*f));
                const std::string path = file(qPrintable(QStringLiteral("rt%1.mfd").arg(n++)));
                std::string error;
                sim::FrameFileOptions options;
                options.compression = sim::CompressZlib;
                QCOMPARE(sim::writeFrameFile(
                             path, sim::FileTypeMultiFrame, flags, views, &error, options),
                    0);
                const std::string dsc = slurp(path + ".dsc");
                QVERIFY(dsc.find("Format=2\n") != std::string::npos);
                QVERIFY(dsc.find("Compression=zlib\n") != std::string::npos);
                QCOMPARE(sim::countFramesInFile(path, &error), 3);
                for (int i = 0; i < 3; ++i) {
                    sim::FrameData back;
                    QVERIFY2(sim::readFrameFromFile(path, i, &back, &error) == 0, error.c_str());
                    QVERIFY2(samePixels(*frames[size_t(i)], back),
                        qPrintable(QStringLiteral("type %1 flags %2 frame %3")
                                       .arg(pixelType)
                                       .arg(flags)
                                       .arg(i)));
                }
                for (auto* f : frames)
                    f->decRef();
            }
        }
    }

    void savesFollowTheTypesParameters()
    {
        // A detector-like frame: zlib makes the file smaller, and level 9 no larger than 1.
        sim::SimFrame* frame = makeFrame(ov::FrameInt16, 256, 256, 7);
        const std::string plain = file("plain.bin");
        QCOMPARE(sim::saveFramesToFile({frame}, plain, sim::FileTypeBinaryFrame, 0), 0);
        QVERIFY(slurp(plain + ".dsc").find("Format=1\n") != std::string::npos);
        QCOMPARE(slurp(plain).size(), size_t(256 * 256 * 2));

        QCOMPARE(param(sim::FileTypeBinaryFrame, "Compression").setAliasValue("zlib"), 0);
        QCOMPARE(param(sim::FileTypeBinaryFrame, "CompressionLevel").setByteValue(1), 0);
        const std::string fast = file("fast.bin");
        QCOMPARE(sim::saveFramesToFile({frame}, fast, sim::FileTypeBinaryFrame, 0), 0);
        QCOMPARE(param(sim::FileTypeBinaryFrame, "CompressionLevel").setByteValue(9), 0);
        const std::string small = file("small.bin");
        QCOMPARE(sim::saveFramesToFile({frame}, small, sim::FileTypeBinaryFrame, 0), 0);
        QVERIFY(slurp(fast).size() < slurp(plain).size() / 2);
        QVERIFY(slurp(small).size() <= slurp(fast).size());
        QVERIFY(slurp(small + ".dsc").find("Compression=zlib") != std::string::npos);
        for (const std::string& path : {plain, fast, small}) {
            ov::FilePath fp(path.c_str());
            ov::IData* data = m_mgr.loadData(&fp, 0);
            QVERIFY2(data, path.c_str());
            auto* back = dynamic_cast<sim::SimFrame*>(data->frameAt(0));
            QVERIFY(back);
            QCOMPARE(std::memcmp(back->rawData(), frame->rawData(), 256 * 256 * 2), 0);
            data->decRef();
        }

        // The multi-frame type: binary forms compressed, text forms stay text.
        QCOMPARE(param(sim::FileTypeMultiFrame, "Compression").setAliasValue("zlib"), 0);
        const std::string text = file("text.mfd");
        QCOMPARE(sim::saveFramesToFile({frame, frame}, text, sim::FileTypeMultiFrame, 0), 0);
        QVERIFY(slurp(text + ".dsc").find("Compression") == std::string::npos);
        QVERIFY(slurp(text + ".dsc").find("Form=text matrix") != std::string::npos);
        const std::string binary = file("binary.mfd");
        QCOMPARE(sim::saveFramesToFile(
                     {frame, frame}, binary, sim::FileTypeMultiFrame, sim::FileFlagBinary),
            0);
        QVERIFY(slurp(binary + ".dsc").find("Compression=zlib") != std::string::npos);
        ov::FilePath fp(binary.c_str());
        QCOMPARE(m_mgr.frameCountInFile(&fp), 2);
        frame->decRef();
        QCOMPARE(m_log.takeErrors(), QStringList());
    }

    void frameByFrameSavesStartAnewWhenTheCompressionChanges()
    {
        // The plug-in saves a measurement one frame a call; a file keeps one form.
        sim::SimFrame* a = makeFrame(ov::FrameInt16, 16, 16, 1);
        sim::SimFrame* b = makeFrame(ov::FrameInt16, 16, 16, 2);
        const uint64_t origin = sim::SimFrame::newOrigin();
        a->setOrigin(origin);
        b->setOrigin(origin);
        const std::string path = file("loop.mfd");
        QCOMPARE(sim::saveFramesToFile({a}, path, sim::FileTypeMultiFrame, sim::FileFlagBinary), 0);
        QCOMPARE(param(sim::FileTypeMultiFrame, "Compression").setAliasValue("zlib"), 0);
        QCOMPARE(sim::saveFramesToFile({b}, path, sim::FileTypeMultiFrame, sim::FileFlagBinary), 0);
        std::string error;
        QCOMPARE(sim::countFramesInFile(path, &error), 1);
        sim::FrameData back;
        QCOMPARE(sim::readFrameFromFile(path, 0, &back, &error), 0);
        QVERIFY(samePixels(*b, back));
        a->decRef();
        b->decRef();
    }

    void measurementOutputFollowsTheParameters()
    {
        sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, 91);
        desc.chips = 1;
        desc.width = 256;
        desc.height = 256;
        sim::TimepixDevice dev(desc);
        QCOMPARE(param(sim::FileTypeMultiFrame, "Compression").setAliasValue("zlib"), 0);
        acqbytes::Acq a;
        a.count = 3;
        a.time = 0.001;
        a.fileType = 4;
        a.fileFlags = sim::FileFlagBinary;
        const std::string path = file("measured.mfd");
        a.output = path.c_str();
        QCOMPARE(dev.doAdvancedAcquisition(acqbytes::acqRecord(a).data(), nullptr, nullptr), 0);
        QVERIFY(slurp(path + ".dsc").find("Compression=zlib") != std::string::npos);
        std::string error;
        QCOMPARE(sim::countFramesInFile(path, &error), 3);
        for (int i = 0; i < 3; ++i) {
            ov::RefData<ov::IMpxFrame> stored(dev.acqFrameRefInc(unsigned(i)), false);
            sim::FrameData back;
            QVERIFY2(sim::readFrameFromFile(path, i, &back, &error) == 0, error.c_str());
            QVERIFY(samePixels(*static_cast<sim::SimFrame*>(stored.get()), back));
        }
    }

    void damagedCompressedFilesGiveAClearError()
    {
        QCOMPARE(param(sim::FileTypeMultiFrame, "Compression").setAliasValue("zlib"), 0);
        sim::SimFrame* frame = makeFrame(ov::FrameUInt32, 64, 32, 5);
        const std::string good = file("good.mfd");
        QCOMPARE(sim::saveFramesToFile(
                     {frame, frame}, good, sim::FileTypeMultiFrame, sim::FileFlagBinary),
            0);
        frame->decRef();
        const std::string data = slurp(good);
        const std::string dsc = slurp(good + ".dsc");
        const auto [offset1, bytes1] = placeOf(good, 1);
        QVERIFY(bytes1 > 8);
        int n = 0;
        auto variant = [&](const std::string& newData, const std::string& newDsc) {
            const std::string path = file(qPrintable(QStringLiteral("bad%1.mfd").arg(n++)));
            spit(path, newData);
            spit(path + ".dsc", newDsc);
            return path;
        };

        // The checksum at the end of the second frame's stream: zlib notices.
        std::string flipped = data;
        flipped[size_t(offset1 + bytes1 - 1)] ^= 0x5a;
        const std::string checksum = variant(flipped, dsc);
        // Qt says so in a warning of its own (its wording varies between versions).
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^qUncompress: .*corrupted"));
        sim::FrameData back;
        std::string error;
        QCOMPARE(sim::readFrameFromFile(checksum, 1, &back, &error), -1);
        QVERIFY2(
            QString::fromStdString(error).contains(QStringLiteral("compressed data are damaged")),
            error.c_str());
        QVERIFY(error.find(checksum) != std::string::npos);
        QCOMPARE(back.pixels.size(), size_t(0));
        // Its first frame is sound.
        QCOMPARE(sim::readFrameFromFile(checksum, 0, &back, &error), 0);

        // A length prefix that disagrees with the description.
        std::string length = data;
        length[size_t(offset1)] = '\x7f';
        m_log.takeErrors();
        QCOMPARE(sim::readFrameFromFile(variant(length, dsc), 1, &back, &error), -1);
        QVERIFY2(error.find("the description") != std::string::npos, error.c_str());

        // Cut short: the description promises more than the file holds.
        expectDamaged(variant(data.substr(0, size_t(offset1 + bytes1 / 2)), dsc),
            QStringLiteral("truncated"));

        // Descriptions that cannot be: compression of a text form, an unknown method, a
        // compressed frame shorter than its length prefix.
        std::string textDsc = dsc;
        textDsc.replace(textDsc.find("binary matrix"), 13, "text matrix");
        expectDamaged(variant(data, textDsc), QStringLiteral("only binary forms are compressed"));
        std::string method = dsc;
        method.replace(method.find("Compression=zlib"), 16, "Compression=lz77");
        expectDamaged(variant(data, method), QStringLiteral("Compression: bad value"));
        std::string tiny = dsc;
        const size_t at = tiny.find("Bytes=");
        tiny.replace(at, tiny.find('\n', at) - at, "Bytes=3");
        expectDamaged(variant(data, tiny), QStringLiteral("at least 4 bytes"));

        // Garbage where the stream should be, length prefix intact.
        std::string garbage = data;
        for (uint64_t i = offset1 + 4; i < offset1 + bytes1; ++i)
            garbage[size_t(i)] = char(0xA5);
        const std::string noise = variant(garbage, dsc);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^qUncompress: .*corrupted"));
        QCOMPARE(sim::readFrameFromFile(noise, 1, &back, &error), -1);
        QVERIFY2(error.find("damaged") != std::string::npos, error.c_str());
    }
};

QTEST_GUILESS_MAIN(TestCompressedFiles)
#include "tst_compressedfiles.moc"
