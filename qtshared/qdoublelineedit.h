// A line edit for floating-point numbers with its own validator, which callers narrow
// to the range they need. A decimal comma typed where the locale writes a point is
// taken as the point.
#pragma once

#include <QLineEdit>

class MyDoubleValidator;

class QDoubleLineEdit : public QLineEdit
{
    Q_OBJECT

public:
    explicit QDoubleLineEdit(QWidget* parent = nullptr);

    MyDoubleValidator* doubleValidator() const { return numberValidator; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    MyDoubleValidator* numberValidator;
};
