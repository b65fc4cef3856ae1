// The filters panel on a test filter manager: the list of filters and groups, applying
// the chosen one to the frame on show, making and removing groups, and opening the
// settings of a filter or a group.
#include "devctrlmpx.h"
#include "dlgfiltergroup.h"
#include "dlgfilterstg.h"
#include "filterfakes.h"
#include "modaldriver.h"
#include "pnlfilters.h"
#include "rangetestframes.h"
#include "ui_dlgfiltergroup.h"
#include "ui_pnlfilters.h"

#include <qmpxframe.h>
#include <qmpximage.h>
#include <qparamsbrowser.h>

#include <QCheckBox>
#include <QComboBox>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QTest>
#include <QToolButton>

#include <memory>

using filtertest::FakeFilterMgr;
using PluginDevControl::DevCtrlMpx;
using PluginDevControl::PnlFilters;

namespace {

// A controller on a device that does nothing, with a frame widget, and the host that
// holds the test's filter manager.
struct FilterPage
{
    FilterPage() { ctrl = std::make_unique<DevCtrlMpx>(&host, &dev, &frame, nullptr); }
    void makePanel() { panel = std::make_unique<PnlFilters>(nullptr, ctrl.get()); }
    ~FilterPage() { panel.reset(); }

    FakeFilterMgr& mgr() { return host.mgr; }
    const Ui_PnlFilters& ui() const { return panel->form(); }
    QStringList items() const
    {
        QStringList texts;
        for (int i = 0; i < ui().cmbFilter->count(); ++i)
            texts << ui().cmbFilter->itemText(i);
        return texts;
    }
    // The first pixel of the picture on screen.
    double shownPixel() const
    {
        const double* data = frame.image->getData();
        return data ? data[0] : -1.0;
    }
    // Shows a 2 x 2 frame of 10s.
    void showFrame()
    {
        rangetest::FrameRef f(rangetest::makeFrame(ov::FrameUInt32, 2, 2, {10, 10, 10, 10}));
        ctrl->setCurrentFrame(f.get());
        ctrl->showFrame(f.get());
    }

    filtertest::FilterHost host;
    testdev::NullDevMpx2 dev;
    QMpxFrame frame;
    std::unique_ptr<DevCtrlMpx> ctrl;
    std::unique_ptr<PnlFilters> panel;
};

void tick(QCheckBox* box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(4, box->height() / 2));
}

} // namespace

class TestPnlFilters : public QObject
{
    Q_OBJECT

private slots:
    void formHasItsTexts()
    {
        FilterPage p;
        p.makePanel();
        QCOMPARE(p.panel->findChild<QLabel*>("lFilter")->text(), QStringLiteral(" Filters"));
        QCOMPARE(p.ui().chbFilterOn->text(), QStringLiteral("Apply Filter"));
        QCOMPARE(p.ui().btFilterStg->toolTip(), QStringLiteral("Configure Filter"));
        QCOMPARE(p.ui().btFilterGroupAdd->toolTip(), QStringLiteral("Add Filter Group"));
        QCOMPARE(p.ui().btFilterGroupRemove->toolTip(), QStringLiteral("Remove Filter Group"));
        QVERIFY(p.panel->findChild<QWidget*>("pnlDevStg"));
    }

    void deviceWithoutFiltersShowsAnEmptyBox()
    {
        FilterPage p;
        p.makePanel();
        QCOMPARE(p.ui().cmbFilter->count(), 0);
        QVERIFY(!p.ui().btFilterStg->isEnabled());
        QVERIFY(!p.ui().btFilterGroupRemove->isEnabled());
        QCOMPARE(p.panel->chosenFilter(), nullptr);
    }

    void filtersAndGroupsAreListedAndTheFirstIsChosen()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.mgr().addFilter("Triple", 3.0);
        p.mgr().addGroup("Both");
        p.makePanel();
        QCOMPARE(p.items(), QStringList({"Double", "Triple", "Both"}));
        QCOMPARE(p.panel->chosenFilter(), p.mgr().singles[0].get());
        QVERIFY(p.ui().btFilterStg->isEnabled());
        QVERIFY(!p.ui().btFilterGroupRemove->isEnabled());
        // A group can be removed, a single filter cannot.
        p.ui().cmbFilter->setCurrentIndex(2);
        QCOMPARE(p.panel->chosenFilter(), p.mgr().group(0));
        QVERIFY(p.ui().btFilterGroupRemove->isEnabled());
        p.ui().cmbFilter->setCurrentIndex(1);
        QVERIFY(!p.ui().btFilterGroupRemove->isEnabled());
    }

    void applyingAndUntickingChangeTheFrameOnShowAtOnce()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.mgr().addFilter("Triple", 3.0);
        p.makePanel();
        p.showFrame();
        QCOMPARE(p.shownPixel(), 10.0);
        tick(p.ui().chbFilterOn);
        QVERIFY(p.ui().chbFilterOn->isChecked());
        QCOMPARE(p.shownPixel(), 20.0);
        // Another filter while applied: shown through it at once.
        p.ui().cmbFilter->setCurrentIndex(1);
        QCOMPARE(p.shownPixel(), 30.0);
        tick(p.ui().chbFilterOn);
        QCOMPARE(p.shownPixel(), 10.0);
        // The choice is remembered while off.
        QCOMPARE(p.panel->chosenFilter(), p.mgr().singles[1].get());
        tick(p.ui().chbFilterOn);
        QCOMPARE(p.shownPixel(), 30.0);
    }

    void addingAGroupWithAnEmptyNameDoesNothing()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.makePanel();
        ModalDriver driver;
        driver.add([](QWidget* w) {
            auto* input = qobject_cast<QInputDialog*>(w);
            if (!input)
                return false;
            input->setTextValue(QString());
            input->accept();
            return true;
        });
        QTest::mouseClick(p.ui().btFilterGroupAdd, Qt::LeftButton);
        QVERIFY(driver.done());
        QVERIFY(p.mgr().addGroupCalls.empty());
        QCOMPARE(p.items(), QStringList({"Double"}));
    }

    void addingAGroupAsksItsName()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.makePanel();
        ModalDriver driver;
        QString title;
        QString label;
        driver.add([&](QWidget* w) {
            auto* input = qobject_cast<QInputDialog*>(w);
            if (!input)
                return false;
            title = input->windowTitle();
            label = input->labelText();
            input->setTextValue(QStringLiteral("Clean"));
            input->accept();
            return true;
        });
        QTest::mouseClick(p.ui().btFilterGroupAdd, Qt::LeftButton);
        QVERIFY(driver.done());
        QCOMPARE(title, QStringLiteral("Add Group"));
        QCOMPARE(label, QStringLiteral("New Group Name"));
        QCOMPARE(p.mgr().addGroupCalls, std::vector<std::string>({"Clean"}));
        QCOMPARE(p.items(), QStringList({"Double", "Clean"}));
        // The choice stays where it was.
        QCOMPARE(p.ui().cmbFilter->currentText(), QStringLiteral("Double"));
        QCOMPARE(p.panel->chosenFilter(), p.mgr().singles[0].get());
    }

    void removingTheOnlyGroupLeavesNoChoice()
    {
        FilterPage p;
        p.mgr().addGroup("Only");
        p.makePanel();
        p.showFrame();
        tick(p.ui().chbFilterOn);
        QCOMPARE(p.panel->chosenFilter(), p.mgr().group(0));
        QTest::mouseClick(p.ui().btFilterGroupRemove, Qt::LeftButton);
        QVERIFY(p.mgr().groups.empty());
        QCOMPARE(p.ui().cmbFilter->count(), 0);
        QCOMPARE(p.ui().cmbFilter->currentIndex(), -1);
        QVERIFY(!p.ui().btFilterStg->isEnabled());
        QVERIFY(!p.ui().btFilterGroupRemove->isEnabled());
        QCOMPARE(p.panel->chosenFilter(), nullptr);
        // The frame on show no longer goes through the removed group.
        p.showFrame();
        QCOMPARE(p.shownPixel(), 10.0);
    }

    void removingAGroupChoosesTheFirstItem()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.mgr().addGroup("G");
        p.makePanel();
        p.ui().cmbFilter->setCurrentIndex(1);
        QTest::mouseClick(p.ui().btFilterGroupRemove, Qt::LeftButton);
        QCOMPARE(p.items(), QStringList({"Double"}));
        QCOMPARE(p.ui().cmbFilter->currentIndex(), 0);
        QCOMPARE(p.panel->chosenFilter(), p.mgr().singles[0].get());
        QVERIFY(p.ui().btFilterStg->isEnabled());
    }

    void aHostListOfTheSameLengthDoesNotRefreshTheBox()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.mgr().addGroup("First");
        p.makePanel();
        p.ui().cmbFilter->setCurrentIndex(0);
        // Another page replaces the group by one of another name: same count.
        p.mgr().removeFilter(nullptr, p.mgr().group(0));
        p.mgr().addGroup("Second");
        emit p.ctrl->sigFiltersChanged();
        QCOMPARE(p.items(), QStringList({"Double", "First"}));
        QCOMPARE(p.ui().cmbFilter->currentIndex(), 0);
        // A list of another length refreshes it.
        p.mgr().addGroup("Third");
        emit p.ctrl->sigFiltersChanged();
        QCOMPARE(p.items(), QStringList({"Double", "Second", "Third"}));
        // The choice is kept across the refresh.
        QCOMPARE(p.panel->chosenFilter(), p.mgr().singles[0].get());
        QCOMPARE(p.ui().cmbFilter->currentIndex(), 0);
    }

    void choosingAnItemTheHostNoLongerHasReadsTheListAnew()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.mgr().addGroup("First");
        p.makePanel();
        p.mgr().removeFilter(nullptr, p.mgr().group(0));
        p.mgr().addGroup("Second");
        emit p.ctrl->sigFiltersChanged();
        QCOMPARE(p.items(), QStringList({"Double", "First"}));
        // "First" is gone at the host: picking it never hands it to the controller.
        p.ui().cmbFilter->setCurrentIndex(1);
        QCOMPARE(p.items(), QStringList({"Double", "Second"}));
        QVERIFY(p.panel->chosenFilter() != p.mgr().removed.front().get());
    }

    void configuringAFilterShowsItsParameters()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.makePanel();
        ModalDriver driver;
        bool seen = false;
        driver.add([&](QWidget* w) {
            auto* dialog = qobject_cast<PluginDevControl::DlgFilterStg*>(w);
            if (!dialog)
                return false;
            seen = dialog->browser() != nullptr
                && dialog->browser()->objectName() == QStringLiteral("tvParams");
            dialog->reject();
            return true;
        });
        QTest::mouseClick(p.ui().btFilterStg, Qt::LeftButton);
        QVERIFY(driver.done());
        QVERIFY(seen);
    }

    void aFilterWithItsOwnDialogShowsThat()
    {
        FilterPage p;
        filtertest::FakeFilter* own = p.mgr().addFilter("Own", 1.0);
        own->ownDialog = true;
        p.makePanel();
        QTest::mouseClick(p.ui().btFilterStg, Qt::LeftButton);
        QCOMPARE(own->ownDialogShown, 1);
    }

    void configuringAGroupEditsItsMembers()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.mgr().addFilter("Triple", 3.0);
        p.mgr().addGroup("Chain");
        p.makePanel();
        p.ui().cmbFilter->setCurrentIndex(2);
        p.showFrame();
        tick(p.ui().chbFilterOn);
        // An empty group shows the frame as it is.
        QCOMPARE(p.shownPixel(), 10.0);
        ModalDriver driver;
        QStringList all;
        driver.add([&](QWidget* w) {
            auto* dialog = qobject_cast<PluginDevControl::DlgFilterGroup*>(w);
            if (!dialog)
                return false;
            QListWidget* left = dialog->ui->lsAllFilters;
            for (int i = 0; i < left->count(); ++i)
                all << left->item(i)->text();
            left->item(1)->setSelected(true);
            QTest::mouseClick(dialog->ui->btAdd, Qt::LeftButton);
            QTest::mouseClick(dialog->ui->btAdd, Qt::LeftButton);
            QTest::mouseClick(dialog->ui->bbOkCancel->button(QDialogButtonBox::Ok), Qt::LeftButton);
            return true;
        });
        QTest::mouseClick(p.ui().btFilterStg, Qt::LeftButton);
        QVERIFY(driver.done());
        QCOMPARE(all, QStringList({"Double", "Triple"}));
        QCOMPARE(p.mgr().group(0)->members.size(), size_t(2));
        // The new chain shows at once: 10 * 3 * 3.
        QCOMPARE(p.shownPixel(), 90.0);
    }

    void releasingTheDeviceClosesAnOpenDialog()
    {
        FilterPage p;
        p.mgr().addFilter("Double", 2.0);
        p.makePanel();
        ModalDriver driver;
        driver.add([&](QWidget* w) {
            if (!qobject_cast<PluginDevControl::DlgFilterStg*>(w))
                return false;
            p.panel->releaseDevice();
            return true;
        });
        QTest::mouseClick(p.ui().btFilterStg, Qt::LeftButton);
        QVERIFY(driver.done());
        QVERIFY(!QApplication::activeModalWidget());
        // Nothing reaches the controller or the host any more.
        const int listed = p.mgr().listed;
        p.ui().cmbFilter->setCurrentIndex(0);
        QTest::mouseClick(p.ui().btFilterGroupAdd, Qt::LeftButton);
        QCOMPARE(p.mgr().listed, listed);
    }
};

QTEST_MAIN(TestPnlFilters)
#include "tst_pnlfilters.moc"
