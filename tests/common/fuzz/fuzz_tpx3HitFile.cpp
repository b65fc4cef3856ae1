// Reads arbitrary bytes as a Timepix3 hit file in each of its formats. Whatever is read
// must be whole: a chip of legal size, every hit inside it, no more hits than the bytes
// can hold, time order where the format promises it, and the hits written again in the
// same format read back the same.
#include "fuzzinput.h"
#include "tpx3hitfile.h"

#include <string>
#include <vector>

namespace {

bool sameHit(const ov::Tpx3Hit& a, const ov::Tpx3Hit& b)
{
    return a.toa == b.toa && a.x == b.x && a.y == b.y && a.tot == b.tot && a.flags == b.flags;
}

void readAs(int format, const char* data, size_t size)
{
    std::vector<ov::Tpx3Hit> hits;
    unsigned width = 0;
    unsigned height = 0;
    std::string error;
    if (sim::decodeTpx3Hits(format, data, size, "fuzz", &hits, &width, &height, &error) != 0) {
        FUZZ_CHECK(!error.empty() && hits.empty() && width == 0 && height == 0);
        return;
    }
    FUZZ_CHECK(width >= 1 && width <= sim::kMaxTpx3Side);
    FUZZ_CHECK(height >= 1 && height <= sim::kMaxTpx3Side);
    // The smallest hit of any format takes 8 bytes (a raw hit word).
    FUZZ_CHECK(hits.size() <= size / 8);
    for (size_t i = 0; i < hits.size(); ++i) {
        FUZZ_CHECK(hits[i].x < width && hits[i].y < height);
        if (format == sim::Tpx3HitSorted && i > 0)
            FUZZ_CHECK(hits[i - 1].toa <= hits[i].toa);
    }

    std::string encoded;
    FUZZ_CHECK(
        sim::encodeTpx3Hits(format, hits.data(), hits.size(), width, height, &encoded, &error)
        == 0);
    std::vector<ov::Tpx3Hit> back;
    unsigned w = 0;
    unsigned h = 0;
    FUZZ_CHECK(
        sim::decodeTpx3Hits(format, encoded.data(), encoded.size(), "again", &back, &w, &h, &error)
        == 0);
    FUZZ_CHECK(w == width && h == height && back.size() == hits.size());
    for (size_t i = 0; i < hits.size(); ++i)
        FUZZ_CHECK(sameHit(back[i], hits[i]));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const char* bytes = reinterpret_cast<const char*>(data);
    for (int format : {sim::Tpx3HitList, sim::Tpx3HitText, sim::Tpx3HitRaw, sim::Tpx3HitSorted})
        readAs(format, bytes, size);
    return 0;
}
