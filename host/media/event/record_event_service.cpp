#include "media/event/event_element.h"
#include "media/event/event_text.h"
#include "media/pipeline/limits.h"
#include "objects/class_registry.h"
#include "objects/creation.h"
#include "objects/log.h"

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
        reserveAttributes({"shmCreater"});
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
        NestedDescription memory(attributes, "shmCreater");
        if (!knowsAll(attributes) || (memory && !makeMemory(*memory))) return false;
        return EventElement::Configure(attributes);
    }

  private:
    bool makeMemory(Description& description) {
        PendingChildren content;
        if (!content.make(description)) return false;
        for (const ObjectImpl* const made : content.objects()) {
            if (dynamic_cast<const VornisaSharedMemory*>(made)) continue;
            KEP_HOST_ERROR(label() + ": shmCreater={" + std::string(description.text()) +
                           "} describes no shared memory" + description.place(0));
            return false;
        }
        return replaceChildren(content.objects());
    }
};

const ClassRegistration<VornisaSharedMemory> memory("VornisaSharedMemory");
const ClassRegistration<RecordEventServiceTriggerShm> registration("RecordEventServiceTriggerShm");

}  // namespace
}  // namespace kep::host
