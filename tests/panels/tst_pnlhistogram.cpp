// The histogram panel: its form, what it asks the frame and draws for a range of zero
// width and for a set range, nothing while hidden or without a frame, the counts of
// real frames of every pixel type with and without a region, and its picture at the
// size it has in the side column.
#include "nulldevice.h"
#include "pnlhistogram.h"
#include "rangetestframes.h"
#include "ui_pnlhistogram.h"

#include <qplot.h>
#include <qplotlayer.h>
#include <qplotline.h>

#include <QDir>
#include <QImage>
#include <QLabel>
#include <QTest>

#include <cmath>
#include <vector>

using PluginDevControl::PnlHistogram;
using namespace rangetest;

namespace {

// A frame that records what it is asked for a histogram and answers with bin i
// holding i % 7.
class ProbeFrame final : public testdev::NullMpxFrame
{
public:
    struct Call
    {
        int bins;
        const ov::Region* region;
        double min;
        double max;
    };

    int incRef() override { return ++refs; }
    int decRef() override { return --refs; }
    int histogram(int bins, double* out, const ov::Region* region, double min, double max) override
    {
        calls.push_back({bins, region, min, max});
        for (int i = 0; i < bins; ++i)
            out[i] = double(i % 7);
        return 0;
    }

    int refs = 1;
    std::vector<Call> calls;
};

QPlotLine* onlyLine(PnlHistogram& panel)
{
    QPlotLayer* layer = panel.plot()->layer(0);
    if (!layer || layer->lines().size() != 1)
        return nullptr;
    return layer->lines().first();
}

double sumOfY(const QPlotLine& line)
{
    double sum = 0.0;
    for (const QPlotPoint& p : line.points)
        sum += p.y;
    return sum;
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

// Values of a bell around centre of the given width (a sum of twelve steps of a fixed
// sequence), with a few zeros, as a measured frame might hold.
std::vector<double> bellValues(unsigned width, unsigned height, double centre, double spread)
{
    std::vector<double> v(std::size_t(width) * height);
    unsigned state = 12345u;
    for (double& value : v) {
        double sum = 0.0;
        for (int k = 0; k < 12; ++k) {
            state = state * 1103515245u + 12345u;
            sum += double((state >> 16) & 0x7fffu) / 32767.0;
        }
        value = std::round(centre + (sum - 6.0) * spread);
    }
    for (std::size_t i = 0; i < v.size(); i += 37)
        v[i] = 0.0;
    return v;
}

QString screenshotDir()
{
    const QString dir = qEnvironmentVariable("ORVEL_TEST_BINARY_DIR", QDir::tempPath());
    QDir().mkpath(dir + "/screenshots");
    return dir + "/screenshots";
}

} // namespace

class TstPnlHistogram : public QObject
{
    Q_OBJECT

private slots:
    void form()
    {
        PnlHistogram panel;
        const Ui_PnlHistogram& ui = panel.form();
        QCOMPARE(ui.lHistogram->text(), QString(" Histogram"));
        QVERIFY(ui.lHistogram->styleSheet().contains("color: white"));
        QCOMPARE(ui.pnlHistogram->objectName(), QString("pnlHistogram"));
        QCOMPARE(panel.plot(), ui.plotHistogram);
        QCOMPARE(panel.plot()->objectName(), QString("plotHistogram"));
        QCOMPARE(panel.plot()->parentWidget(), ui.pnlHistogram);
        QCOMPARE(panel.plot()->minimumHeight(), 120);
        QCOMPARE(panel.plot()->layerCount(), 1);
        // The panel does not widen the side column beyond its usual width.
        QVERIFY(panel.minimumSizeHint().width() <= 260);
    }

    void zeroWidthRangeIsWidened()
    {
        PnlHistogram panel;
        panel.show();
        ProbeFrame frame;
        panel.updateHistogram(&frame, 5.0, 5.0, nullptr);
        QCOMPARE(int(frame.calls.size()), 1);
        QCOMPARE(frame.calls[0].bins, 2048);
        QCOMPARE(frame.calls[0].min, 5.0);
        QCOMPARE(frame.calls[0].max, 6.0);
        QVERIFY(frame.calls[0].region == nullptr);
        QCOMPARE(panel.plot()->minX(), 5.0);
        QCOMPARE(panel.plot()->maxX(), 6.0);
        QPlotLine* line = onlyLine(panel);
        QVERIFY(line);
        QCOMPARE(line->points.size(), std::size_t(2048));
        QCOMPARE(line->points[1].x, 5.0 + 1.0 / 2048);
        QCOMPARE(line->points[2047].x, 6.0 - 1.0 / 2048);
    }

    // The X axis is the displayed range exactly, Y follows the counts, and every
    // update replaces the line.
    void plotsTheBinsOverTheRange()
    {
        PnlHistogram panel;
        panel.show();
        ProbeFrame frame;
        const OneRect rect(QRect(3, 4, 10, 20));
        const ov::Region region = rect.region();
        for (int round = 0; round < 2; ++round) {
            const double min = round == 0 ? -10.0 : 100.0;
            const double max = round == 0 ? 30.0 : 612.0;
            panel.updateHistogram(&frame, min, max, &region);
            QCOMPARE(int(frame.calls.size()), round + 1);
            QCOMPARE(frame.calls.back().bins, 2048);
            QCOMPARE(frame.calls.back().region, &region);
            QCOMPARE(frame.calls.back().min, min);
            QCOMPARE(frame.calls.back().max, max);

            QPlot* plot = panel.plot();
            QCOMPARE(plot->minX(), min);
            QCOMPARE(plot->maxX(), max);
            QVERIFY(!plot->autoRangeX());
            QVERIFY(plot->autoRangeY());
            QCOMPARE(plot->minY(), 0.0);
            QCOMPARE(plot->maxY(), 6.0);

            QPlotLine* line = onlyLine(panel);
            QVERIFY(line);
            QCOMPARE(line->drawStyle, QPlotLine::Lines);
            QCOMPARE(line->points.size(), std::size_t(2048));
            const double step = (max - min) / 2048;
            for (int i : {0, 1, 700, 2047}) {
                QCOMPARE(line->points[std::size_t(i)].x, min + i * step);
                QCOMPARE(line->points[std::size_t(i)].y, double(i % 7));
            }
            QCOMPARE(line->minX, min);
            QCOMPARE(line->maxX, min + 2047 * step);
            QCOMPARE(line->minY, 0.0);
            QCOMPARE(line->maxY, 6.0);
        }
    }

    void hiddenPanelDoesNothing()
    {
        PnlHistogram panel;
        ProbeFrame frame;
        panel.updateHistogram(&frame, 0.0, 10.0, nullptr);
        QVERIFY(frame.calls.empty());
        QVERIFY(panel.plot()->layer(0)->lines().isEmpty());
        QCOMPARE(panel.plot()->maxX(), 1.0);

        // Shown once, then hidden: the last histogram stays as it was.
        panel.show();
        panel.updateHistogram(&frame, 0.0, 10.0, nullptr);
        QCOMPARE(int(frame.calls.size()), 1);
        QPlotLine* line = onlyLine(panel);
        panel.hide();
        panel.updateHistogram(&frame, 50.0, 60.0, nullptr);
        QCOMPARE(int(frame.calls.size()), 1);
        QCOMPARE(onlyLine(panel), line);
        QCOMPARE(panel.plot()->maxX(), 10.0);
    }

    void nullFrameDoesNothing()
    {
        PnlHistogram panel;
        panel.show();
        ProbeFrame frame;
        panel.updateHistogram(&frame, 0.0, 10.0, nullptr);
        QPlotLine* line = onlyLine(panel);
        QVERIFY(line);
        panel.updateHistogram(nullptr, 20.0, 40.0, nullptr);
        QCOMPARE(onlyLine(panel), line);
        QCOMPARE(panel.plot()->minX(), 0.0);
        QCOMPARE(panel.plot()->maxX(), 10.0);
    }

    // On the host's frames the plotted bins add up to the pixels whose value lies in
    // the range, inside the region or in the whole frame.
    void binsCountPixelsInRange_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QRect>("rect");
        QTest::addColumn<double>("min");
        QTest::addColumn<double>("max");
        const struct
        {
            int type;
            const char* name;
        } types[] = {{ov::FrameInt16, "int16"}, {ov::FrameUInt32, "uint32"},
            {ov::FrameUInt64, "uint64"}, {ov::FrameDouble, "double"}};
        for (const auto& t : types) {
            QTest::addRow("%s whole", t.name) << t.type << QRect() << 100.0 << 700.0;
            QTest::addRow("%s region", t.name) << t.type << QRect(10, 5, 70, 60) << -50.0 << 420.0;
            QTest::addRow("%s one value", t.name) << t.type << QRect(0, 0, 50, 80) << 0.0 << 0.0;
        }
    }
    void binsCountPixelsInRange()
    {
        QFETCH(int, type);
        QFETCH(QRect, rect);
        QFETCH(double, min);
        QFETCH(double, max);
        const unsigned w = 100;
        const unsigned h = 80;
        const std::vector<double> values = patternValues(type, w, h);
        FrameRef frame(makeFrame(type, w, h, values));
        QVERIFY(frame.get());
        const OneRect one(rect.isNull() ? QRect(0, 0, 1, 1) : rect);
        const ov::Region region = one.region();

        PnlHistogram panel;
        panel.show();
        panel.updateHistogram(frame.get(), min, max, rect.isNull() ? nullptr : &region);

        // The range that was counted: a range of zero width grows by one.
        const double top = min == max ? max + 1.0 : max;
        std::size_t expected = 0;
        for (std::size_t i : indicesOf(w, h, rect))
            if (values[i] >= min && values[i] <= top)
                ++expected;
        QVERIFY(expected > 0);
        QPlotLine* line = onlyLine(panel);
        QVERIFY(line);
        QCOMPARE(sumOfY(*line), double(expected));
        QCOMPARE(panel.plot()->minX(), min);
        QCOMPARE(panel.plot()->maxX(), top);
        QCOMPARE(panel.plot()->maxY(), line->maxY);
    }

    // The panel at its size in the side column, with measured-looking frames; the
    // pictures go to the screenshots folder of the build.
    void picture_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("side");
        QTest::addColumn<double>("centre");
        QTest::addColumn<double>("spread");
        QTest::addColumn<double>("min");
        QTest::addColumn<double>("max");
        QTest::addColumn<bool>("factorX");
        QTest::addColumn<bool>("factorY");
        QTest::newRow("bell") << int(ov::FrameUInt32) << 256 << 500.0 << 90.0 << 100.0 << 900.0
                              << false << false;
        // Many pixels in few bins: the counts need a common factor.
        QTest::newRow("counts") << int(ov::FrameUInt32) << 512 << 500.0 << 9.0 << 400.0 << 600.0
                                << false << true;
        // Large values: the X labels need a common factor.
        QTest::newRow("values") << int(ov::FrameDouble) << 256 << 5e5 << 9e4 << 0.0 << 1e6 << true
                                << false;
        // Negative values around zero.
        QTest::newRow("signed") << int(ov::FrameInt16) << 256 << -20.0 << 40.0 << -150.0 << 120.0
                                << false << false;
    }
    void picture()
    {
        QFETCH(int, type);
        QFETCH(int, side);
        QFETCH(double, centre);
        QFETCH(double, spread);
        QFETCH(double, min);
        QFETCH(double, max);
        QFETCH(bool, factorX);
        QFETCH(bool, factorY);
        const unsigned n = unsigned(side);
        FrameRef frame(makeFrame(type, n, n, bellValues(n, n, centre, spread)));
        PnlHistogram panel;
        panel.resize(260, 150);
        panel.show();
        panel.updateHistogram(frame.get(), min, max, nullptr);
        QPlotLine* line = onlyLine(panel);
        QVERIFY(line);
        QVERIFY(line->maxY > 0.0);

        const QImage image = panel.grab().toImage();
        QCOMPARE(image.size(), QSize(260, 150));
        const QString name = QString("/histogram-panel-%1.png").arg(QTest::currentDataTag());
        QVERIFY(image.save(screenshotDir() + name));
        QPlot* plot = panel.plot();
        const QRect area(plot->mapTo(&panel, plot->plotArea().topLeft()), plot->plotArea().size());
        QVERIFY(countColour(image, area, line->color) > area.width() / 4);
        QCOMPARE(
            countColour(image, image.rect(), line->color), countColour(image, area, line->color));
        const QPlotTicks ticksX = plot->ticksX();
        const QPlotTicks ticksY = plot->ticksY();
        QVERIFY(ticksX.values.size() >= 3);
        QVERIFY(ticksY.values.size() >= 3);
        QCOMPARE(ticksX.hasFactor(), factorX);
        QCOMPARE(ticksY.hasFactor(), factorY);
    }
};

QTEST_MAIN(TstPnlHistogram)
#include "tst_pnlhistogram.moc"
