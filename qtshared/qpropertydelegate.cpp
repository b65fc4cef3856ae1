#include "qpropertydelegate.h"

#include "qpropertybase.h"
#include "qpropertymodel.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>

QPropertyDelegate::QPropertyDelegate(QObject* parent) : QStyledItemDelegate(parent) { }

void QPropertyDelegate::setRowHeight(int height, bool add)
{
    rowHeight = height;
    addToHeight = add;
}

PropTree::QProperty* QPropertyDelegate::propertyOf(const QModelIndex& index)
{
    auto* model = qobject_cast<const QPropertyModel*>(index.model());
    return model ? model->getProperty(index) : nullptr;
}

void QPropertyDelegate::drawGrid(QPainter* painter, const QStyleOptionViewItem& option) const
{
    const QStyle* style = option.widget ? option.widget->style() : QApplication::style();
    const QColor grid(static_cast<QRgb>(
        style->styleHint(QStyle::SH_Table_GridLineColor, &option, option.widget)));
    painter->save();
    painter->setPen(grid);
    const QRect r = option.rect;
    painter->drawLine(r.right(), r.top(), r.right(), r.bottom());
    painter->drawLine(0, r.bottom(), r.right(), r.bottom());
    painter->restore();
}

void QPropertyDelegate::paint(
    QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    PropTree::QProperty* property = propertyOf(index);
    if (!(index.column() == 1 && property && property->paint(painter, option, index)))
        QStyledItemDelegate::paint(painter, option, index);
    drawGrid(painter, option);
}

QSize QPropertyDelegate::sizeHint(
    const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    if (rowHeight > 0)
        size.setHeight(addToHeight ? size.height() + rowHeight : rowHeight);
    return size;
}

QWidget* QPropertyDelegate::createEditor(
    QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    PropTree::QProperty* property = propertyOf(index);
    QWidget* editor = property ? property->createEditor(parent, option, this) : nullptr;
    return editor ? editor : QStyledItemDelegate::createEditor(parent, option, index);
}

void QPropertyDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    PropTree::QProperty* property = propertyOf(index);
    if (!property || !property->setEditorData(editor))
        QStyledItemDelegate::setEditorData(editor, index);
}

void QPropertyDelegate::setModelData(
    QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const
{
    PropTree::QProperty* property = propertyOf(index);
    const QVariant value = property ? property->getEditorData(editor) : QVariant();
    if (value.isValid())
        model->setData(index, value, Qt::EditRole);
    else
        QStyledItemDelegate::setModelData(editor, model, index);
}
