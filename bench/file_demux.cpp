/**
 * Time to demux a file and to seek in it.
 *
 *   bench_file_demux all NAME PATH      seconds for all packets, and memory growth
 *   bench_file_demux seek NAME PATH     1,000 random seeks: median and 99th percentile of the time to the
 *                                       first picture
 */
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <random>
#include <vector>

#include "process_usage.h"
#include "vornisa_api.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSeeks = 1000;
/** Key frame interval of the measured files plus one picture, in milliseconds. */
constexpr std::int64_t kGroup = 534;

std::mutex mutex;
std::condition_variable changed;
bool hasEnded = false;
bool holds = false;  /**< callbacks for pictures block */
int pictures = 0;    /**< delivered since the last seek */
VNDemuxPacket first; /**< the first of these */
Clock::time_point firstAt;
std::atomic<std::uint64_t> packets{0};

bool isPicture(const VNDemuxPacket* packet) {
    return packet->size > 0 && *static_cast<const unsigned char*>(packet->data) == 0;
}

void count(const VNDemuxPacket*) {
    ++packets;
}

void hold(const VNDemuxPacket* packet) {
    if (!isPicture(packet)) return;
    std::unique_lock lock(mutex);
    if (pictures++ == 0) {
        first = *packet;
        firstAt = Clock::now();
        holds = true;
        changed.notify_all();
    }
    changed.wait(lock, [] { return !holds; });
}

void ignoreTrack(const VNDemuxTrack*) {}

void takeMessage(const char* message) {
    if (!std::strstr(message, "name=endOfFile")) return;
    const std::lock_guard lock(mutex);
    hasEnded = true;
    changed.notify_all();
}

int open(const char* path, VNDemuxPacketCallback callback, std::int64_t& length) {
    int id = 0;
    VNDemuxRes record = {path, 0, callback, ignoreTrack, 0, nullptr};
    if (VNAcquire(VNRES_DEMUX, &id) != VNRES_SUCCEED ||
        VNRegisterMessageCallback(id, takeMessage) != VNRES_SUCCEED ||
        VNDemuxSet(id, &record) != VNRES_SUCCEED || VNStart(id) != VNRES_SUCCEED)
        return 0;
    length = record.duration;
    return id;
}

int takeAll(const char* name, const char* path) {
    const long before = residentKiB();
    const auto start = Clock::now();
    std::int64_t length = 0;
    const int id = open(path, count, length);
    if (!id) return 1;
    std::unique_lock lock(mutex);
    changed.wait(lock, [] { return hasEnded; });
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("%s_demux_s %.3f\n%s_demux_packets %llu\n%s_demux_memory_growth_kib %ld\n", name, seconds,
                name, static_cast<unsigned long long>(packets), name, residentKiB() - before);
    lock.unlock();
    return VNRelease(id) == VNRES_SUCCEED ? 0 : 1;
}

int seek(const char* name, const char* path) {
    std::int64_t length = 0;
    const int id = open(path, hold, length);
    if (!id) return 1;
    std::mt19937_64 random(1);
    std::vector<double> times;
    int wrong = 0;
    for (int i = 0; i < kSeeks; ++i) {
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [] { return holds; });
        }
        const auto to = static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(length));
        const auto start = Clock::now();
        if (VNDemuxSeek(id, to) != VNRES_SUCCEED) return 1;
        std::unique_lock lock(mutex);
        pictures = 0;
        holds = false;
        changed.notify_all();
        if (!changed.wait_for(lock, std::chrono::seconds(10), [] { return pictures > 0; })) {
            std::fprintf(stderr, "no picture within 10 s of a seek to %lld ms\n", static_cast<long long>(to));
            return 1;
        }
        times.push_back(std::chrono::duration<double, std::milli>(firstAt - start).count());
        if (!first.iskey || first.pts_ms > std::max<std::int64_t>(to, kGroup) || first.pts_ms < to - kGroup)
            ++wrong;
    }
    {
        const std::lock_guard lock(mutex);
        pictures = 1;
        holds = false;
        changed.notify_all();
    }
    if (VNRelease(id) != VNRES_SUCCEED) return 1;
    std::ranges::sort(times);
    std::printf("%s_seek_median_ms %.3f\n%s_seek_p99_ms %.3f\n%s_seek_wrong %d\n", name, times[kSeeks / 2],
                name, times[kSeeks * 99 / 100], name, wrong);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 1;
    return std::strcmp(argv[1], "seek") == 0 ? seek(argv[2], argv[3]) : takeAll(argv[2], argv[3]);
}
