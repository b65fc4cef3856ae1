// Settings of the simulated host: core settings, module settings per device, their
// files, and what happens to missing or damaged files.
#include <coresettings.h>
#include <deviceset.h>
#include <inifile.h>
#include <livecounter.h>
#include <simhost.h>

#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QStringList g_log;

void collectLog(unsigned level, const char* text, long)
{
    g_log << QStringLiteral("%1 %2").arg(level).arg(QString::fromUtf8(text));
}

int countLines(const QString& part)
{
    int n = 0;
    for (const QString& line : g_log)
        n += line.contains(part) ? 1 : 0;
    return n;
}

void writeFile(const QString& path, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QString stringOf(ov::ISettings* s, const char* section, const char* key, const char* def = "")
{
    ov::String out;
    s->getString(section, key, def, &out);
    return QString::fromUtf8(out.get());
}

sim::DeviceDesc quad()
{
    return sim::defaultDeviceSet().front();
}

} // namespace

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void init() { g_log.clear(); }

    void homeFolderIsLaidOut()
    {
        QTemporaryDir tmp;
        const QString home = tmp.filePath(QStringLiteral("a/b/orvel"));
        {
            sim::SimHost host(home);
            QVERIFY2(host.error().isEmpty(), qPrintable(host.error()));
        }
        for (const char* sub : {"samples", "help", "settings", "devices"})
            QVERIFY2(QFileInfo(home + QLatin1Char('/') + QLatin1String(sub)).isDir(), sub);
        QVERIFY(QFileInfo::exists(home + QStringLiteral("/orvel.ini")));
    }

    void homeThatIsAFileIsReported()
    {
        QTemporaryDir tmp;
        const QString file = tmp.filePath(QStringLiteral("plain"));
        writeFile(file, "x");
        sim::SimHost host(file);
        QVERIFY(host.error().contains(QStringLiteral("not a folder")));
    }

    void coreSettingsDefaultsAreWrittenAndReadable()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::ICoreSettings* core = host.settingsStore();
        QVERIFY(core);
        ov::String value;
        QCOMPARE(core->getString("MainUi", &value), 0);
        QCOMPARE(QString::fromUtf8(value.get()), QStringLiteral("devcontrol"));
        QCOMPARE(core->getString("Version", &value), 0);
        QVERIFY(QRegularExpression(QStringLiteral("^\\d+\\.\\d+\\.\\d+$"))
                    .match(QString::fromUtf8(value.get()))
                    .hasMatch());
        QCOMPARE(core->getString("ApplicationDirectory", &value), 0);
        QCOMPARE(QString::fromUtf8(value.get()), QDir(tmp.path()).absolutePath());
        QCOMPARE(core->getBool("CreateFileDevice"), false);
        QCOMPARE(core->getString("NoSuchKey", &value), -1);
        QCOMPARE(QString::fromUtf8(value.get()), QString());

        // The plug-in reads MaxFrameMemory straight from the file with QSettings, in
        // group "Settings".
        QSettings ini(tmp.filePath(QStringLiteral("orvel.ini")), QSettings::IniFormat);
        QCOMPARE(ini.value(QStringLiteral("Settings/MaxFrameMemory")).toInt(), 4096);
        QVERIFY(!ini.contains(QStringLiteral("MaxFrameMemory")));
        QCOMPARE(ini.value(QStringLiteral("MainUi")).toString(), QStringLiteral("devcontrol"));
    }

    void coreSettingsKeepUserValues()
    {
        QTemporaryDir tmp;
        writeFile(tmp.filePath(QStringLiteral("orvel.ini")),
            "[General]\nMainUi=otherui\nCreateFileDevice=true\n");
        sim::SimHost host(tmp.path());
        ov::String value;
        host.settingsStore()->getString("MainUi", &value);
        QCOMPARE(QString::fromUtf8(value.get()), QStringLiteral("otherui"));
        QCOMPARE(host.settingsStore()->getBool("CreateFileDevice"), true);
        // Missing keys were added to the file.
        QSettings ini(tmp.filePath(QStringLiteral("orvel.ini")), QSettings::IniFormat);
        QCOMPARE(ini.value(QStringLiteral("Settings/MaxFrameMemory")).toInt(), 4096);
        QCOMPARE(ini.value(QStringLiteral("MainUi")).toString(), QStringLiteral("otherui"));
    }

    void frameMemoryLimitIsReadFromItsGroup()
    {
        QTemporaryDir tmp;
        writeFile(tmp.filePath(QStringLiteral("orvel.ini")),
            "[General]\nMainUi=devcontrol\n[Settings]\nMaxFrameMemory=333\n");
        sim::SimHost host(tmp.path());
        QCOMPARE(
            host.coreSettings().value(QStringLiteral("MaxFrameMemory")), QStringLiteral("333"));
        QVERIFY(
            host.coreSettings().setValue(QStringLiteral("MaxFrameMemory"), QStringLiteral("444")));
        QSettings ini(tmp.filePath(QStringLiteral("orvel.ini")), QSettings::IniFormat);
        QCOMPARE(ini.value(QStringLiteral("Settings/MaxFrameMemory")).toInt(), 444);
    }

    void corruptCoreSettingsAreReplaced()
    {
        QTemporaryDir tmp;
        writeFile(tmp.filePath(QStringLiteral("orvel.ini")), "[General\nMainUi=x\n\x01\x02garbage");
        sim::SimHost host(tmp.path());
        QVERIFY(host.error().isEmpty());
        const QStringList history = host.logHistory();
        QCOMPARE(history.filter(QStringLiteral("corrupt")).size(), 1);
        ov::String value;
        host.settingsStore()->getString("MainUi", &value);
        QCOMPARE(QString::fromUtf8(value.get()), QStringLiteral("devcontrol"));
    }

    void settingsPersistAcrossHostLifetimes()
    {
        QTemporaryDir tmp;
        {
            sim::SimHost host(tmp.path());
            ov::IDev* dev = host.connectDevice(quad());
            ov::ISettings* s = host.moduleSettings("devcontrol", dev, 0);
            QVERIFY(s);
            QCOMPARE(s->setInt("Acq", "count", 17), 0);
            s->setDouble("Acq", "time", 0.125);
            s->setBool("View", "grid", true);
            s->setString("Image", "colorMap", "hot = 2; [x]\nnext line \\ end ");
            ov::ISettings* generic = host.moduleSettings("devcontrol", nullptr, 0);
            generic->setInt("Acq", "count", 3);
            // No save(): shutting the host down saves everything.
        }
        QVERIFY(QFileInfo::exists(
            tmp.filePath(QStringLiteral("settings/devcontrol/kalbar_W0512_sn512.ini"))));
        QVERIFY(QFileInfo::exists(tmp.filePath(QStringLiteral("settings/devcontrol/generic.ini"))));
        {
            sim::SimHost host(tmp.path());
            ov::IDev* dev = host.connectDevice(quad());
            ov::ISettings* s = host.moduleSettings("devcontrol", dev, 0);
            QCOMPARE(s->getInt("Acq", "count", -1), 17);
            QCOMPARE(s->getDouble("Acq", "time", -1.0), 0.125);
            QCOMPARE(s->getBool("View", "grid", false), true);
            QCOMPARE(stringOf(s, "Image", "colorMap"),
                QStringLiteral("hot = 2; [x]\nnext line \\ end "));
            QCOMPARE(host.moduleSettings("devcontrol", nullptr, 0)->getInt("Acq", "count", -1), 3);
        }
    }

    void saveAndLoadWorkOnTheFile()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::IDev* dev = host.connectDevice(quad());
        ov::ISettings* s = host.moduleSettings("devcontrol", dev, 0);
        s->setInt("Acq", "count", 5);
        QCOMPARE(s->save(), 0);
        const QString path
            = tmp.filePath(QStringLiteral("settings/devcontrol/kalbar_W0512_sn512.ini"));
        sim::ini::Values values;
        QCOMPARE(sim::ini::readFile(path, values).status, sim::ini::Status::Ok);
        QCOMPARE(values[QStringLiteral("Acq")][QStringLiteral("count")], QStringLiteral("5"));

        // Changed behind the host's back: load() picks it up, unsaved changes are gone.
        values[QStringLiteral("Acq")][QStringLiteral("count")] = QStringLiteral("9");
        QVERIFY(sim::ini::writeFile(path, values, nullptr));
        s->setInt("Acq", "count", 6);
        QCOMPARE(s->load(), 0);
        QCOMPARE(s->getInt("Acq", "count", -1), 9);
    }

    void getReturnsDefaultsWhenAbsentOrMalformed()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::ISettings* s = host.moduleSettings("devcontrol", nullptr, 0);
        QCOMPARE(s->getInt("X", "none", 42), 42);
        QCOMPARE(s->getDouble("X", "none", 1.5), 1.5);
        QCOMPARE(s->getBool("X", "none", true), true);
        QCOMPARE(stringOf(s, "X", "none", "fallback"), QStringLiteral("fallback"));
        s->setString("X", "text", "abc");
        QCOMPARE(s->getInt("X", "text", 7), 7);
        QCOMPARE(s->getBool("X", "text", false), false);
        QCOMPARE(s->getString("X", "text", "", nullptr), -1);
    }

    void sameObjectForSamePairAndReferenceCount()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        const auto set = sim::defaultDeviceSet();
        ov::IDev* a = host.connectDevice(set.at(0));
        ov::IDev* b = host.connectDevice(set.at(1));
        ov::ISettings* sa = host.moduleSettings("devcontrol", a, 0);
        QCOMPARE(host.moduleSettings("devcontrol", a, 0), sa);
        QVERIFY(host.moduleSettings("devcontrol", b, 0) != sa);
        QVERIFY(host.moduleSettings("other", a, 0) != sa);
        QVERIFY(host.moduleSettings("", a, 0) == nullptr);
        auto* store = static_cast<sim::SimSettings*>(sa);
        QCOMPARE(store->references(), 2);
        sa->release();
        sa->release();
        sa->release(); // one too many: harmless
        QCOMPARE(store->references(), 0);
        // Still owned by the host and usable.
        sa->setInt("A", "b", 1);
        QCOMPARE(sa->getInt("A", "b", 0), 1);
    }

    void newDeviceStartsFromGenericSettings()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        ov::ISettings* generic = host.moduleSettings("devcontrol", nullptr, 0);
        generic->setString("View", "layout", "compact");
        generic->setInt("Acq", "count", 4);

        ov::IDev* dev = host.connectDevice(quad());
        ov::ISettings* s = host.moduleSettings("devcontrol", dev, 0);
        QCOMPARE(stringOf(s, "View", "layout"), QStringLiteral("compact"));
        QCOMPARE(s->getInt("Acq", "count", 0), 4);
        // A copy: changing one leaves the other alone.
        s->setInt("Acq", "count", 8);
        QCOMPARE(generic->getInt("Acq", "count", 0), 4);

        // A device that has a file of its own does not take the generic values.
        sim::DeviceDesc other = sim::defaultDeviceSet().at(1);
        writeFile(
            tmp.filePath(QStringLiteral("settings/devcontrol/%1.ini")
                             .arg(sim::SettingsRegistry::deviceKey(other.name, other.serial))),
            "[Acq]\ncount=11\n");
        ov::ISettings* own = host.moduleSettings("devcontrol", host.connectDevice(other), 0);
        QCOMPARE(own->getInt("Acq", "count", 0), 11);
        QCOMPARE(stringOf(own, "View", "layout", "none"), QStringLiteral("none"));
    }

    void corruptDeviceFileIsLoggedOnceAndReplacedByDefaults()
    {
        QTemporaryDir tmp;
        const sim::DeviceDesc desc = quad();
        const QString path
            = tmp.filePath(QStringLiteral("settings/devcontrol/kalbar_W0512_sn512.ini"));
        writeFile(path, QByteArray("[Acq]\ncount=5\n\0\0\xff binary junk", 30));
        writeFile(
            tmp.filePath(QStringLiteral("settings/devcontrol/generic.ini")), "[Acq]\ncount=2\n");
        {
            sim::SimHost host(tmp.path());
            host.registerLogCallback(&collectLog, nullptr);
            ov::IDev* dev = host.connectDevice(desc);
            ov::ISettings* s = host.moduleSettings("devcontrol", dev, 0);
            QVERIFY(s);
            QCOMPARE(countLines(QStringLiteral("could not be read")), 1);
            QVERIFY(countLines(path) == 1);
            // The defaults of a device are the generic settings.
            QCOMPARE(s->getInt("Acq", "count", -1), 2);
            // Reading the damaged file again is not reported again.
            QCOMPARE(s->load(), -1);
            host.moduleSettings("devcontrol", dev, 0);
            QCOMPARE(countLines(QStringLiteral("could not be read")), 1);
            s->setInt("Acq", "count", 6);
            QCOMPARE(s->save(), 0);
            QCOMPARE(s->load(), 0);
            QCOMPARE(s->getInt("Acq", "count", -1), 6);
            host.unregisterLogCallback(&collectLog, nullptr);
        }
        sim::ini::Values values;
        QCOMPARE(sim::ini::readFile(path, values).status, sim::ini::Status::Ok);
        QCOMPARE(values[QStringLiteral("Acq")][QStringLiteral("count")], QStringLiteral("6"));
    }

    void iniCodecFindsDamageAndRoundTrips()
    {
        sim::ini::Values values;
        QCOMPARE(sim::ini::parse("[A]\nx=1\n", values).status, sim::ini::Status::Ok);
        QCOMPARE(values[QStringLiteral("A")][QStringLiteral("x")], QStringLiteral("1"));
        QCOMPARE(
            sim::ini::parse("k=v\n; comment\n# other\n\n", values).status, sim::ini::Status::Ok);
        QCOMPARE(values[QStringLiteral("General")][QStringLiteral("k")], QStringLiteral("v"));

        const sim::ini::ReadResult noSeparator = sim::ini::parse("[A]\nx=1\njust text\n", values);
        QCOMPARE(noSeparator.status, sim::ini::Status::Corrupt);
        QVERIFY(noSeparator.message.startsWith(QStringLiteral("line 3:")));
        QVERIFY(values.isEmpty());
        QCOMPARE(sim::ini::parse("[A\nx=1\n", values).status, sim::ini::Status::Corrupt);
        QCOMPARE(sim::ini::parse("[A]\n=1\n", values).status, sim::ini::Status::Corrupt);
        QCOMPARE(sim::ini::parse("[A]\nx=\xff\xfe\n", values).status, sim::ini::Status::Corrupt);

        sim::ini::Values odd;
        odd[QStringLiteral("Sec]tion [1]")][QStringLiteral("k=e;y#")]
            = QStringLiteral(" lead\ttab\r\n\\ trail ");
        odd[QStringLiteral("S")][QStringLiteral("unicode")] = QStringLiteral("Ωμ µm");
        sim::ini::Values back;
        QCOMPARE(sim::ini::parse(sim::ini::format(odd), back).status, sim::ini::Status::Ok);
        QCOMPARE(back, odd);
    }

    void nothingLeaksWithTheHost()
    {
        QTemporaryDir tmp;
        {
            sim::SimHost host(tmp.path());
            for (const auto& desc : sim::defaultDeviceSet())
                host.moduleSettings("devcontrol", host.connectDevice(desc), 0);
            QVERIFY(sim::liveCount(sim::Counted::Settings) >= 10);
        }
        QCOMPARE(sim::liveCount(sim::Counted::Settings), 0L);
        QCOMPARE(sim::liveCount(sim::Counted::Device), 0L);
        QCOMPARE(sim::liveCount(sim::Counted::MenuItem), 0L);
    }
};

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
