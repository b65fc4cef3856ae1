#include "pulsehits.h"

#include "hitsource.h"

#include <algorithm>
#include <cmath>

namespace sim {

Tpx3PulseHits::Tpx3PulseHits(
    const PhysicsModel& physics, const TestPulseRecord& pulses, uint64_t seed)
    : m_count(pulses.count),
      m_periodSteps(std::max(0.0, pulses.period) / Tpx3HitSource::kToaStepSeconds),
      m_width(physics.width()),
      m_pixels(physics.pulsedPixels(pulses.height)),
      m_seed(seed)
{ }

uint64_t Tpx3PulseHits::pulseToa(uint32_t k) const
{
    return uint64_t((double(k) + 0.5) * m_periodSteps);
}

void Tpx3PulseHits::addTo(uint64_t from, uint64_t to, std::vector<ov::Tpx3Hit>& hits) const
{
    const size_t before = hits.size();
    // The first pulse that can come at or after from: pulse k comes at (k + 1/2) periods.
    uint64_t k = 0;
    if (m_periodSteps > 0.0)
        k = uint64_t(std::max(0.0, std::floor(double(from) / m_periodSteps - 1.0)));
    for (; k < m_count; ++k) {
        const uint64_t toa = pulseToa(uint32_t(k));
        if (toa >= to)
            break;
        if (toa < from)
            continue;
        Rng rng(seedOf(m_seed, k));
        for (const PhysicsModel::PulsedPixel& p : m_pixels) {
            if (rng.uniform() >= p.probability)
                continue;
            ov::Tpx3Hit hit {};
            hit.toa = toa;
            hit.x = uint16_t(p.pixel % uint32_t(m_width));
            hit.y = uint16_t(p.pixel / uint32_t(m_width));
            hit.tot = uint16_t(std::clamp(
                std::lround(p.keV * Tpx3HitSource::kTotStepsPerKeV), long(1), long(1023)));
            hit.flags = kInjectedFlag;
            hits.push_back(hit);
        }
    }
    std::inplace_merge(hits.begin(), hits.begin() + std::ptrdiff_t(before), hits.end(),
        [](const ov::Tpx3Hit& a, const ov::Tpx3Hit& b) { return a.toa < b.toa; });
}

} // namespace sim
