// A line edit for floating-point numbers with its own validator, which callers narrow
// to the range they need.
#pragma once

#include <QLineEdit>

class MyDoubleValidator;

class QDoubleLineEdit : public QLineEdit
{
    Q_OBJECT

public:
    explicit QDoubleLineEdit(QWidget* parent = nullptr);

    MyDoubleValidator* doubleValidator() const { return numberValidator; }

private:
    MyDoubleValidator* numberValidator;
};
