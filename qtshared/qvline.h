// A sunken two-pixel vertical separator for the dark status bar.
#pragma once

#include <QWidget>

class QVLine : public QWidget
{
    Q_OBJECT

public:
    explicit QVLine(QWidget* parent = nullptr);
    QSize sizeHint() const override { return QSize(2, 20); }

protected:
    void paintEvent(QPaintEvent* event) override;
};
