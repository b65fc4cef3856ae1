#include "simdata.h"

#include "simfiletypes.h"

namespace sim {

SimData* SimData::create(int kind)
{
    return new SimData(kind);
}

SimData* SimData::createFileEntry(SimFrame* frame)
{
    SimData* data = new SimData(ov::DataFrames);
    data->addFrame(frame);
    data->m_fileEntry = true;
    return data;
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

int SimData::saveToFile(ov::IFilePath* path, int fileType, int)
{
    // The flag marks a frame set; every data object of this host holds frames, so it
    // changes nothing. The file is written in the type's default form.
    if (!path) {
        logFileError(QStringLiteral("Saving data: no file name"));
        return -1;
    }
    std::vector<const SimFrame*> frames(m_frames.begin(), m_frames.end());
    return saveFramesToFile(frames, path->get(), fileType, 0);
}

ov::IMpxFrame* SimData::frameAt(unsigned index)
{
    if (m_fileEntry)
        return simFrameAt(0);
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
