/** Cost of VNZonesSet: attaching the table, writing a zone, and logging six lines that are discarded. */
#include <benchmark/benchmark.h>

#include <cstdio>

#include "median_reporter.h"
#include "vornisa_api.h"

namespace {

void setZone(benchmark::State& state) {
    int x = 0;
    for (auto _ : state)
        if (VNZonesSet(15, ++x & 1023, 20, 300, 400, VNRES_COLOR_GRAY) != VNRES_SUCCEED)
            state.SkipWithError("VNZonesSet failed");
}
BENCHMARK(setZone);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    if (reporter.medians.size() != 1) return 1;
    std::printf("zones_set_us %.2f\n", reporter.medians["setZone"] / 1000);
}
