#ifndef QMPXFRAME_H
#define QMPXFRAME_H

#include "colormap.h"
#include "qmpxaxis.h"
#include "qmpxcolorbar.h"
#include "qmpximage.h"
#include "qmpxscrollarea.h"

#include <QRect>
#include <QWidget>

class QGridLayout;
class QPainter;

// A detector frame on screen: the picture in its scroll area, the X axis below
// and the Y axis left of it, and the colour bar at the bottom. It is the one
// entry for data, range, colour map, rotation and mirroring.
//
// Orientation follows the user's view: setRotation(0) and setMirrored(false)
// show the frame upright with row 0 at the bottom, which the picture itself
// calls rotation 180, mirrored.
class QMpxFrame : public QWidget
{
    Q_OBJECT

public:
    enum SizeType {
        PictureSize = 0, // the given size is that of the picture alone
        FileSize = 1     // the given size is that of the whole file
    };

    explicit QMpxFrame(QWidget* parent = nullptr);
    ~QMpxFrame() override;

    // Copies width x height pixels into the picture; null pixels repaint the old data.
    template <typename T>
    void setData(T* pixels, unsigned int width, unsigned int height);

    void setRange(double min, double max);
    void setColorMap(ColorMap::DefaultColorMap map);
    // Shows map, which the frame owns from now on; map must not be null.
    void setCustomColorMap(ColorMap* map);
    void setRotation(int degrees);
    void setMirrored(bool mirror);
    void keepAspectRatio(bool keep);
    void zoomOut();
    void setZoomRect(QRect rect);
    void paintToPainter(QPainter* painter);
    bool saveToFile(char const* fileName, unsigned int width, unsigned int height,
        SizeType sizeType, bool colorBar, bool axisX, bool axisY);

    virtual void ensureAspectRatio();

    int getRotation() const { return rotation; }
    bool isMirrored() const { return mirrored; }
    bool isKeepingAspect() const { return keepAspect; }
    QRect getZoomRect() const { return zoomRect; }
    QMpxScrollArea& getScrollArea() { return scrollArea; }
    QMpxAxis& getAxisX() { return axisX; }
    QMpxAxis& getAxisY() { return axisY; }
    QMpxColorBar& getColorBar() { return colorBar; }
    QWidget* getSpacerLeft() const { return spacerLeft; }
    QWidget* getSpacerRight() const { return spacerRight; }
    QWidget* getSpacerTop() const { return spacerTop; }
    QWidget* getSpacerBottom() const { return spacerBottom; }

    // The picture; its public members are display settings for the next redraw().
    QMpxImage* image;

signals:
    void dropFiles(QList<QString> files);
    void clicked(unsigned int column, unsigned int row, unsigned int x, unsigned int y,
        Qt::MouseButton button);
    void selectionRectsChanged(QList<QRect> rects);
    void zoomRectChanged(QRect rect);
    void mouseLeave();

public slots:
    void onDropFiles(QList<QString> files);
    void onZoomRectChanged(QRect rect);
    void onZoomRectChangedDirect();

public:
    void resizeEvent(QResizeEvent* event) override;

private:
    QMpxScrollArea scrollArea;
    QMpxAxis axisX;
    QMpxAxis axisY;
    QMpxColorBar colorBar;
    QRect zoomRect;
    QWidget* spacerLeft;
    QWidget* spacerRight;
    QWidget* spacerTop;
    QWidget* spacerBottom;
    QWidget* spacerBar;
    QGridLayout* layout;
    int rotation = 180;
    bool mirrored = true;
    bool spacerBottomVisible = true;
    bool keepAspect = false;
};

template <typename T>
void QMpxFrame::setData(T* pixels, unsigned int width, unsigned int height)
{
    const bool sizeChanged = width != image->getDataWidth() || height != image->getDataHeight();
    if (pixels)
        image->setFrameData(pixels, width, height);
    image->resizeEvent(nullptr);
    image->onScroll();
    image->redraw();
    if ((pixels ? sizeChanged : width != image->getDataWidth()) && keepAspect)
        ensureAspectRatio();
}

extern template void QMpxFrame::setData<short>(short*, unsigned int, unsigned int);
extern template void QMpxFrame::setData<unsigned int>(unsigned int*, unsigned int, unsigned int);
extern template void QMpxFrame::setData<unsigned long>(unsigned long*, unsigned int, unsigned int);
extern template void QMpxFrame::setData<double>(double*, unsigned int, unsigned int);

#endif // QMPXFRAME_H
