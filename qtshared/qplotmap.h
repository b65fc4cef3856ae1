// Turns plot values into pixel positions of a drawing area: X grows to the right from
// the area's left column, Y upwards from its bottom row. Positions are whole pixels, so
// that a line, a grid line and a tick of the same value meet the same pixel row or
// column. An empty or invalid range is drawn as if it were one unit wide. Positions far
// outside the area are pulled in to a fixed distance from it, so that a deep zoom never
// hands the painter coordinates it cannot hold.
#pragma once

#include <QRect>

class QPlotMap
{
public:
    QPlotMap(const QRect& area, double minX, double maxX, double minY, double maxY);

    double x(double value) const;
    double y(double value) const;

private:
    double m_left;
    double m_bottom;
    double m_minX;
    double m_minY;
    double m_scaleX;
    double m_scaleY;
    double m_lowX;
    double m_highX;
    double m_lowY;
    double m_highY;
};
