#include "simpixcfg.h"

#include "pixcfgfile.h"

#include <ovcore.h>

#include <QString>

#include <algorithm>
#include <cstring>

namespace sim {

SimPixCfg::SimPixCfg(unsigned width, unsigned height, int kind)
    : m_width(width), m_height(height), m_kind(kind), m_isCopy(false)
{
    const size_t n = size_t(width) * height;
    m_px.mask.assign(n, 0);
    m_px.test.assign(n, 0);
    m_px.thl.assign(n, kDefaultThl);
    m_px.mode.assign(n, kind == KindMedipix2 ? kDefaultThh : 0);
}

SimPixCfg::SimPixCfg(const SimPixCfg& other, bool asCopy)
    : m_width(other.m_width), m_height(other.m_height), m_kind(other.m_kind), m_isCopy(asCopy)
{
    m_px = other.snapshot();
    std::lock_guard<std::mutex> lock(other.m_mutex);
    m_logHook = other.m_logHook;
}

SimPixCfg::~SimPixCfg() = default;

SimPixCfg::Pixels SimPixCfg::snapshot() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_px;
}

void SimPixCfg::setChangeHook(std::function<void()> hook)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_hook = std::move(hook);
}

void SimPixCfg::setLogHook(LogFn hook)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_logHook = std::move(hook);
}

void SimPixCfg::report(const std::string& text) const
{
    LogFn hook;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        hook = m_logHook;
    }
    if (hook)
        hook(ov::LogError, QString::fromStdString(text));
}

SimPixCfg* SimPixCfg::makeCopy() const
{
    return new SimPixCfg(*this, true);
}

int SimPixCfg::assign(const SimPixCfg& other)
{
    if (&other == this)
        return 0;
    if (other.m_width != m_width || other.m_height != m_height || other.m_kind != m_kind)
        return -1;
    Pixels px = other.snapshot();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_px = std::move(px);
    }
    changed();
    return 0;
}

int SimPixCfg::replacePlanes(const SimPixCfg::Pixels& px)
{
    const size_t n = size_t(m_width) * m_height;
    const std::vector<uint8_t>* planes[] = {&px.mask, &px.test, &px.thl, &px.mode};
    bool any = false;
    for (const std::vector<uint8_t>* plane : planes) {
        if (!plane->empty() && plane->size() != n)
            return -1;
        any = any || !plane->empty();
    }
    if (!any)
        return 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const Field fields[] = {Mask, Test, Thl, Mode};
        for (int i = 0; i < 4; ++i) {
            if (!planes[i]->empty())
                field(fields[i]) = *planes[i];
        }
    }
    changed();
    return 0;
}

void SimPixCfg::changed()
{
    m_version.fetch_add(1);
    std::function<void()> hook;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        hook = m_hook;
    }
    if (hook)
        hook();
}

std::vector<uint8_t>& SimPixCfg::field(Field f)
{
    switch (f) {
    case Mask:
        return m_px.mask;
    case Test:
        return m_px.test;
    case Thl:
        return m_px.thl;
    default:
        return m_px.mode;
    }
}

const std::vector<uint8_t>& SimPixCfg::field(Field f) const
{
    return const_cast<SimPixCfg*>(this)->field(f);
}

int SimPixCfg::setRect(Field f, unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value)
{
    if (x >= m_width || y >= m_height || w == 0 || h == 0 || w > m_width - x || h > m_height - y)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<uint8_t>& v = field(f);
        for (unsigned row = y; row < y + h; ++row)
            std::memset(&v[size_t(row) * m_width + x], value, w);
    }
    changed();
    return 0;
}

int SimPixCfg::setOne(Field f, unsigned pixel, uint8_t value)
{
    if (pixel >= size_t(m_width) * m_height)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        field(f)[pixel] = value;
    }
    changed();
    return 0;
}

int SimPixCfg::setAll(Field f, uint8_t value)
{
    return setRect(f, 0, 0, m_width, m_height, value);
}

bool SimPixCfg::lineAll(Field f, unsigned start, unsigned step, unsigned count) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const std::vector<uint8_t>& v = field(f);
    for (unsigned i = 0; i < count; ++i) {
        if (!v[start + size_t(i) * step])
            return false;
    }
    return true;
}

int SimPixCfg::bits(Field f, ov::IByteBuff* out, int chip) const
{
    if (!out || (chip != 0 && chip != -1))
        return -1;
    std::lock_guard<std::mutex> lock(m_mutex);
    const std::vector<uint8_t>& v = field(f);
    out->resizeByte(static_cast<unsigned long>(v.size()));
    if (out->byteSize() != v.size())
        return -1;
    std::memcpy(out->dataByte(), v.data(), v.size());
    return 0;
}

int SimPixCfg::setAllMask(bool masked)
{
    return setAll(Mask, masked ? 1 : 0);
}

int SimPixCfg::setMaskBit(unsigned pixel, bool masked)
{
    return setOne(Mask, pixel, masked ? 1 : 0);
}

int SimPixCfg::setMaskColumn(unsigned x, bool masked)
{
    return setRect(Mask, x, 0, 1, m_height, masked ? 1 : 0);
}

int SimPixCfg::setMaskRow(unsigned y, bool masked)
{
    return setRect(Mask, 0, y, m_width, 1, masked ? 1 : 0);
}

int SimPixCfg::setMaskBitRange(unsigned x, unsigned y, unsigned w, unsigned h, bool masked)
{
    return setRect(Mask, x, y, w, h, masked ? 1 : 0);
}

bool SimPixCfg::maskBit(unsigned pixel) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return pixel < m_px.mask.size() && m_px.mask[pixel];
}

bool SimPixCfg::maskColumn(unsigned x) const
{
    return x < m_width && lineAll(Mask, x, m_width, m_height);
}

bool SimPixCfg::maskRow(unsigned y) const
{
    return y < m_height && lineAll(Mask, y * m_width, 1, m_width);
}

int SimPixCfg::maskBits(ov::IByteBuff* out, int chip) const
{
    // As the chip has it: a mask bit of 1 lets the pixel count, 0 masks it.
    const int rc = bits(Mask, out, chip);
    if (rc == 0) {
        unsigned char* bytes = out->dataByte();
        for (unsigned long i = 0; i < out->byteSize(); ++i)
            bytes[i] = bytes[i] ? 0 : 1;
    }
    return rc;
}

int SimPixCfg::setAllTest(bool on)
{
    return setAll(Test, on ? 1 : 0);
}

int SimPixCfg::setTestBit(unsigned pixel, bool on)
{
    return setOne(Test, pixel, on ? 1 : 0);
}

int SimPixCfg::setTestColumn(unsigned x, bool on)
{
    return setRect(Test, x, 0, 1, m_height, on ? 1 : 0);
}

int SimPixCfg::setTestRow(unsigned y, bool on)
{
    return setRect(Test, 0, y, m_width, 1, on ? 1 : 0);
}

int SimPixCfg::setTestBitRange(unsigned x, unsigned y, unsigned w, unsigned h, bool on)
{
    return setRect(Test, x, y, w, h, on ? 1 : 0);
}

bool SimPixCfg::testBit(unsigned pixel) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return pixel < m_px.test.size() && m_px.test[pixel];
}

bool SimPixCfg::testColumn(unsigned x) const
{
    return x < m_width && lineAll(Test, x, m_width, m_height);
}

bool SimPixCfg::testRow(unsigned y) const
{
    return y < m_height && lineAll(Test, y * m_width, 1, m_width);
}

int SimPixCfg::testBits(ov::IByteBuff* out, int chip) const
{
    return bits(Test, out, chip);
}

int SimPixCfg::setAllThl(uint8_t value)
{
    return value > kThlMax ? -1 : setAll(Thl, value);
}

int SimPixCfg::setThl(unsigned pixel, uint8_t value)
{
    return value > kThlMax ? -1 : setOne(Thl, pixel, value);
}

int SimPixCfg::setThlRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value)
{
    return value > kThlMax ? -1 : setRect(Thl, x, y, w, h, value);
}

int SimPixCfg::stepLine(bool column, unsigned index, int step, int flag)
{
    if (index >= (column ? m_width : m_height))
        return -1;
    if (flag == 0 && (step < 0 || step > kThlMax))
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const unsigned count = column ? m_height : m_width;
        const size_t start = column ? index : size_t(index) * m_width;
        const size_t stride = column ? m_width : 1;
        for (unsigned i = 0; i < count; ++i) {
            uint8_t& v = m_px.thl[start + i * stride];
            const int next = flag ? int(v) + step : step;
            v = static_cast<uint8_t>(std::clamp(next, 0, int(kThlMax)));
        }
    }
    changed();
    return 0;
}

int SimPixCfg::stepThlColumn(unsigned x, int step, int flag)
{
    return stepLine(true, x, step, flag);
}

int SimPixCfg::stepThlRow(unsigned y, int step, int flag)
{
    return stepLine(false, y, step, flag);
}

uint8_t SimPixCfg::thl(unsigned pixel) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return pixel < m_px.thl.size() ? m_px.thl[pixel] : 0;
}

int SimPixCfg::thlBits(ov::IByteBuff* out, int chip) const
{
    return bits(Thl, out, chip);
}

int SimPixCfg::loadFromFile(ov::FilePath& path, int format)
{
    const PixCfgShape shape {m_width, m_height, m_kind};
    Pixels px;
    std::string error;
    const int rc = loadPixCfgFile(path.get(), format, shape, &px, &error);
    if (rc != PixCfgFileOk) {
        report("Pixel configuration not loaded: " + error);
        return rc;
    }
    return replacePlanes(px);
}

int SimPixCfg::saveToFile(ov::FilePath& path, int format)
{
    const PixCfgShape shape {m_width, m_height, m_kind};
    std::string error;
    const int rc = savePixCfgFile(path.get(), format, shape, snapshot(), &error);
    if (rc != PixCfgFileOk)
        report("Pixel configuration not saved: " + error);
    return rc;
}

int SimPixCfg::resetAll()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::fill(m_px.mask.begin(), m_px.mask.end(), 0);
        std::fill(m_px.test.begin(), m_px.test.end(), 0);
        std::fill(m_px.thl.begin(), m_px.thl.end(), kDefaultThl);
        std::fill(m_px.mode.begin(), m_px.mode.end(), m_kind == KindMedipix2 ? kDefaultThh : 0);
    }
    changed();
    return 0;
}

void SimPixCfg::releaseCopy()
{
    if (m_isCopy)
        delete this;
}

int SimPixCfg::setModeAll(uint8_t mode)
{
    // One plane serves both chips: the Timepix mode, or the Medipix2 THH adjustment.
    if (mode > (m_kind == KindTimepix ? kModeMax : kThhMax))
        return -1;
    return setAll(Mode, mode);
}

uint8_t SimPixCfg::mode8(unsigned pixel) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return pixel < m_px.mode.size() ? m_px.mode[pixel] : 0;
}

double SimPixCfg::averageMode() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_px.mode.empty())
        return 0.0;
    uint64_t sum = 0;
    for (uint8_t v : m_px.mode)
        sum += v;
    return static_cast<double>(sum) / static_cast<double>(m_px.mode.size());
}

uint8_t SimPixCfg::thhMpx3(unsigned) const
{
    return 0;
}

int SimPixCfg::setThhRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value)
{
    if (m_kind != KindMedipix2 || value > kThhMax)
        return -1;
    return setRect(Mode, x, y, w, h, value);
}

int SimPixCfg::setModeRange(unsigned x, unsigned y, unsigned w, unsigned h, uint8_t value)
{
    if (m_kind != KindTimepix || value > kModeMax)
        return -1;
    return setRect(Mode, x, y, w, h, value);
}

int SimPixCfg::setThhRangeMpx3(unsigned, unsigned, unsigned, unsigned, uint8_t)
{
    return -1;
}

} // namespace sim
