// The store of the last measurement: its data objects and their frames, within a
// memory limit. Thread-safe; every ...RefInc hands the caller one reference.
//
// Frames are numbered across the data objects in the order they were added, 0 being
// the oldest still held. When a new data object would take the store over its limit,
// the oldest data objects (with their frames) are dropped first; the newest one is
// always kept, even when it alone is over the limit.
#pragma once

#include "simdata.h"

#include <cstddef>
#include <deque>
#include <mutex>

namespace sim {

class AcqStore
{
public:
    explicit AcqStore(size_t limitBytes = size_t(4096) << 20);
    ~AcqStore() { clear(); }
    AcqStore(const AcqStore&) = delete;
    AcqStore& operator=(const AcqStore&) = delete;

    void setLimitBytes(size_t bytes);
    size_t limitBytes() const;

    // Empties the store; the frames added from now on get a new origin.
    void clear();
    // Takes a reference on data and marks its frames with the store's origin; returns the index of
    // the data object in the store.
    int add(SimData* data);

    int dataCount() const;
    int frameCount() const;
    size_t memoryBytes() const;
    // How many data objects were dropped for the limit since the last clear().
    int droppedCount() const;

    SimData* dataRefInc(int index) const;
    // Index counted back from the newest: 0 (and any negative index) is the newest.
    SimData* lastDataRefInc(int index) const;
    SimFrame* frameRefInc(int index) const;
    SimFrame* lastFrameRefInc() const;

private:
    void trimLocked();

    mutable std::mutex m_mutex;
    size_t m_limit;
    std::deque<SimData*> m_data;
    int m_frames = 0;
    size_t m_bytes = 0;
    int m_dropped = 0;
    // The origin given to the frames added until the next clear().
    uint64_t m_origin;
};

} // namespace sim
