// What one data-driven Timepix3 measurement has delivered, shared by its chunk objects:
// the hits of the recent chunks, the count of hits per pixel over the whole run, the
// hits dropped, and the frame settings (type and fade window) that every chunk object
// of the run reads and writes.
//
// The hits of old chunks are let go when they pass the memory limit; the count per pixel
// keeps the whole run. The frame of a chunk is the run's count less the hits of the
// chunks delivered after it (integral), or the hits of its fade window, counted back
// from its last hit through the chunks still held. Thread-safe.
#pragma once

#include <ovdetector.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace sim {

class Tpx3Run
{
public:
    using Hits = std::shared_ptr<const std::vector<ov::Tpx3Hit>>;

    Tpx3Run(unsigned width, unsigned height, size_t limitBytes);

    unsigned width() const { return m_width; }
    unsigned height() const { return m_height; }

    // Adds the hits of the next chunk, which ends at toaEnd (steps of 1.5625 ns); returns
    // the chunk's sequence number (0, 1, ...) and the hits delivered up to it.
    uint64_t addChunk(Hits hits, uint64_t toaEnd, uint64_t* delivered);
    void addLost(uint64_t hits) { m_lost.fetch_add(hits); }
    uint64_t lost() const { return m_lost.load(); }
    uint64_t deliveredHits() const;

    int frameType() const { return m_frameType.load(); }
    void setFrameType(int type) { m_frameType.store(type); }
    double fadeWindow() const { return m_fade.load(); }
    void setFadeWindow(double seconds) { m_fade.store(seconds); }

    // Hits per pixel of the frame of chunk seq (ending at toaEnd) into out (width x
    // height values), made as frameType and fadeWindow say now.
    void countHits(uint64_t seq, uint64_t toaEnd, uint32_t* out) const;
    // The hits of the chunks held, from the oldest, up to and including chunk seq.
    std::vector<Hits> heldHits(uint64_t seq) const;

private:
    struct Chunk
    {
        uint64_t seq;
        Hits hits;
        uint64_t toaEnd;
    };
    void count(const std::vector<ov::Tpx3Hit>& hits, uint32_t* out, int sign) const;

    const unsigned m_width;
    const unsigned m_height;
    const size_t m_limit;
    mutable std::mutex m_mutex;
    std::vector<uint32_t> m_total; // hits per pixel over the run
    std::deque<Chunk> m_chunks;
    size_t m_bytes = 0;
    uint64_t m_next = 0;
    uint64_t m_delivered = 0;
    std::atomic<uint64_t> m_lost {0};
    std::atomic<int> m_frameType {ov::Tpx3FrameIntegral};
    std::atomic<double> m_fade {1.0};
};

} // namespace sim
