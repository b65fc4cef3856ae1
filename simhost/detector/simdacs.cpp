#include "simdacs.h"

#include "dacsfile.h"

#include <ovcore.h>

#include <QString>

#include <cstring>

namespace sim {

const std::vector<DacInfo>& timepixDacs()
{
    static const std::vector<DacInfo> table = {
        {"IKrum", 255, 5},
        {"Disc", 255, 127},
        {"Preamp", 255, 255},
        {"BuffAnalogA", 255, 127},
        {"BuffAnalogB", 255, 127},
        {"Hist", 255, 0},
        {"THL", 1023, 375},
        {"THLCoarse", 15, 7},
        {"Vcas", 255, 130},
        {"FBK", 255, 128},
        {"GND", 255, 80},
        {"THS", 255, 100},
        {"BiasLVDS", 255, 128},
        {"RefLVDS", 255, 128},
    };
    return table;
}

const std::vector<DacInfo>& timepix3Dacs()
{
    static const std::vector<DacInfo> table = {
        {"IbiasPreampOn", 255, 128},
        {"IbiasPreampOff", 15, 8},
        {"VPreampNcas", 255, 128},
        {"IbiasIkrum", 255, 15},
        {"Vfbk", 255, 164},
        {"VthresholdFine", 511, 375},
        {"VthresholdCoarse", 15, 7},
        {"IbiasDiscS1On", 255, 100},
        {"IbiasDiscS1Off", 15, 8},
        {"IbiasDiscS2On", 255, 128},
        {"IbiasDiscS2Off", 15, 8},
        {"IbiasPixelDac", 255, 128},
        {"IbiasTpBufferIn", 255, 128},
        {"IbiasTpBufferOut", 255, 128},
        {"VTpCoarse", 255, 128},
        {"VTpFine", 511, 256},
        {"IbiasCpPll", 255, 128},
        {"PllVcntrl", 255, 128},
    };
    return table;
}

const std::vector<DacInfo>& medipix2Dacs()
{
    static const std::vector<DacInfo> table = {
        {"IKrum", 255, 5},
        {"Disc", 255, 127},
        {"Preamp", 255, 255},
        {"SetDisc", 255, 127},
        {"THS", 255, 100},
        {"IFF", 255, 128},
        {"DelayN", 255, 128},
        {"THLFine", 1023, 375},
        {"THLCoarse", 15, 7},
        {"THHFine", 1023, 100},
        {"THHCoarse", 15, 7},
        {"FBK", 255, 128},
        {"GND", 255, 80},
        {"BiasLVDS", 255, 128},
        {"RefLVDS", 255, 128},
    };
    return table;
}

SimDacs::SimDacs(const std::vector<DacInfo>& table, int chips)
    : m_table(table), m_chips(chips), m_isCopy(false)
{
    m_values.resize(table.size() * size_t(chips));
    for (int c = 0; c < chips; ++c)
        for (size_t d = 0; d < table.size(); ++d)
            m_values[size_t(c) * table.size() + d] = table[d].defaultValue;
}

SimDacs::SimDacs(const SimDacs& other, bool asCopy)
    : m_table(other.m_table), m_chips(other.m_chips), m_isCopy(asCopy)
{
    m_values = other.snapshot();
    std::lock_guard<std::mutex> lock(other.m_mutex);
    m_logHook = other.m_logHook;
}

SimDacs::~SimDacs() = default;

int SimDacs::indexOf(const char* name) const
{
    for (size_t d = 0; d < m_table.size(); ++d) {
        if (name && std::strcmp(m_table[d].name, name) == 0)
            return static_cast<int>(d);
    }
    return -1;
}

std::vector<int> SimDacs::snapshot() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_values;
}

void SimDacs::setChangeHook(std::function<void()> hook)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_hook = std::move(hook);
}

void SimDacs::setLogHook(LogFn hook)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_logHook = std::move(hook);
}

void SimDacs::report(const std::string& text) const
{
    LogFn hook;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        hook = m_logHook;
    }
    if (hook)
        hook(ov::LogError, QString::fromStdString(text));
}

int SimDacs::replaceValues(const std::vector<int>& values)
{
    if (values.size() != m_table.size() * size_t(m_chips))
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_values = values;
    }
    changed();
    return 0;
}

int SimDacs::saveToFile(const std::string& path)
{
    std::string error;
    const int rc = saveDacsFile(path, m_table, m_chips, snapshot(), &error);
    if (rc != DacsFileOk)
        report("DACs not saved: " + error);
    return rc;
}

SimDacs* SimDacs::makeCopy() const
{
    return new SimDacs(*this, true);
}

int SimDacs::assign(const SimDacs& other)
{
    if (&other == this)
        return 0;
    if (&other.m_table != &m_table || other.m_chips != m_chips)
        return -1;
    std::vector<int> values = other.snapshot();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_values = std::move(values);
    }
    changed();
    return 0;
}

void SimDacs::changed()
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

void SimDacs::dacNames(ov::StrList& out) const
{
    for (const DacInfo& info : m_table)
        out.add(info.name);
}

int SimDacs::dacMaxValue(int dac) const
{
    if (dac < 0 || dac >= dacCount())
        return -1;
    return m_table[size_t(dac)].maxValue;
}

int SimDacs::dacValue(int dac, int chip) const
{
    if (dac < 0 || dac >= dacCount() || chip < 0 || chip >= m_chips)
        return -1;
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_values[size_t(chip) * m_table.size() + size_t(dac)];
}

int SimDacs::setDacValue(int dac, int chip, int value)
{
    if (dac < 0 || dac >= dacCount() || chip < -1 || chip >= m_chips || value < 0
        || value > m_table[size_t(dac)].maxValue)
        return -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (int c = 0; c < m_chips; ++c) {
            if (chip == -1 || c == chip)
                m_values[size_t(c) * m_table.size() + size_t(dac)] = value;
        }
    }
    changed();
    return 0;
}

int SimDacs::resetDacs()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (int c = 0; c < m_chips; ++c)
            for (size_t d = 0; d < m_table.size(); ++d)
                m_values[size_t(c) * m_table.size() + d] = m_table[d].defaultValue;
    }
    changed();
    return 0;
}

int SimDacs::loadFromFile(ov::FilePath& path)
{
    std::vector<int> values;
    std::string error;
    const int rc = loadDacsFile(path.get(), m_table, m_chips, &values, &error);
    if (rc != DacsFileOk) {
        report("DACs not loaded: " + error);
        return rc;
    }
    return replaceValues(values);
}

void SimDacs::release()
{
    if (m_isCopy)
        delete this;
}

} // namespace sim
