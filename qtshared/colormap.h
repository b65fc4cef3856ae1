#ifndef COLORMAP_H
#define COLORMAP_H

// A colour map turns a displayed value into a 32-bit colour 0xAARRGGBB (the layout
// of a QRgb). The table always holds count + 1 entries, the last repeating entry
// count - 1, so that an index equal to count stays inside the allocation.
class ColorMap
{
public:
    // The numbers are persisted as a user setting and must not change.
    enum DefaultColorMap {
        Gray = 0,
        Jet = 1,
        JetWhite = 2,
        Hot = 3,
        Cool = 4,
        HSL = 5,
        CoolWarm = 6,
        InvertGray = 7,
        Tracking = 8
    };

    // Takes ownership of colors (allocated with new[]); special colours are 0.
    ColorMap(unsigned int* colors, unsigned int count);
    explicit ColorMap(DefaultColorMap map);
    ColorMap(const ColorMap&) = delete;
    ColorMap& operator=(const ColorMap&) = delete;
    virtual ~ColorMap();

    // Builds one of the named maps; a value above 8 leaves the map untouched.
    virtual void setColorMap(DefaultColorMap map);
    virtual unsigned int getCount();
    virtual int red(int i);
    virtual int green(int i);
    virtual int blue(int i);
    virtual unsigned int getUnderRangeColor();
    virtual unsigned int getOverRangeColor();
    virtual unsigned int getSpecialColor();
    virtual unsigned int* getColors();
    // Copies count entries into the existing table without reallocating; the
    // caller must not pass more entries than the table holds.
    virtual void setColors(unsigned int* colors, unsigned int count);
    virtual DefaultColorMap getDefaultColorMap() const;
    // Colour of one value for maps with decodesColors set; 0 here.
    virtual unsigned int decodeColor(double value, double min, double max);

    void setCoolWarm();

    // Text shown for a named map in menus; empty for the tracking map.
    static const char* displayName(DefaultColorMap map);

    unsigned int count = 0;
    unsigned int* colors = nullptr;
    unsigned int underRangeColor = 0;
    unsigned int overRangeColor = 0;
    unsigned int specialColor = 0;
    bool decodesColors = false;
    DefaultColorMap defaultColorMap = Gray;

protected:
    ColorMap() = default;
    // Replaces the table with a new one of count + 1 entries and returns it.
    unsigned int* allocate(unsigned int newCount);
    void setSpecialColors(unsigned int under, unsigned int over, unsigned int special);
    // Copies entry count - 1 into entry count.
    void repeatLast();

private:
    void setGray(bool inverted);
    void setJet(unsigned int firstEntry);
    void setHot();
    void setCool();
    void setHsl();
};

// Computes each colour from the value with a power curve per channel.
class TrackingColorMap : public ColorMap
{
public:
    TrackingColorMap();
    ~TrackingColorMap() override;

    unsigned int decodeColor(double value, double min, double range) override;

    void fillColors();
    // A factor of exactly 0 becomes 1; then the table is rebuilt.
    void setFactsAndGamma(double factRed, double factGreen, double factBlue, double gammaRed,
        double gammaGreen, double gammaBlue);

    double factRed = 1.0;
    double factGreen = 0.05;
    double factBlue = 0.1;
    double gammaRed = 0.1;
    double gammaGreen = 0.5;
    double gammaBlue = 2.0;
};

#endif // COLORMAP_H
