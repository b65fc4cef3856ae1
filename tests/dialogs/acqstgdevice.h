// A detector for the measurement settings dialog: a Timepix with a trigger input, test
// pulse limits, sensor refresh and data calibration that remember what they are told,
// and a parameter manager of trigger parameters of every value domain. A simulated host
// supplies the file types.
#pragma once

#include "devctrlmpx.h"
#include "nulldevice.h"
#include "simhost.h"
#include "simparams.h"

#include <qmpxframe.h>

#include <QTemporaryDir>

#include <memory>

namespace acqstgtest {

// Data calibration that remembers what it is told, on a family's device.
template <class Base>
class CalibratingDevice : public Base
{
public:
    bool isDataCalibrationSupported() override { return calibrationSupported; }
    bool isDataCalibrationEnabled() override { return calibrationOn; }
    int setDataCalibrationEnabled(bool on) override
    {
        calibrationOn = on;
        ++calibrationWrites;
        return 0;
    }

    bool calibrationSupported = true;
    bool calibrationOn = false;
    int calibrationWrites = 0;
};

class AcqStgDevice : public CalibratingDevice<testdev::NullDevMpx2>
{
public:
    AcqStgDevice()
    {
        params.add("Gain", "Not a trigger parameter [0..10]", ov::ParamU8);
        params.add("TrgTimeout", "Seconds to wait for a trigger [0..1000]", ov::ParamU16)
            .assign(300);
        params.add("TrgInputEdge", "Edge that fires [rising|falling]", ov::ParamU8)
            .setAliases({{"rising", 0}, {"falling", 1}});
        params.add("TrgOutputEnabled", "Pulse out at shutter open [true|false]", ov::ParamBool)
            .assign(1);
        params.add("TriggerLevel", "Active level [log 0|log 1]", ov::ParamU8).assign(1);
        params.add("TrgHoldOff", "Dead time after a trigger [2..40 ms]", ov::ParamU8).assign(9);
        params.add("TrgSource", "Where triggers come from [string]", ov::ParamString)
            .assignText("LEMO input");
        params.add("TrgCount", "Triggers received since the device was opened", ov::ParamU32)
            .assign(7);
    }

    int deviceType() override { return kind; }
    bool hasHwTrigger() override { return hwTrigger; }
    uint32_t capabilityFlags() override { return caps; }
    ov::IParamMgr* paramMgr() override { return &params; }
    int testPulseLimits(uint32_t* maxCount, double* maxHeight, double* maxPeriod) override
    {
        *maxCount = 1000;
        *maxHeight = 2.0;
        *maxPeriod = 0.01;
        return 0;
    }
    bool isSensorRefreshSupported() override { return refreshSupported; }
    bool isSensorRefreshEnabled() override { return refreshOn; }
    int setSensorRefreshEnabled(bool on) override
    {
        refreshOn = on;
        ++refreshWrites;
        return 0;
    }
    sim::SimParam& param(const char* name) { return *params.find(name); }

    int kind = ov::DevKindMpx2;
    bool hwTrigger = true;
    uint32_t caps = ov::CapHwTriggerStart | ov::CapHwTriggerStop;
    bool refreshSupported = true;
    bool refreshOn = false;
    int refreshWrites = 0;
    sim::SimParamMgr params;
};

// Test-pulse limits of the other families, and their sensor and calibration switches.
class Mpx3PulseDevice : public testdev::NullDevMpx3
{
public:
    int deviceType() override { return ov::DevKindMpx3; }
    int testPulseLimits(
        uint32_t* maxCount, double* maxPeriod, double* maxCharge1, double* maxCharge2) override
    {
        *maxCount = 500;
        *maxPeriod = 0.001;
        *maxCharge1 = 1.5;
        *maxCharge2 = 0.25;
        return 0;
    }
};

class Tpx3PulseDevice : public CalibratingDevice<testdev::NullDevTpx3>
{
public:
    int deviceType() override { return ov::DevKindTpx3; }
    int testPulseLimits(
        uint32_t* maxCount, double* maxPeriod, uint8_t* maxPhase, uint32_t* maxCharge) override
    {
        *maxCount = 1023;
        *maxPeriod = 0.002;
        *maxPhase = 15;
        *maxCharge = 50000;
        return 0;
    }
    Tpx3PulseDevice() { calibrationOn = true; }
};

class Tpx2PulseDevice : public CalibratingDevice<testdev::NullDevTpx2>
{
public:
    int deviceType() override { return ov::DevKindTpx2; }
    int testPulseLimits(uint32_t* maxCount, double* maxHeight, double* maxPeriod) override
    {
        *maxCount = 200;
        *maxHeight = 12345.5;
        *maxPeriod = 0.005;
        return 0;
    }
};

// The device, a host for the file types, and the controller whose records the dialog
// edits.
template <class Device = AcqStgDevice>
struct AcqStgSetup
{
    AcqStgSetup() : host(home.path())
    {
        ctrl = std::make_unique<PluginDevControl::DevCtrlMpx>(&host, &dev, &frame, nullptr);
    }

    QTemporaryDir home;
    sim::SimHost host;
    Device dev;
    QMpxFrame frame;
    std::unique_ptr<PluginDevControl::DevCtrlMpx> ctrl;
};

} // namespace acqstgtest
