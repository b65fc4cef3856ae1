#include "qplotlayer.h"

#include "qplotline.h"

#include <QColor>

#include <algorithm>
#include <limits>

namespace {

// Colours given in turn to lines added without one.
const QColor& paletteColor(int index)
{
    static const QColor colors[] = {QColor(0, 0, 170), QColor(200, 0, 0), QColor(0, 130, 0),
        QColor(160, 0, 160), QColor(0, 140, 160), QColor(170, 110, 0)};
    constexpr int count = int(sizeof(colors) / sizeof(colors[0]));
    return colors[index % count];
}

} // namespace

QPlotLayer::QPlotLayer(QPlot* plot) : m_plot(plot)
{
    resetExtremes();
}

QPlotLayer::~QPlotLayer()
{
    clear();
}

QPlotLine* QPlotLayer::addLine(QPlotLine* line, QColor* color)
{
    if (!line)
        return nullptr;
    line->setColor(color ? *color : paletteColor(int(m_lines.size())));
    line->setParentPlot(m_plot);
    m_lines.append(line);
    widenBy(*line);
    return line;
}

void QPlotLayer::addObject(QPlotObject* object)
{
    if (!object)
        return;
    object->setParentPlot(m_plot);
    m_objects.append(object);
}

void QPlotLayer::clearLines()
{
    qDeleteAll(m_lines);
    m_lines.clear();
    resetExtremes();
}

void QPlotLayer::clearObjects()
{
    qDeleteAll(m_objects);
    m_objects.clear();
}

void QPlotLayer::clear()
{
    clearLines();
    clearObjects();
}

void QPlotLayer::updateMinMax()
{
    resetExtremes();
    for (const QPlotLine* line : m_lines)
        widenBy(*line);
}

void QPlotLayer::draw(
    QPainter* painter, const QRect& area, double minX, double maxX, double minY, double maxY) const
{
    for (QPlotLine* line : m_lines)
        line->draw(painter, area, minX, maxX, minY, maxY);
    for (QPlotObject* object : m_objects)
        object->draw(painter, area, minX, maxX, minY, maxY);
}

void QPlotLayer::resetExtremes()
{
    m_minX = m_minY = std::numeric_limits<double>::max();
    m_maxX = m_maxY = std::numeric_limits<double>::lowest();
}

void QPlotLayer::widenBy(const QPlotLine& line)
{
    if (!line.hasExtent())
        return;
    m_minX = std::min(m_minX, line.minX);
    m_maxX = std::max(m_maxX, line.maxX);
    m_minY = std::min(m_minY, line.minY);
    m_maxY = std::max(m_maxY, line.maxY);
}
