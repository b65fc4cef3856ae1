// A layer of a QPlot: lines and other objects drawn together, and the extremes of its
// lines. The layer owns everything added to it and deletes it when cleared or deleted.
// Objects other than lines have no extent and do not count for the extremes.
#pragma once

#include <QList>

class QColor;
class QPainter;
class QPlot;
class QPlotLine;
class QPlotObject;
class QRect;

class QPlotLayer
{
public:
    explicit QPlotLayer(QPlot* plot);
    QPlotLayer(const QPlotLayer&) = delete;
    QPlotLayer& operator=(const QPlotLayer&) = delete;
    ~QPlotLayer();

    // Takes line over; color, when given, becomes its colour, else it gets the next
    // colour of the layer's palette. The line's extremes widen the layer's.
    QPlotLine* addLine(QPlotLine* line, QColor* color = nullptr);
    // Takes object over.
    void addObject(QPlotObject* object);
    void clearLines();
    void clearObjects();
    void clear();
    // Takes the extremes again from the lines.
    void updateMinMax();

    const QList<QPlotLine*>& lines() const { return m_lines; }
    const QList<QPlotObject*>& objects() const { return m_objects; }
    QPlot* plot() const { return m_plot; }

    // Extremes of the lines; without lines the minima are the largest double and the
    // maxima the lowest.
    double minX() const { return m_minX; }
    double maxX() const { return m_maxX; }
    double minY() const { return m_minY; }
    double maxY() const { return m_maxY; }

    // Lines first, then the other objects over them.
    void draw(QPainter* painter, const QRect& area, double minX, double maxX, double minY,
        double maxY) const;

private:
    void resetExtremes();
    void widenBy(const QPlotLine& line);

    QPlot* m_plot;
    QList<QPlotLine*> m_lines;
    QList<QPlotObject*> m_objects;
    double m_minX;
    double m_maxX;
    double m_minY;
    double m_maxY;
};
