// Files as cameras: over and over, as much of them from memory as is allowed.
#include <gmock/gmock.h>

#include <fstream>

#include "error_lines.h"
#include "media/video/loop_memory.h"
#include "stream_fixture.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Values;

class LoopTest : public VideoTest {
  protected:
    ~LoopTest() override { unsetenv("KEP_HOST_LOOP_MEMORY"); }
    static void allow(const char* mebibytes) { setenv("KEP_HOST_LOOP_MEMORY", mebibytes, 1); }
    static constexpr std::size_t kLength = 30;
    /** Room for the first group of fifteen pictures and part of the second. */
    static constexpr const char* kPart = "10";
    static constexpr const char* kAll = "64";

    void filmAs(const std::string& name, const std::string& how = "-c copy") {
        film("filmed.h264", kLength);
        if (name != "filmed.h264") makeFile("-r 30 -i filmed.h264 " + how + " " + name);
        choose("file:" + path(name).string());
    }
    /** Overwrites a part of the file, as its pictures are decoded no more. */
    void spoil(const std::string& name, double from, double to) {
        const auto size = static_cast<double>(std::filesystem::file_size(path(name)));
        std::fstream file(path(name), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(size * from));
        file << std::string(static_cast<std::size_t>(size * (to - from)), '\0');
    }
    static void expectLoop(const std::vector<std::int64_t>& numbers, std::size_t count) {
        EXPECT_EQ(numbers.size(), count);
        for (std::size_t i = 1; i < numbers.size(); ++i) {
            const bool again = i % kLength == 0;
            EXPECT_EQ(numbers[i], again ? numbers[0] : numbers[i - 1] + 1) << "at picture " << i;
        }
    }
    /** Spoils a part of the file after `before` pictures, and expects another pass to show nothing of that.
     */
    void expectLoopThoughSpoilt(const char* memory, std::size_t before, double from, double to) {
        filmAs("filmed.mp4");
        allow(memory);
        const auto source = newYuv();
        ASSERT_TRUE(source->ChangeUp(State::play));
        std::vector<std::int64_t> numbers = numbersOf(pull(*source, before), 640, 360);
        spoil("filmed.mp4", from, to);
        for (const std::int64_t number : numbersOf(pull(*source, kLength), 640, 360))
            numbers.push_back(number);
        expectLoop(numbers, before + kLength);
    }
};

/** The test picture in several containers, each of which finds its beginning in another way. */
class ContainerLoopTest : public LoopTest, public testing::WithParamInterface<const char*> {};

TEST_P(ContainerLoopTest, GoesOnForEverWithoutHiccup) {
    filmAs(GetParam());
    allow("0");
    const auto source = newYuv();
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> frames = pull(*source, kLength * 2 + 4);
    expectLoop(numbersOf(frames, 640, 360), kLength * 2 + 4);
    // In real time, across the seam too; only a machine that stalls makes a step longer.
    std::vector<double> steps;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        steps.push_back(std::chrono::duration<double>(frames[i]->stamp - frames[i - 1]->stamp).count());
        EXPECT_GT(steps.back(), 0);
    }
    std::sort(steps.begin(), steps.end());
    EXPECT_NEAR(steps[steps.size() / 2], 1 / 30.0, 0.002);
}

INSTANTIATE_TEST_SUITE_P(Containers, ContainerLoopTest,
                         Values("filmed.h264", "filmed.mp4", "filmed.mkv", "filmed.ts"));

TEST_F(LoopTest, AShortOneIsDecodedOnce) {
    expectLoopThoughSpoilt(kAll, kLength + 1, 0, 1);
}

TEST_F(LoopTest, OfALongerOneTheBeginningIsDecodedOnce) {
    expectLoopThoughSpoilt(kPart, kLength + 4, 0.05, 0.35);
}

/** Codes and containers that find places badly, or have pictures that are coded behind a later one. */
class CodecLoopTest : public LoopTest,
                      public testing::WithParamInterface<std::tuple<const char*, const char*, const char*>> {
};

TEST_P(CodecLoopTest, ShowsEveryPictureOnce) {
    const auto [name, how, memory] = GetParam();
    filmAs(name, how);
    allow(memory);
    const auto source = newYuv();
    ASSERT_TRUE(source->ChangeUp(State::play));
    expectLoop(numbersOf(pull(*source, kLength * 2 + 4), 640, 360), kLength * 2 + 4);
}

constexpr const char* kOpenGroups = "-c:v libx264 -crf 15 -g 12 -bf 3 -x264-params open-gop=1";
constexpr const char* kNoKeyFrames = "-c:v libx264 -crf 15 -bf 0 -x264-params intra-refresh=1:keyint=9";
constexpr const char* kMpeg2 = "-c:v mpeg2video -q:v 2 -g 9 -bf 2";
constexpr const char* kInOrder = "-c:v mpeg2video -q:v 2 -g 9 -bf 0 -flags +low_delay";
INSTANTIATE_TEST_SUITE_P(Codecs, CodecLoopTest,
                         Values(std::tuple("a.mkv", "-c copy", "10"), std::tuple("a.mp4", kOpenGroups, "10"),
                                std::tuple("a.mp4", kNoKeyFrames, "10"), std::tuple("a.mpg", kInOrder, "10"),
                                std::tuple("a.ts", kInOrder, "10"), std::tuple("a.ts", kMpeg2, "0"),
                                std::tuple("a.avi", "-c:v mjpeg -q:v 2", "10")));

TEST_F(LoopTest, APictureIsRepeated) {
    makeFile("-f lavfi -i color=c=red:s=320x240 -frames:v 1 still.png");
    makeFile("-f lavfi -i color=c=red:s=320x240 -frames:v 1 still.jpg");
    for (const char* name : {"still.png", "still.jpg"}) {
        for (const char* memory : {"0", kAll}) {
            choose("file:" + path(name).string());
            allow(memory);
            const Owned<IYuvSource> source(IYuvSource::CreateNew("vornisa"));
            ASSERT_TRUE(source->ChangeUp(State::play));
            const std::vector<Frame> frames = pull(*source, 10);
            ASSERT_EQ(frames.size(), 10U) << name;
            for (const Frame& frame : frames) {
                ASSERT_EQ(frame->size, 320 * 240 * 3 / 2);
                EXPECT_NEAR(frame->data[0], name == std::string("still.png") ? 63 : 81, 3);
                EXPECT_GT(frame->data[320 * 240 * 5 / 4], 230);
            }
        }
    }
}

TEST_F(LoopTest, ASizeThatIsNoneIsNamedAndTheNextStartWorks) {
    filmAs("filmed.mp4");
    const auto source = newYuv();
    for (const char* none : {"much", "-1", "1.5", "64M", "1048577", "99999999999999999999"}) {
        allow(none);
        ErrorLines errors;
        EXPECT_FALSE(source->ChangeUp(State::play));
        EXPECT_THAT(errors.messages(), ElementsAre(HasSubstr("KEP_HOST_LOOP_MEMORY=" + std::string(none) +
                                                             " is no number of MiB from 0 to 1048576")));
    }
    allow("");
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(pull(*source, 3).size(), 3U);
}

/** Pictures of a hundred bytes. */
class LoopMemoryTest : public testing::Test {
  protected:
    static FramePtr picture(std::int64_t pts, bool key) {
        FramePtr frame(av_frame_alloc());
        frame->buf[0] = av_buffer_alloc(60);
        frame->buf[1] = av_buffer_alloc(40);
        frame->pts = pts;
        frame->key_frame = key;
        return frame;
    }
    static void fill(LoopMemory& memory, int count, int group, std::int64_t step = 10) {
        for (int i = 0; i < count; ++i)
            memory.add(*picture(step == 0 ? AV_NOPTS_VALUE : i * step, i % group == 0));
        memory.finish();
    }
};

TEST_F(LoopMemoryTest, KeepsWhatThereIsRoomFor) {
    LoopMemory memory(500);
    fill(memory, 5, 3);
    EXPECT_TRUE(memory.isWhole());
    EXPECT_FALSE(memory.resumeAt());
    ASSERT_EQ(memory.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(memory.at(i)->pts, static_cast<std::int64_t>(i) * 10);
}

TEST_F(LoopMemoryTest, IsNotWholeBeforeThePassIsOver) {
    LoopMemory memory(500);
    memory.add(*picture(0, true));
    EXPECT_FALSE(memory.isWhole());
}

TEST_F(LoopMemoryTest, EndsBeforeAKeyFrame) {
    LoopMemory memory(500);
    fill(memory, 9, 3);
    EXPECT_FALSE(memory.isWhole());
    EXPECT_EQ(memory.size(), 3U);
    EXPECT_EQ(memory.resumeAt(), 30);
}

TEST_F(LoopMemoryTest, WhatHasNoPlaceMayBeThatKeyFrame) {
    LoopMemory memory(599);
    fill(memory, 9, 5);
    EXPECT_EQ(memory.size(), 5U);
    EXPECT_EQ(memory.resumeAt(), 50);
}

TEST_F(LoopMemoryTest, KeepsNothingWithoutAPlaceToGoOnFrom) {
    LoopMemory group(500);
    fill(group, 9, 9);
    EXPECT_EQ(group.size(), 0U);
    EXPECT_FALSE(group.isWhole());
    EXPECT_FALSE(group.resumeAt());
    LoopMemory timeless(500);
    fill(timeless, 9, 3, 0);
    EXPECT_EQ(timeless.size(), 0U);
    EXPECT_FALSE(timeless.resumeAt());
}

TEST_F(LoopMemoryTest, HasAlwaysRoomForAStill) {
    LoopMemory memory(0);
    fill(memory, 1, 1);
    EXPECT_TRUE(memory.isWhole());
    EXPECT_EQ(memory.size(), 1U);
}

TEST_F(LoopMemoryTest, ForgetsForGood) {
    LoopMemory memory(500);
    memory.add(*picture(0, true));
    memory.forget();
    fill(memory, 2, 2);
    EXPECT_EQ(memory.size(), 0U);
    EXPECT_FALSE(memory.isWhole());
}

}  // namespace
}  // namespace kep::host
