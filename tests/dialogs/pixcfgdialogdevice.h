// A detector for the pixel configuration dialog: a Medipix2, Timepix or Medipix3 (type
// 2) whose configuration keeps real planes of mask, test, low-threshold, mode or
// high-threshold and Medipix3 second-threshold bits. Range writes are checked like a
// device would check them and logged as "name(x,y,w,h,value)"; working copies are
// counted and know whether they were handed back.
#pragma once

#include "../devctrl/nulldevice.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace testdev {

class PlanePixCfg final : public ov::IMpxPixCfg
{
public:
    enum Plane {
        Mask,
        Test,
        Thl,
        Mode, // Timepix mode or Medipix2 high-threshold bits
        Thh3, // Medipix3 second threshold
        PlaneCount
    };

    PlanePixCfg(unsigned width, unsigned height)
        : w(width), h(height), planes(PlaneCount, std::vector<uint8_t>(size_t(width) * height))
    { }

    uint8_t at(Plane plane, unsigned x, unsigned y) const { return planes[plane][y * w + x]; }
    void put(Plane plane, unsigned x, unsigned y, uint8_t v) { planes[plane][y * w + x] = v; }
    // Pixels of a plane that hold v.
    int count(Plane plane, uint8_t v) const
    {
        int n = 0;
        for (uint8_t p : planes[plane])
            n += p == v ? 1 : 0;
        return n;
    }

    int kind() const override { return 2; }
    int setAllMask(bool m) override { return setRange(Mask, "setAllMask", 0, 0, w, h, m, 1); }
    int setMaskBit(unsigned p, bool m) override
    {
        return setRange(Mask, "setMaskBit", p % w, p / w, 1, 1, m, 1);
    }
    int setMaskColumn(unsigned x, bool m) override
    {
        return setRange(Mask, "setMaskColumn", x, 0, 1, h, m, 1);
    }
    int setMaskRow(unsigned y, bool m) override
    {
        return setRange(Mask, "setMaskRow", 0, y, w, 1, m, 1);
    }
    int setMaskBitRange(unsigned x, unsigned y, unsigned rw, unsigned rh, bool m) override
    {
        return setRange(Mask, "setMaskBitRange", x, y, rw, rh, m, 1);
    }
    bool maskBit(unsigned p) const override { return value(Mask, p); }
    bool maskColumn(unsigned) const override { return false; }
    bool maskRow(unsigned) const override { return false; }
    int maskBits(ov::IByteBuff*, int) const override { return -1; }
    int setAllTest(bool on) override { return setRange(Test, "setAllTest", 0, 0, w, h, on, 1); }
    int setTestBit(unsigned p, bool on) override
    {
        return setRange(Test, "setTestBit", p % w, p / w, 1, 1, on, 1);
    }
    int setTestColumn(unsigned x, bool on) override
    {
        return setRange(Test, "setTestColumn", x, 0, 1, h, on, 1);
    }
    int setTestRow(unsigned y, bool on) override
    {
        return setRange(Test, "setTestRow", 0, y, w, 1, on, 1);
    }
    int setTestBitRange(unsigned x, unsigned y, unsigned rw, unsigned rh, bool on) override
    {
        return setRange(Test, "setTestBitRange", x, y, rw, rh, on, 1);
    }
    bool testBit(unsigned p) const override { return value(Test, p); }
    bool testColumn(unsigned) const override { return false; }
    bool testRow(unsigned) const override { return false; }
    int testBits(ov::IByteBuff*, int) const override { return -1; }
    int setAllThl(uint8_t v) override
    {
        return setRange(Thl, "setAllThl", 0, 0, w, h, v, thlMax());
    }
    int setThl(unsigned p, uint8_t v) override
    {
        return setRange(Thl, "setThl", p % w, p / w, 1, 1, v, thlMax());
    }
    int setThlRange(unsigned x, unsigned y, unsigned rw, unsigned rh, uint8_t v) override
    {
        return setRange(Thl, "setThlRange", x, y, rw, rh, v, thlMax());
    }
    int stepThlColumn(unsigned, int, int) override { return -1; }
    int stepThlRow(unsigned, int, int) override { return -1; }
    uint8_t thl(unsigned p) const override { return value(Thl, p); }
    int thlBits(ov::IByteBuff*, int) const override { return -1; }
    uint8_t thlMax() const override { return 15; }
    int loadFromFile(ov::FilePath&, int) override { return -1; }
    int saveToFile(ov::FilePath&, int) override { return -1; }
    int resetAll() override { return -1; }
    void releaseCopy() override { released = true; }
    int setModeAll(uint8_t v) override { return setRange(Mode, "setModeAll", 0, 0, w, h, v, 7); }
    uint8_t mode8(unsigned p) const override { return value(Mode, p); }
    double averageMode() const override { return 0.0; }
    uint8_t thhMax() const override { return 7; }
    uint8_t thhMpx3(unsigned p) const override { return value(Thh3, p); }
    uint8_t thhMaxMpx3() const override { return 31; }
    int setThhRange(unsigned x, unsigned y, unsigned rw, unsigned rh, uint8_t v) override
    {
        return setRange(Mode, "setThhRange", x, y, rw, rh, v, thhMax());
    }
    int setModeRange(unsigned x, unsigned y, unsigned rw, unsigned rh, uint8_t v) override
    {
        return setRange(Mode, "setModeRange", x, y, rw, rh, v, 3);
    }
    int setThhRangeMpx3(unsigned x, unsigned y, unsigned rw, unsigned rh, uint8_t v) override
    {
        return setRange(Thh3, "setThhRangeMpx3", x, y, rw, rh, v, thhMaxMpx3());
    }

    unsigned w;
    unsigned h;
    std::vector<std::vector<uint8_t>> planes;
    QStringList log;
    bool released = false;

private:
    uint8_t value(Plane plane, unsigned p) const
    {
        return p < planes[plane].size() ? planes[plane][p] : 0;
    }
    // A rectangle that leaves the matrix, is empty, or a value above max is refused
    // with -1 and changes nothing.
    int setRange(Plane plane, const char* name, unsigned x, unsigned y, unsigned rw, unsigned rh,
        unsigned v, unsigned max)
    {
        log.append(QString("%1(%2,%3,%4,%5,%6)").arg(name).arg(x).arg(y).arg(rw).arg(rh).arg(v));
        if (rw == 0 || rh == 0 || x >= w || y >= h || rw > w - x || rh > h - y || v > max)
            return -1;
        for (unsigned j = y; j < y + rh; ++j)
            for (unsigned i = x; i < x + rw; ++i)
                planes[plane][j * w + i] = static_cast<uint8_t>(v);
        return 0;
    }
};

// Type 1 with timepix false is a Medipix2, with timepix true a Timepix; type 2 is a
// Medipix3.
class PixCfgDialogDevice final : public NullDevMpx2
{
public:
    PixCfgDialogDevice(int type, bool timepix, unsigned width, unsigned height)
        : devType(type), timepixChip(timepix), live(width, height)
    { }

    int deviceType() override { return devType; }
    bool isTimepix() override { return timepixChip; }
    int width() override { return static_cast<int>(live.w); }
    int height() override { return static_cast<int>(live.h); }
    uint32_t pixelCount() override { return live.w * live.h; }
    IMpxPixCfg* pixCfg() override { return &live; }
    IMpxPixCfg* copyPixCfg() override
    {
        copies.push_back(std::make_unique<PlanePixCfg>(live));
        copies.back()->log.clear();
        return copies.back().get();
    }
    int setPixCfg(IMpxPixCfg* cfg) override
    {
        auto* given = static_cast<PlanePixCfg*>(cfg);
        // A copy handed back before it reached the device would be a use after release.
        releasedBeforeSet = given->released;
        live.planes = given->planes;
        ++setPixCfgCalls;
        return 0;
    }

    PlanePixCfg* lastCopy() const { return copies.empty() ? nullptr : copies.back().get(); }

    int devType;
    bool timepixChip;
    PlanePixCfg live;
    std::vector<std::unique_ptr<PlanePixCfg>> copies;
    int setPixCfgCalls = 0;
    bool releasedBeforeSet = false;
};

} // namespace testdev
