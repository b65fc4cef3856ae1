#include "qminisplitter.h"

#include <QRegion>

namespace {

// Extra grab area on each side of the one-pixel line.
constexpr int kGrabMargin = 2;

} // namespace

QMiniSplitterHandle::QMiniSplitterHandle(Qt::Orientation orientation, QSplitter* parent)
    : QSplitterHandle(orientation, parent)
{
    setAttribute(Qt::WA_MouseNoMask, true);
    updateGrabMargins();
}

// The splitter makes the handle wider by its contents margins; the mask keeps the
// visible part to the line itself while the mouse is caught over the whole widget.
void QMiniSplitterHandle::updateGrabMargins()
{
    if (orientation() == Qt::Horizontal)
        setContentsMargins(kGrabMargin, 0, kGrabMargin, 0);
    else
        setContentsMargins(0, kGrabMargin, 0, kGrabMargin);
    setMask(QRegion(contentsRect()));
}

void QMiniSplitterHandle::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    updateGrabMargins();
}

void QMiniSplitterHandle::paintEvent(QPaintEvent*) { }

QMiniSplitter::QMiniSplitter(QWidget* parent) : QSplitter(parent)
{
    setUp();
}

QMiniSplitter::QMiniSplitter(Qt::Orientation orientation, QWidget* parent)
    : QSplitter(orientation, parent)
{
    setUp();
}

void QMiniSplitter::setUp()
{
    setHandleWidth(1);
    setChildrenCollapsible(false);
    setProperty("minisplitter", true);
}

QSplitterHandle* QMiniSplitter::createHandle()
{
    return new QMiniSplitterHandle(orientation(), this);
}
