// The application that the README shows is the one that is built, and it works.
#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <sstream>

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

TEST_F(Readme, TheExampleOfTwoStreamsKnowsWhichOneSpeaks) {
    const Result films = run("two_streams");
    ASSERT_EQ(films.exit, 0) << films.err;
    for (const char* line : {"large: name=started\n", "small: name=started\n"})
        EXPECT_THAT(films.out, testing::HasSubstr(line));
}

TEST_F(Readme, TheExampleOfTimedFramesStampsThemEvenly) {
    const Result film = run("timed_frames");
    ASSERT_EQ(film.exit, 0) << film.err;
    std::smatch found;
    ASSERT_TRUE(
        std::regex_match(film.out, found,
                         std::regex("60 frames, \\d+ timeouts\n"
                                    "maximum jitter: (\\S+) ms of the reads, (\\S+) ms of the stamps\n"
                                    "average hand-over to the application: \\S+ ms\n")))
        << film.out;
    // A stamp is never further than a frame time from the read: beyond that it restarts at the read.
    EXPECT_LE(std::stod(found[2]), std::stod(found[1]) + 1000.0 / 30);
}

TEST_F(Readme, ThePageOnStreamsListsEveryMessage) {
    const std::string page = readFile(PROJECT_FOLDER "/docs/streams.md");
    std::set<std::string> names;
    const Result sent =
        run("grep -rhoE '(tell|announce)\\(\"[a-zA-Z]+\"|\"name=[a-zA-Z]+|Add\\(\"name\", \"[a-zA-Z]+\"' "
            "--include=*.cpp " PROJECT_FOLDER "/host | tr -d '\"' | grep -oE '[a-zA-Z]+$'");
    std::istringstream lines(sent.out);
    for (std::string name; std::getline(lines, name);) names.insert(name);
    EXPECT_GE(names.size(), 15u);
    for (const std::string& name : names) EXPECT_NE(page.find("name=" + name), std::string::npos) << name;
}

TEST_F(Readme, NamesBothCommands) {
    const std::string readme = readFile(PROJECT_FOLDER "/README.md");
    EXPECT_NE(readme.find("scripts/demo"), std::string::npos);
    EXPECT_NE(readme.find("scripts/test"), std::string::npos);
}

TEST_F(Readme, TheWorkstationsTableHasEveryFunctionAndType) {
    const std::string page = readFile(PROJECT_FOLDER "/docs/workstation.md");
    const std::size_t begin = page.find("\n## What is implemented\n");
    ASSERT_NE(begin, std::string::npos);
    const std::string table = page.substr(begin, page.find("\n## ", begin + 1) - begin);
    const auto namesIn = [](const std::string& text, const char* pattern) {
        std::set<std::string> names;
        const std::regex name(pattern);
        for (std::sregex_iterator at(text.begin(), text.end(), name), end; at != end; ++at)
            names.insert((*at)[1]);
        return names;
    };
    const auto exported = namesIn(readFile(PROJECT_FOLDER "/api/exports.list"), "(VN\\w+)\n");
    EXPECT_EQ(exported.size(), 50u);
    EXPECT_EQ(namesIn(table, "`(VN[A-Z]\\w+)`").size(), 65u);
    for (const std::string& name : exported)
        EXPECT_NE(table.find("`" + name + "`"), std::string::npos) << name;
    const auto types =
        namesIn(readFile(PROJECT_FOLDER "/api/vornisa_types.h"), "(VNRES_\\w+ = [1-9]\\d+),? ");
    EXPECT_EQ(types.size(), 15u);
    for (const std::string& type : types) {
        const std::size_t space = type.find(' ');
        EXPECT_NE(table.find(type.substr(space + 3) + " `" + type.substr(0, space) + "`"), std::string::npos)
            << type;
    }
}

}  // namespace
}  // namespace vncam_test
