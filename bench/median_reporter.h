#ifndef VORNISA_BENCH_MEDIAN_REPORTER_H
#define VORNISA_BENCH_MEDIAN_REPORTER_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

/** Stores the median CPU times by benchmark name, for the comparison at the end. */
class MedianReporter : public benchmark::ConsoleReporter {
  public:
    MedianReporter() : benchmark::ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median" && !run.error_occurred)
                medians[run.run_name.function_name] = run.GetAdjustedCPUTime();
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> medians;
};

#endif
