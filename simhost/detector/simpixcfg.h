// Per-pixel configuration of a Medipix2 or Timepix device (ov::IMpxPixCfg).
//
// Each pixel has a mask bit, a test bit, a 4-bit low-threshold adjustment and either a
// 2-bit Timepix mode (0 counting, 1 time over threshold, 2 one hit, 3 time of arrival)
// or, on a Medipix2, a 3-bit high-threshold adjustment.
//
// A device owns one live configuration; copyPixCfg gives working copies that
// releaseCopy deletes. Every change of the live configuration bumps its version and
// calls the change hook (the device fires "PixCfgChanged"), after the lock is released.
// All operations are thread-safe.
//
// Files (pixcfgfile.h): format 0 the binary "*.bpc" of all components, formats 1 to 5
// text matrices of one component. Loading checks the whole file first and then
// replaces the components it holds in one step; a file that cannot be used leaves the
// configuration as it was and writes an error line through the log hook.
#pragma once

#include "hostlog.h"
#include "pixcfgfile.h"

#include <ovdetector.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace sim {

class SimPixCfg final : public ov::IMpxPixCfg
{
public:
    enum Kind {
        KindMedipix2 = PixCfgKindMedipix2,
        KindTimepix = PixCfgKindTimepix
    };
    static constexpr uint8_t kThlMax = kPixCfgThlMax;
    static constexpr uint8_t kThhMax = kPixCfgThhMax;
    static constexpr uint8_t kModeMax = kPixCfgModeMax;
    static constexpr uint8_t kDefaultThl = 7;
    static constexpr uint8_t kDefaultThh = 3;

    // A live configuration in its default state.
    SimPixCfg(unsigned width, unsigned height, int kind);
    ~SimPixCfg();

    // A snapshot of all pixels.
    using Pixels = PixCfgPlanes;
    Pixels snapshot() const;
    uint64_t version() const { return m_version.load(); }
    void setChangeHook(std::function<void()> hook);
    // Where file errors are reported; working copies inherit it.
    void setLogHook(LogFn hook);
    bool isCopy() const { return m_isCopy; }
    unsigned width() const { return m_width; }
    unsigned height() const { return m_height; }
    // A working copy (not live: no hook).
    SimPixCfg* makeCopy() const;
    // Takes over the pixels of other; -1 when the geometry or kind differ.
    int assign(const SimPixCfg& other);
    // Replaces the planes that px holds (non-empty vectors of width x height values,
    // checked by the caller) in one step; -1 for a plane of the wrong size.
    int replacePlanes(const SimPixCfg::Pixels& px);

    // ov::IMpxPixCfg
    int kind() const override { return m_kind; }
    int setAllMask(bool masked) override;
    int setMaskBit(unsigned pixel, bool masked) override;
    int setMaskColumn(unsigned x, bool masked) override;
    int setMaskRow(unsigned y, bool masked) override;
    int setMaskBitRange(unsigned x, unsigned y, unsigned w, unsigned h, bool masked) override;
    bool maskBit(unsigned pixel) const override;
    bool maskColumn(unsigned x) const override;
    bool maskRow(unsigned y) const override;
    // Chip 0 (or -1): the whole matrix, one byte a pixel; other chips -1.
    // One byte a pixel, the chip's mask bit: 1 for a pixel that counts, 0 for a masked
    // one (maskBit and its kin answer "is it masked").
    int maskBits(ov::IByteBuff* out, int chip = 0) const override;
    int setAllTest(bool on) override;
    int setTestBit(unsigned pixel, bool on) override;
    int setTestColumn(unsigned x, bool on) override;
    int setTestRow(unsigned y, bool on) override;
    int setTestBitRange(unsigned x, unsigned y, unsigned w, unsigned h, bool on) override;
    bool testBit(unsigned pixel) const override;
    bool testColumn(unsigned x) const override;
    bool testRow(unsigned y) const override;
    int testBits(ov::IByteBuff* out, int chip = 0) const override;
    int setAllThl(uint8_t value) override;
    int setThl(unsigned pixel, uint8_t value) override;
    int setThlRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value) override;
    // flag 1: add step (clamped to 0..thlMax); flag 0: set every pixel to step.
    int stepThlColumn(unsigned x, int step = 1, int flag = 1) override;
    int stepThlRow(unsigned y, int step = 1, int flag = 1) override;
    uint8_t thl(unsigned pixel) const override;
    int thlBits(ov::IByteBuff* out, int chip = 0) const override;
    uint8_t thlMax() const override { return kThlMax; }
    // Format 0 "*.bpc", 1 mask, 2 test, 3 THL, 4 THH (Medipix2), 5 mode (Timepix).
    // 0, or a PixCfgFileResult below 0 with an error line in the log.
    int loadFromFile(ov::FilePath& path, int format) override;
    int saveToFile(ov::FilePath& path, int format) override;
    int resetAll() override;
    // Deletes a working copy; nothing for the live configuration.
    void releaseCopy() override;
    // All Timepix modes (at most 3) or all Medipix2 THH adjustments (at most 7).
    int setModeAll(uint8_t mode) override;
    // Timepix mode, or Medipix2 THH adjustment.
    uint8_t mode8(unsigned pixel) const override;
    double averageMode() const override;
    uint8_t thhMax() const override { return m_kind == KindMedipix2 ? kThhMax : 0; }
    // Medipix3 operations: this family has no second adjustment (0 / -1).
    uint8_t thhMpx3(unsigned pixel) const override;
    uint8_t thhMaxMpx3() const override { return 0; }
    // Medipix2 only (-1 on a Timepix).
    int setThhRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value) override;
    // Timepix only (-1 on a Medipix2).
    int setModeRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value) override;
    int setThhRangeMpx3(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value) override;

private:
    SimPixCfg(const SimPixCfg& other, bool asCopy);
    enum Field {
        Mask,
        Test,
        Thl,
        Mode
    };
    std::vector<uint8_t>& field(Field f);
    const std::vector<uint8_t>& field(Field f) const;
    int setRect(Field f, unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value);
    int setOne(Field f, unsigned pixel, uint8_t value);
    int setAll(Field f, uint8_t value);
    bool lineAll(Field f, unsigned start, unsigned step, unsigned count) const;
    int bits(Field f, ov::IByteBuff* out, int chip) const;
    int stepLine(bool column, unsigned index, int step, int flag);
    void changed();
    void report(const std::string& text) const;

    const unsigned m_width;
    const unsigned m_height;
    const int m_kind;
    const bool m_isCopy;
    mutable std::mutex m_mutex;
    Pixels m_px;
    std::atomic<uint64_t> m_version {1};
    std::function<void()> m_hook;
    LogFn m_logHook;
};

} // namespace sim
