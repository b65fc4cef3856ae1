#include "qpropertymodel.h"

#include "qproperties.h"

QPropertyModel::QPropertyModel(QObject* parent)
    : QAbstractItemModel(parent), root(new PropTree::QEmptyProperty(QStringLiteral("root")))
{ }

QPropertyModel::~QPropertyModel()
{
    delete root;
}

PropTree::QProperty* QPropertyModel::getProperty(const QModelIndex& index) const
{
    return index.isValid() ? static_cast<PropTree::QProperty*>(index.internalPointer()) : nullptr;
}

QModelIndex QPropertyModel::index(int row, int column, const QModelIndex& parent) const
{
    if (column < 0 || column >= columnCount())
        return {};
    PropTree::QProperty* owner = parent.isValid() ? getProperty(parent) : root;
    PropTree::QProperty* child = owner ? owner->getChild(row) : nullptr;
    return child ? createIndex(row, column, child) : QModelIndex();
}

QModelIndex QPropertyModel::parent(const QModelIndex& index) const
{
    PropTree::QProperty* property = getProperty(index);
    PropTree::QProperty* owner = property ? property->getParent() : nullptr;
    if (!owner || owner == root)
        return {};
    PropTree::QProperty* grand = owner->getParent();
    return createIndex(grand ? grand->getChildRow(owner) : 0, 0, owner);
}

int QPropertyModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    PropTree::QProperty* owner = parent.isValid() ? getProperty(parent) : root;
    return owner ? owner->getRowCount() : 0;
}

int QPropertyModel::columnCount(const QModelIndex&) const
{
    return showDescription ? 3 : 2;
}

QVariant QPropertyModel::data(const QModelIndex& index, int role) const
{
    PropTree::QProperty* property = getProperty(index);
    return property ? property->data(index.column(), role) : QVariant();
}

bool QPropertyModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    PropTree::QProperty* property = getProperty(index);
    if (!property || index.column() != 1)
        return true;
    property->setData(value, role);
    if (property->getUpdateParent()) {
        PropTree::QProperty* owner = property->getParent();
        if (owner && owner != root) {
            const QModelIndex first = getIndexFromProperty(owner, 0);
            emit dataChanged(first, getIndexFromProperty(owner, columnCount() - 1));
        }
    }
    emit onDataChangedByEditor(property);
    emit dataChanged(index, index);
    return true;
}

Qt::ItemFlags QPropertyModel::flags(const QModelIndex& index) const
{
    PropTree::QProperty* property = getProperty(index);
    return property ? property->flags(index.column()) : Qt::NoItemFlags;
}

QVariant QPropertyModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case 0:
        return QStringLiteral("Property");
    case 1:
        return QStringLiteral("Value");
    case 2:
        return QStringLiteral("Description");
    default:
        return {};
    }
}

bool QPropertyModel::addProperty(
    PropTree::QProperty* property, const QString& key, const QString& parentKey, bool notify)
{
    if (!property)
        return false;
    PropTree::QProperty* owner = getProperty(parentKey);
    if (!owner)
        owner = root;
    if (owner->getChildren().contains(property))
        return false;
    const int row = owner->getRowCount();
    if (notify)
        beginInsertRows(getIndexFromProperty(owner, 0), row, row);
    owner->addChild(property);
    addPropertyToMaps(property, key);
    if (notify)
        endInsertRows();
    return true;
}

PropTree::QProperty* QPropertyModel::createProperty(const QString& key, const QString& name,
    const QVariant& value, const QString& description, const QString& parentKey)
{
    PropTree::QProperty* property = nullptr;
    switch (value.typeId()) {
    case QMetaType::Bool:
        property = new PropTree::QBoolProperty(name, value.toBool(), description);
        break;
    case QMetaType::Int:
        property = new PropTree::QIntegerProperty(name, value.toInt(), description);
        break;
    case QMetaType::LongLong:
        property = new PropTree::QLongProperty(name, value.toLongLong(), description);
        break;
    case QMetaType::ULongLong:
        property = new PropTree::QULongProperty(name, value.toULongLong(), description);
        break;
    case QMetaType::Double:
    case QMetaType::Float:
        property = new PropTree::QDoubleProperty(name, value.toDouble(), description);
        break;
    case QMetaType::QStringList:
        property = new PropTree::QListProperty(name, value.toStringList(), QString(), description);
        break;
    default:
        property = value.isValid() ? static_cast<PropTree::QProperty*>(
                       new PropTree::QStringProperty(name, value.toString(), description))
                                   : new PropTree::QEmptyProperty(name, description);
    }
    if (!addProperty(property, key, parentKey, true)) {
        delete property;
        return nullptr;
    }
    return property;
}

PropTree::QProperty* QPropertyModel::getProperty(const QString& key) const
{
    return key.isEmpty() ? nullptr : byKey.value(key, nullptr);
}

void QPropertyModel::setData(PropTree::QProperty* property, const QVariant& value, int role)
{
    if (!property)
        return;
    property->setData(value, role);
    const QModelIndex cell = getIndexFromProperty(property, 1);
    emit dataChanged(cell, cell);
    emit onDataChangedByModel(property);
}

void QPropertyModel::setData(const QString& key, const QVariant& value, int role)
{
    setData(getProperty(key), value, role);
}

void QPropertyModel::clear()
{
    beginResetModel();
    delete root;
    root = new PropTree::QEmptyProperty(QStringLiteral("root"));
    byKey.clear();
    keyOf.clear();
    endResetModel();
}

void QPropertyModel::setDataChanged()
{
    const int rows = rowCount();
    if (rows > 0)
        emit dataChanged(index(0, 0), index(rows - 1, columnCount() - 1));
}

void QPropertyModel::setShowDescription(bool show)
{
    if (show == showDescription)
        return;
    beginResetModel();
    showDescription = show;
    endResetModel();
}

QModelIndex QPropertyModel::getIndexFromProperty(PropTree::QProperty* property, int column) const
{
    if (!property || property == root)
        return {};
    PropTree::QProperty* owner = property->getParent();
    const int row = owner ? owner->getChildRow(property) : -1;
    return row < 0 ? QModelIndex() : createIndex(row, column, property);
}

void QPropertyModel::deletePropertyFromMaps(PropTree::QProperty* property)
{
    const auto it = keyOf.find(property);
    if (it == keyOf.end())
        return;
    byKey.remove(it.value());
    keyOf.erase(it);
    for (PropTree::QProperty* child : property->getChildren())
        deletePropertyFromMaps(child);
}

void QPropertyModel::addPropertyToMaps(PropTree::QProperty* property, const QString& key)
{
    if (key.isEmpty())
        return;
    byKey.insert(key, property);
    keyOf.insert(property, key);
}
