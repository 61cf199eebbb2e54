#include "media/common/stream_object.h"

namespace kep::host {

bool StreamObject::ChangeUp(State target) {
    const std::lock_guard lock(change_);
    if (state_ >= target) return true;
    if (target == State::play && !start()) return false;
    state_ = target;
    if (target == State::play) post("name=started");
    return true;
}

bool StreamObject::ChangeDown(State target) {
    const std::lock_guard lock(change_);
    if (state_ <= target) return true;
    const bool played = state_ == State::play;
    if (played) stop();
    state_ = target;
    if (played) post("name=stopped");
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
