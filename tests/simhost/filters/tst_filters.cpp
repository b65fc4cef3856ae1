// What each filter computes, checked against values worked out by hand on small frames
// of every pixel type: NaN, zero and infinite pixels, edges and corners, zero flat
// pixels, odd sizes, result types; and groups, which chain the filters in order.
#include "filterprobe.h"

#include <binningfilter.h>
#include <darkfilter.h>
#include <filtergroup.h>
#include <flatfieldfilter.h>
#include <hotpixelfilter.h>
#include <medianfilter.h>
#include <simframe.h>

#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <limits>
#include <map>
#include <memory>

using filterprobe::makeFrame;
using filterprobe::pixelsOf;
using filterprobe::sameValues;
using filterprobe::valuesText;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

// Applies the filter through the host interface and checks what every result shares:
// a new frame with one reference, the input's time and name, the input untouched.
sim::SimFrame* run(ov::IDataFilter& filter, sim::SimFrame* input)
{
    const std::vector<double> before = pixelsOf(input);
    if (!filter.isSuitable(input))
        return nullptr;
    ov::IMpxFrame* out = filter.filterFrame(input, 0);
    auto* frame = dynamic_cast<sim::SimFrame*>(out);
    if (!frame)
        return nullptr;
    if (frame == input || frame->refCount() != 1 || frame->acqTime() != 0.25
        || frame->name() != "input" || !sameValues(before, pixelsOf(input))) {
        frame->decRef();
        return nullptr;
    }
    return frame;
}

struct Lines
{
    QStringList lines;
    sim::LogFn fn()
    {
        return [this](unsigned, const QString& text) { lines << text; };
    }
};

} // namespace

class TestFilters : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::string path(const char* name) const { return m_dir.filePath(name).toStdString(); }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void frameTypes_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("int16") << int(ov::FrameInt16);
        QTest::newRow("uint32") << int(ov::FrameUInt32);
        QTest::newRow("uint64") << int(ov::FrameUInt64);
        QTest::newRow("double") << int(ov::FrameDouble);
    }

    // raw - Scale x dark, in double, for every type; a NaN pixel stays NaN.
    void darkSubtraction_data() { frameTypes_data(); }
    void darkSubtraction()
    {
        QFETCH(int, type);
        const std::string dark = path("dark43.bin");
        QVERIFY(filterprobe::writeDoubleFrame(
            dark, 4, 3, {0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5, 5.5}));
        sim::DarkFilter filter;
        std::unique_ptr<sim::SimFrame, void (*)(sim::SimFrame*)> input(
            makeFrame(4, 3, type, {0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, 33}),
            [](sim::SimFrame* f) { f->decRef(); });
        // No dark frame yet: nothing to subtract.
        QVERIFY(!filter.isSuitable(input.get()));
        QCOMPARE(filter.filterFrame(input.get(), 0), nullptr);

        QCOMPARE(filter.params().find("File")->setStringValue(dark.c_str()), 0);
        QCOMPARE(filter.params().find("Scale")->setDoubleValue(2.0), 0);
        if (type == ov::FrameDouble)
            input->pixels<double>()[5] = kNaN;
        sim::SimFrame* out = run(filter, input.get());
        QVERIFY(out);
        QCOMPARE(int(out->dataType()), int(ov::FrameDouble));
        QCOMPARE(out->width(), 4u);
        QCOMPARE(out->height(), 3u);
        std::vector<double> want {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22};
        if (type == ov::FrameDouble)
            want[5] = kNaN;
        QVERIFY2(sameValues(pixelsOf(out), want), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();

        // Scale 0 leaves the values (in double).
        QCOMPARE(filter.params().find("Scale")->setDoubleValue(0.0), 0);
        out = run(filter, input.get());
        QVERIFY(out);
        QVERIFY(sameValues(pixelsOf(out), pixelsOf(input.get())));
        out->decRef();
    }

    // A dark of another size is not suitable, and the log says why once.
    void darkOfAnotherSize()
    {
        const std::string dark = path("dark22.bin");
        QVERIFY(filterprobe::writeDoubleFrame(dark, 2, 2, {1, 2, 3, 4}));
        sim::DarkFilter filter;
        Lines log;
        filter.setLog(log.fn());
        QCOMPARE(filter.params().find("File")->setStringValue(dark.c_str()), 0);
        sim::SimFrame* frame = makeFrame(4, 3, ov::FrameUInt32, std::vector<double>(12, 1.0));
        for (int i = 0; i < 5; ++i) {
            QVERIFY(!filter.isSuitable(frame));
            QCOMPARE(filter.filterFrame(frame, 0), nullptr);
        }
        QCOMPARE(log.lines.size(), 1);
        QVERIFY2(log.lines.at(0).contains(QLatin1String("2 x 2"))
                && log.lines.at(0).contains(QLatin1String("4 x 3")),
            qPrintable(log.lines.at(0)));
        // A frame that fits works, and a later misfit is told again.
        sim::SimFrame* small = makeFrame(2, 2, ov::FrameUInt32, {5, 5, 5, 5});
        QVERIFY(filter.isSuitable(small));
        QVERIFY(!filter.isSuitable(frame));
        QCOMPARE(log.lines.size(), 2);
        small->decRef();
        frame->decRef();
    }

    // raw x mean(flat) / flat; mean over the flat's finite non-zero pixels (here 2);
    // flat pixels 0, NaN or infinite give 0.
    void flatField_data() { frameTypes_data(); }
    void flatField()
    {
        QFETCH(int, type);
        const std::string flat = path("flat43.bin");
        QVERIFY(
            filterprobe::writeDoubleFrame(flat, 4, 3, {1, 3, 0, 2, 2, kNaN, 1, 3, 2, 2, kInf, 0}));
        sim::FlatFieldFilter filter;
        QCOMPARE(filter.params().find("File")->setStringValue(flat.c_str()), 0);
        std::vector<double> raw {10, 12, 7, 4, 6, 5, 8, 9, 20, 2, 3, 11};
        std::vector<double> want {20, 8, 0, 4, 6, 0, 16, 6, 20, 2, 0, 0};
        if (type == ov::FrameDouble) {
            raw[0] = kNaN;
            want[0] = kNaN;
        }
        sim::SimFrame* input = makeFrame(4, 3, type, raw);
        sim::SimFrame* out = run(filter, input);
        QVERIFY(out);
        QCOMPARE(int(out->dataType()), int(ov::FrameDouble));
        QVERIFY2(sameValues(pixelsOf(out), want), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();
        input->decRef();
    }

    // A flat without a single usable pixel is refused, and the filter keeps its flat.
    void flatWithoutPixels()
    {
        const std::string good = path("flatgood.bin");
        const std::string zeros = path("flatzeros.bin");
        QVERIFY(filterprobe::writeDoubleFrame(good, 2, 1, {1, 3}));
        QVERIFY(filterprobe::writeDoubleFrame(zeros, 2, 1, {0, kNaN}));
        sim::FlatFieldFilter filter;
        Lines log;
        filter.setLog(log.fn());
        QCOMPARE(filter.params().find("File")->setStringValue(good.c_str()), 0);
        QString why;
        QVERIFY(filter.writeParam("File", zeros, &why) < 0);
        QVERIFY2(why.contains(QLatin1String("no finite non-zero pixel")), qPrintable(why));
        QCOMPARE(QString::fromStdString(filter.params().find("File")->asText()),
            QString::fromStdString(good));
        sim::SimFrame* input = makeFrame(2, 1, ov::FrameInt16, {4, 6});
        sim::SimFrame* out = run(filter, input);
        QVERIFY(out);
        QVERIFY(sameValues(pixelsOf(out), {8, 4}));
        out->decRef();
        input->decRef();
    }

    // 5 x 5 of 10 with a hot centre (100), a warm corner (50) and a masked pixel (0),
    // and for double a NaN corner. Sigma 5: centre and corner are masked, the corner
    // with only three neighbours. Sigma 0.4: also the two pixels whose neighbourhoods
    // hold the masked 0 (mean 8, deviation 4, limit 9.6).
    void hotPixels_data() { frameTypes_data(); }
    void hotPixels()
    {
        QFETCH(int, type);
        std::vector<double> raw(25, 10.0);
        raw[0] = 50;
        raw[12] = 100;
        raw[4] = 0;
        if (type == ov::FrameDouble)
            raw[24] = kNaN;
        sim::HotPixelFilter filter;
        sim::SimFrame* input = makeFrame(5, 5, type, raw);
        sim::SimFrame* out = run(filter, input);
        QVERIFY(out);
        QCOMPARE(int(out->dataType()), type);
        std::vector<double> want = raw;
        want[0] = 0;
        want[12] = 0;
        QVERIFY2(sameValues(pixelsOf(out), want), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();

        QCOMPARE(filter.params().find("Sigma")->setDoubleValue(0.4), 0);
        out = run(filter, input);
        QVERIFY(out);
        want[3] = 0;
        want[9] = 0;
        QVERIFY2(sameValues(pixelsOf(out), want), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();
        input->decRef();
    }

    // A 2 x 2 cluster of hot pixels hides itself in a 3 x 3 neighbourhood (limit about
    // 131 at Sigma 2) but not in a 5 x 5 one (limit about 80.8).
    void hotPixelRadius()
    {
        std::vector<double> raw(36, 10.0);
        for (int i : {14, 15, 20, 21})
            raw[size_t(i)] = 100;
        sim::HotPixelFilter filter;
        QCOMPARE(filter.params().find("Sigma")->setDoubleValue(2.0), 0);
        sim::SimFrame* input = makeFrame(6, 6, ov::FrameUInt32, raw);
        sim::SimFrame* out = run(filter, input);
        QVERIFY(out);
        QVERIFY(sameValues(pixelsOf(out), raw));
        out->decRef();
        QCOMPARE(filter.params().find("Radius")->setU32Value(2), 0);
        out = run(filter, input);
        QVERIFY(out);
        std::vector<double> want = raw;
        for (int i : {14, 15, 20, 21})
            want[size_t(i)] = 0;
        QVERIFY2(sameValues(pixelsOf(out), want), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();
        input->decRef();
    }

    // Unmasked pixels keep their exact value, beyond what a double holds.
    void hotPixelKeepsExactValues()
    {
        sim::SimFrame* input = sim::SimFrame::create(3, 1, ov::FrameUInt64);
        uint64_t* px = input->pixels<uint64_t>();
        px[0] = (uint64_t(1) << 60) + 1;
        px[1] = (uint64_t(1) << 60) + 3;
        px[2] = (uint64_t(1) << 60) + 1;
        sim::HotPixelFilter filter;
        ov::IMpxFrame* out = filter.filterFrame(input, 0);
        QVERIFY(out);
        const auto* o = static_cast<sim::SimFrame*>(out)->pixels<uint64_t>();
        QCOMPARE(o[0], px[0]);
        QCOMPARE(o[1], px[1]);
        QCOMPARE(o[2], px[2]);
        out->decRef();
        input->decRef();
    }

    // Median of the 3 x 3 neighbourhood with the edges clipped; NaN left out; an even
    // count gives the mean of the middle two (integers rounded half up).
    void median_data() { frameTypes_data(); }
    void median()
    {
        QFETCH(int, type);
        const bool isDouble = type == ov::FrameDouble;
        const std::vector<double> raw {1, 5, 2, 8, 7, isDouble ? kNaN : 10, 3, 4, 6, 9, 0, 2};
        const std::vector<double> want = isDouble
            ? std::vector<double> {5, 3, 4, 3.5, 6, 4, 3.5, 2.5, 7, 6, 3, 2.5}
            : std::vector<double> {6, 4, 5, 4, 7, 5, 4, 3, 8, 7, 4, 3};
        sim::MedianFilter filter;
        sim::SimFrame* input = makeFrame(4, 3, type, raw);
        sim::SimFrame* out = run(filter, input);
        QVERIFY(out);
        QCOMPARE(int(out->dataType()), type);
        QVERIFY2(sameValues(pixelsOf(out), want), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();
        input->decRef();
    }

    // A pixel whose neighbours are all NaN stays NaN; negative integers round half up.
    void medianEdgeCases()
    {
        sim::MedianFilter filter;
        sim::SimFrame* nan = makeFrame(3, 1, ov::FrameDouble, {kNaN, kNaN, kNaN});
        sim::SimFrame* out = run(filter, nan);
        QVERIFY(out);
        QVERIFY(sameValues(pixelsOf(out), {kNaN, kNaN, kNaN}));
        out->decRef();
        nan->decRef();
        sim::SimFrame* negative = makeFrame(2, 1, ov::FrameInt16, {-3, -2});
        out = run(filter, negative);
        QVERIFY(out);
        QVERIFY2(sameValues(pixelsOf(out), {-2, -2}), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();
        negative->decRef();
    }

    // 2 x 2 sums on a 5 x 3 frame: the odd last column and row are dropped.
    void binning_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("resultType");
        QTest::newRow("int16") << int(ov::FrameInt16) << int(ov::FrameDouble);
        QTest::newRow("uint32") << int(ov::FrameUInt32) << int(ov::FrameUInt64);
        QTest::newRow("uint64") << int(ov::FrameUInt64) << int(ov::FrameUInt64);
        QTest::newRow("double") << int(ov::FrameDouble) << int(ov::FrameDouble);
    }
    void binning()
    {
        QFETCH(int, type);
        QFETCH(int, resultType);
        std::vector<double> raw;
        for (int i = 0; i < 15; ++i)
            raw.push_back(i);
        sim::BinningFilter filter;
        sim::SimFrame* input = makeFrame(5, 3, type, raw);
        sim::SimFrame* out = run(filter, input);
        QVERIFY(out);
        QCOMPARE(int(out->dataType()), resultType);
        QCOMPARE(out->width(), 2u);
        QCOMPARE(out->height(), 1u);
        QVERIFY2(sameValues(pixelsOf(out), {12, 20}), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();
        input->decRef();
    }

    void binningEdgeCases()
    {
        sim::BinningFilter filter;
        // Too small for one block.
        sim::SimFrame* thin = makeFrame(1, 4, ov::FrameDouble, {1, 2, 3, 4});
        QVERIFY(!filter.isSuitable(thin));
        QCOMPARE(filter.filterFrame(thin, 0), nullptr);
        thin->decRef();
        // A NaN makes its block NaN; negative int16 values add up.
        sim::SimFrame* nan = makeFrame(4, 2, ov::FrameDouble, {1, 2, kNaN, 4, 5, 6, 7, 8});
        sim::SimFrame* out = run(filter, nan);
        QVERIFY(out);
        QVERIFY(sameValues(pixelsOf(out), {14, kNaN}));
        out->decRef();
        nan->decRef();
        sim::SimFrame* negative = makeFrame(2, 2, ov::FrameInt16, {-30000, -30000, -30000, 5});
        out = run(filter, negative);
        QVERIFY(out);
        QVERIFY(sameValues(pixelsOf(out), {-89995}));
        out->decRef();
        negative->decRef();
        // uint64 sums stop at the largest value.
        sim::SimFrame* big = sim::SimFrame::create(2, 2, ov::FrameUInt64);
        for (int i = 0; i < 4; ++i)
            big->pixels<uint64_t>()[i] = std::numeric_limits<uint64_t>::max() / 2;
        ov::IMpxFrame* sum = filter.filterFrame(big, 0);
        QVERIFY(sum);
        QCOMPARE(static_cast<sim::SimFrame*>(sum)->pixels<uint64_t>()[0],
            std::numeric_limits<uint64_t>::max());
        sum->decRef();
        big->decRef();
    }

    // Groups chain members in order: a dark of the full size fits before the binning,
    // one of the binned size after it; the same filter may stand twice; an empty group
    // copies.
    void groupOrder()
    {
        sim::DarkFilter dark;
        sim::BinningFilter binning;
        std::map<std::string, sim::FrameFilter*> byName {
            {dark.name(), &dark}, {binning.name(), &binning}};
        int changes = 0;
        sim::FilterGroup group(
            "chain",
            [&byName](const std::string& name) {
                const auto it = byName.find(name);
                return it == byName.end() ? nullptr : it->second;
            },
            [&changes](sim::FilterGroup&) { ++changes; }, sim::LogFn());
        QCOMPARE(group.filterType(), int(ov::DataFilterGroup));

        sim::SimFrame* input = makeFrame(4, 2, ov::FrameUInt32, {1, 2, 3, 4, 5, 6, 7, 8});
        // Empty: a plain copy of the same type.
        sim::SimFrame* out = run(group, input);
        QVERIFY(out);
        QCOMPARE(int(out->dataType()), int(ov::FrameUInt32));
        QVERIFY(sameValues(pixelsOf(out), pixelsOf(input)));
        out->decRef();

        const std::string full = path("darkfull.bin");
        const std::string binned = path("darkbinned.bin");
        QVERIFY(filterprobe::writeDoubleFrame(full, 4, 2, {1, 1, 1, 1, 2, 2, 2, 2}));
        QVERIFY(filterprobe::writeDoubleFrame(binned, 2, 1, {4, 2}));
        QCOMPARE(dark.params().find("File")->setStringValue(full.c_str()), 0);

        QCOMPARE(group.addFilterByName("Dark Subtraction"), 0);
        QCOMPARE(group.addFilterByName("Binning 2x2"), 0);
        QCOMPARE(group.addFilterByName("Median 3x3"), -1);
        QCOMPARE(changes, 2);
        out = run(group, input);
        QVERIFY(out);
        QCOMPARE(out->width(), 2u);
        QVERIFY2(sameValues(pixelsOf(out), {8, 16}), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();

        // Binning first: the full-size dark no longer fits the binned frame.
        QCOMPARE(group.setMembers({"Binning 2x2", "Dark Subtraction"}), 0);
        QVERIFY(!group.isSuitable(input));
        QCOMPARE(group.filterFrame(input, 0), nullptr);
        QCOMPARE(dark.params().find("File")->setStringValue(binned.c_str()), 0);
        out = run(group, input);
        QVERIFY(out);
        QVERIFY2(sameValues(pixelsOf(out), {10, 20}), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();

        // The same filter twice.
        QCOMPARE(dark.params().find("File")->setStringValue(full.c_str()), 0);
        QCOMPARE(group.setMembers({"Dark Subtraction", "Dark Subtraction", "Binning 2x2"}), 0);
        out = run(group, input);
        QVERIFY(out);
        QVERIFY2(sameValues(pixelsOf(out), {2, 10}), qPrintable(valuesText(pixelsOf(out))));
        out->decRef();

        // Emptied, it copies again; emptying an empty group changes nothing.
        const int before = changes;
        QCOMPARE(group.clearFilters(), 0);
        QCOMPARE(group.clearFilters(), 0);
        QCOMPARE(changes, before + 1);
        out = run(group, input);
        QVERIFY(out);
        QVERIFY(sameValues(pixelsOf(out), pixelsOf(input)));
        out->decRef();

        // Retired, it takes nothing.
        group.retire();
        QVERIFY(!group.isSuitable(input));
        QCOMPARE(group.addFilterByName("Binning 2x2"), -1);
        input->decRef();
    }

    // Parameters refuse what is out of their range or a file that cannot be read, say
    // why, and keep their value.
    void parameterChecks()
    {
        sim::DarkFilter dark;
        Lines log;
        dark.setLog(log.fn());
        const std::string missing = path("no-such-dark.bin");
        QCOMPARE(
            dark.params().find("File")->setStringValue(missing.c_str()), int(sim::ParamErrRefused));
        QCOMPARE(log.lines.size(), 1);
        QVERIFY2(
            log.lines.at(0).contains(
                QStringLiteral("Cannot read frame file %1").arg(QString::fromStdString(missing))),
            qPrintable(log.lines.at(0)));
        QCOMPARE(dark.params().find("File")->asText(), std::string());
        QString why;
        QVERIFY(dark.writeParam("File", missing, &why) < 0);
        QVERIFY2(why.contains(QLatin1String("Cannot read frame file")), qPrintable(why));
        QCOMPARE(dark.writeParam("Nope", "1", &why), sim::FrameFilter::kNoSuchParam);
        QVERIFY(why.contains(QLatin1String("File, Scale")));
        QCOMPARE(dark.params().find("Scale")->setDoubleValue(2000.0), int(sim::ParamErrRange));
        QCOMPARE(dark.params().find("Scale")->asDouble(), 1.0);

        sim::HotPixelFilter hot;
        QCOMPARE(hot.params().find("Sigma")->setDoubleValue(-1.0), int(sim::ParamErrRange));
        QCOMPARE(hot.params().find("Radius")->setU32Value(0), int(sim::ParamErrRange));
        QCOMPARE(hot.params().find("Radius")->setU32Value(11), int(sim::ParamErrRange));
        QCOMPARE(hot.writeParam("Radius", "abc", &why), int(sim::ParamErrNotNumber));
        QCOMPARE(hot.params().find("Sigma")->asDouble(), 5.0);
        QCOMPARE(hot.params().find("Radius")->asInt(), int64_t(1));
        QCOMPARE(hot.writeParam("Radius", "3", &why), 0);
        QCOMPARE(hot.params().find("Radius")->asInt(), int64_t(3));
    }
};

QTEST_GUILESS_MAIN(TestFilters)
#include "tst_filters.moc"
