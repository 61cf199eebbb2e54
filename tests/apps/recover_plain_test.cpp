// `vncam recover` on plain MP4 files, which have no index when they are cut short.
#include <gmock/gmock.h>

#include <random>
#include <sstream>

#include "recordings/recording_check.h"
#include "shell.h"

namespace vncam_test {
namespace {

using recordings::checkRecording;
using recordings::RecordingCheck;
using testing::HasSubstr;
using testing::MatchesRegex;

class RecoverPlain : public Shell {
  protected:
    /** A recording in the state before its index is written; whole.mp4 is the finished one. */
    std::string film(const std::string& options = "--size 640x360 --bps 200000") {
        const Result made =
            run("vncam record --plain --segment 60 --seconds 2 --name whole.mp4 --quiet " + options);
        EXPECT_EQ(made.exit, 0) << made.err;
        std::string bytes = readFile(path("whole.mp4"));
        bytes.resize(bytes.find("moov") - 4);
        bytes.replace(bytes.find("mdat") - 4, 4, 4, '\0');
        return bytes;
    }
    std::string packets(const std::string& file) const {
        return run("ffprobe -v error -select_streams v -show_entries packet=pos,size,flags,duration_time -of "
                   "csv=p=0 " +
                   file)
            .out;
    }
    std::string recover() const { return run("vncam recover .").out; }
};

/** The output of a recovery, before and after the frame rate. */
const std::string kTold = "./a.mp4.part -> ./a.mp4: [0-9.]+ s\n  index rebuilt: [0-9]+ pictures at ";
const std::string kSound = " per second; the sound is lost: only the index located its packets\n";

TEST_F(RecoverPlain, AKilledRecordingKeepsItsPictures) {
    const Result killed =
        run("vncam record --plain --size 640x360 --bps 2M --segment 60 --name a.mp4 & pid=$!;"
            " for i in {1..600}; do [ $(stat -c %s a.mp4.part 2>/dev/null || echo 0) -gt 400000 ] && break;"
            " sleep 0.1; done; kill -KILL $pid; wait $pid");
    EXPECT_EQ(killed.exit, 137);
    const std::string before = readFile(path("a.mp4.part"));
    EXPECT_THAT(run("vncam recover --dry-run .").out, HasSubstr("./a.mp4.part would be ./a.mp4: "));
    EXPECT_EQ(readFile(path("a.mp4.part")), before);
    EXPECT_THAT(recover(), MatchesRegex(kTold + "30" + kSound));
    EXPECT_EQ(decodeErrors("a.mp4"), "");
    EXPECT_EQ(probe("a.mp4", "stream=codec_name"), "h264");
    EXPECT_GT(std::stoi(probe("a.mp4", "stream=nb_read_packets")), 15);
    // All bytes are kept except the size of the data; the index is appended.
    std::string after = readFile(path("a.mp4"));
    ASSERT_GT(after.size(), before.size());
    after.resize(before.size());
    after.replace(after.find("mdat") - 4, 4, 4, '\0');
    EXPECT_EQ(after, before);
}

TEST_F(RecoverPlain, EveryPictureIsFoundWhereItWas) {
    writeFile(path("a.mp4.part"), film("--size 1920x1080 --fps 15 --bps 300k"));
    EXPECT_THAT(recover(), MatchesRegex(kTold + "15" + kSound));
    EXPECT_EQ(packets("a.mp4"), packets("whole.mp4"));
    for (const char* const entry : {"stream=width", "stream=height", "stream=r_frame_rate"})
        EXPECT_EQ(probe("a.mp4", entry), probe("whole.mp4", entry));
    EXPECT_EQ(run("vncam info --json a.mp4 | grep -o '\"finished\": true'").out, "\"finished\": true\n");
}

TEST_F(RecoverPlain, TheLengthIsThatOfTheCompletePictures) {
    const std::string bytes = film();
    std::vector<std::size_t> ends;
    std::istringstream lines(
        run("ffprobe -v error -select_streams v -show_entries packet=size,pos -of csv=p=0 whole.mp4").out);
    std::size_t size = 0, position = 0;
    for (char comma; lines >> size >> comma >> position;) ends.push_back(position + size);
    ASSERT_GT(ends.size(), 30U);
    for (const std::size_t last : {std::size_t{0}, ends.size() / 2, ends.size() - 1}) {
        for (const std::size_t cut : {ends[last], ends[last] + 3}) {
            writeFile(path("cut"), bytes.substr(0, cut));
            EXPECT_NEAR(checkRecording(path("cut")).seconds, static_cast<double>(last + 1) / 30, 1e-6)
                << last;
        }
        if (last == 0) continue;
        writeFile(path("cut"), bytes.substr(0, ends[last] - 1));
        EXPECT_NEAR(checkRecording(path("cut")).seconds, static_cast<double>(last) / 30, 1e-6) << last;
    }
    writeFile(path("cut"), bytes.substr(0, ends[0] - 1));
    EXPECT_EQ(checkRecording(path("cut")).state, RecordingCheck::State::unplayable);
}

TEST_F(RecoverPlain, AKeyFrameComesFirstAfterAHole) {
    std::string bytes = film();
    const std::size_t hole = bytes.size() / 2, end = hole + 6000;
    bytes.replace(hole, end - hole, end - hole, '\0');
    writeFile(path("a.mp4.part"), bytes);
    recover();
    EXPECT_GE(std::stoi(probe("a.mp4", "stream=nb_read_packets")), 40);
    std::istringstream lines(
        run("ffprobe -v error -select_streams v -show_entries packet=pos,flags -of csv=p=0 a.mp4").out);
    std::size_t position = 0;
    std::string flags;
    for (char comma; position < end && lines >> position >> comma >> flags;) continue;
    ASSERT_GE(position, end) << "no picture after the hole";
    EXPECT_EQ(flags.substr(0, 1), "K") << "the others refer to pictures that are lost";
    EXPECT_EQ(run("ffmpeg -nostdin -v error -sseof -0.3 -i a.mp4 -f null -").err, "");
}

TEST_F(RecoverPlain, APowerCutDuringTheRecoveryLosesNothing) {
    const std::string bytes = film();
    writeFile(path("a.mp4.part"), bytes);
    recover();
    const std::string expected = packets("a.mp4");
    const std::string done = readFile(path("a.mp4"));
    ASSERT_EQ(run("rm a.mp4").exit, 0);
    const std::size_t size = done.find("mdat") - 4;
    // The index is on the disk, all of it or a part, and the size of the data is not.
    for (const std::size_t written : {done.size(), (bytes.size() + done.size()) / 2}) {
        std::string cut = done.substr(0, written);
        cut.replace(size, 4, 4, '\0');
        writeFile(path("a.mp4.part"), cut);
        EXPECT_THAT(recover(), HasSubstr("index rebuilt")) << written;
        EXPECT_EQ(packets("a.mp4"), expected) << written;
        ASSERT_EQ(run("rm a.mp4").exit, 0);
    }
}

TEST_F(RecoverPlain, SurvivesRandomDamage) {
    const std::string bytes = film();
    std::minstd_rand random(11);
    for (int round = 0; round < 100; ++round) {
        std::string damaged = bytes.substr(0, 500 + random() % (bytes.size() - 500));
        for (int i = 0; i < 20; ++i)
            damaged[random() % std::min<std::size_t>(damaged.size(), i < 10 ? 200 : damaged.size())] =
                static_cast<char>(random());
        writeFile(path("damaged"), damaged);
        EXPECT_LE(checkRecording(path("damaged")).end, damaged.size());
    }
}

}  // namespace
}  // namespace vncam_test
