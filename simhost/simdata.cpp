#include "simdata.h"

namespace sim {

SimData* SimData::create(int kind)
{
    return new SimData(kind);
}

SimData::~SimData()
{
    for (SimFrame* frame : m_frames)
        frame->decRef();
}

int SimData::incRef()
{
    return m_refs.fetch_add(1, std::memory_order_relaxed) + 1;
}

int SimData::decRef()
{
    const int left = m_refs.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0)
        delete this;
    return left;
}

int SimData::saveToFile(ov::IFilePath*, int, int)
{
    return -1;
}

ov::IMpxFrame* SimData::frameAt(unsigned index)
{
    return simFrameAt(index);
}

void SimData::addFrame(SimFrame* frame)
{
    if (!frame)
        return;
    frame->incRef();
    m_frames.push_back(frame);
}

SimFrame* SimData::simFrameAt(unsigned index) const
{
    return index < m_frames.size() ? m_frames[index] : nullptr;
}

size_t SimData::memoryBytes() const
{
    size_t bytes = 0;
    for (const SimFrame* frame : m_frames)
        bytes += frame->memoryBytes();
    return bytes;
}

} // namespace sim
