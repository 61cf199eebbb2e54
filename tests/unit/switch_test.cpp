#include <chrono>

#include "fixture.h"

namespace unit {
namespace {

const char up[] = "IStreamControl::ChangeUp(play)";
const char down[] = "IStreamControl::ChangeDown(null)";

class SwitchTest : public PluginTest {
  protected:
    /** Calls it, and takes the times off its timing lines. */
    int call(int id) {
        const std::int64_t before = now();
        const int result = VNSwitchResolution(id, 1280, 720);
        const std::int64_t after = now();
        events = happened();
        const std::string beginning = line(12, green, control, "VNSwitchResolution", "");
        std::int64_t last = before;
        for (std::string& event : events) {
            if (event.compare(0, beginning.size(), beginning) != 0) continue;
            const std::size_t end = event.find_first_not_of("0123456789", beginning.size());
            const std::int64_t time = std::stoll(event.substr(beginning.size(), end - beginning.size()));
            EXPECT_GE(time, last);
            EXPECT_LE(time, after);
            last = time;
            event = "timing " + event.substr(end);
        }
        return result;
    }

    Events sizeTraces(int id) {
        return {trace("VNSetResolution", std::to_string(id) + ",1280,720"),
                trace("VNSetResolution", shownHandle(id) + ",1280,720")};
    }

    static std::int64_t now() {
        using std::chrono::nanoseconds;
        return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count() /
               1000000;
    }

    Events events;
};

TEST_F(SwitchTest, StopsSetsTheSizeAndStarts) {
    auto* const object = new Stream<ControlPart, VideoPart>;
    const int id = handleOf(object);
    const std::string text = std::to_string(id);
    EXPECT_EQ(call(id), VNRES_SUCCEED);
    const Events sizes = sizeTraces(id);
    EXPECT_EQ(events, (Events{"timing ms1280,720", trace("VNStop", text), down, sizes[0], sizes[1],
                              "IVideo::SetWidth(1280)", "IVideo::SetHeight(720)", trace("VNStart", text), up,
                              "timing ms"}));
    EXPECT_EQ(object->state, kep::State::play);
}

TEST_F(SwitchTest, EndsWhenTheStopFails) {
    const int id = handleOf(new Stream<ControlPart, VideoPart>);
    script.refuse("IStreamControl::ChangeDown");
    EXPECT_EQ(call(id), VNRES_INVALID_ARG);
    EXPECT_EQ(events, (Events{"timing ms1280,720", trace("VNStop", std::to_string(id)), down,
                              error("VNStop", "!ctl->ChangeDown(State::null)"),
                              error("VNSwitchResolution", "VNRES_SUCCEED!=VNStop(id)")}));
}

TEST_F(SwitchTest, EndsWhenTheObjectCannotBeStopped) {
    const int id = handleOf(new Stream<VideoPart>);
    EXPECT_EQ(call(id), VNRES_INVALID_ARG);
    EXPECT_EQ(events, (Events{"timing ms1280,720", trace("VNStop", std::to_string(id)),
                              error("VNSwitchResolution", "VNRES_SUCCEED!=VNStop(id)")}));
}

TEST_F(SwitchTest, LeavesWhatIsNotVideoStopped) {
    auto* const object = new Stream<ControlPart, AudioPart>;
    object->state = kep::State::play;
    const int id = handleOf(object);
    EXPECT_EQ(call(id), VNRES_INVALID_ARG);
    const Events sizes = sizeTraces(id);
    EXPECT_EQ(events,
              (Events{"timing ms1280,720", trace("VNStop", std::to_string(id)), down, sizes[0], sizes[1],
                      error("VNSetResolution", "!video,this id is not a Video Device!" + shownHandle(id)),
                      error("VNSwitchResolution", "VNRES_SUCCEED!=VNSetResolution(id,width,height)")}));
    EXPECT_EQ(object->state, kep::State::null);
}

TEST_F(SwitchTest, LeavesTheStreamStoppedInItsNewSizeWhenTheStartFails) {
    auto* const object = new Stream<ControlPart, VideoPart>;
    const int id = handleOf(object);
    const std::string text = std::to_string(id);
    script.refuse("IStreamControl::ChangeUp");
    EXPECT_EQ(call(id), VNRES_INVALID_ARG);
    const Events sizes = sizeTraces(id);
    EXPECT_EQ(events, (Events{"timing ms1280,720", trace("VNStop", text), down, sizes[0], sizes[1],
                              "IVideo::SetWidth(1280)", "IVideo::SetHeight(720)", trace("VNStart", text), up,
                              error("VNStart", "!ctl->ChangeUp(State::play)"),
                              error("VNSwitchResolution", "VNRES_SUCCEED!=VNStart(id)")}));
    EXPECT_EQ(object->state, kep::State::null);
}

TEST_F(SwitchTest, RefusesNoHandleBehindItsTimingLine) {
    EXPECT_EQ(call(0), VNRES_INVALID_ARG);
    EXPECT_EQ(events, (Events{"timing ms1280,720", error("VNSwitchResolution", "!id")}));
}

}  // namespace
}  // namespace unit
