// The script commands that work controls of the window: "choose" picks a combo box
// item by its text, "tick" sets a check box, "tab" brings a tab to front; all act on
// controls on screen only and say clearly why they cannot act.
#include "scriptoutcome.h"

#include <scriptrunner.h>
#include <widgetcommands.h>

#include <QCheckBox>
#include <QComboBox>
#include <QListWidget>
#include <QSignalSpy>
#include <QTabBar>
#include <QVBoxLayout>
#include <QWidget>
#include <QtTest>

namespace {

ScriptOutcome runScript(const QString& text)
{
    sim::ScriptContext context;
    sim::ScriptRunner runner(context);
    sim::addWidgetCommands(runner);
    return runScriptText(runner, text, 5000);
}

// A window with a combo box and a check box, and a hidden twin of each.
struct Window
{
    Window()
    {
        auto* layout = new QVBoxLayout(&top);
        combo = new QComboBox;
        combo->setObjectName("cmbPick");
        combo->addItems({"Dark Subtraction", "Flat Field", "Median 3x3"});
        check = new QCheckBox("Apply");
        check->setObjectName("chbApply");
        layout->addWidget(combo);
        layout->addWidget(check);
        hidden.setObjectName("hiddenPage");
        hiddenCombo = new QComboBox(&hidden);
        hiddenCombo->setObjectName("cmbPick");
        hiddenCombo->addItems({"Other"});
        top.show();
    }
    QWidget top;
    QWidget hidden;
    QComboBox* combo;
    QCheckBox* check;
    QComboBox* hiddenCombo;
};

} // namespace

class TestWidgetCommands : public QObject
{
    Q_OBJECT

private slots:
    void chooseAndTickActAsAUserWould()
    {
        Window w;
        QVERIFY(QTest::qWaitForWindowExposed(&w.top));
        QSignalSpy toggled(w.check, &QCheckBox::clicked);
        const ScriptOutcome o = runScript("choose cmbPick \"Flat Field\"\ntick chbApply on\n"
                                          "tick chbApply on\n");
        QCOMPARE(o.code, 0);
        QCOMPARE(w.combo->currentText(), QStringLiteral("Flat Field"));
        QVERIFY(w.check->isChecked());
        // Clicked once: the second line found it ticked already.
        QCOMPARE(toggled.count(), 1);
        QCOMPARE(runScript("tick chbApply off\nchoose cmbPick Median 3x3\n").code, 0);
        QVERIFY(!w.check->isChecked());
        QCOMPARE(w.combo->currentText(), QStringLiteral("Median 3x3"));
        QCOMPARE(w.hiddenCombo->currentText(), QStringLiteral("Other"));
    }

    void tabBringsATabToFront()
    {
        QWidget top;
        auto* layout = new QVBoxLayout(&top);
        auto* bar = new QTabBar;
        bar->addTab("Frame");
        bar->addTab("Mask");
        auto* list = new QListWidget;
        list->addItems({"W0512", "F0317", "Motors"});
        list->setCurrentRow(0);
        layout->addWidget(bar);
        layout->addWidget(list);
        top.show();
        QVERIFY(QTest::qWaitForWindowExposed(&top));
        QSignalSpy rows(list, &QListWidget::currentRowChanged);
        QCOMPARE(runScript("tab F0317\ntab Mask\n").code, 0);
        QCOMPARE(list->currentRow(), 1);
        QCOMPARE(rows.count(), 1);
        QCOMPARE(bar->currentIndex(), 1);
        const ScriptOutcome o = runScript("tab Samples\n");
        QVERIFY(o.code != 0);
        QVERIFY2(o.message.contains("no tab 'Samples' on screen (tabs: Frame, Mask, W0512, F0317, "
                                    "Motors)"),
            qPrintable(o.message));
        QCOMPARE(list->currentRow(), 1);
    }

    void errorsSayWhy()
    {
        Window w;
        QVERIFY(QTest::qWaitForWindowExposed(&w.top));
        ScriptOutcome o = runScript("choose cmbPick Binning\n");
        QVERIFY(o.code != 0);
        QVERIFY2(o.message.contains("has no item 'Binning' (items: Dark Subtraction, Flat Field, "
                                    "Median 3x3)"),
            qPrintable(o.message));
        o = runScript("choose cmbNothing X\n");
        QVERIFY2(o.message.contains("no combo box 'cmbNothing' on screen"), qPrintable(o.message));
        o = runScript("tick cmbPick on\n");
        QVERIFY2(o.message.contains("no check box 'cmbPick' on screen"), qPrintable(o.message));
        w.check->setEnabled(false);
        o = runScript("tick chbApply on\n");
        QVERIFY2(o.message.contains("'chbApply' is disabled"), qPrintable(o.message));
        QVERIFY(!w.check->isChecked());
        // A bad state is found when the script is read.
        o = runScript("tick chbApply maybe\n");
        QCOMPARE(o.code, -1);
        QVERIFY2(o.message.contains("usage: tick NAME on|off"), qPrintable(o.message));
    }
};

QTEST_MAIN(TestWidgetCommands)
#include "tst_widgetcommands.moc"
