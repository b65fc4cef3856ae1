#include "qrangemgr.h"

#include <qmpxframe.h>

#include <QLineEdit>
#include <QSlider>

#include <cmath>
#include <limits>
#include <sstream>

namespace PluginDevControl {

namespace {

// A field's text as a number; false for anything that is not one, including "nan"
// and "inf", which would leave the colour map without a range.
bool parseNumber(const QString& text, double* value)
{
    bool ok = false;
    const double v = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

} // namespace

QRangeMgr::QRangeMgr(QLineEdit* minEditIn, QLineEdit* maxEditIn, QSlider* minSliderIn,
    QSlider* maxSliderIn, QMpxFrame* frameIn, QObject* parent)
    : QObject(parent),
      minEdit(minEditIn),
      maxEdit(maxEditIn),
      minSlider(minSliderIn),
      maxSlider(maxSliderIn),
      frame(frameIn)
{
    connect(minEdit, &QLineEdit::textChanged, this, &QRangeMgr::onMinEditChanged);
    connect(maxEdit, &QLineEdit::textChanged, this, &QRangeMgr::onMaxEditChanged);
    for (QSlider* slider : {minSlider, maxSlider}) {
        if (slider)
            slider->setRange(0, sliderSteps);
    }
    if (minSlider)
        connect(minSlider, &QSlider::valueChanged, this, &QRangeMgr::onMinSliderChanged);
    if (maxSlider)
        connect(maxSlider, &QSlider::valueChanged, this, &QRangeMgr::onMaxSliderChanged);
}

QString QRangeMgr::doubleToStringNice(double value)
{
    std::ostringstream stream;
    stream.precision(8);
    stream << value;
    if (!stream)
        return QString();
    return QString::fromStdString(stream.str());
}

int QRangeMgr::sliderPosition(double value) const
{
    if (stepSize == 0.0)
        return 0;
    const double steps = std::trunc((value - absMin) / stepSize);
    // The slider clamps to its own range; keep the conversion to int defined.
    if (std::isnan(steps))
        return 0;
    if (steps >= double(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    if (steps <= double(std::numeric_limits<int>::min()))
        return std::numeric_limits<int>::min();
    return static_cast<int>(steps);
}

void QRangeMgr::moveSlider(QSlider* slider, double value)
{
    if (slider)
        slider->setValue(sliderPosition(value));
}

void QRangeMgr::publish()
{
    double low = curMin;
    double high = curMax;
    // A range that is empty or upside down is widened by one above the maximum.
    if (curMin >= curMax) {
        low = curMax;
        high = curMax + 1.0;
    }
    emit rangeChanged(low, high);
    if (frame)
        frame->setRange(low, high);
}

void QRangeMgr::setMinMax(double min, double max, bool again)
{
    updating = true;
    curMin = min;
    curMax = max;
    moveSlider(minSlider, curMin);
    moveSlider(maxSlider, curMax);
    // A field with the keyboard focus is the user's: its text stays as typed.
    if (!minEdit->hasFocus())
        minEdit->setText(doubleToStringNice(curMin));
    if (!maxEdit->hasFocus())
        maxEdit->setText(doubleToStringNice(curMax));
    updating = false;
    publish();
    if (again) {
        emit rangeChanged(curMin, curMax);
        if (frame)
            frame->setRange(curMin, curMax);
    }
}

void QRangeMgr::onMinEditChanged(QString text)
{
    double value = 0.0;
    if (updating || !parseNumber(text, &value))
        return;
    updating = true;
    curMin = value;
    moveSlider(minSlider, curMin);
    publish();
    updating = false;
}

void QRangeMgr::onMaxEditChanged(QString text)
{
    double value = 0.0;
    if (updating || !parseNumber(text, &value))
        return;
    updating = true;
    curMax = value;
    moveSlider(maxSlider, curMax);
    publish();
    updating = false;
}

void QRangeMgr::onMinSliderChanged(int position)
{
    if (updating)
        return;
    curMin = position * stepSize + absMin;
    // The slider was moved, so the field follows even while it has the focus; the
    // guard keeps the new text from coming back as an edit.
    updating = true;
    minEdit->setText(doubleToStringNice(curMin));
    updating = false;
    publish();
}

void QRangeMgr::onMaxSliderChanged(int position)
{
    if (updating)
        return;
    curMax = position * stepSize + absMin;
    updating = true;
    maxEdit->setText(doubleToStringNice(curMax));
    updating = false;
    publish();
}

} // namespace PluginDevControl
