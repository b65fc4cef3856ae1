// The orvelsim executable, run as a separate process.
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

struct Run
{
    int exitCode = -1;
    bool crashed = false;
    QString out;
    QString err;
};

Run runOrvelsim(const QStringList& args, int timeoutMs = 60000)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // The executable chooses the offscreen platform itself when there is no display.
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(ORVELSIM_EXE), args);
    Run run;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        run.err = QStringLiteral("timed out");
        return run;
    }
    run.crashed = process.exitStatus() != QProcess::NormalExit;
    run.exitCode = process.exitCode();
    run.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    run.err = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}

QString writeText(const QTemporaryDir& dir, const QString& name, const QString& text)
{
    const QString path = dir.filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(text.toUtf8());
    return path;
}

// Lines of orvelsim's own messages on stderr (Qt may add lines of its own).
QStringList ownMessages(const QString& err)
{
    return err.split(QLatin1Char('\n')).filter(QRegularExpression(QStringLiteral("^orvelsim: ")));
}

} // namespace

class TestOrvelsim : public QObject
{
    Q_OBJECT

private slots:
    void helpExitsWithZero()
    {
        const Run run = runOrvelsim({QStringLiteral("--help")});
        QVERIFY(!run.crashed);
        QCOMPARE(run.exitCode, 0);
        for (const char* option :
            {"--plugin", "--home", "--devices", "--script", "--screenshot", "--help"})
            QVERIFY2(run.out.contains(QLatin1String(option)), option);
    }

    void unknownOptionIsRefused()
    {
        const Run run = runOrvelsim({QStringLiteral("--frobnicate")});
        QVERIFY(!run.crashed);
        QVERIFY(run.exitCode != 0);
        QCOMPARE(ownMessages(run.err).size(), 1);
        QVERIFY2(run.err.contains(QStringLiteral("frobnicate")), qPrintable(run.err));
    }

    void missingOptionValueIsRefused()
    {
        const Run run = runOrvelsim({QStringLiteral("--home")});
        QVERIFY(!run.crashed);
        QVERIFY(run.exitCode != 0);
        QVERIFY2(run.err.contains(QStringLiteral("home")), qPrintable(run.err));
    }

    void homeThatIsAFileIsRefused()
    {
        QTemporaryDir tmp;
        const QString file = writeText(tmp, QStringLiteral("notafolder"), QStringLiteral("x"));
        const Run run = runOrvelsim({QStringLiteral("--home"), file, QStringLiteral("--plugin"),
            QStringLiteral(SIM_TEST_PLUGIN)});
        QVERIFY(!run.crashed);
        QCOMPARE(run.exitCode, 1);
        const QStringList messages = ownMessages(run.err);
        QCOMPARE(messages.size(), 1);
        QVERIFY2(messages.first().contains(QStringLiteral("cannot use home folder")),
            qPrintable(run.err));
        QVERIFY(messages.first().contains(file));
    }

    void missingPluginAndFilesAreRefused_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plugin") << QStringList {QStringLiteral("--plugin"),
            QStringLiteral("/no/such/plugin.so")}
                                << "plug-in not found: /no/such/plugin.so";
        QTest::newRow("devices") << QStringList {QStringLiteral("--devices"),
            QStringLiteral("/no/such/set.txt")}
                                 << "cannot read device set /no/such/set.txt";
        QTest::newRow("script") << QStringList {QStringLiteral("--script"),
            QStringLiteral("/no/such/s.txt")}
                                << "cannot read script /no/such/s.txt";
    }

    void missingPluginAndFilesAreRefused()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, expected);
        QTemporaryDir tmp;
        const Run run = runOrvelsim(args + QStringList {QStringLiteral("--home"), tmp.path()});
        QVERIFY(!run.crashed);
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(expected), qPrintable(run.err));
    }

    void scriptErrorNamesItsLine()
    {
        QTemporaryDir tmp;
        const QString script = writeText(tmp, QStringLiteral("bad.txt"),
            QStringLiteral("# test\nwait 10\nfrobnicate now\nquit\n"));
        const Run run = runOrvelsim({QStringLiteral("--home"), tmp.filePath(QStringLiteral("home")),
            QStringLiteral("--plugin"), QStringLiteral(SIM_TEST_PLUGIN), QStringLiteral("--script"),
            script});
        QVERIFY(!run.crashed);
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(QStringLiteral("bad.txt:3: unknown command 'frobnicate'")),
            qPrintable(run.err));
    }

    void scriptRunErrorNamesItsLine()
    {
        QTemporaryDir tmp;
        const QString script = writeText(tmp, QStringLiteral("run.txt"),
            QStringLiteral("remove kalbar W0512\nremove kalbar W0512\nquit\n"));
        const Run run = runOrvelsim({QStringLiteral("--home"), tmp.filePath(QStringLiteral("home")),
            QStringLiteral("--plugin"), QStringLiteral(SIM_TEST_PLUGIN), QStringLiteral("--script"),
            script});
        QVERIFY(!run.crashed);
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(QStringLiteral("run.txt:2: no device 'kalbar W0512'")),
            qPrintable(run.err));
    }

    void scriptRunsASessionAndTakesAScreenshot()
    {
        QTemporaryDir tmp;
        const QString shot = tmp.filePath(QStringLiteral("shots/window.png"));
        const QString devices = writeText(tmp, QStringLiteral("devices.txt"),
            QStringLiteral("# two devices\n1 kalbar W0001 1 chips=4\nmotor motors X 11\n"));
        const QString script = writeText(tmp, QStringLiteral("ok.txt"),
            QStringLiteral("connect tpx3 sparrel F0009 9\nlock sparrel F0009\nwait 50\n"
                           "log warning from the script\nremove motors X\nscreenshot %1\nquit\n")
                .arg(shot));
        const QString home = tmp.filePath(QStringLiteral("home"));
        const Run run = runOrvelsim({QStringLiteral("--home"), home, QStringLiteral("--plugin"),
            QStringLiteral(SIM_TEST_PLUGIN), QStringLiteral("--devices"), devices,
            QStringLiteral("--script"), script});
        QVERIFY(!run.crashed);
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QVERIFY2(run.out.contains(shot), qPrintable(run.out));
        QVERIFY2(run.err.contains(QStringLiteral("orvelsim: warning: from the script")),
            qPrintable(run.err));
        QVERIFY2(!run.err.contains(QStringLiteral("still alive")), qPrintable(run.err));
        const QImage image(shot);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), QSize(320, 200));
        // The home folder was laid out and the test plug-in's close trace saved.
        QVERIFY(QFileInfo::exists(home + QStringLiteral("/orvel.ini")));
        QVERIFY(QFileInfo::exists(home + QStringLiteral("/settings/testplugin/generic.ini")));
    }

    void screenshotOptionSavesTheWindowAndQuits()
    {
        QTemporaryDir tmp;
        const QString shot = tmp.filePath(QStringLiteral("start.png"));
        const Run run = runOrvelsim({QStringLiteral("--home"), tmp.filePath(QStringLiteral("home")),
            QStringLiteral("--plugin"), QStringLiteral(SIM_TEST_PLUGIN),
            QStringLiteral("--screenshot"), shot});
        QVERIFY(!run.crashed);
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QCOMPARE(run.out.trimmed(), QFileInfo(shot).absoluteFilePath());
        const QImage image(shot);
        QCOMPARE(image.size(), QSize(320, 200));
    }

    void badDeviceSetNamesItsLine()
    {
        QTemporaryDir tmp;
        const QString devices = writeText(
            tmp, QStringLiteral("set.txt"), QStringLiteral("1 kalbar A 1\n1 kalbar B\n"));
        const Run run = runOrvelsim({QStringLiteral("--home"), tmp.filePath(QStringLiteral("home")),
            QStringLiteral("--plugin"), QStringLiteral(SIM_TEST_PLUGIN),
            QStringLiteral("--devices"), devices});
        QVERIFY(!run.crashed);
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(QStringLiteral("set.txt:2:")), qPrintable(run.err));
    }
};

QTEST_MAIN(TestOrvelsim)
#include "tst_orvelsim.moc"
