// The packed little-endian records handed to the device: the test-pulse parameters of
// every chip family, the description of one measurement and the description of a
// series. The host reads them byte by byte, so every field sits at a fixed offset with
// no alignment gaps; the offsets are checked below at compile time.
#pragma once

#include <cstddef>
#include <cstdint>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
    "the device records are little-endian and are built in place");

namespace PluginDevControl {

class AcqParams;

#pragma pack(push, 1)

// Test pulses of Medipix2 and Timepix (device kind 1).
struct TpxPulses
{
    uint32_t pulseCount;
    double pulsePeriod; // seconds
    double pulseHeight; // volts
    uint8_t manualTpBits;
};

// Test pulses of Medipix3 (device kind 2).
struct Mpx3Pulses
{
    uint32_t pulseCount;
    double pulsePeriod; // seconds
    double charge1;     // volts
    double charge2;     // volts
    uint8_t manualTpBits;
    uint8_t reserved;          // 1
    uint8_t reservedBytes[32]; // all 0xFF, handed to the host unchanged
};

// Test pulses of Timepix3 (device kind 3).
struct Tpx3Pulses
{
    uint32_t pulseCount;
    double pulsePeriod; // seconds
    uint8_t phase;
    uint8_t digital;
    uint8_t external;
    uint8_t manualTpBits;
    uint8_t reserved;          // 1
    uint8_t reservedBytes[32]; // all 0xFF, handed to the host unchanged
    uint32_t charge;           // electrons
};

// Test pulses of Timepix2 (device kind 4).
struct Tpx2Pulses
{
    uint32_t pulseCount;
    double pulsePeriod; // seconds
    double pulseHeight; // electrons
    uint8_t manualTpBits;
    uint8_t digital;
    uint8_t reserved[2]; // 0
};

// The test-pulse parameters of all families in one record of 164 bytes. The device
// gets the address of the block of its own kind.
struct TpParams
{
    int32_t devType;
    TpxPulses tpx;
    Mpx3Pulses mpx3;
    Tpx3Pulses tpx3;
    Tpx2Pulses tpx2;
};

// One measurement, as doAdvancedAcquisition reads it: 43 bytes.
struct AcqDesc
{
    uint32_t testPulses; // 1 for test-pulse measurements
    uint32_t count;
    double time; // seconds per frame
    uint32_t mode;
    uint32_t fileType;
    uint32_t fileFlags;
    uint32_t spacing;
    uint8_t integral;
    uint8_t refreshDacs;
    uint8_t refreshPixCfg;
    const char* outputFile; // never null; empty when nothing is written
};

// A series of measurements: 20 bytes. The device re-reads the count every round while
// the series runs, so the count may be changed from another thread.
struct RepeatDesc
{
    uint32_t count; // 0xFFFFFFFF for endless
    double delay;   // seconds between repeats
    uint32_t fileFlags;
    uint32_t fileDigits;
};

#pragma pack(pop)

static_assert(sizeof(TpxPulses) == 21);
static_assert(sizeof(Mpx3Pulses) == 62);
static_assert(sizeof(Tpx3Pulses) == 53);
static_assert(sizeof(Tpx2Pulses) == 24);

static_assert(sizeof(TpParams) == 164, "TpParams is a 164-byte record");
static_assert(offsetof(TpParams, devType) == 0);
static_assert(offsetof(TpParams, tpx) + offsetof(TpxPulses, pulseCount) == 4);
static_assert(offsetof(TpParams, tpx) + offsetof(TpxPulses, pulsePeriod) == 8);
static_assert(offsetof(TpParams, tpx) + offsetof(TpxPulses, pulseHeight) == 16);
static_assert(offsetof(TpParams, tpx) + offsetof(TpxPulses, manualTpBits) == 24);
static_assert(offsetof(TpParams, mpx3) + offsetof(Mpx3Pulses, pulseCount) == 25);
static_assert(offsetof(TpParams, mpx3) + offsetof(Mpx3Pulses, pulsePeriod) == 29);
static_assert(offsetof(TpParams, mpx3) + offsetof(Mpx3Pulses, charge1) == 37);
static_assert(offsetof(TpParams, mpx3) + offsetof(Mpx3Pulses, charge2) == 45);
static_assert(offsetof(TpParams, mpx3) + offsetof(Mpx3Pulses, manualTpBits) == 53);
static_assert(offsetof(TpParams, mpx3) + offsetof(Mpx3Pulses, reserved) == 54);
static_assert(offsetof(TpParams, mpx3) + offsetof(Mpx3Pulses, reservedBytes) == 55);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, pulseCount) == 87);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, pulsePeriod) == 91);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, phase) == 99);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, digital) == 100);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, external) == 101);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, manualTpBits) == 102);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, reserved) == 103);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, reservedBytes) == 104);
static_assert(offsetof(TpParams, tpx3) + offsetof(Tpx3Pulses, charge) == 136);
static_assert(offsetof(TpParams, tpx2) + offsetof(Tpx2Pulses, pulseCount) == 140);
static_assert(offsetof(TpParams, tpx2) + offsetof(Tpx2Pulses, pulsePeriod) == 144);
static_assert(offsetof(TpParams, tpx2) + offsetof(Tpx2Pulses, pulseHeight) == 152);
static_assert(offsetof(TpParams, tpx2) + offsetof(Tpx2Pulses, manualTpBits) == 160);
static_assert(offsetof(TpParams, tpx2) + offsetof(Tpx2Pulses, digital) == 161);
static_assert(offsetof(TpParams, tpx2) + offsetof(Tpx2Pulses, reserved) == 162);

static_assert(sizeof(AcqDesc) == 43, "AcqDesc is a 43-byte record");
static_assert(offsetof(AcqDesc, testPulses) == 0);
static_assert(offsetof(AcqDesc, count) == 4);
static_assert(offsetof(AcqDesc, time) == 8);
static_assert(offsetof(AcqDesc, mode) == 16);
static_assert(offsetof(AcqDesc, fileType) == 20);
static_assert(offsetof(AcqDesc, fileFlags) == 24);
static_assert(offsetof(AcqDesc, spacing) == 28);
static_assert(offsetof(AcqDesc, integral) == 32);
static_assert(offsetof(AcqDesc, refreshDacs) == 33);
static_assert(offsetof(AcqDesc, refreshPixCfg) == 34);
static_assert(offsetof(AcqDesc, outputFile) == 35);

static_assert(sizeof(RepeatDesc) == 20, "RepeatDesc is a 20-byte record");
static_assert(offsetof(RepeatDesc, count) == 0);
static_assert(offsetof(RepeatDesc, delay) == 4);
static_assert(offsetof(RepeatDesc, fileFlags) == 12);
static_assert(offsetof(RepeatDesc, fileDigits) == 16);

// Byte offsets of the test-pulse blocks inside TpParams, by device kind.
constexpr std::size_t kTpBlockMpx2 = offsetof(TpParams, tpx);
constexpr std::size_t kTpBlockMpx3 = offsetof(TpParams, mpx3);
constexpr std::size_t kTpBlockTpx3 = offsetof(TpParams, tpx3);
constexpr std::size_t kTpBlockTpx2 = offsetof(TpParams, tpx2);
static_assert(kTpBlockMpx2 == 4 && kTpBlockMpx3 == 25 && kTpBlockTpx3 == 87 && kTpBlockTpx2 == 140);

// Test-pulse parameters with the default of every field, for a device of devType.
TpParams defaultTpParams(int devType);

// The description of one measurement of params. outputFile points into
// params.outputFile (or at a static empty string), so params must outlive the record.
// Acquisition types 2 and 4 are test-pulse measurements, 1 and 4 integrals; only type
// 2 sends tpSpacing, type 4 sends spacing like the frame types.
AcqDesc makeAcqDesc(const AcqParams& params);

// The description of one Timepix3 measurement of params. Besides the types above,
// type 3 (pixels) sends word 2 and the data-driven time, and type 5 (pixels with test
// pulses) sends word 3; type 4 sends tpSpacing here, and types above 5 count as frames.
// The refresh bytes are always 0 on this family.
AcqDesc makeTpx3AcqDesc(const AcqParams& params, double timeDataDriven);
// Whether a Timepix3 measurement of acqType hands the test-pulse block to the device.
bool tpx3SendsTestPulses(int acqType);

// The series description of params; a repeat count of 0 (endless) is sent as
// 0xFFFFFFFF.
RepeatDesc makeRepeatDesc(const AcqParams& params);

// The test-pulse block the device gets for a measurement: null unless testPulses,
// else the block of tp.devType inside tp (kinds 1 to 4), null for other kinds.
const void* testPulseBlock(const TpParams& tp, bool testPulses);

// Writes the count of a live series description from another thread than the one in
// the device call, which reads it with an atomic load.
void storeRepeatCount(RepeatDesc* desc, uint32_t count);
// Reads it in the same way.
uint32_t loadRepeatCount(const RepeatDesc* desc);

} // namespace PluginDevControl
