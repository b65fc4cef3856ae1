// The host's data object: a counted set of frames that one acquisition produced.
#pragma once

#include "livecounter.h"
#include "simframe.h"

#include <ovdetector.h>

#include <atomic>
#include <vector>

namespace sim {

class SimData final : public ov::IData
{
public:
    // An empty data object of a kind (ov::DataKind) with one reference.
    static SimData* create(int kind = ov::DataFrames);
    // The data of one position in a file, as loadData gives it: it holds that one frame
    // and answers frameAt with it whatever the index. The plug-in's frame store asks a
    // loaded entry by its running number over all loaded files, which this object cannot
    // know; the entry itself already names the frame.
    static SimData* createFileEntry(SimFrame* frame);

    int incRef() override;
    int decRef() override;
    int refCount() const { return m_refs.load(); }

    // ov::IData
    int dataKind() const override { return m_kind; }
    // Writes all frames to a file of the type (see simfiletypes.h); errors go to the
    // host log. 0 or -1.
    int saveToFile(ov::IFilePath* path, int fileType, int flag) override;
    // The frame without a new reference (it lives as long as the data object); null
    // when out of range.
    ov::IMpxFrame* frameAt(unsigned index) override;
    unsigned frameCount() const override { return static_cast<unsigned>(m_frames.size()); }

    // Host side: takes a reference on frame. Only while the object is not yet shared.
    void addFrame(SimFrame* frame);
    SimFrame* simFrameAt(unsigned index) const;
    size_t memoryBytes() const;

private:
    explicit SimData(int kind) : m_kind(kind) { }
    ~SimData();

    std::atomic<int> m_refs {1};
    const int m_kind;
    bool m_fileEntry = false;
    std::vector<SimFrame*> m_frames;
    LiveToken<Counted::Data> m_live;
};

} // namespace sim
