// Keeps every benchmark result of the run so that the summary tables can set them against each
// other: ratios come from one process, one machine state, never from two separate runs.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace vxbench {

struct Result {
    double cpuSeconds = 0.0;   // per iteration
    double realSeconds = 0.0;  // per iteration
    std::map<std::string, double> counters;
    bool failed = false;
};

class CollectingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            Result r;
            const auto iterations = static_cast<double>(run.iterations > 0 ? run.iterations : 1);
            r.cpuSeconds = run.cpu_accumulated_time / iterations;
            r.realSeconds = run.real_accumulated_time / iterations;
            for (const auto& [name, counter] : run.counters) r.counters[name] = counter.value;
            r.failed = run.error_occurred;
            // Keyed by name and arguments only: "BM_Crc/library/4096", without the iteration
            // or time settings the full name carries.
            const std::string& args = run.run_name.args;
            results_[run.run_name.function_name + (args.empty() ? "" : "/" + args)] = r;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Null when the benchmark was filtered out, skipped or failed.
    const Result* find(const std::string& name) const {
        const auto found = results_.find(name);
        return found == results_.end() || found->second.failed ? nullptr : &found->second;
    }

private:
    std::map<std::string, Result> results_;
};

inline double counter(const Result& r, const char* name) {
    const auto found = r.counters.find(name);
    return found == r.counters.end() ? 0.0 : found->second;
}

// What each benchmark program's main does once its benchmarks are registered: run them (with
// Google Benchmark's own arguments), then print the summary from the collected results.
template <typename Summary>
int runAndSummarise(int& argc, char** argv, Summary printSummary) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    CollectingReporter report;
    benchmark::RunSpecifiedBenchmarks(&report);
    printSummary(report);
    benchmark::Shutdown();
    return 0;
}

}  // namespace vxbench
