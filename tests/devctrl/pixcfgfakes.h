// Recording test doubles for the pixel-configuration and DAC work of the detector
// controllers: a pixel configuration kept in memory that logs its writes and file calls,
// a DAC table that logs its writes, a frame of chosen pixel type and values, and a
// Medipix2/Timepix device holding them whose measurement runs a test's script.
#pragma once

#include "nulldevice.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace testdev {

// Pixel planes with real bits; every write is logged as "name(args)". Copies share the
// log of the live configuration, so a test sees what happened to either.
class RecordingPixCfg final : public ov::IMpxPixCfg
{
public:
    struct FileCall
    {
        std::string path;
        int format;
    };

    RecordingPixCfg(unsigned width, unsigned height, int kind)
        : w(width),
          h(height),
          cfgKind(kind),
          mask(width * height),
          test(width * height),
          thlPlane(width * height, 7),
          mode(width * height, 0),
          log(std::make_shared<QStringList>())
    { }

    std::unique_ptr<RecordingPixCfg> makeCopy() const
    {
        auto copy = std::make_unique<RecordingPixCfg>(*this);
        copy->isCopy = true;
        copy->released = false;
        return copy;
    }
    void assign(const RecordingPixCfg& other)
    {
        mask = other.mask;
        test = other.test;
        thlPlane = other.thlPlane;
        mode = other.mode;
    }

    int kind() const override { return cfgKind; }
    int setAllMask(bool m) override
    {
        note(QString("setAllMask(%1)").arg(m));
        std::fill(mask.begin(), mask.end(), uint8_t(m));
        return 0;
    }
    int setMaskBit(unsigned p, bool m) override
    {
        if (p >= mask.size())
            return -1;
        note(QString("setMaskBit(%1,%2)").arg(p).arg(m));
        mask[p] = m;
        return 0;
    }
    int setMaskColumn(unsigned x, bool m) override
    {
        note(QString("setMaskColumn(%1,%2)").arg(x).arg(m));
        return setLine(mask, true, x, m);
    }
    int setMaskRow(unsigned y, bool m) override
    {
        note(QString("setMaskRow(%1,%2)").arg(y).arg(m));
        return setLine(mask, false, y, m);
    }
    int setMaskBitRange(unsigned x, unsigned y, unsigned rw, unsigned rh, bool m) override
    {
        note(QString("setMaskBitRange(%1,%2,%3,%4,%5)").arg(x).arg(y).arg(rw).arg(rh).arg(m));
        if (x + rw > w || y + rh > h)
            return -1;
        for (unsigned j = y; j < y + rh; ++j)
            for (unsigned i = x; i < x + rw; ++i)
                mask[j * w + i] = m;
        return 0;
    }
    bool maskBit(unsigned p) const override { return p < mask.size() && mask[p]; }
    bool maskColumn(unsigned x) const override { return lineAll(mask, true, x); }
    bool maskRow(unsigned y) const override { return lineAll(mask, false, y); }
    int maskBits(ov::IByteBuff* out, int) const override { return bits(mask, out, true); }
    int setAllTest(bool on) override
    {
        note(QString("setAllTest(%1)").arg(on));
        std::fill(test.begin(), test.end(), uint8_t(on));
        return 0;
    }
    int setTestBit(unsigned p, bool on) override
    {
        if (p >= test.size())
            return -1;
        note(QString("setTestBit(%1,%2)").arg(p).arg(on));
        test[p] = on;
        return 0;
    }
    int setTestColumn(unsigned x, bool on) override
    {
        note(QString("setTestColumn(%1,%2)").arg(x).arg(on));
        return setLine(test, true, x, on);
    }
    int setTestRow(unsigned y, bool on) override
    {
        note(QString("setTestRow(%1,%2)").arg(y).arg(on));
        return setLine(test, false, y, on);
    }
    int setTestBitRange(unsigned, unsigned, unsigned, unsigned, bool) override { return -1; }
    bool testBit(unsigned p) const override { return p < test.size() && test[p]; }
    bool testColumn(unsigned x) const override { return lineAll(test, true, x); }
    bool testRow(unsigned y) const override { return lineAll(test, false, y); }
    int testBits(ov::IByteBuff* out, int) const override { return bits(test, out, false); }
    int setAllThl(uint8_t v) override
    {
        std::fill(thlPlane.begin(), thlPlane.end(), v);
        return 0;
    }
    int setThl(unsigned p, uint8_t v) override
    {
        if (p >= thlPlane.size())
            return -1;
        note(QString("setThl(%1,%2)").arg(p).arg(v));
        thlPlane[p] = v;
        return 0;
    }
    int setThlRange(unsigned, unsigned, unsigned, unsigned, uint8_t) override { return -1; }
    int stepThlColumn(unsigned x, int step, int flag) override
    {
        note(QString("stepThlColumn(%1,%2,%3)").arg(x).arg(step).arg(flag));
        return 0;
    }
    int stepThlRow(unsigned y, int step, int flag) override
    {
        note(QString("stepThlRow(%1,%2,%3)").arg(y).arg(step).arg(flag));
        return 0;
    }
    uint8_t thl(unsigned p) const override { return p < thlPlane.size() ? thlPlane[p] : 0; }
    int thlBits(ov::IByteBuff* out, int) const override { return bits(thlPlane, out, false); }
    uint8_t thlMax() const override { return 15; }
    int loadFromFile(ov::FilePath& path, int format) override
    {
        loads.push_back(FileCall {path.get(), format});
        return 0;
    }
    int saveToFile(ov::FilePath& path, int format) override
    {
        saves.push_back(FileCall {path.get(), format});
        return 0;
    }
    int resetAll() override { return 0; }
    void releaseCopy() override
    {
        note(QStringLiteral("releaseCopy()"));
        released = true;
    }
    int setModeAll(uint8_t m) override
    {
        note(QString("setModeAll(%1)").arg(m));
        std::fill(mode.begin(), mode.end(), m);
        return 0;
    }
    uint8_t mode8(unsigned p) const override { return p < mode.size() ? mode[p] : 0; }
    // The mean mode of all pixels.
    double averageMode() const override
    {
        if (mode.empty())
            return 0.0;
        double sum = 0.0;
        for (uint8_t m : mode)
            sum += m;
        return sum / static_cast<double>(mode.size());
    }
    uint8_t thhMax() const override { return 7; }
    uint8_t thhMpx3(unsigned) const override { return 0; }
    uint8_t thhMaxMpx3() const override { return 0; }
    int setThhRange(unsigned x, unsigned y, unsigned rw, unsigned rh, uint8_t v) override
    {
        note(QString("setThhRange(%1,%2,%3,%4,%5)").arg(x).arg(y).arg(rw).arg(rh).arg(v));
        if (x + rw > w || y + rh > h || v > thhMax())
            return -1;
        for (unsigned j = y; j < y + rh; ++j)
            for (unsigned i = x; i < x + rw; ++i)
                mode[j * w + i] = v;
        return 0;
    }
    int setModeRange(unsigned, unsigned, unsigned, unsigned, uint8_t) override { return -1; }
    int setThhRangeMpx3(unsigned, unsigned, unsigned, unsigned, uint8_t) override { return -1; }

    void setMode(unsigned p, uint8_t m) { mode[p] = m; }
    int maskedCount() const
    {
        int n = 0;
        for (uint8_t m : mask)
            n += m;
        return n;
    }

    unsigned w;
    unsigned h;
    int cfgKind;
    std::vector<uint8_t> mask, test, thlPlane, mode;
    std::shared_ptr<QStringList> log;
    std::vector<FileCall> loads, saves;
    bool isCopy = false;
    bool released = false;

private:
    void note(const QString& entry) { log->append((isCopy ? "copy." : "") + entry); }
    int setLine(std::vector<uint8_t>& plane, bool column, unsigned index, bool on)
    {
        if (column ? index >= w : index >= h)
            return -1;
        const unsigned n = column ? h : w;
        for (unsigned i = 0; i < n; ++i)
            plane[column ? i * w + index : index * w + i] = on;
        return 0;
    }
    bool lineAll(const std::vector<uint8_t>& plane, bool column, unsigned index) const
    {
        if (column ? index >= w : index >= h)
            return false;
        const unsigned n = column ? h : w;
        for (unsigned i = 0; i < n; ++i)
            if (!plane[column ? i * w + index : index * w + i])
                return false;
        return true;
    }
    // One byte a pixel; the mask plane reads 1 for a pixel that counts.
    int bits(const std::vector<uint8_t>& plane, ov::IByteBuff* out, bool inverted) const
    {
        out->resizeByte(plane.size());
        for (size_t i = 0; i < plane.size(); ++i)
            out->dataByte()[i] = inverted ? uint8_t(!plane[i]) : plane[i];
        return 0;
    }
};

// A DAC table of values by (dac, chip); copies log into the live table's log.
class RecordingDacs final : public ov::IMpxDacs
{
public:
    RecordingDacs() : log(std::make_shared<QStringList>()) { }
    std::unique_ptr<RecordingDacs> makeCopy() const
    {
        auto copy = std::make_unique<RecordingDacs>(*this);
        copy->isCopy = true;
        return copy;
    }

    void dacNames(ov::StrList&) const override { }
    int dacMaxValue(int) const override { return 255; }
    int dacValue(int dac, int chip) const override
    {
        auto it = values.find({dac, chip});
        return it == values.end() ? 0 : it->second;
    }
    int setDacValue(int dac, int chip, int value) override
    {
        log->append(QString("%1setDacValue(%2,%3,%4)")
                        .arg(isCopy ? "copy." : "")
                        .arg(dac)
                        .arg(chip)
                        .arg(value));
        values[{dac, chip}] = value;
        return 0;
    }
    int resetDacs() override { return 0; }
    int loadFromFile(ov::FilePath& path) override
    {
        loads.push_back(path.get());
        return 0;
    }
    void release() override { log->append("release()"); }

    std::map<std::pair<int, int>, int> values;
    std::shared_ptr<QStringList> log;
    std::vector<std::string> loads;
    bool isCopy = false;
};

// A counted frame of one pixel type with given values.
class ValueFrame final : public NullMpxFrame
{
public:
    static ValueFrame* create(
        int pixelType, unsigned width, unsigned height, std::vector<double> values)
    {
        return new ValueFrame(pixelType, width, height, std::move(values));
    }
    int incRef() override { return ++refs; }
    int decRef() override
    {
        const int left = --refs;
        if (left == 0)
            delete this;
        return left;
    }
    int dataRef(IRefByteBuff* out, int) override
    {
        out->setByte(bytes.data(), static_cast<unsigned long>(bytes.size()));
        return 0;
    }
    size_t pixelCount() const override { return size_t(w) * h; }
    unsigned width() const override { return w; }
    unsigned height() const override { return h; }
    uint8_t dataType() const override { return static_cast<uint8_t>(type); }

private:
    ValueFrame(int t, unsigned width, unsigned height, std::vector<double> values)
        : type(t), w(width), h(height)
    {
        switch (type) {
        case FrameInt16:
            pack<int16_t>(values);
            break;
        case FrameUInt32:
            pack<uint32_t>(values);
            break;
        case FrameUInt64:
            pack<uint64_t>(values);
            break;
        default:
            pack<double>(values);
            break;
        }
    }
    ~ValueFrame() = default;
    template <typename T>
    void pack(const std::vector<double>& values)
    {
        bytes.resize(values.size() * sizeof(T));
        for (size_t i = 0; i < values.size(); ++i) {
            const T v = static_cast<T>(values[i]);
            std::memcpy(bytes.data() + i * sizeof(T), &v, sizeof(T));
        }
    }

    int type;
    unsigned w;
    unsigned h;
    std::vector<unsigned char> bytes;
    std::atomic<int> refs {1};
};

// The recording part of a pixel detector of family Base: its events, which a test fires
// on the thread it likes, the recording configuration with its copies, the threshold
// calls and the chips' calibration.
template <class Base>
class RecordingDetector : public Base
{
public:
    struct ThresholdCall
    {
        uint32_t chip;
        int kind;
        double value;
    };

    RecordingDetector(unsigned width, unsigned height, unsigned chipTotal, int cfgKind)
        : w(width), h(height), chips(chipTotal), live(width, height, cfgKind), calibrated(chipTotal)
    { }
    virtual ~RecordingDetector() = default;

    int registerEvent(const char* name, ov::EventCallback cb, void* user) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        events.emplace_back(name, std::make_pair(cb, user));
        return 0;
    }
    int fire(const char* name, long data)
    {
        std::vector<std::pair<ov::EventCallback, void*>> subs;
        {
            std::lock_guard<std::mutex> lock(mutex);
            for (const auto& e : events)
                if (e.first == name)
                    subs.push_back(e.second);
        }
        for (const auto& s : subs)
            s.first(data, reinterpret_cast<long>(s.second));
        return static_cast<int>(subs.size());
    }

    int width() override { return static_cast<int>(w); }
    int height() override { return static_cast<int>(h); }
    uint32_t pixelCount() override { return w * h; }
    unsigned chipCount() override { return chips; }
    bool isChipCalibrated(uint32_t chip) override
    {
        return chip < calibrated.size() && calibrated[chip];
    }

    ov::IMpxPixCfg* pixCfg() override { return &live; }
    ov::IMpxPixCfg* copyPixCfg() override
    {
        ++pixCfgCopies;
        copies.push_back(live.makeCopy());
        return copies.back().get();
    }
    int setPixCfg(ov::IMpxPixCfg* cfg) override
    {
        ++setPixCfgCalls;
        live.assign(*static_cast<RecordingPixCfg*>(cfg));
        return 0;
    }

    // Every read answers 12.5.
    double threshold(uint32_t chip, int kind) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        thresholdReads.push_back(ThresholdCall {chip, kind, 0.0});
        return 12.5;
    }
    int setThreshold(uint32_t chip, int kind, double value) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        thresholdWrites.push_back(ThresholdCall {chip, kind, value});
        return 0;
    }
    std::vector<ThresholdCall> writtenThresholds() const
    {
        std::lock_guard<std::mutex> lock(mutex);
        return thresholdWrites;
    }

    unsigned w;
    unsigned h;
    unsigned chips;
    RecordingPixCfg live;
    std::vector<std::unique_ptr<RecordingPixCfg>> copies;
    std::vector<bool> calibrated;
    int pixCfgCopies = 0;
    int setPixCfgCalls = 0;
    std::vector<ThresholdCall> thresholdReads;

private:
    mutable std::mutex mutex;
    std::vector<std::pair<std::string, std::pair<ov::EventCallback, void*>>> events;
    std::vector<ThresholdCall> thresholdWrites;
};

// A Medipix2 or Timepix device with the recording configuration and DACs. Its
// measurement runs the test's script on the controller's worker thread.
class PixCfgDevice final : public RecordingDetector<NullDevMpx2>
{
public:
    using Script = std::function<int(PixCfgDevice& dev)>;

    PixCfgDevice(unsigned width, unsigned height, bool timepix, unsigned chipTotal = 1)
        : RecordingDetector(width, height, chipTotal, timepix ? 2 : 1), timepixChip(timepix)
    { }

    int deviceType() override { return 1; }
    bool isLocked() override { return locked.load(); }
    bool isTimepix() override { return timepixChip; }

    IMpxDacs* dacs() override { return &liveDacs; }
    IMpxDacs* dacsCopy() override
    {
        dacCopies.push_back(liveDacs.makeCopy());
        return dacCopies.back().get();
    }
    int setDacs(IMpxDacs* d) override
    {
        liveDacs.log->append("setDacs()");
        liveDacs.values = static_cast<RecordingDacs*>(d)->values;
        return 0;
    }

    int loadFactoryConfig() override
    {
        factoryThread = std::this_thread::get_id();
        ++factoryLoads;
        return factoryResult;
    }
    int loadConfigFile(IFilePath* path) override
    {
        configLoads.push_back(path->get());
        return 0;
    }
    int saveConfigFile(IFilePath* path) override
    {
        configSaves.push_back(path->get());
        return 0;
    }

    int doAdvancedAcquisition(const void*, const void*, const void*) override
    {
        return script ? script(*this) : 0;
    }

    bool timepixChip;
    RecordingDacs liveDacs;
    std::vector<std::unique_ptr<RecordingDacs>> dacCopies;
    std::atomic<bool> locked {false};
    std::atomic<int> factoryResult {0};
    std::atomic<int> factoryLoads {0};
    std::thread::id factoryThread;
    std::vector<std::string> configLoads, configSaves;
    Script script; // set before a measurement starts
};

} // namespace testdev
