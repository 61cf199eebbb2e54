#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "media/pipeline/detector.h"
#include "objects/class_registry.h"
#include "objects/log.h"
#include "vision/human_record.h"
#include "vision/people.h"
#include "vision/result_segment.h"

namespace kep::host {
namespace {

/** Detects people and sends their places in each picture: `name=human,count=...`. */
class HumanDetect final : public Detector {
  public:
    ~HumanDetect() override { retire(); }

  protected:
    bool up(State target) override {
        if (target == State::play) {
            const char* const chosen = std::getenv("KEP_HOST_PEOPLE_MODEL");
            const std::string model = chosen ? chosen : "";
            std::string reason;
            finder_ = PeopleFinder::make(model, reason);
            if (!finder_) {
                KEP_HOST_ERROR("KEP_HOST_PEOPLE_MODEL " + model + ": " + reason);
                return false;
            }
        }
        return Detector::up(target);
    }

    void begin() override {
        isSomeoneThere_ = false;
        segment_.open(kHumanSegment);
    }

    void look(const MediaPacket& packet) override {
        try {
            report(finder_->find(*packet.picture->frame), millisecondsOf(*packet.picture));
        } catch (const std::exception& failure) {
            KEP_HOST_ERROR(label() + ": " + failure.what());
        }
    }

  private:
    void report(const std::vector<FoundPerson>& people, std::int64_t time) {
        HumanRecord record{};
        record.count = static_cast<std::uint32_t>(std::min(people.size(), std::size_t{kMaxHumans}));
        record.time = time;
        std::string attributes = "count=" + std::to_string(people.size());
        for (std::size_t i = 0; i < people.size(); ++i) {
            const FoundPerson& person = people[i];
            if (i < kMaxHumans)
                record.people[i] = {person.x, person.y, person.w, person.h, static_cast<float>(person.score)};
            char text[128];
            std::snprintf(text, sizeof text, ",person%zu={x=%d,y=%d,w=%d,h=%d,score=%.2f}", i, person.x,
                          person.y, person.w, person.h, person.score);
            attributes += text;
        }
        segment_.publish(record);
        // Of consecutive pictures without people only the first is reported.
        if (!people.empty() || isSomeoneThere_) tell("human", attributes + ",time=" + std::to_string(time));
        isSomeoneThere_ = !people.empty();
    }

    std::unique_ptr<PeopleFinder> finder_;
    bool isSomeoneThere_ = false;
    ResultSegment<HumanRecord> segment_;
};

const ClassRegistration<HumanDetect> humanDetectRegistration("HumanDetect");

}  // namespace
}  // namespace kep::host
