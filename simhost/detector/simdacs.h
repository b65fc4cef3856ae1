// The DAC table of a Medipix2 or Timepix device (ov::IMpxDacs): the family's DACs with
// their ranges and defaults, one value per chip.
//
// As with the pixel configuration, the device owns the live table and dacsCopy gives
// working copies that release() deletes. A change of the live table bumps its version
// and calls the change hook (the device fires "DacsChanged"). Thread-safe.
//
// Files (dacsfile.h): the ".dacs" text file of all chips. Loading checks the whole file
// first and then takes every value in one step; a file that cannot be used leaves the
// table as it was and writes an error line through the log hook.
#pragma once

#include "dacsfile.h"
#include "hostlog.h"

#include <ovdetector.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

// The DACs of a family, in index order.
const std::vector<DacInfo>& timepixDacs();
const std::vector<DacInfo>& medipix2Dacs();
const std::vector<DacInfo>& timepix3Dacs();

// The DACs that the physics reads, by their names in a family's table.
struct DacRoles
{
    const char* thlFine;
    const char* thlCoarse;
    const char* preamp;
    const char* ikrum;
};

class SimDacs final : public ov::IMpxDacs
{
public:
    SimDacs(const std::vector<DacInfo>& table, int chips);
    ~SimDacs();

    // A value, or -1 for an unknown DAC or chip; index of a DAC by name, or -1.
    int value(int dac, int chip) const { return dacValue(dac, chip); }
    int indexOf(const char* name) const;
    int chipCount() const { return m_chips; }
    int dacCount() const { return static_cast<int>(m_table.size()); }
    std::vector<int> snapshot() const; // [chip * dacCount + dac]
    uint64_t version() const { return m_version.load(); }
    void setChangeHook(std::function<void()> hook);
    // Where file errors are reported; working copies inherit it.
    void setLogHook(LogFn hook);
    const std::vector<DacInfo>& table() const { return m_table; }
    bool isCopy() const { return m_isCopy; }
    SimDacs* makeCopy() const;
    // Takes over the values of other; -1 when the tables differ.
    int assign(const SimDacs& other);
    // Takes every value of a snapshot-shaped vector (checked by the caller); -1 for a
    // vector of the wrong size.
    int replaceValues(const std::vector<int>& values);
    // Writes the ".dacs" file: 0, or a DacsFileResult below 0 with an error line in the
    // log.
    int saveToFile(const std::string& path);

    // ov::IMpxDacs
    void dacNames(ov::StrList& out) const override;
    int dacMaxValue(int dac) const override;
    int dacValue(int dac, int chip) const override;
    // chip -1: all chips. -1 for an unknown DAC or chip or a value out of range.
    int setDacValue(int dac, int chip, int value) override;
    int resetDacs() override;
    // Reads a ".dacs" file: 0, or a DacsFileResult below 0 with an error line in the log.
    int loadFromFile(ov::FilePath& path) override;
    void release() override;

private:
    SimDacs(const SimDacs& other, bool asCopy);
    void changed();
    void report(const std::string& text) const;

    const std::vector<DacInfo>& m_table;
    const int m_chips;
    const bool m_isCopy;
    mutable std::mutex m_mutex;
    std::vector<int> m_values;
    std::atomic<uint64_t> m_version {1};
    std::function<void()> m_hook;
    LogFn m_logHook;
};

} // namespace sim
