#include "media/audio/device_input.h"

#include "objects/log.h"

extern "C" {
#include <libavutil/time.h>
}

namespace kep::host {

namespace {

constexpr auto kPoll = std::chrono::milliseconds(5);
constexpr auto kImplausible = std::chrono::seconds(1);
// A device whose samples run ahead of the clock by more has no clock of its own and is held back.
constexpr auto kAhead = std::chrono::milliseconds(100);

}  // namespace

bool DeviceInput::open() {
    int result = 0;
    InputPtr input = openDevice(2, result);
    if (!input) input = openDevice(1, result);  // many a microphone is mono and says so only by refusing
    std::string reason = result < 0 ? ffmpegError(result) : "";
    if (!input || !decoder_.open(std::move(input), reason)) {
        KEP_HOST_ERROR("cannot open microphone " + device_.text + ": " + reason);
        return false;
    }
    end_ = std::chrono::steady_clock::now();
    return true;
}

InputPtr DeviceInput::openDevice(int channels, int& result) const {
    const AVInputFormat* kind = av_find_input_format(device_.kind.c_str());
    if (!kind) {
        result = AVERROR_DEMUXER_NOT_FOUND;
        return nullptr;
    }
    AVDictionary* options = nullptr;
    av_dict_set_int(&options, "sample_rate", AudioFormat{}.rate, 0);
    av_dict_set_int(&options, "channels", channels, 0);
    const int fragment = AudioFormat{}.blockFrames() * channels * static_cast<int>(sizeof(std::int16_t));
    if (device_.kind == "pulse") av_dict_set_int(&options, "fragment_size", fragment, 0);
    AVFormatContext* raw = avformat_alloc_context();
    raw->flags |= AVFMT_FLAG_NONBLOCK;
    result = avformat_open_input(&raw, device_.argument.c_str(), kind, &options);
    av_dict_free(&options);
    return InputPtr(raw);
}

bool DeviceInput::read(AudioBlock& block) {
    block.samples.clear();
    while (block.samples.empty()) {
        if (interrupted_) return false;
        const int result = decoder_.decode(block.samples);
        if (result == AVERROR(EAGAIN)) {
            if (!pacer_.waitUntil(std::chrono::steady_clock::now() + kPoll)) return false;
        } else if (result < 0) {
            KEP_HOST_ERROR("microphone " + device_.text + " is lost: " + ffmpegError(result));
            return false;
        }
    }
    const std::int64_t frames = block.frames();
    const SteadyTime now = std::chrono::steady_clock::now();
    block.stamp = captureTime(now, frames);
    end_ = std::max(end_, now - kImplausible) + format().duration(frames);
    return end_ < now + kAhead || pacer_.waitUntil(end_ - kAhead);
}

SteadyTime DeviceInput::captureTime(SteadyTime now, std::int64_t frames) const {
    const SteadyTime latest = now - format().duration(frames);
    if (decoder_.wallTime() == AV_NOPTS_VALUE) return latest;
    const SteadyTime told = now - std::chrono::microseconds(av_gettime() - decoder_.wallTime());
    const auto deviation = told - latest;
    return deviation > kImplausible || deviation < -kImplausible ? latest : told;
}

void DeviceInput::interrupt() {
    interrupted_ = true;
    pacer_.interrupt();
}

}  // namespace kep::host
