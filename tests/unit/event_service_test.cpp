#include <cstdlib>
#include <ctime>

#include "clocks.h"
#include "fixture.h"
#include "standard_output.h"

namespace unit {
namespace {

std::string said(const std::string& function, const std::string& text) {
    return StandardOutput::line("api/vornisa_event_service_trigger.cpp", function, text);
}

class EventServiceTest : public PluginTest {
  protected:
    ~EventServiceTest() override { resetTimeOfDay(); }

    /** The events, with the value of "tp" replaced by N after checking that it lies within this test. */
    Events happenedWithTime() {
        Events events = happened();
        for (std::string& event : events) {
            const auto begin = event.find("tp=") + 3;
            if (begin == std::string::npos + 3) continue;
            const std::string digits = event.substr(begin, event.find("ms", begin) - begin);
            EXPECT_TRUE(interval_.contains(digits, 1000000)) << digits;
            event.replace(begin, digits.size(), "N");
        }
        return events;
    }

    static void setLocalTime(const char* zone, int year, int month, int day, int hour, int minute, int second,
                             int hoursBehindUniversal) {
        setenv("TZ", zone, 1);
        std::tm time = {};
        time.tm_year = year - 1900;
        time.tm_mon = month - 1;
        time.tm_mday = day;
        time.tm_hour = hour + hoursBehindUniversal;
        time.tm_min = minute;
        time.tm_sec = second;
        setTimeOfDay(timegm(&time));
    }

  private:
    StandardOutput output_;
    SteadyInterval interval_;
};

TEST_F(EventServiceTest, SendsTheTrigger) {
    const int id = handleOf(new PlainObject);
    EXPECT_EQ(VNRecordEventServiceTrigger(id, "file:///a.mp4", 5, 10), VNRES_SUCCEED);
    EXPECT_EQ(happenedWithTime(),
              (Events{"IAttributes::fromString('trigger={pre=5s,post=10s,tp=Nms,url=file:///a.mp4}')"}));
}

TEST_F(EventServiceTest, ForwardsNegativeSeconds) {
    const int id = handleOf(new PlainObject);
    EXPECT_EQ(VNRecordEventServiceTrigger(id, "file:///a.mp4", -2147483647 - 1, -1), VNRES_SUCCEED);
    EXPECT_EQ(
        happenedWithTime(),
        (Events{"IAttributes::fromString('trigger={pre=-2147483648s,post=-1s,tp=Nms,url=file:///a.mp4}')"}));
}

TEST_F(EventServiceTest, RefusesHandleZero) {
    EXPECT_EQ(VNRecordEventServiceTrigger(0, nullptr, 5, 10), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{said("VNRecordEventServiceTrigger", "!id")}));
}

TEST_F(EventServiceTest, NamesTheFileByTheLocalTime) {
    const int id = handleOf(new PlainObject);
    setLocalTime("HOME5", 2024, 3, 5, 7, 8, 9, 5);
    EXPECT_EQ(VNRecordEventServiceTrigger(id, nullptr, 5, 10), VNRES_SUCCEED);
    EXPECT_EQ(happenedWithTime(), (Events{said("createFileName", "file://EVT_2024-03-05_07-08-09.mp4"),
                                          "IAttributes::fromString('trigger={pre=5s,post=10s,tp=Nms,"
                                          "url=file://EVT_2024-03-05_07-08-09.mp4}')"}));
}

TEST_F(EventServiceTest, FollowsAChangeOfTheTimeZone) {
    const int id = handleOf(new PlainObject);
    setLocalTime("HOME5", 2031, 12, 31, 23, 59, 58, 5);
    VNRecordEventServiceTrigger(id, nullptr, 5, 10);
    EXPECT_EQ(happened()[0], said("createFileName", "file://EVT_2031-12-31_23-59-58.mp4"));
    setLocalTime("AWAY-9", 2031, 12, 31, 23, 59, 58, -9);
    VNRecordEventServiceTrigger(id, nullptr, 5, 10);
    EXPECT_EQ(happened()[0], said("createFileName", "file://EVT_2031-12-31_23-59-58.mp4"));
}

TEST_F(EventServiceTest, AcceptsAUrlOfAnyLength) {
    const int id = handleOf(new PlainObject);
    const std::string url = "file:///" + std::string(100000, 'u') + "#%s";
    EXPECT_EQ(VNRecordEventServiceTrigger(id, url.c_str(), 5, 10), VNRES_SUCCEED);
    EXPECT_EQ(happenedWithTime(),
              (Events{"IAttributes::fromString('trigger={pre=5s,post=10s,tp=Nms,url=" + url + "}')"}));
}

// A refusal of the trigger by the service is not reported.
TEST_F(EventServiceTest, SucceedsWhenTheServiceRefusesTheTrigger) {
    const int id = handleOf(new PlainObject);
    script.refuse("IAttributes::fromString");
    EXPECT_EQ(VNRecordEventServiceTrigger(id, "file:///a.mp4", 5, 10), VNRES_SUCCEED);
    EXPECT_EQ(happened().size(), 1u);
}

TEST_F(EventServiceTest, ReturnsTheRefusalOfAnObjectWithoutAttributes) {
    const int id = handleOf(new Stream<ControlPart>);
    EXPECT_EQ(VNRecordEventServiceTrigger(id, "file:///a.mp4", 5, 10), VNRES_WRONG_DEVICE);
    EXPECT_EQ(happened(), (Events{error("VNSetParams", "!obj0,this id is not an object!")}));
}

}  // namespace
}  // namespace unit
