// The progress bar of the device status bar: a green bar in a dark trough, red after
// a failed measurement.
#pragma once

#include <QFrame>

class QFancyProgressBar : public QFrame
{
    Q_OBJECT

public:
    explicit QFancyProgressBar(QWidget* parent = nullptr);

    // A value outside the new range is reset to `min`.
    void setRange(int min, int max);
    // Values outside the range are ignored.
    void setValue(int value);
    void setError(bool error);

    int minimum() const { return min; }
    int maximum() const { return max; }
    int value() const { return current; }
    bool error() const { return failed; }

    QSize sizeHint() const override { return QSize(100, 20); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int min = 0;
    int max = 100;
    int current = 0;
    bool failed = false;
};
