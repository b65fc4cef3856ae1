#ifndef QMPXPAINTLOOPS_H
#define QMPXPAINTLOOPS_H

#include <cstddef>
#include <cstdint>

class ColorMap;

// The pixel loops that turn a frame of doubles into a 32-bit picture. The choice
// of loop and every per-frame constant is made once by the caller, so that each
// loop does only the work its mode needs.
namespace mpxpaint {

// Data index of picture pixel (x, y) is start + x * stride, for one picture row.
struct RowWalk
{
    std::ptrdiff_t start;
    std::ptrdiff_t stride;
};

// angle is the signed orientation (0, 90, 180, 270, -90, -180, -270, -360);
// width and height are those of the picture.
RowWalk rowWalk(int angle, unsigned int width, unsigned int height, unsigned int y);

struct Frame
{
    const double* data = nullptr;
    const unsigned char* mask = nullptr; // null: no pixel is masked
    int maskValue = 0;
    int angle = 0;
    unsigned int width = 0;  // picture width
    unsigned int height = 0; // picture height
    std::uint32_t* bits = nullptr;
    std::ptrdiff_t wordsPerLine = 0;
};

struct Scale
{
    double min = 0.0;
    double max = 1.0;
    bool under = false;
    bool over = false;
    bool logScale = false;
    const std::uint32_t* table = nullptr;
    unsigned int top = 0; // last usable table index
    std::uint32_t underColor = 0;
    std::uint32_t overColor = 0;
    std::uint32_t specialColor = 0;
    double span = 0.0;
    double step = 0.0;
    double logSpan = 0.0;
    double logStep = 0.0;
    double exponent = 1.0;
};

// Frames with at least this many pixels are shared with a helper thread (see
// paintbands.h); the benchmarks raise it to measure one thread alone.
std::size_t threadedPixels();
void setThreadedPixels(std::size_t pixels);

// The linear loop paints with a fused pass for the widest instruction set the
// processor offers (AVX-512, AVX2), and divides with baseline x86-64;
// setLoopLimit in qmpxlinearfused.h lets the tests check each of them.

void paintLinear(const Frame& frame, const Scale& scale);
void paintGamma(const Frame& frame, const Scale& scale);
void paintRaw(const Frame& frame, std::uint32_t specialColor);
// Single-threaded: a colour map's decodeColor is not required to be reentrant.
void paintDecode(
    const Frame& frame, ColorMap* map, double min, double max, std::uint32_t specialColor);

} // namespace mpxpaint

#endif // QMPXPAINTLOOPS_H
