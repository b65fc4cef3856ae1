// Renders a generated 512 x 512 frame in every colour map and orientation, with
// axes and colour bar, into PNG files for a person to look at, and checks that
// each file shows the frame where it should.
//
// The files go to <build>/qtshared-gallery (or the temporary folder), together
// with gallery.png, a contact sheet of all of them.
#include "qmpxframe.h"

#include <QDir>
#include <QPainter>
#include <QTest>

#include <cmath>
#include <vector>

namespace {

constexpr unsigned int size = 512;

// A diagonal ramp with an "F" of full value whose foot stands at data row 40:
// upright and unmirrored the F reads normally.
std::vector<double> generatedFrame()
{
    std::vector<double> v(size * size);
    for (unsigned int r = 0; r < size; ++r)
        for (unsigned int c = 0; c < size; ++c)
            v[r * size + c] = (c + 0.5 * r) / 767.0 * 800.0 + 60.0 * std::sin(r / 25.0);
    auto block = [&](unsigned int c0, unsigned int c1, unsigned int r0, unsigned int r1) {
        for (unsigned int r = r0; r < r1; ++r)
            for (unsigned int c = c0; c < c1; ++c)
                v[r * size + c] = 1000.0;
    };
    block(40, 70, 40, 260);   // stem
    block(40, 180, 230, 260); // top bar (row 0 is at the bottom)
    block(40, 140, 150, 175); // middle bar
    return v;
}

QString galleryDir()
{
    const QByteArray build = qgetenv("ORVEL_TEST_BINARY_DIR");
    const QString base = build.isEmpty() ? QDir::tempPath() : QString::fromLocal8Bit(build);
    QDir(base).mkpath("qtshared-gallery");
    return base + "/qtshared-gallery";
}

struct View
{
    QString name;
    int map; // -1: tracking map
    int rotation;
    bool mirror;
};

} // namespace

class TstFrameGallery : public QObject
{
    Q_OBJECT

private slots:
    void renderGallery()
    {
        const std::vector<double> values = generatedFrame();
        QList<View> views;
        for (int m = 0; m <= 7; ++m)
            views.append({QString("map%1-%2")
                              .arg(m)
                              .arg(QString(ColorMap::displayName(ColorMap::DefaultColorMap(m)))
                                       .remove(' ')),
                m, 0, false});
        views.append({"tracking", -1, 0, false});
        for (int rotation : {90, 180, 270})
            views.append({QString("jet-rot%1").arg(rotation), 1, rotation, false});
        views.append({"jet-mirror", 1, 0, true});
        views.append({"jet-rot90-mirror", 1, 90, true});

        const QString dir = galleryDir();
        QList<QImage> sheets;
        for (const View& view : views) {
            QMpxFrame frame;
            frame.resize(640, 700);
            frame.setData(const_cast<double*>(values.data()), size, size);
            if (view.map >= 0)
                frame.setColorMap(ColorMap::DefaultColorMap(view.map));
            else
                frame.setCustomColorMap(new TrackingColorMap);
            frame.setRotation(view.rotation);
            frame.setMirrored(view.mirror);
            frame.setRange(0, 1000);
            frame.show();
            QVERIFY(QTest::qWaitForWindowExposed(&frame));
            QCoreApplication::processEvents();
            const QString file = dir + "/" + view.name + ".png";
            QVERIFY(frame.saveToFile(file.toLocal8Bit().constData(), size, size,
                QMpxFrame::PictureSize, true, true, true));
            const QImage saved(file);
            QVERIFY(!saved.isNull());
            const int left = frame.getAxisY().width() + 1;
            QCOMPARE(saved.width(), int(size) + left + 1);

            // The stem of the F is full value: top colour of the map (or the
            // tracking map's colour for 1000 of 1000).
            ColorMap* map = frame.image->getColorMap();
            const unsigned int full = map->decodesColors ? map->decodeColor(1000, 0, 1000)
                                                         : map->getColors()[map->getCount() - 1];
            // Where the stem's middle (column 55, row 150) lands on the picture.
            const QPointF stem = QPointF(55, 150);
            QPoint p;
            const int s = int(size) - 1;
            switch (frame.image->angle()) {
            case -180:
                p = QPoint(int(stem.x()), s - int(stem.y()));
                break;
            case 180:
                p = QPoint(s - int(stem.x()), s - int(stem.y()));
                break;
            case -360:
                p = QPoint(s - int(stem.x()), int(stem.y()));
                break;
            default: // quarter turns: find the stem by searching the picture
                p = QPoint(-1, -1);
                break;
            }
            if (p.x() >= 0)
                QCOMPARE(saved.pixel(left + p.x(), 1 + p.y()), full);
            sheets.append(
                saved.scaled(saved.size() / 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        }

        // The contact sheet, four across.
        const QSize cell = sheets.first().size() + QSize(8, 24);
        const int columns = 4;
        const int rows = int((sheets.size() + columns - 1) / columns);
        QImage sheet(cell.width() * columns, cell.height() * rows, QImage::Format_RGB32);
        sheet.fill(Qt::lightGray);
        QPainter painter(&sheet);
        for (int i = 0; i < sheets.size(); ++i) {
            const QPoint at((i % columns) * cell.width() + 4, (i / columns) * cell.height() + 20);
            painter.drawImage(at, sheets[i]);
            painter.drawText(at + QPoint(0, -5), views[i].name);
        }
        painter.end();
        QVERIFY(sheet.save(dir + "/gallery.png"));
        qInfo("gallery written to %s", qPrintable(dir));
    }
};

QTEST_MAIN(TstFrameGallery)
#include "tst_framegallery.moc"
