#include "pixcfgfile.h"

#include "wholefile.h"

#include <cstring>

namespace sim {

namespace {

// Text matrices hold at most a few characters a number; anything far larger is not one.
constexpr uint64_t kMaxTextBytesPerPixel = 16;

void putU16(std::string& out, unsigned v)
{
    out.push_back(char(v & 0xff));
    out.push_back(char((v >> 8) & 0xff));
}

void putU32(std::string& out, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(char((v >> (8 * i)) & 0xff));
}

uint32_t getU32(const std::string& in, size_t at)
{
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(in[at + size_t(i)]);
    return v;
}

unsigned getU16(const std::string& in, size_t at)
{
    return static_cast<unsigned char>(in[at])
        | (unsigned(static_cast<unsigned char>(in[at + 1])) << 8);
}

// One text component: the plane it fills, its largest value, and whether the file holds
// the inverse of the plane (the mask plane says "masked", the file the chip's mask bit
// "counts").
struct Component
{
    std::vector<uint8_t> PixCfgPlanes::*plane;
    unsigned maxValue;
    bool inverted;
};

int componentOf(int format, int kind, Component* out, std::string* error)
{
    using P = PixCfgPlanes;
    switch (format) {
    case PixCfgMask:
        *out = {&P::mask, 1, true};
        return PixCfgFileOk;
    case PixCfgTest:
        *out = {&P::test, 1, false};
        return PixCfgFileOk;
    case PixCfgThl:
        *out = {&P::thl, kPixCfgThlMax, false};
        return PixCfgFileOk;
    case PixCfgThh:
        if (kind != PixCfgKindMedipix2)
            return fail(error, PixCfgFileBadFormat,
                "format 4 (THH adjustment matrix) is for Medipix2 configurations only");
        *out = {&P::mode, kPixCfgThhMax, false};
        return PixCfgFileOk;
    case PixCfgMode:
        if (kind != PixCfgKindTimepix)
            return fail(error, PixCfgFileBadFormat,
                "format 5 (Timepix mode matrix) is for Timepix configurations only");
        *out = {&P::mode, kPixCfgModeMax, false};
        return PixCfgFileOk;
    default:
        return fail(error, PixCfgFileBadFormat,
            "unknown pixel configuration format " + std::to_string(format));
    }
}

unsigned maxModeOf(int kind)
{
    return kind == PixCfgKindMedipix2 ? kPixCfgThhMax : kPixCfgModeMax;
}

const char* kindName(unsigned kind)
{
    return kind == PixCfgKindMedipix2 ? "Medipix2"
        : kind == PixCfgKindTimepix   ? "Timepix"
                                      : "unknown";
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

} // namespace

std::string encodeBpc(const PixCfgShape& shape, const PixCfgPlanes& px)
{
    const size_t n = size_t(shape.width) * shape.height;
    std::string out;
    out.reserve(kBpcHeaderBytes + kBpcPixelBytes * n);
    out.append(kBpcMagic, sizeof(kBpcMagic));
    putU16(out, kBpcVersion);
    putU16(out, unsigned(shape.kind));
    putU32(out, shape.width);
    putU32(out, shape.height);
    for (size_t i = 0; i < n; ++i) {
        out.push_back(char(px.mask[i] ? 0 : 1));
        out.push_back(char(px.test[i]));
        out.push_back(char(px.thl[i]));
        out.push_back(char(px.mode[i]));
    }
    return out;
}

int decodeBpc(const std::string& bytes, const std::string& origin, const PixCfgShape& shape,
    PixCfgPlanes* out, std::string* error)
{
    if (bytes.size() < kBpcHeaderBytes || std::memcmp(bytes.data(), kBpcMagic, 4) != 0)
        return fail(error, PixCfgFileDamaged, origin + ": not a binary pixel configuration");
    const unsigned version = getU16(bytes, 4);
    const unsigned kind = getU16(bytes, 6);
    const uint32_t width = getU32(bytes, 8);
    const uint32_t height = getU32(bytes, 12);
    if (version != kBpcVersion)
        return fail(error, PixCfgFileDamaged,
            origin + ": unknown layout version " + std::to_string(version));
    if (int(kind) != shape.kind)
        return fail(error, PixCfgFileDamaged,
            origin + ": holds a " + kindName(kind) + " configuration, the device has "
                + kindName(unsigned(shape.kind)) + " chips");
    if (width != shape.width || height != shape.height)
        return fail(error, PixCfgFileDamaged,
            origin + ": holds " + std::to_string(width) + " x " + std::to_string(height)
                + " pixels, the device has " + std::to_string(shape.width) + " x "
                + std::to_string(shape.height));
    const size_t n = size_t(width) * height;
    const size_t expected = kBpcHeaderBytes + kBpcPixelBytes * n;
    if (bytes.size() != expected)
        return fail(error, PixCfgFileDamaged,
            origin + ": " + std::to_string(bytes.size()) + " bytes where "
                + std::to_string(expected) + " were expected"
                + (bytes.size() < expected ? " (truncated)" : ""));
    PixCfgPlanes px;
    px.mask.resize(n);
    px.test.resize(n);
    px.thl.resize(n);
    px.mode.resize(n);
    const unsigned modeMax = maxModeOf(shape.kind);
    for (size_t i = 0; i < n; ++i) {
        const auto* rec = reinterpret_cast<const unsigned char*>(bytes.data()) + kBpcHeaderBytes
            + kBpcPixelBytes * i;
        if (rec[0] > 1 || rec[1] > 1 || rec[2] > kPixCfgThlMax || rec[3] > modeMax)
            return fail(error, PixCfgFileDamaged,
                origin + ": pixel " + std::to_string(i) + " holds a value out of range");
        px.mask[i] = rec[0] ? 0 : 1;
        px.test[i] = rec[1];
        px.thl[i] = rec[2];
        px.mode[i] = rec[3];
    }
    *out = std::move(px);
    return PixCfgFileOk;
}

std::string encodeMatrix(unsigned width, unsigned height, const std::vector<uint8_t>& values)
{
    std::string out;
    out.reserve(size_t(width) * height * 3);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            if (x > 0)
                out.push_back(' ');
            out += std::to_string(unsigned(values[size_t(y) * width + x]));
        }
        out.push_back('\n');
    }
    return out;
}

int decodeMatrix(const std::string& text, const std::string& origin, unsigned width,
    unsigned height, unsigned maxValue, std::vector<uint8_t>* out, std::string* error)
{
    std::vector<uint8_t> values;
    values.reserve(size_t(width) * height);
    unsigned row = 0;
    size_t pos = 0;
    int line = 0;
    auto damaged = [&](const std::string& why) {
        return fail(error, PixCfgFileDamaged, origin + ":" + std::to_string(line) + ": " + why);
    };
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            end = text.size();
        ++line;
        size_t stop = end;
        if (stop > pos && text[stop - 1] == '\r')
            --stop;
        // A line of blanks only: allowed after the last row, nowhere else.
        size_t first = pos;
        while (first < stop && isBlank(text[first]))
            ++first;
        if (first == stop) {
            if (row < height)
                return damaged("empty line inside the matrix");
            pos = end + 1;
            continue;
        }
        if (row == height)
            return damaged("more than " + std::to_string(height) + " rows");
        unsigned columns = 0;
        size_t i = first;
        while (i < stop) {
            unsigned v = 0;
            size_t digits = 0;
            while (i < stop && text[i] >= '0' && text[i] <= '9') {
                v = v * 10 + unsigned(text[i] - '0');
                if (v > maxValue)
                    return damaged("value above " + std::to_string(maxValue) + " in column "
                        + std::to_string(columns + 1));
                ++i;
                ++digits;
            }
            if (digits == 0 || (i < stop && !isBlank(text[i])))
                return damaged("not a number in column " + std::to_string(columns + 1));
            if (++columns > width)
                return damaged("more than " + std::to_string(width) + " numbers");
            values.push_back(uint8_t(v));
            while (i < stop && isBlank(text[i]))
                ++i;
        }
        if (columns != width)
            return damaged(std::to_string(columns) + " numbers where " + std::to_string(width)
                + " were expected");
        ++row;
        pos = end + 1;
    }
    if (row != height)
        return fail(error, PixCfgFileDamaged,
            origin + ": " + std::to_string(row) + " rows where " + std::to_string(height)
                + " were expected");
    *out = std::move(values);
    return PixCfgFileOk;
}

int savePixCfgFile(const std::string& path, int format, const PixCfgShape& shape,
    const PixCfgPlanes& px, std::string* error)
{
    std::string bytes;
    if (format == PixCfgBinary) {
        bytes = encodeBpc(shape, px);
    } else {
        Component c {};
        const int rc = componentOf(format, shape.kind, &c, error);
        if (rc != PixCfgFileOk)
            return rc;
        std::vector<uint8_t> plane = px.*(c.plane);
        if (c.inverted)
            for (uint8_t& v : plane)
                v = v ? 0 : 1;
        bytes = encodeMatrix(shape.width, shape.height, plane);
    }
    if (!writeBytes(path, bytes, false, error))
        return PixCfgFileIoError;
    return PixCfgFileOk;
}

int loadPixCfgFile(const std::string& path, int format, const PixCfgShape& shape, PixCfgPlanes* out,
    std::string* error)
{
    const uint64_t pixels = uint64_t(shape.width) * shape.height;
    Component c {};
    if (format != PixCfgBinary) {
        const int rc = componentOf(format, shape.kind, &c, error);
        if (rc != PixCfgFileOk)
            return rc;
    }
    // A file far larger than the format allows is refused before it is read.
    const uint64_t limit = format == PixCfgBinary ? kBpcHeaderBytes + kBpcPixelBytes * pixels
                                                  : kMaxTextBytesPerPixel * pixels + 1024;
    const std::string what
        = std::to_string(shape.width) + " x " + std::to_string(shape.height) + " pixels";
    std::string bytes;
    bool tooLarge = false;
    if (!readBounded(path, limit, what, &bytes, &tooLarge, error))
        return tooLarge ? PixCfgFileDamaged : PixCfgFileIoError;
    if (format == PixCfgBinary)
        return decodeBpc(bytes, path, shape, out, error);
    std::vector<uint8_t> plane;
    const int rc = decodeMatrix(bytes, path, shape.width, shape.height, c.maxValue, &plane, error);
    if (rc != PixCfgFileOk)
        return rc;
    if (c.inverted)
        for (uint8_t& v : plane)
            v = v ? 0 : 1;
    *out = PixCfgPlanes();
    (*out).*(c.plane) = std::move(plane);
    return PixCfgFileOk;
}

} // namespace sim
