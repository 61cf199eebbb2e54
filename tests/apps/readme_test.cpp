// The application that the README shows is the one that is built, and it works.
#include <regex>
#include <set>

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

TEST_F(Readme, TheWorkstationsTableHasEveryFunctionAndType) {
    const std::string page = readFile(PROJECT_FOLDER "/docs/workstation.md");
    const std::size_t begin = page.find("\n## What is real\n");
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
