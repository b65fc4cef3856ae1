#include "timepix3device.h"

#include "hitsource.h"
#include "pulsehits.h"
#include "tpx3data.h"
#include "tpx3hitfile.h"
#include "tpx3hitio.h"

#include <QString>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <thread>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace sim {

namespace {

constexpr double kStepsPerSecond = 1.0 / Tpx3HitSource::kToaStepSeconds;
constexpr double kDefaultHitRate = 2e6;
constexpr double kMaxHitRate = 1.2e8;
constexpr size_t kMb = size_t(1) << 20;

// A chunk's hits (megabytes at high rates) may sit on huge pages: a few page faults
// where there would be thousands.
void adviseHugePages(const void* data, size_t bytes)
{
#ifdef __linux__
    constexpr uintptr_t kHuge = uintptr_t(2) << 20;
    const uintptr_t begin = (uintptr_t(data) + kHuge - 1) & ~(kHuge - 1);
    const uintptr_t end = (uintptr_t(data) + bytes) & ~(kHuge - 1);
    if (end > begin)
        madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
    (void)data;
    (void)bytes;
#endif
}

} // namespace

Timepix3Device::Timepix3Device(const DeviceDesc& desc) : MpxDevice<ov::IDevTpx3>(desc)
{
    m_timeWalk.resize(chipCount());
    for (TimeWalk& w : m_timeWalk) {
        w.c = 12.0;
        w.d = 0.2;
        w.max = 200.0;
    }
    buildTpx3Params();
}

Timepix3Device::~Timepix3Device()
{
    // A measurement still running ends before the store and the readout go.
    endMeasurement();
    clearData();
}

void Timepix3Device::buildTpx3Params()
{
    SimParamMgr& p = params();
    m_hitRate = &p.add("HitRate",
        "Mean rate of photon hits over the device in data-driven readout, hits per second "
        "[1000..120000000]",
        ov::ParamDouble);
    m_hitRate->setRange(1000.0, kMaxHitRate).assign(kDefaultHitRate);
    m_dataOutput = &p.add("DataOutput",
        "What the data objects of a data-driven measurement hold [pixels|clusters]", ov::ParamU8);
    m_dataOutput->setAliases({{"pixels", 0}, {"clusters", 1}});
    m_readoutBuffer = &p.add("ReadoutBuffer",
        "Size of the readout buffer in MB; when the reader falls behind and it is full, "
        "hits are lost [1..4096]",
        ov::ParamU16);
    m_readoutBuffer->setRange(1, 4096).assign(256);
}

void Timepix3Device::setHitRate(double hitsPerSecond)
{
    m_hitRate->assign(std::clamp(hitsPerSecond, 1000.0, kMaxHitRate));
}

size_t Timepix3Device::readoutBufferChunks() const
{
    const double rate = std::max(1000.0, m_hitRate->asDouble());
    const double chunkBytes = rate * kChunkSeconds * sizeof(ov::Tpx3Hit);
    const double bytes = double(m_readoutBuffer->asInt()) * double(kMb);
    return std::max<size_t>(1, size_t(bytes / std::max(1.0, chunkBytes)));
}

Tpx3HitSource Timepix3Device::hitSource(uint64_t run)
{
    return Tpx3HitSource(currentPhysics(), m_hitRate->asDouble(), seedOf(serial(), run));
}

void Timepix3Device::setReadoutThreads(unsigned count)
{
    m_readoutThreads.store(count);
}

unsigned Timepix3Device::readoutThreads() const
{
    const unsigned set = m_readoutThreads.load();
    if (set > 0)
        return set;
    return std::clamp(std::thread::hardware_concurrency(), 1u, kMaxReadoutThreads);
}

void Timepix3Device::changed()
{
    raise("Tpx3StgChanged", 0);
}

std::shared_ptr<Tpx3Run> Timepix3Device::lastRun() const
{
    std::lock_guard<std::mutex> lock(m_dataMutex);
    return m_run;
}

uint64_t Timepix3Device::lostPixels()
{
    const std::shared_ptr<Tpx3Run> run = lastRun();
    return run ? run->lost() : 0;
}

// ---------------------------------------------------------------------------------
// The store of a data-driven run

int Timepix3Device::addData(ov::ITpx3Data* data, size_t bytes)
{
    std::lock_guard<std::mutex> lock(m_dataMutex);
    m_data.emplace_back(data, bytes);
    m_dataBytes += bytes;
    const size_t limit = size_t(std::max(0.0, frameMemoryMb()) * double(kMb));
    while (m_data.size() > 1 && m_dataBytes > limit) {
        m_dataBytes -= m_data.front().second;
        m_data.front().first->decRef();
        m_data.pop_front();
    }
    return int(m_data.size()) - 1;
}

void Timepix3Device::clearData()
{
    std::lock_guard<std::mutex> lock(m_dataMutex);
    for (auto& d : m_data)
        d.first->decRef();
    m_data.clear();
    m_dataBytes = 0;
}

int Timepix3Device::acqDataCount()
{
    if (!lastRequest().acq.pixels)
        return MpxCore::acqDataCount();
    std::lock_guard<std::mutex> lock(m_dataMutex);
    return int(m_data.size());
}

int Timepix3Device::acqFrameCount()
{
    // The frames of a data-driven run are made from its data objects.
    return lastRequest().acq.pixels ? 0 : MpxCore::acqFrameCount();
}

ov::IData* Timepix3Device::acqDataRefInc(unsigned index)
{
    if (!lastRequest().acq.pixels)
        return MpxCore::acqDataRefInc(index);
    std::lock_guard<std::mutex> lock(m_dataMutex);
    if (index >= m_data.size())
        return nullptr;
    m_data[index].first->incRef();
    return m_data[index].first;
}

ov::IData* Timepix3Device::lastAcqDataRefInc(int index)
{
    if (!lastRequest().acq.pixels)
        return MpxCore::lastAcqDataRefInc(index);
    std::lock_guard<std::mutex> lock(m_dataMutex);
    const size_t back = size_t(std::max(0, index));
    if (back >= m_data.size())
        return nullptr;
    ov::ITpx3Data* d = m_data[m_data.size() - 1 - back].first;
    d->incRef();
    return d;
}

ov::IMpxFrame* Timepix3Device::lastAcqFrameRefInc()
{
    return lastRequest().acq.pixels ? nullptr : MpxCore::lastAcqFrameRefInc();
}

ov::IMpxFrame* Timepix3Device::acqFrameRefInc(unsigned index)
{
    return lastRequest().acq.pixels ? nullptr : MpxCore::acqFrameRefInc(index);
}

uint32_t Timepix3Device::supportedAcqTypes()
{
    return ov::AcqTypeTestPulses;
}

// ---------------------------------------------------------------------------------
// Data-driven readout

// The chip's side of a data-driven round: producer threads that make the hits of the
// chunks, each taking the next chunk not yet taken, and put them into the readout buffer
// in order when their time has come, or drop them when the buffer is full. A chunk's
// hits depend only on its span of time, so the run is the same with any number of
// producers.
class Timepix3Device::Readout
{
public:
    struct Chunk
    {
        std::shared_ptr<std::vector<ov::Tpx3Hit>> hits;
        std::shared_ptr<std::vector<ov::Tpx3Cluster>> clusters;
        uint64_t toaEnd = 0;
    };

    // pulses: the test pulses of the run, or null.
    Readout(Timepix3Device& dev, SeriesTarget& target, Tpx3Run& run, const Tpx3HitSource& source,
        const Tpx3PulseHits* pulses, double seconds, size_t capacity, bool calibrated,
        bool clusters, unsigned producers)
        : m_dev(dev),
          m_target(target),
          m_run(run),
          m_source(source),
          m_pulses(pulses),
          m_total(uint64_t(std::max(0.0, seconds) * kStepsPerSecond)),
          m_step(uint64_t(kChunkSeconds * kStepsPerSecond)),
          m_chunks((m_total + m_step - 1) / m_step),
          m_capacity(capacity),
          m_calibrated(calibrated),
          m_clusters(clusters),
          m_start(Clock::now())
    {
        // The count is set before the first producer starts; the producers count it down.
        const unsigned count = std::max(1u, producers);
        m_live = count;
        for (unsigned i = 0; i < count; ++i)
            m_threads.emplace_back([this] { produce(); });
    }

    ~Readout()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        m_cv.notify_all();
        for (std::thread& t : m_threads)
            t.join();
    }

    // The next chunk; false when the round is over (all taken, or aborted).
    bool take(Chunk* out)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cv.wait(lock, [this] { return !m_buffer.empty() || m_live == 0; });
        if (m_buffer.empty())
            return false;
        *out = std::move(m_buffer.front());
        m_buffer.pop_front();
        return true;
    }

private:
    using Clock = std::chrono::steady_clock;

    void produce()
    {
        bool cut = false; // the round ends before all its chunks
        for (;;) {
            const uint64_t index = m_nextToMake.fetch_add(1);
            if (index >= m_chunks)
                break;
            cut = true;
            if (m_target.aborted() || stopped())
                break;
            const uint64_t from = index * m_step;
            const uint64_t to = std::min(m_total, from + m_step);
            Chunk c;
            c.hits = std::make_shared<std::vector<ov::Tpx3Hit>>();
            c.hits->reserve(m_source.expectedHits(from, to));
            adviseHugePages(c.hits->data(), c.hits->capacity() * sizeof(ov::Tpx3Hit));
            if (m_clusters)
                c.clusters = std::make_shared<std::vector<ov::Tpx3Cluster>>();
            m_source.generate(from, to, m_calibrated, *c.hits, c.clusters.get());
            if (m_pulses)
                m_pulses->addTo(from, to, *c.hits);
            c.toaEnd = c.hits->empty() ? to : std::max(to, c.hits->back().toa + 1);
            // The chunk is read out when its time is over.
            const double due = double(to) / kStepsPerSecond;
            const double wait = due - std::chrono::duration<double>(Clock::now() - m_start).count();
            if (wait > 0.0 && !waitAbortable(m_target, wait))
                break;
            if (!publish(index, std::move(c)))
                break;
            cut = false;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        --m_live;
        // The chunks after one not published can never be: the round ends there.
        if (cut)
            m_ended = true;
        m_cv.notify_all();
    }

    // Puts chunk index into the buffer after those before it (or drops it when the
    // buffer is full); false when the round has ended meanwhile.
    bool publish(uint64_t index, Chunk c)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cv.wait(lock, [&] { return m_nextToPublish == index || m_ended || m_stop; });
        if (m_nextToPublish != index)
            return false;
        ++m_nextToPublish;
        m_dev.m_generated.fetch_add(c.hits->size());
        if (m_buffer.size() >= m_capacity)
            m_run.addLost(c.hits->size());
        else
            m_buffer.push_back(std::move(c));
        m_cv.notify_all();
        return true;
    }

    bool stopped()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_stop || m_ended;
    }

    Timepix3Device& m_dev;
    SeriesTarget& m_target;
    Tpx3Run& m_run;
    const Tpx3HitSource& m_source;
    const Tpx3PulseHits* const m_pulses;
    const uint64_t m_total;
    const uint64_t m_step;
    const uint64_t m_chunks;
    const size_t m_capacity;
    const bool m_calibrated;
    const bool m_clusters;
    const Clock::time_point m_start;
    std::atomic<uint64_t> m_nextToMake {0};
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<Chunk> m_buffer;
    uint64_t m_nextToPublish = 0;
    unsigned m_live = 0;
    bool m_ended = false;
    bool m_stop = false;
    std::vector<std::thread> m_threads; // last: they start when everything else is ready
};

int Timepix3Device::runPixelRound(
    SeriesTarget& target, const AcqRecord& acq, const TestPulseRecord* tp, int)
{
    clearData();
    const size_t limit = size_t(std::max(0.0, frameMemoryMb()) * double(kMb));
    auto run = std::make_shared<Tpx3Run>(unsigned(width()), unsigned(height()), limit);
    {
        std::lock_guard<std::mutex> lock(m_dataMutex);
        m_run = run;
    }
    m_generated.store(0);
    const bool clusters = m_dataOutput->asInt() == 1;
    const uint64_t runNumber = m_runSequence.fetch_add(1);
    const Tpx3HitSource source = hitSource(runNumber);
    // "Pixels & Test pulses": the pulses' hits join the particles'.
    std::unique_ptr<Tpx3PulseHits> pulses;
    if (acq.testPulses && tp)
        pulses = std::make_unique<Tpx3PulseHits>(
            currentPhysics(), *tp, seedOf(serial() ^ 0x7e57u, runNumber));
    const bool calibrated = isDataCalibrationEnabled();
    int result = AcqOk;
    {
        Readout readout(*this, target, *run, source, pulses.get(), acq.time, readoutBufferChunks(),
            calibrated, clusters, readoutThreads());
        Readout::Chunk c;
        while (readout.take(&c)) {
            uint64_t delivered = 0;
            const uint64_t seq = run->addChunk(c.hits, c.toaEnd, &delivered);
            const double seconds = double(c.toaEnd) / kStepsPerSecond;
            const size_t bytes = c.hits->size() * sizeof(ov::Tpx3Hit)
                + (c.clusters ? c.clusters->size() * sizeof(ov::Tpx3Cluster) : 0);
            ov::ITpx3Data* data = clusters ? static_cast<ov::ITpx3Data*>(Tpx3ClusterData::create(
                                      run, c.hits, c.clusters, seq, c.toaEnd, delivered, seconds))
                                           : static_cast<ov::ITpx3Data*>(Tpx3PixelData::create(
                                               run, c.hits, seq, c.toaEnd, delivered, seconds));
            const int index = addData(data, bytes);
            target.post("AcqNewData", long(index));
        }
    }
    if (target.aborted())
        result = AcqErrAborted;
    if (run->lost() > 0)
        log(ov::LogWarning,
            QStringLiteral("Data-driven measurement: %1 of %2 hits lost; the reader fell behind")
                .arg(run->lost())
                .arg(m_generated.load()));
    if (result == AcqOk && !acq.outputFile.empty()) {
        Tpx3HitFormat format;
        if (!tpx3HitFormatFromName(acq.outputFile, &format)) {
            log(ov::LogError,
                QStringLiteral("Data-driven measurement: %1 is not a pixel file (t3p, t3pa, "
                               "t3r, prd); nothing written")
                    .arg(QString::fromStdString(acq.outputFile)));
            result = AcqErrOutputFile;
        } else {
            std::vector<ov::Tpx3Hit> all;
            for (const Tpx3Run::Hits& h : run->heldHits(UINT64_MAX))
                all.insert(all.end(), h->begin(), h->end());
            if (all.size() < run->deliveredHits())
                log(ov::LogWarning,
                    QStringLiteral("Data-driven measurement: the file holds the last %1 of "
                                   "%2 hits; the frame memory let the others go")
                        .arg(all.size())
                        .arg(run->deliveredHits()));
            std::string error;
            if (saveTpx3HitFile(acq.outputFile, all.data(), all.size(), unsigned(width()),
                    unsigned(height()), &error)
                != 0) {
                log(ov::LogError, QString::fromStdString(error));
                result = AcqErrOutputFile;
            }
        }
    }
    target.post("AcqFinished", 1);
    return result;
}

int Timepix3Device::forcedPixelMode() const
{
    std::lock_guard<std::mutex> lock(m_tpx3Mutex);
    switch (m_opMode) {
    case 1: // ToA
        return 3;
    case 2: // Event + iToT
        return 0;
    default: // ToA + ToT, Only ToT
        return 1;
    }
}

// ---------------------------------------------------------------------------------
// Settings

uint8_t Timepix3Device::operationMode()
{
    std::lock_guard<std::mutex> lock(m_tpx3Mutex);
    return m_opMode;
}

int Timepix3Device::setOperationMode(uint8_t mode)
{
    if (mode >= kOperationModes) {
        log(ov::LogWarning,
            QStringLiteral("Operation mode %1 refused: the modes go from 0 to %2")
                .arg(mode)
                .arg(kOperationModes - 1));
        return -1;
    }
    {
        std::lock_guard<std::mutex> lock(m_tpx3Mutex);
        m_opMode = mode;
    }
    settingsChanged();
    changed();
    return 0;
}

uint8_t Timepix3Device::grayCounter()
{
    std::lock_guard<std::mutex> lock(m_tpx3Mutex);
    return m_gray;
}

int Timepix3Device::setGrayCounter(uint8_t index)
{
    if (index >= kGrayCounterSettings)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_tpx3Mutex);
        m_gray = index;
    }
    changed();
    return 0;
}

uint8_t Timepix3Device::vco()
{
    std::lock_guard<std::mutex> lock(m_tpx3Mutex);
    return m_vco;
}

int Timepix3Device::setVco(uint8_t index)
{
    if (index >= kVcoSettings)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_tpx3Mutex);
        m_vco = index;
    }
    changed();
    return 0;
}

bool Timepix3Device::convertToa()
{
    std::lock_guard<std::mutex> lock(m_tpx3Mutex);
    return m_convertToa;
}

int Timepix3Device::setConvertToa(bool on)
{
    {
        std::lock_guard<std::mutex> lock(m_tpx3Mutex);
        m_convertToa = on;
    }
    changed();
    return 0;
}

double Timepix3Device::temperature()
{
    // The chip warms while it measures.
    return 38.5 + (acquisitionRunning() ? 6.0 : 0.0) + 0.1 * double(serial() % 7);
}

int Timepix3Device::setChipCalibration(int chip, double a, double b)
{
    double w = 0.0, t = 0.0;
    if (MpxCore::chipCalibration(chip, nullptr, nullptr, &w, &t) != 0)
        return -1;
    const int rc = MpxCore::setChipCalibration(chip, 1, a, b, w, t);
    if (rc == 0)
        changed();
    return rc;
}

int Timepix3Device::chipCalibration(int chip, double* a, double* b)
{
    return MpxCore::chipCalibration(chip, a, b, nullptr, nullptr);
}

int Timepix3Device::testPulseLimits(
    uint32_t* maxCount, double* maxPeriod, uint8_t* maxPhase, uint32_t* maxCharge)
{
    if (maxCount)
        *maxCount = kMaxPulseCount;
    if (maxPeriod)
        *maxPeriod = kMaxPulsePeriod;
    if (maxPhase)
        *maxPhase = kMaxPulsePhase;
    if (maxCharge)
        *maxCharge = kMaxPulseCharge;
    return 0;
}

int Timepix3Device::timeWalk(int chip, double* c, double* d, double* e, double* f, double* max)
{
    if (chip < 0 || size_t(chip) >= m_timeWalk.size())
        return -1;
    std::lock_guard<std::mutex> lock(m_tpx3Mutex);
    const TimeWalk& w = m_timeWalk[size_t(chip)];
    if (c)
        *c = w.c;
    if (d)
        *d = w.d;
    if (e)
        *e = w.e;
    if (f)
        *f = w.f;
    if (max)
        *max = w.max;
    return 0;
}

int Timepix3Device::setTimeWalk(int chip, double c, double d, double e, double f, double max)
{
    if (chip < 0 || size_t(chip) >= m_timeWalk.size())
        return -1;
    for (double v : {c, d, e, f, max}) {
        if (!std::isfinite(v))
            return -1;
    }
    {
        std::lock_guard<std::mutex> lock(m_tpx3Mutex);
        m_timeWalk[size_t(chip)] = {c, d, e, f, max};
    }
    changed();
    return 0;
}

} // namespace sim
