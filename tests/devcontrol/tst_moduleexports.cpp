// The loadable module exports exactly one symbol, ovGetPlugin, with C linkage, and it
// hands out the plug-in object.
#include "ovsdk.h"

#include <QProcess>
#include <QtTest>

#include <dlfcn.h>

class TestModuleExports : public QObject
{
    Q_OBJECT

private slots:
    void onlyTheEntryIsExported()
    {
        QProcess nm;
        nm.start("nm", {"-D", "--defined-only", MODULE_PATH});
        QVERIFY(nm.waitForFinished(30000));
        QCOMPARE(nm.exitCode(), 0);
        const QStringList lines
            = QString::fromLocal8Bit(nm.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 1);
        const QStringList fields = lines.first().split(' ', Qt::SkipEmptyParts);
        QCOMPARE(fields.size(), 3);
        QCOMPARE(fields.at(1), QString("T"));
        QCOMPARE(fields.at(2), QString("ovGetPlugin")); // not mangled: C linkage
    }

    void entryAnswersThePluginObject()
    {
        void* handle = dlopen(MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
        QVERIFY2(handle, dlerror());
        auto entry = reinterpret_cast<ov::GetPluginFunc>(dlsym(handle, ov::kGetPluginSymbol));
        QVERIFY(entry);
        auto* plugin = static_cast<ov::IOvPlugin*>(entry());
        QVERIFY(plugin);
        QCOMPARE(entry(), static_cast<void*>(plugin)); // always the same object
        QCOMPARE(QString(plugin->name()), QString("devcontrol"));
        QCOMPARE(
            QString(plugin->description()), QString("Plugin that control devices and measurement"));
        auto* control = static_cast<ov::IDevControl*>(plugin->privateInterface());
        QVERIFY(control);
        QCOMPARE(control->getObjectID(), 1416159780u);
        QCOMPARE(QString(control->getObjectName()), QString("DevControlInterface"));
        // Nothing initialised: the private interface answers without a window.
        QCOMPARE(control->setRepeat(nullptr, 1, true), -1);
        QCOMPARE(control->isRunning(nullptr), 0);
        QCOMPARE(control->lastAcqResult(nullptr), 0);
        dlclose(handle);
    }
};

QTEST_APPLESS_MAIN(TestModuleExports)
#include "tst_moduleexports.moc"
