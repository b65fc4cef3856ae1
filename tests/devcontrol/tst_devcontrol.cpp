// The plug-in object: start-up, the main-interface decision, the private interface's
// answers, and show().
#include "devviewmpx.h"
#include "hostfixture.h"
#include "qfancytabwidget.h"

#include <QApplication>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include <thread>

using PluginDevControl::DevControl;

class TestDevControl : public QObject
{
    Q_OBJECT

private slots:
    void mainUiValue_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("mainUi");
        QTest::newRow("lower") << "devcontrol" << true;
        QTest::newRow("mixed") << "DevControl" << true;
        QTest::newRow("upper") << "DEVCONTROL" << true;
        QTest::newRow("longer") << "devcontrol2" << false;
        QTest::newRow("other") << "otherui" << false;
        QTest::newRow("empty") << "" << false;
    }

    void mainUiValue()
    {
        QFETCH(QString, value);
        QFETCH(bool, mainUi);
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.setCore("MainUi", value);
        QVERIFY(f.start());
        QCOMPARE(f.control->isMainUi(), mainUi);
        QVERIFY(f.window());
        // Only the main interface shows its window at start (queued from the host
        // thread, so it may take a moment).
        if (mainUi)
            QTRY_VERIFY(f.window()->isVisible());
        QTest::qWait(50);
        QCOMPARE(f.window()->isVisible(), mainUi);
    }

    void windowIsBuiltOnTheGuiThread()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        QCOMPARE(f.window()->thread(), qApp->thread());
        // onStart returned with the tabs already in place (blocking initialisation).
        QCOMPARE(f.window()->tabWidget()->count(), 1);
    }

    void startOnTheGuiThread()
    {
        // A host may call everything on its GUI thread: onStart then builds the tabs
        // there and then instead of waiting for the thread it runs on.
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.control = std::make_unique<DevControl>();
        QCOMPARE(f.control->initialize(f.host.get()), 0);
        QCOMPARE(f.control->onStart(), 0);
        QVERIFY(f.window());
        QCOMPARE(f.window()->tabWidget()->count(), 1);
    }

    void educationDeviceKeepsTheWindowHidden()
    {
        HostFixture f;
        sim::DeviceDesc edu = deviceDesc(1, "kalbar E0007", 7);
        edu.education = true;
        f.connect(deviceDesc(3, "sparrel F0001", 1));
        f.connect(edu);
        f.setCore("MainUi", "devcontrol");
        QVERIFY(f.start());
        QVERIFY(f.control->isEduDeviceConnected());
        QVERIFY(!f.control->isMainUi());
        QVERIFY(f.window());
        QVERIFY(!f.window()->isVisible());
    }

    void noEducationDevice()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        QVERIFY(!f.control->isEduDeviceConnected());
    }

    void answersWithoutWindow()
    {
        DevControl control;
        ov::FilePath path("out/frame.txt");
        QCOMPARE(control.showFrame(nullptr, nullptr), -1);
        QCOMPARE(control.setOutputFile(nullptr, &path, true), -1);
        QCOMPARE(control.setAcqParams(nullptr, 1, 0.1), -1);
        QCOMPARE(control.setAcqType(nullptr, 0), -1);
        QCOMPARE(control.setRepeat(nullptr, 3, true), -1);
        QCOMPARE(control.start(nullptr), -1);
        QCOMPARE(control.stop(nullptr), -1);
        QCOMPARE(control.setColorMap(nullptr, 1), -1);
        QCOMPARE(control.setRange(nullptr, 0, 1), -1);
        QCOMPARE(control.setWindowAll(nullptr, 1), -1);
        QCOMPARE(control.setCurrentSubFrame(nullptr, 0), -1);
        QCOMPARE(control.setAcqMode(nullptr, 0), -1);
        QCOMPARE(control.setRepeatFileParams(nullptr, 0, 3), -1);
        QCOMPARE(control.setOutputFlags(nullptr, 0), -1);
        QCOMPARE(control.setRefreshParams(nullptr, true, true), -1);
        QCOMPARE(control.isRunning(nullptr), 0);
        QCOMPARE(control.lastAcqResult(nullptr), 0);
        QCOMPARE(control.onStart(), 0);
        QCOMPARE(control.onClose(), 0);
    }

    void hostWithoutHooksMakesNoWindow()
    {
        // A host whose UI hook is missing: initialize still succeeds, no window ever.
        class NoHooks final : public ov::IOrvel
        {
        public:
            int devices(ov::PtrList<ov::IDev*>&) override { return 0; }
            ov::ISettings* moduleSettings(const char*, ov::IDev*, int) override { return nullptr; }
            ov::ICoreSettings* settingsStore() override { return nullptr; }
            ov::IDataMgr* dataMgr() override { return nullptr; }
            ov::IDataFilterMgr* dataFilterMgr() override { return nullptr; }
            int registerEvent(const char*, ov::EventCallback, void*) override { return 0; }
            int registerLogCallback(ov::LogCallback, void*) override { return 0; }
            int unregisterLogCallback(ov::LogCallback, void*) override { return 0; }
            ov::IUiHooks* uiHooks() override { return nullptr; }
            int requestExit() override { return 0; }
        } host;
        DevControl control;
        QCOMPARE(control.initialize(&host), 0);
        QVERIFY(!control.window());
        QVERIFY(!control.isMainUi());
        QCOMPARE(control.start(nullptr), -1);
        QCOMPARE(control.onStart(), 0);
    }

    void answersWithWindow()
    {
        HostFixture f;
        ov::IDev* timepix = f.connect(deviceDesc(1, "kalbar W0001", 1));
        ov::IDev* xray = f.connect(deviceDesc(12, "xray Tube", 12));
        QVERIFY(f.start());
        sim::SimHost other(f.homePath() + "/other");
        ov::IDev* stranger = other.connectDevice(deviceDesc(1, "kalbar W0099", 99));

        QVERIFY(f.window()->getView(timepix));
        // An X-ray source has a view, but not a detector view.
        QVERIFY(!f.window()->getView(xray));
        QVERIFY(!f.window()->getView(stranger));

        for (ov::IDev* dev : {timepix, xray, stranger}) {
            // A short series, so that it ends soon even when it beats the stop.
            QCOMPARE(f.control->setAcqParams(dev, 2, 0.001), 0);
            QCOMPARE(f.control->setRepeat(dev, 5, true), 0);
            QCOMPARE(f.control->start(dev), 0);
            QCOMPARE(f.control->stop(dev), 0);
            QCOMPARE(f.control->setColorMap(dev, 2), 0);
            QCOMPARE(f.control->setRange(dev, 1, 100), 0);
            // The detector's page really measures: after stop the series ends, aborted
            // or (when it was quicker than the stop) complete.
            QTRY_COMPARE_WITH_TIMEOUT(f.control->isRunning(dev), 0, 30000);
            const int result = f.control->lastAcqResult(dev);
            QVERIFY2(result == 0 || (dev == timepix && result == -1007),
                qPrintable(QString::number(result)));
        }
    }

    void hideAndShow()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.setCore("MainUi", "devcontrol");
        QVERIFY(f.start());
        QTRY_VERIFY(f.window()->isVisible());
        QCOMPARE(f.control->show(false), 0);
        QVERIFY(!f.window()->isVisible());
        QCOMPARE(f.control->show(true), 0);
        QVERIFY(f.window()->isVisible());
    }

    void closeStoresAndDeletesTheWindow()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        QPointer<PluginDevControl::MainWindow> window = f.window();
        QCOMPARE(f.control->onClose(), 0);
        QVERIFY(window.isNull());
        QVERIFY(!f.control->window());
        QCOMPARE(f.control->start(nullptr), -1); // no window again
        f.host->dropCallbacks();
    }

    // Last: it makes the application quit, which ends every event loop after it.
    void showMakesAnyWindowQuitOnClose()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.setCore("MainUi", "someoneelse");
        QVERIFY(f.start());
        QVERIFY(!f.window()->isQuitOnClose());
        QVERIFY(!f.window()->isVisible());
        QCOMPARE(f.control->show(true), 0);
        QVERIFY(f.window()->isVisible());
        QVERIFY(f.window()->isQuitOnClose());

        // The application's loop ends with 0 when closing the window quits it.
        QTimer::singleShot(0, f.window(), &QWidget::close);
        QTimer::singleShot(10000, qApp, [] { QCoreApplication::exit(2); });
        QCOMPARE(QApplication::exec(), 0);
    }
};

QTEST_MAIN(TestDevControl)
#include "tst_devcontrol.moc"
