#ifndef QMPXLINEARFUSED_H
#define QMPXLINEARFUSED_H

#include <cstdint>

// One pass of the linear loop over contiguous values that computes the colour list
// position, reads the colour and applies the mask in vector registers, with gather
// instructions for the two table reads. Built for AVX-512 and AVX2 and chosen at
// run time; the caller keeps the division where neither is available.
namespace mpxpaint {

// Per-frame constants of the fast way of the linear loop (see prepareFast in
// qmpxpaintloops.cpp): entry r = trunc((value - min) * reciprocal + 1), less one
// when the value lies below thresholds[r].
struct FusedLinear
{
    double min = 0.0;
    double max = 0.0;
    double reciprocal = 0.0;
    double limitPos = 0.0; // top + 1
    // A quotient plus 1/2 closer than this to a whole number is settled by the
    // thresholds: far more than its distance from the rule's.
    double nearWhole = 0.0;
    const double* thresholds = nullptr;    // top + 2 entries
    const std::uint32_t* colors = nullptr; // table, then over, under, NaN results
    std::int32_t overIndex = 0;
    std::int32_t underIndex = 0;
    std::int32_t nanIndex = 0;
    std::uint32_t specialColor = 0;
    int maskValue = 0;
};

// mask may be null (nothing masked); a masked pixel that is NaN keeps its NaN colour.
using FusedLinearFn = void (*)(const double* in, const unsigned char* mask, std::uint32_t* out,
    unsigned int n, const FusedLinear& c);

enum class LoopLimit {
    Widest,  // the widest instruction set of the processor
    Avx2,    // at most AVX2
    Division // no fused pass: the rule's division, built for baseline x86-64
};

// The tests (and the benchmark) lower the limit to check every build on one machine.
void setLoopLimit(LoopLimit limit);

// Null when no fused pass applies (limit, or processor without AVX2 and FMA).
FusedLinearFn fusedLinearFn();

} // namespace mpxpaint

#endif // QMPXLINEARFUSED_H
