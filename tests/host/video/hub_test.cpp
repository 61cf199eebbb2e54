#include <gmock/gmock.h>

#include <fstream>
#include <thread>

#include "process_resources.h"
#include "sanitizers.h"
#include "stream_fixture.h"
#include "wait_until.h"

namespace kep::host {
namespace {

using testing::HasSubstr;

using HubTest = VideoTest;

/** Cost of a byte: the thread sanitizer adds four shadow bytes for each byte touched. */
constexpr long kByte = kThreadSanitizer ? 5 : 1;

long residentKiB() {
    std::ifstream status("/proc/self/statm");
    long total = 0;
    long resident = 0;
    status >> total >> resident;
    return resident * 4;
}

TEST_F(HubTest, SourcesOfDifferentSizesShowTheSamePictures) {
    const auto large = newYuv(1280, 720);
    const auto small = newYuv(320, 180);
    const auto coded = newH264(640, 360);
    Messages largeMessages(*large);
    Messages smallMessages(*small);
    Messages codedMessages(*coded);
    ASSERT_TRUE(large->ChangeUp(State::play));
    ASSERT_TRUE(small->ChangeUp(State::play));
    ASSERT_TRUE(coded->ChangeUp(State::play));
    std::vector<Frame> a;
    std::vector<Frame> b;
    std::thread readLarge([&] { a = pull(*large, 30); });
    std::thread readSmall([&] { b = pull(*small, 30); });
    const std::vector<std::int64_t> shown = numbersOf(pull(*coded, 30));
    readLarge.join();
    readSmall.join();
    const std::vector<std::int64_t> shownLarge = numbersOf(a, 1280, 720);
    expectRunningOn(shown, codedMessages);
    expectRunningOn(shownLarge, largeMessages);
    // 320x180 is below the minimum for the number's blocks, but readable without compression.
    expectRunningOn(numbersOf(b, 320, 180), smallMessages);
    for (std::size_t i = 0; i < a.size(); ++i) EXPECT_EQ(a[i]->index, shownLarge[i]);
}

TEST_F(HubTest, RawPicturesAreOneBlockOfTheSizeThatIsSet) {
    const struct { int width, height; } sizes[] = {{1920, 1080}, {1280, 720}, {642, 362}};
    for (const auto& size : sizes) {
        const auto source = newYuv(size.width, size.height);
        ASSERT_TRUE(source->ChangeUp(State::play));
        const Frame frame = pull(*source, 1).at(0);
        ASSERT_EQ(frame->size, size.width * size.height * 3 / 2);
        // The second bar is yellow: bright, with little blue and slightly more red than grey.
        const int x = size.width * 3 / 16;
        const int y = size.height / 4;
        const unsigned char* u = frame->data + size.width * size.height;
        const unsigned char* v = u + size.width * size.height / 4;
        const int chroma = y / 2 * (size.width / 2) + x / 2;
        EXPECT_NEAR(frame->data[y * size.width + x], 168, 3);
        EXPECT_NEAR(u[chroma], 44, 3);
        EXPECT_NEAR(v[chroma], 136, 3);
    }
}

TEST_F(HubTest, StampsLieOnTheGridOfTheRateAndTheFlashOnTheSecond) {
    for (const int rate : {30, 25}) {
        const auto source = newYuv(640, 360, rate);
        ASSERT_TRUE(source->ChangeUp(State::play));
        int lit = 0;
        // The newest picture at the previous rate comes first.
        pull(*source, 3);
        for (const Frame& frame : pull(*source, static_cast<std::size_t>(rate) + 5)) {
            const auto intoSecond = frame->stamp.time_since_epoch() % std::chrono::seconds(1);
            const double place = std::chrono::duration<double>(intoSecond).count() * rate;
            EXPECT_NEAR(place, std::round(place), 1e-6);
            const bool flash = isFlashLit(lumaOf(*frame, 640, 360));
            EXPECT_EQ(flash, intoSecond < std::chrono::milliseconds(100));
            lit += flash;
        }
        EXPECT_GE(lit, 2);
    }
}

TEST_F(HubTest, ARestartedSourceNeverShowsAPictureTwice) {
    const auto source = newYuv();
    std::int64_t last = -1;
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(source->ChangeUp(State::play));
        for (const std::int64_t number : numbersOf(pull(*source, 2), 640, 360)) {
            EXPECT_GT(number, last);
            last = number;
        }
        ASSERT_TRUE(source->ChangeDown(State::null));
    }
}

TEST_F(HubTest, ANewConsumerGetsTheNewestPictureAtOnce) {
    const auto slow = newYuv(640, 360, 1);
    ASSERT_TRUE(slow->ChangeUp(State::play));
    const Frame first = pull(*slow, 1).at(0);
    // A consumer that waits for the camera never gets a picture that another has got before. The second may
    // have just turned, so try several times.
    std::int64_t newest = first->index;
    bool shared = false;
    for (int i = 0; i < 5 && !shared; ++i) {
        const auto late = newYuv(640, 360, 1);
        ASSERT_TRUE(late->ChangeUp(State::play));
        const Frame joined = pull(*late, 1).at(0);
        shared = joined->index == newest;
        newest = joined->index;
    }
    EXPECT_TRUE(shared);
}

TEST_F(HubTest, SwitchingContinuesWithAKeyFrameOfTheNewSize) {
    const auto source = newH264(1280, 720);
    ASSERT_TRUE(source->ChangeUp(State::play));
    std::int64_t last = pull(*source, 1).at(0)->index;
    const int sizes[][2] = {{1280, 720}, {640, 360}, {320, 180}};
    for (int i = 1; i <= 30; ++i) {
        ASSERT_TRUE(source->ChangeDown(State::null));
        source->SetWidth(sizes[i % 3][0]);
        source->SetHeight(sizes[i % 3][1]);
        ASSERT_TRUE(source->ChangeUp(State::play));
        const Frame first = pull(*source, 1).at(0);
        EXPECT_TRUE(first->key);
        EXPECT_GT(first->index, last);
        last = first->index;
        Decoder decoder;
        const AVFrame* picture = decoder.decode(*first);
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->width, sizes[i % 3][0]);
        EXPECT_EQ(readPictureNumber(lumaOf(*picture)), static_cast<std::uint32_t>(last));
    }
}

TEST_F(HubTest, SwitchingLeaksNothing) {
    const auto source = newH264(320, 180, 120);
    const int sizes[][2] = {{320, 180}, {160, 96}, {192, 112}};
    const auto switchOver = [&](int times) {
        for (int i = 0; i < times; ++i) {
            source->SetWidth(sizes[i % 3][0]);
            source->SetHeight(sizes[i % 3][1]);
            ASSERT_TRUE(source->ChangeUp(State::play));
            ASSERT_EQ(pull(*source, 1).size(), 1U);
            ASSERT_TRUE(source->ChangeDown(State::null));
        }
    };
    constexpr int kRound = 60;
    switchOver(kRound);
    const int descriptors = openDescriptors();
    // A single round may have more pictures in flight than before; a leak shows in every round.
    constexpr long kMostGrowth = 1024 * kByte;
    long growth = kMostGrowth + 1;
    for (int round = 0; round < 5 && growth > kMostGrowth; ++round) {
        const long memory = residentKiB();
        switchOver(kRound);
        growth = residentKiB() - memory;
    }
    EXPECT_TRUE(waitUntil([&] { return openDescriptors() <= descriptors; })) << openDescriptors();
    // The address sanitizer keeps freed memory, and detects leaks itself.
    EXPECT_TRUE(kAddressSanitizer || growth <= kMostGrowth) << growth;
}

TEST_F(HubTest, AnIdleReaderLosesWholeGroupsAndGetsAMessage) {
    const auto idle = newH264(160, 96, 100);
    idle->SetGop(10);
    Messages messages(*idle);
    const auto lively = newYuv(160, 96, 100);
    Messages livelyMessages(*lively);
    ASSERT_TRUE(idle->ChangeUp(State::play));
    ASSERT_TRUE(lively->ChangeUp(State::play));
    std::vector<Frame> read = pull(*idle, 1);
    // The reader that keeps reading gets every picture, however long the other sleeps.
    const std::vector<Frame> seen = pull(*lively, 300);
    ASSERT_EQ(seen.size(), 300U);
    expectRunningOn(indicesOf(seen), livelyMessages);
    EXPECT_TRUE(messages.waitForLost(9));
    // The rest begins with a key frame, and everything missing has been reported.
    const std::vector<Frame> rest = pull(*idle, 60);
    EXPECT_TRUE(rest.at(0)->key);
    EXPECT_GT(rest.at(0)->index, read.at(0)->index + 9);
    read.insert(read.end(), rest.begin(), rest.end());
    expectRunningOn(indicesOf(read), messages);
    Decoder decoder;
    for (const Frame& unit : rest) EXPECT_TRUE(decoder.decode(*unit));
}

TEST_F(HubTest, AnIdleReaderOfRawPicturesIsBoundedToo) {
    const auto idle = newYuv(160, 96, 120);
    Messages messages(*idle);
    const auto lively = newYuv(160, 96, 120);
    ASSERT_TRUE(idle->ChangeUp(State::play));
    ASSERT_TRUE(lively->ChangeUp(State::play));
    ASSERT_EQ(pull(*lively, 120).size(), 120U);
    EXPECT_TRUE(messages.waitForLost(1));
    EXPECT_THAT(messages.waitFor("name=frameLost"), HasSubstr("name=frameLost,media=video,lost="));
    Frame frame;
    int left = 0;
    while (left < 120 && idle->PullFrame(frame, false)) ++left;
    EXPECT_LT(left, 70);
}

TEST_F(HubTest, ALowerRateTakesEvenlySpacedPicturesOfAFasterCamera) {
    const auto fast = newYuv(160, 96, 60);
    const auto slow = newYuv(160, 96, 15);
    ASSERT_TRUE(fast->ChangeUp(State::play));
    ASSERT_TRUE(slow->ChangeUp(State::play));
    Messages messages(*slow);
    std::thread drain([&] { pull(*fast, 60); });
    std::vector<Frame> frames = pull(*slow, 12);
    drain.join();
    // The first ones may precede the camera's final rate.
    frames.erase(frames.begin(), frames.begin() + 2);
    std::vector<std::int64_t> places;
    for (const Frame& frame : frames) places.push_back((frame->index - frames[0]->index + 2) / 4);
    expectRunningOn(places, messages);
}

TEST_F(HubTest, StateAndMessagesFollowTheStream) {
    const auto source = newH264();
    Messages messages(*source);
    EXPECT_EQ(stateOf(*source), State::null);
    EXPECT_FALSE(isPlaying(*source));
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_EQ(stateOf(*source), State::play);
    EXPECT_TRUE(isPlaying(*source));
    EXPECT_NE(messages.waitFor("name=started"), "");
    ASSERT_TRUE(source->ChangeDown(State::null));
    EXPECT_FALSE(isPlaying(*source));
    EXPECT_NE(messages.waitFor("name=stopped"), "");
    EXPECT_THAT(messages.all(), testing::ElementsAre("name=started", "name=stopped"));
}

TEST_F(HubTest, PullFailsAtOnceWhenNothingPlaysAndWakesWhenItStops) {
    for (const bool raw : {false, true}) {
        object_base* made = raw ? static_cast<object_base*>(newYuv(160, 96, 1).release())
                                : static_cast<object_base*>(newH264(160, 96, 1).release());
        const std::unique_ptr<object_base> owner(made);
        auto* output = made->AsType<api::streaming::common::IStreamOutput>();
        auto* control = made->AsType<api::streaming::common::IStreamControl>();
        Frame frame;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(output->PullFrame(frame, true));
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("not playing"));
        ASSERT_TRUE(control->ChangeUp(State::play));
        std::thread reader([&] {
            Frame got;
            while (output->PullFrame(got, true)) {
            }
        });
        ASSERT_TRUE(control->ChangeDown(State::null));
        reader.join();
    }
}

TEST_F(HubTest, OnlyTheCamerasNameCreatesASource) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(IH264Source::CreateNew("webcam"), nullptr);
    EXPECT_EQ(IYuvSource::CreateNew(nullptr), nullptr);
    EXPECT_EQ(api::streaming::IPhotography::CreateNew("webcam"), nullptr);
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, HasSubstr("webcam"));
    EXPECT_THAT(lines, HasSubstr("IYuvSource"));
    EXPECT_THAT(lines, HasSubstr("IPhotography"));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3);
}

}  // namespace
}  // namespace kep::host
