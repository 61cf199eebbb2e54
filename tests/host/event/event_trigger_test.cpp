#include "event_fixture.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string oneShot(const std::string& attributes) {
    return "type=application,layout={type=pipeline,serialize={TestSource:name=in+RecordEventTrigger:name="
           "evt," +
           attributes + "delApp=false,dbg=false+TestClips:name=clips}}";
}

std::string nowText() {
    return std::to_string(Clock::now().time_since_epoch() / milliseconds(1)) + "ms";
}

TEST(EventTriggerTest, ItsClipBeginsInTheBufferedPast) {
    // The event time precedes the first packet received, which is an old one.
    Described app(oneShot("pre=3s,post=2s,tp=" + nowText() + ","));
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    SyntheticStream stream(app.child<TestSource>("in"));
    stream.run(30'000);
    TestClips& clips = app.child<TestClips>("clips");
    ASSERT_TRUE(clips.waitForFinished(1));
    const auto clip = clips.clips().front();
    EXPECT_EQ(clip.url, "");
    const SteadyTime origin = stream.given().front()->stamp;
    // The stream begins 20 s before its creation, which was moments after the event time.
    EXPECT_LE(clip.packets.front()->stamp - origin, seconds(17));
    EXPECT_GT(clip.packets.front()->stamp - origin, seconds(15));
    EXPECT_TRUE(clip.packets.front()->isVideo());
    EXPECT_TRUE(clip.packets.front()->key);
    EXPECT_EQ(clip.packets.back(), clipOf(stream.given(), origin, clip.packets.back()->stamp).back());
    EXPECT_GE(clip.packets.back()->stamp - clip.packets.front()->stamp, milliseconds(4'940));
    EXPECT_LE(clip.packets.back()->stamp - clip.packets.front()->stamp, milliseconds(6'000));
}

TEST(EventTriggerTest, StoppedAtOnceItKeepsThePacketsReceived) {
    Described app(oneShot("pre=3s,post=7s,tp=" + nowText() + ","));
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    SyntheticStream stream(app.child<TestSource>("in"));
    stream.run(20'000);
    ASSERT_TRUE(app.stop());
    const auto clips = app.child<TestClips>("clips").clips();
    ASSERT_EQ(clips.size(), 1U);
    EXPECT_TRUE(clips.front().finished);
    EXPECT_EQ(clips.front().packets.back(), stream.given().back());
}

TEST(EventTriggerTest, StoppedBeforeTheFirstPacketItReportsAFailedClip) {
    Described app(oneShot("tp=" + nowText() + ","));
    ASSERT_TRUE(app);
    const ErrorLines lines;
    ASSERT_TRUE(app.play());
    ASSERT_TRUE(app.stop());
    EXPECT_THAT(app.child<TestClips>("clips").clips(), IsEmpty());
    EXPECT_EQ(app.waitForMessage("name=recordStop"),
              "name=recordStop,failed=true,reason=no picture received");
    ASSERT_NE(app.waitForMessage("name=stopped"), "");
    EXPECT_THAT(app.messages("name=failed"), IsEmpty());
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("no picture received")));
}

/** A way in which a clip fails. */
struct Failure {
    const char* name;
    void (*arrange)(TestClips&);
};

void PrintTo(const Failure& failure, std::ostream* out) {
    *out << failure.name;
}

class EventFailureTest : public testing::TestWithParam<Failure> {};

TEST_P(EventFailureTest, IsReportedOnceByTheMessageThatCallersAwait) {
    Described app(oneShot("pre=1s,post=1s,tp=" + nowText() + ","));
    ASSERT_TRUE(app);
    GetParam().arrange(app.child<TestClips>("clips"));
    ASSERT_TRUE(app.play());
    SyntheticStream(app.child<TestSource>("in")).run(25'000);
    EXPECT_THAT(app.waitForMessage("name=recordStop"), HasSubstr("name=recordStop,failed=true,reason=it "));
    ASSERT_TRUE(app.stop());
    ASSERT_NE(app.waitForMessage("name=stopped"), "");
    EXPECT_EQ(app.messages("name=recordStop").size(), 1U);
    EXPECT_THAT(app.messages("name=failed"), IsEmpty());
}

constexpr Failure kFailures[] = {
    {"NotBegun", [](TestClips& clips) { clips.refuse(""); }},
    {"NotWritten", [](TestClips& clips) { clips.failAfter("", 10); }},
    {"NotFinished", [](TestClips& clips) { clips.failFinish(""); }},
};
INSTANTIATE_TEST_SUITE_P(Clips, EventFailureTest, testing::ValuesIn(kFailures),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(EventTriggerTest, ItReadsItsTimesAndRefusesWrongOnes) {
    Described app(oneShot("pre=3s,post=2m,tp=5ms,"));
    ASSERT_TRUE(app);
    EXPECT_EQ(*app.child<ObjectImpl>("evt").text("pre"), "3000ms");
    EXPECT_EQ(*app.child<ObjectImpl>("evt").text("post"), "120000ms");
    EXPECT_THAT(refusalOf(oneShot("pre=-3s,tp=5ms,")), HasSubstr("pre=-3s is negative"));
    EXPECT_THAT(refusalOf(oneShot("post=7,tp=5ms,")), HasSubstr("post=7 is not a valid time"));
    EXPECT_THAT(refusalOf(oneShot("tp=yesterday,")), HasSubstr("tp=yesterday is not a valid time"));
    EXPECT_THAT(refusalOf(oneShot("tp=999999999s,")), HasSubstr("s ahead of the monotonic clock"));
    Described timeless(oneShot(""));
    ASSERT_TRUE(timeless);
    const ErrorLines lines;
    EXPECT_FALSE(timeless.play());
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("\"evt\": tp, the time of the event, is not set")));
}

}  // namespace
}  // namespace kep::host
