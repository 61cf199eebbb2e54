// Each packet given to a recording is in one of its files or reported as lost; each file reported as begun is
// reported as complete or failed.
#include <gmock/gmock.h>

#include "faulty_layer.h"
#include "kep/attr_set.h"
#include "pipeline_fixture.h"
#include "recorded_file.h"
#include "recorder.h"
#include "sample_stream.h"

namespace kep::host {
namespace {

using Step = FaultyLayer::Step;

/** A disk that fails in one kind of step, from the `nth` one on, `times` times. */
struct DiskFault {
    const char* name;
    const char* muxer;
    Step step;
    int times;
};

void PrintTo(const DiskFault& fault, std::ostream* out) {
    *out << fault.name;
}

constexpr int kAlways = 1'000'000;
constexpr int kSeconds = 3;

const SampleStream& sample() {
    static const SampleStream stream(kSeconds);
    return stream;
}

/** Pictures first, then sound. */
using Counts = std::pair<std::size_t, std::size_t>;

void add(Counts& counts, Media::Kind kind, std::size_t packets) {
    (kind == Media::Kind::video ? counts.first : counts.second) += packets;
}

class LossesTest : public recording_test::RecordingTest, public testing::WithParamInterface<DiskFault> {
  protected:
    /**
     * Records the sample in segments of a second while the nth step fails; returns whether any step failed.
     */
    bool recordWithFault(int nth) {
        const DiskFault& fault = GetParam();
        bool hasFailed = false;
        FaultyLayer disk([&](Step step, int count) {
            const bool fails = step == fault.step && count >= nth && count < nth + fault.times;
            hasFailed = hasFailed || fails;
            return fails ? "No space left on device" : nullptr;
        });
        const std::string prefix = "file://" + folder().string() + "/" + std::to_string(nth);
        const ErrorLines quiet;
        Described app(
            "type=application,layout={type=pipeline,layout={TestSource:name=a+TestSource:name=v,link=null+"
            "Sync:name=s,"
            "link={a,v}+VornisaSeamless:duration=1s+" +
            std::string(fault.muxer) + ":name=m,flush=true,url={" + prefix +
            ".mp4,temp_ext_name=part},sendmsg={recordStart={oper=AfterOpen,send={upward}},"
            "recordStop={oper=AfterClose,send={upward}}}}}");
        EXPECT_TRUE(app && app.play());
        const auto late = Clock::now() - std::chrono::seconds(kSeconds) - sample().packets.front()->stamp;
        for (const SharedPacket& packet : sample().packets) {
            auto moved = std::make_shared<MediaPacket>(*packet);
            moved->stamp += late;
            app.child<TestSource>(packet->isVideo() ? "v" : "a").push(moved);
        }
        EXPECT_TRUE(app.stop());
        EXPECT_NE(app.waitForMessage("name=stopped"), "");
        Counts accounted = lostIn(app);
        for (const std::string& path : filesToldIn(app)) {
            const RecordedFile file(path);
            accounted.first += file.video().packets.size();
            accounted.second += file.audio().packets.size();
        }
        Counts given;
        for (const SharedPacket& packet : sample().packets) add(given, packet->media->kind, 1);
        EXPECT_EQ(accounted, given) << fault.name << " " << nth;
        return hasFailed;
    }

  private:
    static Counts lostIn(Described& app) {
        Counts lost;
        for (const std::string& message : app.messages("name=frameLost")) {
            const base::AttrSet attributes(message.c_str());
            add(lost,
                attributes.GetOrDef("media", "") == std::string("video") ? Media::Kind::video
                                                                         : Media::Kind::audio,
                static_cast<std::size_t>(attributes.GetOrDef<int>("lost", 0)));
        }
        return lost;
    }

    static std::string pathOf(const std::string& url) {
        return url.empty() ? url : url.substr(std::string_view("file://").size());
    }

    /** The files with contents according to the messages; expects exactly one end for each start. */
    static std::vector<std::string> filesToldIn(Described& app) {
        std::vector<std::string> held;
        std::string open;
        for (const std::string& message : app.messages("name=")) {
            const base::AttrSet attributes(message.c_str());
            const std::string name = attributes.GetOrDef("name", "");
            const std::string url = attributes.GetOrDef("url", "");
            if (name == "recordStart") {
                EXPECT_EQ(open, "") << "still open at " << message;
                open = url;
            } else if (name == "recordStop" || (name == "failed" && !open.empty())) {
                EXPECT_EQ(open, url) << message;
                open.clear();
            }
            const std::string kept = name == "recordStop" ? url : attributes.GetOrDef("kept", "");
            if (!kept.empty()) held.push_back(pathOf(kept));
        }
        EXPECT_EQ(open, "") << "never ended";
        return held;
    }
};

TEST_P(LossesTest, KeptAndLostAddUpWhereverTheDiskFails) {
    int nth = 1;
    while (recordWithFault(nth) && nth < 200) ++nth;
    EXPECT_GT(nth, 1);
    EXPECT_LT(nth, 200);
}

std::vector<DiskFault> faults() {
    std::vector<DiskFault> all;
    for (const char* const muxer : {"muxer-fmp4", "muxer-mp4", "muxer-ts"}) {
        all.push_back({"WriteOnce", muxer, Step::write, 1});
        all.push_back({"WriteFromThen", muxer, Step::write, kAlways});
        all.push_back({"Sync", muxer, Step::sync, 1});
        all.push_back({"Create", muxer, Step::create, 1});
        all.push_back({"Rename", muxer, Step::rename, 1});
        all.push_back({"SyncFolder", muxer, Step::syncFolder, 1});
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Of, LossesTest, testing::ValuesIn(faults()), [](const auto& param) {
    const std::string muxer = param.param.muxer;
    return std::string(param.param.name) + (muxer == "muxer-fmp4"  ? "Fmp4"
                                            : muxer == "muxer-mp4" ? "Mp4"
                                                                   : "Ts");
});

/** A recording on a disk that is full at first. */
class ResumptionTest : public recording_test::RecordingTest {
  protected:
    void record(const std::string& muxer) {
        app_.emplace("type=pipeline,layout={TestSource:name=v+" + muxer + ":name=m,url={file://" +
                     folder().string() +
                     "/a.mp4,temp_ext_name=part},sendmsg={recordStart={oper=AfterOpen,send={upward}},"
                     "recordStop={oper=AfterClose,send={upward}}}}");
        ASSERT_TRUE(*app_);
        ASSERT_TRUE(app_->play());
        for (const SharedPacket& packet : sample().packets) {
            if (packet->isVideo()) pictures_.push_back(packet);
        }
    }

    TestSource& source() { return app_->child<TestSource>("v"); }
    void push(bool key) {
        auto packet =
            std::make_shared<MediaPacket>(*pictures_[key ? 0 : 1 + given_ % (SampleStream::group - 1)]);
        packet->stamp = pictures_.front()->stamp +
                        std::chrono::nanoseconds(1'000'000'000) / SampleStream::rate * given_++;
        source().push(packet);
    }
    void pushGroup() {
        push(true);
        for (int i = 1; i < SampleStream::group; ++i) push(false);
    }
    std::vector<std::string> told(const std::string& name) { return app_->messages("name=" + name); }

    bool full_ = true;
    FaultyLayer disk_{[this](Step step, int) {
        return step == Step::write && full_ ? "No space left on device" : nullptr;
    }};
    const ErrorLines lines_;
    std::optional<Described> app_;

  private:
    std::vector<SharedPacket> pictures_;
    std::size_t given_ = 0;
};

TEST_F(ResumptionTest, ARecordingResumesInAnEndlessGroupOnceThereIsSpace) {
    record("muxer-fmp4");
    // Begins with a key frame; any other only on request.
    push(true);
    for (int i = 0; i < 2 * SampleStream::rate; ++i) push(false);
    ASSERT_NE(app_->waitForMessage("name=failed"), "");
    full_ = false;
    ASSERT_TRUE(waitUntil([&] {
        push(false);
        return !source().keyFrameRequests().empty();
    }));
    pushGroup();
    EXPECT_NE(app_->waitForMessage("name=recordStart"), "");
    EXPECT_EQ(lines_.messages().size(), 1U);
    ASSERT_TRUE(app_->stop());
    EXPECT_NE(app_->waitForMessage("name=recordStop"), "");
}

/** An outage logs one error line, and sends one `failed` for all attempts that never sent `recordStart`. */
TEST_F(ResumptionTest, AFileThatBeginsDuringTheOutageAndFailsIsReported) {
    record("muxer-mp4");
    // This muxer writes in large pieces, so it takes several groups.
    ASSERT_TRUE(waitUntil([&] {
        pushGroup();
        return !told("failed").empty();
    }));
    full_ = false;
    ASSERT_TRUE(waitUntil([&] {
        pushGroup();
        return told("recordStart").size() == 2;
    }));
    full_ = true;
    ASSERT_TRUE(app_->stop());
    ASSERT_TRUE(waitUntil([&] { return told("failed").size() == 2; }));
    const auto urlOf = [](const std::string& message) {
        return std::string(base::AttrSet(message.c_str()).GetOrDef("url", ""));
    };
    EXPECT_EQ(urlOf(told("failed").back()), urlOf(told("recordStart").back()));
    EXPECT_TRUE(told("recordStop").empty());
    EXPECT_EQ(lines_.messages().size(), 1U);
}

}  // namespace
}  // namespace kep::host
