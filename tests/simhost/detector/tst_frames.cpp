// Frames and data objects of the simulated host: the four pixel types, conversions,
// statistics over regions, histogram, fractile, clone, scale, sub-frames, counting.
#include "livecounts.h"

#include <livecounter.h>
#include <simdata.h>
#include <simframe.h>

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace {

// Statistics of a region written out pixel by pixel: every pixel of the region once,
// in increasing index order, converted to double and accumulated in double.
struct Reference
{
    std::vector<size_t> indices;
    size_t count = 0;
    double min = 0.0;
    double max = 0.0;
    double minNonZero = 0.0;
    double sum = 0.0;
    double deviation = 0.0;
    size_t nonZero = 0;
};

std::vector<size_t> regionIndices(unsigned w, unsigned h, const ov::Region* region)
{
    std::vector<size_t> out;
    if (!region || region->count == 0 || !region->rects) {
        for (size_t i = 0; i < size_t(w) * h; ++i)
            out.push_back(i);
        return out;
    }
    std::vector<uint8_t> marks(size_t(w) * h, 0);
    for (unsigned r = 0; r < region->count; ++r) {
        const ov::RegionRect& rc = region->rects[r];
        if (rc.width <= 0 || rc.height <= 0)
            continue;
        for (long long y = rc.y; y < (long long)rc.y + rc.height; ++y)
            for (long long x = rc.x; x < (long long)rc.x + rc.width; ++x)
                if (x >= 0 && y >= 0 && x < w && y < h)
                    marks[size_t(y) * w + size_t(x)] = 1;
    }
    for (size_t i = 0; i < marks.size(); ++i)
        if (marks[i])
            out.push_back(i);
    return out;
}

Reference reference(const std::vector<double>& px, unsigned w, unsigned h, const ov::Region* region)
{
    Reference r;
    r.indices = regionIndices(w, h, region);
    double mn = std::numeric_limits<double>::infinity();
    double mx = -mn;
    double nz = mn;
    bool hasNonZero = false;
    for (size_t i : r.indices) {
        const double v = px[i];
        ++r.count;
        mn = std::min(mn, v);
        mx = std::max(mx, v);
        if (v != 0.0) {
            ++r.nonZero;
            hasNonZero = true;
            nz = std::min(nz, v);
        }
        r.sum += v;
    }
    r.min = r.count ? mn : 0.0;
    r.max = r.count ? mx : 0.0;
    r.minNonZero = hasNonZero ? nz : 0.0;
    if (r.count) {
        const double mean = r.sum / double(r.count);
        double acc = 0.0;
        for (size_t i : r.indices) {
            const double d = px[i] - mean;
            acc += d * d;
        }
        r.deviation = std::sqrt(acc / double(r.count));
    }
    return r;
}

int referenceHistogram(const std::vector<double>& px, const Reference& r, int bins, double min,
    double max, std::vector<double>* out)
{
    out->assign(size_t(bins), 0.0);
    if (!(max > min)) {
        min = r.min;
        max = r.max;
    }
    const double width = max - min;
    int counted = 0;
    for (size_t i : r.indices) {
        const double v = px[i];
        if (!(v >= min && v <= max))
            continue;
        int bin = width > 0.0 ? static_cast<int>((v - min) / width * bins) : 0;
        if (bin >= bins)
            bin = bins - 1;
        (*out)[size_t(bin)] += 1.0;
        ++counted;
    }
    return counted;
}

double referenceFractile(const std::vector<double>& px, const Reference& r, double q, int bins)
{
    if (bins <= 0)
        bins = 1;
    q = std::clamp(q, 0.0, 1.0);
    if (r.count == 0)
        return 0.0;
    if (r.max <= r.min)
        return r.min;
    std::vector<double> hist;
    referenceHistogram(px, r, bins, r.min, r.max, &hist);
    const double target = q * double(r.count);
    const double binWidth = (r.max - r.min) / bins;
    double below = 0.0;
    for (int b = 0; b < bins; ++b) {
        const double inBin = hist[size_t(b)];
        if (below + inBin >= target && inBin > 0.0)
            return r.min + (b + (target - below) / inBin) * binWidth;
        below += inBin;
    }
    return r.max;
}

// The same double, NaN equal to NaN, 0.0 not equal to -0.0.
bool same(double a, double b)
{
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b);
    return a == b && std::signbit(a) == std::signbit(b);
}

std::vector<double> valuesOf(sim::SimFrame* f)
{
    ov::DataBuff<double> d;
    f->getData(&d, ov::FrameDouble);
    return std::vector<double>(d.data(), d.data() + d.size());
}

// A frame of type with the given values (converted to the type by the test).
sim::SimFrame* frameOf(int type, unsigned w, unsigned h, const std::vector<double>& v)
{
    sim::SimFrame* f = sim::SimFrame::create(w, h, type);
    sim::visitFrameType(type, [&](auto t) {
        using T = decltype(t);
        std::vector<T> px(v.size());
        for (size_t i = 0; i < v.size(); ++i)
            px[i] = static_cast<T>(v[i]);
        f->setData(px.data(), px.size() * sizeof(T));
    });
    return f;
}

// Regions of one frame of w x h: none, empty, whole, inside, clipped, outside, empty
// rectangles, overlapping rectangles, full rows that join across row ends.
struct Regions
{
    std::vector<std::vector<ov::RegionRect>> rects;
    std::vector<std::string> names;
    explicit Regions(int w, int h)
    {
        auto add = [&](const char* name, std::vector<ov::RegionRect> r) {
            names.push_back(name);
            rects.push_back(std::move(r));
        };
        add("whole", {{0, 0, w, h}});
        add("larger than the frame", {{-5, -5, w + 10, h + 10}});
        add("inside", {{3, 2, w / 2, h / 2}});
        add("one column", {{w - 1, 0, 1, h}});
        add("one pixel", {{w / 3, h / 3, 1, 1}});
        add("clipped", {{w - 4, h - 3, 50, 50}});
        add("outside", {{w + 1, 0, 5, 5}});
        add("left of it", {{-10, 0, 10, h}});
        add("zero width", {{2, 2, 0, 5}});
        add("negative size", {{2, 2, -3, -4}});
        add("full rows", {{0, 1, w, 3}});
        add("overlapping", {{1, 1, w / 2, h / 2}, {w / 4, h / 4, w / 2, h / 2}, {0, 0, 3, 3}});
        add("contained", {{2, 2, w - 4, h - 4}, {4, 4, 3, 3}});
        add("rows joining", {{0, 0, w, 1}, {0, 1, 5, 1}, {w - 5, 3, 5, 2}, {0, 4, 3, 1}});
        add("some outside", {{-3, -3, 5, 5}, {w + 3, h + 3, 4, 4}, {w - 2, h - 2, 9, 9}});
        add("all outside", {{w, 0, 3, 3}, {0, h, 3, 3}});
        add("same twice", {{1, 2, 5, 4}, {1, 2, 5, 4}});
    }
};

// Compares every statistic of f with the plain computation for each region and the
// whole frame; each region is asked twice (the second time kept values may serve).
void compareWithReference(sim::SimFrame* f, const char* what)
{
    const std::vector<double> px = valuesOf(f);
    const int w = int(f->width());
    const int h = int(f->height());
    Regions regions(w, h);
    std::vector<const ov::Region*> list;
    std::vector<ov::Region> storage(regions.rects.size());
    std::vector<std::string> names;
    list.push_back(nullptr);
    names.push_back("null");
    static const ov::Region empty {nullptr, 0};
    list.push_back(&empty);
    names.push_back("empty");
    for (size_t i = 0; i < regions.rects.size(); ++i) {
        storage[i] = {regions.rects[i].data(), unsigned(regions.rects[i].size())};
        list.push_back(&storage[i]);
        names.push_back(regions.names[i]);
    }
    for (int round = 0; round < 2; ++round) {
        for (size_t k = 0; k < list.size(); ++k) {
            const ov::Region* region = list[k];
            const QString where = QStringLiteral("%1, region %2, round %3")
                                      .arg(what)
                                      .arg(QString::fromStdString(names[k]))
                                      .arg(round);
            const Reference r = reference(px, unsigned(w), unsigned(h), region);
            auto check = [&](const char* name, double got, double want) {
                if (!same(got, want))
                    QFAIL(qPrintable(QStringLiteral("%1: %2 %3, expected %4")
                                         .arg(where)
                                         .arg(name)
                                         .arg(got, 0, 'g', 17)
                                         .arg(want, 0, 'g', 17)));
            };
            // Histogram and fractile first, so that they are also tried without kept
            // extremes.
            std::vector<double> want;
            const bool finite = std::isfinite(r.min) && std::isfinite(r.max);
            if (finite) {
                for (int bins : {1, 7, 256}) {
                    const double lo = r.min;
                    const double hi = r.max;
                    const std::pair<double, double> ranges[] = {{0.0, 0.0}, {lo, hi},
                        {lo + (hi - lo) / 3, hi - (hi - lo) / 5}, {-3.5, 100.25}, {hi, lo}};
                    for (auto [mn, mx] : ranges) {
                        std::vector<double> got(size_t(bins), -1.0);
                        const int n = f->histogram(bins, got.data(), region, mn, mx);
                        const int wantN = referenceHistogram(px, r, bins, mn, mx, &want);
                        QCOMPARE(n, wantN);
                        for (int b = 0; b < bins; ++b)
                            check("histogram bin", got[size_t(b)], want[size_t(b)]);
                    }
                    for (double q : {0.0, 0.001, 0.05, 0.5, 0.95, 0.999, 1.0, -1.0, 2.0})
                        check("fractile", f->fractile(q, bins, region),
                            referenceFractile(px, r, q, bins));
                }
                check("fractile, no bins", f->fractile(0.3, 0, region),
                    referenceFractile(px, r, 0.3, 0));
            }
            QCOMPARE(f->pixelCountInRegion(region), int(r.count));
            QCOMPARE(f->nonZeroCount(region), int(r.nonZero));
            check("minValue", f->minValue(region), r.min);
            check("maxValue", f->maxValue(region), r.max);
            check("minNonZero", f->minNonZero(region), r.minNonZero);
            check("regionTotal", f->regionTotal(region), r.sum);
            check("regionMean", f->regionMean(region), r.count ? r.sum / double(r.count) : 0.0);
            check("regionDeviation", f->regionDeviation(region), r.deviation);
        }
    }
}

// Random values of a frame type: zeros, small counts, the type's extremes.
std::vector<double> randomValues(int type, size_t n, unsigned seed, double span)
{
    std::mt19937_64 rng(seed);
    std::vector<double> v(n);
    for (size_t i = 0; i < n; ++i) {
        const unsigned pick = unsigned(rng() % 16);
        double x = double(rng() % uint64_t(span));
        if (type == ov::FrameInt16)
            x -= span / 2;
        if (type == ov::FrameDouble)
            x = (double(int64_t(rng() % 2000001)) - 1000000.0) / 7.0;
        if (pick < 3)
            x = 0.0;
        v[i] = x;
    }
    return v;
}

// A 4 x 3 frame of the type with pixels 0..11 (negative ones for int16 at the end).
sim::SimFrame* ramp(int type)
{
    sim::SimFrame* f = sim::SimFrame::create(4, 3, type);
    std::vector<double> v(12);
    for (int i = 0; i < 12; ++i)
        v[size_t(i)] = i;
    sim::visitFrameType(type, [&](auto t) {
        using T = decltype(t);
        std::vector<T> px(12);
        for (int i = 0; i < 12; ++i)
            px[size_t(i)] = static_cast<T>(v[size_t(i)]);
        f->setData(px.data(), px.size() * sizeof(T));
    });
    return f;
}

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT

private:
    livecounts::FramesAndData m_live0;

private slots:
    void init() { m_live0 = livecounts::framesAndData(); }
    void cleanup() { QCOMPARE(livecounts::framesAndData(), m_live0); }

    void statisticsAndConversions_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("int16") << int(ov::FrameInt16);
        QTest::newRow("uint32") << int(ov::FrameUInt32);
        QTest::newRow("uint64") << int(ov::FrameUInt64);
        QTest::newRow("double") << int(ov::FrameDouble);
    }
    void statisticsAndConversions()
    {
        QFETCH(int, type);
        ov::RefData<sim::SimFrame> f(ramp(type), false);
        QCOMPARE(int(f->dataType()), type);
        QCOMPARE(int(f->pixelCount()), 12);
        QCOMPARE(f->maxValue(nullptr), 11.0);
        QCOMPARE(f->minValue(nullptr), 0.0);
        QCOMPARE(f->minNonZero(nullptr), 1.0);
        QCOMPARE(f->regionTotal(nullptr), 66.0);
        QCOMPARE(f->regionMean(nullptr), 5.5);
        QVERIFY(std::fabs(f->regionDeviation(nullptr) - std::sqrt(143.0 / 12.0)) < 1e-12);
        // Region: the 2 x 2 block at (1, 1) -> pixels 5, 6, 9, 10.
        const ov::RegionRect block {1, 1, 2, 2};
        const ov::Region r {&block, 1};
        QCOMPARE(f->pixelCountInRegion(&r), 4);
        QCOMPARE(f->regionTotal(&r), 30.0);
        QCOMPARE(f->minValue(&r), 5.0);
        QCOMPARE(f->maxValue(&r), 10.0);
        // Overlapping rectangles count each pixel once; parts outside are clipped.
        const ov::RegionRect two[] = {{0, 0, 2, 1}, {1, 0, 2, 1}, {3, 2, 5, 5}};
        const ov::Region r2 {two, 3};
        QCOMPARE(f->pixelCountInRegion(&r2), 4); // 0, 1, 2 and 11
        QCOMPARE(f->regionTotal(&r2), 14.0);
        const ov::Region empty {nullptr, 0};
        QCOMPARE(f->pixelCountInRegion(&empty), 12);
        // Only pixel 0 is zero.
        QCOMPARE(f->nonZeroCount(nullptr), 11);
        QCOMPARE(f->nonZeroCount(&r2), 3);
        QCOMPARE(f->nonZeroCount(&r), 4);
        QCOMPARE(f->total(&r), f->regionTotal(&r));
        QCOMPARE(f->mean(&r), 7.5);

        // Histogram over [0, 12) in 4 bins: 3 pixels each.
        double hist[4];
        QCOMPARE(f->histogram(4, hist, nullptr, 0.0, 12.0), 12);
        for (double h : hist)
            QCOMPARE(h, 3.0);
        QCOMPARE(f->histogram(2, hist, &r, 0.0, 8.0), 2); // 5 and 6; 9, 10 outside
        QCOMPARE(hist[1], 2.0);
        const double median = f->fractile(0.5, 1000, nullptr);
        // Half of the pixels (0..5) lie at or below the upper edge of the bin of 5.
        QVERIFY2(median >= 5.0 && median <= 5.02, qPrintable(QString::number(median)));
        const double tenth = f->fractile(0.1, 1000, nullptr); // 1.2 of 12 pixels: in 1
        QVERIFY2(tenth >= 0.98 && tenth <= 1.02, qPrintable(QString::number(tenth)));
        QVERIFY(f->fractile(1.0, 100, nullptr) <= 11.0 + 1e-9);

        // getData into each typed buffer.
        ov::DataBuff<double> d;
        QCOMPARE(f->getData(&d, ov::FrameDouble), 0);
        QCOMPARE(int(d.size()), 12);
        QCOMPARE(d[7], 7.0);
        ov::DataBuff<int16_t> s;
        QCOMPARE(f->getData(&s, ov::FrameInt16), 0);
        QCOMPARE(int(s[11]), 11);
        ov::DataBuff<uint32_t> u;
        QCOMPARE(f->getData(&u, ov::FrameUInt32), 0);
        QCOMPARE(u[3], 3u);
        ov::DataBuff<uint64_t> w;
        QCOMPARE(f->getData(&w, ov::FrameUInt64), 0);
        QCOMPARE(w[10], uint64_t(10));
        QCOMPARE(f->getData(&w, 3), -1);

        // dataRef is a window on the pixels themselves.
        ov::RefDataBuff<unsigned char> ref;
        QCOMPARE(f->dataRef(&ref), 0);
        QCOMPARE(int(ref.byteSize()), int(12 * sim::frameTypeSize(type)));
        QVERIFY(ref.dataByte() == f->rawData());

        // scale and clone.
        ov::RefData<ov::IMpxFrame> copy(f->clone(), false);
        QCOMPARE(f->scale(2.0, 0.5), 0);
        QCOMPARE(f->regionTotal(nullptr), 132.0);
        QCOMPARE(f->acqTime(), 0.5);
        QCOMPARE(copy->regionTotal(nullptr), 66.0);
        QCOMPARE(copy->acqTime(), 0.0);

        // convertTo to every type keeps the values.
        for (int to : {2, 5, 7, 9}) {
            ov::RefData<ov::IMpxFrame> c(copy->clone(), false);
            QCOMPARE(c->convertTo(to), 0);
            QCOMPARE(int(c->dataType()), to);
            QCOMPARE(c->regionTotal(nullptr), 66.0);
        }
        QCOMPARE(copy->convertTo(4), -1);
    }

    void statisticsMatchThePlainLoop_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<double>("span");
        QTest::newRow("int16, full range") << int(ov::FrameInt16) << 65535.0;
        QTest::newRow("int16, small range") << int(ov::FrameInt16) << 40.0;
        QTest::newRow("uint32, counts") << int(ov::FrameUInt32) << 300.0;
        QTest::newRow("uint32, wide") << int(ov::FrameUInt32) << 4294967295.0;
        QTest::newRow("uint64, counts") << int(ov::FrameUInt64) << 70000.0;
        QTest::newRow("uint64, beyond 2^53") << int(ov::FrameUInt64) << 1.8e19;
        QTest::newRow("double") << int(ov::FrameDouble) << 1.0;
    }
    void statisticsMatchThePlainLoop()
    {
        QFETCH(int, type);
        QFETCH(double, span);
        // Sizes around the vector widths and not multiples of them.
        for (auto [w, h] : {std::pair {37u, 23u}, {64u, 9u}, {1u, 1u}, {5u, 70u}}) {
            const std::vector<double> v = randomValues(type, size_t(w) * h, w * 131 + h, span);
            ov::RefData<sim::SimFrame> f(frameOf(type, w, h, v), false);
            compareWithReference(f.get(), qPrintable(QStringLiteral("%1 x %2").arg(w).arg(h)));
            if (QTest::currentTestFailed())
                return;
        }
        // A frame of one value (minimum equals maximum) and of zeros only.
        for (double value : {0.0, 7.0}) {
            ov::RefData<sim::SimFrame> f(
                frameOf(type, 19, 7, std::vector<double>(19 * 7, value)), false);
            compareWithReference(f.get(), "constant");
            if (QTest::currentTestFailed())
                return;
        }
    }

    void doubleSpecialValues()
    {
        const double inf = std::numeric_limits<double>::infinity();
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const double tiny = std::numeric_limits<double>::denorm_min();
        std::vector<std::vector<double>> cases;
        // Zeros of both signs: the sign of a zero minimum or maximum is the first one's.
        std::vector<double> zeros(40 * 11, 0.0);
        zeros[3] = -0.0;
        cases.push_back(zeros);
        zeros[3] = 0.0;
        zeros[100] = -0.0;
        cases.push_back(zeros);
        std::vector<double> negZeroFirst(40 * 11, 5.0);
        negZeroFirst[17] = -0.0;
        negZeroFirst[200] = 0.0;
        negZeroFirst[300] = -0.0;
        cases.push_back(negZeroFirst);
        std::vector<double> posZeroFirst(40 * 11, -5.0);
        posZeroFirst[17] = 0.0;
        posZeroFirst[18] = -0.0;
        cases.push_back(posZeroFirst);
        // NaN among values, at the start and the end; NaN and zeros only; NaN only.
        std::vector<double> withNan = randomValues(ov::FrameDouble, 40 * 11, 5, 1.0);
        withNan[0] = nan;
        withNan[77] = nan;
        withNan.back() = nan;
        withNan[90] = tiny;
        withNan[91] = -tiny;
        cases.push_back(withNan);
        std::vector<double> nanZeros(40 * 11, 0.0);
        for (size_t i = 0; i < nanZeros.size(); i += 3)
            nanZeros[i] = nan;
        cases.push_back(nanZeros);
        cases.push_back(std::vector<double>(40 * 11, nan));
        for (const std::vector<double>& v : cases) {
            ov::RefData<sim::SimFrame> f(frameOf(ov::FrameDouble, 40, 11, v), false);
            compareWithReference(f.get(), "special values");
            if (QTest::currentTestFailed())
                return;
        }
        // Infinities: extremes, sums and deviation (a histogram over an infinite range
        // has no meaningful bins and is left out).
        std::vector<double> withInf = randomValues(ov::FrameDouble, 40 * 11, 9, 1.0);
        withInf[10] = inf;
        withInf[300] = -inf;
        withInf[301] = nan;
        ov::RefData<sim::SimFrame> f(frameOf(ov::FrameDouble, 40, 11, withInf), false);
        compareWithReference(f.get(), "infinities");
        // With an explicit finite range the infinite pixels are simply outside it.
        double hist[4];
        QCOMPARE(f->histogram(4, hist, nullptr, -1e9, 1e9), 40 * 11 - 3);
    }

    // Large frames: sums beyond 2^53 (where adding in double rounds) and the full
    // vector loops.
    void largeSums()
    {
        const unsigned w = 1500;
        const unsigned h = 1500;
        std::vector<uint32_t> px(size_t(w) * h);
        for (size_t i = 0; i < px.size(); ++i)
            px[i] = 4294967295u - uint32_t(i % 1000u) * 977u;
        ov::RefData<sim::SimFrame> f(sim::SimFrame::create(w, h, ov::FrameUInt32), false);
        f->setData(px.data(), px.size() * 4);
        const std::vector<double> v = valuesOf(f.get());
        const Reference r = reference(v, w, h, nullptr);
        QVERIFY(r.sum > 9007199254740992.0);
        QVERIFY(same(f->regionTotal(nullptr), r.sum));
        QVERIFY(same(f->regionMean(nullptr), r.sum / double(r.count)));
        QVERIFY(same(f->regionDeviation(nullptr), r.deviation));
        QVERIFY(same(f->minValue(nullptr), r.min));
        QVERIFY(same(f->fractile(0.25, 256, nullptr), referenceFractile(v, r, 0.25, 256)));
        const ov::RegionRect half {0, 0, int(w), int(h) / 2};
        const ov::Region top {&half, 1};
        const Reference rt = reference(v, w, h, &top);
        QVERIFY(same(f->regionTotal(&top), rt.sum));

        std::vector<uint64_t> big(size_t(512) * 512);
        for (size_t i = 0; i < big.size(); ++i)
            big[i] = (uint64_t(1) << 53) + uint64_t(i) * 3u; // odd ones are rounded
        ov::RefData<sim::SimFrame> g(sim::SimFrame::create(512, 512, ov::FrameUInt64), false);
        g->setData(big.data(), big.size() * 8);
        const std::vector<double> gv = valuesOf(g.get());
        const Reference rg = reference(gv, 512, 512, nullptr);
        QVERIFY(same(g->regionTotal(nullptr), rg.sum));
        QVERIFY(same(g->regionDeviation(nullptr), rg.deviation));
        QVERIFY(same(g->maxValue(nullptr), rg.max));
        QVERIFY(same(g->fractile(0.5, 256, nullptr), referenceFractile(gv, rg, 0.5, 256)));
    }

    // Every change of the pixels is seen by the next statistics call.
    void changesAfterQueries_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("int16") << int(ov::FrameInt16);
        QTest::newRow("uint32") << int(ov::FrameUInt32);
        QTest::newRow("uint64") << int(ov::FrameUInt64);
        QTest::newRow("double") << int(ov::FrameDouble);
    }
    void changesAfterQueries()
    {
        QFETCH(int, type);
        const unsigned w = 33;
        const unsigned h = 17;
        const size_t n = size_t(w) * h;
        ov::RefData<sim::SimFrame> f(frameOf(type, w, h, randomValues(type, n, 1, 500.0)), false);
        const ov::RegionRect all {0, 0, int(w), int(h)};
        const ov::Region whole {&all, 1};
        // Asks everything the kept values hold, then checks against the plain loop.
        auto askAll = [&] {
            double hist[256];
            f->histogram(256, hist, nullptr, 0.0, 0.0);
            f->fractile(0.01, 256, &whole);
            f->fractile(0.99, 256, nullptr);
            f->minValue(nullptr);
            f->maxValue(&whole);
            f->minNonZero(nullptr);
            f->regionTotal(nullptr);
            f->regionDeviation(&whole);
        };
        auto verify = [&](const char* after) {
            compareWithReference(f.get(), after);
            return !QTest::currentTestFailed();
        };
        askAll();
        QVERIFY(verify("start"));

        askAll();
        const std::vector<double> next = randomValues(type, n, 2, 300.0);
        sim::visitFrameType(type, [&](auto t) {
            using T = decltype(t);
            std::vector<T> px(n);
            for (size_t i = 0; i < n; ++i)
                px[i] = static_cast<T>(next[i]);
            QCOMPARE(f->setData(px.data(), n * sizeof(T)), 0);
        });
        QVERIFY(verify("setData"));

        askAll();
        QCOMPARE(f->scale(3.0, 0.0), 0);
        QVERIFY(verify("scale"));

        askAll();
        QCOMPARE(f->setAcqTime(2.0), 0);
        QVERIFY(verify("setAcqTime"));

        // Host writers through the typed pixels and the raw pointer.
        askAll();
        sim::visitFrameType(type, [&](auto t) {
            using T = decltype(t);
            f->template pixels<T>()[5] = static_cast<T>(77);
            f->template pixels<T>()[n - 1]
                = static_cast<T>(-1.0 * (type != ov::FrameUInt32 && type != ov::FrameUInt64));
        });
        QVERIFY(verify("pixels"));
        askAll();
        sim::visitFrameType(type, [&](auto t) {
            using T = decltype(t);
            static_cast<T*>(f->rawData())[7] = static_cast<T>(12345);
        });
        QVERIFY(verify("rawData"));
        // A pointer kept across a statistics call, then pixelsChanged.
        askAll();
        void* kept = f->rawData();
        askAll();
        sim::visitFrameType(type, [&](auto t) {
            using T = decltype(t);
            static_cast<T*>(kept)[8] = static_cast<T>(999);
        });
        f->pixelsChanged();
        QVERIFY(verify("kept pointer"));

        // Writes through dataRef, also long after the loan was made.
        askAll();
        ov::RefDataBuff<unsigned char> ref;
        QCOMPARE(f->dataRef(&ref), 0);
        sim::visitFrameType(type, [&](auto t) {
            using T = decltype(t);
            reinterpret_cast<T*>(ref.dataByte())[0] = static_cast<T>(4242);
        });
        QVERIFY(verify("dataRef"));
        for (int i = 0; i < 3; ++i) {
            askAll();
            sim::visitFrameType(type, [&](auto t) {
                using T = decltype(t);
                reinterpret_cast<T*>(ref.dataByte())[size_t(i) * 50] = static_cast<T>(i * 1000 + 3);
            });
            QVERIFY(verify("a later write through dataRef"));
        }

        // convertTo to every other type and back.
        for (int to : {2, 5, 7, 9}) {
            askAll();
            QCOMPARE(f->convertTo(to), 0);
            QVERIFY(verify("convertTo"));
        }
        askAll();
        QCOMPARE(f->convertTo(type), 0);
        QVERIFY(verify("convertTo back"));

        // A clone has its own values; changing it leaves the original alone.
        ov::RefData<sim::SimFrame> copy(static_cast<sim::SimFrame*>(f->clone()), false);
        const double before = f->regionTotal(nullptr);
        copy->scale(2.0, 0.0);
        QVERIFY(same(f->regionTotal(nullptr), before));
        compareWithReference(copy.get(), "clone");
    }

    // Statistics of one frame asked from several threads at once agree.
    void statisticsFromThreads()
    {
        const unsigned w = 300;
        const unsigned h = 200;
        ov::RefData<sim::SimFrame> f(
            frameOf(ov::FrameUInt32, w, h, randomValues(ov::FrameUInt32, size_t(w) * h, 3, 5000.0)),
            false);
        const std::vector<double> v = valuesOf(f.get());
        const Reference r = reference(v, w, h, nullptr);
        const double lo = referenceFractile(v, r, 0.01, 256);
        const double hi = referenceFractile(v, r, 0.99, 256);
        std::atomic<int> wrong {0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                for (int i = 0; i < 200; ++i) {
                    if (t == 0 && i % 20 == 0)
                        f->pixelsChanged(); // as a new generation of the same pixels
                    if (!same(f->minValue(nullptr), r.min) || !same(f->maxValue(nullptr), r.max)
                        || !same(f->fractile(0.01, 256, nullptr), lo)
                        || !same(f->fractile(0.99, 256, nullptr), hi)
                        || !same(f->regionTotal(nullptr), r.sum))
                        ++wrong;
                }
            });
        for (auto& t : threads)
            t.join();
        QCOMPARE(wrong.load(), 0);
    }

    void conversionsRoundAndClamp()
    {
        ov::RefData<sim::SimFrame> f(sim::SimFrame::create(3, 1, ov::FrameDouble), false);
        const double v[] = {-5.0, 2.6, 1e12};
        QCOMPARE(f->setData(v, sizeof v), 0);
        QCOMPARE(f->setData(v, sizeof v - 1), -1);
        ov::DataBuff<int16_t> s;
        QCOMPARE(f->getData(&s, ov::FrameInt16), 0);
        QCOMPARE(int(s[0]), -5);
        QCOMPARE(int(s[1]), 3);
        QCOMPARE(int(s[2]), 32767);
        ov::DataBuff<uint32_t> u;
        f->getData(&u, ov::FrameUInt32);
        QCOMPARE(u[0], 0u);
        QCOMPARE(u[2], 4294967295u);
        QCOMPARE(f->convertTo(ov::FrameInt16), 0);
        QCOMPARE(f->maxValue(nullptr), 32767.0);
        QCOMPARE(f->scale(-1.0, 0.0), 0);
        QCOMPARE(f->minValue(nullptr), -32767.0);
        QCOMPARE(f->minNonZero(nullptr), -32767.0);
    }

    void namesTimesSubFramesAndCounting()
    {
        const long before = sim::liveCount(sim::Counted::Frame);
        sim::SimFrame* parent = sim::SimFrame::create(2, 2, ov::FrameUInt32);
        QCOMPARE(parent->setFrameName("Energy"), 0);
        QCOMPARE(QString::fromStdString(parent->frameName()), QStringLiteral("Energy"));
        QCOMPARE(parent->setAcqTime(-1.0), -1);
        QCOMPARE(parent->setAcqTime(0.25), 0);
        parent->setFrameInfoSource(77);
        sim::SimFrame* a = sim::SimFrame::create(2, 2, ov::FrameInt16);
        sim::SimFrame* b = sim::SimFrame::create(2, 2, ov::FrameDouble);
        QCOMPARE(parent->addSubFrame(a), 0);
        QCOMPARE(parent->addSubFrame(b), 0);
        QCOMPARE(a->refCount(), 2);
        a->decRef();
        b->decRef();
        QCOMPARE(parent->subFrameCount(), 2);
        const std::vector<ov::IMpxFrame*> subs = parent->subFrames();
        QCOMPARE(int(subs.size()), 2);
        QVERIFY(subs[0] == a && subs[1] == b);
        ov::IMpxFrame* copy = parent->clone();
        QCOMPARE(copy->subFrameCount(), 2);
        QVERIFY(copy->subFrames()[0] != a);
        QCOMPARE(copy->frameInfoSource(), uint64_t(77));
        QCOMPARE(copy->acqTime(), 0.25);
        QCOMPARE(sim::liveCount(sim::Counted::Frame), before + 6);
        copy->decRef();
        QCOMPARE(sim::liveCount(sim::Counted::Frame), before + 3);

        // Counting from several threads at once.
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([parent] {
                for (int i = 0; i < 10000; ++i) {
                    parent->incRef();
                    parent->decRef();
                }
            });
        for (auto& t : threads)
            t.join();
        QCOMPARE(parent->refCount(), 1);

        sim::SimData* data = sim::SimData::create(ov::DataPixels);
        data->addFrame(parent);
        parent->decRef(); // the data object holds it now
        QCOMPARE(data->dataKind(), int(ov::DataPixels));
        QCOMPARE(int(data->frameCount()), 1);
        QVERIFY(data->frameAt(0) == parent);
        QVERIFY(data->frameAt(1) == nullptr);
        QCOMPARE(sim::liveCount(sim::Counted::Data), m_live0.data + 1);
        QCOMPARE(data->decRef(), 0);
        QCOMPARE(sim::liveCount(sim::Counted::Frame), before);
    }
};

QTEST_GUILESS_MAIN(TestFrames)
#include "tst_frames.moc"
