#include <algorithm>
#include <optional>
#include <string_view>

#include "media/event/event_element.h"
#include "objects/class_registry.h"
#include "objects/creation.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/**
 * Makes one clip each time it starts to play, from `pre` before `tp` to `post` after it, under the muxer's
 * own URL. A failed clip sends `recordStop` with `failed=true` instead of `failed`: an application that waits
 * for the end of the clip waits for that message only.
 */
class RecordEventTrigger final : public EventElement {
  public:
    RecordEventTrigger() {
        addSpan("pre", trigger_.pre);
        addSpan("post", trigger_.post);
        properties().add<std::string>("tp", nullptr, [this](const std::string& text) {
            point_ = readPoint(text);
            return point_.has_value();
        });
    }
    ~RecordEventTrigger() override { retire(); }

  protected:
    bool up(State target) override {
        if (target != State::play) return EventElement::up(target);
        if (!point_) {
            KEP_HOST_ERROR(label() + ": tp, the time of the event, is not set");
            return false;
        }
        trigger_.point = *point_;
        if (!EventElement::up(target)) return false;
        return post(trigger_);
    }

    void clipFailed(const FileFailure& failure) override {
        tell("recordStop", "failed=true," + failure.text());
    }

  private:
    void addSpan(const char* name, std::chrono::milliseconds& span) {
        properties().add<std::string>(
            name, [&span] { return std::to_string(span.count()) + "ms"; },
            [this, name, &span](const std::string& text) { return readSpan(name, text, span); });
    }

    EventTrigger trigger_{{}, std::chrono::seconds(3), std::chrono::seconds(7), {}};
    std::optional<SteadyTime> point_;
};

/**
 * Stands for the shared memory through which a board's processes pass packets, which outlives its last user
 * unless `free` is true. In one process packets are passed by reference, so this allocates nothing.
 */
class VornisaSharedMemory final : public ObjectImpl {
  public:
    VornisaSharedMemory() { properties().add("free", free_); }

  private:
    std::atomic<bool> free_{false};
};

/**
 * While playing, makes a clip each time `trigger` is set: `pre=5s,post=10s,tp=123ms,url=file:///a.mp4`. Sends
 * `failed` for invalid triggers as well, as the sender may get no other answer. `shmCreater` describes its
 * shared memory, which it creates.
 */
class RecordEventServiceTriggerShm final : public EventElement {
  public:
    RecordEventServiceTriggerShm() {
        reserveAttributes({"shmCreater"});
        properties().add<std::string>("trigger", nullptr, [this](const std::string& text) {
            EventTrigger trigger;
            if (readTrigger(text, trigger)) return post(trigger);
            tellFailed({trigger.url, "invalid trigger", {}});
            return false;
        });
    }
    ~RecordEventServiceTriggerShm() override { retire(); }

    bool Configure(base::AttrSet& attributes) override {
        NestedDescription memory(attributes, "shmCreater");
        if (!knowsAll(attributes) || (memory && !makeMemory(*memory))) return false;
        return EventElement::Configure(attributes);
    }

  private:
    /** Parses `pre=,post=,tp=,url=`, all required. False, with an error line, when one is missing or invalid;
     * sets the URL in any case if there is one. */
    bool readTrigger(const std::string& text, EventTrigger& trigger) const;
    bool makeMemory(Description& description);
};

bool RecordEventServiceTriggerShm::readTrigger(const std::string& text, EventTrigger& trigger) const {
    constexpr std::string_view names[] = {"pre", "post", "tp", "url"};
    base::AttrSet attributes;
    if (!attributes.Parse(text.c_str())) return false;
    trigger.url = attributes.GetOrDef("url", "");
    const auto refuse = [&](const std::string& fault) {
        KEP_HOST_ERROR(label() + ": trigger={" + text + "} " + fault);
        return false;
    };
    for (int i = 0; const char* const key = attributes.Key(i); ++i) {
        if (std::ranges::find(names, key) == std::end(names))
            return refuse("has an unknown key \"" + std::string(key) + "\"");
    }
    for (const std::string_view name : names) {
        const char* const value = attributes.Get(name.data());
        if (!value || !*value) return refuse("lacks " + std::string(name));
    }
    if (!readSpan("pre", attributes.Get("pre"), trigger.pre) ||
        !readSpan("post", attributes.Get("post"), trigger.post))
        return false;
    const std::optional<SteadyTime> point = readPoint(attributes.Get("tp"));
    trigger.point = point.value_or(SteadyTime());
    return point.has_value();
}

bool RecordEventServiceTriggerShm::makeMemory(Description& description) {
    PendingChildren content;
    if (!content.make(description)) return false;
    for (const ObjectImpl* const made : content.objects()) {
        if (dynamic_cast<const VornisaSharedMemory*>(made)) continue;
        KEP_HOST_ERROR(label() + ": shmCreater={" + std::string(description.text()) +
                       "} does not describe shared memory" + description.place(0));
        return false;
    }
    return replaceChildren(content.objects());
}

const ClassRegistration<RecordEventTrigger> trigger("RecordEventTrigger");
const ClassRegistration<VornisaSharedMemory> memory("VornisaSharedMemory");
const ClassRegistration<RecordEventServiceTriggerShm> service("RecordEventServiceTriggerShm");

}  // namespace
}  // namespace kep::host
