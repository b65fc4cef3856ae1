// A vertical marker at one X value across the whole height of the plot area, for
// example a threshold. It has no extent: the axes do not follow it.
#pragma once

#include "qplotobject.h"

#include <QColor>

class QPlotVerticalLine : public QPlotObject
{
public:
    explicit QPlotVerticalLine(
        double position, const QColor& lineColor = Qt::red, int lineWidth = 1);

    void draw(QPainter* painter, const QRect& area, double minX, double maxX, double minY,
        double maxY) override;

    void setX(double position) { x = position; }
    void setWidth(int lineWidth) { width = lineWidth; }

    double x;
    QColor color;
    int width;
};
