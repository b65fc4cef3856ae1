// A console reporter that also keeps one line per benchmark for a summary: the run
// itself, or with repetitions the median of them.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

class MedianReporter : public benchmark::ConsoleReporter
{
public:
    struct Line
    {
        std::string name;                       // without "/real_time"
        double time;                            // adjusted real time per iteration
        std::map<std::string, double> counters; // user counters by name
    };

    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate ? run.aggregate_name != "median"
                                                  : run.repetitions > 1)
                continue;
            std::string name = run.benchmark_name();
            if (run.run_type == Run::RT_Aggregate)
                name = name.substr(0, name.rfind('_'));
            const std::string suffix = "/real_time";
            if (name.size() > suffix.size()
                && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
                name.erase(name.size() - suffix.size());
            Line line {name, run.GetAdjustedRealTime(), {}};
            for (const auto& counter : run.counters)
                line.counters[counter.first] = counter.second.value;
            lines.push_back(line);
        }
    }

    std::vector<Line> lines;
};
