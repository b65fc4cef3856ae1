#include "mpxcore.h"

#include "acquisition.h"
#include "outputwriter.h"

#include <QString>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace sim {

namespace {

bool optionMedipix2(const DeviceDesc& desc)
{
    return desc.kind == ov::DevKindMpx2 && desc.medipix2;
}

const std::vector<DacInfo>& dacTable(const DeviceDesc& desc)
{
    if (desc.kind == ov::DevKindTpx3)
        return timepix3Dacs();
    return optionMedipix2(desc) ? medipix2Dacs() : timepixDacs();
}

DacRoles dacRoles(const DeviceDesc& desc)
{
    if (desc.kind == ov::DevKindTpx3)
        return {"VthresholdFine", "VthresholdCoarse", "IbiasPreampOn", "IbiasIkrum"};
    if (optionMedipix2(desc))
        return {"THLFine", "THLCoarse", "Preamp", "IKrum"};
    return {"THL", "THLCoarse", "Preamp", "IKrum"};
}

} // namespace

MpxCore::MpxCore(const DeviceDesc& desc)
    : SimDevice(desc),
      m_medipix2(optionMedipix2(desc)),
      m_timepix3(desc.kind == ov::DevKindTpx3),
      m_roles(dacRoles(desc)),
      m_width(desc.width > 0 ? desc.width : 256),
      m_height(desc.height > 0 ? desc.height : 256),
      m_chips(desc.chips > 0 ? desc.chips : 1),
      m_delivery([this](const std::string& name, long data) { deliverEvent(name.c_str(), data); },
          desc.eventThread ? EventDelivery::HostThread : EventDelivery::Direct),
      m_pixCfg(std::make_unique<SimPixCfg>(unsigned(m_width), unsigned(m_height),
          m_medipix2 ? SimPixCfg::KindMedipix2 : SimPixCfg::KindTimepix)),
      m_dacs(std::make_unique<SimDacs>(dacTable(desc), m_chips)),
      m_senseRng(seedOf(desc.serial, 0x5e75e)),
      m_seed(seedOf(desc.serial, 0xf4a3e5)),
      m_physics(m_width, m_height, m_chips, seedOf(desc.serial, 0x9d75c5))
{
    m_pixCfg->setChangeHook([this] { raise("PixCfgChanged", 0); });
    m_dacs->setChangeHook([this] { raise("DacsChanged", 0); });
    // File errors go to the device log (working copies inherit the hook; they must not
    // outlive the device).
    m_pixCfg->setLogHook([this](unsigned level, const QString& text) { log(level, text); });
    m_dacs->setLogHook([this](unsigned level, const QString& text) { log(level, text); });
    // Each chip has its own noise edge and threshold step; the factory calibration
    // knows them to within a little (Medipix2 chips come uncalibrated).
    Rng rng(seedOf(desc.serial, 0xca11b));
    m_cal.resize(size_t(m_chips));
    for (ChipCal& c : m_cal) {
        c.noiseEdge = 430.0 + 8.0 * rng.normal();
        c.keVPerStep = 0.091 * (1.0 + 0.02 * rng.normal());
        if (!m_medipix2) {
            c.a = -c.keVPerStep * (1.0 + 0.005 * rng.normal());
            c.b = c.noiseEdge * c.keVPerStep + 0.1 * rng.normal();
        }
    }
    if (m_chips == 4 && m_width == 512 && m_height == 512) {
        m_layoutWidth = 2;
        m_layoutHeight = 2;
    } else {
        m_layoutWidth = unsigned(m_chips);
        m_layoutHeight = 1;
    }
    for (int i = 0; i < m_chips; ++i) {
        m_layoutIndexes.push_back(unsigned(i));
        m_layoutRotations.push_back(0);
    }
    buildParams();
}

MpxCore::~MpxCore()
{
    // No log line here: the host destroys its devices after its own log.
    endMeasurement();
    m_delivery.flush();
}

void MpxCore::endMeasurement()
{
    raiseAbortFlag();
    std::lock_guard<std::mutex> lock(m_acqMutex);
}

int MpxCore::fireEvent(const char* name, long data)
{
    if (!name)
        return 0;
    m_delivery.post(name, data);
    return 0;
}

void MpxCore::setSource(const SourceSettings& source)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_source = source;
    }
    settingsChanged();
}

SourceSettings MpxCore::source() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_source;
}

void MpxCore::setSeed(uint64_t seed)
{
    m_seed.store(seed);
    m_sequence.store(0);
}

int MpxCore::thlDac() const
{
    return m_dacs->indexOf(m_roles.thlFine);
}

int MpxCore::thlCoarseDac() const
{
    return m_dacs->indexOf(m_roles.thlCoarse);
}

double MpxCore::effectiveThl(int chip, const std::vector<int>& dacs) const
{
    const size_t n = size_t(m_dacs->dacCount());
    const int fine = dacs[size_t(chip) * n + size_t(thlDac())];
    const int coarse = dacs[size_t(chip) * n + size_t(thlCoarseDac())];
    return fine + 80.0 * (coarse - 7);
}

double MpxCore::trueThresholdKeV(int chip) const
{
    if (chip < 0 || chip >= m_chips)
        return 0.0;
    const std::vector<int> dacs = m_dacs->snapshot();
    std::lock_guard<std::mutex> lock(m_mutex);
    const ChipCal& c = m_cal[size_t(chip)];
    return (c.noiseEdge - effectiveThl(chip, dacs)) * c.keVPerStep;
}

bool MpxCore::refreshPhysics()
{
    const uint64_t key[3] = {m_settingsVersion.load(), m_pixCfg->version(), m_dacs->version()};
    if (std::equal(key, key + 3, m_physicsKey))
        return false;
    std::copy(key, key + 3, m_physicsKey);
    PhysicsInputs in;
    in.timepix = !m_medipix2;
    in.pixels = m_pixCfg->snapshot();
    if (const int mode = forcedPixelMode(); mode >= 0)
        in.pixels.mode.assign(in.pixels.mode.size(), uint8_t(mode));
    const std::vector<int> dacs = m_dacs->snapshot();
    const size_t n = size_t(m_dacs->dacCount());
    const int preamp = m_dacs->indexOf(m_roles.preamp);
    const int ikrum = m_dacs->indexOf(m_roles.ikrum);
    const int thhFine = m_dacs->indexOf("THHFine");
    const int thhCoarse = m_dacs->indexOf("THHCoarse");
    std::lock_guard<std::mutex> lock(m_mutex);
    in.source = m_source;
    in.biasVolts = m_bias;
    in.chips.resize(size_t(m_chips));
    for (int c = 0; c < m_chips; ++c) {
        // The physics counts chips by their place on the matrix: the chip placed at a
        // position lends that position its settings.
        const int chip = int(m_layoutIndexes[size_t(c)]);
        const ChipCal& cal = m_cal[size_t(chip)];
        ChipSettings& s = in.chips[size_t(c)];
        s.thresholdKeV = (cal.noiseEdge - effectiveThl(chip, dacs)) * cal.keVPerStep;
        s.gain = dacs[size_t(chip) * n + size_t(preamp)] / 255.0;
        const double krum = std::max(1, dacs[size_t(chip) * n + size_t(ikrum)]);
        s.totPerKeV = 1.0 * std::sqrt(5.0 / krum);
        s.clockMHz = m_medipix2 ? 48.0 : m_clock;
        if (m_medipix2) {
            const double thh = dacs[size_t(chip) * n + size_t(thhFine)]
                + 80.0 * (dacs[size_t(chip) * n + size_t(thhCoarse)] - 7);
            s.upperKeV = (cal.noiseEdge - thh) * cal.keVPerStep;
        }
    }
    m_physics.setInputs(in);
    return true;
}

// ---------------------------------------------------------------------------------
// Measurement

class MpxCore::Series final : public SeriesTarget
{
public:
    Series(MpxCore& dev, const AcqRecord& acq, uint32_t mode, const TestPulseRecord* tp,
        OutputWriter* output)
        : m_dev(dev), m_acq(acq), m_mode(mode), m_tp(tp), m_output(output)
    { }

    void post(const char* event, long data) override { m_dev.m_delivery.post(event, data); }
    bool aborted() const override { return m_dev.abortRequested(); }

    int runRound(int round) override
    {
        m_round = round;
        m_dev.m_store.clear();
        if (m_acq.pixels)
            return m_dev.runPixelRound(*this, m_acq, m_tp, round);
        const size_t n = size_t(m_dev.m_width) * size_t(m_dev.m_height);
        SimFrame* sum = nullptr;
        if (m_acq.integral)
            sum = SimFrame::create(
                unsigned(m_dev.m_width), unsigned(m_dev.m_height), ov::FrameUInt32);
        std::vector<int16_t> scratch(sum ? n : 0);
        double exposures = 0.0;
        int result = AcqOk;
        for (uint32_t i = 1; i <= m_acq.count; ++i) {
            if (aborted()) {
                result = AcqErrAborted;
                break;
            }
            SimFrame* frame = sum ? nullptr
                                  : SimFrame::create(unsigned(m_dev.m_width),
                                      unsigned(m_dev.m_height), ov::FrameInt16);
            double exposure = 0.0;
            result = exposeAndRead(frame ? frame->pixels<int16_t>() : scratch.data(), &exposure);
            if (result != AcqOk) {
                if (frame)
                    frame->decRef();
                break;
            }
            exposures += exposure;
            if (frame) {
                store(frame, i, exposure);
                frame->decRef();
                continue;
            }
            uint32_t* acc = sum->pixels<uint32_t>();
            for (size_t p = 0; p < n; ++p)
                acc[p] += uint32_t(scratch[p]);
            // An integral takes the time of one of its frames (with a stop trigger, their
            // mean).
            if (i == m_acq.count)
                store(sum, i, (m_mode & AcqModeTriggerStop) ? exposures / m_acq.count : m_acq.time);
            else
                post("AcqFinished", long(i));
        }
        if (sum)
            sum->decRef();
        return result;
    }

private:
    using Clock = std::chrono::steady_clock;

    static double since(Clock::time_point t)
    {
        return std::chrono::duration<double>(Clock::now() - t).count();
    }

    // How long test pulses keep the shutter open: count x period x spacing^2.
    double pulseTrainSeconds() const
    {
        if (!m_tp)
            return 0.0;
        const double spacing = std::max<uint32_t>(m_acq.spacing, 1);
        return m_tp->count * m_tp->period * spacing * spacing;
    }

    // One frame into out: the shutter opens (at a trigger, after the trigger delay, or
    // at once), stays open for the time (or until the next trigger; test pulses keep it
    // open while they are sent), and the chips are read out. exposure receives how long
    // the shutter was open. The frame's counts are made while the shutter is open, and
    // that time counts towards the exposure and the readout.
    int exposeAndRead(int16_t* out, double* exposure)
    {
        if (m_mode & AcqModeTriggerStart) {
            const int rc = m_dev.waitForTrigger(*this);
            if (rc != AcqOk)
                return rc;
            if (!waitAbortable(*this, double(m_dev.m_trgDelay->asInt()) / 1000.0))
                return AcqErrAborted;
        }
        const Clock::time_point open = Clock::now();
        m_dev.shutterOpened();
        double shutter = std::max(m_acq.time, pulseTrainSeconds());
        if (m_mode & AcqModeTriggerStop) {
            const int rc = m_dev.waitForTrigger(*this);
            if (rc == AcqOk && !waitAbortable(*this, pulseTrainSeconds() - since(open))) {
                m_dev.shutterClosed();
                return AcqErrAborted;
            }
            shutter = since(open);
            m_dev.shutterClosed();
            if (rc != AcqOk)
                return rc;
            makeFrame(out, shutter);
        } else {
            makeFrame(out, m_acq.time);
            const bool done = waitAbortable(*this, shutter - since(open));
            m_dev.shutterClosed();
            if (!done)
                return AcqErrAborted;
        }
        *exposure = (m_mode & AcqModeTriggerStop) ? shutter : m_acq.time;
        // The next shutter opens when the chips have been read out.
        const double readout = m_dev.readoutSeconds(out, (m_mode & AcqModeCompression) != 0);
        m_dev.m_lastReadout.store(readout);
        m_dev.m_readoutTime->assign(readout * 1000.0);
        if (!waitAbortable(*this, shutter + readout - since(open)))
            return AcqErrAborted;
        return AcqOk;
    }

    void makeFrame(int16_t* out, double exposure)
    {
        m_dev.refreshPhysics();
        const uint64_t seq = m_dev.m_sequence.fetch_add(1);
        Rng rng(seedOf(m_dev.m_seed.load(), seq));
        if (m_tp)
            m_dev.m_physics.testPulseFrame(rng, *m_tp, out);
        else
            m_dev.m_physics.frame(rng, std::max(exposure, kMinAcqTime), out);
        m_mask = maskOf();
    }

    std::shared_ptr<const std::vector<uint8_t>> maskOf()
    {
        // One mask vector for all frames made under the same configuration.
        const uint64_t version = m_dev.m_pixCfg->version();
        if (!m_mask || version != m_maskVersion) {
            m_maskVersion = version;
            return std::make_shared<const std::vector<uint8_t>>(
                m_dev.m_physics.inputs().pixels.mask);
        }
        return m_mask;
    }

    void store(SimFrame* frame, uint32_t index, double exposure)
    {
        frame->setAcqTime(exposure);
        frame->setMask(m_mask);
        frame->setFrameInfoSource((uint64_t(m_dev.serial()) << 32) | index);
        const std::string name = (m_acq.integral ? std::string("Integral ") : std::string("Frame "))
            + std::to_string(index);
        frame->setFrameName(name.c_str());
        SimData* data = SimData::create(ov::DataFrames);
        data->addFrame(frame);
        const int at = m_dev.m_store.add(data);
        data->decRef();
        // The file is complete before the plug-in hears of the frame.
        if (m_output)
            m_output->write(m_round, m_acq.integral ? 0 : int(index) - 1, *frame);
        post("AcqFinished", long(index));
        post("AcqNewData", long(at));
    }

    MpxCore& m_dev;
    const AcqRecord& m_acq;
    const uint32_t m_mode; // the mode bits the device acts on
    const TestPulseRecord* m_tp;
    OutputWriter* m_output;
    int m_round = 0;
    std::shared_ptr<const std::vector<uint8_t>> m_mask;
    uint64_t m_maskVersion = 0;
};

int MpxCore::runPixelRound(SeriesTarget&, const AcqRecord&, const TestPulseRecord*, int)
{
    return AcqErrUnsupported;
}

int MpxCore::doAdvancedAcquisition(
    const void* acqDesc, const void* repeatDesc, const void* testPulses)
{
    // A refused measurement says why in the log before it returns its code.
    auto refuse = [this](int code, const char* why) {
        log(ov::LogError, QStringLiteral("Measurement refused: %1").arg(QLatin1String(why)));
        return code;
    };
    AcqRequest request;
    AcqRecord& acq = request.acq;
    int rc = parseAcqRecord(acqDesc, &acq);
    if (rc != AcqOk)
        return refuse(rc, "the measurement description is not valid");
    if (acq.time > kMaxAcqTime)
        return refuse(AcqErrBadTime, "the acquisition time is too long");
    // The plug-in asks for a trigger mode on devices without a trigger input, too: a
    // Medipix2 measures without one.
    constexpr uint32_t triggerBits = AcqModeTriggerStart | AcqModeTriggerStop;
    const bool ignoreTrigger = !hasTriggerInput() && (acq.mode & triggerBits);
    const uint32_t mode = ignoreTrigger ? acq.mode & ~triggerBits : acq.mode;
    if (mode & ~capabilityFlags())
        return refuse(AcqErrUnsupported, "the device cannot do the requested mode");
    if (acq.pixels && !hasPixelReadout())
        return refuse(AcqErrUnsupported, "the device has no data-driven readout");
    RepeatRecord repeat;
    if (repeatDesc && (rc = parseRepeatRecord(repeatDesc, &repeat)) != AcqOk)
        return refuse(rc, "the series description is not valid");
    if (repeatDesc)
        request.repeat = repeat;
    TestPulseRecord tp;
    const bool tpRead = testPulses && parseTestPulseRecord(testPulses, &tp) == AcqOk;
    if (tpRead)
        request.testPulses = tp;
    if (acq.testPulses) {
        if (!tpRead || tp.count == 0 || tp.count > kMaxPulseCount || !(tp.height > 0.0)
            || tp.height > kMaxPulseHeight || !(tp.period > 0.0) || tp.period > kMaxPulsePeriod)
            return refuse(AcqErrBadTestPulses, "the test pulses are out of limits");
        if (acq.spacing == 0)
            return refuse(AcqErrBadFlag, "the spacing of test pulses is 0");
    }
    if (locked())
        return refuse(AcqErrLocked, "the device is locked");
    std::unique_lock<std::mutex> busy(m_acqMutex, std::try_to_lock);
    if (!busy.owns_lock())
        return refuse(AcqErrBusy, "a measurement is already running on the device");
    // An abort from before this measurement is dropped; one that comes once it shows as
    // running is kept.
    clearAbort();
    m_running.store(true);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lastRequest = request;
    }
    m_accepted.fetch_add(1);
    if (ignoreTrigger)
        log(ov::LogWarning,
            QStringLiteral("Measurement: this device has no trigger input; the trigger mode is "
                           "ignored"));
    hostNote(ov::LogInfo, QString::fromStdString(describeRequest(request)));
    m_store.setLimitBytes(static_cast<size_t>(std::max(0.0, frameMemoryMb()) * 1048576.0));
    // Pixel data goes to the device's own pixel files, not to frame files.
    AcqRecord frameOutput = acq;
    if (acq.pixels)
        frameOutput.outputFile.clear();
    OutputWriter output(frameOutput, repeatDesc ? &repeat : nullptr,
        [this](unsigned level, const QString& text) { log(level, text); });

    Series series(*this, acq, mode, acq.testPulses ? &tp : nullptr, &output);
    int result = AcqOk;
    if (acq.refreshDacs) {
        // New DACs settle for the DAC delay before the shutter opens.
        if (!waitAbortable(series, dacDelay() / 1000.0))
            result = AcqErrAborted;
    }
    if (result == AcqOk)
        result = runSeries(series, repeatDesc, repeat);
    else {
        series.post("AcqMeasStarted", 0);
        series.post("AcqMeasFinished", result);
    }
    output.finish();
    if (result == AcqOk && output.hasFailed())
        result = AcqErrOutputFile;
    m_delivery.flush();
    m_running.store(false);
    return result;
}

AcqRequest MpxCore::lastRequest() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastRequest;
}

// ---------------------------------------------------------------------------------
// Parameters, trigger and readout

void MpxCore::buildParams()
{
    m_params.setRefused([this](const SimParam& p, int code, const std::string& value) {
        log(ov::LogWarning,
            QStringLiteral("Parameter %1: %2 refused: %3")
                .arg(QString::fromUtf8(p.name()), QString::fromStdString(value),
                    QString::fromStdString(p.refusalText(code))));
    });
    const std::string board = std::to_string(serial());
    m_params.add("HwLibVer", "Version of the readout library", ov::ParamString, ov::ParamReadOnly)
        .assignText("2.3.1 (orvelsim simulated readout)");
    m_params
        .add("Firmware", "Firmware of the readout board's FPGA", ov::ParamString, ov::ParamReadOnly)
        .assignText((m_medipix2 ? std::string("MPX2-RO 1.9.4, board ")
                                : std::string("TPX-RO 3.2.0, board "))
            + board);
    m_params
        .add("FirmwareCpu", "Firmware of the readout board's processor", ov::ParamString,
            ov::ParamReadOnly)
        .assignText(m_medipix2 ? "1.0.6" : "1.2.3");
    m_params.add("DeviceName", "Name of the device", ov::ParamString, ov::ParamReadOnly)
        .assignText(name().toStdString());
    if (!m_medipix2) {
        m_trgTimeout = &m_params.add("TrgTimeout",
            "Seconds a measurement waits for a hardware trigger before it fails; 0 waits for "
            "ever [0..1000]",
            ov::ParamU16);
        m_trgTimeout->setRange(0, 1000).assign(60);
        m_trgDelay = &m_params.add("TrgDelay",
            "Milliseconds from the trigger to the opening of the shutter [0..255]", ov::ParamU8);
        m_trgDelay->setRange(0, 255).assign(0);
        m_trgEdge = &m_params.add("TrgInputEdge",
            "Edge of the trigger input that is a trigger [rising|falling]", ov::ParamU8);
        m_trgEdge->setAliases({{"rising", 0}, {"falling", 1}});
        m_trgOutEnabled = &m_params.add("TrgOutputEnabled",
            "A pulse on the trigger output while the shutter is open [true|false]", ov::ParamBool);
        m_trgLevel = &m_params.add("TriggerLevel",
            "Level of the trigger output during its pulse; it rests at the other [log 0|log 1]",
            ov::ParamU8);
        m_trgLevel->setAliases({{"log 0", 0}, {"log 1", 1}});
        m_trgLevel->assign(1);
        m_trgSource = &m_params.add("TrgSource",
            "Where the last trigger came from: none, host, menu, script or line [string]",
            ov::ParamString, ov::ParamReadOnly);
        m_trgSource->assignText("none");
        m_trgCount = &m_params.add("TrgCount",
            "Triggers received since the device was switched on, taken or not", ov::ParamU32,
            ov::ParamReadOnly);
        m_trgOutCount = &m_params.add("TrgOutCount",
            "Pulses sent on the trigger output since the device was switched on", ov::ParamU32,
            ov::ParamReadOnly);
    }
    m_readoutMode = &m_params.add("ReadoutMode",
        "The chips are read out together on the parallel bus, or one after another on the "
        "serial link [parallel|serial]",
        ov::ParamU8);
    m_readoutMode->setAliases({{"parallel", 0}, {"serial", 1}});
    m_readoutClock = &m_params.add("ReadoutClock",
        "Clock of the readout; the dead time between frames falls as it rises "
        "[25 MHz|50 MHz|100 MHz|200 MHz]",
        ov::ParamU8);
    m_readoutClock->setAliases(
        {{"25 MHz", 25}, {"50 MHz", 50}, {"100 MHz", 100}, {"200 MHz", 200}});
    m_readoutClock->assign(100);
    m_readoutTime = &m_params.add("ReadoutTime", "Readout dead time of the last frame, in ms",
        ov::ParamDouble, ov::ParamReadOnly);
}

int MpxCore::triggerLocked(const QString& source)
{
    m_trgCount->assign(double(++m_trgReceived));
    m_trgSource->assignText(source.toStdString());
    if (!m_trgWaiting)
        return TriggerMissed;
    m_trgWaiting = false;
    ++m_trgTaken;
    m_trgCv.notify_all();
    return TriggerTaken;
}

int MpxCore::fireTrigger(const QString& source)
{
    if (m_medipix2)
        return TriggerNoInput;
    std::lock_guard<std::mutex> lock(m_trgMutex);
    return triggerLocked(source);
}

int MpxCore::setTriggerLine(bool high, const QString& source)
{
    if (m_medipix2)
        return TriggerNoInput;
    const bool rising = m_trgEdge->asInt() == 0;
    std::lock_guard<std::mutex> lock(m_trgMutex);
    if (high == m_trgLineHigh)
        return TriggerNoEdge;
    m_trgLineHigh = high;
    return high == rising ? triggerLocked(source) : TriggerNoEdge;
}

bool MpxCore::triggerLine() const
{
    std::lock_guard<std::mutex> lock(m_trgMutex);
    return m_trgLineHigh;
}

bool MpxCore::waitingForTrigger() const
{
    std::lock_guard<std::mutex> lock(m_trgMutex);
    return m_trgWaiting;
}

uint32_t MpxCore::triggerCount() const
{
    std::lock_guard<std::mutex> lock(m_trgMutex);
    return m_trgReceived;
}

uint32_t MpxCore::triggerOutCount() const
{
    std::lock_guard<std::mutex> lock(m_trgMutex);
    return m_trgOutPulses;
}

bool MpxCore::triggerOutputHigh() const
{
    if (m_medipix2)
        return false;
    const bool level = m_trgLevel->asInt() != 0;
    std::lock_guard<std::mutex> lock(m_trgMutex);
    return m_trgOutActive ? level : !level;
}

int MpxCore::waitForTrigger(const SeriesTarget& target)
{
    using Clock = std::chrono::steady_clock;
    const int64_t timeout = m_trgTimeout->asInt();
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(timeout);
    std::unique_lock<std::mutex> lock(m_trgMutex);
    const uint64_t taken = m_trgTaken;
    m_trgWaiting = true;
    for (;;) {
        if (m_trgTaken != taken)
            return AcqOk; // the trigger has cleared m_trgWaiting
        if (target.aborted()) {
            m_trgWaiting = false;
            return AcqErrAborted;
        }
        const Clock::time_point now = Clock::now();
        if (timeout > 0 && now >= deadline) {
            m_trgWaiting = false;
            lock.unlock();
            log(ov::LogError,
                QStringLiteral("Measurement failed: no trigger within %1 s").arg(timeout));
            return AcqErrTriggerTimeout;
        }
        // Aborts are polled: they do not wake the waiting thread.
        Clock::duration slice = std::chrono::milliseconds(5);
        if (timeout > 0)
            slice = std::min(slice, deadline - now);
        m_trgCv.wait_for(lock, slice);
    }
}

void MpxCore::shutterOpened()
{
    if (m_medipix2 || !m_trgOutEnabled->asBool())
        return;
    std::lock_guard<std::mutex> lock(m_trgMutex);
    m_trgOutActive = true;
    m_trgOutCount->assign(double(++m_trgOutPulses));
}

void MpxCore::shutterClosed()
{
    if (m_medipix2)
        return;
    std::lock_guard<std::mutex> lock(m_trgMutex);
    m_trgOutActive = false;
}

double MpxCore::lastReadoutSeconds() const
{
    return m_lastReadout.load();
}

double MpxCore::readoutSeconds(const int16_t* counts, bool compressed) const
{
    // Each chip sends its counters (14 bits a pixel); compressed, a header and then the
    // address (16 bits) and counter of every pixel that counted. The parallel bus moves
    // 32 bits of every chip a clock, the serial link one bit of one chip after another.
    constexpr double kHeaderBits = 32.0;
    constexpr double kAddressBits = 16.0;
    constexpr double kBusBits = 32.0;
    const double hz = double(std::max<int64_t>(1, m_readoutClock->asInt())) * 1e6;
    const bool serialLink = m_readoutMode->asInt() == 1;
    const double chipPixels = double(m_width) * double(m_height) / m_chips;
    std::vector<double> bits(size_t(m_chips), chipPixels * kCounterBits);
    if (compressed && counts) {
        std::vector<uint64_t> hits(size_t(m_chips), 0);
        for (int y = 0; y < m_height; ++y) {
            const int16_t* row = counts + size_t(y) * size_t(m_width);
            for (int x0 = 0; x0 < m_width; x0 += 256) {
                const int x1 = std::min(m_width, x0 + 256);
                uint64_t& h = hits[size_t(m_physics.chipOf(x0, y))];
                for (int x = x0; x < x1; ++x)
                    h += row[x] != 0;
            }
        }
        for (size_t c = 0; c < bits.size(); ++c)
            bits[c] = kHeaderBits + double(hits[c]) * (kAddressBits + kCounterBits);
    }
    if (serialLink) {
        double total = 0.0;
        for (double b : bits)
            total += b;
        return total / hz;
    }
    return *std::max_element(bits.begin(), bits.end()) / (kBusBits * hz);
}

// ---------------------------------------------------------------------------------
// Store

ov::IData* MpxCore::acqDataRefInc(unsigned index)
{
    return index > 0x7fffffffu ? nullptr : m_store.dataRefInc(int(index));
}

ov::IData* MpxCore::lastAcqDataRefInc(int index)
{
    return m_store.lastDataRefInc(index);
}

ov::IMpxFrame* MpxCore::lastAcqFrameRefInc()
{
    return m_store.lastFrameRefInc();
}

ov::IMpxFrame* MpxCore::acqFrameRefInc(unsigned index)
{
    return index > 0x7fffffffu ? nullptr : m_store.frameRefInc(int(index));
}

// ---------------------------------------------------------------------------------
// Device settings

int MpxCore::deviceStatusText(ov::IString* out)
{
    if (!out)
        return -1;
    out->set(statusMessage().toUtf8().constData());
    return 0;
}

int MpxCore::doDigitalTest(unsigned* errors, unsigned* total, ov::IMpxFrame** out)
{
    // Writes a pattern into every counter and reads it back: dead pixels fail. The
    // frame holds 1 for a good pixel and 0 for a failed one.
    SimFrame* frame = SimFrame::create(unsigned(m_width), unsigned(m_height), ov::FrameInt16);
    int16_t* p = frame->pixels<int16_t>();
    std::fill(p, p + frame->pixelCount(), int16_t(1));
    for (uint32_t dead : m_physics.deadPixels())
        p[dead] = 0;
    if (errors)
        *errors = unsigned(m_physics.deadPixels().size());
    if (total)
        *total = pixelCount();
    frame->setFrameName("Digital test");
    if (out)
        *out = frame;
    else
        frame->decRef();
    return 0;
}

uint32_t MpxCore::capabilityFlags()
{
    return m_medipix2 ? 0u
                      : uint32_t(ov::CapHwTriggerStart | ov::CapHwTriggerStop | ov::CapCompression);
}

int MpxCore::setBias(double volts)
{
    if (!(volts >= 0.0) || volts > kBiasMax) {
        log(ov::LogWarning,
            QStringLiteral("Bias %1 V refused: the bias goes from 0 to %2 V")
                .arg(volts)
                .arg(kBiasMax));
        return -1;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bias = volts;
    }
    settingsChanged();
    raise("BiasChanged", 0);
    return 0;
}

double MpxCore::bias()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bias;
}

double MpxCore::senseBiasVoltage()
{
    if (m_medipix2)
        return 0.0;
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bias * (1.0 + 0.002 * m_senseRng.normal()) + 0.05 * m_senseRng.normal();
}

double MpxCore::senseBiasCurrent()
{
    // Leakage current in microamperes: grows with the depleted depth, plus noise.
    if (m_medipix2)
        return 0.0;
    std::lock_guard<std::mutex> lock(m_mutex);
    const double depth = std::min(1.0, std::sqrt(m_bias / PhysicsModel::kDepletionVolts));
    const double current = 0.02 + 0.35 * m_chips * depth + 0.001 * m_bias;
    return std::max(0.0, current * (1.0 + 0.01 * m_senseRng.normal()));
}

bool MpxCore::isSensorRefreshEnabled()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sensorRefresh;
}

int MpxCore::setSensorRefreshEnabled(bool on)
{
    if (m_medipix2)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_sensorRefresh = on;
    }
    raise("DeviceCfgChanged", 0);
    return 0;
}

int MpxCore::setDacs(ov::IMpxDacs* dacs)
{
    auto* table = dynamic_cast<SimDacs*>(dacs);
    if (!table)
        return -1;
    return m_dacs->assign(*table);
}

int MpxCore::setPixCfg(ov::IMpxPixCfg* cfg)
{
    auto* config = dynamic_cast<SimPixCfg*>(cfg);
    if (!config)
        return -1;
    return m_pixCfg->assign(*config);
}

int MpxCore::chipIds(ov::StrList& out)
{
    // Wafer position and wafer number, as printed on the chips.
    for (int c = 0; c < m_chips; ++c) {
        const uint32_t s = serial();
        const char column = char('B' + (s + uint32_t(c) * 3) % 10);
        const int row = int((s / 10 + uint32_t(c) * 7) % 11) + 1;
        const QString id = QStringLiteral("%1%2-W%3")
                               .arg(QChar(column))
                               .arg(row)
                               .arg(s % 10000, 4, 10, QLatin1Char('0'));
        out.add(id.toUtf8().constData());
    }
    return 0;
}

bool MpxCore::chipPolarity(int chip)
{
    return chipPolarity(chip, nullptr);
}

bool MpxCore::chipPolarity(int chip, uint16_t* k)
{
    // Chip -1 (0xFFFFFFFF) asks for the device as a whole: positive when every chip is.
    if (chip == -1) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (k)
            *k = m_cal[0].k;
        return std::all_of(m_cal.begin(), m_cal.end(), [](const ChipCal& c) { return c.positive; });
    }
    if (chip < 0 || chip >= m_chips)
        return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (k)
        *k = m_cal[size_t(chip)].k;
    return m_cal[size_t(chip)].positive;
}

int MpxCore::setChipPolarity(int chip, bool positive)
{
    if (chip < 0 || chip >= m_chips)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_cal[size_t(chip)].positive = positive;
    }
    settingsChanged();
    raise("DeviceCfgChanged", 0);
    return 0;
}

int MpxCore::chipLayout(
    unsigned* width, unsigned* height, unsigned* chipIndexes, unsigned* rotations)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (width)
        *width = m_layoutWidth;
    if (height)
        *height = m_layoutHeight;
    for (int c = 0; c < m_chips; ++c) {
        if (chipIndexes)
            chipIndexes[c] = m_layoutIndexes[size_t(c)];
        if (rotations)
            rotations[c] = m_layoutRotations[size_t(c)];
    }
    return 0;
}

int MpxCore::setChipLayout(
    unsigned width, unsigned height, unsigned* chipIndexes, unsigned* rotations)
{
    // The chips must fill the grid exactly, each chip once; rotations in quarter turns.
    if (!chipIndexes || width == 0 || height == 0 || width * height != unsigned(m_chips))
        return -1;
    std::vector<bool> seen(size_t(m_chips), false);
    for (int c = 0; c < m_chips; ++c) {
        const unsigned index = chipIndexes[c];
        if (index >= unsigned(m_chips) || seen[index] || (rotations && rotations[c] > 3))
            return -1;
        seen[index] = true;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_layoutWidth = width;
        m_layoutHeight = height;
        for (int c = 0; c < m_chips; ++c) {
            m_layoutIndexes[size_t(c)] = chipIndexes[c];
            m_layoutRotations[size_t(c)] = rotations ? rotations[c] : 0;
        }
    }
    settingsChanged();
    raise("DeviceCfgChanged", 0);
    return 0;
}

double MpxCore::threshold(uint32_t chip, int kind)
{
    const int dac = thlDac();
    if (kind == ov::ThresholdChip) {
        return chip < uint32_t(m_chips) ? m_dacs->dacValue(dac, int(chip)) : -1.0;
    }
    if (kind == ov::ThresholdAllChips) {
        double sum = 0.0;
        for (int c = 0; c < m_chips; ++c)
            sum += m_dacs->dacValue(dac, c);
        return sum / m_chips;
    }
    if (kind == ov::ThresholdCalibrated) {
        const std::vector<int> dacs = m_dacs->snapshot();
        std::lock_guard<std::mutex> lock(m_mutex);
        double sum = 0.0;
        int n = 0;
        for (int c = 0; c < m_chips; ++c) {
            if (chip != 0xFFFFFFFFu && uint32_t(c) != chip)
                continue;
            const ChipCal& cal = m_cal[size_t(c)];
            if (cal.a == 0.0)
                return -1.0;
            sum += cal.a * effectiveThl(c, dacs) + cal.b;
            ++n;
        }
        return n ? sum / n : -1.0;
    }
    return -1.0;
}

int MpxCore::setThreshold(uint32_t chip, int kind, double value)
{
    const int dac = thlDac();
    const int maxValue = m_dacs->dacMaxValue(dac);
    if (!std::isfinite(value))
        return -1;
    if (kind == ov::ThresholdChip || kind == ov::ThresholdAllChips) {
        const long v = std::lround(value);
        if (v < 0 || v > maxValue)
            return -1;
        if (kind == ov::ThresholdChip && chip >= uint32_t(m_chips))
            return -1;
        return m_dacs->setDacValue(dac, kind == ov::ThresholdChip ? int(chip) : -1, int(v));
    }
    if (kind != ov::ThresholdCalibrated || (chip != 0xFFFFFFFFu && chip >= uint32_t(m_chips)))
        return -1;
    // keV to THL through each chip's calibration.
    SimDacs* copy = m_dacs->makeCopy();
    const int coarse = thlCoarseDac();
    int rc = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (int c = 0; c < m_chips && rc == 0; ++c) {
            if (chip != 0xFFFFFFFFu && uint32_t(c) != chip)
                continue;
            const ChipCal& cal = m_cal[size_t(c)];
            if (cal.a == 0.0) {
                rc = -1;
                break;
            }
            const double thl = (value - cal.b) / cal.a - 80.0 * (copy->dacValue(coarse, c) - 7);
            const long v = std::lround(thl);
            if (v < 0 || v > maxValue)
                rc = -1;
            else
                copy->setDacValue(dac, c, int(v));
        }
    }
    if (rc == 0)
        rc = m_dacs->assign(*copy);
    copy->release();
    return rc;
}

bool MpxCore::isChipCalibrated(uint32_t chip)
{
    if (chip >= uint32_t(m_chips))
        return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_cal[chip].a != 0.0;
}

int MpxCore::setChipCalibration(int chip, uint16_t k, double a, double b, double w, double t)
{
    if (chip < 0 || chip >= m_chips || !std::isfinite(a) || !std::isfinite(b))
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ChipCal& c = m_cal[size_t(chip)];
        c.k = k;
        c.a = a;
        c.b = b;
        c.w = w;
        c.t = t;
    }
    raise("DeviceCfgChanged", 0);
    return 0;
}

int MpxCore::chipCalibration(int chip, double* a, double* b, double* w, double* t)
{
    if (chip < 0 || chip >= m_chips)
        return -1;
    std::lock_guard<std::mutex> lock(m_mutex);
    const ChipCal& c = m_cal[size_t(chip)];
    if (a)
        *a = c.a;
    if (b)
        *b = c.b;
    if (w)
        *w = c.w;
    if (t)
        *t = c.t;
    return 0;
}

int MpxCore::testPulseLimits(uint32_t* maxCount, double* maxHeight, double* maxPeriod)
{
    if (maxCount)
        *maxCount = kMaxPulseCount;
    if (maxHeight)
        *maxHeight = kMaxPulseHeight;
    if (maxPeriod)
        *maxPeriod = kMaxPulsePeriod;
    return 0;
}

int MpxCore::setClock(double mhz)
{
    if (m_medipix2) {
        log(ov::LogWarning,
            QStringLiteral("Clock %1 MHz refused: a Medipix2 has no Timepix clock").arg(mhz));
        return -1;
    }
    if (!(mhz >= kClockMin) || mhz > kClockMax) {
        log(ov::LogWarning,
            QStringLiteral("Clock %1 MHz refused: the clock goes from %2 to %3 MHz")
                .arg(mhz)
                .arg(kClockMin)
                .arg(kClockMax));
        return -1;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_clock = mhz;
    }
    settingsChanged();
    raise("TpxClockChanged", 0);
    return 0;
}

double MpxCore::clock()
{
    if (m_medipix2)
        return 0.0;
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_clock;
}

bool MpxCore::isDataCalibrationEnabled()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_dataCalibration;
}

int MpxCore::setDataCalibrationEnabled(bool on)
{
    if (m_medipix2)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_dataCalibration = on;
    }
    raise("DeviceCfgChanged", 0);
    return 0;
}

int MpxCore::setCalibrationMatrices(int chip, double* a, double* b, double* c, double* t)
{
    if (m_medipix2 || chip < 0 || chip >= m_chips || !a || !b || !c || !t)
        return -1;
    constexpr size_t n = 256 * 256;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ChipCal& cal = m_cal[size_t(chip)];
        cal.ma.assign(a, a + n);
        cal.mb.assign(b, b + n);
        cal.mc.assign(c, c + n);
        cal.mt.assign(t, t + n);
    }
    raise("DeviceCfgChanged", 0);
    return 0;
}

int MpxCore::calibrationMatrices(int chip, double* a, double* b, double* c, double* t)
{
    if (m_medipix2 || chip < 0 || chip >= m_chips)
        return -1;
    constexpr size_t n = 256 * 256;
    std::lock_guard<std::mutex> lock(m_mutex);
    const ChipCal& cal = m_cal[size_t(chip)];
    // Without matrices of its own a chip has the nominal response: 1 clock count per keV.
    auto copyOut = [](const std::vector<double>& from, double* to, double fallback) {
        if (!to)
            return;
        if (from.size() == n)
            std::copy(from.begin(), from.end(), to);
        else
            std::fill(to, to + n, fallback);
    };
    copyOut(cal.ma, a, 1.0);
    copyOut(cal.mb, b, 0.0);
    copyOut(cal.mc, c, 0.0);
    copyOut(cal.mt, t, 0.0);
    return 0;
}

int MpxCore::dacDelay()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_dacDelay;
}

int MpxCore::setDacDelay(int ms)
{
    if (ms < 0 || ms > 10000)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_dacDelay = ms;
    }
    raise("DeviceCfgChanged", 0);
    return 0;
}

} // namespace sim
