// A line edit that reports gaining and losing the keyboard focus.
#pragma once

#include <QLineEdit>

class QFocusLineEdit : public QLineEdit
{
    Q_OBJECT

public:
    explicit QFocusLineEdit(QWidget* parent = nullptr);

signals:
    void focused(bool hasFocus);

protected:
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
};
