#include "qfancyprogressbar.h"

#include <QLinearGradient>
#include <QPainter>

#include <cmath>

namespace {

// The trough image has a 2-pixel border; the bar is drawn inside it.
constexpr int kInset = 2;
// A failed run shows at least this much red, so the colour is seen even at 0 %.
constexpr int kMinErrorWidth = 12;

} // namespace

QFancyProgressBar::QFancyProgressBar(QWidget* parent) : QFrame(parent)
{
    setStyleSheet("border-image: url(:/qfancyprogressbar/progressbar.png) 2 2 2 19; "
                  "border-width: 2px 2px 2px 19px; padding-left: -17; padding-right: 4");
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void QFancyProgressBar::setRange(int minValue, int maxValue)
{
    min = minValue;
    max = maxValue;
    if (current < min || current > max)
        current = min;
    update();
}

void QFancyProgressBar::setValue(int value)
{
    if (value < min || value > max)
        return;
    current = value;
    update();
}

void QFancyProgressBar::setError(bool error)
{
    failed = error;
    update();
}

void QFancyProgressBar::paintEvent(QPaintEvent* event)
{
    QFrame::paintEvent(event);

    const QRect inner(kInset, kInset, width() - 2 * kInset, height() - 2 * kInset);
    if (inner.width() <= 0 || inner.height() <= 0)
        return;

    // At 0 (idle) and at the end the bar fills the whole trough.
    QRect bar = inner;
    if (current != max && current >= 1 && max != min) {
        const int fill = int(std::lround(double(inner.width()) * current / (max - min)));
        bar.setWidth(qBound(0, fill, inner.width()));
    }

    QColor color(90, 170, 60);
    if (failed) {
        color = QColor(255, 60, 0, 210);
        if (bar.width() < kMinErrorWidth)
            bar.setWidth(qMin(kMinErrorWidth, inner.width()));
    }

    QPainter p(this);
    if (current >= min && current <= max && bar.right() < inner.right()) {
        const QRect rest(bar.right() + 1, inner.top(), inner.right() - bar.right(), inner.height());
        p.fillRect(rest, QColor(0, 0, 0, 20));
        p.setPen(QColor(0, 0, 0, 60));
        p.drawLine(rest.topLeft(), rest.bottomLeft());
    }
    if (bar.width() <= 0)
        return;

    QLinearGradient gradient(bar.topLeft(), bar.bottomLeft());
    gradient.setColorAt(0.0, color.lighter(130));
    gradient.setColorAt(0.5, color.lighter(106));
    gradient.setColorAt(0.51, color.darker(106));
    gradient.setColorAt(1.0, color.darker(130));
    p.fillRect(bar, gradient);

    p.setPen(QPen(QColor(0, 0, 0, 30), 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(bar.adjusted(0, 0, -1, -1));
    p.drawPoint(bar.topLeft());
    p.drawPoint(bar.topRight());
    p.drawPoint(bar.bottomLeft());
    p.drawPoint(bar.bottomRight());
}
