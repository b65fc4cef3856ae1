#include "scene.h"

#include <cmath>

namespace sim {

namespace {

struct Disk
{
    double cx, cy, r; // in units of the image height
    double mu;        // attenuation per unit of path length (image heights)
};

// Transmission of a cylinder seen from the side: exp(-mu * chord length).
double chordTransmission(const Disk& d, double u, double v)
{
    const double dx = u - d.cx, dy = v - d.cy;
    const double q = d.r * d.r - dx * dx - dy * dy;
    if (q <= 0.0)
        return 1.0;
    return std::exp(-d.mu * 2.0 * std::sqrt(q));
}

} // namespace

std::vector<float> sceneTransmission(int width, int height, double shiftPixels)
{
    std::vector<float> out(size_t(width) * size_t(height));
    if (width <= 0 || height <= 0)
        return out;
    const double scale = 1.0 / height;
    const double aspect = double(width) / height;
    // The phantom: plastic cylinder with inserts (air lets more through).
    const Disk phantom {0.70 * aspect, 0.33, 0.20, 2.0};
    const Disk air {0.64 * aspect, 0.27, 0.035, -2.0};
    const Disk bone {0.77 * aspect, 0.30, 0.035, 9.0};
    const Disk contrast {0.70 * aspect, 0.42, 0.030, 18.0};
    // Line pairs: periods in pixels of a 256-pixel chip, so a quad shows them at double
    // size in pixels.
    const double pxUnit = height / 256.0;
    static const double periods[] = {32, 16, 8, 4, 2};
    const double lpLeft = 0.06 * aspect, lpTop = 0.10, lpHeight = 0.22;
    // Material squares along the bottom.
    static const double squares[] = {0.85, 0.55, 0.22, 0.07};

    for (int y = 0; y < height; ++y) {
        const double v = (y + 0.5) * scale;
        for (int x = 0; x < width; ++x) {
            const double u = (x + 0.5 - shiftPixels) * scale;
            const double du = u / aspect - 0.5, dv = v - 0.5;
            double t = 1.0 - 0.25 * (du * du + dv * dv); // beam fall-off
            // Line-pair target: groups side by side, bars of heavy metal.
            const double lx = (u - lpLeft) * height; // in pixels
            if (lx >= 0.0 && v >= lpTop && v < lpTop + lpHeight) {
                double start = 0.0;
                for (double period : periods) {
                    const double p = period * pxUnit;
                    const double groupWidth = 4.0 * p;
                    if (lx < start + groupWidth) {
                        const double phase = std::fmod(lx - start, p);
                        if (phase < 0.5 * p)
                            t *= 0.12;
                        break;
                    }
                    start += groupWidth + 8.0 * pxUnit;
                }
            }
            t *= chordTransmission(phantom, u, v);
            t *= chordTransmission(air, u, v);
            t *= chordTransmission(bone, u, v);
            t *= chordTransmission(contrast, u, v);
            // Squares.
            if (v >= 0.68 && v < 0.90) {
                const double sx = (u / aspect - 0.06) / 0.22;
                if (sx >= 0.0 && sx < 4.0 && std::fmod(sx, 1.0) < 0.85)
                    t *= squares[int(sx)];
            }
            out[size_t(y) * size_t(width) + size_t(x)]
                = static_cast<float>(t < 0.0 ? 0.0 : (t > 1.0 ? 1.0 : t));
        }
    }
    return out;
}

} // namespace sim
