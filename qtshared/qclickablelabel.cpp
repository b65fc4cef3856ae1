#include "qclickablelabel.h"

QClickableLabel::QClickableLabel(QWidget* parent) : QLabel(parent) { }

void QClickableLabel::mousePressEvent(QMouseEvent* event)
{
    emit clicked();
    QLabel::mousePressEvent(event);
}
