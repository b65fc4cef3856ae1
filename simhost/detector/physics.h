// The physics of the simulated Medipix2/Timepix detectors: from source, scene, sensor
// bias, thresholds and pixel configuration to the mean count rate of every pixel, and
// from there to frames drawn from the Poisson distribution.
//
// Model (all energies in keV):
// - Source: a tube spectrum with end point kVp (dN/dE ~ kVp - E above a filtration edge
//   of 8 keV); flux is photons per pixel per second through open beam.
// - Sensor: efficiency grows with |bias| as the depleted depth sqrt(|V| / Vdep) until
//   full depletion.
// - Threshold of a pixel = chip threshold + the pixel's own fixed offset + (adjustment -
//   7.5) x 0.35 keV, divided by the preamplifier gain. A pixel counts the fraction of
//   the spectrum above its threshold (below an upper threshold on a Medipix2), plus
//   electronic noise that grows steeply as the threshold approaches the noise edge.
// - Fixed per device (seeded): uneven gain (about 3 %), threshold offsets (1 keV rms),
//   a few hot pixels, a few dead pixels, a few noisy pixels.
// - Masked and dead pixels read 0. Counters saturate at 11810.
// The mean-rate image is computed once per change of the inputs; a frame then costs a
// Poisson draw per pixel with counts, found with the thinning of a Poisson process for
// the many pixels of low mean, so short frames are cheap.
#pragma once

#include "acqrecordreader.h"
#include "rng.h"
#include "simpixcfg.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace sim {

constexpr int kCounterMax = 11810;

struct SourceSettings
{
    bool on = true;
    double kvp = 40.0;    // end point of the spectrum
    double flux = 5000.0; // photons per pixel per second, open beam
    double shiftPixels = 0.0;
};

struct ChipSettings
{
    double thresholdKeV = 5.0;
    double upperKeV = std::numeric_limits<double>::infinity(); // Medipix2 window
    double gain = 1.0;                                         // preamplifier gain (1 = nominal)
    double totPerKeV = 1.0; // time-over-threshold clock counts per keV
    double clockMHz = 48.0;
};

// Everything the mean image depends on.
struct PhysicsInputs
{
    SourceSettings source;
    double biasVolts = 100.0;
    std::vector<ChipSettings> chips;
    SimPixCfg::Pixels pixels; // empty vectors: default configuration
    bool timepix = true;
};

// Fraction of the source spectrum above a threshold.
double spectrumFractionAbove(double thresholdKeV, double kvp);
// Relative efficiency of the sensor at a bias (1 at full depletion).
double biasEfficiency(double volts, double depletionVolts);

class PhysicsModel
{
public:
    static constexpr double kDepletionVolts = 60.0;
    static constexpr double kAdjustStepKeV = 0.35;

    // Chips of 256 x 256: a quad is 2 x 2, other counts sit in a row.
    PhysicsModel(int width, int height, int chips, uint64_t seed);

    int width() const { return m_width; }
    int height() const { return m_height; }
    int chipOf(int x, int y) const;

    void setInputs(const PhysicsInputs& inputs);
    const PhysicsInputs& inputs() const { return m_inputs; }
    // Mean counts per second of every pixel (counting mode).
    const std::vector<float>& rates() const { return m_rate; }
    // Each pixel's effective threshold in keV.
    const std::vector<float>& pixelThresholds() const { return m_threshold; }

    // Each pixel's fixed threshold offset in keV (what an equalisation compensates).
    const std::vector<float>& thresholdOffsets() const { return m_offset; }
    // The fixed defects of the device.
    const std::vector<uint32_t>& hotPixels() const { return m_hot; }
    const std::vector<uint32_t>& deadPixels() const { return m_dead; }

    // One frame of exposure seconds into out (width x height pixels) in the modes of
    // the pixel configuration.
    void frame(Rng& rng, double exposure, int16_t* out);
    // Counting mode only, whatever the pixel modes say (the fast path of frame()).
    void countFrame(Rng& rng, double exposure, int16_t* out);
    // Test pulses: pixels with the test bit count the pulses that cross their threshold.
    void testPulseFrame(Rng& rng, const TestPulseRecord& pulses, int16_t* out);

    // A pixel that a test pulse reaches: its index, the chance that one pulse crosses its
    // threshold, and the energy it sees through its own gain.
    struct PulsedPixel
    {
        uint32_t pixel;
        double probability;
        double keV;
    };
    // The pixels with the test bit, neither masked nor dead, for pulses of a height in volts.
    std::vector<PulsedPixel> pulsedPixels(double volts) const;

    // Equivalent energy of a test pulse of a height in volts.
    static double testPulseKeV(double volts) { return volts * 50.0; }

private:
    struct Plan
    {
        double exposure = -1.0;
        double lambdaCut = 0.0;
        bool allDense = false;
        std::vector<uint32_t> accept;                  // sparse pixels
        std::vector<std::pair<uint32_t, float>> dense; // (pixel, mean)
    };
    void buildRates();
    void buildPlan(double exposure);
    // Counts of one frame into counts (zeroed first).
    template <typename T>
    void drawCounts(Rng& rng, T* counts);
    void addCosmics(Rng& rng, double exposure, std::vector<float>& energy);

    const int m_width;
    const int m_height;
    const int m_chips;
    const uint64_t m_seed;
    PhysicsInputs m_inputs;
    // Fixed per device.
    std::vector<float> m_gain, m_offset, m_sigma;
    std::vector<uint32_t> m_hot, m_dead;
    std::vector<uint8_t> m_defect; // 1 hot, 2 dead
    // Derived.
    std::vector<float> m_scene;
    double m_sceneShift = -1e300;
    std::vector<float> m_rate, m_threshold;
    bool m_allCounting = true;
    Plan m_plan;
    std::vector<uint32_t> m_counts;
    std::vector<float> m_energy;
};

} // namespace sim
