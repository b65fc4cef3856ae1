// A named line of points with its colour, width and draw style. The extremes of the
// points are kept as points are added, so that a plot can fit its axes to the data
// without reading every point again.
#pragma once

#include "qplotobject.h"
#include "qplotpoint.h"

#include <QColor>
#include <QPointF>
#include <QString>

#include <vector>

class QPlotLine : public QPlotObject
{
public:
    enum DrawStyle {
        // Straight segments from point to point.
        Lines = 1,
        // Each point's value holds up to the next point: a horizontal run at the
        // point's height, then a vertical jump; the last run is as wide as the one
        // before it.
        Steps = 2
    };

    explicit QPlotLine(const QString& lineName = QString());

    void draw(QPainter* painter, const QRect& area, double minXShown, double maxXShown,
        double minYShown, double maxYShown) override;
    void updateMinMaxX() override;
    void updateMinMaxY() override;

    // Appends a point and widens the extremes to it.
    void addPoint(double x, double y);
    void reserve(std::size_t count) { points.reserve(count); }
    // Removes the points; the extremes start again from nothing.
    void clearPoints();
    // Recomputes the extremes from the points and, in a plot, fits the axes that
    // follow the data.
    void checkAutoRange();

    void setDrawStyle(DrawStyle style) { drawStyle = style; }
    void setWidth(int lineWidth) { width = lineWidth; }
    void setColor(const QColor& lineColor) { color = lineColor; }
    // Does the extent hold at least one point?
    bool hasExtent() const { return minX <= maxX && minY <= maxY; }

    // Extremes of the points; without points minX and minY are the largest double and
    // maxX and maxY the lowest.
    double minX;
    double minY;
    double maxX;
    double maxY;
    QString name;
    std::vector<QPlotPoint> points;
    DrawStyle drawStyle = Lines;
    int width = 1;
    QColor color;
    // A hidden line keeps its place and data but is not drawn.
    bool visible = true;

private:
    // Pixel positions of the last drawing, kept so that a repaint does not allocate.
    std::vector<QPointF> m_screen;
};
