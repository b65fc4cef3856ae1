#include "qplotverticalline.h"

#include "qplotmap.h"

#include <QLineF>
#include <QPainter>
#include <QPen>

QPlotVerticalLine::QPlotVerticalLine(double position, const QColor& lineColor, int lineWidth)
    : x(position), color(lineColor), width(lineWidth)
{ }

void QPlotVerticalLine::draw(
    QPainter* painter, const QRect& area, double minX, double maxX, double minY, double maxY)
{
    if (x < minX || x > maxX)
        return;
    const double px = QPlotMap(area, minX, maxX, minY, maxY).x(x);
    painter->save();
    painter->setPen(QPen(color, width));
    painter->drawLine(QLineF(px, area.top(), px, area.bottom()));
    painter->restore();
}
