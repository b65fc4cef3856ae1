// Poisson random numbers, one at a time and for whole images.
#pragma once

#include "rng.h"

#include <cstddef>
#include <cstdint>

namespace sim {

// One Poisson number of the given mean: multiplication/inversion for small means, the
// transformed-rejection method with squeeze (PTRS) from a mean of 10 on. Exact in
// distribution for every mean; a mean <= 0 gives 0.
uint32_t poisson(Rng& rng, double mean);

// Fills out[i] with a Poisson number of mean[i] for every pixel, saturating at
// maxValue. The plain way, one draw per pixel: the reference for faster generators.
void poissonFill(Rng& rng, const float* mean, size_t count, uint16_t* out, uint32_t maxValue);

} // namespace sim
