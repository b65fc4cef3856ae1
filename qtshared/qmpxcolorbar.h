#ifndef QMPXCOLORBAR_H
#define QMPXCOLORBAR_H

#include <QImage>
#include <QWidget>

class ColorMap;
class QPainter;

// The colour strip under the picture with five labelled ticks of the range.
class QMpxColorBar : public QWidget
{
    Q_OBJECT

public:
    // Height of the colour strip in pixels.
    static constexpr int COLORBAR_WIDTH = 15;

    explicit QMpxColorBar(QWidget* parent = nullptr);

    // The map stays owned by the caller; the strip gets one column per colour.
    void setColorMap(ColorMap* map);
    ColorMap* getColorMap() const { return colorMap; }
    void setRange(double min, double max);
    double getRangeMin() const { return rangeMin; }
    double getRangeMax() const { return rangeMax; }
    void setLogScale(bool log) { logScale = log; }
    bool getLogScale() const { return logScale; }
    const QImage& getBarImage() const { return barImage; }

    int getColorbarHeight();
    void paint(QPainter* painter, unsigned int x, unsigned int y, unsigned int width);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    ColorMap* colorMap = nullptr;
    QImage barImage;
    double rangeMin = 0.0;
    double rangeMax = 1.0;
    bool logScale = false;
};

#endif // QMPXCOLORBAR_H
