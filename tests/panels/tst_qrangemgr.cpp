// The range manager: fields, sliders and the frame's range kept in step, the widened
// empty range, the focused field left alone, and input that is not a number.
#include "qrangemgr.h"

#include <qmpxframe.h>

#include <QLineEdit>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>
#include <QVBoxLayout>

using PluginDevControl::QRangeMgr;

namespace {

// Two fields, two sliders and a frame widget in one window.
struct Bench
{
    Bench()
    {
        auto* layout = new QVBoxLayout(&window);
        for (QWidget* w : std::initializer_list<QWidget*> {minEdit, maxEdit, minSlider, maxSlider})
            layout->addWidget(w);
        mgr = new QRangeMgr(minEdit, maxEdit, minSlider, maxSlider, &frame, &window);
    }
    QWidget window;
    QLineEdit* minEdit = new QLineEdit(&window);
    QLineEdit* maxEdit = new QLineEdit(&window);
    QSlider* minSlider = new QSlider(Qt::Horizontal, &window);
    QSlider* maxSlider = new QSlider(Qt::Horizontal, &window);
    QMpxFrame frame;
    QRangeMgr* mgr = nullptr;
};

QList<double> pair(const QList<QVariant>& args)
{
    return {args.at(0).toDouble(), args.at(1).toDouble()};
}

} // namespace

class TstQRangeMgr : public QObject
{
    Q_OBJECT

private slots:
    void startState()
    {
        Bench b;
        QCOMPARE(b.mgr->curMin, 0.0);
        QCOMPARE(b.mgr->curMax, 1.0);
        QCOMPARE(b.mgr->absMin, 0.0);
        QCOMPARE(b.mgr->absMax, 1.0);
        QCOMPARE(b.mgr->sliderSteps, 1000);
        QCOMPARE(b.mgr->stepSize, 0.001);
        QVERIFY(!b.mgr->updating);
        QCOMPARE(b.minSlider->minimum(), 0);
        QCOMPARE(b.minSlider->maximum(), 1000);
        QCOMPARE(b.maxSlider->maximum(), 1000);
    }

    void setMinMaxShowsAndPasses()
    {
        Bench b;
        b.mgr->absMin = -100.0;
        b.mgr->absMax = 300.0;
        b.mgr->stepSize = 0.4;
        QSignalSpy spy(b.mgr, &QRangeMgr::rangeChanged);
        b.mgr->setMinMax(-20.5, 250.1, false);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(pair(spy.at(0)), (QList<double> {-20.5, 250.1}));
        QCOMPARE(b.frame.image->rangeMin, -20.5);
        QCOMPARE(b.frame.image->rangeMax, 250.1);
        QCOMPARE(b.frame.getColorBar().getRangeMin(), -20.5);
        // Whole steps above absMin, truncated: 79.5/0.4 = 198.75, 350.1/0.4 = 875.25.
        QCOMPARE(b.minSlider->value(), 198);
        QCOMPARE(b.maxSlider->value(), 875);
        QCOMPARE(b.minEdit->text(), QString("-20.5"));
        QCOMPARE(b.maxEdit->text(), QString("250.1"));
        QVERIFY(!b.mgr->updating);
    }

    void fieldsUseEightDigits()
    {
        Bench b;
        b.mgr->setMinMax(1.23456789012, 123456789.0, false);
        QCOMPARE(b.minEdit->text(), QString("1.2345679"));
        QCOMPARE(b.maxEdit->text(), QString("1.2345679e+08"));
        QCOMPARE(QRangeMgr::doubleToStringNice(0.1), QString("0.1"));
        QCOMPARE(QRangeMgr::doubleToStringNice(255), QString("255"));
    }

    // An empty range is shown one wide above the maximum, but kept as set.
    void emptyRangeIsWidened()
    {
        Bench b;
        QSignalSpy spy(b.mgr, &QRangeMgr::rangeChanged);
        b.mgr->setMinMax(5.0, 5.0, false);
        QCOMPARE(b.mgr->curMin, 5.0);
        QCOMPARE(b.mgr->curMax, 5.0);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(pair(spy.at(0)), (QList<double> {5.0, 6.0}));
        QCOMPARE(b.frame.image->rangeMin, 5.0);
        QCOMPARE(b.frame.image->rangeMax, 6.0);
        QCOMPARE(b.minEdit->text(), QString("5"));
        QCOMPARE(b.maxEdit->text(), QString("5"));
    }

    void invertedRangeIsWidenedAboveMax()
    {
        Bench b;
        QSignalSpy spy(b.mgr, &QRangeMgr::rangeChanged);
        b.mgr->setMinMax(7.0, 3.0, false);
        QCOMPARE(pair(spy.at(0)), (QList<double> {3.0, 4.0}));
        QCOMPARE(b.frame.image->rangeMin, 3.0);
        QCOMPARE(b.frame.image->rangeMax, 4.0);
    }

    // With again the stored pair follows the widened one, unchanged.
    void againRepeatsStoredPair()
    {
        Bench b;
        QSignalSpy spy(b.mgr, &QRangeMgr::rangeChanged);
        b.mgr->setMinMax(7.0, 3.0, true);
        QCOMPARE(spy.count(), 2);
        QCOMPARE(pair(spy.at(0)), (QList<double> {3.0, 4.0}));
        QCOMPARE(pair(spy.at(1)), (QList<double> {7.0, 3.0}));
        QCOMPARE(b.frame.image->rangeMin, 7.0);
        QCOMPARE(b.frame.image->rangeMax, 3.0);
    }

    void zeroStepPutsSlidersAtZero()
    {
        Bench b;
        b.mgr->stepSize = 0.0;
        b.maxSlider->setValue(400);
        b.mgr->setMinMax(2.0, 9.0, false);
        QCOMPARE(b.minSlider->value(), 0);
        QCOMPARE(b.maxSlider->value(), 0);
        QCOMPARE(b.mgr->curMax, 9.0);
    }

    void typingMovesRange()
    {
        Bench b;
        b.mgr->absMin = 0.0;
        b.mgr->absMax = 1000.0;
        b.mgr->stepSize = 1.0;
        b.window.show();
        QVERIFY(QTest::qWaitForWindowActive(&b.window));
        QSignalSpy spy(b.mgr, &QRangeMgr::rangeChanged);
        b.maxEdit->setFocus();
        b.maxEdit->selectAll();
        QTest::keyClicks(b.maxEdit, "640");
        QCOMPARE(b.mgr->curMax, 640.0);
        QCOMPARE(b.frame.image->rangeMax, 640.0);
        QCOMPARE(b.maxSlider->value(), 640);
        QCOMPARE(pair(spy.last()), (QList<double> {0.0, 640.0}));
        QCOMPARE(b.maxEdit->text(), QString("640"));

        b.minEdit->setFocus();
        b.minEdit->selectAll();
        QTest::keyClicks(b.minEdit, "12.5");
        QCOMPARE(b.mgr->curMin, 12.5);
        QCOMPARE(b.frame.image->rangeMin, 12.5);
        QCOMPARE(b.minSlider->value(), 12);
    }

    // Half-typed and foreign text leaves the range alone.
    void textThatIsNotANumberIsIgnored()
    {
        Bench b;
        b.mgr->setMinMax(1.0, 2.0, false);
        b.window.show();
        QVERIFY(QTest::qWaitForWindowActive(&b.window));
        QSignalSpy spy(b.mgr, &QRangeMgr::rangeChanged);
        b.minEdit->setFocus();
        b.minEdit->selectAll();
        QTest::keyClicks(b.minEdit, "-");
        QTest::keyClicks(b.minEdit, "x");
        QCOMPARE(spy.count(), 0);
        QCOMPARE(b.mgr->curMin, 1.0);
        b.minEdit->setText("nan");
        b.minEdit->setText("inf");
        QCOMPARE(spy.count(), 0);
        QCOMPARE(b.frame.image->rangeMin, 1.0);
    }

    // A field being typed in keeps its text; the other one follows.
    void focusedFieldKeepsText()
    {
        Bench b;
        b.window.show();
        QVERIFY(QTest::qWaitForWindowActive(&b.window));
        b.minEdit->setFocus();
        b.minEdit->selectAll();
        QTest::keyClicks(b.minEdit, "4");
        QVERIFY(b.minEdit->hasFocus());
        b.mgr->setMinMax(10.0, 20.0, false);
        QCOMPARE(b.minEdit->text(), QString("4"));
        QCOMPARE(b.maxEdit->text(), QString("20"));
        QCOMPARE(b.mgr->curMin, 10.0);
        QCOMPARE(b.frame.image->rangeMin, 10.0);
    }

    void sliderSetsValueAndField()
    {
        Bench b;
        b.mgr->absMin = 100.0;
        b.mgr->absMax = 300.0;
        b.mgr->stepSize = 0.2;
        b.mgr->setMinMax(100.0, 300.0, false);
        b.window.show();
        QVERIFY(QTest::qWaitForWindowActive(&b.window));
        QSignalSpy spy(b.mgr, &QRangeMgr::rangeChanged);
        b.minSlider->setFocus();
        QTest::keyClick(b.minSlider, Qt::Key_PageUp); // page step 10
        QCOMPARE(b.minSlider->value(), 10);
        QCOMPARE(b.mgr->curMin, 102.0);
        QCOMPARE(b.minEdit->text(), QString("102"));
        QCOMPARE(b.frame.image->rangeMin, 102.0);
        QCOMPARE(pair(spy.last()), (QList<double> {102.0, 300.0}));

        b.maxSlider->setFocus();
        QTest::keyClick(b.maxSlider, Qt::Key_End);
        QCOMPARE(b.mgr->curMax, 300.0);
        QTest::keyClick(b.maxSlider, Qt::Key_Left);
        QCOMPARE(b.maxSlider->value(), 999);
        QCOMPARE(b.mgr->curMax, 999 * 0.2 + 100.0);
        QCOMPARE(b.frame.image->rangeMax, 999 * 0.2 + 100.0);
    }

    // A slider moved while its field has the focus still rewrites the field.
    void sliderRewritesFocusedField()
    {
        Bench b;
        b.mgr->stepSize = 1.0;
        b.window.show();
        QVERIFY(QTest::qWaitForWindowActive(&b.window));
        b.maxEdit->setFocus();
        QTest::keyClicks(b.maxEdit, "77");
        b.maxSlider->setValue(500); // as the slider would from the mouse
        QVERIFY(b.maxEdit->hasFocus());
        QCOMPARE(b.maxEdit->text(), QString("500"));
        QCOMPARE(b.mgr->curMax, 500.0);
    }

    void worksWithoutSliders()
    {
        QLineEdit minEdit;
        QLineEdit maxEdit;
        QMpxFrame frame;
        QRangeMgr mgr(&minEdit, &maxEdit, nullptr, nullptr, &frame);
        mgr.setMinMax(3.0, 8.0, false);
        QCOMPARE(frame.image->rangeMin, 3.0);
        QCOMPARE(frame.image->rangeMax, 8.0);
        maxEdit.setText("9");
        QCOMPARE(frame.image->rangeMax, 9.0);
    }
};

QTEST_MAIN(TstQRangeMgr)
#include "tst_qrangemgr.moc"
