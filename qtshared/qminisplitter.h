// A splitter whose handles are one pixel wide but can be grabbed a little beside the
// line.
#pragma once

#include <QSplitter>
#include <QSplitterHandle>

class QMiniSplitterHandle : public QSplitterHandle
{
    Q_OBJECT

public:
    QMiniSplitterHandle(Qt::Orientation orientation, QSplitter* parent);

protected:
    void resizeEvent(QResizeEvent* event) override;
    // Paints nothing on purpose: the widgets on both sides draw the line.
    void paintEvent(QPaintEvent* event) override;

private:
    void updateGrabMargins();
};

class QMiniSplitter : public QSplitter
{
    Q_OBJECT

public:
    explicit QMiniSplitter(QWidget* parent = nullptr);
    explicit QMiniSplitter(Qt::Orientation orientation, QWidget* parent = nullptr);

protected:
    QSplitterHandle* createHandle() override;

private:
    void setUp();
};
