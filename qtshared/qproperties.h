// The value kinds of a property tree, each with its own editor: whole numbers (32 and
// 64 bits), floating-point numbers, yes/no, text, a choice from a list, and the empty
// header row of a group.
#pragma once

#include "qpropertybase.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QPointer>
#include <QStringList>

#include <climits>
#include <limits>

// A double spin box whose text has no trailing zeros.
class QPTVDoubleSpinBox : public QDoubleSpinBox
{
    Q_OBJECT

public:
    using QDoubleSpinBox::QDoubleSpinBox;
    QString textFromValue(double value) const override;
};

namespace PropTree {

// Each kind has constructors with and without a description; a description given as a
// string literal takes the const char* form, so that it is never read as the editable
// flag.
class QIntegerProperty : public QProperty
{
public:
    QIntegerProperty(const QString& name, int value, bool editable = true, int minimum = INT_MIN,
        int maximum = INT_MAX);
    QIntegerProperty(const QString& name, int value, const QString& description,
        bool editable = true, int minimum = INT_MIN, int maximum = INT_MAX);
    QIntegerProperty(const QString& name, int value, const char* description, bool editable = true,
        int minimum = INT_MIN, int maximum = INT_MAX)
        : QIntegerProperty(name, value, QString::fromUtf8(description), editable, minimum, maximum)
    { }

    void setMinMax(int minimum, int maximum);
    int minimum() const { return m_min; }
    int maximum() const { return m_max; }

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
        const QAbstractItemDelegate* delegate) override;
    bool setEditorData(QWidget* editor) override;
    QVariant getEditorData(QWidget* editor) const override;

private:
    int m_min;
    int m_max;
};

// 64-bit values in a 32-bit spin box: bounds and value are clipped to what the editor
// can show. QLongProperty holds signed values, QULongProperty unsigned ones.
template <typename T>
class QWideIntegerProperty : public QProperty
{
public:
    QWideIntegerProperty(const QString& name, T value, bool editable = true,
        T minimum = std::numeric_limits<T>::lowest(), T maximum = std::numeric_limits<T>::max());
    QWideIntegerProperty(const QString& name, T value, const QString& description,
        bool editable = true, T minimum = std::numeric_limits<T>::lowest(),
        T maximum = std::numeric_limits<T>::max());
    QWideIntegerProperty(const QString& name, T value, const char* description,
        bool editable = true, T minimum = std::numeric_limits<T>::lowest(),
        T maximum = std::numeric_limits<T>::max())
        : QWideIntegerProperty(
            name, value, QString::fromUtf8(description), editable, minimum, maximum)
    { }

    void setMinMax(T minimum, T maximum);
    T minimum() const { return m_min; }
    T maximum() const { return m_max; }

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
        const QAbstractItemDelegate* delegate) override;
    bool setEditorData(QWidget* editor) override;
    // An editor left at the clipped value gives the whole value back, so that a 64-bit
    // value is not cut by a mere Enter.
    QVariant getEditorData(QWidget* editor) const override;

private:
    T value() const { return getValue().template value<T>(); }

    T m_min;
    T m_max;
};

extern template class QWideIntegerProperty<qlonglong>;
extern template class QWideIntegerProperty<qulonglong>;
using QLongProperty = QWideIntegerProperty<qlonglong>;
using QULongProperty = QWideIntegerProperty<qulonglong>;

class QDoubleProperty : public QProperty
{
public:
    QDoubleProperty(const QString& name, double value, bool editable = true, int precision = 5,
        double minimum = -1e300, double maximum = 1e300);
    QDoubleProperty(const QString& name, double value, const QString& description,
        bool editable = true, int precision = 5, double minimum = -1e300, double maximum = 1e300);
    QDoubleProperty(const QString& name, double value, const char* description,
        bool editable = true, int precision = 5, double minimum = -1e300, double maximum = 1e300)
        : QDoubleProperty(
            name, value, QString::fromUtf8(description), editable, precision, minimum, maximum)
    { }

    void setMinMaxPrec(double minimum, double maximum, int precision);
    double minimum() const { return m_min; }
    double maximum() const { return m_max; }
    int precision() const { return m_precision; }

    // The step is the minimum when that is above 0, else 0.0001, and the decimals then
    // follow the step, whatever the precision says.
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
        const QAbstractItemDelegate* delegate) override;
    bool setEditorData(QWidget* editor) override;
    QVariant getEditorData(QWidget* editor) const override;

private:
    int m_precision;
    double m_min;
    double m_max;
};

// Yes or no: a check box in the value cell, with the text "Yes" or "No".
class QBoolProperty : public QProperty
{
public:
    QBoolProperty(const QString& name, bool value, bool editable = true);
    QBoolProperty(
        const QString& name, bool value, const QString& description, bool editable = true);
    QBoolProperty(const QString& name, bool value, const char* description, bool editable = true)
        : QBoolProperty(name, value, QString::fromUtf8(description), editable)
    { }

    QVariant data(int column, int role) const override;
    bool setData(const QVariant& value, int role) override;
    Qt::ItemFlags flags(int column) const override;
};

class QStringProperty : public QProperty
{
public:
    QStringProperty(const QString& name, const QString& value, bool editable = true);
    QStringProperty(const QString& name, const QString& value, const QString& description,
        bool editable = true);
    QStringProperty(
        const QString& name, const QString& value, const char* description, bool editable = true)
        : QStringProperty(name, value, QString::fromUtf8(description), editable)
    { }
};

// One of a list of texts; the value is the selected text.
class QListProperty : public QProperty
{
public:
    QListProperty(const QString& name, const QStringList& items, const QString& selected,
        bool editable = true);
    QListProperty(const QString& name, const QStringList& items, const QString& selected,
        const QString& description, bool editable = true);
    QListProperty(const QString& name, const QStringList& items, const QString& selected,
        const char* description, bool editable = true)
        : QListProperty(name, items, selected, QString::fromUtf8(description), editable)
    { }

    QStringList items() const { return m_items; }
    QString selectedText() const { return getValue().toString(); }
    void setSelectedText(const QString& text) { setValue(text); }
    // The editor while it is open, else null.
    QComboBox* editor() const { return m_combo; }

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
        const QAbstractItemDelegate* delegate) override;
    bool setEditorData(QWidget* editor) override;
    QVariant getEditorData(QWidget* editor) const override;

private:
    QStringList m_items;
    QPointer<QComboBox> m_combo;
};

// The header row of a group: a name on a grey band in bold, no value.
class QEmptyProperty : public QProperty
{
public:
    explicit QEmptyProperty(const QString& name);
    QEmptyProperty(const QString& name, const QString& description);

    QVariant data(int column, int role) const override;
    Qt::ItemFlags flags(int column) const override;
};

} // namespace PropTree
