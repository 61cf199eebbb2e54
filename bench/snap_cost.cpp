/** How long VNTakePic2 blocks its caller at 1080p, on a started handle, compared with encoding such a picture
 * alone. A live stream runs at the same time and must not lose a frame. */
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

extern "C" {
#include <jpeglib.h>
}

#include "vornisa_api.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kQuality = 80;
constexpr int kPictures = 500;
constexpr std::chrono::milliseconds kPause(20);

std::atomic<int> lost{0};

void noteLoss(const char* message) {
    const std::string text = message;
    const std::size_t at = text.find(",lost=");
    if (at != std::string::npos) lost += std::atoi(text.c_str() + at + 6);
}

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/** Encodes planar YUV 4:2:0 to a JPEG file in memory. */
void encode(std::vector<unsigned char>& picture) {
    jpeg_error_mgr errors;
    jpeg_compress_struct codec;
    codec.err = jpeg_std_error(&errors);
    jpeg_create_compress(&codec);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&codec, &bytes, &size);
    codec.image_width = kWidth;
    codec.image_height = kHeight;
    codec.input_components = 3;
    codec.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, kQuality, TRUE);
    codec.raw_data_in = TRUE;
    jpeg_start_compress(&codec, TRUE);
    unsigned char* const blue = picture.data() + kWidth * kHeight;
    unsigned char* const red = blue + kWidth * kHeight / 4;
    while (codec.next_scanline < codec.image_height) {
        const int first = static_cast<int>(codec.next_scanline);
        JSAMPROW rows[3][16];
        JSAMPARRAY planes[] = {rows[0], rows[1], rows[2]};
        for (int i = 0; i < 16; ++i) {
            rows[0][i] = picture.data() + std::min(first + i, kHeight - 1) * kWidth;
            const int row = std::min(first / 2 + i / 2, kHeight / 2 - 1);
            rows[1][i / 2] = blue + row * kWidth / 2;
            rows[2][i / 2] = red + row * kWidth / 2;
        }
        jpeg_write_raw_data(&codec, planes, 16);
    }
    jpeg_finish_compress(&codec);
    jpeg_destroy_compress(&codec);
    std::free(bytes);
}

bool readPicture(std::vector<unsigned char>& picture) {
    int camera = 0;
    int length = 0;
    picture.resize(kWidth * kHeight * 3 / 2);
    const bool read = VNAcquire(VNRES_YUV_SOURCE, &camera) == VNRES_SUCCEED &&
                      VNSetResolution(camera, kWidth, kHeight) == VNRES_SUCCEED &&
                      VNStart(camera) == VNRES_SUCCEED &&
                      VNRead(camera, reinterpret_cast<char*>(picture.data()),
                             static_cast<int>(picture.size()), 1, &length) == VNRES_SUCCEED;
    VNStop(camera);
    VNRelease(camera);
    return read;
}

void print(const char* name, std::vector<double> times) {
    std::sort(times.begin(), times.end());
    std::printf("%s_median_ms %.3f\n", name, times[times.size() / 2]);
    std::printf("%s_99_percent_ms %.3f\n", name, times[times.size() * 99 / 100]);
}

/** Takes and encodes alternately; false when a picture is refused. */
bool measure(int taker, const std::string& file, std::vector<unsigned char>& picture) {
    std::vector<double> taken;
    std::vector<double> encoded;
    for (int i = 0; i < kPictures; ++i) {
        auto start = Clock::now();
        if (VNTakePic2(taker, file.c_str()) != VNRES_SUCCEED) return false;
        taken.push_back(millisecondsSince(start));
        start = Clock::now();
        encode(picture);
        encoded.push_back(millisecondsSince(start));
        std::this_thread::sleep_for(kPause);
    }
    print("snap", taken);
    print("snap_encoder", encoded);
    return true;
}

}  // namespace

int main() {
    char folder[] = "/tmp/snap-cost-XXXXXX";
    std::vector<unsigned char> picture;
    int taker = 0;
    int stream = 0;
    if (!mkdtemp(folder) || !readPicture(picture) || VNAcquire(VNRES_PHOTOGRAPHY, &taker) != VNRES_SUCCEED ||
        VNStart(taker) != VNRES_SUCCEED || VNAcquire(VNRES_H264_SOURCE, &stream) != VNRES_SUCCEED ||
        VNRegisterMessageCallback(stream, noteLoss) != VNRES_SUCCEED || VNStart(stream) != VNRES_SUCCEED)
        return 1;
    std::atomic<bool> done{false};
    std::thread reader([&] {
        std::vector<char> frame(4 << 20);
        int length = 0;
        while (!done &&
               VNRead(stream, frame.data(), static_cast<int>(frame.size()), 1, &length) == VNRES_SUCCEED) {
        }
    });
    const bool good = measure(taker, std::string(folder) + "/a.jpg", picture);
    done = true;
    reader.join();
    std::printf("snap_stream_lost %d\n", lost.load());
    VNStop(stream);
    VNRelease(stream);
    VNRelease(taker);
    std::filesystem::remove_all(folder);
    return good ? 0 : 1;
}
