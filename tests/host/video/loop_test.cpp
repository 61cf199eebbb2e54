// Files as cameras, repeated endlessly.
#include <gmock/gmock.h>

#include "stream_fixture.h"

namespace kep::host {
namespace {

using testing::Values;

class LoopTest : public VideoTest {
  protected:
    static constexpr std::size_t kLength = 30;
    void filmAs(const std::string& name, const std::string& how = "-c copy") {
        film("filmed.h264", kLength);
        if (name != "filmed.h264") makeFile("-r 30 -i filmed.h264 " + how + " " + name);
        choose("file:" + path(name).string());
    }
    static void expectLoop(const std::vector<std::int64_t>& numbers, std::size_t count) {
        EXPECT_EQ(numbers.size(), count);
        for (std::size_t i = 1; i < numbers.size(); ++i) {
            const bool again = i % kLength == 0;
            EXPECT_EQ(numbers[i], again ? numbers[0] : numbers[i - 1] + 1) << "picture " << i;
        }
    }
};

/** The test picture in several containers, which seek to their beginning in different ways. */
class ContainerLoopTest : public LoopTest, public testing::WithParamInterface<const char*> {};

TEST_P(ContainerLoopTest, RepeatsWithoutAGap) {
    filmAs(GetParam());
    const auto source = newYuv();
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> frames = pull(*source, kLength * 2 + 4);
    expectLoop(numbersOf(frames, 640, 360), kLength * 2 + 4);
    // In real time, across the seam as well; only a stalled machine makes a step longer.
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

/** Codecs and containers that seek inaccurately or reorder pictures. */
class CodecLoopTest : public LoopTest,
                      public testing::WithParamInterface<std::tuple<const char*, const char*>> {};

TEST_P(CodecLoopTest, ShowsEveryPictureOnce) {
    const auto [name, how] = GetParam();
    filmAs(name, how);
    const auto source = newYuv();
    ASSERT_TRUE(source->ChangeUp(State::play));
    expectLoop(numbersOf(pull(*source, kLength * 2 + 4), 640, 360), kLength * 2 + 4);
}

constexpr const char* kOpenGroups = "-c:v libx264 -crf 15 -g 12 -bf 3 -x264-params open-gop=1";
constexpr const char* kNoKeyFrames = "-c:v libx264 -crf 15 -bf 0 -x264-params intra-refresh=1:keyint=9";
constexpr const char* kMpeg2 = "-c:v mpeg2video -q:v 2 -g 9 -bf 2";
constexpr const char* kInOrder = "-c:v mpeg2video -q:v 2 -g 9 -bf 0 -flags +low_delay";
INSTANTIATE_TEST_SUITE_P(Codecs, CodecLoopTest,
                         Values(std::tuple("a.mkv", "-c copy"), std::tuple("a.mp4", kOpenGroups),
                                std::tuple("a.mp4", kNoKeyFrames), std::tuple("a.mpg", kInOrder),
                                std::tuple("a.ts", kInOrder), std::tuple("a.ts", kMpeg2),
                                std::tuple("a.avi", "-c:v mjpeg -q:v 2")));

TEST_F(LoopTest, APictureIsRepeated) {
    makeFile("-f lavfi -i color=c=red:s=320x240 -frames:v 1 still.png");
    makeFile("-f lavfi -i color=c=red:s=320x240 -frames:v 1 still.jpg");
    for (const char* name : {"still.png", "still.jpg"}) {
        choose("file:" + path(name).string());
        const Owned<IYuvSource> source(IYuvSource::CreateNew("vornisa"));
        ASSERT_TRUE(source->ChangeUp(State::play));
        const std::vector<Frame> frames = pull(*source, 10);
        ASSERT_EQ(frames.size(), 10U) << name;
        // It is decoded only once, so the file is no longer needed.
        std::filesystem::remove(path(name));
        for (const Frame& frame : pull(*source, 10)) {
            ASSERT_EQ(frame->size, 320 * 240 * 3 / 2);
            EXPECT_NEAR(frame->data[0], name == std::string("still.png") ? 63 : 81, 3);
            EXPECT_GT(frame->data[320 * 240 * 5 / 4], 230);
        }
    }
}

}  // namespace
}  // namespace kep::host
