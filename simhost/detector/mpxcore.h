// The pixel detector that the simulated Medipix2, Timepix and Timepix3 devices share: a
// single chip of 256 x 256 pixels or several chips (the default quad is 2 x 2 chips,
// 512 x 512 pixels), with frames, the store of the last measurement, pixel
// configuration, DACs, thresholds, bias, clock, calibration and the measurement loop of
// doAdvancedAcquisition, fed by the physics model. The family classes (TimepixDevice,
// Timepix3Device) bind it to their interfaces through MpxDevice.
//
// Threads: every operation may be called from any thread. One measurement at a time
// runs on the caller's thread of doAdvancedAcquisition; abortOperation may come from
// any thread. Device events go through the device's EventDelivery: directly on the
// thread that raises them, or through the device's host event thread (device option
// events=thread, or setEventDeliveryMode). A measurement returns only after all its
// events were delivered. Triggers may come from any thread.
//
// Parameters (paramMgr): identity (HwLibVer, Firmware, FirmwareCpu, DeviceName), the
// hardware trigger of a Timepix (TrgTimeout, TrgDelay, TrgInputEdge, TrgOutputEnabled,
// TriggerLevel, TrgSource, TrgCount, TrgOutCount) and the readout (ReadoutMode,
// ReadoutClock, ReadoutTime). docs/simhost.md says what each one does.
#pragma once

#include "acqstore.h"
#include "acquisition.h"
#include "eventdelivery.h"
#include "physics.h"
#include "simdacs.h"
#include "simdevice.h"
#include "simparams.h"
#include "simpixcfg.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace sim {

class MpxCore : public SimDevice
{
public:
    explicit MpxCore(const DeviceDesc& desc);
    ~MpxCore() override;

    // Host and test side.
    void setEventDeliveryMode(EventDelivery::Mode mode) { m_delivery.setMode(mode); }
    EventDelivery::Mode eventDeliveryMode() const { return m_delivery.mode(); }
    std::thread::id eventThreadId() const { return m_delivery.threadId(); }
    int fireEvent(const char* name, long data) override;
    AcqStore& store() { return m_store; }
    SimPixCfg& livePixCfg() { return *m_pixCfg; }
    SimDacs& liveDacs() { return *m_dacs; }
    // The built-in X-ray source the detector looks at.
    void setSource(const SourceSettings& source);
    SourceSettings source() const;
    // Restarts the random sequence of the frames (the physics of the device itself is
    // fixed by its serial).
    void setSeed(uint64_t seed);
    // Energy threshold of a chip in keV as the physics sees it.
    double trueThresholdKeV(int chip) const;
    bool isMedipix2() const { return m_medipix2; }
    bool acquisitionRunning() const { return m_running.load(); }
    // Frames made since the device was created (or reseeded).
    uint64_t frameSequence() const { return m_sequence.load(); }
    // The records of the last measurement the device accepted, as it received them, and
    // how many it has accepted since it was created.
    AcqRequest lastRequest() const;
    uint64_t acceptedRequests() const { return m_accepted.load(); }
    SimParamMgr& params() { return m_params; }

    // Hardware trigger (a Timepix; a Medipix2 has no trigger input). A trigger is taken
    // by a measurement that waits for one; one that comes while none waits is counted
    // (TrgCount) and lost. fireTrigger sends a short pulse, whose edges both come at
    // once, so it is one trigger whatever edge the input counts; setTriggerLine drives
    // the input's level, and only a change to the edge of TrgInputEdge is a trigger.
    // Both answer a TriggerAnswer.
    using SimDevice::fireTrigger;
    bool hasTriggerInput() const override { return !m_medipix2; }
    int fireTrigger(const QString& source) override;
    int setTriggerLine(bool high, const QString& source = QStringLiteral("line"));
    bool triggerLine() const;
    bool waitingForTrigger() const override;
    uint32_t triggerCount() const;
    // Trigger output: with TrgOutputEnabled the output stands at TriggerLevel while the
    // shutter is open, one pulse per opening (TrgOutCount); otherwise at the other level.
    uint32_t triggerOutCount() const;
    bool triggerOutputHigh() const;
    // Readout dead time of the last frame read out, in seconds (ReadoutTime in ms).
    double lastReadoutSeconds() const;
    // Readout dead time of a frame of 16-bit counters (width x height), with or without
    // the compression of the readout (mode bit 4), at the present readout settings.
    double readoutSeconds(const int16_t* counts, bool compressed) const;

    // ov::IDevMpx
    ov::IParamMgr* paramMgr() { return &m_params; }
    // Device configuration files (devicecfgfile.h, timepixconfig.cpp): the ini file and,
    // beside it, "<name>.bpc" and "<name>.dacs". Loading checks all three files before
    // it changes anything. 0, or a negative code with an error line in the log: -1 no
    // path, -2 a file cannot be read or written, -3 a damaged file or one for another
    // kind or geometry of device.
    int loadConfigFile(ov::IFilePath* path);
    int saveConfigFile(ov::IFilePath* path);
    // The configuration a device of this serial leaves the factory with: default DACs,
    // THL adjustments that equalise the pixels' threshold offsets, hot pixels masked.
    int writeFactoryConfig(const QString& path);
    int deviceStatusText(ov::IString* out);
    int deviceStatus() { return statusCode(); }
    int doAdvancedAcquisition(const void* acqDesc, const void* repeatDesc, const void* testPulses);
    int doDigitalTest(unsigned* errors, unsigned* total, ov::IMpxFrame** out);
    // Timepix: trigger start and stop, data compression; Medipix2: none.
    uint32_t capabilityFlags();
    uint32_t supportedAcqTypes() { return ov::AcqTypeTestPulses; }
    int acqDataCount() { return m_store.dataCount(); }
    int acqFrameCount() { return m_store.frameCount(); }
    double minAcqTime() { return kMinAcqTime; }
    double maxAcqTime() { return kMaxAcqTime; }
    ov::IData* acqDataRefInc(unsigned index);
    ov::IData* lastAcqDataRefInc(int index);
    ov::IMpxFrame* lastAcqFrameRefInc();
    ov::IMpxFrame* acqFrameRefInc(unsigned index);
    ov::IMpxDacs* dacs() { return m_dacs.get(); }
    ov::IMpxDacs* dacsCopy() { return m_dacs->makeCopy(); }
    int setBias(double volts);
    double bias();
    double biasMin() { return 0.0; }
    double biasMax() { return kBiasMax; }
    double senseBiasVoltage();
    double senseBiasCurrent();
    bool hasBiasSense() { return !m_medipix2; }
    bool isSensorRefreshEnabled();
    int setSensorRefreshEnabled(bool on);
    bool isSensorRefreshSupported() { return !m_medipix2; }
    int setDacs(ov::IMpxDacs* dacs);
    ov::IMpxPixCfg* pixCfg() { return m_pixCfg.get(); }
    ov::IMpxPixCfg* copyPixCfg() { return m_pixCfg->makeCopy(); }
    int setPixCfg(ov::IMpxPixCfg* cfg);
    int width() { return m_width; }
    int height() { return m_height; }
    uint32_t pixelCount() { return uint32_t(m_width) * uint32_t(m_height); }
    unsigned chipCount() { return unsigned(m_chips); }
    int chipIds(ov::StrList& out);
    bool chipPolarity(int chip);
    int setChipPolarity(int chip, bool positive);
    int chipLayout(unsigned* width, unsigned* height, unsigned* chipIndexes, unsigned* rotations);
    int setChipLayout(unsigned width, unsigned height, unsigned* chipIndexes, unsigned* rotations);
    bool hasHwTrigger() { return !m_medipix2; }
    double threshold(uint32_t chip, int kind);
    int setThreshold(uint32_t chip, int kind, double value);
    bool isChipCalibrated(uint32_t chip);
    bool isTimepix() { return !m_medipix2; }

    // ov::IDevMpx2
    bool chipPolarity(int chip, uint16_t* k);
    int setChipCalibration(int chip, uint16_t k, double a, double b, double w, double t);
    int chipCalibration(int chip, double* a, double* b, double* w, double* t);
    int testPulseLimits(uint32_t* maxCount, double* maxHeight, double* maxPeriod);
    int setClock(double mhz);
    double clock();
    bool isDataCalibrationEnabled();
    int setDataCalibrationEnabled(bool on);
    bool isDataCalibrationSupported() { return !m_medipix2; }
    int setCalibrationMatrices(int chip, double* a, double* b, double* c, double* t);
    int calibrationMatrices(int chip, double* a, double* b, double* c, double* t);
    int dacDelay();
    int setDacDelay(int ms);

    static constexpr double kMinAcqTime = 1e-5;
    static constexpr double kMaxAcqTime = 10000.0;
    static constexpr double kBiasMax = 200.0;
    static constexpr double kClockMin = 1.0;
    static constexpr double kClockMax = 100.0;
    static constexpr uint32_t kMaxPulseCount = 10000;
    static constexpr double kMaxPulseHeight = 2.0;
    static constexpr double kMaxPulsePeriod = 0.01;
    static constexpr int kCounterBits = 14;

protected:
    // Writes the factory configuration into the home folder when the device has one and
    // the file is missing.
    void attached() override;
    int applyFactoryConfig(const QString& path) override;

    // A device with a data-driven readout (pixel data instead of frames) says so and
    // runs each round of such a measurement in runPixelRound, on the measuring thread,
    // posting its events through target. The store of frames is empty then.
    virtual bool hasPixelReadout() const { return false; }
    virtual int runPixelRound(
        SeriesTarget& target, const AcqRecord& acq, const TestPulseRecord* tp, int round);
    // A pixel mode (0 counting, 1 time over threshold, 3 time of arrival) that replaces
    // the modes of the pixel configuration in the frames, or -1 to keep them.
    virtual int forcedPixelMode() const { return -1; }
    // Aborts a measurement in progress and returns when it has ended; a family class
    // calls it first in its destructor, while its own part of a measurement still lives.
    void endMeasurement();
    // The settings the physics reads have changed: the next frame rebuilds its model.
    void settingsChanged() { m_settingsVersion.fetch_add(1); }
    // The physics model with the present settings; only on the measuring thread.
    const PhysicsModel& currentPhysics()
    {
        refreshPhysics();
        return m_physics;
    }
    void raise(const char* event, long data) { fireEvent(event, data); }

private:
    class Series;
    void buildParams();
    // Waits for the next trigger: AcqOk, AcqErrAborted or AcqErrTriggerTimeout (logged).
    int waitForTrigger(const SeriesTarget& target);
    // The trigger output follows the shutter.
    void shutterOpened();
    void shutterClosed();
    // Counts a trigger and hands it to a waiting measurement; under m_trgMutex.
    int triggerLocked(const QString& source);
    // announce: fire "DeviceCfgChanged" for the settings that have no event of their own.
    int loadConfig(const QString& path, bool announce);
    int saveConfig(const QString& path, const SimPixCfg::Pixels& px, const std::vector<int>& dacs);
    struct ChipCal
    {
        uint16_t k = 1;
        double a = 0.0, b = 0.0, w = 0.0, t = 0.0; // threshold keV = a * THL + b
        bool positive = true;
        double noiseEdge = 430.0; // THL of the noise edge (the device's truth)
        double keVPerStep = 0.091;
        std::vector<double> ma, mb, mc, mt; // energy calibration matrices
    };
    int thlDac() const;
    int thlCoarseDac() const;
    double effectiveThl(int chip, const std::vector<int>& dacs) const;
    // The physics inputs from the present state; true when they changed.
    bool refreshPhysics();

    const bool m_medipix2;
    const bool m_timepix3;
    const DacRoles m_roles;
    const int m_width;
    const int m_height;
    const int m_chips;
    EventDelivery m_delivery;
    AcqStore m_store;
    std::unique_ptr<SimPixCfg> m_pixCfg;
    std::unique_ptr<SimDacs> m_dacs;

    mutable std::mutex m_mutex; // guards the settings below
    double m_bias = 100.0;
    double m_clock = 48.0;
    int m_dacDelay = 50;
    bool m_sensorRefresh = false;
    bool m_dataCalibration = false;
    std::vector<ChipCal> m_cal;
    unsigned m_layoutWidth = 1, m_layoutHeight = 1;
    std::vector<unsigned> m_layoutIndexes, m_layoutRotations;
    SourceSettings m_source;
    Rng m_senseRng;
    std::atomic<uint64_t> m_settingsVersion {1};

    SimParamMgr m_params;
    SimParam* m_trgTimeout = nullptr;
    SimParam* m_trgDelay = nullptr;
    SimParam* m_trgEdge = nullptr;
    SimParam* m_trgOutEnabled = nullptr;
    SimParam* m_trgLevel = nullptr;
    SimParam* m_trgSource = nullptr;
    SimParam* m_trgCount = nullptr;
    SimParam* m_trgOutCount = nullptr;
    SimParam* m_readoutMode = nullptr;
    SimParam* m_readoutClock = nullptr;
    SimParam* m_readoutTime = nullptr;

    // Trigger input and output.
    mutable std::mutex m_trgMutex;
    std::condition_variable m_trgCv;
    bool m_trgWaiting = false;  // a measurement waits for a trigger
    uint64_t m_trgTaken = 0;    // triggers taken by measurements
    bool m_trgLineHigh = false; // level of the input
    uint32_t m_trgReceived = 0;
    uint32_t m_trgOutPulses = 0;
    bool m_trgOutActive = false; // the output pulse of an open shutter
    std::atomic<double> m_lastReadout {0.0};

    // The last accepted measurement (under m_mutex).
    AcqRequest m_lastRequest;
    std::atomic<uint64_t> m_accepted {0};

    // Owned by the measurement in progress.
    std::mutex m_acqMutex;
    std::atomic<bool> m_running {false};
    std::atomic<uint64_t> m_sequence {0};
    std::atomic<uint64_t> m_seed;
    PhysicsModel m_physics;
    uint64_t m_physicsKey[3] = {0, 0, 0};
};

} // namespace sim
