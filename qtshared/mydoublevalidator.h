// The validator of numeric edit fields. It lets half-typed numbers through (empty,
// a lone minus, an exponent still being typed), refuses more decimals than allowed
// silently, and explains an out-of-range number in a tool tip under its line edit.
#pragma once

#include <QDoubleValidator>

class QLineEdit;

class MyDoubleValidator : public QDoubleValidator
{
    Q_OBJECT

public:
    MyDoubleValidator(
        double bottom, double top, int decimals, QLineEdit* edit, QObject* parent = nullptr);

    // The line edit under which the range tool tip appears.
    void setLineEdit(QLineEdit* edit) { lineEdit = edit; }
    QLineEdit* getLineEdit() const { return lineEdit; }

    QValidator::State validate(QString& text, int& pos) const override;

private:
    QLineEdit* lineEdit;
};
