// The GUI under load: during an endless measurement of time 0 on the simulated quad
// (thousands of frames a second), a 10 ms timer on the GUI thread records the gaps
// between its ticks. Reported for both event-delivery modes: frames per second made by
// the host and handed to the display, the longest gap and the 99th percentile (with the
// measurement alone, and separately while devices are plugged in and out), resident
// memory from one second into the load to its end; and the time of a hot-plug cycle
// (connect, page built, remove) during that load against the same cycle with no
// measurement, measured in the same run.
//
//   bench_guiload [--seconds=N] [benchmark flags]
#include "devctrlmpx.h"
#include "devviewmpx.h"
#include "hostfixture.h"
#include "timepixdevice.h"

#include "../common/eventloop.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

double loadSeconds = 10.0;

// Resident memory of this process in MiB, from /proc.
double residentMiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0.0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return 0.0;
}

struct Session
{
    HostFixture fixture;
    ov::IDev* quad = nullptr;
    ov::IDevControl* control = nullptr;

    explicit Session(sim::EventDelivery::Mode mode)
    {
        sim::DeviceDesc desc = sim::defaultDeviceSet().front();
        desc.eventThread = mode == sim::EventDelivery::HostThread;
        quad = fixture.connect(desc);
        fixture.start();
        fixture.window()->resize(1000, 800);
        fixture.window()->show();
        control = static_cast<ov::IDevControl*>(fixture.control->privateInterface());
        runFor(200);
    }

    bool startEndless()
    {
        control->setAcqParams(quad, 100, 0.0);
        control->setRepeat(quad, 0, true);
        control->start(quad);
        return runUntil([this] { return control->isRunning(quad) == 1; }, 10000);
    }

    bool stop()
    {
        control->stop(quad);
        return runUntil([this] { return control->isRunning(quad) == 0; }, 30000);
    }

    // One hot-plug cycle of a single-chip detector as a host makes it, from a thread of
    // its own: plugged in, its page built, removed again. Milliseconds, or -1 when the
    // page did not come.
    double hotPlugCycle(int serial)
    {
        QElapsedTimer clock;
        clock.start();
        const sim::DeviceDesc desc
            = deviceDesc(1, QStringLiteral("kalbar P%1").arg(serial), uint32_t(serial));
        std::atomic<ov::IDev*> dev {nullptr};
        std::thread plug([&] { dev = fixture.host->connectDevice(desc); });
        plug.join();
        const bool built
            = runUntil([&] { return fixture.window()->getView(dev.load()) != nullptr; }, 60000);
        // The removal waits for the window, so the GUI thread runs meanwhile.
        std::atomic<bool> gone {false};
        std::thread unplug([&] {
            fixture.host->removeDevice(dev.load());
            gone = true;
        });
        runUntil([&] { return gone.load(); }, 60000);
        unplug.join();
        return built ? double(clock.nsecsElapsed()) / 1e6 : -1.0;
    }
};

double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const size_t at = std::min(values.size() - 1, size_t(p * double(values.size() - 1) + 0.5));
    return values[at];
}

void BM_GuiUnderLoad(benchmark::State& state)
{
    const auto mode = static_cast<sim::EventDelivery::Mode>(state.range(0));
    for (auto _ : state) {
        // Counters first: the session's devices may fire until the session is gone.
        std::atomic<long> handedOver {0};
        std::atomic<long> framesMade {0};
        Session s(mode);
        // The hot-plug cycle with no measurement: the baseline of the cycle under load.
        std::vector<double> idleCycles;
        for (int i = 0; i < 5; ++i)
            idleCycles.push_back(s.hotPlugCycle(1000 + i));

        // Frames handed to the display, counted where the controller hands them over.
        PluginDevControl::DevViewMpx* page = s.fixture.window()->getView(s.quad);
        if (auto* ctrl = page ? page->controller() : nullptr) {
            QObject::connect(
                ctrl, &PluginDevControl::DevCtrlMpx::sigShowFrame, ctrl,
                [&handedOver] { ++handedOver; }, Qt::DirectConnection);
        }
        // Frames made: the device's "AcqFinished" events, counted as the host fires them.
        s.quad->registerEvent(
            "AcqFinished", [](long, long user) { ++*reinterpret_cast<std::atomic<long>*>(user); },
            &framesMade);

        const double rssIdle = residentMiB();
        if (!s.startEndless()) {
            state.SkipWithError("the measurement did not start");
            return;
        }
        // Memory is compared from a running measurement on, once the store holds its
        // frames, to the end of the load: what grows in between is what the load leaks.
        runFor(1000);
        const double rssStart = residentMiB();
        // The 10 ms timer's gaps: in the first half of the run with the measurement only,
        // in the second half while devices are plugged in and out.
        std::vector<double> gaps;
        std::vector<double> plugGaps;
        std::vector<double>* into = &gaps;
        QElapsedTimer tick;
        QTimer timer;
        timer.setTimerType(Qt::PreciseTimer);
        const bool tellGaps = qEnvironmentVariableIsSet("BENCH_GUILOAD_GAPS");
        QElapsedTimer clock;
        QObject::connect(&timer, &QTimer::timeout, [&] {
            const double gap = double(tick.nsecsElapsed()) / 1e6;
            into->push_back(gap);
            tick.restart();
            // BENCH_GUILOAD_GAPS set: every long gap, and when it ended.
            if (tellGaps && gap > 50.0)
                std::fprintf(stderr, "gap %.1f ms ending at %.3f s\n", gap,
                    double(clock.nsecsElapsed()) / 1e9);
        });
        const long framesBefore = framesMade.load();
        const long handedBefore = handedOver.load();
        clock.start();
        tick.start();
        timer.start(10);
        runFor(int(loadSeconds * 500));
        into = &plugGaps;
        std::vector<double> loadCycles;
        for (int i = 0; i < 5; ++i)
            loadCycles.push_back(s.hotPlugCycle(2000 + i));
        const int left = int(loadSeconds * 1000) - int(clock.elapsed());
        if (left > 0)
            runFor(left);
        timer.stop();
        const double rssEnd = residentMiB();
        const double seconds = double(clock.nsecsElapsed()) / 1e9;
        const long made = framesMade.load() - framesBefore;
        const long shown = handedOver.load() - handedBefore;
        if (!s.stop()) {
            state.SkipWithError("the measurement did not stop");
            return;
        }
        runFor(200);
        const double rssStopped = residentMiB();

        state.counters["host_fps"] = double(made) / seconds;
        state.counters["shown_fps"] = double(shown) / seconds;
        state.counters["gap_max_ms"]
            = gaps.empty() ? 0.0 : *std::max_element(gaps.begin(), gaps.end());
        state.counters["gap_p99_ms"] = percentile(gaps, 0.99);
        state.counters["gap_plug_max_ms"]
            = plugGaps.empty() ? 0.0 : *std::max_element(plugGaps.begin(), plugGaps.end());
        state.counters["rss_idle_MiB"] = rssIdle;
        state.counters["rss_start_MiB"] = rssStart;
        state.counters["rss_end_MiB"] = rssEnd;
        state.counters["rss_end_ratio"] = rssEnd / rssStart;
        state.counters["rss_stopped_MiB"] = rssStopped;
        state.counters["plug_idle_ms"] = percentile(idleCycles, 0.5);
        state.counters["plug_load_ms"] = percentile(loadCycles, 0.5);
        state.counters["plug_ratio"] = percentile(loadCycles, 0.5) / percentile(idleCycles, 0.5);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::strncmp(argv[i], "--seconds=", 10) == 0)
            loadSeconds = std::atof(argv[i] + 10);
        else
            args.push_back(argv[i]);
    }
    int count = int(args.size());
    QApplication app(count, args.data());
    benchmark::Initialize(&count, args.data());
    for (const auto& [name, mode] :
        {std::pair<const char*, int> {"acquisition_thread", sim::EventDelivery::Direct},
            {"host_event_thread", sim::EventDelivery::HostThread}}) {
        benchmark::RegisterBenchmark(
            (std::string("gui_under_load/") + name).c_str(), BM_GuiUnderLoad)
            ->Arg(mode)
            ->Iterations(1)
            ->Unit(benchmark::kSecond)
            ->UseRealTime();
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
