// The automatic range of the image properties panel, each mode, on the frame of the
// simulated host against QMpxImage::paintFrame on the same frame in the same run. A
// mode is timed as the panel's work when a frame is shown (onFrameChanged: the span of
// the sliders and the mode's range, with the host's statistics calls), without the
// repaint that the new range then causes, once for the same frame shown again (the
// host keeps a frame's statistics) and once for a new frame each time
// ("mode_new_frame"). "smart_sampling" is the panel's own part of
// the smart range. The summary gives each result as a fraction of the paint of the
// same size; it goes to stdout and to bench_panels_summary.txt.
#include "../common/medianreporter.h"
#include "pnlimageprops.h"
#include "qrangemgr.h"

#include <qmpxframe.h>
#include <qmpximage.h>
#include <simframe.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

using PluginDevControl::PnlImageProps;

namespace {

const int sizes[] = {512, 2048};
const char* const modeNames[] = {"min_max", "min_max_non_zero", "min_max_non_zero_margin",
    "fractile_0.001", "fractile_0.005", "fractile_0.01", "fractile_0.05", "smart"};

// Counts as a counting detector gives them: mostly low, some zeros, a few hot pixels.
std::vector<unsigned int> counts(int n)
{
    std::vector<unsigned int> v(std::size_t(n) * n);
    for (std::size_t i = 0; i < v.size(); ++i) {
        const unsigned int h = unsigned(i * 2654435761u);
        v[i] = (h % 7u == 0u) ? 0u : (h >> 8) % 200u + ((h % 997u == 0u) ? 5000u : 0u);
    }
    return v;
}

// One reference on a simulated frame of n x n counts.
struct Frame
{
    explicit Frame(int n) : frame(sim::SimFrame::create(unsigned(n), unsigned(n), ov::FrameUInt32))
    {
        const std::vector<unsigned int> v = counts(n);
        frame->setData(v.data(), v.size() * sizeof(unsigned int));
    }
    ~Frame() { frame->decRef(); }
    sim::SimFrame* frame;
};

void BM_PaintFrame(benchmark::State& state)
{
    const int n = int(state.range(0));
    const std::vector<unsigned int> v = counts(n);
    QMpxImage image;
    image.setFrameData(v.data(), unsigned(n), unsigned(n));
    for (auto _ : state) {
        image.paintFrame(0.0, 250.0, false, false, false);
        benchmark::DoNotOptimize(image.getImage().constBits());
        benchmark::ClobberMemory();
    }
}

// The panel's work for one shown frame with the mode on, the region being the whole
// frame as the controller hands it over without a selection.
// With newFrame the frame's kept statistics are dropped before each showing, as for
// every new frame of a measurement; without, the same frame is shown again (a change of
// mode, zoom or colour map).
void BM_Mode(benchmark::State& state, int mode, bool newFrame)
{
    const int n = int(state.range(0));
    Frame f(n);
    QMpxFrame widget;
    PnlImageProps panel(nullptr, &widget, nullptr);
    panel.rangeManager()->frame = nullptr; // the repaint is measured on its own
    panel.autoRangeCombo()->setCurrentIndex(mode);
    panel.autoRangeCheckBox()->setChecked(true);
    const ov::RegionRect rect {0, 0, n, n};
    const ov::Region region {&rect, 1};
    for (auto _ : state) {
        if (newFrame)
            f.frame->pixelsChanged();
        panel.onFrameChanged(f.frame, &region);
        benchmark::DoNotOptimize(panel.min());
        benchmark::DoNotOptimize(panel.max());
    }
}

void BM_SmartSampling(benchmark::State& state)
{
    const int n = int(state.range(0));
    Frame f(n);
    QMpxFrame widget;
    PnlImageProps panel(nullptr, &widget, nullptr);
    const ov::RegionRect rect {0, 0, n, n};
    const ov::Region region {&rect, 1};
    double min = 0.0;
    double max = 0.0;
    for (auto _ : state) {
        panel.calculateSmartRange(f.frame, 0.01, 0.99, 1000, &region, &min, &max);
        benchmark::DoNotOptimize(min);
        benchmark::DoNotOptimize(max);
    }
}

// One statistics call of the simulated host, for scale: every shown frame costs the
// panel two of them (the span of the sliders).
void BM_HostMinValue(benchmark::State& state, bool newFrame)
{
    const int n = int(state.range(0));
    Frame f(n);
    for (auto _ : state) {
        if (newFrame)
            f.frame->pixelsChanged();
        benchmark::DoNotOptimize(f.frame->minValue(nullptr));
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    auto addSizes = [](benchmark::internal::Benchmark* b) {
        for (int n : sizes)
            b->Arg(n);
        b->Unit(benchmark::kMicrosecond)->UseRealTime();
    };
    addSizes(benchmark::RegisterBenchmark("paintFrame", BM_PaintFrame));
    for (int mode = 0; mode < 8; ++mode)
        addSizes(benchmark::RegisterBenchmark(
            (std::string("mode/") + modeNames[mode]).c_str(), BM_Mode, mode, false));
    for (int mode = 0; mode < 8; ++mode)
        addSizes(benchmark::RegisterBenchmark(
            (std::string("mode_new_frame/") + modeNames[mode]).c_str(), BM_Mode, mode, true));
    addSizes(benchmark::RegisterBenchmark("smart_sampling", BM_SmartSampling));
    addSizes(benchmark::RegisterBenchmark("host_minValue", BM_HostMinValue, false));
    addSizes(benchmark::RegisterBenchmark("host_minValue_new_frame", BM_HostMinValue, true));
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    // Each result against the paint of the same size.
    std::map<std::string, double> paint;
    for (const auto& line : reporter.lines)
        if (line.name.rfind("paintFrame/", 0) == 0)
            paint[line.name.substr(line.name.rfind('/') + 1)] = line.time;
    std::FILE* file = std::fopen("bench_panels_summary.txt", "w");
    for (std::FILE* out : {stdout, file}) {
        if (!out)
            continue;
        std::fprintf(out, "\n%-40s %12s %12s\n", "benchmark", "us", "vs paint");
        for (const auto& line : reporter.lines) {
            const std::string size = line.name.substr(line.name.rfind('/') + 1);
            const double base = paint.count(size) ? paint[size] : 0.0;
            std::fprintf(out, "%-40s %12.1f %12.3f\n", line.name.c_str(), line.time,
                base > 0 ? line.time / base : 0.0);
        }
    }
    if (file)
        std::fclose(file);
    return 0;
}
