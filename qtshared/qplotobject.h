// Something drawn in the area of a QPlot: a line of points, a marker. A layer of the
// plot owns its objects and draws them in its turn.
#pragma once

class QPainter;
class QPlot;
class QRect;

class QPlotObject
{
public:
    QPlotObject() = default;
    QPlotObject(const QPlotObject&) = delete;
    QPlotObject& operator=(const QPlotObject&) = delete;
    virtual ~QPlotObject();

    // Draws the object into area, which shows minX to maxX and minY to maxY.
    virtual void draw(
        QPainter* painter, const QRect& area, double minX, double maxX, double minY, double maxY)
        = 0;
    // Recompute the object's extent along one axis from its data; an object without
    // data of its own has nothing to do.
    virtual void updateMinMaxX() { }
    virtual void updateMinMaxY() { }
    // The plot the object is shown in (null while it is in none).
    virtual void setParentPlot(QPlot* plot) { m_plot = plot; }
    QPlot* parentPlot() const { return m_plot; }

private:
    QPlot* m_plot = nullptr;
};
