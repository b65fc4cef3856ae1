#include "zlibblock.h"

#include <QByteArray>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace sim {

std::string compressBlock(const std::string& plain, int level)
{
    const QByteArray packed = qCompress(reinterpret_cast<const uchar*>(plain.data()),
        qsizetype(plain.size()), std::clamp(level, 1, 9));
    return std::string(packed.constData(), size_t(packed.size()));
}

bool uncompressBlock(
    const char* data, size_t size, size_t expected, std::string* plain, std::string* why)
{
    if (size < 4) {
        *why = "the compressed block is too short (" + std::to_string(size) + " bytes)";
        return false;
    }
    const auto* b = reinterpret_cast<const unsigned char*>(data);
    const uint32_t length
        = (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | uint32_t(b[3]);
    // The length is checked first, so a damaged one cannot make the reader allocate
    // more than the description allows.
    if (expected > std::numeric_limits<uint32_t>::max() || length != expected) {
        *why = "the compressed block holds " + std::to_string(length) + " bytes, the description "
            + std::to_string(expected);
        return false;
    }
    if (size > size_t(std::numeric_limits<qsizetype>::max())) {
        *why = "the compressed block is too large";
        return false;
    }
    const QByteArray unpacked = qUncompress(reinterpret_cast<const uchar*>(data), qsizetype(size));
    if (size_t(unpacked.size()) != expected) {
        *why = "the compressed data are damaged (zlib could not restore the "
            + std::to_string(expected) + " bytes)";
        return false;
    }
    plain->assign(unpacked.constData(), size_t(unpacked.size()));
    return true;
}

} // namespace sim
