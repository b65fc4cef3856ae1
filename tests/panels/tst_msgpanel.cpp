// The log pane: colours by level, clearing, and coming up on a new message.
#include "msgpanel.h"

#include <QCheckBox>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QToolButton>
#include <QVBoxLayout>

using PluginDevControl::MsgPanel;

namespace {

struct Parts
{
    QToolButton* btClear;
    QCheckBox* chbOpen;
    QTextEdit* txtLog;
};

Parts parts(MsgPanel& panel)
{
    return {panel.findChild<QToolButton*>("btClear"), panel.findChild<QCheckBox*>("chbOpen"),
        panel.findChild<QTextEdit*>("txtLog")};
}

// The text colour of every fragment of the block holding `line`.
QList<QColor> colorsOf(QTextEdit* edit, const QString& line)
{
    QList<QColor> colors;
    for (QTextBlock b = edit->document()->begin(); b.isValid(); b = b.next()) {
        if (b.text() != line)
            continue;
        for (auto it = b.begin(); !it.atEnd(); ++it)
            colors << it.fragment().charFormat().foreground().color();
    }
    return colors;
}

} // namespace

class TstMsgPanel : public QObject
{
    Q_OBJECT

private slots:
    void form()
    {
        MsgPanel panel;
        const Parts p = parts(panel);
        QVERIFY(p.btClear && p.chbOpen && p.txtLog);
        QCOMPARE(p.btClear->toolTip(), QString("Clear Log"));
        QVERIFY(!p.btClear->icon().isNull());
        QCOMPARE(p.chbOpen->text(), QString("Open when new message"));
        QVERIFY(p.chbOpen->isChecked());
        QVERIFY(panel.openOnMessage());
        QVERIFY(p.txtLog->isReadOnly());
        QVERIFY(p.txtLog->toPlainText().isEmpty());
    }

    void onlyLevelTwoIsRed()
    {
        MsgPanel panel;
        const Parts p = parts(panel);
        // A text colour of our own, so that the palette is seen to be used.
        QPalette pal = p.txtLog->palette();
        const QColor normal(20, 110, 40);
        pal.setColor(QPalette::Text, normal);
        p.txtLog->setPalette(pal);

        panel.logMsg(1, "level one");
        panel.logMsg(2, "level two");
        panel.logMsg(3, "level three");
        panel.logMsg(0, "level zero");
        panel.logMsg(2, "again two");
        panel.logMsg(1, "back to one");

        QCOMPARE(p.txtLog->document()->blockCount(), 6);
        const QList<QColor> red {QColor(Qt::red)};
        const QList<QColor> plain {normal};
        QCOMPARE(colorsOf(p.txtLog, "level one"), plain);
        QCOMPARE(colorsOf(p.txtLog, "level two"), red);
        QCOMPARE(colorsOf(p.txtLog, "level three"), plain);
        QCOMPARE(colorsOf(p.txtLog, "level zero"), plain);
        QCOMPARE(colorsOf(p.txtLog, "again two"), red);
        QCOMPARE(colorsOf(p.txtLog, "back to one"), plain);
    }

    void clearButtonEmptiesTheLog()
    {
        MsgPanel panel;
        panel.show();
        const Parts p = parts(panel);
        panel.logMsg(1, "first");
        panel.logMsg(2, "second");
        QVERIFY(!p.txtLog->toPlainText().isEmpty());
        QTest::mouseClick(p.btClear, Qt::LeftButton);
        QVERIFY(p.txtLog->toPlainText().isEmpty());
        panel.logMsg(1, "after");
        QCOMPARE(p.txtLog->toPlainText(), QString("after"));
    }

    void newMessageShowsThePanel()
    {
        QWidget page;
        new QVBoxLayout(&page);
        auto* panel = new MsgPanel(&page);
        page.layout()->addWidget(panel);
        page.show();
        panel->hide();
        panel->logMsg(1, "hello");
        QVERIFY(panel->isVisible());
    }

    void uncheckedSwitchKeepsThePanelHidden()
    {
        QWidget page;
        new QVBoxLayout(&page);
        auto* panel = new MsgPanel(&page);
        page.layout()->addWidget(panel);
        page.show();
        const Parts p = parts(*panel);
        QTest::mouseClick(p.chbOpen, Qt::LeftButton);
        QVERIFY(!p.chbOpen->isChecked());
        QVERIFY(!panel->openOnMessage());
        panel->hide();
        panel->logMsg(2, "quiet error");
        QVERIFY(panel->isHidden());
        QCOMPARE(p.txtLog->toPlainText(), QString("quiet error"));
    }
};

QTEST_MAIN(TstMsgPanel)
#include "tst_msgpanel.moc"
