#include "qsetspinbox.h"

QSetSpinBox::QSetSpinBox(QWidget* parent) : QSpinBox(parent) { }

void QSetSpinBox::setNumberSet(const QList<int>& set)
{
    numbers = set;
}

// A value that is not in the set has position -1: a step up then goes to the first
// element, a step down is ignored.
void QSetSpinBox::stepBy(int steps)
{
    if (steps == 0)
        return;
    const int position = int(numbers.indexOf(value()));
    const int last = int(numbers.size()) - 1;
    if (steps > 0 && position >= last)
        return;
    if (steps < 0 && position <= 0)
        return;
    setValue(numbers[qBound(0, position + steps, last)]);
}

QValidator::State QSetSpinBox::validate(QString& text, int& pos) const
{
    const QValidator::State state = QSpinBox::validate(text, pos);
    if (state != QValidator::Acceptable)
        return state;
    return numbers.contains(valueFromText(text)) ? QValidator::Acceptable
                                                 : QValidator::Intermediate;
}
