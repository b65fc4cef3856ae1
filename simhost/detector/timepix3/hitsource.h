// The particles a Timepix3 sees in data-driven readout, as hits and clusters.
//
// Photons arrive at a set mean rate of hits, spread over the pixels as the physics
// model's counting rates say (scene, source, threshold, mask and dead pixels all act);
// each deposits an energy from the source spectrum, shared with up to three
// neighbours when it lands near a pixel's edge. Now and then a cosmic muon crosses the
// sensor (a straight track of small deposits) or an alpha particle stops in it (a round
// blob of large ones). A pixel records a hit when its share lies above its threshold:
// time of arrival in steps of 1.5625 ns (later for small deposits: time walk) and time
// over threshold in steps of 25 ns.
//
// Clusters are made as the particles are drawn, so they are exact: a cluster's hits are
// the hits of one particle. Hits come out in order of arrival.
//
// The hits of a span of time depend only on the seed and the span: each span draws from
// a generator seeded by its start, and the muon and alpha clocks start anew in it (their
// arrivals have no memory, so this changes nothing in their statistics). Spans can thus
// be made on several threads at once, in any order, with the same result.
#pragma once

#include "physics.h"
#include "rng.h"

#include <ovdetector.h>

#include <cstdint>
#include <vector>

namespace sim {

class Tpx3HitSource
{
public:
    static constexpr double kToaStepSeconds = 1.5625e-9;
    static constexpr double kTotStepSeconds = 25e-9;
    // Time over threshold per keV deposited, in steps of 25 ns.
    static constexpr double kTotStepsPerKeV = 2.0;
    // Cosmic muons and alpha particles per second on a chip.
    static constexpr double kMuonRate = 0.6;
    static constexpr double kAlphaRate = 0.3;

    // hitsPerSecond: the mean rate of photon hits over the whole device.
    Tpx3HitSource(const PhysicsModel& physics, double hitsPerSecond, uint64_t seed);

    // Appends the hits, and the clusters when clusters is given, of the particles that
    // arrive in [from, to) (steps of 1.5625 ns). Cluster energies are in keV with
    // calibrated true, else the sum of the hits' time over threshold. Thread-safe.
    void generate(uint64_t from, uint64_t to, bool calibrated, std::vector<ov::Tpx3Hit>& hits,
        std::vector<ov::Tpx3Cluster>* clusters) const;
    // About how many hits [from, to) holds: room to reserve before generate.
    size_t expectedHits(uint64_t from, uint64_t to) const;

    double hitsPerSecond() const { return m_hitRate; }

private:
    struct Deposit
    {
        int x, y;
        double keV;
    };
    // A pixel's entry of the alias table: the odds of keeping it, else its alias.
    struct Alias
    {
        float keep;
        uint32_t other;
    };
    // The sums a cluster is made of, kept while one particle's hits are recorded.
    struct ClusterSums
    {
        double tot = 0.0, x = 0.0, y = 0.0;
        uint32_t size = 0;
        uint64_t first = UINT64_MAX;
    };
    void buildAliasTable(const std::vector<float>& weights);
    double hitsPerPhoton() const;
    uint32_t drawPixel(Rng& rng) const;
    // One photon landing at pixel at toa: its hits (and the sums of its cluster).
    void photon(Rng& rng, uint32_t pixel, uint64_t toa, std::vector<ov::Tpx3Hit>& hits,
        ClusterSums* sums) const;
    void muon(Rng& rng, std::vector<Deposit>& out) const;
    void alpha(Rng& rng, std::vector<Deposit>& out) const;
    // One deposit of keV at (x, y), inside the device, arriving at toa: a hit when it
    // lies above the pixel's threshold.
    void deposit(int x, int y, double keV, uint64_t toa, std::vector<ov::Tpx3Hit>& hits,
        ClusterSums* sums) const;
    void addCluster(
        const ClusterSums& sums, bool calibrated, std::vector<ov::Tpx3Cluster>& clusters) const;

    const int m_width;
    const int m_height;
    const double m_kvp;
    const double m_lowCap; // the lowest photon energy lies at or below this
    const double m_hitRate;
    const uint64_t m_seed;
    double m_photonsPerStep = 0.0;
    double m_chips;
    std::vector<float> m_threshold; // keV of each pixel; infinite where it cannot count
    std::vector<Alias> m_alias;
};

} // namespace sim
