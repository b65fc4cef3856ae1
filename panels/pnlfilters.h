// The filters panel of a device page: picks one of the host's data filters or filter
// groups for the displayed frames, switches it on and off, opens its settings, and
// makes or removes filter groups. Filtering itself is the host's; the controller shows
// frames through the chosen filter.
#pragma once

#include <QPointer>
#include <QWidget>

#include <vector>

class QDialog;
class Ui_PnlFilters;

namespace ov {
class IDataFilter;
class IDataFilterMgr;
} // namespace ov

namespace PluginDevControl {

class DevCtrlMpx;

class PnlFilters : public QWidget
{
    Q_OBJECT

public:
    PnlFilters(QWidget* parent, DevCtrlMpx* ctrl);
    ~PnlFilters() override;

    const Ui_PnlFilters& form() const { return *ui; }
    ov::IDataFilter* chosenFilter() const { return chosen; }
    const std::vector<ov::IDataFilter*>& listedFilters() const { return filters; }

    // The page lets go of its device: a settings dialog the panel opened is closed, and
    // nothing reaches the controller or the host's filters afterwards.
    void releaseDevice();

public slots:
    void on_cmbFilter_currentIndexChanged(int index);
    void on_chbFilterOn_clicked();
    void on_btFilterStg_clicked();
    void on_btFilterGroupAdd_clicked();
    void on_btFilterGroupRemove_clicked();
    void onFiltersChanged();

private:
    ov::IDataFilterMgr* filterMgr() const;
    // The host's present list of the device's filters and groups.
    std::vector<ov::IDataFilter*> hostFilters() const;
    // Fills the combo box from `filters` without announcing a change of item.
    void fillComboBox();
    // Forgets the chosen filter, and takes it off the frames when it was applied.
    void dropChosen();

    Ui_PnlFilters* ui;
    QPointer<DevCtrlMpx> ctrl;
    ov::IDataFilter* chosen = nullptr;
    std::vector<ov::IDataFilter*> filters;
    // The settings or group dialog while it is open.
    QPointer<QDialog> openDialog;
};

} // namespace PluginDevControl
