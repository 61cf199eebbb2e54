// `vncam record` and `vncam event` as a user runs them; their files are checked by another program.
#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "shell.h"

namespace vncam_test {
namespace {

using testing::HasSubstr;

class Record : public Shell {
  protected:
    Result record(const std::string& options) const {
        return run("vncam record --size 640x360 --bps 500000 " + options);
    }
    double seconds(const std::string& file) const { return std::stod(probe(file, "format=duration")); }
    void expectPlayable(const std::string& file) const {
        EXPECT_EQ(run("ffprobe -v error -show_entries stream=codec_name -of csv=p=0 " + file).out,
                  "h264\naac\n")
            << file;
        EXPECT_EQ(decodeErrors(file), "") << file;
    }
    std::vector<std::string> unfinished() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(path("")))
            if (entry.path().extension() == ".part") found.push_back(entry.path().filename());
        return found;
    }
};

/** The lines of a text. */
std::vector<std::string> lines(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> all;
    for (std::string line; std::getline(in, line);) all.push_back(line);
    return all;
}

TEST_F(Record, WritesSegmentsOfTheRequestedLength) {
    const Result made = record("--segment 1 --seconds 3.5 --name a.mp4 --dir .");
    ASSERT_EQ(made.exit, 0) << made.err;
    const std::vector<std::string> files = lines(made.out);
    ASSERT_EQ(files.size(), 4U) << made.out;
    EXPECT_EQ(files[0], "./a.mp4");
    EXPECT_EQ(files[1], "./a-1.mp4");
    for (const std::string& file : files) expectPlayable(file);
    EXPECT_NEAR(seconds(files[0]), 1, 0.5);
    EXPECT_NEAR(seconds(files[1]), 1, 0.5);
    EXPECT_THAT(unfinished(), testing::IsEmpty());
    EXPECT_THAT(made.err, HasSubstr("vncam record: ./a.mp4: "));
    EXPECT_TRUE(std::regex_search(made.err, std::regex("vncam record: " + std::to_string(files.size()) +
                                                       " files, [0-9]+ bytes, [0-9]+ frames lost\n")))
        << made.err;
}

TEST_F(Record, AWholeNumberOfSegmentsGivesExactlyThatManyFiles) {
    const Result made = record("--segment 2 --seconds 4 --name a.mp4");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "./a.mp4\n./a-1.mp4\n");
    EXPECT_THAT(made.err, HasSubstr("vncam record: 2 files, "));
    EXPECT_EQ(run("ls").out, "a-1.mp4\na.mp4\n");
    for (const char* const file : {"a.mp4", "a-1.mp4"}) {
        expectPlayable(file);
        EXPECT_NEAR(seconds(file), 2, 0.5) << file;
    }
}

TEST_F(Record, SegmentLengthDoesNotDependOnTheGroupLength) {
    const Result made = record("--segment 1 --seconds 2 --gop 300 --name a.mp4");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "./a.mp4\n./a-1.mp4\n");
    for (const char* const file : {"a.mp4", "a-1.mp4"}) EXPECT_NEAR(seconds(file), 1, 0.1) << file;
}

TEST_F(Record, AFileHasFragmentsUnlessPlain) {
    const auto fragments = [this] {
        return run("vncam info --json a.mp4 | grep -c '\"fragments\": 0[,}]'").out;
    };
    ASSERT_EQ(record("--segment 10 --seconds 1 --name a.mp4").exit, 0);
    EXPECT_EQ(fragments(), "0\n");
    ASSERT_EQ(run("rm a.mp4").exit, 0);
    ASSERT_EQ(record("--segment 10 --seconds 1 --name a.mp4 --plain").exit, 0);
    EXPECT_EQ(fragments(), "1\n");
    expectPlayable("a.mp4");
}

TEST_F(Record, RemovesAFurtherFileThatOpensLate) {
    const Result made = run("LD_PRELOAD=" SLOW_OPEN
                            " SLOW_OPEN=a-1.mp4 ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 "
                            "vncam record --size 640x360 --segment 2 --seconds 2 --name a.mp4");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "./a.mp4\n");
    EXPECT_THAT(made.err, HasSubstr("vncam record: 1 file, "));
    EXPECT_EQ(run("ls").out, "a.mp4\n");
}

TEST_F(Record, AppliesItsSettings) {
    ASSERT_EQ(record("--segment 10 --seconds 2 --fps 15 --gop 5 --name a.mp4 --quiet").exit, 0);
    EXPECT_EQ(probe("a.mp4", "stream=width"), "640");
    const Result keys =
        run("ffprobe -v error -select_streams v -show_entries packet=flags -of csv=p=0 a.mp4 | cut -c1");
    const std::vector<std::string> flags = lines(keys.out);
    ASSERT_GT(flags.size(), 15U);
    for (std::size_t i = 0; i < flags.size(); ++i) EXPECT_EQ(flags[i], i % 5 == 0 ? "K" : "_") << i;
    EXPECT_NEAR(static_cast<double>(flags.size()) / seconds("a.mp4"), 15, 2);
}

TEST_F(Record, NamesCarryTheTime) {
    const Result made = record("--segment 10 --seconds 1 --quiet");
    EXPECT_EQ(made.err, "");
    EXPECT_TRUE(std::regex_match(
        made.out, std::regex("\\./rec_[0-9]{4}-[0-9]{2}-[0-9]{2}_[0-9]{2}-[0-9]{2}-[0-9]{2}\\.mp4\n")))
        << made.out;
}

TEST_F(Record, WritesATransportStream) {
    ASSERT_EQ(record("--segment 10 --seconds 1 --name a.ts").exit, 0);
    EXPECT_EQ(probe("a.ts", "format=format_name"), "mpegts");
    EXPECT_EQ(decodeErrors("a.ts"), "");
}

TEST_F(Record, AnInterruptFinishesTheFile) {
    for (const char* signal : {"INT", "TERM", "HUP"}) {
        const std::string name = std::string(signal) + ".mp4";
        const Result made =
            run("vncam record --size 640x360 --segment 60 --name " + name +
                " & pid=$!; for i in {1..600}; do"
                " [ -s " +
                name + ".part ] && break; sleep 0.1; done; sleep 1; kill -" + signal + " $pid; wait $pid");
        EXPECT_EQ(made.exit, 0) << made.err;
        EXPECT_EQ(made.out, "./" + name + "\n");
        expectPlayable(name);
    }
    EXPECT_THAT(unfinished(), testing::IsEmpty());
}

/** Bash that waits until a.mp4.part is not empty. */
const std::string kAwaitRecording = "for i in {1..600}; do [ -s a.mp4.part ] && break; sleep 0.1; done; ";

TEST_F(Record, TwoHangupsFinishTheFile) {
    const Result made = run("vncam record --size 640x360 --segment 60 --name a.mp4 & pid=$!; " +
                            kAwaitRecording + "kill -HUP $pid; kill -HUP $pid; wait $pid");
    EXPECT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "./a.mp4\n");
    expectPlayable("a.mp4");
}

TEST_F(Record, AnIgnoredHangupHasNoEffect) {
    const Result made =
        run("trap '' HUP; vncam record --size 640x360 --segment 60 --seconds 2 --name a.mp4 & pid=$!; " +
            kAwaitRecording + "kill -HUP $pid; wait $pid");
    EXPECT_EQ(made.exit, 0) << made.err;
    EXPECT_NEAR(seconds("a.mp4"), 2, 0.5);
}

TEST_F(Record, AKilledTerminalFinishesTheFile) {
    // Kills the terminal, and sends the recording itself nothing.
    run("script -qc 'vncam record --size 640x360 --segment 60 --name a.mp4' /dev/null >/dev/null & pid=$!; " +
        kAwaitRecording + "kill -KILL $pid; for i in {1..600}; do [ -e a.mp4 ] && break; sleep 0.1; done");
    EXPECT_THAT(unfinished(), testing::IsEmpty());
    expectPlayable("a.mp4");
}

TEST_F(Record, AKilledRecordingIsRecovered) {
    const Result made =
        run("vncam record --size 640x360 --segment 60 --name a.mp4 & pid=$!;"
            " for i in {1..600}; do [ $(stat -c %s a.mp4.part 2>/dev/null || echo 0) -gt 100000 ] && break;"
            " sleep 0.1; done; kill -KILL $pid; wait $pid");
    EXPECT_EQ(made.exit, 137);
    ASSERT_TRUE(std::filesystem::exists(path("a.mp4.part")));
    const Result recovered = run("vncam recover .");
    EXPECT_THAT(recovered.out, HasSubstr("./a.mp4.part -> ./a.mp4: "));
    expectPlayable("a.mp4");
}

TEST_F(Record, ARunningRecordingIsNotRecovered) {
    const Result made =
        run("vncam record --size 640x360 --segment 60 --seconds 3 --name a.mp4 & pid=$!;"
            " for i in {1..600}; do [ -s a.mp4.part ] && break; sleep 0.1; done; vncam recover . >told; wait "
            "$pid");
    EXPECT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(readFile(path("told")), "./a.mp4.part: unchanged: still being written\n");
    expectPlayable("a.mp4");
}

TEST_F(Record, WrongCommandLinesAreRefused) {
    const struct {
        const char* options;
        const char* told;
    } all[] = {{"--size 800x600", "--size 800x600: recordings are 1920x1080, 1280x720 or 640x360"},
               {"--fps 31", "--fps '31': not a whole number from 1 to 30"},
               {"--segment 0", "--segment '0': not a whole number from 1 to 86400"},
               {"--name a", "--name 'a': must end in .mp4 or .ts"},
               {"--name .mp4", "--name '.mp4': must end in .mp4 or .ts"},
               {"--name b/a.mp4", "--name 'b/a.mp4': must not contain a folder; use --dir"},
               {"--name a,b.mp4", "--name 'a,b.mp4': a name must not contain , { or }"},
               {"--name a.ts --plain", "--name 'a.ts': --plain needs a name that ends in .mp4"},
               {"more", "unexpected argument 'more'"}};
    for (const auto& one : all) {
        const Result refused = run(std::string("vncam record ") + one.options);
        EXPECT_EQ(refused.exit, 2) << one.options;
        EXPECT_EQ(refused.err, std::string("vncam record: ") + one.told + "\nTry 'vncam record --help'.\n");
    }
}

TEST_F(Record, UnwritableFoldersAreNamed) {
    const Result missing = record("--dir no");
    EXPECT_EQ(missing.exit, 1);
    EXPECT_EQ(missing.err, "vncam record: no: cannot write to the folder: No such file or directory\n");
    writeFile(path("file"), "");
    const Result file = record("--dir file");
    EXPECT_EQ(file.exit, 1);
    EXPECT_EQ(file.err, "vncam record: file: cannot write to the folder: Not a directory\n");
    const Result refused = record("--dir /proc --name a.mp4");
    EXPECT_EQ(refused.exit, 1);
    EXPECT_THAT(refused.err, HasSubstr("/proc"));
}

TEST_F(Record, AMissingCameraIsReported) {
    const Result refused = run("KEP_HOST_VIDEO=v4l2:/dev/video99 vncam record --size 640x360");
    EXPECT_EQ(refused.exit, 1);
    EXPECT_THAT(refused.err, HasSubstr("/dev/video99"));
    EXPECT_EQ(refused.out, "");
}

using Event = Record;

TEST_F(Event, AClipHasPreRollAndPostRoll) {
    const Result made = run("vncam event --pre 2 --post 1 --url clip.mp4");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "clip.mp4\n");
    expectPlayable("clip.mp4");
    EXPECT_GE(seconds("clip.mp4"), 2.9);
    EXPECT_LE(seconds("clip.mp4"), 4.1);
    EXPECT_TRUE(
        std::regex_match(made.err, std::regex("vncam event: clip\\.mp4: [0-9]\\.[0-9] s, [0-9]+ bytes\n")))
        << made.err;
}

TEST_F(Event, TheDefaultNameHasTheTime) {
    const Result made = run("vncam event --pre 0 --post 1 --quiet");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.err, "");
    EXPECT_TRUE(std::regex_match(
        made.out, std::regex("EVT_[0-9]{4}-[0-9]{2}-[0-9]{2}_[0-9]{2}-[0-9]{2}-[0-9]{2}\\.mp4\n")))
        << made.out;
}

TEST_F(Event, TheOneShotFormWaitsForItsClip) {
    const Result made =
        run("env -u KEP_HOST_PRERECORD vncam event --oneshot --quiet --url \"file://$PWD/clip.mp4\"");
    ASSERT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, path("clip.mp4").string() + "\n");
    expectPlayable("clip.mp4");
    EXPECT_GE(seconds("clip.mp4"), 9.9);
    EXPECT_LE(seconds("clip.mp4"), 11.1);
}

TEST_F(Event, AnInterruptBeforeTheEventEndsWithoutAClip) {
    // The stop comes when the service has been started, which the stream of traces shows.
    const Result made =
        run("KEP_HOST_LOG=28 vncam event --pre 30 --url clip.mp4 2>lines & event=$!; for i in {1..600}; do"
            " grep -q VNStart lines && break; sleep 0.1; done; kill -INT $event; wait $event");
    EXPECT_EQ(made.exit, 1);
    std::stringstream lines;
    lines << std::ifstream(path("lines")).rdbuf();
    EXPECT_THAT(lines.str(), HasSubstr("vncam event: interrupted before the event\n"));
    EXPECT_FALSE(std::filesystem::exists(path("clip.mp4")));
}

TEST_F(Event, AnIncompleteClipIsKeptAndNamed) {
    const Result made =
        run("trap '' XFSZ; ulimit -f 400; vncam event --quiet --pre 1 --post 4 --url $PWD/clip.mp4");
    EXPECT_EQ(made.exit, 1);
    EXPECT_EQ(made.out, "");
    EXPECT_THAT(made.err, HasSubstr("vncam event: clip incomplete: " + path("clip.mp4").string() + ": "));
    EXPECT_GT(seconds("clip.mp4"), 0.3);
}

TEST_F(Event, AnEventWithoutPicturesEndsWithoutAClip) {
    // The camera delivers a third of a second, which is over when the event comes.
    const Result made = run(
        "ffmpeg -nostdin -v error -f lavfi -i testsrc=s=320x180:r=30 -frames:v 10 -c:v libx264 film.h264\n"
        "mkfifo camera; { cat film.h264 >camera; rm camera; } &\n"
        "KEP_HOST_VIDEO=file:camera vncam event --pre 0 --post 0 --url clip.mp4");
    EXPECT_EQ(made.exit, 1);
    EXPECT_EQ(made.out, "");
    EXPECT_THAT(made.err, HasSubstr("vncam event: no clip: no picture received\n"));
    EXPECT_FALSE(std::filesystem::exists(path("clip.mp4")));
}

TEST_F(Event, RefusalsNameTheWrongValue) {
    const struct {
        const char* options;
        const char* told;
    } all[] = {{"--pre -1", "--pre '-1': not a whole number from 0 to 30"},
               {"--pre 31", "--pre '31': not a whole number from 0 to 30"},
               {"--url http://a/b.mp4", "--url 'http://a/b.mp4': not a file URL or a file name"},
               {"--url a.avi", "--url 'a.avi': clips are MP4 files: NAME.mp4"},
               {"--url a/", "--url 'a/': not a file URL or a file name"},
               {"--url a,b.mp4", "--url 'a,b.mp4': a name must not contain , { or }"},
               {"--oneshot --pre 3", "--oneshot has a fixed length; leave out --pre and --post"}};
    for (const auto& one : all) {
        const Result refused = run(std::string("vncam event ") + one.options);
        EXPECT_EQ(refused.exit, 2) << one.options;
        EXPECT_EQ(refused.err, std::string("vncam event: ") + one.told + "\nTry 'vncam event --help'.\n");
    }
    const Result folder = run("vncam event --pre 0 --post 0 --url no/clip.mp4");
    EXPECT_EQ(folder.exit, 1);
    EXPECT_THAT(folder.err, HasSubstr("no/clip.mp4"));
}

}  // namespace
}  // namespace vncam_test
