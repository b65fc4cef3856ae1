#include "tpx3run.h"

#include "hitsource.h"

#include <algorithm>
#include <cmath>

namespace sim {

Tpx3Run::Tpx3Run(unsigned width, unsigned height, size_t limitBytes)
    : m_width(width), m_height(height), m_limit(limitBytes), m_total(size_t(width) * height, 0)
{ }

uint64_t Tpx3Run::addChunk(Hits hits, uint64_t toaEnd, uint64_t* delivered)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    count(*hits, m_total.data(), 1);
    const uint64_t seq = m_next++;
    m_delivered += hits->size();
    *delivered = m_delivered;
    m_bytes += hits->size() * sizeof(ov::Tpx3Hit);
    m_chunks.push_back({seq, std::move(hits), toaEnd});
    // The newest chunk stays, whatever its size.
    while (m_chunks.size() > 1 && m_bytes > m_limit) {
        m_bytes -= m_chunks.front().hits->size() * sizeof(ov::Tpx3Hit);
        m_chunks.pop_front();
    }
    return seq;
}

uint64_t Tpx3Run::deliveredHits() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_delivered;
}

void Tpx3Run::count(const std::vector<ov::Tpx3Hit>& hits, uint32_t* out, int sign) const
{
    for (const ov::Tpx3Hit& h : hits) {
        if (h.x < m_width && h.y < m_height)
            out[size_t(h.y) * m_width + h.x] += uint32_t(sign);
    }
}

void Tpx3Run::countHits(uint64_t seq, uint64_t toaEnd, uint32_t* out) const
{
    const size_t n = size_t(m_width) * m_height;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_frameType.load() == ov::Tpx3FrameIntegral) {
        std::copy(m_total.begin(), m_total.end(), out);
        for (auto it = m_chunks.rbegin(); it != m_chunks.rend() && it->seq > seq; ++it)
            count(*it->hits, out, -1);
        return;
    }
    std::fill(out, out + n, 0u);
    const double steps = std::max(0.0, m_fade.load()) / Tpx3HitSource::kToaStepSeconds;
    const uint64_t span = steps >= double(toaEnd) ? toaEnd : uint64_t(steps);
    const uint64_t from = toaEnd - span;
    for (auto it = m_chunks.rbegin(); it != m_chunks.rend(); ++it) {
        if (it->seq > seq)
            continue;
        const std::vector<ov::Tpx3Hit>& hits = *it->hits;
        // Hits are in order of arrival: the window's start is found by bisection.
        auto first = std::lower_bound(hits.begin(), hits.end(), from,
            [](const ov::Tpx3Hit& h, uint64_t t) { return h.toa < t; });
        for (auto h = first; h != hits.end() && h->toa < toaEnd; ++h) {
            if (h->x < m_width && h->y < m_height)
                ++out[size_t(h->y) * m_width + h->x];
        }
        if (first != hits.begin())
            break;
    }
}

std::vector<Tpx3Run::Hits> Tpx3Run::heldHits(uint64_t seq) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Hits> out;
    for (const Chunk& c : m_chunks) {
        if (c.seq <= seq)
            out.push_back(c.hits);
    }
    return out;
}

} // namespace sim
