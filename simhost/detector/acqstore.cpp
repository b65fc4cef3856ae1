#include "acqstore.h"

namespace sim {

AcqStore::AcqStore(size_t limitBytes) : m_limit(limitBytes), m_origin(SimFrame::newOrigin()) { }

void AcqStore::setLimitBytes(size_t bytes)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_limit = bytes;
    trimLocked();
}

size_t AcqStore::limitBytes() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_limit;
}

void AcqStore::clear()
{
    std::deque<SimData*> old;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        old.swap(m_data);
        m_frames = 0;
        m_bytes = 0;
        m_dropped = 0;
        m_origin = SimFrame::newOrigin();
    }
    for (SimData* data : old)
        data->decRef();
}

int AcqStore::add(SimData* data)
{
    if (!data)
        return -1;
    data->incRef();
    std::lock_guard<std::mutex> lock(m_mutex);
    for (unsigned i = 0; i < data->frameCount(); ++i)
        data->simFrameAt(i)->setOrigin(m_origin);
    m_data.push_back(data);
    m_frames += static_cast<int>(data->frameCount());
    m_bytes += data->memoryBytes();
    trimLocked();
    return static_cast<int>(m_data.size()) - 1;
}

void AcqStore::trimLocked()
{
    while (m_bytes > m_limit && m_data.size() > 1) {
        SimData* oldest = m_data.front();
        m_data.pop_front();
        m_frames -= static_cast<int>(oldest->frameCount());
        m_bytes -= oldest->memoryBytes();
        ++m_dropped;
        // The store's reference only; whoever else holds the object keeps it alive.
        oldest->decRef();
    }
}

int AcqStore::dataCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(m_data.size());
}

int AcqStore::frameCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_frames;
}

size_t AcqStore::memoryBytes() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bytes;
}

int AcqStore::droppedCount() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_dropped;
}

SimData* AcqStore::dataRefInc(int index) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (index < 0 || static_cast<size_t>(index) >= m_data.size())
        return nullptr;
    SimData* data = m_data[static_cast<size_t>(index)];
    data->incRef();
    return data;
}

SimData* AcqStore::lastDataRefInc(int index) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const int back = index < 0 ? 0 : index;
    if (static_cast<size_t>(back) >= m_data.size())
        return nullptr;
    SimData* data = m_data[m_data.size() - 1 - static_cast<size_t>(back)];
    data->incRef();
    return data;
}

SimFrame* AcqStore::frameRefInc(int index) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (index < 0 || index >= m_frames)
        return nullptr;
    unsigned rest = static_cast<unsigned>(index);
    for (SimData* data : m_data) {
        if (rest < data->frameCount()) {
            SimFrame* frame = data->simFrameAt(rest);
            frame->incRef();
            return frame;
        }
        rest -= data->frameCount();
    }
    return nullptr;
}

SimFrame* AcqStore::lastFrameRefInc() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_data.rbegin(); it != m_data.rend(); ++it) {
        const unsigned n = (*it)->frameCount();
        if (n > 0) {
            SimFrame* frame = (*it)->simFrameAt(n - 1);
            frame->incRef();
            return frame;
        }
    }
    return nullptr;
}

} // namespace sim
