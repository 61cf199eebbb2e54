// The application that the README shows is the one that is built, and it works.
#include "shell.h"

namespace vncam_test {
namespace {

using Readme = Shell;

TEST_F(Readme, ShowsTheExampleAsItIs) {
    const std::string readme = readFile(PROJECT_FOLDER "/README.md");
    const std::string example = readFile(PROJECT_FOLDER "/apps/example/ten_seconds.c");
    ASSERT_FALSE(example.empty());
    EXPECT_NE(readme.find("```c\n" + example + "```\n"), std::string::npos);
}

TEST_F(Readme, TheExampleFilmsTenSeconds) {
    const Result film = run("ten_seconds");
    ASSERT_EQ(film.exit, 0) << film.err;
    EXPECT_EQ(film.out, "live.h264: 300 frames\n");
    EXPECT_EQ(pictureRuns("live.h264"), "300 of 1280x720");
}

TEST_F(Readme, NamesBothCommands) {
    const std::string readme = readFile(PROJECT_FOLDER "/README.md");
    EXPECT_NE(readme.find("scripts/demo"), std::string::npos);
    EXPECT_NE(readme.find("scripts/test"), std::string::npos);
}

}  // namespace
}  // namespace vncam_test
