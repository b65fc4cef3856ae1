#include "hitsource.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sim {

namespace {

constexpr double kStepsPerSecond = 1.0 / Tpx3HitSource::kToaStepSeconds;
constexpr uint16_t kTotMax = 1023; // a 10-bit counter
// Charge cloud radius in pixels: a photon closer than this to an edge shares its charge.
constexpr double kCloud = 0.15;
// A noisy pixel fires at most this many times as often as a typical one: after each hit
// it is dead while it measures the time over threshold and sends the hit.
constexpr float kMaxRateOverMedian = 30.0f;
// Photons drawn to learn how many hits a photon makes on this device as it is set.
constexpr int kSamplePhotons = 4096;

double exponential(Rng& rng, double rate)
{
    return -fastLog(rng.uniformOpen()) / rate;
}

} // namespace

Tpx3HitSource::Tpx3HitSource(const PhysicsModel& physics, double hitsPerSecond, uint64_t seed)
    : m_width(physics.width()),
      m_height(physics.height()),
      m_kvp(physics.inputs().source.kvp),
      m_hitRate(std::max(0.0, hitsPerSecond)),
      m_chips(std::max<size_t>(1, physics.inputs().chips.size())),
      m_rng(seed)
{
    const size_t n = size_t(m_width) * size_t(m_height);
    const std::vector<float>& rates = physics.rates();
    const std::vector<float>& thr = physics.pixelThresholds();
    const SimPixCfg::Pixels& px = physics.inputs().pixels;
    m_threshold.assign(n, std::numeric_limits<float>::infinity());
    std::vector<float> weights(n, 0.0f);
    for (size_t i = 0; i < n; ++i) {
        const bool masked = px.mask.size() == n && px.mask[i];
        if (masked || i >= rates.size() || !(rates[i] > 0.0f))
            continue;
        m_threshold[i] = i < thr.size() ? thr[i] : 5.0f;
        weights[i] = rates[i];
    }
    std::vector<float> counting;
    for (float w : weights)
        if (w > 0.0f)
            counting.push_back(w);
    if (!counting.empty()) {
        std::nth_element(counting.begin(), counting.begin() + counting.size() / 2, counting.end());
        const float cap = counting[counting.size() / 2] * kMaxRateOverMedian;
        for (float& w : weights)
            w = std::min(w, cap);
    }
    buildAliasTable(weights);
    m_photonRate = m_aliasProb.empty() ? 0.0 : m_hitRate / hitsPerPhoton();
    m_muonClock = exponential(m_rng, kMuonRate * m_chips);
    m_alphaClock = exponential(m_rng, kAlphaRate * m_chips);
}

void Tpx3HitSource::buildAliasTable(const std::vector<float>& weights)
{
    // Walker's alias method: one uniform draw picks a pixel with the weights' odds.
    double total = 0.0;
    for (float w : weights)
        total += w;
    m_aliasProb.clear();
    m_alias.clear();
    if (!(total > 0.0))
        return;
    const size_t n = weights.size();
    m_aliasProb.resize(n);
    m_alias.resize(n);
    std::vector<double> scaled(n);
    std::vector<uint32_t> small, large;
    for (size_t i = 0; i < n; ++i) {
        scaled[i] = weights[i] * double(n) / total;
        (scaled[i] < 1.0 ? small : large).push_back(uint32_t(i));
    }
    while (!small.empty() && !large.empty()) {
        const uint32_t s = small.back();
        small.pop_back();
        const uint32_t l = large.back();
        m_aliasProb[s] = float(scaled[s]);
        m_alias[s] = l;
        scaled[l] -= 1.0 - scaled[s];
        if (scaled[l] < 1.0) {
            large.pop_back();
            small.push_back(l);
        }
    }
    for (uint32_t i : large) {
        m_aliasProb[i] = 1.0f;
        m_alias[i] = i;
    }
    for (uint32_t i : small) {
        m_aliasProb[i] = 1.0f;
        m_alias[i] = i;
    }
}

double Tpx3HitSource::hitsPerPhoton()
{
    // Charge sharing and thresholds decide it; a sample of photons on a generator of
    // its own (the device's sequence stays as it is) measures it.
    const Rng kept = m_rng;
    std::vector<ov::Tpx3Hit> hits;
    std::vector<ov::Tpx3Cluster> clusters;
    for (int i = 0; i < kSamplePhotons; ++i) {
        m_deposits.clear();
        photon(drawPixel(), m_deposits);
        record(0, m_deposits, false, hits, clusters);
    }
    m_rng = kept;
    return std::max(0.05, double(hits.size()) / kSamplePhotons);
}

uint32_t Tpx3HitSource::drawPixel()
{
    const uint64_t r = m_rng.next();
    const uint32_t i = uint32_t(((r >> 32) * uint64_t(m_aliasProb.size())) >> 32);
    const float u = float(uint32_t(r) >> 8) * 0x1p-24f;
    return u < m_aliasProb[i] ? i : m_alias[i];
}

void Tpx3HitSource::photon(uint32_t pixel, std::vector<Deposit>& out)
{
    const int x = int(pixel % uint32_t(m_width));
    const int y = int(pixel / uint32_t(m_width));
    const double low = std::max(double(m_threshold[pixel]), std::min(8.0, m_kvp * 0.5));
    const double energy = low < m_kvp ? m_kvp - (m_kvp - low) * std::sqrt(m_rng.uniform()) : low;
    // Where in the pixel it lands decides how much of the charge its neighbours take.
    const double u = m_rng.uniform();
    const double v = m_rng.uniform();
    const double du = std::min(u, 1.0 - u);
    const double dv = std::min(v, 1.0 - v);
    const double fx = du < kCloud ? 0.5 * (1.0 - du / kCloud) : 0.0;
    const double fy = dv < kCloud ? 0.5 * (1.0 - dv / kCloud) : 0.0;
    const int nx = u < 0.5 ? x - 1 : x + 1;
    const int ny = v < 0.5 ? y - 1 : y + 1;
    out.push_back({x, y, energy * (1.0 - fx) * (1.0 - fy)});
    if (fx > 0.0)
        out.push_back({nx, y, energy * fx * (1.0 - fy)});
    if (fy > 0.0)
        out.push_back({x, ny, energy * (1.0 - fx) * fy});
    if (fx > 0.0 && fy > 0.0)
        out.push_back({nx, ny, energy * fx * fy});
}

void Tpx3HitSource::muon(std::vector<Deposit>& out)
{
    // A straight track at a shallow angle: about 25 keV in each pixel it crosses, with
    // the long tail of thin absorbers.
    const double x0 = m_rng.uniform() * m_width;
    const double y0 = m_rng.uniform() * m_height;
    const double angle = m_rng.uniform() * 6.283185307179586;
    const double length = 20.0 + 180.0 * m_rng.uniform();
    const double dx = std::cos(angle);
    const double dy = std::sin(angle);
    int lastX = -1, lastY = -1;
    for (double s = 0.0; s < length; s += 0.5) {
        const int x = int(x0 + s * dx);
        const int y = int(y0 + s * dy);
        if (x < 0 || y < 0 || x >= m_width || y >= m_height)
            break;
        if (x == lastX && y == lastY)
            continue;
        lastX = x;
        lastY = y;
        out.push_back({x, y, 18.0 + 8.0 * std::abs(m_rng.normal()) + 4.0 * m_rng.uniform()});
    }
}

void Tpx3HitSource::alpha(std::vector<Deposit>& out)
{
    // About 5 MeV stopped within a few pixels: a round blob, brightest in its centre.
    const double cx = m_rng.uniform() * m_width;
    const double cy = m_rng.uniform() * m_height;
    const double radius = 2.0 + 3.0 * m_rng.uniform();
    const double total = 5000.0 * (0.9 + 0.2 * m_rng.uniform());
    const int r = int(std::ceil(radius * 2.0));
    double weightSum = 0.0;
    const size_t first = out.size();
    for (int y = int(cy) - r; y <= int(cy) + r; ++y) {
        for (int x = int(cx) - r; x <= int(cx) + r; ++x) {
            if (x < 0 || y < 0 || x >= m_width || y >= m_height)
                continue;
            const double d2 = (x + 0.5 - cx) * (x + 0.5 - cx) + (y + 0.5 - cy) * (y + 0.5 - cy);
            const double w = std::exp(-d2 / (radius * radius));
            if (w < 0.01)
                continue;
            out.push_back({x, y, w});
            weightSum += w;
        }
    }
    for (size_t i = first; i < out.size(); ++i)
        out[i].keV *= total / weightSum;
}

void Tpx3HitSource::record(uint64_t toa, const std::vector<Deposit>& deposits, bool calibrated,
    std::vector<ov::Tpx3Hit>& hits, std::vector<ov::Tpx3Cluster>& clusters)
{
    double sumTot = 0.0, sx = 0.0, sy = 0.0;
    uint32_t size = 0;
    uint64_t first = std::numeric_limits<uint64_t>::max();
    for (const Deposit& d : deposits) {
        if (d.x < 0 || d.y < 0 || d.x >= m_width || d.y >= m_height)
            continue;
        const size_t i = size_t(d.y) * size_t(m_width) + size_t(d.x);
        const double above = d.keV - double(m_threshold[i]);
        if (!(above > 0.0))
            continue;
        const double steps = std::nearbyint(d.keV * kTotStepsPerKeV);
        const uint16_t tot = uint16_t(std::clamp(steps, 1.0, double(kTotMax)));
        // Time walk: a small signal crosses the threshold late.
        const uint64_t walk = uint64_t(std::min(200.0, 12.0 / (above + 0.2)));
        const uint64_t at = toa + walk;
        hits.push_back({at, uint16_t(d.x), uint16_t(d.y), tot, 0});
        first = std::min(first, at);
        sumTot += tot;
        sx += tot * (d.x + 0.5);
        sy += tot * (d.y + 0.5);
        ++size;
    }
    if (size == 0)
        return;
    const float energy = float(calibrated ? sumTot / kTotStepsPerKeV : sumTot);
    clusters.push_back({first, float(sx / sumTot), float(sy / sumTot), energy, size});
}

void Tpx3HitSource::generate(uint64_t from, uint64_t to, bool calibrated,
    std::vector<ov::Tpx3Hit>& hits, std::vector<ov::Tpx3Cluster>& clusters)
{
    if (to <= from)
        return;
    const size_t firstHit = hits.size();
    const double end = double(to) / kStepsPerSecond;
    double t = double(from) / kStepsPerSecond;
    const double photonRate = m_photonRate;
    double nextPhoton = photonRate > 0.0 ? t + exponential(m_rng, photonRate) : end;
    for (;;) {
        const double next = std::min({nextPhoton, m_muonClock, m_alphaClock});
        if (next >= end)
            break;
        m_deposits.clear();
        if (next == nextPhoton) {
            photon(drawPixel(), m_deposits);
            nextPhoton += exponential(m_rng, photonRate);
        } else if (next == m_muonClock) {
            muon(m_deposits);
            m_muonClock += exponential(m_rng, kMuonRate * m_chips);
        } else {
            alpha(m_deposits);
            m_alphaClock += exponential(m_rng, kAlphaRate * m_chips);
        }
        record(uint64_t(next * kStepsPerSecond), m_deposits, calibrated, hits, clusters);
    }
    // Time walk delays some hits behind those of the next particle; they are only a few
    // places out of order, which an insertion pass puts right.
    for (size_t i = firstHit + 1; i < hits.size(); ++i) {
        if (hits[i].toa >= hits[i - 1].toa)
            continue;
        const ov::Tpx3Hit h = hits[i];
        size_t j = i;
        while (j > firstHit && hits[j - 1].toa > h.toa) {
            hits[j] = hits[j - 1];
            --j;
        }
        hits[j] = h;
    }
}

} // namespace sim
