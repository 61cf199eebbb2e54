// `vncam record` in several sizes, and with limits for the files that are kept.
#include <gmock/gmock.h>

#include "shell.h"

namespace vncam_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class RecordLimits : public Shell {
  protected:
    Result record(const std::string& options) const {
        return run("vncam record --size 640x360 --bps 500000 --segment 1 --name a.mp4 " + options);
    }
    std::string files() const { return run("ls").out; }
};

TEST_F(RecordLimits, TwoSizesOfOneFilm) {
    const Result made =
        run("vncam record --size 1280x720 --also 640x360:300k --segment 1 --seconds 2 --name a.mp4 | sort");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "./a-1.mp4\n./a.mp4\n./a_640x360-1.mp4\n./a_640x360.mp4\n");
    EXPECT_EQ(files(), "a-1.mp4\na.mp4\na_640x360-1.mp4\na_640x360.mp4\n");
    EXPECT_THAT(made.err, HasSubstr("vncam record: 4 files, "));
    for (const std::string name : {"a.mp4", "a-1.mp4", "a_640x360.mp4", "a_640x360-1.mp4"}) {
        EXPECT_EQ(probe(name, "stream=width"), name.find('_') == name.npos ? "1280" : "640") << name;
        EXPECT_NEAR(std::stod(probe(name, "format=duration")), 1, 0.5) << name;
        EXPECT_EQ(decodeErrors(name), "") << name;
    }
}

TEST_F(RecordLimits, AnInterruptFinishesAllRecordings) {
    const Result made =
        run("vncam record --size 1280x720 --also 640x360:300k --name a.mp4 --quiet & pid=$!; for i in "
            "{1..600}; do"
            " [ -s a.mp4.part ] && [ -s a_640x360.mp4.part ] && break; sleep 0.1; done; kill -INT $pid; wait "
            "$pid");
    EXPECT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "./a.mp4\n./a_640x360.mp4\n");
    EXPECT_EQ(files(), "a.mp4\na_640x360.mp4\n");
}

TEST_F(RecordLimits, OldFilesOfTheRecordingsAreDeletedAndReported) {
    ASSERT_EQ(run("touch -d '25 hours ago' a-7.mp4 a_640x360-8.mp4 b.mp4 a-9.mp4.part; touch -d '23 hours "
                  "ago' a-5.mp4;"
                  " mkdir far && touch -d '25 hours ago' far/a.mp4 && ln -s far/a.mp4 a-6.mp4")
                  .exit,
              0);
    const Result made = record("--keep-days 1 --seconds 1 --quiet");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "./a.mp4\n");
    EXPECT_EQ(made.err, "vncam record: ./a-7.mp4: deleted, 0 bytes\n");
    EXPECT_EQ(files(), "a-5.mp4\na-6.mp4\na-9.mp4.part\na.mp4\na_640x360-8.mp4\nb.mp4\nfar\n");
}

TEST_F(RecordLimits, TheOldestIsDeletedWhenTheTotalIsTooLarge) {
    // A second of it takes 60 to 110 kB.
    const Result made = record("--keep 220k --seconds 4");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_THAT(made.err, HasSubstr("vncam record: ./a.mp4: deleted, "));
    EXPECT_THAT(files(), Not(HasSubstr("a.mp4\n")));
    EXPECT_THAT(files(), HasSubstr("a-3.mp4\n"));
    EXPECT_LE(std::stoi(run("cat *.mp4 | wc -c").out), 220000);
    EXPECT_EQ(probe("a-3.mp4", "stream=width"), "640");
}

TEST_F(RecordLimits, AnExceededLimitIsReportedOnceAndRecordingContinues) {
    const Result made = record("--free 1000000G --seconds 2 --quiet");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "./a.mp4\n./a-1.mp4\n");
    EXPECT_THAT(made.err,
                MatchesRegex("vncam record: .: the limits are exceeded, and no file is left to delete\n"
                             "vncam record: ./a.mp4: deleted, [0-9]+ bytes\n"
                             "vncam record: ./a-1.mp4: deleted, [0-9]+ bytes\n"));
    EXPECT_EQ(files(), "");
}

TEST_F(RecordLimits, WrongCommandLinesAreRefused) {
    const struct {
        const char* options;
        const char* told;
    } all[] = {
        {"--also 640x360", "--also '640x360': not WIDTHxHEIGHT:BITRATE"},
        {"--also 800x600:1M", "--also 800x600: recordings are 1920x1080, 1280x720 or 640x360"},
        {"--also 1280x720:1G",
         "--also '1G': not a bit rate from 10000 to 200000000; examples: 2000000, 2M, 500k"},
        {"--also 640x360:1M", "--also 640x360: this size is already recorded"},
        {"--keep 0", "--keep '0': not a number of bytes; examples: 2G, 500M, 100k"},
        {"--free 2T", "--free '2T': not a number of bytes; examples: 2G, 500M, 100k"},
        {"--keep-days 0", "--keep-days '0': not a number of days"},
        {"--keep 2G --name a_%D.mp4",
         "--name 'a_%D.mp4': contains fields that cannot be parsed back, so its files cannot be found"}};
    for (const auto& one : all) {
        const Result refused = record(one.options);
        EXPECT_EQ(refused.exit, 2) << one.options;
        EXPECT_EQ(refused.err, std::string("vncam record: ") + one.told + "\nTry 'vncam record --help'.\n");
    }
}

}  // namespace
}  // namespace vncam_test
