// "t3p": the binary hit list. Header of 32 bytes (magic, version, width, height, record
// size, hit count), 16-byte records, CRC-32 of everything before it.
#include "lebytes.h"
#include "tpx3hitformats.h"

namespace sim {

namespace {

const char kMagic[kTpx3MagicBytes + 1] = "OVT3HITS";
constexpr size_t kHeaderBytes = 32;
constexpr size_t kRecordBytes = 16;
constexpr size_t kCrcBytes = 4;

} // namespace

void encodeTpx3List(
    const ov::Tpx3Hit* hits, size_t count, unsigned width, unsigned height, std::string* out)
{
    const size_t start = out->size();
    out->reserve(start + kHeaderBytes + count * kRecordBytes + kCrcBytes);
    putTpx3Head(kMagic, width, height, out);
    putLe32(out, uint32_t(kRecordBytes));
    putLe64(out, uint64_t(count));
    for (size_t i = 0; i < count; ++i) {
        putLe64(out, hits[i].toa);
        putLe16(out, hits[i].x);
        putLe16(out, hits[i].y);
        putLe16(out, hits[i].tot);
        putLe16(out, hits[i].flags);
    }
    putLe32(out, crc32Of(out->data() + start, out->size() - start));
}

bool decodeTpx3List(const char* data, size_t size, Tpx3HitImage* image, std::string* what)
{
    if (!takeTpx3Head(data, size, kMagic, image, what))
        return false;
    if (size < kHeaderBytes + kCrcBytes) {
        *what = "ends in its header (" + std::to_string(size) + " bytes)";
        return false;
    }
    const uint32_t recordBytes = getLe32(data + 20);
    if (recordBytes != kRecordBytes) {
        *what = "records of " + std::to_string(recordBytes) + " bytes, expected "
            + std::to_string(kRecordBytes);
        return false;
    }
    const uint64_t count = getLe64(data + 24);
    const uint64_t room = (size - kHeaderBytes - kCrcBytes) / kRecordBytes;
    if (count > room) {
        *what = "the header counts " + std::to_string(count) + " hits, the file ("
            + std::to_string(size) + " bytes) holds at most " + std::to_string(room)
            + " (truncated?)";
        return false;
    }
    const uint64_t expected = kHeaderBytes + count * kRecordBytes + kCrcBytes;
    if (size != expected) {
        *what = std::to_string(size) + " bytes, " + std::to_string(count) + " hits make "
            + std::to_string(expected);
        return false;
    }
    if (!checkTrailingCrc(data, size, what))
        return false;
    image->hits.resize(size_t(count));
    for (size_t i = 0; i < count; ++i) {
        const char* r = data + kHeaderBytes + i * kRecordBytes;
        ov::Tpx3Hit& hit = image->hits[i];
        hit.toa = getLe64(r);
        hit.x = getLe16(r + 8);
        hit.y = getLe16(r + 10);
        hit.tot = getLe16(r + 12);
        hit.flags = getLe16(r + 14);
        if (!checkTpx3Hit(hit, i, image->width, image->height, what))
            return false;
    }
    return true;
}

} // namespace sim
