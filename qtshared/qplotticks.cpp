#include "qplotticks.h"

#include "doubletostringnice.h"
#include "qplot.h"

#include <algorithm>
#include <cmath>

namespace {

// At most this many ticks are made for one axis, whatever the step.
constexpr int kTickLimit = 200;
// Scales the common factor is not shown for.
constexpr double kPlainOrders[] = {0.1, 10.0, 100.0, 1000.0};
// The order stays 1 while the largest tick is below this.
constexpr double kPlainLimit = 9999.0;

bool sameDecade(double a, double b)
{
    return std::fabs(a - b) <= 1e-9 * b;
}

} // namespace

int QPlotTicks::exponent() const
{
    return int(std::lround(std::log10(order)));
}

double QPlot::getTickStep(double range, int maxTicks, double& order)
{
    const double raw = range / std::max(maxTicks, 1);
    if (!(raw > 0.0) || !std::isfinite(raw)) {
        order = 1.0;
        return 1.0;
    }
    order = std::pow(10.0, std::trunc(std::log10(raw)) - (raw < 1.0 ? 1.0 : 0.0));
    const double m = raw / order;
    double step;
    if (m < 2.5) {
        step = 2.5 * order;
    } else if (m < 5.0) {
        step = 5.0 * order;
    } else {
        order *= 10.0;
        step = order;
    }
    for (double plain : kPlainOrders)
        if (sameDecade(order, plain))
            order = 1.0;
    return step;
}

void QPlot::adjustOrder(double min, double max, double step, double& order)
{
    if (!(step > 0.0))
        return;
    const double value = std::max(
        std::trunc(std::fabs(min) / step) * step, std::trunc(std::fabs(max) / step) * step);
    if (order == 1.0 && value < kPlainLimit)
        return;
    if (!std::isfinite(value) || !(order > 0.0))
        return;
    for (int i = 0; i < 700 && value / order >= 1.0; ++i)
        order *= 10.0;
}

QPlotTicks QPlot::prepareTicks(double min, double max, int maxTicks)
{
    QPlotTicks ticks;
    const double range = max - min;
    if (!(range > 0.0) || !std::isfinite(range))
        return ticks;
    ticks.step = getTickStep(range, maxTicks, ticks.order);
    adjustOrder(min, max, ticks.step, ticks.order);
    const double step = ticks.step;
    // A tick on an end of the range counts even when rounding put it just outside.
    const double slack = step * 1e-9;
    const double first = std::ceil((min - slack) / step);
    for (int k = 0; k < kTickLimit; ++k) {
        double value = (first + k) * step;
        if (value > max + slack)
            break;
        if (std::fabs(value) < slack)
            value = 0.0;
        ticks.values.push_back(value);
        ticks.labels.append(doubleToStringNice(value / ticks.order));
    }
    return ticks;
}
