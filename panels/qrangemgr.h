// Keeps a pair of range fields and a pair of sliders in step with the minimum and
// maximum of the displayed range, and hands the result to the frame widget.
#pragma once

#include <QObject>
#include <QString>

class QLineEdit;
class QMpxFrame;
class QSlider;

namespace PluginDevControl {

class QRangeMgr : public QObject
{
    Q_OBJECT

public:
    // The sliders may be null. The edits and sliders are not owned.
    QRangeMgr(QLineEdit* minEdit, QLineEdit* maxEdit, QSlider* minSlider, QSlider* maxSlider,
        QMpxFrame* frame, QObject* parent = nullptr);

    // A number as text for the range fields: eight significant digits in the default
    // float format of a text stream; empty if the stream fails. The axes use five.
    static QString doubleToStringNice(double value);

    // State read and set directly by the image properties panel.
    QLineEdit* minEdit;
    QLineEdit* maxEdit;
    QSlider* minSlider;
    QSlider* maxSlider;
    QMpxFrame* frame;
    double curMin = 0.0;
    double curMax = 1.0;
    double absMin = 0.0;
    double absMax = 1.0;
    int sliderSteps = 1000;
    double stepSize = 0.001;
    bool updating = false;

signals:
    void rangeChanged(double min, double max);

public slots:
    void onMinEditChanged(QString text);
    void onMaxEditChanged(QString text);
    void onMinSliderChanged(int position);
    void onMaxSliderChanged(int position);
    // Shows min and max in the fields (not in one that has the keyboard focus) and on
    // the sliders, and passes them on; with again they are passed on a second time.
    void setMinMax(double min, double max, bool again);

private:
    // The slider position of value: whole steps above absMin, 0 when there is no step.
    int sliderPosition(double value) const;
    void moveSlider(QSlider* slider, double value);
    // Emits rangeChanged and sets the frame's range; an empty or inverted range is
    // passed on as curMax to curMax + 1.
    void publish();
};

} // namespace PluginDevControl
