// The host's Timepix3 pixel files: lists of hits written and read back.
//
// Four formats, chosen by the ending of the file name (exact case, no dot demanded):
//   "t3p"  binary list: header, fixed 16-byte records, CRC-32
//   "t3pa" the same list as tab-separated text, one hit per line
//   "t3r"  raw: the 64-bit words of a readout, with time-extension words, CRC-32
//   "prd"  processed: hits sorted by time of arrival, in chunks with their own headers
// Every format reads back exactly the hits written; "prd" gives them sorted by time
// (hits of equal time keep their order). The layouts are documented for users in
// docs/file-formats.md.
//
// Plain C++17, so that the decoders can be fuzzed on their own. Nothing throws: every
// function gives 0 on success and -1 with a message naming the file (or the origin of
// the bytes) and what is wrong. A failed read leaves the outputs untouched, so a damaged
// or truncated file never passes for a shorter list.
#pragma once

#include <ovdetector.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

enum Tpx3HitFormat : int {
    Tpx3HitList = 0,   // "t3p"
    Tpx3HitText = 1,   // "t3pa"
    Tpx3HitRaw = 2,    // "t3r"
    Tpx3HitSorted = 3, // "prd"
};

// The chip (or device frame) a list belongs to; every hit lies inside it. Sides are
// 1 to kMaxTpx3Side pixels.
constexpr unsigned kMaxTpx3Side = 65536;

// Largest file the readers take in: 4 GiB.
constexpr uint64_t kMaxTpx3HitFileBytes = uint64_t(1) << 32;

// The format of a file name by its ending ("a.t3pa" is text), exact case; false for
// any other name (also "A.T3P").
bool tpx3HitFormatFromName(const std::string& name, Tpx3HitFormat* format);
// "t3p", "t3pa", "t3r", "prd"; nullptr for a value outside the enum.
const char* tpx3HitFormatEnding(int format);

// The hits in a format, appended to *out. Fails for an unknown format, a side outside
// 1 to kMaxTpx3Side or a hit outside width x height (naming its index).
int encodeTpx3Hits(int format, const ov::Tpx3Hit* hits, size_t count, unsigned width,
    unsigned height, std::string* out, std::string* error);
// The hits of bytes in a format; origin names the bytes in messages. The outputs are
// set only on success.
int decodeTpx3Hits(int format, const char* data, size_t size, const std::string& origin,
    std::vector<ov::Tpx3Hit>* hits, unsigned* width, unsigned* height, std::string* error);

// Replaces the file at path with the hits in the format.
int writeTpx3Hits(const std::string& path, int format, const ov::Tpx3Hit* hits, size_t count,
    unsigned width, unsigned height, std::string* error);
// The hits of the file at path, read in the format.
int readTpx3Hits(const std::string& path, int format, std::vector<ov::Tpx3Hit>* hits,
    unsigned* width, unsigned* height, std::string* error);

} // namespace sim
