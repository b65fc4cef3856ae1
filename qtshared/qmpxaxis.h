#ifndef QMPXAXIS_H
#define QMPXAXIS_H

#include <QLabel>
#include <QSize>
#include <QWidget>

class QPainter;

// The axis beside the picture: lowest and highest visible pixel and a title.
// On screen the axis counts pixels from 0; painted into a file it counts from 1.
class QMpxAxis : public QWidget
{
    Q_OBJECT

public:
    enum AxisType {
        Horizontal = 0,
        Vertical = 1
    };

    QMpxAxis(QWidget* parent, AxisType type);

    // Both values are one more than the pixel numbers shown.
    void setRange(double min, double max);
    void setTitle(const QString& title);
    QString title() const { return titleLabel.text(); }
    QString minText() const { return minLabel.text(); }
    QString maxText() const { return maxLabel.text(); }
    AxisType getAxisType() const { return axisType; }

    QSize getAxisSize();
    void paint(
        QPainter* painter, unsigned int x, unsigned int y, unsigned int width, unsigned int height);

private:
    // Text of a label for export: its number plus 1.
    static QString exportText(const QLabel& label);

    AxisType axisType;
    QLabel maxLabel;
    QLabel minLabel;
    QLabel titleLabel;
};

#endif // QMPXAXIS_H
