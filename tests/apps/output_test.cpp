// When data reaches a file or a pipe.
#include "output.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "command.h"
#include "shell.h"

namespace vncam_test {
namespace {

using OutputTest = Shell;

void writeText(vncam::Output& output, const std::string& text) {
    output.write(text.data(), text.size());
}

/** A piece of about the size of a frame, filled with one letter. */
std::string piece(int i) {
    return std::string(static_cast<std::size_t>(1000 + i * 37 % 9000), static_cast<char>('a' + i % 26));
}

TEST_F(OutputTest, AClosedFileHoldsAllData) {
    vncam::Output output(path("film").string());
    std::string whole;
    for (int i = 0; i < 100; ++i) {
        writeText(output, piece(i));
        whole += piece(i);
    }
    // Larger than the buffer.
    const std::string large(300'000, 'z');
    writeText(output, large);
    writeText(output, "end");
    whole += large + "end";
    EXPECT_EQ(output.bytes(), whole.size());
    output.close();
    EXPECT_EQ(readFile(path("film")), whole);
}

TEST_F(OutputTest, AFileIsWrittenInLargePieces) {
    vncam::Output output(path("film").string());
    std::uintmax_t seen = 0;
    int writes = 0;
    for (int i = 0; i < 1000; ++i) {
        writeText(output, std::string(1000, 'x'));
        const std::uintmax_t size = std::filesystem::file_size(path("film"));
        writes += size != seen;
        seen = size;
        EXPECT_LE(output.bytes() - seen, 64U << 10);
    }
    EXPECT_GE(writes, 10);
    EXPECT_LE(writes, 20);
}

TEST_F(OutputTest, BufferedDataIsWrittenAfterAFailure) {
    try {
        vncam::Output output(path("film").string());
        writeText(output, "half a film");
        throw vncam::Failure("the camera is lost");
    } catch (const vncam::Failure&) {
    }
    EXPECT_EQ(readFile(path("film")), "half a film");
}

TEST_F(OutputTest, APipeGetsEveryFrameAtOnce) {
    ASSERT_EQ(run("mkfifo pipe").exit, 0);
    const int reader = open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    vncam::Output output(path("pipe").string());
    writeText(output, "frame");
    char arrived[16] = {};
    EXPECT_EQ(::read(reader, arrived, sizeof arrived), 5);
    EXPECT_STREQ(arrived, "frame");
    close(reader);
}

TEST_F(OutputTest, AFileThatCannotGrowIsNamed) {
    const auto former = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{100'000, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    std::string failure;
    try {
        vncam::Output output(path("film").string());
        writeText(output, std::string(60'000, 'x'));
        writeText(output, std::string(60'000, 'x'));
        output.close();
    } catch (const vncam::Failure& thrown) {
        failure = thrown.what();
    }
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, former);
    EXPECT_EQ(failure, path("film").string() + ": cannot write: File too large");
    EXPECT_EQ(std::filesystem::file_size(path("film")), 100'000U);
}

}  // namespace
}  // namespace vncam_test
