#include "qdoublelineedit.h"

#include "mydoublevalidator.h"

#include <QKeyEvent>

QDoubleLineEdit::QDoubleLineEdit(QWidget* parent)
    : QLineEdit(parent), numberValidator(new MyDoubleValidator(-1e300, 1e300, 9, this, this))
{
    setValidator(numberValidator);
}

void QDoubleLineEdit::keyPressEvent(QKeyEvent* event)
{
    // A decimal comma typed where the point is the decimal sign becomes the point, so
    // that "12,5" is twelve and a half, not a refused key and then 125.
    const QString point = numberValidator->locale().decimalPoint();
    if (event->text() == QLatin1String(",") && point != QLatin1String(",")) {
        QKeyEvent asPoint(
            event->type(), Qt::Key_Period, event->modifiers(), point, event->isAutoRepeat());
        QLineEdit::keyPressEvent(&asPoint);
        event->setAccepted(asPoint.isAccepted());
        return;
    }
    QLineEdit::keyPressEvent(event);
}
