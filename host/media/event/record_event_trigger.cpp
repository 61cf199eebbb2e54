#include "media/event/event_element.h"
#include "media/event/event_text.h"
#include "objects/class_registry.h"
#include "objects/log.h"
#include "text/time_span.h"

namespace kep::host {
namespace {

/**
 * Makes one clip each time it starts to play, from `pre` before `tp` to `post` after it, under the muxer's
 * own URL. A clip that fails sends `recordStop` with `failed=true` instead of `failed`: an application that
 * waits for the end of the clip waits for that message alone.
 */
class RecordEventTrigger final : public EventElement {
  public:
    RecordEventTrigger() {
        addSpan("pre", trigger_.pre);
        addSpan("post", trigger_.post);
        properties().add<std::string>("tp", nullptr, [this](const std::string& text) {
            point_ = readPoint(label(), text);
            return point_.has_value();
        });
        addDeletion(properties(), *this);
    }
    ~RecordEventTrigger() override { retire(); }

  protected:
    bool up(State target) override {
        if (target != State::play) return EventElement::up(target);
        if (!point_) {
            KEP_HOST_ERROR(label() + " is given no tp, the time of the event");
            return false;
        }
        trigger_.point = *point_;
        if (!EventElement::up(target)) return false;
        return post(trigger_);
    }

    void clipFailed(const ClipFailure& failure) override {
        tell("recordStop", "failed=true," + failureText(failure.url, failure.reason, failure.kept));
    }

  private:
    void addSpan(const char* name, std::chrono::milliseconds& span) {
        properties().add<std::string>(
            name, [&span] { return std::to_string(span.count()) + "ms"; },
            [this, name, &span](const std::string& text) { return readSpan(label(), name, text, span); });
    }

    EventTrigger trigger_{{}, std::chrono::seconds(3), std::chrono::seconds(7), {}};
    std::optional<SteadyTime> point_;
};

const ClassRegistration<RecordEventTrigger> registration("RecordEventTrigger");

}  // namespace
}  // namespace kep::host
