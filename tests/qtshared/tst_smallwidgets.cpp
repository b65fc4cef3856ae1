// Button bar, set spin box, collapsible panel head, separator line, clickable label
// and focus-reporting line edit.
#include "qclickablelabel.h"
#include "qfocuslineedit.h"
#include "qlabelwithicon.h"
#include "qsetspinbox.h"
#include "qswitchablebuttonbar.h"
#include "qvline.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

namespace {

QImage resourceImage(const char* path)
{
    return QPixmap(path).toImage().convertToFormat(QImage::Format_ARGB32);
}

QImage shownImage(const QLabel* label)
{
    return label->pixmap().toImage().convertToFormat(QImage::Format_ARGB32);
}

} // namespace

class TstSmallWidgets : public QObject
{
    Q_OBJECT

private slots:
    void buttonBarActsAsARadioGroup()
    {
        QSwitchableButtonBar bar;
        QCOMPARE(bar.index, -1);
        QSignalSpy changed(&bar, &QSwitchableButtonBar::sigButtonChange);
        bar.addButton("Chip 1");
        bar.addButton("Chip 2");
        bar.addButton("Chip 3");
        QCOMPARE(bar.buttons.size(), 3);
        QCOMPARE(bar.buttons[1]->text(), QString("Chip 2"));
        QVERIFY(bar.buttons[0]->isChecked());
        QVERIFY(!bar.buttons[1]->isChecked());
        QVERIFY(!bar.buttons[2]->isChecked());
        QCOMPARE(changed.count(), 0);
        // Buttons in order, the stretch last.
        for (int i = 0; i < 3; ++i)
            QCOMPARE(bar.layout->itemAt(i)->widget(), bar.buttons[i]);
        QVERIFY(bar.layout->itemAt(3)->spacerItem());

        bar.show();
        QTest::mouseClick(bar.buttons[2], Qt::LeftButton);
        QCOMPARE(bar.index, 2);
        QVERIFY(bar.buttons[2]->isChecked());
        QVERIFY(!bar.buttons[0]->isChecked());
        QVERIFY(!bar.buttons[1]->isChecked());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).toInt(), 2);

        // A click on the checked button keeps it checked and reports again.
        QTest::mouseClick(bar.buttons[2], Qt::LeftButton);
        QVERIFY(bar.buttons[2]->isChecked());
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.at(1).at(0).toInt(), 2);

        QTest::mouseClick(bar.buttons[0], Qt::LeftButton);
        QCOMPARE(bar.index, 0);
        QVERIFY(bar.buttons[0]->isChecked());
        QVERIFY(!bar.buttons[2]->isChecked());
        QCOMPARE(changed.at(2).at(0).toInt(), 0);
    }

    void setSpinBoxStepsThroughTheSet()
    {
        QSetSpinBox spin;
        QVERIFY(spin.numbers.isEmpty());
        spin.setRange(1, 20);
        spin.setNumberSet({1, 2, 4, 8, 16});
        spin.setValue(4);
        spin.stepBy(1);
        QCOMPARE(spin.value(), 8);
        spin.stepBy(-1);
        QCOMPARE(spin.value(), 4);
        spin.stepBy(-1);
        spin.stepBy(-1);
        QCOMPARE(spin.value(), 1);
        spin.stepBy(-1); // at the start
        QCOMPARE(spin.value(), 1);
        spin.setValue(16);
        spin.stepBy(1); // at the top end
        QCOMPARE(spin.value(), 16);

        // From the keyboard, as the user does it.
        spin.setValue(2);
        spin.show();
        QTest::keyClick(&spin, Qt::Key_Up);
        QCOMPARE(spin.value(), 4);
        QTest::keyClick(&spin, Qt::Key_Down);
        QTest::keyClick(&spin, Qt::Key_Down);
        QCOMPARE(spin.value(), 1);
    }

    void setSpinBoxStepFromOutsideTheSet()
    {
        QSetSpinBox spin;
        spin.setRange(1, 20);
        spin.setNumberSet({2, 4, 8});
        spin.setValue(5);
        spin.stepBy(-1);
        QCOMPARE(spin.value(), 5);
        spin.stepBy(1);
        QCOMPARE(spin.value(), 2);
    }

    void setSpinBoxWithAnEmptySet()
    {
        QSetSpinBox spin;
        spin.setRange(1, 20);
        spin.setValue(3);
        spin.stepBy(1);
        QCOMPARE(spin.value(), 3);
        spin.stepBy(-1);
        QCOMPARE(spin.value(), 3);
    }

    void setSpinBoxValidatesAgainstTheSet()
    {
        QSetSpinBox spin;
        spin.setRange(1, 20);
        spin.setNumberSet({1, 2, 3, 6});
        int pos = 0;
        QString text = "6";
        QCOMPARE(spin.validate(text, pos), QValidator::Acceptable);
        text = "4";
        QCOMPARE(spin.validate(text, pos), QValidator::Intermediate);
        text = "x";
        QCOMPARE(spin.validate(text, pos), QValidator::Invalid);
        text = "25";
        QVERIFY(spin.validate(text, pos) != QValidator::Acceptable);

        // Typed by hand: a value outside the set is not taken.
        spin.setValue(2);
        spin.show();
        spin.selectAll();
        QTest::keyClicks(&spin, "4");
        QVERIFY(!spin.hasAcceptableInput());
        QTest::keyClick(&spin, Qt::Key_Return);
        QCOMPARE(spin.value(), 2);
        spin.selectAll();
        QTest::keyClicks(&spin, "6");
        QVERIFY(spin.hasAcceptableInput());
        QTest::keyClick(&spin, Qt::Key_Return);
        QCOMPARE(spin.value(), 6);
    }

    void labelWithIconLayout()
    {
        QLabelWithIcon head(" Digital Test");
        QCOMPARE(head.text(), QString(" Digital Test"));
        QVERIFY(head.open);
        QCOMPARE(head.savedOpen, -1);
        QVERIFY(head.rightIcon->isHidden());
        QVERIFY(head.label->autoFillBackground());
        auto* box = qobject_cast<QHBoxLayout*>(head.layout());
        QVERIFY(box);
        QCOMPARE(box->spacing(), 0);
        QCOMPARE(box->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(box->itemAt(0)->widget(), head.leftIcon);
        QCOMPARE(box->itemAt(1)->widget(), head.label);
        QCOMPARE(box->itemAt(2)->widget(), head.rightIcon);
        QCOMPARE(box->stretch(1), 1);
        QCOMPARE(shownImage(head.leftIcon), resourceImage(":/qlabelwithicon/down.png"));
    }

    void labelWithIconTogglesOnClick()
    {
        QLabelWithIcon head(" Measurement");
        head.resize(200, 20);
        head.show();
        QSignalSpy changed(&head, &QLabelWithIcon::openStateChanged);
        QSignalSpy right(&head, &QLabelWithIcon::rightIconClicked);

        QTest::mouseClick(&head, Qt::LeftButton, Qt::NoModifier, QPoint(60, 10));
        QVERIFY(!head.open);
        QVERIFY(!head.isOpen());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).toBool(), false);
        QCOMPARE(shownImage(head.leftIcon), resourceImage(":/qlabelwithicon/right.png"));
        QCOMPARE(head.savedOpen, 1);

        QTest::mouseClick(head.leftIcon, Qt::LeftButton);
        QVERIFY(head.open);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.at(1).at(0).toBool(), true);
        QCOMPARE(shownImage(head.leftIcon), resourceImage(":/qlabelwithicon/down.png"));
        // Remembered only at the first change.
        QCOMPARE(head.savedOpen, 1);
        QCOMPARE(right.count(), 0);
    }

    void rightIconClickDoesNotToggle()
    {
        QLabelWithIcon head(" Image Properties");
        QPixmap gear(12, 12);
        gear.fill(Qt::blue);
        head.setRightIcon(gear);
        head.resize(200, 20);
        head.show();
        QVERIFY(head.rightIcon->isVisible());
        QSignalSpy changed(&head, &QLabelWithIcon::openStateChanged);
        QSignalSpy right(&head, &QLabelWithIcon::rightIconClicked);

        QTest::mouseClick(
            &head, Qt::LeftButton, Qt::NoModifier, head.rightIcon->geometry().center());
        QCOMPARE(right.count(), 1);
        QCOMPARE(changed.count(), 0);
        QVERIFY(head.open);
        QCOMPARE(head.savedOpen, -1);

        QTest::mouseClick(&head, Qt::LeftButton, Qt::NoModifier, QPoint(50, 10));
        QCOMPARE(right.count(), 1);
        QCOMPARE(changed.count(), 1);
    }

    void nullPressFlipsAndSavedStateRestores()
    {
        // A page restoring a collapsed panel sets the flag and flips it with a null press.
        QLabelWithIcon head;
        QSignalSpy changed(&head, &QLabelWithIcon::openStateChanged);
        head.setOpen(true);
        head.mousePressEvent(nullptr);
        QVERIFY(!head.open);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(head.savedOpen, 1);
        head.restoreOpenState();
        QVERIFY(head.open);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.at(1).at(0).toBool(), true);
        QCOMPARE(shownImage(head.leftIcon), resourceImage(":/qlabelwithicon/down.png"));

        head.setOpen(false);
        QCOMPARE(shownImage(head.leftIcon), resourceImage(":/qlabelwithicon/right.png"));
        QCOMPARE(changed.count(), 2);
    }

    void vlinePaintsTwoColumns()
    {
        QVLine line;
        QCOMPARE(line.sizeHint(), QSize(2, 20));
        line.resize(2, 20);
        const QImage image = line.grab().toImage();
        for (int y : {0, 10, 19}) {
            QCOMPARE(QColor(image.pixel(0, y)), QColor(60, 60, 60));
            QCOMPARE(QColor(image.pixel(1, y)), QColor(110, 110, 110));
        }
    }

    void clickableLabelReportsPresses()
    {
        QClickableLabel label;
        label.setText("warning");
        label.show();
        QSignalSpy clicked(&label, &QClickableLabel::clicked);
        QTest::mousePress(&label, Qt::LeftButton);
        QCOMPARE(clicked.count(), 1);
        QTest::mouseRelease(&label, Qt::LeftButton);
        QCOMPARE(clicked.count(), 1);
        QTest::mouseClick(&label, Qt::RightButton);
        QCOMPARE(clicked.count(), 2);
    }

    void focusLineEditReportsFocus()
    {
        QWidget window;
        auto* layout = new QHBoxLayout(&window);
        auto* edit = new QFocusLineEdit(&window);
        auto* other = new QLineEdit(&window);
        layout->addWidget(other);
        layout->addWidget(edit);
        edit->setText("12.5");
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        other->setFocus();
        QVERIFY(other->hasFocus());

        QSignalSpy focused(edit, &QFocusLineEdit::focused);
        QTest::keyClick(other, Qt::Key_Tab);
        QVERIFY(edit->hasFocus());
        QCOMPARE(focused.count(), 1);
        QCOMPARE(focused.at(0).at(0).toBool(), true);
        // The line edit's own handling still ran: a tab into it selects the text.
        QCOMPARE(edit->selectedText(), QString("12.5"));

        other->setFocus();
        QCOMPARE(focused.count(), 2);
        QCOMPARE(focused.at(1).at(0).toBool(), false);
        QVERIFY(!edit->hasSelectedText());
    }
};

QTEST_MAIN(TstSmallWidgets)
#include "tst_smallwidgets.moc"
