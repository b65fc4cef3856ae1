// "prd": the processed hit list: hits sorted by time of arrival, in chunks. Header of
// 44 bytes (magic, version, width, height, hits per chunk at most, hit count, chunk
// count, CRC-32 of the header). Each chunk: marker "CHNK", its hit count, the ToA of its
// first hit, 12-byte records with the ToA as an offset from that one, CRC-32 of the chunk.
#include "lebytes.h"
#include "tpx3hitformats.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace sim {

namespace {

const char kMagic[kTpx3MagicBytes + 1] = "OVT3SORT";
const char kChunkMarker[] = "CHNK";
constexpr size_t kHeaderBytes = 44;
constexpr size_t kChunkHeadBytes = 16;
constexpr size_t kRecordBytes = 12;
constexpr size_t kCrcBytes = 4;
constexpr uint32_t kChunkHits = 65536;
constexpr uint64_t kMaxOffset = std::numeric_limits<uint32_t>::max();

void putChunk(const std::vector<ov::Tpx3Hit>& sorted, size_t first, size_t n, std::string* out)
{
    const size_t start = out->size();
    out->append(kChunkMarker, 4);
    putLe32(out, uint32_t(n));
    const uint64_t base = sorted[first].toa;
    putLe64(out, base);
    for (size_t i = first; i < first + n; ++i) {
        putLe32(out, uint32_t(sorted[i].toa - base));
        putLe16(out, sorted[i].x);
        putLe16(out, sorted[i].y);
        putLe16(out, sorted[i].tot);
        putLe16(out, sorted[i].flags);
    }
    putLe32(out, crc32Of(out->data() + start, out->size() - start));
}

// The chunk at data[0, size): checks it and appends its hits; *used gets its bytes.
bool takeChunk(const char* data, size_t size, uint64_t index, uint64_t count, Tpx3HitImage* image,
    size_t* used, std::string* what)
{
    const std::string chunk = "chunk " + std::to_string(index) + ": ";
    if (size < kChunkHeadBytes) {
        *what = chunk + "ends in its header (truncated?)";
        return false;
    }
    if (std::memcmp(data, kChunkMarker, 4) != 0) {
        *what = chunk + "no chunk marker";
        return false;
    }
    const uint32_t n = getLe32(data + 4);
    if (n < 1 || n > kChunkHits) {
        *what
            = chunk + std::to_string(n) + " hits, a chunk holds 1 to " + std::to_string(kChunkHits);
        return false;
    }
    if (n > count - image->hits.size()) {
        *what = chunk + "more hits than the header's " + std::to_string(count);
        return false;
    }
    const size_t bytes = kChunkHeadBytes + size_t(n) * kRecordBytes + kCrcBytes;
    if (size < bytes) {
        *what = chunk + std::to_string(bytes) + " bytes, the file ends after "
            + std::to_string(size) + " (truncated?)";
        return false;
    }
    if (!checkTrailingCrc(data, bytes, what)) {
        *what = chunk + *what;
        return false;
    }
    const uint64_t base = getLe64(data + 8);
    uint64_t last = image->hits.empty() ? 0 : image->hits.back().toa;
    for (uint32_t i = 0; i < n; ++i) {
        const char* r = data + kChunkHeadBytes + size_t(i) * kRecordBytes;
        const uint32_t offset = getLe32(r);
        if ((i == 0 && offset != 0) || offset > std::numeric_limits<uint64_t>::max() - base) {
            *what = chunk + "ToA offset " + std::to_string(offset) + " of hit " + std::to_string(i)
                + " out of range";
            return false;
        }
        ov::Tpx3Hit hit {};
        hit.toa = base + offset;
        hit.x = getLe16(r + 4);
        hit.y = getLe16(r + 6);
        hit.tot = getLe16(r + 8);
        hit.flags = getLe16(r + 10);
        if (hit.toa < last) {
            *what = chunk + "hit " + std::to_string(i) + " earlier than the one before";
            return false;
        }
        if (!checkTpx3Hit(hit, image->hits.size(), image->width, image->height, what))
            return false;
        last = hit.toa;
        image->hits.push_back(hit);
    }
    *used = bytes;
    return true;
}

} // namespace

void encodeTpx3Sorted(
    const ov::Tpx3Hit* hits, size_t count, unsigned width, unsigned height, std::string* out)
{
    std::vector<ov::Tpx3Hit> sorted(hits, hits + count);
    std::stable_sort(sorted.begin(), sorted.end(),
        [](const ov::Tpx3Hit& a, const ov::Tpx3Hit& b) { return a.toa < b.toa; });
    // Chunks end at kChunkHits hits or where an offset would not fit 32 bits.
    std::vector<size_t> starts;
    for (size_t i = 0; i < count; ++i) {
        if (starts.empty() || i - starts.back() == kChunkHits
            || sorted[i].toa - sorted[starts.back()].toa > kMaxOffset)
            starts.push_back(i);
    }
    const size_t start = out->size();
    putTpx3Head(kMagic, width, height, out);
    putLe32(out, kChunkHits);
    putLe64(out, uint64_t(count));
    putLe64(out, uint64_t(starts.size()));
    putLe32(out, crc32Of(out->data() + start, out->size() - start));
    for (size_t c = 0; c < starts.size(); ++c) {
        const size_t end = c + 1 < starts.size() ? starts[c + 1] : count;
        putChunk(sorted, starts[c], end - starts[c], out);
    }
}

bool decodeTpx3Sorted(const char* data, size_t size, Tpx3HitImage* image, std::string* what)
{
    if (!takeTpx3Head(data, size, kMagic, image, what))
        return false;
    if (size < kHeaderBytes) {
        *what = "ends in its header (" + std::to_string(size) + " bytes)";
        return false;
    }
    if (!checkTrailingCrc(data, kHeaderBytes, what)) {
        *what = "header: " + *what;
        return false;
    }
    if (getLe32(data + 20) != kChunkHits) {
        *what = "chunks of " + std::to_string(getLe32(data + 20)) + " hits, expected "
            + std::to_string(kChunkHits);
        return false;
    }
    const uint64_t count = getLe64(data + 24);
    const uint64_t chunks = getLe64(data + 32);
    const uint64_t rest = size - kHeaderBytes;
    const uint64_t smallestChunk = kChunkHeadBytes + kRecordBytes + kCrcBytes;
    if (count > rest / kRecordBytes || chunks > rest / smallestChunk) {
        *what = "the header counts " + std::to_string(count) + " hits in " + std::to_string(chunks)
            + " chunks, more than " + std::to_string(size) + " bytes hold (truncated?)";
        return false;
    }
    if ((count == 0) != (chunks == 0) || chunks > count) {
        *what = "the header counts " + std::to_string(count) + " hits in " + std::to_string(chunks)
            + " chunks";
        return false;
    }
    image->hits.reserve(size_t(count));
    size_t pos = kHeaderBytes;
    for (uint64_t c = 0; c < chunks; ++c) {
        size_t used = 0;
        if (!takeChunk(data + pos, size - pos, c, count, image, &used, what))
            return false;
        pos += used;
    }
    if (image->hits.size() != count) {
        *what = std::to_string(image->hits.size()) + " hits in the chunks, the header counts "
            + std::to_string(count) + " (truncated?)";
        return false;
    }
    if (pos != size) {
        *what = std::to_string(size - pos) + " bytes after the last chunk";
        return false;
    }
    return true;
}

} // namespace sim
