#include "colormap.h"

#include "coolwarmtable.h"

#include <cmath>
#include <cstring>

namespace {

constexpr unsigned int opaque = 0xFF000000u;

unsigned int rgb(unsigned int r, unsigned int g, unsigned int b)
{
    return opaque | ((r & 0xFFu) << 16) | ((g & 0xFFu) << 8) | (b & 0xFFu);
}

} // namespace

ColorMap::ColorMap(unsigned int* colorTable, unsigned int colorCount)
    : count(colorCount), colors(colorTable)
{ }

ColorMap::ColorMap(DefaultColorMap map)
{
    setColorMap(map);
}

ColorMap::~ColorMap()
{
    delete[] colors;
}

unsigned int* ColorMap::allocate(unsigned int newCount)
{
    delete[] colors;
    colors = new unsigned int[newCount + 1];
    count = newCount;
    return colors;
}

void ColorMap::setSpecialColors(unsigned int under, unsigned int over, unsigned int special)
{
    underRangeColor = under;
    overRangeColor = over;
    specialColor = special;
}

void ColorMap::repeatLast()
{
    if (count > 0)
        colors[count] = colors[count - 1];
}

void ColorMap::setColorMap(DefaultColorMap map)
{
    switch (map) {
    case Gray:
    case InvertGray:
        setGray(map == InvertGray);
        setSpecialColors(0xFF00FF00u, 0xFFFF0000u, 0xFF0000FFu);
        break;
    case Jet:
        allocate(256);
        setJet(0);
        setSpecialColors(0xFF000000u, 0xFFFFFFFFu, 0xFF0000FFu);
        break;
    case JetWhite:
        allocate(257);
        colors[0] = 0xFFFFFFFFu;
        setJet(1);
        setSpecialColors(0xFF000000u, 0xFFCC0BBFu, 0xFF0000FFu);
        break;
    case Hot:
        setHot();
        setSpecialColors(0xFF00FF00u, 0xFF00FFFFu, 0xFF0000FFu);
        break;
    case Cool:
        setCool();
        setSpecialColors(0xFF00FF00u, 0xFFFF0000u, 0xFF0000FFu);
        break;
    case HSL:
    case Tracking:
        // A plain map has no tracking curve: it shows the hue ramp and says so.
        setHsl();
        setSpecialColors(0xFF000000u, 0xFFFFFFFFu, 0xFF0000FFu);
        map = HSL;
        break;
    case CoolWarm:
        setCoolWarm();
        return;
    default:
        return;
    }
    repeatLast();
    defaultColorMap = map;
}

void ColorMap::setGray(bool inverted)
{
    allocate(256);
    for (unsigned int i = 0; i < 256; ++i) {
        const unsigned int v = inverted ? 255 - i : i;
        colors[i] = rgb(v, v, v);
    }
}

void ColorMap::setJet(unsigned int first)
{
    unsigned int* table = colors + first;
    for (unsigned int j = 0; j < 32; ++j)
        table[j] = rgb(0, 0, 130 + 4 * j);
    for (unsigned int j = 0; j < 64; ++j)
        table[32 + j] = rgb(0, 4 * j, 255);
    for (unsigned int j = 0; j < 64; ++j)
        table[96 + j] = rgb(4 * j, 255, 255 - 4 * j);
    for (unsigned int j = 0; j < 64; ++j)
        table[160 + j] = rgb(255, 255 - 4 * j, 0);
    for (unsigned int j = 0; j < 32; ++j)
        table[224 + j] = rgb(255 - 4 * j, 0, 0);
}

void ColorMap::setHot()
{
    allocate(768);
    for (unsigned int i = 0; i < 256; ++i) {
        colors[i] = rgb(i, 0, 0);
        colors[256 + i] = rgb(255, i, 0);
        colors[512 + i] = rgb(255, 255, i);
    }
}

void ColorMap::setCool()
{
    allocate(256);
    for (unsigned int i = 0; i < 256; ++i)
        colors[i] = rgb(i, 255 - i, 255);
}

void ColorMap::setHsl()
{
    allocate(768);
    for (unsigned int i = 0; i < 768; ++i) {
        // The divisor exceeds 768 on purpose: the ramp ends inside the sixth sextant
        // and never wraps back to red.
        const double h = i / 844.8 * 6.0;
        const int sextant = static_cast<int>(h);
        const double f = (h - sextant) * 0.8999999999999999;
        const unsigned int up
            = static_cast<unsigned int>((f + 0.050000000000000044) * 256.0) & 0xFFu;
        const unsigned int down = static_cast<unsigned int>((0.95 - f) * 256.0) & 0xFFu;
        unsigned int c = 0;
        switch (sextant) {
        case 0:
            c = rgb(0xF3, up, 0x0C);
            break;
        case 1:
            c = rgb(down, 0xF3, 0x0C);
            break;
        case 2:
            c = rgb(0x0C, 0xF3, up);
            break;
        case 3:
            c = rgb(0x0C, down, 0xF3);
            break;
        case 4:
            c = rgb(up, 0x0C, 0xF3);
            break;
        case 5:
            c = rgb(0xF3, 0x0C, down);
            break;
        default:
            c = rgb(0, 0, 0);
            break;
        }
        colors[i] = c;
    }
}

void ColorMap::setCoolWarm()
{
    allocate(coolWarmTableSize);
    std::memcpy(colors, coolWarmTable, sizeof coolWarmTable);
    repeatLast();
    setSpecialColors(0xFF000000u, 0xFF00FF00u, 0xFF00FFFFu);
    defaultColorMap = CoolWarm;
}

unsigned int ColorMap::getCount()
{
    return count;
}

int ColorMap::red(int i)
{
    return static_cast<int>((colors[i] >> 16) & 0xFFu);
}

int ColorMap::green(int i)
{
    return static_cast<int>((colors[i] >> 8) & 0xFFu);
}

int ColorMap::blue(int i)
{
    return static_cast<int>(colors[i] & 0xFFu);
}

unsigned int ColorMap::getUnderRangeColor()
{
    return underRangeColor;
}

unsigned int ColorMap::getOverRangeColor()
{
    return overRangeColor;
}

unsigned int ColorMap::getSpecialColor()
{
    return specialColor;
}

unsigned int* ColorMap::getColors()
{
    return colors;
}

void ColorMap::setColors(unsigned int* newColors, unsigned int newCount)
{
    std::memcpy(colors, newColors, sizeof(unsigned int) * newCount);
    count = newCount;
}

ColorMap::DefaultColorMap ColorMap::getDefaultColorMap() const
{
    return defaultColorMap;
}

unsigned int ColorMap::decodeColor(double, double, double)
{
    return 0;
}

const char* ColorMap::displayName(DefaultColorMap map)
{
    switch (map) {
    case Gray:
        return "Gray";
    case Jet:
        return "Jet";
    case JetWhite:
        return "Jet White";
    case Hot:
        return "Hot";
    case Cool:
        return "Cool";
    case HSL:
        return "HSL";
    case CoolWarm:
        return "Cool Warm";
    case InvertGray:
        return "Inverted Gray";
    default:
        return "";
    }
}

TrackingColorMap::TrackingColorMap()
{
    allocate(768);
    setSpecialColors(0xFF00FF00u, 0xFF00FFFFu, 0xFF0000FFu);
    decodesColors = true;
    defaultColorMap = Tracking;
    fillColors();
}

TrackingColorMap::~TrackingColorMap() = default;

unsigned int TrackingColorMap::decodeColor(double value, double min, double range)
{
    if (value == min)
        return opaque;
    // The third argument is a span; for a range starting at 0 it equals the upper end.
    const double v = (value - min) / range;
    auto channel = [v](double fact, double gamma) -> unsigned int {
        const double level = std::pow(std::fmin(1.0, v / fact), gamma) * 255.0;
        // Levels outside 0..255 (negative values, NaN) cannot be stored in a byte.
        if (!(level >= 0.0))
            return 0;
        return level >= 255.0 ? 255u : static_cast<unsigned int>(level);
    };
    return rgb(
        channel(factRed, gammaRed), channel(factGreen, gammaGreen), channel(factBlue, gammaBlue));
}

void TrackingColorMap::fillColors()
{
    for (unsigned int i = 0; i < 768; ++i)
        colors[i] = decodeColor(static_cast<double>(i), 0.0, 768.0);
    colors[768] = colors[767];
}

void TrackingColorMap::setFactsAndGamma(
    double fRed, double fGreen, double fBlue, double gRed, double gGreen, double gBlue)
{
    factRed = fRed == 0.0 ? 1.0 : fRed;
    factGreen = fGreen == 0.0 ? 1.0 : fGreen;
    factBlue = fBlue == 0.0 ? 1.0 : fBlue;
    gammaRed = gRed;
    gammaGreen = gGreen;
    gammaBlue = gBlue;
    fillColors();
}
