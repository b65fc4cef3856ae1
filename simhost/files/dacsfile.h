// DAC files (".dacs") of the Medipix2 / Timepix family: a text file with the names of
// the DACs and one line of values per chip (see docs/file-formats.md).
//
// Plain C++17 without Qt. The reader checks the whole file before it hands out any
// value, so a damaged file never yields half a table.
#pragma once

#include <string>
#include <vector>

namespace sim {

// One DAC of a family: its name in the file, its largest value and its default.
struct DacInfo
{
    const char* name;
    int maxValue;
    int defaultValue;
};

// Results of the file functions (0 on success); the codes match those of the pixel
// configuration files.
enum DacsFileResult : int {
    DacsFileOk = 0,
    DacsFileIoError = -2, // missing, a directory, cannot be read or written
    DacsFileDamaged = -3, // not a valid DAC file for this table and chip count
};

// values: [chip * table.size() + dac], as SimDacs::snapshot gives them.
std::string encodeDacs(
    const std::vector<DacInfo>& table, int chips, const std::vector<int>& values);
int decodeDacs(const std::string& text, const std::string& origin,
    const std::vector<DacInfo>& table, int chips, std::vector<int>* out, std::string* error);

int saveDacsFile(const std::string& path, const std::vector<DacInfo>& table, int chips,
    const std::vector<int>& values, std::string* error);
int loadDacsFile(const std::string& path, const std::vector<DacInfo>& table, int chips,
    std::vector<int>* out, std::string* error);

} // namespace sim
