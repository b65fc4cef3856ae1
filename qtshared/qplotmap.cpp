#include "qplotmap.h"

#include <algorithm>
#include <cmath>

namespace {

// How far outside the area a position may lie, in pixels.
constexpr double kReach = 10000.0;

double span(double min, double max)
{
    const double s = max - min;
    return (std::isfinite(s) && s > 0.0) ? s : 1.0;
}

} // namespace

QPlotMap::QPlotMap(const QRect& area, double minX, double maxX, double minY, double maxY)
    : m_left(area.left()),
      m_bottom(area.bottom()),
      m_minX(minX),
      m_minY(minY),
      m_scaleX((area.width() - 1) / span(minX, maxX)),
      m_scaleY((area.height() - 1) / span(minY, maxY)),
      m_lowX(area.left() - kReach),
      m_highX(area.right() + kReach),
      m_lowY(area.top() - kReach),
      m_highY(area.bottom() + kReach)
{ }

double QPlotMap::x(double value) const
{
    const double px = m_left + (value - m_minX) * m_scaleX;
    return std::isnan(px) ? m_lowX : std::round(std::clamp(px, m_lowX, m_highX));
}

double QPlotMap::y(double value) const
{
    const double py = m_bottom - (value - m_minY) * m_scaleY;
    return std::isnan(py) ? m_highY : std::round(std::clamp(py, m_lowY, m_highY));
}
