#include "acqrecordreader.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace sim {

namespace {

const unsigned char* bytes(const void* base, int offset)
{
    return static_cast<const unsigned char*>(base) + offset;
}

} // namespace

uint8_t readU8(const void* base, int offset)
{
    return *bytes(base, offset);
}

uint32_t readU32(const void* base, int offset)
{
    const unsigned char* p = bytes(base, offset);
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

uint64_t readU64(const void* base, int offset)
{
    return uint64_t(readU32(base, offset)) | uint64_t(readU32(base, offset + 4)) << 32;
}

double readF64(const void* base, int offset)
{
    const uint64_t bits = readU64(base, offset);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

int parseAcqRecord(const void* record, AcqRecord* out)
{
    if (!record || !out)
        return AcqErrNoRecord;
    AcqRecord r;
    const uint32_t tp = readU32(record, acqoff::TestPulses);
    const uint8_t integral = readU8(record, acqoff::Integral);
    const uint8_t refreshDacs = readU8(record, acqoff::RefreshDacs);
    const uint8_t refreshPixCfg = readU8(record, acqoff::RefreshPixCfg);
    if (tp > 3 || integral > 1 || refreshDacs > 1 || refreshPixCfg > 1)
        return AcqErrBadFlag;
    r.testPulses = (tp & 1u) != 0;
    r.pixels = (tp & 2u) != 0;
    r.integral = integral == 1;
    r.refreshDacs = refreshDacs == 1;
    r.refreshPixCfg = refreshPixCfg == 1;
    r.count = readU32(record, acqoff::Count);
    if (r.count == 0)
        return AcqErrBadCount;
    r.time = readF64(record, acqoff::Time);
    if (!std::isfinite(r.time) || r.time < 0.0)
        return AcqErrBadTime;
    r.mode = readU32(record, acqoff::Mode);
    r.fileType = readU32(record, acqoff::FileType);
    r.fileFlags = readU32(record, acqoff::FileFlags);
    r.spacing = readU32(record, acqoff::Spacing);
    // The pointer has the width of the platform's pointers; this host is 64-bit.
    static_assert(sizeof(void*) == 8, "the output-file pointer is read as 8 bytes");
    const uint64_t address = readU64(record, acqoff::OutputFile);
    if (address == 0)
        return AcqErrNoOutputName;
    r.outputFile = reinterpret_cast<const char*>(static_cast<uintptr_t>(address));
    *out = r;
    return AcqOk;
}

int parseRepeatRecord(const void* record, RepeatRecord* out)
{
    if (!record || !out)
        return AcqErrBadRepeat;
    RepeatRecord r;
    r.count = liveRepeatCount(record);
    r.delay = readF64(record, repoff::Delay);
    if (!std::isfinite(r.delay) || r.delay < 0.0)
        return AcqErrBadRepeat;
    r.fileFlags = readU32(record, repoff::FileFlags);
    r.fileDigits = readU32(record, repoff::FileDigits);
    *out = r;
    return AcqOk;
}

int parseTestPulseRecord(const void* record, TestPulseRecord* out)
{
    if (!record || !out)
        return AcqErrBadTestPulses;
    TestPulseRecord r;
    r.count = readU32(record, tpoff::Count);
    r.period = readF64(record, tpoff::Period);
    r.height = readF64(record, tpoff::Height);
    r.manualBits = readU8(record, tpoff::ManualBits);
    if (!std::isfinite(r.period) || !std::isfinite(r.height))
        return AcqErrBadTestPulses;
    *out = r;
    return AcqOk;
}

uint32_t liveRepeatCount(const void* repeatRecord)
{
    // The writer stores the whole 32-bit field atomically (on x86 an unaligned
    // 4-byte store inside a cache line is atomic as well).
    const auto* field = reinterpret_cast<const uint32_t*>(
        static_cast<const unsigned char*>(repeatRecord) + repoff::Count);
    return __atomic_load_n(field, __ATOMIC_RELAXED);
}

namespace {

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

std::string hex(uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", value);
    return text;
}

} // namespace

std::string describeRequest(const AcqRequest& r)
{
    const AcqRecord& a = r.acq;
    std::string out = "Measurement: " + std::to_string(a.count)
        + (a.count == 1 ? " frame" : " frames") + " of " + number(a.time) + " s";
    if (a.integral)
        out += ", integral";
    if (a.pixels)
        out += ", pixel data";
    std::string modes;
    static const struct
    {
        uint32_t bit;
        const char* text;
    } bits[]
        = {{AcqModeTriggerStart, "started by trigger"}, {AcqModeTriggerStop, "stopped by trigger"},
            {AcqModeCompression, "data compression"}, {AcqModeTdi, "TDI readout"}};
    uint32_t rest = a.mode;
    for (const auto& b : bits) {
        if (a.mode & b.bit) {
            modes += (modes.empty() ? "" : ", ") + std::string(b.text);
            rest &= ~b.bit;
        }
    }
    if (rest)
        modes += (modes.empty() ? "other bits " : ", other bits ") + hex(rest);
    out += "; mode " + hex(a.mode) + (modes.empty() ? " (no trigger)" : " (" + modes + ")");
    if (a.testPulses && r.testPulses) {
        const TestPulseRecord& tp = *r.testPulses;
        out += "; test pulses: " + std::to_string(tp.count) + " of " + number(tp.height)
            + " V every " + number(tp.period) + " s, spacing " + std::to_string(a.spacing);
        if (tp.manualBits)
            out += ", manual test bits";
    } else {
        out += "; no test pulses";
    }
    if (r.repeat) {
        const RepeatRecord& rep = *r.repeat;
        out += rep.count == kEndlessRepeats
            ? "; endless series"
            : "; series of " + std::to_string(rep.count) + " rounds";
        out += ", " + number(rep.delay) + " s apart";
    } else {
        out += "; one round";
    }
    if (a.refreshDacs)
        out += "; DACs refreshed first";
    if (a.refreshPixCfg)
        out += "; pixel configuration refreshed first";
    if (a.outputFile.empty())
        out += "; no output file";
    else
        out += "; output " + a.outputFile + " (type " + std::to_string(a.fileType) + ", flags "
            + hex(a.fileFlags) + ")";
    return out;
}

} // namespace sim
