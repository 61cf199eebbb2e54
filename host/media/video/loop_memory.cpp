#include "media/video/loop_memory.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace kep::host {
namespace {

constexpr std::size_t kMiB = 1 << 20;
/** Some seconds of the largest pictures that are usual; a process with a camera is no smaller by much. */
constexpr std::size_t kUsualMiB = 256;
constexpr std::size_t kMostMiB = 1 << 20;

std::size_t bytesOf(const AVFrame& picture) {
    std::size_t bytes = 0;
    for (const AVBufferRef* buffer : picture.buf) bytes += buffer ? buffer->size : 0;
    return bytes;
}

}  // namespace

std::optional<std::size_t> LoopMemory::chosenBytes(std::string& reason) {
    const char* const set = std::getenv("KEP_HOST_LOOP_MEMORY");
    const std::string_view text = set ? set : "";
    std::size_t size = kUsualMiB;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, size);
    if (text.empty() || (read.ec == std::errc() && read.ptr == end && size <= kMostMiB)) return size * kMiB;
    reason = "KEP_HOST_LOOP_MEMORY=" + std::string(text) + " is no number of MiB from 0 to " +
             std::to_string(kMostMiB);
    return std::nullopt;
}

void LoopMemory::add(const AVFrame& picture) {
    if (!filling_) return;
    const std::size_t bytes = bytesOf(picture);
    if (pictures_.empty() || bytes_ + bytes <= room_) {
        bytes_ += bytes;
        pictures_.emplace_back(av_frame_clone(&picture));
        if (!pictures_.back()) forget();
        return;
    }
    filling_ = false;
    // It may be a key frame itself.
    FramePtr next(av_frame_clone(&picture));
    while (!pictures_.empty() && (!next || !next->key_frame || next->pts == AV_NOPTS_VALUE)) {
        next = std::move(pictures_.back());
        pictures_.pop_back();
    }
    if (!pictures_.empty()) resumeAt_ = next->pts;
}

void LoopMemory::forget() {
    filling_ = false;
    pictures_.clear();
    resumeAt_.reset();
}

}  // namespace kep::host
