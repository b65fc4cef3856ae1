// The real plug-in module loaded by the orvelsim executable through the dynamic
// loader, run offscreen with a script, and closed cleanly.
#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <set>

class TestOrvelsimModule : public QObject
{
    Q_OBJECT

private slots:
    void runsAScriptAndClosesCleanly()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString home = dir.filePath("home");
        const QString script = dir.filePath("session.orvs");
        QFile f(script);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Text));
        f.write("wait 300\n"
                "screenshot window.png\n"
                "connect mpx3 hanvik M0042 42\n"
                "wait 200\n"
                "remove hanvik M0042\n"
                "quit\n");
        f.close();

        QProcess proc;
        proc.setWorkingDirectory(dir.path());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        proc.setProcessEnvironment(env);
        proc.start(ORVELSIM_EXE, {"--plugin", MODULE_PATH, "--home", home, "--script", script});
        QVERIFY(proc.waitForFinished(60000));
        const QString err = QString::fromLocal8Bit(proc.readAllStandardError());
        QCOMPARE(proc.exitStatus(), QProcess::NormalExit);
        QVERIFY2(proc.exitCode() == 0, qPrintable(err));

        // Every detector view stored its settings at close.
        const QDir settings(home + "/settings/devcontrol");
        for (const char* file : {"kalbar_W0512_sn512.ini", "sparrel_F0317_sn317.ini",
                 "hanvik_M0102_sn102.ini", "zoltin_T0221_sn221.ini"}) {
            QVERIFY2(settings.exists(file), file);
            QFile ini(settings.filePath(file));
            QVERIFY(ini.open(QIODevice::ReadOnly));
            QVERIFY(ini.readAll().contains("KeepAspectRatio"));
        }

        // The screenshot shows the window: not blank, not one colour.
        QImage shot(dir.filePath("window.png"));
        QVERIFY(!shot.isNull());
        QVERIFY(shot.width() >= 640 && shot.height() >= 400);
        std::set<QRgb> colours;
        for (int y = 0; y < shot.height(); y += 7)
            for (int x = 0; x < shot.width(); x += 7)
                colours.insert(shot.pixel(x, y));
        QVERIFY(colours.size() > 20);
    }
};

QTEST_GUILESS_MAIN(TestOrvelsimModule)
#include "tst_orvelsimmodule.moc"
