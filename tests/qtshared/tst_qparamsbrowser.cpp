// The parameter browser on a manager of simulated parameters: the property each type
// becomes, read-only rows, yes/no check boxes, named values, editing through the tree
// with mouse and keyboard, refused values, refreshing, and the colours of the cells.
#include "../devctrl/modaldriver.h"

#include <qparamsbrowser.h>
#include <qproperties.h>
#include <qpropertymodel.h>
#include <simparams.h>

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QSignalSpy>
#include <QSpinBox>
#include <QtTest>

using namespace PropTree;

namespace {

// The browser shown on screen with a manager, its cells by parameter name.
struct Browser
{
    explicit Browser(sim::SimParamMgr* mgr)
    {
        view.resize(600, 400);
        view.setParams(mgr);
        view.show();
        (void)QTest::qWaitForWindowExposed(&view);
    }

    QModelIndex cell(const QString& name, int column = 1) const
    {
        QPropertyModel* model = view.propertyModel();
        return model->getIndexFromProperty(model->getProperty(name), column);
    }
    PropTree::QProperty* property(const QString& name) const
    {
        return view.propertyModel()->getProperty(name);
    }
    // Makes the value cell current, which opens its editor, and gives the editor back.
    template <class Editor>
    Editor* openEditor(const QString& name)
    {
        view.activateWindow();
        view.setFocus();
        view.setCurrentIndex(cell(name, 0));
        view.setCurrentIndex(cell(name));
        QApplication::processEvents();
        for (Editor* editor : view.viewport()->findChildren<Editor*>())
            if (editor->isVisible()) {
                editor->setFocus();
                return editor;
            }
        return nullptr;
    }

    QParamsBrowser view;
};

// Presses OK on the next message box, keeping its title and text.
void answerMessageBox(ModalDriver& driver, QString* text)
{
    driver.add([text](QWidget* w) {
        auto* box = qobject_cast<QMessageBox*>(w);
        if (!box)
            return false;
        *text = box->windowTitle() + "|" + box->text();
        QTest::mouseClick(box->button(QMessageBox::Ok), Qt::LeftButton);
        return true;
    });
}

QColor pixelAt(QWidget* widget, QPoint at)
{
    return QColor(widget->grab().toImage().pixel(at));
}

} // namespace

class TestQParamsBrowser : public QObject
{
    Q_OBJECT

private slots:
    void everyTypeBecomesItsProperty()
    {
        sim::SimParamMgr mgr;
        const char* names[] = {"I8", "U8", "I16", "U16", "I32", "U32", "I64", "U64", "Float",
            "Double", "Bool", "String"};
        for (int type = 0; type < 12; ++type)
            mgr.add(names[type], QString("Type %1").arg(type).toStdString(), type).assign(7);
        Browser b(&mgr);
        QCOMPARE(b.view.propertyModel()->rowCount(), 12);

        auto integer = [&](const char* name, int minimum, int maximum) {
            auto* p = dynamic_cast<QIntegerProperty*>(b.property(name));
            QVERIFY2(p, name);
            QCOMPARE(p->minimum(), minimum);
            QCOMPARE(p->maximum(), maximum);
            QCOMPARE(p->getValue().toInt(), 7);
        };
        integer("I8", -127, 127);
        integer("U8", 0, 255);
        integer("I16", -32767, 32767);
        integer("U16", 0, 65535);
        integer("I32", INT_MIN, INT_MAX);
        integer("U32", 0, INT_MAX);
        auto* i64 = dynamic_cast<QLongProperty*>(b.property("I64"));
        QVERIFY(i64);
        QCOMPARE(i64->minimum(), std::numeric_limits<qlonglong>::lowest());
        QCOMPARE(i64->maximum(), std::numeric_limits<qlonglong>::max());
        auto* u64 = dynamic_cast<QULongProperty*>(b.property("U64"));
        QVERIFY(u64);
        QCOMPARE(u64->maximum(), std::numeric_limits<qulonglong>::max());
        auto* f = dynamic_cast<QDoubleProperty*>(b.property("Float"));
        QVERIFY(f);
        QCOMPARE(f->minimum(), -1e100);
        QCOMPARE(f->maximum(), 1e100);
        QCOMPARE(f->precision(), 5);
        auto* d = dynamic_cast<QDoubleProperty*>(b.property("Double"));
        QVERIFY(d);
        QCOMPARE(d->minimum(), -1e300);
        QCOMPARE(d->maximum(), 1e300);
        QVERIFY(dynamic_cast<QBoolProperty*>(b.property("Bool")));
        QVERIFY(dynamic_cast<QStringProperty*>(b.property("String")));
        QCOMPARE(b.cell("String").data().toString(), QString("7"));
        QCOMPARE(b.cell("Double", 2).data().toString(), QString("Type 9"));
        QCOMPARE(b.cell("Double", 0).data().toString(), QString("Double"));
        QCOMPARE(b.cell("Double", 0).data(Qt::ToolTipRole).toString(), QString("Type 9"));
    }

    void modelHeadersAndColumns()
    {
        QPropertyModel model;
        QCOMPARE(model.columnCount(), 2);
        model.setShowDescription(true);
        QCOMPARE(model.columnCount(), 3);
        QVERIFY(model.isDescriptionShown());
        QCOMPARE(
            model.headerData(0, Qt::Horizontal, Qt::DisplayRole).toString(), QString("Property"));
        QCOMPARE(model.headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), QString("Value"));
        QCOMPARE(model.headerData(2, Qt::Horizontal, Qt::DisplayRole).toString(),
            QString("Description"));

        QVERIFY(!model.addProperty(nullptr, "none"));
        auto* group = new QEmptyProperty("Group");
        QVERIFY(model.addProperty(group, "group"));
        auto* child = new QIntegerProperty("Child", 3, "a child");
        QVERIFY(model.addProperty(child, "child", "group"));
        QVERIFY(!model.addProperty(child, "child", "group")); // already there
        QCOMPARE(model.rowCount(), 1);
        QCOMPARE(model.rowCount(model.getIndexFromProperty(group)), 1);
        const QModelIndex value = model.getIndexFromProperty(child, 1);
        QCOMPARE(model.parent(value), model.getIndexFromProperty(group));
        QCOMPARE(model.flags(value), Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable);
        QCOMPARE(model.flags(model.getIndexFromProperty(child, 0)),
            Qt::ItemIsSelectable | Qt::ItemIsEnabled);

        // The header row of a group: grey, bold, no value.
        const QModelIndex header = model.getIndexFromProperty(group, 1);
        QCOMPARE(
            qvariant_cast<QBrush>(header.data(Qt::BackgroundRole)).color(), QColor(217, 217, 217));
        QCOMPARE(qvariant_cast<QFont>(header.data(Qt::FontRole)).weight(), QFont::Bold);
        QVERIFY(!header.data(Qt::DisplayRole).isValid());
        QCOMPARE(model.flags(header), Qt::ItemIsSelectable | Qt::ItemIsEnabled);

        // An edit in a cell is the editor's; a change by the program is the model's.
        QSignalSpy byEditor(&model, &QPropertyModel::onDataChangedByEditor);
        QSignalSpy byModel(&model, &QPropertyModel::onDataChangedByModel);
        QVERIFY(model.setData(value, 9, Qt::EditRole));
        QCOMPARE(child->getValue().toInt(), 9);
        model.setData(child, 4);
        QCOMPARE(child->getValue().toInt(), 4);
        QCOMPARE(byEditor.count(), 1);
        QCOMPARE(byModel.count(), 1);
        model.clear();
        QCOMPARE(model.rowCount(), 0);
        QVERIFY(!model.getProperty("child"));
    }

    void readOnlyParametersCannotBeEdited()
    {
        sim::SimParamMgr mgr;
        mgr.add("Firmware", "Firmware version [string]", ov::ParamString, ov::ParamReadOnly)
            .assignText("2.4.1");
        int writes = 0;
        mgr.add("Count", "", ov::ParamU32, ov::ParamReadOnly)
            .setChanged([&writes](const sim::SimParam&) { ++writes; });
        Browser b(&mgr);
        QCOMPARE(b.cell("Firmware").data().toString(), QString("2.4.1"));
        QVERIFY(!(b.cell("Firmware").flags() & Qt::ItemIsEditable));
        // Making the cell current opens no editor.
        QVERIFY(!b.openEditor<QLineEdit>("Firmware"));
        QVERIFY(!b.openEditor<QSpinBox>("Count"));
        // Even a changed property is not written to a read-only parameter.
        b.property("Count")->setValue(5);
        b.view.userChangedData(b.property("Count"));
        QCOMPARE(writes, 0);
        QCOMPARE(mgr.find("Count")->u32Value(), 0u);
    }

    void boolParametersAreCheckBoxes()
    {
        sim::SimParamMgr mgr;
        mgr.add("Enabled", "[true|false]", ov::ParamBool).assign(1);
        Browser b(&mgr);
        const QModelIndex cell = b.cell("Enabled");
        QCOMPARE(cell.data(Qt::DisplayRole).toString(), QString("Yes"));
        QCOMPARE(cell.data(Qt::CheckStateRole).toInt(), int(Qt::Checked));
        QVERIFY(cell.flags() & Qt::ItemIsUserCheckable);

        // A click on the check box of the cell, where the style puts it.
        QStyleOptionViewItem option;
        option.initFrom(&b.view);
        option.rect = b.view.visualRect(cell);
        option.features
            = QStyleOptionViewItem::HasCheckIndicator | QStyleOptionViewItem::HasDisplay;
        option.text = "Yes";
        const QRect box = b.view.style()->subElementRect(
            QStyle::SE_ItemViewItemCheckIndicator, &option, &b.view);
        QTest::mouseClick(b.view.viewport(), Qt::LeftButton, {}, box.center());
        QVERIFY(!mgr.find("Enabled")->boolValue());
        QCOMPARE(b.cell("Enabled").data(Qt::DisplayRole).toString(), QString("No"));
    }

    void typedValuesReachTheParameter()
    {
        sim::SimParamMgr mgr;
        mgr.add("Gain", "Gain", ov::ParamU16).assign(12);
        Browser b(&mgr);
        auto* spin = b.openEditor<QSpinBox>("Gain");
        QVERIFY(spin);
        QCOMPARE(spin->maximum(), 65535);
        spin->selectAll();
        QTest::keyClicks(spin, "1234");
        QTest::keyClick(spin, Qt::Key_Return);
        // The delegate commits on its next turn of the event loop.
        QTRY_COMPARE(int(mgr.find("Gain")->u16Value()), 1234);

        // Letters never get into a number editor.
        spin = b.openEditor<QSpinBox>("Gain");
        QVERIFY(spin);
        spin->selectAll();
        QTest::keyClicks(spin, "abc");
        QTest::keyClick(spin, Qt::Key_Return);
        // The delegate commits on its next turn of the event loop.
        QTRY_COMPARE(int(mgr.find("Gain")->u16Value()), 1234);
    }

    void movingThroughACellKeepsAValueBeyondItsEditor()
    {
        sim::SimParamMgr mgr;
        int writes = 0;
        mgr.add("Offset", "", ov::ParamI8)
            .setChanged([&writes](const sim::SimParam&) { ++writes; })
            .assign(-128);
        mgr.add("Big", "", ov::ParamU32).assign(4000000000.0);
        Browser b(&mgr);
        for (const char* name : {"Offset", "Big"}) {
            auto* spin = b.openEditor<QSpinBox>(name);
            QVERIFY(spin);
            QTest::keyClick(spin, Qt::Key_Return);
            QTest::qWait(50);
        }
        QCOMPARE(int(mgr.find("Offset")->i8Value()), -128);
        QCOMPARE(mgr.find("Big")->u32Value(), 4000000000u);
        QCOMPARE(writes, 0);
    }

    void namedValuesAreAList()
    {
        sim::SimParamMgr mgr;
        mgr.add("Edge", "[rising|falling]", ov::ParamU8)
            .setAliases({{"rising", 0}, {"falling", 1}});
        Browser b(&mgr);
        auto* list = dynamic_cast<QListProperty*>(b.property("Edge"));
        QVERIFY(list);
        QCOMPARE(list->items(), QStringList({"rising", "falling"}));
        QCOMPARE(list->selectedText(), QString("rising"));
        auto* combo = b.openEditor<QComboBox>("Edge");
        QVERIFY(combo);
        QCOMPARE(list->editor(), combo);
        QTest::keyClick(combo, Qt::Key_Down);
        QTest::keyClick(combo, Qt::Key_Return);
        QTRY_COMPARE(mgr.find("Edge")->getAliasValue(), std::string("falling"));
        QCOMPARE(list->selectedText(), QString("falling"));
    }

    void aRefusedValueIsPutBackAndExplained()
    {
        sim::SimParamMgr mgr;
        mgr.add("Rate", "Readout rate", ov::ParamU32)
            .setRange(0, 100)
            .setCheck([](const sim::SimParam&, const sim::ParamValue& next) {
                return next.u == 13 ? -1 : 0;
            })
            .assign(12);
        Browser b(&mgr);
        QSignalSpy refused(&b.view, &QParamsBrowser::sigParamRefused);
        for (const char* typed : {"13", "500"}) {
            QString message;
            ModalDriver driver;
            answerMessageBox(driver, &message);
            auto* spin = b.openEditor<QSpinBox>("Rate");
            QVERIFY(spin);
            spin->selectAll();
            QTest::keyClicks(spin, typed);
            QTest::keyClick(spin, Qt::Key_Return);
            QTRY_VERIFY(!message.isEmpty());
            QVERIFY2(message.startsWith("Parameter Not Changed|"), qPrintable(message));
            QVERIFY2(message.contains(QString("The value %1 of \"Rate\" was refused").arg(typed)),
                qPrintable(message));
            QVERIFY2(message.contains("keeps 12"), qPrintable(message));
            QCOMPARE(mgr.find("Rate")->u32Value(), 12u);
            QCOMPARE(b.cell("Rate").data().toInt(), 12);
        }
        QCOMPARE(refused.count(), 2);
        QCOMPARE(refused.at(0).at(0).toString(), QString("Rate"));
        QVERIFY(refused.at(0).at(1).toInt() < 0);
    }

    void refreshShowsWhatChangedWithoutWritingBack()
    {
        sim::SimParamMgr mgr;
        int writes = 0;
        auto counted = [&writes](const sim::SimParam&) { ++writes; };
        mgr.add("Temperature", "", ov::ParamDouble).setChanged(counted).assign(20.5);
        mgr.add("Mode", "", ov::ParamU8).setAliases({{"a", 0}, {"b", 1}}).setChanged(counted);
        mgr.add("Name", "", ov::ParamString).setChanged(counted).assignText("x");
        Browser b(&mgr);
        QSignalSpy byModel(b.view.propertyModel(), &QPropertyModel::onDataChangedByModel);
        b.view.refreshParams();
        QCOMPARE(byModel.count(), 0); // nothing changed

        mgr.find("Temperature")->assign(31.25);
        mgr.find("Mode")->assign(1);
        b.view.refreshParam(mgr.find("Temperature"));
        QCOMPARE(b.cell("Temperature").data().toDouble(), 31.25);
        QCOMPARE(byModel.count(), 1);
        b.view.refreshParams();
        QCOMPARE(b.cell("Mode").data().toString(), QString("b"));
        QCOMPARE(byModel.count(), 2);
        QCOMPARE(writes, 0);
    }

    void aNullManagerKeepsTheContent()
    {
        sim::SimParamMgr mgr;
        mgr.add("Gain", "", ov::ParamU8).assign(3);
        Browser b(&mgr);
        b.view.setParams(nullptr);
        QCOMPARE(b.view.params(), &mgr);
        QCOMPARE(b.view.propertyModel()->rowCount(), 1);
        QCOMPARE(b.cell("Gain").data().toInt(), 3);
    }

    void doubleEditorsStepAndDecimals()
    {
        sim::SimParamMgr mgr;
        mgr.add("Offset", "", ov::ParamDouble).assign(1.5);
        Browser b(&mgr);
        auto* spin = b.openEditor<QDoubleSpinBox>("Offset");
        QVERIFY(spin);
        QVERIFY(qobject_cast<QPTVDoubleSpinBox*>(spin));
        QCOMPARE(spin->singleStep(), 0.0001);
        QCOMPARE(spin->decimals(), 4);
        QCOMPARE(spin->value(), 1.5);
        // A value with more digits than the editor shows is not rounded by a mere Enter.
        QDoubleProperty fine("Fine", 0.123456789, "", true);
        QStyleOptionViewItem fineOption;
        std::unique_ptr<QWidget> fineEditor(fine.createEditor(&b.view, fineOption, nullptr));
        QCOMPARE(fine.getEditorData(fineEditor.get()).toDouble(), 0.123456789);

        // A positive minimum is the step, and the decimals follow it.
        QDoubleProperty positive("Step", 2.0, "", true, 5, 0.01, 10.0);
        QStyleOptionViewItem option;
        QWidget parent;
        std::unique_ptr<QWidget> editor(positive.createEditor(&parent, option, nullptr));
        auto* box = qobject_cast<QDoubleSpinBox*>(editor.get());
        QVERIFY(box);
        QCOMPARE(box->singleStep(), 0.01);
        QCOMPARE(box->decimals(), 2);
        QCOMPARE(box->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    }

    void doubleTextWithoutTrailingZeros()
    {
        QPTVDoubleSpinBox box;
        box.setDecimals(4);
        QCOMPARE(box.textFromValue(1.5), QString(" 1.5"));
        QCOMPARE(box.textFromValue(2.25), QString("2.25"));
        QCOMPARE(box.textFromValue(3.0), QString("   3"));
    }

    void longValuesPassThroughAThirtyTwoBitEditor()
    {
        QLongProperty big("Big", 1000000000000LL, "", true);
        QStyleOptionViewItem option;
        QWidget parent;
        std::unique_ptr<QWidget> editor(big.createEditor(&parent, option, nullptr));
        auto* box = qobject_cast<QSpinBox*>(editor.get());
        QVERIFY(box);
        QCOMPARE(box->minimum(), INT_MIN);
        QCOMPARE(box->maximum(), INT_MAX);
        QCOMPARE(box->value(), INT_MAX);
        // Left as it is, the editor gives the whole value back.
        QCOMPARE(big.getEditorData(box).toLongLong(), 1000000000000LL);
        box->setValue(5);
        QCOMPARE(big.getEditorData(box).toLongLong(), 5LL);
        QULongProperty huge("Huge", ULLONG_MAX, "", false);
        std::unique_ptr<QWidget> other(huge.createEditor(&parent, option, nullptr));
        QVERIFY(!other->isEnabled());
        QCOMPARE(qobject_cast<QSpinBox*>(other.get())->value(), INT_MAX);
    }

    void rowHeights()
    {
        QPropertyDelegate delegate;
        QPropertyModel model;
        model.addProperty(new QIntegerProperty("A", 1), "a");
        QStyleOptionViewItem option;
        const QModelIndex cell = model.index(0, 1);
        const int standard = delegate.sizeHint(option, cell).height();
        delegate.setRowHeight(30, false);
        QCOMPARE(delegate.sizeHint(option, cell).height(), 30);
        delegate.setRowHeight(5, true);
        QCOMPARE(delegate.sizeHint(option, cell).height(), standard + 5);
    }

    void cellColoursFollowTheirComparison()
    {
        const QColor light(240, 240, 240);
        const QColor dark(40, 40, 40);
        QCOMPARE(CustomDelegate::cellColor(1, 0, "a > b", light), QColor(255, 200, 200));
        QCOMPARE(CustomDelegate::cellColor(1, 0, "a < b", light), QColor(255, 223, 186));
        QCOMPARE(CustomDelegate::cellColor(1, 0, "a = b", light), QColor(200, 255, 200));
        QCOMPARE(CustomDelegate::cellColor(1, 0, "a >= b", light), QColor(255, 200, 200));
        QCOMPARE(CustomDelegate::cellColor(1, 0, "a > b", dark), QColor(120, 50, 50));
        QCOMPARE(CustomDelegate::cellColor(1, 0, "a < b", dark), QColor(120, 80, 40));
        QCOMPARE(CustomDelegate::cellColor(1, 0, "a = b", dark), QColor(40, 120, 40));
        QCOMPARE(CustomDelegate::cellColor(1, 1, "plain", light), light.darker(110));
        QCOMPARE(CustomDelegate::cellColor(1, 2, "plain", light), light.lighter(110));
        QCOMPARE(CustomDelegate::cellColor(0, 0, "a > b", light), light.lighter(110));
    }

    void cellColoursOnScreen()
    {
        sim::SimParamMgr mgr;
        mgr.add("Greater", "", ov::ParamString).assignText("a > b");
        mgr.add("Less", "", ov::ParamString).assignText("a < b");
        mgr.add("Both", "", ov::ParamString).assignText("a >= b");
        Browser b(&mgr);
        QPalette palette = b.view.palette();
        palette.setColor(QPalette::Base, QColor(250, 250, 250));
        b.view.setPalette(palette);
        b.view.clearSelection();
        b.view.setCurrentIndex(QModelIndex());
        auto sample = [&](const char* name) {
            const QRect r = b.view.visualRect(b.cell(name));
            return pixelAt(b.view.viewport(), QPoint(r.right() - 4, r.center().y()));
        };
        QCOMPARE(sample("Greater"), QColor(255, 200, 200));
        QCOMPARE(sample("Less"), QColor(255, 223, 186));
        QCOMPARE(sample("Both"), QColor(255, 200, 200));

        palette.setColor(QPalette::Base, QColor(30, 30, 30));
        b.view.setPalette(palette);
        QCOMPARE(sample("Greater"), QColor(120, 50, 50));
        QCOMPARE(sample("Less"), QColor(120, 80, 40));
    }
};

QTEST_MAIN(TestQParamsBrowser)
#include "tst_qparamsbrowser.moc"
