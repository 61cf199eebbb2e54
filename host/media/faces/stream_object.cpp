#include "media/faces/stream_object.h"

#include <mutex>
#include <utility>

#include "kep/attr_set.h"
#include "media/pipeline/element.h"
#include "objects/log.h"

namespace kep::host {

class StreamObject::Body final : public ObjectImpl {
  public:
    explicit Body(StreamObject& face) : face_(face) {}

    void end() { retire(); }

    bool receiveMessage(base::Message& message) override {
        face_.hear(message);
        return true;
    }

  protected:
    bool up(State target) override {
        if (target == State::play && !face_.start()) return false;
        if (ObjectImpl::up(target)) return true;
        if (target == State::play) face_.stop();
        return false;
    }
    bool down(State target) override {
        const bool clean = ObjectImpl::down(target);
        if (target == State::ready) face_.stop();
        return clean;
    }

  private:
    StreamObject& face_;
};

StreamObject::StreamObject() : body_(std::make_unique<Body>(*this)) {
    body_->addListener(messages_);
}

StreamObject::~StreamObject() = default;

State StreamObject::CurrentState() {
    return hasEnded_ ? State::null : body_->state();
}

bool StreamObject::StatusIsPlay() const {
    return !hasEnded_ && body_->state() == State::play;
}

void StreamObject::add(std::unique_ptr<ObjectImpl> element) {
    const std::vector<ObjectImpl*> before = body_->children();
    auto* const added = dynamic_cast<Element*>(element.get());
    if (!added || !body_->addChild(element.release())) return;
    if (!before.empty()) dynamic_cast<Element&>(*before.back()).link(*added);
}

void StreamObject::whileDown(const std::function<void()>& action) {
    const std::unique_lock<Mutex> change(change_, std::try_to_lock);
    if (change && body_->state() == State::null) action();
}

bool StreamObject::ChangeUp(State target) {
    const MutexLock change(change_);
    clearUp();
    const State before = body_->state();
    {
        const MutexLock mark(mark_);
        isUp_ = before == State::play;
        endedEarly_.clear();
    }
    if (!body_->changeUp(target)) {
        body_->changeDown(before);
        return false;
    }
    const MutexLock mark(mark_);
    isUp_ = target == State::play || isUp_;
    if (!endedEarly_.empty()) postEnd(std::exchange(endedEarly_, {}));
    return true;
}

bool StreamObject::ChangeDown(State target) {
    const MutexLock change(change_);
    clearUp();
    return body_->changeDown(target);
}

void StreamObject::clearUp() {
    if (!hasEnded_) return;
    // `stopped` has been posted already.
    body_->removeListener(messages_);
    body_->changeDown(State::null);
    body_->addListener(messages_);
    hasEnded_ = false;
}

void StreamObject::ended(const std::string& why) {
    const MutexLock mark(mark_);
    if (hasEnded_ || !endedEarly_.empty()) return;
    if (isUp_) {
        postEnd(why);
    } else {
        endedEarly_ = why;
    }
}

void StreamObject::endedByLoss(const char* media, const std::string& device) {
    base::AttrSet message;
    message.Add("name", "deviceLost");
    message.Add("media", media);
    message.Add("device", device.c_str());
    ended(message.ToString(false));
}

void StreamObject::postEnd(const std::string& why) {
    hasEnded_ = true;
    post(why);
    post("name=stopped");
}

void StreamObject::hear(base::Message& message) {
    base::AttrSet& attributes = message.Attributes();
    const std::string name = attributes.GetOrDef("name", "");
    if (name == "deviceLost" || name == "failed") {
        elementFailed(message.ToString());
    } else if (name == "frameLost") {
        // One total over all elements that lose frames.
        const auto lost = static_cast<std::size_t>(attributes.GetOrDef<int>("lost", 0));
        const std::size_t total = lostInAll_ += lost;
        post("name=frameLost,media=" + std::string(attributes.GetOrDef("media", "")) +
             ",lost=" + std::to_string(lost) + ",total=" + std::to_string(total));
    } else {
        post(message.ToString());
    }
}

bool StreamObject::RegisterMessageCallback(const std::function<bool(const char*)>& callback) {
    messages_.setCallback([callback](const std::string& message) { callback(message.c_str()); });
    return true;
}

bool StreamObject::isSetting(const char* name, int value, int low, int high, bool even) {
    if (value >= low && value <= high && !(even && value % 2 != 0)) return true;
    KEP_HOST_ERROR(std::string(name) + " " + std::to_string(value) + " is not " +
                   (even ? "an even number " : "") + "from " + std::to_string(low) + " to " +
                   std::to_string(high));
    return false;
}

bool StreamObject::isSideSetting(const char* name, int pixels) {
    return isSetting(name, pixels, kSmallestSide, kLargestSide, true);
}

bool StreamObject::isPcmSetting(AudioFormat format, int mostChannels) {
    return isSetting("sample rate", format.rate, 4000, 192'000) &&
           isSetting("channels", format.channels, 1, mostChannels);
}

void StreamObject::shutDown() {
    messages_.setCallback({});
    {
        const MutexLock change(change_);
        body_->changeDown(State::null);
    }
    body_->end();
}

}  // namespace kep::host
