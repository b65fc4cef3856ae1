// One point of a plotted line.
#pragma once

struct QPlotPoint
{
    QPlotPoint() = default;
    QPlotPoint(double px, double py) : x(px), y(py) { }

    double x = 0.0;
    double y = 0.0;
};
