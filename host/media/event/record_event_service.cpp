#include "core/class_registry.h"
#include "core/creation.h"
#include "core/log.h"
#include "media/event/event_element.h"
#include "media/event/event_text.h"
#include "media/pipeline/limits.h"

namespace kep::host {
namespace {

/**
 * The memory through which the parts of a board's firmware hand packets to each other, kept after its last
 * user unless `free` is true. In one process they are handed over by reference, and this takes no memory.
 */
class VornisaSharedMemory final : public ObjectImpl {
  public:
    VornisaSharedMemory() { addFlag(properties(), "free", free_); }

  private:
    std::atomic<bool> free_{false};
};

/**
 * Makes a clip for each text that is set as its `trigger`, `pre=5s,post=10s,tp=123ms,url=file:///a.mp4`,
 * while it plays. Of a text that it refuses `failed` tells, too, as what sets it may have no other answer.
 * `shmCreater` describes the shared memory that it makes for itself.
 */
class RecordEventServiceTriggerShm final : public EventElement {
  public:
    RecordEventServiceTriggerShm() {
        properties().add<std::string>("trigger", nullptr, [this](const std::string& text) {
            EventTrigger trigger;
            if (readTrigger(label(), text, trigger)) return post(trigger);
            tellFailed(trigger.url, "the trigger cannot be read");
            return false;
        });
        addDeletion(properties(), *this);
    }
    ~RecordEventServiceTriggerShm() override { retire(); }

    bool Configure(base::AttrSet& attributes) override {
        base::AttrSet own;
        for (int i = 0; const char* const key = attributes.Key(i); ++i) {
            if (std::string_view(key) != "shmCreater") own.Add(key, attributes.Value(i));
        }
        const char* const text = attributes.Get("shmCreater");
        if (!knowsAll(own) || (text && !makeMemory(text))) return false;
        return EventElement::Configure(own);
    }

  private:
    bool makeMemory(const char* text) {
        Offspring content;
        if (!content.make(text)) return false;
        for (const ObjectImpl* const made : content.objects()) {
            if (dynamic_cast<const VornisaSharedMemory*>(made)) continue;
            KEP_HOST_ERROR(label() + ": shmCreater={" + text + "} describes no shared memory" +
                           CreationScope::place(text, 0));
            return false;
        }
        return replaceChildren(content.objects());
    }
};

const ClassRegistration<VornisaSharedMemory> memory("VornisaSharedMemory");
const ClassRegistration<RecordEventServiceTriggerShm> registration("RecordEventServiceTriggerShm");

}  // namespace
}  // namespace kep::host
