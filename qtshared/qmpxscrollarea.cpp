#include "qmpxscrollarea.h"

#include "qmpximage.h"

#include <QResizeEvent>
#include <QScrollBar>

QMpxScrollArea::QMpxScrollArea(QWidget* parent) : QScrollArea(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setFrameShape(QFrame::NoFrame);
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, &QMpxScrollArea::onScroll);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &QMpxScrollArea::onScroll);
}

void QMpxScrollArea::onScroll(int)
{
    if (auto* image = qobject_cast<QMpxImage*>(widget()))
        image->onScroll();
}

void QMpxScrollArea::resizeEvent(QResizeEvent* event)
{
    if (auto* image = qobject_cast<QMpxImage*>(widget())) {
        const QSize current = image->size();
        const QSize viewportSize = viewport()->size();
        const QSize hint = image->sizeHint();
        auto target = [](int size, int viewportExtent, int hintExtent, double zoom) {
            const int m = std::min(size, static_cast<int>(hintExtent * zoom));
            return m >= viewportExtent && zoom != 1.0 ? size : viewportExtent;
        };
        const QSize wanted(
            target(current.width(), viewportSize.width(), hint.width(), image->getZoomX()),
            target(current.height(), viewportSize.height(), hint.height(), image->getZoomY()));
        if (wanted == current)
            image->onScroll();
        else
            image->resize(wanted);
    }
    QScrollArea::resizeEvent(event);
}
