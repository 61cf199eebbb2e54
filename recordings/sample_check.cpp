#include "recordings/sample_check.h"

#include <algorithm>

namespace recordings {

namespace {

/** The smallest piece that a disk writes. Of zeros in a row sound has at most a quarter of that. */
constexpr int kSectorSize = 512;

/** Whether no bytes are in a unit that the escaping of start codes keeps out of it. */
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
    // Its end is marked by three ones, and a sector without any sample's end lies within one sample.
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
