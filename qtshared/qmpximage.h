#ifndef QMPXIMAGE_H
#define QMPXIMAGE_H

#include "colormap.h"

#include <QImage>
#include <QList>
#include <QPointF>
#include <QRect>
#include <QString>
#include <QWidget>

#include <algorithm>
#include <cstring>
#include <type_traits>

class QLabel;
class QMpxScrollArea;

// Holds one frame as doubles, turns it into a picture through a colour map and
// paints the picture scaled into its scroll area. It also handles everything the
// mouse does on the picture: zoom band, selections, hand drag, the value label.
//
// Data coordinates are (column, row) of the frame. Display coordinates are those
// of the picture after rotation and mirroring; screen coordinates are display
// coordinates times the scale. The public members are display settings that
// take effect at the next redraw().
class QMpxImage : public QWidget
{
    Q_OBJECT

public:
    enum PixCfgMode {
        PixCfgNone = 0,
        PixCfgColumn = 1,
        PixCfgRow = 2,
        PixCfgPixel = 3
    };
    // Supplies the value label text for (column, row, value); empty means default.
    using TooltipFunc
        = QString (*)(unsigned int column, unsigned int row, double value, void* user);

    explicit QMpxImage(QWidget* parent = nullptr);
    ~QMpxImage() override;

    virtual void redraw();
    virtual void createImage(unsigned int width, unsigned int height);
    virtual void onScroll();

    // Converts width x height pixels to doubles, reusing the buffer when the size
    // is unchanged, sizes the picture, and drops a mask of another size.
    template <typename T>
    void setFrameData(const T* pixels, unsigned int width, unsigned int height);

    void paintFrame(double min, double max, bool masked, bool under, bool over);

    void setRotation(int degrees);
    void setMirrored(bool mirror) { mirrored = mirror; }
    void setZoom(double zoomX, double zoomY);
    void setZoomRectRaw(QRect rect);
    void setSelectionRects(QList<QRect> rects);
    void clearSelectRects();
    void recalculateSelRects();
    void setScrollArea(QMpxScrollArea* area) { scrollArea = area; }

    // Copies a mask of one byte per frame pixel; null removes it.
    void setMask(const unsigned char* bytes, unsigned int width, unsigned int height);
    void setMaskValue(int value) { maskValue = value; }
    int getMaskValue() const { return maskValue; }

    // Uses map (owned from now on) instead of the image's own named map.
    void setCustomColorMap(ColorMap* map);
    // Returns to the image's own map, which is then set to the named map.
    void setDefaultColorMap(ColorMap::DefaultColorMap map);
    ColorMap* getColorMap() const { return colorMap; }
    ColorMap* getOwnColorMap() const { return ownColorMap; }

    QRect getVisibleRect();
    QPointF screenPointToRealPoint(QPointF point);
    QRect screenRectToRealRect(QRect rect);
    QRect realRectToScreenRect(QRect rect);
    QRect realRectToRectRotatedMirrored(QRect rect, bool toScreen);
    void refreshTooltip();

    // The signed orientation: rotation, negated when mirrored (-360 for 0).
    int angle() const;

    QSize sizeHint() const override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

    const QImage& getImage() const { return image; }
    const double* getData() const { return data; }
    unsigned int getDataWidth() const { return dataWidth; }
    unsigned int getDataHeight() const { return dataHeight; }
    unsigned int getImageWidth() const { return imageWidth; }
    unsigned int getImageHeight() const { return imageHeight; }
    unsigned int getMaskWidth() const { return maskWidth; }
    unsigned int getMaskHeight() const { return maskHeight; }
    int getRotation() const { return rotation; }
    bool isMirrored() const { return mirrored; }
    double getScaleX() const { return scaleX; }
    double getScaleY() const { return scaleY; }
    double getZoomX() const { return zoomX; }
    double getZoomY() const { return zoomY; }
    bool isDragging() const { return dragging; }
    QRect currentVisibleRect() const { return visibleRect; }
    QRect getSelectRect() const { return selectRect; }
    const QList<QRect>& getSelectScreenRects() const { return selectScreenRects; }
    const QList<QRect>& getSelectRealRects() const { return selectRealRects; }
    QPointF getLastMouse() const { return lastMouse; }
    QLabel* getTooltipLabel() const { return tooltipLabel; }

signals:
    void zoomRectChanged(QRect rect);
    void zoomRectAboutToChange();
    void dropFiles(QList<QString> files);
    void clicked(unsigned int column, unsigned int row, unsigned int x, unsigned int y,
        Qt::MouseButton button);
    void selectionRectsChanged(QList<QRect> rects);
    void mouseLeave();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    double* prepareData(unsigned int width, unsigned int height);
    QSize viewportSize() const;
    // The rubber band from pressPos to pos in picture pixels; with keepRatio the
    // band takes the proportions of the widget.
    QRect bandRealRect(QPointF pos, bool keepRatio);
    void drawSelectionRect(QPainter& painter, const QRect& rect);
    void paintGrid(QPainter& painter, int left, int top, int width, int height);
    void paintPixCfgHighlight(QPainter& painter);
    void paintChips(QPainter& painter);

    QImage image;
    ColorMap* colorMap = nullptr;
    ColorMap* ownColorMap = nullptr;
    QRect selectRect;
    QList<QRect> selectScreenRects;
    QList<QRect> selectRealRects;

public:
    QList<QString> chipTexts;
    QList<QRect> chipRects;

private:
    QRect visibleRect;
    QPointF cursorReal {-1, -1};
    QPointF pressPos {0, 0};
    QPointF globalPressPos {0, 0};
    int scrollStartX = 0;
    int scrollStartY = 0;
    QPointF lastMouse {-1, -1};
    unsigned int imageWidth = 0;
    unsigned int imageHeight = 0;
    unsigned int dataWidth = 0;
    unsigned int dataHeight = 0;
    unsigned int maskWidth = 0;
    unsigned int maskHeight = 0;
    double* data = nullptr;

public:
    // One byte per frame pixel, maskWidth x maskHeight; set it through setMask().
    unsigned char* mask = nullptr;

private:
    int maskValue = 0;

public:
    double rangeMin = 0.0;
    double rangeMax = 1.0;

private:
    double scaleX = 1.0;
    double scaleY = 1.0;
    double zoomX = 1.0;
    double zoomY = 1.0;

public:
    bool showUnderRange = false;
    bool showOverRange = false;
    bool showMasked = false;
    bool showGrid = false;

private:
    bool mirrored = true;
    bool dragging = false;

public:
    bool selectionEnabled = true;
    bool showRelative = false;
    bool highlightFirstRect = false;
    bool logScale = false;
    bool zoomOnSelect = true;
    bool rawRgb = false;

private:
    int rotation = 180;

public:
    int pixCfgMode = PixCfgNone;
    double gamma = 0.0;

private:
    QMpxScrollArea* scrollArea = nullptr;
    QLabel* tooltipLabel = nullptr;

public:
    TooltipFunc tooltipFunc = nullptr;
    void* tooltipUser = nullptr;
};

template <typename T>
void QMpxImage::setFrameData(const T* pixels, unsigned int width, unsigned int height)
{
    static_assert(std::is_arithmetic_v<T>, "frames hold numbers");
    double* buffer = prepareData(width, height);
    const std::size_t n = static_cast<std::size_t>(width) * height;
    if constexpr (std::is_same_v<T, double>) {
        if (n > 0)
            std::memcpy(buffer, pixels, n * sizeof(double));
    } else {
        std::transform(pixels, pixels + n, buffer, [](T v) { return static_cast<double>(v); });
    }
}

#endif // QMPXIMAGE_H
