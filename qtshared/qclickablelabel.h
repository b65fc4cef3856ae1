// A label that reports mouse presses, for status icons that go away when clicked.
#pragma once

#include <QLabel>

class QClickableLabel : public QLabel
{
    Q_OBJECT

public:
    explicit QClickableLabel(QWidget* parent = nullptr);

signals:
    void clicked();

protected:
    void mousePressEvent(QMouseEvent* event) override;
};
