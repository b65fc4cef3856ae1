// Every operation of the device and frame interfaces, doing nothing: the base of the
// recording test doubles, which override what a test looks at.
#pragma once

#include <ovdetector.h>

namespace testdev {

using namespace ov;

// The operations every pixel detector has, on top of the family interface Iface.
template <class Iface>
class NullDevMpxOps : public Iface
{
public:
    virtual ~NullDevMpxOps() = default;
    using Iface::chipPolarity;
    int deviceType() override { return {}; }
    int deviceInfo(DevInfo*) override { return {}; }
    int registerEvent(const char*, EventCallback, void*) override { return {}; }
    int registerLogCallback(LogCallback, void*) override { return {}; }
    int deviceName(String&) override { return {}; }
    bool isLocked() override { return {}; }
    int reconnect() override { return {}; }
    IParamMgr* paramMgr() override { return {}; }
    int loadFactoryConfig() override { return {}; }
    int configFilePath(String&) override { return {}; }
    const IMenuItem* deviceMenu() override { return {}; }
    int statusText(String&) override { return {}; }
    int status() override { return {}; }
    int abortOperation() override { return {}; }
    int unregisterLogCallback(LogCallback, void*) override { return {}; }
    int loadConfigFile(IFilePath*) override { return {}; }
    int saveConfigFile(IFilePath*) override { return {}; }
    int deviceStatusText(IString*) override { return {}; }
    int deviceStatus() override { return {}; }
    int doAdvancedAcquisition(const void*, const void*, const void*) override { return {}; }
    int doDigitalTest(unsigned*, unsigned*, IMpxFrame**) override { return {}; }
    uint32_t capabilityFlags() override { return {}; }
    uint32_t supportedAcqTypes() override { return {}; }
    int acqDataCount() override { return {}; }
    int acqFrameCount() override { return {}; }
    double minAcqTime() override { return {}; }
    double maxAcqTime() override { return {}; }
    IData* acqDataRefInc(unsigned) override { return {}; }
    IData* lastAcqDataRefInc(int) override { return {}; }
    IMpxFrame* lastAcqFrameRefInc() override { return {}; }
    IMpxFrame* acqFrameRefInc(unsigned) override { return {}; }
    IMpxDacs* dacs() override { return {}; }
    IMpxDacs* dacsCopy() override { return {}; }
    int setBias(double) override { return {}; }
    double bias() override { return {}; }
    double biasMin() override { return {}; }
    double biasMax() override { return {}; }
    double senseBiasVoltage() override { return {}; }
    double senseBiasCurrent() override { return {}; }
    bool hasBiasSense() override { return {}; }
    bool isSensorRefreshEnabled() override { return {}; }
    int setSensorRefreshEnabled(bool) override { return {}; }
    bool isSensorRefreshSupported() override { return {}; }
    int setDacs(IMpxDacs*) override { return {}; }
    IMpxPixCfg* pixCfg() override { return {}; }
    IMpxPixCfg* copyPixCfg() override { return {}; }
    int setPixCfg(IMpxPixCfg*) override { return {}; }
    int width() override { return {}; }
    int height() override { return {}; }
    uint32_t pixelCount() override { return {}; }
    unsigned chipCount() override { return {}; }
    int chipIds(StrList&) override { return {}; }
    bool chipPolarity(int) override { return {}; }
    int setChipPolarity(int, bool) override { return {}; }
    int chipLayout(unsigned*, unsigned*, unsigned*, unsigned*) override { return {}; }
    int setChipLayout(unsigned, unsigned, unsigned*, unsigned*) override { return {}; }
    bool hasHwTrigger() override { return {}; }
    double threshold(uint32_t, int) override { return {}; }
    int setThreshold(uint32_t, int, double) override { return {}; }
    bool isChipCalibrated(uint32_t) override { return {}; }
    bool isTimepix() override { return {}; }
};

class NullDevMpx2 : public NullDevMpxOps<ov::IDevMpx2>
{
public:
    using NullDevMpxOps<ov::IDevMpx2>::chipPolarity;
    bool chipPolarity(int, uint16_t*) override { return {}; }
    int setChipCalibration(int, uint16_t, double, double, double, double) override { return {}; }
    int chipCalibration(int, double*, double*, double*, double*) override { return {}; }
    int testPulseLimits(uint32_t*, double*, double*) override { return {}; }
    int setClock(double) override { return {}; }
    double clock() override { return {}; }
    bool isDataCalibrationEnabled() override { return {}; }
    int setDataCalibrationEnabled(bool) override { return {}; }
    bool isDataCalibrationSupported() override { return {}; }
    int setCalibrationMatrices(int, double*, double*, double*, double*) override { return {}; }
    int calibrationMatrices(int, double*, double*, double*, double*) override { return {}; }
    int dacDelay() override { return {}; }
    int setDacDelay(int) override { return {}; }
};

class NullDevMpx3 : public NullDevMpxOps<ov::IDevMpx3>
{
public:
    int setThresholdCalibCoeffs(int, int, int, int, const double*, int) override { return {}; }
    int thresholdCalibCoeffs(int, int, int, int, double*, int) override { return {}; }
    int thresholdCalibCoeffNames(StrList&) override { return {}; }
    using ov::IDevMpx3::thresholdCalibCoeffNames;
    int testPulseLimits(uint32_t*, double*, double*, double*) override { return {}; }
    bool hasColorMode() override { return {}; }
    bool isColorMode() override { return {}; }
    int setColorMode(bool) override { return {}; }
    bool csmSpm() override { return {}; }
    int setCsmSpm(bool) override { return {}; }
    bool isContinuousReadout() override { return {}; }
    int setContinuousReadout(bool) override { return {}; }
    int counterDepthMode() override { return {}; }
    int setCounterDepthMode(int) override { return {}; }
    int activeCounter() override { return {}; }
    int setActiveCounter(int) override { return {}; }
    int columnBlock() override { return {}; }
    int setColumnBlock(int) override { return {}; }
    int rowBlock() override { return {}; }
    int setRowBlock(int) override { return {}; }
    int gainMode() override { return {}; }
    int setGainMode(int) override { return {}; }
    int discCsmSpm() override { return {}; }
    int setDiscCsmSpm(bool) override { return {}; }
    int operationMode() override { return {}; }
    int setOperationMode(int) override { return {}; }
};

class NullDevTpx2 : public NullDevMpxOps<ov::IDevTpx2>
{
public:
    int setChipCalibration(int, double, double, double, double) override { return {}; }
    int chipCalibration(int, double*, double*, double*, double*) override { return {}; }
    int testPulseLimits(uint32_t*, double*, double*) override { return {}; }
    int setMClockDivider(double) override { return {}; }
    int setToaClockIndex(int) override { return {}; }
    int setAdaptiveGain(bool) override { return {}; }
    bool adaptiveGain() override { return {}; }
    int setAnalogMasking(bool) override { return {}; }
    bool analogMasking() override { return {}; }
    double toaBaseClock() override { return {}; }
    int toaClockIndex() override { return {}; }
    bool isDataCalibrationEnabled() override { return {}; }
    int setDataCalibrationEnabled(bool) override { return {}; }
    bool isDataCalibrationSupported() override { return {}; }
};

class NullDevTpx3 : public NullDevMpxOps<ov::IDevTpx3>
{
public:
    int setChipCalibration(int, double, double) override { return {}; }
    int chipCalibration(int, double*, double*) override { return {}; }
    int testPulseLimits(uint32_t*, double*, uint8_t*, uint32_t*) override { return {}; }
    uint8_t grayCounter() override { return {}; }
    int setVco(uint8_t) override { return {}; }
    uint8_t vco() override { return {}; }
    int setGrayCounter(uint8_t) override { return {}; }
    int setConvertToa(bool) override { return {}; }
    bool convertToa() override { return {}; }
    double temperature() override { return {}; }
    bool isDataCalibrationEnabled() override { return {}; }
    int setDataCalibrationEnabled(bool) override { return {}; }
    bool isDataCalibrationSupported() override { return {}; }
    int setCalibrationMatrices(int, double*, double*, double*, double*) override { return {}; }
    int timeWalk(int, double*, double*, double*, double*, double*) override { return {}; }
    int setTimeWalk(int, double, double, double, double, double) override { return {}; }
    int calibrationMatrices(int, double*, double*, double*, double*) override { return {}; }
    uint8_t operationMode() override { return {}; }
    int setOperationMode(uint8_t) override { return {}; }
    uint64_t lostPixels() override { return {}; }
};

// A host that offers nothing; tests override what they need.
class NullOrvel : public ov::IOrvel
{
public:
    virtual ~NullOrvel() = default;
    int devices(PtrList<IDev*>&) override { return 0; }
    ISettings* moduleSettings(const char*, IDev*, int) override { return nullptr; }
    ICoreSettings* settingsStore() override { return nullptr; }
    IDataMgr* dataMgr() override { return nullptr; }
    IDataFilterMgr* dataFilterMgr() override { return nullptr; }
    int registerEvent(const char*, EventCallback, void*) override { return -1; }
    int registerLogCallback(LogCallback, void*) override { return -1; }
    int unregisterLogCallback(LogCallback, void*) override { return -1; }
    IUiHooks* uiHooks() override { return nullptr; }
    int requestExit() override { return -1; }
};

class NullMpxFrame : public ov::IMpxFrame
{
public:
    int saveToFile(IFilePath*, IFileType*, unsigned) override { return {}; }
    uint64_t frameInfoSource() const override { return {}; }
    void setFrameInfoSource(uint64_t) override { }
    int setData(const void*, size_t) override { return {}; }
    int getData(IByteBuff*, int) override { return {}; }
    int dataRef(IRefByteBuff*, int) override { return {}; }
    size_t pixelCount() const override { return {}; }
    unsigned width() const override { return {}; }
    unsigned height() const override { return {}; }
    uint8_t dataType() const override { return {}; }
    int convertTo(int) override { return {}; }
    bool hasPixCfgInfo() const override { return {}; }
    int frameName(IString*) const override { return {}; }
    int setFrameName(const char*) override { return {}; }
    IMpxFrame* clone() const override { return {}; }
    int scale(double, double) override { return {}; }
    double maxValue(const Region*) override { return {}; }
    double minValue(const Region*) override { return {}; }
    double minNonZero(const Region*) override { return {}; }
    double regionMean(const Region*) override { return {}; }
    double regionTotal(const Region*) override { return {}; }
    double regionDeviation(const Region*) override { return {}; }
    int pixelCountInRegion(const Region*) override { return {}; }
    double acqTime() const override { return {}; }
    int histogram(int, double*, const Region*, double, double) override { return {}; }
    double fractile(double, int, const Region*) override { return {}; }
    int subFrameCount() const override { return {}; }
    int subFrames(PtrList<IMpxFrame*>*) override { return {}; }
    int setAcqTime(double) override { return {}; }
    int nonZeroCount(const Region*) override { return {}; }

protected:
    ~NullMpxFrame() = default;
};

} // namespace testdev
