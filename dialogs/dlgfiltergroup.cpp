#include "dlgfiltergroup.h"

#include "ui_dlgfiltergroup.h"

#include <ovcore.h>

#include <QMessageBox>

#include <algorithm>

namespace PluginDevControl {

DlgFilterGroup::DlgFilterGroup(QWidget* parent) : QDialog(parent), ui(new Ui_DlgFilterGroup)
{
    ui->setupUi(this);
}

DlgFilterGroup::~DlgFilterGroup()
{
    delete ui;
}

int DlgFilterGroup::editFilterGroup(ov::IOrvel* orvel, ov::IDev* dev, ov::IDataFilterGroup* group)
{
    m_orvel = orvel;
    m_dev = dev;
    m_group = group;
    ui->lsAllFilters->clear();
    ui->lsFilterInGroup->clear();
    ov::IDataFilterMgr* mgr = orvel ? orvel->dataFilterMgr() : nullptr;
    if (mgr && dev) {
        for (ov::IDataFilter* filter : mgr->deviceFilters(dev, false))
            ui->lsAllFilters->addItem(QString::fromStdString(filter->name()));
    }
    if (group) {
        for (ov::IDataFilter* member : group->memberFilters())
            ui->lsFilterInGroup->addItem(QString::fromStdString(member->name()));
    }
    return exec();
}

void DlgFilterGroup::on_btAdd_clicked()
{
    // In the order of the list, whatever the order of selecting.
    for (int row = 0; row < ui->lsAllFilters->count(); ++row) {
        const QListWidgetItem* item = ui->lsAllFilters->item(row);
        if (item->isSelected())
            ui->lsFilterInGroup->addItem(item->text());
    }
}

void DlgFilterGroup::on_btRemove_clicked()
{
    const QList<QListWidgetItem*> selected = ui->lsFilterInGroup->selectedItems();
    for (QListWidgetItem* item : selected)
        delete ui->lsFilterInGroup->takeItem(ui->lsFilterInGroup->row(item));
}

bool DlgFilterGroup::groupStillThere() const
{
    ov::IDataFilterMgr* mgr = m_orvel ? m_orvel->dataFilterMgr() : nullptr;
    if (!mgr || !m_dev || !m_group)
        return false;
    const std::vector<ov::IDataFilter*> listed = mgr->deviceFilters(m_dev, true);
    return std::find(listed.begin(), listed.end(), static_cast<ov::IDataFilter*>(m_group))
        != listed.end();
}

void DlgFilterGroup::on_bbOkCancel_accepted()
{
    if (!groupStillThere()) {
        QMessageBox::warning(this, windowTitle(),
            QStringLiteral("The group no longer exists; its filters were not changed."));
        reject();
        return;
    }
    m_group->clearFilters();
    QStringList refused;
    for (int row = 0; row < ui->lsFilterInGroup->count(); ++row) {
        const QString name = ui->lsFilterInGroup->item(row)->text();
        if (m_group->addFilterByName(name.toUtf8().constData()) < 0)
            refused.append(name);
    }
    if (!refused.isEmpty())
        QMessageBox::warning(this, windowTitle(),
            QStringLiteral("The group did not take these filters: %1.")
                .arg(refused.join(QStringLiteral(", "))));
    accept();
}

void DlgFilterGroup::on_bbOkCancel_rejected()
{
    reject();
}

} // namespace PluginDevControl
