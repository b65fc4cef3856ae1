// The page of a Timepix3 detector: the detector shell bound to the Timepix3 controller
// and its measurement panel, with the pixel rate in the status bar for data-driven
// measurements. The page is complete when its constructor returns.
#pragma once

#include "devviewmpx.h"
#include "resetbitsmenu.h"

namespace PluginDevControl {

class DevCtrlTpx3;
class PnlFilters;
class PnlMeasurementTpx3;

class DevViewTpx3 : public DevViewMpx
{
    Q_OBJECT

public:
    DevViewTpx3(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);
    ~DevViewTpx3() override;

    void onExit() override;
    void releaseDevice() override;
    void enableGui(bool enabled, bool running) override;
    // The time and, for a data-driven measurement, the pixels per second; frames per
    // second otherwise.
    void onTimeProgress() override;
    void initialize() override;
    void setupPanels() override;
    void loadSettings() override;
    void saveSettings() override;
    QToolButton* initResetBitsMenu() override;

    DevCtrlTpx3* familyController() const { return ctrlFamily; }
    PnlMeasurementTpx3* measurement() const { return measurementPanel; }
    PnlFilters* filters() const { return filtersPanel; }
    // The reset entries of the second tool bar, in menu order.
    QList<QAction*> resetActions() const;

protected:
    PnlMeasurementBase* measurementPanelBase() const override;
    void setupPanelsMenu();

    ov::IDevTpx3* devFamily = nullptr;
    DevCtrlTpx3* ctrlFamily = nullptr;
    PnlMeasurementTpx3* measurementPanel = nullptr;
    PnlFilters* filtersPanel = nullptr;
    ResetBitsMenu reset;
};

} // namespace PluginDevControl
