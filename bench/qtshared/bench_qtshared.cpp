// Paint loops and frame conversion of the frame display against a baseline loop
// that only reads the doubles and writes one 32-bit word per pixel, measured in
// the same run. Each result carries its Mpixel/s and its ratio to the baseline;
// a summary goes to stdout and to bench_qtshared_summary.txt (with
// --benchmark_repetitions, the medians).
#include "../common/medianreporter.h"
#include "colormap.h"
#include "paintbands.h"
#include "qmpximage.h"
#include "qmpxlinearfused.h"
#include "qmpxpaintloops.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

const int sizes[] = {128, 256, 512, 1024, 2048};
std::map<int, double> baselinePixelsPerSecond;

std::vector<double> frameValues(int n)
{
    std::vector<double> v(std::size_t(n) * n);
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i] = double((i * 2654435761u) % 1200u) - 50.0; // some under and over range
    return v;
}

__attribute__((always_inline)) inline void baselineBody(
    const double* __restrict in, std::uint32_t* __restrict out, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        out[i] = static_cast<std::uint32_t>(static_cast<std::int64_t>(in[i]));
}

// The baseline gets the same instruction sets as the paint loops (which pick
// AVX-512, AVX2 or baseline x86-64 at run time), so that the ratio compares loops,
// not instruction sets.
void baselineGeneric(const double* in, std::uint32_t* out, std::size_t n)
{
    baselineBody(in, out, n);
}

#if defined(__GNUC__) && defined(__x86_64__)
__attribute__((target("avx2"))) void baselineAvx2(
    const double* in, std::uint32_t* out, std::size_t n)
{
    baselineBody(in, out, n);
}

__attribute__((target("avx512f,avx512vl,avx512dq,avx512bw,prefer-vector-width=512"))) void
baselineAvx512(const double* in, std::uint32_t* out, std::size_t n)
{
    baselineBody(in, out, n);
}
#endif

using BaselineFn = void (*)(const double*, std::uint32_t*, std::size_t);

BaselineFn chooseBaseline()
{
#if defined(__GNUC__) && defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")
        && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw"))
        return baselineAvx512;
    if (__builtin_cpu_supports("avx2"))
        return baselineAvx2;
#endif
    return baselineGeneric;
}

void baselineLoop(const double* in, std::uint32_t* out, std::size_t n)
{
    static const BaselineFn loop = chooseBaseline();
    loop(in, out, n);
}

// Pixels per second of one call of pass() over n pixels: the median of single
// timed passes, so that passes the system interrupts drop out.
template <typename PassFn>
double medianPassRate(std::size_t n, int passes, PassFn pass)
{
    std::vector<double> rates;
    for (int i = 0; i < passes; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        pass();
        benchmark::ClobberMemory();
        const double s
            = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        rates.push_back(double(n) / s);
    }
    std::sort(rates.begin(), rates.end());
    return rates[rates.size() / 2];
}

double measureBaseline(int n, int passes = 31)
{
    const std::vector<double> in = frameValues(n);
    std::vector<std::uint32_t> out(in.size());
    return medianPassRate(in.size(), passes, [&] {
        baselineLoop(in.data(), out.data(), in.size());
        benchmark::DoNotOptimize(out.data());
    });
}

// The same for paintFrame of the linear loop, with the helper thread from the
// given number of pixels.
double measureLinear(int n, int passes, std::size_t threadedFrom)
{
    const std::vector<double> in = frameValues(n);
    QMpxImage image;
    image.setFrameData(in.data(), unsigned(n), unsigned(n));
    const std::size_t threaded = mpxpaint::threadedPixels();
    mpxpaint::setThreadedPixels(threadedFrom);
    const double rate = medianPassRate(in.size(), passes, [&] {
        image.paintFrame(0.0, 1000.0, false, true, true);
        benchmark::DoNotOptimize(image.getImage().constBits());
    });
    mpxpaint::setThreadedPixels(threaded);
    return rate;
}

void setCounters(benchmark::State& state, int n)
{
    const double pixels = double(n) * n;
    state.counters["Mpix/s"]
        = benchmark::Counter(pixels / 1e6, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["vs_baseline"] = benchmark::Counter(
        pixels / baselinePixelsPerSecond[n], benchmark::Counter::kIsIterationInvariantRate);
}

void BM_Baseline(benchmark::State& state)
{
    const int n = int(state.range(0));
    const std::vector<double> in = frameValues(n);
    std::vector<std::uint32_t> out(in.size());
    for (auto _ : state) {
        baselineLoop(in.data(), out.data(), in.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, n);
}

enum Loop {
    Linear,
    LinearOneThread,
    LinearTwoThreads,
    LinearAvx2,
    LinearMasked,
    LinearLog,
    Gamma,
    Raw,
    Decode
};

void BM_PaintFrame(benchmark::State& state, Loop loop)
{
    const int n = int(state.range(0));
    const std::vector<double> in = frameValues(n);
    QMpxImage image;
    image.setFrameData(in.data(), unsigned(n), unsigned(n));
    std::vector<unsigned char> mask(in.size(), 1);
    for (std::size_t i = 0; i < mask.size(); i += 97)
        mask[i] = 0;
    image.setMask(mask.data(), unsigned(n), unsigned(n));
    image.logScale = loop == LinearLog;
    image.gamma = loop == Gamma ? 0.5 : 0.0;
    image.rawRgb = loop == Raw;
    if (loop == Decode)
        image.setCustomColorMap(new TrackingColorMap);
    const bool masked = loop == LinearMasked;
    const std::size_t threaded = mpxpaint::threadedPixels();
    if (loop == LinearOneThread)
        mpxpaint::setThreadedPixels(SIZE_MAX);
    if (loop == LinearTwoThreads)
        mpxpaint::setThreadedPixels(0);
    if (loop == LinearAvx2)
        mpxpaint::setLoopLimit(mpxpaint::LoopLimit::Avx2);
    for (auto _ : state) {
        image.paintFrame(0.0, 1000.0, masked, true, true);
        benchmark::DoNotOptimize(image.getImage().constBits());
        benchmark::ClobberMemory();
    }
    mpxpaint::setThreadedPixels(threaded);
    mpxpaint::setLoopLimit(mpxpaint::LoopLimit::Widest);
    setCounters(state, n);
}

// What sharing a frame with the helper thread costs: a job of two bands that each
// keep a thread busy for the given microseconds. With bands of 0 the caller
// usually takes both before the helper wakes (the cost of the wake-up call);
// with longer bands the time above one band is the helper's delay in joining.
void BM_HandOff(benchmark::State& state)
{
    const auto bandTime = std::chrono::microseconds(state.range(0));
    std::atomic<unsigned int> rowsDone {0};
    auto rows = [&rowsDone, bandTime](unsigned int first, unsigned int end) {
        const auto until = std::chrono::steady_clock::now() + bandTime;
        while (std::chrono::steady_clock::now() < until) { }
        rowsDone.fetch_add(end - first, std::memory_order_relaxed);
    };
    for (auto _ : state)
        mpxpaint::runBands(2, 1, rows);
    if (rowsDone.load() != 2 * state.iterations())
        state.SkipWithError("rows lost");
}

template <typename T>
void BM_SetData(benchmark::State& state)
{
    const int n = int(state.range(0));
    std::vector<T> in(std::size_t(n) * n);
    for (std::size_t i = 0; i < in.size(); ++i)
        in[i] = T(i % 1000);
    QMpxImage image;
    for (auto _ : state) {
        image.setFrameData(in.data(), unsigned(n), unsigned(n));
        benchmark::DoNotOptimize(image.getData());
        benchmark::ClobberMemory();
    }
    setCounters(state, n);
}

} // namespace

static double mpixOf(const MedianReporter::Line& line)
{
    const auto found = line.counters.find("Mpix/s");
    return found != line.counters.end() ? found->second : 0.0;
}

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);

    for (int n : sizes)
        baselinePixelsPerSecond[n] = measureBaseline(n);
    auto addSizes = [](benchmark::internal::Benchmark* b) {
        for (int n : sizes)
            b->Arg(n);
        b->Unit(benchmark::kMicrosecond)->UseRealTime();
    };
    addSizes(benchmark::RegisterBenchmark("baseline", BM_Baseline));
    addSizes(benchmark::RegisterBenchmark("paintFrame/linear", BM_PaintFrame, Linear));
    addSizes(
        benchmark::RegisterBenchmark("paintFrame/linear_1thread", BM_PaintFrame, LinearOneThread));
    addSizes(benchmark::RegisterBenchmark(
        "paintFrame/linear_2threads", BM_PaintFrame, LinearTwoThreads));
    addSizes(benchmark::RegisterBenchmark("paintFrame/linear_avx2", BM_PaintFrame, LinearAvx2));
    addSizes(benchmark::RegisterBenchmark("paintFrame/linear_masked", BM_PaintFrame, LinearMasked));
    addSizes(benchmark::RegisterBenchmark("paintFrame/linear_log", BM_PaintFrame, LinearLog));
    addSizes(benchmark::RegisterBenchmark("paintFrame/gamma", BM_PaintFrame, Gamma));
    addSizes(benchmark::RegisterBenchmark("paintFrame/raw", BM_PaintFrame, Raw));
    addSizes(benchmark::RegisterBenchmark("paintFrame/decode", BM_PaintFrame, Decode));
    benchmark::RegisterBenchmark("handOff", BM_HandOff)
        ->Arg(0)
        ->Arg(20)
        ->Arg(100)
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();
    addSizes(benchmark::RegisterBenchmark("setData/short", BM_SetData<short>));
    addSizes(benchmark::RegisterBenchmark("setData/uint32", BM_SetData<unsigned int>));
    addSizes(benchmark::RegisterBenchmark("setData/double", BM_SetData<double>));

    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    // The summary relates each result to the baseline benchmark of the same size.
    std::map<std::string, double> baselineMpix;
    for (const auto& line : reporter.lines)
        if (line.name.rfind("baseline/", 0) == 0)
            baselineMpix[line.name.substr(line.name.find('/') + 1)] = mpixOf(line);
    std::FILE* file = std::fopen("bench_qtshared_summary.txt", "w");
    for (std::FILE* out : {stdout, file}) {
        if (!out)
            continue;
        std::fprintf(out, "\n%-40s %10s %12s\n", "benchmark", "Mpixel/s", "vs baseline");
        for (const auto& line : reporter.lines) {
            if (!line.counters.count("Mpix/s"))
                continue;
            const std::string tail
                = line.name.substr(line.name.find('/', line.name.find('/') + 1) + 1);
            const std::string key = line.name.rfind("baseline/", 0) == 0
                ? line.name.substr(line.name.find('/') + 1)
                : tail;
            const double base = baselineMpix.count(key) ? baselineMpix[key] : 0.0;
            std::fprintf(out, "%-40s %10.1f %12.2f\n", line.name.c_str(), mpixOf(line),
                base > 0 ? mpixOf(line) / base : 0.0);
        }
    }
    // Medians of single passes, which a loaded machine disturbs less than the
    // averages over many passes above.
    for (std::FILE* out : {stdout, file}) {
        if (out)
            std::fprintf(out, "\n%-40s %10s %10s %10s %8s %8s\n", "single passes (median of 201)",
                "baseline", "1 thread", "2 threads", "ratio 1", "ratio 2");
    }
    for (int n : {512, 1024, 2048}) {
        const double base = measureBaseline(n, 201);
        const double one = measureLinear(n, 201, SIZE_MAX);
        const double two = measureLinear(n, 201, 0);
        for (std::FILE* out : {stdout, file}) {
            if (out)
                std::fprintf(out, "linear %-33d %10.1f %10.1f %10.1f %8.2f %8.2f\n", n, base / 1e6,
                    one / 1e6, two / 1e6, one / base, two / base);
        }
    }
    if (file)
        std::fclose(file);
    return 0;
}
