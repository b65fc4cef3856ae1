#include "qmpxframe.h"

#include <QGridLayout>
#include <QImage>
#include <QPainter>
#include <QResizeEvent>

#include <cmath>

template void QMpxFrame::setData<short>(short*, unsigned int, unsigned int);
template void QMpxFrame::setData<unsigned int>(unsigned int*, unsigned int, unsigned int);
template void QMpxFrame::setData<unsigned long>(unsigned long*, unsigned int, unsigned int);
template void QMpxFrame::setData<double>(double*, unsigned int, unsigned int);

namespace {

QWidget* newSpacer(QWidget* parent)
{
    auto* spacer = new QWidget(parent);
    spacer->setMinimumSize(0, 0);
    return spacer;
}

} // namespace

QMpxFrame::QMpxFrame(QWidget* parent)
    : QWidget(parent),
      image(new QMpxImage),
      scrollArea(this),
      axisX(this, QMpxAxis::Horizontal),
      axisY(this, QMpxAxis::Vertical),
      colorBar(this),
      spacerLeft(newSpacer(this)),
      spacerRight(newSpacer(this)),
      spacerTop(newSpacer(this)),
      spacerBottom(newSpacer(this)),
      spacerBar(newSpacer(this)),
      layout(new QGridLayout(this))
{
    scrollArea.setWidget(image);
    image->setScrollArea(&scrollArea);

    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(spacerTop, 0, 0, 1, 4);
    layout->addWidget(spacerLeft, 1, 0, 3, 1);
    layout->addWidget(&axisY, 1, 1);
    layout->addWidget(&scrollArea, 1, 2);
    layout->addWidget(spacerRight, 1, 3, 3, 1);
    layout->addWidget(&axisX, 2, 2);
    layout->addWidget(spacerBar, 3, 2);
    layout->addWidget(&colorBar, 4, 2);
    layout->addWidget(spacerBottom, 5, 0, 1, 4);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);

    colorBar.setColorMap(image->getColorMap());

    connect(image, &QMpxImage::clicked, this, &QMpxFrame::clicked);
    connect(image, &QMpxImage::selectionRectsChanged, this, &QMpxFrame::selectionRectsChanged);
    connect(image, &QMpxImage::mouseLeave, this, &QMpxFrame::mouseLeave);
    connect(image, &QMpxImage::dropFiles, this, &QMpxFrame::onDropFiles);
    connect(image, &QMpxImage::zoomRectChanged, this, &QMpxFrame::onZoomRectChanged);
    // The scroll area must have its final size before the image computes its scale.
    connect(image, &QMpxImage::zoomRectAboutToChange, this, &QMpxFrame::onZoomRectChangedDirect,
        Qt::DirectConnection);
}

QMpxFrame::~QMpxFrame() = default;

void QMpxFrame::setRange(double min, double max)
{
    image->rangeMin = min;
    image->rangeMax = max;
    image->redraw();
    colorBar.setRange(min, max);
    colorBar.update();
}

void QMpxFrame::setColorMap(ColorMap::DefaultColorMap map)
{
    image->setDefaultColorMap(map);
    colorBar.setColorMap(image->getColorMap());
    colorBar.update();
    image->redraw();
}

void QMpxFrame::setCustomColorMap(ColorMap* map)
{
    if (!map)
        return;
    image->setCustomColorMap(map);
    colorBar.setColorMap(map);
    colorBar.update();
    image->redraw();
}

void QMpxFrame::setRotation(int degrees)
{
    rotation = ((degrees + 180) % 360 + 360) % 360;
    if (rotation != 0 && rotation != 180) {
        axisX.setTitle(QStringLiteral("Y (row number)"));
        axisY.setTitle(QStringLiteral("X"));
    } else {
        axisX.setTitle(QStringLiteral("X (column number)"));
        axisY.setTitle(QStringLiteral("Y"));
    }
    image->setRotation(rotation);
    image->redraw();
}

void QMpxFrame::setMirrored(bool mirror)
{
    mirrored = !mirror;
    image->setMirrored(mirrored);
    image->mouseDoubleClickEvent(nullptr);
    image->redraw();
}

void QMpxFrame::keepAspectRatio(bool keep)
{
    keepAspect = keep;
    if (!keep) {
        spacerLeft->setMinimumSize(0, 0);
        spacerRight->setMinimumSize(0, 0);
        spacerTop->setMinimumSize(0, 0);
        spacerBottom->setMinimumSize(0, 0);
        layout->activate();
    }
    resizeEvent(nullptr);
}

void QMpxFrame::zoomOut()
{
    image->mouseDoubleClickEvent(nullptr);
}

void QMpxFrame::setZoomRect(QRect rect)
{
    image->setZoomRectRaw(rect);
}

void QMpxFrame::ensureAspectRatio()
{
    const QRect visible = image->currentVisibleRect();
    if (!keepAspect || visible.isNull())
        return;
    int availW = width();
    if (axisY.isVisibleTo(this))
        availW -= axisY.width();
    int availH = height();
    if (axisX.isVisibleTo(this))
        availH -= axisX.height();
    if (colorBar.isVisibleTo(this))
        availH -= colorBar.height();
    if (availW <= 0 || availH <= 0)
        return;

    const double ratioW = static_cast<double>(visible.width()) / availW;
    const double ratioH = static_cast<double>(visible.height()) / availH;
    spacerLeft->setMinimumWidth(0);
    spacerRight->setMinimumWidth(0);
    spacerTop->setMinimumHeight(0);
    spacerBottom->setMinimumHeight(0);
    if (ratioW <= ratioH) {
        // The height limits the picture: centre it between the side spacers.
        const double newW = ratioW / ratioH * availW;
        const double rounded = std::round(newW);
        spacerBottom->setVisible(spacerBottomVisible);
        scrollArea.resize(static_cast<int>(newW), availH);
        const int side = static_cast<int>((availW - rounded) * 0.5);
        spacerLeft->setMinimumWidth(side);
        spacerRight->setMinimumWidth(side);
    } else {
        // The width limits the picture: centre it between top and bottom spacers.
        const double newH = ratioH / ratioW * availH;
        const double rounded = std::round(newH);
        scrollArea.resize(availW, static_cast<int>(newH));
        const int side = static_cast<int>((availH - rounded) * 0.5);
        spacerTop->setMinimumHeight(side);
        spacerBottom->setMinimumHeight(side);
        spacerBottom->setVisible(true);
    }
}

void QMpxFrame::resizeEvent(QResizeEvent* event)
{
    // While zoomed in the layout stays as it is; only the whole picture is fitted.
    const QRect visible = image->currentVisibleRect();
    if (visible.width() == static_cast<int>(image->getImageWidth())
        && visible.height() == static_cast<int>(image->getImageHeight()))
        ensureAspectRatio();
    if (event)
        QWidget::resizeEvent(event);
}

void QMpxFrame::onZoomRectChangedDirect()
{
    if (keepAspect)
        ensureAspectRatio();
}

void QMpxFrame::onDropFiles(QList<QString> files)
{
    emit dropFiles(files);
}

void QMpxFrame::onZoomRectChanged(QRect rect)
{
    if (rect.left() < 0 || rect.top() < 0 || rect.right() - rect.left() < -1
        || rect.bottom() - rect.top() < -1)
        return;
    zoomRect = rect;
    // Axis values are one more than the pixel numbers; QMpxAxis takes the one off.
    const int l = rect.left() + 1;
    const int t = rect.top() + 1;
    const int r = rect.right() + 1;
    const int b = rect.bottom() + 1;
    auto set = [this](int xLow, int xHigh, int yLow, int yHigh) {
        axisX.setRange(xLow, xHigh);
        axisY.setRange(yLow, yHigh);
    };
    switch (rotation) {
    case 0:
        mirrored ? set(r, l, b, t) : set(l, r, b, t);
        break;
    case 90:
        mirrored ? set(b, t, l, r) : set(b, t, r, l);
        break;
    case 180:
        mirrored ? set(l, r, t, b) : set(r, l, t, b);
        break;
    case 270:
        mirrored ? set(t, b, r, l) : set(t, b, l, r);
        break;
    default:
        break;
    }
    emit zoomRectChanged(zoomRect);
}

void QMpxFrame::paintToPainter(QPainter* painter)
{
    const QImage& picture = image->getImage();
    painter->drawImage(QRect(QPoint(0, 0), picture.size()), picture);
}

bool QMpxFrame::saveToFile(char const* fileName, unsigned int width, unsigned int height,
    SizeType sizeType, bool withColorBar, bool withAxisX, bool withAxisY)
{
    const int barH = colorBar.getColorbarHeight();
    const bool barOnly = withColorBar && !withAxisX;
    int extraW = withAxisY ? axisY.width() : 0;
    int extraH = 0;
    if (barOnly)
        extraH = barH + 4;
    else if (withColorBar)
        extraH = barH;
    if (withAxisX && (!barOnly || withAxisY))
        extraH += axisX.height();

    int fileW = static_cast<int>(width);
    int fileH = static_cast<int>(height);
    if (sizeType == PictureSize) {
        fileW += extraW + 2;
        fileH += extraH + 2;
    }
    QImage file(fileW, fileH, QImage::Format_RGB32);
    file.fill(Qt::white);

    const QImage& picture = image->getImage();
    QPainter painter(&file);
    auto drawPicture = [&](const QRect& target) {
        if (picture.isNull())
            return;
        painter.save();
        painter.translate(target.topLeft());
        painter.scale(static_cast<double>(target.width()) / picture.width(),
            static_cast<double>(target.height()) / picture.height());
        paintToPainter(&painter);
        painter.restore();
    };
    if (!withColorBar && !withAxisX && !withAxisY) {
        drawPicture(QRect(0, 0, fileW, fileH));
    } else {
        const int pictureBottom = fileH - extraH;
        painter.drawRect(QRect(QPoint(extraW, 0), QPoint(fileW - 2, pictureBottom - 2)));
        drawPicture(QRect(extraW + 1, 1, fileW - extraW - 2, pictureBottom - 2));
        const auto barWidth = static_cast<unsigned int>(std::max(0, fileW - extraW));
        if (withColorBar)
            colorBar.paint(&painter, static_cast<unsigned int>(extraW),
                static_cast<unsigned int>(std::max(0, fileH - barH - 2)), barWidth);
        if (withAxisX)
            axisX.paint(&painter, static_cast<unsigned int>(extraW),
                static_cast<unsigned int>(std::max(0, pictureBottom)), barWidth,
                static_cast<unsigned int>(fileH));
        if (withAxisY)
            axisY.paint(&painter, 0, 0, 40, static_cast<unsigned int>(std::max(0, pictureBottom)));
    }
    painter.end();
    return file.save(QString::fromLocal8Bit(fileName));
}
