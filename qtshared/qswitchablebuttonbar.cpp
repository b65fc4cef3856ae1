#include "qswitchablebuttonbar.h"

#include <QHBoxLayout>
#include <QToolButton>

QSwitchableButtonBar::QSwitchableButtonBar(QWidget* parent)
    : QWidget(parent), layout(new QHBoxLayout(this))
{
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addStretch(1);
}

void QSwitchableButtonBar::addButton(const QString& text)
{
    auto* button = new QToolButton(this);
    button->setText(text);
    button->setCheckable(true);
    // Before the trailing stretch, so the buttons stay packed to the left.
    layout->insertWidget(layout->count() - 1, button);
    buttons.append(button);
    if (buttons.size() == 1) {
        button->setChecked(true);
        index = 0;
    }
    connect(button, &QToolButton::clicked, this, &QSwitchableButtonBar::onButtonClick);
}

void QSwitchableButtonBar::onButtonClick()
{
    auto* clicked = qobject_cast<QToolButton*>(sender());
    for (QToolButton* button : buttons)
        button->setChecked(button == clicked);
    index = buttons.indexOf(clicked);
    if (index >= 0)
        emit sigButtonChange(index);
}
