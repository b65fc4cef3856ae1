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

    // Appends the hits and clusters of the particles that arrive in [from, to) (steps
    // of 1.5625 ns). Cluster energies are in keV with calibrated true, else the sum of
    // the hits' time over threshold.
    void generate(uint64_t from, uint64_t to, bool calibrated, std::vector<ov::Tpx3Hit>& hits,
        std::vector<ov::Tpx3Cluster>& clusters);

    double hitsPerSecond() const { return m_hitRate; }

private:
    struct Deposit
    {
        int x, y;
        double keV;
    };
    void buildAliasTable(const std::vector<float>& weights);
    double hitsPerPhoton();
    uint32_t drawPixel();
    void photon(uint32_t pixel, std::vector<Deposit>& out);
    void muon(std::vector<Deposit>& out);
    void alpha(std::vector<Deposit>& out);
    // Turns the deposits of one particle arriving at toa into hits and its cluster.
    void record(uint64_t toa, const std::vector<Deposit>& deposits, bool calibrated,
        std::vector<ov::Tpx3Hit>& hits, std::vector<ov::Tpx3Cluster>& clusters);

    const int m_width;
    const int m_height;
    const double m_kvp;
    const double m_hitRate;
    double m_photonRate = 0.0; // photons per second
    double m_chips;
    std::vector<float> m_threshold; // keV of each pixel; infinite where it cannot count
    std::vector<float> m_aliasProb;
    std::vector<uint32_t> m_alias;
    Rng m_rng;
    std::vector<Deposit> m_deposits;
    double m_muonClock = 0.0;
    double m_alphaClock = 0.0;
};

} // namespace sim
