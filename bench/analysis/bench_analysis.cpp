// What a shown 512 x 512 frame costs the analysis panels, and each of the host's data
// filters on such a frame, against QMpxImage::paintFrame of the same frame in the same
// run. "panels" is the image info and histogram update the controller makes for every
// frame shown with both panels visible (statistics and the 2048-bin histogram of the
// frame, its line handed to the plot, without the plot's repaint); "panels_new_frame"
// drops the frame's kept statistics first, as for every new frame of a measurement.
// The summary gives each result as a fraction of the paint; it goes to stdout and to
// bench_analysis_summary.txt.
#include "../common/medianreporter.h"
#include "binningfilter.h"
#include "darkfilter.h"
#include "flatfieldfilter.h"
#include "hotpixelfilter.h"
#include "medianfilter.h"
#include "pnlhistogram.h"
#include "pnlimageinfo.h"

#include <framefile.h>
#include <qmpximage.h>
#include <simframe.h>

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

using PluginDevControl::PnlHistogram;
using PluginDevControl::PnlImageInfo;

namespace {

constexpr unsigned kSize = 512;

// Counts as a counting detector gives them: mostly low, some zeros, a few hot pixels.
std::vector<unsigned int> counts(unsigned n, unsigned seed)
{
    std::vector<unsigned int> v(std::size_t(n) * n);
    for (std::size_t i = 0; i < v.size(); ++i) {
        const unsigned int h = unsigned((i + seed) * 2654435761u);
        v[i] = (h % 7u == 0u) ? 0u : (h >> 8) % 200u + ((h % 997u == 0u) ? 5000u : 0u);
    }
    return v;
}

struct Frame
{
    explicit Frame(unsigned seed = 0) : frame(sim::SimFrame::create(kSize, kSize, ov::FrameUInt32))
    {
        const std::vector<unsigned int> v = counts(kSize, seed);
        frame->setData(v.data(), v.size() * sizeof(unsigned int));
    }
    ~Frame() { frame->decRef(); }
    sim::SimFrame* frame;
};

// A reference frame file of the size: a dark of small counts or a flat of counts
// around 100, as the dark and flat-field filters read them.
std::string referenceFile(const QTemporaryDir& dir, const char* name, double base)
{
    std::vector<double> values(std::size_t(kSize) * kSize);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = base + double((i * 2654435761u) % 17u);
    sim::FrameView view;
    view.dataType = ov::FrameDouble;
    view.width = kSize;
    view.height = kSize;
    view.pixels = values.data();
    const std::string path = dir.filePath(QString::fromLatin1(name)).toStdString();
    std::string error;
    sim::writeFrameFile(path, sim::FileTypeBinaryFrame, 0, {view}, &error);
    return path;
}

void BM_PaintFrame(benchmark::State& state)
{
    const std::vector<unsigned int> v = counts(kSize, 0);
    QMpxImage image;
    image.setFrameData(v.data(), kSize, kSize);
    for (auto _ : state) {
        image.paintFrame(0.0, 250.0, false, false, false);
        benchmark::DoNotOptimize(image.getImage().constBits());
        benchmark::ClobberMemory();
    }
}

void BM_Panels(benchmark::State& state, bool newFrame)
{
    Frame f;
    PnlImageInfo info;
    PnlHistogram histogram;
    info.resize(260, 200);
    histogram.resize(260, 150);
    info.show();
    histogram.show();
    const ov::RegionRect rect {0, 0, int(kSize), int(kSize)};
    const ov::Region region {&rect, 1};
    for (auto _ : state) {
        if (newFrame)
            f.frame->pixelsChanged();
        info.updateStatistics(f.frame, &region);
        histogram.updateHistogram(f.frame, 0.0, 250.0, &region);
        benchmark::ClobberMemory();
    }
}

void BM_Filter(benchmark::State& state, sim::FrameFilter* filter)
{
    Frame f;
    if (!filter->isSuitable(f.frame)) {
        state.SkipWithError("the filter cannot take the frame");
        return;
    }
    for (auto _ : state) {
        ov::IMpxFrame* out = filter->filterFrame(f.frame, 0);
        benchmark::DoNotOptimize(out);
        if (out)
            out->decRef();
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    QTemporaryDir dir;
    sim::DarkFilter dark;
    sim::FlatFieldFilter flat;
    sim::HotPixelFilter hot;
    sim::MedianFilter median;
    sim::BinningFilter binning;
    QString why;
    if (dark.writeParam("File", referenceFile(dir, "dark.bin", 1.0), &why) < 0
        || flat.writeParam("File", referenceFile(dir, "flat.bin", 100.0), &why) < 0) {
        std::fprintf(stderr, "reference frames: %s\n", qPrintable(why));
        return 1;
    }
    auto timed = [](benchmark::internal::Benchmark* b) {
        b->Unit(benchmark::kMicrosecond)->UseRealTime();
    };
    timed(benchmark::RegisterBenchmark("paintFrame", BM_PaintFrame));
    timed(benchmark::RegisterBenchmark("panels", BM_Panels, false));
    timed(benchmark::RegisterBenchmark("panels_new_frame", BM_Panels, true));
    timed(benchmark::RegisterBenchmark("filter/dark", BM_Filter, &dark));
    timed(benchmark::RegisterBenchmark("filter/flat_field", BM_Filter, &flat));
    timed(benchmark::RegisterBenchmark("filter/hot_pixel", BM_Filter, &hot));
    timed(benchmark::RegisterBenchmark("filter/median_3x3", BM_Filter, &median));
    timed(benchmark::RegisterBenchmark("filter/binning_2x2", BM_Filter, &binning));
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    double paint = 0.0;
    for (const auto& line : reporter.lines)
        if (line.name.rfind("paintFrame", 0) == 0)
            paint = line.time;
    std::FILE* file = std::fopen("bench_analysis_summary.txt", "w");
    for (std::FILE* out : {stdout, file}) {
        if (!out)
            continue;
        std::fprintf(out, "\n%-32s %12s %12s\n", "benchmark", "us", "vs paint");
        for (const auto& line : reporter.lines)
            std::fprintf(out, "%-32s %12.1f %12.3f\n", line.name.c_str(), line.time,
                paint > 0 ? line.time / paint : 0.0);
    }
    if (file)
        std::fclose(file);
    return 0;
}
