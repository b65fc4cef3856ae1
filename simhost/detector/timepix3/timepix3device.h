// The simulated Timepix3 (kind 3): one chip of 256 x 256 pixels in the default device
// set, or several (a quad of 512 x 512 by the device-set file), on the same physics as
// the Timepix.
//
// Frames: the operation mode decides what every pixel measures ("ToA + ToT" and "Only
// ToT": time over threshold, "ToA": time of arrival, "Event + iToT": counts).
//
// Data-driven readout (measurement kind 2, "pixel data"): for the measurement's time
// the chip sends hits (Tpx3HitSource) at the rate of the parameter HitRate. A readout
// thread collects them in chunks of 10 ms into the readout buffer (ReadoutBuffer MB);
// the measuring thread takes chunk after chunk, makes its data object (hits, or
// clusters with DataOutput=clusters) and posts "AcqNewData" with its index. When the
// buffer is full, because the reader of the data falls behind, the readout drops the
// chunk and counts its hits as lost (lostPixels, and each data object's lostPixels).
// The data objects of the run are held within the device's frame memory, the oldest
// let go first; the frame of every chunk still counts the whole run.
//
// Settings with the event "Tpx3StgChanged": operation mode, VCO, gray counter, ToA
// conversion, time walk and chip calibration.
#pragma once

#include "hitsource.h"
#include "mpxdevice.h"
#include "tpx3run.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>

namespace sim {

class Timepix3Device final : public MpxDevice<ov::IDevTpx3>
{
public:
    explicit Timepix3Device(const DeviceDesc& desc);
    ~Timepix3Device() override;

    // Host and test side: hits the chip made in the running or last data-driven
    // measurement (delivered or lost), and the run itself.
    uint64_t generatedHits() const { return m_generated.load(); }
    std::shared_ptr<Tpx3Run> lastRun() const;
    void setHitRate(double hitsPerSecond);
    // Chunks the readout buffer holds (set from ReadoutBuffer).
    size_t readoutBufferChunks() const;
    // Threads that make the chunks of a run: 0 (the default) for one per core, at most
    // kMaxReadoutThreads. The hits are the same with any number.
    void setReadoutThreads(unsigned count);
    unsigned readoutThreads() const;
    // The hit source of the run-th data-driven run (0, 1, ...) on the present settings
    // and HitRate; only while no measurement runs.
    Tpx3HitSource hitSource(uint64_t run);

    // ov::IDevMpx: a data-driven measurement has its own store of data objects.
    int acqDataCount() override;
    int acqFrameCount() override;
    ov::IData* acqDataRefInc(unsigned index) override;
    ov::IData* lastAcqDataRefInc(int index) override;
    ov::IMpxFrame* lastAcqFrameRefInc() override;
    ov::IMpxFrame* acqFrameRefInc(unsigned index) override;
    uint32_t supportedAcqTypes() override;

    // ov::IDevTpx3
    int setChipCalibration(int chip, double a, double b) override;
    int chipCalibration(int chip, double* a, double* b) override;
    int testPulseLimits(
        uint32_t* maxCount, double* maxPeriod, uint8_t* maxPhase, uint32_t* maxCharge) override;
    uint8_t grayCounter() override;
    int setVco(uint8_t index) override;
    uint8_t vco() override;
    int setGrayCounter(uint8_t index) override;
    int setConvertToa(bool on) override;
    bool convertToa() override;
    double temperature() override;
    bool isDataCalibrationEnabled() override { return MpxCore::isDataCalibrationEnabled(); }
    int setDataCalibrationEnabled(bool on) override
    {
        return MpxCore::setDataCalibrationEnabled(on);
    }
    bool isDataCalibrationSupported() override { return true; }
    int setCalibrationMatrices(int chip, double* a, double* b, double* c, double* t) override
    {
        return MpxCore::setCalibrationMatrices(chip, a, b, c, t);
    }
    int timeWalk(int chip, double* c, double* d, double* e, double* f, double* max) override;
    int setTimeWalk(int chip, double c, double d, double e, double f, double max) override;
    int calibrationMatrices(int chip, double* a, double* b, double* c, double* t) override
    {
        return MpxCore::calibrationMatrices(chip, a, b, c, t);
    }
    uint8_t operationMode() override;
    int setOperationMode(uint8_t mode) override;
    uint64_t lostPixels() override;

    static constexpr int kOperationModes = 4;
    static constexpr uint8_t kVcoSettings = 4;
    static constexpr uint8_t kGrayCounterSettings = 2;
    static constexpr uint32_t kMaxPulseCount = 10000;
    static constexpr double kMaxPulsePeriod = 0.01;
    static constexpr uint8_t kMaxPulsePhase = 15;
    static constexpr uint32_t kMaxPulseCharge = 50000;
    static constexpr double kChunkSeconds = 0.01;
    static constexpr unsigned kMaxReadoutThreads = 4;

protected:
    bool hasPixelReadout() const override { return true; }
    int runPixelRound(
        SeriesTarget& target, const AcqRecord& acq, const TestPulseRecord* tp, int round) override;
    int forcedPixelMode() const override;

private:
    class Readout;
    struct TimeWalk
    {
        double c = 0.0, d = 0.0, e = 0.0, f = 0.0, max = 0.0;
    };
    void buildTpx3Params();
    void changed();
    // The data objects of the data-driven run (under m_dataMutex).
    int addData(ov::ITpx3Data* data, size_t bytes);
    void clearData();
    bool pixelRun() const { return m_pixelRun.load(); }

    mutable std::mutex m_tpx3Mutex; // the settings below
    uint8_t m_opMode = 0;
    uint8_t m_vco = 0;
    uint8_t m_gray = 0;
    bool m_convertToa = false;
    std::vector<TimeWalk> m_timeWalk;
    SimParam* m_hitRate = nullptr;
    SimParam* m_dataOutput = nullptr;
    SimParam* m_readoutBuffer = nullptr;

    mutable std::mutex m_dataMutex;
    std::deque<std::pair<ov::ITpx3Data*, size_t>> m_data;
    size_t m_dataBytes = 0;
    std::shared_ptr<Tpx3Run> m_run;
    std::atomic<bool> m_pixelRun {false};
    std::atomic<uint64_t> m_generated {0};
    std::atomic<uint64_t> m_runSequence {0};
    std::atomic<unsigned> m_readoutThreads {0};
};

} // namespace sim
