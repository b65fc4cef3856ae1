// The paint loops of QMpxImage, pixel by pixel on small frames.
#include "colormap.h"
#include "orientations.h"
#include "qmpximage.h"
#include "qmpxlinearfused.h"
#include "qmpxpaintloops.h"

#include <QTest>

#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

namespace {

const double notANumber = std::numeric_limits<double>::quiet_NaN();

unsigned int gray(unsigned int v)
{
    return 0xFF000000u | (v << 16) | (v << 8) | v;
}

// An image showing one row of values, upright and unmirrored.
struct Row
{
    explicit Row(const std::vector<double>& values)
    {
        image.setMirrored(false);
        image.setRotation(0);
        image.setFrameData(values.data(), static_cast<unsigned int>(values.size()), 1);
    }
    unsigned int at(int x) const { return image.getImage().pixel(x, 0); }
    void paint(double min, double max)
    {
        image.rangeMin = min;
        image.rangeMax = max;
        image.redraw();
    }
    QMpxImage image;
};

// The linear loop's rules written out one test after another, as an oracle for
// larger frames.
unsigned int referenceLinear(
    double value, bool masked, double min, double max, bool under, bool over, const ColorMap& map)
{
    const unsigned int top = map.count - 1;
    const unsigned int overColor = over ? map.overRangeColor : map.colors[top];
    if (std::isnan(value))
        return overColor;
    if (masked)
        return map.specialColor;
    if (min >= max)
        return 0;
    if (value > max)
        return overColor;
    if (value < min)
        return under ? map.underRangeColor : map.colors[0];
    const double step = (max - min) / top;
    return map.colors[static_cast<unsigned int>((value - min) / step + 0.5)];
}

// Values around every bucket boundary of the range (a few units in the last place
// on both sides), every integer inside it, the range ends and their neighbours,
// values outside, zeros, subnormals, infinities and NaN.
std::vector<double> sweepValues(double min, double max, unsigned int top)
{
    const double infinity = std::numeric_limits<double>::infinity();
    std::vector<double> values;
    const double step = (max - min) / top;
    for (unsigned int k = 0; k <= top + 1; ++k) {
        double v = min + (double(k) - 0.5) * step;
        for (int i = 0; i < 6; ++i)
            v = std::nextafter(v, -infinity);
        for (int i = 0; i < 13; ++i, v = std::nextafter(v, infinity))
            values.push_back(v);
        values.push_back(min + double(k) * step);
    }
    if (max - min <= 4096.0)
        for (double v = std::ceil(min); v <= max; v += 1.0)
            values.push_back(v);
    for (double v : {min, max})
        for (double d : {-infinity, infinity}) {
            values.push_back(v);
            values.push_back(std::nextafter(v, d));
            values.push_back(std::nextafter(std::nextafter(v, d), d));
        }
    const double special[] = {0.0, -0.0, 4.9e-324, -4.9e-324, 2.2e-308, 1e-300, -1e-300, infinity,
        -infinity, notANumber, -notANumber, std::numeric_limits<double>::max(),
        std::numeric_limits<double>::lowest(), min - 1.0, max + 1.0, 2 * max - min, 2 * min - max};
    values.insert(values.end(), std::begin(special), std::end(special));
    return values;
}

} // namespace

Q_DECLARE_METATYPE(mpxpaint::LoopLimit)

class TstMpxImagePaint : public QObject
{
    Q_OBJECT

private slots:
    void pixelIndexTable()
    {
        // Raw mode shows the value itself: each pixel tells which index it read.
        std::vector<double> values(7 * 3);
        for (int i = 0; i < 21; ++i)
            values[i] = 100 + i;
        for (const Orientation& o : orientations) {
            QMpxImage image;
            image.rawRgb = true;
            image.setMirrored(o.mirrored);
            image.setRotation(o.rotation);
            image.setFrameData(values.data(), 7, 3);
            QCOMPARE(image.angle(), o.angle);
            image.redraw();
            const bool turned = o.rotation == 90 || o.rotation == 270;
            const int w = turned ? 3 : 7;
            const int h = turned ? 7 : 3;
            QCOMPARE(image.getImage().width(), w);
            QCOMPARE(image.getImage().height(), h);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    QCOMPARE(image.getImage().pixel(x, y),
                        0xFF000000u | unsigned(100 + expectedIndex(o.angle, w, h, x, y)));
        }
    }

    void linearLoopFollowsEveryOrientation()
    {
        // The same walk through the linear loop, which has its own row walker.
        std::vector<double> values(7 * 3);
        for (int i = 0; i < 21; ++i)
            values[i] = i;
        for (const Orientation& o : orientations) {
            QMpxImage image;
            image.setMirrored(o.mirrored);
            image.setRotation(o.rotation);
            image.setFrameData(values.data(), 7, 3);
            image.rangeMin = 0;
            image.rangeMax = 255; // one grey level per unit
            image.redraw();
            const bool turned = o.rotation == 90 || o.rotation == 270;
            const int w = turned ? 3 : 7;
            const int h = turned ? 7 : 3;
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    QCOMPARE(image.getImage().pixel(x, y),
                        gray(unsigned(expectedIndex(o.angle, w, h, x, y))));
        }
    }

    void linearLoopOnWideAndLargeFrames_data()
    {
        QTest::addColumn<mpxpaint::LoopLimit>("limit");
        QTest::newRow("widest") << mpxpaint::LoopLimit::Widest;
        QTest::newRow("AVX2") << mpxpaint::LoopLimit::Avx2;
        QTest::newRow("division") << mpxpaint::LoopLimit::Division;
    }

    void linearLoopOnWideAndLargeFrames()
    {
        // Rows longer than the loop's internal blocks and not a multiple of its
        // vector steps, and a frame large enough to be painted by two threads,
        // against the rules applied one pixel at a time.
        QFETCH(mpxpaint::LoopLimit, limit);
        mpxpaint::setLoopLimit(limit);
        const unsigned int sizes[][2] = {{300, 5}, {1100, 1000}, {13, 3}};
        for (const auto& size : sizes) {
            const unsigned int w = size[0];
            const unsigned int h = size[1];
            std::vector<double> values(std::size_t(w) * h);
            std::vector<unsigned char> mask(values.size());
            for (std::size_t i = 0; i < values.size(); ++i) {
                values[i] = double((i * 7919) % 1300) - 100.0 + 0.25 * double(i % 4);
                mask[i] = (i % 37) == 0 ? 0 : 1;
            }
            values[5] = notANumber;
            values[37] = notANumber; // masked and NaN
            for (const Orientation& o : {orientations[1], orientations[5], orientations[7]}) {
                QMpxImage image;
                image.setDefaultColorMap(ColorMap::Hot);
                image.setMirrored(o.mirrored);
                image.setRotation(o.rotation);
                image.setFrameData(values.data(), w, h);
                image.setMask(mask.data(), w, h);
                image.showMasked = true;
                image.showOverRange = true;
                image.rangeMin = 10.5;
                image.rangeMax = 1000.25;
                image.redraw();
                const bool turned = o.rotation == 90;
                const int pw = turned ? int(h) : int(w);
                const int ph = turned ? int(w) : int(h);
                const ColorMap& map = *image.getColorMap();
                for (int y = 0; y < ph; ++y) {
                    for (int x = 0; x < pw; ++x) {
                        const auto i = expectedIndex(o.angle, pw, ph, x, y);
                        const unsigned int expected = referenceLinear(
                            values[i], mask[i] == 0, 10.5, 1000.25, false, true, map);
                        if (image.getImage().pixel(x, y) != expected) {
                            mpxpaint::setLoopLimit(mpxpaint::LoopLimit::Widest);
                            QFAIL(qPrintable(
                                QString("angle %1 pixel %2,%3").arg(o.angle).arg(x).arg(y)));
                        }
                    }
                }
            }
        }
        mpxpaint::setLoopLimit(mpxpaint::LoopLimit::Widest);
    }

    void linearFastWayMatchesTheRuleAtBucketBoundaries_data()
    {
        QTest::addColumn<mpxpaint::LoopLimit>("limit");
        QTest::newRow("fast way, widest") << mpxpaint::LoopLimit::Widest;
        QTest::newRow("fast way, AVX2") << mpxpaint::LoopLimit::Avx2;
        QTest::newRow("division") << mpxpaint::LoopLimit::Division;
    }

    void linearFastWayMatchesTheRuleAtBucketBoundaries()
    {
        // The loop multiplies by the reciprocal of the step and corrects by one
        // comparison with a threshold: every colour must be the rule's, above all
        // where integer values meet a bucket boundary exactly.
        QFETCH(mpxpaint::LoopLimit, limit);
        mpxpaint::setLoopLimit(limit);
        const double ranges[][2] = {{0, 1000}, {10.5, 1000.25}, {0, 255}, {-1, 1}, {0, 100},
            {-50, 1150}, {1e6, 1e6 + 1}, {0, 1e-300}, {-1e300, 1e300}, {0.1, 0.3}, {3, 7},
            {0, 1e-310}, {-4096, 0}, {0, 65535}};
        const ColorMap::DefaultColorMap maps[] = {ColorMap::Gray, ColorMap::JetWhite};
        int checked = 0;
        for (const auto& range : ranges) {
            for (ColorMap::DefaultColorMap m : maps) {
                const double min = range[0];
                const double max = range[1];
                QMpxImage image;
                image.setDefaultColorMap(m);
                const ColorMap& map = *image.getColorMap();
                std::vector<double> values = sweepValues(min, max, map.count - 1);
                std::vector<unsigned char> mask(values.size());
                for (std::size_t i = 0; i < mask.size(); ++i)
                    mask[i] = (i % 11) == 0 ? 0 : 1;
                for (const bool flags : {false, true}) {
                    // Both walks: forwards (contiguous) and backwards (gathered).
                    image.setMirrored(flags);
                    image.setRotation(flags ? 180 : 0);
                    image.setFrameData(values.data(), unsigned(values.size()), 1);
                    image.setMask(mask.data(), unsigned(values.size()), 1);
                    image.showMasked = flags;
                    image.showUnderRange = flags;
                    image.showOverRange = !flags;
                    image.rangeMin = min;
                    image.rangeMax = max;
                    image.redraw();
                    const int w = int(values.size());
                    for (int x = 0; x < w; ++x) {
                        const auto i = expectedIndex(image.angle(), w, 1, x, 0);
                        const unsigned int expected = referenceLinear(
                            values[i], flags && mask[i] == 0, min, max, flags, !flags, map);
                        const unsigned int got = image.getImage().pixel(x, 0);
                        if (got != expected) {
                            mpxpaint::setLoopLimit(mpxpaint::LoopLimit::Widest);
                            QFAIL(qPrintable(
                                QString("range %1..%2 count %3 value %4: %5, expected %6")
                                    .arg(min, 0, 'g', 17)
                                    .arg(max, 0, 'g', 17)
                                    .arg(map.count)
                                    .arg(values[i], 0, 'g', 17)
                                    .arg(got, 0, 16)
                                    .arg(expected, 0, 16)));
                        }
                        ++checked;
                    }
                }
            }
        }
        mpxpaint::setLoopLimit(mpxpaint::LoopLimit::Widest);
        QVERIFY(checked > 100000);
    }

    void linearFastWayOnRandomValues()
    {
        // Dense random values over and around a range with an awkward step, some masked.
        std::vector<double> values(1 << 18);
        std::uint64_t state = 0x9E3779B97F4A7C15ull;
        for (double& v : values) {
            state = state * 6364136223846793005ull + 1442695040888963407ull;
            v = double(state >> 11) * 0x1p-53 * 1.2 * 977.3 - 0.1 * 977.3 + 13.7;
        }
        std::vector<unsigned char> mask(values.size(), 1);
        for (std::size_t i = 0; i < mask.size(); i += 13)
            mask[i] = 0;
        for (const mpxpaint::LoopLimit limit : {mpxpaint::LoopLimit::Widest,
                 mpxpaint::LoopLimit::Avx2, mpxpaint::LoopLimit::Division}) {
            mpxpaint::setLoopLimit(limit);
            QMpxImage image;
            image.setDefaultColorMap(ColorMap::Jet);
            image.setMirrored(false);
            image.setRotation(0);
            image.setFrameData(values.data(), 512, 512);
            image.setMask(mask.data(), 512, 512);
            image.showMasked = true;
            image.rangeMin = 13.7;
            image.rangeMax = 13.7 + 977.3;
            image.redraw();
            const ColorMap& map = *image.getColorMap();
            for (int y = 0; y < 512; ++y)
                for (int x = 0; x < 512; ++x) {
                    const std::size_t i = std::size_t(y) * 512 + x;
                    const double v = values[i];
                    if (image.getImage().pixel(x, y)
                        != referenceLinear(
                            v, mask[i] == 0, 13.7, 13.7 + 977.3, false, false, map)) {
                        mpxpaint::setLoopLimit(mpxpaint::LoopLimit::Widest);
                        QFAIL(qPrintable(QString("value %1").arg(v, 0, 'g', 17)));
                    }
                }
        }
        mpxpaint::setLoopLimit(mpxpaint::LoopLimit::Widest);
    }

    void linearRoundsToNearestEntry()
    {
        Row row({0.0, 10.4, 10.5, 254.6, 255.0, 127.49});
        row.paint(0, 255);
        QCOMPARE(row.at(0), gray(0));
        QCOMPARE(row.at(1), gray(10));
        QCOMPARE(row.at(2), gray(11));
        QCOMPARE(row.at(3), gray(255));
        QCOMPARE(row.at(4), gray(255));
        QCOMPARE(row.at(5), gray(127));
    }

    void linearUnderAndOverRange()
    {
        Row row({-5.0, 300.0, 100.0});
        row.paint(0, 255);
        QCOMPARE(row.at(0), gray(0));   // first table colour
        QCOMPARE(row.at(1), gray(255)); // last table colour
        QCOMPARE(row.at(2), gray(100));
        row.image.showUnderRange = true;
        row.image.showOverRange = true;
        row.image.redraw();
        QCOMPARE(row.at(0), 0xFF00FF00u);
        QCOMPARE(row.at(1), 0xFFFF0000u);
        QCOMPARE(row.at(2), gray(100));
    }

    void linearNanPaintsOverRangeEvenIfMasked()
    {
        Row row({notANumber, notANumber, 50.0, 60.0});
        const unsigned char mask[] = {1, 0, 0, 1};
        row.image.setMask(mask, 4, 1);
        row.image.setMaskValue(0);
        row.image.showMasked = true;
        row.paint(0, 255);
        QCOMPARE(row.at(0), gray(255));   // over range without the over colour: top colour
        QCOMPARE(row.at(1), gray(255));   // NaN wins over the mask
        QCOMPARE(row.at(2), 0xFF0000FFu); // masked
        QCOMPARE(row.at(3), gray(60));
        row.image.showOverRange = true;
        row.image.redraw();
        QCOMPARE(row.at(0), 0xFFFF0000u);
        QCOMPARE(row.at(1), 0xFFFF0000u);
        // Without showMasked the mask is ignored.
        row.image.showMasked = false;
        row.image.redraw();
        QCOMPARE(row.at(2), gray(50));
    }

    void maskValueSelectsMaskedPixels()
    {
        Row row({10.0, 20.0, 30.0});
        const unsigned char mask[] = {2, 1, 2};
        row.image.setMask(mask, 3, 1);
        row.image.setMaskValue(2);
        row.image.showMasked = true;
        row.paint(0, 255);
        QCOMPARE(row.at(0), 0xFF0000FFu);
        QCOMPARE(row.at(1), gray(20));
        QCOMPARE(row.at(2), 0xFF0000FFu);
    }

    void equalRangeLeavesPictureStanding()
    {
        Row row({10.0, 20.0, 30.0});
        row.paint(0, 255);
        const QImage before = row.image.getImage().copy();
        row.image.setFrameData(std::vector<double> {200.0, 210.0, 220.0}.data(), 3, 1);
        row.paint(50, 50);
        QCOMPARE(row.image.getImage(), before);
        // Log scale with a zero log span also stops: log10(1) - (nothing for 0) = 0.
        row.image.logScale = true;
        row.paint(0, 1);
        QCOMPARE(row.image.getImage(), before);
    }

    void invertedRangeIsTransparent()
    {
        Row row({10.0, 20.0, notANumber, 300.0, -4.0});
        const unsigned char mask[] = {1, 0, 1, 1, 1};
        row.image.setMask(mask, 5, 1);
        row.image.showMasked = true;
        row.paint(100, 50);
        QCOMPARE(row.at(0), 0u);
        QCOMPARE(row.at(1), 0xFF0000FFu);
        QCOMPARE(row.at(2), gray(255)); // NaN still takes the over-range way
        QCOMPARE(row.at(3), 0u);
        QCOMPARE(row.at(4), 0u);
        // The gamma loop has the same rule, after the mask.
        row.image.gamma = 1.0;
        row.image.redraw();
        QCOMPARE(row.at(0), 0u);
        QCOMPARE(row.at(1), 0xFF0000FFu);
        QCOMPARE(row.at(3), 0u);
    }

    void linearLogScale()
    {
        Row row({0.0, 1.0, 100.0, 1000.0, 10.0, 2000.0});
        row.image.logScale = true;
        row.paint(0, 1000);
        const double logStep = 3.0 / 255.0;
        QCOMPARE(row.at(0), gray(0)); // log10 of 0 taken as 0
        QCOMPARE(row.at(1), gray(0));
        QCOMPARE(row.at(2), gray(unsigned(2.0 / logStep + 0.5))); // 170
        QCOMPARE(row.at(2), gray(170));
        QCOMPARE(row.at(3), gray(255));
        QCOMPARE(row.at(4), gray(85));
        QCOMPARE(row.at(5), gray(255)); // over range
        // With min 10: v = value - 10, log span = 3 - 1 = 2.
        row.paint(10, 1000);
        QCOMPARE(row.at(4), gray(0)); // v = 0
        QCOMPARE(row.at(2), gray(unsigned(std::log10(90.0) / (2.0 / 255.0) + 0.5)));
        QCOMPARE(row.at(0), gray(0)); // under range
    }

    void gammaPositiveAndNegative()
    {
        Row row({128.0, 64.0, 255.0, 0.0});
        row.image.gamma = 1.0; // exponent 2
        row.paint(0, 255);
        QCOMPARE(row.at(0), gray(64)); // (128/255)^2 * 255 = 64.25
        QCOMPARE(row.at(1), gray(16)); // 16.06
        QCOMPARE(row.at(2), gray(255));
        QCOMPARE(row.at(3), gray(0));
        row.image.gamma = -2.0; // exponent 0.5
        row.image.redraw();
        QCOMPARE(row.at(0), gray(180)); // sqrt(128/255) * 255 = 180.67
        QCOMPARE(row.at(1), gray(127)); // 127.75, truncated
        row.image.gamma = 0.5;          // exponent 1.5
        row.image.redraw();
        QCOMPARE(row.at(0), gray(unsigned(std::pow(128.0 / 255.0, 1.5) * 255.0)));
        QCOMPARE(row.at(0), gray(90));
    }

    void gammaMinusOneTruncatesWhereLinearRounds()
    {
        // Same curve, but value 0.1 of range 0..10 is entry 2.55: the gamma loop
        // truncates to 2, the linear loop rounds to 3.
        Row row({0.1, 5.0});
        row.image.gamma = -1.0;
        row.paint(0, 10);
        QCOMPARE(row.at(0), gray(2));
        QCOMPARE(row.at(1), gray(127));
        row.image.gamma = 0.0;
        row.image.redraw();
        QCOMPARE(row.at(0), gray(3));
        QCOMPARE(row.at(1), gray(128));
    }

    void gammaRangeTestsAndMask()
    {
        Row row({notANumber, -1.0, 300.0, 50.0, 20.0});
        const unsigned char mask[] = {1, 1, 1, 0, 1};
        row.image.setMask(mask, 5, 1);
        row.image.showMasked = true;
        row.image.gamma = 1.0;
        row.paint(0, 255);
        QCOMPARE(row.at(0), gray(0)); // no NaN test in this loop: it lands on entry 0
        QCOMPARE(row.at(1), gray(0));
        QCOMPARE(row.at(2), gray(255));
        QCOMPARE(row.at(3), 0xFF0000FFu);
        row.image.showUnderRange = true;
        row.image.showOverRange = true;
        row.image.redraw();
        QCOMPARE(row.at(1), 0xFF00FF00u);
        QCOMPARE(row.at(2), 0xFFFF0000u);
    }

    void gammaLogScale()
    {
        Row row({100.0, 0.0, 10.0});
        row.image.logScale = true;
        row.image.gamma = 1.0;
        row.paint(0, 1000);
        QCOMPARE(row.at(0), gray(unsigned(std::pow(2.0 / 3.0, 2.0) * 255))); // 113
        QCOMPARE(row.at(0), gray(113));
        QCOMPARE(row.at(1), gray(0));
        QCOMPARE(row.at(2), gray(28)); // (1/3)^2 * 255 = 28.3
    }

    void rawLoop()
    {
        Row row({double(0x123456), double(0x112345678LL), -1.0, 5.9, 7.0});
        const unsigned char mask[] = {1, 1, 1, 1, 0};
        row.image.setMask(mask, 5, 1);
        row.image.showMasked = true;
        row.image.rawRgb = true;
        row.image.gamma = 2.0; // raw comes before gamma
        row.paint(0, 1);
        QCOMPARE(row.at(0), 0xFF123456u);
        QCOMPARE(row.at(1), 0xFF345678u);
        QCOMPARE(row.at(2), 0xFFFFFFFFu);
        QCOMPARE(row.at(3), 0xFF000005u);
        QCOMPARE(row.at(4), 0xFF0000FFu);
    }

    void decodeLoop()
    {
        Row row({0.0, 5.0, 20.0, 3.0});
        const unsigned char mask[] = {1, 1, 1, 0};
        auto* tracking = new TrackingColorMap;
        row.image.setCustomColorMap(tracking);
        row.image.setMask(mask, 4, 1);
        row.image.showMasked = true;
        row.image.rawRgb = true; // decoding comes first
        row.paint(0, 10);
        QCOMPARE(row.at(0), 0xFF000000u);
        QCOMPARE(row.at(1), tracking->decodeColor(5.0, 0.0, 10.0));
        QCOMPARE(row.at(1), 0xFF000000u | (237u << 16) | 0xFFFFu);
        QCOMPARE(row.at(2), 0xFFFFFFFFu); // saturated: range tests are the map's business
        QCOMPARE(row.at(3), 0xFF0000FFu);
    }

    void nothingToPaint()
    {
        QMpxImage image;
        image.paintFrame(0, 1, false, false, false); // no data: must not crash
        QVERIFY(image.getImage().isNull());
        Row row({1.0});
        row.paint(0, 255);
        QCOMPARE(row.at(0), gray(1));
    }
};

QTEST_MAIN(TstMpxImagePaint)
#include "tst_mpximagepaint.moc"
