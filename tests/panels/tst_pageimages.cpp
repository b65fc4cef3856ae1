// Every image the device pages name is in the plug-in's resources, at its size.
#include <QImage>
#include <QTest>

class TstPageImages : public QObject
{
    Q_OBJECT

private slots:
    void toolBarImages_data()
    {
        QTest::addColumn<QString>("path");
        const char* const toolbar[] = {"folder_open.png", "disk_black.png", "rotata.png",
            "grid.png", "application-split-tile.png", "underwarn.png", "overwarn.png",
            "cm_gray.png", "cm_jet.png", "cm_hot.png", "cm_cool.png", "cm_hsl.png",
            "cm_invgray.png", "arrow_180.png", "arrow.png", "autoupdate.png", "pixcfgedit.png",
            "applications.png", "application-sidebar.png", "python.png", "broom.png", "gear.png",
            "wrench-screwdriver.png"};
        for (const char* name : toolbar) {
            const QString path = QString(":/devcontrol/toolbar/icons/resources/") + name;
            QTest::newRow(qPrintable(path)) << path;
        }
        const char* const toolbar2[] = {"maskrow.png", "maskcol.png", "maskpixel.png", "cursor.png",
            "mask.png", "unmask.png", "maskselect.png", "unmaskselect.png", "pixcfgstg.png",
            "maskover.png", "maskunder.png", "thlover.png", "thlunder.png"};
        for (const char* name : toolbar2) {
            const QString path = QString(":/devcontrol/toolbar2/icons/resources/") + name;
            QTest::newRow(qPrintable(path)) << path;
        }
        for (const char* path :
            {":/devcontrol/toolbar/icons/color.png", ":/devcontrol/toolbar2/icons/reset.png",
                ":/devcontrol/toolbar/icons/orvel", ":/devcontrol/images/ledgreen",
                ":/devcontrol/images/ledyellow", ":/devcontrol/images/ledred",
                ":/devcontrol/images/warning", ":/devcontrol/images/error"})
            QTest::newRow(path) << QString(path);
    }

    void toolBarImages()
    {
        QFETCH(QString, path);
        const QImage image(path);
        QVERIFY2(!image.isNull(), qPrintable(path));
        QCOMPARE(image.size(), QSize(16, 16));
        // Drawn, not blank: some pixels are opaque and some are transparent or differ.
        int opaque = 0;
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
                opaque += qAlpha(image.pixel(x, y)) > 200;
        QVERIFY(opaque > 10);
    }

    void startAndStopAreLarger()
    {
        for (const char* path :
            {":/devcontrol/toolbar/icons/start", ":/devcontrol/toolbar/icons/stop"}) {
            const QImage image(path);
            QVERIFY2(!image.isNull(), path);
            QCOMPARE(image.size(), QSize(32, 32));
        }
    }

    void programIconInEverySize()
    {
        for (int size : {16, 32, 48, 96, 256}) {
            const QString path = QString(":/icons/resources/Orvel_icon_white_%1x%1.png").arg(size);
            const QImage image(path);
            QVERIFY2(!image.isNull(), qPrintable(path));
            QCOMPARE(image.size(), QSize(size, size));
        }
    }

    void ledsDifferInColour()
    {
        const QColor green(QImage(":/devcontrol/images/ledgreen").pixel(8, 9));
        const QColor yellow(QImage(":/devcontrol/images/ledyellow").pixel(8, 9));
        const QColor red(QImage(":/devcontrol/images/ledred").pixel(8, 9));
        QVERIFY(green.green() > green.red() + 50);
        QVERIFY(red.red() > red.green() + 50);
        QVERIFY(yellow.red() > 150 && yellow.green() > 150 && yellow.blue() < 100);
    }

    void earlierPathsStillWork()
    {
        QVERIFY(!QImage(":/devcontrol/toolbar/icons/applications.png").isNull());
        QVERIFY(!QImage(":/devcontrol/toolbar/icons/application-sidebar.png").isNull());
        QVERIFY(!QImage(":/devcontrol/images/kalbar").isNull());
    }
};

QTEST_MAIN(TstPageImages)
#include "tst_pageimages.moc"
