// A small plot widget: layers of lines and markers over a grid, with tick labels on
// both axes, ranges that follow the data or are set, zoom by the wheel, small arrow
// buttons at the axis ends that widen or narrow the axes, and export of the picture
// or of the data from its context menu.
//
// Each axis has its range, a flag telling whether it follows the data, and two fix
// flags: a fixed end keeps the value it had when it was fixed, whatever else asks to
// move it (the data, the wheel, the buttons, setRangeX/Y).
#pragma once

#include "qplotticks.h"

#include <QFont>
#include <QFrame>
#include <QList>
#include <QPen>
#include <QRect>
#include <QString>

class QPlotLayer;

class QPlot : public QFrame
{
    Q_OBJECT

public:
    // The arrow buttons at the axis ends: which end of which axis they move, and
    // which way.
    enum MoveButton {
        MaxYUp,
        MaxYDown,
        MinYUp,
        MinYDown,
        MinXLeft,
        MinXRight,
        MaxXLeft,
        MaxXRight,
        MoveButtonCount
    };

    // The save dialog asked by "Save to file...", with the arguments of
    // QFileDialog::getSaveFileName; a test may put its own answer in its place.
    using SaveFileDialog = QString (*)(QWidget* parent, const QString& caption, const QString& dir,
        const QString& filter, QString* selectedFilter);
    static SaveFileDialog saveFileDialog;
    static const QString pngFilter;
    static const QString asciiFilter;
    // Share of its range by which an axis end moves per arrow click or wheel step.
    static constexpr double moveShare = 0.2;

    explicit QPlot(QWidget* parent = nullptr);
    ~QPlot() override;

    // Layers are drawn in the order they were added; the plot owns them.
    QPlotLayer* addEmptyLayer();
    QPlotLayer* layer(int index) const;
    int layerCount() const { return int(m_layers.size()); }
    // Empties every layer; the layers stay.
    void clear();

    // Sets the flags given as true; a false argument leaves its flag as it is. When a
    // flag is set the ranges are fitted to the data at once.
    void setAutoRange(bool x, bool y);
    // Fits the axes whose flag is set to the extremes of all layers.
    void updateAutoRange();
    bool autoRangeX() const { return m_x.autoRange; }
    bool autoRangeY() const { return m_y.autoRange; }

    // Fixes or frees the ends of the axes, each fixed end at its present value.
    void fixAxisRanges(bool fixMinX, bool fixMaxX, bool fixMinY, bool fixMaxY);
    // Shows the range on the axis; the axis no longer follows the data.
    void setRangeX(double min, double max);
    void setRangeY(double min, double max);
    double minX() const { return m_x.min; }
    double maxX() const { return m_x.max; }
    double minY() const { return m_y.min; }
    double maxY() const { return m_y.max; }

    // Widen (inc) or narrow (dec) an axis by a fifth of its range at each end that is
    // neither kept nor fixed; the axis no longer follows the data.
    void incX(bool keepMin, bool keepMax);
    void incY(bool keepMin, bool keepMax);
    void decX(bool keepMin, bool keepMax);
    void decY(bool keepMin, bool keepMax);

    // With the mouse disabled, the wheel and the arrow buttons do nothing.
    void disableMouse(bool disable);
    bool isMouseDisabled() const { return m_mouseDisabled; }

    // As an image: the widget drawn into a pixmap of its size, in the format of the
    // name's suffix. As text: per layer and line a row of the X values and a row of the
    // Y values, each value followed by a tab. False when the file could not be written.
    bool saveToFile(QString fileName, bool asImage);

    // The step between ticks for range shown with at most about maxTicks ticks, and in
    // order the power of ten the labels are divided by.
    static double getTickStep(double range, int maxTicks, double& order);
    // Raises order so that the labels between min and max stay short.
    static void adjustOrder(double min, double max, double step, double& order);
    static QPlotTicks prepareTicks(double min, double max, int maxTicks);

    // Where the data are drawn, in widget coordinates.
    QRect plotArea() const;
    QRect moveButtonRect(MoveButton button) const;
    // The ticks the axes show at the widget's present size.
    QPlotTicks ticksX() const;
    QPlotTicks ticksY() const;

    const QPen& gridPen() const { return m_gridPen; }
    const QFont& tickFont() const { return m_tickFont; }
    const QFont& exponentFont() const { return m_exponentFont; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    struct Axis
    {
        double min = 0.0;
        double max = 1.0;
        bool autoRange = true;
        bool fixMin = false;
        bool fixMax = false;
        double fixedMin = 0.0;
        double fixedMax = 1.0;
    };
    // Where everything stands at the widget's present size.
    struct Geometry
    {
        QRect area;
        QRect buttons[MoveButtonCount];
        QPlotTicks ticksX;
        QPlotTicks ticksY;
        int labelHeight = 0;
    };

    Geometry geometry() const;
    // Moves the axis's minimum down by lowDelta and its maximum up by highDelta, each
    // unless that end is fixed; the axis no longer follows the data.
    void moveEnds(Axis& axis, double lowDelta, double highDelta);
    static void keepFixedEnds(Axis& axis);
    void setRange(Axis& axis, double min, double max);
    void runMoveButton(MoveButton button);
    void zoomAbout(QPointF pos, const QRect& area, int steps);
    void askAndSave();

    void drawGrid(QPainter& painter, const Geometry& g) const;
    void drawTicks(QPainter& painter, const Geometry& g) const;
    void drawAxis(QPainter& painter, const Geometry& g) const;
    void drawFactor(QPainter& painter, const QPoint& at, int exponent, bool alignRight) const;
    void drawMoveButton(QPainter& painter, const QRect& rect, MoveButton button) const;
    QSize factorSize(int exponent) const;

    QList<QPlotLayer*> m_layers;
    Axis m_x;
    Axis m_y;
    bool m_mouseDisabled = false;
    QPen m_gridPen;
    QFont m_tickFont;
    QFont m_exponentFont;
    // Wheel turns not yet used up, in eighths of a degree.
    int m_wheelRest = 0;
};
