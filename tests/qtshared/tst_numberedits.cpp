// The number validator and the line edit that carries it, and the two scroll areas
// that size themselves after their contents.
#include "mydoublevalidator.h"
#include "qdoublelineedit.h"
#include "qhorizontalscrollarea.h"

#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QToolTip>

namespace {

QValidator::State check(const MyDoubleValidator& v, QString text)
{
    int pos = int(text.size());
    return v.validate(text, pos);
}

} // namespace

class TstNumberEdits : public QObject
{
    Q_OBJECT

private slots:
    void init() { QLocale::setDefault(QLocale::c()); }

    void lineEditCarriesAWideValidator()
    {
        QDoubleLineEdit edit;
        MyDoubleValidator* v = edit.doubleValidator();
        QVERIFY(v);
        QCOMPARE(edit.validator(), v);
        QCOMPARE(v->bottom(), -1e300);
        QCOMPARE(v->top(), 1e300);
        QCOMPARE(v->decimals(), 9);
        QCOMPARE(v->getLineEdit(), &edit);
        QCOMPARE(v->parent(), &edit);
    }

    void halfTypedNumbersAreIntermediate()
    {
        MyDoubleValidator v(-10, 10, 3, nullptr);
        QCOMPARE(check(v, ""), QValidator::Intermediate);
        QCOMPARE(check(v, "-"), QValidator::Intermediate);
        QCOMPARE(check(v, "1e"), QValidator::Intermediate);
        QCOMPARE(check(v, "1E"), QValidator::Intermediate);
        QCOMPARE(check(v, "1e-"), QValidator::Intermediate);
        QCOMPARE(check(v, "2.5E-"), QValidator::Intermediate);
    }

    void zeroOnTheWayToASmallPositiveNumber()
    {
        MyDoubleValidator v(0.001, 10, 4, nullptr);
        QCOMPARE(check(v, "0"), QValidator::Intermediate);
        QCOMPARE(check(v, "0.00"), QValidator::Intermediate);
        QCOMPARE(check(v, "0.002"), QValidator::Acceptable);
        QCOMPARE(check(v, "0.0001"), QValidator::Invalid);
        // With 0 inside the range, 0 is simply acceptable.
        MyDoubleValidator w(0, 10, 4, nullptr);
        QCOMPARE(check(w, "0"), QValidator::Acceptable);
    }

    void tooManyDecimalsAreRefused()
    {
        MyDoubleValidator v(-10, 10, 3, nullptr);
        QCOMPARE(check(v, "1.234"), QValidator::Acceptable);
        QCOMPARE(check(v, "1.2345"), QValidator::Invalid);
        QCOMPARE(check(v, "-9.999"), QValidator::Acceptable);
        QCOMPARE(check(v, "1.5e0"), QValidator::Acceptable);
    }

    void rangeIsInclusive()
    {
        MyDoubleValidator v(-5, 5, 2, nullptr);
        QCOMPARE(check(v, "5"), QValidator::Acceptable);
        QCOMPARE(check(v, "-5"), QValidator::Acceptable);
        QCOMPARE(check(v, "5.01"), QValidator::Invalid);
        QCOMPARE(check(v, "-6"), QValidator::Invalid);
        QCOMPARE(check(v, "abc"), QValidator::Invalid);
    }

    void outOfRangeExplainsInAToolTip()
    {
        QDoubleLineEdit edit;
        edit.doubleValidator()->setRange(0, 12.5, 2);
        edit.show();
        QVERIFY(QTest::qWaitForWindowExposed(&edit));
        QCOMPARE(check(*edit.doubleValidator(), "13"), QValidator::Invalid);
        QTRY_VERIFY(QToolTip::isVisible());
        QCOMPARE(QToolTip::text(), QString("The number must be in range 0 to 12.5"));
        QToolTip::hideText();
    }

    void keystrokesThatBreakTheRuleAreRefused()
    {
        QDoubleLineEdit edit;
        edit.doubleValidator()->setRange(0, 10, 2);
        edit.show();
        QTest::keyClicks(&edit, "12");
        QCOMPARE(edit.text(), QString("1"));
        QTest::keyClicks(&edit, ".456");
        QCOMPARE(edit.text(), QString("1.45"));
        edit.clear();
        QTest::keyClicks(&edit, "3e-");
        QCOMPARE(edit.text(), QString("3e-"));
        QVERIFY(!edit.hasAcceptableInput());
        QTest::keyClicks(&edit, "1");
        QCOMPARE(edit.text(), QString("3e-1"));
        QVERIFY(edit.hasAcceptableInput());
    }

    void aTypedDecimalCommaIsThePointOfTheLocale()
    {
        QDoubleLineEdit edit;
        edit.doubleValidator()->setRange(0, 200, 4);
        edit.show();
        QTest::keyClicks(&edit, "12,5");
        QCOMPARE(edit.text(), QString("12.5"));
        QVERIFY(edit.hasAcceptableInput());
        // Where the comma is the decimal sign it stays as typed.
        QDoubleLineEdit german;
        german.doubleValidator()->setLocale(QLocale(QLocale::German, QLocale::Germany));
        german.doubleValidator()->setRange(0, 200, 4);
        german.show();
        QTest::keyClicks(&german, "12,5");
        QCOMPARE(german.text(), QString("12,5"));
    }

    void horizontalAreaLeavesRoomForItsScrollBar()
    {
        QHorizontalScrollArea area;
        auto* content = new QWidget;
        content->resize(500, 40);
        area.setWidget(content);
        const int bar = area.horizontalScrollBar()->sizeHint().height();
        QVERIFY(bar > 0);
        QCOMPARE(area.getMinHeight(), 40 + bar + 2 * area.frameWidth());
        QCOMPARE(area.minimumSizeHint().height(), area.getMinHeight());
        area.setFrameShape(QFrame::NoFrame);
        QCOMPARE(area.minimumSizeHint().height(), 40 + bar);
        content->resize(500, 64);
        QCOMPARE(area.minimumSizeHint().height(), 64 + bar);
    }

    void adjustingAreaIsNeverLargerThanItsContents()
    {
        QAdjustingScrollArea area;
        area.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
        area.resize(600, 500);
        auto* content = new QWidget;
        content->resize(200, 100);
        area.setWidget(content);
        area.show();
        QVERIFY(QTest::qWaitForWindowExposed(&area));

        content->resize(220, 120);
        const int excessW = area.width() - area.viewport()->width();
        const int excessH = area.height() - area.viewport()->height();
        QVERIFY(excessH >= area.horizontalScrollBar()->height());
        QCOMPARE(area.maximumWidth(), 220 + excessW);
        QCOMPARE(area.maximumHeight(), 120 + excessH);
        QVERIFY(area.width() <= area.maximumWidth());
        QVERIFY(area.height() <= area.maximumHeight());

        // Moving the contents (scrolling) changes nothing.
        area.setMaximumSize(1000, 1000);
        content->move(-10, 0);
        QCOMPARE(area.maximumWidth(), 1000);
        QCOMPARE(area.maximumHeight(), 1000);
    }
};

QTEST_MAIN(TstNumberEdits)
#include "tst_numberedits.moc"
