// Colour maps: the named tables, their special colours and the tracking map.
#include "colormap.h"

#include <QTest>

#include <cmath>

namespace {

unsigned int rgb(unsigned int r, unsigned int g, unsigned int b)
{
    return 0xFF000000u | (r << 16) | (g << 8) | b;
}

} // namespace

class TstColorMap : public QObject
{
    Q_OBJECT

private slots:
    void grayAndInverted()
    {
        ColorMap gray(ColorMap::Gray);
        QCOMPARE(gray.getCount(), 256u);
        for (unsigned int i = 0; i < 256; ++i)
            QCOMPARE(gray.getColors()[i], rgb(i, i, i));
        QCOMPARE(gray.getUnderRangeColor(), 0xFF00FF00u);
        QCOMPARE(gray.getOverRangeColor(), 0xFFFF0000u);
        QCOMPARE(gray.getSpecialColor(), 0xFF0000FFu);
        QCOMPARE(gray.getDefaultColorMap(), ColorMap::Gray);
        QVERIFY(!gray.decodesColors);

        ColorMap inverted(ColorMap::InvertGray);
        QCOMPARE(inverted.getCount(), 256u);
        for (unsigned int i = 0; i < 256; ++i)
            QCOMPARE(inverted.getColors()[i], rgb(255 - i, 255 - i, 255 - i));
        QCOMPARE(inverted.getUnderRangeColor(), 0xFF00FF00u);
        QCOMPARE(inverted.getOverRangeColor(), 0xFFFF0000u);
        QCOMPARE(inverted.getSpecialColor(), 0xFF0000FFu);
        QCOMPARE(inverted.getDefaultColorMap(), ColorMap::InvertGray);
    }

    void jetSegments()
    {
        ColorMap jet(ColorMap::Jet);
        QCOMPARE(jet.getCount(), 256u);
        const unsigned int* c = jet.getColors();
        for (unsigned int j = 0; j < 32; ++j)
            QCOMPARE(c[j], rgb(0, 0, 130 + 4 * j));
        for (unsigned int j = 0; j < 64; ++j) {
            QCOMPARE(c[32 + j], rgb(0, 4 * j, 255));
            QCOMPARE(c[96 + j], rgb(4 * j, 255, 255 - 4 * j));
            QCOMPARE(c[160 + j], rgb(255, 255 - 4 * j, 0));
        }
        for (unsigned int j = 0; j < 32; ++j)
            QCOMPARE(c[224 + j], rgb(255 - 4 * j, 0, 0));
        QCOMPARE(c[0], 0xFF000082u);
        QCOMPARE(jet.getUnderRangeColor(), 0xFF000000u);
        QCOMPARE(jet.getOverRangeColor(), 0xFFFFFFFFu);
        QCOMPARE(jet.getSpecialColor(), 0xFF0000FFu);
        QCOMPARE(jet.red(255), 131);
        QCOMPARE(jet.green(100), 255);
        QCOMPARE(jet.blue(0), 130);
    }

    void jetWhite()
    {
        ColorMap jet(ColorMap::Jet);
        ColorMap white(ColorMap::JetWhite);
        QCOMPARE(white.getCount(), 257u);
        QCOMPARE(white.getColors()[0], 0xFFFFFFFFu);
        QCOMPARE(white.getColors()[1], 0xFF000082u);
        for (unsigned int i = 0; i < 256; ++i)
            QCOMPARE(white.getColors()[i + 1], jet.getColors()[i]);
        QCOMPARE(white.getUnderRangeColor(), 0xFF000000u);
        QCOMPARE(white.getOverRangeColor(), 0xFFCC0BBFu);
        QCOMPARE(white.getSpecialColor(), 0xFF0000FFu);
        QCOMPARE(white.getDefaultColorMap(), ColorMap::JetWhite);
    }

    void hotAndCool()
    {
        ColorMap hot(ColorMap::Hot);
        QCOMPARE(hot.getCount(), 768u);
        for (unsigned int i = 0; i < 256; ++i) {
            QCOMPARE(hot.getColors()[i], rgb(i, 0, 0));
            QCOMPARE(hot.getColors()[256 + i], rgb(255, i, 0));
            QCOMPARE(hot.getColors()[512 + i], rgb(255, 255, i));
        }
        QCOMPARE(hot.getUnderRangeColor(), 0xFF00FF00u);
        QCOMPARE(hot.getOverRangeColor(), 0xFF00FFFFu);
        QCOMPARE(hot.getSpecialColor(), 0xFF0000FFu);

        ColorMap cool(ColorMap::Cool);
        QCOMPARE(cool.getCount(), 256u);
        for (unsigned int i = 0; i < 256; ++i)
            QCOMPARE(cool.getColors()[i], rgb(i, 255 - i, 255));
        QCOMPARE(cool.getUnderRangeColor(), 0xFF00FF00u);
        QCOMPARE(cool.getOverRangeColor(), 0xFFFF0000u);
        QCOMPARE(cool.getSpecialColor(), 0xFF0000FFu);
    }

    void hsl()
    {
        ColorMap map(ColorMap::HSL);
        QCOMPARE(map.getCount(), 768u);
        QCOMPARE(map.getColors()[0], 0xFFF30C0Cu);
        for (unsigned int i = 0; i <= 768; ++i)
            QVERIFY2((map.getColors()[i] & 0xFFFFFFu) != 0, qPrintable(QString::number(i)));
        // Sextant 1 starts at i = 140.8, so entry 141 is the first with a falling red.
        // Entry 140: f = 0.99432 * 0.9, up = trunc((f + 0.05) * 256) = 241.
        QCOMPARE(map.red(140), 0xF3);
        QCOMPARE(map.green(140), 241);
        QCOMPARE(map.red(141), 0xF2);
        QCOMPARE(map.green(141), 0xF3);
        // The ramp stops inside the sixth sextant: blue is falling, red is full.
        QCOMPARE(map.red(767), 0xF3);
        QCOMPARE(map.green(767), 0x0C);
        QVERIFY(map.blue(767) > 0x0C && map.blue(767) < 0xF3);
        QCOMPARE(map.getUnderRangeColor(), 0xFF000000u);
        QCOMPARE(map.getOverRangeColor(), 0xFFFFFFFFu);
        QCOMPARE(map.getSpecialColor(), 0xFF0000FFu);
    }

    void coolWarmReferencePoints()
    {
        ColorMap map(ColorMap::CoolWarm);
        QCOMPARE(map.getCount(), 256u);
        const unsigned int every16[]
            = {0x3B4CC0, 0x4D68D7, 0x6282EA, 0x779AF7, 0x8DB0FE, 0xA3C2FF, 0xB8D0F9, 0xCCD9EE,
                0xDDDDDD, 0xECD3C5, 0xF5C4AD, 0xF7B194, 0xF49A7B, 0xEC7F63, 0xDE604D, 0xCB3E38};
        for (int k = 0; k < 16; ++k)
            QCOMPARE(map.getColors()[16 * k], 0xFF000000u | every16[k]);
        QCOMPARE(map.getColors()[255], 0xFFB50B27u);
        QCOMPARE(map.getColors()[256], 0xFFB50B27u);
        QCOMPARE(map.getColors()[1], 0xFF3C4EC2u);
        QCOMPARE(map.getColors()[2], 0xFF3D50C3u);
        QCOMPARE(map.getColors()[252], 0xFFBA1A2Bu);
        QCOMPARE(map.getColors()[253], 0xFFB91629u);
        QCOMPARE(map.getColors()[254], 0xFFB71128u);
        QCOMPARE(map.getUnderRangeColor(), 0xFF000000u);
        QCOMPARE(map.getOverRangeColor(), 0xFF00FF00u);
        QCOMPARE(map.getSpecialColor(), 0xFF00FFFFu);
        QCOMPARE(map.getDefaultColorMap(), ColorMap::CoolWarm);
    }

    void coolWarmIsSmoothAndDiverging()
    {
        ColorMap map(ColorMap::CoolWarm);
        for (int i = 1; i < 256; ++i) {
            // The warm end falls steeply in green (26, 22, 17, 11 at its last entries).
            QVERIFY2(std::abs(map.red(i) - map.red(i - 1)) <= 6, qPrintable(QString::number(i)));
            QVERIFY2(
                std::abs(map.green(i) - map.green(i - 1)) <= 6, qPrintable(QString::number(i)));
            QVERIFY2(std::abs(map.blue(i) - map.blue(i - 1)) <= 6, qPrintable(QString::number(i)));
        }
        // Blue dominates the lower half, red the upper half.
        for (int i = 0; i < 120; ++i)
            QVERIFY(map.blue(i) > map.red(i));
        for (int i = 136; i < 256; ++i)
            QVERIFY(map.red(i) > map.blue(i));
        // Red rises monotonically up to the warm side's peak.
        for (int i = 1; i <= 176; ++i)
            QVERIFY(map.red(i) >= map.red(i - 1));
        ColorMap direct(ColorMap::Gray);
        direct.setCoolWarm();
        for (int i = 0; i <= 256; ++i)
            QCOMPARE(direct.getColors()[i], map.getColors()[i]);
    }

    void lastEntryRepeatedEverywhere()
    {
        for (int m = 0; m <= 8; ++m) {
            ColorMap map(static_cast<ColorMap::DefaultColorMap>(m));
            const unsigned int n = map.getCount();
            QVERIFY(n > 0);
            QCOMPARE(map.getColors()[n], map.getColors()[n - 1]);
        }
        TrackingColorMap tracking;
        QCOMPARE(tracking.getColors()[768], tracking.getColors()[767]);
    }

    void valueAboveEightChangesNothing()
    {
        ColorMap map(ColorMap::Hot);
        const unsigned int* table = map.getColors();
        const unsigned int first = table[300];
        map.setColorMap(static_cast<ColorMap::DefaultColorMap>(9));
        QCOMPARE(map.getCount(), 768u);
        QCOMPARE(map.getColors(), table);
        QCOMPARE(map.getColors()[300], first);
        QCOMPARE(map.getOverRangeColor(), 0xFF00FFFFu);
        QCOMPARE(map.getUnderRangeColor(), 0xFF00FF00u);
        QCOMPARE(map.getDefaultColorMap(), ColorMap::Hot);
    }

    void trackingThroughPlainMapIsHsl()
    {
        ColorMap hsl(ColorMap::HSL);
        ColorMap map(ColorMap::Gray);
        map.setColorMap(ColorMap::Tracking);
        QCOMPARE(map.getDefaultColorMap(), ColorMap::HSL);
        QCOMPARE(map.getCount(), 768u);
        for (unsigned int i = 0; i <= 768; ++i)
            QCOMPARE(map.getColors()[i], hsl.getColors()[i]);
        QCOMPARE(map.getOverRangeColor(), 0xFFFFFFFFu);
        QVERIFY(!map.decodesColors);
    }

    void ownedTableAndSetColors()
    {
        auto* table = new unsigned int[4] {1, 2, 3, 3};
        ColorMap map(table, 3);
        QCOMPARE(map.getCount(), 3u);
        QCOMPARE(map.getColors(), table);
        QCOMPARE(map.getUnderRangeColor(), 0u);
        QCOMPARE(map.getOverRangeColor(), 0u);
        QCOMPARE(map.getSpecialColor(), 0u);
        QVERIFY(!map.decodesColors);
        QCOMPARE(map.decodeColor(5, 0, 10), 0u);

        unsigned int replacement[] = {7, 8};
        map.setColors(replacement, 2);
        QCOMPARE(map.getCount(), 2u);
        QCOMPARE(map.getColors(), table); // no reallocation
        QCOMPARE(table[0], 7u);
        QCOMPARE(table[1], 8u);
        QCOMPARE(table[2], 3u); // the last entry is not repeated
    }

    void displayNames()
    {
        QCOMPARE(QString(ColorMap::displayName(ColorMap::Gray)), QString("Gray"));
        QCOMPARE(QString(ColorMap::displayName(ColorMap::JetWhite)), QString("Jet White"));
        QCOMPARE(QString(ColorMap::displayName(ColorMap::CoolWarm)), QString("Cool Warm"));
        QCOMPARE(QString(ColorMap::displayName(ColorMap::InvertGray)), QString("Inverted Gray"));
        QCOMPARE(QString(ColorMap::displayName(ColorMap::Tracking)), QString());
        QCOMPARE(int(ColorMap::Tracking), 8);
        QCOMPARE(int(ColorMap::CoolWarm), 6);
    }

    void trackingConstruction()
    {
        TrackingColorMap map;
        QCOMPARE(map.getCount(), 768u);
        QVERIFY(map.decodesColors);
        QCOMPARE(map.getDefaultColorMap(), ColorMap::Tracking);
        QCOMPARE(map.getUnderRangeColor(), 0xFF00FF00u);
        QCOMPARE(map.getOverRangeColor(), 0xFF00FFFFu);
        QCOMPARE(map.getSpecialColor(), 0xFF0000FFu);
        QCOMPARE(map.factRed, 1.0);
        QCOMPARE(map.factGreen, 0.05);
        QCOMPARE(map.factBlue, 0.1);
        QCOMPARE(map.gammaRed, 0.1);
        QCOMPARE(map.gammaGreen, 0.5);
        QCOMPARE(map.gammaBlue, 2.0);
        // Entry 384 is value 0.5 of the span: red = trunc(0.5^0.1 * 255) = 237,
        // green and blue are saturated since 0.5 exceeds their factors.
        QCOMPARE(map.getColors()[384], rgb(237, 255, 255));
        // Entry 19: v = 19/768; green = trunc(sqrt(v / 0.05) * 255) = 179,
        // blue = trunc((v / 0.1)^2 * 255) = 15.
        QCOMPARE(map.green(19), 179);
        QCOMPARE(map.blue(19), 15);
        QCOMPARE(map.getColors()[0], 0xFF000000u);
    }

    void trackingDecodeAtMinimumIsBlack()
    {
        TrackingColorMap map;
        for (double x : {0.0, 1.0, -5.0, 768.0, 1e9})
            QCOMPARE(map.decodeColor(0.0, 0.0, x), 0xFF000000u);
        QCOMPARE(map.decodeColor(3.5, 3.5, 1.0), 0xFF000000u);
        // The third argument is a span: value 15 with min 10 and span 10 is v = 0.5.
        QCOMPARE(map.decodeColor(15.0, 10.0, 10.0), rgb(237, 255, 255));
        // Above the factor a channel saturates.
        QCOMPARE(map.decodeColor(100.0, 0.0, 10.0), rgb(255, 255, 255));
    }

    void trackingFactorsAndGamma()
    {
        TrackingColorMap map;
        map.setFactsAndGamma(0.0, 0.0, 0.0, 1.0, 1.0, 1.0);
        QCOMPARE(map.factRed, 1.0);
        QCOMPARE(map.factGreen, 1.0);
        QCOMPARE(map.factBlue, 1.0);
        for (int i = 0; i < 768; ++i) {
            QCOMPARE(map.red(i), map.green(i));
            QCOMPARE(map.green(i), map.blue(i));
            QCOMPARE(map.red(i), static_cast<int>(i / 768.0 * 255.0));
        }
        QCOMPARE(map.getColors()[768], map.getColors()[767]);

        map.setFactsAndGamma(std::nan(""), 0.5, 2.0, 1.0, 2.0, 0.5);
        QVERIFY(std::isnan(map.factRed));
        QCOMPARE(map.factGreen, 0.5);
        QCOMPARE(map.factBlue, 2.0);
        QCOMPARE(map.gammaGreen, 2.0);
        // min(1.0, NaN) keeps 1.0: a NaN factor saturates its channel (except at 0).
        QCOMPARE(map.red(500), 255);
        QCOMPARE(map.red(0), 0);
        // Green: v = 384/768 = 0.5, over factor 0.5 gives 1, saturated.
        QCOMPARE(map.green(384), 255);
        // Blue: (0.5 / 2)^0.5 * 255 = 127.5.
        QCOMPARE(map.blue(384), 127);
    }
};

QTEST_GUILESS_MAIN(TstColorMap)
#include "tst_colormap.moc"
