#include "qplotline.h"

#include "qplot.h"
#include "qplotmap.h"

#include <QPainter>
#include <QPen>

#include <algorithm>
#include <limits>

namespace {

constexpr double kHighest = std::numeric_limits<double>::max();
constexpr double kLowest = std::numeric_limits<double>::lowest();

} // namespace

QPlotLine::QPlotLine(const QString& lineName)
    : minX(kHighest), minY(kHighest), maxX(kLowest), maxY(kLowest), name(lineName), color(Qt::black)
{ }

void QPlotLine::addPoint(double x, double y)
{
    points.emplace_back(x, y);
    minX = std::min(minX, x);
    maxX = std::max(maxX, x);
    minY = std::min(minY, y);
    maxY = std::max(maxY, y);
}

void QPlotLine::clearPoints()
{
    points.clear();
    minX = minY = kHighest;
    maxX = maxY = kLowest;
}

void QPlotLine::updateMinMaxX()
{
    minX = kHighest;
    maxX = kLowest;
    for (const QPlotPoint& p : points) {
        minX = std::min(minX, p.x);
        maxX = std::max(maxX, p.x);
    }
}

void QPlotLine::updateMinMaxY()
{
    minY = kHighest;
    maxY = kLowest;
    for (const QPlotPoint& p : points) {
        minY = std::min(minY, p.y);
        maxY = std::max(maxY, p.y);
    }
}

void QPlotLine::checkAutoRange()
{
    updateMinMaxX();
    updateMinMaxY();
    if (QPlot* plot = parentPlot()) {
        plot->updateAutoRange();
        plot->update();
    }
}

void QPlotLine::draw(QPainter* painter, const QRect& area, double minXShown, double maxXShown,
    double minYShown, double maxYShown)
{
    if (!visible || points.empty())
        return;
    const QPlotMap map(area, minXShown, maxXShown, minYShown, maxYShown);
    const std::size_t n = points.size();
    m_screen.clear();
    if (drawStyle == Steps) {
        m_screen.reserve(2 * n);
        for (std::size_t i = 0; i < n; ++i) {
            const double top = map.y(points[i].y);
            double nextX = points[i].x;
            if (i + 1 < n)
                nextX = points[i + 1].x;
            else if (n > 1)
                nextX = points[i].x + (points[i].x - points[i - 1].x);
            m_screen.emplace_back(map.x(points[i].x), top);
            m_screen.emplace_back(map.x(nextX), top);
        }
    } else {
        m_screen.reserve(n);
        for (const QPlotPoint& p : points)
            m_screen.emplace_back(map.x(p.x), map.y(p.y));
    }
    painter->save();
    painter->setPen(QPen(color, width));
    painter->setBrush(Qt::NoBrush);
    if (m_screen.size() == 1)
        painter->drawPoint(m_screen.front());
    else
        painter->drawPolyline(m_screen.data(), int(m_screen.size()));
    painter->restore();
}
