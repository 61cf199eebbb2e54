#include "event_fixture.h"
#include "kep/attr_set.h"
#include "kep/entry_points.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class EventServiceTest : public testing::Test {
  protected:
    EventServiceTest() : stream(service.source()) {}

    /** The expected packets of a clip, with times in milliseconds after the beginning of the stream. */
    std::vector<SharedPacket> clipFrom(int begin, int end) {
        const SteadyTime origin = stream.given().front()->stamp;
        return clipOf(stream.given(), origin + milliseconds(begin), origin + milliseconds(end));
    }

    /** Stops the service and returns how many pictures and audio packets it has reported as lost. */
    std::pair<int, int> lost() {
        EXPECT_TRUE(service.app().stop());
        EXPECT_NE(service.app().waitForMessage("name=stopped"), "");
        std::pair<int, int> sum;
        for (const std::string& message : service.app().messages("name=frameLost")) {
            const base::AttrSet attributes(message.c_str());
            const bool video = attributes.GetOrDef("media", "") == std::string("video");
            (video ? sum.first : sum.second) += attributes.GetOrDef<int>("lost", 0);
        }
        return sum;
    }

    /** Stops the service and returns its messages about failed clips. */
    std::vector<std::string> failures() {
        EXPECT_TRUE(service.app().stop());
        EXPECT_NE(service.app().waitForMessage("name=stopped"), "");
        return service.app().messages("name=failed");
    }

    Service service;
    SyntheticStream stream;
};

std::string failure(const std::string& url, const std::string& reason) {
    return "name=failed,media=file,url=" + url + ",reason=" + reason;
}

TEST_F(EventServiceTest, AClipBeginsAtAKeyFrameAndEndsAtItsTime) {
    stream.run(10'000);
    ASSERT_TRUE(service.trigger("2s", "1500ms", stream.at(9'500), "file:///a.mp4"));
    stream.run(2'000);
    ASSERT_TRUE(service.clips().waitForFinished(1));
    const auto clip = service.clips().clips().front();
    EXPECT_EQ(clip.url, "file:///a.mp4");
    EXPECT_TRUE(clip.packets == clipFrom(7'500, 11'000));
    EXPECT_TRUE(clip.packets.front()->key);
    EXPECT_EQ(clip.packets.front()->stamp - stream.given().front()->stamp, milliseconds(7'000));
    EXPECT_EQ(clip.packets.back()->stamp - stream.given().front()->stamp, milliseconds(11'000));
    EXPECT_EQ(service.clips().streamed(), 0U);
}

TEST_F(EventServiceTest, RequestsAKeyFrameAtTheEndOfAClip) {
    stream.run(1'000);
    ASSERT_TRUE(service.trigger("1s", "2s", stream.at(1'000), "file:///a.mp4"));
    ASSERT_TRUE(waitUntil([&] { return !service.source().keyFrameRequests().empty(); }));
    EXPECT_THAT(service.source().keyFrameRequests(),
                ElementsAre(stream.given().front()->stamp + milliseconds(3'000)));
}

TEST_F(EventServiceTest, RequestsAKeyFrameAfterDroppingATooLongGroup) {
    constexpr int kHeavy = 1 << 20;
    TestSource& source = service.source();
    SteadyTime stamp = stream.now();
    for (int i = 0; source.keyFrameRequests().empty(); ++i, stamp += milliseconds(40)) {
        ASSERT_LT(i, 100);
        source.push(videoPacket(stamp, i == 0, kHeavy));
    }
    EXPECT_EQ(source.keyFrameRequests().back(), stamp - milliseconds(40));
}

TEST_F(EventServiceTest, WaitsForATimeInTheFuture) {
    stream.run(1'000);
    ASSERT_TRUE(service.trigger("0s", "1s", stream.at(3'010), "file:///a.mp4"));
    stream.run(3'000);
    ASSERT_TRUE(waitUntil([&] { return !service.clips().clips().empty(); }));
    stream.run(1'000);
    ASSERT_TRUE(service.clips().waitForFinished(1));
    EXPECT_TRUE(service.clips().clips().front().packets == clipFrom(3'010, 4'010));
}

TEST_F(EventServiceTest, ClipsOverlapAndEachIsComplete) {
    stream.run(10'000);
    ASSERT_TRUE(service.trigger("5s", "4s", stream.at(10'000), "file:///a.mp4"));
    stream.run(1'000);
    ASSERT_TRUE(service.trigger("5s", "1s", stream.at(11'000), "file:///b.mp4"));
    ASSERT_TRUE(service.trigger("0s", "5s", stream.at(11'000), "file:///c.mp4"));
    stream.run(6'000);
    ASSERT_TRUE(service.clips().waitForFinished(3));
    const auto clips = service.clips().clips();
    EXPECT_TRUE(clips[0].packets == clipFrom(5'000, 14'000));
    EXPECT_TRUE(clips[1].packets == clipFrom(6'000, 12'000));
    EXPECT_TRUE(clips[2].packets == clipFrom(11'000, 16'000));
}

TEST_F(EventServiceTest, RecordsWhatIsBufferedAndReportsTheRest) {
    stream.run(5'000);
    const ErrorLines lines;
    ASSERT_TRUE(service.trigger("2147483647s", "0s", stream.at(5'000), "file:///a.mp4"));
    stream.run(1'000);
    ASSERT_TRUE(service.clips().waitForFinished(1));
    EXPECT_TRUE(service.clips().clips().front().packets == clipFrom(0, 5'000));
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("clip file:///a.mp4 begins 2147483")));
}

TEST_F(EventServiceTest, BuffersTheLongestTimeRequestedSoFar) {
    stream.run(40'000);
    {
        const ErrorLines lines;
        ASSERT_TRUE(service.trigger("39s", "0s", stream.at(40'000), "file:///a.mp4"));
        // It begins at the oldest packet buffered.
        ASSERT_TRUE(waitUntil([&] { return !service.clips().clips().empty(); }));
        stream.run(1'000);
        ASSERT_TRUE(service.clips().waitForFinished(1));
        EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("begins 8000 ms late")));
        EXPECT_TRUE(service.clips().clips().front().packets == clipFrom(9'000, 40'000));
    }
    stream.run(40'000);
    const ErrorLines lines;
    ASSERT_TRUE(service.trigger("39s", "0s", stream.at(80'000), "file:///b.mp4"));
    stream.run(1'000);
    ASSERT_TRUE(service.clips().waitForFinished(2));
    EXPECT_TRUE(service.clips().clips().back().packets == clipFrom(41'000, 80'000));
    EXPECT_THAT(lines.messages(), IsEmpty());
}

TEST_F(EventServiceTest, MakesNoClipOfATimeNoLongerBuffered) {
    stream.run(50'000);
    const ErrorLines lines;
    ASSERT_TRUE(service.trigger("1s", "1s", stream.at(5'000), "file:///a.mp4"));
    ASSERT_TRUE(waitUntil([&] { return !lines.messages().empty(); }));
    EXPECT_THAT(lines.messages(),
                ElementsAre(HasSubstr("no clip file:///a.mp4: its time span is no longer buffered")));
    EXPECT_THAT(service.clips().clips(), IsEmpty());
    EXPECT_THAT(failures(), ElementsAre(failure("file:///a.mp4", "its time span is no longer buffered")));
}

TEST_F(EventServiceTest, OpenClipsEndWithTheStream) {
    stream.run(5'000);
    ASSERT_TRUE(service.trigger("1s", "60s", stream.at(5'000), "file:///a.mp4"));
    ASSERT_TRUE(service.trigger("0s", "1s", stream.at(20'000), "file:///never.mp4"));
    stream.run(1'000);
    const ErrorLines lines;
    EXPECT_THAT(failures(), ElementsAre(failure("file:///never.mp4", "no picture received")));
    const auto clips = service.clips().clips();
    ASSERT_EQ(clips.size(), 1U);
    EXPECT_TRUE(clips.front().finished);
    EXPECT_TRUE(clips.front().packets == clipFrom(4'000, 65'000));
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("no clip file:///never.mp4: no picture received")));
}

TEST_F(EventServiceTest, RestartsWithAnEmptyBuffer) {
    stream.run(5'000);
    ASSERT_TRUE(service.app().stop());
    ASSERT_TRUE(service.app().play());
    SyntheticStream second(service.source());
    second.run(3'000);
    ASSERT_TRUE(service.trigger("1s", "1s", second.at(2'000), "file:///a.mp4"));
    second.run(1'000);
    ASSERT_TRUE(service.clips().waitForFinished(1));
    EXPECT_EQ(service.clips().clips().front().packets.front()->stamp - second.given().front()->stamp,
              seconds(1));
}

TEST_F(EventServiceTest, AClipOfALostCameraEnds) {
    stream.run(5'000);
    ASSERT_TRUE(service.trigger("1s", "0s", stream.at(5'500), "file:///a.mp4"));
    ASSERT_TRUE(service.trigger("0s", "1s", stream.at(7'000), "file:///never.mp4"));
    const ErrorLines lines;
    ASSERT_TRUE(service.clips().waitForFinished(1));
    EXPECT_TRUE(service.clips().clips().front().packets == clipFrom(4'500, 5'500));
    // Reported at once, while the service is still playing.
    EXPECT_EQ(service.app().waitForMessage("name=failed"),
              failure("file:///never.mp4", "no picture received"));
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("no clip file:///never.mp4: no picture received")));
}

TEST_F(EventServiceTest, AClipDoesNotReachBackBeyondACameraOutage) {
    stream.run(5'000);
    stream.pause(10'000);
    stream.run(2'000);
    const ErrorLines lines;
    ASSERT_TRUE(service.trigger("4s", "0s", stream.at(16'500), "file:///a.mp4"));
    ASSERT_TRUE(service.trigger("10s", "3s", stream.at(14'000), "file:///b.mp4"));
    stream.run(1'000);
    ASSERT_TRUE(service.clips().waitForFinished(2));
    const auto clips = service.clips().clips();
    EXPECT_TRUE(clips[0].packets == clipFrom(15'000, 16'500));
    // It begins before the gap, and has the existing packets of the rest.
    EXPECT_TRUE(clips[1].packets == clipFrom(4'000, 17'000));
    EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr("clip file:///a.mp4 begins 2500 ms late")));
}

TEST_F(EventServiceTest, AClipThatFailsDisturbsNoOther) {
    stream.run(5'000);
    service.clips().refuse("ftp://refused.mp4");
    service.clips().failAfter("file:///fails.mp4", 10);
    ASSERT_TRUE(service.trigger("2s", "2s", stream.at(5'000), "ftp://refused.mp4"));
    ASSERT_TRUE(service.trigger("2s", "2s", stream.at(5'000), "file:///fails.mp4"));
    ASSERT_TRUE(service.trigger("2s", "2s", stream.at(5'000), "file:///a.mp4"));
    stream.run(3'000);
    ASSERT_TRUE(service.clips().waitForFinished(2));
    const auto clips = service.clips().clips();
    ASSERT_EQ(clips.size(), 2U);
    EXPECT_EQ(clips[0].packets.size(), 10U);
    EXPECT_EQ(clips[1].url, "file:///a.mp4");
    EXPECT_TRUE(clips[1].packets == clipFrom(3'000, 7'000));
    EXPECT_THAT(failures(), ElementsAre(failure("ftp://refused.mp4", "it is refused"),
                                        failure("file:///fails.mp4", "it cannot be written")));
}

TEST_F(EventServiceTest, ASlowDiskBlocksNothingAndDropsWholeGroups) {
    stream.run(5'000);
    service.clips().setOpen(false);
    ASSERT_TRUE(service.trigger("1s", "100s", stream.at(5'000), "file:///a.mp4"));
    ASSERT_TRUE(waitUntil([&] { return service.clips().isSomebodyWaiting(); }));
    // The service accepts all packets although it cannot write any.
    stream.run(60'000);
    ASSERT_TRUE(service.trigger("1s", "0s", stream.at(64'000), "file:///b.mp4"));
    service.clips().setOpen(true);
    ASSERT_TRUE(service.clips().waitForFinished(1));
    const std::string lost = service.app().waitForMessage("name=frameLost,media=video");
    EXPECT_THAT(lost, HasSubstr("media=video,lost=" + std::to_string(30 * 25 - 1)));
    ASSERT_TRUE(service.app().stop());
    const auto clips = service.clips().clips();
    EXPECT_TRUE(clips[1].packets == clipFrom(63'000, 64'000));
    // The packet that was being written, then from a key frame on whatever is still buffered.
    const auto& packets = clips[0].packets;
    EXPECT_EQ(packets.front(), clipFrom(4'000, 5'000).front());
    EXPECT_TRUE(std::vector<SharedPacket>(packets.begin() + 1, packets.end()) == clipFrom(34'000, 65'000));
}

std::pair<int, int> countOf(const std::vector<SharedPacket>& packets) {
    const auto pictures = static_cast<int>(
        std::count_if(packets.begin(), packets.end(), [](const auto& packet) { return packet->isVideo(); }));
    return {pictures, static_cast<int>(packets.size()) - pictures};
}

/** The ring drops whole groups, so a clip may end in the middle of a dropped one. */
TEST_F(EventServiceTest, PacketsHeldAndReportedLostAddUp) {
    stream.run(5'000);
    for (const char* const post : {"10000ms", "29020ms", "29960ms", "40s"})
        ASSERT_TRUE(service.trigger("1s", post, stream.at(5'000), std::string("file:///") + post + ".mp4"));
    const std::size_t begun = clipFrom(4'000, 5'000).size();
    ASSERT_TRUE(waitUntil([&] {
        const auto clips = service.clips().clips();
        return clips.size() == 4 && std::all_of(clips.begin(), clips.end(), [&](const auto& clip) {
                   return clip.packets.size() == begun;
               });
    }));
    service.clips().setOpen(false);
    stream.run(60'000);
    ASSERT_TRUE(waitUntil([&] { return service.clips().isSomebodyWaiting(); }));
    service.clips().setOpen(true);
    ASSERT_TRUE(service.clips().waitForFinished(4));
    std::pair<int, int> kept;
    std::pair<int, int> due;
    const auto add = [](std::pair<int, int>& sum, const std::pair<int, int>& more) {
        sum = {sum.first + more.first, sum.second + more.second};
    };
    for (const auto& clip : service.clips().clips()) add(kept, countOf(clip.packets));
    for (const int end : {15'000, 34'020, 34'960, 45'000}) add(due, countOf(clipFrom(4'000, end)));
    add(kept, lost());
    EXPECT_EQ(kept, due);
}

TEST_F(EventServiceTest, RefusesClipsBeyondItsLimit) {
    stream.run(2'000);
    for (int i = 0; i < 64; ++i)
        ASSERT_TRUE(service.trigger("1s", "10s", stream.at(2'000), "file:///a" + std::to_string(i) + ".mp4"));
    const ErrorLines lines;
    EXPECT_FALSE(service.trigger("1s", "10s", stream.at(2'000), "file:///b.mp4"));
    EXPECT_THAT(lines.messages(),
                ElementsAre(HasSubstr("no clip file:///b.mp4: 64 clips are in progress already")));
    EXPECT_THAT(failures(), ElementsAre(failure("file:///b.mp4", "64 clips are in progress already")));
    EXPECT_TRUE(service.clips().waitForFinished(64));
}

TEST_F(EventServiceTest, AWrongTriggerIsRefusedWithOneLineAndTheNextWorks) {
    stream.run(5'000);
    const std::string tp = stream.at(5'000);
    const std::string ahead =
        std::to_string(Clock::now().time_since_epoch() / milliseconds(1) + 120'000) + "ms";
    const std::pair<std::string, std::string> wrong[] = {
        {"pre=-5s,post=1s,tp=" + tp + ",url=file:///a.mp4", "pre=-5s is negative"},
        {"pre=5,post=1s,tp=" + tp + ",url=file:///a.mp4", "pre=5 is not a valid time"},
        {"pre=5s,post=soon,tp=" + tp + ",url=file:///a.mp4", "post=soon is not a valid time"},
        {"pre=5s,post=1s,tp=now,url=file:///a.mp4", "tp=now is not a valid time"},
        {"pre=5s,post=1s,tp=" + ahead + ",url=file:///a.mp4", "s ahead of the monotonic clock"},
        {"pre=5s,post=1s,url=file:///a.mp4", "lacks tp"},
        {"pre=5s,post=1s,tp=" + tp, "lacks url"},
        {"pre=5s,post=1s,tp=" + tp + ",url=", "lacks url"},
        {"post=1s,tp=" + tp + ",url=file:///a.mp4", "lacks pre"},
        {"pre=5s,tp=" + tp + ",url=file:///a.mp4", "lacks post"},
        {"pre=5s,post=1s,tp=" + tp + ",url=file:///a.mp4,size=3", "has an unknown key \"size\""},
        {"pre=5s,post=1s,tp=" + tp + ",url=file:///b,c.mp4", "c.mp4"},
        {"", "lacks pre"},
    };
    std::vector<std::string> expected;
    for (const auto& [text, message] : wrong) {
        const ErrorLines lines;
        const bool named = text.find("a.mp4") != text.npos;
        expected.push_back(named ? failure("file:///a.mp4", "invalid trigger")
                                 : "name=failed,media=file,reason=invalid trigger");
        EXPECT_FALSE(service.app()->fromString(("trigger={" + text + "}").c_str())) << text;
        EXPECT_THAT(lines.messages(), ElementsAre(HasSubstr(message))) << text;
    }
    ASSERT_TRUE(service.trigger("1s", "0s", tp, "file:///a.mp4"));
    stream.run(1'000);
    ASSERT_TRUE(service.clips().waitForFinished(1));
    EXPECT_EQ(service.clips().clips().size(), 1U);
    EXPECT_EQ(failures(), expected);
}

TEST_F(EventServiceTest, AServiceThatDoesNotPlayRefuses) {
    ASSERT_TRUE(service.app().stop());
    const ErrorLines lines;
    EXPECT_FALSE(service.trigger("1s", "1s", stream.at(0), "file:///a.mp4"));
    EXPECT_THAT(lines.messages(),
                ElementsAre(HasSubstr("no clip file:///a.mp4: the service is not playing")));
    EXPECT_EQ(service.app().waitForMessage("name=failed"),
              failure("file:///a.mp4", "the service is not playing"));
}

TEST(EventDescriptionTest, TheServiceCreatesItsSharedMemory) {
    Service service;
    EXPECT_EQ(service.app().child<ObjectImpl>("shm").className(), "VornisaSharedMemory");
    EXPECT_EQ(*service.app().child<ObjectImpl>("shm").text("free"), "true");
    const Described alone("type=VornisaSharedMemory,name=shm,free=false");
    ASSERT_TRUE(alone);
    EXPECT_EQ(*alone->text("free"), "false");
    EXPECT_NE(&*alone, &service.app().child<ObjectImpl>("shm"));
}

TEST(EventDescriptionTest, WhatCannotWorkIsRefused) {
    EXPECT_THAT(refusalOf("type=RecordEventServiceTriggerShm,shmCreater={type=Application}"),
                HasSubstr("shmCreater={type=Application} does not describe shared memory"));
    EXPECT_THAT(refusalOf("type=RecordEventServiceTriggerShm,shmCreater={type=NoClass}"),
                HasSubstr("NoClass"));
    EXPECT_THAT(refusalOf("type=RecordEventServiceTriggerShm,pre=3s"), HasSubstr("no property \"pre\""));
    Described lonely("type=pipeline,layout={TestSource:name=in+RecordEventServiceTriggerShm:name=ctrl}");
    ASSERT_TRUE(lonely);
    const ErrorLines lines;
    EXPECT_FALSE(lonely.play());
    EXPECT_THAT(
        lines.messages(),
        ElementsAre(HasSubstr("RecordEventServiceTriggerShm \"ctrl\": no muxer follows it in the pipeline")));
}

}  // namespace
}  // namespace kep::host
