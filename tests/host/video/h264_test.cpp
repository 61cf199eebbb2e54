#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <thread>

#include "media/video/h264_encoder.h"
#include "stream_fixture.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class H264Test : public VideoTest {
  protected:
    static bool isOneStep(const frame_t& from, const frame_t& to, std::chrono::nanoseconds period) {
        return std::abs((to.stamp - from.stamp - period).count()) <= 2;
    }
    static double bitRateOf(const std::vector<Frame>& units, int rate) {
        double bits = 0;
        for (const Frame& unit : units) bits += unit->size * 8.0;
        return bits * rate / static_cast<double>(units.size());
    }
};

TEST_F(H264Test, PicturesHaveNoGapsOrDuplicates) {
    const auto source = newH264(1920, 1080, 30);
    Messages messages(*source);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> units = pull(*source, 60);
    ASSERT_EQ(units.size(), 60U);
    expectRunningOn(numbersOf(units), messages);
}

TEST_F(H264Test, NumbersStayReadableAtTheSmallestRateAndSize) {
    const auto source = newH264(640, 360);
    source->SetBitRate(150'000);
    Messages messages(*source);
    ASSERT_TRUE(source->ChangeUp(State::play));
    expectRunningOn(numbersOf(pull(*source, 45)), messages);
}

/** The encoder is opened as soon as the size is known, before the camera and its colour matrix are. */
TEST_F(H264Test, ColoursAreThoseOfTheCamera) {
    for (const auto& [matrix, colours] :
         {std::pair("smpte170m", AVCOL_SPC_SMPTE170M), std::pair("bt709", AVCOL_SPC_BT709)}) {
        const std::string name = std::string(matrix) + ".mp4";
        makeFile(std::string("-f lavfi -i testsrc2=s=320x240:r=10:d=1 -c:v libx264 -pix_fmt yuv420p ") +
                 "-colorspace " + matrix + " " + name);
        choose("file:" + path(name).string());
        const auto source = newH264(320, 240, 10);
        ASSERT_TRUE(source->ChangeUp(State::play));
        const std::vector<Frame> units = pull(*source, 1);
        ASSERT_EQ(units.size(), 1U);
        Decoder decoder;
        const AVFrame* picture = decoder.decode(*units[0]);
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->colorspace, colours) << matrix;
    }
}

TEST_F(H264Test, TheLastSizeAndRateBeforeTheStartApply) {
    const auto source = newH264(640, 360, 30);
    source->SetWidth(320);
    source->SetHeight(240);
    source->SetFrameRate(10);
    ASSERT_TRUE(source->ChangeUp(State::play));
    const std::vector<Frame> units = pull(*source, 2);
    ASSERT_EQ(units.size(), 2U);
    Decoder decoder;
    const AVFrame* picture = decoder.decode(*units[0]);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->width, 320);
    EXPECT_EQ(picture->height, 240);
    EXPECT_GT(units[1]->stamp - units[0]->stamp, std::chrono::milliseconds(90));
}

TEST_F(H264Test, GroupsHaveTheLengthThatIsSet) {
    const auto source = newH264();
    source->SetGop(7);
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_THAT(keysOf(pull(*source, 30)), ElementsAre(0, 7, 14, 21, 28));
}

TEST_F(H264Test, GroupLengthIsFifteenIfNotSet) {
    const auto source = newH264();
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_THAT(keysOf(pull(*source, 32)), ElementsAre(0, 15, 30));
}

TEST_F(H264Test, GroupLengthChangesWhileRunning) {
    const auto source = newH264();
    source->SetGop(12);
    ASSERT_TRUE(source->ChangeUp(State::play));
    std::vector<Frame> units = pull(*source, 14);
    source->SetGop(5);
    std::vector<Frame> more = pull(*source, 40);
    units.insert(units.end(), more.begin(), more.end());
    const std::vector<std::size_t> keys = keysOf(units);
    // The current group ends at the new length or, if it is longer already, at once.
    ASSERT_GE(keys.size(), 6U);
    EXPECT_EQ(keys[1], 12U);
    EXPECT_GE(keys[2], 14U);
    EXPECT_LE(keys[2], 24U);
    for (std::size_t i = 3; i < keys.size(); ++i) EXPECT_EQ(keys[i] - keys[i - 1], 5U);
}

TEST_F(H264Test, WithoutAGroupLengthOnlyTheFirstFrameIsKey) {
    const auto source = newH264();
    source->SetGop(0);
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_THAT(keysOf(pull(*source, 40)), ElementsAre(0));
}

TEST_F(H264Test, RequestedKeyFrameBeginsANewGroup) {
    const auto source = newH264();
    source->SetGop(10);
    ASSERT_TRUE(source->ChangeUp(State::play));
    Frame frame;
    for (int i = 0; i < 14; ++i) ASSERT_TRUE(source->PullFrame(frame, true));
    // Reads what is encoded so far; the request affects later pictures.
    while (source->PullFrame(frame, false)) {
    }
    source->RequestKeyFrame();
    const std::vector<std::size_t> keys = keysOf(pull(*source, 24));
    ASSERT_GE(keys.size(), 2U);
    EXPECT_LE(keys[0], 1U);
    EXPECT_EQ(keys[1] - keys[0], 10U);
}

TEST_F(H264Test, KeyFramesHaveTheirParameterSets) {
    const auto source = newH264();
    source->SetGop(4);
    ASSERT_TRUE(source->ChangeUp(State::play));
    for (const Frame& unit : pull(*source, 12)) {
        std::vector<int> kinds;
        for (int at = 0; at + 3 < unit->size; ++at) {
            if (unit->data[at] == 0 && unit->data[at + 1] == 0 && unit->data[at + 2] == 1) {
                kinds.push_back(unit->data[at + 3] & 0x1f);
            }
        }
        std::erase(kinds, 6);
        if (unit->key) {
            EXPECT_THAT(kinds, ElementsAre(7, 8, 5));
        } else {
            EXPECT_THAT(kinds, ElementsAre(1));
        }
    }
}

class BitRateTest : public H264Test, public testing::WithParamInterface<std::tuple<int, int, int>> {};

TEST_P(BitRateTest, IsWithinATenthOfWhatIsSet) {
    const auto [width, height, wanted] = GetParam();
    const auto source = newH264(width, height, 60);
    source->SetBitRate(wanted);
    ASSERT_TRUE(source->ChangeUp(State::play));
    EXPECT_NEAR(bitRateOf(pull(*source, 150), 60), wanted, wanted * 0.1);
}

INSTANTIATE_TEST_SUITE_P(SizesAndRates, BitRateTest,
                         testing::Values(std::tuple(1280, 720, 500'000), std::tuple(1280, 720, 8'000'000),
                                         std::tuple(640, 360, 500'000), std::tuple(640, 360, 8'000'000)));

TEST_F(H264Test, BitRateChangesWhileRunning) {
    const auto source = newH264(640, 360, 60);
    source->SetBitRate(1'000'000);
    ASSERT_TRUE(source->ChangeUp(State::play));
    pull(*source, 60);
    for (const int wanted : {3'000'000, 600'000}) {
        source->SetBitRate(wanted);
        pull(*source, 30);
        EXPECT_NEAR(bitRateOf(pull(*source, 90), 60), wanted, wanted * 0.1);
    }
}

TEST_F(H264Test, RateChangesWhileRunning) {
    const auto source = newH264();
    Messages messages(*source);
    ASSERT_TRUE(source->ChangeUp(State::play));
    pull(*source, 10);
    for (const int rate : {30, 25, 50}) {
        source->SetFrameRate(rate);
        const std::chrono::nanoseconds period = std::chrono::nanoseconds(std::chrono::seconds(1)) / rate;
        // Pictures in progress precede the first step of the new length.
        std::vector<Frame> units = pull(*source, 2);
        for (int i = 0; i < 200 && !isOneStep(*units[0], *units[1], period); ++i) {
            units = {units[1], pull(*source, 1).at(0)};
        }
        EXPECT_TRUE(isOneStep(*units[0], *units[1], period)) << rate;
        for (Frame& unit : pull(*source, 20)) units.push_back(std::move(unit));
        std::vector<std::int64_t> places;
        for (const Frame& unit : units) {
            const auto place = static_cast<double>((unit->stamp - units[0]->stamp).count()) /
                               static_cast<double>(period.count());
            EXPECT_NEAR(place, std::round(place), 1e-6) << rate;
            places.push_back(std::lround(place));
        }
        expectRunningOn(places, messages);
    }
}

TEST_F(H264Test, AnotherProgramReadsSizeAndRate) {
    for (const auto& [width, height, rate] :
         {std::tuple(1280, 720, 30), std::tuple(640, 360, 25), std::tuple(320, 240, 60)}) {
        const auto source = newH264(width, height, rate);
        ASSERT_TRUE(source->ChangeUp(State::play));
        std::ofstream file(path("stream.h264"), std::ios::binary);
        for (const Frame& unit : pull(*source, 20)) {
            file.write(reinterpret_cast<const char*>(unit->data), unit->size);
        }
        file.close();
        const std::string probed = outputOf(
            "ffprobe -v error -count_frames -show_entries "
            "stream=codec_name,width,height,r_frame_rate,nb_read_frames -of default=nw=1:nk=1 " +
            path("stream.h264").string());
        EXPECT_EQ(probed, "h264\n" + std::to_string(width) + "\n" + std::to_string(height) + "\n" +
                              std::to_string(rate) + "/1\n20\n");
    }
}

TEST_F(H264Test, SizeTakesEffectAtTheNextStart) {
    const auto source = newH264(640, 360);
    ASSERT_TRUE(source->ChangeUp(State::play));
    source->SetWidth(320);
    source->SetHeight(180);
    Decoder decoder;
    for (const Frame& unit : pull(*source, 3)) EXPECT_EQ(decoder.decode(*unit)->width, 640);
    ASSERT_TRUE(source->ChangeDown(State::null));
    ASSERT_TRUE(source->ChangeUp(State::play));
    const AVFrame* picture = decoder.decode(*pull(*source, 1).at(0));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 320);
    EXPECT_EQ(picture->height, 180);
}

TEST_F(H264Test, SizeIsThatOfTheCameraIfNotSet) {
    const Owned<IH264Source> source(IH264Source::CreateNew("vornisa"));
    ASSERT_TRUE(source->ChangeUp(State::play));
    Decoder decoder;
    const AVFrame* picture = decoder.decode(*pull(*source, 1).at(0));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 1920);
    EXPECT_EQ(picture->height, 1080);
}

TEST_F(H264Test, InvalidSettingsAreRefusedAtStartByName) {
    const struct {
        int width, height, rate, bitRate;
        const char* named;
    } cases[] = {{0, 360, 30, 500'000, "width 0"},       {-2, 360, 30, 500'000, "width -2"},
                 {641, 360, 30, 500'000, "width 641"},   {640, 8194, 30, 500'000, "height 8194"},
                 {640, 360, 0, 500'000, "frame rate 0"}, {640, 360, -1, 500'000, "frame rate -1"},
                 {640, 360, 30, 0, "bit rate 0"},        {640, 360, 30, -7, "bit rate -7"}};
    for (const auto& one : cases) {
        const auto source = newH264(one.width, one.height, one.rate);
        source->SetBitRate(one.bitRate);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(source->ChangeUp(State::play));
        const std::string line = testing::internal::GetCapturedStderr();
        EXPECT_THAT(line, HasSubstr(one.named));
        EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
        EXPECT_FALSE(isPlaying(*source));
    }
}

TEST_F(H264Test, InvalidSettingsDoNotChangeARunningStream) {
    const auto source = newH264();
    source->SetGop(5);
    ASSERT_TRUE(source->ChangeUp(State::play));
    pull(*source, 2);
    testing::internal::CaptureStderr();
    source->SetFrameRate(0);
    source->SetBitRate(-1);
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, HasSubstr("frame rate 0"));
    EXPECT_THAT(lines, HasSubstr("bit rate -1"));
    EXPECT_EQ(pull(*source, 10).size(), 10U);
    // Nor do they affect the next start.
    ASSERT_TRUE(source->ChangeDown(State::null));
    EXPECT_TRUE(source->ChangeUp(State::play));
}

TEST(H264Encoder, MissingEncoderIsNamed) {
    std::string reason;
    EXPECT_FALSE(
        H264Encoder::open({640, 360, {30, 1}, 500'000, AVCOL_SPC_BT709}, reason, "libx264-not-here"));
    EXPECT_EQ(reason, "encoder libx264-not-here is missing");
}

}  // namespace
}  // namespace kep::host
