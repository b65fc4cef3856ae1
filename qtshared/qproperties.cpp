#include "qproperties.h"

#include <QBrush>
#include <QColor>
#include <QComboBox>
#include <QFont>
#include <QSpinBox>

#include <algorithm>
#include <cmath>

namespace {

// A 64-bit number as a 32-bit spin box can hold it.
template <typename T>
int toSpin(T value)
{
    if (value > T(INT_MAX))
        return INT_MAX;
    if (std::is_signed_v<T> && value < T(INT_MIN))
        return INT_MIN;
    return int(value);
}

QSpinBox* makeSpinBox(QWidget* parent, int minimum, int maximum)
{
    auto* box = new QSpinBox(parent);
    box->setRange(minimum, maximum);
    return box;
}

} // namespace

QString QPTVDoubleSpinBox::textFromValue(double value) const
{
    return QStringLiteral("%1").arg(value, 4, 'g', decimals(), QLatin1Char(' '));
}

// ---------------------------------------------------------------------------------

namespace PropTree {

QIntegerProperty::QIntegerProperty(
    const QString& name, int value, bool editable, int minimum, int maximum)
    : QProperty(name, value, editable), m_min(minimum), m_max(maximum)
{ }

QIntegerProperty::QIntegerProperty(const QString& name, int value, const QString& description,
    bool editable, int minimum, int maximum)
    : QProperty(name, value, description, editable), m_min(minimum), m_max(maximum)
{ }

void QIntegerProperty::setMinMax(int minimum, int maximum)
{
    m_min = minimum;
    m_max = maximum;
}

QWidget* QIntegerProperty::createEditor(
    QWidget* parent, const QStyleOptionViewItem&, const QAbstractItemDelegate*)
{
    QSpinBox* box = makeSpinBox(parent, m_min, m_max);
    box->setValue(getValue().toInt());
    prepareEditor(box);
    return box;
}

bool QIntegerProperty::setEditorData(QWidget* editor)
{
    auto* box = qobject_cast<QSpinBox*>(editor);
    if (box)
        box->setValue(getValue().toInt());
    return box;
}

QVariant QIntegerProperty::getEditorData(QWidget* editor) const
{
    auto* box = qobject_cast<QSpinBox*>(editor);
    if (!box)
        return {};
    // An editor left at the value clipped to the bounds gives the value back as it was.
    const int value = getValue().toInt();
    return box->value() == std::clamp(value, m_min, m_max) ? QVariant(value)
                                                           : QVariant(box->value());
}

// ---------------------------------------------------------------------------------

template <typename T>
QWideIntegerProperty<T>::QWideIntegerProperty(
    const QString& name, T value, bool editable, T minimum, T maximum)
    : QProperty(name, QVariant::fromValue(value), editable), m_min(minimum), m_max(maximum)
{ }

template <typename T>
QWideIntegerProperty<T>::QWideIntegerProperty(
    const QString& name, T value, const QString& description, bool editable, T minimum, T maximum)
    : QProperty(name, QVariant::fromValue(value), description, editable),
      m_min(minimum),
      m_max(maximum)
{ }

template <typename T>
void QWideIntegerProperty<T>::setMinMax(T minimum, T maximum)
{
    m_min = minimum;
    m_max = maximum;
}

template <typename T>
QWidget* QWideIntegerProperty<T>::createEditor(
    QWidget* parent, const QStyleOptionViewItem&, const QAbstractItemDelegate*)
{
    QSpinBox* box = makeSpinBox(parent, toSpin(m_min), toSpin(m_max));
    box->setValue(toSpin(value()));
    prepareEditor(box);
    return box;
}

template <typename T>
bool QWideIntegerProperty<T>::setEditorData(QWidget* editor)
{
    auto* box = qobject_cast<QSpinBox*>(editor);
    if (box)
        box->setValue(toSpin(value()));
    return box;
}

template <typename T>
QVariant QWideIntegerProperty<T>::getEditorData(QWidget* editor) const
{
    auto* box = qobject_cast<QSpinBox*>(editor);
    if (!box)
        return {};
    const T whole = value();
    if (box->value() == toSpin(whole))
        return QVariant::fromValue(whole);
    return QVariant::fromValue(T(box->value()));
}

template class QWideIntegerProperty<qlonglong>;
template class QWideIntegerProperty<qulonglong>;

// ---------------------------------------------------------------------------------

QDoubleProperty::QDoubleProperty(
    const QString& name, double value, bool editable, int precision, double minimum, double maximum)
    : QProperty(name, value, editable), m_precision(precision), m_min(minimum), m_max(maximum)
{ }

QDoubleProperty::QDoubleProperty(const QString& name, double value, const QString& description,
    bool editable, int precision, double minimum, double maximum)
    : QProperty(name, value, description, editable),
      m_precision(precision),
      m_min(minimum),
      m_max(maximum)
{ }

void QDoubleProperty::setMinMaxPrec(double minimum, double maximum, int precision)
{
    m_min = minimum;
    m_max = maximum;
    m_precision = precision;
}

QWidget* QDoubleProperty::createEditor(
    QWidget* parent, const QStyleOptionViewItem&, const QAbstractItemDelegate*)
{
    auto* box = new QPTVDoubleSpinBox(parent);
    box->setMinimum(m_min);
    box->setMaximum(m_max);
    box->setDecimals(m_precision);
    const double step = m_min > 0.0 ? m_min : 0.0001;
    box->setSingleStep(step);
    box->setDecimals(int(std::fabs(std::log10(step))));
    box->setValue(getValue().toDouble());
    prepareEditor(box);
    return box;
}

bool QDoubleProperty::setEditorData(QWidget* editor)
{
    auto* box = qobject_cast<QDoubleSpinBox*>(editor);
    if (box)
        box->setValue(getValue().toDouble());
    return box;
}

QVariant QDoubleProperty::getEditorData(QWidget* editor) const
{
    auto* box = qobject_cast<QDoubleSpinBox*>(editor);
    if (!box)
        return {};
    // An editor left as it was gives the value back unrounded by its decimals.
    const double value = getValue().toDouble();
    const double shown = std::clamp(
        QString::number(value, 'f', box->decimals()).toDouble(), box->minimum(), box->maximum());
    return box->value() == shown ? QVariant(value) : QVariant(box->value());
}

// ---------------------------------------------------------------------------------

QBoolProperty::QBoolProperty(const QString& name, bool value, bool editable)
    : QProperty(name, value, editable)
{ }

QBoolProperty::QBoolProperty(
    const QString& name, bool value, const QString& description, bool editable)
    : QProperty(name, value, description, editable)
{ }

QVariant QBoolProperty::data(int column, int role) const
{
    if (column != 1)
        return QProperty::data(column, role);
    if (role == Qt::DisplayRole || role == Qt::EditRole)
        return getValue().toBool() ? QStringLiteral("Yes") : QStringLiteral("No");
    if (role == Qt::CheckStateRole)
        return getValue().toBool() ? Qt::Checked : Qt::Unchecked;
    if (role == Qt::ToolTipRole)
        return getDescription();
    return getValue();
}

bool QBoolProperty::setData(const QVariant& value, int role)
{
    bool next;
    if (role == Qt::CheckStateRole)
        next = value.toInt() == Qt::Checked;
    else if (role == Qt::EditRole)
        next = value.toBool();
    else
        return false;
    if (next == getValue().toBool())
        return false;
    setValue(next);
    return true;
}

Qt::ItemFlags QBoolProperty::flags(int column) const
{
    if (column != 1)
        return QProperty::flags(column);
    return isEditable() ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsUserCheckable
                        : Qt::NoItemFlags;
}

// ---------------------------------------------------------------------------------

QStringProperty::QStringProperty(const QString& name, const QString& value, bool editable)
    : QProperty(name, value, editable)
{ }

QStringProperty::QStringProperty(
    const QString& name, const QString& value, const QString& description, bool editable)
    : QProperty(name, value, description, editable)
{ }

// ---------------------------------------------------------------------------------

QListProperty::QListProperty(
    const QString& name, const QStringList& items, const QString& selected, bool editable)
    : QProperty(name, selected, editable), m_items(items)
{ }

QListProperty::QListProperty(const QString& name, const QStringList& items, const QString& selected,
    const QString& description, bool editable)
    : QProperty(name, selected, description, editable), m_items(items)
{ }

QWidget* QListProperty::createEditor(
    QWidget* parent, const QStyleOptionViewItem&, const QAbstractItemDelegate*)
{
    auto* combo = new QComboBox(parent);
    combo->addItems(m_items);
    combo->setCurrentIndex(int(m_items.indexOf(selectedText())));
    prepareEditor(combo);
    m_combo = combo;
    return combo;
}

bool QListProperty::setEditorData(QWidget* editor)
{
    auto* combo = qobject_cast<QComboBox*>(editor);
    if (combo)
        combo->setCurrentIndex(int(m_items.indexOf(selectedText())));
    return combo;
}

QVariant QListProperty::getEditorData(QWidget* editor) const
{
    auto* combo = qobject_cast<QComboBox*>(editor);
    return combo ? QVariant(combo->currentText()) : QVariant();
}

// ---------------------------------------------------------------------------------

QEmptyProperty::QEmptyProperty(const QString& name) : QProperty(name, QVariant(), false) { }

QEmptyProperty::QEmptyProperty(const QString& name, const QString& description)
    : QProperty(name, QVariant(), description, false)
{ }

QVariant QEmptyProperty::data(int column, int role) const
{
    if (role == Qt::BackgroundRole)
        return QBrush(QColor(217, 217, 217));
    if (role == Qt::FontRole) {
        QFont font;
        font.setWeight(QFont::Bold);
        return font;
    }
    if (column == 1 && (role == Qt::DisplayRole || role == Qt::EditRole))
        return {};
    return QProperty::data(column, role);
}

Qt::ItemFlags QEmptyProperty::flags(int) const
{
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled;
}

} // namespace PropTree
