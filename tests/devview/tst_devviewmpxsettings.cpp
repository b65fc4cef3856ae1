// The settings of a detector page survive closing and reopening the host.
#include "timepixpage.h"

#include "colormap.h"
#include "qlabelwithicon.h"
#include "qmpxframe.h"

#include <QAction>
#include <QMenu>

using namespace PluginDevControl;

class TestDevViewMpxSettings : public QObject
{
    Q_OBJECT

private slots:
    void viewSettingsSurviveARestart()
    {
        QTemporaryDir home;
        {
            TimepixPage page(home.path());
            QVERIFY(page.view);
            page.ui().acCmHot->trigger();
            QTRY_COMPARE(int(page.image()->getColorMap()->getDefaultColorMap()), 3);
            page.ui().acResizeAspectRatio->trigger();
            QVERIFY(!page.ui().acResizeAspectRatio->isChecked());
            page.ui().acShowMaskedPixels->trigger();
            QVERIFY(page.ui().acShowMaskedPixels->isChecked());
            page.fixture.close();
        }
        TimepixPage again(home.path());
        QVERIFY(again.view);
        QCOMPARE(int(again.image()->getColorMap()->getDefaultColorMap()), 3);
        QVERIFY(again.ui().acCmHot->isChecked());
        QVERIFY(!again.ui().acResizeAspectRatio->isChecked());
        QVERIFY(again.ui().acShowMaskedPixels->isChecked());
        ov::ISettings* settings = again.view->viewSettings();
        QCOMPARE(settings->getInt("View", "ColorMap", -1), 3);
        QCOMPARE(settings->getBool("View", "KeepAspectRatio", true), false);
    }

    void storedMapOutsideTheTableIsIgnored_data()
    {
        QTest::addColumn<int>("stored");
        QTest::newRow("eight") << 8;
        QTest::newRow("negative") << -1;
        QTest::newRow("large") << 1000;
    }

    void storedMapOutsideTheTableIsIgnored()
    {
        QFETCH(int, stored);
        QTemporaryDir home;
        {
            TimepixPage page(home.path());
            QVERIFY(page.view);
            page.fixture.close();
            page.view = nullptr;
        }
        {
            // Written behind the page's back, as a hand-edited file would be.
            HostFixture fixture(home.path());
            ov::IDev* dev = fixture.connect(TimepixPage::quadDesc());
            ov::ISettings* settings = fixture.host->moduleSettings("devcontrol", dev, 0);
            settings->load();
            settings->setInt("View", "ColorMap", stored);
            settings->save();
            settings->release();
        }
        TimepixPage page(home.path());
        QVERIFY(page.view);
        QCOMPARE(int(page.image()->getColorMap()->getDefaultColorMap()), int(ColorMap::Gray));
        QVERIFY(page.ui().acCmGray->isChecked());
    }

    void storedMapPicksTheGroupEntryByPosition()
    {
        // Map 5 (HSL) is the sixth entry of the group, which is "Inverted Gray": the
        // picture uses HSL while the check mark stands on another entry.
        QTemporaryDir home;
        {
            TimepixPage page(home.path());
            QVERIFY(page.view);
            page.ui().acCmHSL->trigger();
            QTRY_COMPARE(int(page.image()->getColorMap()->getDefaultColorMap()), 5);
            page.fixture.close();
        }
        TimepixPage page(home.path());
        QVERIFY(page.view);
        QCOMPARE(int(page.image()->getColorMap()->getDefaultColorMap()), 5);
        QVERIFY(page.ui().acCmInvertGray->isChecked());
    }

    void panelStatesSurviveARestart()
    {
        QTemporaryDir home;
        QStringList titles;
        {
            TimepixPage page(home.path());
            QVERIFY(page.view);
            const QList<QAction*> actions = page.view->panelsMenu()->actions();
            QVERIFY2(!actions.isEmpty(), "the page has panels in its Panels menu");
            // Flip every panel's visibility and collapse every panel head.
            for (QAction* action : actions) {
                titles << action->text();
                action->trigger();
                auto* panel = qobject_cast<QWidget*>(action->data().value<QObject*>());
                QCOMPARE(panel->isVisibleTo(page.view), action->isChecked());
                if (QLabelWithIcon* head = page.view->getPanelLabelWithIcon(panel))
                    head->mousePressEvent(nullptr);
            }
            page.fixture.close();
        }
        TimepixPage page(home.path());
        QVERIFY(page.view);
        ov::ISettings* settings = page.view->viewSettings();
        const QList<QAction*> actions = page.view->panelsMenu()->actions();
        QCOMPARE(actions.size(), titles.size());
        for (QAction* action : actions) {
            const QByteArray key = action->text().toUtf8();
            QCOMPARE(action->isChecked(), settings->getBool("Panels", key.constData(), true));
            auto* panel = qobject_cast<QWidget*>(action->data().value<QObject*>());
            QCOMPARE(panel->isVisibleTo(page.view), action->isChecked());
            if (QLabelWithIcon* head = page.view->getPanelLabelWithIcon(panel)) {
                QVERIFY(settings->getBool("PanelsCollapsed", key.constData(), false));
                QVERIFY(!head->isOpen());
            }
        }
    }
};

QTEST_MAIN(TestDevViewMpxSettings)
#include "tst_devviewmpxsettings.moc"
