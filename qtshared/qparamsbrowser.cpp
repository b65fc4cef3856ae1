#include "qparamsbrowser.h"

#include "qproperties.h"
#include "qpropertymodel.h"

#include <ovcore.h>

#include <QMessageBox>
#include <QPainter>
#include <QTimer>

#include <cfloat>
#include <cstdint>
#include <limits>

namespace {

QString text(const std::string& s)
{
    return QString::fromUtf8(s.c_str());
}

QStringList aliasItems(const ov::IParam* param)
{
    QStringList items;
    for (const std::string& alias : param->aliasList())
        items << text(alias);
    return items;
}

bool hasAliases(const ov::IParam* param)
{
    return param->flags() & ov::ParamHasAliases;
}

// The value of a parameter as its property keeps it.
QVariant valueOf(const ov::IParam* param)
{
    switch (param->type()) {
    case ov::ParamI8:
        return int(param->i8Value());
    case ov::ParamU8:
        return int(param->byteValue());
    case ov::ParamI16:
        return int(param->i16Value());
    case ov::ParamU16:
        return int(param->u16Value());
    case ov::ParamI32:
        return int(param->i32Value());
    case ov::ParamU32:
        return int(std::min<uint32_t>(param->u32Value(), INT32_MAX));
    case ov::ParamI64:
        return qlonglong(param->i64Value());
    case ov::ParamU64:
        return qulonglong(param->u64Value());
    case ov::ParamFloat:
        return double(param->floatValue());
    case ov::ParamDouble:
        return param->doubleValue();
    case ov::ParamBool:
        return param->boolValue();
    default:
        return text(param->getString());
    }
}

PropTree::QProperty* propertyOf(const ov::IParam* param)
{
    const QString name = text(param->name());
    const QString description = text(param->description());
    const bool editable = !(param->flags() & ov::ParamReadOnly);
    if (hasAliases(param))
        return new PropTree::QListProperty(
            name, aliasItems(param), text(param->getAliasValue()), description, editable);
    const QVariant value = valueOf(param);
    auto integer = [&](int minimum, int maximum) {
        return new PropTree::QIntegerProperty(
            name, value.toInt(), description, editable, minimum, maximum);
    };
    switch (param->type()) {
    case ov::ParamI8:
        return integer(-127, 127);
    case ov::ParamU8:
        return integer(0, 255);
    case ov::ParamI16:
        return integer(-32767, 32767);
    case ov::ParamU16:
        return integer(0, 65535);
    case ov::ParamI32:
        return integer(INT32_MIN, INT32_MAX);
    case ov::ParamU32:
        return integer(0, INT32_MAX);
    case ov::ParamI64:
        return new PropTree::QLongProperty(name, value.toLongLong(), description, editable,
            std::numeric_limits<qlonglong>::lowest(), std::numeric_limits<qlonglong>::max());
    case ov::ParamU64:
        return new PropTree::QULongProperty(name, value.toULongLong(), description, editable, 0,
            std::numeric_limits<qulonglong>::max());
    case ov::ParamFloat:
        return new PropTree::QDoubleProperty(
            name, value.toDouble(), description, editable, 5, -1e100, 1e100);
    case ov::ParamDouble:
        return new PropTree::QDoubleProperty(
            name, value.toDouble(), description, editable, 5, -1e300, 1e300);
    case ov::ParamBool:
        return new PropTree::QBoolProperty(name, value.toBool(), description, editable);
    default:
        return new PropTree::QStringProperty(name, value.toString(), description, editable);
    }
}

// Writes a property's value with the setter of the parameter's type, integers cut to
// the width of the type.
int writeValue(ov::IParam* param, const QVariant& value)
{
    switch (param->type()) {
    case ov::ParamI8:
        return param->setI8Value(int8_t(value.toInt()));
    case ov::ParamU8:
        return param->setByteValue(uint8_t(value.toInt()));
    case ov::ParamI16:
        return param->setI16Value(int16_t(value.toInt()));
    case ov::ParamU16:
        return param->setU16Value(uint16_t(value.toInt()));
    case ov::ParamI32:
        return param->setI32Value(int32_t(value.toInt()));
    case ov::ParamU32:
        return param->setU32Value(uint32_t(value.toInt()));
    case ov::ParamI64:
        return param->setI64Value(value.toLongLong());
    case ov::ParamU64:
        return param->setU64Value(value.toULongLong());
    case ov::ParamFloat:
        return param->setFloatValue(value.toFloat());
    case ov::ParamDouble:
        return param->setDoubleValue(value.toDouble());
    case ov::ParamBool:
        return param->setBoolValue(value.toBool());
    default:
        return param->setStringValue(value.toString().toUtf8().constData());
    }
}

} // namespace

QColor CustomDelegate::cellColor(int column, int row, const QString& cellText, const QColor& base)
{
    const bool dark = base.lightness() < 129;
    if (column == 1) {
        if (cellText.contains(QLatin1Char('>')))
            return dark ? QColor(120, 50, 50) : QColor(255, 200, 200);
        if (cellText.contains(QLatin1Char('<')))
            return dark ? QColor(120, 80, 40) : QColor(255, 223, 186);
        if (cellText.contains(QLatin1Char('=')))
            return dark ? QColor(40, 120, 40) : QColor(200, 255, 200);
    }
    return row % 2 ? base.darker(110) : base.lighter(110);
}

void CustomDelegate::paint(
    QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QColor fill = cellColor(index.column(), index.row(),
        index.data(Qt::DisplayRole).toString(), option.palette.color(QPalette::Base));
    painter->fillRect(option.rect, fill);
    QPropertyDelegate::paint(painter, option, index);
}

QParamsBrowser::QParamsBrowser(QWidget* parent)
    : QPropertyTreeView(parent), propModel(new QPropertyModel(this))
{
    propModel->setShowDescription(true);
    setModel(propModel);
    connect(
        propModel, &QPropertyModel::onDataChangedByEditor, this, &QParamsBrowser::userChangedData);
    setAlternatingRowColors(false);
    setItemDelegate(new CustomDelegate(this));
}

void QParamsBrowser::setParams(ov::IParamMgr* mgr)
{
    if (!mgr)
        return;
    paramMgr = mgr;
    loadParams();
}

void QParamsBrowser::loadParams()
{
    propModel->clear();
    if (!paramMgr)
        return;
    for (ov::IParam* param : paramMgr->params())
        if (param)
            propModel->addProperty(propertyOf(param), text(param->name()), QString(), true);
}

void QParamsBrowser::refreshParams()
{
    if (!paramMgr)
        return;
    for (ov::IParam* param : paramMgr->params())
        if (param)
            refreshParam(param);
}

void QParamsBrowser::refreshParam(ov::IParam* param)
{
    if (!param)
        return;
    PropTree::QProperty* property = propModel->getProperty(text(param->name()));
    if (!property)
        return;
    if (auto* list = dynamic_cast<PropTree::QListProperty*>(property)) {
        const QString alias = text(param->getAliasValue());
        if (alias != list->selectedText())
            propModel->setData(property, alias);
        return;
    }
    const QVariant value = valueOf(param);
    if (value != property->getValue())
        propModel->setData(property, value);
}

void QParamsBrowser::userChangedData(PropTree::QProperty* property)
{
    if (!property || !paramMgr)
        return;
    ov::IParam* param = paramMgr->param(property->getName().toUtf8().constData());
    if (!param || (param->flags() & ov::ParamReadOnly))
        return;
    QString asked;
    int result;
    if (auto* list = dynamic_cast<PropTree::QListProperty*>(property)) {
        asked = list->selectedText();
        result = param->setAliasValue(asked.toUtf8().constData());
    } else {
        const QVariant value = property->getValue();
        // A cell left as it was shown writes nothing (a value beyond the bounds of its
        // editor included).
        if (value == valueOf(param))
            return;
        asked = value.toString();
        result = writeValue(param, value);
    }
    // The tree shows what the parameter holds, taken or not.
    refreshParam(param);
    if (result < 0)
        reportRefusal(property->getName(), asked, result);
}

void QParamsBrowser::reportRefusal(const QString& name, const QString& value, int code)
{
    emit sigParamRefused(name, code);
    // Told after the edit has ended: the editor is still committing its value here.
    QTimer::singleShot(0, this, [this, name, value, code] {
        QString now;
        if (PropTree::QProperty* property = propModel->getProperty(name))
            now = property->data(1, Qt::DisplayRole).toString();
        QMessageBox::warning(this, QStringLiteral("Parameter Not Changed"),
            QStringLiteral("The value %1 of \"%2\" was refused (code %3). The parameter keeps %4.")
                .arg(value, name)
                .arg(code)
                .arg(now));
    });
}
