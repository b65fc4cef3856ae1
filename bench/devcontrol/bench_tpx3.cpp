// Data-driven throughput of the simulated Timepix3 with its page open: the plug-in and the
// host in one process (offscreen), a "Pixels" run of data-driven time N seconds started
// with the page's own Start button at a set hit rate. Reported: hits per second
// delivered (hits the chip made, less those lost, over the wall time from Start to the
// run's end), hits lost, whether the page counted them all, display updates per second,
// and the longest gap and 99th percentile of a 10 ms timer on the GUI thread.
//
// In the same run, the baseline: the hit source alone (same physics, same rate) making
// the same number of seconds of chip time in 10 ms chunks as fast as it can, on one
// thread; the ratio of the two is reported. The run's producer threads are the device's
// default (one per core).
//
//   bench_tpx3 [--seconds=N] [--rates=40e6,80e6] [--threads=N] [--frame-memory=MB]
//              [benchmark flags]
//
// --threads: the device's readout threads (default: one per core); --frame-memory: MB
// of the device's frame memory, which holds the run's chunks (default: the host's).
#include "devctrltpx3.h"
#include "devviewtpx3.h"
#include "hitsource.h"
#include "hostfixture.h"
#include "pnlmeasurementtpx3.h"
#include "timepix3device.h"
#include "typeinto.h"

#include "../common/eventloop.h"

#include <benchmark/benchmark.h>

#include <ctime>

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLineEdit>
#include <QTimer>
#include <QToolButton>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

double runSeconds = 10.0;
std::vector<double> rates {40e6, 80e6};
unsigned readoutThreads = 0; // the device's default: one per core
double frameMemoryMb = 0.0;  // 0: the host's setting

struct Row
{
    double rate = 0.0;
    double generated = 0.0;
    double lost = 0.0;
    double shownAll = 0.0;
    double wall = 0.0;
    double deliveredPerSecond = 0.0;
    double updatesPerSecond = 0.0;
    double gapMax = 0.0;
    double gapP99 = 0.0;
    double cpuPerSecond = 0.0; // CPU seconds the process used per second of the run
    double baselinePerSecond = 0.0;
    double baselinePerCpuSecond = 0.0;
};
std::vector<Row> rows;

// CPU seconds of the calling thread, or of the whole process: on a machine shared with
// other work the wall clock says what the run got, CPU time what it cost.
double cpuSeconds(clockid_t clock)
{
    timespec t {};
    clock_gettime(clock, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const size_t at = std::min(values.size() - 1, size_t(p * double(values.size() - 1) + 0.5));
    return values[at];
}

struct Baseline
{
    double perSecond = 0.0;    // hits per wall second
    double perCpuSecond = 0.0; // hits per CPU second of the thread
};

// The hit source alone: chunks of 10 ms of chip time for the run's time, back to back.
Baseline baseline(sim::Timepix3Device& chip, double rate, double seconds)
{
    chip.setHitRate(rate);
    // The source of the device's first run: the very hits the run made.
    const sim::Tpx3HitSource source = chip.hitSource(0);
    const uint64_t step
        = uint64_t(sim::Timepix3Device::kChunkSeconds / sim::Tpx3HitSource::kToaStepSeconds);
    const uint64_t total = uint64_t(seconds / sim::Tpx3HitSource::kToaStepSeconds);
    uint64_t hits = 0;
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    for (uint64_t from = 0; from < total; from += step) {
        const uint64_t to = std::min(total, from + step);
        std::vector<ov::Tpx3Hit> h;
        h.reserve(source.expectedHits(from, to));
        source.generate(from, to, false, h, nullptr);
        hits += h.size();
        benchmark::DoNotOptimize(h.data());
    }
    const double wall
        = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double cpu = cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - cpuStart;
    return {double(hits) / wall, double(hits) / cpu};
}

void BM_Tpx3DataDriven(benchmark::State& state)
{
    const double rate = double(state.range(0));
    for (auto _ : state) {
        HostFixture fixture;
        ov::IDev* dev = fixture.connect(sim::makeDeviceDesc(ov::DevKindTpx3, 5150));
        auto* chip = dynamic_cast<sim::Timepix3Device*>(dev);
        if (!chip || !fixture.start()) {
            state.SkipWithError("no Timepix3 page");
            return;
        }
        chip->setHitRate(rate);
        chip->setReadoutThreads(readoutThreads);
        if (frameMemoryMb > 0.0)
            chip->setFrameMemoryMb(frameMemoryMb);
        auto* view = qobject_cast<PluginDevControl::DevViewTpx3*>(fixture.window()->getView(dev));
        if (!view) {
            state.SkipWithError("no Timepix3 page");
            return;
        }
        fixture.window()->resize(1000, 800);
        fixture.window()->show();
        runFor(200);
        PluginDevControl::DevCtrlTpx3* ctrl = view->familyController();
        PluginDevControl::PnlMeasurementTpx3* panel = view->measurement();
        auto* type = panel->findChild<QComboBox*>(QStringLiteral("cmAcqType"));
        auto* time = panel->findChild<QLineEdit*>(QStringLiteral("edTime"));
        auto* startStop = panel->findChild<QToolButton*>(QStringLiteral("btStartStop"));
        if (!type || !time || !startStop) {
            state.SkipWithError("the measurement panel lacks its fields");
            return;
        }
        chooseItem(type, 3);
        typeInto(time, QString::number(runSeconds));
        long updates = 0;
        QObject::connect(
            ctrl, &PluginDevControl::DevCtrlMpx::sigNewData, ctrl, [&updates] { ++updates; },
            Qt::DirectConnection);

        std::vector<double> gaps;
        QElapsedTimer tick;
        QTimer timer;
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer, &QTimer::timeout, [&] {
            gaps.push_back(double(tick.nsecsElapsed()) / 1e6);
            tick.restart();
        });
        QElapsedTimer wall;
        const double cpuStart = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
        wall.start();
        tick.start();
        timer.start(10);
        QTest::mouseClick(startStop, Qt::LeftButton);
        const bool started = runUntil([ctrl] { return ctrl->isAcqRunning(); }, 5000);
        const bool ended = started
            && runUntil(
                [ctrl] { return !ctrl->isAcqRunning(); }, int(runSeconds * 1000.0 * 20.0) + 30000);
        const double seconds = double(wall.nsecsElapsed()) / 1e9;
        const double cpu = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpuStart;
        timer.stop();
        if (!ended) {
            state.SkipWithError("the run did not end");
            return;
        }
        runUntil([] { return PluginDevControl::DevCtrlMpx::detachedThreadCount() == 0; }, 30000);
        const uint64_t generated = chip->generatedHits();
        const uint64_t lost = chip->lostPixels();
        // The page's count of the last chunk it took is the run's count up to it.
        const bool shownAll
            = runUntil([&] { return uint64_t(ctrl->pixelCount()) == generated - lost; }, 5000);

        Row row;
        row.rate = rate;
        row.generated = double(generated);
        row.lost = double(lost);
        row.shownAll = shownAll ? 1.0 : 0.0;
        row.wall = seconds;
        row.deliveredPerSecond = double(generated - lost) / seconds;
        row.updatesPerSecond = double(updates) / seconds;
        row.gapMax = gaps.empty() ? 0.0 : *std::max_element(gaps.begin(), gaps.end());
        row.gapP99 = percentile(gaps, 0.99);
        row.cpuPerSecond = cpu / seconds;
        const Baseline base = baseline(*chip, rate, runSeconds);
        row.baselinePerSecond = base.perSecond;
        row.baselinePerCpuSecond = base.perCpuSecond;
        rows.push_back(row);

        state.counters["hits_per_s"] = row.deliveredPerSecond;
        state.counters["hits_lost"] = row.lost;
        state.counters["page_counted_all"] = row.shownAll;
        state.counters["wall_s"] = row.wall;
        state.counters["updates_per_s"] = row.updatesPerSecond;
        state.counters["gap_max_ms"] = row.gapMax;
        state.counters["gap_p99_ms"] = row.gapP99;
        state.counters["cpu_per_s"] = row.cpuPerSecond;
        state.counters["baseline_hits_per_s"] = row.baselinePerSecond;
        state.counters["baseline_hits_per_cpu_s"] = row.baselinePerCpuSecond;
        state.counters["ratio"] = row.deliveredPerSecond / row.baselinePerSecond;
    }
}

void printSummary()
{
    std::printf("\nTimepix3 data-driven throughput, runs of %.0f s of chip time\n", runSeconds);
    std::printf("%8s %9s %9s %5s %6s %5s %7s %7s %7s | %9s %9s %6s\n", "asked", "delivered", "lost",
        "page", "wall", "cpu", "upd/s", "gapmax", "gapp99", "gen", "gen/cpu", "ratio");
    std::printf("%8s %9s %9s %5s %6s %5s %7s %7s %7s | %9s %9s %6s\n", "M/s", "M/s", "hits", "",
        "s", "cores", "", "ms", "ms", "M/s", "M/cpu-s", "");
    for (const Row& r : rows) {
        std::printf("%8.1f %9.2f %9.0f %5s %6.2f %5.2f %7.1f %7.1f %7.1f | %9.2f %9.2f %6.3f\n",
            r.rate / 1e6, r.deliveredPerSecond / 1e6, r.lost, r.shownAll > 0.0 ? "all" : "NOT",
            r.wall, r.cpuPerSecond, r.updatesPerSecond, r.gapMax, r.gapP99,
            r.baselinePerSecond / 1e6, r.baselinePerCpuSecond / 1e6,
            r.deliveredPerSecond / r.baselinePerSecond);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::strncmp(argv[i], "--seconds=", 10) == 0) {
            runSeconds = std::atof(argv[i] + 10);
        } else if (std::strncmp(argv[i], "--frame-memory=", 15) == 0) {
            frameMemoryMb = std::atof(argv[i] + 15);
        } else if (std::strncmp(argv[i], "--threads=", 10) == 0) {
            readoutThreads = unsigned(std::atoi(argv[i] + 10));
        } else if (std::strncmp(argv[i], "--rates=", 8) == 0) {
            rates.clear();
            for (const QString& r : QString::fromUtf8(argv[i] + 8).split(QLatin1Char(',')))
                rates.push_back(r.toDouble());
        } else {
            args.push_back(argv[i]);
        }
    }
    int count = int(args.size());
    QApplication app(count, args.data());
    benchmark::Initialize(&count, args.data());
    for (double r : rates) {
        benchmark::RegisterBenchmark("tpx3_data_driven", BM_Tpx3DataDriven)
            ->Arg(int64_t(r))
            ->Iterations(1)
            ->Unit(benchmark::kSecond)
            ->UseRealTime();
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printSummary();
    return 0;
}
