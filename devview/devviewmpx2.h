// The page of a Medipix2 or Timepix detector: the detector shell bound to the Timepix
// controller. The page is complete when its constructor returns.
#pragma once

#include "devviewmpx.h"
#include "resetbitsmenu.h"

namespace PluginDevControl {

class DevCtrlMpx2;
class PnlDevStgTpx;
class PnlFilters;
class PnlMeasurement;

class DevViewMpx2 : public DevViewMpx
{
    Q_OBJECT

public:
    DevViewMpx2(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);
    ~DevViewMpx2() override;

    void onExit() override;
    void releaseDevice() override;
    void enableGui(bool enabled, bool running) override;
    void initialize() override;
    void setupPanels() override;
    void loadSettings() override;
    void saveSettings() override;
    QToolButton* initResetBitsMenu() override;

    DevCtrlMpx2* familyController() const { return ctrlFamily; }
    PnlMeasurement* measurement() const { return measurementPanel; }
    PnlDevStgTpx* settingsPanel() const { return stgPanel; }
    PnlFilters* filters() const { return filtersPanel; }
    // The reset entries of the second tool bar, in menu order.
    QList<QAction*> resetActions() const;

public slots:
    virtual void onAcqFinished() { }

protected:
    PnlMeasurementBase* measurementPanelBase() const override;
    void setupPanelsMenu();
    void resetThhBits();

    ov::IDevMpx2* devFamily = nullptr;
    DevCtrlMpx2* ctrlFamily = nullptr;
    PnlDevStgTpx* stgPanel = nullptr;
    PnlMeasurement* measurementPanel = nullptr;
    PnlFilters* filtersPanel = nullptr;
    ResetBitsMenu reset;
    QAction* acResetThhBits = nullptr;
};

} // namespace PluginDevControl
