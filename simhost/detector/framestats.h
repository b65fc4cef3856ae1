// Statistics loops of the host's frames, typed per pixel type and written for the
// vectoriser. A region reaches them as spans of contiguous pixel indices in increasing
// order, which is also the order in which the pixels are visited; every result is the
// one of a plain loop over the region's pixels in that order that converts each pixel
// to double and accumulates in double (see SimFrame), bit for bit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim::framestats {

struct Span
{
    size_t begin;
    size_t count;
};

// Minimum, maximum and smallest non-zero value of a region, with the rules of the plain
// loop: NaN is never a minimum or maximum but counts as non-zero; of equal values the
// first one visited wins (which only matters for the sign of a zero); an empty region
// has min = max = 0; no non-zero value gives minNonZero = 0.
struct Extremes
{
    size_t count = 0;
    double min = 0.0;
    double max = 0.0;
    double minNonZero = 0.0;
    bool hasNonZero = false;
    // The exact minimum and maximum of integer frames (signed for 16-bit frames).
    int64_t smin = 0;
    int64_t smax = 0;
    uint64_t umin = 0;
    uint64_t umax = 0;
};

Extremes extremes(int dataType, const void* pixels, const std::vector<Span>& spans);

// Sum of the region's pixels as doubles, added one after the other.
double total(int dataType, const void* pixels, const std::vector<Span>& spans);

// Pixels of the region that are not zero (NaN is not zero).
size_t nonZeroCount(int dataType, const void* pixels, const std::vector<Span>& spans);

// Sum of (pixel - mean)^2, added one after the other.
double squaredDeviations(
    int dataType, const void* pixels, const std::vector<Span>& spans, double mean);

// The histogram rule of IMpxFrame::histogram for min < max or, when width is 0, for
// min == max: a pixel v with min <= v <= max goes to bin
// int((v - min) / (max - min) * bins), the last bin taking what lands beyond it.
// out (bins doubles) is overwritten; returns the pixels counted. ext are the extremes
// of the same region.
size_t histogram(int dataType, const void* pixels, const std::vector<Span>& spans, int bins,
    double min, double max, const Extremes& ext, double* out);

} // namespace sim::framestats
