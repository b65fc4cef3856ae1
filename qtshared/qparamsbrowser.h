// The parameters of a device, a file type or a filter as an editable tree: name, value
// and description. Each parameter becomes a property of its value type (a list of names
// for parameters with named values); read-only parameters cannot be edited. An edit
// goes straight to the parameter; a value the parameter refuses is put back and the
// user is told why.
#pragma once

#include "qpropertydelegate.h"
#include "qpropertytreeview.h"

namespace ov {
class IParam;
class IParamMgr;
} // namespace ov

namespace PropTree {
class QProperty;
}
class QPropertyModel;

// Colours the value cells by the comparison sign they show, and shades the other cells
// row by row.
class CustomDelegate : public QPropertyDelegate
{
    Q_OBJECT

public:
    using QPropertyDelegate::QPropertyDelegate;

    // The fill of a cell, from its column, row, text and the palette's base colour.
    static QColor cellColor(int column, int row, const QString& text, const QColor& base);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
        const QModelIndex& index) const override;
};

class QParamsBrowser : public QPropertyTreeView
{
    Q_OBJECT

public:
    explicit QParamsBrowser(QWidget* parent = nullptr);

    // Shows the parameters of mgr; a null manager leaves the tree as it is.
    void setParams(ov::IParamMgr* mgr);
    ov::IParamMgr* params() const { return paramMgr; }
    QPropertyModel* propertyModel() const { return propModel; }
    // Fills the tree anew from the manager.
    void loadParams();
    // Shows the present values of the parameters that changed.
    void refreshParams();
    void refreshParam(ov::IParam* param);

signals:
    // A parameter refused the value the user gave it (code: the parameter's result).
    void sigParamRefused(QString name, int code);

public slots:
    // Writes an edited property to its parameter.
    void userChangedData(PropTree::QProperty* property);

private:
    void reportRefusal(const QString& name, const QString& value, int code);

    ov::IParamMgr* paramMgr = nullptr;
    QPropertyModel* propModel;
};
