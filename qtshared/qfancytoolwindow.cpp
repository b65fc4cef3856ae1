#include "qfancytoolwindow.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QToolButton>
#include <QVBoxLayout>

QFancyToolWindowTitle::QFancyToolWindowTitle(const QString& text, QWidget* parent)
    : QFrame(parent), titleLabel(new QLabel(text, this)), closeButton(new QToolButton(this))
{
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setMaximumHeight(21);
    titleLabel->setStyleSheet("color: white;");
    closeButton->setMaximumSize(20, 20);
    closeButton->setIcon(QIcon(":/qfancytoolwindow/button_close.png"));
    closeButton->setAutoRaise(true);
    closeButton->setFocusPolicy(Qt::NoFocus);
    closeButton->setToolTip(tr("Close"));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(5, 2, 0, 2);
    layout->addWidget(titleLabel, 1);
    layout->addWidget(closeButton);
}

void QFancyToolWindowTitle::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(rect(), QColor(75, 75, 75));
    const int right = width() - 1;
    p.setPen(QColor(44, 44, 44));
    p.drawLine(0, 0, right, 0);
    p.setPen(QColor(117, 117, 117));
    p.drawLine(0, 1, right, 1);
    p.drawLine(0, height() - 1, right, height() - 1);
}

QFancyToolWindow::QFancyToolWindow(QWidget* parent) : QFancyToolWindow(nullptr, QString(), parent)
{ }

QFancyToolWindow::QFancyToolWindow(QWidget* panel, const QString& text, QWidget* parent)
    : QWidget(parent),
      title(new QFancyToolWindowTitle(text, this)),
      content(panel ? panel : new QWidget(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(title);
    layout->addWidget(content, 1);
    connect(
        title->closeButton, &QToolButton::clicked, this, &QFancyToolWindow::onCloseButtonClicked);
}

void QFancyToolWindow::onCloseButtonClicked()
{
    hide();
    emit closed();
}
