// "t3r": the hits as the 64-bit words of a readout. Header of 40 bytes (magic, version,
// width, height, reserved, hit count, word count), the words, CRC-32 of everything
// before it. A hit word holds the low 18 bits of the ToA (coarse and fine); the bits
// above come from the last time-extension word, written whenever they change. ToT
// above 10 bits and flags go into an extra word just before the hit word.
#include "lebytes.h"
#include "tpx3hitformats.h"

namespace sim {

namespace {

const char kMagic[kTpx3MagicBytes + 1] = "OVT3RAWD";
constexpr size_t kHeaderBytes = 40;
constexpr size_t kWordBytes = 8;
constexpr size_t kCrcBytes = 4;

// The word's type in bits 63..60.
constexpr uint64_t kTypeTime = 0x2;
constexpr uint64_t kTypeExtra = 0x5;
constexpr uint64_t kTypeHit = 0xB;
constexpr int kTypeShift = 60;

// ToA bits a hit word holds: 14 of the 25 ns clock (coarse), 4 of its sixteenths (fine).
constexpr int kLowToaBits = 18;
constexpr uint64_t kLowToaMask = (uint64_t(1) << kLowToaBits) - 1;
constexpr uint64_t kHighToaMask = (uint64_t(1) << (64 - kLowToaBits)) - 1;
// ToT bits a hit word holds; the extra word holds the others.
constexpr int kLowTotBits = 10;
constexpr uint64_t kLowTotMask = (uint64_t(1) << kLowTotBits) - 1;

uint64_t timeWord(uint64_t high)
{
    return (kTypeTime << kTypeShift) | high;
}

uint64_t extraWord(const ov::Tpx3Hit& hit)
{
    return (kTypeExtra << kTypeShift) | (uint64_t(hit.tot >> kLowTotBits) << 16) | hit.flags;
}

uint64_t hitWord(const ov::Tpx3Hit& hit)
{
    const uint64_t low = hit.toa & kLowToaMask;
    return (kTypeHit << kTypeShift) | (uint64_t(hit.x) << 44) | (uint64_t(hit.y) << 28)
        | ((low >> 4) << 14) | ((low & 0xFu) << 10) | (hit.tot & kLowTotMask);
}

std::string wordError(uint64_t index, const std::string& text)
{
    return "word " + std::to_string(index) + ": " + text;
}

} // namespace

void encodeTpx3Raw(
    const ov::Tpx3Hit* hits, size_t count, unsigned width, unsigned height, std::string* out)
{
    const size_t start = out->size();
    putTpx3Head(kMagic, width, height, out);
    putLe32(out, 0);
    putLe64(out, uint64_t(count));
    const size_t wordCountAt = out->size();
    putLe64(out, 0); // the word count, known at the end
    uint64_t words = 0;
    uint64_t high = 0;
    for (size_t i = 0; i < count; ++i) {
        const ov::Tpx3Hit& hit = hits[i];
        if ((hit.toa >> kLowToaBits) != high) {
            high = hit.toa >> kLowToaBits;
            putLe64(out, timeWord(high));
            ++words;
        }
        if ((hit.tot >> kLowTotBits) != 0 || hit.flags != 0) {
            putLe64(out, extraWord(hit));
            ++words;
        }
        putLe64(out, hitWord(hit));
        ++words;
    }
    std::string count64;
    putLe64(&count64, words);
    out->replace(wordCountAt, count64.size(), count64);
    putLe32(out, crc32Of(out->data() + start, out->size() - start));
}

bool decodeTpx3Raw(const char* data, size_t size, Tpx3HitImage* image, std::string* what)
{
    if (!takeTpx3Head(data, size, kMagic, image, what))
        return false;
    if (size < kHeaderBytes + kCrcBytes) {
        *what = "ends in its header (" + std::to_string(size) + " bytes)";
        return false;
    }
    if (getLe32(data + 20) != 0) {
        *what = "reserved header field is not 0";
        return false;
    }
    const uint64_t count = getLe64(data + 24);
    const uint64_t words = getLe64(data + 32);
    const uint64_t room = (size - kHeaderBytes - kCrcBytes) / kWordBytes;
    if (words > room) {
        *what = "the header counts " + std::to_string(words) + " words, the file ("
            + std::to_string(size) + " bytes) holds at most " + std::to_string(room)
            + " (truncated?)";
        return false;
    }
    if (size != kHeaderBytes + words * kWordBytes + kCrcBytes) {
        *what = std::to_string(size) + " bytes, " + std::to_string(words) + " words make "
            + std::to_string(kHeaderBytes + words * kWordBytes + kCrcBytes);
        return false;
    }
    if (count > words) {
        *what = "the header counts " + std::to_string(count) + " hits in " + std::to_string(words)
            + " words";
        return false;
    }
    if (!checkTrailingCrc(data, size, what))
        return false;
    image->hits.reserve(size_t(count));
    uint64_t high = 0;
    bool extra = false;
    uint64_t extraBits = 0;
    for (uint64_t w = 0; w < words; ++w) {
        const uint64_t word = getLe64(data + kHeaderBytes + w * kWordBytes);
        const uint64_t type = word >> kTypeShift;
        if (extra && type != kTypeHit) {
            *what = wordError(w, "an extra word is not followed by its hit word");
            return false;
        }
        if (type == kTypeTime) {
            if ((word & ~(kTypeTime << kTypeShift)) > kHighToaMask) {
                *what = wordError(w, "time extension with reserved bits set");
                return false;
            }
            high = word & kHighToaMask;
        } else if (type == kTypeExtra) {
            if ((word & ~(kTypeExtra << kTypeShift)) >> 22 != 0) {
                *what = wordError(w, "extra word with reserved bits set");
                return false;
            }
            extra = true;
            extraBits = word;
        } else if (type == kTypeHit) {
            if (image->hits.size() == count) {
                *what = wordError(w, "more hits than the header's " + std::to_string(count));
                return false;
            }
            ov::Tpx3Hit hit {};
            const uint64_t low = (((word >> 14) & 0x3FFFu) << 4) | ((word >> 10) & 0xFu);
            hit.toa = (high << kLowToaBits) | low;
            hit.x = uint16_t(word >> 44);
            hit.y = uint16_t(word >> 28);
            hit.tot = uint16_t(word & kLowTotMask);
            if (extra) {
                hit.tot = uint16_t(hit.tot | (((extraBits >> 16) & 0x3Fu) << kLowTotBits));
                hit.flags = uint16_t(extraBits);
                extra = false;
            }
            if (!checkTpx3Hit(hit, image->hits.size(), image->width, image->height, what))
                return false;
            image->hits.push_back(hit);
        } else {
            *what = wordError(w, "unknown word type " + std::to_string(type));
            return false;
        }
    }
    if (extra) {
        *what = "the last word is an extra word without its hit";
        return false;
    }
    if (image->hits.size() != count) {
        *what = std::to_string(image->hits.size()) + " hits in the words, the header counts "
            + std::to_string(count);
        return false;
    }
    return true;
}

} // namespace sim
