// A whole scripted session of the orvelsim executable with the real plug-in: a
// measurement on the Timepix quad, its frames saved in two host formats and loaded
// back, colour maps and ranges set through the plug-in's interface, screenshots of the
// window, a device connected and removed, and a clean exit.
#include <simhost.h>

#include <ovdetector.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRect>
#include <QTemporaryDir>
#include <QtTest>

#include <set>
#include <vector>

namespace {

// The part of two screenshots of the same window that differs over long stretches: the
// picture of the frame with its colour bar, since only the colour map and the range
// changed between them (short changes, such as the text of a range field, are left out).
QRect changedArea(const QImage& a, const QImage& b)
{
    constexpr int kMinRun = 100;
    std::vector<int> rows(size_t(a.height()), 0);
    std::vector<int> columns(size_t(a.width()), 0);
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            if (a.pixel(x, y) != b.pixel(x, y)) {
                ++rows[size_t(y)];
                ++columns[size_t(x)];
            }
        }
    }
    QRect area;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (rows[size_t(y)] >= kMinRun && columns[size_t(x)] >= kMinRun)
                area |= QRect(x, y, 1, 1);
    return area;
}

// Distinct colours, and the share of near-black pixels, in an area (every third pixel).
struct Colours
{
    size_t distinct = 0;
    double darkShare = 0.0;
};

Colours coloursIn(const QImage& image, const QRect& area)
{
    std::set<QRgb> colours;
    int dark = 0;
    int samples = 0;
    for (int y = area.top(); y <= area.bottom(); y += 3) {
        for (int x = area.left(); x <= area.right(); x += 3) {
            const QRgb c = image.pixel(x, y);
            colours.insert(c);
            dark += qGray(c) < 8 ? 1 : 0;
            ++samples;
        }
    }
    return {colours.size(), samples ? double(dark) / samples : 1.0};
}

} // namespace

class TestScriptSession : public QObject
{
    Q_OBJECT

private slots:
    void measuresSavesAndShows()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString home = dir.filePath("home");
        const QString script = dir.filePath("session.orvs");
        QFile f(script);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Text));
        f.write("wait 300\n"
                "device kalbar W0512\n"
                "params 4 0.05\n"
                "acqtype frames\n"
                "repeat off\n"
                "start\n"
                "waitidle 20000\n"
                "expect running no\n"
                "expect result 0\n"
                "expect frames 4\n"
                "expect time 0.05\n"
                "save data/frames.mfd\n"
                "save data/packed.mfd mfd binary sparse\n"
                "save data/frame.txt\n"
                "colormap hot\n"
                "autorange on\n"
                "wait 300\n"
                "screenshot hot.png\n"
                "colormap jet\n"
                "range 0 300\n"
                "wait 300\n"
                "screenshot jet.png\n"
                "connect tpx3 sparrel F0009 9\n"
                "wait 200\n"
                "remove sparrel F0009\n"
                "quit\n");
        f.close();

        QProcess proc;
        proc.setWorkingDirectory(dir.path());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        proc.setProcessEnvironment(env);
        proc.start(ORVELSIM_EXE, {"--plugin", MODULE_PATH, "--home", home, "--script", script});
        QVERIFY(proc.waitForFinished(50000));
        const QString err = QString::fromLocal8Bit(proc.readAllStandardError());
        const QString out = QString::fromLocal8Bit(proc.readAllStandardOutput());
        QCOMPARE(proc.exitStatus(), QProcess::NormalExit);
        QVERIFY2(proc.exitCode() == 0, qPrintable(err));
        QVERIFY2(out.contains(dir.filePath("data/frames.mfd")), qPrintable(out));
        QVERIFY2(out.contains(dir.filePath("hot.png")), qPrintable(out));

        // The files load back with every frame at the quad's size.
        sim::SimHost reader(dir.filePath("readerhome"));
        ov::IDataMgr* mgr = reader.dataMgr();
        for (const char* name : {"data/frames.mfd", "data/packed.mfd"}) {
            ov::FilePath path(dir.filePath(name).toUtf8().constData());
            QCOMPARE(mgr->frameCountInFile(&path), 4);
            for (int i = 0; i < 4; ++i) {
                ov::IData* data = mgr->loadData(&path, i);
                QVERIFY(data);
                QCOMPARE(data->frameAt(0)->width(), 512u);
                QCOMPARE(data->frameAt(0)->height(), 512u);
                QCOMPARE(data->frameAt(0)->acqTime(), 0.05);
                QVERIFY(data->frameAt(0)->regionTotal(nullptr) > 0.0);
                data->decRef();
            }
        }
        const QStringList texts
            = QDir(dir.filePath("data")).entryList({"frame_*.txt"}, QDir::Files);
        QCOMPARE(texts.size(), 4);
        ov::FilePath text(QDir(dir.filePath("data")).filePath(texts.first()).toUtf8().constData());
        QCOMPARE(mgr->frameCountInFile(&text), 1);

        // The screenshots: the frame's picture is where they differ; it is large, and
        // shows a picture, not one colour.
        const QImage hot(dir.filePath("hot.png"));
        const QImage jet(dir.filePath("jet.png"));
        QVERIFY(!hot.isNull());
        QCOMPARE(hot.size(), jet.size());
        const QRect area = changedArea(hot, jet);
        QVERIFY2(area.width() >= 300 && area.height() >= 300,
            qPrintable(
                QStringLiteral("changed area %1 x %2").arg(area.width()).arg(area.height())));
        // With the fixed range the measured scene shows in many colours; with the range
        // from minimum to maximum (a hot pixel sets the maximum) it is dark but not one
        // colour.
        const Colours inJet = coloursIn(jet, area);
        QVERIFY2(inJet.distinct > 50, qPrintable(QString::number(inJet.distinct)));
        QVERIFY2(inJet.darkShare < 0.5, qPrintable(QString::number(inJet.darkShare)));
        QVERIFY2(coloursIn(hot, area).distinct > 10,
            qPrintable(QString::number(coloursIn(hot, area).distinct)));
    }
};

QTEST_MAIN(TestScriptSession)
#include "tst_scriptsession.moc"
