#include <atomic>

#include "pipeline_fixture.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SyncTest : public testing::Test {
  protected:
    explicit SyncTest(int wait = 10'000)
        : app_(
              "type=application,layout={type=pipeline,layout={TestSource:name=a+TestSource:name=v,link=null"
              "+Sync:name=sync,link={a,v},wait=" +
              std::to_string(wait) + "+TestSink:name=z}}") {}

    void SetUp() override {
        ASSERT_TRUE(app_);
        ASSERT_TRUE(app_.play());
    }

    void sound(int at) { app_.child<TestSource>("a").push(audioPacket(origin_ + milliseconds(at))); }
    void picture(int at, bool key = true) {
        app_.child<TestSource>("v").push(videoPacket(origin_ + milliseconds(at), key));
    }
    TestSink& sink() { return app_.child<TestSink>("z"); }

    Described app_;
    const SteadyTime origin_ = Clock::now() - std::chrono::seconds(30);
};

/** With a wait that is over at once. */
class ShortWaitSyncTest : public SyncTest {
  protected:
    ShortWaitSyncTest() : SyncTest(1) {}
};

TEST_F(SyncTest, MergesBothInTimeStampOrder) {
    std::thread voices([this] {
        for (int i = 0; i < 300; ++i) sound(i * 21);
    });
    for (int i = 0; i < 190; ++i) picture(i * 33, i % 15 == 0);
    voices.join();
    app_.stop();
    const std::vector<std::int64_t> stamps = sink().stamps(origin_);
    EXPECT_EQ(stamps.size(), 490U);
    EXPECT_TRUE(std::is_sorted(stamps.begin(), stamps.end()));
}

/** With a wait longer than any test. */
class LongWaitSyncTest : public SyncTest {
  protected:
    LongWaitSyncTest() : SyncTest(60'000) {}
};

TEST_F(LongWaitSyncTest, DeliversAPacketOnceTheOtherStreamHasPassedIt) {
    picture(0);
    for (int i = 1; i < 40; ++i) {
        if (i % 2) {
            sound(i * 10);
        } else {
            picture(i * 10);
        }
        ASSERT_TRUE(sink().waitFor(static_cast<std::size_t>(i))) << i;
    }
}

TEST_F(ShortWaitSyncTest, DeliversALonePacketAfterATimeout) {
    for (int i = 0; i < 20; ++i) {
        picture(i * 33);
        ASSERT_TRUE(sink().waitFor(static_cast<std::size_t>(i) + 1)) << i;
    }
}

TEST_F(LongWaitSyncTest, RequestsKeyFramesInTheCamerasTime) {
    picture(0);
    sound(10);
    sink().requestKeyFrame(origin_ + milliseconds(2'000));
    // The camera's clock jumps back by ten seconds.
    picture(-9'960);
    sound(60);
    ASSERT_TRUE(sink().waitFor(2));
    sink().requestKeyFrame(origin_ + milliseconds(2'000));
    const auto asked = app_.child<TestSource>("v").keyFrameRequests();
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[0], origin_ + milliseconds(2'000));
    EXPECT_LE(asked[1], origin_ + milliseconds(-7'900));
}

TEST_F(SyncTest, BeginsWithTheFirstKeyFrame) {
    for (int i = 0; i < 10; ++i) sound(i * 20);
    picture(50, false);
    picture(90, true);
    picture(130, false);
    app_.stop();
    EXPECT_THAT(sink().stamps(origin_), ElementsAre(90, 100, 120, 130, 140, 160, 180));
    EXPECT_TRUE(sink().packets().front()->isVideo());
}

TEST_F(SyncTest, DeliversNothingBeforeAPicture) {
    for (int i = 0; i < 2000; ++i) sound(i * 10);
    app_.stop();
    EXPECT_THAT(sink().packets(), IsEmpty());
}

TEST_F(LongWaitSyncTest, BoundsItsQueueWhileTheOtherStreamIsSilent) {
    const SharedPacket heavy = videoPacket(origin_, true, 10 << 20);
    for (int i = 0; i < 10; ++i) {
        auto packet = std::make_shared<MediaPacket>(*heavy);
        packet->stamp = origin_ + milliseconds(i * 33);
        app_.child<TestSource>("v").push(packet);
    }
    // Six packets fit.
    EXPECT_EQ(sink().packets().size(), 4U);
    for (int i = 10; i < 5'000; ++i) picture(i * 33);
    EXPECT_EQ(sink().packets().size(), 5'000U - 4'095U);
}

TEST_F(ShortWaitSyncTest, ASilentMicrophoneDelaysNothing) {
    for (int i = 0; i < 20; ++i) picture(i * 33);
    EXPECT_TRUE(sink().waitFor(20));
}

TEST_F(ShortWaitSyncTest, ReturningSoundKeepsItsTime) {
    for (int i = 0; i < 20; ++i) picture(i * 33);
    ASSERT_TRUE(sink().waitFor(20));
    sound(700);
    picture(710);
    sound(720);
    ASSERT_TRUE(sink().waitFor(23));
    app_.stop();
    const std::vector<std::int64_t> stamps = sink().stamps(origin_);
    EXPECT_THAT(std::vector(stamps.end() - 3, stamps.end()), ElementsAre(700, 710, 720));
}

TEST_F(ShortWaitSyncTest, AStreamThatTimedOutIsNotAwaitedUntilItIsBack) {
    picture(0);
    ASSERT_TRUE(sink().waitFor(1));
    // Longer than the test waits for anything.
    ASSERT_TRUE(app_.child<Element>("sync").SetStr("wait", "60000"));
    for (int i = 1; i < 5; ++i) {
        picture(i * 33);
        ASSERT_TRUE(sink().waitFor(static_cast<std::size_t>(i) + 1)) << i;
    }
    sound(200);
    picture(233);
    ASSERT_TRUE(sink().waitFor(6));
    sound(220);
    sound(240);
    ASSERT_TRUE(sink().waitFor(8));
    EXPECT_THAT(sink().stamps(origin_), ElementsAre(0, 33, 66, 99, 132, 200, 220, 233));
}

TEST_F(ShortWaitSyncTest, ALostCameraDelaysNoSound) {
    picture(0);
    for (int i = 0; i < 20; ++i) sound(i * 20);
    EXPECT_TRUE(sink().waitFor(21));
}

TEST_F(SyncTest, AStampThatJumpsBackIsReplacedCountedAndReported) {
    for (int i = 0; i < 5; ++i) picture(i * 40);
    for (int i = 0; i < 5; ++i) picture(i * 40 - 10'000);
    picture(400);
    app_.stop();
    EXPECT_THAT(sink().stamps(origin_), ElementsAre(0, 40, 80, 120, 160, 200, 240, 280, 320, 360, 400));
    EXPECT_EQ(app_.waitForMessage("name=timeJump"), "name=timeJump,media=video,by=-10200,total=1");
}

TEST_F(SyncTest, AStampAheadOfThePresentIsReplacedToo) {
    constexpr int hour = 3'600'000;
    for (int i = 0; i < 3; ++i) picture(i * 40);
    for (int i = 3; i < 6; ++i) picture(i * 40 + hour);
    for (int i = 6; i < 8; ++i) picture(i * 40);
    picture(8 * 40 + 2 * hour);
    app_.stop();
    EXPECT_THAT(sink().stamps(origin_), ElementsAre(0, 40, 80, 120, 160, 200, 240, 280, 320));
    EXPECT_NE(app_.waitForMessage("name=timeJump,media=video,by=7200000,", "total=2"), "");
}

TEST_F(SyncTest, AGapIsNoJump) {
    picture(0);
    picture(40);
    picture(20'000);
    app_.stop();
    EXPECT_THAT(sink().stamps(origin_), ElementsAre(0, 40, 20'000));
}

TEST_F(SyncTest, ABlockedThreadHasABoundedQueue) {
    sink().setOpen(false);
    picture(0);
    std::thread giver([this] { sound(10); });
    ASSERT_TRUE(waitUntil([this] { return sink().isWaitedFor(); }));
    std::atomic<int> pushed{1};
    std::thread pusher([&] {
        for (; pushed < 5'000; ++pushed) picture(pushed * 10);
    });
    EXPECT_TRUE(waitUntil([&] { return pushed >= 4'096; }));
    EXPECT_LE(pushed, 4'097);
    sink().setOpen(true);
    giver.join();
    pusher.join();
    app_.stop();
    EXPECT_EQ(sink().packets().size(), 5'001U);
}

TEST_F(LongWaitSyncTest, DrainsWhenItStops) {
    for (int i = 0; i < 100; ++i) picture(i * 33);
    ASSERT_TRUE(app_.stop());
    EXPECT_EQ(sink().packets().size(), 100U);
}

TEST(Sync, WithASingleElementBeforeItWaitsForNothing) {
    Described chain("type=pipeline,layout={TestSource:name=a+Sync:wait=60000+TestSink:name=z}");
    ASSERT_TRUE(chain);
    ASSERT_TRUE(chain.play());
    chain.child<TestSource>("a").push(audioPacket(Clock::now()));
    EXPECT_TRUE(chain.child<TestSink>("z").waitFor(1));
    EXPECT_THAT(refusalOf("type=pipeline,layout={TestSource+Sync:name=s,wait=-1}"),
                HasSubstr("Sync \"s\": wait=-1"));
}

}  // namespace
}  // namespace kep::host
