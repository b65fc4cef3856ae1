#include "framefile.h"

#include "wholefile.h"
#include "zlibblock.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <system_error>
#include <type_traits>

namespace fs = std::filesystem;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
    "binary frame files are little-endian and written in host order");

namespace sim {

namespace {

const char* const kDescriptionSuffix = ".dsc";
const char* const kTypeComment = "# DataType: 2 int16, 5 uint32, 7 uint64, 9 double\n";
// A description longer than this is not one of ours (it would describe about a
// quarter of a million frames).
constexpr uint64_t kMaxDescriptionBytes = uint64_t(64) << 20;

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

std::string trimmed(const std::string& text)
{
    size_t b = 0;
    size_t e = text.size();
    while (b < e && isSpace(text[b]))
        ++b;
    while (e > b && isSpace(text[e - 1]))
        --e;
    return text.substr(b, e - b);
}

template <typename T>
bool parseNumber(const char* begin, const char* end, T* value)
{
    if (begin == end)
        return false;
    const std::from_chars_result r = std::from_chars(begin, end, *value);
    return r.ec == std::errc() && r.ptr == end;
}

template <typename T>
bool parseNumber(const std::string& text, T* value)
{
    return parseNumber(text.data(), text.data() + text.size(), value);
}

template <typename T>
void appendNumber(std::string& out, T value)
{
    char buffer[64];
    const std::to_chars_result r = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, r.ptr);
}

// Calls fn(T{}) with the pixel type of a frame type, which must be valid.
template <class Fn>
auto withPixelType(int dataType, Fn&& fn)
{
    switch (dataType) {
    case 2:
        return fn(int16_t {});
    case 5:
        return fn(uint32_t {});
    case 7:
        return fn(uint64_t {});
    default:
        return fn(double {});
    }
}

bool isFrameType(int dataType)
{
    return dataType == 2 || dataType == 5 || dataType == 7 || dataType == 9;
}

// Checks the size of a frame; the pixel count through pixels.
bool checkSize(uint64_t width, uint64_t height, uint64_t* pixels, std::string* what)
{
    if (width == 0 || height == 0) {
        *what = "a frame needs a width and a height of at least 1";
        return false;
    }
    if (width > kMaxFrameSide || height > kMaxFrameSide || width * height > kMaxFramePixels) {
        *what = "a frame of " + std::to_string(width) + " x " + std::to_string(height)
            + " pixels is larger than the host reads (at most " + std::to_string(kMaxFramePixels)
            + " pixels)";
        return false;
    }
    *pixels = width * height;
    return true;
}

// Whitespace-separated tokens of a piece of text.
class Tokens
{
public:
    Tokens(const char* data, size_t size) : m_p(data), m_end(data + size) { }
    // The next token, false at the end.
    bool next(const char** begin, const char** end)
    {
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
        if (m_p == m_end)
            return false;
        *begin = m_p;
        while (m_p < m_end && !isSpace(*m_p))
            ++m_p;
        *end = m_p;
        return true;
    }

private:
    const char* m_p;
    const char* m_end;
};

std::string tokenText(const char* begin, const char* end)
{
    // Enough of a bad token to recognise it, printable.
    std::string text(begin, size_t(std::min<ptrdiff_t>(end - begin, 24)));
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7f)
            c = '?';
    if (end - begin > 24)
        text += "...";
    return "\"" + text + "\"";
}

// ---------------------------------------------------------------------------------
// Encoding

template <typename T>
void encodeText(
    const T* px, unsigned width, unsigned height, bool sparse, std::string* out, uint64_t* entries)
{
    const size_t n = size_t(width) * height;
    uint64_t count = 0;
    if (!sparse) {
        out->reserve(n * (sizeof(T) == 2 ? 6 : 12));
        for (size_t i = 0; i < n; ++i) {
            appendNumber(*out, px[i]);
            out->push_back((i + 1) % width == 0 ? '\n' : ' ');
        }
        count = n;
    } else {
        for (size_t i = 0; i < n; ++i) {
            if (px[i] == T(0))
                continue;
            appendNumber(*out, uint64_t(i));
            out->push_back(' ');
            appendNumber(*out, px[i]);
            out->push_back('\n');
            ++count;
        }
    }
    *entries = count;
}

template <typename T>
void encodeBinary(
    const T* px, unsigned width, unsigned height, bool sparse, std::string* out, uint64_t* entries)
{
    const size_t n = size_t(width) * height;
    if (!sparse) {
        out->append(reinterpret_cast<const char*>(px), n * sizeof(T));
        *entries = n;
        return;
    }
    uint64_t count = 0;
    for (size_t i = 0; i < n; ++i) {
        if (px[i] == T(0))
            continue;
        const uint32_t index = static_cast<uint32_t>(i);
        out->append(reinterpret_cast<const char*>(&index), sizeof index);
        out->append(reinterpret_cast<const char*>(&px[i]), sizeof(T));
        ++count;
    }
    *entries = count;
}

// ---------------------------------------------------------------------------------
// Decoding

template <typename T>
bool decodeText(const FrameEntry& e, bool sparse, uint64_t pixels, const char* data, size_t size,
    std::vector<unsigned char>& buffer, std::string* what)
{
    T* px = reinterpret_cast<T*>(buffer.data());
    Tokens tokens(data, size);
    const char* b = nullptr;
    const char* t = nullptr;
    if (!sparse) {
        for (uint64_t i = 0; i < pixels; ++i) {
            if (!tokens.next(&b, &t)) {
                *what = "the data end after " + std::to_string(i) + " of " + std::to_string(pixels)
                    + " numbers";
                return false;
            }
            if (!parseNumber(b, t, &px[i])) {
                *what = "number " + std::to_string(i + 1) + " " + tokenText(b, t)
                    + " is not a value of the frame's pixel type";
                return false;
            }
        }
    } else {
        for (uint64_t i = 0; i < e.entries; ++i) {
            uint64_t index = 0;
            T value {};
            if (!tokens.next(&b, &t) || !parseNumber(b, t, &index)) {
                *what = "pair " + std::to_string(i + 1) + " of " + std::to_string(e.entries)
                    + " has no pixel index";
                return false;
            }
            if (index >= pixels) {
                *what = "pair " + std::to_string(i + 1) + " names pixel " + std::to_string(index)
                    + ", beyond the " + std::to_string(pixels) + " pixels of the frame";
                return false;
            }
            if (!tokens.next(&b, &t) || !parseNumber(b, t, &value)) {
                *what = "pair " + std::to_string(i + 1) + " has no value of the frame's pixel type";
                return false;
            }
            px[index] = value;
        }
    }
    if (tokens.next(&b, &t)) {
        *what = "more numbers than the description lists, from " + tokenText(b, t);
        return false;
    }
    return true;
}

template <typename T>
bool decodeBinary(const FrameEntry& e, bool sparse, uint64_t pixels, const char* data, size_t size,
    std::vector<unsigned char>& buffer, std::string* what)
{
    if (!sparse) {
        if (size != pixels * sizeof(T)) {
            *what = "the frame takes " + std::to_string(pixels * sizeof(T)) + " bytes, not "
                + std::to_string(size);
            return false;
        }
        std::memcpy(buffer.data(), data, size);
        return true;
    }
    const size_t record = sizeof(uint32_t) + sizeof(T);
    if (size != e.entries * record) {
        *what = std::to_string(e.entries) + " pairs take " + std::to_string(e.entries * record)
            + " bytes, not " + std::to_string(size);
        return false;
    }
    T* px = reinterpret_cast<T*>(buffer.data());
    for (uint64_t i = 0; i < e.entries; ++i) {
        uint32_t index = 0;
        std::memcpy(&index, data + i * record, sizeof index);
        if (index >= pixels) {
            *what = "pair " + std::to_string(i + 1) + " names pixel " + std::to_string(index)
                + ", beyond the " + std::to_string(pixels) + " pixels of the frame";
            return false;
        }
        std::memcpy(&px[index], data + i * record + sizeof index, sizeof(T));
    }
    return true;
}

// ---------------------------------------------------------------------------------
// Files

bool isDescriptionName(const std::string& path)
{
    const size_t n = std::strlen(kDescriptionSuffix);
    if (path.size() <= n)
        return false;
    for (size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(path[path.size() - n + i]))
            != kDescriptionSuffix[i])
            return false;
    return true;
}

// Loads and checks the description of a data file, including that the data file holds
// every frame it lists.
bool loadDescription(
    const std::string& dataPath, const std::string& dscPath, Description* d, std::string* error)
{
    std::string text;
    if (!readWhole(dscPath, kMaxDescriptionBytes, &text, error))
        return false;
    if (parseDescription(text, dscPath, d, error) != 0)
        return false;
    uint64_t size = 0;
    if (!fileSize(dataPath, &size, error))
        return false;
    for (size_t i = 0; i < d->frames.size(); ++i) {
        const FrameEntry& e = d->frames[i];
        if (e.offset > size || e.bytes > size - e.offset)
            return fail(error,
                dataPath + ": frame " + std::to_string(i) + " should end at byte "
                    + std::to_string(e.offset + e.bytes) + " but the file has only "
                    + std::to_string(size) + " bytes (truncated?)");
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------

bool fileFormOf(int typeCode, unsigned flags, FileForm* out, const FrameFileOptions& options)
{
    FileForm form;
    form.description = !(flags & FileFlagNoDescription);
    switch (typeCode) {
    case FileTypeTextFrame:
        break;
    case FileTypeBinaryFrame:
        form.binary = true;
        break;
    case FileTypeMultiFrame:
        form.binary = (flags & FileFlagBinary) != 0;
        form.sparse = (flags & FileFlagSparse) != 0;
        break;
    default:
        return false;
    }
    if (form.binary && options.compression == CompressZlib)
        form.compression = CompressZlib;
    if (out)
        *out = form;
    return true;
}

const char* compressionName(int compression)
{
    return compression == CompressZlib ? "zlib" : "none";
}

uint64_t plainFrameBytes(const FrameEntry& e, const FileForm& form)
{
    const uint64_t pb = pixelBytes(e.dataType);
    return form.sparse ? e.entries * (4 + pb) : uint64_t(e.width) * e.height * pb;
}

const char* formName(const FileForm& form)
{
    if (form.binary)
        return form.sparse ? "binary sparse" : "binary matrix";
    return form.sparse ? "text sparse" : "text matrix";
}

size_t pixelBytes(int dataType)
{
    switch (dataType) {
    case 2:
        return 2;
    case 5:
        return 4;
    case 7:
    case 9:
        return 8;
    default:
        return 0;
    }
}

std::string descriptionHeader(int fileType, const FileForm& form, const std::string& dataFile)
{
    std::string out = "# Orvel frame description: the frames of the data file named below\n";
    out += kTypeComment;
    // Readers of format 1 know no compression; a compressed file is format 2, so that
    // they refuse it instead of reading the blocks as pixels.
    const bool compressed = form.compression != CompressNone;
    out += "[File]\nFormat=" + std::string(compressed ? "2" : "1") + "\nData=" + dataFile
        + "\nFileType=" + std::to_string(fileType) + "\nForm=" + formName(form) + "\n";
    if (compressed)
        out += "Compression=" + std::string(compressionName(form.compression)) + "\n";
    return out;
}

std::string descriptionSection(int index, const FrameEntry& e)
{
    std::string name = e.name;
    for (char& c : name)
        if (static_cast<unsigned char>(c) < 0x20)
            c = ' ';
    std::string out = "\n[Frame " + std::to_string(index) + "]\nName=" + name
        + "\nDataType=" + std::to_string(e.dataType) + "\nWidth=" + std::to_string(e.width)
        + "\nHeight=" + std::to_string(e.height) + "\nAcqTime=";
    appendNumber(out, e.acqTime);
    out += "\nOffset=" + std::to_string(e.offset) + "\nBytes=" + std::to_string(e.bytes)
        + "\nEntries=" + std::to_string(e.entries) + "\n";
    return out;
}

int parseDescription(
    const std::string& text, const std::string& origin, Description* out, std::string* error)
{
    enum Key : unsigned {
        KDataType = 1,
        KWidth = 2,
        KHeight = 4,
        KOffset = 8,
        KBytes = 16,
        KEntries = 32,
        KAllFrame = 63,
        KFormat = 64,
        KFileType = 128,
        KForm = 256,
        KAllFile = 448,
    };
    Description d;
    int compression = CompressNone;
    int section = 0; // 0 none yet, 1 [File], 2 a frame
    unsigned fileKeys = 0;
    unsigned frameKeys = 0;
    int lineNo = 0;
    auto where = [&](int line) { return origin + ": line " + std::to_string(line) + ": "; };
    auto finishFrame = [&]() -> bool {
        if (section != 2)
            return true;
        FrameEntry& e = d.frames.back();
        const std::string at = where(e.line) + "frame " + std::to_string(d.frames.size() - 1);
        if ((frameKeys & KAllFrame) != KAllFrame)
            return fail(
                error, at + " lacks one of DataType, Width, Height, Offset, Bytes, Entries");
        uint64_t pixels = 0;
        std::string what;
        if (!checkSize(e.width, e.height, &pixels, &what))
            return fail(error, at + ": " + what);
        const uint64_t pb = pixelBytes(e.dataType);
        if (!d.form.sparse && e.entries != pixels)
            return fail(error,
                at + ": a matrix of " + std::to_string(e.width) + " x " + std::to_string(e.height)
                    + " has " + std::to_string(pixels) + " numbers, not "
                    + std::to_string(e.entries));
        if (d.form.sparse && e.entries > pixels)
            return fail(error,
                at + ": " + std::to_string(e.entries) + " pairs for only " + std::to_string(pixels)
                    + " pixels");
        if (d.form.binary && compression != CompressNone) {
            // A compressed frame: its length prefix at least.
            if (e.bytes < 4)
                return fail(error,
                    at + ": a compressed frame takes at least 4 bytes, not "
                        + std::to_string(e.bytes));
        } else if (d.form.binary) {
            const uint64_t expected = d.form.sparse ? e.entries * (4 + pb) : pixels * pb;
            if (e.bytes != expected)
                return fail(error,
                    at + ": takes " + std::to_string(expected) + " bytes, not "
                        + std::to_string(e.bytes));
        } else if (e.bytes < e.entries) {
            return fail(error,
                at + ": " + std::to_string(e.entries) + " numbers cannot fit in "
                    + std::to_string(e.bytes) + " bytes");
        }
        if (e.offset > std::numeric_limits<uint64_t>::max() - e.bytes)
            return fail(error, at + ": offset out of range");
        return true;
    };

    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(pos, end - pos);
        pos = end + 1;
        ++lineNo;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.find('\0') != std::string::npos)
            return fail(error, -1, where(lineNo) + "holds a NUL byte (not a text file)");
        const std::string t = trimmed(line);
        if (t.empty() || t[0] == '#' || t[0] == ';')
            continue;
        if (t.front() == '[') {
            if (t.back() != ']')
                return fail(error, -1, where(lineNo) + "unterminated section name");
            const std::string name = trimmed(t.substr(1, t.size() - 2));
            if (!finishFrame())
                return -1;
            if (name == "File") {
                if (section != 0)
                    return fail(error, -1, where(lineNo) + "[File] must come first, and once");
                section = 1;
            } else if (name.compare(0, 6, "Frame ") == 0) {
                if (section == 0)
                    return fail(error, -1, where(lineNo) + "a frame before [File]");
                if (section == 1 && (fileKeys & KAllFile) != KAllFile)
                    return fail(
                        error, -1, where(lineNo) + "[File] lacks one of Format, FileType, Form");
                if (section == 1 && compression != CompressNone && !d.form.binary)
                    return fail(error, -1,
                        where(lineNo) + "only binary forms are compressed, not a "
                            + formName(d.form));
                unsigned number = 0;
                if (!parseNumber(trimmed(name.substr(6)), &number) || number != d.frames.size())
                    return fail(error, -1,
                        where(lineNo) + "expected [Frame " + std::to_string(d.frames.size())
                            + "], found [" + name + "]");
                if (d.frames.size() >= 1 && d.fileType != FileTypeMultiFrame)
                    return fail(error, -1, where(lineNo) + "a single-frame file with more frames");
                d.frames.emplace_back();
                d.frames.back().line = lineNo;
                section = 2;
                frameKeys = 0;
            } else {
                return fail(error, -1, where(lineNo) + "unknown section [" + name + "]");
            }
            continue;
        }
        const size_t eq = t.find('=');
        if (eq == std::string::npos)
            return fail(error, -1, where(lineNo) + "neither a section nor key=value");
        if (section == 0)
            return fail(error, -1, where(lineNo) + "a key before [File]");
        const std::string key = trimmed(t.substr(0, eq));
        const std::string value = trimmed(t.substr(eq + 1));
        auto bad = [&]() {
            return fail(
                error, -1, where(lineNo) + key + ": bad value \"" + value.substr(0, 40) + "\"");
        };
        if (section == 1) {
            if (key == "Format") {
                unsigned v = 0;
                if (!parseNumber(value, &v) || (v != 1 && v != 2))
                    return fail(error, -1,
                        where(lineNo) + "format " + value.substr(0, 40) + " is not known here");
                fileKeys |= KFormat;
            } else if (key == "FileType") {
                int v = 0;
                if (!parseNumber(value, &v)
                    || (v != FileTypeTextFrame && v != FileTypeBinaryFrame
                        && v != FileTypeMultiFrame))
                    return bad();
                d.fileType = v;
                fileKeys |= KFileType;
            } else if (key == "Form") {
                if (value == "text matrix")
                    d.form = FileForm {false, false, true, CompressNone};
                else if (value == "text sparse")
                    d.form = FileForm {false, true, true, CompressNone};
                else if (value == "binary matrix")
                    d.form = FileForm {true, false, true, CompressNone};
                else if (value == "binary sparse")
                    d.form = FileForm {true, true, true, CompressNone};
                else
                    return bad();
                fileKeys |= KForm;
            } else if (key == "Compression") {
                if (value == "none")
                    compression = CompressNone;
                else if (value == "zlib")
                    compression = CompressZlib;
                else
                    return bad();
            } else if (key == "Data") {
                d.dataFile = value;
            }
            // Other keys are left for later versions.
        } else {
            FrameEntry& e = d.frames.back();
            if (key == "Name") {
                e.name = value;
            } else if (key == "DataType") {
                if (!parseNumber(value, &e.dataType) || !isFrameType(e.dataType))
                    return bad();
                frameKeys |= KDataType;
            } else if (key == "Width") {
                if (!parseNumber(value, &e.width))
                    return bad();
                frameKeys |= KWidth;
            } else if (key == "Height") {
                if (!parseNumber(value, &e.height))
                    return bad();
                frameKeys |= KHeight;
            } else if (key == "AcqTime") {
                if (!parseNumber(value, &e.acqTime) || !std::isfinite(e.acqTime) || e.acqTime < 0.0)
                    return bad();
            } else if (key == "Offset") {
                if (!parseNumber(value, &e.offset))
                    return bad();
                frameKeys |= KOffset;
            } else if (key == "Bytes") {
                if (!parseNumber(value, &e.bytes))
                    return bad();
                frameKeys |= KBytes;
            } else if (key == "Entries") {
                if (!parseNumber(value, &e.entries))
                    return bad();
                frameKeys |= KEntries;
            }
        }
    }
    if (section == 0)
        return fail(error, -1, origin + ": not a frame description (no [File] section)");
    if ((fileKeys & KAllFile) != KAllFile)
        return fail(error, -1, origin + ": [File] lacks one of Format, FileType, Form");
    if (compression != CompressNone && !d.form.binary)
        return fail(
            error, -1, origin + ": only binary forms are compressed, not a " + formName(d.form));
    if (!finishFrame())
        return -1;
    d.form.compression = compression;
    if (d.fileType == FileTypeTextFrame && (d.form.binary || d.form.sparse))
        return fail(error, -1, origin + ": a text frame file must be a text matrix");
    if (d.fileType == FileTypeBinaryFrame && (!d.form.binary || d.form.sparse))
        return fail(error, -1, origin + ": a binary frame file must be a binary matrix");
    if (d.fileType != FileTypeMultiFrame && d.frames.size() != 1)
        return fail(error, -1, origin + ": a single-frame file must list exactly one frame");
    if (out)
        *out = std::move(d);
    return 0;
}

bool encodeFrame(const FrameView& frame, const FileForm& form, std::string* out, uint64_t* entries,
    std::string* error, int level)
{
    if (!isFrameType(frame.dataType))
        return fail(error, "unknown pixel type " + std::to_string(frame.dataType));
    uint64_t pixels = 0;
    std::string what;
    if (!checkSize(frame.width, frame.height, &pixels, &what))
        return fail(error, what);
    if (!frame.pixels)
        return fail(error, "a frame without pixels");
    out->clear();
    withPixelType(frame.dataType, [&](auto t) {
        using T = decltype(t);
        const T* px = static_cast<const T*>(frame.pixels);
        if (form.binary)
            encodeBinary(px, frame.width, frame.height, form.sparse, out, entries);
        else
            encodeText(px, frame.width, frame.height, form.sparse, out, entries);
    });
    if (form.binary && form.compression == CompressZlib)
        *out = compressBlock(*out, level);
    return true;
}

int decodeFrame(const FrameEntry& entry, const FileForm& form, const char* data, size_t size,
    FrameData* out, std::string* error)
{
    if (!isFrameType(entry.dataType))
        return fail(error, -1, "unknown pixel type " + std::to_string(entry.dataType));
    uint64_t pixels = 0;
    std::string what;
    if (!checkSize(entry.width, entry.height, &pixels, &what))
        return fail(error, -1, what);
    if (size != entry.bytes)
        return fail(error, -1,
            "the frame should take " + std::to_string(entry.bytes) + " bytes, found "
                + std::to_string(size));
    std::string plain;
    if (form.binary && form.compression == CompressZlib) {
        if (!uncompressBlock(data, size, size_t(plainFrameBytes(entry, form)), &plain, &what))
            return fail(error, -1, what);
        data = plain.data();
        size = plain.size();
    }
    if (form.sparse && entry.entries > pixels)
        return fail(error, -1, "more pairs than pixels");
    std::vector<unsigned char> buffer(size_t(pixels) * pixelBytes(entry.dataType), 0);
    const bool ok = withPixelType(entry.dataType, [&](auto t) {
        using T = decltype(t);
        return form.binary ? decodeBinary<T>(entry, form.sparse, pixels, data, size, buffer, &what)
                           : decodeText<T>(entry, form.sparse, pixels, data, size, buffer, &what);
    });
    if (!ok)
        return fail(error, -1, what);
    if (out) {
        out->dataType = entry.dataType;
        out->width = entry.width;
        out->height = entry.height;
        out->acqTime = entry.acqTime;
        out->name = entry.name;
        out->pixels = std::move(buffer);
    }
    return 0;
}

int parseTextMatrices(const char* data, size_t size, int index, FrameData* out, std::string* error)
{
    int matrices = 0;
    size_t pos = 0;
    int lineNo = 0;
    // Lines of the matrix being read: [begin, end) of each, and its first line number.
    std::vector<std::pair<size_t, size_t>> rows;
    int firstLine = 0;

    auto finishMatrix = [&]() -> bool {
        if (rows.empty())
            return true;
        const int number = matrices++;
        const std::string at = "line " + std::to_string(firstLine) + ": ";
        // Width from the first row; every row must have as many numbers.
        uint64_t width = 0;
        {
            Tokens tk(data + rows[0].first, rows[0].second - rows[0].first);
            const char* b = nullptr;
            const char* e = nullptr;
            while (tk.next(&b, &e))
                ++width;
        }
        uint64_t pixels = 0;
        std::string what;
        if (!checkSize(width, rows.size(), &pixels, &what))
            return fail(error, at + what);
        // First pass: the smallest type that holds every value.
        bool anyDouble = false;
        bool anyBig = false;
        long long lo = 0;
        long long hi = 0;
        for (size_t r = 0; r < rows.size(); ++r) {
            Tokens tk(data + rows[r].first, rows[r].second - rows[r].first);
            const char* b = nullptr;
            const char* e = nullptr;
            uint64_t n = 0;
            while (tk.next(&b, &e)) {
                ++n;
                long long v = 0;
                unsigned long long u = 0;
                double x = 0.0;
                if (parseNumber(b, e, &v)) {
                    lo = std::min(lo, v);
                    hi = std::max(hi, v);
                } else if (parseNumber(b, e, &u)) {
                    anyBig = true;
                } else if (parseNumber(b, e, &x)) {
                    anyDouble = true;
                } else if (*b == '#') {
                    return fail(error,
                        "line " + std::to_string(firstLine + int(r))
                            + ": a comment: sparse data and other annotated files cannot be "
                              "read without their description file");
                } else {
                    return fail(error,
                        "line " + std::to_string(firstLine + int(r)) + ": " + tokenText(b, e)
                            + " is not a number");
                }
            }
            if (n != width)
                return fail(error,
                    "line " + std::to_string(firstLine + int(r)) + ": " + std::to_string(n)
                        + " numbers, but the first row of its matrix has " + std::to_string(width));
        }
        if (index >= 0 && number != index) {
            rows.clear();
            return true;
        }
        int type = 9;
        if (!anyDouble) {
            if (!anyBig && lo >= std::numeric_limits<int16_t>::min()
                && hi <= std::numeric_limits<int16_t>::max())
                type = 2;
            else if (!anyBig && lo >= 0 && hi <= (long long)std::numeric_limits<uint32_t>::max())
                type = 5;
            else if (lo >= 0)
                type = 7;
        }
        std::vector<unsigned char> buffer(size_t(pixels) * pixelBytes(type), 0);
        withPixelType(type, [&](auto t) {
            using T = decltype(t);
            T* px = reinterpret_cast<T*>(buffer.data());
            size_t i = 0;
            for (const auto& row : rows) {
                Tokens tk(data + row.first, row.second - row.first);
                const char* b = nullptr;
                const char* e = nullptr;
                while (tk.next(&b, &e)) {
                    if (!parseNumber(b, e, &px[i]))
                        px[i] = T(0); // cannot happen: the first pass chose T to fit
                    ++i;
                }
            }
        });
        if (out) {
            out->dataType = type;
            out->width = unsigned(width);
            out->height = unsigned(rows.size());
            out->acqTime = 0.0;
            out->name.clear();
            out->pixels = std::move(buffer);
        }
        rows.clear();
        return true;
    };

    while (pos < size) {
        const char* nl = static_cast<const char*>(std::memchr(data + pos, '\n', size - pos));
        const size_t end = nl ? size_t(nl - data) : size;
        ++lineNo;
        bool blank = true;
        for (size_t i = pos; i < end; ++i)
            if (!isSpace(data[i])) {
                blank = false;
                break;
            }
        if (blank) {
            if (!finishMatrix())
                return -1;
        } else {
            if (rows.empty())
                firstLine = lineNo;
            rows.emplace_back(pos, end);
        }
        pos = end + 1;
    }
    if (!finishMatrix())
        return -1;
    if (matrices == 0)
        return fail(error, -1, "holds no numbers");
    if (index >= 0) {
        if (index >= matrices)
            return fail(error, -1,
                "has " + std::to_string(matrices) + " matrices, no matrix "
                    + std::to_string(index));
        return 0;
    }
    return matrices;
}

std::string descriptionPathOf(const std::string& dataPath)
{
    return dataPath + kDescriptionSuffix;
}

std::string dataPathOf(const std::string& path)
{
    if (isDescriptionName(path))
        return path.substr(0, path.size() - std::strlen(kDescriptionSuffix));
    return path;
}

int fileTypeFromPath(const std::string& path)
{
    std::string ext = fs::path(dataPathOf(path)).extension().string();
    std::transform(
        ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    if (ext == ".txt")
        return FileTypeTextFrame;
    if (ext == ".bin")
        return FileTypeBinaryFrame;
    if (ext == ".mfd")
        return FileTypeMultiFrame;
    if (ext == ".png")
        return FileTypePicture;
    return -1;
}

// ---------------------------------------------------------------------------------
// Writing

int FrameFileWriter::create(const std::string& path, int fileType, unsigned flags,
    std::string* error, const FrameFileOptions& options)
{
    m_open = false;
    m_count = 0;
    m_offset = 0;
    m_level = options.level;
    if (path.empty())
        return fail(error, -1, "no file name");
    if (!fileFormOf(fileType, flags, &m_form, options))
        return fail(
            error, -1, path + ": the host writes no files of type " + std::to_string(fileType));
    if (isDescriptionName(path))
        return fail(error, -1, path + ": a data file cannot end in .dsc");
    m_path = path;
    m_dscPath = descriptionPathOf(path);
    m_type = fileType;
    const fs::path parent = fs::path(path).parent_path();
    std::error_code ec;
    if (!parent.empty() && !fs::exists(parent, ec)) {
        fs::create_directories(parent, ec);
        if (ec)
            return fail(error, -1,
                path + ": cannot create the folder " + parent.string() + ": " + ec.message());
    }
    if (pathKind(path) == PathDirectory)
        return fail(error, -1, path + ": is a directory");
    // Sparse text without description would read like a matrix of two columns; a
    // comment line makes such a reader stop instead.
    std::string start;
    if (!m_form.description && m_form.sparse && !m_form.binary)
        start = "# sparse frames (pixel index and value); the sizes were not saved\n";
    if (!writeBytes(path, start, false, error))
        return -1;
    m_offset = start.size();
    if (m_form.description) {
        const std::string header
            = descriptionHeader(fileType, m_form, fs::path(path).filename().string());
        if (!writeBytes(m_dscPath, header, false, error))
            return -1;
    } else if (pathKind(m_dscPath) == PathFile) {
        // An old description would describe other data.
        fs::remove(fs::path(m_dscPath), ec);
    }
    m_open = true;
    return 0;
}

int FrameFileWriter::append(const FrameView& frame, std::string* error)
{
    if (!m_open)
        return fail(error, -1, "no file is open for writing");
    if (m_type != FileTypeMultiFrame && m_count >= 1)
        return fail(error, -1, m_path + ": a single-frame file takes one frame");
    std::string bytes;
    uint64_t entries = 0;
    std::string what;
    if (!encodeFrame(frame, m_form, &bytes, &entries, &what, m_level))
        return fail(error, -1, m_path + ": " + what);
    // An empty line after each frame of a text multi-frame file keeps the frames apart
    // for readers that have no description.
    if (m_type == FileTypeMultiFrame && !m_form.binary)
        bytes.push_back('\n');
    if (!writeBytes(m_path, bytes, true, error))
        return -1;
    if (m_form.description) {
        FrameEntry e;
        e.name = frame.name;
        e.dataType = frame.dataType;
        e.width = frame.width;
        e.height = frame.height;
        e.acqTime = frame.acqTime;
        e.offset = m_offset;
        e.bytes = bytes.size();
        e.entries = entries;
        if (!writeBytes(m_dscPath, descriptionSection(m_count, e), true, error))
            return -1;
    }
    m_offset += bytes.size();
    ++m_count;
    return 0;
}

bool canWriteFrames(const std::string& path, int fileType, unsigned flags,
    const std::vector<FrameView>& frames, std::string* error)
{
    FileForm form;
    if (!fileFormOf(fileType, flags, &form)) {
        fail(error, -1, path + ": the host writes no files of type " + std::to_string(fileType));
        return false;
    }
    for (const FrameView& f : frames) {
        uint64_t pixels = 0;
        std::string what;
        if (!isFrameType(f.dataType) || !f.pixels
            || !checkSize(f.width, f.height, &pixels, &what)) {
            fail(error, -1,
                path + ": cannot write this frame: "
                    + (what.empty() ? std::string("bad pixel type or no pixels") : what));
            return false;
        }
    }
    return true;
}

int writeFrameFile(const std::string& path, int fileType, unsigned flags,
    const std::vector<FrameView>& frames, std::string* error, const FrameFileOptions& options)
{
    if (fileType != FileTypeMultiFrame && frames.size() != 1)
        return fail(error, -1, path + ": a single-frame file takes exactly one frame");
    // Check every frame before anything on disk changes.
    if (!canWriteFrames(path, fileType, flags, frames, error))
        return -1;
    FrameFileWriter writer;
    if (writer.create(path, fileType, flags, error, options) != 0)
        return -1;
    for (const FrameView& f : frames)
        if (writer.append(f, error) != 0)
            return -1;
    return 0;
}

// ---------------------------------------------------------------------------------
// Reading

// The whole of a data file that has no description: only text matrices can be read
// that way.
static bool readUndescribedText(
    const std::string& dataPath, const std::string& dscPath, std::string* text, std::string* error)
{
    const int type = fileTypeFromPath(dataPath);
    if (!checkReadable(dataPath, error))
        return false;
    if (type != FileTypeTextFrame && type != FileTypeMultiFrame) {
        fail(error, -1,
            dataPath + ": no description file " + fs::path(dscPath).filename().string()
                + ", and only text matrices can be read without one");
        return false;
    }
    return readWhole(dataPath, std::numeric_limits<uint64_t>::max(), text, error);
}

int countFramesInFile(const std::string& path, std::string* error)
{
    const std::string dataPath = dataPathOf(path);
    const std::string dscPath = descriptionPathOf(dataPath);
    if (pathKind(dscPath) != PathMissing) {
        Description d;
        if (!loadDescription(dataPath, dscPath, &d, error))
            return -1;
        return int(d.frames.size());
    }
    std::string text;
    if (!readUndescribedText(dataPath, dscPath, &text, error))
        return -1;
    std::string what;
    const int n = parseTextMatrices(text.data(), text.size(), -1, nullptr, &what);
    if (n < 0)
        return fail(error, -1, dataPath + ": " + what);
    return n;
}

int readFrameFromFile(const std::string& path, int index, FrameData* out, std::string* error)
{
    const std::string dataPath = dataPathOf(path);
    const std::string dscPath = descriptionPathOf(dataPath);
    if (index < 0)
        return fail(error, -1, dataPath + ": no frame " + std::to_string(index));
    if (pathKind(dscPath) != PathMissing) {
        Description d;
        if (!loadDescription(dataPath, dscPath, &d, error))
            return -1;
        if (size_t(index) >= d.frames.size())
            return fail(error, -1,
                dataPath + ": has " + std::to_string(d.frames.size()) + " frames, no frame "
                    + std::to_string(index));
        const FrameEntry& e = d.frames[size_t(index)];
        std::string bytes;
        if (!readSlice(dataPath, e.offset, e.bytes, &bytes, error))
            return -1;
        std::string what;
        FrameData frame;
        if (decodeFrame(e, d.form, bytes.data(), bytes.size(), &frame, &what) != 0)
            return fail(error, -1,
                dataPath + ": frame " + std::to_string(index) + " (described at line "
                    + std::to_string(e.line) + " of " + fs::path(dscPath).filename().string()
                    + "): " + what);
        if (out)
            *out = std::move(frame);
        return 0;
    }
    std::string text;
    if (!readUndescribedText(dataPath, dscPath, &text, error))
        return -1;
    std::string what;
    FrameData frame;
    if (parseTextMatrices(text.data(), text.size(), index, &frame, &what) != 0)
        return fail(error, -1, dataPath + ": " + what);
    // Without a description the frame is named after its file.
    frame.name = fs::path(dataPath).filename().string();
    if (index > 0)
        frame.name += " [" + std::to_string(index) + "]";
    if (out)
        *out = std::move(frame);
    return 0;
}

} // namespace sim
