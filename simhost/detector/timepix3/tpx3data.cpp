#include "tpx3data.h"

#include "simfiletypes.h"
#include "tpx3hitfile.h"
#include "tpx3hitio.h"

#include <QString>

#include <string>

namespace sim {

Tpx3Chunk::Tpx3Chunk(std::shared_ptr<Tpx3Run> run, Tpx3Run::Hits hits, uint64_t seq,
    uint64_t toaEnd, uint64_t delivered, double seconds)
    : m_run(std::move(run)),
      m_hits(std::move(hits)),
      m_seq(seq),
      m_toaEnd(toaEnd),
      m_lost(m_run->lost()),
      m_delivered(delivered),
      m_seconds(seconds)
{ }

Tpx3Chunk::~Tpx3Chunk()
{
    for (SimFrame* f : m_frames)
        f->decRef();
}

SimFrame* Tpx3Chunk::frame()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const int type = m_run->frameType();
    const double fade = m_run->fadeWindow();
    if (!m_frames.empty() && type == m_frameType && fade == m_fade)
        return m_frames.back();
    SimFrame* f = SimFrame::create(m_run->width(), m_run->height(), ov::FrameUInt32);
    m_run->countHits(m_seq, m_toaEnd, f->pixels<uint32_t>());
    const bool integral = type == ov::Tpx3FrameIntegral;
    f->setAcqTime(integral ? m_seconds : std::min(fade, m_seconds));
    const std::string name = (integral ? "Pixels " : "Pixels, fading, ") + std::to_string(m_seq);
    f->setFrameName(name.c_str());
    m_frames.push_back(f);
    m_frameType = type;
    m_fade = fade;
    return f;
}

int Tpx3Chunk::saveHits(const std::string& path, std::string* error) const
{
    std::vector<ov::Tpx3Hit> all;
    for (const Tpx3Run::Hits& h : m_run->heldHits(m_seq))
        all.insert(all.end(), h->begin(), h->end());
    if (all.size() < m_delivered)
        logFileLine(ov::LogWarning,
            QStringLiteral("Saving %1: the file holds the last %2 of %3 hits; the frame memory "
                           "let the others go")
                .arg(QString::fromStdString(path))
                .arg(all.size())
                .arg(m_delivered));
    return saveTpx3HitFile(path, all.data(), all.size(), m_run->width(), m_run->height(), error);
}

size_t Tpx3Chunk::memoryBytes() const
{
    return m_hits->size() * sizeof(ov::Tpx3Hit);
}

template <class Iface, int Kind>
int Tpx3ChunkData<Iface, Kind>::saveToFile(ov::IFilePath* path, int fileType, int)
{
    if (!path || !path->get() || !*path->get()) {
        logFileError(QStringLiteral("Saving data: no file name"));
        return -1;
    }
    const std::string name = path->get();
    Tpx3HitFormat format;
    if (tpx3HitFormatFromName(name, &format)) {
        // A pixel file takes the run's hits up to this chunk, as far as they are held.
        std::string error;
        if (m_chunk.saveHits(name, &error) != 0) {
            logFileError(QString::fromStdString(error));
            return -1;
        }
        return 0;
    }
    const std::vector<const SimFrame*> frames {m_chunk.frame()};
    return saveFramesToFile(frames, name.c_str(), fileType, 0);
}

template <class Iface, int Kind>
int Tpx3ChunkData<Iface, Kind>::setFadeWindowSize(double seconds)
{
    if (!(seconds > 0.0) || seconds > 1e6)
        return -1;
    m_chunk.run().setFadeWindow(seconds);
    return 0;
}

template <class Iface, int Kind>
int Tpx3ChunkData<Iface, Kind>::setFrameType(int type)
{
    if (type != ov::Tpx3FrameIntegral && type != ov::Tpx3FrameFade)
        return -1;
    m_chunk.run().setFrameType(type);
    return 0;
}

template class Tpx3ChunkData<ov::ITpx3Pixels, ov::DataTpx3Pixels>;
template class Tpx3ChunkData<ov::ITpx3Clusters, ov::DataTpx3Clusters>;

Tpx3PixelData* Tpx3PixelData::create(std::shared_ptr<Tpx3Run> run, Tpx3Run::Hits hits, uint64_t seq,
    uint64_t toaEnd, uint64_t delivered, double seconds)
{
    return new Tpx3PixelData(std::move(run), std::move(hits), seq, toaEnd, delivered, seconds);
}

Tpx3ClusterData* Tpx3ClusterData::create(std::shared_ptr<Tpx3Run> run, Tpx3Run::Hits hits,
    Clusters clusters, uint64_t seq, uint64_t toaEnd, uint64_t delivered, double seconds)
{
    return new Tpx3ClusterData(
        std::move(clusters), std::move(run), std::move(hits), seq, toaEnd, delivered, seconds);
}

} // namespace sim
