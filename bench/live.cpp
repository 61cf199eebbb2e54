/**
 * Latencies of live streams, through the public header alone, on the camera's test picture.
 *
 *   bench_live cold | first | warm | latency | switch [COUNT]
 *
 * Prints one figure a line.
 */
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "encoder_alone.h"
#include "process_usage.h"
#include "vornisa_api.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFps = 30;
constexpr int kBitRate = 2000000;
constexpr int kGop = 15;
constexpr double kFrameMs = 1000.0 / kFps;

struct Size {
    int width;
    int height;
};

double msSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double percentile(std::vector<double> values, double share) {
    if (values.empty()) return NAN;
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

double median(const std::vector<double>& values) {
    return percentile(values, 0.5);
}

void must(int code, const char* call) {
    if (code == VNRES_SUCCEED) return;
    std::fprintf(stderr, "bench_live: %s returned %d\n", call, code);
    std::exit(1);
}

/** A live source. */
class Stream {
  public:
    explicit Stream(int type, Size size = {1920, 1080}) : buffer_(4 << 20) {
        must(VNAcquire(type, &id_), "VNAcquire");
        must(VNSetResolution(id_, size.width, size.height), "VNSetResolution");
        must(VNSetFramerate(id_, kFps), "VNSetFramerate");
        if (type != VNRES_H264_SOURCE) return;
        must(VNSetBps(id_, kBitRate), "VNSetBps");
        must(VNSetH264Gop(id_, kGop), "VNSetH264Gop");
    }
    ~Stream() { VNRelease(id_); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    void start() { must(VNStart(id_), "VNStart"); }
    void stop() { must(VNStop(id_), "VNStop"); }
    int read() {
        int length = 0;
        must(VNRead(id_, buffer_.data(), static_cast<int>(buffer_.size()), 1, &length), "VNRead");
        return length;
    }
    void switchTo(Size size) { must(VNSwitchResolution(id_, size.width, size.height), "VNSwitchResolution"); }
    const char* data() const { return buffer_.data(); }

  private:
    int id_ = 0;
    std::vector<char> buffer_;
};

/** The first byte-stream unit of a key frame with its parameter sets is a sequence parameter set. */
bool startsWithSps(const char* data) {
    const int offset = data[2] == 1 ? 3 : 4;
    return (data[offset] & 0x1f) == 7;
}

double startToFirstFrame() {
    Stream stream(VNRES_H264_SOURCE);
    const auto begin = Clock::now();
    stream.start();
    stream.read();
    const double ms = msSince(begin);
    stream.stop();
    return ms;
}

void cold() {
    std::printf("cold_start_ms %.2f\n", startToFirstFrame());
}

/** The start of the first encoder in a process. */
void first() {
    Stream camera(VNRES_YUV_SOURCE, {640, 360});
    camera.start();
    for (int i = 0; i < 10; ++i) camera.read();
    std::printf("first_start_ms %.2f\n", startToFirstFrame());
    camera.stop();
}

void warm() {
    Stream camera(VNRES_YUV_SOURCE, {640, 360});
    camera.start();
    camera.read();
    std::vector<double> times;
    for (int i = 0; i < 31; ++i) {
        times.push_back(startToFirstFrame());
        for (int skipped = 0; skipped < 3; ++skipped) camera.read();
    }
    camera.stop();
    std::printf("warm_start_ms %.2f\nwarm_start_p90_ms %.2f\n", median(times), percentile(times, 0.9));
}

/** Milliseconds since the last capture, which is at a whole frame time of the steady clock. */
double sinceCapture() {
    const auto now = Clock::now().time_since_epoch();
    const double ms = std::chrono::duration<double, std::milli>(now % std::chrono::seconds(1)).count();
    return std::fmod(ms, kFrameMs);
}

void latency(int count) {
    std::vector<double> ages;
    {
        Stream stream(VNRES_H264_SOURCE);
        stream.start();
        for (int i = 0; i < 2 * kFps; ++i) stream.read();
        for (int i = 0; i < count; ++i) {
            stream.read();
            ages.push_back(sinceCapture());
        }
        stream.stop();
    }
    std::vector<std::vector<char>> pictures;
    {
        Stream raw(VNRES_YUV_SOURCE);
        raw.start();
        for (int i = 0; i < 2 * kFps; ++i) {
            const int length = raw.read();
            pictures.emplace_back(raw.data(), raw.data() + length);
        }
        raw.stop();
    }
    const std::vector<double> alone = encodeAlone(pictures, 1920, 1080, kFps, kBitRate, kGop);
    std::printf("capture_to_read_ms %.3f\nencoder_alone_ms %.3f\nabove_encoder_ms %.3f\n", median(ages),
                median(alone), median(ages) - median(alone));
}

/** Heap in use: unlike resident memory, it excludes what the allocator caches. */
long heapKiB() {
    const auto heap = mallinfo2();
    return static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
}

void switching(int count) {
    // The pre-record buffer for events grows for this long, independently of switches.
    constexpr std::chrono::seconds kPrerecordTime(32);
    const Size sizes[] = {{1280, 720}, {640, 360}, {1920, 1080}};
    Stream stream(VNRES_H264_SOURCE);
    stream.start();
    for (const auto begin = Clock::now(); Clock::now() - begin < kPrerecordTime;) stream.read();
    std::vector<double> gaps;
    int notKey = 0;
    long memory = 0;
    long heap = 0;
    std::size_t descriptors = 0;
    for (int i = 0; i < count; ++i) {
        // After a tenth of the run the pools and caches for every size are full.
        if (i == count / 10) {
            memory = residentKiB();
            heap = heapKiB();
            descriptors = openDescriptors();
        }
        const auto lastOld = Clock::now();
        stream.switchTo(sizes[i % 3]);
        stream.read();
        gaps.push_back(msSince(lastOld) / kFrameMs);
        if (!startsWithSps(stream.data())) ++notKey;
        stream.read();
    }
    std::printf("switch_gap_frames %.2f\nswitch_gap_max_frames %.2f\nswitch_first_not_key %d\n", median(gaps),
                percentile(gaps, 1.0), notKey);
    std::printf("switch_memory_growth_kib %ld\nswitch_heap_growth_kib %ld\nswitch_descriptor_growth %ld\n",
                residentKiB() - memory, heapKiB() - heap,
                static_cast<long>(openDescriptors()) - static_cast<long>(descriptors));
    stream.stop();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    const int count = argc > 2 ? std::atoi(argv[2]) : 0;
    if (mode == "cold") {
        cold();
    } else if (mode == "first") {
        first();
    } else if (mode == "warm") {
        warm();
    } else if (mode == "latency") {
        latency(count > 0 ? count : 300);
    } else if (mode == "switch") {
        switching(count > 0 ? count : 1000);
    } else {
        std::fprintf(stderr, "usage: bench_live cold|first|warm|latency|switch [COUNT]\n");
        return 2;
    }
    return 0;
}
