#include "qhorizontalscrollarea.h"

#include <QEvent>
#include <QScrollBar>

QHorizontalScrollArea::QHorizontalScrollArea(QWidget* parent) : QScrollArea(parent) { }

int QHorizontalScrollArea::getMinHeight() const
{
    const int contents = widget() ? widget()->height() : 0;
    return contents + horizontalScrollBar()->sizeHint().height() + 2 * frameWidth();
}

QSize QHorizontalScrollArea::minimumSizeHint() const
{
    return QSize(QScrollArea::minimumSizeHint().width(), getMinHeight());
}

QAdjustingScrollArea::QAdjustingScrollArea(QWidget* parent) : QScrollArea(parent) { }

// QScrollArea::setWidget() installs this object as the event filter of the widget.
bool QAdjustingScrollArea::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == widget() && event->type() != QEvent::Move) {
        const int maxWidth = widget()->width() + width() - viewport()->width();
        const int maxHeight = widget()->height() + height() - viewport()->height();
        if (maxWidth >= 0 && maxHeight >= 0)
            setMaximumSize(maxWidth, maxHeight);
    }
    return QScrollArea::eventFilter(watched, event);
}
