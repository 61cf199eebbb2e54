#include "media/audio/microphone_session.h"

#include <utility>

namespace kep::host {
namespace {

CaptureKind microphoneKind(const DeviceSpec& device) {
    using std::chrono::seconds;
    CaptureKind kind;
    kind.thread = Thread::microphone;
    kind.openTimeout = seconds(10);
    kind.closeTimeout = seconds(2);
    kind.linger = seconds(0);
    // A reading of a device that is there returns at once; the client of a server that has died may hang for
    // ever. A pipe is waited for as long as its writer likes.
    kind.stallTimeout = seconds(device.kind == "pulse" || device.kind == "alsa" ? 5 : 0);
    kind.name = "microphone " + device.text;
    kind.noAnswer = "cannot open " + kind.name + ": it does not answer";
    kind.hangs = kind.name + " hangs and is left behind";
    return kind;
}

}  // namespace

MicrophoneSession::MicrophoneSession(const DeviceSpec& device)
    : CaptureSession(microphoneKind(device), device) {}

// An input tells itself why it fails.
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
    // The block that was being captured when a volume changes has the ramp, the next one is changed
    // throughout.
    while (const auto block = builder_->take()) {
        gain_.apply(block->samples, block->format);
        hub_.publish(block);
    }
}

MicrophoneLease::MicrophoneLease(std::shared_ptr<MicrophoneSession> session,
                                 std::function<void(std::size_t)> lost)
    : Lease(std::move(session), {100, 4U << 20}, std::move(lost), nullptr) {}  // two seconds

std::shared_ptr<MicrophoneLease> MicrophoneLease::open(std::function<void(std::size_t)> lost) {
    // Never destroyed: a stream that the program forgot may still use it while the process ends.
    static auto& microphone = *new CaptureDevice<MicrophoneSession>;
    const std::optional<DeviceSpec> chosen = microphoneFromEnvironment();
    if (!chosen) return nullptr;
    std::shared_ptr<MicrophoneSession> session = microphone.join(*chosen);
    if (!session) return nullptr;
    std::shared_ptr<MicrophoneLease> lease(new MicrophoneLease(std::move(session), std::move(lost)));
    return lease->subscribe() ? lease : nullptr;
}

}  // namespace kep::host
