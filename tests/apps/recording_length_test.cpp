#include "recording_length.h"

#include <gtest/gtest.h>

namespace vncam_test {
namespace {

using vncam::RecordingLength;

/** A recording whose files begin and end when a test says so. */
class RecordedLength : public testing::Test {
  protected:
    void ask(double seconds, int segment) {
        vncam::RecordSettings settings;
        settings.seconds = seconds;
        settings.segment = segment;
        length.emplace(settings);
    }
    static RecordingLength::Time at(double seconds) {
        return RecordingLength::Time(std::chrono::hours(1)) +
               std::chrono::duration_cast<RecordingLength::Time::duration>(
                   std::chrono::duration<double>(seconds));
    }
    bool isOver(double now) const { return length->isOver(at(now)); }

    std::optional<RecordingLength> length;
};

TEST_F(RecordedLength, WithoutAnEndItIsNeverOver) {
    ask(0, 2);
    length->fileOpened(at(0));
    length->fileClosed(2);
    length->fileOpened(at(2));
    EXPECT_FALSE(length->isComplete());
    EXPECT_FALSE(isOver(1e6));
}

TEST_F(RecordedLength, IsNotOverBeforeItBegins) {
    ask(1, 2);
    EXPECT_FALSE(isOver(1e6));
}

TEST_F(RecordedLength, WaitsForTheEndOfTheLastWholeSegmentHoweverLateItIsReported) {
    ask(4, 2);
    length->fileOpened(at(0));
    length->fileClosed(2);
    length->fileOpened(at(2));
    EXPECT_FALSE(isOver(4));
    EXPECT_FALSE(isOver(9));
    length->fileClosed(1.97);
    EXPECT_TRUE(length->isComplete());
    EXPECT_TRUE(isOver(9));
}

TEST_F(RecordedLength, AnEarlyReportDoesNotStopEarly) {
    ask(4, 2);
    length->fileOpened(at(1.9));
    length->fileClosed(2);
    length->fileOpened(at(2));
    EXPECT_FALSE(isOver(3.9));
    length->fileClosed(2);
    EXPECT_TRUE(isOver(3.9));
}

TEST_F(RecordedLength, AShorterLastFileEndsByTheClock) {
    ask(5, 2);
    for (const double begin : {0., 2.}) {
        length->fileOpened(at(begin));
        length->fileClosed(2);
        EXPECT_FALSE(isOver(begin + 2));
    }
    length->fileOpened(at(4.1));
    EXPECT_FALSE(isOver(5));
    EXPECT_TRUE(isOver(5.11));
    EXPECT_FALSE(length->isComplete());
}

TEST_F(RecordedLength, SegmentsThatEndLaterAreCountedByTheirLength) {
    ask(4, 2);
    length->fileOpened(at(0));
    length->fileClosed(3);
    length->fileOpened(at(3));
    EXPECT_FALSE(isOver(3.9));
    EXPECT_TRUE(isOver(4.1));
}

TEST_F(RecordedLength, ManySmallErrorsDoNotAddUp) {
    ask(200, 2);
    for (int i = 0; i < 100; ++i) {
        EXPECT_FALSE(length->isComplete()) << i;
        length->fileOpened(at(i * 2));
        length->fileClosed(1.97);
    }
    EXPECT_TRUE(length->isComplete());
}

TEST_F(RecordedLength, AShortFileCountsWithItsLength) {
    ask(4, 2);
    for (const double seconds : {1.2, 0.8}) {
        length->fileOpened(at(0));
        length->fileClosed(seconds);
    }
    EXPECT_FALSE(length->isComplete());
    length->fileOpened(at(2));
    length->fileClosed(2);
    EXPECT_TRUE(length->isComplete());
}

TEST_F(RecordedLength, PicturesLostBetweenTwoFilesAreNotRecordedAgain) {
    ask(4, 2);
    length->picturesLost(15);
    length->fileOpened(at(0));
    length->fileClosed(1.5);
    EXPECT_FALSE(length->isComplete());
    length->fileOpened(at(2));
    length->fileClosed(2);
    EXPECT_TRUE(length->isComplete());
}

TEST_F(RecordedLength, AMissingEndTimesOut) {
    ask(4, 2);
    length->fileOpened(at(0));
    EXPECT_FALSE(isOver(13.9));
    EXPECT_TRUE(isOver(14));
}

TEST_F(RecordedLength, ADisturbedRecordingGoesByTheClock) {
    ask(4, 2);
    length->fileOpened(at(0));
    length->disturbed();
    EXPECT_FALSE(isOver(3.9));
    EXPECT_TRUE(isOver(4));
    EXPECT_FALSE(length->isComplete());
}

}  // namespace
}  // namespace vncam_test
