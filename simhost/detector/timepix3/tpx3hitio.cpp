#include "tpx3hitio.h"

#include "framefile.h"
#include "hitsource.h"
#include "tpx3data.h"
#include "tpx3hitdesc.h"
#include "tpx3hitfile.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <system_error>

namespace sim {

int saveTpx3HitFile(const std::string& path, const ov::Tpx3Hit* hits, size_t count, unsigned width,
    unsigned height, std::string* error)
{
    Tpx3HitFormat format;
    if (!tpx3HitFormatFromName(path, &format)) {
        *error = path + ": not a pixel file (t3p, t3pa, t3r, prd)";
        return -1;
    }
    if (writeTpx3Hits(path, format, hits, count, width, height, error) != 0)
        return -1;
    return writeTpx3HitDescription(path, {format, count, width, height}, error);
}

ov::IData* loadTpx3HitFile(const std::string& path, std::string* error)
{
    const std::string dataPath = dataPathOf(path);
    Tpx3HitFormat format;
    if (!tpx3HitFormatFromName(dataPath, &format)) {
        *error = path + ": not a pixel file (t3p, t3pa, t3r, prd)";
        return nullptr;
    }
    auto hits = std::make_shared<std::vector<ov::Tpx3Hit>>();
    unsigned width = 0;
    unsigned height = 0;
    if (readTpx3Hits(dataPath, format, hits.get(), &width, &height, error) != 0)
        return nullptr;
    std::error_code ec;
    const std::string dscPath = dataPath + ".dsc";
    if (std::filesystem::exists(dscPath, ec)
        && checkTpx3HitDescription(dscPath, {format, hits->size(), width, height}, error) != 0)
        return nullptr;
    // The fade window looks for its start by time: the chunk's hits go in order of
    // arrival, as the readout delivers them (a stable sort keeps equal times in order).
    std::stable_sort(hits->begin(), hits->end(),
        [](const ov::Tpx3Hit& a, const ov::Tpx3Hit& b) { return a.toa < b.toa; });
    const uint64_t toaEnd = hits->empty() ? 1 : hits->back().toa + 1;
    const double seconds = double(toaEnd) * Tpx3HitSource::kToaStepSeconds;
    // Every hit of the file stays held: the frames are made from them.
    auto run = std::make_shared<Tpx3Run>(width, height, std::numeric_limits<size_t>::max());
    uint64_t delivered = 0;
    const uint64_t seq = run->addChunk(hits, toaEnd, &delivered);
    return Tpx3PixelData::create(std::move(run), std::move(hits), seq, toaEnd, delivered, seconds);
}

} // namespace sim
