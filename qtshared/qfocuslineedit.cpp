#include "qfocuslineedit.h"

QFocusLineEdit::QFocusLineEdit(QWidget* parent) : QLineEdit(parent) { }

void QFocusLineEdit::focusInEvent(QFocusEvent* event)
{
    emit focused(true);
    QLineEdit::focusInEvent(event);
}

void QFocusLineEdit::focusOutEvent(QFocusEvent* event)
{
    emit focused(false);
    QLineEdit::focusOutEvent(event);
}
