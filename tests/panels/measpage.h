// The measurement panel on a controller whose measurements are only recorded, on a
// device with the Timepix's time limits, inside a simulated host that supplies the
// application directory and the file types.
#pragma once

#include "devctrlmpx.h"
#include "nulldevice.h"
#include "pnlmeasurement.h"
#include "simhost.h"
#include "ui_pnlmeasurement.h"

#include <qmpxframe.h>

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>

#include <memory>
#include <vector>

namespace meastest {

class MeasDevice : public testdev::NullDevMpx2
{
public:
    int deviceType() override { return kind; }
    uint32_t supportedAcqTypes() override { return acqTypes; }
    double minAcqTime() override { return 1e-5; }
    double maxAcqTime() override { return 10000.0; }
    uint32_t pixelCount() override { return pixels; }
    int width() override { return 1024; }
    int height() override { return static_cast<int>(pixels / 1024); }

    int kind = 1;
    uint32_t acqTypes = ov::AcqTypeTestPulses;
    uint32_t pixels = 1024 * 1024;
};

// Records what the panel asks of it instead of measuring.
class RecordingCtrl : public PluginDevControl::DevCtrlMpx
{
public:
    using DevCtrlMpx::DevCtrlMpx;

    int startAcq() override
    {
        ++starts;
        startParams.push_back(acqParams());
        return 0;
    }
    int stopAcq() override
    {
        ++stops;
        return 0;
    }
    bool isDeviceLocked() const override { return locked; }
    void setAcqRepeatEnabled(bool enabled) override { repeatSwitches.push_back(enabled); }
    QString getSaveFileName(ov::IFileType**, unsigned*, bool framesOnly) override
    {
        ++browses;
        browseFramesOnly = framesOnly;
        return browseAnswer;
    }

    int starts = 0;
    int stops = 0;
    bool locked = false;
    std::vector<bool> repeatSwitches;
    std::vector<PluginDevControl::AcqParams> startParams;
    int browses = 0;
    bool browseFramesOnly = true;
    QString browseAnswer;
};

struct MeasPage
{
    explicit MeasPage(uint32_t acqTypes = ov::AcqTypeTestPulses,
        const PluginDevControl::AcqParams& stored = PluginDevControl::AcqParams())
        : host(home.path())
    {
        dev.acqTypes = acqTypes;
        ctrl = std::make_unique<RecordingCtrl>(&host, &dev, &frame, nullptr);
        ctrl->setAcqParams(stored);
        panel = std::make_unique<PluginDevControl::PnlMeasurement>(nullptr, ctrl.get());
        panel->show();
    }
    ~MeasPage() { panel.reset(); }

    Ui_PnlMeasurement& ui() const { return *panel->ui; }
    bool on() const { return ui().btStartStop->property("on").toBool(); }
    // Writes "MaxFrameMemory" where the host keeps it.
    void setFrameMemoryLimit(unsigned mb)
    {
        QSettings ini(QDir(home.path()).filePath("orvel.ini"), QSettings::IniFormat);
        ini.setValue("Settings/MaxFrameMemory", mb);
        ini.sync();
    }

    QTemporaryDir home;
    sim::SimHost host;
    MeasDevice dev;
    QMpxFrame frame;
    std::unique_ptr<RecordingCtrl> ctrl;
    std::unique_ptr<PluginDevControl::PnlMeasurement> panel;
};

} // namespace meastest
