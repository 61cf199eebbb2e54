#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include "error_lines.h"
#include "kep/debug_line.h"
#include "objects/log.h"
#include "probe.h"

namespace {

using kep::stream::__dbg_couts;

std::string streams(std::initializer_list<int> numbers) {
    std::string lines;
    for (const int number : numbers) lines += "stream " + std::to_string(number) + "\n";
    return lines;
}

TEST(DebugStreams, AreSelectedByNumber) {
    EXPECT_EQ(runProbe("streams", "8").output, streams({8}));
    EXPECT_EQ(runProbe("streams", "12, 0,31").output, streams({0, 12, 31}));
    EXPECT_EQ(runProbe("streams", "").output, streams({8}));
    EXPECT_EQ(runProbe("streams", "none").output, "");
    const std::string all = runProbe("streams", "all").output;
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 32);
}

TEST(DebugStreams, AnInvalidSelectionIsLoggedAndTheDefaultUsed) {
    for (const char* selection : {"8,abc", "32", "-1", "8,", "8,all", "8 9", "none,8"}) {
        const std::string output = runProbe("streams", selection).output;
        const std::size_t end = output.find('\n');
        ASSERT_NE(end, std::string::npos) << selection;
        EXPECT_NE(output.find("KEP_HOST_LOG=" + std::string(selection) + ": "), std::string::npos) << output;
        EXPECT_EQ(output.substr(end + 1), "\033[0m" + streams({8})) << selection;
    }
    EXPECT_NE(runProbe("streams", "8,abc").output.find("\"abc\" at position 3 "), std::string::npos);
}

TEST(DebugStreams, KeepTheLastHiddenErrors) {
    EXPECT_EQ(runProbe("hidden", "none").output, "[error 3\nerror 4\nerror 5\nerror 6\n]\n[]\n");
    const std::string shown = runProbe("hidden", "8").output;
    EXPECT_NE(shown.find("error 6\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("[]\n[]\n"), std::string::npos) << shown;
}

TEST(DebugStreams, PathsAreRelativeToTheSourceRoot) {
    const std::string output = runProbe("place").output;
    const std::string start = "\033[31mtests/host_core/core_probe.cpp/";
    EXPECT_EQ(output.substr(0, start.size()), start);
    const std::string end = "/main:\there\n\033[0m";
    ASSERT_GT(output.size(), end.size());
    EXPECT_EQ(output.substr(output.size() - end.size()), end);
}

TEST(DebugStreams, ShowMessagesOnlyInTheFormatMessage) {
    setenv("KEP_HOST_LOG_FORMAT", "message", 1);
    EXPECT_EQ(runProbe("place").output, "here\n");
    EXPECT_EQ(runProbe("plug-in").output, "main: here\n");
    const ErrorLines lines;
    KEP_HOST_ERROR("a:\tb");
    *__dbg_couts[8] << "src/a.c:\tas it is\n";
    EXPECT_EQ(lines.raw(), "a: b\nsrc/a.c:\tas it is\n");
    setenv("KEP_HOST_LOG_FORMAT", "full", 1);
    EXPECT_TRUE(runProbe("place").output.starts_with("\033[31m"));
    unsetenv("KEP_HOST_LOG_FORMAT");
}

TEST(DebugStreams, LinesOfManyThreadsDoNotMix) {
    const std::string output = runProbe("threads").output;
    std::istringstream lines(output);
    std::map<std::string, int> seen;
    for (std::string line; std::getline(lines, line);) {
        if (line == "\033[0m") continue;
        const std::size_t start = line.find(":\t");
        ASSERT_NE(start, std::string::npos) << line;
        const std::string message = line.substr(start + 2);
        const std::string piece = message.substr(0, message.find(' ') + 1);
        std::string whole;
        for (int i = 0; i < 20; ++i) whole += piece;
        ASSERT_EQ(message, whole);
        ++seen[piece];
    }
    EXPECT_EQ(seen.size(), 4u * 500u);
}

TEST(DebugStreams, ALineAndItsColourResetAreOneWrite) {
    int ends[2];
    // A packet pipe keeps each write apart.
    ASSERT_EQ(pipe2(ends, O_DIRECT), 0);
    const int before = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    KEP_HOST_ERROR("first");
    *__dbg_couts[8] << "plain " << 7 << '\n';
    dup2(before, STDERR_FILENO);
    close(before);
    close(ends[1]);
    char packet[4096];
    ssize_t got = read(ends[0], packet, sizeof(packet));
    ASSERT_GT(got, 0);
    EXPECT_TRUE(std::string(packet, static_cast<std::size_t>(got)).ends_with("first\n\033[0m"));
    got = read(ends[0], packet, sizeof(packet));
    ASSERT_GT(got, 0);
    EXPECT_EQ(std::string(packet, static_cast<std::size_t>(got)), "plain 7\n");
    EXPECT_EQ(read(ends[0], packet, sizeof(packet)), 0);
    close(ends[0]);
}

TEST(DebugStreams, ShowEachKindOfValueAsAStringStreamDoes) {
    const ErrorLines lines;
    const char* const none = nullptr;
    *__dbg_couts[8] << 'c' << 1 << std::int64_t{-2} << reinterpret_cast<void*>(std::uintptr_t{255}) << none
                    << "t" << '\n';
    EXPECT_EQ(lines.raw(), "c1-20xfft\n");
}

TEST(DebugStreams, ANestedLineOfAnotherStreamIsWrittenFirst) {
    EXPECT_EQ(runProbe("nested", "8,12").output, "inner\nouter\n");
}

TEST(DebugStreams, ALineOfAnotherThreadDoesNotSplitAnUnfinishedOne) {
    const ErrorLines lines;
    auto& outer = kep::stream::BeginDebugLine(8, "\033[31m", "/x", 1, "f");
    std::thread([] { KEP_HOST_ERROR("inner"); }).join();
    kep::stream::EndDebugLine(outer << "outer");
    EXPECT_EQ(lines.messages(), (std::vector<std::string>{"inner", "outer"}));
}

TEST(DebugStreams, AnUnfinishedLineIsWrittenWhenTheThreadEnds) {
    const ErrorLines lines;
    std::thread([] { *__dbg_couts[8] << "no end"; }).join();
    EXPECT_EQ(lines.raw(), "no end");
    EXPECT_EQ(runProbe("unfinished").output, "no end");
}

TEST(DebugStreams, AMultiLineTextIsWrittenAsOneLine) {
    const ErrorLines lines;
    KEP_HOST_ERROR("one\ntwo\033[0m");
    EXPECT_EQ(lines.messages(), (std::vector<std::string>{"one two [0m"}));
}

TEST(DebugStreams, LongLinesAreWrittenToAFullPipe) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    fcntl(ends[0], F_SETFL, 0);
    const int before = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    std::string got;
    std::thread reader([&] {
        char part[4096];
        for (ssize_t size; (size = read(ends[0], part, sizeof(part))) > 0;) {
            got.append(part, static_cast<std::size_t>(size));
        }
    });
    const std::string text(200000, 'x');
    KEP_HOST_ERROR(text);
    dup2(before, STDERR_FILENO);
    close(before);
    close(ends[1]);
    reader.join();
    close(ends[0]);
    EXPECT_TRUE(got.ends_with(text + "\n\033[0m")) << got.size();
}

}  // namespace
