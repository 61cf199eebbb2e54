/**
 * CPU time of drawing 16 zones and a running clock into 1080p pictures: of the image stage alone, and
 * relative to a live stream at 30 fps.
 *
 *   bench_image_cost [SECONDS]
 *
 * Prints one figure a line.
 */
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "picture/image_stage.h"
#include "vornisa_api.h"

namespace {

using kep::host::FramePtr;
using kep::host::ImageStage;
using kep::host::PicturePool;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kRate = 30;
/** Half a second of CPU time. */
constexpr int kPictures = 6000;
constexpr int kFrameBytes = 4 << 20;

void must(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "bench_image_cost: %s\n", what);
    std::exit(1);
}

/** CPU time of the process in milliseconds. */
double cpuMs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

/** Enables 16 zones of 96 by 96 pixels, and a text whose last digits change with each picture. */
void draw() {
    for (int zone = 0; zone < 16; ++zone) {
        must(VNZonesSet(zone, 100 + zone * 110, 600, 96, 96, VNRES_COLOR_GRAY) == VNRES_SUCCEED,
             "VNZonesSet failed");
        must(VNZonesEnable(zone, 1) == VNRES_SUCCEED, "VNZonesEnable failed");
    }
    must(VNStampInit(24, 48, "") == VNRES_SUCCEED, "VNStampInit failed");
    must(VNStampSet(32, 32, VNRES_COLOR_WHITE, "%Y-%m-%d %H:%M:%S.%3N") == VNRES_SUCCEED,
         "VNStampSet failed");
    must(VNStampEnable(1) == VNRES_SUCCEED, "VNStampEnable failed");
}

/** CPU milliseconds per picture. */
double stageCost() {
    ImageStage stage;
    PicturePool pool;
    FramePtr picture = pool.get(kWidth, kHeight);
    must(picture != nullptr, "no memory");
    std::memset(picture->data[0], 100, std::size_t{kWidth} * kHeight * 3 / 2);
    auto captured = std::chrono::steady_clock::now();
    double begin = 0;
    for (int i = -kRate; i < kPictures; ++i) {
        if (i == 0) begin = cpuMs();
        captured += std::chrono::milliseconds(1000 / kRate);
        picture = stage.apply(std::move(picture), captured);
        must(picture != nullptr, "the image stage returned no picture");
    }
    return (cpuMs() - begin) / kPictures;
}

/** CPU milliseconds per second of a stream without drawing. */
double streamCost(int seconds) {
    int id = 0;
    must(VNAcquire(VNRES_H264_SOURCE, &id) == VNRES_SUCCEED, "VNAcquire failed");
    VNSetResolution(id, kWidth, kHeight);
    VNSetFramerate(id, kRate);
    VNSetBps(id, 2'000'000);
    VNSetH264Gop(id, 15);
    must(VNStart(id) == VNRES_SUCCEED, "VNStart failed");
    std::vector<char> frame(kFrameBytes);
    double begin = 0;
    for (int i = -kRate; i < seconds * kRate; ++i) {
        if (i == 0) begin = cpuMs();
        int length = 0;
        must(VNRead(id, frame.data(), kFrameBytes, 1, &length) == VNRES_SUCCEED, "VNRead failed");
    }
    const double cost = (cpuMs() - begin) / seconds;
    VNStop(id);
    VNRelease(id);
    return cost;
}

}  // namespace

int main(int argc, char** argv) {
    const double plainMs = stageCost();
    const double streamMs = streamCost(argc > 1 ? std::atoi(argv[1]) : 20);
    draw();
    const double drawnMs = stageCost();
    std::printf(
        "image_plain_ms %.4f\nimage_drawn_ms %.4f\nimage_stream_cpu_ms %.1f\nimage_cpu_percent %.2f\n",
        plainMs, drawnMs, streamMs, 100 * (drawnMs - plainMs) * kRate / streamMs);
    return 0;
}
