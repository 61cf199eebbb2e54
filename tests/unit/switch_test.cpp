#include <thread>

#include "clocks.h"
#include "fixture.h"

namespace unit {
namespace {

const char up[] = "IStreamControl::ChangeUp(play)";
const char down[] = "IStreamControl::ChangeDown(null)";

class SwitchTest : public PluginTest {
  protected:
    /** Calls VNSwitchResolution, and moves the times of its timing lines to `times`. */
    int call(int id) {
        times.clear();
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
            times.push_back(time);
            event = "timing " + event.substr(end);
        }
        return result;
    }

    Events sizeTraces(int id) {
        return {trace("VNSetResolution", std::to_string(id) + ",1280,720"),
                trace("VNSetResolution", shownHandle(id) + ",1280,720")};
    }

    static std::int64_t now() { return scripted::steadyTime() / 1000000; }

    Events events;
    std::vector<std::int64_t> times;
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

/** Takes two milliseconds to stop and two to start, by the clock that the timing lines show. */
class SlowStream : public Stream<ControlPart, VideoPart> {
  public:
    bool ChangeDown(kep::State target) override {
        stopping = takeTime();
        return Stream::ChangeDown(target);
    }
    bool ChangeUp(kep::State target) override {
        started = takeTime() + 2;
        return Stream::ChangeUp(target);
    }
    std::int64_t stopping = 0; /**< before the stop */
    std::int64_t started = 0;  /**< at the end of the start, or earlier */

  private:
    static std::int64_t takeTime() {
        const std::int64_t begin = scripted::steadyTime() / 1000000;
        while (scripted::steadyTime() / 1000000 < begin + 2) std::this_thread::yield();
        return begin;
    }
};

TEST_F(SwitchTest, TheTimesAreThoseOfItsBeginningAndItsEnd) {
    auto* const object = new SlowStream;
    EXPECT_EQ(call(handleOf(object)), VNRES_SUCCEED);
    ASSERT_EQ(times.size(), 2u);
    EXPECT_LE(times[0], object->stopping);
    EXPECT_GE(times[1], object->started);
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

TEST_F(SwitchTest, LeavesAnObjectWithoutVideoStopped) {
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

TEST_F(SwitchTest, RefusesHandleZeroAfterItsTimingLine) {
    EXPECT_EQ(call(0), VNRES_INVALID_ARG);
    EXPECT_EQ(events, (Events{"timing ms1280,720", error("VNSwitchResolution", "!id")}));
}

}  // namespace
}  // namespace unit
