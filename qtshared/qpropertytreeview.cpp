#include "qpropertytreeview.h"

#include "qpropertydelegate.h"

#include <QBrush>
#include <QPainter>

QPropertyTreeView::QPropertyTreeView(QWidget* parent) : QTreeView(parent)
{
    init();
}

void QPropertyTreeView::init()
{
    setAlternatingRowColors(true);
    setUniformRowHeights(true);
    delegate = new QPropertyDelegate(this);
    setItemDelegate(delegate);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setRootIsDecorated(true);
    setEditTriggers(QAbstractItemView::CurrentChanged | QAbstractItemView::SelectedClicked);
}

void QPropertyTreeView::setRowHeight(int height, bool add)
{
    if (auto* current = qobject_cast<QPropertyDelegate*>(itemDelegate()))
        current->setRowHeight(height, add);
    doItemsLayout();
}

void QPropertyTreeView::drawBranches(
    QPainter* painter, const QRect& rect, const QModelIndex& index) const
{
    const QVariant background = index.data(Qt::BackgroundRole);
    if (background.canConvert<QBrush>()) {
        const QBrush brush = qvariant_cast<QBrush>(background);
        if (brush.style() != Qt::NoBrush)
            painter->fillRect(rect, brush);
    }
    QTreeView::drawBranches(painter, rect, index);
}
