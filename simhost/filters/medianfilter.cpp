#include "medianfilter.h"

#include "simframe.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

namespace sim {

namespace {

template <typename T>
bool isNan(T v)
{
    if constexpr (std::is_floating_point_v<T>)
        return std::isnan(v);
    else
        return false;
}

// The middle of two sorted values lo <= hi, without overflow; integers round half up.
template <typename T>
T middle(T lo, T hi)
{
    if constexpr (std::is_floating_point_v<T>)
        return lo + (hi - lo) / 2;
    else {
        using Wide = std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>;
        const Wide diff = Wide(hi) - Wide(lo);
        return T(Wide(lo) + diff / 2 + diff % 2);
    }
}

template <typename T>
void median3x3(const T* in, T* out, unsigned width, unsigned height)
{
    const int w = int(width);
    const int h = int(height);
    T window[9];
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            int n = 0;
            for (int ny = std::max(0, y - 1); ny <= std::min(h - 1, y + 1); ++ny)
                for (int nx = std::max(0, x - 1); nx <= std::min(w - 1, x + 1); ++nx) {
                    const T v = in[size_t(ny) * width + size_t(nx)];
                    if (isNan(v))
                        continue;
                    // Insertion into the sorted window.
                    int at = n++;
                    while (at > 0 && window[at - 1] > v) {
                        window[at] = window[at - 1];
                        --at;
                    }
                    window[at] = v;
                }
            T& o = out[size_t(y) * width + size_t(x)];
            if (n == 0)
                o = std::numeric_limits<T>::quiet_NaN();
            else if (n % 2)
                o = window[n / 2];
            else
                o = middle(window[n / 2 - 1], window[n / 2]);
        }
    }
}

} // namespace

MedianFilter::MedianFilter() : FrameFilter("Median 3x3") { }

bool MedianFilter::compute(const SimFrame& in, SimFrame& out, QString*)
{
    visitFrameType(in.dataType(), [&](auto zero) {
        using T = decltype(zero);
        median3x3(in.pixels<T>(), out.pixels<T>(), in.width(), in.height());
    });
    return true;
}

} // namespace sim
