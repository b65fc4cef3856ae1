// Loading and starting a plug-in module the way the host does.
#include "testprobe.h"

#include <deviceset.h>
#include <inifile.h>
#include <pluginmodule.h>
#include <pluginstarter.h>
#include <simhost.h>

#include <QApplication>
#include <QTemporaryDir>
#include <QWidget>
#include <QtTest>

class TestPlugin : public QObject
{
    Q_OBJECT

private slots:
    void startsOnAHostThreadAndBuildsOnTheGuiThread()
    {
        QTemporaryDir tmp;
        sim::SimHost host(tmp.path());
        for (const auto& desc : sim::defaultDeviceSet())
            host.connectDevice(desc);

        sim::PluginModule module;
        QVERIFY2(module.load(QStringLiteral(SIM_TEST_PLUGIN)), qPrintable(module.error()));
        QVERIFY(module.isLoaded());
        ov::IOvPlugin* plugin = module.plugin();
        QVERIFY(plugin);
        QCOMPARE(QString::fromUtf8(plugin->name()), QStringLiteral("testplugin"));
        auto* probe = static_cast<TestProbe*>(plugin->privateInterface());

        const sim::StartResult started = sim::startPlugin(plugin, &host);
        QVERIFY(started.ok());
        QCOMPARE(probe->initCalls.load(), 1);
        QCOMPARE(probe->startCalls.load(), 1);
        QCOMPARE(probe->hookCalls.load(), 1);
        QVERIFY(!probe->initOnGui);
        QVERIFY(!probe->startOnGui);
        QVERIFY(probe->hookOnGui);
        // runOnUiThread waited: the window existed when initialize went on.
        QVERIFY(probe->windowBuiltInInit);
        // onStart's blocking call to the GUI thread went through while it was waiting.
        QVERIFY(probe->windowShownInStart);
        QCOMPARE(probe->devicesAtInit.load(), 10);
        QVERIFY(probe->mainUiIsDevcontrol);

        int visible = 0;
        for (QWidget* w : QApplication::topLevelWidgets())
            visible += w->isVisible() ? 1 : 0;
        QCOMPARE(visible, 1);

        // Hot plug reaches the plug-in.
        host.connectDevice(sim::makeDeviceDesc(ov::DevKindXray, 77));
        QCOMPARE(probe->newDeviceEvents.load(), 1);

        // Shutdown: onClose on the GUI thread, then the settings are saved (the plug-in
        // leaves a trace in them from onClose), then the module is unloaded.
        QCOMPARE(probe->closeCalls.load(), 0);
        QCOMPARE(sim::closePlugin(module, host), 0);
        QVERIFY(!module.isLoaded());
        QVERIFY(module.plugin() == nullptr);
        sim::ini::Values trace;
        QCOMPARE(sim::ini::readFile(
                     tmp.filePath(QStringLiteral("settings/testplugin/generic.ini")), trace)
                     .status,
            sim::ini::Status::Ok);
        QCOMPARE(trace[QStringLiteral("Close")][QStringLiteral("onGui")], QStringLiteral("true"));
        QCOMPARE(trace[QStringLiteral("Close")][QStringLiteral("calls")], QStringLiteral("1"));
        // Callbacks of the unloaded plug-in are gone: a new device calls nothing.
        host.connectDevice(sim::makeDeviceDesc(ov::DevKindXray, 78));
        for (QWidget* w : QApplication::topLevelWidgets())
            QVERIFY(!w->isVisible());
    }

    void missingFileIsReported()
    {
        sim::PluginModule module;
        QVERIFY(!module.load(QStringLiteral("/nonexistent/folder/devcontrol.so")));
        QVERIFY(!module.isLoaded());
        QCOMPARE(
            module.error(), QStringLiteral("plug-in not found: /nonexistent/folder/devcontrol.so"));
    }

    void fileThatIsNoLibraryIsReported()
    {
        QTemporaryDir tmp;
        const QString path = tmp.filePath(QStringLiteral("fake.so"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not an ELF file at all");
        file.close();
        sim::PluginModule module;
        QVERIFY(!module.load(path));
        QVERIFY(module.error().startsWith(QStringLiteral("cannot load plug-in ") + path));
    }

    void missingSymbolIsReported()
    {
        sim::PluginModule module;
        QVERIFY(!module.load(QStringLiteral(SIM_NOSYMBOL_PLUGIN)));
        QVERIFY(!module.isLoaded());
        QVERIFY(module.error().endsWith(QStringLiteral("does not export ovGetPlugin")));
        QVERIFY(module.error().contains(QStringLiteral(SIM_NOSYMBOL_PLUGIN)));
    }
};

QTEST_MAIN(TestPlugin)
#include "tst_plugin.moc"
