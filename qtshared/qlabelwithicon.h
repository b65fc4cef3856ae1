// The head of a collapsible panel: an arrow showing whether the panel is open, the
// title, and an optional clickable icon at the right.
#pragma once

#include <QPixmap>
#include <QWidget>

class QLabel;

class QLabelWithIcon : public QWidget
{
    Q_OBJECT

public:
    explicit QLabelWithIcon(QWidget* parent = nullptr);
    explicit QLabelWithIcon(const QString& text, QWidget* parent = nullptr);

    void setText(const QString& text);
    QString text() const;
    // Shows `pixmap` at the right end; a null pixmap hides the icon again.
    void setRightIcon(const QPixmap& pixmap);

    bool isOpen() const { return open; }
    // Sets the state without a signal and shows the matching arrow.
    void setOpen(bool state);
    // Goes back to the state before the first change, if there was one.
    void restoreOpenState();

    // Public so that a page can flip the head as a click would, with a null event.
    void mousePressEvent(QMouseEvent* event) override;

    QLabel* leftIcon;
    QLabel* label;
    QLabel* rightIcon;
    bool open = true;
    // The state before the first change: -1 while unchanged, else 0 or 1.
    int savedOpen = -1;

signals:
    void openStateChanged(bool open);
    void rightIconClicked();

private:
    void updateIcon();
};
