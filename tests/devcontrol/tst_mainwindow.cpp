// The main window: a tab per device, tab texts and icons, titles, menu bars, hot plug,
// undocking and docking, and the notes shown when there is no real device.
#include "devctrlmpx.h"
#include "devviewmotor.h"
#include "devviewmpx.h"
#include "devviewmpxui.h"
#include "hostfixture.h"
#include "menupath.h"
#include "qfancytabwidget.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <thread>

using PluginDevControl::DevView;
using PluginDevControl::DevViewMpx;
using PluginDevControl::MainWindow;

namespace {

QImage iconImage(const QIcon& icon)
{
    return icon.pixmap(QSize(64, 64)).toImage().convertToFormat(QImage::Format_ARGB32);
}

QImage resourceImage(const QString& path)
{
    return QPixmap(path).toImage().convertToFormat(QImage::Format_ARGB32);
}

QStringList tabTexts(MainWindow* w)
{
    QStringList texts;
    for (int i = 0; i < w->tabWidget()->count(); ++i)
        texts << w->tabWidget()->tabText(i);
    return texts;
}

// Closes the next message box that shows up and hands back its title and text.
struct MessageBoxCatcher
{
    QString title;
    QString text;
    int polls = 0;
    void arm()
    {
        QTimer::singleShot(50, [this] { poll(); });
    }
    void poll()
    {
        for (QWidget* top : QApplication::topLevelWidgets()) {
            auto* box = qobject_cast<QMessageBox*>(top);
            if (box && box->isVisible()) {
                title = box->windowTitle();
                text = box->text();
                box->accept();
                return;
            }
        }
        if (++polls < 250) // about five seconds, then the test fails instead of hanging
            QTimer::singleShot(20, [this] { poll(); });
    }
};

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void defaultSetGivesOneTabPerViewAndTheirTexts()
    {
        HostFixture f;
        f.connectAll(sim::defaultDeviceSet());
        QVERIFY(f.start());
        MainWindow* w = f.window();
        // Two motors share one tab.
        QCOMPARE(tabTexts(w),
            QStringList({"W0512", "B0208", "F0317", "M0102", "T0221", "Samples", "Motors", "Tube",
                "Supply"}));
        QCOMPARE(w->deviceList().size(), 10);
        QCOMPARE(w->sharedMotorView()->motors().size(), 2);
        QCOMPARE(w->tabWidget()->currentIndex(), 0);
        QCOMPARE(w->windowTitle(),
            QString("Orvel %1 - kalbar W0512 sn 512").arg(f.host->coreSettings().value("Version")));
    }

    void tabIconsComeFromTheInterfaceWord()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.connect(deviceDesc(3, "quillet F0002", 2));
        f.connect(deviceDesc(1, "acme X1", 3));
        f.connect(deviceDesc(12, "acme Tube", 4));
        f.connect(deviceDesc(14, "acme Supply", 5));
        f.connect(deviceDesc(11, "acme Axis", 6));
        QVERIFY(f.start());
        QFancyTabWidget* tabs = f.window()->tabWidget();
        QCOMPARE(tabTexts(f.window()),
            QStringList({"W0001", "F0002", "acme X1", "acme Tube", "acme Supply", "Motors"}));
        QCOMPARE(iconImage(tabs->tabIcon(0)), resourceImage(":/devcontrol/images/kalbar"));
        // "quillet" shares the image of "sparrel".
        QCOMPARE(iconImage(tabs->tabIcon(1)), resourceImage(":/devcontrol/images/sparrel"));
        // Unknown interface words: the unknown image, unless the kind has one.
        QCOMPARE(iconImage(tabs->tabIcon(2)), resourceImage(":/devcontrol/images/unknown"));
        QCOMPARE(iconImage(tabs->tabIcon(3)), resourceImage(":/devcontrol/images/xray"));
        QCOMPARE(iconImage(tabs->tabIcon(4)), resourceImage(":/devcontrol/images/hv"));
        QCOMPARE(iconImage(tabs->tabIcon(5)), resourceImage(":/devcontrol/images/motors"));
        QVERIFY(resourceImage(":/devcontrol/images/kalbar")
            != resourceImage(":/devcontrol/images/unknown"));
    }

    void nameWithThreeWordsKeepsItsFullText()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar A B", 1));
        QVERIFY(f.start());
        QCOMPARE(tabTexts(f.window()), QStringList({"kalbar A B"}));
        QCOMPARE(f.window()->removeIntfFromName("kalbar", "kalbar W0087"), QString("W0087"));
        QCOMPARE(
            f.window()->removeIntfFromName("KALBAR", "kalbar  W0087"), QString("kalbar  W0087"));
        QCOMPARE(f.window()->removeIntfFromName("acme", "acme W0087"), QString("acme W0087"));
    }

    void titleWithoutSerial()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0000", 0));
        f.connect(deviceDesc(2, "hanvik M0005", 5));
        QVERIFY(f.start());
        const QString version = f.host->coreSettings().value("Version");
        QCOMPARE(f.window()->windowTitle(), QString("Orvel %1 - kalbar W0000").arg(version));
        f.window()->tabWidget()->setCurrentIndex(1);
        QCOMPARE(f.window()->windowTitle(), QString("Orvel %1 - hanvik M0005 sn 5").arg(version));
        QCOMPARE(f.window()->dockedViewList().at(1)->windowTitle(), f.window()->windowTitle());
    }

    void menuBarFollowsTheCurrentTab()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.connect(deviceDesc(3, "sparrel F0002", 2));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        DevView* first = w->dockedViewList().at(0);
        DevView* second = w->dockedViewList().at(1);
        QMenuBar* firstBar = w->menuBar();
        QCOMPARE(firstBar->actions().first()->text(), QString("File"));
        QCOMPARE(firstBar->parentWidget(), w);

        // Click the second tab for real.
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w));
        const QRect r = w->tabWidget()->tabRect(1);
        QTest::mouseClick(w->tabWidget()->findChild<QWidget*>("qt_scrollarea_viewport"),
            Qt::LeftButton, {},
            w->tabWidget()
                ->findChild<QWidget*>("qt_scrollarea_viewport")
                ->mapFrom(w->tabWidget(), r.center()));
        QCOMPARE(w->tabWidget()->currentIndex(), 1);
        QVERIFY(w->menuBar() != firstBar);
        QCOMPARE(firstBar->parentWidget(), first); // handed back
        QCOMPARE(w->menuBar()->parentWidget(), w);
        Q_UNUSED(second);
    }

    void secondNewDeviceEventChangesNothing()
    {
        HostFixture f;
        ov::IDev* dev = f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        MainWindow::onNewDeviceWrapper(
            reinterpret_cast<long>(dev), reinterpret_cast<long>(f.window()));
        QTest::qWait(20);
        QCOMPARE(f.window()->tabWidget()->count(), 1);
        QCOMPARE(f.window()->deviceList().size(), 1);
        QCOMPARE(f.window()->allViews().size(), 1);
    }

    void unknownKindGetsNoView()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        // Kind 13 is nothing this window knows.
        sim::DeviceDesc odd = deviceDesc(1, "acme Thing", 9);
        odd.kind = 13;
        QVERIFY(!f.host->connectDevice(odd)); // the host does not simulate it either
        QCOMPARE(f.window()->tabWidget()->count(), 1);
    }

    void hotPlugFromTheGuiThread()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.connect(deviceDesc(3, "sparrel F0002", 2));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        ov::IDev* added = f.connect(deviceDesc(2, "hanvik M0003", 3));
        QTRY_COMPARE(w->tabWidget()->count(), 3);
        QCOMPARE(w->tabWidget()->tabText(2), QString("M0003"));
        QVERIFY(w->getView(added));
        QVERIFY(f.host->removeDevice(added));
        QCOMPARE(w->tabWidget()->count(), 2);
        QVERIFY(!w->getView(added));
        QCOMPARE(w->deviceList().size(), 2);
    }

    void removingTheCurrentTabSelectsTheOneBefore()
    {
        HostFixture f;
        std::vector<ov::IDev*> devs;
        for (int i = 0; i < 4; ++i)
            devs.push_back(f.connect(deviceDesc(1, QString("kalbar W%1").arg(i), i + 1)));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        w->tabWidget()->setCurrentIndex(2);
        QVERIFY(f.host->removeDevice(devs[2]));
        QCOMPARE(w->tabWidget()->currentIndex(), 1);
        QCOMPARE(tabTexts(w), QStringList({"W0", "W1", "W3"}));
        QCOMPARE(w->windowTitle().section(" - ", 1), QString("kalbar W1 sn 2"));
        QCOMPARE(w->menuBar()->parentWidget(), w);

        w->tabWidget()->setCurrentIndex(0);
        QVERIFY(f.host->removeDevice(devs[0]));
        QCOMPARE(w->tabWidget()->currentIndex(), 0);
        QCOMPARE(tabTexts(w), QStringList({"W1", "W3"}));
        QCOMPARE(w->windowTitle().section(" - ", 1), QString("kalbar W1 sn 2"));
    }

    void undockingShowsThePageOfTheCurrentTab_data()
    {
        QTest::addColumn<int>("current");
        QTest::newRow("first") << 0;
        QTest::newRow("middle") << 1;
        QTest::newRow("last") << 2;
    }

    void undockingShowsThePageOfTheCurrentTab()
    {
        QFETCH(int, current);
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.connect(deviceDesc(1, "kalbar W0002", 2));
        f.connect(deviceDesc(1, "kalbar W0003", 3));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w));
        w->tabWidget()->setCurrentIndex(current);
        DevView* leaving = w->dockedViewList().at(current);
        QCOMPARE(w->tabWidget()->currentWidget(), leaving);
        leaving->undockAction()->trigger();
        const int now = w->tabWidget()->currentIndex();
        QCOMPARE(now, current > 0 ? current - 1 : 0);
        DevView* shown = w->dockedViewList().at(now);
        QCOMPARE(w->tabWidget()->currentWidget(), shown);
        QVERIFY(shown->isVisible());
        QVERIFY(w->windowTitle().contains(" - " + shown->fullName()));
        // One menu bar, the window's; none inside the page on show.
        for (QMenuBar* bar : shown->findChildren<QMenuBar*>())
            QVERIFY(!bar->isVisible());
        QCOMPARE(w->menuBar()->actions().first()->text(), QString("File"));
    }

    void deviceGoneBeforeItsTabWasMade()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        // Plugged in by a host thread, and removed on the GUI thread before the window
        // took in the news of its arrival, which is still queued.
        ov::IDev* dev = nullptr;
        std::thread host(
            [&f, &dev] { dev = f.host->connectDevice(deviceDesc(1, "kalbar W0009", 9)); });
        host.join();
        QVERIFY(dev);
        QVERIFY(f.host->removeDevice(dev));
        QTest::qWait(50);
        QCOMPARE(w->tabWidget()->count(), 1);
        QCOMPARE(w->deviceList().size(), 1);
        QCOMPARE(w->allViews().size(), 1);
    }

    void removalFromThePagesOwnMenu()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        ov::IDev* second = f.connect(deviceDesc(1, "kalbar W0002", 2));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        w->show();
        w->tabWidget()->setCurrentIndex(1);
        QPointer<DevViewMpx> page = w->getView(second);
        QVERIFY(page);
        // Tools > Simulation > Remove device > the page's own device, in the window's
        // menu bar, which is the page's.
        QAction* self = menuBarAction(w, {"Tools", "Simulation", "Remove device", "kalbar W0002"});
        QVERIFY(self);
        QVERIFY(clickMenuItem(
            menuBarAction(w, {"Tools", "Simulation", "Remove device"})->menu(), self));
        QVERIFY(!f.host->deviceFor(second));
        QVERIFY(!w->getView(second));
        QCOMPARE(w->tabWidget()->count(), 1);
        QCOMPARE(w->tabWidget()->currentWidget(), w->dockedViewList().at(0));
        // The page goes once control is back in the event loop.
        QTRY_VERIFY(page.isNull());
    }

    void removalWhileAPageDialogIsOpen()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        ov::IDev* second = f.connect(deviceDesc(1, "kalbar W0002", 2));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        w->show();
        QPointer<DevViewMpx> page = w->getView(second);
        QVERIFY(page);
        // The host removes the device from a thread of its own while the page's "Save
        // Data" dialog runs its event loop: the dialog ends, the page goes after it.
        std::atomic<bool> removed {false};
        std::thread host;
        QTimer::singleShot(200, [&] {
            host = std::thread([&] {
                f.host->removeDevice(second);
                removed = true;
            });
        });
        page->form().acSaveData->trigger();
        QTRY_VERIFY(removed.load());
        host.join();
        QVERIFY(!w->getView(second));
        QTRY_VERIFY(page.isNull());
        QCOMPARE(w->tabWidget()->count(), 1);
    }

    void removalOfAnUndockedMeasuringPage()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        ov::IDev* second = f.connect(deviceDesc(1, "kalbar W0002", 2));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        w->show();
        QPointer<DevViewMpx> page = w->getView(second);
        page->undockAction()->trigger();
        QVERIFY(page->isWindow());
        auto* control = static_cast<ov::IDevControl*>(f.control->privateInterface());
        QCOMPARE(control->setAcqParams(second, 100, 0.0), 0);
        QCOMPARE(control->setRepeat(second, 0, true), 0);
        QCOMPARE(control->start(second), 0);
        QTRY_VERIFY(control->isRunning(second) == 1);
        // Removed while it measures, out of its tab: the measurement ends, the page goes.
        QVERIFY(f.host->removeDevice(second));
        QCOMPARE(PluginDevControl::DevCtrlMpx::detachedThreadCount(), 0);
        QVERIFY(!page->isVisible());
        QTRY_VERIFY(page.isNull());
        QCOMPARE(w->allViews().size(), 1);
        QCOMPARE(w->tabWidget()->count(), 1);
    }

    void removingAMotorKeepsTheSharedView()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        ov::IDev* m1 = f.connect(deviceDesc(11, "motors X", 11));
        ov::IDev* m2 = f.connect(deviceDesc(11, "motors Y", 12));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        QCOMPARE(w->sharedMotorView()->motors().size(), 2);
        QVERIFY(f.host->removeDevice(m1));
        QVERIFY(f.host->removeDevice(m2));
        QCOMPARE(w->sharedMotorView()->motors().size(), 0);
        QCOMPARE(tabTexts(w), QStringList({"W0001", "Motors"}));
        QCOMPARE(w->deviceList().size(), 1);
    }

    void removingAnInstrumentLetsGoOfIt()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        ov::IDev* tube = f.connect(deviceDesc(12, "xray Tube", 12));
        QVERIFY(f.start());
        QCOMPARE(f.window()->tabWidget()->count(), 2);
        QVERIFY(f.host->removeDevice(tube));
        QCOMPARE(tabTexts(f.window()), QStringList({"W0001"}));
        for (DevView* view : f.window()->allViews())
            QVERIFY(view->getDev() != tube);
    }

    void hotPlugFromAHostThreadManyTimes()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.connect(deviceDesc(3, "sparrel F0002", 2));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        std::atomic<bool> done {false};
        std::atomic<int> rounds {0};
        sim::SimHost* host = f.host.get();
        std::thread worker([&] {
            for (int i = 0; i < 60; ++i) {
                ov::IDev* a
                    = host->connectDevice(deviceDesc(2, QString("hanvik M%1").arg(i), 100 + i));
                ov::IDev* b
                    = host->connectDevice(deviceDesc(11, QString("motors A%1").arg(i), 300 + i));
                host->removeDevice(a);
                host->removeDevice(b);
                ++rounds;
            }
            done = true;
        });
        // The GUI thread keeps running events; the worker must never wait forever.
        QTRY_VERIFY_WITH_TIMEOUT(done.load(), 60000);
        worker.join();
        QCOMPARE(rounds.load(), 60);
        QTest::qWait(20);
        QCOMPARE(tabTexts(w), QStringList({"W0001", "F0002", "Motors"}));
        QCOMPARE(w->deviceList().size(), 2);
        QCOMPARE(w->allViews().size(), 3);
    }

    void oneDeviceCannotBeUndocked()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        DevView* only = w->dockedViewList().first();
        QVERIFY(!only->undockAction()->isVisible());
        QVERIFY(!only->dockAction()->isVisible());

        // A second device by hot plug: undocking stays off until a view is docked.
        f.connect(deviceDesc(3, "sparrel F0002", 2));
        QTRY_COMPARE(w->tabWidget()->count(), 2);
        QVERIFY(!only->undockAction()->isVisible());
        QVERIFY(w->dockedViewList().at(1)->undockAction()->isVisible());
    }

    void undockAndDock()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.connect(deviceDesc(3, "sparrel F0002", 2));
        f.connect(deviceDesc(2, "hanvik M0003", 3));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        w->show();
        w->tabWidget()->setCurrentIndex(1);
        DevView* view = w->dockedViewList().at(1);

        view->undockAction()->trigger();
        QCOMPARE(w->tabWidget()->count(), 2);
        QVERIFY(view->isWindow());
        QVERIFY(view->isVisible());
        // The main window shows the page of its current tab, and the new window opens
        // beside it, not exactly on top.
        QCOMPARE(w->tabWidget()->currentWidget(), w->dockedViewList().at(0));
        QVERIFY(w->tabWidget()->currentWidget()->isVisible());
        QVERIFY(view->pos() != w->pos());
        QVERIFY(view->dockAction()->isVisible());
        QVERIFY(!view->undockAction()->isVisible());
        QCOMPARE(w->tabWidget()->currentIndex(), 0);
        // The undocked view has its own menu bar back.
        QCOMPARE(view->menuBar()->actions().first()->text(), QString("File"));
        QVERIFY(w->menuBar() != view->menuBar());
        QCOMPARE(w->allViews().size(), 3);

        view->dockAction()->trigger();
        QCOMPARE(w->tabWidget()->count(), 3);
        QVERIFY(!view->isWindow());
        QCOMPARE(w->dockedViewList().last(), view);
        QCOMPARE(tabTexts(w), QStringList({"W0001", "M0003", "F0002"}));
        for (DevView* v : w->dockedViewList())
            QVERIFY(v->undockAction()->isVisible());

        // Undocking down to one tab switches undocking off for the last one.
        w->dockedViewList().at(0)->undockAction()->trigger();
        w->dockedViewList().at(0)->undockAction()->trigger();
        QCOMPARE(w->tabWidget()->count(), 1);
        QVERIFY(!w->dockedViewList().first()->undockAction()->isVisible());
        // Docking one back switches it on for both.
        w->allViews().at(0)->dockAction()->trigger();
        QCOMPARE(w->tabWidget()->count(), 2);
        for (DevView* v : w->dockedViewList())
            QVERIFY(v->undockAction()->isVisible());
    }

    void reconnectRenamesTheTab()
    {
        HostFixture f;
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        f.connect(deviceDesc(3, "sparrel F0002", 2));
        QVERIFY(f.start());
        MainWindow* w = f.window();
        w->tabWidget()->setTabText(1, "stale");
        auto* view = qobject_cast<DevViewMpx*>(w->dockedViewList().at(1));
        emit view->sigReconnect(view);
        QCOMPARE(w->tabWidget()->tabText(1), QString("F0002"));
    }

    void noDeviceShowsANoteAndRecovers()
    {
        HostFixture f;
        QVERIFY(f.start());
        MainWindow* w = f.window();
        auto* label = qobject_cast<QLabel*>(w->centralWidget());
        QVERIFY(label);
        QCOMPARE(label->text(),
            QString("No devices connected.\nPlease make sure the devices are "
                    "correctly connected to the computer."));
        QCOMPARE(label->alignment(), Qt::AlignHCenter | Qt::AlignVCenter);
        QVERIFY(!w->isWarnNoDevice());

        f.connect(deviceDesc(1, "kalbar W0001", 1));
        QTRY_COMPARE(w->tabWidget()->count(), 1);
        QVERIFY(!qobject_cast<QLabel*>(w->centralWidget()));
        QVERIFY(w->tabWidget()->isVisibleTo(w));
    }

    void onlyTheFileDeviceWarnsEveryTimeTheWindowIsShown()
    {
        HostFixture f;
        f.connect(deviceDesc(10, "filedev Samples", 1));
        // Not the main interface, so the window (and its warning) shows only when asked.
        f.setCore("MainUi", "none");
        QVERIFY(f.start());
        MainWindow* w = f.window();
        QVERIFY(w->isWarnNoDevice());
        QVERIFY(!w->isVisible());
        for (int i = 0; i < 2; ++i) {
            MessageBoxCatcher catcher;
            catcher.arm();
            emit w->sigShowView(true);
            QCOMPARE(catcher.title, QString("Warning"));
            QCOMPARE(catcher.text,
                QString("No devices found. \nShowing only artificial device : FileDevice 0"));
            QVERIFY(w->isVisible());
        }
        emit w->sigShowView(false);
        QVERIFY(!w->isVisible());
    }

    void fileDeviceByRequestDoesNotWarn()
    {
        HostFixture f;
        f.setCore("CreateFileDevice", "true");
        f.connect(deviceDesc(10, "filedev Samples", 1));
        QVERIFY(f.start());
        QVERIFY(!f.window()->isWarnNoDevice());
    }

    void fileDeviceWithOthersDoesNotWarn()
    {
        HostFixture f;
        f.connect(deviceDesc(10, "filedev Samples", 1));
        f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        QVERIFY(!f.window()->isWarnNoDevice());
    }

    void viewSettingsSurviveARestart()
    {
        QTemporaryDir home;
        {
            HostFixture f(home.path());
            f.connect(deviceDesc(1, "kalbar W0001", 1));
            QVERIFY(f.start());
            auto* view = f.window()->getView(f.host->deviceList().front()->dev());
            QVERIFY(view->aspectRatioAction()->isChecked()); // default
            view->aspectRatioAction()->trigger();
            QVERIFY(!view->aspectRatioAction()->isChecked());
        }
        {
            HostFixture f(home.path());
            f.connect(deviceDesc(1, "kalbar W0001", 1));
            QVERIFY(f.start());
            auto* view = f.window()->getView(f.host->deviceList().front()->dev());
            QVERIFY(!view->aspectRatioAction()->isChecked());
        }
    }

    void saveOrvelConfigStoresEveryView()
    {
        HostFixture f;
        ov::IDev* dev = f.connect(deviceDesc(1, "kalbar W0001", 1));
        QVERIFY(f.start());
        DevViewMpx* view = f.window()->getView(dev);
        view->aspectRatioAction()->setChecked(false);
        ov::ISettings* settings = f.host->moduleSettings("devcontrol", dev, 0);
        QCOMPARE(settings->getBool("View", "KeepAspectRatio", true), true);
        view->findChild<QAction*>("acSaveOrvelConfig")->trigger();
        QCOMPARE(settings->getBool("View", "KeepAspectRatio", true), false);
        settings->release();
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
