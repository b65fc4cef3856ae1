// Drawing of a QPlot: the area, its grid, the layers, the axis frame with ticks and
// labels, the common factors and the arrow buttons.
#include "qplot.h"

#include "qplotlayer.h"
#include "qplotmap.h"

#include <QFontMetrics>
#include <QLineF>
#include <QPainter>
#include <QPolygon>

#include <algorithm>

namespace {

// Length of a tick mark inside the area.
constexpr int kTickLength = 3;
const QColor kAreaColor(Qt::white);
const QColor kAxisColor(Qt::black);
const QColor kButtonColor(80, 80, 80);
const QColor kButtonDisabledColor(185, 185, 185);

// Shifts rect along the axis so that it lies between low and high where it can.
QRect keptBetween(QRect rect, int low, int high, bool horizontal)
{
    if (horizontal) {
        if (rect.right() > high)
            rect.moveRight(high);
        if (rect.left() < low)
            rect.moveLeft(low);
    } else {
        if (rect.bottom() > high)
            rect.moveBottom(high);
        if (rect.top() < low)
            rect.moveTop(low);
    }
    return rect;
}

} // namespace

void QPlot::paintEvent(QPaintEvent* event)
{
    QFrame::paintEvent(event);
    QPainter painter(this);
    const Geometry g = geometry();
    painter.fillRect(g.area.adjusted(-1, -1, 1, 1), kAreaColor);
    drawGrid(painter, g);

    painter.save();
    painter.setClipRect(g.area);
    for (const QPlotLayer* layer : std::as_const(m_layers))
        layer->draw(&painter, g.area, m_x.min, m_x.max, m_y.min, m_y.max);
    painter.restore();

    drawAxis(painter, g);
    drawTicks(painter, g);
    for (int b = 0; b < MoveButtonCount; ++b)
        drawMoveButton(painter, g.buttons[b], MoveButton(b));
}

void QPlot::drawGrid(QPainter& painter, const Geometry& g) const
{
    const QPlotMap map(g.area, m_x.min, m_x.max, m_y.min, m_y.max);
    const QRect& a = g.area;
    painter.save();
    painter.setPen(m_gridPen);
    for (double v : g.ticksX.values) {
        const int x = qRound(map.x(v));
        if (x > a.left() && x < a.right())
            painter.drawLine(x, a.top(), x, a.bottom());
    }
    for (double v : g.ticksY.values) {
        const int y = qRound(map.y(v));
        if (y > a.top() && y < a.bottom())
            painter.drawLine(a.left(), y, a.right(), y);
    }
    painter.restore();
}

void QPlot::drawAxis(QPainter& painter, const Geometry& g) const
{
    painter.save();
    painter.setPen(kAxisColor);
    painter.setBrush(Qt::NoBrush);
    // One pixel outside the area on every side.
    painter.drawRect(g.area.adjusted(-1, -1, 0, 0));
    painter.restore();
}

void QPlot::drawTicks(QPainter& painter, const Geometry& g) const
{
    const QPlotMap map(g.area, m_x.min, m_x.max, m_y.min, m_y.max);
    // The frame around the area: tick marks start on it, labels stand outside it.
    const QRect f = g.area.adjusted(-1, -1, 1, 1);
    const QRect r = contentsRect();
    const QFontMetrics fm(m_tickFont);
    const int lh = g.labelHeight;
    const int labelRight = g.buttons[MaxYUp].left() - 2;
    painter.save();
    painter.setPen(kAxisColor);
    painter.setFont(m_tickFont);

    // Y labels right-aligned beside the buttons, each centred on its tick where the
    // room allows; the factor, when there is one, above them.
    const int yLabelsTop = g.ticksY.hasFactor() ? r.top() + lh : r.top();
    for (std::size_t i = 0; i < g.ticksY.values.size(); ++i) {
        const int y = qRound(map.y(g.ticksY.values[i]));
        painter.drawLine(f.left(), y, f.left() + kTickLength, y);
        painter.drawLine(f.right() - kTickLength, y, f.right(), y);
        const QString& label = g.ticksY.labels.at(int(i));
        const int w = fm.horizontalAdvance(label);
        const QRect box
            = keptBetween(QRect(labelRight - w, y - lh / 2, w, lh), yLabelsTop, f.bottom(), false);
        painter.drawText(box, Qt::AlignRight | Qt::AlignVCenter, label);
    }
    if (g.ticksY.hasFactor())
        drawFactor(painter, QPoint(labelRight, r.top()), g.ticksY.exponent(), true);

    // X labels centred under their ticks, kept inside the widget; a label that would
    // touch the one before it is left out.
    int lastRight = r.left() - 1;
    for (std::size_t i = 0; i < g.ticksX.values.size(); ++i) {
        const int x = qRound(map.x(g.ticksX.values[i]));
        painter.drawLine(x, f.bottom(), x, f.bottom() - kTickLength);
        painter.drawLine(x, f.top(), x, f.top() + kTickLength);
        const QString& label = g.ticksX.labels.at(int(i));
        const int w = fm.horizontalAdvance(label);
        const QRect box
            = keptBetween(QRect(x - w / 2, f.bottom() + 2, w, lh), r.left(), r.right(), true);
        if (box.left() <= lastRight + 2)
            continue;
        painter.drawText(box, Qt::AlignCenter, label);
        lastRight = box.right();
    }
    if (g.ticksX.hasFactor()) {
        const QRect& before = g.buttons[MaxXLeft];
        drawFactor(
            painter, QPoint(before.left() - 4, f.bottom() + 2 + lh), g.ticksX.exponent(), true);
    }
    painter.restore();
}

void QPlot::drawFactor(QPainter& painter, const QPoint& at, int exponent, bool alignRight) const
{
    const QSize size = factorSize(exponent);
    const QRect box(
        alignRight ? at.x() - size.width() + 1 : at.x(), at.y(), size.width(), size.height());
    const QFontMetrics fm(m_tickFont);
    const QFontMetrics fe(m_exponentFont);
    painter.save();
    painter.setPen(kAxisColor);
    painter.setFont(m_tickFont);
    const int baseline = box.top() + fm.ascent();
    painter.drawText(box.left(), baseline, QStringLiteral("10"));
    painter.setFont(m_exponentFont);
    // The exponent stands raised, its top level with the top of the "10".
    painter.drawText(box.left() + fm.horizontalAdvance(QStringLiteral("10")) + 1,
        baseline - fm.capHeight() + fe.capHeight(), QString::number(exponent));
    painter.restore();
}

void QPlot::drawMoveButton(QPainter& painter, const QRect& rect, MoveButton button) const
{
    const QRect in = rect.adjusted(1, 1, -1, -1);
    const int cx = in.left() + in.width() / 2;
    const int cy = in.top() + in.height() / 2;
    QPolygon arrow;
    switch (button) {
    case MaxYUp:
    case MinYUp:
        arrow << QPoint(in.left(), in.bottom() - 1) << QPoint(in.right(), in.bottom() - 1)
              << QPoint(cx, in.top() + 1);
        break;
    case MaxYDown:
    case MinYDown:
        arrow << QPoint(in.left(), in.top() + 1) << QPoint(in.right(), in.top() + 1)
              << QPoint(cx, in.bottom() - 1);
        break;
    case MinXLeft:
    case MaxXLeft:
        arrow << QPoint(in.right() - 1, in.top()) << QPoint(in.right() - 1, in.bottom())
              << QPoint(in.left() + 1, cy);
        break;
    case MinXRight:
    case MaxXRight:
        arrow << QPoint(in.left() + 1, in.top()) << QPoint(in.left() + 1, in.bottom())
              << QPoint(in.right() - 1, cy);
        break;
    case MoveButtonCount:
        return;
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor& c = m_mouseDisabled ? kButtonDisabledColor : kButtonColor;
    painter.setPen(c);
    painter.setBrush(c);
    painter.drawPolygon(arrow);
    painter.restore();
}
