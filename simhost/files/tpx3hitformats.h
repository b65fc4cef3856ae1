// What the four Timepix3 hit formats share behind tpx3hitfile.h: one encoder and one
// decoder each, and the checks every one makes. Internal to the files room.
#pragma once

#include "tpx3hitfile.h"

#include <ovdetector.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

// A decoded list before it is handed out.
struct Tpx3HitImage
{
    unsigned width = 0;
    unsigned height = 0;
    std::vector<ov::Tpx3Hit> hits;
};

// Each format: the encoder appends to out (sides and hits already checked); the decoder
// fills image and gives true, or gives false with a message (without origin) in *what.
void encodeTpx3List(
    const ov::Tpx3Hit* hits, size_t count, unsigned width, unsigned height, std::string* out);
bool decodeTpx3List(const char* data, size_t size, Tpx3HitImage* image, std::string* what);
void encodeTpx3Text(
    const ov::Tpx3Hit* hits, size_t count, unsigned width, unsigned height, std::string* out);
bool decodeTpx3Text(const char* data, size_t size, Tpx3HitImage* image, std::string* what);
void encodeTpx3Raw(
    const ov::Tpx3Hit* hits, size_t count, unsigned width, unsigned height, std::string* out);
bool decodeTpx3Raw(const char* data, size_t size, Tpx3HitImage* image, std::string* what);
void encodeTpx3Sorted(
    const ov::Tpx3Hit* hits, size_t count, unsigned width, unsigned height, std::string* out);
bool decodeTpx3Sorted(const char* data, size_t size, Tpx3HitImage* image, std::string* what);

// Whether the sides are 1 to kMaxTpx3Side; else a message in *what.
bool checkTpx3Sides(uint64_t width, uint64_t height, std::string* what);
// Whether the hit lies inside width x height; else a message naming hit `index`.
bool checkTpx3Hit(
    const ov::Tpx3Hit& hit, size_t index, unsigned width, unsigned height, std::string* what);

// The fixed part of the binary formats: the 8-byte magic, then the uint32 version
// (kTpx3Version), width and height.
constexpr uint32_t kTpx3Version = 1;
constexpr size_t kTpx3MagicBytes = 8;
void putTpx3Head(const char* magic, unsigned width, unsigned height, std::string* out);
// Checks magic, version and sides of the first 20 bytes (size must be at least that).
bool takeTpx3Head(
    const char* data, size_t size, const char* magic, Tpx3HitImage* image, std::string* what);
// Whether the last 4 bytes of data are the CRC-32 of the ones before (size >= 4).
bool checkTrailingCrc(const char* data, size_t size, std::string* what);

} // namespace sim
