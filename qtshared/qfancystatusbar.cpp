#include "qfancystatusbar.h"

#include <QApplication>
#include <QPainter>
#include <QSignalBlocker>
#include <QtMath>

namespace {

const char* const kBadgeStyle = "background-color: #818181; color: white; border-radius: 6; "
                                "padding-left: 4; padding-right: 4;";
const char* const kBadgeCheckedStyle = "background-color: #e1e1e1; color: #606060; "
                                       "border-radius: 6; padding-left: 4; padding-right: 4;";
const char* const kButtonStyle
    = "QToolButton { border-image: url(:/qfancytogglebutton/panel_button.png) 2 2 2 19; "
      "border-width: 2px 2px 2px 19px; padding-left: -17; padding-right: 4 } "
      "QToolButton:checked { border-image: url(:/qfancytogglebutton/panel_button_checked.png) "
      "2 2 2 19 } "
      "QToolButton::menu-indicator { width:0; height:0 }";

// Where the number is drawn and where the title starts.
constexpr int kNumberWidth = 20;
constexpr int kTitleLeft = 22;
constexpr int kBadgeRightMargin = 3;

} // namespace

QFancyBadgeLabel::QFancyBadgeLabel(QWidget* parent) : QLabel(parent) { }

QSize QFancyBadgeLabel::sizeHint() const
{
    const QSize hint = QLabel::sizeHint();
    if (text().isEmpty())
        return hint;
    int width = qMax(hint.width(), hint.height());
    if ((width - hint.height()) % 2 != 0)
        ++width;
    return QSize(width, hint.height());
}

QFancyToggleButton::QFancyToggleButton(int number, const QString& buttonTitle, QWidget* parent)
    : QToolButton(parent),
      numberText(QString::number(number)),
      title(buttonTitle),
      badge(new QFancyBadgeLabel(this))
{
    setFocusPolicy(Qt::NoFocus);
    setCheckable(true);
    setFont(QApplication::font());
    setStyleSheet(kButtonStyle);
    setAccessibleName(title);

    QFont badgeFont = badge->font();
    badgeFont.setBold(true);
    badgeFont.setPixelSize(11);
    badge->setFont(badgeFont);
    badge->setAlignment(Qt::AlignCenter);
    badge->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    badge->setStyleSheet(kBadgeStyle);
    badge->hide();
}

void QFancyToggleButton::setIconBadgeNumber(int number)
{
    badgeNumber = number;
    if (number != 0) {
        badge->setText(QString::number(number));
        badge->show();
    } else {
        badge->clear();
        badge->hide();
    }
    placeBadge();
    updateGeometry();
    update();
}

QSize QFancyToggleButton::sizeHint() const
{
    QSize size = fontMetrics().size(Qt::TextSingleLine, title);
    // Whole pixels round the advance down; eliding measures it exactly, so a title of
    // 62.4 pixels would not fit into 62.
    size.setWidth(qCeil(QFontMetricsF(font()).horizontalAdvance(title)));
    size.rwidth() += 26;
    size.rheight() += 4;
    if (!badge->isHidden())
        size.rwidth() += badge->sizeHint().width();
    return size;
}

void QFancyToggleButton::checkStateSet()
{
    QToolButton::checkStateSet();
    updateBadgeStyle();
}

void QFancyToggleButton::updateBadgeStyle()
{
    badge->setStyleSheet(isChecked() ? kBadgeCheckedStyle : kBadgeStyle);
}

void QFancyToggleButton::paintEvent(QPaintEvent* event)
{
    QToolButton::paintEvent(event);

    QPainter p(this);
    p.setFont(font());
    p.setPen(Qt::white);
    p.drawText(QRect(0, 0, kNumberWidth, height()), Qt::AlignCenter, numberText);

    int available = width() - kTitleLeft;
    if (!badge->isHidden())
        available -= badge->width() + 4;
    const QString shown = fontMetrics().elidedText(title, Qt::ElideRight, qMax(0, available));
    p.setPen(isChecked() ? palette().color(QPalette::ButtonText) : QColor(Qt::black));
    p.drawText(QRect(kTitleLeft, 0, qMax(0, available), height()), Qt::AlignLeft | Qt::AlignVCenter,
        shown);
}

void QFancyToggleButton::resizeEvent(QResizeEvent* event)
{
    QToolButton::resizeEvent(event);
    placeBadge();
}

void QFancyToggleButton::placeBadge()
{
    const QSize size = badge->sizeHint();
    badge->setGeometry(width() - kBadgeRightMargin - size.width(), (height() - size.height()) / 2,
        size.width(), size.height());
}

QFancyStatusBar::QFancyStatusBar(QWidget* parent) : QStatusBar(parent)
{
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setMinimumHeight(25);
}

void QFancyStatusBar::addButton(int number, const QString& title, QWidget* widget)
{
    auto* button = new QFancyToggleButton(number, title, this);
    addWidget(button);
    buttons.append(button);
    widgets.append(widget);
    connect(button, &QAbstractButton::toggled, this, &QFancyStatusBar::buttonToggled);
    if (widget && widget->metaObject()->indexOfSignal("closed()") >= 0)
        connect(widget, SIGNAL(closed()), this, SLOT(widgetClosed()));
}

void QFancyStatusBar::setButtonBadgeNumber(int index, int badge)
{
    if (index < 0 || index >= buttons.size())
        return;
    buttons[index]->setIconBadgeNumber(badge);
}

void QFancyStatusBar::openWidget(int index)
{
    if (index < 0 || index >= buttons.size())
        return;
    showWidget(buttons[index], true);
}

void QFancyStatusBar::buttonToggled(bool checked)
{
    if (auto* button = qobject_cast<QFancyToggleButton*>(sender()))
        showWidget(button, checked);
}

void QFancyStatusBar::widgetClosed()
{
    const int index = widgets.indexOf(qobject_cast<QWidget*>(sender()));
    if (index < 0)
        return;
    {
        const QSignalBlocker block(buttons[index]);
        buttons[index]->setChecked(false);
    }
    if (widgets[index])
        widgets[index]->hide();
}

void QFancyStatusBar::showWidget(QFancyToggleButton* button, bool checked)
{
    const int index = buttons.indexOf(button);
    if (index < 0)
        return;
    QWidget* widget = widgets[index];
    if (!checked) {
        if (widget)
            widget->hide();
        return;
    }
    for (int i = 0; i < buttons.size(); ++i) {
        if (i == index || !buttons[i]->isChecked())
            continue;
        {
            const QSignalBlocker block(buttons[i]);
            buttons[i]->setChecked(false);
        }
        if (widgets[i])
            widgets[i]->hide();
    }
    // openWidget() arrives here without a click: the button follows the panel.
    if (!button->isChecked()) {
        const QSignalBlocker block(button);
        button->setChecked(true);
    }
    if (widget)
        widget->show();
    button->setIconBadgeNumber(0);
}

void QFancyStatusBar::paintEvent(QPaintEvent* event)
{
    QPainter p(this);
    p.fillRect(rect(), QColor(75, 75, 75));
    p.setPen(QColor(44, 44, 44));
    p.drawLine(0, 0, width() - 1, 0);
    p.setPen(QColor(117, 117, 117));
    p.drawLine(0, 1, width() - 1, 1);
    const QString message = currentMessage();
    if (!message.isEmpty()) {
        p.setPen(Qt::white);
        p.drawText(rect().adjusted(6, 2, -6, 0), Qt::AlignLeft | Qt::AlignVCenter, message);
    }
}
