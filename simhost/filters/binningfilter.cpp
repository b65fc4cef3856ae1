#include "binningfilter.h"

#include "simframe.h"

#include <cstdint>
#include <limits>
#include <type_traits>

namespace sim {

namespace {

// a + b, held at the largest value instead of wrapping.
uint64_t addSaturated(uint64_t a, uint64_t b)
{
    const uint64_t sum = a + b;
    return sum < a ? std::numeric_limits<uint64_t>::max() : sum;
}

template <typename T, typename Sum>
void bin2x2(const T* in, Sum* out, unsigned width, unsigned outWidth, unsigned outHeight)
{
    for (unsigned y = 0; y < outHeight; ++y) {
        const T* row0 = in + size_t(2 * y) * width;
        const T* row1 = row0 + width;
        for (unsigned x = 0; x < outWidth; ++x) {
            const unsigned c = 2 * x;
            if constexpr (std::is_same_v<Sum, uint64_t>)
                out[size_t(y) * outWidth + x]
                    = addSaturated(addSaturated(uint64_t(row0[c]), uint64_t(row0[c + 1])),
                        addSaturated(uint64_t(row1[c]), uint64_t(row1[c + 1])));
            else
                out[size_t(y) * outWidth + x]
                    = double(row0[c]) + double(row0[c + 1]) + double(row1[c]) + double(row1[c + 1]);
        }
    }
}

} // namespace

BinningFilter::BinningFilter() : FrameFilter("Binning 2x2") { }

bool BinningFilter::acceptsSize(unsigned width, unsigned height, QString* why) const
{
    if (width >= 2 && height >= 2)
        return true;
    if (why)
        *why = QStringLiteral("the frame (%1 x %2 pixels) is smaller than one 2 x 2 block")
                   .arg(width)
                   .arg(height);
    return false;
}

void BinningFilter::resultSize(unsigned* width, unsigned* height) const
{
    *width /= 2;
    *height /= 2;
}

int BinningFilter::resultType(int inputType) const
{
    return inputType == ov::FrameUInt32 || inputType == ov::FrameUInt64 ? ov::FrameUInt64
                                                                        : ov::FrameDouble;
}

bool BinningFilter::compute(const SimFrame& in, SimFrame& out, QString*)
{
    visitFrameType(in.dataType(), [&](auto zero) {
        using T = decltype(zero);
        if (out.dataType() == ov::FrameUInt64)
            bin2x2(in.pixels<T>(), out.pixels<uint64_t>(), in.width(), out.width(), out.height());
        else
            bin2x2(in.pixels<T>(), out.pixels<double>(), in.width(), out.width(), out.height());
    });
    return true;
}

} // namespace sim
