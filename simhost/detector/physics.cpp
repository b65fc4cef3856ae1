#include "physics.h"

#include "vectorstate.h"

#include "poisson.h"
#include "scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace sim {

namespace {

constexpr double kFiltrationKeV = 8.0;
constexpr double kNoiseRateMax = 2.0e6; // counts per second of a pixel deep in the noise
constexpr double kHotRate = 3.0e5;
constexpr double kMuonRatePerPixel = 0.017 * 3.025e-5; // per second, 55 um pixels
constexpr double kAlphaRatePerDevice = 0.02;
constexpr double kDenseLambda = 0.25;

double normalCdf(double x)
{
    return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

template <typename T>
void bump(T& v)
{
    if (v < T(kCounterMax))
        ++v;
}

} // namespace

double spectrumFractionAbove(double thresholdKeV, double kvp)
{
    const double low = std::min(kFiltrationKeV, 0.5 * kvp);
    if (!(kvp > 0.0) || thresholdKeV >= kvp)
        return 0.0;
    if (thresholdKeV <= low)
        return 1.0;
    const double f = (kvp - thresholdKeV) / (kvp - low);
    return f * f;
}

double biasEfficiency(double volts, double depletionVolts)
{
    const double depth = std::min(1.0, std::sqrt(std::fabs(volts) / depletionVolts));
    constexpr double mu = 1.5; // absorption over the full sensor thickness
    return (1.0 - std::exp(-mu * depth)) / (1.0 - std::exp(-mu));
}

PhysicsModel::PhysicsModel(int width, int height, int chips, uint64_t seed)
    : m_width(width), m_height(height), m_chips(std::max(chips, 1)), m_seed(seed)
{
    const size_t n = size_t(width) * size_t(height);
    Rng rng(seedOf(seed, 0xde7ec7));
    m_gain.resize(n);
    m_offset.resize(n);
    m_sigma.resize(n);
    m_defect.assign(n, 0);
    for (size_t i = 0; i < n; ++i) {
        m_gain[i] = static_cast<float>(1.0 + 0.03 * rng.normal());
        m_offset[i] = static_cast<float>(1.0 * rng.normal());
        // Half a percent of the pixels are noisy: a wider noise distribution.
        const bool noisy = rng.uniform() < 0.005;
        m_sigma[i] = static_cast<float>(0.45 * (1.0 + 0.1 * rng.normal()) * (noisy ? 1.8 : 1.0));
    }
    // A few hot and dead pixels: about 4 and 6 per chip.
    const int hot = 4 * m_chips, dead = 6 * m_chips;
    while (m_hot.size() < size_t(hot) || m_dead.size() < size_t(dead)) {
        const uint32_t p = static_cast<uint32_t>(rng.next() % n);
        if (m_defect[p])
            continue;
        if (m_hot.size() < size_t(hot)) {
            m_defect[p] = 1;
            m_hot.push_back(p);
        } else {
            m_defect[p] = 2;
            m_dead.push_back(p);
        }
    }
    m_inputs.chips.assign(size_t(m_chips), ChipSettings {});
    setInputs(m_inputs);
}

int PhysicsModel::chipOf(int x, int y) const
{
    int chip;
    if (m_chips == 4 && m_width == 512 && m_height == 512)
        chip = (y / 256) * 2 + x / 256;
    else
        chip = x / 256;
    return std::clamp(chip, 0, m_chips - 1);
}

void PhysicsModel::setInputs(const PhysicsInputs& inputs)
{
    m_inputs = inputs;
    if (m_inputs.chips.size() < size_t(m_chips))
        m_inputs.chips.resize(size_t(m_chips));
    buildRates();
}

void PhysicsModel::buildRates()
{
    const size_t n = size_t(m_width) * size_t(m_height);
    if (m_sceneShift != m_inputs.source.shiftPixels || m_scene.size() != n) {
        m_scene = sceneTransmission(m_width, m_height, m_inputs.source.shiftPixels);
        m_sceneShift = m_inputs.source.shiftPixels;
    }
    const SimPixCfg::Pixels& px = m_inputs.pixels;
    const bool hasCfg = px.mask.size() == n && px.thl.size() == n && px.mode.size() == n;
    m_rate.assign(n, 0.0f);
    m_threshold.assign(n, 0.0f);
    const double flux = m_inputs.source.on ? m_inputs.source.flux : 0.0;
    const double kvp = m_inputs.source.kvp;
    const double sensor = biasEfficiency(m_inputs.biasVolts, kDepletionVolts);
    m_allCounting = true;
    for (int y = 0; y < m_height; ++y) {
        for (int x = 0; x < m_width; ++x) {
            const size_t i = size_t(y) * size_t(m_width) + size_t(x);
            const ChipSettings& chip = m_inputs.chips[size_t(chipOf(x, y))];
            const double gain = chip.gain > 0.02 ? chip.gain : 0.02;
            const int adj = hasCfg ? px.thl[i] : SimPixCfg::kDefaultThl;
            const double thr
                = (chip.thresholdKeV + m_offset[i] + (adj - 7.5) * kAdjustStepKeV) / gain;
            m_threshold[i] = static_cast<float>(thr);
            if (hasCfg && m_inputs.timepix && px.mode[i] != 0)
                m_allCounting = false;
            if (m_defect[i] == 2 || (hasCfg && px.mask[i]))
                continue;
            double window = spectrumFractionAbove(thr, kvp);
            if (!m_inputs.timepix && std::isfinite(chip.upperKeV)) {
                const int thh = hasCfg ? px.mode[i] : SimPixCfg::kDefaultThh;
                const double upper
                    = (chip.upperKeV + m_offset[i] * 0.5 + (thh - 3.5) * kAdjustStepKeV) / gain;
                window = std::max(0.0, window - spectrumFractionAbove(upper, kvp));
            }
            double rate = flux * m_scene[i] * m_gain[i] * sensor * window;
            const double z = thr / m_sigma[i];
            rate += thr <= 0.0 ? kNoiseRateMax : kNoiseRateMax * std::exp(-0.5 * z * z);
            if (m_defect[i] == 1)
                rate += kHotRate;
            m_rate[i] = static_cast<float>(rate);
        }
    }
    m_plan.exposure = -1.0;
}

void PhysicsModel::buildPlan(double exposure)
{
    Plan& p = m_plan;
    p.exposure = exposure;
    const size_t n = m_rate.size();
    p.dense.clear();
    p.accept.clear();
    // The thinning costs about n x lambdaCut draws, a dense pixel one draw of its own:
    // the few pixels of highest mean (hot, noisy, the top 0.5 %) are drawn one by one.
    std::vector<float> lambdas(n);
    size_t above = 0;
    for (size_t i = 0; i < n; ++i) {
        lambdas[i] = static_cast<float>(double(m_rate[i]) * exposure);
        above += lambdas[i] > kDenseLambda;
    }
    p.allDense = above > n / 4;
    if (p.allDense)
        return;
    std::vector<float> sorted = lambdas;
    const size_t q = n - 1 - n / 200;
    std::nth_element(sorted.begin(), sorted.begin() + long(q), sorted.end());
    const double cut = std::min<double>(sorted[q], kDenseLambda);
    double maxSparse = 0.0;
    for (size_t i = 0; i < n; ++i) {
        if (lambdas[i] <= cut)
            maxSparse = std::max(maxSparse, double(lambdas[i]));
    }
    p.lambdaCut = maxSparse;
    p.accept.assign(n, 0);
    for (size_t i = 0; i < n; ++i) {
        const double lambda = lambdas[i];
        if (lambda > cut) {
            p.dense.emplace_back(static_cast<uint32_t>(i), static_cast<float>(lambda));
        } else if (maxSparse > 0.0) {
            p.accept[i]
                = static_cast<uint32_t>(std::min(4294967295.0, lambda / maxSparse * 4294967296.0));
        }
    }
}

template <typename T>
void PhysicsModel::drawCounts(Rng& rng, T* counts)
{
    const size_t n = m_rate.size();
    std::memset(counts, 0, n * sizeof(T));
    const Plan& p = m_plan;
    if (p.allDense) {
        for (size_t i = 0; i < n; ++i) {
            const uint32_t k = poisson(rng, double(m_rate[i]) * p.exposure);
            counts[i] = static_cast<T>(std::min<uint32_t>(k, kCounterMax));
        }
        return;
    }
    // Pixels of low mean: a Poisson process of rate lambdaCut along the pixel index,
    // each point kept with probability mean / lambdaCut (thinning).
    if (p.lambdaCut > 0.0) {
        const double step = 1.0 / p.lambdaCut;
        const double end = static_cast<double>(n);
        const uint32_t* accept = p.accept.data();
        double t = rng.exponential() * step;
        while (t < end) {
            const size_t i = static_cast<size_t>(t);
            if (rng.next32() < accept[i])
                bump(counts[i]);
            t += rng.exponential() * step;
        }
    }
    for (const auto& d : p.dense) {
        const uint32_t k = poisson(rng, d.second);
        counts[d.first] = static_cast<T>(std::min<uint32_t>(k, kCounterMax));
    }
}

void PhysicsModel::countFrame(Rng& rng, double exposure, int16_t* out)
{
    cleanVectorState();
    if (m_plan.exposure != exposure)
        buildPlan(exposure);
    drawCounts(rng, out);
}

void PhysicsModel::addCosmics(Rng& rng, double exposure, std::vector<float>& energy)
{
    const size_t n = m_rate.size();
    const double muons = kMuonRatePerPixel * double(n) * exposure;
    const double alphas = kAlphaRatePerDevice * exposure;
    const uint32_t muonCount = poisson(rng, muons);
    const uint32_t alphaCount = poisson(rng, alphas);
    if (muonCount == 0 && alphaCount == 0)
        return;
    if (energy.size() != n)
        energy.assign(n, 0.0f);
    auto deposit = [&](int x, int y, double keV) {
        if (x >= 0 && y >= 0 && x < m_width && y < m_height)
            energy[size_t(y) * size_t(m_width) + size_t(x)] += static_cast<float>(keV);
    };
    for (uint32_t m = 0; m < muonCount; ++m) {
        // A straight track; the length follows from the angle of incidence.
        double x = rng.uniform() * m_width, y = rng.uniform() * m_height;
        const double angle = rng.uniform() * 6.283185307179586;
        const double length = 10.0 + 140.0 * rng.uniform();
        const double dx = std::cos(angle), dy = std::sin(angle);
        for (double s = 0.0; s < length; s += 1.0) {
            // Energy loss per pixel with a long tail (delta electrons).
            deposit(int(x), int(y), 18.0 + 8.0 * rng.exponential());
            x += dx;
            y += dy;
        }
    }
    for (uint32_t a = 0; a < alphaCount; ++a) {
        // A round blob: about 5 MeV shared by the pixels around the entry point.
        const double cx = rng.uniform() * m_width, cy = rng.uniform() * m_height;
        const double r = 2.5 + 2.0 * rng.uniform();
        const double total = 4000.0 + 1500.0 * rng.uniform();
        const double norm = total / (6.283185307179586 * r * r);
        for (int yy = int(cy - 3 * r); yy <= int(cy + 3 * r); ++yy) {
            for (int xx = int(cx - 3 * r); xx <= int(cx + 3 * r); ++xx) {
                const double d2
                    = (xx + 0.5 - cx) * (xx + 0.5 - cx) + (yy + 0.5 - cy) * (yy + 0.5 - cy);
                deposit(xx, yy, norm * std::exp(-0.5 * d2 / (r * r)));
            }
        }
    }
}

void PhysicsModel::frame(Rng& rng, double exposure, int16_t* out)
{
    // The measuring thread may come from a GUI thread with dirty vector registers.
    cleanVectorState();
    const size_t n = m_rate.size();
    const SimPixCfg::Pixels& px = m_inputs.pixels;
    const bool hasCfg = px.mask.size() == n && px.mode.size() == n;
    if (m_plan.exposure != exposure)
        buildPlan(exposure);
    m_energy.clear();
    if (m_allCounting) {
        drawCounts(rng, out);
        addCosmics(rng, exposure, m_energy);
        if (!m_energy.empty()) {
            for (size_t i = 0; i < n; ++i) {
                if (m_energy[i] > m_threshold[i] && m_defect[i] != 2 && !(hasCfg && px.mask[i]))
                    bump(out[i]);
            }
        }
        return;
    }

    // Mixed modes: counts first, then what each pixel's mode makes of them.
    m_counts.resize(n);
    drawCounts(rng, m_counts.data());
    m_energy.assign(n, 0.0f);
    const double kvp = m_inputs.source.kvp;
    // Photons: energy from the spectrum above the pixel's threshold; a fifth of them
    // share their charge with a neighbour (charge sharing makes small clusters).
    for (size_t i = 0; i < n; ++i) {
        const uint32_t k = m_counts[i];
        if (k == 0 || px.mode[i] != 1)
            continue;
        const double low = std::max(double(m_threshold[i]), std::min(8.0, kvp * 0.5));
        const uint32_t draws = std::min<uint32_t>(k, 32);
        double sum = 0.0;
        for (uint32_t j = 0; j < draws; ++j) {
            double e = kvp - (kvp - low) * std::sqrt(rng.uniform());
            if (rng.uniform() < 0.2) {
                const double part = e * (0.1 + 0.4 * rng.uniform());
                const int x = int(i % size_t(m_width)) + (rng.uniform() < 0.5 ? -1 : 1);
                if (x >= 0 && x < m_width)
                    m_energy[i - (i % size_t(m_width)) + size_t(x)] += static_cast<float>(part);
                e -= part;
            }
            sum += e;
        }
        if (k > draws)
            sum *= double(k) / draws;
        m_energy[i] += static_cast<float>(sum);
    }
    std::vector<float> cosmic;
    addCosmics(rng, exposure, cosmic);
    for (size_t i = 0; i < n; ++i) {
        const int c = chipOf(int(i % size_t(m_width)), int(i / size_t(m_width)));
        const ChipSettings& chip = m_inputs.chips[size_t(c)];
        const bool off = m_defect[i] == 2 || px.mask[i];
        const float extra = cosmic.empty() ? 0.0f : cosmic[i];
        const bool cosmicHit = extra > m_threshold[i];
        uint32_t k = m_counts[i] + (cosmicHit ? 1u : 0u);
        double value = 0.0;
        if (!off) {
            switch (px.mode[i]) {
            case 0: // counting
                value = k;
                break;
            case 2: // one hit
                value = k > 0 ? 1 : 0;
                break;
            case 1: { // time over threshold: clock counts of the deposited energy
                const double e = m_energy[i] + (cosmicHit ? extra : 0.0f);
                value = e > m_threshold[i] ? chip.totPerKeV * e * chip.clockMHz / 48.0 : 0.0;
                break;
            }
            default: // time of arrival: clock counts from the first hit to the end
                if (k > 0) {
                    const double first = exposure * (1.0 - std::pow(rng.uniformOpen(), 1.0 / k));
                    value = (exposure - first) * chip.clockMHz * 1e6;
                }
                break;
            }
        }
        out[i] = static_cast<int16_t>(std::clamp(std::nearbyint(value), 0.0, double(kCounterMax)));
    }
}

std::vector<PhysicsModel::PulsedPixel> PhysicsModel::pulsedPixels(double volts) const
{
    const size_t n = m_rate.size();
    const SimPixCfg::Pixels& px = m_inputs.pixels;
    std::vector<PulsedPixel> out;
    if (px.test.size() != n || px.mask.size() != n)
        return out;
    const double energy = testPulseKeV(volts);
    for (size_t i = 0; i < n; ++i) {
        if (!px.test[i] || px.mask[i] || m_defect[i] == 2)
            continue;
        // The pulse charge is seen through the pixel's own gain; noise smears the edge.
        const double p = normalCdf((energy * m_gain[i] - m_threshold[i]) / m_sigma[i]);
        out.push_back({uint32_t(i), p, energy * m_gain[i]});
    }
    return out;
}

void PhysicsModel::testPulseFrame(Rng& rng, const TestPulseRecord& pulses, int16_t* out)
{
    const size_t n = m_rate.size();
    const SimPixCfg::Pixels& px = m_inputs.pixels;
    std::memset(out, 0, n * sizeof(int16_t));
    const double energy = testPulseKeV(pulses.height);
    const double count = pulses.count;
    for (const PulsedPixel& pp : pulsedPixels(pulses.height)) {
        const size_t i = pp.pixel;
        const double p = pp.probability;
        double k;
        if (p < 1e-9)
            k = 0.0;
        else if (p > 1.0 - 1e-9)
            k = count;
        else
            k = std::clamp(
                std::nearbyint(count * p + std::sqrt(count * p * (1.0 - p)) * rng.normal()), 0.0,
                count);
        if (px.mode.size() == n && m_inputs.timepix && px.mode[i] == 1) {
            const ChipSettings& chip
                = m_inputs
                      .chips[size_t(chipOf(int(i % size_t(m_width)), int(i / size_t(m_width))))];
            k *= chip.totPerKeV * energy * chip.clockMHz / 48.0;
        } else if (px.mode.size() == n && m_inputs.timepix && px.mode[i] == 2) {
            k = k > 0 ? 1 : 0;
        }
        out[i] = static_cast<int16_t>(std::min(k, double(kCounterMax)));
    }
}

template void PhysicsModel::drawCounts<int16_t>(Rng&, int16_t*);
template void PhysicsModel::drawCounts<uint32_t>(Rng&, uint32_t*);

} // namespace sim
