// One row of a property tree: a named value with a description, its child rows, and
// the editor it makes for itself. The base class shows its value as it is and leaves
// editing to the view's standard editor; the value kinds in qproperties.h make their
// own editors.
//
// The property classes live in namespace PropTree because Qt 6 has a class template
// QProperty of its own in the global namespace.
#pragma once

#include <QList>
#include <QString>
#include <QVariant>
#include <Qt>

class QAbstractItemDelegate;
class QModelIndex;
class QPainter;
class QStyleOptionViewItem;
class QWidget;

namespace PropTree {

class QProperty
{
public:
    QProperty(const QString& name, const QVariant& value, bool editable = true);
    QProperty(const QString& name, const QVariant& value, const QString& description,
        bool editable = true);
    QProperty(
        const QString& name, const QVariant& value, const char* description, bool editable = true)
        : QProperty(name, value, QString::fromUtf8(description), editable)
    { }
    virtual ~QProperty();

    QProperty(const QProperty&) = delete;
    QProperty& operator=(const QProperty&) = delete;

    // Column 0 is the name, 1 the value, 2 the description.
    virtual QVariant data(int column, int role) const;
    // Takes an edited value (edit role only); true when the value changed.
    virtual bool setData(const QVariant& value, int role);
    // Paints the value cell itself; false leaves the painting to the delegate.
    virtual bool paint(
        QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
    // The property's own editor, or null for the delegate's standard one.
    virtual QWidget* createEditor(
        QWidget* parent, const QStyleOptionViewItem& option, const QAbstractItemDelegate* delegate);
    // Puts the value into an editor made by createEditor; false when it is not one.
    virtual bool setEditorData(QWidget* editor);
    // The value an editor made by createEditor holds; invalid when it is not one.
    virtual QVariant getEditorData(QWidget* editor) const;
    virtual Qt::ItemFlags flags(int column) const;

    virtual void setValue(const QVariant& value) { m_value = value; }
    virtual QVariant getValue() const { return m_value; }
    virtual void setName(const QString& name) { m_name = name; }
    virtual QString getName() const { return m_name; }
    virtual void setDescription(const QString& description) { m_description = description; }
    virtual QString getDescription() const { return m_description; }

    // Children are owned; a child is added once.
    virtual void addChild(QProperty* child);
    virtual QList<QProperty*> getChildren() const { return m_children; }
    virtual QProperty* getChild(int row) const;
    virtual int getRowCount() const { return m_rowCount; }
    virtual QProperty* getParent() const { return m_parent; }
    virtual void setParent(QProperty* parent) { m_parent = parent; }
    // Takes the child out without deleting it.
    virtual void removeChild(QProperty* child);
    virtual int getChildRow(const QProperty* child) const;

    // Whether a change of this value also marks the parent row, or the children, as
    // changed (for values shown in more than one row).
    virtual bool getUpdateParent() const { return m_updateParent; }
    virtual bool getUpdateChildren() const { return m_updateChildren; }
    virtual void setUpdateBehaviour(bool updateParent, bool updateChildren);
    virtual bool isEditable() const { return m_editable; }
    void setEditable(bool editable) { m_editable = editable; }

protected:
    // Gives an editor the size policy and enabled state every property editor has.
    void prepareEditor(QWidget* editor) const;

    QVariant m_value;
    QString m_name;
    QString m_description;
    bool m_editable = true;
    bool m_updateParent = false;
    bool m_updateChildren = false;
    QProperty* m_parent = nullptr;
    QList<QProperty*> m_children;
    int m_rowCount = 0;
};

} // namespace PropTree
