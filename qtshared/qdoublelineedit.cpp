#include "qdoublelineedit.h"

#include "mydoublevalidator.h"

QDoubleLineEdit::QDoubleLineEdit(QWidget* parent)
    : QLineEdit(parent), numberValidator(new MyDoubleValidator(-1e300, 1e300, 9, this, this))
{
    setValidator(numberValidator);
}
