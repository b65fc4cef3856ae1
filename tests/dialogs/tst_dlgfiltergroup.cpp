// The filter group dialog on a test filter manager: both lists, adding and taking out
// members, OK writing the chain in order, Cancel leaving the group as it was.
#include "dlgfiltergroup.h"
#include "filterfakes.h"
#include "modaldriver.h"
#include "ui_dlgfiltergroup.h"

#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include <functional>

using PluginDevControl::DlgFilterGroup;

namespace {

QStringList texts(const QListWidget* list)
{
    QStringList out;
    for (int i = 0; i < list->count(); ++i)
        out << list->item(i)->text();
    return out;
}

std::vector<std::string> memberNames(const filtertest::FakeGroup* group)
{
    std::vector<std::string> names;
    for (const filtertest::FakeFilter* f : group->members)
        names.push_back(f->name);
    return names;
}

struct Fixture
{
    Fixture()
    {
        host.mgr.addFilter("Dark", 1.0);
        host.mgr.addFilter("Flat", 1.0);
        host.mgr.addFilter("Median", 1.0);
        host.mgr.addGroup("Chain");
        group()->addFilterByName("Flat");
    }
    filtertest::FakeGroup* group() { return host.mgr.group(0); }
    // Runs the dialog on the group; act works on the open dialog.
    int run(const std::function<void(DlgFilterGroup*)>& act)
    {
        DlgFilterGroup dialog;
        ModalDriver driver;
        driver.add([&](QWidget* w) {
            auto* d = qobject_cast<DlgFilterGroup*>(w);
            if (!d)
                return false;
            act(d);
            return true;
        });
        const int result = dialog.editFilterGroup(&host, &dev, group());
        return driver.done() ? result : -1;
    }

    filtertest::FilterHost host;
    testdev::NullDevMpx2 dev;
};

void click(QAbstractButton* b)
{
    QTest::mouseClick(b, Qt::LeftButton);
}

} // namespace

class TestDlgFilterGroup : public QObject
{
    Q_OBJECT

private slots:
    void showsTheDevicesSingleFiltersAndTheGroupsMembers()
    {
        Fixture f;
        QStringList all;
        QStringList in;
        QString title;
        f.run([&](DlgFilterGroup* d) {
            title = d->windowTitle();
            all = texts(d->ui->lsAllFilters);
            in = texts(d->ui->lsFilterInGroup);
            d->reject();
        });
        QCOMPARE(title, QStringLiteral("Filter Group Settings"));
        // Groups are not offered as members.
        QCOMPARE(all, QStringList({"Dark", "Flat", "Median"}));
        QCOMPARE(in, QStringList({"Flat"}));
    }

    void okWritesTheChainInOrderWithRepeats()
    {
        Fixture f;
        const int result = f.run([](DlgFilterGroup* d) {
            d->ui->lsAllFilters->item(0)->setSelected(true);
            d->ui->lsAllFilters->item(2)->setSelected(true);
            click(d->ui->btAdd);
            d->ui->lsAllFilters->clearSelection();
            d->ui->lsAllFilters->item(2)->setSelected(true);
            click(d->ui->btAdd);
            click(d->ui->bbOkCancel->button(QDialogButtonBox::Ok));
        });
        QCOMPARE(result, int(QDialog::Accepted));
        QCOMPARE(
            memberNames(f.group()), std::vector<std::string>({"Flat", "Dark", "Median", "Median"}));
    }

    void removeTakesOutTheSelectedMembers()
    {
        Fixture f;
        f.group()->addFilterByName("Dark");
        f.group()->addFilterByName("Flat");
        f.run([](DlgFilterGroup* d) {
            QCOMPARE(texts(d->ui->lsFilterInGroup), QStringList({"Flat", "Dark", "Flat"}));
            d->ui->lsFilterInGroup->item(0)->setSelected(true);
            d->ui->lsFilterInGroup->item(1)->setSelected(true);
            click(d->ui->btRemove);
            QCOMPARE(texts(d->ui->lsFilterInGroup), QStringList({"Flat"}));
            click(d->ui->bbOkCancel->button(QDialogButtonBox::Ok));
        });
        QCOMPARE(memberNames(f.group()), std::vector<std::string>({"Flat"}));
    }

    void cancelLeavesTheGroupAsItWas()
    {
        Fixture f;
        const int result = f.run([](DlgFilterGroup* d) {
            d->ui->lsAllFilters->item(0)->setSelected(true);
            click(d->ui->btAdd);
            d->ui->lsFilterInGroup->item(0)->setSelected(true);
            click(d->ui->btRemove);
            click(d->ui->bbOkCancel->button(QDialogButtonBox::Cancel));
        });
        QCOMPARE(result, int(QDialog::Rejected));
        QCOMPARE(memberNames(f.group()), std::vector<std::string>({"Flat"}));
    }

    void aGroupRemovedMeanwhileIsNotTouched()
    {
        Fixture f;
        filtertest::FakeGroup* group = f.group();
        QString warning;
        ModalDriver messages;
        messages.add([&](QWidget* w) {
            auto* box = qobject_cast<QMessageBox*>(w);
            if (!box)
                return false;
            warning = box->text();
            box->accept();
            return true;
        });
        f.run([&](DlgFilterGroup* d) {
            // Another page removes the group while this dialog is open.
            f.host.mgr.removeFilter(nullptr, group);
            d->ui->lsAllFilters->item(0)->setSelected(true);
            click(d->ui->btAdd);
            // OK opens the warning from inside this step; the second driver answers it.
            QTimer::singleShot(
                0, d->ui->bbOkCancel->button(QDialogButtonBox::Ok), &QAbstractButton::click);
        });
        QTRY_VERIFY(messages.done());
        QCOMPARE(
            warning, QStringLiteral("The group no longer exists; its filters were not changed."));
        QCOMPARE(memberNames(group), std::vector<std::string>({"Flat"}));
    }
};

QTEST_MAIN(TestDlgFilterGroup)
#include "tst_dlgfiltergroup.moc"
