// The dark status bar of a device page and its numbered toggle buttons. Each button
// opens one bottom panel; at most one of them is open at a time.
#pragma once

#include <QLabel>
#include <QList>
#include <QStatusBar>
#include <QToolButton>

// The round number badge of a toggle button. Its size hint is at least as wide as it
// is high, with an even difference, so a single digit sits in a circle.
class QFancyBadgeLabel : public QLabel
{
    Q_OBJECT

public:
    explicit QFancyBadgeLabel(QWidget* parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }
};

class QFancyToggleButton : public QToolButton
{
    Q_OBJECT

public:
    QFancyToggleButton(int number, const QString& title, QWidget* parent = nullptr);

    void setIconBadgeNumber(int number);
    int getIconBadgeNumber() const { return badgeNumber; }
    QSize sizeHint() const override;

    QString numberText;
    QString title;
    QLabel* badge;
    int badgeNumber = 0;

protected:
    void checkStateSet() override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateBadgeStyle();
    void placeBadge();
};

class QFancyStatusBar : public QStatusBar
{
    Q_OBJECT

public:
    explicit QFancyStatusBar(QWidget* parent = nullptr);

    // Adds a toggle button showing `number` and `title` that opens `widget`. A widget
    // with a closed() signal unchecks its button when it closes itself.
    void addButton(int number, const QString& title, QWidget* widget);
    void setButtonBadgeNumber(int index, int badge);
    void openWidget(int index);

    QList<QFancyToggleButton*> buttons;
    QList<QWidget*> widgets;

public slots:
    void buttonToggled(bool checked);
    void widgetClosed();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void showWidget(QFancyToggleButton* button, bool checked);
};
