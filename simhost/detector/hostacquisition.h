// A measurement that the host runs on a detector by itself, as another module of the
// host would, without the plug-in's measurement settings: a number of frames of one
// time, no output files, no repeats. The blocking doAdvancedAcquisition runs on a
// thread of its own, so the caller (the script runner on the GUI thread) keeps the
// event loop going and polls isDone().
#pragma once

#include "acqrecordreader.h"

#include <array>
#include <atomic>
#include <memory>
#include <thread>

namespace ov {
class IDevMpx;
}

namespace sim {

class SimDevice;

// The measurement record of count frames of time seconds (the layout is in
// acqrecordreader.h); outputName must stay alive as long as the record is used.
std::array<unsigned char, acqoff::Size> makeFrameRecord(
    uint32_t count, double time, const char* outputName);

class HostAcquisition
{
public:
    HostAcquisition() = default;
    // Aborts a measurement still running and waits for its thread.
    ~HostAcquisition();
    HostAcquisition(const HostAcquisition&) = delete;
    HostAcquisition& operator=(const HostAcquisition&) = delete;

    // Starts the measurement; false (nothing started) when one is still running or the
    // device is not a detector. The device is kept alive until the thread has ended.
    bool start(std::shared_ptr<SimDevice> device, uint32_t count, double time);
    // True when no measurement runs (the thread has returned); the thread is then
    // joined.
    bool isDone();
    // The result of the last measurement (0 or a negative code), valid once done.
    int result() const { return m_result.load(); }
    void abort();

private:
    void join();

    std::shared_ptr<SimDevice> m_device;
    std::array<unsigned char, acqoff::Size> m_record {};
    std::thread m_thread;
    std::atomic<bool> m_running {false};
    std::atomic<int> m_result {0};
};

} // namespace sim
