// Coordinate conversions of QMpxImage on a 7 x 3 frame, where a wrong index
// cannot hide behind a symmetry.
#include "orientations.h"
#include "qmpximage.h"

#include <QSignalSpy>
#include <QTest>

#include <vector>

namespace {

constexpr int dataW = 7;
constexpr int dataH = 3;
constexpr int scale = 10;

QRect edges(int l, int t, int r, int b)
{
    return QRect(QPoint(l, t), QPoint(r, b));
}

// Sets the orientation and a scale of 10 screen pixels per picture pixel.
void prepare(QMpxImage& image, const Orientation& o, const std::vector<double>& values)
{
    image.setMirrored(o.mirrored);
    image.setRotation(o.rotation);
    image.setFrameData(values.data(), dataW, dataH);
    image.resize(int(image.getImageWidth()) * scale, int(image.getImageHeight()) * scale);
    image.resizeEvent(nullptr);
}

std::vector<double> rampValues()
{
    std::vector<double> values(dataW * dataH);
    for (int i = 0; i < dataW * dataH; ++i)
        values[i] = 1000 + i;
    return values;
}

} // namespace

class TstMpxImageCoords : public QObject
{
    Q_OBJECT

private slots:
    void rotatedMirroredRects_data()
    {
        QTest::addColumn<int>("rotation");
        QTest::addColumn<bool>("mirrored");
        QTest::addColumn<QRect>("toData");
        QTest::addColumn<QRect>("toScreen");
        // Rectangle l=1, t=0, r=3, b=1 with W = 7, H = 3 (W-1 = 6, H-1 = 2).
        QTest::newRow("0") << 0 << false << edges(1, 0, 3, 1) << edges(1, 1, 3, 2);
        QTest::newRow("90") << 90 << false << edges(0, -1, 1, 1) << edges(1, 1, 2, 3);
        QTest::newRow("180") << 180 << false << edges(3, 1, 5, 2) << edges(3, 1, 5, 2);
        QTest::newRow("270") << 270 << false << edges(5, 1, 6, 3) << edges(0, 3, 1, 5);
        QTest::newRow("-90") << 90 << true << edges(5, -1, 6, 1) << edges(1, 3, 2, 5);
        QTest::newRow("-180") << 180 << true << edges(1, 1, 3, 2) << edges(1, 1, 3, 2);
        QTest::newRow("-270") << 270 << true << edges(0, 1, 1, 3) << edges(0, 1, 1, 3);
        QTest::newRow("-360") << 0 << true << edges(3, 0, 5, 1) << edges(3, 0, 5, 1);
    }

    void rotatedMirroredRects()
    {
        QFETCH(int, rotation);
        QFETCH(bool, mirrored);
        QFETCH(QRect, toData);
        QFETCH(QRect, toScreen);
        QMpxImage image;
        const auto values = rampValues();
        prepare(image, {rotation, mirrored, 0}, values);
        const QRect r = edges(1, 0, 3, 1);
        QCOMPARE(image.realRectToRectRotatedMirrored(r, false), toData);
        QCOMPARE(image.realRectToRectRotatedMirrored(r, true), toScreen);
    }

    void unknownAngleGivesNullRect()
    {
        QMpxImage image;
        const auto values = rampValues();
        image.setMirrored(false);
        image.setRotation(45);
        image.setFrameData(values.data(), dataW, dataH);
        image.resize(70, 30);
        image.resizeEvent(nullptr);
        QVERIFY(image.realRectToRectRotatedMirrored(edges(1, 0, 3, 1), false).isNull());
        QVERIFY(image.realRectToRectRotatedMirrored(edges(1, 0, 3, 1), true).isNull());
        // Any other angle reads points as they are.
        QCOMPARE(image.screenPointToRealPoint(QPointF(25, 15)), QPointF(2, 1));
    }

    void screenPointTable_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < 8; ++i)
            QTest::newRow(qPrintable(QString::number(orientations[i].angle))) << i;
    }

    void screenPointTable()
    {
        QFETCH(int, index);
        const Orientation& o = orientations[index];
        QMpxImage image;
        const auto values = rampValues();
        prepare(image, o, values);
        image.rawRgb = true;
        image.redraw();
        const int w = int(image.getImageWidth());
        const int h = int(image.getImageHeight());
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                QPointF expected;
                switch (o.angle) {
                case 0:
                    expected = QPointF(x, y);
                    break;
                case 90:
                    expected = QPointF(y, w - x - 1);
                    break;
                case 180:
                    expected = QPointF(w - x - 1, h - y - 1);
                    break;
                case 270:
                    expected = QPointF(h - y - 1, x);
                    break;
                case -90:
                    expected = QPointF(h - y - 1, w - x - 1);
                    break;
                case -180:
                    expected = QPointF(x, h - y - 1);
                    break;
                case -270:
                    expected = QPointF(y, x);
                    break;
                case -360:
                    expected = QPointF(w - x - 1, y);
                    break;
                }
                const QPointF got
                    = image.screenPointToRealPoint(QPointF(x * scale + 9.9, y * scale + 0.1));
                QCOMPARE(got, expected);
                // The data position under the mouse is the pixel that was painted there.
                const int dataIndex = int(got.y()) * dataW + int(got.x());
                QCOMPARE(image.getImage().pixel(x, y) & 0xFFFFFFu, unsigned(1000 + dataIndex));
            }
        }
    }

    void screenAndRealRects()
    {
        QMpxImage image;
        const auto values = rampValues();
        prepare(image, orientations[5], values);
        QCOMPARE(image.getScaleX(), 10.0);
        QCOMPARE(image.realRectToScreenRect(QRect(1, 2, 3, 1)), QRect(10, 20, 30, 10));
        QCOMPARE(image.screenRectToRealRect(QRect(14, 6, 21, 14)), QRect(1, 1, 2, 1));
        // Normalised, then clamped to the picture.
        QCOMPARE(image.screenRectToRealRect(QRect(QPoint(80, 40), QPoint(50, 5)).normalized()),
            edges(5, 1, 6, 2));
        QCOMPARE(image.screenRectToRealRect(QRect(-30, -30, 200, 200)), edges(0, 0, 6, 2));

        // A scale that is not a whole number rounds each edge to the nearest pixel.
        image.resize(91, 40);
        image.resizeEvent(nullptr);
        QCOMPARE(image.getScaleX(), 13.0);
        QCOMPARE(image.getScaleY(), 40.0 / 3.0);
        QCOMPARE(image.realRectToScreenRect(QRect(1, 1, 2, 1)), QRect(13, 13, 26, 13));
        QCOMPARE(image.screenRectToRealRect(QRect(13, 14, 26, 26)), QRect(1, 1, 2, 2));
    }

    void createImageSwapsAndReuses()
    {
        QMpxImage image;
        const auto values = rampValues();
        image.setFrameData(values.data(), dataW, dataH);
        image.setMirrored(true);
        image.setRotation(90);
        QCOMPARE(image.getImageWidth(), 3u);
        QCOMPARE(image.getImageHeight(), 7u);
        QCOMPARE(image.getImage().size(), QSize(3, 7));
        const uchar* bits = image.getImage().constBits();
        // Another quarter turn has the same size: the picture is reused.
        image.setRotation(270);
        QCOMPARE(image.getImage().constBits(), bits);
        image.createImage(7, 3);
        QCOMPARE(image.getImage().constBits(), bits);
        image.setRotation(180);
        QCOMPARE(image.getImage().size(), QSize(7, 3));
        QCOMPARE(image.sizeHint(), QSize(7, 3));
        // Without data the picture is empty.
        QMpxImage empty;
        empty.setRotation(90);
        QVERIFY(empty.getImage().isNull());
    }

    void resizeScalesAndReportsVisibleData()
    {
        QMpxImage image;
        const auto values = rampValues();
        prepare(image, orientations[5], values);
        QSignalSpy zoom(&image, &QMpxImage::zoomRectChanged);
        image.resize(140, 60);
        image.resizeEvent(nullptr);
        QCOMPARE(image.getScaleX(), 20.0);
        QCOMPARE(image.getScaleY(), 20.0);
        // Without a scroll area the widget is its own viewport: everything is visible.
        QCOMPARE(image.currentVisibleRect(), QRect(0, 0, 7, 3));
        QCOMPARE(zoom.count(), 1);
        QCOMPARE(zoom.last().at(0).toRect(), edges(0, 0, 6, 2));
        // An empty picture gives scale 1.
        QMpxImage empty;
        empty.resize(50, 50);
        empty.resizeEvent(nullptr);
        QCOMPARE(empty.getScaleX(), 1.0);
    }

    void selectionRectsFollowTheScale()
    {
        QMpxImage image;
        const auto values = rampValues();
        prepare(image, orientations[5], values);
        QSignalSpy changed(&image, &QMpxImage::selectionRectsChanged);
        image.setSelectionRects({edges(1, 0, 2, 0)});
        QCOMPARE(changed.count(), 0);
        // Row 0 of the data is the bottom row of the picture at -180.
        QCOMPARE(image.getSelectScreenRects().value(0), QRect(10, 20, 20, 10));
        image.resize(140, 60);
        image.resizeEvent(nullptr);
        QCOMPARE(image.getSelectScreenRects().value(0), QRect(20, 40, 40, 20));
        image.clearSelectRects();
        QCOMPARE(changed.count(), 1);
        QVERIFY(changed.last().at(0).value<QList<QRect>>().isEmpty());
        QVERIFY(image.getSelectScreenRects().isEmpty());
        image.clearSelectRects(); // already empty: nothing is emitted
        QCOMPARE(changed.count(), 1);
    }
};

QTEST_MAIN(TstMpxImageCoords)
#include "tst_mpximagecoords.moc"
