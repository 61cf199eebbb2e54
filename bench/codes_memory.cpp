// Memory growth of the code reader over many pictures, every other one with a code, at changing places.
//
//   bench_codes_memory PICTURE [COUNT]    a raw grey picture of 640x360 with one code; 100000 pictures
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <vector>

#include "process_usage.h"
#include "vision/codes.h"

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 360;
/** Vertical offsets of the picture, in rows; consecutive pictures have different ones. */
constexpr int kPlaces = 16;
/** Pictures before the measurement, during which one-time allocations are made. */
constexpr int kWarmUp = 1000;

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    const int count = argc > 2 ? std::atoi(argv[2]) : 100'000;
    std::vector<std::uint8_t> picture(std::size_t{kWidth} * (kHeight + kPlaces), 128);
    std::vector<std::uint8_t> empty(picture.size(), 128);
    std::ifstream file(argv[1], std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(picture.data()), std::streamsize{kWidth} * kHeight)) return 1;
    const kep::host::FramePtr frame(av_frame_alloc());
    frame->linesize[0] = frame->width = kWidth;
    frame->height = kHeight;
    long before = 0;
    int read = 0;
    std::clock_t begin = 0;
    for (int i = 0; i < kWarmUp + count; ++i) {
        if (i == kWarmUp) {
            before = residentKiB();
            begin = std::clock();
            read = 0;
        }
        frame->data[0] = (i % 2 ? picture : empty).data() + kWidth * (i / 2 % kPlaces);
        read += static_cast<int>(kep::host::codesIn(*frame).size());
    }
    std::printf("codes_read_percent %.2f\ncodes_memory_growth_kib %ld\ncodes_picture_ms %.2f\n",
                200.0 * read / count, residentKiB() - before,
                1000.0 * static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC / count);
    return 0;
}
