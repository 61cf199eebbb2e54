#include "media/recording/muxer.h"

#include <gmock/gmock.h>

#include "faulty_layer.h"
#include "judged_file.h"
#include "pipeline_fixture.h"
#include "recorded_file.h"
#include "recorder.h"
#include "sample_stream.h"

namespace kep::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kWidth = 96;
constexpr int kHeight = 64;
constexpr const char* kAll =
    "sendmsg={recordStart={oper=AfterOpen,send={upward}},recordStop={oper=AfterClose,send={upward}}}";

const SampleStream& sample() {
    static const SampleStream stream(4);
    return stream;
}

class MuxerTest : public recording_test::RecordingTest {
  protected:
    void make(const std::string& attributes = kAll, const std::string& name = "a.mp4") {
        pipeline_ = std::make_unique<Described>(
            "type=pipeline,layout={TestSource:name=in+muxer-fmp4:name=out,url={" + url(name) +
            ",creater=ntp,temp_ext_name=part}" + (attributes.empty() ? "" : "," + attributes) + "}");
        ASSERT_TRUE(*pipeline_);
        ASSERT_TRUE(pipeline_->play());
    }

    std::string url(const std::string& name) const { return "file://" + (folder() / name).string(); }
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& path : filesIn(folder())) found.push_back(path.filename());
        std::sort(found.begin(), found.end());
        return found;
    }
    JudgedFile played(const std::string& name) const {
        return JudgedFile(folder() / name, kWidth, kHeight, false);
    }

    void push(const SharedPacket& packet) { pipeline_->child<TestSource>("in").push(packet); }
    /** Pushes the wanted packets of the sample, moved in time. */
    void pushSample(const std::function<bool(const MediaPacket&)>& wanted = nullptr,
                    std::chrono::nanoseconds by = {}) {
        for (const SharedPacket& packet : sample().packets) {
            if (wanted && !wanted(*packet)) continue;
            auto moved = std::make_shared<MediaPacket>(*packet);
            moved->stamp += by;
            push(moved);
        }
    }
    void cut() { pipeline_->child<TestSource>("in").cut(); }
    ClipWriter& clips() {
        return dynamic_cast<ClipWriter&>(*pipeline_->operator->()->findChild("out", true));
    }

    /** Keeps the failures of clips. */
    ClipWriter::OnFailed noted() {
        return [this](const FileFailure& failure) {
            failures_.push_back(failure.url + ": " + failure.reason + ", kept: " + failure.kept);
        };
    }

    std::unique_ptr<Described> pipeline_;
    std::vector<std::string> failures_;
};

bool isVideo(const MediaPacket& packet) {
    return packet.isVideo();
}

TEST_F(MuxerTest, ReportsItsFilesWithTheirUrls) {
    make();
    pushSample();
    EXPECT_EQ(pipeline_->waitForMessage("name=recordStart"), "name=recordStart,url=" + url("a.mp4"));
    EXPECT_THAT(names(), ElementsAre("a.mp4.part"));
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_THAT(names(), ElementsAre("a.mp4"));
    EXPECT_EQ(pipeline_->waitForMessage("name=recordStop"), "name=recordStop,url=" + url("a.mp4"));
}

TEST_F(MuxerTest, SourcesDoNotWaitForTheDisk) {
    std::atomic<bool> stalls{true};
    FaultyLayer disk([&](FaultyLayer::Step, int) -> const char* {
        while (stalls) std::this_thread::yield();
        return nullptr;
    });
    make();
    // A caller that waits for the disk would block for ever.
    pushSample();
    stalls = false;
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_EQ(played("a.mp4").video().size(), 4U * SampleStream::rate);
    EXPECT_THAT(pipeline_->messages("name=frameLost"), IsEmpty());
}

TEST_F(MuxerTest, FlushesWhenNoPacketsFollow) {
    make();
    // Less than a fragment.
    const SteadyTime begin = sample().packets.front()->stamp;
    pushSample([&](const MediaPacket& packet) { return packet.stamp - begin < milliseconds(400); });
    const auto isPlayed = [&] {
        return std::filesystem::exists(folder() / "a.mp4.part") &&
               !RecordedFile((folder() / "a.mp4.part").string()).video().packets.empty();
    };
    EXPECT_TRUE(waitUntil(isPlayed));
    ASSERT_TRUE(pipeline_->stop());
}

TEST_F(MuxerTest, SendsOnlyRequestedMessages) {
    make("");
    pushSample();
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_THAT(names(), ElementsAre("a.mp4"));
    ASSERT_NE(pipeline_->waitForMessage("name=stopped"), "");
    EXPECT_THAT(pipeline_->messages("name=record"), IsEmpty());
}

TEST_F(MuxerTest, StartsANewFileAtACut) {
    make();
    pushSample();
    cut();
    pushSample(nullptr, std::chrono::seconds(4));
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_THAT(names(), ElementsAre("a-1.mp4", "a.mp4"));
    EXPECT_EQ(played("a.mp4").video().size(), played("a-1.mp4").video().size());
}

TEST_F(MuxerTest, HasATrackForSoundReceivedBefore) {
    make();
    pushSample();
    cut();
    const SteadyTime begin = sample().packets.front()->stamp;
    pushSample(
        [&](const MediaPacket& packet) {
            return packet.isVideo() || packet.stamp - begin > std::chrono::seconds(2);
        },
        std::chrono::seconds(4));
    ASSERT_TRUE(pipeline_->stop());
    const JudgedFile second = played("a-1.mp4");
    ASSERT_FALSE(second.audio().empty());
    EXPECT_NEAR(second.audio().front().time, 2, 0.03);
    EXPECT_THAT(names(), ElementsAre("a-1.mp4", "a.mp4"));
}

TEST_F(MuxerTest, StartsANewFileForTheFirstSound) {
    make();
    const SteadyTime begin = sample().packets.front()->stamp;
    pushSample([&](const MediaPacket& packet) {
        return packet.isVideo() || packet.stamp - begin > milliseconds(1900);
    });
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_THAT(names(), ElementsAre("a-1.mp4", "a.mp4"));
    const JudgedFile silent = played("a.mp4");
    EXPECT_THAT(silent.audio(), IsEmpty());
    EXPECT_NEAR(silent.length(), 2, 0.01);
    const JudgedFile heard = played("a-1.mp4");
    EXPECT_NEAR(heard.length(), 2, 0.01);
    ASSERT_FALSE(heard.audio().empty());
    EXPECT_NEAR(heard.audio().front().time, 0, 0.03);
    EXPECT_TRUE(heard.video().front().key);
}

TEST_F(MuxerTest, RecordsPicturesAlone) {
    make();
    pushSample(isVideo);
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_EQ(played("a.mp4").video().size(), 4U * SampleStream::rate);
}

TEST_F(MuxerTest, RecordsPicturesThatEndWhileWaitingForSound) {
    make();
    const SteadyTime begin = sample().packets.front()->stamp;
    pushSample([&](const MediaPacket& packet) {
        return packet.isVideo() && packet.stamp - begin < milliseconds(500);
    });
    EXPECT_THAT(names(), IsEmpty());
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_EQ(played("a.mp4").video().size(), 8U);
}

TEST_F(MuxerTest, RecordsSoundAlone) {
    make();
    pushSample([](const MediaPacket& packet) { return !packet.isVideo(); });
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_FALSE(played("a.mp4").audio().empty());
}

TEST_F(MuxerTest, StartsANewFileWhenThePicturesChange) {
    make();
    pushSample();
    auto larger = std::make_shared<Media>(*sample().video);
    larger->width = 2 * kWidth;
    for (const SharedPacket& packet : sample().packets) {
        auto moved = std::make_shared<MediaPacket>(*packet);
        moved->stamp += std::chrono::seconds(4);
        if (moved->isVideo()) moved->media = larger;
        push(moved);
    }
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_THAT(names(), ElementsAre("a-1.mp4", "a.mp4"));
}

TEST_F(MuxerTest, WritesClipsBesideItsOwnFile) {
    make("");
    const auto first = clips().beginClip(url("first.mp4"), noted());
    const auto second = clips().beginClip("", noted());
    ASSERT_TRUE(first && second);
    for (const SharedPacket& packet : sample().packets) {
        push(packet);
        EXPECT_TRUE(first->write(packet));
        EXPECT_TRUE(second->write(packet));
    }
    first->finish();
    EXPECT_EQ(pipeline_->waitForMessage("name=recordStart", "first.mp4"),
              "name=recordStart,url=" + url("first.mp4"));
    EXPECT_EQ(pipeline_->waitForMessage("name=recordStop", "first.mp4"),
              "name=recordStop,url=" + url("first.mp4"));
    EXPECT_FALSE(first->write(sample().packets.front()));
    second->finish();
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_EQ(names().size(), 3U);
    for (const std::string& name : names())
        EXPECT_EQ(played(name).video().size(), 4U * SampleStream::rate) << name;
}

TEST_F(MuxerTest, RefusesClipsThatAreNotFiles) {
    make("");
    const ErrorLines lines;
    EXPECT_EQ(clips().beginClip("http://host/a.mp4", noted()), nullptr);
    EXPECT_THAT(lines.messages(),
                ElementsAre("muxer-fmp4 \"out\": url={http://host/a.mp4} is not a file URL"));
    EXPECT_THAT(failures_, ElementsAre("http://host/a.mp4: not a valid URL for a clip, kept: "));
}

TEST_F(MuxerTest, ReportsAClipWithoutPacketsOnce) {
    make("");
    const ErrorLines lines;
    {
        const auto clip = clips().beginClip(url("never.mp4"), noted());
        ASSERT_TRUE(clip);
        EXPECT_FALSE(clip->finish());
        EXPECT_FALSE(clip->finish());
    }
    ASSERT_TRUE(pipeline_->stop());
    ASSERT_NE(pipeline_->waitForMessage("name=stopped"), "");
    const std::string reason = (folder() / "never.mp4").string() + ": no packets received";
    EXPECT_THAT(failures_, ElementsAre(url("never.mp4") + ": " + reason + ", kept: "));
    EXPECT_THAT(pipeline_->messages("name=failed"), IsEmpty());
    EXPECT_THAT(lines.messages(), ElementsAre("muxer-fmp4 \"out\": " + reason));
    EXPECT_THAT(names(), testing::IsEmpty());
}

TEST_F(MuxerTest, ReportsAMissingFolderOnceAndResumesWhenItExists) {
    const std::filesystem::path later = folder() / "later";
    make(kAll, "later/a.mp4");
    {
        const ErrorLines lines;
        pushSample();
        pushSample(nullptr, std::chrono::seconds(4));
        ASSERT_TRUE(waitUntil([&] { return !lines.messages().empty(); }));
        EXPECT_THAT(lines.messages(), ElementsAre("muxer-fmp4 \"out\": " + (later / "a.mp4.part").string() +
                                                  ": No such file or directory"));
    }
    EXPECT_EQ(pipeline_->waitForMessage("name=failed"), "name=failed,media=file,url=" + url("later/a.mp4") +
                                                            ",reason=" + (later / "a.mp4.part").string() +
                                                            ": No such file or directory");
    EXPECT_NE(pipeline_->waitForMessage("name=frameLost,media=video"), "");
    EXPECT_NE(pipeline_->waitForMessage("name=frameLost,media=audio"), "");
    std::filesystem::create_directory(later);
    // It retries at a key frame some seconds later.
    std::chrono::seconds moved(8);
    EXPECT_TRUE(waitUntil([&] {
        pushSample(nullptr, moved);
        moved += std::chrono::seconds(4);
        return std::filesystem::exists(later / "a.mp4.part") || std::filesystem::exists(later / "a.mp4");
    }));
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_FALSE(JudgedFile(later / "a.mp4", kWidth, kHeight, false).video().empty());
}

TEST_F(MuxerTest, ReportsAFullDiskAndTheFileThatItClosed) {
    using Step = FaultyLayer::Step;
    FaultyLayer layer([](Step step, int count) {
        return step == Step::write && count > 5 ? "No space left on device" : nullptr;
    });
    make();
    {
        const ErrorLines lines;
        pushSample();
        ASSERT_TRUE(waitUntil([&] { return !lines.messages().empty(); }));
        EXPECT_THAT(lines.messages(),
                    ElementsAre("muxer-fmp4 \"out\": " + (folder() / "a.mp4.part").string() +
                                ": No space left on device"));
    }
    EXPECT_EQ(pipeline_->waitForMessage("name=failed"),
              "name=failed,media=file,url=" + url("a.mp4") + ",kept=" + url("a.mp4") +
                  ",reason=" + (folder() / "a.mp4.part").string() + ": No space left on device");
    EXPECT_THAT(pipeline_->messages("name=recordStop"), IsEmpty());
    EXPECT_THAT(names(), ElementsAre("a.mp4"));
    EXPECT_FALSE(played("a.mp4").video().empty());
    layer.setFault([](Step, int) -> const char* { return nullptr; });
    EXPECT_TRUE(pipeline_->stop());
    ASSERT_TRUE(pipeline_->play());
    pushSample();
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_THAT(names(), ElementsAre("a-1.mp4", "a.mp4"));
}

TEST_F(MuxerTest, ReportsWhereAFileIsThatCannotBeRenamed) {
    using Step = FaultyLayer::Step;
    FaultyLayer layer([](Step step, int) { return step == Step::rename ? "Input/output error" : nullptr; });
    make();
    pushSample();
    ASSERT_TRUE(pipeline_->stop());
    EXPECT_EQ(
        pipeline_->waitForMessage("name=failed")
            .find("name=failed,media=file,url=" + url("a.mp4") + ",kept=" + url("a.mp4.part") + ",reason="),
        0U);
    EXPECT_THAT(pipeline_->messages("name=recordStop"), IsEmpty());
    EXPECT_FALSE(played("a.mp4.part").video().empty());
}

TEST(MuxerRefusals, NameWhatIsWrong) {
    const auto refusal = [](const std::string& attributes) {
        return refusalOf("type=muxer-fmp4,name=out," + attributes);
    };
    EXPECT_EQ(refusal("url=http://host/a.mp4"),
              "muxer-fmp4 \"out\": url={http://host/a.mp4} is not a file URL");
    EXPECT_EQ(refusal("url=/a.mp4"),
              "not a URL: scheme:// missing at position 30 of "
              "\"type=muxer-fmp4,name=out,url=/a.mp4\"");
    EXPECT_EQ(refusal("url=file:///a/"),
              "file URL without a file name at position 30 of "
              "\"type=muxer-fmp4,name=out,url=file:///a/\"");
    EXPECT_EQ(refusal("url={file:///a.mp4,creater=me}"), "muxer-fmp4 \"out\": creater=me must be ntp");
    EXPECT_EQ(refusal("url={file:///a.mp4,temp_ext_name=a/b}"),
              "muxer-fmp4 \"out\": temp_ext_name=a/b must not contain \"/\"");
    EXPECT_EQ(refusal("url={file:///a.mp4,creater=ntp,other=1}"),
              "muxer-fmp4 \"out\": url has an unknown option \"other\"");
    EXPECT_EQ(refusal("sendmsg={recordPause={oper=AfterOpen,send={upward}}}"),
              "muxer-fmp4 \"out\": sendmsg={recordPause={oper=AfterOpen,send={upward}}} asks for an unknown "
              "message \"recordPause\"");
    EXPECT_EQ(refusal("sendmsg={recordStop={oper=AfterOpen,send={upward}}}"),
              "muxer-fmp4 \"out\": recordStop={oper=AfterOpen,send={upward}} is not "
              "oper=AfterClose,send={upward}");
}

}  // namespace
}  // namespace kep::host
