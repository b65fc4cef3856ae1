// The line reader used by the text helpers, so that they do not depend on a
// platform's own getline.
#include "fileops.h"

#include <climits>
#include <cstdlib>

namespace {

// Makes room for at least `needed` bytes. Gives false if memory runs out; the
// old buffer then stays valid and owned by the caller.
bool reserveLine(char** line, size_t* capacity, size_t needed)
{
    if (needed <= *capacity && *line)
        return true;
    size_t newCapacity = *capacity < 128 ? 128 : *capacity;
    while (newCapacity < needed) {
        if (newCapacity > SIZE_MAX / 2)
            return false;
        newCapacity *= 2;
    }
    char* grown = static_cast<char*>(std::realloc(*line, newCapacity));
    if (!grown)
        return false;
    *line = grown;
    *capacity = newCapacity;
    return true;
}

} // namespace

long getline(FILE* stream, char** line, size_t* capacity)
{
    if (!stream || !line || !capacity)
        return -1;
    if (!*line)
        *capacity = 0;
    size_t length = 0;
    for (;;) {
        const int c = std::getc(stream);
        if (c == EOF)
            break;
        // One byte for this character and one for the terminating zero.
        if (length >= static_cast<size_t>(LONG_MAX) - 1 || !reserveLine(line, capacity, length + 2))
            return -1;
        (*line)[length++] = static_cast<char>(c);
        if (c == '\n')
            break;
    }
    if (length == 0 || std::ferror(stream)) {
        if (reserveLine(line, capacity, 1))
            (*line)[0] = '\0';
        return -1;
    }
    (*line)[length] = '\0';
    return static_cast<long>(length);
}
