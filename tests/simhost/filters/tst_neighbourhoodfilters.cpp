// The hot pixel mask and the 3 x 3 median on random frames of many shapes and every
// pixel type, against the rule worked out neighbourhood by neighbourhood: each pixel's
// clipped neighbourhood gathered, sorted or averaged on its own. The filters take
// shortcuts (shared column sorts and sums), which must give the same result everywhere:
// inside, along the edges, in frames too thin for a 3 x 3 square, and around NaN and
// infinite pixels; and in each variant of the loops (baseline x86-64, AVX2, AVX-512) that
// the processor runs.
#include "filterprobe.h"

#include <hotpixelfilter.h>
#include <isa.h>
#include <medianfilter.h>
#include <simframe.h>

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

using filterprobe::makeFrame;
using filterprobe::pixelsOf;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

struct Shape
{
    unsigned width;
    unsigned height;
};

const Shape kShapes[]
    = {{1, 1}, {1, 7}, {7, 1}, {2, 2}, {2, 5}, {3, 3}, {4, 3}, {17, 13}, {64, 48}};

// Counts of a few tens with some hot pixels; in a floating-point frame also NaN and
// infinite pixels, and fractions.
std::vector<double> randomValues(size_t count, bool floating, std::mt19937& rng)
{
    std::poisson_distribution<int> counts(20);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<double> values(count);
    for (double& v : values) {
        const double u = unit(rng);
        v = counts(rng);
        if (u < 0.04)
            v += 400;
        if (floating) {
            v += unit(rng);
            if (u > 0.97)
                v = kNaN;
            else if (u > 0.96)
                v = (u > 0.965 ? 1 : -1) * kInf;
        }
    }
    return values;
}

std::vector<double> neighbours(
    const std::vector<double>& px, const Shape& s, int x, int y, int radius, bool withSelf)
{
    std::vector<double> out;
    for (int ny = std::max(0, y - radius); ny <= std::min(int(s.height) - 1, y + radius); ++ny)
        for (int nx = std::max(0, x - radius); nx <= std::min(int(s.width) - 1, x + radius); ++nx)
            if (withSelf || nx != x || ny != y)
                out.push_back(px[size_t(ny) * s.width + size_t(nx)]);
    return out;
}

// The median of the pixel's 3 x 3 neighbourhood without NaN; of an even count the middle
// of the two middle values, rounded half up for integer frames.
double medianAt(const std::vector<double>& px, const Shape& s, int x, int y, bool floating)
{
    std::vector<double> v = neighbours(px, s, x, y, 1, true);
    v.erase(std::remove_if(v.begin(), v.end(), [](double d) { return std::isnan(d); }), v.end());
    if (v.empty())
        return kNaN;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    if (n % 2)
        return v[n / 2];
    const double lo = v[n / 2 - 1];
    const double hi = v[n / 2];
    if (floating)
        return lo + (hi - lo) / 2;
    return std::floor((lo + hi + 1) / 2);
}

// The pixel, or 0 when it lies above the mean of its finite neighbours plus sigma times
// their (population) deviation, both taken in two passes.
double maskedAt(
    const std::vector<double>& px, const Shape& s, int x, int y, int radius, double sigma)
{
    const double value = px[size_t(y) * s.width + size_t(x)];
    std::vector<double> v = neighbours(px, s, x, y, radius, false);
    v.erase(
        std::remove_if(v.begin(), v.end(), [](double d) { return !std::isfinite(d); }), v.end());
    if (v.empty() || std::isnan(value))
        return value;
    double mean = 0.0;
    for (double d : v)
        mean += d;
    mean /= double(v.size());
    double squares = 0.0;
    for (double d : v)
        squares += (d - mean) * (d - mean);
    return value > mean + sigma * std::sqrt(squares / double(v.size())) ? 0.0 : value;
}

QString firstDifference(
    const std::vector<double>& got, const std::vector<double>& want, const Shape& s)
{
    for (size_t i = 0; i < want.size(); ++i) {
        const bool same = std::isnan(got[i]) ? std::isnan(want[i]) : got[i] == want[i];
        if (!same)
            return QStringLiteral("%1 x %2 at (%3, %4): %5 instead of %6")
                .arg(s.width)
                .arg(s.height)
                .arg(i % s.width)
                .arg(i / s.width)
                .arg(got[i], 0, 'g', 17)
                .arg(want[i], 0, 'g', 17);
    }
    return QString();
}

// Runs the filter on the frame; the result's pixels, empty when it gave none.
std::vector<double> filtered(sim::FrameFilter& filter, sim::SimFrame* input)
{
    ov::IMpxFrame* out = filter.filterFrame(input, 0);
    auto* frame = dynamic_cast<sim::SimFrame*>(out);
    std::vector<double> px = frame ? pixelsOf(frame) : std::vector<double>();
    if (out)
        out->decRef();
    return px;
}

using Rule = std::function<double(const std::vector<double>& px, const Shape& s, int x, int y)>;

// Runs the filter on a random frame of the type in every shape and compares each result
// with the rule applied pixel by pixel; the first difference, empty when there is none.
QString differenceFromRule(sim::FrameFilter& filter, int type, std::mt19937& rng, const Rule& rule)
{
    for (const Shape& s : kShapes) {
        sim::SimFrame* input = makeFrame(s.width, s.height, type,
            randomValues(size_t(s.width) * s.height, type == ov::FrameDouble, rng));
        const std::vector<double> px = pixelsOf(input);
        std::vector<double> want(px.size());
        for (int y = 0; y < int(s.height); ++y)
            for (int x = 0; x < int(s.width); ++x)
                want[size_t(y) * s.width + size_t(x)] = rule(px, s, x, y);
        const std::vector<double> got = filtered(filter, input);
        input->decRef();
        if (got.size() != want.size())
            return QStringLiteral("%1 x %2: %3 pixels instead of %4")
                .arg(s.width)
                .arg(s.height)
                .arg(got.size())
                .arg(want.size());
        const QString difference = firstDifference(got, want, s);
        if (!difference.isEmpty())
            return difference;
    }
    return QString();
}

// Takes the test row's frame type and instruction set, and holds the filters to it.
int useRowIsa()
{
    QFETCH(int, type);
    QFETCH(int, isa);
    sim::capIsa(sim::Isa(isa));
    return type;
}

} // namespace

class TestNeighbourhoodFilters : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { sim::capIsa(sim::Isa::Avx512); }

    void frameTypes_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("isa");
        const std::pair<const char*, int> types[] = {{"int16", ov::FrameInt16},
            {"uint32", ov::FrameUInt32}, {"uint64", ov::FrameUInt64}, {"double", ov::FrameDouble}};
        const std::pair<const char*, sim::Isa> isas[] = {
            {"generic", sim::Isa::Generic}, {"avx2", sim::Isa::Avx2}, {"avx512", sim::Isa::Avx512}};
        for (const auto& isa : isas) {
            if (isa.second > sim::detectedIsa())
                continue;
            for (const auto& type : types)
                QTest::addRow("%s, %s", type.first, isa.first) << type.second << int(isa.second);
        }
    }

    void median_data() { frameTypes_data(); }
    void median()
    {
        const int type = useRowIsa();
        QFETCH(int, isa);
        QCOMPARE(sim::bestIsa(), sim::Isa(isa));
        const bool floating = type == ov::FrameDouble;
        std::mt19937 rng(7u + unsigned(type));
        sim::MedianFilter filter;
        const QString difference = differenceFromRule(filter, type, rng,
            [floating](const std::vector<double>& px, const Shape& s, int x, int y) {
                return medianAt(px, s, x, y, floating);
            });
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }

    void hotPixels_data() { frameTypes_data(); }
    void hotPixels()
    {
        const int type = useRowIsa();
        QFETCH(int, isa);
        QCOMPARE(sim::bestIsa(), sim::Isa(isa));
        std::mt19937 rng(11u + unsigned(type));
        sim::HotPixelFilter filter;
        for (int radius : {1, 2, 4}) {
            QCOMPARE(filter.params().find("Radius")->setU32Value(unsigned(radius)), 0);
            for (double sigma : {0.0, 1.37, 5.0}) {
                QCOMPARE(filter.params().find("Sigma")->setDoubleValue(sigma), 0);
                const QString difference = differenceFromRule(filter, type, rng,
                    [radius, sigma](const std::vector<double>& px, const Shape& s, int x, int y) {
                        return maskedAt(px, s, x, y, radius, sigma);
                    });
                QVERIFY2(difference.isEmpty(),
                    qPrintable(QStringLiteral("radius %1, sigma %2, ").arg(radius).arg(sigma)
                        + difference));
            }
        }
    }

    // A uniform frame keeps every pixel at Sigma 0, however the sums round: no pixel
    // lies above its neighbours' mean. One pixel a part in a billion above it is masked.
    void uniformFramesKeepTheirPixels()
    {
        for (double level : {0.1, 3.3, 1000.7, 123456.0}) {
            const Shape s {40, 30};
            const std::vector<double> values(size_t(s.width) * s.height, level);
            sim::HotPixelFilter filter;
            QCOMPARE(filter.params().find("Sigma")->setDoubleValue(0.0), 0);
            QCOMPARE(filter.params().find("Radius")->setU32Value(3), 0);
            sim::SimFrame* input = makeFrame(s.width, s.height, ov::FrameDouble, values);
            const std::vector<double> px = pixelsOf(input);
            QVERIFY(filterprobe::sameValues(filtered(filter, input), px));
            input->decRef();

            std::vector<double> bump = values;
            bump[5 * s.width + 7] = level * (1 + 1e-9);
            input = makeFrame(s.width, s.height, ov::FrameDouble, bump);
            std::vector<double> want = bump;
            want[5 * s.width + 7] = 0.0;
            QVERIFY(filterprobe::sameValues(filtered(filter, input), want));
            input->decRef();
        }
    }
};

QTEST_GUILESS_MAIN(TestNeighbourhoodFilters)
#include "tst_neighbourhoodfilters.moc"
