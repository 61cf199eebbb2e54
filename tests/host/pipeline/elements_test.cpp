#include "pipeline_fixture.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const SteadyTime origin = Clock::now();

/** The stamps of those of `count` pictures at `rate` per second that pass the element. */
std::vector<std::int64_t> passed(const std::string& element, int count, int rate, int jitter = 0) {
    Described chain("type=pipeline,layout={TestSource:name=a+" + element + "+TestSink:name=z}");
    EXPECT_TRUE(chain) << element;
    if (!chain || !chain.play()) return {};
    for (int i = 0; i < count; ++i) {
        const int late = jitter ? i * 7 % jitter : 0;
        chain.child<TestSource>("a").push(videoPacket(
            origin + std::chrono::microseconds(std::int64_t{1'000'000} * i / rate) + milliseconds(late),
            true));
    }
    return chain.child<TestSink>("z").stamps(origin);
}

TEST(Elements, ReadTheirLinkAndTracingFromTheDescription) {
    Described chain(
        "type=pipeline,link=null,dbg=false,layout={TestSource:name=a+TestSink:name=z,dbg=true,link=a}");
    ASSERT_TRUE(chain);
    EXPECT_EQ(*chain.child<ObjectImpl>("z").text("dbg"), "true");
    EXPECT_EQ(*chain.child<ObjectImpl>("a").text("dbg"), "false");
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource:dbg=loud}"),
                HasSubstr("property \"dbg\" of TestSource"));
    const ErrorLines lines;
    EXPECT_FALSE(chain.child<ObjectImpl>("z").SetStr("link", "a"));
    EXPECT_THAT(lines.messages(), ElementsAre("TestSink \"z\" has no property \"link\""));
}

TEST(FrameRateCtrl, PassesItsRateAndAllOfALowerOne) {
    EXPECT_NEAR(static_cast<double>(passed("FrameRateCtrl:fr=1", 300, 30).size()), 10, 1);
    EXPECT_NEAR(static_cast<double>(passed("FrameRateCtrl:fr=15", 300, 30).size()), 150, 1);
    EXPECT_NEAR(static_cast<double>(passed("FrameRateCtrl:fr=25", 300, 30).size()), 250, 2);
    EXPECT_EQ(passed("FrameRateCtrl:fr=30", 300, 30).size(), 300U);
    EXPECT_EQ(passed("FrameRateCtrl:fr=60", 300, 30).size(), 300U);
}

TEST(FrameRateCtrl, PassesAllPicturesOfItsOwnRateDespiteJitter) {
    EXPECT_EQ(passed("FrameRateCtrl:fr=30", 300, 30, 12).size(), 300U);
}

TEST(FrameRateCtrl, PassesEvenlySpacedPictures) {
    const std::vector<std::int64_t> stamps = passed("FrameRateCtrl:fr=10", 90, 30);
    for (std::size_t i = 1; i < stamps.size(); ++i) EXPECT_NEAR(stamps[i] - stamps[i - 1], 100, 2);
}

TEST(FrameRateCtrl, PassesSoundAndRefusesInvalidRates) {
    Described chain("type=pipeline,layout={TestSource:name=a+FrameRateCtrl:fr=1+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    for (int i = 0; i < 10; ++i) chain.child<TestSource>("a").push(audioPacket(origin + milliseconds(i)));
    EXPECT_EQ(chain.child<TestSink>("z").packets().size(), 10U);
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource+FrameRateCtrl:name=frc,fr=0}"),
                HasSubstr("FrameRateCtrl \"frc\": fr=0 is not from 1 to 1000"));
}

TEST(FrameDroper, DropsItsShareEvenly) {
    EXPECT_EQ(passed("FrameDroper:dr=0/30", 300, 30).size(), 300U);
    EXPECT_EQ(passed("FrameDroper:dr=-30/30", 300, 30).size(), 300U);
    EXPECT_EQ(passed("FrameDroper:dr=29/30", 300, 30).size(), 10U);
    EXPECT_EQ(passed("FrameDroper:dr=5/30", 300, 30).size(), 250U);
    EXPECT_THAT(passed("FrameDroper:dr=15/30", 10, 1000), ElementsAre(0, 2, 4, 6, 8));
    EXPECT_THAT(passed("FrameDroper:dr=20/30", 9, 1000), ElementsAre(0, 3, 6));
}

TEST(FrameDroper, RefusesInvalidShares) {
    for (const char* ratio : {"30/30", "31/30", "1/0", "1", "/", "a/b", "1/2/3", "1/2 "}) {
        EXPECT_THAT(
            refusalOf(std::string("type=pipeline,layout={TestSource+FrameDroper:name=d,dr={") + ratio + "}}"),
            HasSubstr("FrameDroper \"d\": dr="))
            << ratio;
    }
}

TEST(FakeSink, CountsPacketsAndPacesThemWhenLive) {
    for (const bool live : {false, true}) {
        Described chain(std::string("type=pipeline,layout={TestSource:name=a+FakeSink:name=z,live=") +
                        (live ? "true}" : "false}"));
        ASSERT_TRUE(chain);
        ASSERT_TRUE(chain.play());
        const SteadyTime due = Clock::now() + milliseconds(50);
        chain.child<TestSource>("a").push(videoPacket(due, true));
        if (live) {
            EXPECT_GE(Clock::now(), due);
        }
        EXPECT_EQ(*chain.child<ObjectImpl>("z").text("count"), "1");
    }
}

TEST(FakeSink, DoesNotBlockAStop) {
    Described chain("type=pipeline,layout={TestSource:name=a+FakeSink:name=z,live=true}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    std::thread pusher([&] {
        for (int i = 0; i < 1000; ++i)
            chain.child<TestSource>("a").push(videoPacket(Clock::now() + std::chrono::hours(1), true));
    });
    ASSERT_TRUE(chain.stop());
    pusher.join();
    EXPECT_EQ(*chain.child<ObjectImpl>("z").text("count"), "1000");
}

TEST(Messages, TravelFromTheElementThroughThePipelineToTheApplication) {
    Described app(
        "type=application,layout={type=pipeline,layout={TestSource:name=a+FifoFilter:max=1,leaky=true"
        "+TestSink:name=z}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    app.child<TestSource>("a").push(videoPacket(origin, false));
    EXPECT_EQ(app.waitForMessage("name=frameLost"), "name=frameLost,media=video,lost=1,total=1");
    app.child<TestSource>("a").push(videoPacket(origin, false));
    EXPECT_EQ(app.waitForMessage("name=frameLost", "total=2"), "name=frameLost,media=video,lost=1,total=2");
}

}  // namespace
}  // namespace kep::host
