// Detector interfaces: frames, data objects, pixel configuration, DAC tables and the
// chip-family device interfaces.
#pragma once

#include "ovcore.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ov {

// Frame pixel types of IMpxFrame::dataType().
enum FrameDataType : int {
    FrameInt16 = 2,
    FrameUInt32 = 5,
    FrameUInt64 = 7,
    FrameDouble = 9,
};

// One rectangle of a statistics region, in frame pixels.
struct RegionRect
{
    int x;
    int y;
    int width;
    int height;
};

// A set of rectangles for the statistics operations of IMpxFrame. An empty region
// (count 0) stands for the whole frame.
struct Region
{
    const RegionRect* rects = nullptr;
    unsigned count = 0;
};

class IMpxFrame : public IRefCounted
{
public:
    virtual int saveToFile(IFilePath* path, IFileType* type, unsigned flags) = 0;
    virtual uint64_t frameInfoSource() const = 0;
    virtual void setFrameInfoSource(uint64_t source) = 0;
    virtual int setData(const void* data, size_t bytes) = 0;
    virtual int getData(IByteBuff* out, int dataType) = 0;
    virtual int dataRef(IRefByteBuff* out, int chip = 0) = 0;
    virtual size_t pixelCount() const = 0;
    virtual unsigned width() const = 0;
    virtual unsigned height() const = 0;
    virtual uint8_t dataType() const = 0;
    virtual int convertTo(int dataType) = 0;
    virtual bool hasPixCfgInfo() const = 0;
    virtual int frameName(IString* out) const = 0;
    virtual int setFrameName(const char* name) = 0;
    virtual IMpxFrame* clone() const = 0;
    virtual int scale(double factor, double time) = 0;
    virtual double maxValue(const Region* region) = 0;
    virtual double minValue(const Region* region) = 0;
    virtual double minNonZero(const Region* region) = 0;
    virtual double regionMean(const Region* region) = 0;
    virtual double regionTotal(const Region* region) = 0;
    virtual double regionDeviation(const Region* region) = 0;
    virtual int pixelCountInRegion(const Region* region) = 0;
    virtual double acqTime() const = 0;
    virtual int histogram(int bins, double* out, const Region* region, double min, double max) = 0;
    virtual double fractile(double q, int bins, const Region* region) = 0;
    virtual int subFrameCount() const = 0;
    virtual int subFrames(PtrList<IMpxFrame*>* out) = 0;
    virtual int setAcqTime(double seconds) = 0;
    // Pixels of the region (or of the whole frame for null) whose value is not zero;
    // NaN counts as not zero.
    virtual int nonZeroCount(const Region* region) = 0;

    double total(const Region* region) { return regionTotal(region); }
    double mean(const Region* region) { return regionMean(region); }

    std::string frameName() const
    {
        String s;
        frameName(&s);
        return s.str();
    }
    std::vector<IMpxFrame*> subFrames()
    {
        PtrList<IMpxFrame*> list;
        subFrames(&list);
        return list.items();
    }

protected:
    ~IMpxFrame() = default;
};

// Kinds reported by IData::dataKind(). An object of kind DataTpx3Pixels is an
// ITpx3Pixels, of kind DataTpx3Clusters an ITpx3Clusters.
enum DataKind : int {
    DataFrames = 1,
    DataPixels = 2,
    DataTpx3Pixels = 3, // written with the frame flag set
    DataTpx3Clusters = 6,
};

class IData : public IRefCounted
{
public:
    virtual int dataKind() const = 0;
    virtual int saveToFile(IFilePath* path, int fileType, int flag) = 0;
    virtual IMpxFrame* frameAt(unsigned index) = 0;
    virtual unsigned frameCount() const = 0;

protected:
    ~IData() = default;
};

// One hit of a Timepix3 pixel in data-driven readout.
struct Tpx3Hit
{
    uint64_t toa;   // time of arrival, steps of 1.5625 ns from the start of the measurement
    uint16_t x;     // pixel column in the device's frame
    uint16_t y;     // pixel row
    uint16_t tot;   // time over threshold, steps of 25 ns
    uint16_t flags; // 0; bit 0 set on a hit injected by a test pulse
};

// Hits that touch each other (edge or corner) within a short time: one particle.
struct Tpx3Cluster
{
    uint64_t toa; // earliest hit of the cluster, steps of 1.5625 ns
    float x;      // centroid, weighted by time over threshold
    float y;
    float energy;  // sum of the hits' time over threshold (steps of 25 ns), keV when
                   // the device's data calibration is on
    uint32_t size; // hits
};

// How the frame of Timepix3 pixel or cluster data is made.
enum Tpx3FrameType : int {
    Tpx3FrameIntegral = 0, // every hit of the measurement up to this data
    Tpx3FrameFade = 1,     // only the hits of the last fade window
};

// The counted data objects of data-driven Timepix3 measurements. A measurement delivers
// its hits in chunks, one data object per chunk ("AcqNewData" carries its index); the
// chunk's records are fixed once delivered. The object's frame (IData::frameAt(0)) is
// made on demand from the measurement's hits up to and including this chunk, integral
// or over the fade window, counting hits per pixel.
class ITpx3Data : public IData
{
public:
    // Hits the host dropped in this measurement, up to this chunk, because their reader
    // fell behind. A run with a non-zero count is not complete.
    virtual uint64_t lostPixels() const = 0;
    // Seconds of the fade window, counted back from the last hit of this chunk.
    virtual double fadeWindowSize() const = 0;
    virtual int setFadeWindowSize(double seconds) = 0;
    virtual int frameType() const = 0;
    virtual int setFrameType(int type) = 0;

protected:
    ~ITpx3Data() = default;
};

class ITpx3Pixels : public ITpx3Data
{
public:
    // Hits delivered in this measurement up to and including this chunk (what a rate of
    // hits is counted from; lost hits are not in it).
    virtual size_t pixelCount() const = 0;
    // The chunk's own hits, in order of arrival; valid as long as the object lives.
    virtual size_t chunkPixelCount() const = 0;
    virtual const Tpx3Hit* pixels() const = 0;

protected:
    ~ITpx3Pixels() = default;
};

class ITpx3Clusters : public ITpx3Data
{
public:
    // The chunk's own clusters.
    virtual size_t clusterCount() const = 0;
    virtual const Tpx3Cluster* clusters() const = 0;
    // Hits delivered in this measurement up to and including this chunk, as of pixel data.
    virtual size_t pixelCount() const = 0;
    // Hits in the chunk's clusters.
    virtual size_t chunkPixelCount() const = 0;

protected:
    ~ITpx3Clusters() = default;
};

// Pixel configuration file formats of IMpxPixCfg::loadFromFile and saveToFile.
enum PixCfgFormat : int {
    PixCfgBpc = 0,
    PixCfgMask = 1,
    PixCfgTest = 2,
    PixCfgThl = 3,
    PixCfgThh = 4,
    PixCfgMode = 5,
};

class IMpxPixCfg
{
public:
    virtual int kind() const = 0;
    virtual int setAllMask(bool masked) = 0;
    virtual int setMaskBit(unsigned pixel, bool masked) = 0;
    virtual int setMaskColumn(unsigned x, bool masked) = 0;
    virtual int setMaskRow(unsigned y, bool masked) = 0;
    virtual int setMaskBitRange(unsigned x, unsigned y, unsigned w, unsigned h, bool masked) = 0;
    virtual bool maskBit(unsigned pixel) const = 0;
    virtual bool maskColumn(unsigned x) const = 0;
    virtual bool maskRow(unsigned y) const = 0;
    virtual int maskBits(IByteBuff* out, int chip = 0) const = 0;
    virtual int setAllTest(bool on) = 0;
    virtual int setTestBit(unsigned pixel, bool on) = 0;
    virtual int setTestColumn(unsigned x, bool on) = 0;
    virtual int setTestRow(unsigned y, bool on) = 0;
    virtual int setTestBitRange(unsigned x, unsigned y, unsigned w, unsigned h, bool on) = 0;
    virtual bool testBit(unsigned pixel) const = 0;
    virtual bool testColumn(unsigned x) const = 0;
    virtual bool testRow(unsigned y) const = 0;
    virtual int testBits(IByteBuff* out, int chip = 0) const = 0;
    virtual int setAllThl(uint8_t value) = 0;
    virtual int setThl(unsigned pixel, uint8_t value) = 0;
    virtual int setThlRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value) = 0;
    virtual int stepThlColumn(unsigned x, int step = 1, int flag = 1) = 0;
    virtual int stepThlRow(unsigned y, int step = 1, int flag = 1) = 0;
    virtual uint8_t thl(unsigned pixel) const = 0;
    virtual int thlBits(IByteBuff* out, int chip = 0) const = 0;
    virtual uint8_t thlMax() const = 0;
    virtual int loadFromFile(FilePath& path, int format) = 0;
    virtual int saveToFile(FilePath& path, int format) = 0;
    virtual int resetAll() = 0;
    virtual void releaseCopy() = 0;
    virtual int setModeAll(uint8_t mode) = 0;
    virtual uint8_t mode8(unsigned pixel) const = 0;
    virtual double averageMode() const = 0;
    virtual uint8_t thhMax() const = 0;
    virtual uint8_t thhMpx3(unsigned pixel) const = 0;
    virtual uint8_t thhMaxMpx3() const = 0;
    virtual int setThhRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value) = 0;
    virtual int setModeRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value) = 0;
    virtual int setThhRangeMpx3(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value) = 0;

protected:
    ~IMpxPixCfg() = default;
};

class IMpxDacs
{
public:
    virtual void dacNames(StrList& out) const = 0;
    virtual int dacMaxValue(int dac) const = 0;
    virtual int dacValue(int dac, int chip) const = 0;
    virtual int setDacValue(int dac, int chip, int value) = 0;
    virtual int resetDacs() = 0;
    virtual int loadFromFile(FilePath& path) = 0;
    virtual void release() = 0;

protected:
    ~IMpxDacs() = default;
};

// Bits of IDevMpx::capabilityFlags().
enum CapabilityFlag : uint32_t {
    CapHwTriggerStart = 1u << 0,
    CapHwTriggerStop = 1u << 1,
    CapCompression = 1u << 4,
    CapTdiReadout = 1u << 5,
};

// Bits of IDevMpx::supportedAcqTypes().
enum SupportedAcqType : uint32_t {
    AcqTypeTestPulses = 1u << 0,
};

// Threshold kinds of IDevMpx::threshold and setThreshold.
enum ThresholdKind : int {
    ThresholdChip = 0,
    ThresholdAllChips = 1,
    ThresholdCalibrated = 2,
};

class IDevMpx : public IDev
{
public:
    virtual IParamMgr* paramMgr() override = 0;
    virtual int loadConfigFile(IFilePath* path) = 0;
    virtual int saveConfigFile(IFilePath* path) = 0;
    virtual int deviceStatusText(IString* out) = 0;
    virtual int deviceStatus() = 0;
    // Blocks for the whole measurement or series. The three records are the packed
    // little-endian descriptors of the plug-in; the repeat record stays live and is
    // re-read every round, so a series can be ended early. Null repeat: one run.
    virtual int doAdvancedAcquisition(
        const void* acqDesc, const void* repeatDesc, const void* testPulses)
        = 0;
    virtual int doDigitalTest(unsigned* errors, unsigned* total, IMpxFrame** out) = 0;
    virtual uint32_t capabilityFlags() = 0;
    virtual uint32_t supportedAcqTypes() = 0;
    virtual int acqDataCount() = 0;
    virtual int acqFrameCount() = 0;
    virtual double minAcqTime() = 0;
    virtual double maxAcqTime() = 0;
    virtual IData* acqDataRefInc(unsigned index) = 0;
    virtual IData* lastAcqDataRefInc(int index) = 0;
    virtual IMpxFrame* lastAcqFrameRefInc() = 0;
    virtual IMpxFrame* acqFrameRefInc(unsigned index) = 0;
    virtual IMpxDacs* dacs() = 0;
    virtual IMpxDacs* dacsCopy() = 0;
    virtual int setBias(double volts) = 0;
    virtual double bias() = 0;
    virtual double biasMin() = 0;
    virtual double biasMax() = 0;
    virtual double senseBiasVoltage() = 0;
    virtual double senseBiasCurrent() = 0;
    virtual bool hasBiasSense() = 0;
    virtual bool isSensorRefreshEnabled() = 0;
    virtual int setSensorRefreshEnabled(bool on) = 0;
    virtual bool isSensorRefreshSupported() = 0;
    virtual int setDacs(IMpxDacs* dacs) = 0;
    virtual IMpxPixCfg* pixCfg() = 0;
    virtual IMpxPixCfg* copyPixCfg() = 0;
    virtual int setPixCfg(IMpxPixCfg* cfg) = 0;
    virtual int width() = 0;
    virtual int height() = 0;
    virtual uint32_t pixelCount() = 0;
    virtual unsigned chipCount() = 0;
    virtual int chipIds(StrList& out) = 0;
    virtual bool chipPolarity(int chip) = 0;
    virtual int setChipPolarity(int chip, bool positive) = 0;
    virtual int chipLayout(
        unsigned* width, unsigned* height, unsigned* chipIndexes, unsigned* rotations)
        = 0;
    virtual int setChipLayout(
        unsigned width, unsigned height, unsigned* chipIndexes, unsigned* rotations)
        = 0;
    virtual bool hasHwTrigger() = 0;
    virtual double threshold(uint32_t chip, int kind) = 0;
    virtual int setThreshold(uint32_t chip, int kind, double value) = 0;
    virtual bool isChipCalibrated(uint32_t chip) = 0;
    virtual bool isTimepix() = 0;

protected:
    ~IDevMpx() = default;
};

class IDevMpx2 : public IDevMpx
{
public:
    using IDevMpx::chipPolarity;
    // Polarity of a chip, and its calibration coefficient K.
    virtual bool chipPolarity(int chip, uint16_t* k) = 0;
    virtual int setChipCalibration(int chip, uint16_t k, double a, double b, double w, double t)
        = 0;
    virtual int chipCalibration(int chip, double* a, double* b, double* w, double* t) = 0;
    virtual int testPulseLimits(uint32_t* maxCount, double* maxHeight, double* maxPeriod) = 0;
    virtual int setClock(double mhz) = 0;
    virtual double clock() = 0;
    virtual bool isDataCalibrationEnabled() = 0;
    virtual int setDataCalibrationEnabled(bool on) = 0;
    virtual bool isDataCalibrationSupported() = 0;
    virtual int setCalibrationMatrices(int chip, double* a, double* b, double* c, double* t) = 0;
    virtual int calibrationMatrices(int chip, double* a, double* b, double* c, double* t) = 0;
    virtual int dacDelay() = 0;
    virtual int setDacDelay(int ms) = 0;

protected:
    ~IDevMpx2() = default;
};

class IDevMpx3 : public IDevMpx
{
public:
    virtual int setThresholdCalibCoeffs(
        int chip, int threshold, int gain, int depth, const double* values, int count)
        = 0;
    virtual int thresholdCalibCoeffs(
        int chip, int threshold, int gain, int depth, double* values, int count)
        = 0;
    virtual int thresholdCalibCoeffNames(StrList& out) = 0;
    virtual int testPulseLimits(
        uint32_t* maxCount, double* maxPeriod, double* maxCharge1, double* maxCharge2)
        = 0;
    virtual bool hasColorMode() = 0;
    virtual bool isColorMode() = 0;
    virtual int setColorMode(bool on) = 0;
    virtual bool csmSpm() = 0;
    virtual int setCsmSpm(bool on) = 0;
    virtual bool isContinuousReadout() = 0;
    virtual int setContinuousReadout(bool on) = 0;
    virtual int counterDepthMode() = 0;
    virtual int setCounterDepthMode(int mode) = 0;
    virtual int activeCounter() = 0;
    virtual int setActiveCounter(int counter) = 0;
    virtual int columnBlock() = 0;
    virtual int setColumnBlock(int index) = 0;
    virtual int rowBlock() = 0;
    virtual int setRowBlock(int index) = 0;
    virtual int gainMode() = 0;
    virtual int setGainMode(int mode) = 0;
    virtual int discCsmSpm() = 0;
    virtual int setDiscCsmSpm(bool on) = 0;
    virtual int operationMode() = 0;
    virtual int setOperationMode(int mode) = 0;

    std::vector<std::string> thresholdCalibCoeffNames()
    {
        StrList list;
        thresholdCalibCoeffNames(list);
        return list.items();
    }

protected:
    ~IDevMpx3() = default;
};

class IDevTpx2 : public IDevMpx
{
public:
    virtual int setChipCalibration(int chip, double a, double b, double c, double t) = 0;
    virtual int chipCalibration(int chip, double* a, double* b, double* c, double* t) = 0;
    virtual int testPulseLimits(uint32_t* maxCount, double* maxHeight, double* maxPeriod) = 0;
    virtual int setMClockDivider(double divider) = 0;
    virtual int setToaClockIndex(int index) = 0;
    virtual int setAdaptiveGain(bool on) = 0;
    virtual bool adaptiveGain() = 0;
    virtual int setAnalogMasking(bool on) = 0;
    virtual bool analogMasking() = 0;
    virtual double toaBaseClock() = 0;
    virtual int toaClockIndex() = 0;
    virtual bool isDataCalibrationEnabled() = 0;
    virtual int setDataCalibrationEnabled(bool on) = 0;
    virtual bool isDataCalibrationSupported() = 0;

protected:
    ~IDevTpx2() = default;
};

class IDevTpx3 : public IDevMpx
{
public:
    virtual int setChipCalibration(int chip, double a, double b) = 0;
    virtual int chipCalibration(int chip, double* a, double* b) = 0;
    virtual int testPulseLimits(
        uint32_t* maxCount, double* maxPeriod, uint8_t* maxPhase, uint32_t* maxCharge)
        = 0;
    virtual uint8_t grayCounter() = 0;
    virtual int setVco(uint8_t index) = 0;
    virtual uint8_t vco() = 0;
    virtual int setGrayCounter(uint8_t index) = 0;
    virtual int setConvertToa(bool on) = 0;
    virtual bool convertToa() = 0;
    virtual double temperature() = 0;
    virtual bool isDataCalibrationEnabled() = 0;
    virtual int setDataCalibrationEnabled(bool on) = 0;
    virtual bool isDataCalibrationSupported() = 0;
    virtual int setCalibrationMatrices(int chip, double* a, double* b, double* c, double* t) = 0;
    virtual int timeWalk(int chip, double* c, double* d, double* e, double* f, double* max) = 0;
    virtual int setTimeWalk(int chip, double c, double d, double e, double f, double max) = 0;
    virtual int calibrationMatrices(int chip, double* a, double* b, double* c, double* t) = 0;
    // 0 "ToA + ToT", 1 "ToA", 2 "Event + iToT" (frame based), 3 "Only ToT" (data-driven).
    virtual uint8_t operationMode() = 0;
    virtual int setOperationMode(uint8_t mode) = 0;
    // Hits dropped in the running or last data-driven measurement.
    virtual uint64_t lostPixels() = 0;

protected:
    ~IDevTpx3() = default;
};

} // namespace ov
