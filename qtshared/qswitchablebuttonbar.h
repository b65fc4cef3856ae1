// A row of checkable tool buttons of which exactly one is checked, like radio
// buttons, without a button group.
#pragma once

#include <QList>
#include <QWidget>

class QHBoxLayout;
class QToolButton;

class QSwitchableButtonBar : public QWidget
{
    Q_OBJECT

public:
    explicit QSwitchableButtonBar(QWidget* parent = nullptr);

    // Appends a button; the first one added starts checked.
    void addButton(const QString& text);
    int currentIndex() const { return index; }

    QList<QToolButton*> buttons;
    QHBoxLayout* layout;
    int index = -1;

signals:
    void sigButtonChange(int index);

private slots:
    void onButtonClick();
};
