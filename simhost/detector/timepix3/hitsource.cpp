#include "hitsource.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

namespace sim {

namespace {

constexpr double kStepsPerSecond = 1.0 / Tpx3HitSource::kToaStepSeconds;
constexpr uint16_t kTotMax = 1023; // a 10-bit counter
// Charge cloud radius in pixels: a photon closer than this to an edge shares its charge.
constexpr double kCloud = 0.15;
constexpr double kPerCloud = 1.0 / kCloud;
// A noisy pixel fires at most this many times as often as a typical one: after each hit
// it is dead while it measures the time over threshold and sends the hit.
constexpr float kMaxRateOverMedian = 30.0f;
// Photons drawn to learn how many hits a photon makes on this device as it is set.
constexpr int kSamplePhotons = 4096;

// Natural logarithm of x > 0 from a table of 1024 points of [1, 2) and two terms of the
// series around the nearest: good to about 1e-10, with no division (the gaps between
// arrivals take one each, tens of millions a second).
class LogTable
{
public:
    LogTable()
    {
        for (int i = 0; i < kSize; ++i) {
            const double m = 1.0 + (i + 0.5) / kSize;
            m_at[i] = {m, std::log(m), 1.0 / m};
        }
    }

    double log(double x) const
    {
        uint64_t bits;
        std::memcpy(&bits, &x, sizeof bits);
        const int e = int((bits >> 52) & 0x7ff) - 1023;
        const Point& p = m_at[(bits >> (52 - kBits)) & (kSize - 1)];
        bits = (bits & 0x000fffffffffffffull) | 0x3ff0000000000000ull;
        double m;
        std::memcpy(&m, &bits, sizeof m);
        const double d = (m - p.m) * p.inv; // |d| < 1/2048
        return double(e) * 0.6931471805599453 + p.log + d * (1.0 - d * (0.5 - d * (1.0 / 3.0)));
    }

private:
    static constexpr int kBits = 10;
    static constexpr int kSize = 1 << kBits;
    struct Point
    {
        double m, log, inv;
    };
    Point m_at[kSize];
};

const LogTable kLogTable;

// Exponential with the given mean.
inline double exponential(Rng& rng, double mean)
{
    return -kLogTable.log(rng.uniformOpen()) * mean;
}

// A hit made of two words, as it lies in memory: the fields one by one would be written
// to the stack in pieces and read back whole, which stalls the store into the chunk.
static_assert(sizeof(ov::Tpx3Hit) == 16 && offsetof(ov::Tpx3Hit, x) == 8
        && offsetof(ov::Tpx3Hit, y) == 10 && offsetof(ov::Tpx3Hit, tot) == 12
        && offsetof(ov::Tpx3Hit, flags) == 14,
    "Tpx3Hit is a time word and four 16-bit fields");

inline ov::Tpx3Hit makeHit(uint64_t toa, int x, int y, uint16_t tot)
{
    const uint64_t fields
        = uint64_t(uint16_t(x)) | uint64_t(uint16_t(y)) << 16 | uint64_t(tot) << 32;
    ov::Tpx3Hit h;
    h.toa = toa;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    h.x = uint16_t(x);
    h.y = uint16_t(y);
    h.tot = tot;
    h.flags = 0;
    (void)fields;
#else
    std::memcpy(&h.x, &fields, sizeof fields);
#endif
    return h;
}

// Two uniforms in [0, 1) from one draw, 32 bits each: enough for where in a pixel a
// photon lands.
void uniformPair(Rng& rng, double* u, double* v)
{
    const uint64_t r = rng.next();
    *u = double(uint32_t(r >> 32)) * 0x1p-32;
    *v = double(uint32_t(r)) * 0x1p-32;
}

} // namespace

Tpx3HitSource::Tpx3HitSource(const PhysicsModel& physics, double hitsPerSecond, uint64_t seed)
    : m_width(physics.width()),
      m_height(physics.height()),
      m_kvp(physics.inputs().source.kvp),
      m_lowCap(std::min(8.0, physics.inputs().source.kvp * 0.5)),
      m_hitRate(std::max(0.0, hitsPerSecond)),
      m_seed(seed),
      m_chips(std::max<size_t>(1, physics.inputs().chips.size()))
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
    const double photonsPerSecond = m_alias.empty() ? 0.0 : m_hitRate / hitsPerPhoton();
    m_photonsPerStep = photonsPerSecond * kToaStepSeconds;
}

void Tpx3HitSource::buildAliasTable(const std::vector<float>& weights)
{
    // Walker's alias method: one uniform draw picks a pixel with the weights' odds.
    double total = 0.0;
    for (float w : weights)
        total += w;
    m_alias.clear();
    if (!(total > 0.0))
        return;
    const size_t n = weights.size();
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
        m_alias[s] = {float(scaled[s]), l};
        scaled[l] -= 1.0 - scaled[s];
        if (scaled[l] < 1.0) {
            large.pop_back();
            small.push_back(l);
        }
    }
    for (uint32_t i : large)
        m_alias[i] = {1.0f, i};
    for (uint32_t i : small)
        m_alias[i] = {1.0f, i};
}

double Tpx3HitSource::hitsPerPhoton() const
{
    // Charge sharing and thresholds decide it; a sample of photons on a generator of
    // its own measures it.
    Rng rng(seedOf(m_seed, ~uint64_t(0)));
    std::vector<ov::Tpx3Hit> hits;
    hits.reserve(size_t(kSamplePhotons) * 4);
    for (int i = 0; i < kSamplePhotons; ++i)
        photon(rng, drawPixel(rng), 0, hits, nullptr);
    return std::max(0.05, double(hits.size()) / kSamplePhotons);
}

size_t Tpx3HitSource::expectedHits(uint64_t from, uint64_t to) const
{
    if (to <= from)
        return 0;
    const double mean = m_hitRate * double(to - from) * kToaStepSeconds;
    // Six standard deviations of the photon count (a photon makes up to four hits), and
    // room for a muon or an alpha particle.
    return size_t(mean + 24.0 * std::sqrt(mean) + 1024.0);
}

inline uint32_t Tpx3HitSource::drawPixel(Rng& rng) const
{
    const uint64_t r = rng.next();
    const uint32_t i = uint32_t(((r >> 32) * uint64_t(m_alias.size())) >> 32);
    const float u = float(uint32_t(r) >> 8) * 0x1p-24f;
    const Alias& a = m_alias[i];
    return u < a.keep ? i : a.other;
}

inline void Tpx3HitSource::deposit(
    int x, int y, double keV, uint64_t toa, std::vector<ov::Tpx3Hit>& hits, ClusterSums* sums) const
{
    const size_t i = size_t(y) * size_t(m_width) + size_t(x);
    const double above = keV - double(m_threshold[i]);
    if (!(above > 0.0))
        return;
    // Rounded to the nearest step (deposits are positive), at least one, at most what
    // the 10-bit counter holds.
    const double steps = std::min(double(kTotMax), std::max(1.0, keV * kTotStepsPerKeV + 0.5));
    const uint16_t tot = uint16_t(steps);
    // Time walk: a small signal crosses the threshold late (by less than a step, which
    // is none, when it lies well above; most do, and skip the division).
    const uint64_t walk = above > 12.0 ? 0 : uint64_t(std::min(200.0, 12.0 / (above + 0.2)));
    const uint64_t at = toa + walk;
    hits.push_back(makeHit(at, x, y, tot));
    if (!sums)
        return;
    sums->first = std::min(sums->first, at);
    sums->tot += tot;
    sums->x += tot * (x + 0.5);
    sums->y += tot * (y + 0.5);
    ++sums->size;
}

void Tpx3HitSource::addCluster(
    const ClusterSums& sums, bool calibrated, std::vector<ov::Tpx3Cluster>& clusters) const
{
    if (sums.size == 0)
        return;
    const float energy = float(calibrated ? sums.tot / kTotStepsPerKeV : sums.tot);
    clusters.push_back(
        {sums.first, float(sums.x / sums.tot), float(sums.y / sums.tot), energy, sums.size});
}

inline void Tpx3HitSource::photon(
    Rng& rng, uint32_t pixel, uint64_t toa, std::vector<ov::Tpx3Hit>& hits, ClusterSums* sums) const
{
    const int x = int(pixel % uint32_t(m_width));
    const int y = int(pixel / uint32_t(m_width));
    const double low = std::max(double(m_threshold[pixel]), m_lowCap);
    const double energy = low < m_kvp ? m_kvp - (m_kvp - low) * std::sqrt(rng.uniform()) : low;
    // Where in the pixel it lands decides how much of the charge its neighbours take.
    double u, v;
    uniformPair(rng, &u, &v);
    const double du = std::min(u, 1.0 - u);
    const double dv = std::min(v, 1.0 - v);
    const double fx = du < kCloud ? 0.5 * (1.0 - du * kPerCloud) : 0.0;
    const double fy = dv < kCloud ? 0.5 * (1.0 - dv * kPerCloud) : 0.0;
    // The pixel hit and the neighbours that share its charge, inside the device.
    Deposit shares[4];
    int n = 0;
    shares[n++] = {x, y, energy * (1.0 - fx) * (1.0 - fy)};
    if (fx > 0.0 || fy > 0.0) {
        const int nx = u < 0.5 ? x - 1 : x + 1;
        const int ny = v < 0.5 ? y - 1 : y + 1;
        const bool nxInside = fx > 0.0 && nx >= 0 && nx < m_width;
        const bool nyInside = fy > 0.0 && ny >= 0 && ny < m_height;
        if (nxInside)
            shares[n++] = {nx, y, energy * fx * (1.0 - fy)};
        if (nyInside)
            shares[n++] = {x, ny, energy * (1.0 - fx) * fy};
        if (nxInside && nyInside)
            shares[n++] = {nx, ny, energy * fx * fy};
    }
    for (int k = 0; k < n; ++k)
        deposit(shares[k].x, shares[k].y, shares[k].keV, toa, hits, sums);
}

void Tpx3HitSource::muon(Rng& rng, std::vector<Deposit>& out) const
{
    // A straight track at a shallow angle: about 25 keV in each pixel it crosses, with
    // the long tail of thin absorbers.
    const double x0 = rng.uniform() * m_width;
    const double y0 = rng.uniform() * m_height;
    const double angle = rng.uniform() * 6.283185307179586;
    const double length = 20.0 + 180.0 * rng.uniform();
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
        out.push_back({x, y, 18.0 + 8.0 * std::abs(rng.normal()) + 4.0 * rng.uniform()});
    }
}

void Tpx3HitSource::alpha(Rng& rng, std::vector<Deposit>& out) const
{
    // About 5 MeV stopped within a few pixels: a round blob, brightest in its centre.
    const double cx = rng.uniform() * m_width;
    const double cy = rng.uniform() * m_height;
    const double radius = 2.0 + 3.0 * rng.uniform();
    const double total = 5000.0 * (0.9 + 0.2 * rng.uniform());
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

void Tpx3HitSource::generate(uint64_t from, uint64_t to, bool calibrated,
    std::vector<ov::Tpx3Hit>& hits, std::vector<ov::Tpx3Cluster>* clusters) const
{
    if (to <= from)
        return;
    Rng rng(seedOf(m_seed, from));
    const size_t firstHit = hits.size();
    // Times in steps of 1.5625 ns; each clock holds the next arrival of its kind.
    const double end = double(to);
    const double photonGap = m_photonsPerStep > 0.0 ? 1.0 / m_photonsPerStep : 0.0;
    const double muonGap = kStepsPerSecond / (kMuonRate * m_chips);
    const double alphaGap = kStepsPerSecond / (kAlphaRate * m_chips);
    double nextPhoton = photonGap > 0.0 ? double(from) + exponential(rng, photonGap) : end;
    double nextMuon = double(from) + exponential(rng, muonGap);
    double nextAlpha = double(from) + exponential(rng, alphaGap);
    std::vector<Deposit> deposits;
    for (;;) {
        const double rare = std::min(nextMuon, nextAlpha);
        if (nextPhoton <= rare) {
            // The common case: photons until the next muon or alpha particle.
            const double stop = std::min(rare, end);
            if (clusters) {
                while (nextPhoton < stop) {
                    ClusterSums sums;
                    photon(rng, drawPixel(rng), uint64_t(nextPhoton), hits, &sums);
                    addCluster(sums, calibrated, *clusters);
                    nextPhoton += exponential(rng, photonGap);
                }
            } else {
                while (nextPhoton < stop) {
                    photon(rng, drawPixel(rng), uint64_t(nextPhoton), hits, nullptr);
                    nextPhoton += exponential(rng, photonGap);
                }
            }
            if (nextPhoton < rare)
                break; // past the end
        }
        // A muon or an alpha particle comes next (ahead of a photon at the same time).
        const double next = rare;
        if (next >= end)
            break;
        deposits.clear();
        if (next == nextMuon) {
            muon(rng, deposits);
            nextMuon += exponential(rng, muonGap);
        } else {
            alpha(rng, deposits);
            nextAlpha += exponential(rng, alphaGap);
        }
        ClusterSums sums;
        for (const Deposit& d : deposits)
            deposit(d.x, d.y, d.keV, uint64_t(next), hits, clusters ? &sums : nullptr);
        if (clusters)
            addCluster(sums, calibrated, *clusters);
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
