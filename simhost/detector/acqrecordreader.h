// The packed measurement records that a plug-in hands to
// IDevMpx::doAdvancedAcquisition, read byte by byte (little-endian, no alignment):
//
// Measurement record, 43 bytes:
//   0 u32 kind: 0 frames, 1 test pulses, 2 pixel data (data-driven readout of a
//     Timepix3), 3 pixel data with test pulses
//                                4 u32 frame count        8 f64 acquisition time (s)
//  16 u32 mode flags            20 u32 file type         24 u32 file flags
//  28 u32 spacing               32 u8  integral (0/1)    33 u8  refresh DACs (0/1)
//  34 u8  refresh pixel configuration (0/1)              35 ptr output file (C string)
// Repeat record, 20 bytes:
//   0 u32 repeat count (0xFFFFFFFF: endless; re-read live every round)
//   4 f64 delay between repeats (s)   12 u32 file flags   16 u32 file-index digits
// Test-pulse block of the Timepix family, 21 bytes:
//   0 u32 pulse count   4 f64 pulse period (s)   12 f64 pulse height (V)   20 u8 manual bits
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace sim {

// Result codes of doAdvancedAcquisition.
enum AcqResult : int {
    AcqOk = 0,
    AcqErrNoRecord = -1001,       // the measurement record is null
    AcqErrBadCount = -1002,       // frame count 0
    AcqErrBadTime = -1003,        // time negative, not finite or above the longest
    AcqErrBadFlag = -1004,        // a 0/1 field holds something else, or bad spacing
    AcqErrBadTestPulses = -1005,  // test pulses without block, or the block out of limits
    AcqErrBadRepeat = -1006,      // repeat delay negative or not finite
    AcqErrAborted = -1007,        // abortOperation
    AcqErrNoOutputName = -1008,   // the output-file pointer is null
    AcqErrLocked = -1009,         // the device is locked
    AcqErrBusy = -1010,           // a measurement is already running on the device
    AcqErrUnsupported = -1011,    // mode flags ask for something the device cannot do
    AcqErrOutputFile = -1012,     // output files were asked for and could not be written
    AcqErrTriggerTimeout = -1013, // no hardware trigger came within the trigger timeout
};

// Byte offsets of the records (see above).
namespace acqoff {
constexpr int TestPulses = 0, Count = 4, Time = 8, Mode = 16, FileType = 20, FileFlags = 24,
              Spacing = 28, Integral = 32, RefreshDacs = 33, RefreshPixCfg = 34, OutputFile = 35,
              Size = 43;
} // namespace acqoff
namespace repoff {
constexpr int Count = 0, Delay = 4, FileFlags = 12, FileDigits = 16, Size = 20;
} // namespace repoff
namespace tpoff {
constexpr int Count = 0, Period = 4, Height = 12, ManualBits = 20, Size = 21;
} // namespace tpoff

constexpr uint32_t kEndlessRepeats = 0xFFFFFFFFu;

struct AcqRecord
{
    bool testPulses = false;
    bool pixels = false; // data-driven readout: hits instead of frames
    uint32_t count = 0;
    double time = 0.0;
    uint32_t mode = 0;
    uint32_t fileType = 0;
    uint32_t fileFlags = 0;
    uint32_t spacing = 0;
    bool integral = false;
    bool refreshDacs = false;
    bool refreshPixCfg = false;
    std::string outputFile;
};

struct RepeatRecord
{
    uint32_t count = 0;
    double delay = 0.0;
    uint32_t fileFlags = 0;
    uint32_t fileDigits = 0;
};

struct TestPulseRecord
{
    uint32_t count = 0;
    double period = 0.0;
    double height = 0.0;
    uint8_t manualBits = 0;
};

// What a device was asked to measure: the records as it received them. The repeat and
// test-pulse records are there when their pointers were given (and could be read).
struct AcqRequest
{
    AcqRecord acq;
    std::optional<RepeatRecord> repeat;
    std::optional<TestPulseRecord> testPulses;
};

// Bits of the mode word of the measurement record.
enum AcqModeBit : uint32_t {
    AcqModeTriggerStart = 1u << 0, // each frame's shutter opens at a hardware trigger
    AcqModeTriggerStop = 1u << 1,  // each frame's shutter closes at a hardware trigger
    AcqModeCompression = 1u << 4,  // data compression of the readout
    AcqModeTdi = 1u << 5,          // time delayed integration readout
};

// One line for the log that says what was asked for: frames, time, kind, mode (with
// the trigger), test pulses, series and output file.
std::string describeRequest(const AcqRequest& request);

// Little-endian reads at a byte offset.
uint32_t readU32(const void* base, int offset);
double readF64(const void* base, int offset);
uint64_t readU64(const void* base, int offset);
uint8_t readU8(const void* base, int offset);

// Parse and check the field encodings (0/1 flags, finite numbers); the limits of a
// particular device are checked by the device. Return AcqOk or an AcqResult code.
int parseAcqRecord(const void* record, AcqRecord* out);
int parseRepeatRecord(const void* record, RepeatRecord* out);
int parseTestPulseRecord(const void* record, TestPulseRecord* out);

// The live repeat count, read atomically (the plug-in changes it from another thread
// while the series runs).
uint32_t liveRepeatCount(const void* repeatRecord);

} // namespace sim
