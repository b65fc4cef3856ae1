// The host's frame: a counted matrix of pixels of one of the four frame types, with a
// name, an acquisition time, optional sub-frames and the statistics the plug-in asks
// for.
//
// Reference counting is atomic; a new frame starts with one reference owned by its
// creator and deletes itself when the last one is dropped. Pixel data are not guarded:
// as with the real host, a frame that has been handed out is only read, and a writer
// (setData, scale, convertTo) must own the frame exclusively.
//
// Statistics of the whole frame (extremes, total, deviation, the last histogram) are
// kept between calls and dropped by every change of the pixels: each writer bumps a
// generation counter. A frame whose pixels were lent out writable through dataRef
// never uses the kept values again, since writes through the loan cannot be seen.
// The kept values are guarded by a mutex, so statistics may be asked from any thread.
#pragma once

#include "framestats.h"
#include "livecounter.h"
#include "visitframetype.h"

#include <ovdetector.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

// Bytes of one pixel of a frame type; 0 for an unknown type.
size_t frameTypeSize(int dataType);
bool isFrameType(int dataType);

class SimFrame final : public ov::IMpxFrame
{
public:
    // A zero-filled frame with one reference; null for a bad type or size.
    static SimFrame* create(unsigned width, unsigned height, int dataType);

    // ov::IRefCounted: both return the new count.
    int incRef() override;
    int decRef() override;
    int refCount() const { return m_refs.load(); }

    // ov::IMpxFrame
    using ov::IMpxFrame::frameName;
    using ov::IMpxFrame::subFrames;
    // Writes the frame to a file of the type's code (see simfiletypes.h); errors go to
    // the host log. 0 or -1.
    int saveToFile(ov::IFilePath* path, ov::IFileType* type, unsigned flags) override;
    uint64_t frameInfoSource() const override { return m_infoSource; }
    void setFrameInfoSource(uint64_t source) override { m_infoSource = source; }
    // bytes must be exactly pixelCount() times the pixel size of dataType(); else -1.
    int setData(const void* data, size_t bytes) override;
    // Resizes out to pixelCount() elements of the wanted type and converts (rounding
    // and clamping to the range of an integer type); -1 for a bad type or null out.
    int getData(ov::IByteBuff* out, int dataType) override;
    // A window on the pixels of the whole frame (chip 0 or -1); other chips: -1, since
    // the pixels of one chip of a multi-chip frame are not contiguous.
    int dataRef(ov::IRefByteBuff* out, int chip = 0) override;
    size_t pixelCount() const override { return size_t(m_width) * m_height; }
    unsigned width() const override { return m_width; }
    unsigned height() const override { return m_height; }
    uint8_t dataType() const override { return static_cast<uint8_t>(m_type); }
    int convertTo(int dataType) override;
    bool hasPixCfgInfo() const override { return m_mask && !m_mask->empty(); }
    int frameName(ov::IString* out) const override;
    int setFrameName(const char* name) override;
    // A deep copy (pixels, name, time, info source, mask and sub-frames) with one
    // reference.
    ov::IMpxFrame* clone() const override;
    // Multiplies every pixel by factor; a time > 0 becomes the frame's acquisition time.
    int scale(double factor, double time) override;
    double maxValue(const ov::Region* region) override;
    double minValue(const ov::Region* region) override;
    double minNonZero(const ov::Region* region) override;
    double regionMean(const ov::Region* region) override;
    double regionTotal(const ov::Region* region) override;
    double regionDeviation(const ov::Region* region) override;
    int pixelCountInRegion(const ov::Region* region) override;
    double acqTime() const override { return m_acqTime; }
    // Counts the pixels of the region into bins equal bins over [min, max] (max falls
    // into the last bin, values outside are not counted). With max <= min the range of
    // the region is used. Returns the number of pixels counted, or -1.
    int histogram(int bins, double* out, const ov::Region* region, double min, double max) override;
    // The value below which the fraction q of the region's pixels lies, read from a
    // histogram of bins bins over the region's range and interpolated inside the bin.
    double fractile(double q, int bins, const ov::Region* region) override;
    int subFrameCount() const override { return static_cast<int>(m_subFrames.size()); }
    // Adds the sub-frames without references (they live as long as this frame).
    int subFrames(ov::PtrList<ov::IMpxFrame*>* out) override;
    int setAcqTime(double seconds) override;
    int nonZeroCount(const ov::Region* region) override;

    // Host side.
    // Takes a reference on frame and keeps it as the next sub-frame.
    int addSubFrame(SimFrame* frame);
    SimFrame* subFrame(int index) const;
    // The writable pixels. Taking them drops the kept statistics; a writer that keeps
    // the pointer across a statistics call takes it again (or calls pixelsChanged)
    // after writing.
    void* rawData()
    {
        pixelsChanged();
        return m_data.data();
    }
    const void* rawData() const { return m_data.data(); }
    template <typename T>
    T* pixels()
    {
        pixelsChanged();
        return reinterpret_cast<T*>(m_data.data());
    }
    template <typename T>
    const T* pixels() const
    {
        return reinterpret_cast<const T*>(m_data.data());
    }
    double pixel(size_t index) const;
    // Drops the kept statistics: the pixels have been written behind the frame's back.
    void pixelsChanged() { m_generation.fetch_add(1, std::memory_order_acq_rel); }
    // The mask of the pixel configuration in effect when the frame was made (one byte a
    // pixel, 1 masked); empty when the frame has none.
    // The vector is shared by the frames of one measurement and never changed.
    void setMask(std::shared_ptr<const std::vector<uint8_t>> mask);
    const std::vector<uint8_t>& mask() const;
    // Memory held by the pixels of this frame and its sub-frames.
    size_t memoryBytes() const;
    std::string name() const { return m_name; }
    // Where the frame comes from: the frames of one measurement round, or of one file
    // read back, share an origin (0: none). serial() orders frames by their creation.
    // Saving frame by frame to one multi-frame file uses both to tell a save loop from
    // a new save.
    uint64_t origin() const { return m_origin.load(std::memory_order_acquire); }
    void setOrigin(uint64_t origin) { m_origin.store(origin, std::memory_order_release); }
    uint64_t serial() const { return m_serial; }
    // A fresh origin, never 0 and never given out before.
    static uint64_t newOrigin();

private:
    SimFrame(unsigned width, unsigned height, int dataType);
    ~SimFrame();

    using Spans = std::vector<framestats::Span>;
    // The pixels of region as spans of indices in increasing order; the whole frame is
    // one span.
    Spans spansOf(const ov::Region* region) const;
    // Whether the kept statistics may serve spans: the whole frame, never lent out.
    bool keepable(const Spans& spans) const;
    framestats::Extremes extremes(const Spans& spans) const;
    double spansTotal(const Spans& spans) const;
    // The histogram rule over [min, max] into out; returns the pixels counted.
    size_t histogramOf(const Spans& spans, const framestats::Extremes& ext, int bins, double min,
        double max, double* out) const;

    // Statistics of the whole frame for one generation of its pixels.
    struct Kept
    {
        uint64_t generation = 0;
        bool hasExtremes = false;
        framestats::Extremes extremes;
        bool hasTotal = false;
        double total = 0.0;
        bool hasDeviation = false;
        double deviation = 0.0;
        int histBins = 0;
        double histMin = 0.0;
        double histMax = 0.0;
        size_t histCounted = 0;
        std::vector<double> hist;
    };
    // Runs fn on the kept values of generation under the lock; false when the pixels
    // have changed since (then nothing is kept).
    template <class Fn>
    bool withKept(uint64_t generation, Fn fn) const;

    std::atomic<int> m_refs {1};
    unsigned m_width;
    unsigned m_height;
    int m_type;
    std::vector<unsigned char> m_data;
    std::string m_name;
    double m_acqTime = 0.0;
    uint64_t m_infoSource = 0;
    const uint64_t m_serial;
    std::atomic<uint64_t> m_origin {0};
    std::shared_ptr<const std::vector<uint8_t>> m_mask;
    std::vector<SimFrame*> m_subFrames;
    std::atomic<uint64_t> m_generation {1};
    std::atomic<bool> m_lent {false};
    mutable std::mutex m_keptMutex;
    mutable Kept m_kept;
    LiveToken<Counted::Frame> m_live;
};

// value rounded and clamped into the range of T (unchanged for double).
template <typename T>
T clampToType(double value);

} // namespace sim
