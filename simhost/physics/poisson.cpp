#include "poisson.h"

#include <cmath>

namespace sim {

namespace {

// log(k!) for small k from a table, else Stirling's series.
double logFactorial(uint32_t k)
{
    static const double table[]
        = {0.0, 0.0, 0.6931471805599453, 1.791759469228055, 3.1780538303479458, 4.787491742782046,
            6.579251212010101, 8.525161361065415, 10.60460290274525, 12.801827480081469};
    if (k < 10)
        return table[k];
    const double x = static_cast<double>(k) + 1.0;
    return (x - 0.5) * std::log(x) - x + 0.9189385332046728 + 1.0 / (12.0 * x)
        - 1.0 / (360.0 * x * x * x);
}

uint32_t poissonSmall(Rng& rng, double mean)
{
    // Count uniforms until their product falls below exp(-mean).
    const double limit = std::exp(-mean);
    double product = rng.uniform();
    uint32_t k = 0;
    while (product > limit) {
        ++k;
        product *= rng.uniform();
    }
    return k;
}

uint32_t poissonPtrs(Rng& rng, double mean)
{
    const double slam = std::sqrt(mean);
    const double loglam = std::log(mean);
    const double b = 0.931 + 2.53 * slam;
    const double a = -0.059 + 0.02483 * b;
    const double invalpha = 1.1239 + 1.1328 / (b - 3.4);
    const double vr = 0.9277 - 3.6224 / (b - 2.0);
    for (;;) {
        const double u = rng.uniform() - 0.5;
        const double v = rng.uniformOpen();
        const double us = 0.5 - std::fabs(u);
        const double kd = std::floor((2.0 * a / us + b) * u + mean + 0.43);
        if (kd < 0.0)
            continue;
        if (us >= 0.07 && v <= vr)
            return static_cast<uint32_t>(kd);
        if (us < 0.013 && v > us)
            continue;
        const uint32_t k = static_cast<uint32_t>(kd);
        const double lhs = std::log(v * invalpha / (a / (us * us) + b));
        const double rhs = -mean + kd * loglam - logFactorial(k);
        if (lhs <= rhs)
            return k;
    }
}

} // namespace

uint32_t poisson(Rng& rng, double mean)
{
    if (!(mean > 0.0))
        return 0;
    if (mean < 10.0)
        return poissonSmall(rng, mean);
    return poissonPtrs(rng, mean);
}

void poissonFill(Rng& rng, const float* mean, size_t count, uint16_t* out, uint32_t maxValue)
{
    for (size_t i = 0; i < count; ++i) {
        const uint32_t k = poisson(rng, mean[i]);
        out[i] = static_cast<uint16_t>(k < maxValue ? k : maxValue);
    }
}

} // namespace sim
