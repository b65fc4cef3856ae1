// The delegate of a property tree: a property paints and edits its own value where it
// can, the standard delegate does the rest, and every cell gets grid lines on its right
// and bottom edges.
#pragma once

#include <QStyledItemDelegate>

namespace PropTree {
class QProperty;
}

class QPropertyDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit QPropertyDelegate(QObject* parent = nullptr);

    // A height above 0 replaces the standard row height, or is added to it with add.
    void setRowHeight(int height, bool add);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
        const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
        const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(
        QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;

protected:
    // The property of a cell of a property model, else null.
    static PropTree::QProperty* propertyOf(const QModelIndex& index);
    void drawGrid(QPainter* painter, const QStyleOptionViewItem& option) const;

private:
    int rowHeight = 0;
    bool addToHeight = false;
};
