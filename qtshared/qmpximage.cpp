#include "qmpximage.h"

#include "qmpxpaintloops.h"
#include "qmpxscrollarea.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFontMetrics>
#include <QLabel>
#include <QLine>
#include <QMimeData>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QUrl>

#include <cmath>

QMpxImage::QMpxImage(QWidget* parent) : QWidget(parent)
{
    ownColorMap = new ColorMap(ColorMap::Gray);
    colorMap = ownColorMap;
    setMouseTracking(true);
    setAcceptDrops(true);
    tooltipLabel = new QLabel(QStringLiteral("0, 0"), this);
    tooltipLabel->setStyleSheet(QStringLiteral("color: black; background-color: #f5e39a;"));
    // The label follows the mouse; it must not take the mouse away from the picture.
    tooltipLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
    tooltipLabel->hide();
    update();
}

QMpxImage::~QMpxImage()
{
    delete[] data;
    delete[] mask;
    if (colorMap != ownColorMap)
        delete colorMap;
    delete ownColorMap;
}

void QMpxImage::redraw()
{
    paintFrame(rangeMin, rangeMax, showMasked, showUnderRange, showOverRange);
    if (lastMouse.x() >= 0 && lastMouse.y() >= 0)
        refreshTooltip();
    update();
}

void QMpxImage::createImage(unsigned int width, unsigned int height)
{
    if (rotation == 90 || rotation == 270)
        std::swap(width, height);
    imageWidth = width;
    imageHeight = height;
    const QSize size(static_cast<int>(width), static_cast<int>(height));
    if (image.size() == size)
        return;
    if (size.isEmpty()) {
        image = QImage();
        return;
    }
    image = QImage(size, QImage::Format_ARGB32);
    image.fill(0u);
}

double* QMpxImage::prepareData(unsigned int width, unsigned int height)
{
    const std::size_t n = static_cast<std::size_t>(width) * height;
    if (!data || static_cast<std::size_t>(dataWidth) * dataHeight != n) {
        delete[] data;
        data = new double[n];
    }
    dataWidth = width;
    dataHeight = height;
    createImage(width, height);
    if (maskWidth != width || maskHeight != height) {
        // A mask of another size no longer describes these pixels. Its recorded
        // size stays, so that a frame of that size again does not revive it.
        delete[] mask;
        mask = nullptr;
    }
    return data;
}

void QMpxImage::setMask(const unsigned char* bytes, unsigned int width, unsigned int height)
{
    delete[] mask;
    mask = nullptr;
    maskWidth = width;
    maskHeight = height;
    const std::size_t n = static_cast<std::size_t>(width) * height;
    if (bytes && n > 0) {
        mask = new unsigned char[n];
        std::memcpy(mask, bytes, n);
    }
}

void QMpxImage::setCustomColorMap(ColorMap* map)
{
    if (colorMap != ownColorMap)
        delete colorMap;
    colorMap = map ? map : ownColorMap;
}

void QMpxImage::setDefaultColorMap(ColorMap::DefaultColorMap map)
{
    setCustomColorMap(nullptr);
    ownColorMap->setColorMap(map);
}

int QMpxImage::angle() const
{
    if (!mirrored)
        return rotation;
    return rotation == 0 ? -360 : -rotation;
}

void QMpxImage::paintFrame(double min, double max, bool masked, bool under, bool over)
{
    if (!data || imageWidth == 0 || imageHeight == 0 || image.width() == 0 || image.height() == 0)
        return;
    // The picture must cover exactly the frame's pixels, else indices would leave it.
    const std::size_t pixels = static_cast<std::size_t>(dataWidth) * dataHeight;
    if (static_cast<std::size_t>(imageWidth) * imageHeight != pixels
        || image.width() != static_cast<int>(imageWidth)
        || image.height() != static_cast<int>(imageHeight) || colorMap->count == 0)
        return;

    mpxpaint::Scale s;
    s.min = min;
    s.max = max;
    s.under = under;
    s.over = over;
    s.logScale = logScale;
    s.table = colorMap->colors;
    s.top = colorMap->count - 1;
    s.overColor = colorMap->overRangeColor;
    s.underColor = colorMap->underRangeColor;
    s.specialColor = colorMap->specialColor;
    s.span = max - min;
    s.step = s.span / s.top;
    s.logSpan = (max == 0.0 ? 0.0 : std::log10(max)) - (min == 0.0 ? 0.0 : std::log10(min));
    s.logStep = s.logSpan / s.top;
    if (s.step == 0.0 || (logScale && s.logStep == 0.0))
        return;
    const bool hasExponent = gamma != 0.0;
    if (gamma > 0.0)
        s.exponent = gamma + 1.0;
    else if (gamma < 0.0)
        s.exponent = -1.0 / gamma;

    mpxpaint::Frame f;
    f.data = data;
    const bool maskUsable = mask && static_cast<std::size_t>(maskWidth) * maskHeight == pixels;
    f.mask = masked && maskUsable ? mask : nullptr;
    f.maskValue = maskValue;
    f.angle = angle();
    f.width = imageWidth;
    f.height = imageHeight;
    f.bits = reinterpret_cast<std::uint32_t*>(image.bits());
    f.wordsPerLine = image.bytesPerLine() / 4;

    if (colorMap->decodesColors)
        mpxpaint::paintDecode(f, colorMap, min, max, s.specialColor);
    else if (rawRgb)
        mpxpaint::paintRaw(f, s.specialColor);
    else if (!hasExponent)
        mpxpaint::paintLinear(f, s);
    else
        mpxpaint::paintGamma(f, s);
}

void QMpxImage::setRotation(int degrees)
{
    rotation = degrees;
    createImage(dataWidth, dataHeight);
    mouseDoubleClickEvent(nullptr);
    redraw();
}

QSize QMpxImage::viewportSize() const
{
    if (scrollArea)
        return scrollArea->viewport()->size();
    return parentWidget() ? parentWidget()->size() : size();
}

void QMpxImage::setZoom(double newZoomX, double newZoomY)
{
    scaleX = zoomX = newZoomX;
    scaleY = zoomY = newZoomY;
    const QSize vp = viewportSize();
    resize(std::max(vp.width(), static_cast<int>(image.width() * scaleX)),
        std::max(vp.height(), static_cast<int>(image.height() * scaleY)));
}

void QMpxImage::setZoomRectRaw(QRect rect)
{
    visibleRect = rect;
    emit zoomRectAboutToChange();
    if (rect.width() > 0 && rect.height() > 0) {
        const QSize vp = viewportSize();
        scaleX = zoomX = static_cast<double>(vp.width()) / rect.width();
        scaleY = zoomY = static_cast<double>(vp.height()) / rect.height();
        resize(std::max(vp.width(), static_cast<int>(image.width() * scaleX)),
            std::max(vp.height(), static_cast<int>(image.height() * scaleY)));
        if (scrollArea) {
            scrollArea->horizontalScrollBar()->setValue(static_cast<int>(rect.left() * scaleX));
            scrollArea->verticalScrollBar()->setValue(static_cast<int>(rect.top() * scaleY));
        }
    }
    update();
}

void QMpxImage::setSelectionRects(QList<QRect> rects)
{
    selectRealRects = rects;
    recalculateSelRects();
    update();
}

void QMpxImage::clearSelectRects()
{
    if (selectScreenRects.isEmpty() && selectRealRects.isEmpty())
        return;
    selectScreenRects.clear();
    selectRealRects.clear();
    emit selectionRectsChanged(selectRealRects);
}

void QMpxImage::recalculateSelRects()
{
    selectScreenRects.clear();
    for (const QRect& r : std::as_const(selectRealRects))
        selectScreenRects.append(realRectToScreenRect(realRectToRectRotatedMirrored(r, true)));
}

QRect QMpxImage::getVisibleRect()
{
    if (scaleX == 0.0 || scaleY == 0.0)
        return QRect(0, 0, static_cast<int>(dataWidth), static_cast<int>(dataHeight));
    const QPoint p = pos();
    const QSize vp = viewportSize();
    const int left = static_cast<int>(-p.x() / scaleX + 0.5);
    const int top = static_cast<int>(-p.y() / scaleY + 0.5);
    const int width = std::max(1, static_cast<int>(vp.width() / scaleX + 0.5));
    const int height = std::max(1, static_cast<int>(vp.height() / scaleY + 0.5));
    return QRect(left, top, width, height);
}

void QMpxImage::onScroll()
{
    visibleRect = getVisibleRect();
    update();
    emit zoomRectChanged(realRectToRectRotatedMirrored(visibleRect, false));
}

void QMpxImage::resizeEvent(QResizeEvent* event)
{
    scaleX = imageWidth ? static_cast<double>(width()) / imageWidth : 0.0;
    scaleY = imageHeight ? static_cast<double>(height()) / imageHeight : 0.0;
    if (scaleX == 0.0)
        scaleX = 1.0;
    if (scaleY == 0.0)
        scaleY = 1.0;
    visibleRect = getVisibleRect();
    recalculateSelRects();
    onScroll();
    if (event)
        QWidget::resizeEvent(event);
}

QPointF QMpxImage::screenPointToRealPoint(QPointF point)
{
    const int x = static_cast<int>(point.x() / scaleX);
    const int y = static_cast<int>(point.y() / scaleY);
    const int w = static_cast<int>(imageWidth);
    const int h = static_cast<int>(imageHeight);
    switch (angle()) {
    case 90:
        return QPointF(y, w - x - 1);
    case 180:
        return QPointF(w - x - 1, h - y - 1);
    case 270:
        return QPointF(h - y - 1, x);
    case -90:
        return QPointF(h - y - 1, w - x - 1);
    case -180:
        return QPointF(x, h - y - 1);
    case -270:
        return QPointF(y, x);
    case -360:
        return QPointF(w - x - 1, y);
    default:
        return QPointF(x, y);
    }
}

QRect QMpxImage::realRectToScreenRect(QRect rect)
{
    return QRect(static_cast<int>(rect.left() * scaleX + 0.5),
        static_cast<int>(rect.top() * scaleY + 0.5), static_cast<int>(rect.width() * scaleX + 0.5),
        static_cast<int>(rect.height() * scaleY + 0.5));
}

QRect QMpxImage::screenRectToRealRect(QRect rect)
{
    if (scaleX == 0.0 || scaleY == 0.0)
        return QRect();
    QRect r(static_cast<int>(rect.left() / scaleX + 0.5),
        static_cast<int>(rect.top() / scaleY + 0.5), static_cast<int>(rect.width() / scaleX + 0.5),
        static_cast<int>(rect.height() / scaleY + 0.5));
    r = r.normalized();
    r.setLeft(std::max(r.left(), 0));
    r.setTop(std::max(r.top(), 0));
    r.setRight(std::min(r.right(), static_cast<int>(imageWidth) - 1));
    r.setBottom(std::min(r.bottom(), static_cast<int>(imageHeight) - 1));
    return r;
}

QRect QMpxImage::realRectToRectRotatedMirrored(QRect rect, bool toScreen)
{
    const int l = rect.left();
    const int t = rect.top();
    const int r = rect.right();
    const int b = rect.bottom();
    const int w1 = static_cast<int>(dataWidth) - 1;
    const int h1 = static_cast<int>(dataHeight) - 1;
    auto edges = [](int left, int top, int right, int bottom) {
        return QRect(QPoint(left, top), QPoint(right, bottom));
    };
    switch (angle()) {
    case 0:
        return toScreen ? edges(l, h1 - b, r, h1 - t) : edges(l, t, r, b);
    case 90:
        return toScreen ? edges(h1 - b, l, h1 - t, r) : edges(t, h1 - r, b, h1 - l);
    case 180:
        return edges(w1 - r, h1 - b, w1 - l, h1 - t);
    case 270:
        return toScreen ? edges(t, w1 - r, b, w1 - l) : edges(w1 - b, l, w1 - t, r);
    case -90:
        return toScreen ? edges(h1 - b, w1 - r, h1 - t, w1 - l)
                        : edges(w1 - b, h1 - r, w1 - t, h1 - l);
    case -180:
        return edges(l, h1 - b, r, h1 - t);
    case -270:
        return edges(t, l, b, r);
    case -360:
        return edges(w1 - r, t, w1 - l, b);
    default:
        return QRect();
    }
}

void QMpxImage::refreshTooltip()
{
    const QPointF real = screenPointToRealPoint(lastMouse);
    const double maxColumn = dataWidth > 0 ? dataWidth - 1.0 : 0.0;
    const double maxRow = dataHeight > 0 ? dataHeight - 1.0 : 0.0;
    const auto column = static_cast<unsigned int>(std::clamp(real.x(), 0.0, maxColumn));
    const auto row = static_cast<unsigned int>(std::clamp(real.y(), 0.0, maxRow));
    const std::size_t index = static_cast<std::size_t>(dataWidth) * row + column;
    const bool valid = data && index < static_cast<std::size_t>(dataWidth) * dataHeight;
    const double value = valid ? data[index] : 0.0;

    QString text;
    if (tooltipFunc)
        text = tooltipFunc(column, row, value, tooltipUser);
    if (text.isEmpty()) {
        if (valid && showRelative)
            text = QStringLiteral("[%1,%2]=%3 (%4)")
                       .arg(column)
                       .arg(row)
                       .arg(value)
                       .arg(value < rangeMin ? 0.0 : value - rangeMin);
        else
            text = QStringLiteral("[%1,%2]=%3").arg(column).arg(row).arg(value);
    }
    tooltipLabel->setText(text);
    tooltipLabel->adjustSize();

    // Below the cursor unless that would leave the area; shifted left in
    // proportion to the cursor's x so that it stays inside at the right edge.
    const QPoint p = mapToParent(lastMouse.toPoint());
    const QSize area = scrollArea ? scrollArea->size() : viewportSize();
    const int labelY = p.y() < area.height() - tooltipLabel->height() - 39
        ? static_cast<int>(lastMouse.y() + 30)
        : static_cast<int>(lastMouse.y() - 30);
    const double areaWidth = std::max(1, area.width());
    const double labelX = lastMouse.x() - ((tooltipLabel->width() + 50) / areaWidth * p.x() - 30);
    tooltipLabel->move(static_cast<int>(labelX), labelY);
    if (!tooltipLabel->isVisible())
        tooltipLabel->show();
}

void QMpxImage::mousePressEvent(QMouseEvent* event)
{
    if (!data)
        return;
    if (selectionEnabled)
        pressPos = event->position();
    if (event->button() == Qt::RightButton) {
        setCursor(Qt::ClosedHandCursor);
        dragging = true;
        globalPressPos = event->globalPosition();
        if (scrollArea) {
            scrollStartX = scrollArea->horizontalScrollBar()->value();
            scrollStartY = scrollArea->verticalScrollBar()->value();
        }
    }
    const QPointF real = screenPointToRealPoint(event->position());
    const QPoint at = event->position().toPoint();
    emit clicked(static_cast<unsigned int>(std::max(0.0, real.x())),
        static_cast<unsigned int>(std::max(0.0, real.y())),
        static_cast<unsigned int>(std::max(0, at.x())),
        static_cast<unsigned int>(std::max(0, at.y())), event->button());
    QWidget::mousePressEvent(event);
}

QRect QMpxImage::bandRealRect(QPointF pos, bool keepRatio)
{
    const QPoint start = pressPos.toPoint();
    const QPoint distance = (pos - pressPos).toPoint();
    QRect band = QRect(start, QSize(distance.x(), distance.y())).normalized();
    if (keepRatio && width() > 0 && height() > 0) {
        const int w = band.width() - 1;
        const int h = band.height() - 1;
        if (h < w)
            band.setBottom(band.top() - 1 + (w + 1) * height() / width());
        else
            band.setRight(band.left() - 1 + (h + 1) * width() / height());
    }
    QRect real = screenRectToRealRect(band);
    if (real.width() <= 0)
        real.setWidth(1);
    if (real.height() <= 0)
        real.setHeight(1);
    return real;
}

void QMpxImage::mouseMoveEvent(QMouseEvent* event)
{
    if (data) {
        lastMouse = event->position();
        refreshTooltip();
        QPointF real = screenPointToRealPoint(lastMouse);
        real.setX(std::clamp(real.x(), 0.0, std::max(0.0, dataWidth - 1.0)));
        real.setY(std::clamp(real.y(), 0.0, std::max(0.0, dataHeight - 1.0)));
        if (real != cursorReal) {
            cursorReal = real;
            if (pixCfgMode != PixCfgNone)
                redraw();
        }
    }
    if (pressPos != QPointF(0, 0)) {
        if (dragging && scrollArea) {
            const QPointF moved = event->globalPosition() - globalPressPos;
            scrollArea->horizontalScrollBar()->setValue(scrollStartX - static_cast<int>(moved.x()));
            scrollArea->verticalScrollBar()->setValue(scrollStartY - static_cast<int>(moved.y()));
        } else {
            const bool keepRatio = event->modifiers() & Qt::ShiftModifier;
            selectRect = realRectToScreenRect(bandRealRect(event->position(), keepRatio));
            update();
        }
    }
    QWidget::mouseMoveEvent(event);
}

void QMpxImage::mouseReleaseEvent(QMouseEvent* event)
{
    setCursor(Qt::ArrowCursor);
    const bool wasDragging = dragging;
    dragging = false;
    if (!selectRect.isValid()) {
        pressPos = QPointF(0, 0);
        // A right click (not the end of a hand drag) removes the first selection hit.
        const QPointF moved = event->globalPosition() - globalPressPos;
        const bool click
            = !wasDragging || moved.manhattanLength() < QApplication::startDragDistance();
        if (event->button() == Qt::RightButton && click) {
            const QPoint at = event->position().toPoint();
            for (int i = 0; i < selectScreenRects.size(); ++i) {
                if (!selectScreenRects.at(i).contains(at))
                    continue;
                selectScreenRects.removeAt(i);
                if (i < selectRealRects.size())
                    selectRealRects.removeAt(i);
                emit selectionRectsChanged(selectRealRects);
                update();
                break;
            }
        }
        return;
    }

    const bool keepRatio = event->modifiers() & Qt::ShiftModifier;
    const QRect real = bandRealRect(event->position(), keepRatio);
    selectRect = realRectToScreenRect(real);
    if (!(event->modifiers() & Qt::ControlModifier) && zoomOnSelect) {
        clearSelectRects();
        setZoomRectRaw(real);
        emit zoomRectChanged(realRectToRectRotatedMirrored(real, false));
    } else {
        selectScreenRects.append(selectRect);
        selectRealRects.append(realRectToRectRotatedMirrored(real, false));
        emit selectionRectsChanged(selectRealRects);
    }
    selectRect = QRect();
    pressPos = QPointF(0, 0);
    update();
    QWidget::mouseReleaseEvent(event);
}

void QMpxImage::mouseDoubleClickEvent(QMouseEvent*)
{
    if (!selectionEnabled)
        return;
    const bool hadSelections = !selectScreenRects.isEmpty() || !selectRealRects.isEmpty();
    selectScreenRects.clear();
    selectRealRects.clear();
    if (hadSelections)
        emit selectionRectsChanged(selectRealRects);
    setCursor(Qt::ArrowCursor);
    dragging = false;
    setZoomRectRaw(image.rect());
    zoomX = 1.0;
    zoomY = 1.0;
    emit zoomRectChanged(QRect(0, 0, static_cast<int>(dataWidth), static_cast<int>(dataHeight)));
    selectRect = QRect();
    pressPos = QPointF(0, 0);
}

void QMpxImage::leaveEvent(QEvent* event)
{
    tooltipLabel->hide();
    lastMouse = QPointF(-1, -1);
    emit mouseLeave();
    QWidget::leaveEvent(event);
}

void QMpxImage::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void QMpxImage::dropEvent(QDropEvent* event)
{
    if (!event->mimeData()->hasUrls())
        return;
    event->acceptProposedAction();
    QList<QString> files;
    const QList<QUrl> urls = event->mimeData()->urls();
    for (const QUrl& url : urls)
        files.append(url.toLocalFile());
    emit dropFiles(files);
}

QSize QMpxImage::sizeHint() const
{
    return image.size();
}
