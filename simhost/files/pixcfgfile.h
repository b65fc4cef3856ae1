// Pixel configuration files of the Medipix2 / Timepix family: the binary "*.bpc" file
// holding every component of every pixel, and text matrices of one component (see
// docs/file-formats.md for the layouts).
//
// Plain C++17 without Qt. Readers check everything before they hand anything out, so a
// damaged file never yields half a configuration.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

// The chips a configuration is for (IMpxPixCfg::kind()) and the largest value of each
// adjustment.
enum PixCfgKind : int {
    PixCfgKindMedipix2 = 1,
    PixCfgKindTimepix = 2
};
constexpr uint8_t kPixCfgThlMax = 15;
constexpr uint8_t kPixCfgThhMax = 7;
constexpr uint8_t kPixCfgModeMax = 3;

// Every component of every pixel, one plane each (width x height values).
struct PixCfgPlanes
{
    std::vector<uint8_t> mask, test, thl, mode; // mode: Timepix mode or Medipix2 THH
};

// Format codes of IMpxPixCfg::saveToFile / loadFromFile.
enum PixCfgFormat : int {
    PixCfgBinary = 0, // "*.bpc": all components
    PixCfgMask = 1,   // text matrix of mask bits (1 counts, 0 masked)
    PixCfgTest = 2,   // text matrix of test bits
    PixCfgThl = 3,    // text matrix of THL adjustments (0-15)
    PixCfgThh = 4,    // text matrix of Medipix2 THH adjustments (0-7)
    PixCfgMode = 5,   // text matrix of Timepix modes (0-3)
};

// Results of the file functions (0 on success).
enum PixCfgFileResult : int {
    PixCfgFileOk = 0,
    PixCfgFileBadFormat = -1, // a format code the configuration does not have
    PixCfgFileIoError = -2,   // missing, a directory, cannot be read or written
    PixCfgFileDamaged = -3,   // the contents are not a valid file of the format
};

struct PixCfgShape
{
    unsigned width = 0;
    unsigned height = 0;
    int kind = PixCfgKindTimepix;
};

// The binary file: a 16-byte header ("OVPC", version, kind, width, height) and four
// bytes a pixel (mask bit, test bit, THL adjustment, THH adjustment or mode).
constexpr char kBpcMagic[4] = {'O', 'V', 'P', 'C'};
constexpr unsigned kBpcVersion = 1;
constexpr size_t kBpcHeaderBytes = 16;
constexpr size_t kBpcPixelBytes = 4;

std::string encodeBpc(const PixCfgShape& shape, const PixCfgPlanes& px);
// All four planes of out are filled on success.
int decodeBpc(const std::string& bytes, const std::string& origin, const PixCfgShape& shape,
    PixCfgPlanes* out, std::string* error);

// A text matrix: height lines of width numbers from 0 to maxValue.
std::string encodeMatrix(unsigned width, unsigned height, const std::vector<uint8_t>& values);
int decodeMatrix(const std::string& text, const std::string& origin, unsigned width,
    unsigned height, unsigned maxValue, std::vector<uint8_t>* out, std::string* error);

// Writes the components of a format to a file.
int savePixCfgFile(const std::string& path, int format, const PixCfgShape& shape,
    const PixCfgPlanes& px, std::string* error);
// Reads a file of a format. The planes the file holds are filled in out (all four for
// the binary file, one for a text matrix); the others are left empty.
int loadPixCfgFile(const std::string& path, int format, const PixCfgShape& shape, PixCfgPlanes* out,
    std::string* error);

} // namespace sim
