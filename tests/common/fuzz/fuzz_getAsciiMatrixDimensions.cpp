// Measures arbitrary text as a matrix.
#include "fileops.h"
#include "fuzzinput.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto path = inputAsFile("getAsciiMatrixDimensions", data, size);
    size_t width = 12345;
    size_t height = 12345;
    FUZZ_CHECK(getAsciiMatrixDimensions(path, &width, &height) == 0);
    // Every counted row is a line of the file and holds at least one byte.
    const size_t feeds = static_cast<size_t>(std::count(data, data + size, '\n'));
    FUZZ_CHECK(height <= feeds + 1);
    FUZZ_CHECK(height <= size);
    // Each number takes at least one byte.
    FUZZ_CHECK(width <= size);
    FUZZ_CHECK(height > 0 || width == 0);
    const int lines = getNumberOfLinesInFile(path, true);
    FUZZ_CHECK(lines >= 0 && static_cast<size_t>(lines) == height);
    return 0;
}
