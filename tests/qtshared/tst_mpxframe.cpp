// The frame widget: data, range, maps, orientation, axes, colour bar, aspect
// ratio and export to a file.
#include "doubletostringnice.h"
#include "shownframe.h"

#include <QDir>
#include <QLabel>
#include <QPainter>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <cmath>

namespace {

QRect edges(int l, int t, int r, int b)
{
    return QRect(QPoint(l, t), QPoint(r, b));
}

unsigned int gray(unsigned int v)
{
    return 0xFF000000u | (v << 16) | (v << 8) | v;
}

} // namespace

class TstMpxFrame : public QObject
{
    Q_OBJECT

private slots:
    void convertsEachPixelType()
    {
        QMpxFrame frame;
        short s[] = {-5, 32767, 0, -32768};
        frame.setData(s, 2, 2);
        QCOMPARE(frame.image->getData()[0], -5.0);
        QCOMPARE(frame.image->getData()[3], -32768.0);
        unsigned int u[] = {4000000000u, 1, 2, 3};
        frame.setData(u, 2, 2);
        QCOMPARE(frame.image->getData()[0], 4000000000.0);
        unsigned long l[] = {1ul << 40, ~0ul, 7, 8};
        frame.setData(l, 2, 2);
        QCOMPARE(frame.image->getData()[0], 1099511627776.0);
        QCOMPARE(frame.image->getData()[1], 18446744073709551615.0);
        double d[] = {0.25, -1e300, 3, 4, 5, 6};
        frame.setData(d, 3, 2);
        QCOMPARE(frame.image->getData()[0], 0.25);
        QCOMPARE(frame.image->getData()[1], -1e300);
        QCOMPARE(frame.image->getDataWidth(), 3u);
        QCOMPARE(frame.image->getDataHeight(), 2u);
        QCOMPARE(frame.image->getImage().size(), QSize(3, 2));
    }

    void reusesBufferWhileSizeStays()
    {
        QMpxFrame frame;
        std::vector<double> a(64 * 32, 1.0);
        frame.setData(a.data(), 64, 32);
        const double* buffer = frame.image->getData();
        const uchar* picture = frame.image->getImage().constBits();
        std::vector<double> b(64 * 32, 2.0);
        frame.setData(b.data(), 64, 32);
        QCOMPARE(frame.image->getData(), buffer);
        QCOMPARE(frame.image->getImage().constBits(), picture);
        QCOMPARE(frame.image->getData()[100], 2.0);
        // The caller's buffer may go away at once.
        b.assign(b.size(), 9.0);
        QCOMPARE(frame.image->getData()[100], 2.0);
        std::vector<double> c(10 * 10, 3.0);
        frame.setData(c.data(), 10, 10);
        QCOMPARE(frame.image->getDataWidth(), 10u);
        QCOMPARE(frame.image->getData()[99], 3.0);
    }

    void nullPixelsRepaintOldData()
    {
        QMpxFrame frame;
        double d[] = {10, 20, 30};
        frame.setData(d, 3, 1);
        frame.setRange(0, 255);
        frame.setRotation(180);
        frame.setMirrored(true); // picture in data order: row 0 on top, column 0 left
        QCOMPARE(frame.image->getImage().pixel(0, 0), gray(10));
        frame.image->rangeMax = 2550; // not yet drawn
        QCOMPARE(frame.image->getImage().pixel(0, 0), gray(10));
        frame.setData<double>(nullptr, 3, 1);
        QCOMPARE(frame.image->getImage().pixel(1, 0), gray(2));
        QCOMPARE(frame.image->getData()[2], 30.0);
        frame.setData<double>(nullptr, 5, 1); // another size: still the old data
        QCOMPARE(frame.image->getDataWidth(), 3u);
    }

    void newSizeDropsMask()
    {
        QMpxFrame frame;
        std::vector<double> d(7 * 3, 1.0);
        const std::vector<unsigned char> mask(7 * 3, 0);
        frame.setData(d.data(), 7, 3);
        frame.image->setMask(mask.data(), 7, 3);
        frame.setData(d.data(), 7, 3);
        QVERIFY(frame.image->mask != nullptr);
        std::vector<double> other(5 * 3, 1.0);
        frame.setData(other.data(), 5, 3);
        QVERIFY(frame.image->mask == nullptr);
        QCOMPARE(frame.image->getMaskWidth(), 7u); // the recorded size stays
    }

    void rangeReachesPictureAndBar()
    {
        QMpxFrame frame;
        double d[] = {50, 100};
        frame.setData(d, 2, 1);
        frame.setRotation(180);
        frame.setMirrored(true);
        frame.setRange(0, 100);
        QCOMPARE(frame.image->rangeMin, 0.0);
        QCOMPARE(frame.image->rangeMax, 100.0);
        QCOMPARE(frame.getColorBar().getRangeMax(), 100.0);
        QCOMPARE(frame.image->getImage().pixel(0, 0), gray(128)); // 127.5 rounded
        QCOMPARE(frame.image->getImage().pixel(1, 0), gray(255));
    }

    void colorMapsAndCustomMap()
    {
        QMpxFrame frame;
        double d[] = {0, 255};
        frame.setData(d, 2, 1);
        frame.setRotation(180);
        frame.setMirrored(true);
        frame.setRange(0, 255);
        frame.setColorMap(ColorMap::Jet);
        QCOMPARE(frame.image->getColorMap(), frame.image->getOwnColorMap());
        QCOMPARE(frame.image->getColorMap()->getDefaultColorMap(), ColorMap::Jet);
        QCOMPARE(frame.image->getImage().pixel(0, 0), 0xFF000082u);
        QCOMPARE(frame.getColorBar().getColorMap(), frame.image->getColorMap());
        QCOMPARE(frame.getColorBar().getBarImage().size(), QSize(256, 15));
        QCOMPARE(frame.getColorBar().getBarImage().pixel(0, 7), 0xFF000082u);

        auto* tracking = new TrackingColorMap;
        frame.setCustomColorMap(tracking);
        QCOMPARE(frame.image->getColorMap(), static_cast<ColorMap*>(tracking));
        QCOMPARE(frame.getColorBar().getBarImage().width(), 768);
        QCOMPARE(frame.image->getImage().pixel(0, 0), 0xFF000000u);
        frame.setCustomColorMap(new TrackingColorMap); // the first one is deleted
        frame.setColorMap(ColorMap::Hot);              // and so is the second
        QCOMPARE(frame.image->getColorMap(), frame.image->getOwnColorMap());
        QCOMPARE(frame.getColorBar().getBarImage().width(), 768);
        QCOMPARE(frame.image->getImage().pixel(1, 0), 0xFFFFFFFFu);
    }

    void rotationIsOffsetByHalfATurn()
    {
        QMpxFrame frame;
        std::vector<double> d(7 * 3, 1.0);
        frame.setData(d.data(), 7, 3);
        QCOMPARE(frame.getRotation(), 180);
        frame.setRotation(0);
        QCOMPARE(frame.getRotation(), 180);
        QCOMPARE(frame.image->getRotation(), 180);
        QCOMPARE(frame.getAxisX().title(), QString("X (column number)"));
        QCOMPARE(frame.getAxisY().title(), QString("Y"));
        frame.setRotation(90);
        QCOMPARE(frame.getRotation(), 270);
        QCOMPARE(frame.image->getRotation(), 270);
        QCOMPARE(frame.image->getImage().size(), QSize(3, 7));
        QCOMPARE(frame.getAxisX().title(), QString("Y (row number)"));
        QCOMPARE(frame.getAxisY().title(), QString("X"));
        frame.setRotation(180);
        QCOMPARE(frame.getRotation(), 0);
        QCOMPARE(frame.getAxisX().title(), QString("X (column number)"));
        frame.setRotation(270);
        QCOMPARE(frame.getRotation(), 90);
        QCOMPARE(frame.getAxisY().title(), QString("X"));
    }

    void mirrorIsInverted()
    {
        QMpxFrame frame;
        QVERIFY(frame.isMirrored());
        QVERIFY(frame.image->isMirrored());
        frame.setMirrored(false);
        QVERIFY(frame.image->isMirrored()); // the default state
        frame.setMirrored(true);
        QVERIFY(!frame.image->isMirrored());
        QVERIFY(!frame.isMirrored());
    }

    void axesFollowOrientation_data()
    {
        QTest::addColumn<int>("userRotation");
        QTest::addColumn<bool>("userMirror");
        QTest::addColumn<QStringList>("labels"); // X min, X max, Y min, Y max
        // Zoom rectangle l=1, t=0, r=5, b=2.
        QTest::newRow("stored 0, mirrored") << 180 << false << QStringList {"5", "1", "2", "0"};
        QTest::newRow("stored 0") << 180 << true << QStringList {"1", "5", "2", "0"};
        QTest::newRow("stored 90, mirrored") << 270 << false << QStringList {"2", "0", "1", "5"};
        QTest::newRow("stored 90") << 270 << true << QStringList {"2", "0", "5", "1"};
        QTest::newRow("stored 180, mirrored") << 0 << false << QStringList {"1", "5", "0", "2"};
        QTest::newRow("stored 180") << 0 << true << QStringList {"5", "1", "0", "2"};
        QTest::newRow("stored 270, mirrored") << 90 << false << QStringList {"0", "2", "5", "1"};
        QTest::newRow("stored 270") << 90 << true << QStringList {"0", "2", "1", "5"};
    }

    void axesFollowOrientation()
    {
        QFETCH(int, userRotation);
        QFETCH(bool, userMirror);
        QFETCH(QStringList, labels);
        QMpxFrame frame;
        std::vector<double> d(7 * 3, 1.0);
        frame.setData(d.data(), 7, 3);
        frame.setRotation(userRotation);
        frame.setMirrored(userMirror);
        QSignalSpy zoom(&frame, &QMpxFrame::zoomRectChanged);
        frame.onZoomRectChanged(edges(1, 0, 5, 2));
        QCOMPARE(zoom.count(), 1);
        QCOMPARE(frame.getZoomRect(), edges(1, 0, 5, 2));
        QCOMPARE(frame.getAxisX().minText(), labels[0]);
        QCOMPARE(frame.getAxisX().maxText(), labels[1]);
        QCOMPARE(frame.getAxisY().minText(), labels[2]);
        QCOMPARE(frame.getAxisY().maxText(), labels[3]);
    }

    void invalidZoomRectIgnored()
    {
        QMpxFrame frame;
        frame.onZoomRectChanged(edges(1, 0, 5, 2));
        QSignalSpy zoom(&frame, &QMpxFrame::zoomRectChanged);
        frame.onZoomRectChanged(QRect(-1, 0, 3, 3));
        frame.onZoomRectChanged(QRect(0, -2, 3, 3));
        frame.onZoomRectChanged(edges(5, 0, 2, 2)); // right - left = -3
        QCOMPARE(zoom.count(), 0);
        QCOMPARE(frame.getZoomRect(), edges(1, 0, 5, 2));
        QCOMPARE(frame.getAxisX().minText(), QString("1"));
        frame.onZoomRectChanged(QRect(0, 0, 0, 0)); // right - left = -1 is accepted
        QCOMPARE(zoom.count(), 1);
    }

    void aspectRatioSpacers()
    {
        ShownFrame f;
        std::vector<double> wide(100 * 20, 1.0);
        f.frame.setData(wide.data(), 100, 20);
        QVERIFY(f.show());
        f.frame.keepAspectRatio(true);
        QCoreApplication::processEvents();
        QVERIFY(f.frame.getSpacerTop()->minimumHeight() > 0);
        QCOMPARE(
            f.frame.getSpacerBottom()->minimumHeight(), f.frame.getSpacerTop()->minimumHeight());
        QCOMPARE(f.frame.getSpacerLeft()->minimumWidth(), 0);
        const QSize area = f.frame.getScrollArea().size();
        QVERIFY2(std::abs(double(area.width()) / area.height() - 5.0) < 0.1,
            qPrintable(QString("%1x%2").arg(area.width()).arg(area.height())));

        // A tall frame is limited by the height: the side spacers centre it.
        std::vector<double> tall(10 * 40, 1.0);
        f.frame.setData(tall.data(), 10, 40);
        QCoreApplication::processEvents();
        QVERIFY(f.frame.getSpacerLeft()->minimumWidth() > 0);
        QCOMPARE(f.frame.getSpacerRight()->minimumWidth(), f.frame.getSpacerLeft()->minimumWidth());
        QCOMPARE(f.frame.getSpacerTop()->minimumHeight(), 0);
        const QSize tallArea = f.frame.getScrollArea().size();
        QVERIFY2(std::abs(double(tallArea.width()) / tallArea.height() - 0.25) < 0.02,
            qPrintable(QString("%1x%2").arg(tallArea.width()).arg(tallArea.height())));

        // While zoomed, resizing the frame leaves the spacers alone.
        const int side = f.frame.getSpacerLeft()->minimumWidth();
        f.frame.setZoomRect(QRect(2, 2, 4, 4));
        QCoreApplication::processEvents();
        const int zoomedSide = f.frame.getSpacerLeft()->minimumWidth();
        f.frame.resize(f.frame.width() + 120, f.frame.height());
        QCoreApplication::processEvents();
        QCOMPARE(f.frame.getSpacerLeft()->minimumWidth(), zoomedSide);
        // Back at the whole picture a resize fits it again.
        f.frame.zoomOut();
        f.frame.resize(f.frame.width() - 120, f.frame.height());
        QCoreApplication::processEvents();
        QVERIFY(f.frame.getSpacerLeft()->minimumWidth() > 0);
        const QSize refitted = f.frame.getScrollArea().size();
        QVERIFY(std::abs(double(refitted.width()) / refitted.height() - 0.25) < 0.02);
        QVERIFY(side > 0);

        // Without aspect the spacers go to 0 and the picture fills the frame at once.
        f.frame.keepAspectRatio(false);
        QCOMPARE(f.frame.getSpacerLeft()->minimumWidth(), 0);
        QCOMPARE(f.frame.getSpacerRight()->minimumWidth(), 0);
        QCOMPARE(f.frame.getSpacerTop()->minimumHeight(), 0);
        QCOMPARE(f.frame.getSpacerBottom()->minimumHeight(), 0);
        QCOMPARE(f.frame.getScrollArea().width(), f.frame.width() - f.frame.getAxisY().width());
    }

    void axisWidget()
    {
        QMpxAxis horizontal(nullptr, QMpxAxis::Horizontal);
        QCOMPARE(horizontal.title(), QString("X (column number)"));
        QCOMPARE(horizontal.minText(), QString("0"));
        QCOMPARE(horizontal.maxText(), QString("256"));
        horizontal.setRange(1, 512);
        QCOMPARE(horizontal.minText(), QString("0"));
        QCOMPARE(horizontal.maxText(), QString("511"));
        horizontal.resize(300, 20);
        const QFontMetrics metrics(horizontal.font());
        QCOMPARE(horizontal.getAxisSize(), QSize(300, metrics.lineSpacing() + 5));

        QMpxAxis vertical(nullptr, QMpxAxis::Vertical);
        QCOMPARE(vertical.title(), QString("Y"));
        QCOMPARE(vertical.minimumWidth(), 30);
        vertical.setRange(1, 1000);
        vertical.resize(40, 200);
        // Exported, the axis counts from 1: the widest text is "1000".
        QCOMPARE(vertical.getAxisSize(), QSize(metrics.horizontalAdvance("1000") + 5, 200));

        QImage canvas(300, 40, QImage::Format_RGB32);
        canvas.fill(Qt::white);
        QPainter painter(&canvas);
        horizontal.paint(&painter, 0, 0, 300, 40);
        painter.end();
        int dark = 0;
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 300; ++x)
                dark += qGray(canvas.pixel(x, y)) < 128;
        QVERIFY(dark > 30);
    }

    void colorBarWidget()
    {
        QMpxColorBar bar;
        QCOMPARE(bar.sizeHint(), QSize(100, 35));
        QCOMPARE(bar.minimumHeight(), 30);
        QCOMPARE(QMpxColorBar::COLORBAR_WIDTH, 15);
        QCOMPARE(bar.getColorbarHeight(), QFontMetrics(bar.font()).lineSpacing() + 15);
        ColorMap hot(ColorMap::Hot);
        bar.setColorMap(&hot);
        QCOMPARE(bar.getBarImage().size(), QSize(768, 15));
        for (int x : {0, 300, 767})
            QCOMPARE(bar.getBarImage().pixel(x, 14), hot.getColors()[x]);
        bar.setRange(0, 100);

        QImage canvas(400, 60, QImage::Format_RGB32);
        canvas.fill(Qt::white);
        QPainter painter(&canvas);
        bar.paint(&painter, 0, 0, 400);
        painter.end();
        // The strip is scaled to the width: the middle shows the middle of the map.
        QCOMPARE(canvas.pixel(200, 5), hot.getColors()[384] | 0xFF000000u);
        const QRgb left = canvas.pixel(2, 5); // about entry 4 of the map
        QVERIFY(
            left == hot.getColors()[3] || left == hot.getColors()[4] || left == hot.getColors()[5]);
        QCOMPARE(canvas.pixel(1, 15), qRgb(0, 0, 0));   // base line
        QCOMPARE(canvas.pixel(100, 12), qRgb(0, 0, 0)); // tick at a quarter
        QCOMPARE(canvas.pixel(399, 12), qRgb(0, 0, 0)); // last tick
        int dark = 0;
        for (int y = 17; y < 60; ++y)
            for (int x = 0; x < 400; ++x)
                dark += qGray(canvas.pixel(x, y)) < 128;
        QVERIFY(dark > 30); // labels

        QMpxColorBar empty;
        QImage untouched(100, 40, QImage::Format_RGB32);
        untouched.fill(Qt::white);
        QPainter p2(&untouched);
        empty.paint(&p2, 0, 0, 100);
        p2.end();
        QCOMPARE(untouched.pixel(50, 5), qRgb(255, 255, 255));
    }

    void niceNumbers()
    {
        QCOMPARE(doubleToStringNice(255), QString("255"));
        QCOMPARE(doubleToStringNice(0.1), QString("0.1"));
        QCOMPARE(doubleToStringNice(-1), QString("-1"));
        QCOMPARE(doubleToStringNice(123456), QString("1.2346e+05"));
        QCOMPARE(doubleToStringNice(3.14159265), QString("3.1416"));
        QCOMPARE(doubleToStringNice(1e-7), QString("1e-07"));
    }

    void saveSizes_data()
    {
        QTest::addColumn<bool>("bar");
        QTest::addColumn<bool>("axisX");
        QTest::addColumn<bool>("axisY");
        for (int m = 0; m < 8; ++m)
            QTest::newRow(
                qPrintable(QString("bar%1 x%2 y%3").arg(m & 1).arg((m >> 1) & 1).arg(m >> 2)))
                << bool(m & 1) << bool(m & 2) << bool(m & 4);
    }

    void saveSizes()
    {
        QFETCH(bool, bar);
        QFETCH(bool, axisX);
        QFETCH(bool, axisY);
        ShownFrame f;
        QVERIFY(f.show());
        QTemporaryDir dir;
        const QString file = dir.filePath("frame.png");
        QVERIFY(f.frame.saveToFile(
            file.toLocal8Bit().constData(), 200, 150, QMpxFrame::PictureSize, bar, axisX, axisY));
        const int barH = f.frame.getColorBar().getColorbarHeight();
        const int axisH = f.frame.getAxisX().height();
        const int axisW = f.frame.getAxisY().width();
        QVERIFY(axisH > 0 && axisW >= 30);
        int extraW = axisY ? axisW : 0;
        int extraH = 0;
        if (bar && !axisX)
            extraH = barH + 4;
        else if (bar)
            extraH = barH + axisH;
        else if (axisX)
            extraH = axisH;
        const QImage saved(file);
        QCOMPARE(saved.size(), QSize(200 + extraW + 2, 150 + extraH + 2));

        // With a file size the given size is the file's.
        QVERIFY(f.frame.saveToFile(
            file.toLocal8Bit().constData(), 321, 123, QMpxFrame::FileSize, bar, axisX, axisY));
        QCOMPARE(QImage(file).size(), QSize(321, 123));
    }

    void savedPictureShowsFrameColours()
    {
        ShownFrame f;
        // Left half dark, right half bright, bottom-right quarter masked... in Jet.
        for (unsigned int r = 0; r < 30; ++r)
            for (unsigned int c = 0; c < 40; ++c)
                f.values[r * 40 + c] = c < 20 ? 0.0 : 255.0;
        f.frame.setData(f.values.data(), 40, 30);
        f.frame.setColorMap(ColorMap::Jet);
        QVERIFY(f.show());
        QTemporaryDir dir;
        const QString file = dir.filePath("frame.png");

        // All flags off: the picture fills the file.
        QVERIFY(f.frame.saveToFile(
            file.toLocal8Bit().constData(), 400, 300, QMpxFrame::PictureSize, false, false, false));
        QImage saved(file);
        QCOMPARE(saved.size(), QSize(402, 302));
        QCOMPARE(saved.pixel(0, 0), 0xFF000082u);
        QCOMPARE(saved.pixel(100, 150), 0xFF000082u);
        QCOMPARE(saved.pixel(300, 150), 0xFF830000u);
        QCOMPARE(saved.pixel(401, 301), 0xFF830000u);

        // With everything: a black frame line, the picture inside, white elsewhere.
        QVERIFY(f.frame.saveToFile(
            file.toLocal8Bit().constData(), 400, 300, QMpxFrame::PictureSize, true, true, true));
        saved = QImage(file);
        const int extraW = f.frame.getAxisY().width();
        QCOMPARE(saved.pixel(extraW, 100), qRgb(0, 0, 0));
        QCOMPARE(saved.pixel(extraW + 1, 1), 0xFF000082u);
        QCOMPARE(saved.pixel(extraW + 100, 150), 0xFF000082u);
        QCOMPARE(saved.pixel(extraW + 300, 150), 0xFF830000u);
        QCOMPARE(saved.pixel(extraW + 400, 300), 0xFF830000u);
        QCOMPARE(saved.pixel(extraW + 401, 150), qRgb(0, 0, 0));
        QCOMPARE(saved.pixel(extraW + 200, 301), qRgb(0, 0, 0));
        QCOMPARE(saved.pixel(2, 302), qRgb(255, 255, 255));
        // The colour bar runs along the bottom over the picture's width.
        const int barY = saved.height() - f.frame.getColorBar().getColorbarHeight() - 2 + 5;
        const QRgb barLeft = saved.pixel(extraW + 2, barY); // the first Jet entries
        QCOMPARE(qRed(barLeft), 0);
        QCOMPARE(qGreen(barLeft), 0);
        QVERIFY(qBlue(barLeft) >= 0x82 && qBlue(barLeft) < 0x90);
        const QRgb barRight = saved.pixel(saved.width() - 3, barY); // the last ones
        QVERIFY(qRed(barRight) >= 0x83 && qRed(barRight) < 0x90);
        QCOMPARE(qGreen(barRight), 0);
        QCOMPARE(qBlue(barRight), 0);
    }
};

QTEST_MAIN(TstMpxFrame)
#include "tst_mpxframe.moc"
