// "t3pa": the hit list as text. A header line with the chip size and the hit count, a
// line naming the columns, then one line per hit: index, ToA, x, y, ToT, flags as
// decimal numbers separated by one tab. Every line ends in "\n".
#include "tpx3hitformats.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

namespace sim {

namespace {

const char kHeadWidth[] = "# Timepix3 hits width=";
const char kHeadHeight[] = " height=";
const char kHeadHits[] = " hits=";
const char kColumns[] = "Index\tToA\tX\tY\tToT\tFlags";
constexpr size_t kColumnCount = 6;
// The shortest hit line: six one-digit numbers, five tabs and the newline.
constexpr size_t kShortestLine = 12;

// One line of the text, without its "\n".
struct Line
{
    const char* begin = nullptr;
    const char* end = nullptr;
};

class Lines
{
public:
    Lines(const char* data, size_t size) : m_pos(data), m_end(data + size) { }

    // The next line, or false at the end of the text or when the line has no "\n".
    bool next(Line* line, std::string* what)
    {
        ++m_number;
        if (m_pos == m_end) {
            *what = "ends before line " + std::to_string(m_number) + " (truncated?)";
            return false;
        }
        const void* nl = std::memchr(m_pos, '\n', size_t(m_end - m_pos));
        if (!nl) {
            *what = "line " + std::to_string(m_number) + " has no end of line (truncated?)";
            return false;
        }
        line->begin = m_pos;
        line->end = static_cast<const char*>(nl);
        m_pos = line->end + 1;
        return true;
    }
    bool atEnd() const { return m_pos == m_end; }
    int number() const { return m_number; }

private:
    const char* m_pos;
    const char* m_end;
    int m_number = 0;
};

// A decimal number of digits only that takes the whole of [b, e) and is at most max.
bool parseNumber(const char* b, const char* e, uint64_t max, uint64_t* out)
{
    if (b == e || *b < '0' || *b > '9')
        return false;
    uint64_t value = 0;
    const std::from_chars_result r = std::from_chars(b, e, value);
    if (r.ec != std::errc() || r.ptr != e || value > max)
        return false;
    *out = value;
    return true;
}

// Takes `literal` at *pos, then a number up to `stop` (a character or the line's end).
bool takeField(
    const char** pos, const char* end, const char* literal, char stop, uint64_t max, uint64_t* out)
{
    const size_t n = std::strlen(literal);
    if (size_t(end - *pos) < n || std::memcmp(*pos, literal, n) != 0)
        return false;
    const char* b = *pos + n;
    const char* e = stop ? std::find(b, end, stop) : end;
    if (!parseNumber(b, e, max, out))
        return false;
    *pos = e;
    return true;
}

bool parseHead(const Line& line, uint64_t* width, uint64_t* height, uint64_t* count)
{
    const char* pos = line.begin;
    return takeField(&pos, line.end, kHeadWidth, ' ', kMaxTpx3Side, width)
        && takeField(&pos, line.end, kHeadHeight, ' ', kMaxTpx3Side, height)
        && takeField(&pos, line.end, kHeadHits, '\0', std::numeric_limits<uint64_t>::max(), count);
}

const char* const kColumnNames[kColumnCount] = {"index", "ToA", "x", "y", "ToT", "flags"};

bool parseHit(const Line& line, uint64_t index, const Tpx3HitImage& image, ov::Tpx3Hit* hit,
    int number, std::string* what)
{
    constexpr uint64_t u16 = std::numeric_limits<uint16_t>::max();
    const uint64_t max[kColumnCount] = {std::numeric_limits<uint64_t>::max(),
        std::numeric_limits<uint64_t>::max(), image.width - 1u, image.height - 1u, u16, u16};
    uint64_t values[kColumnCount] = {};
    const char* pos = line.begin;
    for (size_t c = 0; c < kColumnCount; ++c) {
        if (c > 0) {
            if (pos == line.end || *pos != '\t') {
                *what = "line " + std::to_string(number) + ": " + std::to_string(c)
                    + " columns, expected " + std::to_string(kColumnCount);
                return false;
            }
            ++pos;
        }
        const char* e = std::find(pos, line.end, '\t');
        if (c + 1 == kColumnCount)
            e = line.end;
        if (!parseNumber(pos, e, max[c], &values[c])) {
            *what = "line " + std::to_string(number) + ": bad " + kColumnNames[c] + " \""
                + std::string(pos, e) + "\"";
            return false;
        }
        pos = e;
    }
    if (values[0] != index) {
        *what = "line " + std::to_string(number) + ": index " + std::to_string(values[0])
            + ", expected " + std::to_string(index);
        return false;
    }
    hit->toa = values[1];
    hit->x = uint16_t(values[2]);
    hit->y = uint16_t(values[3]);
    hit->tot = uint16_t(values[4]);
    hit->flags = uint16_t(values[5]);
    return true;
}

} // namespace

void encodeTpx3Text(
    const ov::Tpx3Hit* hits, size_t count, unsigned width, unsigned height, std::string* out)
{
    *out += kHeadWidth + std::to_string(width) + kHeadHeight + std::to_string(height) + kHeadHits
        + std::to_string(count) + "\n";
    *out += kColumns;
    *out += '\n';
    for (size_t i = 0; i < count; ++i) {
        const ov::Tpx3Hit& h = hits[i];
        *out += std::to_string(i) + '\t' + std::to_string(h.toa) + '\t' + std::to_string(h.x) + '\t'
            + std::to_string(h.y) + '\t' + std::to_string(h.tot) + '\t' + std::to_string(h.flags)
            + '\n';
    }
}

bool decodeTpx3Text(const char* data, size_t size, Tpx3HitImage* image, std::string* what)
{
    Lines lines(data, size);
    Line line;
    if (!lines.next(&line, what))
        return false;
    uint64_t width = 0;
    uint64_t height = 0;
    uint64_t count = 0;
    if (!parseHead(line, &width, &height, &count)) {
        *what = "line 1 is not a header \"" + std::string(kHeadWidth) + "<w>" + kHeadHeight + "<h>"
            + kHeadHits + "<n>\"";
        return false;
    }
    if (!checkTpx3Sides(width, height, what))
        return false;
    image->width = unsigned(width);
    image->height = unsigned(height);
    if (!lines.next(&line, what))
        return false;
    if (std::string(line.begin, line.end) != kColumns) {
        *what = "line 2 does not name the columns \"Index ToA X Y ToT Flags\" (tab-separated)";
        return false;
    }
    // The count cannot make the reader reserve more than the text can hold.
    image->hits.reserve(size_t(std::min<uint64_t>(count, size / kShortestLine)));
    for (uint64_t i = 0; i < count; ++i) {
        if (!lines.next(&line, what)) {
            *what += ", " + std::to_string(i) + " of " + std::to_string(count) + " hits read";
            return false;
        }
        ov::Tpx3Hit hit {};
        if (!parseHit(line, i, *image, &hit, lines.number(), what))
            return false;
        image->hits.push_back(hit);
    }
    if (!lines.atEnd()) {
        *what = "text after the last of " + std::to_string(count) + " hits (line "
            + std::to_string(lines.number() + 1) + ")";
        return false;
    }
    return true;
}

} // namespace sim
