// The times that vncam gives to frames: counted, and corrected by their arrival.
#include "frame_times.h"

#include <gtest/gtest.h>

#include <vector>

namespace vncam_test {
namespace {

using std::chrono::milliseconds;
using vncam::FrameTimes;

/** A stream of frames of 40 ms; two in a row that arrive more than 30 ms late are late. */
class Times : public testing::Test {
  protected:
    /** The time of a frame that arrives at `arrival`, both in milliseconds. */
    long at(int arrival, bool waited = true, std::uint64_t lost = 0) {
        const FrameTimes::Clock::time_point time(milliseconds{arrival});
        return static_cast<long>(milliseconds(std::chrono::duration_cast<milliseconds>(
                                                  times_.next(time, waited, lost).time_since_epoch()))
                                     .count());
    }

    FrameTimes times_{{milliseconds(40), milliseconds(30), 2, milliseconds(20)}};
};

TEST_F(Times, AreCountedWhateverTheDelay) {
    std::vector<long> shown;
    for (const int arrival : {1000, 1050, 1085, 1180, 1185, 1205, 1240}) shown.push_back(at(arrival));
    EXPECT_EQ(shown, (std::vector<long>{1000, 1040, 1080, 1120, 1160, 1200, 1240}));
    EXPECT_EQ(times_.length(), 7u);
}

TEST_F(Times, FollowASlowSource) {
    std::vector<long> shown;
    for (const int arrival : {0, 80, 160, 240, 320}) shown.push_back(at(arrival));
    EXPECT_EQ(shown, (std::vector<long>{0, 40, 120, 200, 280}));
    EXPECT_EQ(times_.length(), 8u) << "frames that would have filled the time";
}

TEST_F(Times, DoNotFollowAReaderThatWasBusy) {
    EXPECT_EQ(at(0), 0);
    EXPECT_EQ(at(500, false), 40);
    EXPECT_EQ(at(501, false), 80);
    EXPECT_EQ(at(502, false), 120);
    EXPECT_EQ(times_.length(), 4u);
}

TEST_F(Times, IncludeFramesLostInTheQueue) {
    EXPECT_EQ(at(0), 0);
    EXPECT_EQ(at(1000, false, 3), 160);
    EXPECT_EQ(at(1001, false, 3), 200);
    EXPECT_EQ(times_.length(), 6u);
}

TEST_F(Times, CountALossOnceWhenTheArrivalShowsIt) {
    EXPECT_EQ(at(0), 0);
    EXPECT_EQ(at(120, true, 0), 40) << "the message of the loss is still under way";
    EXPECT_EQ(at(160, true, 2), 160);
    EXPECT_EQ(at(200, false, 2), 200);
    EXPECT_EQ(times_.length(), 6u);
}

TEST_F(Times, SettleOnTheFrameThatWasDelayedLeast) {
    std::vector<long> shown;
    for (const int arrival : {100, 138, 160, 210, 250}) shown.push_back(at(arrival));
    EXPECT_EQ(shown, (std::vector<long>{100, 138, 160, 200, 240}));
}

TEST_F(Times, RecoverInSmallStepsFromATemporaryDelay) {
    std::vector<long> shown;
    for (const int arrival : {0, 40, 80, 220, 260, 240, 280, 320, 360}) shown.push_back(at(arrival));
    EXPECT_EQ(shown, (std::vector<long>{0, 40, 80, 120, 260, 280, 320, 360, 400}));
    EXPECT_EQ(times_.length(), 11u);
}

}  // namespace
}  // namespace vncam_test
