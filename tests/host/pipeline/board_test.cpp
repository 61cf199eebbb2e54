#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "kep/device.h"
#include "kep/entry_points.h"
#include "kep/reflect.h"
#include "kep/streaming.h"
#include "pipeline_fixture.h"
#include "process_resources.h"

namespace kep::host {
namespace {

class BoardTest : public testing::Test {
  protected:
    BoardTest() {
        setenv("KEP_HOST_VIDEO", "test", 1);
        setenv("KEP_HOST_AUDIO", "test", 1);
    }

    static std::string reader(const std::string& name) {
        return "type=pipeline,layout={ShmSource:connect={type=pipeline,name=" + name +
               "},name=src+FifoFilter:max=8+TestSink:name=z}";
    }
};

TEST_F(BoardTest, ItsPipelinesRunWhileThereAreListeners) {
    for (const auto& [name, codec] :
         {std::pair("plAacSource", AV_CODEC_ID_AAC), std::pair("plPreRecordAac", AV_CODEC_ID_AAC),
          std::pair("plPreRecordH264", AV_CODEC_ID_H264)}) {
        Described reading(reader(name));
        ASSERT_TRUE(reading) << name;
        ASSERT_TRUE(reading.play()) << name;
        ASSERT_TRUE(reading.child<TestSink>("z").waitFor(20)) << name;
        EXPECT_EQ(reading.child<TestSink>("z").packets().front()->media->codec, codec);
        EXPECT_TRUE(reading.child<TestSink>("z").packets().front()->key);
    }
}

TEST_F(BoardTest, SoundAndPicturesShareOneClock) {
    // However busy the machine, one stream waits for the other: the test is about their order.
    Described app(
        "type=application,layout={type=pipeline,serialize={ShmSource:connect={type=pipeline,name="
        "plPreRecordAac},"
        "name=asrc+FifoFilter:name=afifo,max=8+ShmSource:connect={type=pipeline,name=plPreRecordH264},name="
        "vsrc,link=null+FifoFilter:name=vfifo,max=8+Sync:name=sync,wait=60000,link={afifo,vfifo}+"
        "TestSink:name=z}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    ASSERT_TRUE(app.child<TestSink>("z").waitFor(150));
    app.stop();
    const std::vector<SharedPacket> packets = app.child<TestSink>("z").packets();
    EXPECT_TRUE(packets.front()->isVideo());
    EXPECT_TRUE(packets.front()->key);
    std::size_t sounds = 0;
    for (std::size_t i = 1; i < packets.size(); ++i) {
        EXPECT_GE(packets[i]->stamp, packets[i - 1]->stamp) << i;
        if (!packets[i]->isVideo()) ++sounds;
    }
    EXPECT_GT(sounds, packets.size() / 3);
}

TEST_F(BoardTest, ThePastIsBufferedWhileThereAreListeners) {
    Described keeper(reader("plPreRecordH264"));
    ASSERT_TRUE(keeper);
    ASSERT_TRUE(keeper.play());
    ASSERT_TRUE(keeper.child<TestSink>("z").waitFor(40));
    const SteadyTime then = Clock::now();
    Described late(reader("plPreRecordH264"));
    ASSERT_TRUE(late);
    ASSERT_TRUE(late.play());
    ASSERT_TRUE(late.child<TestSink>("z").waitFor(40));
    EXPECT_LT(late.child<TestSink>("z").packets().front()->stamp, then - milliseconds(500));
}

using MakeFirst = object_base* (*)();

template <class Source>
object_base* firstStream() {
    return Source::CreateNew("vornisa");
}

/** An object made from a description and never started. */
template <const char* layout>
object_base* firstDescription() {
    return kepCreate(
        ("type=Application,layout={type=pipeline,layout={" + std::string(layout) + "}}").c_str());
}

constexpr char kCamera[] = "PvYuvSrcAdv";
constexpr char kMicrophone[] = "MicSrc";
constexpr char kEventService[] =
    "ShmSource:connect={type=pipeline,name=plPreRecordH264}+RecordEventServiceTriggerShm+muxer-fmp4";

/**
 * Whether a new listener gets earlier packets. There is no other listener, so the board itself has buffered
 * them.
 */
bool hasPast(const std::string& readerText) {
    Described late(readerText);
    const SteadyTime then = Clock::now();
    return late && late.play() && late.child<TestSink>("z").waitFor(1) &&
           late.child<TestSink>("z").packets().front()->stamp < then - milliseconds(300);
}

/** Exits with 0 if an event after the first object finds buffered packets. */
[[noreturn]] void expectPastWithoutListener(MakeFirst makeFirst, const std::string& readerText) {
    unsetenv("KEP_HOST_PRERECORD");
    const auto before = runningThreads();
    object_base* const first = makeFirst();
    // Checked before creating a reader, which would start pre-recording, too.
    const bool begun = first && runningThreads() > before;
    const bool past = begun && waitUntil([&] { return hasPast(readerText); });
    delete first;
    std::exit(past ? 0 : 1);
}

TEST_F(BoardTest, TheFirstObjectThatFilmsOrRecordsStartsPreRecording) {
    using namespace api::streaming;
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    for (const MakeFirst make : {firstStream<IYuvSource>, firstStream<IH264Source>, firstStream<IPhotography>,
                                 firstStream<IPcmSource>, firstStream<IAacSource>, firstDescription<kCamera>,
                                 firstDescription<kMicrophone>, firstDescription<kEventService>}) {
        EXPECT_EXIT(expectPastWithoutListener(make, reader("plPreRecordH264")), testing::ExitedWithCode(0),
                    "");
    }
    EXPECT_EXIT(expectPastWithoutListener(firstStream<IYuvSource>, reader("plPreRecordAac")),
                testing::ExitedWithCode(0), "");
}

/** Exits with 0 if objects that neither film nor record start no thread and open no camera. */
[[noreturn]] void expectNothingBegun() {
    unsetenv("KEP_HOST_PRERECORD");
    setenv("KEP_HOST_VIDEO", "file:/none/film.mp4", 1);
    setenv("KEP_HOST_AUDIO", "file:/none/sound.wav", 1);
    const ErrorLines lines;
    const auto before = runningThreads();
    const std::function<void()> questions[] = {
        [] { delete kepCreateAttrSet("a=1,b={c=2}"); },
        [] { delete kepCreateAttrSet("file:///tmp/a.mp4"); },
        [] {
            base::AttrSet arguments("cmd=flip");
            base::Factory::Globle().Run("shm0_cmd", arguments);
        },
        [] { dev::IMicrophone::Microphone("vornisa"); },
        [] { dev::ISpeaker::Speaker("vornisa"); },
        [] { delete api::streaming::IPcmPlayer::CreateNew("vornisa"); },
        [] { delete api::streaming::IYuvSource::CreateNew("elsewhere"); },
        [] { delete api::streaming::IAacSource::CreateNew(nullptr); },
        [] { delete kepCreate("type=fmp4-info,name=fmp4info,url=file:///none/a.mp4"); },
        [] { delete kepCreate("type=AacCodec,name=aacEncoder,isEncoder=true"); },
        [] { delete kepCreate("type=encoder-h264,gop=15"); },
        [] { delete kepCreate("type=encoder-aac"); },
        [] { delete kepCreate("type=VornisaSharedMemory,name=shm,free=false"); },
        [] { delete kepCreate("type=Application,name=appIdle,noconfigure=true"); },
    };
    int asked = 0;
    for (const auto& ask : questions) {
        ++asked;
        ask();
        if (runningThreads() != before) std::exit(asked);
    }
    for (const std::string& line : lines.messages()) {
        if (line.find("/none/film") != line.npos || line.find("/none/sound") != line.npos) std::exit(100);
    }
    std::exit(0);
}

TEST_F(BoardTest, OtherObjectsStartNoPreRecording) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(expectNothingBegun(), testing::ExitedWithCode(0), "");
}

TEST_F(BoardTest, AnInvalidChoiceIsReported) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto describe = [] {
        setenv("KEP_HOST_PRERECORD", "often", 1);
        const Described any("type=pipeline,layout={MicSrc}");
        std::exit(any ? 0 : 1);
    };
    EXPECT_EXIT(describe(), testing::ExitedWithCode(0),
                "^[^\n]*KEP_HOST_PRERECORD=often is neither always nor attached\n[^\n]*$");
}

/** A camera that is missing until a film is put in its place. */
class MissingCamera {
  public:
    MissingCamera() {
        std::filesystem::create_directory(folder_);
        setenv("KEP_HOST_VIDEO", ("file:" + film().string()).c_str(), 1);
        unsetenv("KEP_HOST_PRERECORD");
    }
    ~MissingCamera() { std::filesystem::remove_all(folder_); }

    bool appear() const {
        const std::filesystem::path made = folder_ / "made.h264";
        const std::string command =
            "ffmpeg -nostdin -loglevel error -y -f lavfi -i testsrc=s=320x180:r=30 -frames:v 10 -c:v libx264 "
            "'" +
            made.string() + "'";
        if (std::system(command.c_str()) != 0) return false;
        std::filesystem::rename(made, film());
        return true;
    }
    /** How often the camera has been looked for. */
    int attempts() const {
        const std::vector<std::string> all = lines_.messages();
        return static_cast<int>(std::count_if(all.begin(), all.end(), [this](const std::string& line) {
            return line.find(film().string()) != std::string::npos;
        }));
    }

  private:
    std::filesystem::path film() const { return folder_ / "film.h264"; }

    const std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() / ("board-camera-" + std::to_string(getpid()));
    const ErrorLines lines_;
};

/** Exits with 0 if packets are buffered once the camera appears, although nobody has listened. */
[[noreturn]] void expectPastOnceThereIsACamera(const std::string& readerText) {
    bool past = false;
    {
        const MissingCamera camera;
        object_base* const first = firstDescription<kCamera>();
        past = first && waitUntil([&] { return camera.attempts() > 0; }) && camera.appear() &&
               waitUntil([&] { return hasPast(readerText); });
        delete first;
    }
    std::exit(past ? 0 : 1);
}

TEST_F(BoardTest, ACameraThatAppearsLaterIsPreRecorded) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(expectPastOnceThereIsACamera(reader("plPreRecordH264")), testing::ExitedWithCode(0), "");
}

/** The pause that begins with the third attempt lasts four seconds. */
Clock::time_point thirdAttempt;

[[noreturn]] void expectEndWithinAPause() {
    // Registered before the board's pipelines exist, so it runs after their destruction.
    std::atexit([] { std::_Exit(Clock::now() < thirdAttempt + std::chrono::seconds(3) ? 0 : 1); });
    {
        const MissingCamera camera;
        if (!firstDescription<kCamera>() || !waitUntil([&] { return camera.attempts() == 3; })) std::_Exit(2);
        thirdAttempt = Clock::now();
    }
    std::exit(3);
}

TEST_F(BoardTest, WaitingForACameraDoesNotBlockProcessExit) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(expectEndWithinAPause(), testing::ExitedWithCode(0), "");
}

TEST_F(BoardTest, ARecordingLeftRunningDoesNotBlockProcessExit) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto leave = [] {
        auto* const app = dynamic_cast<ObjectImpl*>(kepCreate(
            "type=application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,name="
            "plAacSource}"
            "+FifoFilter:name=afifo+ShmSource:connect={type=pipeline,layout={pv-yuv-src-adv:w=320,h=180"
            "+encoder-h264+FifoSink:max=2},name=plLeft},link=null+FifoFilter:name=vfifo+Sync:link={afifo,"
            "vfifo}"
            "+TestSink:name=z}}"));
        const bool runs = app && app->SetStr("status", "play") &&
                          dynamic_cast<TestSink&>(*app->findChild("z", true)).waitFor(10);
        std::exit(runs ? 0 : 1);
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(0), "");
}

TEST_F(BoardTest, StartingAndStoppingLeaksNothing) {
    Described app(
        "type=application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,name=plAacSource}"
        "+FifoFilter:name=afifo+ShmSource:connect={type=pipeline,layout={pv-yuv-src-adv:w=320,h=180"
        "+encoder-h264+FifoSink:max=2},name=plAgain},link=null+FifoFilter:name=vfifo+Sync:link={afifo,vfifo}"
        "+FakeSink:name=z}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    // By then both devices and their threads have started.
    ASSERT_TRUE(waitUntil([&] { return std::stoi(*app.child<ObjectImpl>("z").text("count")) >= 20; }));
    const auto running = runningThreads();
    for (int round = 0; round < 10; ++round) {
        ASSERT_TRUE(app.stop());
        ASSERT_TRUE(app.play());
    }
    EXPECT_TRUE(waitUntil([&] { return runningThreads() <= running; }))
        << runningThreads() << " threads, before: " << running;
    ASSERT_TRUE(app.stop());
}

}  // namespace
}  // namespace kep::host
