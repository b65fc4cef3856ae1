#include "qlabelwithicon.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>

QLabelWithIcon::QLabelWithIcon(QWidget* parent) : QLabelWithIcon(QString(), parent) { }

QLabelWithIcon::QLabelWithIcon(const QString& text, QWidget* parent)
    : QWidget(parent),
      leftIcon(new QLabel(this)),
      label(new QLabel(text, this)),
      rightIcon(new QLabel(this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(leftIcon);
    layout->addWidget(label, 1);
    layout->addWidget(rightIcon);
    label->setAutoFillBackground(true);
    rightIcon->hide();
    updateIcon();
}

void QLabelWithIcon::setText(const QString& text)
{
    label->setText(text);
}

QString QLabelWithIcon::text() const
{
    return label->text();
}

void QLabelWithIcon::setRightIcon(const QPixmap& pixmap)
{
    rightIcon->setPixmap(pixmap);
    rightIcon->setVisible(!pixmap.isNull());
}

void QLabelWithIcon::setOpen(bool state)
{
    open = state;
    updateIcon();
}

void QLabelWithIcon::restoreOpenState()
{
    if (savedOpen < 0 || open == (savedOpen != 0))
        return;
    open = savedOpen != 0;
    updateIcon();
    emit openStateChanged(open);
}

void QLabelWithIcon::mousePressEvent(QMouseEvent* event)
{
    if (event && !rightIcon->isHidden()
        && rightIcon->geometry().contains(event->position().toPoint())) {
        emit rightIconClicked();
        return;
    }
    if (savedOpen < 0)
        savedOpen = open ? 1 : 0;
    open = !open;
    updateIcon();
    emit openStateChanged(open);
}

void QLabelWithIcon::updateIcon()
{
    leftIcon->setPixmap(QPixmap(open ? ":/qlabelwithicon/down.png" : ":/qlabelwithicon/right.png"));
}
