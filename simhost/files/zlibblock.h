// Compressed blocks of the host's binary frame files.
//
// A block has the layout of QtCore's qCompress: the length of the plain bytes as a
// 4-byte big-endian number, then a zlib stream (RFC 1950) of them, whose checksum finds
// most damage. The interface is plain C++, so the frame files stay free of Qt types.
#pragma once

#include <cstddef>
#include <string>

namespace sim {

// level 1 (fastest) to 9 (smallest); other values are taken as the nearest.
std::string compressBlock(const std::string& plain, int level);
// The plain bytes of a block that must hold exactly `expected` of them; false with *why
// set (no file name) when the block is too short, holds another length, or is damaged.
bool uncompressBlock(
    const char* data, size_t size, size_t expected, std::string* plain, std::string* why);

} // namespace sim
