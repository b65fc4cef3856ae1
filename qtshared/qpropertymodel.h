// The item model of a property tree: a hidden root property, the properties below it
// by key, and two or three columns ("Property", "Value" and, when shown,
// "Description"). An edit in a value cell reaches the property and is announced with
// onDataChangedByEditor; a change made by the program goes through setData(PropTree::QProperty*)
// and is announced with onDataChangedByModel.
#pragma once

#include <QAbstractItemModel>
#include <QHash>

namespace PropTree {
class QProperty;
}

class QPropertyModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    explicit QPropertyModel(QObject* parent = nullptr);
    ~QPropertyModel() override;

    QModelIndex index(
        int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Adds a property under the property of parentKey (the root when there is none) and
    // takes it over. Refused (false): a null property, or one already a child there.
    // With notify the view hears of the new row.
    virtual bool addProperty(PropTree::QProperty* property, const QString& key,
        const QString& parentKey = QString(), bool notify = true);
    // A property of the kind of value (bool, whole number, number, text; an invalid
    // value makes a group header), added under parentKey.
    virtual PropTree::QProperty* createProperty(const QString& key, const QString& name,
        const QVariant& value, const QString& description = QString(),
        const QString& parentKey = QString());
    virtual PropTree::QProperty* getProperty(const QString& key) const;
    // A change made by the program: the cell is redrawn and onDataChangedByModel goes out.
    virtual void setData(
        PropTree::QProperty* property, const QVariant& value, int role = Qt::EditRole);
    virtual void setData(const QString& key, const QVariant& value, int role = Qt::EditRole);
    // Removes every property.
    virtual void clear();
    // Redraws every cell.
    virtual void setDataChanged();
    virtual void setShowDescription(bool show);
    virtual bool isDescriptionShown() const { return showDescription; }
    virtual PropTree::QProperty* getProperty(const QModelIndex& index) const;
    virtual QModelIndex getIndexFromProperty(PropTree::QProperty* property, int column = 0) const;
    virtual void deletePropertyFromMaps(PropTree::QProperty* property);
    virtual void addPropertyToMaps(PropTree::QProperty* property, const QString& key);

signals:
    void onDataChangedByEditor(PropTree::QProperty* property);
    void onDataChangedByModel(PropTree::QProperty* property);

private:
    PropTree::QProperty* root;
    QHash<QString, PropTree::QProperty*> byKey;
    QHash<PropTree::QProperty*, QString> keyOf;
    bool showDescription = false;
};
