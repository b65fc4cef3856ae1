// Line-based inspection of text files: matrix dimensions and line counts.
#include "cfile.h"
#include "fileops.h"
#include "numericlocale.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace {

// The white space that every locale's scanf skips.
bool isBlankChar(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// A line holding nothing but white space (a bare line feed, a CR LF, blanks)
// counts as empty.
bool isEmptyLine(const char* line, size_t length)
{
    return std::all_of(line, line + length, isBlankChar);
}

// One "%lf%n" scan that looks at no more than `window` bytes from `text`, so
// that scanning a long line costs time in proportion to its length. (sscanf
// measures the whole remaining string on every call.) Gives the number of
// bytes consumed, or 0 if no number could be scanned.
size_t scanOneNumber(char* text, size_t available)
{
    size_t window = std::min<size_t>(64, available);
    for (;;) {
        const bool truncated = window < available;
        const char saved = text[window];
        text[window] = '\0';
        double value = 0.0;
        int used = 0;
        const int converted = std::sscanf(text, "%lf%n", &value, &used);
        text[window] = saved;
        // scanf decides on a number after seeing one byte past it. If that byte
        // (or the failure) may lie beyond the cut, scan again with more text.
        const bool sure = converted == 1 ? static_cast<size_t>(used) < window : !truncated;
        if (sure || !truncated)
            return converted == 1 ? static_cast<size_t>(used) : 0;
        window = std::min(window * 2, available);
    }
}

// How many numbers repeated "%lf%n" scans take from the start of the line.
// `line` must hold a terminating zero at `length`.
size_t countNumbers(char* line, size_t length)
{
    size_t count = 0;
    size_t pos = 0;
    for (;;) {
        while (pos < length && isBlankChar(line[pos]))
            ++pos;
        if (pos >= length)
            return count;
        const size_t used = scanOneNumber(line + pos, length - pos);
        if (used == 0)
            return count;
        ++count;
        pos += used;
    }
}

// Owns the buffer that getline grows.
struct LineBuffer
{
    char* data = nullptr;
    size_t capacity = 0;
    ~LineBuffer() { std::free(data); }
};

} // namespace

int getAsciiMatrixDimensions(const std::filesystem::path& path, size_t* width, size_t* height)
{
    if (!width || !height)
        return FO_ERR_ARG;
    *width = 0;
    *height = 0;
    File file(path, "r");
    if (!file.isOpen())
        return FO_ERR_OPEN;
    CNumericLocale numbers;
    LineBuffer line;
    long length = 0;
    while ((length = getline(file.stream(), &line.data, &line.capacity)) > 0) {
        const size_t size = static_cast<size_t>(length);
        if (isEmptyLine(line.data, size))
            continue;
        if (*height == 0)
            *width = countNumbers(line.data, size);
        ++*height;
    }
    return FO_OK;
}

int getNumberOfLinesInFile(const std::filesystem::path& path, bool skipEmptyLines)
{
    File file(path, "r");
    if (!file.isOpen())
        return FO_ERR_OPEN;
    LineBuffer line;
    long length = 0;
    int lines = 0;
    while ((length = getline(file.stream(), &line.data, &line.capacity)) > 0) {
        if (skipEmptyLines && isEmptyLine(line.data, static_cast<size_t>(length)))
            continue;
        if (lines < INT_MAX)
            ++lines;
    }
    return lines;
}
