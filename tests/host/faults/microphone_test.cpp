#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>

#include "error_lines.h"
#include "pipeline_fixture.h"
#include "public_recording.h"
#include "segment.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

namespace fs = std::filesystem;

class MicrophoneTest : public PublicRecording {
  protected:
    static constexpr int kSeconds = 2;

    ~MicrophoneTest() override { fs::remove(sign_); }

    /**
     * Records with a microphone that has the fault while the sign file exists; returns once audio has been
     * recorded.
     */
    void recordWith(const std::string& fault) {
        setenv("KEP_HOST_AUDIO", ("test:" + fault + "=" + sign_.string()).c_str(), 1);
        ASSERT_EQ(record(kSeconds), VNRES_SUCCEED);
        const std::string open = folder() / "rec.mp4.part";
        ASSERT_TRUE(
            waitUntil([&] { return fs::exists(open) && !RecordedFile(open).audio().packets.empty(); }));
    }
    void setFault(bool there) const {
        if (there)
            std::ofstream(sign_).put('\n');
        else
            fs::remove(sign_);
    }
    const fs::path& sign() const { return sign_; }

    /** Waits for the next segment for which `met` is true. */
    void waitForSegment(const std::function<bool(const Segment&)>& met) {
        constexpr std::size_t kMost = 10;
        const std::size_t before = segments_.size();
        do {
            ASSERT_LT(segments_.size(), before + kMost);
            ASSERT_TRUE(waitForMessage("recordStop", segments_.size()));
            segments_.emplace_back(begun()[segments_.size()]);
        } while (!met(segments_.back()));
    }

    /** Waits for a segment with complete audio, ends the recording and checks all of it. */
    void expectToBeInSyncAgain() {
        ASSERT_NO_FATAL_FAILURE(
            waitForSegment([](const Segment& segment) { return segment.isHeardThroughout(); }));
        EXPECT_GE(expectInStep(segments_.back()), 1);
        const std::size_t known = segments_.size();
        // The segment in which the audio returns is in sync from then on, too.
        for (std::size_t i = 0; i + 1 < known; ++i) expectInStep(segments_[i]);
        ASSERT_TRUE(stop());
        const std::vector<fs::path> paths = begun();
        ASSERT_TRUE(waitForMessage("recordStop", paths.size() - 1));
        for (std::size_t i = known; i < paths.size(); ++i) segments_.emplace_back(paths[i]);
        expectToFollow(segments_, kSeconds, lostPictures());
    }

    /** Seconds of the recording without audio, including gaps between files where pictures were lost. */
    double silence() const {
        double seconds = lostPictures() * kPicture;
        for (const Segment& segment : segments_)
            seconds += segment.length() - double(segment.file.audio().packets.size()) * 1024 / 48000;
        return seconds;
    }

  private:
    const fs::path sign_ = folder().string() + ".sign";
    std::vector<Segment> segments_;
};

TEST_F(MicrophoneTest, ALostOneIsReportedAndInSyncOnceItIsBack) {
    const ErrorLines lines;
    ASSERT_NO_FATAL_FAILURE(recordWith("lost"));
    setFault(true);
    ASSERT_TRUE(waitForMessage("deviceLost"));
    ASSERT_TRUE(waitUntil([&] { return lines.raw().find("not connected") != std::string::npos; }));
    setFault(false);
    expectToBeInSyncAgain();
    // The microphone was reopened after one second, and again after two more.
    EXPECT_GT(silence(), 2.5);
    EXPECT_THAT(messages("deviceLost"),
                testing::ElementsAre(testing::HasSubstr("device={test:lost=" + sign().string() + "}")));
}

TEST_F(MicrophoneTest, AStalledOneIsInSyncOnceItResumes) {
    ASSERT_NO_FATAL_FAILURE(recordWith("stalled"));
    setFault(true);
    ASSERT_NO_FATAL_FAILURE(
        waitForSegment([](const Segment& segment) { return segment.file.audio().packets.empty(); }));
    setFault(false);
    expectToBeInSyncAgain();
    EXPECT_TRUE(messages("deviceLost").empty());
}

}  // namespace
}  // namespace kep::host
