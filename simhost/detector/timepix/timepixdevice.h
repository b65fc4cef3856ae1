// The simulated Medipix2 / Timepix device (kind 1): a single chip of 256 x 256 pixels
// or several chips (the default quad is 2 x 2 chips, 512 x 512 pixels). Everything but
// the Timepix operations of ov::IDevMpx2 (clock, chip calibration, energy calibration
// matrices, DAC delay) is the pixel detector of MpxCore.
#pragma once

#include "mpxdevice.h"

namespace sim {

class TimepixDevice final : public MpxDevice<ov::IDevMpx2>
{
public:
    explicit TimepixDevice(const DeviceDesc& desc) : MpxDevice<ov::IDevMpx2>(desc) { }

    // ov::IDevMpx2
    using MpxDevice<ov::IDevMpx2>::chipPolarity;
    bool chipPolarity(int chip, uint16_t* k) override { return MpxCore::chipPolarity(chip, k); }
    int setChipCalibration(int chip, uint16_t k, double a, double b, double w, double t) override
    {
        return MpxCore::setChipCalibration(chip, k, a, b, w, t);
    }
    int chipCalibration(int chip, double* a, double* b, double* w, double* t) override
    {
        return MpxCore::chipCalibration(chip, a, b, w, t);
    }
    int testPulseLimits(uint32_t* maxCount, double* maxHeight, double* maxPeriod) override
    {
        return MpxCore::testPulseLimits(maxCount, maxHeight, maxPeriod);
    }
    int setClock(double mhz) override { return MpxCore::setClock(mhz); }
    double clock() override { return MpxCore::clock(); }
    bool isDataCalibrationEnabled() override { return MpxCore::isDataCalibrationEnabled(); }
    int setDataCalibrationEnabled(bool on) override
    {
        return MpxCore::setDataCalibrationEnabled(on);
    }
    bool isDataCalibrationSupported() override { return MpxCore::isDataCalibrationSupported(); }
    int setCalibrationMatrices(int chip, double* a, double* b, double* c, double* t) override
    {
        return MpxCore::setCalibrationMatrices(chip, a, b, c, t);
    }
    int calibrationMatrices(int chip, double* a, double* b, double* c, double* t) override
    {
        return MpxCore::calibrationMatrices(chip, a, b, c, t);
    }
    int dacDelay() override { return MpxCore::dacDelay(); }
    int setDacDelay(int ms) override { return MpxCore::setDacDelay(ms); }
};

} // namespace sim
