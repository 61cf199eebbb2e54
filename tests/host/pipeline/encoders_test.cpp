#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "media/common/ffmpeg.h"
#include "picture_probe.h"
#include "pipeline_fixture.h"

namespace kep::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/** The numbers shown in the pictures of an encoded stream, one per access unit. */
std::vector<std::int64_t> numbersOf(const std::vector<SharedPacket>& units) {
    const CodecPtr codec(avcodec_alloc_context3(avcodec_find_decoder(units.front()->media->codec)));
    codec->thread_count = 1;
    codec->flags |= AV_CODEC_FLAG_LOW_DELAY;
    EXPECT_GE(avcodec_open2(codec.get(), nullptr, nullptr), 0);
    const PacketPtr packet(av_packet_alloc());
    const FramePtr frame(av_frame_alloc());
    std::vector<std::int64_t> numbers;
    const auto receive = [&] {
        while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
            const auto number =
                readPictureNumber({frame->data[0], frame->linesize[0], frame->width, frame->height});
            numbers.push_back(number ? static_cast<std::int64_t>(*number) : -1);
        }
    };
    for (const SharedPacket& unit : units) {
        av_new_packet(packet.get(), unit->size);
        std::copy_n(unit->bytes.get(), unit->size, packet->data);
        EXPECT_GE(avcodec_send_packet(codec.get(), packet.get()), 0);
        av_packet_unref(packet.get());
        receive();
    }
    avcodec_send_packet(codec.get(), nullptr);
    receive();
    return numbers;
}

std::string recorder(const std::string& encoder, const std::string& before = "") {
    return "type=application,layout={type=pipeline,layout={pv-yuv-src-adv:name=cam,w=640,h=360" + before +
           "+encoder-" + encoder +
           ":name=enc,goptype=ippp,gop=10,br=1500000,fr=30,clock=400000+FifoSink:max=2"
           "+TestSink:name=z}}";
}

class EncoderTest : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        setenv("KEP_HOST_VIDEO", "test", 1);
        const std::string encoder = GetParam() == std::string("h265") ? "libx265" : "libx264";
        if (!avcodec_find_encoder_by_name(encoder.c_str())) GTEST_SKIP() << encoder << " is not installed";
    }
};

TEST_P(EncoderTest, EncodesTheCameraWithNoPictureLost) {
    Described app(recorder(GetParam(), "+FrameDroper:dr=0/30"));
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    ASSERT_TRUE(app.child<TestSink>("z").waitFor(45));
    ASSERT_TRUE(app.stop());
    const std::vector<SharedPacket> units = app.child<TestSink>("z").packets();
    for (std::size_t i = 0; i < units.size(); ++i) {
        EXPECT_EQ(units[i]->key, i % 10 == 0) << i;
        EXPECT_EQ(units[i]->media->width, 640);
        EXPECT_EQ(units[i]->media->height, 360);
        if (i > 0) {
            EXPECT_GT(units[i]->stamp, units[i - 1]->stamp);
        }
    }
    const std::vector<std::int64_t> numbers = numbersOf(units);
    ASSERT_EQ(numbers.size(), units.size());
    std::int64_t missing = 0;
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        ASSERT_GT(numbers[i], numbers[i - 1]);
        missing += numbers[i] - numbers[i - 1] - 1;
    }
    // A stalled machine can make the camera itself miss a picture, which is then reported.
    if (missing > 0) {
        EXPECT_NE(app.waitForMessage("name=frameLost,media=video"), "") << missing;
    }
}

TEST_P(EncoderTest, FollowsItsGroupLengthAndBitRateWhileItRuns) {
    Described app(recorder(GetParam()));
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    TestSink& sink = app.child<TestSink>("z");
    ASSERT_TRUE(sink.waitFor(12));
    ASSERT_TRUE(app->SetStr("gop", "3"));
    ASSERT_TRUE(app->SetStr("br", "800000"));
    const std::size_t seen = sink.packets().size();
    ASSERT_TRUE(sink.waitFor(seen + 15));
    app.stop();
    const std::vector<SharedPacket> units = sink.packets();
    std::vector<std::size_t> keys;
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (units[i]->key) keys.push_back(i);
    }
    ASSERT_GE(keys.size(), 3U);
    EXPECT_EQ(keys[keys.size() - 1] - keys[keys.size() - 2], 3U);
    EXPECT_EQ(units.back()->media->bitRate, 800'000);
    EXPECT_EQ(numbersOf(units).size(), units.size());
}

/** The stamps of a sink's key frames, except the first. */
std::vector<SteadyTime> furtherKeys(TestSink& sink) {
    std::vector<SteadyTime> keys;
    for (const SharedPacket& unit : sink.packets()) {
        if (unit->key) keys.push_back(unit->stamp);
    }
    if (!keys.empty()) keys.erase(keys.begin());
    return keys;
}

/** The request travels upstream through a private pipeline, its outlet, a queue and the merger. */
TEST_P(EncoderTest, MakesAKeyFrameOfTheRequestedPicture) {
    Described app(
        "type=application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,layout={"
        "pv-yuv-src-adv:w=640,h=360+encoder-" +
        std::string(GetParam()) +
        ":gop=0,fr=30+FifoSink:max=2},name=plKeys}+FifoFilter:max=64+Sync+TestSink:name=z}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    TestSink& sink = app.child<TestSink>("z");
    ASSERT_TRUE(sink.waitFor(5));
    EXPECT_TRUE(sink.packets().front()->key);
    const SteadyTime at = Clock::now() + std::chrono::seconds(1);
    sink.requestKeyFrame(at);
    ASSERT_TRUE(waitUntil([&] { return !furtherKeys(sink).empty(); }));
    // A picture covers the time up to the next one; a busy machine skips pictures.
    constexpr std::chrono::nanoseconds kPicture(1'000'000'000 / 30);
    const SteadyTime key = furtherKeys(sink).front();
    EXPECT_GE(key, at - kPicture);
    EXPECT_TRUE(std::ranges::none_of(
        sink.packets(), [&](const SharedPacket& unit) { return unit->stamp >= at && unit->stamp < key; }));
    // A time in the past means as soon as possible, and repeated requests count once.
    ASSERT_TRUE(sink.waitFor(sink.packets().size() + 2));
    const SteadyTime past = sink.packets().back()->stamp;
    for (int i = 0; i < 5; ++i) sink.requestKeyFrame(past);
    ASSERT_TRUE(waitUntil([&] { return furtherKeys(sink).size() == 2; }));
    ASSERT_TRUE(sink.waitFor(sink.packets().size() + 15));
    EXPECT_EQ(furtherKeys(sink).size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Codecs, EncoderTest, testing::Values("h264", "h265"),
                         [](const auto& codec) { return std::string(codec.param); });

TEST(VideoEncoder, RefusesInvalidSettings) {
    const auto refused = [](const std::string& attributes) {
        return refusalOf("type=pipeline,layout={TestSource+encoder-h264:name=e," + attributes + "}");
    };
    EXPECT_THAT(refused("br=0"), StartsWith("encoder-h264 \"e\": br=0 is not from"));
    EXPECT_THAT(refused("fr=0"), StartsWith("encoder-h264 \"e\": fr=0 is not from 1 to 120"));
    EXPECT_THAT(refused("gop=-2"), StartsWith("encoder-h264 \"e\": gop=-2 is not from"));
    EXPECT_THAT(refused("goptype=spiral"), StartsWith("encoder-h264 \"e\": goptype=spiral is not ippp"));
}

TEST(VideoEncoder, ReportsAStreamOfEncodedPictures) {
    Described app(
        "type=application,layout={type=pipeline,layout={TestSource:name=a+encoder-h264:name=e+TestSink:name="
        "z}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    const ErrorLines lines;
    for (int i = 0; i < 3; ++i) app.child<TestSource>("a").push(videoPacket(Clock::now(), true));
    EXPECT_THAT(lines.messages(), testing::ElementsAre("encoder-h264 \"e\" accepts pictures only"));
}

TEST(CameraElement, RefusesAndNamesAnInvalidSize) {
    for (const auto& [attributes, size] : {std::pair("w=0,h=0", "0x0"), std::pair("w=641,h=360", "641x360"),
                                           std::pair("w=640", "640x?"), std::pair("w=-1,h=360", "?x360")}) {
        EXPECT_THAT(
            refusalOf(std::string("type=pipeline,layout={pv-yuv-src-adv:name=cam,") + attributes + "}"),
            StartsWith(std::string("PvYuvSrcAdv \"cam\": size ") + size +
                       ": width and height must be even numbers"));
    }
}

TEST(CameraElement, DeliversPicturesOfTheRequestedSizeOrTheCameras) {
    setenv("KEP_HOST_VIDEO", "test", 1);
    for (const auto& [attributes, width] : {std::pair("w=320,h=180", 320), std::pair("name=cam", 1920)}) {
        Described app(std::string("type=pipeline,layout={PvYuvSrcAdv:") + attributes + "+TestSink:name=z}");
        ASSERT_TRUE(app);
        ASSERT_TRUE(app.play());
        ASSERT_TRUE(app.child<TestSink>("z").waitFor(3));
        app.stop();
        const SharedPacket picture = app.child<TestSink>("z").packets().front();
        EXPECT_EQ(picture->media->width, width);
        EXPECT_EQ(picture->picture->frame->width, width);
    }
}

TEST(CameraElement, DoesNotStartWithoutACamera) {
    setenv("KEP_HOST_VIDEO", "file:/nowhere/film.mp4", 1);
    Described app("type=pipeline,layout={PvYuvSrcAdv:w=320,h=180+TestSink:name=z}");
    ASSERT_TRUE(app);
    const ErrorLines lines;
    EXPECT_FALSE(app.play());
    EXPECT_THAT(lines.messages(), testing::ElementsAre(HasSubstr("/nowhere/film.mp4")));
    setenv("KEP_HOST_VIDEO", "test", 1);
    EXPECT_TRUE(app.play());
}

TEST(CameraElement, IsReopenedAfterALoss) {
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("pipeline-camera-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const std::string film = (folder / "film.h264").string();
    const std::string pipe = (folder / "camera").string();
    const std::string command =
        "ffmpeg -nostdin -loglevel error -y -f lavfi -i testsrc=s=320x180:r=30 -frames:v 10 " +
        ("-c:v libx264 '" + film + "'");
    ASSERT_EQ(std::system(command.c_str()), 0);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    setenv("KEP_HOST_VIDEO", ("file:" + pipe).c_str(), 1);
    std::thread writer([&] {
        for (int round = 0; round < 2; ++round)
            EXPECT_EQ(std::system(("cat '" + film + "' > '" + pipe + "'").c_str()), 0);
    });
    Described app(
        "type=application,layout={type=pipeline,layout={PvYuvSrcAdv+encoder-h264+TestSink:name=z}}");
    ASSERT_TRUE(app);
    const ErrorLines lines;
    EXPECT_TRUE(app.play());
    EXPECT_TRUE(app.child<TestSink>("z").waitFor(20));
    writer.join();
    EXPECT_EQ(app.waitForMessage("name=deviceLost"), "name=deviceLost,media=video,device=file:" + pipe);
    EXPECT_THAT(lines.messages().front(), HasSubstr("camera file:" + pipe + ": has ended"));
    app.stop();
    setenv("KEP_HOST_VIDEO", "test", 1);
    std::filesystem::remove_all(folder);
}

TEST(Microphone, IsEncodedWithoutAGapAndWithAdtsOnRequest) {
    setenv("KEP_HOST_AUDIO", "test", 1);
    for (const bool adts : {false, true}) {
        Described app("type=pipeline,layout={MicSrc+encoder-aac:name=aac,br=96000,adts=" +
                      std::string(adts ? "true" : "false") + "+TestSink:name=z}");
        ASSERT_TRUE(app);
        ASSERT_TRUE(app.play());
        ASSERT_TRUE(app.child<TestSink>("z").waitFor(50));
        app.stop();
        const std::vector<SharedPacket> units = app.child<TestSink>("z").packets();
        EXPECT_EQ(units.front()->media->codec, AV_CODEC_ID_AAC);
        EXPECT_EQ(units.front()->media->bitRate, 96'000);
        // AudioSpecificConfig of AAC-LC, 48 kHz, two channels.
        EXPECT_EQ(units.front()->media->parameters, (std::vector<std::uint8_t>{0x11, 0x90}));
        for (std::size_t i = 1; i < units.size(); ++i) {
            const std::chrono::duration<double, std::milli> step = units[i]->stamp - units[i - 1]->stamp;
            EXPECT_NEAR(step.count(), 1024 * 1000. / 48000, 0.5) << i;
            const std::uint8_t* const bytes = units[i]->bytes.get();
            EXPECT_EQ(bytes[0] == 0xff && (bytes[1] & 0xf6) == 0xf0, adts);
        }
    }
}

TEST(Microphone, StartsWithoutADeviceAndOpensItLater) {
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() / ("pipeline-mic-" + std::to_string(getpid()) + ".wav");
    const std::string made = file.string() + ".made.wav";
    const std::string command =
        "ffmpeg -nostdin -loglevel error -y -f lavfi -i sine=d=2:r=48000 -ac 2 '" + made + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    setenv("KEP_HOST_AUDIO", ("file:" + file.string()).c_str(), 1);
    {
        Described app("type=pipeline,layout={MicSrc+TestSink:name=z}");
        ASSERT_TRUE(app);
        const ErrorLines lines;
        ASSERT_TRUE(app.play());
        ASSERT_TRUE(waitUntil([&] { return !lines.messages().empty(); }));
        EXPECT_THAT(lines.messages().front(), HasSubstr(file.string()));
        std::filesystem::rename(made, file);
        EXPECT_TRUE(app.child<TestSink>("z").waitFor(5));
    }
    setenv("KEP_HOST_AUDIO", "test", 1);
    std::filesystem::remove(file);
}

}  // namespace
}  // namespace kep::host
