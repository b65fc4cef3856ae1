// The hits that test pulses inject into a data-driven run ("Pixels & Test pulses"):
// pulse k comes at (k + 1/2) periods after the start, for k below the pulse count. Each
// pixel with the test bit (not masked, not dead) records a pulse when it crosses the
// pixel's threshold, a chance that the pixel's noise smears, as a hit flagged as
// injected (flags bit 0) with the time over threshold of the energy it saw. Injected
// hits are not particles: they belong to no cluster.
#pragma once

#include "acqrecordreader.h"
#include "physics.h"
#include "rng.h"

#include <ovdetector.h>

#include <cstdint>
#include <vector>

namespace sim {

class Tpx3PulseHits
{
public:
    static constexpr uint16_t kInjectedFlag = 1;

    Tpx3PulseHits(const PhysicsModel& physics, const TestPulseRecord& pulses, uint64_t seed);

    // Adds the hits of the pulses that come in [from, to) (steps of 1.5625 ns) to hits,
    // which stay in order of arrival. A pulse's hits depend only on the seed and the
    // pulse, so chunks may be made on several threads and in any order.
    void addTo(uint64_t from, uint64_t to, std::vector<ov::Tpx3Hit>& hits) const;

    // The time of pulse k in steps.
    uint64_t pulseToa(uint32_t k) const;
    uint32_t pulseCount() const { return m_count; }
    size_t pulsedPixelCount() const { return m_pixels.size(); }

private:
    const uint32_t m_count;
    const double m_periodSteps;
    const int m_width;
    std::vector<PhysicsModel::PulsedPixel> m_pixels;
    const uint64_t m_seed;
};

} // namespace sim
