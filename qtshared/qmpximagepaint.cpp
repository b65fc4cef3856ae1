// Screen painting of QMpxImage: the visible part of the finished picture, then
// the overlays (grid, rubber band, selections, pixel configuration highlight,
// chip labels), all drawn with XOR so that they show on any colour.
#include "qmpximage.h"

#include <QFontMetrics>
#include <QLine>
#include <QPaintEvent>
#include <QPainter>

#include <cmath>

void QMpxImage::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.fillRect(event->rect(), Qt::black);

    // One picture pixel of margin on each side allows for rounding of the scale.
    const int left = std::max(visibleRect.left() - 1, 0);
    const int top = std::max(visibleRect.top() - 1, 0);
    const int width = std::min(image.width(), visibleRect.right() - visibleRect.left() + 3);
    const int height = std::min(image.height(), visibleRect.bottom() - visibleRect.top() + 3);
    if (!image.isNull() && width > 0 && height > 0) {
        const QRectF target(static_cast<int>(scaleX * left), static_cast<int>(scaleY * top),
            std::ceil(scaleX * width), std::ceil(scaleY * height));
        painter.drawImage(target, image, QRectF(left, top, width, height));
        if (showGrid)
            paintGrid(painter, left, top, width, height);
    }

    painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    if (selectRect.isValid()) {
        painter.setPen(Qt::white);
        drawSelectionRect(painter, selectRect);
    }
    const bool firstInRed = highlightFirstRect && selectScreenRects.size() >= 2;
    for (int i = 0; i < selectScreenRects.size(); ++i) {
        painter.setPen(i == 0 && firstInRed ? QColor(255, 0, 0) : QColor(Qt::white));
        drawSelectionRect(painter, selectScreenRects.at(i));
    }
    paintPixCfgHighlight(painter);
    if (!chipTexts.isEmpty())
        paintChips(painter);
}

void QMpxImage::drawSelectionRect(QPainter& painter, const QRect& rect)
{
    painter.drawRects(&rect, 1);
    if (showGrid && (scaleX > 1.2 || scaleY > 1.2)) {
        // With a grid the outline would vanish in the grid lines: draw it twice.
        const QRect inner = rect.adjusted(1, 1, -1, -1);
        painter.drawRects(&inner, 1);
    }
}

void QMpxImage::paintGrid(QPainter& painter, int left, int top, int width, int height)
{
    painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    painter.setPen(QColor(128, 128, 128));
    const int y0 = static_cast<int>(top * scaleY + 0.5);
    const int y1 = static_cast<int>((top + height - 1) * scaleY + 0.5);
    for (int column = left; column < left + width - 1; ++column) {
        const int x = static_cast<int>(column * scaleX + 0.5);
        const QLine line(x, y0, x, y1);
        painter.drawLines(&line, 1);
    }
    const int x0 = static_cast<int>(left * scaleX + 0.5);
    const int x1 = static_cast<int>((left + width - 1) * scaleX + 0.5);
    for (int row = top; row < top + height - 1; ++row) {
        const int y = static_cast<int>(row * scaleY + 0.5);
        const QLine line(x0, y, x1, y);
        painter.drawLines(&line, 1);
    }
}

void QMpxImage::paintPixCfgHighlight(QPainter& painter)
{
    if (cursorReal.x() < 0 || cursorReal.y() < 0)
        return;
    const int column = static_cast<int>(cursorReal.x());
    const int row = static_cast<int>(cursorReal.y());
    QRect real;
    // The highlighted line spans the whole frame in data coordinates.
    if (pixCfgMode == PixCfgColumn)
        real = QRect(QPoint(column, 0), QPoint(column, static_cast<int>(dataHeight) - 1));
    else if (pixCfgMode == PixCfgRow)
        real = QRect(QPoint(0, row), QPoint(static_cast<int>(dataWidth) - 1, row));
    else
        return;
    const QRect screen = realRectToScreenRect(realRectToRectRotatedMirrored(real, true));
    painter.fillRect(screen, Qt::white);
}

void QMpxImage::paintChips(QPainter& painter)
{
    painter.setPen(QColor(128, 128, 128));
    const int n = std::min(chipTexts.size(), chipRects.size());
    for (int i = 0; i < n; ++i) {
        QRect r = realRectToScreenRect(realRectToRectRotatedMirrored(chipRects.at(i), true));
        const QString& text = chipTexts.at(i);
        const QRect bounds
            = painter.fontMetrics().boundingRect(r, Qt::TextDontClip | Qt::TextWordWrap, text);
        if (bounds.width() > 0 && bounds.height() > 0) {
            // The labels grow in whole steps to fill their chips, and keep the size
            // reached for the following chips.
            const int factor = std::min(r.width() / bounds.width(), r.height() / bounds.height());
            if (factor > 1) {
                QFont font = painter.font();
                if (font.pointSizeF() > 0)
                    font.setPointSizeF(font.pointSizeF() * factor);
                else
                    font.setPixelSize(font.pixelSize() * factor);
                painter.setFont(font);
            }
        }
        painter.drawText(r, Qt::AlignCenter, text);
        r.adjust(1, 1, -1, -1);
        painter.drawRect(r);
    }
}
