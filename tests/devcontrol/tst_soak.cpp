// A long session in a few minutes: while the quad measures without end at full speed,
// other detectors are plugged in and out, pages remove their own device through their
// own menu, and measurements start and stop. Nothing crashes, the window keeps up, and
// the host's frames and data are back where they began once the session is over.
#include "devctrlmpx.h"
#include "devviewmpx.h"
#include "hostfixture.h"
#include "livecounts.h"
#include "menupath.h"
#include "qfancytabwidget.h"

#include <QMenu>
#include <QMenuBar>
#include <QtTest>

using PluginDevControl::DevCtrlMpx;
using PluginDevControl::DevView;
using PluginDevControl::DevViewMpx;
using PluginDevControl::MainWindow;

class TestSoak : public QObject
{
    Q_OBJECT

    livecounts::FramesAndData liveAtStart;

private slots:
    void init() { liveAtStart = livecounts::framesAndData(); }

    void cleanup()
    {
        QTRY_COMPARE_WITH_TIMEOUT(DevCtrlMpx::detachedThreadCount(), 0, 20000);
        QCOMPARE(livecounts::framesAndData(), liveAtStart);
    }

    void hotPlugRemovalsAndRestartsDuringAnEndlessMeasurement()
    {
        HostFixture fixture;
        const sim::DeviceDesc quadDesc = sim::defaultDeviceSet().front();
        ov::IDev* quad = fixture.connect(quadDesc);
        sim::DeviceDesc singleDesc = deviceDesc(1, QStringLiteral("kalbar C0001"), 1);
        singleDesc.eventThread = true;
        ov::IDev* single = fixture.connect(singleDesc);
        QVERIFY(quad && single);
        QVERIFY(fixture.start());
        MainWindow* window = fixture.window();
        window->resize(900, 700);
        window->show();
        auto* control = static_cast<ov::IDevControl*>(fixture.control->privateInterface());

        // An endless series of frames of the shortest time on the quad.
        QCOMPARE(control->setAcqParams(quad, 100, 0.0), 0);
        QCOMPARE(control->setRepeat(quad, 0, true), 0);
        QCOMPARE(control->start(quad), 0);
        QTRY_VERIFY_WITH_TIMEOUT(control->isRunning(quad) == 1, 20000);
        const int viewsAtStart = window->allViews().size();

        // Hot plug of another detector, half of them with a host event thread.
        for (int i = 0; i < 50; ++i) {
            sim::DeviceDesc desc = deviceDesc(1, QStringLiteral("kalbar H%1").arg(i), 100 + i);
            desc.eventThread = i % 2 == 1;
            ov::IDev* dev = fixture.connect(desc);
            QVERIFY(dev);
            QTRY_VERIFY_WITH_TIMEOUT(window->getView(dev) != nullptr, 20000);
            QVERIFY(fixture.host->removeDevice(dev));
            QVERIFY(window->getView(dev) == nullptr);
        }
        QTRY_COMPARE_WITH_TIMEOUT(window->allViews().size(), viewsAtStart, 20000);

        // A page removes its own device, chosen with the mouse in its own menu.
        for (int i = 0; i < 20; ++i) {
            const QString name = QStringLiteral("tornel R%1").arg(i, 4, 10, QLatin1Char('0'));
            sim::DeviceDesc desc = deviceDesc(1, name, 300 + i);
            desc.medipix2 = i % 2 == 0;
            ov::IDev* dev = fixture.connect(desc);
            QVERIFY(dev);
            QTRY_VERIFY_WITH_TIMEOUT(window->getView(dev) != nullptr, 20000);
            DevViewMpx* page = window->getView(dev);
            const int tab = window->dockedViewList().indexOf(page);
            window->tabWidget()->setCurrentIndex(tab);
            QCOMPARE(window->tabWidget()->currentWidget(), page);
            QAction* item = menuBarAction(window,
                {QStringLiteral("Tools"), QStringLiteral("Simulation"),
                    QStringLiteral("Remove device"), name});
            QVERIFY2(item, qPrintable(name));
            QVERIFY(clickMenuItem(menuBarAction(window,
                                      {QStringLiteral("Tools"), QStringLiteral("Simulation"),
                                          QStringLiteral("Remove device")})
                                      ->menu(),
                item));
            QTRY_VERIFY_WITH_TIMEOUT(fixture.host->deviceFor(dev) == nullptr, 20000);
            QVERIFY(window->getView(dev) == nullptr);
            // The window shows a page that is still there, and its title.
            const int current = window->tabWidget()->currentIndex();
            QVERIFY(current >= 0);
            DevView* shown = window->dockedViewList().at(current);
            QCOMPARE(window->tabWidget()->currentWidget(), shown);
            QVERIFY(window->windowTitle().endsWith(shown->fullName())
                || window->windowTitle().contains(shown->fullName() + " sn "));
        }
        QTRY_COMPARE_WITH_TIMEOUT(window->allViews().size(), viewsAtStart, 20000);

        // Measurements started and stopped on the single chip meanwhile.
        // An endless series, so that no run ends by itself before it is stopped.
        QCOMPARE(control->setAcqParams(single, 100, 0.0), 0);
        QCOMPARE(control->setRepeat(single, 0, true), 0);
        for (int i = 0; i < 50; ++i) {
            QCOMPARE(control->start(single), 0);
            QTRY_VERIFY_WITH_TIMEOUT(control->isRunning(single) == 1, 20000);
            QTest::qWait(i % 5);
            QCOMPARE(control->stop(single), 0);
            QTRY_VERIFY_WITH_TIMEOUT(control->isRunning(single) == 0, 20000);
            const int result = control->lastAcqResult(single);
            QVERIFY2(result == 0 || result == -1007, qPrintable(QString::number(result)));
        }

        // The quad has measured throughout.
        QVERIFY(control->isRunning(quad) == 1);
        QCOMPARE(control->stop(quad), 0);
        QTRY_VERIFY_WITH_TIMEOUT(control->isRunning(quad) == 0, 20000);
        QCOMPARE(control->lastAcqResult(quad), -1007);
        fixture.close();
    }
};

QTEST_MAIN(TestSoak)
#include "tst_soak.moc"
