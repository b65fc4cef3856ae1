// The ov::IDevMpx part of the simulated pixel detectors, written once.
//
// MpxDevice<Iface> answers every ov::IDevMpx operation of Iface (ov::IDevMpx2 for the
// Medipix2 / Timepix, ov::IDevTpx3 for the Timepix3) from MpxCore, which holds the pixel
// matrix, its configuration, DACs, thresholds and the frame measurement. A family class
// derives from MpxDevice<its interface> and adds the operations of its own interface.
#pragma once

#include "devicebase.h"
#include "mpxcore.h"

namespace sim {

template <class Iface>
class MpxDevice : public DeviceBase<Iface, MpxCore>
{
    static_assert(std::is_base_of_v<ov::IDevMpx, Iface>, "MpxDevice needs a pixel detector");

public:
    explicit MpxDevice(const DeviceDesc& desc) : DeviceBase<Iface, MpxCore>(desc) { }

    ov::IParamMgr* paramMgr() override { return MpxCore::paramMgr(); }
    int loadConfigFile(ov::IFilePath* path) override { return MpxCore::loadConfigFile(path); }
    int saveConfigFile(ov::IFilePath* path) override { return MpxCore::saveConfigFile(path); }
    int deviceStatusText(ov::IString* out) override { return MpxCore::deviceStatusText(out); }
    int deviceStatus() override { return MpxCore::deviceStatus(); }
    int doAdvancedAcquisition(
        const void* acqDesc, const void* repeatDesc, const void* testPulses) override
    {
        return MpxCore::doAdvancedAcquisition(acqDesc, repeatDesc, testPulses);
    }
    int doDigitalTest(unsigned* errors, unsigned* total, ov::IMpxFrame** out) override
    {
        return MpxCore::doDigitalTest(errors, total, out);
    }
    uint32_t capabilityFlags() override { return MpxCore::capabilityFlags(); }
    uint32_t supportedAcqTypes() override { return MpxCore::supportedAcqTypes(); }
    int acqDataCount() override { return MpxCore::acqDataCount(); }
    int acqFrameCount() override { return MpxCore::acqFrameCount(); }
    double minAcqTime() override { return MpxCore::minAcqTime(); }
    double maxAcqTime() override { return MpxCore::maxAcqTime(); }
    ov::IData* acqDataRefInc(unsigned index) override { return MpxCore::acqDataRefInc(index); }
    ov::IData* lastAcqDataRefInc(int index) override { return MpxCore::lastAcqDataRefInc(index); }
    ov::IMpxFrame* lastAcqFrameRefInc() override { return MpxCore::lastAcqFrameRefInc(); }
    ov::IMpxFrame* acqFrameRefInc(unsigned index) override
    {
        return MpxCore::acqFrameRefInc(index);
    }
    ov::IMpxDacs* dacs() override { return MpxCore::dacs(); }
    ov::IMpxDacs* dacsCopy() override { return MpxCore::dacsCopy(); }
    int setBias(double volts) override { return MpxCore::setBias(volts); }
    double bias() override { return MpxCore::bias(); }
    double biasMin() override { return MpxCore::biasMin(); }
    double biasMax() override { return MpxCore::biasMax(); }
    double senseBiasVoltage() override { return MpxCore::senseBiasVoltage(); }
    double senseBiasCurrent() override { return MpxCore::senseBiasCurrent(); }
    bool hasBiasSense() override { return MpxCore::hasBiasSense(); }
    bool isSensorRefreshEnabled() override { return MpxCore::isSensorRefreshEnabled(); }
    int setSensorRefreshEnabled(bool on) override { return MpxCore::setSensorRefreshEnabled(on); }
    bool isSensorRefreshSupported() override { return MpxCore::isSensorRefreshSupported(); }
    int setDacs(ov::IMpxDacs* dacs) override { return MpxCore::setDacs(dacs); }
    ov::IMpxPixCfg* pixCfg() override { return MpxCore::pixCfg(); }
    ov::IMpxPixCfg* copyPixCfg() override { return MpxCore::copyPixCfg(); }
    int setPixCfg(ov::IMpxPixCfg* cfg) override { return MpxCore::setPixCfg(cfg); }
    int width() override { return MpxCore::width(); }
    int height() override { return MpxCore::height(); }
    uint32_t pixelCount() override { return MpxCore::pixelCount(); }
    unsigned chipCount() override { return MpxCore::chipCount(); }
    int chipIds(ov::StrList& out) override { return MpxCore::chipIds(out); }
    using Iface::chipPolarity; // the families' own overloads
    bool chipPolarity(int chip) override { return MpxCore::chipPolarity(chip); }
    int setChipPolarity(int chip, bool positive) override
    {
        return MpxCore::setChipPolarity(chip, positive);
    }
    int chipLayout(
        unsigned* width, unsigned* height, unsigned* chipIndexes, unsigned* rotations) override
    {
        return MpxCore::chipLayout(width, height, chipIndexes, rotations);
    }
    int setChipLayout(
        unsigned width, unsigned height, unsigned* chipIndexes, unsigned* rotations) override
    {
        return MpxCore::setChipLayout(width, height, chipIndexes, rotations);
    }
    bool hasHwTrigger() override { return MpxCore::hasHwTrigger(); }
    double threshold(uint32_t chip, int kind) override { return MpxCore::threshold(chip, kind); }
    int setThreshold(uint32_t chip, int kind, double value) override
    {
        return MpxCore::setThreshold(chip, kind, value);
    }
    bool isChipCalibrated(uint32_t chip) override { return MpxCore::isChipCalibrated(chip); }
    bool isTimepix() override { return MpxCore::isTimepix(); }
};

} // namespace sim
