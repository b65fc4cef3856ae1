// Pixel files as the host's file types: a Timepix3 is offered them and no other
// detector is; the last data object of a data-driven run saves its hits to each of them,
// and the file opens again as one data object with the same hits and the same frame;
// a damaged file opens as nothing, with a line in the log.
#include "acqbytes.h"
#include "chunkframe.h"

#include <deviceset.h>
#include <simdatamgr.h>
#include <simfiletypes.h>
#include <simframe.h>
#include <timepix3device.h>
#include <timepixdevice.h>
#include <tpx3hitfile.h>
#include <tpx3hitio.h>

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <tuple>
#include <vector>

using namespace acqbytes;

namespace {

struct HitOrder
{
    bool operator()(const ov::Tpx3Hit& a, const ov::Tpx3Hit& b) const
    {
        return std::tie(a.toa, a.x, a.y, a.tot, a.flags)
            < std::tie(b.toa, b.x, b.y, b.tot, b.flags);
    }
};

std::vector<ov::Tpx3Hit> sortedHits(const ov::ITpx3Pixels* p)
{
    std::vector<ov::Tpx3Hit> hits(p->pixels(), p->pixels() + p->chunkPixelCount());
    std::sort(hits.begin(), hits.end(), HitOrder());
    return hits;
}

bool sameHits(const std::vector<ov::Tpx3Hit>& a, const std::vector<ov::Tpx3Hit>& b)
{
    return a.size() == b.size()
        && std::equal(
            a.begin(), a.end(), b.begin(), [](const ov::Tpx3Hit& x, const ov::Tpx3Hit& y) {
                return !HitOrder()(x, y) && !HitOrder()(y, x);
            });
}

uint64_t total(const std::vector<uint32_t>& v)
{
    uint64_t sum = 0;
    for (uint32_t x : v)
        sum += x;
    return sum;
}

std::vector<std::string> extensions(ov::IDataMgr& mgr, ov::IDevMpx* dev)
{
    std::vector<std::string> out;
    for (ov::IFileType* t : mgr.deviceSupportedFileTypes(dev))
        out.push_back(t->extension());
    return out;
}

} // namespace

class TestTpx3HitLoad : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    sim::SimDataMgr m_mgr;
    QStringList m_log;

    std::string path(const char* name) const
    {
        return m_dir.filePath(QString::fromUtf8(name)).toStdString();
    }

    // A one-chunk run of the simulated chip, every hit held; its only data object.
    static ov::ITpx3Pixels* runOnce(sim::Timepix3Device& dev)
    {
        dev.setFrameMemoryMb(256);
        dev.setHitRate(2e5);
        Acq a;
        a.testPulses = 2; // pixel data
        a.time = 0.05;
        if (dev.doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr) != 0)
            return nullptr;
        ov::IData* d = dev.lastAcqDataRefInc(0);
        if (!d || d->dataKind() != ov::DataTpx3Pixels)
            return nullptr;
        return static_cast<ov::ITpx3Pixels*>(d);
    }

    std::vector<ov::Tpx3Hit> allHitsOf(sim::Timepix3Device& dev)
    {
        std::vector<ov::Tpx3Hit> all;
        for (int i = 0; i < dev.acqDataCount(); ++i) {
            ov::IData* d = dev.acqDataRefInc(unsigned(i));
            auto* p = static_cast<ov::ITpx3Pixels*>(d);
            all.insert(all.end(), p->pixels(), p->pixels() + p->chunkPixelCount());
            d->decRef();
        }
        std::sort(all.begin(), all.end(), HitOrder());
        return all;
    }

private slots:
    void init()
    {
        m_log.clear();
        m_mgr.setLog([this](unsigned, const QString& text) { m_log << text; });
        m_mgr.setHitFileReader(&sim::loadTpx3HitFile);
    }

    void onlyATimepix3IsOfferedPixelFiles()
    {
        sim::Timepix3Device tpx3(sim::makeDeviceDesc(ov::DevKindTpx3, 21));
        sim::TimepixDevice tpx(sim::makeDeviceDesc(ov::DevKindMpx2, 22));
        const std::vector<std::string> three = extensions(m_mgr, &tpx3);
        const std::vector<std::string> two = extensions(m_mgr, &tpx);
        for (const char* ext : {"t3p", "t3pa", "t3r", "prd"}) {
            QVERIFY2(std::count(three.begin(), three.end(), ext) == 1, ext);
            QVERIFY2(std::count(two.begin(), two.end(), ext) == 0, ext);
        }
        QVERIFY(std::count(two.begin(), two.end(), "mfd") == 1);
        QVERIFY(std::count(three.begin(), three.end(), "mfd") == 1);
        // A pixel file takes hits and clusters, never frames; a frame type the reverse
        // for clusters.
        for (ov::IFileType* t : m_mgr.deviceSupportedFileTypes(&tpx3)) {
            const bool hits = std::string(t->extension()).rfind("t3", 0) == 0
                || std::string(t->extension()) == "prd";
            QCOMPARE(t->canSaveFrames(ov::DataFrames), !hits);
            QCOMPARE(t->canSaveFrames(ov::DataTpx3Clusters), hits);
            QCOMPARE(t->canSaveFrames(ov::DataTpx3Pixels), true);
        }
    }

    void typesGoByTheEndingInExactCase()
    {
        auto id = [this](const char* name) {
            ov::FilePath p(name);
            return m_mgr.fileTypeIdFromFileName(&p);
        };
        QCOMPARE(id("/x/run.t3p"), 6);
        QCOMPARE(id("/x/run.t3pa"), 7);
        QCOMPARE(id("/x/run.t3r"), 8);
        QCOMPARE(id("/x/run.prd"), 9);
        QCOMPARE(id("/x/run.T3P"), -1);
        QCOMPARE(id("/x/run.mfd"), int(sim::FileTypeMultiFrame));
        // A description stands for its pixel file.
        QCOMPARE(id("/x/run.t3pa.dsc"), 7);
        for (int code = 6; code <= 9; ++code) {
            ov::IFileType* t = m_mgr.fileTypeById(code);
            QVERIFY(t);
            QCOMPARE(t->typeCode(), code);
            QVERIFY(t->isMultiFrame());
        }
    }

    void savedHitsOpenAgainWithTheSameFrame()
    {
        sim::Timepix3Device dev(sim::makeDeviceDesc(ov::DevKindTpx3, 23));
        ov::ITpx3Pixels* last = runOnce(dev);
        QVERIFY(last);
        const std::vector<ov::Tpx3Hit> run = allHitsOf(dev);
        QVERIFY(run.size() > 1000);
        const std::vector<uint32_t> shown = frameValues(last);
        QCOMPARE(total(shown), uint64_t(run.size()));

        for (const char* name : {"run.t3p", "run.t3pa", "run.t3r", "run.prd"}) {
            const std::string file = path(name);
            ov::FilePath fp(file.c_str());
            const int code = m_mgr.fileTypeIdFromFileName(&fp);
            QCOMPARE(last->saveToFile(&fp, code, 1), 0);
            QVERIFY2(QFile::exists(QString::fromStdString(file)), name);

            QCOMPARE(m_mgr.dataCountInFile(&fp), 1);
            QCOMPARE(m_mgr.frameCountInFile(&fp), 1);
            // Opened by its description, as the frame dialogs list it, or by itself.
            const std::string dsc = file + ".dsc";
            ov::FilePath dp(dsc.c_str());
            QCOMPARE(m_mgr.frameCountInFile(&dp), 1);
            ov::IData* loaded = m_mgr.loadData(&dp, 0);
            QVERIFY2(loaded, name);
            loaded->decRef();
            loaded = m_mgr.loadData(&fp, 0);
            QVERIFY2(loaded, name);
            QCOMPARE(loaded->dataKind(), int(ov::DataTpx3Pixels));
            auto* pixels = static_cast<ov::ITpx3Pixels*>(loaded);
            QVERIFY2(sameHits(sortedHits(pixels), run), name);
            QCOMPARE(uint64_t(pixels->pixelCount()), uint64_t(run.size()));
            QCOMPARE(pixels->lostPixels(), uint64_t(0));
            // The integral frame of the file is the frame the run showed last.
            QVERIFY2(frameValues(loaded) == shown, name);
            QVERIFY(m_log.isEmpty());
            // There is no second data set in a pixel file.
            QCOMPARE(m_mgr.loadData(&fp, 1), nullptr);
            QCOMPARE(m_log.size(), 1);
            m_log.clear();
            loaded->decRef();
        }
        last->decRef();
    }

    void aLoadedFileFadesLikeARun()
    {
        sim::Timepix3Device dev(sim::makeDeviceDesc(ov::DevKindTpx3, 24));
        ov::ITpx3Pixels* last = runOnce(dev);
        QVERIFY(last);
        const std::string file = path("fade.t3p");
        ov::FilePath fp(file.c_str());
        QCOMPARE(last->saveToFile(&fp, 6, 1), 0);
        last->decRef();
        ov::IData* loaded = m_mgr.loadData(&fp, 0);
        QVERIFY(loaded);
        auto* pixels = static_cast<ov::ITpx3Pixels*>(loaded);
        const uint64_t all = total(frameValues(loaded));
        // The last 10 ms of 50: about a fifth of the hits, counted from the newest.
        QCOMPARE(pixels->setFrameType(ov::Tpx3FrameFade), 0);
        QCOMPARE(pixels->setFadeWindowSize(0.01), 0);
        std::vector<ov::Tpx3Hit> hits(
            pixels->pixels(), pixels->pixels() + pixels->chunkPixelCount());
        const uint64_t end = hits.back().toa + 1;
        const uint64_t from = end - uint64_t(0.01 / 1.5625e-9);
        const uint64_t recent = uint64_t(std::count_if(
            hits.begin(), hits.end(), [&](const ov::Tpx3Hit& h) { return h.toa >= from; }));
        QCOMPARE(total(frameValues(loaded)), recent);
        QVERIFY(recent > 0 && recent < all / 2);
        loaded->decRef();
    }

    void aDescriptionThatDisagreesIsRefused()
    {
        sim::Timepix3Device dev(sim::makeDeviceDesc(ov::DevKindTpx3, 26));
        ov::ITpx3Pixels* last = runOnce(dev);
        QVERIFY(last);
        const std::string file = path("told.t3p");
        ov::FilePath fp(file.c_str());
        QCOMPARE(last->saveToFile(&fp, 6, 1), 0);
        const size_t hits = last->pixelCount();
        last->decRef();
        QFile dsc(QString::fromStdString(file + ".dsc"));
        QVERIFY(dsc.open(QIODevice::ReadOnly));
        QByteArray text = dsc.readAll();
        dsc.close();
        const QByteArray said = "Hits=" + QByteArray::number(qulonglong(hits));
        QVERIFY(text.contains(said));
        text.replace(said, "Hits=" + QByteArray::number(qulonglong(hits + 1)));
        QVERIFY(dsc.open(QIODevice::WriteOnly | QIODevice::Truncate));
        dsc.write(text);
        dsc.close();
        QCOMPARE(m_mgr.loadData(&fp, 0), nullptr);
        QCOMPARE(m_log.size(), 1);
        QVERIFY2(m_log.first().contains(QStringLiteral("told.t3p.dsc"))
                && m_log.first().contains(QString::number(hits + 1)),
            qPrintable(m_log.first()));
    }

    void aDamagedFileOpensAsNothing()
    {
        sim::Timepix3Device dev(sim::makeDeviceDesc(ov::DevKindTpx3, 25));
        ov::ITpx3Pixels* last = runOnce(dev);
        QVERIFY(last);
        for (const char* name : {"cut.t3p", "cut.t3pa", "cut.t3r", "cut.prd"}) {
            const std::string file = path(name);
            ov::FilePath fp(file.c_str());
            QCOMPARE(last->saveToFile(&fp, m_mgr.fileTypeIdFromFileName(&fp), 1), 0);
            QFile f(QString::fromStdString(file));
            QVERIFY(f.resize(f.size() * 2 / 3));
            m_log.clear();
            QCOMPARE(m_mgr.loadData(&fp, 0), nullptr);
            QCOMPARE(m_mgr.frameCountInFile(&fp), -1);
            QCOMPARE(m_log.size(), 2);
            QVERIFY2(
                m_log.first().contains(QString::fromStdString(file)), qPrintable(m_log.first()));
        }
        last->decRef();
        // Without a reader of pixel files the host says so.
        m_mgr.setHitFileReader(nullptr);
        m_log.clear();
        const std::string file = path("cut.t3p");
        ov::FilePath fp(file.c_str());
        QCOMPARE(m_mgr.loadData(&fp, 0), nullptr);
        QCOMPARE(m_log.size(), 1);
        QVERIFY(m_log.first().contains(QStringLiteral("no pixel files")));
    }
};

QTEST_GUILESS_MAIN(TestTpx3HitLoad)
#include "tst_tpx3hitio.moc"
