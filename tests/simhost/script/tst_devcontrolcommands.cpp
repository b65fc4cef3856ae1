// The detector commands of scripts: what they hand to the plug-in's interface, their
// value checks at load time and run-time errors naming the line, waiting until the page
// is idle, and the host's own measurement with saving and checking its frames.
#include "scriptoutcome.h"
#include <devcontrolcommands.h>
#include <scriptrunner.h>
#include <simhost.h>

#include <ovdetector.h>

#include <ovplugin.h>

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <atomic>

namespace {

// Records every call as text ("setAcqParams 5 0.25") and answers with set values.
class RecordingControl final : public ov::IDevControl
{
public:
    QStringList calls;
    ov::IDev* lastDev = nullptr;
    int code = 0;
    std::atomic<int> running {0};
    int lastResult = 0;

    unsigned getObjectID() const override { return 7; }
    const char* getObjectName() const override { return "RecordingControl"; }
    int showFrame(ov::IDev* dev, ov::IMpxFrame*) override { return note(dev, "showFrame"); }
    int setOutputFile(ov::IDev* dev, const ov::IFilePath* path, bool enabled) override
    {
        return note(dev,
            QStringLiteral("setOutputFile %1 %2").arg(QString::fromUtf8(path->get())).arg(enabled));
    }
    int setAcqParams(ov::IDev* dev, int count, double time) override
    {
        return note(dev, QStringLiteral("setAcqParams %1 %2").arg(count).arg(time));
    }
    int setAcqType(ov::IDev* dev, int type) override
    {
        return note(dev, QStringLiteral("setAcqType %1").arg(type));
    }
    int setRepeat(ov::IDev* dev, int count, bool enabled) override
    {
        return note(dev, QStringLiteral("setRepeat %1 %2").arg(count).arg(enabled));
    }
    int start(ov::IDev* dev) override { return note(dev, "start"); }
    int stop(ov::IDev* dev) override { return note(dev, "stop"); }
    int isRunning(ov::IDev*) override { return running.load(); }
    int setColorMap(ov::IDev* dev, int index) override
    {
        return note(dev, QStringLiteral("setColorMap %1").arg(index));
    }
    int setRange(ov::IDev* dev, double min, double max) override
    {
        return note(dev, QStringLiteral("setRange %1 %2").arg(min).arg(max));
    }
    int setWindowAll(ov::IDev* dev, int value) override
    {
        return note(dev, QStringLiteral("setWindowAll %1").arg(value));
    }
    int setCurrentSubFrame(ov::IDev* dev, int index) override
    {
        return note(dev, QStringLiteral("setCurrentSubFrame %1").arg(index));
    }
    int setAcqMode(ov::IDev* dev, int mode) override
    {
        return note(dev, QStringLiteral("setAcqMode %1").arg(mode));
    }
    int setRepeatFileParams(ov::IDev* dev, unsigned flags, int digits) override
    {
        return note(dev, QStringLiteral("setRepeatFileParams %1 %2").arg(flags).arg(digits));
    }
    int setOutputFlags(ov::IDev* dev, unsigned flags) override
    {
        return note(dev, QStringLiteral("setOutputFlags %1").arg(flags));
    }
    int setRefreshParams(ov::IDev* dev, bool dacs, bool pixCfg) override
    {
        return note(dev, QStringLiteral("setRefreshParams %1 %2").arg(dacs).arg(pixCfg));
    }
    int lastAcqResult(ov::IDev*) override { return lastResult; }
    int show(bool visible) override
    {
        return note(nullptr, QStringLiteral("show %1").arg(visible));
    }

private:
    int note(ov::IDev* dev, const QString& call)
    {
        lastDev = dev;
        calls << call;
        return code;
    }
};

// A host with one small Timepix (one chip, 256 x 256) and a motor.
struct Bench
{
    Bench()
    {
        sim::DeviceDesc desc;
        QString why;
        parseDeviceWords(QStringLiteral("timepix kalbar W0087 87 chips=1").split(' '), &desc, &why);
        host.connectDevice(desc);
        parseDeviceWords(QStringLiteral("motor motors X 11").split(' '), &desc, &why);
        host.connectDevice(desc);
    }
    ov::IDev* detector() const { return host.deviceByName(QStringLiteral("kalbar W0087"))->dev(); }

    QTemporaryDir tmp;
    sim::SimHost host {tmp.path()};
    RecordingControl control;
};

} // namespace

class TestDevControlCommands : public QObject
{
    Q_OBJECT

private slots:
    void callsReachTheInterface()
    {
        Bench bench;
        sim::ScriptRunner runner({&bench.host, nullptr, &bench.control});
        sim::addDevControlCommands(runner);
        const QString out = QDir::current().absoluteFilePath(QStringLiteral("out/f.txt"));
        QVERIFY2(runner.loadText(QStringLiteral("device kalbar W0087\n"
                                                "params 5 0.25\n"
                                                "acqtype integral\nacqtype 4\n"
                                                "acqtype pixels\nacqtype pixelstestpulses\n"
                                                "acqmode 0x11\n"
                                                "repeat 3\nrepeat off\n"
                                                "repeatfiles 5 3\n"
                                                "refresh on off\n"
                                                "output out/f.txt 4\noutput off\n"
                                                "start\nstop\n"
                                                "colormap hot\ncolormap 6\n"
                                                "range -2 100.5\n"
                                                "autorange on\nautorange off\n"
                                                "subframe 2\n"
                                                "show\nhide\n"),
                     QStringLiteral("s.orvs")),
            qPrintable(runner.error()));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.message, QString());
        QCOMPARE(outcome.code, 0);
        const QStringList expected {"setAcqParams 5 0.25", "setAcqType 1", "setAcqType 4",
            "setAcqType 3", "setAcqType 5", "setAcqMode 17", "setRepeat 3 1", "setRepeat 0 0",
            "setRepeatFileParams 5 3", "setRefreshParams 1 0", "setOutputFile " + out + " 1",
            "setOutputFlags 4", "setOutputFile " + out + " 0", "start", "stop", "setColorMap 3",
            "setColorMap 6", "setRange -2 100.5", "setWindowAll 1", "setWindowAll 0",
            "setCurrentSubFrame 2", "show 1", "show 0"};
        QCOMPARE(bench.control.calls, expected);
    }

    void callsGoToTheSelectedDevice()
    {
        Bench bench;
        sim::ScriptRunner runner({&bench.host, nullptr, &bench.control});
        sim::addDevControlCommands(runner);
        QVERIFY(runner.loadText(QStringLiteral("device kalbar W0087\nstart\n"), "d.orvs"));
        QCOMPARE(runScript(runner).code, 0);
        QCOMPARE(bench.control.lastDev, bench.detector());
    }

    void nonZeroCodesAreErrorsNamingTheLine()
    {
        Bench bench;
        bench.control.code = -3;
        sim::ScriptRunner runner({&bench.host, nullptr, &bench.control});
        sim::addDevControlCommands(runner);
        QVERIFY(runner.loadText(
            QStringLiteral("device kalbar W0087\n\nparams 2 1\ncolormap jet\n"), "r.orvs"));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 1);
        QCOMPARE(outcome.message, QStringLiteral("r.orvs:3: setAcqParams failed with code -3"));
        QCOMPARE(bench.control.calls, QStringList {"setAcqParams 2 1"});
    }

    void checkErrorsNameTheLine_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("count") << "device a b\nparams 0 1\n"
                               << "c.orvs:2: bad number '0' (a whole number from 1)";
        QTest::newRow("time") << "params 3 soon\n"
                              << "c.orvs:1: bad number 'soon' (at least 0)";
        QTest::newRow("args") << "params 3\n"
                              << "c.orvs:1: wrong number of arguments, usage: params COUNT SECONDS";
        QTest::newRow("map") << "# maps\ncolormap pink\n"
                             << "c.orvs:2: unknown colour map 'pink' (gray, jet, jetwhite, hot, "
                                "cool, hsl, coolwarm, invertgray or 0-7)";
        QTest::newRow("type") << "acqtype 6\n"
                              << "c.orvs:1: unknown acquisition type '6' (frames, integral, "
                                 "testpulses, pixels, integraltestpulses, pixelstestpulses or 0 "
                                 "to 5)";
        QTest::newRow("range") << "range 5 5\n"
                               << "c.orvs:1: empty range 5 to 5 (the maximum must exceed the "
                                  "minimum)";
        QTest::newRow("switch") << "autorange maybe\n"
                                << "c.orvs:1: bad switch 'maybe' (on or off)";
        QTest::newRow("picture") << "save shot.png\n"
                                 << "c.orvs:1: no data file type for 'shot.png' (name it .txt, "
                                    ".bin or .mfd, or give the type)";
        QTest::newRow("flag") << "save a.mfd mfd binary loud\n"
                              << "c.orvs:1: bad file flag 'loud' (binary, sparse, nodsc or a "
                                 "number)";
        QTest::newRow("expect") << "expect colour 3\n"
                                << "c.orvs:1: cannot expect 'colour' (result, frames, time or "
                                   "running)";
        QTest::newRow("timeout") << "waitidle -1\n"
                                 << "c.orvs:1: bad number '-1' (a whole number from 0)";
        QTest::newRow("digits") << "repeatfiles 1 12\n"
                                << "c.orvs:1: bad number '12' (a whole number from 0 to 9)";
        QTest::newRow("flags") << "acqmode 0x1FFFFFFFF\n"
                               << "c.orvs:1: bad flags '0x1FFFFFFFF' (a number, 0x for "
                                  "hexadecimal)";
    }

    void checkErrorsNameTheLine()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        RecordingControl control;
        sim::ScriptRunner runner({nullptr, nullptr, &control});
        sim::addDevControlCommands(runner);
        QVERIFY(!runner.loadText(text, QStringLiteral("c.orvs")));
        QCOMPARE(runner.error(), expected);
        QVERIFY(control.calls.isEmpty());
    }

    void runErrorsNameTheLine_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("withPlugin");
        QTest::addColumn<QString>("expected");
        QTest::newRow("none selected")
            << "start\n"
            << true << "r.orvs:1: no device selected (use 'device NAME')";
        QTest::newRow("unknown") << "log info x\ndevice kalbar W0001\n"
                                 << true << "r.orvs:2: no device 'kalbar W0001'";
        QTest::newRow("motor") << "device motors X\n"
                               << true << "r.orvs:1: device 'motors X' is not a detector";
        QTest::newRow("removed") << "device kalbar W0087\nremove kalbar W0087\nstop\n"
                                 << true << "r.orvs:3: device 'kalbar W0087' is not connected";
        QTest::newRow("no plug-in") << "device kalbar W0087\ncolormap hot\n"
                                    << false << "r.orvs:2: no plug-in interface to drive";
        QTest::newRow("nothing measured") << "device kalbar W0087\nsave a.mfd\n"
                                          << false << "r.orvs:2: no measured frames to save";
        QTest::newRow("no frames")
            << "device kalbar W0087\nexpect frames 2\n"
            << false << "r.orvs:2: expected 2 measured frame(s), the device holds 0";
        QTest::newRow("result") << "device kalbar W0087\nexpect result 0\n"
                                << true
                                << "r.orvs:2: expected the last measurement to end with 0, it "
                                   "ended with -1007";
        QTest::newRow("locked") << "device kalbar W0087\nlock kalbar W0087\nacquire 1 0\n"
                                << false << "r.orvs:3: host measurement failed with code -1009";
    }

    void runErrorsNameTheLine()
    {
        QFETCH(QString, text);
        QFETCH(bool, withPlugin);
        QFETCH(QString, expected);
        Bench bench;
        bench.control.lastResult = -1007;
        sim::ScriptRunner runner({&bench.host, nullptr, withPlugin ? &bench.control : nullptr});
        sim::addDevControlCommands(runner);
        QVERIFY2(runner.loadText(text, QStringLiteral("r.orvs")), qPrintable(runner.error()));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 1);
        QCOMPARE(outcome.message, expected);
    }

    void waitIdleWaitsWhileThePageMeasures()
    {
        Bench bench;
        bench.control.running = 1;
        sim::ScriptRunner runner({&bench.host, nullptr, &bench.control});
        sim::addDevControlCommands(runner);
        QVERIFY(runner.loadText(
            QStringLiteral("device kalbar W0087\nexpect running yes\nwaitidle 5000\n"
                           "expect running no\n"),
            "w.orvs"));
        QTimer::singleShot(300, [&bench]() { bench.control.running = 0; });
        QElapsedTimer clock;
        clock.start();
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.message, QString());
        QCOMPARE(outcome.code, 0);
        QVERIFY(clock.elapsed() >= 290);
    }

    void waitIdleTimesOut()
    {
        Bench bench;
        bench.control.running = 1;
        sim::ScriptRunner runner({&bench.host, nullptr, &bench.control});
        sim::addDevControlCommands(runner);
        QVERIFY(runner.loadText(QStringLiteral("device kalbar W0087\n\nwaitidle 100\n"), "w.orvs"));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 1);
        QCOMPARE(outcome.message, QStringLiteral("w.orvs:3: still measuring after 100 ms"));
    }

    void waitIdleGivesAStartTimeToBegin()
    {
        // The page reports running only a little after start, as its measurement thread
        // takes a moment; waitidle must not take the gap for the end.
        Bench bench;
        sim::ScriptRunner runner({&bench.host, nullptr, &bench.control});
        sim::addDevControlCommands(runner);
        QVERIFY(runner.loadText(
            QStringLiteral("device kalbar W0087\nstart\nwaitidle 5000\n"), "g.orvs"));
        QTimer::singleShot(150, [&bench]() { bench.control.running = 1; });
        QTimer::singleShot(400, [&bench]() { bench.control.running = 0; });
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(runScript(runner).code, 0);
        QVERIFY(clock.elapsed() >= 390);
    }

    void hostMeasurementIsSavedAndChecked()
    {
        Bench bench;
        QTemporaryDir out;
        QVERIFY(QDir::setCurrent(out.path()));
        sim::ScriptRunner runner({&bench.host, nullptr, nullptr});
        sim::addDevControlCommands(runner);
        QVERIFY2(runner.loadText(QStringLiteral("device kalbar W0087\n"
                                                "acquire 3 0.01\n"
                                                "expect frames 3\n"
                                                "expect time 0.01\n"
                                                "save all.mfd\n"
                                                "save packed.dat mfd binary sparse\n"
                                                "save one/frame.txt\n"
                                                "save bin 3\n"),
                     QStringLiteral("m.orvs")),
            qPrintable(runner.error()));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.message, QString());
        QCOMPARE(outcome.code, 0);

        ov::IDataMgr* mgr = bench.host.dataMgr();
        for (const char* name : {"all.mfd", "packed.dat"}) {
            ov::FilePath path(QDir(out.path()).filePath(name).toUtf8().constData());
            QCOMPARE(mgr->frameCountInFile(&path), 3);
            ov::IData* data = mgr->loadData(&path, 2);
            QVERIFY(data);
            QCOMPARE(data->frameAt(0)->width(), 256u);
            QCOMPARE(data->frameAt(0)->height(), 256u);
            QVERIFY(data->frameAt(0)->regionTotal(nullptr) > 0.0);
            data->decRef();
        }
        // A single-frame type: one numbered file per frame, each with its description.
        const QStringList texts = QDir(out.filePath("one")).entryList({"*.txt"}, QDir::Files);
        QCOMPARE(texts.size(), 3);
        QCOMPARE(QDir(out.filePath("one")).entryList({"*.dsc"}, QDir::Files).size(), 3);
        const QStringList bins {"bin_0", "bin_0.dsc", "bin_1", "bin_1.dsc", "bin_2", "bin_2.dsc"};
        QCOMPARE(QDir(out.path()).entryList({"bin*"}, QDir::Files, QDir::Name), bins);
        ov::FilePath binary(out.filePath("bin_2").toUtf8().constData());
        ov::IData* last = mgr->loadData(&binary, 0);
        QVERIFY(last);
        QCOMPARE(last->frameAt(0)->acqTime(), 0.01);
        last->decRef();
        QVERIFY(QDir::setCurrent(QDir::tempPath()));
    }

    void expectSaysWhatItFound()
    {
        Bench bench;
        sim::ScriptRunner runner({&bench.host, nullptr, nullptr});
        sim::addDevControlCommands(runner);
        QVERIFY(runner.loadText(
            QStringLiteral("device kalbar W0087\nacquire 2 0.002\nexpect time 0.5\n"), "e.orvs"));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 1);
        QCOMPARE(outcome.message,
            QStringLiteral("e.orvs:3: expected a frame of 0.5 s, the last one took 0.002 s"));
    }
};

QTEST_MAIN(TestDevControlCommands)
#include "tst_devcontrolcommands.moc"
