// Where the parts of a QPlot stand: the tick labels of Y at the left with the arrow
// buttons of Y between them and the area, the labels of X under the area, and under
// them a row with the arrow buttons of X at both ends. A common factor of Y stands
// above its labels, one of X in the button row before the buttons of its upper end.
#include "qplot.h"

#include <QFontMetrics>

#include <algorithm>

namespace {

// Side of an arrow button, and the gap between neighbouring parts.
constexpr int kButton = 9;
constexpr int kGap = 2;
// Room a tick needs along the axis, beyond its label.
constexpr int kTickSpaceX = 10;
constexpr int kTickSpaceY = 6;

int ticksFor(int length, int perTick)
{
    return std::max(2, length / std::max(perTick, 1));
}

int widestLabel(const QFontMetrics& fm, const QStringList& labels)
{
    int w = 0;
    for (const QString& label : labels)
        w = std::max(w, fm.horizontalAdvance(label));
    return w;
}

} // namespace

QSize QPlot::factorSize(int exponent) const
{
    const QFontMetrics fm(m_tickFont);
    const QFontMetrics fe(m_exponentFont);
    return QSize(fm.horizontalAdvance(QStringLiteral("10")) + 1
            + fe.horizontalAdvance(QString::number(exponent)),
        fm.height());
}

QPlot::Geometry QPlot::geometry() const
{
    Geometry g;
    const QRect r = contentsRect();
    const QFontMetrics fm(m_tickFont);
    const int lh = fm.height();
    g.labelHeight = lh;

    // Y: the ticks depend on the height, which shrinks when a common factor needs a
    // line of its own above the labels.
    const int bottom = r.bottom() - (kGap + lh + lh);
    int top = r.top() + lh / 2 + 1;
    g.ticksY = prepareTicks(m_y.min, m_y.max, ticksFor(bottom - top + 1, lh + kTickSpaceY));
    if (g.ticksY.hasFactor()) {
        top = r.top() + lh + kGap;
        g.ticksY = prepareTicks(m_y.min, m_y.max, ticksFor(bottom - top + 1, lh + kTickSpaceY));
    }
    int labelWidth = widestLabel(fm, g.ticksY.labels);
    if (g.ticksY.hasFactor())
        labelWidth = std::max(labelWidth, factorSize(g.ticksY.exponent()).width());
    const int left = r.left() + kGap + labelWidth + kGap + kButton + kGap;
    const int right = r.right() - kGap - 1;
    // The frame is drawn around the area, so that data on the ends of the ranges
    // stay visible beside it.
    const QRect f(QPoint(left, top), QPoint(std::max(left + 3, right), std::max(top + 3, bottom)));
    g.area = f.adjusted(1, 1, -1, -1);

    // X: as many ticks as the widest label lets stand side by side.
    const int width = g.area.width();
    g.ticksX = prepareTicks(m_x.min, m_x.max, ticksFor(width, 40));
    const int perTick = widestLabel(fm, g.ticksX.labels) + kTickSpaceX;
    if (int(g.ticksX.values.size()) * perTick > width)
        g.ticksX = prepareTicks(m_x.min, m_x.max, ticksFor(width, perTick));

    const int column = f.left() - kGap - kButton;
    const int row = f.bottom() + 1 + kGap + lh + (lh - kButton) / 2;
    const QSize side(kButton, kButton);
    g.buttons[MaxYUp] = QRect(QPoint(column, f.top()), side);
    g.buttons[MaxYDown] = QRect(QPoint(column, f.top() + kButton), side);
    g.buttons[MinYUp] = QRect(QPoint(column, f.bottom() + 1 - 2 * kButton), side);
    g.buttons[MinYDown] = QRect(QPoint(column, f.bottom() + 1 - kButton), side);
    g.buttons[MinXLeft] = QRect(QPoint(f.left(), row), side);
    g.buttons[MinXRight] = QRect(QPoint(f.left() + kButton, row), side);
    g.buttons[MaxXLeft] = QRect(QPoint(f.right() + 1 - 2 * kButton, row), side);
    g.buttons[MaxXRight] = QRect(QPoint(f.right() + 1 - kButton, row), side);
    return g;
}

QRect QPlot::plotArea() const
{
    return geometry().area;
}

QRect QPlot::moveButtonRect(MoveButton button) const
{
    return (button >= 0 && button < MoveButtonCount) ? geometry().buttons[button] : QRect();
}

QPlotTicks QPlot::ticksX() const
{
    return geometry().ticksX;
}

QPlotTicks QPlot::ticksY() const
{
    return geometry().ticksY;
}

QSize QPlot::sizeHint() const
{
    return QSize(260, 150);
}

QSize QPlot::minimumSizeHint() const
{
    return QSize(120, 80);
}
