// A scripted Timepix-like device for controller tests: it records what the controller
// hands to doAdvancedAcquisition, byte by byte, and fires the events a test asks for
// on the acquisition thread. Frames are counted objects with a live count of their own.
#pragma once

#include "nulldevice.h"

#include <QString>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace testdev {

class FakeFrame final : public NullMpxFrame
{
public:
    static std::atomic<int>& live()
    {
        static std::atomic<int> count {0};
        return count;
    }

    // A new frame with one reference for the caller.
    static FakeFrame* create(unsigned width, unsigned height, uint32_t value)
    {
        return new FakeFrame(width, height, value);
    }

    int incRef() override { return ++m_refs; }
    int decRef() override
    {
        const int left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

    int getData(IByteBuff* out, int type) override
    {
        const size_t n = m_pixels.size();
        switch (type) {
        case FrameInt16:
            return fill<int16_t>(out, n);
        case FrameUInt32:
            return fill<uint32_t>(out, n);
        case FrameUInt64:
            return fill<uint64_t>(out, n);
        case FrameDouble:
            return fill<double>(out, n);
        default:
            return -1;
        }
    }
    size_t pixelCount() const override { return m_pixels.size(); }
    unsigned width() const override { return m_width; }
    unsigned height() const override { return m_height; }
    uint8_t dataType() const override { return FrameUInt32; }
    int subFrames(PtrList<IMpxFrame*>*) override { return 0; }
    double acqTime() const override { return 0.1; }

    uint32_t pixel(size_t i) const { return m_pixels[i]; }
    int refs() const { return m_refs.load(); }

private:
    FakeFrame(unsigned width, unsigned height, uint32_t value)
        : m_width(width), m_height(height), m_pixels(size_t(width) * height)
    {
        for (size_t i = 0; i < m_pixels.size(); ++i)
            m_pixels[i] = value + static_cast<uint32_t>(i % 7);
        ++live();
    }
    ~FakeFrame() { --live(); }

    template <typename T>
    int fill(IByteBuff* out, size_t n)
    {
        out->resizeByte(static_cast<unsigned long>(n * sizeof(T)));
        T* dst = reinterpret_cast<T*>(out->dataByte());
        for (size_t i = 0; i < n; ++i)
            dst[i] = static_cast<T>(m_pixels[i]);
        return 0;
    }

    unsigned m_width;
    unsigned m_height;
    std::vector<uint32_t> m_pixels;
    std::atomic<int> m_refs {1};
};

// What one call of doAdvancedAcquisition was given.
struct AcqCall
{
    std::vector<unsigned char> acq; // the 43 bytes
    bool fileIsNull = false;
    std::string outputFile; // the string at byte 35
    const void* repeat = nullptr;
    std::vector<unsigned char> repeatBytes; // the 20 bytes, when given
    const void* tpBlock = nullptr;

    // The records as the device reads them.
    static AcqCall of(const void* acqDesc, const void* repeatDesc, const void* tp)
    {
        AcqCall call;
        const auto* bytes = static_cast<const unsigned char*>(acqDesc);
        call.acq.assign(bytes, bytes + 43);
        const char* file = nullptr;
        std::memcpy(&file, bytes + 35, sizeof file);
        call.fileIsNull = file == nullptr;
        if (file)
            call.outputFile = file;
        call.repeat = repeatDesc;
        if (repeatDesc) {
            const auto* r = static_cast<const unsigned char*>(repeatDesc);
            call.repeatBytes.assign(r, r + 20);
        }
        call.tpBlock = tp;
        return call;
    }
};

class FakeDevice final : public NullDevMpx2
{
public:
    using Call = AcqCall;
    // Runs inside doAdvancedAcquisition on the acquisition thread; returns its result.
    using Script = std::function<int(FakeDevice& dev, const void* repeat)>;

    explicit FakeDevice(int kind = 1, unsigned width = 16, unsigned height = 8)
        : m_kind(kind), m_width(width), m_height(height)
    { }
    ~FakeDevice() override { clearStore(); }

    int deviceType() override { return m_kind; }
    int registerEvent(const char* name, EventCallback cb, void* user) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.emplace_back(name, Sub {cb, user});
        return 0;
    }
    bool isLocked() override { return locked.load(); }
    int abortOperation() override
    {
        ++aborts;
        abort = true;
        // A device that needs time to abort.
        const int ms = abortDelayMs.load();
        if (ms > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        ++abortsDone;
        return 0;
    }
    int deviceStatusText(IString* out) override
    {
        out->set("Fake ready");
        return 0;
    }
    int deviceStatus() override { return 5; }
    bool isTimepix() override { return true; }
    int width() override { return static_cast<int>(m_width); }
    int height() override { return static_cast<int>(m_height); }

    int doAdvancedAcquisition(const void* acq, const void* repeat, const void* tp) override
    {
        const Call call = AcqCall::of(acq, repeat, tp);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_calls.push_back(call);
        }
        abort = false;
        Script script;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            script = m_script;
        }
        return script ? script(*this, repeat) : 0;
    }

    int doDigitalTest(unsigned* errors, unsigned* total, IMpxFrame** out) override
    {
        *errors = 3;
        *total = 7;
        *out = FakeFrame::create(m_width, m_height, 42);
        return 0;
    }

    int acqFrameCount() override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int>(m_store.size());
    }
    IMpxFrame* lastAcqFrameRefInc() override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_store.empty())
            return nullptr;
        m_store.back()->incRef();
        return m_store.back();
    }
    IMpxFrame* acqFrameRefInc(unsigned index) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (index >= m_store.size())
            return nullptr;
        m_store[index]->incRef();
        return m_store[index];
    }

    // Test side.
    void setScript(Script script)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_script = std::move(script);
    }
    // Adds a frame to the store whose pixels start at value.
    void pushFrame(uint32_t value)
    {
        FakeFrame* f = FakeFrame::create(m_width, m_height, value);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_store.push_back(f);
    }
    void clearStore()
    {
        std::vector<FakeFrame*> old;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            old.swap(m_store);
        }
        for (FakeFrame* f : old)
            f->decRef();
    }
    int fire(const char* name, long data)
    {
        std::vector<Sub> subs;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            for (const auto& e : m_events)
                if (e.first == name)
                    subs.push_back(e.second);
        }
        for (const Sub& s : subs)
            s.cb(data, reinterpret_cast<long>(s.user));
        return static_cast<int>(subs.size());
    }
    std::vector<std::string> registeredEvents() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<std::string> names;
        for (const auto& e : m_events)
            names.push_back(e.first);
        return names;
    }
    std::vector<Call> calls() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls;
    }

    std::atomic<bool> locked {false};
    std::atomic<bool> abort {false};
    std::atomic<int> aborts {0};
    std::atomic<int> abortsDone {0};
    std::atomic<int> abortDelayMs {0};

private:
    struct Sub
    {
        EventCallback cb;
        void* user;
    };

    int m_kind;
    unsigned m_width;
    unsigned m_height;
    mutable std::mutex m_mutex;
    std::vector<std::pair<std::string, Sub>> m_events;
    std::vector<Call> m_calls;
    std::vector<FakeFrame*> m_store;
    Script m_script;
};

// Reads a little-endian value at a byte offset of a record image.
template <typename T>
T readAt(const std::vector<unsigned char>& bytes, size_t offset)
{
    T value {};
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

} // namespace testdev
