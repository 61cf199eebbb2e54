#include <algorithm>
#include <new>
#include <string_view>

#include "media/audio/audio_input.h"
#include "media/audio/decoded_sound.h"
#include "objects/log.h"

extern "C" {
#include <libavutil/time.h>
}

namespace kep::host {

namespace {

// Poll interval: how late a whole block may be noticed.
constexpr auto kPoll = std::chrono::milliseconds(1);
// A PulseAudio server keeps samples back until a fragment is full, so that a block is late by half a
// fragment on average ...
constexpr int kFragmentsInBlock = 10;
// ... but when a sink underruns, its monitor is rewound, and what a short fragment has already delivered is
// then missing.
constexpr std::string_view kMonitor = ".monitor";
// A stamp of the device that is further from the time of arrival is ignored.
constexpr auto kImplausible = std::chrono::seconds(1);
// A device whose samples run further ahead of the clock has no clock of its own: reading it is slowed down.
constexpr auto kAhead = std::chrono::milliseconds(100);

/** A capture device of the workstation: ALSA or PulseAudio, by the names that libavdevice gives them. */
class DeviceInput final : public AudioInput {
  public:
    explicit DeviceInput(DeviceSpec device) : device_(std::move(device)) {}

    /** False, with an error line, when the device cannot be opened. */
    bool open();

    AudioFormat format() const override { return sound_.format(); }
    bool read(AudioBlock& block, SteadyTime& due) override;

  private:
    std::unique_ptr<MediaReader> openDevice(int channels, std::string& reason) const;
    SteadyTime captureTime(const AVFrame& frame, SteadyTime now, std::int64_t frames) const;

    const DeviceSpec device_;
    std::unique_ptr<MediaReader> reader_;
    DecodedSound sound_;
    SteadyTime lastRead_;
    std::int64_t framesRead_ = 0;
    SteadyTime end_;  // capture time of the last sample read, at the device's nominal rate
};

bool DeviceInput::open() {
    // The device already captures while it is being opened.
    end_ = std::chrono::steady_clock::now();
    std::string reason;
    reader_ = openDevice(2, reason);
    if (!reader_) reader_ = openDevice(1, reason);  // mono microphones refuse two channels
    if (!reader_) {
        KEP_HOST_ERROR("cannot open microphone " + device_.text + ": " + reason);
        return false;
    }
    sound_ = DecodedSound(reader_->codec());
    return true;
}

std::unique_ptr<MediaReader> DeviceInput::openDevice(int channels, std::string& reason) const {
    const int fragments = device_.argument.ends_with(kMonitor) ? 1 : kFragmentsInBlock;
    const int fragment =
        AudioFormat{}.blockFrames() / fragments * channels * static_cast<int>(sizeof(std::int16_t));
    std::string options =
        "sample_rate=" + std::to_string(AudioFormat{}.rate) + ":channels=" + std::to_string(channels);
    if (device_.kind == "pulse") options += ":fragment_size=" + std::to_string(fragment);
    return MediaReader::open({device_.argument, device_.kind.c_str(), options, AVFMT_FLAG_NONBLOCK},
                             AVMEDIA_TYPE_AUDIO, reason);
}

bool DeviceInput::read(AudioBlock& block, SteadyTime& due) {
    block.samples.clear();
    const FramePtr frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    int result = reader_->read(*frame);
    const SteadyTime now = std::chrono::steady_clock::now();
    if (result == AVERROR(EAGAIN)) {
        // Sleep until a block can be whole.
        const std::int64_t missing = format().blockFrames() - framesRead_ % format().blockFrames();
        due = std::max(now + kPoll, lastRead_ + format().duration(missing) - kPoll);
        return true;
    }
    if (result >= 0) result = sound_.append(*frame, block.samples);
    if (result < 0) {
        KEP_HOST_ERROR("microphone " + device_.text + " is lost: " + ffmpegError(result));
        return false;
    }
    const std::int64_t frames = block.frames();
    framesRead_ += frames;
    lastRead_ = now;
    block.stamp = captureTime(*frame, now, frames);
    end_ = std::max(end_, now - kImplausible) + format().duration(frames);
    due = end_ - kAhead;
    return true;
}

SteadyTime DeviceInput::captureTime(const AVFrame& frame, SteadyTime now, std::int64_t frames) const {
    // Devices stamp by the wall clock, in microseconds.
    const SteadyTime latest = now - format().duration(frames);
    if (frame.best_effort_timestamp == AV_NOPTS_VALUE) return latest;
    const SteadyTime stamped = now - std::chrono::microseconds(av_gettime() - frame.best_effort_timestamp);
    const auto deviation = stamped - latest;
    return deviation > kImplausible || deviation < -kImplausible ? latest : stamped;
}

}  // namespace

std::unique_ptr<AudioInput> openSoundDevice(const DeviceSpec& device) {
    auto input = std::make_unique<DeviceInput>(device);
    if (!input->open()) return nullptr;
    return input;
}

}  // namespace kep::host
