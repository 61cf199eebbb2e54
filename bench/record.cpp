/**
 * Records the camera at 1920x1080 and 30 fps and the microphone, through the public header alone:
 *
 *   bench_record FOLDER SECONDS_OF_A_FILE FILES
 *
 * Stops once FILES files are finished; the file open at that time is one more. With 0 for FILES it records a
 * single file for SECONDS_OF_A_FILE. Prints, one figure a line: the number of files, the number of packets
 * that messages reported as lost, and the growth of memory and open descriptors since a quarter of the files.
 */
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

#include "process_usage.h"
#include "vornisa_api.h"

namespace {

constexpr int kPixels = 1920 * 1080;

std::mutex mutex;
std::condition_variable changed;
int begun = 0;
int finished = 0;
int lost = 0;
std::string failure;

void onMessage(const char* message) {
    const std::lock_guard lock(mutex);
    if (std::strncmp(message, "name=recordStart,", 17) == 0) ++begun;
    if (std::strncmp(message, "name=recordStop,", 16) == 0) ++finished;
    if (std::strncmp(message, "name=failed,", 12) == 0) failure = message;
    if (const char* const count = std::strstr(message, ",lost=")) lost += std::atoi(count + 6);
    changed.notify_all();
}

bool waitFor(const int& counter, int count) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return counter >= count || !failure.empty(); });
    if (!failure.empty()) std::fprintf(stderr, "bench_record: %s\n", failure.c_str());
    return failure.empty();
}

bool must(int code, const char* call) {
    if (code != VNRES_SUCCEED) std::fprintf(stderr, "bench_record: %s returned %d\n", call, code);
    return code == VNRES_SUCCEED;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_record FOLDER SECONDS_OF_A_FILE FILES\n");
        return 2;
    }
    const int seconds = std::atoi(argv[2]);
    const int files = std::atoi(argv[3]);
    // Longer than the recording, which must not end by itself.
    const int length = files == 0 ? seconds + 60 : seconds;
    int id = 0;
    if (!must(VNRecMan2(kPixels, "", "", length, argv[1], "rec.mp4", "PowerFailProtection=true"),
              "VNRecMan2") ||
        !must(VNAcquire(VNRES_REC_MAN, &id), "VNAcquire") ||
        !must(VNRegisterMessageCallback(id, onMessage), "VNRegisterMessageCallback"))
        return 1;
    if (files == 0) {
        // The message is sent once the file has been created, shortly after its first picture.
        if (!waitFor(begun, 1)) return 1;
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        return must(VNStop(id), "VNStop") && must(VNRelease(id), "VNRelease") ? 0 : 1;
    }
    if (!waitFor(finished, std::max(1, files / 4))) return 1;
    const long memory = residentKiB();
    const std::size_t descriptors = openDescriptors();
    if (!waitFor(finished, files)) return 1;
    std::printf("record_memory_growth_kib %ld\n", residentKiB() - memory);
    std::printf("record_descriptor_growth %ld\n", static_cast<long>(openDescriptors() - descriptors));
    if (!must(VNStop(id), "VNStop") || !must(VNRelease(id), "VNRelease")) return 1;
    const std::lock_guard lock(mutex);
    std::printf("record_files %d\nrecord_lost %d\n", finished, lost);
    return 0;
}
