// Scroll areas that size themselves after their contents.
#pragma once

#include <QScrollArea>

// Scrolls sideways only; asks for enough height that the horizontal scroll bar sits
// below the contents instead of covering them.
class QHorizontalScrollArea : public QScrollArea
{
    Q_OBJECT

public:
    explicit QHorizontalScrollArea(QWidget* parent = nullptr);

    QSize minimumSizeHint() const override;
    // The contents' height plus the scroll bar and the frame.
    int getMinHeight() const;
};

// Never grows larger than its contents: follows every size change of the scrolled
// widget with its own maximum size.
class QAdjustingScrollArea : public QScrollArea
{
    Q_OBJECT

public:
    explicit QAdjustingScrollArea(QWidget* parent = nullptr);

    bool eventFilter(QObject* watched, QEvent* event) override;
};
