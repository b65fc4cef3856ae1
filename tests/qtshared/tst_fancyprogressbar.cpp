// The status-bar progress bar: range and value rules, and the painted bar.
#include "qfancyprogressbar.h"

#include <QTest>

namespace {

bool isGreen(QRgb c)
{
    return qGreen(c) > qRed(c) + 40 && qGreen(c) > qBlue(c) + 40;
}

bool isRed(QRgb c)
{
    return qRed(c) > qGreen(c) + 60 && qRed(c) > qBlue(c) + 60;
}

// Columns along the middle row that satisfy `test`, counted from x 0.
template <typename Test>
int countColumns(const QImage& image, Test test)
{
    int count = 0;
    for (int x = 0; x < image.width(); ++x)
        count += test(image.pixel(x, image.height() / 2));
    return count;
}

QImage paint(QFancyProgressBar& bar)
{
    bar.resize(104, 20);
    return bar.grab().toImage();
}

} // namespace

class TstFancyProgressBar : public QObject
{
    Q_OBJECT

private slots:
    void defaults()
    {
        QFancyProgressBar bar;
        QCOMPARE(bar.minimum(), 0);
        QCOMPARE(bar.maximum(), 100);
        QCOMPARE(bar.value(), 0);
        QVERIFY(!bar.error());
        QCOMPARE(bar.sizeHint(), QSize(100, 20));
        QCOMPARE(bar.sizePolicy().horizontalPolicy(), QSizePolicy::Fixed);
        QCOMPARE(bar.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
        QVERIFY(bar.styleSheet().contains(":/qfancyprogressbar/progressbar.png"));
    }

    void valueOutsideTheRangeIsIgnored()
    {
        QFancyProgressBar bar;
        bar.setValue(40);
        QCOMPARE(bar.value(), 40);
        bar.setValue(101);
        QCOMPARE(bar.value(), 40);
        bar.setValue(-1);
        QCOMPARE(bar.value(), 40);
        bar.setValue(100);
        QCOMPARE(bar.value(), 100);
        bar.setValue(0);
        QCOMPARE(bar.value(), 0);
    }

    void newRangeResetsAValueOutsideToTheMinimum()
    {
        QFancyProgressBar bar;
        bar.setValue(50);
        bar.setRange(0, 60);
        QCOMPARE(bar.value(), 50);
        bar.setRange(10, 20);
        QCOMPARE(bar.minimum(), 10);
        QCOMPARE(bar.maximum(), 20);
        QCOMPARE(bar.value(), 10);
        bar.setValue(15);
        QCOMPARE(bar.value(), 15);
        bar.setValue(9);
        QCOMPARE(bar.value(), 15);
        bar.setRange(-5, 5);
        QCOMPARE(bar.value(), -5);
    }

    void halfwayFillsHalfInGreen()
    {
        QFancyProgressBar bar;
        bar.setValue(50);
        const QImage image = paint(bar);
        // (104 - 4) * 50 / 100 = 50 columns, starting at x 2.
        const int green = countColumns(image, isGreen);
        QVERIFY2(qAbs(green - 50) <= 1, qPrintable(QString::number(green)));
        QVERIFY(isGreen(image.pixel(10, 10)));
        QVERIFY(isGreen(image.pixel(50, 10)));
        QVERIFY(!isGreen(image.pixel(60, 10)));
        QVERIFY(!isGreen(image.pixel(95, 10)));
        QCOMPARE(countColumns(image, isRed), 0);
    }

    void fillHasAVerticalGradient()
    {
        QFancyProgressBar bar;
        bar.setValue(50);
        const QImage image = paint(bar);
        const QColor top(image.pixel(20, 3));
        const QColor bottom(image.pixel(20, 16));
        QVERIFY(top.lightness() > bottom.lightness() + 20);
    }

    void remainderHasADarkerLeftEdge()
    {
        QFancyProgressBar bar;
        bar.setValue(60);
        const QImage image = paint(bar);
        // Fill: columns 2 to 61; the line of the remainder stands in column 62.
        QVERIFY(isGreen(image.pixel(61, 10)));
        const QColor edge(image.pixel(62, 10));
        const QColor inside(image.pixel(80, 10));
        QVERIFY(!isGreen(edge.rgb()));
        QVERIFY(edge.lightness() < inside.lightness());
    }

    void fullAtTheMaximumAndAtZero()
    {
        QFancyProgressBar bar;
        bar.setValue(100);
        QImage image = paint(bar);
        QVERIFY(countColumns(image, isGreen) >= 99);
        // Idle at 0 the bar shows whole as well: the rectangle is the whole trough.
        bar.setValue(0);
        image = paint(bar);
        QVERIFY(countColumns(image, isGreen) >= 99);
        bar.setValue(1);
        image = paint(bar);
        QCOMPARE(countColumns(image, isGreen), 1);
    }

    void errorIsRedAndAtLeastTwelvePixels()
    {
        QFancyProgressBar bar;
        bar.setError(true);
        QVERIFY(bar.error());
        bar.setValue(0);
        QImage image = paint(bar);
        QVERIFY(countColumns(image, isRed) >= 12);
        QCOMPARE(countColumns(image, isGreen), 0);

        // A small value would give one column; an error shows twelve.
        bar.setValue(1);
        image = paint(bar);
        const int red = countColumns(image, isRed);
        QVERIFY2(red >= 12 && red <= 13, qPrintable(QString::number(red)));
        QVERIFY(isRed(image.pixel(12, 10)));
        QVERIFY(!isRed(image.pixel(20, 10)));

        // Above twelve pixels the fill is the value's own width.
        bar.setValue(50);
        image = paint(bar);
        QVERIFY(qAbs(countColumns(image, isRed) - 50) <= 1);

        bar.setError(false);
        image = paint(bar);
        QCOMPARE(countColumns(image, isRed), 0);
        QVERIFY(qAbs(countColumns(image, isGreen) - 50) <= 1);
    }
};

QTEST_MAIN(TstFancyProgressBar)
#include "tst_fancyprogressbar.moc"
