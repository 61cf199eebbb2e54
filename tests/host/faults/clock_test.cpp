#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include <array>
#include <set>

#include "public_recording.h"
#include "segment.h"
#include "vornisa_api.h"
#include "wall_clock.h"

namespace kep::host {
namespace {

namespace fs = std::filesystem;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::system_clock;

/** Parses the time of day from a file name. */
std::time_t timeOf(const fs::path& path) {
    std::tm time{};
    EXPECT_NE(strptime(path.filename().c_str(), "%Y%m%d-%H%M%S%z", &time), nullptr) << path;
    const long zone = time.tm_gmtoff;
    return timegm(&time) - zone;
}

class ClockTest : public PublicRecording {
  protected:
    ~ClockTest() override { setWallClock(seconds(0)); }

    /** Sets the clock, then waits until one file has certainly begun since and another has followed. */
    void set(seconds ahead) {
        const std::size_t before = begun().size();
        setWallClock(ahead);
        // The name of the file being started now may use either time.
        const std::size_t since = begun().size() + 1;
        ASSERT_TRUE(waitForMessage("recordStart", since));
        changes_.push_back({ahead, before, since});
    }

    /** Ends the recording and checks the contents of all files. */
    void finish() {
        ASSERT_TRUE(stop());
        const std::vector<fs::path> paths = begun();
        ASSERT_TRUE(waitForMessage("recordStop", paths.size() - 1));
        EXPECT_EQ(std::set<fs::path>(paths.begin(), paths.end()).size(), paths.size());
        EXPECT_EQ(finished().size(), paths.size());
        for (const fs::path& path : paths) segments_.emplace_back(path);
        expectToFollow(segments_, 1, lostPictures());
        // The first picture may precede the start of the microphone.
        for (std::size_t i = 1; i + 1 < segments_.size() && messages("frameLost").empty(); ++i)
            EXPECT_TRUE(segments_[i].isHeardThroughout());
        EXPECT_TRUE(messages("timeJump").empty()) << messages("timeJump").front();
    }

    struct Change {
        seconds ahead;
        std::size_t maybe; /**< the first file that may have the new time in its name */
        std::size_t sure;  /**< the first file that must have it */
    };
    std::vector<Change> changes_;
    std::vector<Segment> segments_;
};

TEST_F(ClockTest, FilesAreNamedByTheNewTimeAndNothingIsLost) {
    // The recording includes what was already captured when it began: less than two pictures and a block of
    // audio.
    const std::time_t before = system_clock::to_time_t(system_clock::now() - milliseconds(100));
    ASSERT_EQ(record(1, "%Y%m%d-%H%M%S%z.mp4"), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    const std::time_t after = system_clock::to_time_t(system_clock::now());
    set(hours(5));
    set(-hours(7));
    // File names repeat seconds already used: of two such files at least one collides.
    ASSERT_TRUE(waitForMessage("recordStart", begun().size()));
    set(-hours(7) - seconds(2));
    ASSERT_TRUE(waitForMessage("recordStart", begun().size()));
    finish();

    const std::time_t first = timeOf(segments_.front().path);
    EXPECT_GE(first, before);
    EXPECT_LE(first, after);
    double since = 0;
    for (std::size_t i = 0; i < segments_.size(); ++i) {
        std::vector<testing::Matcher<double>> times;
        const auto isTime = [&](seconds ahead) { return testing::DoubleNear(ahead.count() + since, 1.001); };
        seconds ahead(0);
        for (const Change& change : changes_) {
            if (i >= change.maybe && i < change.sure) times.push_back(isTime(change.ahead));
            if (i >= change.sure) ahead = change.ahead;
        }
        times.push_back(isTime(ahead));
        const fs::path& path = segments_[i].path;
        EXPECT_THAT(static_cast<double>(timeOf(path) - first), testing::AnyOfArray(times)) << path;
        since += segments_[i].length();
    }
    EXPECT_THAT(begun(),
                testing::Contains(testing::ResultOf([](const fs::path& path) { return path.stem().string(); },
                                                    testing::EndsWith("-1"))));
}

TEST_F(ClockTest, FilesWithoutATimeInTheirNameKeepTheirNumbering) {
    ASSERT_EQ(record(1), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    set(hours(5));
    set(-hours(7));
    finish();
    for (std::size_t i = 0; i < segments_.size(); ++i)
        EXPECT_EQ(segments_[i].path.stem(), i == 0 ? "rec" : "rec-" + std::to_string(i));
}

}  // namespace
}  // namespace kep::host
