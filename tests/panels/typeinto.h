// Types into a field of a panel as a user does: focus, select what is there, replace it.
#pragma once

#include <QAbstractSpinBox>
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
