// Recording test doubles for the Timepix3 controller: counted pixel, cluster and frame
// data objects that a test owns, and a Timepix3 device that records what the controller
// hands to its measurement, threshold and configuration operations.
#pragma once

#include "fakedevice.h"
#include "pixcfgfakes.h"

#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace testdev {

// The counted part of a data object: the test owns the object and reads the count of
// references the controller and the panels hold on top of its own one.
template <class Iface>
class CountedData : public Iface
{
public:
    CountedData(int kind, ov::IMpxFrame* frame) : dataKindValue(kind), frameValue(frame) { }
    virtual ~CountedData()
    {
        if (frameValue)
            frameValue->decRef();
    }
    int incRef() override { return ++refs; }
    int decRef() override { return --refs; }
    int dataKind() const override { return dataKindValue; }
    int saveToFile(IFilePath*, int, int) override { return -1; }
    IMpxFrame* frameAt(unsigned index) override { return index == 0 ? frameValue : nullptr; }
    unsigned frameCount() const override { return frameValue ? 1u : 0u; }
    IMpxFrame* frame() const { return frameValue; }

    std::atomic<int> refs {1};

private:
    int dataKindValue;
    ov::IMpxFrame* frameValue;
};

// The window and frame-type part of pixel and cluster data.
template <class Iface>
class CountedTpx3Data : public CountedData<Iface>
{
public:
    CountedTpx3Data(int kind, ov::IMpxFrame* frame, size_t hitCount)
        : CountedData<Iface>(kind, frame), hits(hitCount)
    { }
    uint64_t lostPixels() const override { return 0; }
    double fadeWindowSize() const override { return fadeWindow; }
    int setFadeWindowSize(double seconds) override
    {
        fadeWindow = seconds;
        return 0;
    }
    int frameType() const override { return type; }
    int setFrameType(int t) override
    {
        type = t;
        return 0;
    }
    size_t pixelCount() const override { return hits; }
    size_t chunkPixelCount() const override { return hits; }

    size_t hits;
    double fadeWindow = 0.0;
    int type = ov::Tpx3FrameIntegral;
};

class FakePixels final : public CountedTpx3Data<ov::ITpx3Pixels>
{
public:
    FakePixels(ov::IMpxFrame* frame, size_t hitCount)
        : CountedTpx3Data(ov::DataTpx3Pixels, frame, hitCount)
    { }
    const Tpx3Hit* pixels() const override { return nullptr; }
};

class FakeClusters final : public CountedTpx3Data<ov::ITpx3Clusters>
{
public:
    FakeClusters(ov::IMpxFrame* frame, size_t hitCount)
        : CountedTpx3Data(ov::DataTpx3Clusters, frame, hitCount)
    { }
    size_t clusterCount() const override { return 0; }
    const Tpx3Cluster* clusters() const override { return nullptr; }
};

// Data of another kind (frames), with a frame of its own.
class FakeFrameData final : public CountedData<ov::IData>
{
public:
    explicit FakeFrameData(ov::IMpxFrame* frame) : CountedData(ov::DataFrames, frame) { }
};

// A Timepix3 with the recording pixel configuration; its measurement records the
// description it gets and runs the test's script on the measuring thread.
class Tpx3Device final : public RecordingDetector<NullDevTpx3>
{
public:
    Tpx3Device(unsigned width, unsigned height, unsigned chipTotal = 1)
        : RecordingDetector(width, height, chipTotal, 3)
    { }

    int deviceType() override { return 3; }
    bool chipPolarity(int chip) override
    {
        polarityChips.push_back(chip);
        return polarity;
    }
    uint8_t operationMode() override { return opMode; }
    int setOperationMode(uint8_t mode) override
    {
        opModeWrites.push_back(mode);
        opMode = mode;
        return 0;
    }

    int acqDataCount() override { return static_cast<int>(dataObjects.size()); }
    int acqFrameCount() override { return frameCount; }
    IData* acqDataRefInc(unsigned index) override
    {
        if (index >= dataObjects.size())
            return nullptr;
        dataObjects[index]->incRef();
        return dataObjects[index];
    }

    int doAdvancedAcquisition(const void* acq, const void* repeat, const void* tp) override
    {
        {
            std::lock_guard<std::mutex> lock(callsMutex);
            calls.push_back(AcqCall::of(acq, repeat, tp));
        }
        return script ? script(*this) : 0;
    }
    std::vector<AcqCall> recordedCalls() const
    {
        std::lock_guard<std::mutex> lock(callsMutex);
        return calls;
    }

    bool polarity = false;
    std::vector<int> polarityChips;
    uint8_t opMode = 0;
    std::vector<uint8_t> opModeWrites;
    std::vector<ov::IData*> dataObjects; // owned by the test
    int frameCount = 0;
    std::function<int(Tpx3Device&)> script; // set before a measurement starts

private:
    mutable std::mutex callsMutex;
    std::vector<AcqCall> calls;
};

} // namespace testdev
