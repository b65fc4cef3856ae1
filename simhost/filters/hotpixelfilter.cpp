#include "hotpixelfilter.h"

#include "simframe.h"

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

// Marks the pixels of a frame of pixel type T that stand out of their neighbourhood.
template <typename T>
void maskHot(const T* in, T* out, unsigned width, unsigned height, int radius, double sigma)
{
    const int w = int(width);
    const int h = int(height);
    for (int y = 0; y < h; ++y) {
        const int y0 = std::max(0, y - radius);
        const int y1 = std::min(h - 1, y + radius);
        for (int x = 0; x < w; ++x) {
            const size_t at = size_t(y) * width + size_t(x);
            out[at] = in[at];
            const double value = double(in[at]);
            if (std::isnan(value))
                continue;
            const int x0 = std::max(0, x - radius);
            const int x1 = std::min(w - 1, x + radius);
            double sum = 0.0;
            size_t n = 0;
            for (int ny = y0; ny <= y1; ++ny)
                for (int nx = x0; nx <= x1; ++nx) {
                    const double v = double(in[size_t(ny) * width + size_t(nx)]);
                    if ((nx != x || ny != y) && std::isfinite(v)) {
                        sum += v;
                        ++n;
                    }
                }
            if (n == 0)
                continue;
            const double mean = sum / double(n);
            double squares = 0.0;
            for (int ny = y0; ny <= y1; ++ny)
                for (int nx = x0; nx <= x1; ++nx) {
                    const double v = double(in[size_t(ny) * width + size_t(nx)]);
                    if ((nx != x || ny != y) && std::isfinite(v))
                        squares += (v - mean) * (v - mean);
                }
            if (value > mean + sigma * std::sqrt(squares / double(n)))
                out[at] = T(0);
        }
    }
}

} // namespace

HotPixelFilter::HotPixelFilter() : FrameFilter("Hot Pixel Mask")
{
    m_sigma = &params().add("Sigma",
        "A pixel above the mean of its neighbourhood plus this many standard deviations is "
        "masked (set to 0) [0..1000]",
        ov::ParamDouble);
    m_sigma->setRange(0.0, 1000.0);
    m_sigma->assign(5.0);
    m_radius = &params().add("Radius",
        "Half width of the neighbourhood in pixels: 1 is the 3 x 3 square around the pixel, "
        "without the pixel itself [1..10]",
        ov::ParamU8);
    m_radius->setRange(1.0, 10.0);
    m_radius->assign(1.0);
    for (SimParam* p : {m_sigma, m_radius})
        p->setChanged([this](const SimParam& param) { paramChanged(param); });
}

bool HotPixelFilter::compute(const SimFrame& in, SimFrame& out, QString*)
{
    const double sigma = m_sigma->asDouble();
    const int radius = int(m_radius->asInt());
    visitFrameType(in.dataType(), [&](auto zero) {
        using T = decltype(zero);
        maskHot(in.pixels<T>(), out.pixels<T>(), in.width(), in.height(), radius, sigma);
    });
    return true;
}

} // namespace sim
