#include "recordings/file_names.h"

#include <gmock/gmock.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>
#include <fstream>

#include "scratch_folder.h"

namespace recordings {
namespace {

class Names : public recordings_test::ScratchFolder {
  protected:
    void make(const std::string& name) const { std::ofstream(path(name)) << "x"; }
};

TEST_F(Names, WithoutFieldsAreNumberedFromTheSecondOn) {
    FileNames names(path("a.mp4"), "part");
    const SteadyTime now = std::chrono::steady_clock::now();
    EXPECT_EQ(names.next(now), path("a.mp4"));
    names.use();
    EXPECT_EQ(names.next(now), path("a-1.mp4"));
    names.use();
    EXPECT_EQ(names.next(now), path("a-2.mp4"));
}

TEST_F(Names, AreReturnedAgainUntilUsed) {
    FileNames names(path("a.mp4"), "part");
    const SteadyTime now = std::chrono::steady_clock::now();
    EXPECT_EQ(names.next(now), path("a.mp4"));
    EXPECT_EQ(names.next(now), path("a.mp4"));
}

TEST_F(Names, SkipFinishedAndUnfinishedFiles) {
    make("a.mp4");
    make("a-1.mp4.part");
    make("a-3.mp4");
    FileNames names(path("a.mp4"), "part");
    const SteadyTime now = std::chrono::steady_clock::now();
    EXPECT_EQ(names.next(now), path("a-2.mp4"));
    names.use();
    EXPECT_EQ(names.next(now), path("a-4.mp4"));
}

TEST_F(Names, AreNumberedBeforeTheExtension) {
    make("a");
    make(".hidden");
    const SteadyTime now = std::chrono::steady_clock::now();
    EXPECT_EQ(FileNames(path("a"), "").next(now), path("a-1"));
    EXPECT_EQ(FileNames(path(".hidden"), "").next(now), path(".hidden-1"));
}

TEST_F(Names, GetTheirFieldsFromTheCaptureTime) {
    const SteadyTime captured = std::chrono::steady_clock::now() - std::chrono::hours(24 * 365);
    FileNames names(path("%Y.mp4"), "part");
    const std::time_t then = std::time(nullptr) - 24 * 365 * 3600;
    std::tm local{};
    localtime_r(&then, &local);
    EXPECT_EQ(names.next(captured), path(std::to_string(local.tm_year + 1900) + ".mp4"));
}

TEST_F(Names, AreNumberedOnlyWithinTheSameTime) {
    FileNames names(path("%Y.mp4"), "part");
    const SteadyTime now = std::chrono::steady_clock::now();
    const std::string first = names.next(now);
    names.use();
    EXPECT_EQ(names.next(now), first.substr(0, first.size() - 4) + "-1.mp4");
    EXPECT_NE(names.next(now - std::chrono::hours(24 * 400)), first);
    EXPECT_EQ(names.next(now), first);
}

TEST_F(Names, StayInTheirFolder) {
    FileNames names(path("%d%%_%D.mp4"), "part");
    const std::string name = names.next(std::chrono::steady_clock::now());
    EXPECT_THAT(name, testing::MatchesRegex(path("[0-9]+%_[0-9]+-[0-9]+-[0-9]+.mp4")));
}

TEST_F(Names, LeaveThePercentSignsOfAFolderAlone) {
    FileNames names("/mnt/%Y/a.mp4", "");
    EXPECT_EQ(names.next(std::chrono::steady_clock::now()), "/mnt/%Y/a.mp4");
}

}  // namespace
}  // namespace recordings
