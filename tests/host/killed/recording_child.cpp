/**
 * Records with protection against a loss of power until it is killed, through the public header alone:
 *
 *   recording_child FOLDER SECONDS_OF_A_FILE MICROPHONE
 *
 * MICROPHONE is a value of KEP_HOST_AUDIO. Writes the number of each picture that the camera has captured to
 * standard output, as four bytes.
 */
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "picture_probe.h"
#include "vornisa_api.h"

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 360;

bool must(int code, const char* call) {
    if (code != VNRES_SUCCEED) std::fprintf(stderr, "recording_child: %s returned %d\n", call, code);
    return code == VNRES_SUCCEED;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    setenv("KEP_HOST_AUDIO", argv[3], 1);
    // The camera is opened before the recording, so this program knows of every picture captured.
    int camera = 0;
    if (!must(VNAcquire(VNRES_YUV_SOURCE, &camera), "VNAcquire") ||
        !must(VNSetResolution(camera, kWidth, kHeight), "VNSetResolution") ||
        !must(VNStart(camera), "VNStart") ||
        !must(VNRecMan2(kWidth * kHeight, "gop=30,bitrate=1000000", "", std::atoi(argv[2]), argv[1],
                        "rec.mp4", "PowerFailProtection=true"),
              "VNRecMan2"))
        return 1;
    std::vector<char> picture(kWidth * kHeight * 3 / 2);
    for (;;) {
        int length = 0;
        if (!must(VNRead(camera, picture.data(), static_cast<int>(picture.size()), 1, &length), "VNRead"))
            return 1;
        const auto number = readPictureNumber(
            {reinterpret_cast<const std::uint8_t*>(picture.data()), kWidth, kWidth, kHeight});
        if (!number) return 1;
        if (write(STDOUT_FILENO, &*number, sizeof *number) != sizeof *number) return 1;
    }
}
