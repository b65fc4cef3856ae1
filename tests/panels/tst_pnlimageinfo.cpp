// The image info panel: its table, the pixel under the mouse, and the statistics of a
// frame or of a selected region, computed only while the panel is shown.
#include "pnlimageinfo.h"
#include "rangetestframes.h"

#include <nulldevice.h>

#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QTest>

#include <limits>

using PluginDevControl::PnlImageInfo;

namespace {

// A frame that counts the statistics it is asked for.
class CountingFrame final : public testdev::NullMpxFrame
{
public:
    int incRef() override { return 1; }
    int decRef() override { return 1; }
    unsigned width() const override { return 4; }
    unsigned height() const override { return 4; }
    double minValue(const ov::Region*) override { return ++asked, 0.0; }
    double maxValue(const ov::Region*) override { return ++asked, 0.0; }
    double regionMean(const ov::Region*) override { return ++asked, 0.0; }
    double regionTotal(const ov::Region*) override { return ++asked, 0.0; }
    int nonZeroCount(const ov::Region*) override { return ++asked, 0; }
    int pixelCountInRegion(const ov::Region*) override { return ++asked, 0; }
    int asked = 0;
};

QStringList column(const QTableWidget* table, int col)
{
    QStringList texts;
    for (int row = 0; row < table->rowCount(); ++row)
        texts << table->item(row, col)->text();
    return texts;
}

} // namespace

class TestPnlImageInfo : public QObject
{
    Q_OBJECT

private slots:
    void tableStartsWithNamesAndPosition()
    {
        PnlImageInfo panel;
        QTableWidget* table = panel.imageInfo();
        QCOMPARE(table->objectName(), QStringLiteral("tbImageInfo"));
        QCOMPARE(table->columnCount(), 2);
        QCOMPARE(table->rowCount(), 8);
        QVERIFY(table->horizontalHeader()->stretchLastSection());
        QCOMPARE(column(table, 0),
            QStringList({"[X,Y]:", "Count:", "Min:", "Max:", "Pixel Count:", "Total:", "Mean:",
                "Empty Pixels:"}));
        QCOMPARE(column(table, 1), QStringList({"[10,10]", "", "", "", "", "", "", ""}));
        auto* title = panel.findChild<QLabel*>(QStringLiteral("lImgInfo"));
        QVERIFY(title);
        QCOMPARE(title->text(), QStringLiteral(" Image Info"));
        QVERIFY(panel.findChild<QWidget*>(QStringLiteral("pnlImgInfo")));
    }

    void coordinatesAndValueOfThePixelUnderTheMouse()
    {
        PnlImageInfo panel;
        panel.updateCoordinates(12, 250, 1234567.0);
        QCOMPARE(panel.value(PnlImageInfo::RowPosition), QStringLiteral("[12, 250]"));
        // Six significant digits.
        QCOMPARE(panel.value(PnlImageInfo::RowCount), QStringLiteral("1.23457e+06"));
        panel.updateCoordinates(0, 0, 0.125);
        QCOMPARE(panel.value(PnlImageInfo::RowCount), QStringLiteral("0.125"));
        panel.updateCoordinates(3, 4, std::numeric_limits<double>::quiet_NaN());
        QCOMPARE(panel.value(PnlImageInfo::RowCount), QStringLiteral("nan"));
    }

    void leavingThePictureClearsThePosition()
    {
        PnlImageInfo panel;
        panel.updateCoordinates(7, 9, 42.0);
        panel.onMpxFrameMouseLeave();
        QCOMPARE(panel.value(PnlImageInfo::RowPosition), QStringLiteral("[-, -]"));
        QCOMPARE(panel.value(PnlImageInfo::RowCount), QStringLiteral("0"));
    }

    void statisticsOfTheWholeFrame_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("int16") << int(ov::FrameInt16);
        QTest::newRow("uint32") << int(ov::FrameUInt32);
        QTest::newRow("uint64") << int(ov::FrameUInt64);
        QTest::newRow("double") << int(ov::FrameDouble);
    }

    void statisticsOfTheWholeFrame()
    {
        QFETCH(int, type);
        PnlImageInfo panel;
        panel.show();
        // 4 x 3: six empty pixels; values 1, 2, 3, 10, 20, 1000.
        rangetest::FrameRef f(
            rangetest::makeFrame(type, 4, 3, {0, 1, 0, 2, 3, 0, 0, 10, 20, 0, 1000, 0}));
        panel.updateStatistics(f.get(), nullptr);
        QCOMPARE(panel.value(PnlImageInfo::RowMin), QStringLiteral("0"));
        QCOMPARE(panel.value(PnlImageInfo::RowMax), QStringLiteral("1000"));
        QCOMPARE(panel.value(PnlImageInfo::RowPixelCount), QStringLiteral("6"));
        QCOMPARE(panel.value(PnlImageInfo::RowTotal), QStringLiteral("1036"));
        QCOMPARE(panel.value(PnlImageInfo::RowMean), QStringLiteral("86.3333"));
        QCOMPARE(panel.value(PnlImageInfo::RowEmptyPixels), QStringLiteral("6"));
    }

    void emptyPixelsCountWithinTheSelectionOnly()
    {
        PnlImageInfo panel;
        panel.show();
        rangetest::FrameRef f(
            rangetest::makeFrame(ov::FrameUInt32, 4, 3, {0, 1, 0, 2, 3, 0, 0, 10, 20, 0, 1000, 0}));
        // The 2 x 2 block at (1, 1): pixels 0, 0, 0, 1000.
        const ov::RegionRect block {1, 1, 2, 2};
        const ov::Region region {&block, 1};
        panel.updateStatistics(f.get(), &region);
        QCOMPARE(panel.value(PnlImageInfo::RowPixelCount), QStringLiteral("1"));
        QCOMPARE(panel.value(PnlImageInfo::RowEmptyPixels), QStringLiteral("3"));
        QCOMPARE(panel.value(PnlImageInfo::RowMin), QStringLiteral("0"));
        QCOMPARE(panel.value(PnlImageInfo::RowMax), QStringLiteral("1000"));
        QCOMPARE(panel.value(PnlImageInfo::RowTotal), QStringLiteral("1000"));
        QCOMPARE(panel.value(PnlImageInfo::RowMean), QStringLiteral("250"));
        // The rectangle is counted whole: a selection reaching past the frame's edge
        // (5 x 7 at column 3, where the frame has 2, 10 and 0) has 35 - 2 empty pixels.
        const ov::RegionRect edge {3, 0, 5, 7};
        const ov::Region past {&edge, 1};
        panel.updateStatistics(f.get(), &past);
        QCOMPARE(panel.value(PnlImageInfo::RowPixelCount), QStringLiteral("2"));
        QCOMPARE(panel.value(PnlImageInfo::RowEmptyPixels), QStringLiteral("33"));
    }

    void nanPixelsAreNotEmpty()
    {
        PnlImageInfo panel;
        panel.show();
        const double nan = std::numeric_limits<double>::quiet_NaN();
        rangetest::FrameRef f(rangetest::makeFrame(ov::FrameDouble, 2, 2, {nan, 0, 4, 0}));
        panel.updateStatistics(f.get(), nullptr);
        QCOMPARE(panel.value(PnlImageInfo::RowPixelCount), QStringLiteral("2"));
        QCOMPARE(panel.value(PnlImageInfo::RowEmptyPixels), QStringLiteral("2"));
        QCOMPARE(panel.value(PnlImageInfo::RowMax), QStringLiteral("4"));
    }

    void hiddenPanelComputesNothing()
    {
        PnlImageInfo panel;
        CountingFrame frame;
        panel.updateStatistics(&frame, nullptr);
        QCOMPARE(frame.asked, 0);
        QCOMPARE(panel.value(PnlImageInfo::RowMin), QString());
        panel.show();
        panel.updateStatistics(&frame, nullptr);
        QVERIFY(frame.asked > 0);
        QCOMPARE(panel.value(PnlImageInfo::RowMin), QStringLiteral("0"));
        // No frame: nothing happens.
        panel.updateStatistics(nullptr, nullptr);
        QCOMPARE(panel.value(PnlImageInfo::RowMin), QStringLiteral("0"));
    }
};

QTEST_MAIN(TestPnlImageInfo)
#include "tst_pnlimageinfo.moc"
