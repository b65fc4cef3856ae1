#include "mydoublevalidator.h"

#include <QLineEdit>
#include <QToolTip>

namespace {

constexpr int kToolTipMs = 2000;

} // namespace

MyDoubleValidator::MyDoubleValidator(
    double bottomValue, double topValue, int decimalCount, QLineEdit* edit, QObject* parent)
    : QDoubleValidator(bottomValue, topValue, decimalCount, parent), lineEdit(edit)
{ }

QValidator::State MyDoubleValidator::validate(QString& text, int&) const
{
    if (text.isEmpty() || text == "-")
        return Intermediate;
    const QString lower = text.toLower();
    if (lower.endsWith('e') || lower.endsWith("e-"))
        return Intermediate;

    bool ok = false;
    const double value = locale().toDouble(text, &ok);
    // A leading zero on the way to a small positive number.
    if (bottom() > 0.0 && ok && value == 0.0)
        return Intermediate;

    const QString point = locale().decimalPoint();
    const qsizetype at = text.indexOf(point);
    if (at >= 0) {
        int digits = 0;
        for (qsizetype i = at + point.size(); i < text.size() && text[i].isDigit(); ++i)
            ++digits;
        if (digits > decimals())
            return Invalid;
    }

    if (ok && value >= bottom() && value <= top())
        return Acceptable;

    const QString message
        = QString("The number must be in range %1 to %2")
              .arg(QString::number(bottom(), 'g', 17), QString::number(top(), 'g', 17));
    if (lineEdit)
        QToolTip::showText(
            lineEdit->mapToGlobal(QPoint(0, 5)), message, lineEdit, QRect(), kToolTipMs);
    return Invalid;
}
