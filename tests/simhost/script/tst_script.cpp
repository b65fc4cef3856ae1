// The script runner, in-process: commands, waiting without blocking, errors by line,
// and commands added by other code.
#include "acqbytes.h"
#include "scriptoutcome.h"

#include <scriptrunner.h>
#include <simhost.h>
#include <timepixdevice.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <thread>

namespace { } // namespace

class TestScript : public QObject
{
    Q_OBJECT

private slots:
    void commandsActOnTheHost()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::ScriptRunner runner({&host, nullptr, nullptr});
        QVERIFY2(runner.loadText(QStringLiteral("# a session\n"
                                                "connect timepix kalbar W0087 87 chips=4\n"
                                                "connect 12 \"xray Tube2\" 1202   # a source\n"
                                                "lock kalbar W0087\n"
                                                "log warning \"tube warming up\" now\n"
                                                "unlock xray Tube2\n"
                                                "lock xray Tube2\n"
                                                "remove kalbar W0087\n"),
                     QStringLiteral("s.txt")),
            qPrintable(runner.error()));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 0);
        QCOMPARE(outcome.message, QString());
        QCOMPARE(host.deviceCount(), 1);
        const auto tube = host.deviceByName(QStringLiteral("xray Tube2"));
        QVERIFY(tube);
        QCOMPARE(tube->serial(), 1202u);
        QCOMPARE(tube->kind(), 12);
        QVERIFY(tube->locked());
        QVERIFY(host.logHistory().contains(QStringLiteral("warning: tube warming up now")));
    }

    void waitKeepsTheEventLoopRunning()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::ScriptRunner runner({&host, nullptr, nullptr});
        QVERIFY(
            runner.loadText(QStringLiteral("wait 300\nlog info after\n"), QStringLiteral("w.txt")));
        int ticks = 0;
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout, [&ticks]() { ++ticks; });
        ticker.start(20);
        QElapsedTimer clock;
        clock.start();
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 0);
        QVERIFY(clock.elapsed() >= 290);
        QVERIFY2(ticks >= 5, qPrintable(QString::number(ticks)));
        QVERIFY(host.logHistory().contains(QStringLiteral("info: after")));
    }

    void quitStopsBeforeTheRest()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::ScriptRunner runner({&host, nullptr, nullptr});
        QVERIFY(runner.loadText(
            QStringLiteral("log info one\nquit\nlog info two\n"), QStringLiteral("q.txt")));
        QCOMPARE(runScript(runner).code, 0);
        QVERIFY(host.logHistory().contains(QStringLiteral("info: one")));
        QVERIFY(!host.logHistory().contains(QStringLiteral("info: two")));
    }

    void checkErrorsNameTheLine_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("unknown") << "wait 1\n\nfrobnicate 3\n"
                                 << "c.txt:3: unknown command 'frobnicate'";
        QTest::newRow("count") << "wait\n"
                               << "c.txt:1: wrong number of arguments, usage: wait MS";
        QTest::newRow("quit") << "# x\nquit now\n"
                              << "c.txt:2: wrong number of arguments, usage: quit";
        QTest::newRow("quote") << "log info \"open\n"
                               << "c.txt:1: missing closing quote";
        QTest::newRow("end alone") << "log info a\nend\n"
                                   << "c.txt:2: 'end' without 'loop'";
        QTest::newRow("loop open") << "loop 2\nloop 3\nend\n# none\n"
                                   << "c.txt:1: 'loop' without 'end'";
        QTest::newRow("loop count") << "loop many\nend\n"
                                    << "c.txt:1: bad count 'many' (a whole number from 0 to "
                                       "1000000000)";
        QTest::newRow("loop negative") << "loop -1\nend\n"
                                       << "c.txt:1: bad count '-1' (a whole number from 0 to "
                                          "1000000000)";
        QTest::newRow("loop args") << "loop\nend\n"
                                   << "c.txt:1: wrong number of arguments, usage: loop COUNT";
        QTest::newRow("end args") << "loop 1\nend now\n"
                                  << "c.txt:2: wrong number of arguments, usage: end";
        QTest::newRow("armed timeout") << "waitarmed kalbar W0087 soon\n"
                                       << "c.txt:1: bad timeout 'soon' (milliseconds)";
        QTest::newRow("armed quoted") << "waitarmed \"kalbar W0087\" 10 20\n"
                                      << "c.txt:1: too many arguments after the device name";
        QTest::newRow("armed args")
            << "waitarmed\n"
            << "c.txt:1: wrong number of arguments, usage: waitarmed NAME [TIMEOUT_MS]";
        QTest::newRow("trigger args")
            << "trigger a b c\n"
            << "c.txt:1: wrong number of arguments, usage: trigger [NAME]";
        // A bad line inside a loop is found before anything runs.
        QTest::newRow("inside loop") << "loop 3\n  wait 1\n  frobnicate\nend\n"
                                     << "c.txt:3: unknown command 'frobnicate'";
    }

    void loopsRepeatAndNest()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::ScriptRunner runner({&host, nullptr, nullptr});
        QVERIFY2(runner.loadText(QStringLiteral("log info start\n"
                                                "loop 3\n"
                                                "  log info outer\n"
                                                "  loop 2\n"
                                                "    log info inner\n"
                                                "  end\n"
                                                "  loop 0\n"
                                                "    log info never\n"
                                                "  end\n"
                                                "end\n"
                                                "log info done\n"),
                     QStringLiteral("l.txt")),
            qPrintable(runner.error()));
        QCOMPARE(runScript(runner).code, 0);
        QStringList lines;
        for (const QString& line : host.logHistory()) {
            if (line.startsWith(QLatin1String("info: ")))
                lines << line.mid(6);
        }
        const QStringList expected {"start", "outer", "inner", "inner", "outer", "inner", "inner",
            "outer", "inner", "inner", "done"};
        QCOMPARE(lines, expected);
    }

    void loopsOfQuickCommandsLetTheEventLoopRun()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::ScriptRunner runner({&host, nullptr, nullptr});
        QVERIFY(runner.loadText(
            QStringLiteral("loop 20\nconnect 1 kalbar L1 9\nremove kalbar L1\nend\n"),
            QStringLiteral("h.txt")));
        // A timer of the window that wants every turn of the event loop gets one between
        // the rounds.
        int ticks = 0;
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout, [&ticks]() { ++ticks; });
        ticker.start(0);
        // Each device is a whole simulated detector: slow under the sanitizers.
        const ScriptOutcome outcome = runScript(runner, 120000);
        ticker.stop();
        QCOMPARE(outcome.code, 0);
        QVERIFY2(ticks >= 19, qPrintable(QString::number(ticks)));
        QCOMPARE(host.deviceCount(), 0);
    }

    void checkErrorsNameTheLine()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        sim::ScriptRunner runner({nullptr, nullptr, nullptr});
        QVERIFY(!runner.loadText(text, QStringLiteral("c.txt")));
        QCOMPARE(runner.error(), expected);
    }

    void runErrorsNameTheLine_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("remove") << "log info x\nremove kalbar NONE\nquit\n"
                                << "r.txt:2: no device 'kalbar NONE'";
        QTest::newRow("wait") << "wait soon\n"
                              << "r.txt:1: bad time 'soon' (milliseconds)";
        QTest::newRow("level")
            << "\nlog loud x\n"
            << "r.txt:2: bad log level 'loud' (debug, info, warning, error or 0-3)";
        QTest::newRow("kind") << "connect 99 a b 1\n"
                              << "r.txt:1: unknown device kind '99'";
        QTest::newRow("twice") << "connect 1 a b 1\nconnect 1 a b 2\n"
                               << "r.txt:2: device 'a b' is already connected";
        QTest::newRow("trigger nobody") << "log info x\ntrigger\n"
                                        << "r.txt:2: no connected device has a trigger input";
        QTest::newRow("trigger unknown") << "trigger kalbar NONE\n"
                                         << "r.txt:1: no device 'kalbar NONE'";
        QTest::newRow("trigger without input")
            << "connect timepix tornel B0009 9 chips=1 mpx2\ntrigger tornel B0009\n"
            << "r.txt:2: device 'tornel B0009' has no trigger input";
        QTest::newRow("armed without input")
            << "connect timepix tornel B0009 9 chips=1 mpx2\nwaitarmed tornel B0009\n"
            << "r.txt:2: device 'tornel B0009' has no trigger input";
        QTest::newRow("armed unknown") << "waitarmed kalbar NONE 10\n"
                                       << "r.txt:1: no device 'kalbar NONE'";
        QTest::newRow("never armed")
            << "connect timepix kalbar W0087 87 chips=1\nwaitarmed kalbar W0087 100\n"
            << "r.txt:2: device 'kalbar W0087' did not wait for a trigger within 100 ms";
    }

    void runErrorsNameTheLine()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::ScriptRunner runner({&host, nullptr, nullptr});
        QVERIFY2(runner.loadText(text, QStringLiteral("r.txt")), qPrintable(runner.error()));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 1);
        QCOMPARE(outcome.message, expected);
    }

    void addedCommandsCanWaitForAConditionOrTimeOut()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::ScriptRunner runner({&host, nullptr, nullptr});
        bool flag = false;
        QTimer::singleShot(150, [&flag]() { flag = true; });
        runner.addCommand({QStringLiteral("waitflag"), 1, 1, QStringLiteral("waitflag MS"),
            [&flag](const sim::ScriptLine& line) {
                return sim::ScriptStep::until([&flag]() { return flag; }, line.args.at(0).toInt(),
                    QStringLiteral("flag not set in time"));
            }});
        QVERIFY(runner.hasCommand(QStringLiteral("WaitFlag")));
        QVERIFY(runner.loadText(QStringLiteral("waitflag 3000\nlog info flagged\nwaitflag 0\n"),
            QStringLiteral("f.txt")));
        ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 0);
        QVERIFY(host.logHistory().contains(QStringLiteral("info: flagged")));

        flag = false;
        QVERIFY(runner.loadText(QStringLiteral("\nwaitflag 100\n"), QStringLiteral("g.txt")));
        outcome = runScript(runner);
        QCOMPARE(outcome.code, 1);
        QCOMPARE(outcome.message, QStringLiteral("g.txt:2: flag not set in time"));
    }

    void triggerCommandsDriveATriggeredMeasurement()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, 87);
        desc.chips = 1;
        desc.width = desc.height = 256;
        host.connectDevice(desc);
        const auto dev = std::dynamic_pointer_cast<sim::TimepixDevice>(host.deviceList().front());
        QVERIFY(dev);
        QCOMPARE(dev->name(), QStringLiteral("kalbar W0087"));
        // A measurement of two frames, each started by a trigger, on a thread of its own.
        acqbytes::Acq a;
        a.mode = 1;
        a.count = 2;
        const auto record = acqbytes::acqRecord(a);
        std::atomic<int> rc {1};
        std::thread worker(
            [&] { rc = dev->doAdvancedAcquisition(record.data(), nullptr, nullptr); });
        sim::ScriptRunner runner({&host, nullptr, nullptr});
        QVERIFY2(runner.loadText(QStringLiteral("waitarmed kalbar W0087 5000\n"
                                                "trigger kalbar W0087\n"
                                                "waitarmed \"kalbar W0087\"\n"
                                                "trigger\n"),
                     QStringLiteral("t.txt")),
            qPrintable(runner.error()));
        const ScriptOutcome outcome = runScript(runner, 10000);
        worker.join();
        QCOMPARE(outcome.code, 0);
        QCOMPARE(rc.load(), 0);
        QCOMPARE(dev->acqFrameCount(), 2);
        QCOMPARE(dev->triggerCount(), 2u);
        QCOMPARE(dev->params().find("TrgSource")->asText(), std::string("script"));
        QCOMPARE(host.logHistory().count(QStringLiteral(
                     "info: Trigger (script) to kalbar W0087: taken by its measurement")),
            2);
        // Idle, the trigger is counted and lost.
        QVERIFY(runner.loadText(QStringLiteral("trigger kalbar W0087\n"), QStringLiteral("u.txt")));
        QCOMPARE(runScript(runner).code, 0);
        QCOMPARE(dev->triggerCount(), 3u);
        QVERIFY(host.logHistory().contains(QStringLiteral(
            "info: Trigger (script) to kalbar W0087: no measurement was waiting for one (counted, "
            "not kept)")));
    }

    void commandsNeedingAHostFailWithoutOne()
    {
        sim::ScriptRunner runner({nullptr, nullptr, nullptr});
        QVERIFY(runner.loadText(QStringLiteral("wait 0\nlock a b\n"), QStringLiteral("n.txt")));
        const ScriptOutcome outcome = runScript(runner);
        QCOMPARE(outcome.code, 1);
        QCOMPARE(outcome.message, QStringLiteral("n.txt:2: no host to run this on"));
    }
};

QTEST_MAIN(TestScript)
#include "tst_script.moc"
