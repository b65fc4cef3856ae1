// The plot widget: tick steps and common factors, widening and narrowing the axes with
// kept and fixed ends, fitting the axes to the data, the wheel beside and inside the
// area, the arrow buttons, what it draws, and saving it from its context menu as an
// image or as text.
#include "modaldriver.h"

#include <qplot.h>
#include <qplotlayer.h>
#include <qplotline.h>
#include <qplotverticalline.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>

#include <cmath>
#include <functional>

namespace {

struct Range
{
    double min;
    double max;
};

bool near(double a, double b)
{
    return std::fabs(a - b) <= 1e-9 * std::max(1.0, std::max(std::fabs(a), std::fabs(b)));
}

#define COMPARE_RANGE(actualMin, actualMax, expectedMin, expectedMax)                              \
    do {                                                                                           \
        const double aMin = (actualMin), aMax = (actualMax);                                       \
        const double eMin = (expectedMin), eMax = (expectedMax);                                   \
        QVERIFY2(near(aMin, eMin) && near(aMax, eMax),                                             \
            qPrintable(QString("range %1..%2, expected %3..%4")                                    \
                           .arg(aMin, 0, 'g', 17)                                                  \
                           .arg(aMax, 0, 'g', 17)                                                  \
                           .arg(eMin, 0, 'g', 17)                                                  \
                           .arg(eMax, 0, 'g', 17)));                                               \
    } while (false)

// A line of the points (x0, y0, x1, y1, ...).
QPlotLine* lineOf(std::initializer_list<double> xy)
{
    auto* line = new QPlotLine;
    for (auto it = xy.begin(); it != xy.end(); it += 2)
        line->addPoint(*it, *(it + 1));
    return line;
}

// Turns the wheel by delta eighths of a degree at pos, as the window system would.
bool turnWheel(QPlot& plot, QPointF pos, int delta)
{
    QWheelEvent event(pos, plot.mapToGlobal(pos), QPoint(), QPoint(0, delta), Qt::NoButton,
        Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&plot, &event);
    return event.isAccepted();
}

// A plot of the size it has in the side column, shown, with the ranges given.
struct ShownPlot
{
    explicit ShownPlot(Range x = {0.0, 100.0}, Range y = {0.0, 100.0})
    {
        plot.resize(260, 150);
        plot.show();
        plot.setRangeX(x.min, x.max);
        plot.setRangeY(y.min, y.max);
    }
    QPlot plot;
};

// Runs action on the pop-up menu once one is open.
void onPopup(std::function<void(QMenu*)> action)
{
    auto* timer = new QTimer;
    QObject::connect(timer, &QTimer::timeout, [timer, action] {
        if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            timer->stop();
            timer->deleteLater();
            action(menu);
        }
    });
    timer->start(20);
}

// Clicks the entry of the open menu with the text; records the texts of all entries.
void chooseEntry(QMenu* menu, const QString& text, QStringList* seen)
{
    QAction* chosen = nullptr;
    for (QAction* action : menu->actions()) {
        seen->append(action->text());
        if (action->text() == text)
            chosen = action;
    }
    if (chosen)
        QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(chosen).center());
    else
        menu->close();
}

// A right click on the plot, through its window as the window system delivers it.
void rightClick(QPlot& plot, QPoint pos)
{
    QTest::mouseClick(plot.windowHandle(), Qt::RightButton, {}, pos);
}

// What the test answers to the save dialog, and what the dialog was asked.
struct DialogAnswer
{
    QString name;
    QString filter;
    int calls = 0;
    QString caption;
    QString filters;
};
DialogAnswer* answer = nullptr;

QString answerSaveDialog(
    QWidget*, const QString& caption, const QString&, const QString& filter, QString* selected)
{
    ++answer->calls;
    answer->caption = caption;
    answer->filters = filter;
    if (selected)
        *selected = answer->filter;
    return answer->name;
}

QString readAll(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QString("<cannot open %1>").arg(path);
    return QString::fromUtf8(f.readAll());
}

int countColour(const QImage& image, const QRect& rect, QColor colour)
{
    int n = 0;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            if (image.pixelColor(x, y).rgb() == colour.rgb())
                ++n;
    return n;
}

int countDark(const QImage& image, const QRect& rect)
{
    int n = 0;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            if (qGray(image.pixel(x, y)) < 110)
                ++n;
    return n;
}

} // namespace

class TstQPlot : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;

private slots:
    void initTestCase()
    {
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        QVERIFY(dir.isValid());
    }
    void cleanup() { QPlot::saveFileDialog = defaultDialog; }

    void tickStep_data()
    {
        QTest::addColumn<double>("range");
        QTest::addColumn<int>("maxTicks");
        QTest::addColumn<double>("step");
        QTest::addColumn<double>("order");
        // raw 10: order 10, m 1, step 25; the order 10 needs no factor.
        QTest::newRow("100 over 10") << 100.0 << 10 << 25.0 << 1.0;
        // raw 0.074: order 0.01, m 7.4 so the order becomes 0.1 and the step 0.1.
        QTest::newRow("0.37 over 5") << 0.37 << 5 << 0.1 << 1.0;
        // raw 1234.5: order 1000, m 1.23, step 2500; order 1000 is shown plain.
        QTest::newRow("12345 over 10") << 12345.0 << 10 << 2500.0 << 1.0;
        // raw 0.1: order 0.01, m 10 so order 0.1 and step 0.1; order 0.1 is plain.
        QTest::newRow("1 over 10") << 1.0 << 10 << 0.1 << 1.0;
        // raw 3: order 1, m 3, step 5.
        QTest::newRow("30 over 10") << 30.0 << 10 << 5.0 << 1.0;
        // raw 7: order 1, m 7 so order and step 10; plain.
        QTest::newRow("70 over 10") << 70.0 << 10 << 10.0 << 1.0;
        // raw 10000: order 10000 stays, step 25000.
        QTest::newRow("50000 over 5") << 50000.0 << 5 << 25000.0 << 10000.0;
        // raw 0.0005: order 0.0001, m 5 so order and step 0.001, kept.
        QTest::newRow("0.002 over 4") << 0.002 << 4 << 0.001 << 0.001;
        // raw 300000: order 100000, m 3, step 500000.
        QTest::newRow("3e6 over 10") << 3e6 << 10 << 500000.0 << 100000.0;
    }
    void tickStep()
    {
        QFETCH(double, range);
        QFETCH(int, maxTicks);
        QFETCH(double, step);
        QFETCH(double, order);
        double gotOrder = -1.0;
        const double gotStep = QPlot::getTickStep(range, maxTicks, gotOrder);
        QVERIFY2(near(gotStep, step), qPrintable(QString::number(gotStep, 'g', 17)));
        QVERIFY2(near(gotOrder, order), qPrintable(QString::number(gotOrder, 'g', 17)));
    }

    void adjustOrder_data()
    {
        QTest::addColumn<double>("min");
        QTest::addColumn<double>("max");
        QTest::addColumn<double>("step");
        QTest::addColumn<double>("order");
        QTest::addColumn<double>("expected");
        // Largest tick 100, below 9999: no factor.
        QTest::newRow("small plain") << 0.0 << 100.0 << 25.0 << 1.0 << 1.0;
        // Largest tick 7500 (three steps of 2500 fit below 9998): still plain.
        QTest::newRow("just below") << 0.0 << 9998.0 << 2500.0 << 1.0 << 1.0;
        // Largest tick 10000: the factor grows until 10000 / order < 1.
        QTest::newRow("12345") << 0.0 << 12345.0 << 2500.0 << 1.0 << 1e5;
        // The negative end counts by its size: 20000 over 1e5 is 0.2.
        QTest::newRow("negative end") << -20000.0 << 5000.0 << 5000.0 << 1.0 << 1e5;
        // An order other than 1 grows as long as the largest tick reaches it.
        QTest::newRow("order 1e4") << 0.0 << 50000.0 << 25000.0 << 1e4 << 1e5;
        QTest::newRow("order 1e4 kept") << 0.0 << 5000.0 << 2500.0 << 1e4 << 1e4;
        QTest::newRow("small order") << 0.0 << 0.05 << 0.01 << 0.01 << 0.1;
    }
    void adjustOrder()
    {
        QFETCH(double, min);
        QFETCH(double, max);
        QFETCH(double, step);
        QFETCH(double, order);
        QFETCH(double, expected);
        QPlot::adjustOrder(min, max, step, order);
        QVERIFY2(near(order, expected), qPrintable(QString::number(order, 'g', 17)));
    }

    // Ticks at the multiples of the step inside the range, labels over the factor.
    void ticksAndLabels()
    {
        QPlotTicks t = QPlot::prepareTicks(0.0, 100.0, 10);
        QCOMPARE(t.values, (std::vector<double> {0, 25, 50, 75, 100}));
        QCOMPARE(t.labels, (QStringList {"0", "25", "50", "75", "100"}));
        QVERIFY(!t.hasFactor());

        t = QPlot::prepareTicks(0.0, 12345.0, 10);
        QCOMPARE(t.values, (std::vector<double> {0, 2500, 5000, 7500, 10000}));
        QCOMPARE(t.labels, (QStringList {"0", "0.025", "0.05", "0.075", "0.1"}));
        QVERIFY(t.hasFactor());
        QCOMPARE(t.exponent(), 5);

        t = QPlot::prepareTicks(-0.37, 0.0, 5);
        QCOMPARE(t.labels, (QStringList {"-0.3", "-0.2", "-0.1", "0"}));

        // A range without width has no ticks.
        QVERIFY(QPlot::prepareTicks(3.0, 3.0, 5).values.empty());
    }

    void startState()
    {
        QPlot plot;
        COMPARE_RANGE(plot.minX(), plot.maxX(), 0.0, 1.0);
        COMPARE_RANGE(plot.minY(), plot.maxY(), 0.0, 1.0);
        QVERIFY(plot.autoRangeX());
        QVERIFY(plot.autoRangeY());
        QVERIFY(!plot.isMouseDisabled());
        QCOMPARE(plot.gridPen().color(), QColor(128, 128, 128));
        QCOMPARE(plot.tickFont().pointSize(), 9);
        QCOMPARE(plot.exponentFont().pointSizeF(), 6.75);
        QCOMPARE(plot.layerCount(), 0);
    }

    void incAndDec()
    {
        QPlot plot;
        // Both ends move by a fifth of the range.
        plot.incY(false, false);
        QVERIFY(!plot.autoRangeY());
        QVERIFY(plot.autoRangeX());
        COMPARE_RANGE(plot.minY(), plot.maxY(), -0.2, 1.2);
        plot.incX(false, false);
        QVERIFY(!plot.autoRangeX());
        COMPARE_RANGE(plot.minX(), plot.maxX(), -0.2, 1.2);

        plot.setRangeX(0.0, 10.0);
        plot.incX(true, false);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 0.0, 12.0);
        plot.setRangeX(0.0, 10.0);
        plot.incX(false, true);
        COMPARE_RANGE(plot.minX(), plot.maxX(), -2.0, 10.0);
        plot.setRangeX(0.0, 10.0);
        plot.decX(false, false);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 2.0, 8.0);
        plot.setRangeX(0.0, 10.0);
        plot.decX(true, false);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 0.0, 8.0);
        plot.setRangeX(0.0, 10.0);
        plot.decX(true, true);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 0.0, 10.0);

        plot.setRangeY(-10.0, 40.0);
        plot.decY(false, true);
        COMPARE_RANGE(plot.minY(), plot.maxY(), 0.0, 40.0);
        plot.setRangeY(-10.0, 40.0);
        plot.incY(true, false);
        COMPARE_RANGE(plot.minY(), plot.maxY(), -10.0, 50.0);
    }

    void fixedEnds()
    {
        QPlot plot;
        plot.setRangeX(0.0, 10.0);
        plot.setRangeY(0.0, 10.0);
        plot.fixAxisRanges(true, false, false, true);
        plot.incX(false, false);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 0.0, 12.0);
        plot.decX(false, false);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 0.0, 9.6);
        plot.incY(false, false);
        COMPARE_RANGE(plot.minY(), plot.maxY(), -2.0, 10.0);
        plot.decY(false, false);
        COMPARE_RANGE(plot.minY(), plot.maxY(), 0.4, 10.0);

        // A fixed end holds against a set range and against the data, at the value
        // it had when it was fixed.
        plot.setRangeX(5.0, 20.0);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 0.0, 20.0);
        plot.addEmptyLayer()->addLine(lineOf({-50, -30, 70, 40}));
        plot.setAutoRange(true, true);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 0.0, 70.0);
        COMPARE_RANGE(plot.minY(), plot.maxY(), -30.0, 10.0);

        // Freed, the ends follow again.
        plot.fixAxisRanges(false, false, false, false);
        plot.setAutoRange(true, true);
        COMPARE_RANGE(plot.minX(), plot.maxX(), -50.0, 70.0);
        COMPARE_RANGE(plot.minY(), plot.maxY(), -30.0, 40.0);
    }

    void autoRangeFollowsData()
    {
        QPlot plot;
        QPlotLayer* first = plot.addEmptyLayer();
        QPlotLayer* second = plot.addEmptyLayer();
        first->addLine(lineOf({1, 5, 3, -2}));
        second->addLine(lineOf({4, 10}));
        plot.setRangeX(100.0, 200.0);
        QVERIFY(!plot.autoRangeX());

        // Y follows all layers, X stays as it was set.
        plot.setAutoRange(false, true);
        COMPARE_RANGE(plot.minY(), plot.maxY(), -2.0, 10.0);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 100.0, 200.0);
        QVERIFY(!plot.autoRangeX());
        QVERIFY(plot.autoRangeY());

        // False arguments leave the flags and so the ranges alone.
        plot.setRangeY(0.0, 1.0);
        plot.setAutoRange(false, false);
        QVERIFY(!plot.autoRangeX());
        QVERIFY(!plot.autoRangeY());
        COMPARE_RANGE(plot.minY(), plot.maxY(), 0.0, 1.0);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 100.0, 200.0);

        plot.setAutoRange(true, false);
        COMPARE_RANGE(plot.minX(), plot.maxX(), 1.0, 4.0);
        COMPARE_RANGE(plot.minY(), plot.maxY(), 0.0, 1.0);

        // Set flags stay set when false is passed, and the fit follows new data.
        second->addLine(lineOf({-6, 1, 0, 50}));
        plot.setAutoRange(false, false);
        QVERIFY(plot.autoRangeX());
        COMPARE_RANGE(plot.minX(), plot.maxX(), -6.0, 4.0);
        COMPARE_RANGE(plot.minY(), plot.maxY(), 0.0, 1.0);

        // A line changed afterwards fits the axes that follow the data.
        QPlotLine* line = first->lines().first();
        line->points[0] = QPlotPoint(-20.0, 5.0);
        line->checkAutoRange();
        COMPARE_RANGE(line->minX, line->maxX, -20.0, 3.0);
        COMPARE_RANGE(plot.minX(), plot.maxX(), -20.0, 4.0);
        COMPARE_RANGE(plot.minY(), plot.maxY(), 0.0, 1.0);

        // Without data a fit leaves the axes; one value is shown one unit wide.
        plot.clear();
        QCOMPARE(plot.layerCount(), 2);
        QVERIFY(first->lines().isEmpty());
        plot.setAutoRange(true, true);
        COMPARE_RANGE(plot.minX(), plot.maxX(), -20.0, 4.0);
        first->addLine(lineOf({2, 7, 2, 7}));
        plot.updateAutoRange();
        COMPARE_RANGE(plot.minX(), plot.maxX(), 2.0, 3.0);
        COMPARE_RANGE(plot.minY(), plot.maxY(), 7.0, 8.0);
    }

    void layerKeepsExtremesAndColours()
    {
        QPlot plot;
        QPlotLayer* layer = plot.addEmptyLayer();
        QCOMPARE(plot.layer(0), layer);
        QCOMPARE(plot.layer(1), nullptr);
        QVERIFY(layer->minX() > layer->maxX());
        QColor green(0, 200, 0);
        QPlotLine* a = layer->addLine(lineOf({1, 2, 5, -1}), &green);
        QPlotLine* b = layer->addLine(lineOf({-3, 9}));
        QCOMPARE(a->color, green);
        QVERIFY(b->color.isValid());
        QVERIFY(b->color != green);
        QCOMPARE(a->parentPlot(), &plot);
        COMPARE_RANGE(layer->minX(), layer->maxX(), -3.0, 5.0);
        COMPARE_RANGE(layer->minY(), layer->maxY(), -1.0, 9.0);

        auto* marker = new QPlotVerticalLine(100.0);
        layer->addObject(marker);
        QCOMPARE(marker->parentPlot(), &plot);
        layer->updateMinMax();
        COMPARE_RANGE(layer->minX(), layer->maxX(), -3.0, 5.0);

        layer->clearObjects();
        QVERIFY(layer->objects().isEmpty());
        QCOMPARE(layer->lines().size(), 2);
        layer->clearLines();
        QVERIFY(layer->lines().isEmpty());
        QVERIFY(layer->minX() > layer->maxX());
    }

    // Beside the Y axis the end far from the cursor moves, the near one stays.
    void wheelLeftOfArea()
    {
        ShownPlot s;
        const QRect a = s.plot.plotArea();
        const double x = a.left() - 3;
        // Near the upper end: the minimum moves, down the wheel widens.
        QVERIFY(turnWheel(s.plot, QPointF(x, a.top() + 2), -120));
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), -20.0, 100.0);
        s.plot.setRangeY(0.0, 100.0);
        QVERIFY(turnWheel(s.plot, QPointF(x, a.top() + 2), 120));
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), 20.0, 100.0);
        // Near the lower end: the maximum moves.
        s.plot.setRangeY(0.0, 100.0);
        QVERIFY(turnWheel(s.plot, QPointF(x, a.bottom() - 2), -120));
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), 0.0, 120.0);
        s.plot.setRangeY(0.0, 100.0);
        QVERIFY(turnWheel(s.plot, QPointF(x, a.bottom() - 2), 120));
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), 0.0, 80.0);
        // Two steps at once move twice; X is untouched.
        s.plot.setRangeY(0.0, 100.0);
        QVERIFY(turnWheel(s.plot, QPointF(x, a.bottom() - 2), -240));
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), 0.0, 144.0);
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 0.0, 100.0);
    }

    void wheelBelowArea()
    {
        ShownPlot s;
        const QRect a = s.plot.plotArea();
        const double y = a.bottom() + 4;
        // Near the left (lower) end: the maximum moves.
        QVERIFY(turnWheel(s.plot, QPointF(a.left() + 2, y), 120));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 0.0, 80.0);
        s.plot.setRangeX(0.0, 100.0);
        QVERIFY(turnWheel(s.plot, QPointF(a.left() + 2, y), -120));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 0.0, 120.0);
        // Near the right (upper) end: the minimum moves.
        s.plot.setRangeX(0.0, 100.0);
        QVERIFY(turnWheel(s.plot, QPointF(a.right() - 2, y), 120));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 20.0, 100.0);
        s.plot.setRangeX(0.0, 100.0);
        QVERIFY(turnWheel(s.plot, QPointF(a.right() - 2, y), -120));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), -20.0, 100.0);
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), 0.0, 100.0);
        QVERIFY(!s.plot.autoRangeX());
    }

    // Inside the area both axes zoom about the cursor: the value under it stays.
    void wheelInsideArea()
    {
        ShownPlot s({0.0, 100.0}, {-50.0, 50.0});
        const QRect a = s.plot.plotArea();
        const QPointF pos(a.left() + (a.width() - 1) * 0.25, a.bottom() - (a.height() - 1) * 0.75);
        QVERIFY(turnWheel(s.plot, pos, 120));
        // A fifth of the range goes, a quarter of it left of the cursor in X and three
        // quarters below it in Y.
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 5.0, 85.0);
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), -35.0, 45.0);
        QVERIFY(!s.plot.autoRangeX());
        QVERIFY(!s.plot.autoRangeY());
        // Down zooms out by a fifth of the (new) range, again about the cursor.
        QVERIFY(turnWheel(s.plot, pos, -120));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 1.0, 97.0);
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), -47.0, 49.0);

        // Parts of a step add up to one.
        s.plot.setRangeX(0.0, 100.0);
        s.plot.setRangeY(-50.0, 50.0);
        QVERIFY(turnWheel(s.plot, pos, 60));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 0.0, 100.0);
        QVERIFY(turnWheel(s.plot, pos, 60));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 5.0, 85.0);

        // A fixed end stays while zooming.
        s.plot.setRangeX(0.0, 100.0);
        s.plot.fixAxisRanges(false, true, false, false);
        QVERIFY(turnWheel(s.plot, pos, 120));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 5.0, 100.0);
    }

    void wheelIgnoredWhenMouseDisabled()
    {
        ShownPlot s;
        s.plot.disableMouse(true);
        QVERIFY(s.plot.isMouseDisabled());
        const QRect a = s.plot.plotArea();
        QVERIFY(!turnWheel(s.plot, a.center(), 120));
        QVERIFY(!turnWheel(s.plot, QPointF(a.left() - 3, a.top() + 2), 120));
        QVERIFY(!turnWheel(s.plot, QPointF(a.left() + 2, a.bottom() + 4), 120));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 0.0, 100.0);
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), 0.0, 100.0);
        s.plot.disableMouse(false);
        QVERIFY(turnWheel(s.plot, a.center(), 120));
        QVERIFY(s.plot.maxX() - s.plot.minX() < 100.0);
    }

    void moveButtons_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<double>("minX");
        QTest::addColumn<double>("maxX");
        QTest::addColumn<double>("minY");
        QTest::addColumn<double>("maxY");
        QTest::newRow("max Y up") << int(QPlot::MaxYUp) << 0.0 << 100.0 << 0.0 << 120.0;
        QTest::newRow("max Y down") << int(QPlot::MaxYDown) << 0.0 << 100.0 << 0.0 << 80.0;
        QTest::newRow("min Y up") << int(QPlot::MinYUp) << 0.0 << 100.0 << 20.0 << 100.0;
        QTest::newRow("min Y down") << int(QPlot::MinYDown) << 0.0 << 100.0 << -20.0 << 100.0;
        QTest::newRow("min X left") << int(QPlot::MinXLeft) << -20.0 << 100.0 << 0.0 << 100.0;
        QTest::newRow("min X right") << int(QPlot::MinXRight) << 20.0 << 100.0 << 0.0 << 100.0;
        QTest::newRow("max X left") << int(QPlot::MaxXLeft) << 0.0 << 80.0 << 0.0 << 100.0;
        QTest::newRow("max X right") << int(QPlot::MaxXRight) << 0.0 << 120.0 << 0.0 << 100.0;
    }
    void moveButtons()
    {
        QFETCH(int, button);
        QFETCH(double, minX);
        QFETCH(double, maxX);
        QFETCH(double, minY);
        QFETCH(double, maxY);
        ShownPlot s;
        const QRect r = s.plot.moveButtonRect(QPlot::MoveButton(button));
        QVERIFY(!r.isEmpty());
        QVERIFY(s.plot.rect().contains(r));
        QVERIFY(!r.intersects(s.plot.plotArea()));
        QTest::mouseClick(&s.plot, Qt::LeftButton, {}, r.center());
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), minX, maxX);
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), minY, maxY);

        // With the mouse disabled a click does nothing.
        s.plot.setRangeX(0.0, 100.0);
        s.plot.setRangeY(0.0, 100.0);
        s.plot.disableMouse(true);
        QTest::mouseClick(&s.plot, Qt::LeftButton, {}, r.center());
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 0.0, 100.0);
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), 0.0, 100.0);
    }

    void buttonsDoNotOverlap()
    {
        ShownPlot s;
        for (int i = 0; i < QPlot::MoveButtonCount; ++i)
            for (int j = i + 1; j < QPlot::MoveButtonCount; ++j)
                QVERIFY(!s.plot.moveButtonRect(QPlot::MoveButton(i))
                             .intersects(s.plot.moveButtonRect(QPlot::MoveButton(j))));
        // A click elsewhere outside the area moves nothing.
        QTest::mouseClick(&s.plot, Qt::LeftButton, {}, QPoint(2, 2));
        COMPARE_RANGE(s.plot.minX(), s.plot.maxX(), 0.0, 100.0);
        COMPARE_RANGE(s.plot.minY(), s.plot.maxY(), 0.0, 100.0);
    }

    // The picture: grid lines in the grid pen at the ticks, the line in its colour,
    // the arrows and the tick labels.
    void drawsGridLineButtonsAndLabels()
    {
        ShownPlot s({0.0, 100.0}, {0.0, 100.0});
        QColor red(220, 0, 0);
        s.plot.addEmptyLayer()->addLine(lineOf({0, 10, 50, 90, 100, 10}), &red);
        const QImage image = s.plot.grab().toImage();
        QCOMPARE(image.size(), s.plot.size());
        const QRect a = s.plot.plotArea();
        const QColor grid(128, 128, 128);

        const QPlotTicks tx = s.plot.ticksX();
        QVERIFY(tx.values.size() >= 3);
        for (double v : tx.values) {
            const int x = a.left() + qRound(v / 100.0 * (a.width() - 1));
            if (x <= a.left() || x >= a.right())
                continue;
            const int dots = countColour(image, QRect(x, a.top() + 1, 1, a.height() - 2), grid);
            QVERIFY2(dots > a.height() / 5, qPrintable(QString("x %1: %2").arg(x).arg(dots)));
        }
        const QPlotTicks ty = s.plot.ticksY();
        QVERIFY(ty.values.size() >= 3);
        for (double v : ty.values) {
            const int y = a.bottom() - qRound(v / 100.0 * (a.height() - 1));
            if (y <= a.top() || y >= a.bottom())
                continue;
            const int dots = countColour(image, QRect(a.left() + 1, y, a.width() - 2, 1), grid);
            QVERIFY2(dots > a.width() / 5, qPrintable(QString("y %1: %2").arg(y).arg(dots)));
        }
        // The line crosses the area and nothing of it lies outside.
        QVERIFY(countColour(image, a, red) > a.width() / 2);
        QCOMPARE(countColour(image, image.rect(), red), countColour(image, a, red));
        // Arrows are drawn in their buttons.
        for (int b = 0; b < QPlot::MoveButtonCount; ++b)
            QVERIFY(countDark(image, s.plot.moveButtonRect(QPlot::MoveButton(b))) >= 6);
        // Tick labels stand left of and below the area.
        QVERIFY(countDark(image, QRect(0, a.top(), a.left() - 12, a.height())) > 30);
        QVERIFY(countDark(image, QRect(a.left(), a.bottom() + 2, a.width(), 10)) > 30);
    }

    // Lines go straight from point to point; steps hold each value up to the next
    // point, the last one as wide as the run before it. A marker stands across the
    // whole height.
    void drawStylesAndMarker()
    {
        ShownPlot s({0.0, 100.0}, {0.0, 100.0});
        QPlotLayer* layer = s.plot.addEmptyLayer();
        QColor red(220, 0, 0);
        QPlotLine* line = layer->addLine(lineOf({0, 20, 40, 80}), &red);
        QColor green(0, 160, 0);
        auto* marker = new QPlotVerticalLine(90.0, green);
        layer->addObject(marker);
        const QRect a = s.plot.plotArea();
        auto px = [&](double v) { return a.left() + qRound(v / 100.0 * (a.width() - 1)); };
        auto py = [&](double v) { return a.bottom() - qRound(v / 100.0 * (a.height() - 1)); };
        // Inner parts of the runs, clear of the corners.
        const QRect low(px(2), py(20), px(38) - px(2) + 1, 1);
        const QRect high(px(42), py(80), px(78) - px(42) + 1, 1);

        QCOMPARE(line->drawStyle, QPlotLine::Lines);
        QImage image = s.plot.grab().toImage();
        QVERIFY(countColour(image, low, red) < low.width() / 4);
        QVERIFY(countColour(image, high, red) < high.width() / 4);
        const QRect column(px(90), a.top(), 1, a.height());
        QCOMPARE(countColour(image, column, green), a.height());

        line->setDrawStyle(QPlotLine::Steps);
        line->setWidth(1);
        image = s.plot.grab().toImage();
        QCOMPARE(countColour(image, low, red), low.width());
        QCOMPARE(countColour(image, high, red), high.width());
        // The jump between the runs.
        const QRect jump(px(40), py(78), 1, py(22) - py(78) + 1);
        QCOMPARE(countColour(image, jump, red), jump.height());
        // Nothing beyond the last run.
        QCOMPARE(
            countColour(image, QRect(px(82), a.top(), a.right() - px(82) + 1, a.height()), red), 0);

        // A hidden line is not drawn; a marker outside the range neither.
        line->visible = false;
        marker->setX(150.0);
        image = s.plot.grab().toImage();
        QCOMPARE(countColour(image, a, red), 0);
        QCOMPARE(countColour(image, a, green), 0);
    }

    // A common factor is written as "10" with a raised exponent beside the axis: it
    // takes room above the Y labels.
    void factorTakesRoom()
    {
        ShownPlot plain({0.0, 100.0}, {0.0, 100.0});
        ShownPlot large({0.0, 100.0}, {0.0, 250000.0});
        QVERIFY(!plain.plot.ticksY().hasFactor());
        QVERIFY(large.plot.ticksY().hasFactor());
        QCOMPARE(large.plot.ticksY().exponent(), 6);
        QVERIFY(large.plot.plotArea().top() > plain.plot.plotArea().top());
        const QImage image = large.plot.grab().toImage();
        const QRect a = large.plot.plotArea();
        QVERIFY(countDark(image, QRect(0, 0, a.left() - 12, a.top() - 1)) > 10);
    }

    void saveAsText()
    {
        QPlot plot;
        QPlotLayer* first = plot.addEmptyLayer();
        first->addLine(lineOf({1, 2, 3, 4.5}));
        first->addLine(lineOf({0.25, -1, 1e6, 7, -2.5, 1e-5}));
        plot.addEmptyLayer()->addLine(lineOf({8, 9}));
        const QString path = dir.filePath("plot.txt");
        QVERIFY(plot.saveToFile(path, false));
        QCOMPARE(readAll(path),
            QString("1\t3\t\n2\t4.5\t\n0.25\t1000000\t-2.5\t\n-1\t7\t1e-05\t\n8\t\n9\t\n"));
    }

    void saveAsImage()
    {
        QPlot plot;
        plot.resize(260, 150);
        QColor blue(0, 0, 230);
        plot.addEmptyLayer()->addLine(lineOf({0, 0, 1, 1}), &blue);
        const QString path = dir.filePath("plot.png");
        QVERIFY(plot.saveToFile(path, true));
        QImage image;
        QVERIFY(image.load(path));
        QCOMPARE(image.size(), QSize(260, 150));
        QVERIFY(countColour(image, plot.plotArea(), blue) > 50);
    }

    void saveFailsWhenFileCannotOpen()
    {
        QPlot plot;
        plot.resize(100, 80);
        plot.addEmptyLayer()->addLine(lineOf({0, 0, 1, 1}));
        const QString bad = dir.filePath("missing/folder/plot");
        QVERIFY(!plot.saveToFile(bad + ".txt", false));
        QVERIFY(!plot.saveToFile(bad + ".png", true));
        QVERIFY(!QFile::exists(bad + ".txt"));
    }

    void contextMenuSaves_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("written");
        QTest::newRow("ascii") << "ASCII (*.txt)"
                               << "menu.txt"
                               << "menu.txt";
        QTest::newRow("png") << "PNG Image (*.png)"
                             << "menu.png"
                             << "menu.png";
        QTest::newRow("ascii without suffix") << "ASCII (*.txt)"
                                              << "bare"
                                              << "bare.txt";
        QTest::newRow("png without suffix") << "PNG Image (*.png)"
                                            << "pict"
                                            << "pict.png";
    }
    void contextMenuSaves()
    {
        QFETCH(QString, filter);
        QFETCH(QString, name);
        QFETCH(QString, written);
        DialogAnswer a;
        a.name = dir.filePath(name);
        a.filter = filter;
        answer = &a;
        QPlot::saveFileDialog = answerSaveDialog;

        ShownPlot s;
        s.plot.addEmptyLayer()->addLine(lineOf({1, 2, 3, 4}));
        QStringList entries;
        onPopup([&](QMenu* menu) { chooseEntry(menu, "Save to file...", &entries); });
        rightClick(s.plot, s.plot.plotArea().center());
        QTRY_COMPARE(a.calls, 1);
        QCOMPARE(entries, QStringList {"Save to file..."});
        QCOMPARE(a.caption, QString("Save plot to file"));
        QCOMPARE(a.filters, QString("PNG Image (*.png);;ASCII (*.txt)"));

        const QString path = dir.filePath(written);
        QVERIFY2(QFile::exists(path), qPrintable(path));
        if (filter.startsWith("ASCII")) {
            QCOMPARE(readAll(path), QString("1\t3\t\n2\t4\t\n"));
        } else {
            QImage image;
            QVERIFY(image.load(path, "PNG"));
            QCOMPARE(image.size(), s.plot.size());
        }
        QFile::remove(path);
    }

    // Cancelled, the dialog writes nothing; the menu closed without a choice asks
    // nothing.
    void contextMenuCancel()
    {
        DialogAnswer a;
        answer = &a;
        QPlot::saveFileDialog = answerSaveDialog;
        ShownPlot s;
        const int before = int(QDir(dir.path()).entryList(QDir::Files).size());
        QStringList entries;
        onPopup([&](QMenu* menu) { chooseEntry(menu, "Save to file...", &entries); });
        rightClick(s.plot, s.plot.plotArea().center());
        QTRY_COMPARE(a.calls, 1);
        QCOMPARE(int(QDir(dir.path()).entryList(QDir::Files).size()), before);

        onPopup([&](QMenu* menu) { menu->close(); });
        rightClick(s.plot, s.plot.plotArea().center());
        QTest::qWait(100);
        QCOMPARE(a.calls, 1);
    }

    // The plot's own dialog is the file dialog, answered here as a user would.
    void contextMenuAsksFileDialog()
    {
        ShownPlot s;
        s.plot.addEmptyLayer()->addLine(lineOf({5, 6}));
        ModalDriver driver;
        QStringList filters;
        QString caption;
        const QString path = dir.filePath("dialog.txt");
        driver.fileDialog("ASCII (*.txt)", path, &filters, &caption);
        QStringList entries;
        onPopup([&](QMenu* menu) { chooseEntry(menu, "Save to file...", &entries); });
        rightClick(s.plot, s.plot.plotArea().center());
        QTRY_VERIFY(driver.done());
        QCOMPARE(caption, QString("Save plot to file"));
        QCOMPARE(filters, (QStringList {"PNG Image (*.png)", "ASCII (*.txt)"}));
        QTRY_VERIFY(QFile::exists(path));
        QCOMPARE(readAll(path), QString("5\t\n6\t\n"));
    }

private:
    const QPlot::SaveFileDialog defaultDialog = QPlot::saveFileDialog;
};

QTEST_MAIN(TstQPlot)
#include "tst_qplot.moc"
