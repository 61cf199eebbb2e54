#include "media/audio/microphone_session.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "media/common/ffmpeg.h"

namespace kep::host {
namespace {

/** A stamp that deviates more from the expected one is adopted at once. */
constexpr auto kJump = std::chrono::milliseconds(100);
/** Each piece corrects this fraction of a smaller deviation. */
constexpr int kSmoothing = 64;

/** The microphone that KEP_HOST_AUDIO chooses; nullopt, with an error line, for an unknown kind. */
std::optional<DeviceSpec> microphoneFromEnvironment() {
    return deviceFromEnvironment(
        "KEP_HOST_AUDIO", "test",
        {{"test", false}, {"test", true}, {"alsa", true}, {"pulse", true}, {"file", true}});
}

std::unique_ptr<AudioInput> openAudioInput(const DeviceSpec& spec, const std::atomic<bool>& stopped) {
    initFfmpeg();
    if (spec.kind == "test") return openTone(spec);
    if (spec.kind == "file") return openSoundFile(spec.argument, stopped);
    return openSoundDevice(spec);
}

CaptureKind microphoneKind(const DeviceSpec& device) {
    using std::chrono::seconds;
    const std::string name = "microphone " + device.text;
    return {.thread = Thread::microphone,
            .openTimeout = seconds(10),
            .closeTimeout = seconds(2),
            .linger = seconds(0),
            // Reads of a working device return at once, but a client of a dead server may hang for ever. A
            // pipe may stay silent for as long as its writer likes.
            .stallTimeout = seconds(device.kind == "pulse" || device.kind == "alsa" ? 5 : 0),
            .name = name,
            .noAnswer = "cannot open " + name + ": it does not answer",
            .hangs = name + ": hangs, abandoned"};
}

}  // namespace

/**
 * Cuts what a device delivers in pieces of any length into blocks of one length, with smoothed stamps: small
 * deviations of the device's stamps are followed slowly, large ones at once.
 */
class MicrophoneSession::BlockBuilder {
  public:
    explicit BlockBuilder(AudioFormat format) : format_(format) {}

    void add(const AudioBlock& captured);
    /** The next whole block; null while there is none. */
    std::shared_ptr<AudioBlock> take();

  private:
    const AudioFormat format_;
    std::vector<std::int16_t> pending_;
    SteadyTime end_;  // time of the sample after the last one pending
    bool started_ = false;
};

void MicrophoneSession::BlockBuilder::add(const AudioBlock& captured) {
    const auto deviation = captured.stamp - end_;
    if (!started_ || deviation > kJump || deviation < -kJump)
        end_ = captured.stamp;
    else
        end_ += deviation / kSmoothing;
    started_ = true;
    // No sample is captured after its delivery: a stamp in the future was itself taken late.
    end_ = std::min(end_ + format_.duration(captured.frames()), std::chrono::steady_clock::now());
    pending_.insert(pending_.end(), captured.samples.begin(), captured.samples.end());
}

std::shared_ptr<AudioBlock> MicrophoneSession::BlockBuilder::take() {
    const std::size_t samples = static_cast<std::size_t>(format_.blockFrames()) * format_.channels;
    if (pending_.size() < samples) return nullptr;
    auto block = std::make_shared<AudioBlock>();
    block->format = format_;
    block->stamp = end_ - format_.duration(static_cast<std::int64_t>(pending_.size()) / format_.channels);
    const auto cut = pending_.begin() + static_cast<std::ptrdiff_t>(samples);
    block->samples.assign(pending_.begin(), cut);
    pending_.erase(pending_.begin(), cut);
    return block;
}

MicrophoneSession::MicrophoneSession(const DeviceSpec& device)
    : CaptureSession(microphoneKind(device), device) {}

MicrophoneSession::~MicrophoneSession() = default;

// The input writes the error line itself.
bool MicrophoneSession::open(std::string&) {
    input_ = openAudioInput(device(), isStopped_);
    if (!input_) return false;
    captured_.format = input_->format();
    builder_ = std::make_unique<BlockBuilder>(captured_.format);
    return true;
}

bool MicrophoneSession::read(std::string&) {
    return input_->read(captured_, due_);
}

void MicrophoneSession::publish() {
    if (captured_.samples.empty()) return;
    builder_->add(captured_);
    // The ramp is in the block that was being captured when the volume changed; the next has the new volume.
    while (const auto block = builder_->take()) {
        gain_.apply(block->samples, block->format);
        hub_.publish(block);
    }
}

MicrophoneLease::MicrophoneLease(std::shared_ptr<MicrophoneSession> session, LeaseListener listener)
    : Lease(std::move(session), {100, 4U << 20}, std::move(listener)) {}  // two seconds

std::shared_ptr<MicrophoneLease> MicrophoneLease::open(LeaseListener listener) {
    // Never destroyed: a stream that the program forgot may still use it while the process ends.
    static auto& microphone = *new CaptureDevice<MicrophoneSession>;
    const std::optional<DeviceSpec> chosen = microphoneFromEnvironment();
    if (!chosen) return nullptr;
    std::shared_ptr<MicrophoneSession> session = microphone.join(*chosen);
    if (!session) return nullptr;
    std::shared_ptr<MicrophoneLease> lease(new MicrophoneLease(std::move(session), std::move(listener)));
    return lease->subscribe() ? lease : nullptr;
}

}  // namespace kep::host
