/** Time and memory growth of VNGetFMp4Duration for the files given as NAME PATH... */
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "process_usage.h"
#include "vornisa_api.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCalls = 51;

/** The median in milliseconds; negative when a call fails. */
double medianOf(const char* path) {
    std::vector<double> times;
    for (int i = 0; i < kCalls; ++i) {
        std::int64_t length = 0;
        const auto start = Clock::now();
        if (VNGetFMp4Duration(path, &length) != VNRES_SUCCEED) return -1;
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + kCalls / 2, times.end());
    return times[kCalls / 2];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3 || medianOf(argv[2]) < 0) return 1;
    const long before = residentKiB();
    for (int i = 1; i + 1 < argc; i += 2) {
        const double median = medianOf(argv[i + 1]);
        if (median < 0) return 1;
        std::printf("%s_length_ms %.3f\n", argv[i], median);
    }
    std::printf("length_memory_growth_kib %ld\n", residentKiB() - before);
}
