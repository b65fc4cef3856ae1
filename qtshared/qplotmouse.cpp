// The mouse on a QPlot: the wheel beside an axis moves one of its ends, inside the
// area it zooms about the cursor; the arrow buttons move an axis end; the context
// menu saves the plot.
#include "qplot.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QWheelEvent>

#include <algorithm>

namespace {

// Eighths of a degree per wheel step.
constexpr int kWheelStep = 120;

} // namespace

void QPlot::wheelEvent(QWheelEvent* event)
{
    const int delta = event->angleDelta().y();
    if (m_mouseDisabled || delta == 0) {
        event->ignore();
        return;
    }
    event->accept();
    // Fine-grained wheels send parts of a step; they add up to whole ones.
    m_wheelRest += delta;
    const int steps = m_wheelRest / kWheelStep;
    m_wheelRest -= steps * kWheelStep;
    if (steps == 0)
        return;

    const QRect a = plotArea();
    const QPointF pos = event->position();
    const bool besideY = pos.y() >= a.top() && pos.y() <= a.bottom();
    const bool besideX = pos.x() >= a.left() && pos.x() <= a.right();
    const bool up = steps > 0;
    // Beside an axis z runs from 0 at its upper end to 3 at its lower one, so that
    // the third nearest to the upper end keeps that end and moves the lower one, and
    // elsewhere the lower end stays and the upper one moves.
    if (pos.x() < a.left() && besideY) {
        const double z = (pos.y() - a.top()) / std::max(a.height() - 1, 1) * 3.0;
        for (int i = 0; i < std::abs(steps); ++i)
            up ? decY(z > 1.0, z < 1.0) : incY(z > 1.0, z < 1.0);
    } else if (pos.y() > a.bottom() && besideX) {
        const double z = (a.right() - pos.x()) / std::max(a.width() - 1, 1) * 3.0;
        for (int i = 0; i < std::abs(steps); ++i)
            up ? decX(z > 1.0, z < 1.0) : incX(z > 1.0, z < 1.0);
    } else if (besideX && besideY) {
        zoomAbout(pos, a, steps);
    }
}

void QPlot::zoomAbout(QPointF pos, const QRect& area, int steps)
{
    // The share of the change below the cursor is the cursor's place in the area, so
    // that the value under the cursor stays where it is.
    const double fx = std::clamp((pos.x() - area.left()) / std::max(area.width() - 1, 1), 0.0, 1.0);
    const double fy
        = std::clamp((area.bottom() - pos.y()) / std::max(area.height() - 1, 1), 0.0, 1.0);
    const double sense = steps > 0 ? -1.0 : 1.0;
    for (int i = 0; i < std::abs(steps); ++i) {
        const double dx = (m_x.max - m_x.min) * moveShare * sense;
        const double dy = (m_y.max - m_y.min) * moveShare * sense;
        moveEnds(m_x, dx * fx, dx * (1.0 - fx));
        moveEnds(m_y, dy * fy, dy * (1.0 - fy));
    }
}

void QPlot::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && !m_mouseDisabled) {
        const Geometry g = geometry();
        const QPoint pos = event->position().toPoint();
        for (int b = 0; b < MoveButtonCount; ++b)
            if (g.buttons[b].contains(pos)) {
                runMoveButton(MoveButton(b));
                event->accept();
                return;
            }
    }
    QFrame::mousePressEvent(event);
}

void QPlot::runMoveButton(MoveButton button)
{
    switch (button) {
    case MaxYUp:
        incY(true, false);
        break;
    case MaxYDown:
        decY(true, false);
        break;
    case MinYUp:
        decY(false, true);
        break;
    case MinYDown:
        incY(false, true);
        break;
    case MinXLeft:
        incX(false, true);
        break;
    case MinXRight:
        decX(false, true);
        break;
    case MaxXLeft:
        decX(true, false);
        break;
    case MaxXRight:
        incX(true, false);
        break;
    case MoveButtonCount:
        break;
    }
}

void QPlot::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu menu(this);
    QAction* save = menu.addAction(tr("Save to file..."));
    event->accept();
    if (menu.exec(event->globalPos()) == save)
        askAndSave();
}
