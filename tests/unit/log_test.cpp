#include <climits>
#include <iostream>
#include <sstream>

#include "fixture.h"
#include "kep/debug_line.h"
#include "vornisa_check.h"

VN_LOG_SINK(debugStreams);

void writeToStandardOutput(const void* pointer);
int failToStandardOutput(int id);

namespace unit {
namespace {

void writeItems(const void* pointer) {
    VN_LOG(information, "text" << ',' << -42 << '+' << INT_MIN << "," << INT64_MAX << "," << pointer << "");
}

void writeTime(std::chrono::nanoseconds sinceStart) {
    VN_LOG(timing, std::chrono::steady_clock::time_point(sinceStart) << "!");
}

int failIf(bool condition, const char* comment) {
    VN_FAIL_IF(condition, VNRES_PUSH_FAIL, comment, 7);
    return VNRES_SUCCEED;
}

const char here[] = "tests/unit/log_test.cpp";
const char cyan[] = "\033[36m";

using DebugStreamTest = PluginTest;

TEST_F(DebugStreamTest, AWholeLineHasExactlyTheseBytes) {
    EXPECT_EQ(VNStop(0), VNRES_INVALID_ARG);
    const std::string raw = rawText(8);
    const std::string beginning = "\033[31mapi/vornisa_control.cpp/";
    ASSERT_EQ(raw.substr(0, beginning.size()), beginning);
    const std::size_t end = raw.find_first_not_of("0123456789", beginning.size());
    EXPECT_GT(end, beginning.size());
    EXPECT_EQ(raw.substr(end), "/VNStop:\t!id\n\033[0m");
}

TEST_F(DebugStreamTest, WritesItemsOfEveryKind) {
    writeItems(this);
    const std::string text = "text,-42+-2147483648,9223372036854775807," + shown(this);
    EXPECT_EQ(happened(), Events{line(29, cyan, here, "writeItems", text)});
}

TEST_F(DebugStreamTest, ShowsTimesInWholeMilliseconds) {
    writeTime(std::chrono::nanoseconds(5123456999999));
    writeTime(std::chrono::nanoseconds(999999));
    EXPECT_EQ(happened(), (Events{line(12, green, here, "writeTime", "5123456ms!"),
                                  line(12, green, here, "writeTime", "0ms!")}));
}

TEST_F(DebugStreamTest, AFailedCheckQuotesItsCondition) {
    EXPECT_EQ(failIf(true, ":why"), VNRES_PUSH_FAIL);
    EXPECT_EQ(failIf(false, ":why"), VNRES_SUCCEED);
    EXPECT_EQ(happened(), Events{line(8, red, here, "failIf", "condition:why7")});
}

TEST_F(DebugStreamTest, TheFrameworkDecidesHowMuchOfThePathIsCut) {
    kep::stream::__root_path_offset += 4;
    VNStop(0);
    EXPECT_EQ(rawText(8).substr(0, 24), "\033[31mvornisa_control.cpp");
}

TEST_F(DebugStreamTest, CutsNothingByDefault) {
    for (const int offset : {0, -1}) {
        script.reset();
        kep::stream::__root_path_offset = offset;
        VNStop(0);
        EXPECT_EQ(rawText(8).substr(0, 6), "\033[31m/") << offset;
        EXPECT_NE(rawText(8).find("/api/vornisa_control.cpp/"), std::string::npos) << offset;
    }
}

TEST_F(DebugStreamTest, CutsNoMoreThanThePath) {
    kep::stream::__root_path_offset = INT_MAX;
    VNStop(0);
    EXPECT_EQ(rawText(8).substr(0, 6), "\033[31m/");
    EXPECT_EQ(rawText(8).find("vornisa_control"), std::string::npos);
}

class ThrowingStreamTest : public PluginTest, public ::testing::WithParamInterface<void (*)()> {};

TEST_P(ThrowingStreamTest, DoesNotFailACall) {
    const int id = handleOf(new Stream<ControlPart, VideoPart>);
    GetParam()();
    EXPECT_EQ(VNStart(id), VNRES_SUCCEED);
    EXPECT_EQ(VNSwitchResolution(id, 640, 360), VNRES_SUCCEED);
    EXPECT_EQ(VNSetBps(id, 1), VNRES_WRONG_DEVICE);
    script.offer(new Stream<ControlPart>);
    int other = 0;
    EXPECT_EQ(VNAcquire(VNRES_STAMP, &other), VNRES_SUCCEED);
    EXPECT_EQ(VNRelease(other), VNRES_SUCCEED);
}

TEST_P(ThrowingStreamTest, DoesNotEscapeFromTheLineOfAnotherException) {
    const int id = handleOf(new Stream<ControlPart>);
    script.throwAt("IStreamControl::ChangeUp");
    GetParam()();
    EXPECT_EQ(VNStart(id), VNRES_FAIL);
}

INSTANTIATE_TEST_SUITE_P(Throws, ThrowingStreamTest, ::testing::Values(throwFromStreams, throwIntFromStreams),
                         [](const auto& test) {
                             return std::string(test.param == throwFromStreams ? "AnException" : "AnInt");
                         });

/** Replaces the process's standard output. */
class OutputTest : public PluginTest {
  protected:
    struct Buffer : std::stringbuf {
        int flushes = 0;
        int sync() override {
            ++flushes;
            return std::stringbuf::sync();
        }
    };

    OutputTest() : own_(std::cout.rdbuf(&buffer)), flags_(std::cout.flags()) {}
    ~OutputTest() override {
        std::cout.rdbuf(own_);
        std::cout.flags(flags_);
    }

    /** `text` without the line number after the path. */
    static std::string withoutNumber(std::string text) {
        const std::string file = "standard_output.cpp/";
        const std::size_t begin = text.find(file);
        if (begin == std::string::npos) return "no path in: " + text;
        const std::size_t digits = begin + file.size();
        return text.erase(digits, text.find_first_not_of("0123456789", digits) - digits);
    }

    const std::string path = SOURCE_ROOT "/tests/unit/standard_output.cpp/";
    Buffer buffer;

  private:
    std::streambuf* own_;
    std::ios_base::fmtflags flags_;
};

TEST_F(OutputTest, WritesLinesWithTheirWholePathAndNoColour) {
    kep::stream::__root_path_offset = 10;
    writeToStandardOutput(&buffer);
    EXPECT_EQ(withoutNumber(buffer.str()),
              path + ":writeToStandardOutput:url=file:///tmp/a.mp4,-42,1" + shown(&buffer) + "\n");
    EXPECT_EQ(buffer.flushes, 1);
    EXPECT_EQ(happened(), Events{});
}

TEST_F(OutputTest, WritesErrorLinesInTheSameForm) {
    EXPECT_EQ(failToStandardOutput(0), VNRES_INVALID_ARG);
    EXPECT_EQ(withoutNumber(buffer.str()), path + ":failToStandardOutput:!id,0:no handle\n");
    EXPECT_EQ(buffer.flushes, 1);
    EXPECT_EQ(failToStandardOutput(1), VNRES_SUCCEED);
    EXPECT_EQ(buffer.flushes, 1);
    EXPECT_EQ(happened(), Events{});
}

/** A full buffer that throws an int. */
struct FullBuffer : std::streambuf {
    int_type overflow(int_type) override { throw 1; }
};

TEST_F(OutputTest, AnOutputThatThrowsDoesNotFailACall) {
    FullBuffer full;
    std::streambuf* const former = std::cout.rdbuf(&full);
    std::cout.exceptions(std::ios_base::badbit);
    EXPECT_EQ(failToStandardOutput(0), VNRES_INVALID_ARG);
    std::cout.exceptions(std::ios_base::goodbit);
    std::cout.clear();
    std::cout.rdbuf(former);
}

TEST_F(OutputTest, ShowsNumbersInDecimalWhateverTheProgramHasSet) {
    std::cout << std::hex << std::showbase;
    writeToStandardOutput(nullptr);
    EXPECT_EQ(withoutNumber(buffer.str()),
              path + ":writeToStandardOutput:url=file:///tmp/a.mp4,-42,1" + shown(nullptr) + "\n");
}

}  // namespace
}  // namespace unit
