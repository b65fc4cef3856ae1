// A spin box that steps only through a given set of numbers and accepts only them.
#pragma once

#include <QList>
#include <QSpinBox>

class QSetSpinBox : public QSpinBox
{
    Q_OBJECT

public:
    explicit QSetSpinBox(QWidget* parent = nullptr);

    // The allowed values, in stepping order.
    void setNumberSet(const QList<int>& set);

    void stepBy(int steps) override;
    QValidator::State validate(QString& text, int& pos) const override;

    QList<int> numbers;
};
