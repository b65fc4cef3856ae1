#include "qpropertybase.h"

#include <QSizePolicy>
#include <QWidget>

namespace PropTree {

QProperty::QProperty(const QString& name, const QVariant& value, bool editable)
    : m_value(value), m_name(name), m_editable(editable)
{ }

QProperty::QProperty(
    const QString& name, const QVariant& value, const QString& description, bool editable)
    : m_value(value), m_name(name), m_description(description), m_editable(editable)
{ }

QProperty::~QProperty()
{
    qDeleteAll(m_children);
}

QVariant QProperty::data(int column, int role) const
{
    if (role == Qt::ToolTipRole)
        return m_description;
    if (role != Qt::DisplayRole && role != Qt::EditRole)
        return {};
    switch (column) {
    case 0:
        return role == Qt::DisplayRole ? QVariant(m_name) : QVariant();
    case 1:
        return m_value;
    case 2:
        return m_description;
    default:
        return {};
    }
}

bool QProperty::setData(const QVariant& value, int role)
{
    if (role != Qt::EditRole || value == m_value)
        return false;
    setValue(value);
    return true;
}

bool QProperty::paint(QPainter*, const QStyleOptionViewItem&, const QModelIndex&) const
{
    return false;
}

QWidget* QProperty::createEditor(
    QWidget*, const QStyleOptionViewItem&, const QAbstractItemDelegate*)
{
    return nullptr;
}

bool QProperty::setEditorData(QWidget*)
{
    return false;
}

QVariant QProperty::getEditorData(QWidget*) const
{
    return {};
}

Qt::ItemFlags QProperty::flags(int column) const
{
    switch (column) {
    case 0:
    case 2:
        return Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    case 1:
        return m_editable ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable
                          : Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    default:
        return Qt::NoItemFlags;
    }
}

void QProperty::addChild(QProperty* child)
{
    if (!child || m_children.contains(child))
        return;
    child->setParent(this);
    m_children.append(child);
    m_rowCount = int(m_children.size());
}

QProperty* QProperty::getChild(int row) const
{
    return row >= 0 && row < m_children.size() ? m_children.at(row) : nullptr;
}

void QProperty::removeChild(QProperty* child)
{
    if (m_children.removeOne(child)) {
        child->setParent(nullptr);
        m_rowCount = int(m_children.size());
    }
}

int QProperty::getChildRow(const QProperty* child) const
{
    return int(m_children.indexOf(const_cast<QProperty*>(child)));
}

void QProperty::setUpdateBehaviour(bool updateParent, bool updateChildren)
{
    m_updateParent = updateParent;
    m_updateChildren = updateChildren;
}

void QProperty::prepareEditor(QWidget* editor) const
{
    editor->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    editor->setEnabled(m_editable);
}

} // namespace PropTree
