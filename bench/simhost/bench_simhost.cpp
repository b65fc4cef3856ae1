// Frames per second of the simulated Timepix quad at acquisition time 0, against a
// plain Poisson fill (one draw per pixel) of the same 512 x 512 mean image, measured in
// the same run.
#include <deviceset.h>
#include <physics.h>
#include <poisson.h>
#include <timepixdevice.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <vector>

namespace {

std::shared_ptr<sim::TimepixDevice> quad()
{
    return std::make_shared<sim::TimepixDevice>(sim::defaultDeviceSet().front());
}

std::array<unsigned char, 43> record(uint32_t count)
{
    std::array<unsigned char, 43> rec {};
    const double time = 0.0;
    const uint32_t spacing = 1;
    static const char empty[] = "";
    const uint64_t p = reinterpret_cast<uintptr_t>(empty);
    std::memcpy(&rec[4], &count, 4);
    std::memcpy(&rec[8], &time, 8);
    std::memcpy(&rec[28], &spacing, 4);
    std::memcpy(&rec[35], &p, 8);
    return rec;
}

// Whole measurements of 200 frames at time 0 on the quad: store, events, physics.
void QuadMeasurementTime0(benchmark::State& state)
{
    auto dev = quad();
    const auto rec = record(200);
    for (auto _ : state) {
        if (dev->doAdvancedAcquisition(rec.data(), nullptr, nullptr) != 0)
            state.SkipWithError("measurement failed");
    }
    state.SetItemsProcessed(state.iterations() * 200);
    state.counters["fps"]
        = benchmark::Counter(double(state.iterations()) * 200, benchmark::Counter::kIsRate);
}
BENCHMARK(QuadMeasurementTime0)->Unit(benchmark::kMillisecond)->UseRealTime();

// The physics alone: one quad frame at the shortest exposure.
void QuadPhysicsFrame(benchmark::State& state)
{
    sim::PhysicsModel model(512, 512, 4, 512);
    std::vector<int16_t> out(512 * 512);
    sim::Rng rng(1);
    for (auto _ : state) {
        model.frame(rng, sim::TimepixDevice::kMinAcqTime, out.data());
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["fps"]
        = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(QuadPhysicsFrame)->Unit(benchmark::kMicrosecond);

// Baseline: one Poisson draw per pixel of the same mean image.
void PlainPoissonFill(benchmark::State& state)
{
    sim::PhysicsModel model(512, 512, 4, 512);
    std::vector<float> mean(model.rates().size());
    for (size_t i = 0; i < mean.size(); ++i)
        mean[i] = static_cast<float>(model.rates()[i] * sim::TimepixDevice::kMinAcqTime);
    std::vector<uint16_t> out(mean.size());
    sim::Rng rng(1);
    for (auto _ : state) {
        sim::poissonFill(rng, mean.data(), mean.size(), out.data(), sim::kCounterMax);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["fps"]
        = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(PlainPoissonFill)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
