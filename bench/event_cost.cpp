/** How long VNRecordEventServiceTrigger blocks its caller while clips of earlier calls are being written. */
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "vornisa_api.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCalls = 200;
constexpr std::chrono::milliseconds kPause(50);
constexpr std::chrono::seconds kTimeout(60);

std::atomic<int> written{0};

void count(const char* message) {
    if (std::string(message).find("name=recordStop") != std::string::npos) ++written;
}

bool awaitClips(int clips) {
    const auto limit = Clock::now() + kTimeout;
    while (written < clips && Clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return written >= clips;
}

/** The times of the calls in milliseconds; empty on failure. */
std::vector<double> callTimes(int service, const std::string& folder) {
    std::vector<double> times;
    for (int i = 0; i <= kCalls; ++i) {
        const std::string url = "file://" + folder + "/" + std::to_string(i) + ".mp4";
        const auto start = Clock::now();
        if (VNRecordEventServiceTrigger(service, url.c_str(), 1, 1) != VNRES_SUCCEED) return {};
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        // The first clip shows that the camera runs, and is not measured. The other calls follow quickly.
        if (i == 0 && !awaitClips(1)) return {};
        std::this_thread::sleep_for(kPause);
    }
    times.erase(times.begin());
    return awaitClips(kCalls + 1) ? times : std::vector<double>();
}

}  // namespace

int main() {
    char folder[] = "/tmp/event-cost-XXXXXX";
    int service = 0;
    if (!mkdtemp(folder) || VNAcquire(VNRES_EVENT_SERVICE, &service) != VNRES_SUCCEED ||
        VNRegisterMessageCallback(service, count) != VNRES_SUCCEED || VNStart(service) != VNRES_SUCCEED)
        return 1;
    std::vector<double> times = callTimes(service, folder);
    VNStop(service);
    VNRelease(service);
    std::filesystem::remove_all(folder);
    if (times.empty()) {
        std::fputs("a call failed, or its clip was not written\n", stderr);
        return 1;
    }
    std::sort(times.begin(), times.end());
    std::printf("event_call_median_ms %.3f\nevent_call_max_ms %.3f\n", times[times.size() / 2], times.back());
}
