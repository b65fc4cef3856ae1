#include "qmpxcolorbar.h"

#include "colormap.h"
#include "doubletostringnice.h"

#include <QFontMetrics>
#include <QPainter>

#include <cmath>

QMpxColorBar::QMpxColorBar(QWidget* parent) : QWidget(parent)
{
    setMinimumHeight(30);
}

QSize QMpxColorBar::sizeHint() const
{
    return QSize(100, 35);
}

void QMpxColorBar::setColorMap(ColorMap* map)
{
    colorMap = map;
    if (!map || map->getCount() == 0) {
        barImage = QImage();
        return;
    }
    const int count = static_cast<int>(map->getCount());
    barImage = QImage(count, COLORBAR_WIDTH, QImage::Format_ARGB32);
    const unsigned int* colors = map->getColors();
    for (int y = 0; y < COLORBAR_WIDTH; ++y) {
        auto* line = reinterpret_cast<QRgb*>(barImage.scanLine(y));
        for (int x = 0; x < count; ++x)
            line[x] = colors[x];
    }
}

void QMpxColorBar::setRange(double min, double max)
{
    rangeMin = min;
    rangeMax = max;
}

int QMpxColorBar::getColorbarHeight()
{
    return QFontMetrics(font()).lineSpacing() + COLORBAR_WIDTH;
}

void QMpxColorBar::paint(QPainter* painter, unsigned int x, unsigned int y, unsigned int width)
{
    if (!colorMap)
        return;
    painter->save();
    painter->setFont(font());
    const QFontMetrics metrics(font());
    const int px = static_cast<int>(x);
    const int py = static_cast<int>(y);
    const double w = width;
    const int strip = COLORBAR_WIDTH;
    const int baseline = py + strip + metrics.lineSpacing();
    const QPen textPen = painter->pen();

    painter->drawImage(QRect(px, py, static_cast<int>(width), strip), barImage);
    painter->setPen(Qt::black);
    painter->drawLine(px, py + strip, px + static_cast<int>(width) - 1, py + strip);
    painter->drawLine(px, py + 10, px, py + strip);

    painter->setPen(textPen);
    painter->drawText(px, baseline, doubleToStringNice(rangeMin));
    const double span = rangeMax - rangeMin;
    const double logSpan = span == 0.0 ? 0.0 : std::log10(span);
    for (int i = 1; i <= 3; ++i) {
        const double value
            = logScale ? std::pow(10.0, i * 0.25 * logSpan) : rangeMin + span * 0.25 * i;
        const double position = px + i * w * 0.25;
        const int tick = static_cast<int>(position);
        painter->setPen(Qt::black);
        painter->drawLine(tick, py + 10, tick, py + strip);
        painter->setPen(textPen);
        const QString text = doubleToStringNice(value);
        painter->drawText(
            static_cast<int>(position - metrics.horizontalAdvance(text) / 2.0), baseline, text);
    }
    const QString maxText = doubleToStringNice(rangeMax);
    painter->drawText(
        px + static_cast<int>(width) - metrics.horizontalAdvance(maxText), baseline, maxText);
    painter->setPen(Qt::black);
    const int lastTick = static_cast<int>(px + w - 1);
    painter->drawLine(lastTick, py + 10, lastTick, py + strip);
    painter->restore();
}

void QMpxColorBar::paintEvent(QPaintEvent*)
{
    if (!colorMap)
        return;
    QPainter painter(this);
    paint(&painter, 0, 0, static_cast<unsigned int>(width()));
}
