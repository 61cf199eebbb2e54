#include "recordings/sample_check.h"

#include <algorithm>

namespace recordings {

namespace {

/** Bytes that a disk writes at once. Audio has at most a quarter as many consecutive zeros. */
constexpr int kSectorSize = 512;

/** Whether a NAL unit contains none of the byte sequences that emulation prevention excludes. */
bool isWholeUnit(ByteSpan unit) {
    if (unit.empty() || unit.back() == 0) return false;
    for (std::size_t i = 0; i + 2 < unit.size(); ++i) {
        if (unit[i + 2] > 2) {
            i += 2;
        } else if (unit[i] == 0 && unit[i + 1] == 0) {
            return false;
        }
    }
    return true;
}

bool isWholePicture(ByteSpan sample, std::size_t lengthBytes) {
    if (sample.empty()) return false;
    while (!sample.empty()) {
        if (sample.size() < lengthBytes) return false;
        const std::uint64_t length = bigEndian(sample, 0, lengthBytes);
        sample = sample.subspan(lengthBytes);
        if (length > sample.size() || !isWholeUnit(sample.first(length))) return false;
        sample = sample.subspan(length);
    }
    return true;
}

bool isWholeSound(ByteSpan sample) {
    // An AAC access unit ends with three one bits, so that a sector of zeros lies within one access unit.
    if (sample.empty() || sample.back() == 0) return false;
    return std::search_n(sample.begin(), sample.end(), kSectorSize, std::uint8_t{0}) == sample.end();
}

}  // namespace

bool isWholeSample(const Mp4Track& track, ByteSpan sample) {
    if (track.codec == "avc1" || track.codec == "hvc1" || track.codec == "hev1")
        return isWholePicture(sample, track.lengthBytes);
    return track.codec != "mp4a" || isWholeSound(sample);
}

}  // namespace recordings
