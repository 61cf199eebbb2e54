#include "media/pipeline/outlet.h"
#include "objects/text_message.h"
#include "pipeline_fixture.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const SteadyTime origin = Clock::now();

std::string reader(const std::string& name) {
    return "type=application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,name=" + name +
           "},name=src+TestSink:name=z}}";
}

/** A pipeline with this name in its own application. */
std::string giver(const std::string& name, const std::string& attributes = "") {
    return "type=application,layout={type=pipeline,name=" + name + attributes +
           ",layout={TestSource:name=a}}";
}

TEST(ShmSource, ListensToANamedPipelineOfAnotherApplication) {
    Described given(giver("plGiven"));
    ASSERT_TRUE(given);
    ASSERT_TRUE(given.play());
    Described first(reader("PLGIVEN"));
    Described second(reader("plGiven"));
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(first.play());
    ASSERT_TRUE(second.play());
    for (int i = 0; i < 200; ++i)
        given.child<TestSource>("a").push(videoPacket(origin + milliseconds(i), i % 10 == 0));
    for (Described* app : {&first, &second}) {
        ASSERT_TRUE(app->child<TestSink>("z").waitFor(200));
        const std::vector<std::int64_t> stamps = app->child<TestSink>("z").stamps(origin);
        for (std::size_t i = 0; i < stamps.size(); ++i) ASSERT_EQ(stamps[i], static_cast<std::int64_t>(i));
    }
}

TEST(ShmSource, BeginsWithAKeyFrameAndDrainsOnTheWayDown) {
    Described given(giver("plGiven"));
    Described reading(reader("plGiven"));
    ASSERT_TRUE(given && reading);
    ASSERT_TRUE(given.play());
    ASSERT_TRUE(reading.play());
    TestSink& sink = reading.child<TestSink>("z");
    sink.setOpen(false);
    for (int i = 0; i < 30; ++i)
        given.child<TestSource>("a").push(videoPacket(origin + milliseconds(i), i % 10 == 4));
    std::thread stopper([&] { reading.stop(); });
    sink.setOpen(true);
    stopper.join();
    EXPECT_EQ(sink.packets().size(), 26U);
    EXPECT_EQ(sink.stamps(origin).front(), 4);
    given.child<TestSource>("a").push(videoPacket(origin, true));
    EXPECT_EQ(sink.packets().size(), 26U);
}

TEST(ShmSource, HasNoThreadBeforeANonBlockingElement) {
    for (const bool atOnce : {true, false}) {
        Described given(giver("plGiven", ",past=1000"));
        Described reading(reader("plGiven"));
        ASSERT_TRUE(given && reading);
        ASSERT_TRUE(given.play());
        // The thread that attaches delivers the buffered packets.
        for (int i = 0; i < 10; ++i)
            given.child<TestSource>("a").push(videoPacket(origin + milliseconds(i), i == 0));
        TestSink& sink = reading.child<TestSink>("z");
        sink.setAtOnce(atOnce);
        ASSERT_TRUE(reading.play());
        ASSERT_TRUE(sink.waitFor(10));
        EXPECT_EQ(sink.thread() == std::this_thread::get_id(), atOnce);
        given.child<TestSource>("a").push(videoPacket(origin + milliseconds(10), true));
        ASSERT_TRUE(sink.waitFor(11));
        EXPECT_EQ(sink.thread() == std::this_thread::get_id(), atOnce);
        const std::vector<std::int64_t> stamps = sink.stamps(origin);
        EXPECT_TRUE(std::is_sorted(stamps.begin(), stamps.end()));
    }
}

TEST(ShmSource, APipelineCannotListenToItself) {
    Described loop(giver("plGiven"));
    ASSERT_TRUE(loop);
    auto& pipeline = loop.child<ObjectImpl>("plGiven");
    base::AttrSet again;
    ASSERT_TRUE(again.Parse("layout={ShmSource:connect={type=pipeline,name=plGiven},name=src}"));
    ASSERT_TRUE(pipeline.Configure(again));
    const ErrorLines lines;
    EXPECT_FALSE(loop.play());
    ASSERT_FALSE(lines.messages().empty());
    EXPECT_THAT(lines.messages().front(), HasSubstr("pipeline \"plGiven\" cannot listen to itself"));
}

TEST(ShmSource, ASlowListenerLosesItsOwnGroupsAndDelaysNoOther) {
    Described given(giver("plGiven"));
    Described slow(reader("plGiven"));
    Described quick(reader("plGiven"));
    ASSERT_TRUE(given && slow && quick);
    ASSERT_TRUE(given.play() && slow.play() && quick.play());
    slow.child<TestSink>("z").setOpen(false);
    constexpr int count = 600;
    constexpr int bytes = 100'000;
    for (int i = 0; i < count; ++i) {
        given.child<TestSource>("a").push(videoPacket(origin + milliseconds(i), i % 10 == 0, bytes));
        ASSERT_TRUE(quick.child<TestSink>("z").waitFor(static_cast<std::size_t>(i) + 1));
    }
    slow.child<TestSink>("z").setOpen(true);
    slow.stop();
    const std::vector<std::int64_t> stamps = slow.child<TestSink>("z").stamps(origin);
    EXPECT_LE(stamps.size(), Inlet::kMostBytes / bytes + 1);
    EXPECT_NE(
        slow.waitForMessage("name=frameLost,media=video", ",total=" + std::to_string(count - stamps.size())),
        "");
    for (std::size_t i = 1; i < stamps.size(); ++i) {
        if (stamps[i] != stamps[i - 1] + 1) {
            EXPECT_EQ(stamps[i] % 10, 0);
        }
    }
}

TEST(ShmSource, RunsAPipelineOfItsOwn) {
    Described app(
        "type=application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,layout={TestSource:"
        "name=a"
        "+TestWitness:name=w+FifoSink:max=2},name=plOwn},name=src+FifoFilter:max=8+TestSink:name=z}}");
    ASSERT_TRUE(app);
    TestWitness::events.clear();
    ASSERT_TRUE(app.play());
    EXPECT_THAT(TestWitness::events, ElementsAre("w up to ready", "w up to play"));
    for (int i = 0; i < 300; ++i)
        app.child<TestSource>("a").push(videoPacket(origin + milliseconds(i), i % 10 == 0));
    ASSERT_TRUE(app.stop());
    EXPECT_EQ(app.child<TestSink>("z").packets().size(), 300U) << "packets left in a queue";
    // Others can find it by its name.
    const Described other(reader("plOwn"));
    EXPECT_TRUE(other);
}

TEST(ShmSource, GetsTheBufferedPastOfAPipeline) {
    Described given(giver("plPast", ",past=100"));
    ASSERT_TRUE(given);
    ASSERT_TRUE(given.play());
    for (int i = 0; i < 1000; i += 10)
        given.child<TestSource>("a").push(videoPacket(origin + milliseconds(i), i % 50 == 0));
    Described reading(reader("plPast"));
    ASSERT_TRUE(reading);
    ASSERT_TRUE(reading.play());
    given.child<TestSource>("a").push(videoPacket(origin + milliseconds(1000), true));
    reading.stop();
    const std::vector<std::int64_t> stamps = reading.child<TestSink>("z").stamps(origin);
    // From the last key frame that is at least a tenth of a second old up to the present, without a gap.
    EXPECT_EQ(stamps.front(), 850);
    EXPECT_EQ(stamps.back(), 1000);
    EXPECT_EQ(stamps.size(), 16U);
}

TEST(ShmSource, StartsAPipelineOnDemandAndStopsItAfterTheLastListener) {
    Described given(
        "type=application,layout={type=pipeline,name=plDemand,ondemand=true,layout={TestSource:name=a"
        "+TestWitness:name=w}}");
    Described first(reader("plDemand"));
    Described second(reader("plDemand"));
    ASSERT_TRUE(given && first && second);
    TestWitness& witness = given.child<TestWitness>("w");
    EXPECT_FALSE(witness.StatusIsPlay());
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(first.play());
        ASSERT_TRUE(second.play());
        EXPECT_TRUE(witness.StatusIsPlay());
        first.stop();
        EXPECT_TRUE(witness.StatusIsPlay());
        second.stop();
        EXPECT_FALSE(witness.StatusIsPlay());
    }
}

TEST(ShmSource, AttachesAndDetachesWhileTheOtherRuns) {
    Described given(giver("plGiven"));
    ASSERT_TRUE(given);
    ASSERT_TRUE(given.play());
    std::atomic<bool> enough{false};
    std::thread pusher([&] {
        for (int i = 0; !enough; ++i)
            given.child<TestSource>("a").push(videoPacket(origin + milliseconds(i), i % 5 == 0));
    });
    for (int round = 0; round < 20; ++round) {
        Described reading(reader("plGiven"));
        ASSERT_TRUE(reading);
        ASSERT_TRUE(reading.play());
        ASSERT_TRUE(reading.child<TestSink>("z").waitFor(20));
    }
    enough = true;
    pusher.join();
}

TEST(ShmSource, IsNotifiedWhenThePipelineEnds) {
    Described given(giver("plGoes"));
    Described reading(reader("plGoes"));
    ASSERT_TRUE(given && reading);
    ASSERT_TRUE(given.play() && reading.play());
    given.reset();
    EXPECT_EQ(reading.waitForMessage("name=pipelineLost"), "name=pipelineLost,pipeline=plGoes");
    ASSERT_TRUE(reading.stop());
    const ErrorLines lines;
    EXPECT_FALSE(reading.play());
    EXPECT_THAT(lines.messages(),
                ElementsAre(HasSubstr("ShmSource \"src\": there is no pipeline \"plGoes\"")));
}

/** Makes the element "a" below `giver` send the message, and expects it once through `reading`. */
void expectToHear(Described& giver, Described& reading) {
    TextMessage message("name=deviceLost,media=audio");
    giver.child<ObjectImpl>("a").sendMessage(message);
    TextMessage last("name=last");
    reading->sendMessage(last);
    ASSERT_NE(reading.waitForMessage("name=last"), "");
    EXPECT_THAT(reading.messages("name=deviceLost"), ElementsAre("name=deviceLost,media=audio"));
}

TEST(ShmSource, GetsTheMessagesOfAPipelineWithoutOwner) {
    Described given("type=pipeline,name=plGiven,layout={TestSource:name=a}");
    Described reading(reader("plGiven"));
    ASSERT_TRUE(given && reading);
    ASSERT_TRUE(given.play() && reading.play());
    expectToHear(given, reading);
}

TEST(ShmSource, ForwardsMessagesOfItsOwnPipelineOnce) {
    Described reading(
        "type=application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,name=plOwn,layout={"
        "TestSource:name=a}}+TestSink}}");
    ASSERT_TRUE(reading);
    ASSERT_TRUE(reading.play());
    expectToHear(reading, reading);
}

TEST(ShmSource, RefusesInvalidConnections) {
    EXPECT_THAT(refusalOf(reader("plNowhere")),
                HasSubstr("ShmSource \"src\": there is no pipeline \"plNowhere\" at position "));
    EXPECT_THAT(
        refusalOf("type=pipeline,layout={ShmSource:name=s,connect={type=application,name=x}}"),
        HasSubstr(
            "ShmSource \"s\": connect={type=application,name=x} does not describe a pipeline at position "));
    EXPECT_THAT(
        refusalOf(
            "type=pipeline,layout={ShmSource:name=s,connect={type=pipeline,layout={Nonsense:a=b},name=x}}"),
        HasSubstr("unknown class Nonsense at position 71 of"));
    EXPECT_THAT(refusalOf("type=pipeline,layout={ShmSource:name=s,connect={type=pipeline,name}}"),
                HasSubstr("name"));
    Described unconnected("type=pipeline,layout={ShmSource:name=s}");
    ASSERT_TRUE(unconnected);
    const ErrorLines lines;
    EXPECT_FALSE(unconnected.play());
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("ShmSource \"s\": there is no pipeline \"\"")));
}

}  // namespace
}  // namespace kep::host
