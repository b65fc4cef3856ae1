// The filter commands of scripts: "filterparam" sets one parameter of a device's
// filter, "filtergroup" makes or refills a group; their errors name the line and say
// why, as the filter itself says it.
#include "../filters/filterprobe.h"
#include "scriptoutcome.h"

#include <deviceset.h>
#include <filtercommands.h>
#include <scriptrunner.h>
#include <simhost.h>

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Loads and runs a script on the host; the load error, if any, is the message.
ScriptOutcome runScript(sim::SimHost& host, const QString& text)
{
    sim::ScriptContext context;
    context.host = &host;
    sim::ScriptRunner runner(context);
    sim::addFilterCommands(runner);
    return runScriptText(runner, text, 5000);
}

} // namespace

class TestFilterCommands : public QObject
{
    Q_OBJECT

private slots:
    void setsParametersAndGroups()
    {
        QTemporaryDir home;
        QTemporaryDir data;
        // A text matrix with its description, as the host saves frames.
        QVERIFY(
            filterprobe::writeDoubleFrame(data.filePath(QStringLiteral("dark.txt")).toStdString(),
                2, 2, {1, 1, 1, 1}, sim::FileTypeTextFrame));
        sim::SimHost host(home.path());
        ov::IDev* dev = host.connectDevice(sim::makeDeviceDesc(ov::DevKindTpx3, 801));
        const QString name = host.deviceFor(dev)->name();
        filterprobe::EventCounter events;
        events.watch(dev);
        // Relative frame files are taken from the current folder.
        const QString before = QDir::currentPath();
        QDir::setCurrent(data.path());
        const ScriptOutcome outcome = runScript(host,
            QStringLiteral("filterparam %1 \"Hot Pixel Mask\" Sigma 2.5\n"
                           "filterparam \"%1\" \"Dark Subtraction\" File dark.txt\n"
                           "filtergroup %1 Clean \"Dark Subtraction\" \"Median 3x3\"\n"
                           "filtergroup %1 Clean \"Binning 2x2\" \"Binning 2x2\" \"Median 3x3\"\n"
                           "filtergroup %1 Nothing\n")
                .arg(name));
        QDir::setCurrent(before);
        QCOMPARE(outcome.message, QString());
        QCOMPARE(outcome.code, 0);
        const auto filters = host.filterMgr().filtersOf(dev);
        QCOMPARE(filters->single("Hot Pixel Mask")->params().find("Sigma")->asDouble(), 2.5);
        QCOMPARE(QString::fromStdString(
                     filters->single("Dark Subtraction")->params().find("File")->asText()),
            data.filePath(QStringLiteral("dark.txt")));
        QCOMPARE(filters->group("Clean")->members(),
            (std::vector<std::string> {"Binning 2x2", "Binning 2x2", "Median 3x3"}));
        QVERIFY(filters->group("Nothing")->members().empty());
        QCOMPARE(filters->groupNames(), (std::vector<std::string> {"Clean", "Nothing"}));
        // Clean made and filled, refilled; Nothing made.
        QCOMPARE(events.count.load(), 4);
    }

    void errors_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("said");
        QTest::newRow("no device") << "filterparam kalbar X9999 \"Flat Field\" File x.bin"
                                   << "test.orvs:1: no device 'kalbar X9999'";
        QTest::newRow("no such filter") << "filterparam DEV Sharpen Amount 2"
                                        << "test.orvs:1: no filter 'Sharpen'";
        QTest::newRow("no such parameter") << "filterparam DEV \"Median 3x3\" Size 5"
                                           << "has no parameter \"Size\" (it has: none)";
        QTest::newRow("unreadable file")
            << "filterparam DEV \"Flat Field\" File /no/such/flat.bin"
            << "Flat Field: parameter File: Cannot read frame file /no/such/flat.bin";
        QTest::newRow("out of range") << "filterparam DEV \"Hot Pixel Mask\" Radius 11"
                                      << "Radius: 11 refused: outside 1..10";
        QTest::newRow("unknown member") << "filtergroup DEV G \"Median 3x3\" Sharpen"
                                        << "test.orvs:1: no filter 'Sharpen' to put in a group";
        QTest::newRow("group named like a filter") << "filtergroup DEV \"Flat Field\""
                                                   << "cannot name a group";
        QTest::newRow("group parameters")
            << "filtergroup DEV G\nfilterparam DEV G Anything 1"
            << "test.orvs:2: 'G' is a filter group, which has no parameters";
        QTest::newRow("too few words") << "filterparam DEV \"Median 3x3\" Size"
                                       << "test.orvs:1: usage: filterparam DEVICE FILTER PARAM";
        QTest::newRow("not a detector") << "filtergroup MOTOR G"
                                        << "has no filters";
    }
    void errors()
    {
        QFETCH(QString, line);
        QFETCH(QString, said);
        QTemporaryDir home;
        sim::SimHost host(home.path());
        ov::IDev* dev = host.connectDevice(sim::makeDeviceDesc(ov::DevKindTpx3, 901));
        ov::IDev* motor = host.connectDevice(sim::makeDeviceDesc(ov::DevKindMotor, 902));
        line.replace(
            QLatin1String("MOTOR"), QStringLiteral("\"%1\"").arg(host.deviceFor(motor)->name()));
        line.replace(QLatin1String("DEV"), host.deviceFor(dev)->name());
        const ScriptOutcome outcome = runScript(host, line);
        QVERIFY2(outcome.message.contains(said), qPrintable(outcome.message));
        QVERIFY(outcome.code != 0);
        // Nothing half done: the group of a refused member list was not made.
        QVERIFY(!host.filterMgr().filtersOf(dev)->group("Flat Field"));
        if (!line.contains(QLatin1String("\nfilterparam")))
            QVERIFY(host.filterMgr().filtersOf(dev)->groupNames().empty());
    }
};

QTEST_MAIN(TestFilterCommands)
#include "tst_filtercommands.moc"
