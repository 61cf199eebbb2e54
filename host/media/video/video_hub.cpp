#include "media/video/video_hub.h"

#include "objects/log.h"
#include "objects/process_end.h"

namespace kep::host {

namespace {
constexpr std::chrono::seconds openingTime(5);
constexpr std::chrono::seconds closingTime(1);
}  // namespace

VideoHub& VideoHub::instance() {
    // Never destroyed: a stream that the program forgot may still use it while the process ends.
    static VideoHub& hub = *new VideoHub;
    return hub;
}

VideoHub::VideoHub() {
    ProcessEnd::addStep([this] {
        const std::lock_guard lock(mutex_);
        if (session_) session_->end(closingTime);
    });
}

std::unique_ptr<VideoTap> VideoHub::open(int rate, std::int64_t after, TapListener& listener,
                                         std::size_t depth) {
    const std::lock_guard lock(mutex_);
    const std::optional<DeviceSpec> chosen = chosenCamera();
    if (!chosen) return nullptr;
    if (session_ && (session_->device().text == chosen->text || session_->isInUse())) {
        if (auto tap = join(rate, after, listener, depth)) return tap;
    }
    std::int64_t number = 0;
    if (session_) {
        if (!session_->end(closingTime))
            KEP_HOST_ERROR("camera " + session_->device().text + ": hangs, left behind");
        number = session_->lastNumber();
    }
    session_ = CameraSession::launch(*chosen, rate, number);
    return session_->waitOpened(openingTime) ? join(rate, after, listener, depth) : nullptr;
}

std::unique_ptr<VideoTap> VideoHub::join(int rate, std::int64_t after, TapListener& listener,
                                         std::size_t depth) {
    auto tap = std::make_unique<VideoTap>(session_, rate, after, listener, depth);
    return session_->attach(*tap) ? std::move(tap) : nullptr;
}

}  // namespace kep::host
