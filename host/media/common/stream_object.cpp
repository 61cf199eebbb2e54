#include "media/common/stream_object.h"

namespace kep::host {

bool StreamObject::ChangeUp(State target) {
    const std::lock_guard lock(change_);
    if (state_ >= target) return true;
    if (target == State::play) {
        if (!start()) return false;
        post("name=started");
    }
    state_ = target;
    return true;
}

bool StreamObject::ChangeDown(State target) {
    const std::lock_guard lock(change_);
    if (state_ <= target) return true;
    if (state_ == State::play) {
        stop();
        post("name=stopped");
    }
    state_ = target;
    return true;
}

bool StreamObject::RegisterMessageCallback(const std::function<bool(const char*)>& callback) {
    messages_.setCallback([callback](const std::string& message) { callback(message.c_str()); });
    return true;
}

void StreamObject::shutDown() {
    messages_.setCallback({});
    ChangeDown(State::null);
}

void StreamObject::postLost(const char* media, std::size_t lost) {
    const std::size_t total = lostInAll_ += lost;
    post("name=frameLost,media=" + std::string(media) + ",lost=" + std::to_string(lost) +
         ",total=" + std::to_string(total));
}

}  // namespace kep::host
