// The data objects of a data-driven Timepix3 measurement: one per delivered chunk, with
// the chunk's hits (Tpx3PixelData, ov::ITpx3Pixels) or clusters (Tpx3ClusterData,
// ov::ITpx3Clusters). A chunk's records never change; its frame (frameAt(0)) is made
// from the run when it is asked for, and again when the run's frame type or fade window
// has changed since.
#pragma once

#include "simframe.h"
#include "tpx3run.h"

#include <ovdetector.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace sim {

// What the two kinds of chunk share: references, the run, the frame.
class Tpx3Chunk
{
public:
    // delivered: hits of the run up to and including this chunk.
    Tpx3Chunk(std::shared_ptr<Tpx3Run> run, Tpx3Run::Hits hits, uint64_t seq, uint64_t toaEnd,
        uint64_t delivered, double seconds);
    ~Tpx3Chunk();
    Tpx3Chunk(const Tpx3Chunk&) = delete;
    Tpx3Chunk& operator=(const Tpx3Chunk&) = delete;

    const Tpx3Run& run() const { return *m_run; }
    Tpx3Run& run() { return *m_run; }
    const std::vector<ov::Tpx3Hit>& hits() const { return *m_hits; }
    uint64_t seq() const { return m_seq; }
    uint64_t lostBefore() const { return m_lost; }
    uint64_t delivered() const { return m_delivered; }
    // The frame as the run's settings say now; lives as long as the chunk.
    SimFrame* frame();
    // Writes the hits of the run held up to this chunk to the pixel file at path (its
    // format by the ending of the name); 0, or -1 with the reason in error.
    int saveHits(const std::string& path, std::string* error) const;
    size_t memoryBytes() const;

private:
    std::shared_ptr<Tpx3Run> m_run;
    Tpx3Run::Hits m_hits;
    const uint64_t m_seq;
    const uint64_t m_toaEnd;
    const uint64_t m_lost;
    const uint64_t m_delivered;
    const double m_seconds; // from the start of the run to the end of this chunk
    std::mutex m_mutex;
    // Frames made before a change of the settings stay valid while the chunk lives.
    std::vector<SimFrame*> m_frames;
    int m_frameType = -1;
    double m_fade = -1.0;
};

template <class Iface, int Kind>
class Tpx3ChunkData : public Iface
{
public:
    int incRef() override { return m_refs.fetch_add(1) + 1; }
    int decRef() override
    {
        const int left = m_refs.fetch_sub(1) - 1;
        if (left == 0)
            delete this;
        return left;
    }

    int dataKind() const override { return Kind; }
    int saveToFile(ov::IFilePath* path, int fileType, int flag) override;
    ov::IMpxFrame* frameAt(unsigned index) override
    {
        return index == 0 ? m_chunk.frame() : nullptr;
    }
    unsigned frameCount() const override { return 1; }
    uint64_t lostPixels() const override { return m_chunk.lostBefore(); }
    double fadeWindowSize() const override { return m_chunk.run().fadeWindow(); }
    int setFadeWindowSize(double seconds) override;
    int frameType() const override { return m_chunk.run().frameType(); }
    int setFrameType(int type) override;

    Tpx3Chunk& chunk() { return m_chunk; }
    const Tpx3Chunk& chunk() const { return m_chunk; }

protected:
    template <class... Args>
    explicit Tpx3ChunkData(Args&&... args) : m_chunk(std::forward<Args>(args)...)
    { }
    virtual ~Tpx3ChunkData() = default;

private:
    std::atomic<int> m_refs {1};
    Tpx3Chunk m_chunk;
};

class Tpx3PixelData final : public Tpx3ChunkData<ov::ITpx3Pixels, ov::DataTpx3Pixels>
{
public:
    // A chunk object with one reference.
    static Tpx3PixelData* create(std::shared_ptr<Tpx3Run> run, Tpx3Run::Hits hits, uint64_t seq,
        uint64_t toaEnd, uint64_t delivered, double seconds);

    size_t pixelCount() const override { return size_t(chunk().delivered()); }
    size_t chunkPixelCount() const override { return chunk().hits().size(); }
    const ov::Tpx3Hit* pixels() const override { return chunk().hits().data(); }

private:
    using Tpx3ChunkData::Tpx3ChunkData;
};

class Tpx3ClusterData final : public Tpx3ChunkData<ov::ITpx3Clusters, ov::DataTpx3Clusters>
{
public:
    using Clusters = std::shared_ptr<const std::vector<ov::Tpx3Cluster>>;
    static Tpx3ClusterData* create(std::shared_ptr<Tpx3Run> run, Tpx3Run::Hits hits,
        Clusters clusters, uint64_t seq, uint64_t toaEnd, uint64_t delivered, double seconds);

    size_t clusterCount() const override { return m_clusters->size(); }
    const ov::Tpx3Cluster* clusters() const override { return m_clusters->data(); }
    size_t pixelCount() const override { return size_t(chunk().delivered()); }
    size_t chunkPixelCount() const override { return chunk().hits().size(); }

private:
    template <class... Args>
    explicit Tpx3ClusterData(Clusters clusters, Args&&... args)
        : Tpx3ChunkData(std::forward<Args>(args)...), m_clusters(std::move(clusters))
    { }
    Clusters m_clusters;
};

} // namespace sim
