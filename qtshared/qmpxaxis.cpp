#include "qmpxaxis.h"

#include "doubletostringnice.h"

#include <QBoxLayout>
#include <QFontMetrics>
#include <QPainter>

QMpxAxis::QMpxAxis(QWidget* parent, AxisType type)
    : QWidget(parent),
      axisType(type),
      maxLabel(QStringLiteral("256"), this),
      minLabel(QStringLiteral("0"), this),
      titleLabel(this)
{
    maxLabel.setMargin(2);
    minLabel.setMargin(2);
    titleLabel.setMargin(2);
    if (axisType == Horizontal) {
        titleLabel.setText(QStringLiteral("X (column number)"));
        // The title may be cut rather than keep a narrow picture from its aspect ratio.
        titleLabel.setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        auto* box = new QHBoxLayout(this);
        box->setSpacing(0);
        box->setContentsMargins(0, 0, 0, 0);
        box->addWidget(&minLabel, 0, Qt::AlignLeft | Qt::AlignTop);
        box->addWidget(&titleLabel, 0, Qt::AlignHCenter | Qt::AlignTop);
        box->addWidget(&maxLabel, 0, Qt::AlignRight | Qt::AlignTop);
    } else {
        setMinimumWidth(30);
        titleLabel.setText(QStringLiteral("Y"));
        auto* box = new QVBoxLayout(this);
        box->setSpacing(0);
        box->setContentsMargins(0, 0, 0, 0);
        box->addWidget(&maxLabel, 0, Qt::AlignRight | Qt::AlignTop);
        box->addWidget(&titleLabel, 0, Qt::AlignRight | Qt::AlignVCenter);
        box->addWidget(&minLabel, 0, Qt::AlignRight | Qt::AlignBottom);
    }
}

void QMpxAxis::setRange(double min, double max)
{
    minLabel.setText(doubleToStringNice(min - 1.0));
    maxLabel.setText(doubleToStringNice(max - 1.0));
}

void QMpxAxis::setTitle(const QString& title)
{
    titleLabel.setText(title);
}

QString QMpxAxis::exportText(const QLabel& label)
{
    return QString::number(label.text().toDouble() + 1.0, 'g', 6);
}

QSize QMpxAxis::getAxisSize()
{
    const QFontMetrics metrics(font());
    if (axisType == Horizontal)
        return QSize(width(), metrics.lineSpacing() + 5);
    const int advance = std::max(metrics.horizontalAdvance(exportText(minLabel)),
        metrics.horizontalAdvance(exportText(maxLabel)));
    return QSize(advance + 5, height());
}

void QMpxAxis::paint(
    QPainter* painter, unsigned int x, unsigned int y, unsigned int width, unsigned int height)
{
    painter->save();
    painter->setFont(font());
    painter->setPen(Qt::black);
    const QFontMetrics metrics(font());
    const int fontHeight = metrics.height();
    const QString minText = exportText(minLabel);
    const QString maxText = exportText(maxLabel);
    const QString title = titleLabel.text();
    const int px = static_cast<int>(x);
    const int py = static_cast<int>(y);
    const int w = static_cast<int>(width);
    const int h = static_cast<int>(height);
    if (axisType == Horizontal) {
        const int baseline = py + fontHeight - 3;
        painter->drawText(px, baseline, minText);
        painter->drawText(px + w - metrics.horizontalAdvance(maxText), baseline, maxText);
        painter->drawText(px + w / 2 - 3 - metrics.horizontalAdvance(title) / 2, baseline, title);
    } else {
        const int right = px
            + std::max(metrics.horizontalAdvance(minText), metrics.horizontalAdvance(maxText)) + 3;
        painter->drawText(right - metrics.horizontalAdvance(maxText), py + fontHeight, maxText);
        painter->drawText(right - metrics.horizontalAdvance(minText), py + h, minText);
        painter->drawText(
            right - metrics.horizontalAdvance(title), py + h / 2 - fontHeight / 2, title);
    }
    painter->restore();
}
