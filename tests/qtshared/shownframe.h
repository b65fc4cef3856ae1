#ifndef SHOWNFRAME_H
#define SHOWNFRAME_H

#include "qmpxframe.h"

#include <QScrollBar>
#include <QTest>

#include <vector>

// A frame on screen with a 40 x 30 ramp (value = index / 2) in grey, 0..255.
struct ShownFrame
{
    static constexpr unsigned int w = 40;
    static constexpr unsigned int h = 30;

    ShownFrame()
    {
        values.resize(w * h);
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = 0.5 * double(i);
        frame.resize(560, 460);
        frame.setData(values.data(), w, h);
        frame.setRange(0, 255);
        image = frame.image;
    }
    bool show()
    {
        frame.show();
        if (!QTest::qWaitForWindowExposed(&frame))
            return false;
        QCoreApplication::processEvents();
        return true;
    }
    // Screen position of a point given in picture pixels.
    QPoint at(double x, double y) const
    {
        return QPoint(int(x * image->getScaleX()), int(y * image->getScaleY()));
    }
    QSize viewport() { return frame.getScrollArea().viewport()->size(); }
    QScrollBar* hbar() { return frame.getScrollArea().horizontalScrollBar(); }
    QScrollBar* vbar() { return frame.getScrollArea().verticalScrollBar(); }
    // Drags a band with the left button from a to b (picture pixels).
    void band(QPointF a, QPointF b, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::mousePress(image, Qt::LeftButton, modifiers, at(a.x(), a.y()));
        QTest::mouseEvent(QTest::MouseMove, image, Qt::NoButton, modifiers, at(b.x(), b.y()));
        QTest::mouseRelease(image, Qt::LeftButton, modifiers, at(b.x(), b.y()));
    }

    std::vector<double> values;
    QMpxFrame frame;
    QMpxImage* image = nullptr;
};

#endif // SHOWNFRAME_H
