// The parameters of a measurement as the measurement panel and the acquisition
// settings dialog set them up, and their place in the device's settings.
#pragma once

#include <string>

namespace ov {
class ISettings;
}

namespace PluginDevControl {

// Acquisition types of AcqParams::acqType.
enum AcqType : int {
    AcqFrames = 0,
    AcqIntegral = 1,
    AcqTestPulses = 2,
    AcqIntegralTestPulses = 4,
};

// Acquisition types of the Timepix3 family beyond the common ones.
enum AcqTypeTpx3 : int {
    AcqTpx3Pixels = 3,           // data-driven readout
    AcqTpx3PixelsTestPulses = 5, // data-driven readout with test pulses
};

class AcqParams
{
public:
    AcqParams() = default;
    AcqParams(const AcqParams&) = default;
    AcqParams& operator=(const AcqParams&) = default;
    virtual ~AcqParams() = default;

    // Reads every field from section "Acq", each with its present value as default.
    void load(ov::ISettings* settings);
    // Writes every field to section "Acq" in the order of the keys' names.
    void save(ov::ISettings* settings) const;

    int acqType = AcqFrames; // "Type"
    int acqCount = 100;      // "Count": frames in one measurement
    double acqTime = 0.1;    // "Time": seconds per frame
    // "Mode": bits 0 and 1 trigger, bit 4 data compression, bit 5 TDI readout.
    int acqMode = 0;
    std::string outputFile;     // "FileName", UTF-8
    bool fileOutput = false;    // "FileOutputEnabled"
    int fileType = 1;           // "FileType"; 1: from the file name's extension
    unsigned fileFlags = 0;     // "OutputFlags"
    bool repeatEnabled = false; // "Repeat"
    int repeatCount = 0;        // "RepeatCount"; 0 is endless
    double repeatDelay = 0.0;   // "RepeatDelay", seconds
    // "RepeatFlags": bit 0 continue a series, bit 1 separate directory, bit 2 same file.
    unsigned repeatFileFlags = 0;
    int repeatFileDigits = 0;   // "RepeatDigits"
    int spacing = 1;            // "Spacing" of frame measurements
    int tpSpacing = 4;          // "TpSpacing" of test-pulse measurements
    bool refreshDacs = false;   // "RefreshDacs"
    bool refreshPixCfg = false; // "RefreshPixCfg"
};

// The second time of a Timepix3 measurement, used by data-driven (pixel) runs.
class AcqParamsTpx3
{
public:
    AcqParamsTpx3() = default;
    AcqParamsTpx3(const AcqParamsTpx3&) = default;
    AcqParamsTpx3& operator=(const AcqParamsTpx3&) = default;
    virtual ~AcqParamsTpx3() = default;

    // Reads and writes "TimeDataDriven" of section "Acq".
    void load(ov::ISettings* settings);
    void save(ov::ISettings* settings) const;

    double timeDataDriven = 0.0; // seconds of a data-driven measurement
};

// Section of the device settings that holds AcqParams.
inline constexpr const char* kAcqSection = "Acq";

} // namespace PluginDevControl
