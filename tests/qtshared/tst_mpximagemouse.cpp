// Mouse interaction with the picture of a frame on screen: zoom band, selections,
// right click, double click, hand drag, the value label, drops and overlays.
#include "shownframe.h"

#include <QLabel>
#include <QMimeData>
#include <QSignalSpy>
#include <QUrl>

namespace {

QRect edges(int l, int t, int r, int b)
{
    return QRect(QPoint(l, t), QPoint(r, b));
}

// Counts mouse releases that an unaccepting child passes on to the watched widget.
class ReleaseCounter : public QObject
{
public:
    int releases = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonRelease)
            ++releases;
        return false;
    }
};

int grey(const QImage& shot, QPoint p)
{
    return qRed(shot.pixel(p));
}

} // namespace

class TstMpxImageMouse : public QObject
{
    Q_OBJECT

private slots:
    void fitsViewportAtStart()
    {
        ShownFrame f;
        QVERIFY(f.show());
        QCOMPARE(f.image->size(), f.viewport());
        QCOMPARE(f.image->getScaleX(), double(f.viewport().width()) / 40);
        QCOMPARE(f.image->currentVisibleRect(), QRect(0, 0, 40, 30));
    }

    void rubberBandZooms()
    {
        ShownFrame f;
        QVERIFY(f.show());
        QSignalSpy imageZoom(f.image, &QMpxImage::zoomRectChanged);
        QSignalSpy frameZoom(&f.frame, &QMpxFrame::zoomRectChanged);
        const QSize viewport = f.viewport();

        QTest::mousePress(f.image, Qt::LeftButton, {}, f.at(5.2, 4.2));
        QTest::mouseMove(f.image, f.at(15.2, 12.2));
        // While the button is held the band snaps to picture pixels.
        QCOMPARE(f.image->getSelectRect(), f.image->realRectToScreenRect(QRect(5, 4, 10, 8)));
        QTest::mouseRelease(f.image, Qt::LeftButton, {}, f.at(15.2, 12.2));

        // Picture rows 4..11 are data rows 18..25 (row 0 at the bottom).
        QVERIFY(!imageZoom.isEmpty());
        QCOMPARE(imageZoom.last().at(0).toRect(), edges(5, 18, 14, 25));
        QCOMPARE(frameZoom.last().at(0).toRect(), edges(5, 18, 14, 25));
        QCOMPARE(f.image->getZoomX(), viewport.width() / 10.0);
        QCOMPARE(f.image->getZoomY(), viewport.height() / 8.0);
        QVERIFY(f.image->width() > 3 * viewport.width());
        QVERIFY(!f.image->getSelectRect().isValid());
        QCOMPARE(f.frame.getAxisX().minText(), QString("5"));
        QCOMPARE(f.frame.getAxisX().maxText(), QString("14"));
        QCOMPARE(f.frame.getAxisY().minText(), QString("18"));
        QCOMPARE(f.frame.getAxisY().maxText(), QString("25"));
        // The scroll bars show the band's corner.
        QVERIFY(std::abs(f.hbar()->value() - int(5 * f.image->getScaleX())) <= 1);
        QVERIFY(std::abs(f.vbar()->value() - int(4 * f.image->getScaleY())) <= 1);
        const QRect visible = f.image->currentVisibleRect();
        QCOMPARE(visible.left(), 5);
        QCOMPARE(visible.top(), 4);
    }

    void shiftKeepsWidgetProportions()
    {
        ShownFrame f;
        QVERIFY(f.show());
        QSignalSpy zoom(f.image, &QMpxImage::zoomRectChanged);
        f.band(QPointF(2.2, 2.2), QPointF(22.2, 5.2), Qt::ShiftModifier);
        const QRect r = zoom.last().at(0).toRect();
        QCOMPARE(r.width(), 20);
        // The widget has the picture's proportions 40 : 30, so the band does too.
        QVERIFY2(std::abs(r.height() - 15) <= 1, qPrintable(QString::number(r.height())));
    }

    void controlDragSelects()
    {
        ShownFrame f;
        QVERIFY(f.show());
        QSignalSpy selections(&f.frame, &QMpxFrame::selectionRectsChanged);
        QSignalSpy zoom(f.image, &QMpxImage::zoomRectChanged);
        f.band(QPointF(5.2, 4.2), QPointF(15.2, 12.2), Qt::ControlModifier);
        QCOMPARE(selections.count(), 1);
        QCOMPARE(
            selections.last().at(0).value<QList<QRect>>(), QList<QRect> {edges(5, 18, 14, 25)});
        QCOMPARE(f.image->getSelectScreenRects().size(), 1);
        QCOMPARE(f.image->getSelectScreenRects().first(),
            f.image->realRectToScreenRect(QRect(5, 4, 10, 8)));
        QCOMPARE(f.image->getZoomX(), 1.0);
        QCOMPARE(zoom.count(), 0);

        // With zoomOnSelect off a plain drag selects too.
        f.image->zoomOnSelect = false;
        f.band(QPointF(20.2, 20.2), QPointF(25.2, 25.2));
        QCOMPARE(selections.count(), 2);
        QCOMPARE(selections.last().at(0).value<QList<QRect>>().size(), 2);
        QCOMPARE(f.image->getZoomX(), 1.0);
    }

    void rightClickRemovesFirstHitOnly()
    {
        ShownFrame f;
        QVERIFY(f.show());
        ReleaseCounter counter;
        f.image->parentWidget()->installEventFilter(&counter);
        f.band(QPointF(5.2, 4.2), QPointF(15.2, 12.2), Qt::ControlModifier);
        QCOMPARE(counter.releases, 1); // a finished band reaches the base class
        f.band(QPointF(10.2, 8.2), QPointF(20.2, 16.2), Qt::ControlModifier);
        QCOMPARE(counter.releases, 2);
        QSignalSpy selections(&f.frame, &QMpxFrame::selectionRectsChanged);

        QTest::mouseClick(f.image, Qt::RightButton, {}, f.at(12.5, 9.5)); // inside both
        QCOMPARE(selections.count(), 1);
        const QRect second = edges(10, 14, 19, 21); // picture rows 8..15
        QCOMPARE(selections.last().at(0).value<QList<QRect>>(), QList<QRect> {second});
        QCOMPARE(f.image->getSelectScreenRects().size(), 1);
        QCOMPARE(counter.releases, 2);

        // On empty picture nothing happens, and the release stays with the picture.
        QTest::mouseClick(f.image, Qt::RightButton, {}, f.at(35.5, 27.5));
        QCOMPARE(selections.count(), 1);
        QCOMPARE(f.image->getSelectRealRects(), QList<QRect> {second});
        QCOMPARE(counter.releases, 2);
        f.image->parentWidget()->removeEventFilter(&counter);
    }

    void doubleClickClearsAndResetsZoom()
    {
        ShownFrame f;
        QVERIFY(f.show());
        f.band(QPointF(5.2, 4.2), QPointF(15.2, 12.2), Qt::ControlModifier);
        f.band(QPointF(5.2, 4.2), QPointF(15.2, 12.2));
        QVERIFY(f.image->getZoomX() > 1.0);
        f.band(QPointF(6.2, 5.2), QPointF(8.2, 7.2), Qt::ControlModifier);
        QCOMPARE(f.image->getSelectRealRects().size(), 1);
        QSignalSpy selections(&f.frame, &QMpxFrame::selectionRectsChanged);
        QSignalSpy zoom(&f.frame, &QMpxFrame::zoomRectChanged);

        QTest::mouseDClick(f.image, Qt::LeftButton, {}, QPoint(20, 20));
        QCOMPARE(selections.count(), 1);
        QVERIFY(selections.last().at(0).value<QList<QRect>>().isEmpty());
        QCOMPARE(f.image->getZoomX(), 1.0);
        QCOMPARE(f.image->getZoomY(), 1.0);
        QCOMPARE(f.image->size(), f.viewport());
        QCOMPARE(zoom.last().at(0).toRect(), QRect(0, 0, 40, 30));
        QCOMPARE(f.frame.getAxisX().minText(), QString("0"));
        QCOMPARE(f.frame.getAxisX().maxText(), QString("39"));
        QCOMPARE(f.frame.getAxisY().maxText(), QString("29"));

        // Without selections a double click emits no selection change.
        QTest::mouseDClick(f.image, Qt::LeftButton, {}, QPoint(20, 20));
        QCOMPARE(selections.count(), 1);
    }

    void zoomOutNeedsSelectionEnabled()
    {
        ShownFrame f;
        QVERIFY(f.show());
        f.frame.setZoomRect(QRect(10, 10, 10, 10));
        const double zoomed = f.image->getZoomX();
        QVERIFY(zoomed > 1.0);
        f.image->selectionEnabled = false;
        f.frame.zoomOut();
        QCOMPARE(f.image->getZoomX(), zoomed);
        // Nor does a band do anything.
        QSignalSpy zoom(f.image, &QMpxImage::zoomRectChanged);
        f.band(QPointF(12.2, 12.2), QPointF(14.2, 14.2));
        QCOMPARE(f.image->getZoomX(), zoomed);
        f.image->selectionEnabled = true;
        f.frame.zoomOut();
        QCOMPARE(f.image->getZoomX(), 1.0);
    }

    void zoomRectKeepsViewportSize()
    {
        ShownFrame f;
        QVERIFY(f.show());
        f.image->setZoomRectRaw(QRect(0, 0, 80, 60)); // larger than the picture
        QVERIFY(f.image->width() >= f.viewport().width());
        QVERIFY(f.image->height() >= f.viewport().height());
        QCOMPARE(f.image->size(), f.viewport());
        f.image->setZoom(0.5, 0.5);
        QCOMPARE(f.image->size(), f.viewport());
        f.image->setZoom(30.0, 30.0);
        QCOMPARE(f.image->size(), QSize(1200, 900));
    }

    void rightDragScrolls()
    {
        ShownFrame f;
        QVERIFY(f.show());
        f.frame.setZoomRect(QRect(10, 10, 10, 10));
        const int startX = f.hbar()->value();
        const int startY = f.vbar()->value();
        QVERIFY(startX > 0 && startY > 0);
        const QPoint start = f.frame.getScrollArea().viewport()->rect().center() - f.image->pos();
        QTest::mousePress(f.image, Qt::RightButton, {}, start);
        QVERIFY(f.image->isDragging());
        QCOMPARE(f.image->cursor().shape(), Qt::ClosedHandCursor);
        QTest::mouseMove(f.image, start + QPoint(-30, -20));
        QCOMPARE(f.hbar()->value(), startX + 30);
        QCOMPARE(f.vbar()->value(), startY + 20);
        QTest::mouseRelease(f.image, Qt::RightButton, {}, start + QPoint(-30, -20));
        QVERIFY(!f.image->isDragging());
        QCOMPARE(f.image->cursor().shape(), Qt::ArrowCursor);
        QCOMPARE(f.hbar()->value(), startX + 30);
    }

    void handDragEndingOnSelectionKeepsIt()
    {
        ShownFrame f;
        QVERIFY(f.show());
        f.band(QPointF(5.2, 4.2), QPointF(35.2, 26.2), Qt::ControlModifier);
        f.frame.setZoomRect(QRect(10, 10, 10, 10));
        QCOMPARE(f.image->getSelectRealRects().size(), 1);
        const QPoint start = f.frame.getScrollArea().viewport()->rect().center() - f.image->pos();
        QTest::mousePress(f.image, Qt::RightButton, {}, start);
        QTest::mouseMove(f.image, start + QPoint(-25, 0));
        QTest::mouseRelease(f.image, Qt::RightButton, {}, start + QPoint(-25, 0));
        QCOMPARE(f.image->getSelectRealRects().size(), 1);
    }

    void rightDragNeedsSelectionEnabled()
    {
        ShownFrame f;
        QVERIFY(f.show());
        f.frame.setZoomRect(QRect(10, 10, 10, 10));
        f.image->selectionEnabled = false;
        const int startX = f.hbar()->value();
        const QPoint start(f.hbar()->value() + 100, f.vbar()->value() + 100);
        QTest::mousePress(f.image, Qt::RightButton, {}, start);
        QTest::mouseMove(f.image, start + QPoint(-30, -20));
        QCOMPARE(f.hbar()->value(), startX);
        QTest::mouseRelease(f.image, Qt::RightButton, {}, start + QPoint(-30, -20));
    }

    void clickedCarriesDataAndWidgetPositions()
    {
        ShownFrame f;
        QVERIFY(f.show());
        QSignalSpy clicked(&f.frame, &QMpxFrame::clicked);
        const QPoint p = f.at(3.5, 29.5);
        QTest::mouseClick(f.image, Qt::MiddleButton, {}, p);
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(clicked.last().at(0).toUInt(), 3u);
        QCOMPARE(clicked.last().at(1).toUInt(), 0u); // bottom row of the picture is row 0
        QCOMPARE(clicked.last().at(2).toUInt(), unsigned(p.x()));
        QCOMPARE(clicked.last().at(3).toUInt(), unsigned(p.y()));
        QCOMPARE(clicked.last().at(4).value<Qt::MouseButton>(), Qt::MiddleButton);

        QMpxFrame empty;
        empty.resize(300, 300);
        empty.show();
        QVERIFY(QTest::qWaitForWindowExposed(&empty));
        QSignalSpy none(&empty, &QMpxFrame::clicked);
        QTest::mouseClick(empty.image, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(none.count(), 0);
    }

    void valueLabelOnLastRow()
    {
        ShownFrame f;
        QVERIFY(f.show());
        QLabel* label = f.image->getTooltipLabel();
        QVERIFY(!label->isVisible());
        QCOMPARE(label->text(), QString("0, 0"));
        const int lastRow = f.image->height() - 1;
        const QPoint p(f.at(3.5, 0).x(), lastRow);
        QTest::mouseMove(f.image, p);
        // The lowest row of the picture is data row 0: value (0 * 40 + 3) / 2.
        QCOMPARE(label->text(), QString("[3,0]=1.5"));
        QVERIFY(label->isVisible());
        QCOMPARE(label->y(), lastRow - 30); // near the bottom the label goes above
        QTest::mouseMove(f.image, QPoint(p.x(), 5));
        QCOMPARE(label->text(), QString("[3,29]=581.5"));
        QCOMPARE(label->y(), 35);

        // Upside down the lowest row is the last data row.
        f.frame.setRotation(180);
        QTest::mouseMove(f.image, QPoint(f.at(3.5, 0).x(), lastRow));
        QCOMPARE(label->text(), QString("[36,29]=598"));

        // A smaller frame under a mouse that stays put: the position is clamped.
        std::vector<double> small(40 * 20, 7.0);
        f.image->setFrameData(small.data(), 40, 20);
        f.image->redraw();
        QCOMPARE(label->text(), QString("[36,19]=7"));
    }

    void valueLabelRelativeAndCustom()
    {
        ShownFrame f;
        QVERIFY(f.show());
        f.frame.setRange(100, 255);
        f.image->showRelative = true;
        QLabel* label = f.image->getTooltipLabel();
        QTest::mouseMove(f.image, f.at(3.5, 20.5)); // data row 9, value 181.5
        QCOMPARE(label->text(), QString("[3,9]=181.5 (81.5)"));
        QTest::mouseMove(f.image, f.at(3.5, 28.5)); // data row 1, value 21.5 < 100
        QCOMPARE(label->text(), QString("[3,1]=21.5 (0)"));

        f.image->tooltipFunc = [](unsigned int c, unsigned int r, double v, void* user) {
            if (c == 0)
                return QString(); // falls back to the default text
            return QString("%1 %2:%3=%4").arg(*static_cast<QString*>(user)).arg(c).arg(r).arg(v);
        };
        QString prefix("pixel");
        f.image->tooltipUser = &prefix;
        QTest::mouseMove(f.image, f.at(3.5, 20.5));
        QCOMPARE(label->text(), QString("pixel 3:9=181.5"));
        QTest::mouseMove(f.image, f.at(0.5, 20.5));
        QCOMPARE(label->text(), QString("[0,9]=180 (80)"));

        QSignalSpy left(&f.frame, &QMpxFrame::mouseLeave);
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(f.image, &leave);
        QCOMPARE(left.count(), 1);
        QVERIFY(!label->isVisible());
        QCOMPARE(f.image->getLastMouse(), QPointF(-1, -1));
    }

    void droppedFilesAreReported()
    {
        ShownFrame f;
        QVERIFY(f.show());
        QSignalSpy dropped(&f.frame, &QMpxFrame::dropFiles);
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile("/tmp/a frame.dsc"), QUrl::fromLocalFile("/tmp/b.txt")});
        QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction, &mime, Qt::LeftButton, {});
        QCoreApplication::sendEvent(f.image, &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(QPointF(20, 20), Qt::CopyAction, &mime, Qt::LeftButton, {});
        QCoreApplication::sendEvent(f.image, &drop);
        QVERIFY(drop.isAccepted());
        QCOMPARE(dropped.count(), 1);
        QCOMPARE(dropped.last().at(0).value<QList<QString>>(),
            (QList<QString> {"/tmp/a frame.dsc", "/tmp/b.txt"}));

        QMimeData text;
        text.setText("not a file");
        QDragEnterEvent textEnter(QPoint(20, 20), Qt::CopyAction, &text, Qt::LeftButton, {});
        textEnter.ignore();
        QCoreApplication::sendEvent(f.image, &textEnter);
        QVERIFY(!textEnter.isAccepted());
        QDropEvent textDrop(QPointF(20, 20), Qt::CopyAction, &text, Qt::LeftButton, {});
        QCoreApplication::sendEvent(f.image, &textDrop);
        QCOMPARE(dropped.count(), 1);
    }

    void pixelConfigurationHighlight()
    {
        ShownFrame f;
        std::fill(f.values.begin(), f.values.end(), 100.0);
        f.frame.setData(f.values.data(), 40, 30);
        QVERIFY(f.show());
        f.image->pixCfgMode = QMpxImage::PixCfgColumn;
        QTest::mouseMove(f.image, f.at(7.5, 10.5));
        QImage shot = f.image->grab().toImage();
        QCOMPARE(grey(shot, f.at(7.5, 3.5)), 155); // XOR with white
        QCOMPARE(grey(shot, f.at(7.5, 28.5)), 155);
        QCOMPARE(grey(shot, f.at(9.5, 3.5)), 100);

        f.image->pixCfgMode = QMpxImage::PixCfgRow;
        QTest::mouseMove(f.image, f.at(8.5, 12.5));
        shot = f.image->grab().toImage();
        QCOMPARE(grey(shot, f.at(30.5, 12.5)), 155);
        QCOMPARE(grey(shot, f.at(30.5, 14.5)), 100);
        QCOMPARE(grey(shot, f.at(7.5, 3.5)), 100);

        f.image->pixCfgMode = QMpxImage::PixCfgPixel;
        f.image->update();
        shot = f.image->grab().toImage();
        QCOMPARE(grey(shot, f.at(30.5, 12.5)), 100);
    }

    void gridSelectionsAndChips()
    {
        ShownFrame f;
        std::fill(f.values.begin(), f.values.end(), 100.0);
        f.frame.setData(f.values.data(), 40, 30);
        QVERIFY(f.show());
        QImage shot = f.image->grab().toImage();
        const int sx = int(10 * f.image->getScaleX() + 0.5);
        const int midY = f.at(0, 12.5).y();
        QCOMPARE(grey(shot, QPoint(sx, midY)), 100);
        f.image->showGrid = true;
        f.image->update();
        shot = f.image->grab().toImage();
        QCOMPARE(grey(shot, QPoint(sx, midY)), 100 ^ 128);
        QCOMPARE(grey(shot, QPoint(sx + 3, midY)), 100);
        f.image->showGrid = false;

        f.band(QPointF(5.2, 4.2), QPointF(15.2, 12.2), Qt::ControlModifier);
        f.band(QPointF(20.2, 4.2), QPointF(30.2, 12.2), Qt::ControlModifier);
        f.image->update();
        shot = f.image->grab().toImage();
        const QRect first = f.image->getSelectScreenRects().at(0);
        const QRect second = f.image->getSelectScreenRects().at(1);
        const QPoint onFirst(first.left(), first.center().y());
        const QPoint onSecond(second.left(), second.center().y());
        QCOMPARE(shot.pixel(onFirst), qRgb(155, 155, 155));
        QCOMPARE(grey(shot, first.center()), 100);
        f.image->highlightFirstRect = true;
        f.image->update();
        shot = f.image->grab().toImage();
        QCOMPARE(shot.pixel(onFirst), qRgb(155, 100, 100));
        QCOMPARE(shot.pixel(onSecond), qRgb(155, 155, 155));
        f.image->clearSelectRects();

        f.image->chipRects = {edges(0, 0, 19, 29), edges(20, 0, 39, 29)};
        f.image->chipTexts = {"Chip 1", "Chip 2"};
        f.image->update();
        shot = f.image->grab().toImage();
        // The chip at data columns 20..39 is the right half; its outline is inset by one.
        const QRect chip = f.image->realRectToScreenRect(
            f.image->realRectToRectRotatedMirrored(edges(20, 0, 39, 29), true));
        QCOMPARE(grey(shot, QPoint(chip.left() + 1, chip.center().y() + 40)), 100 ^ 128);
        int marked = 0;
        for (int y = chip.top() + 3; y < chip.bottom() - 3; ++y)
            for (int x = chip.left() + 3; x < chip.right() - 3; ++x)
                marked += grey(shot, QPoint(x, y)) != 100;
        QVERIFY2(marked > 50, "the chip label is drawn");
    }

    void scrollAreaFollowsViewportAtZoomOne()
    {
        ShownFrame f;
        QVERIFY(f.show());
        f.frame.resize(700, 500);
        QCoreApplication::processEvents();
        QCOMPARE(f.image->size(), f.viewport());
        f.frame.setZoomRect(QRect(10, 10, 10, 10));
        const QSize zoomed = f.image->size();
        f.frame.resize(600, 480);
        QCoreApplication::processEvents();
        QCOMPARE(f.image->size(), zoomed);
    }
};

QTEST_MAIN(TstMpxImageMouse)
#include "tst_mpximagemouse.moc"
