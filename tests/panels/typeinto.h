// Input as a user gives it: typing into a field (focus, select what is there, replace
// it), choosing an item of a combo box with the keyboard, clicking a check box.
#pragma once

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QtTest>

inline void typeInto(QLineEdit* edit, const QString& text)
{
    edit->setFocus();
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Backspace);
    QTest::keyClicks(edit, text);
}

inline void typeInto(QSpinBox* box, int value)
{
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, QString::number(value));
}

// Any spin box, with the text a user types (a number with its decimals).
inline void typeInto(QAbstractSpinBox* box, const QString& text)
{
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, text);
}

inline void chooseItem(QComboBox* combo, int index)
{
    combo->setFocus();
    while (combo->currentIndex() < index)
        QTest::keyClick(combo, Qt::Key_Down);
    while (combo->currentIndex() > index)
        QTest::keyClick(combo, Qt::Key_Up);
}

// On its indicator.
inline void clickCheckBox(QCheckBox* box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
}
