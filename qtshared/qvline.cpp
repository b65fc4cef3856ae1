#include "qvline.h"

#include <QPainter>

QVLine::QVLine(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
}

void QVLine::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setPen(QColor(60, 60, 60));
    p.drawLine(0, 0, 0, height() - 1);
    p.setPen(QColor(110, 110, 110));
    p.drawLine(1, 0, 1, height() - 1);
}
