#include "hostacquisition.h"

#include "simdevice.h"

#include <ovdetector.h>

#include <cstring>

namespace sim {

namespace {

// The empty output name: no files.
const char kNoOutput[] = "";

void putU32(unsigned char* at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<unsigned char>(value >> (8 * i));
}

void putU64(unsigned char* at, uint64_t value)
{
    for (int i = 0; i < 8; ++i)
        at[i] = static_cast<unsigned char>(value >> (8 * i));
}

} // namespace

std::array<unsigned char, acqoff::Size> makeFrameRecord(
    uint32_t count, double time, const char* outputName)
{
    std::array<unsigned char, acqoff::Size> record {};
    unsigned char* b = record.data();
    putU32(b + acqoff::TestPulses, 0);
    putU32(b + acqoff::Count, count);
    uint64_t bits = 0;
    std::memcpy(&bits, &time, sizeof bits);
    putU64(b + acqoff::Time, bits);
    putU32(b + acqoff::Mode, 0);
    putU32(b + acqoff::FileType, 1);
    putU32(b + acqoff::FileFlags, 0);
    putU32(b + acqoff::Spacing, 1);
    b[acqoff::Integral] = 0;
    b[acqoff::RefreshDacs] = 0;
    b[acqoff::RefreshPixCfg] = 0;
    putU64(b + acqoff::OutputFile, static_cast<uint64_t>(reinterpret_cast<uintptr_t>(outputName)));
    return record;
}

HostAcquisition::~HostAcquisition()
{
    abort();
    join();
}

bool HostAcquisition::start(std::shared_ptr<SimDevice> device, uint32_t count, double time)
{
    if (!isDone() || !device)
        return false;
    auto* detector = dynamic_cast<ov::IDevMpx*>(device->dev());
    if (!detector)
        return false;
    m_device = std::move(device);
    m_record = makeFrameRecord(count, time, kNoOutput);
    m_result = 0;
    m_running = true;
    m_thread = std::thread([this, detector]() {
        m_result = detector->doAdvancedAcquisition(m_record.data(), nullptr, nullptr);
        m_running = false;
    });
    return true;
}

bool HostAcquisition::isDone()
{
    if (m_running.load())
        return false;
    join();
    return true;
}

void HostAcquisition::abort()
{
    if (m_running.load() && m_device)
        m_device->dev()->abortOperation();
}

void HostAcquisition::join()
{
    if (m_thread.joinable())
        m_thread.join();
    m_device.reset();
}

} // namespace sim
