// A step for ModalDriver that answers a question box: only a QMessageBox with the given
// title counts; its text is recorded and the button is clicked as a user would.
#pragma once

#include "modaldriver.h"

#include <QAbstractButton>
#include <QMessageBox>

inline ModalDriver::Step answerQuestion(
    const QString& title, QMessageBox::StandardButton answer, QString* text = nullptr)
{
    return [=](QWidget* w) {
        auto* box = qobject_cast<QMessageBox*>(w);
        if (!box || box->windowTitle() != title)
            return false;
        if (text)
            *text = box->text();
        QAbstractButton* button = box->button(answer);
        if (!button)
            return false;
        QTest::mouseClick(button, Qt::LeftButton);
        return true;
    };
}

// A step that takes any question box, answers No and counts it: a test that expects no
// question sees the count stay 0 and the step still waiting.
inline ModalDriver::Step refuseAnyQuestion(int* asked)
{
    return [=](QWidget* w) {
        auto* box = qobject_cast<QMessageBox*>(w);
        if (!box)
            return false;
        ++*asked;
        QTest::mouseClick(box->button(QMessageBox::No), Qt::LeftButton);
        return true;
    };
}
