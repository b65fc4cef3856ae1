// The tree view of a property model: alternating rows, one selected row at a time,
// editing as soon as a value cell becomes current, and group header rows whose colour
// runs across the branch area too.
#pragma once

#include <QTreeView>

class QPropertyDelegate;

class QPropertyTreeView : public QTreeView
{
    Q_OBJECT

public:
    explicit QPropertyTreeView(QWidget* parent = nullptr);

    void init();
    void setRowHeight(int height, bool add);

protected:
    void drawBranches(
        QPainter* painter, const QRect& rect, const QModelIndex& index) const override;

    QPropertyDelegate* delegate = nullptr;
};
