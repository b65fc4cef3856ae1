#include "qplot.h"

#include "qplotlayer.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr int kTickPointSize = 9;

} // namespace

QPlot::QPlot(QWidget* parent)
    : QFrame(parent),
      m_gridPen(QColor(128, 128, 128), 1, Qt::DotLine),
      m_tickFont(font()),
      m_exponentFont(font())
{
    m_tickFont.setPointSize(kTickPointSize);
    m_exponentFont.setPointSizeF(kTickPointSize * 0.75);
    setContextMenuPolicy(Qt::DefaultContextMenu);
}

QPlot::~QPlot()
{
    qDeleteAll(m_layers);
}

QPlotLayer* QPlot::addEmptyLayer()
{
    auto* layer = new QPlotLayer(this);
    m_layers.append(layer);
    return layer;
}

QPlotLayer* QPlot::layer(int index) const
{
    return (index >= 0 && index < m_layers.size()) ? m_layers.at(index) : nullptr;
}

void QPlot::clear()
{
    for (QPlotLayer* layer : std::as_const(m_layers))
        layer->clear();
    update();
}

void QPlot::setAutoRange(bool x, bool y)
{
    if (x)
        m_x.autoRange = true;
    if (y)
        m_y.autoRange = true;
    if (m_x.autoRange || m_y.autoRange)
        updateAutoRange();
    repaint();
}

void QPlot::updateAutoRange()
{
    double minX = std::numeric_limits<double>::max();
    double minY = minX;
    double maxX = std::numeric_limits<double>::lowest();
    double maxY = maxX;
    for (QPlotLayer* layer : std::as_const(m_layers)) {
        layer->updateMinMax();
        minX = std::min(minX, layer->minX());
        maxX = std::max(maxX, layer->maxX());
        minY = std::min(minY, layer->minY());
        maxY = std::max(maxY, layer->maxY());
    }
    // Without data the axes stay; a single value is shown one unit wide.
    if (m_x.autoRange && minX <= maxX) {
        m_x.min = minX;
        m_x.max = maxX > minX ? maxX : minX + 1.0;
        keepFixedEnds(m_x);
    }
    if (m_y.autoRange && minY <= maxY) {
        m_y.min = minY;
        m_y.max = maxY > minY ? maxY : minY + 1.0;
        keepFixedEnds(m_y);
    }
    update();
}

void QPlot::fixAxisRanges(bool fixMinX, bool fixMaxX, bool fixMinY, bool fixMaxY)
{
    m_x.fixMin = fixMinX;
    m_x.fixMax = fixMaxX;
    m_y.fixMin = fixMinY;
    m_y.fixMax = fixMaxY;
    if (fixMinX)
        m_x.fixedMin = m_x.min;
    if (fixMaxX)
        m_x.fixedMax = m_x.max;
    if (fixMinY)
        m_y.fixedMin = m_y.min;
    if (fixMaxY)
        m_y.fixedMax = m_y.max;
    repaint();
}

void QPlot::setRangeX(double min, double max)
{
    setRange(m_x, min, max);
}

void QPlot::setRangeY(double min, double max)
{
    setRange(m_y, min, max);
}

void QPlot::setRange(Axis& axis, double min, double max)
{
    if (min > max)
        std::swap(min, max);
    axis.min = min;
    axis.max = max;
    axis.autoRange = false;
    keepFixedEnds(axis);
    update();
}

void QPlot::keepFixedEnds(Axis& axis)
{
    if (axis.fixMin)
        axis.min = axis.fixedMin;
    if (axis.fixMax)
        axis.max = axis.fixedMax;
}

void QPlot::moveEnds(Axis& axis, double lowDelta, double highDelta)
{
    if (!axis.fixMin)
        axis.min -= lowDelta;
    if (!axis.fixMax)
        axis.max += highDelta;
    axis.autoRange = false;
    update();
}

void QPlot::incX(bool keepMin, bool keepMax)
{
    const double delta = (m_x.max - m_x.min) * moveShare;
    moveEnds(m_x, keepMin ? 0.0 : delta, keepMax ? 0.0 : delta);
}

void QPlot::incY(bool keepMin, bool keepMax)
{
    const double delta = (m_y.max - m_y.min) * moveShare;
    moveEnds(m_y, keepMin ? 0.0 : delta, keepMax ? 0.0 : delta);
}

void QPlot::decX(bool keepMin, bool keepMax)
{
    const double delta = (m_x.max - m_x.min) * moveShare;
    moveEnds(m_x, keepMin ? 0.0 : -delta, keepMax ? 0.0 : -delta);
}

void QPlot::decY(bool keepMin, bool keepMax)
{
    const double delta = (m_y.max - m_y.min) * moveShare;
    moveEnds(m_y, keepMin ? 0.0 : -delta, keepMax ? 0.0 : -delta);
}

void QPlot::disableMouse(bool disable)
{
    m_mouseDisabled = disable;
}
