#include "acqrecords.h"

#include "acqparams.h"

#include <cstring>

namespace PluginDevControl {

TpParams defaultTpParams(int devType)
{
    TpParams tp;
    std::memset(&tp, 0, sizeof tp);
    tp.devType = devType;

    tp.tpx.pulseCount = 100;
    tp.tpx.pulsePeriod = 0.0001;
    tp.tpx.pulseHeight = 0.5;
    tp.tpx.manualTpBits = 0;

    tp.mpx3.pulseCount = 100;
    tp.mpx3.pulsePeriod = 0.000001;
    tp.mpx3.charge1 = 0.5;
    tp.mpx3.charge2 = 0.5;
    tp.mpx3.manualTpBits = 0;
    tp.mpx3.reserved = 1;
    std::memset(tp.mpx3.reservedBytes, 0xFF, sizeof tp.mpx3.reservedBytes);

    tp.tpx3.pulseCount = 10;
    tp.tpx3.pulsePeriod = 0.000002;
    tp.tpx3.phase = 0;
    tp.tpx3.digital = 1;
    tp.tpx3.external = 0;
    tp.tpx3.manualTpBits = 0;
    tp.tpx3.reserved = 1;
    std::memset(tp.tpx3.reservedBytes, 0xFF, sizeof tp.tpx3.reservedBytes);
    tp.tpx3.charge = 100;

    tp.tpx2.pulseCount = 100;
    tp.tpx2.pulsePeriod = 0.000001;
    tp.tpx2.pulseHeight = 0.5;
    tp.tpx2.manualTpBits = 0;
    tp.tpx2.digital = 0;
    tp.tpx2.reserved[0] = 0;
    tp.tpx2.reserved[1] = 0;
    return tp;
}

AcqDesc makeAcqDesc(const AcqParams& params)
{
    static const char kNoFile[] = "";
    const int type = params.acqType;
    AcqDesc desc;
    std::memset(&desc, 0, sizeof desc);
    desc.testPulses = (type == AcqTestPulses || type == AcqIntegralTestPulses) ? 1u : 0u;
    desc.count = static_cast<uint32_t>(params.acqCount);
    desc.time = params.acqTime;
    desc.mode = static_cast<uint32_t>(params.acqMode);
    desc.fileType = static_cast<uint32_t>(params.fileType);
    desc.fileFlags = params.fileFlags;
    // Integral test pulses keep the frame spacing; only plain test pulses use their own.
    desc.spacing = static_cast<uint32_t>(type == AcqTestPulses ? params.tpSpacing : params.spacing);
    desc.integral = (type == AcqIntegral || type == AcqIntegralTestPulses) ? 1 : 0;
    desc.refreshDacs = params.refreshDacs ? 1 : 0;
    desc.refreshPixCfg = params.refreshPixCfg ? 1 : 0;
    desc.outputFile = params.fileOutput ? params.outputFile.c_str() : kNoFile;
    return desc;
}

namespace {

// One row of the Timepix3 measurement kinds, by acquisition type.
struct Tpx3AcqKind
{
    uint32_t word; // at offset 0
    uint8_t integral;
    bool testPulses;
    bool dataDrivenTime;
    bool tpSpacing;
};

constexpr Tpx3AcqKind kTpx3Kinds[] = {
    {0, 0, false, false, false}, // frames
    {0, 1, false, false, false}, // integral
    {1, 0, true, false, true},   // test pulses
    {2, 0, false, true, false},  // pixels
    {1, 1, true, false, true},   // integral test pulses
    {3, 0, true, false, false},  // pixels and test pulses
};

const Tpx3AcqKind& tpx3Kind(int acqType)
{
    constexpr int count = static_cast<int>(sizeof kTpx3Kinds / sizeof kTpx3Kinds[0]);
    return acqType >= 0 && acqType < count ? kTpx3Kinds[acqType] : kTpx3Kinds[0];
}

} // namespace

AcqDesc makeTpx3AcqDesc(const AcqParams& params, double timeDataDriven)
{
    const Tpx3AcqKind& kind = tpx3Kind(params.acqType);
    AcqDesc desc = makeAcqDesc(params);
    desc.testPulses = kind.word;
    desc.integral = kind.integral;
    desc.time = kind.dataDrivenTime ? timeDataDriven : params.acqTime;
    desc.spacing = static_cast<uint32_t>(kind.tpSpacing ? params.tpSpacing : params.spacing);
    desc.refreshDacs = 0;
    desc.refreshPixCfg = 0;
    return desc;
}

bool tpx3SendsTestPulses(int acqType)
{
    return tpx3Kind(acqType).testPulses;
}

RepeatDesc makeRepeatDesc(const AcqParams& params)
{
    RepeatDesc desc;
    std::memset(&desc, 0, sizeof desc);
    desc.count = params.repeatCount == 0 ? 0xFFFFFFFFu : static_cast<uint32_t>(params.repeatCount);
    desc.delay = params.repeatDelay;
    desc.fileFlags = params.repeatFileFlags;
    desc.fileDigits = static_cast<uint32_t>(params.repeatFileDigits);
    return desc;
}

const void* testPulseBlock(const TpParams& tp, bool testPulses)
{
    if (!testPulses)
        return nullptr;
    const auto* base = reinterpret_cast<const unsigned char*>(&tp);
    switch (tp.devType) {
    case 1:
        return base + kTpBlockMpx2;
    case 2:
        return base + kTpBlockMpx3;
    case 3:
        return base + kTpBlockTpx3;
    case 4:
        return base + kTpBlockTpx2;
    default:
        return nullptr;
    }
}

namespace {

uint32_t* countField(RepeatDesc* desc)
{
    return reinterpret_cast<uint32_t*>(
        reinterpret_cast<unsigned char*>(desc) + offsetof(RepeatDesc, count));
}

} // namespace

void storeRepeatCount(RepeatDesc* desc, uint32_t count)
{
    __atomic_store_n(countField(desc), count, __ATOMIC_RELAXED);
}

uint32_t loadRepeatCount(const RepeatDesc* desc)
{
    return __atomic_load_n(countField(const_cast<RepeatDesc*>(desc)), __ATOMIC_RELAXED);
}

} // namespace PluginDevControl
