// The bottom-panel tool window with its dark title, and the one-pixel splitter.
#include "qfancytoolwindow.h"
#include "qminisplitter.h"

#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

class TstToolWindowSplitter : public QObject
{
    Q_OBJECT

private slots:
    void toolWindowLayout()
    {
        QFancyToolWindow window;
        QVERIFY(window.title->titleLabel->text().isEmpty());
        QVERIFY(window.content);
        QCOMPARE(window.content->parentWidget(), &window);
        auto* layout = qobject_cast<QVBoxLayout*>(window.layout());
        QVERIFY(layout);
        QCOMPARE(layout->spacing(), 0);
        QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(layout->itemAt(0)->widget(), window.title);
        QCOMPARE(layout->itemAt(1)->widget(), window.content);
        QCOMPARE(layout->stretch(1), 1);
    }

    void panelVariantTakesThePanel()
    {
        auto* panel = new QWidget;
        QFancyToolWindow window(panel, "Messages");
        QCOMPARE(window.content, panel);
        QCOMPARE(panel->parentWidget(), &window);
        QCOMPARE(window.title->titleLabel->text(), QString("Messages"));
    }

    void titleLooks()
    {
        QFancyToolWindowTitle title;
        QCOMPARE(title.maximumHeight(), 21);
        QCOMPARE(title.sizePolicy().horizontalPolicy(), QSizePolicy::Ignored);
        QCOMPARE(title.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
        QCOMPARE(title.titleLabel->styleSheet(), QString("color: white;"));
        QVERIFY(title.closeButton->maximumWidth() <= 20);
        QVERIFY(title.closeButton->maximumHeight() <= 20);
        QVERIFY(!title.closeButton->icon().isNull());
        auto* box = qobject_cast<QHBoxLayout*>(title.layout());
        QVERIFY(box);
        QCOMPARE(box->contentsMargins(), QMargins(5, 2, 0, 2));
        QCOMPARE(box->stretch(box->indexOf(title.titleLabel)), 1);

        // Painted as it stands in a tool window, whose layout keeps it at 21 pixels.
        QFancyToolWindow window;
        window.resize(200, 120);
        window.show();
        QFancyToolWindowTitle* head = window.title;
        QCOMPARE(head->height(), 21);
        const QImage image = head->grab().toImage();
        for (int x : {0, 100, 150}) {
            QCOMPARE(QColor(image.pixel(x, 0)), QColor(44, 44, 44));
            QCOMPARE(QColor(image.pixel(x, 1)), QColor(117, 117, 117));
            QCOMPARE(QColor(image.pixel(x, 10)), QColor(75, 75, 75));
            QCOMPARE(QColor(image.pixel(x, 20)), QColor(117, 117, 117));
        }
    }

    void closeButtonHidesAndSignals()
    {
        QWidget page;
        auto* window = new QFancyToolWindow(new QLabel("log"), "Messages", &page);
        new QVBoxLayout(&page);
        page.layout()->addWidget(window);
        page.show();
        QVERIFY(window->isVisible());
        QSignalSpy closed(window, &QFancyToolWindow::closed);
        QTest::mouseClick(window->title->closeButton, Qt::LeftButton);
        QCOMPARE(closed.count(), 1);
        QVERIFY(window->isHidden());
    }

    void splitterSettings()
    {
        QMiniSplitter vertical(Qt::Vertical);
        QCOMPARE(vertical.orientation(), Qt::Vertical);
        QMiniSplitter horizontal;
        QCOMPARE(horizontal.orientation(), Qt::Horizontal);
        for (QMiniSplitter* s : {&vertical, &horizontal}) {
            QCOMPARE(s->handleWidth(), 1);
            QVERIFY(!s->childrenCollapsible());
            QCOMPARE(s->property("minisplitter").toBool(), true);
        }
    }

    void handleIsOnePixelWithAWiderGrabArea_data()
    {
        QTest::addColumn<int>("orientation");
        QTest::newRow("horizontal") << int(Qt::Horizontal);
        QTest::newRow("vertical") << int(Qt::Vertical);
    }

    void handleIsOnePixelWithAWiderGrabArea()
    {
        QFETCH(int, orientation);
        const auto o = Qt::Orientation(orientation);
        QMiniSplitter splitter(o);
        auto* first = new QWidget;
        auto* second = new QWidget;
        splitter.addWidget(first);
        splitter.addWidget(second);
        splitter.resize(300, 300);
        splitter.show();
        QVERIFY(QTest::qWaitForWindowExposed(&splitter));

        auto* handle = qobject_cast<QMiniSplitterHandle*>(splitter.handle(1));
        QVERIFY(handle);
        QVERIFY(handle->testAttribute(Qt::WA_MouseNoMask));
        const QRect contents = handle->contentsRect();
        QCOMPARE(handle->mask(), QRegion(contents));
        if (o == Qt::Horizontal) {
            QCOMPARE(handle->contentsMargins(), QMargins(2, 0, 2, 0));
            QCOMPARE(contents.width(), 1);
            QCOMPARE(handle->width(), 5);
        } else {
            QCOMPARE(handle->contentsMargins(), QMargins(0, 2, 0, 2));
            QCOMPARE(contents.height(), 1);
            QCOMPARE(handle->height(), 5);
        }

        // Dragging from the grab margin, outside the visible line, moves the split.
        const int before = splitter.sizes().at(0);
        // The press lands two pixels before the line, so the split follows the mouse
        // to within that margin.
        const QPoint grab = o == Qt::Horizontal ? QPoint(0, 100) : QPoint(100, 0);
        const QPoint delta = o == Qt::Horizontal ? QPoint(30, 0) : QPoint(0, 30);
        QTest::mousePress(handle, Qt::LeftButton, Qt::NoModifier, grab);
        QTest::mouseMove(handle, grab + delta);
        QTest::mouseRelease(handle, Qt::LeftButton, Qt::NoModifier, grab + delta);
        const int moved = splitter.sizes().at(0) - before;
        QVERIFY2(moved >= 28 && moved <= 30, qPrintable(QString::number(moved)));
    }

    void childrenDoNotCollapse()
    {
        QMiniSplitter splitter(Qt::Horizontal);
        auto* first = new QWidget;
        first->setMinimumWidth(50);
        splitter.addWidget(first);
        splitter.addWidget(new QWidget);
        splitter.resize(300, 100);
        splitter.show();
        splitter.setSizes({0, 300});
        QVERIFY(splitter.sizes().at(0) >= 50);
    }
};

QTEST_MAIN(TstToolWindowSplitter)
#include "tst_toolwindowsplitter.moc"
