#ifndef QMPXSCROLLAREA_H
#define QMPXSCROLLAREA_H

#include <QScrollArea>

// The scroll area around QMpxImage. At zoom 1 it keeps the image as large as its
// viewport; a zoomed image keeps its size and scrolls.
class QMpxScrollArea : public QScrollArea
{
    Q_OBJECT

public:
    explicit QMpxScrollArea(QWidget* parent = nullptr);

public slots:
    void onScroll(int value);

protected:
    void resizeEvent(QResizeEvent* event) override;
};

#endif // QMPXSCROLLAREA_H
