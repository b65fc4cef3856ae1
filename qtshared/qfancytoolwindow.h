// A bottom panel of a device page: a dark title row with a close button above the
// panel itself.
#pragma once

#include <QFrame>

class QLabel;
class QToolButton;

class QFancyToolWindowTitle : public QFrame
{
    Q_OBJECT

public:
    explicit QFancyToolWindowTitle(const QString& text = QString(), QWidget* parent = nullptr);

    QLabel* titleLabel;
    QToolButton* closeButton;

protected:
    void paintEvent(QPaintEvent* event) override;
};

class QFancyToolWindow : public QWidget
{
    Q_OBJECT

public:
    // A window with an empty title and an empty content widget.
    explicit QFancyToolWindow(QWidget* parent = nullptr);
    // A window around `panel`, which it takes over, headed by `text`.
    QFancyToolWindow(QWidget* panel, const QString& text, QWidget* parent = nullptr);

    QFancyToolWindowTitle* title;
    QWidget* content;

signals:
    void closed();

public slots:
    void onCloseButtonClicked();
};
