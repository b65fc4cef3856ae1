#include "tpx3hitfile.h"

#include "lebytes.h"
#include "tpx3hitformats.h"
#include "wholefile.h"

#include <cstring>

namespace sim {

namespace {

struct FormatName
{
    Tpx3HitFormat format;
    const char* ending;
};

// "t3pa" before "t3p" would not matter (a name ending in "t3pa" does not end in "t3p"),
// but the table lists the longer ending first all the same.
constexpr FormatName kFormats[] = {
    {Tpx3HitText, "t3pa"},
    {Tpx3HitList, "t3p"},
    {Tpx3HitRaw, "t3r"},
    {Tpx3HitSorted, "prd"},
};

bool endsWith(const std::string& text, const char* ending)
{
    const size_t n = std::strlen(ending);
    return text.size() >= n && text.compare(text.size() - n, n, ending) == 0;
}

} // namespace

bool tpx3HitFormatFromName(const std::string& name, Tpx3HitFormat* format)
{
    for (const FormatName& f : kFormats) {
        if (endsWith(name, f.ending)) {
            *format = f.format;
            return true;
        }
    }
    return false;
}

const char* tpx3HitFormatEnding(int format)
{
    for (const FormatName& f : kFormats) {
        if (f.format == format)
            return f.ending;
    }
    return nullptr;
}

bool checkTpx3Sides(uint64_t width, uint64_t height, std::string* what)
{
    if (width < 1 || width > kMaxTpx3Side || height < 1 || height > kMaxTpx3Side) {
        *what = "chip size " + std::to_string(width) + " x " + std::to_string(height)
            + " outside 1 to " + std::to_string(kMaxTpx3Side);
        return false;
    }
    return true;
}

bool checkTpx3Hit(
    const ov::Tpx3Hit& hit, size_t index, unsigned width, unsigned height, std::string* what)
{
    if (hit.x >= width || hit.y >= height) {
        *what = "hit " + std::to_string(index) + " at pixel (" + std::to_string(hit.x) + ", "
            + std::to_string(hit.y) + ") lies outside the chip of " + std::to_string(width) + " x "
            + std::to_string(height);
        return false;
    }
    return true;
}

void putTpx3Head(const char* magic, unsigned width, unsigned height, std::string* out)
{
    out->append(magic, kTpx3MagicBytes);
    putLe32(out, kTpx3Version);
    putLe32(out, uint32_t(width));
    putLe32(out, uint32_t(height));
}

bool takeTpx3Head(
    const char* data, size_t size, const char* magic, Tpx3HitImage* image, std::string* what)
{
    if (size < kTpx3MagicBytes || std::memcmp(data, magic, kTpx3MagicBytes) != 0) {
        *what = "not a file of this format (wrong magic)";
        return false;
    }
    if (size < kTpx3MagicBytes + 12) {
        *what = "ends in its header (" + std::to_string(size) + " bytes)";
        return false;
    }
    const uint32_t version = getLe32(data + 8);
    if (version != kTpx3Version) {
        *what = "version " + std::to_string(version) + ", this host reads version "
            + std::to_string(kTpx3Version);
        return false;
    }
    const uint32_t width = getLe32(data + 12);
    const uint32_t height = getLe32(data + 16);
    if (!checkTpx3Sides(width, height, what))
        return false;
    image->width = width;
    image->height = height;
    return true;
}

bool checkTrailingCrc(const char* data, size_t size, std::string* what)
{
    const uint32_t stored = getLe32(data + size - 4);
    const uint32_t computed = crc32Of(data, size - 4);
    if (stored != computed) {
        *what = "checksum mismatch (damaged file)";
        return false;
    }
    return true;
}

int encodeTpx3Hits(int format, const ov::Tpx3Hit* hits, size_t count, unsigned width,
    unsigned height, std::string* out, std::string* error)
{
    if (!tpx3HitFormatEnding(format))
        return fail(error, -1, "unknown Timepix3 hit format " + std::to_string(format));
    std::string what;
    if (!checkTpx3Sides(width, height, &what))
        return fail(error, -1, what);
    if (count > 0 && !hits)
        return fail(error, -1, "no hits given for a count of " + std::to_string(count));
    for (size_t i = 0; i < count; ++i) {
        if (!checkTpx3Hit(hits[i], i, width, height, &what))
            return fail(error, -1, what);
    }
    switch (format) {
    case Tpx3HitList:
        encodeTpx3List(hits, count, width, height, out);
        break;
    case Tpx3HitText:
        encodeTpx3Text(hits, count, width, height, out);
        break;
    case Tpx3HitRaw:
        encodeTpx3Raw(hits, count, width, height, out);
        break;
    default:
        encodeTpx3Sorted(hits, count, width, height, out);
        break;
    }
    return 0;
}

int decodeTpx3Hits(int format, const char* data, size_t size, const std::string& origin,
    std::vector<ov::Tpx3Hit>* hits, unsigned* width, unsigned* height, std::string* error)
{
    const char* ending = tpx3HitFormatEnding(format);
    if (!ending)
        return fail(error, -1, origin + ": unknown Timepix3 hit format " + std::to_string(format));
    Tpx3HitImage image;
    std::string what;
    bool ok = false;
    switch (format) {
    case Tpx3HitList:
        ok = decodeTpx3List(data, size, &image, &what);
        break;
    case Tpx3HitText:
        ok = decodeTpx3Text(data, size, &image, &what);
        break;
    case Tpx3HitRaw:
        ok = decodeTpx3Raw(data, size, &image, &what);
        break;
    default:
        ok = decodeTpx3Sorted(data, size, &image, &what);
        break;
    }
    if (!ok)
        return fail(error, -1, origin + ": " + ending + " hit file: " + what);
    hits->swap(image.hits);
    *width = image.width;
    *height = image.height;
    return 0;
}

int writeTpx3Hits(const std::string& path, int format, const ov::Tpx3Hit* hits, size_t count,
    unsigned width, unsigned height, std::string* error)
{
    std::string bytes;
    std::string why;
    if (encodeTpx3Hits(format, hits, count, width, height, &bytes, &why) != 0)
        return fail(error, -1, path + ": " + why);
    return writeBytes(path, bytes, false, error) ? 0 : -1;
}

int readTpx3Hits(const std::string& path, int format, std::vector<ov::Tpx3Hit>* hits,
    unsigned* width, unsigned* height, std::string* error)
{
    std::string bytes;
    bool tooLarge = false;
    if (!readBounded(path, kMaxTpx3HitFileBytes, "a Timepix3 hit file", &bytes, &tooLarge, error))
        return -1;
    return decodeTpx3Hits(format, bytes.data(), bytes.size(), path, hits, width, height, error);
}

} // namespace sim
