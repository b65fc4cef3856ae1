// A Medipix2/Timepix device for the detector settings panels: bias with a range of its
// own and a sense that the test sets, a clock, a threshold that a DAC rounds to whole
// steps, chips that are calibrated or not, a recording pixel configuration, and events
// that reach the controller only when the test fires them, as the host's event thread
// would deliver them later.
#pragma once

#include "pixcfgfakes.h"

#include <atomic>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace stgtest {

class StgDevice : public testdev::NullDevMpx2
{
public:
    struct ThresholdWrite
    {
        uint32_t chip;
        int kind;
        double value;
    };

    // A Timepix of chips chips; the pixel configuration has ten pixels, enough for any
    // mean mode in tenths.
    explicit StgDevice(unsigned chips = 1) : chipTotal(chips), cfg(10, 1, 2) { }

    int deviceType() override { return 1; }
    int registerEvent(const char* name, ov::EventCallback cb, void* user) override
    {
        events.emplace_back(name, Sub {cb, user});
        return 0;
    }
    // Calls the subscribers of an event; the number of them.
    int fire(const char* name, long data = 0)
    {
        int n = 0;
        for (const auto& event : events) {
            if (event.first == name) {
                event.second.cb(data, reinterpret_cast<long>(event.second.user));
                ++n;
            }
        }
        return n;
    }

    bool isLocked() override { return locked; }
    bool isTimepix() override { return timepix; }
    unsigned chipCount() override { return chipTotal; }
    bool isChipCalibrated(uint32_t) override { return calibrated; }
    int width() override { return 10; }
    int height() override { return 1; }
    uint32_t pixelCount() override { return 10; }
    ov::IMpxPixCfg* pixCfg() override { return &cfg; }

    // A bias inside the range is taken unless the device is told to refuse.
    int setBias(double volts) override
    {
        biasWrites.push_back(volts);
        if (refuseBias || !(volts >= biasLow && volts <= biasHigh))
            return -1;
        biasValue = volts;
        return 0;
    }
    double bias() override { return biasValue; }
    double biasMin() override { return biasLow; }
    double biasMax() override { return biasHigh; }
    bool hasBiasSense() override { return sense; }
    double senseBiasVoltage() override
    {
        ++senseReads;
        return senseVolts;
    }
    double senseBiasCurrent() override
    {
        ++senseReads;
        return senseMicroamps;
    }

    // A clock from 1 to 100 MHz; anything else is refused.
    int setClock(double mhz) override
    {
        clockWrites.push_back(mhz);
        if (!(mhz >= 1.0 && mhz <= 100.0))
            return -1;
        clockValue = mhz;
        return 0;
    }
    double clock() override { return clockValue; }

    // Uncalibrated thresholds are DAC values: the device keeps whole steps.
    int setThreshold(uint32_t chip, int kind, double value) override
    {
        thresholdWrites.push_back(ThresholdWrite {chip, kind, value});
        thresholdValue = kind == ov::ThresholdCalibrated ? value : std::round(value);
        return 0;
    }
    double threshold(uint32_t, int) override { return thresholdValue; }

    // Sets the modes of the pixels, one value a pixel.
    void setModes(const std::vector<uint8_t>& modes)
    {
        for (size_t p = 0; p < modes.size() && p < cfg.mode.size(); ++p)
            cfg.setMode(static_cast<unsigned>(p), modes[p]);
    }

    unsigned chipTotal;
    bool timepix = true;
    bool calibrated = false;
    bool locked = false;
    double biasLow = 0.0;
    double biasHigh = 200.0;
    double biasValue = 100.0;
    bool refuseBias = false;
    std::vector<double> biasWrites;
    bool sense = true;
    double senseVolts = 100.0;
    double senseMicroamps = 0.0;
    std::atomic<int> senseReads {0};
    double clockValue = 48.0;
    std::vector<double> clockWrites;
    double thresholdValue = 300.0;
    std::vector<ThresholdWrite> thresholdWrites;
    testdev::RecordingPixCfg cfg;

private:
    struct Sub
    {
        ov::EventCallback cb;
        void* user;
    };
    std::vector<std::pair<std::string, Sub>> events;
};

} // namespace stgtest
