// The ticks of one plot axis: where they stand, their step, and the common factor
// (a power of ten) that the labels are divided by.
#pragma once

#include <QString>
#include <QStringList>

#include <vector>

struct QPlotTicks
{
    double step = 1.0;
    // The common factor of the labels; 1 when the labels show the values as they are.
    double order = 1.0;
    // Tick values, ascending, every one a multiple of step inside the axis range.
    std::vector<double> values;
    // One label per value: the value over order.
    QStringList labels;

    bool hasFactor() const { return order != 1.0; }
    // The power of ten of order.
    int exponent() const;
};
