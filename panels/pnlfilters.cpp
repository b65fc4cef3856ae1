#include "pnlfilters.h"

#include "devctrlmpx.h"
#include "dlgfiltergroup.h"
#include "dlgfilterstg.h"
#include "ui_pnlfilters.h"

#include <ovcore.h>

#include <QInputDialog>
#include <QMessageBox>
#include <QSignalBlocker>

#include <algorithm>

namespace PluginDevControl {

namespace {

bool contains(const std::vector<ov::IDataFilter*>& list, const ov::IDataFilter* filter)
{
    return std::find(list.begin(), list.end(), filter) != list.end();
}

} // namespace

PnlFilters::PnlFilters(QWidget* parent, DevCtrlMpx* controller)
    : QWidget(parent), ui(new Ui_PnlFilters), ctrl(controller)
{
    ui->setupUi(this);
    if (ctrl)
        connect(ctrl, &DevCtrlMpx::sigFiltersChanged, this, &PnlFilters::onFiltersChanged);
    onFiltersChanged();
    on_cmbFilter_currentIndexChanged(0);
}

PnlFilters::~PnlFilters()
{
    delete ui;
}

ov::IDataFilterMgr* PnlFilters::filterMgr() const
{
    ov::IOrvel* host = ctrl ? ctrl->orvel() : nullptr;
    return host ? host->dataFilterMgr() : nullptr;
}

std::vector<ov::IDataFilter*> PnlFilters::hostFilters() const
{
    ov::IDataFilterMgr* mgr = filterMgr();
    if (!mgr || !ctrl->dev())
        return {};
    return mgr->deviceFilters(ctrl->dev(), true);
}

void PnlFilters::fillComboBox()
{
    const QSignalBlocker blocker(ui->cmbFilter);
    ui->cmbFilter->clear();
    for (ov::IDataFilter* filter : filters)
        ui->cmbFilter->addItem(QString::fromStdString(filter->name()));
}

void PnlFilters::dropChosen()
{
    if (ctrl && ui->chbFilterOn->isChecked())
        ctrl->setFilter(nullptr);
    chosen = nullptr;
}

void PnlFilters::onFiltersChanged()
{
    std::vector<ov::IDataFilter*> now = hostFilters();
    // Only a change of the number of filters refreshes the box, so that the host's
    // event does not disturb a choice the user is making.
    if (now.size() == filters.size())
        return;
    filters = std::move(now);
    fillComboBox();
    if (chosen && contains(filters, chosen)) {
        const QSignalBlocker blocker(ui->cmbFilter);
        ui->cmbFilter->setCurrentIndex(
            static_cast<int>(std::find(filters.begin(), filters.end(), chosen) - filters.begin()));
        return;
    }
    // The chosen filter is gone (or there was none): the box's first item, if any,
    // becomes the choice, with its buttons.
    dropChosen();
    on_cmbFilter_currentIndexChanged(ui->cmbFilter->currentIndex());
}

void PnlFilters::on_cmbFilter_currentIndexChanged(int index)
{
    if (index < 0 || index >= ui->cmbFilter->count() || index >= static_cast<int>(filters.size())) {
        ui->btFilterStg->setEnabled(false);
        ui->btFilterGroupRemove->setEnabled(false);
        return;
    }
    ov::IDataFilter* filter = filters[static_cast<size_t>(index)];
    if (!contains(hostFilters(), filter)) {
        // The box still shows a list the host has since replaced with one of the same
        // length: read it anew rather than use a filter that is no more.
        filters.clear();
        onFiltersChanged();
        return;
    }
    ui->btFilterStg->setEnabled(true);
    ui->btFilterGroupRemove->setEnabled(filter->filterType() == ov::DataFilterGroup);
    chosen = filter;
    on_chbFilterOn_clicked();
}

void PnlFilters::on_chbFilterOn_clicked()
{
    if (!ctrl)
        return;
    ctrl->setFilter(ui->chbFilterOn->isChecked() ? chosen : nullptr);
}

void PnlFilters::on_btFilterStg_clicked()
{
    if (!chosen || !ctrl)
        return;
    if (chosen->filterType() == ov::DataFilterGroup) {
        DlgFilterGroup dialog(this);
        openDialog = &dialog;
        dialog.editFilterGroup(
            ctrl->orvel(), ctrl->dev(), static_cast<ov::IDataFilterGroup*>(chosen));
    } else if (chosen->hasOwnDialog()) {
        chosen->showOwnDialog();
    } else {
        DlgFilterStg dialog(this);
        openDialog = &dialog;
        dialog.editFilterParams(chosen->filterParams());
    }
    // What the dialog changed shows on the frame on screen at once.
    if (ctrl && chosen && ui->chbFilterOn->isChecked())
        ctrl->setFilter(chosen);
}

void PnlFilters::on_btFilterGroupAdd_clicked()
{
    if (!filterMgr())
        return;
    const QString name = QInputDialog::getText(this, QStringLiteral("Add Group"),
        QStringLiteral("New Group Name"), QLineEdit::Normal, QString())
                             .trimmed();
    // The page may have let go of its device while the question was open.
    ov::IDataFilterMgr* mgr = filterMgr();
    if (name.isEmpty() || !mgr)
        return;
    if (mgr->addGroup(name.toUtf8().constData()) < 0) {
        QMessageBox::warning(this, QStringLiteral("Add Group"),
            QStringLiteral("The group \"%1\" could not be made: the name is taken or not "
                           "allowed.")
                .arg(name));
        return;
    }
    onFiltersChanged();
}

void PnlFilters::on_btFilterGroupRemove_clicked()
{
    ov::IDataFilterMgr* mgr = filterMgr();
    if (!chosen || !mgr || chosen->filterType() != ov::DataFilterGroup)
        return;
    ov::IDataFilter* group = chosen;
    // The frames stop going through the group before the host destroys it.
    dropChosen();
    mgr->removeFilter(ctrl->dev(), group);
    onFiltersChanged();
    on_cmbFilter_currentIndexChanged(ui->cmbFilter->count() > 0 ? 0 : -1);
}

void PnlFilters::releaseDevice()
{
    if (openDialog)
        openDialog->reject();
    chosen = nullptr;
    filters.clear();
    ctrl = nullptr;
}

} // namespace PluginDevControl
