#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "faulty_layer.h"
#include "kep/attr_set.h"
#include "pipeline_fixture.h"
#include "recorded_file.h"
#include "sample_stream.h"

namespace kep::host {
namespace {

namespace fs = std::filesystem;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr nanoseconds kPicture = nanoseconds(1'000'000'000) / SampleStream::rate;

/** The elements that follow the sources of a recording. */
std::string writer(const fs::path& folder, int secondsOfFile) {
    return "VornisaSeamless:name=seamless,duration=" + std::to_string(secondsOfFile) +
           "s+muxer-fmp4:name=muxer,flush=true,url={file://" + folder.string() +
           "/rec.mp4,temp_ext_name=part},sendmsg={recordStart={oper=AfterOpen,send={upward}},"
           "recordStop={oper=AfterClose,send={upward}}}";
}

/** A copy of a packet with another time stamp. */
std::shared_ptr<MediaPacket> at(const SharedPacket& packet, SteadyTime stamp) {
    auto moved = std::make_shared<MediaPacket>(*packet);
    moved->stamp = stamp;
    return moved;
}

class StreamTest : public testing::Test {
  protected:
    StreamTest() {
        std::string pattern = fs::temp_directory_path() / "streamsXXXXXX";
        folder_ = mkdtemp(pattern.data());
    }
    ~StreamTest() override { fs::remove_all(folder_); }

    std::vector<fs::path> files() const {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(folder_)) found.push_back(entry.path());
        std::sort(found.begin(), found.end(), [](const auto& one, const auto& other) {
            return fs::last_write_time(one) < fs::last_write_time(other);
        });
        return found;
    }

    fs::path folder_;
};

/** Pictures padded to `weight` bytes each by a filler NAL unit. */
class HeavyPictures {
  public:
    explicit HeavyPictures(std::size_t weight) : sample_(1) {
        for (const SharedPacket& packet : sample_.packets) {
            if (!packet->isVideo()) continue;
            auto bytes = std::make_shared<std::vector<std::uint8_t>>(packet->bytes.get(),
                                                                     packet->bytes.get() + packet->size);
            constexpr std::uint8_t kFillerUnit = 12;
            bytes->insert(bytes->end(), {0, 0, 0, 1, kFillerUnit});
            bytes->resize(weight, 0xff);
            bytes->push_back(0x80);
            auto heavy = std::make_shared<MediaPacket>(*packet);
            heavy->size = static_cast<int>(bytes->size());
            heavy->bytes = {bytes, bytes->data()};
            group_.push_back(heavy);
        }
    }

    SharedPacket packet(int number, SteadyTime begin) const {
        return at(group_[static_cast<std::size_t>(number) % group_.size()], begin + kPicture * number);
    }

  private:
    const SampleStream sample_;
    std::vector<SharedPacket> group_;
};

TEST_F(StreamTest, ALongStallOfTheDiskDropsWholeGroupsAndIsReported) {
    constexpr int kFlood = 110 * SampleStream::group;
    constexpr int kAfter = 3 * SampleStream::group;
    const HeavyPictures pictures(40'000);
    const SteadyTime begin = Clock::now() - kPicture * (kFlood + kAfter);
    FaultyLayer disk;
    Described camera("type=application,layout={type=pipeline,name=plFlood,layout={TestSource:name=src}}");
    Described recording(
        "type=application,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,name=plFlood},name="
        "vsrc+"
        "FifoFilter:name=vfifo,max=64+Sync:name=sync+" +
        writer(folder_, 600) + "}}");
    ASSERT_TRUE(camera && recording);
    ASSERT_TRUE(camera.play() && recording.play());
    TestSource& source = camera.child<TestSource>("src");
    disk.stall(true);
    // The flood starts after the first groups have reached the disk, so that those are not dropped.
    constexpr int kAhead = 2 * SampleStream::group;
    for (int i = 0; i < kAhead; ++i) source.push(pictures.packet(i, begin));
    ASSERT_TRUE(waitUntil([&] { return disk.isWaitedFor(); }));
    for (int i = kAhead; i < kFlood; ++i) source.push(pictures.packet(i, begin));
    ASSERT_NE(recording.waitForMessage("name=frameLost"), "");
    disk.stall(false);
    for (int i = kFlood; i < kFlood + kAfter; ++i) source.push(pictures.packet(i, begin));
    ASSERT_TRUE(recording.stop());

    ASSERT_EQ(files().size(), 1U);
    RecordedFile file(files().front().string());
    const auto recorded = static_cast<int>(file.decodePictures().size());
    EXPECT_TRUE(file.errors().empty()) << file.errors().front();
    const auto lost = [&] {
        const std::string message = recording.waitForMessage("name=frameLost");
        return base::AttrSet(message.c_str()).GetOrDef<int>("total", 0);
    };
    EXPECT_TRUE(waitUntil([&] { return recorded + lost() == kFlood + kAfter; }))
        << recorded << " recorded, " << lost() << " reported as lost";
    EXPECT_GT(lost(), 0);
    // A picture whose reference is lost is dropped, too.
    double before = file.video().begin();
    for (const auto& packet : file.video().packets) {
        const double time = file.video().seconds(packet->pts);
        if (time - before > 1.5 / SampleStream::rate) {
            EXPECT_TRUE(packet->flags & AV_PKT_FLAG_KEY) << time;
        }
        before = time;
    }
    // The file extends to the last picture; lost pictures leave a gap of their duration.
    EXPECT_NEAR(file.video().end() - file.video().begin(), double(kFlood + kAfter) / SampleStream::rate,
                0.002);
}

/** A jump of the clock behind the time stamps of one stream, or both. */
struct Jump {
    const char* name;
    bool pictures;
    bool sound;
    int second; /**< when it happens */
    seconds by;
    int duration; /**< seconds until the clock is right again */
};

class JumpTest : public StreamTest, public testing::WithParamInterface<Jump> {};

TEST_P(JumpTest, LeavesTheFilesTheirLength) {
    constexpr int kSeconds = 8;
    constexpr int kFile = 2;
    const Jump& jump = GetParam();
    const SampleStream sample(kSeconds);
    const SteadyTime origin = sample.packets.front()->stamp;
    const SteadyTime begin = Clock::now() - seconds(kSeconds);
    Described recording(
        "type=application,layout={type=pipeline,layout={TestSource:name=asrc+FifoFilter:name=afifo,max=64+"
        "TestSource:name=vsrc,link=null+FifoFilter:name=vfifo,max=64+Sync:name=sync,link={afifo,vfifo}+" +
        writer(folder_, kFile) + "}}");
    ASSERT_TRUE(recording);
    ASSERT_TRUE(recording.play());
    for (const SharedPacket& packet : sample.packets) {
        const auto since = packet->stamp - origin;
        const bool jumps = (packet->isVideo() ? jump.pictures : jump.sound) &&
                           since >= seconds(jump.second) && since < seconds(jump.second + jump.duration);
        recording.child<TestSource>(packet->isVideo() ? "vsrc" : "asrc")
            .push(at(packet, begin + since + (jumps ? jump.by : seconds(0))));
    }
    EXPECT_NE(recording.waitForMessage("name=timeJump", jump.pictures ? "" : "media=audio"), "");
    ASSERT_TRUE(recording.stop());

    double length = 0;
    std::size_t pictures = 0;
    std::size_t sounds = 0;
    for (const fs::path& path : files()) {
        EXPECT_EQ(path.extension(), ".mp4");
        RecordedFile file(path.string());
        pictures += file.decodePictures().size();
        sounds += file.audio().packets.size();
        file.decodeSound();
        EXPECT_TRUE(file.errors().empty()) << path << ": " << file.errors().front();
        const double here = file.video().end() - file.video().begin();
        EXPECT_NEAR(here, kFile, 1.0 / SampleStream::rate + 0.002) << path;
        EXPECT_NEAR(file.audio().end(), file.video().end(), 0.1) << path;
        length += here;
    }
    EXPECT_NEAR(length, kSeconds, 0.01);
    EXPECT_EQ(pictures + sounds, sample.packets.size());
}

INSTANTIATE_TEST_SUITE_P(All, JumpTest,
                         testing::Values(Jump{"PicturesFarAhead", true, false, 3, seconds(7200), 100},
                                         Jump{"PicturesBack", true, false, 3, seconds(-3600), 100},
                                         Jump{"PicturesAheadAndAgain", true, false, 3, seconds(86400), 1},
                                         Jump{"SoundFarAhead", false, true, 3, seconds(7200), 100},
                                         Jump{"SoundBack", false, true, 3, seconds(-3600), 100},
                                         Jump{"BothFarAhead", true, true, 5, seconds(7200), 100},
                                         Jump{"BothBackAndAgain", true, true, 3, seconds(-600), 2}),
                         [](const auto& parameter) { return std::string(parameter.param.name); });

}  // namespace
}  // namespace kep::host
