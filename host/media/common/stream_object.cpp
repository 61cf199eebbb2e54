#include "media/common/stream_object.h"

#include <utility>

namespace kep::host {

bool StreamObject::ChangeUp(State target) {
    const std::lock_guard change(change_);
    bool leftovers = false;
    {
        const std::lock_guard mark(mark_);
        if (state_ >= target) return true;
        if (target != State::play) {
            state_ = target;
            return true;
        }
        leftovers = std::exchange(fallen_, false);
    }
    if (leftovers) stop();
    endedEarly_.clear();
    if (!start()) return false;
    const std::lock_guard mark(mark_);
    state_ = State::play;
    post("name=started");
    if (!endedEarly_.empty()) fall(std::move(endedEarly_));
    return true;
}

bool StreamObject::ChangeDown(State target) {
    const std::lock_guard change(change_);
    bool played = false;
    bool leftovers = false;
    {
        const std::lock_guard mark(mark_);
        played = state_ == State::play && target != State::play;
        leftovers = std::exchange(fallen_, false);
        if (state_ > target) state_ = target;
    }
    if (played || leftovers) stop();
    if (played) post("name=stopped");
    return true;
}

void StreamObject::ended(std::string why) {
    const std::lock_guard mark(mark_);
    if (state_ == State::play) {
        fall(std::move(why));
    } else {
        endedEarly_ = std::move(why);
    }
}

void StreamObject::fall(std::string why) {
    state_ = State::null;
    fallen_ = true;
    post(std::move(why));
    post("name=stopped");
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
