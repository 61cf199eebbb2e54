// `vncam live --output`: video and audio in one file or pipe, checked by other programs.
#include <algorithm>
#include <cmath>
#include <regex>

#include "command.h"
#include "recorded_file.h"
#include "shell.h"
#include "stream_muxer.h"

namespace vncam_test {
namespace {

constexpr const char* kFilm = "vncam live --size 640x360 --fps 30 --bps 500000 --gop 15 ";

class JoinedFilm : public Shell {
  protected:
    std::string film(const std::string& arguments) const { return kFilm + arguments; }
    /** All errors of decoding a file, whose frame rate may vary. */
    std::string faults(const std::string& file) const {
        return run("ffmpeg -nostdin -v error -xerror -err_detect explode -i " + file +
                   " -fps_mode vfr -f null - 2>&1")
            .out;
    }
    /** The packets of a stream, of `v` or `a`. */
    int packets(const std::string& file, const char* stream) const {
        const std::string count =
            run("ffprobe -v error -count_packets -select_streams " + std::string(stream) +
                " -show_entries stream=nb_read_packets -of default=nk=1:nw=1 " + file)
                .out;
        return std::atoi(count.c_str());
    }
    /** Length of the video: the streams do not begin at the same time. */
    double length(const std::string& file) const {
        return std::atof(probe("-select_streams v " + file, "stream=duration").c_str());
    }
    /**
     * Expects as many packets as the summary says, and about `video` and `audio` of them: on a busy machine
     * some are later than counted.
     */
    void expectReported(const std::string& summary, const std::string& file, int video, int audio) const {
        for (const auto& [name, count] : {std::pair{"video", video}, {"audio", audio}}) {
            std::smatch number;
            ASSERT_TRUE(std::regex_search(
                summary, number,
                std::regex(": ([0-9]+) " + std::string(name) + " frames, [0-9]+ bytes, [0-9.]+ s, 0 lost\n")))
                << summary;
            const int frames = std::stoi(number[1]);
            EXPECT_EQ(packets(file, std::string(name, 1).c_str()), frames);
            EXPECT_NEAR(frames, count, 2 + count / 10) << name;
        }
    }
    /** Films until both streams are in the file, then sends a signal; returns the result of the film. */
    Result signalled(const char* signal, const std::string& file) const {
        return run(film("--output " + file +
                        " --bps 4000000 --seconds 100 & film=$!\n"
                        "until [ $(stat -c %s " +
                        file +
                        " 2>/dev/null || echo 0) -gt 150000 ] || ! kill -0 $film; do sleep 0.02; done\n"
                        "kill -" +
                        signal + " $film; wait $film"));
    }
};

class JoinedFormats : public JoinedFilm, public testing::WithParamInterface<const char*> {};

TEST_P(JoinedFormats, HaveSynchronousVideoAndAudio) {
    const std::string file = std::string("film.") + GetParam();
    const Result result = run(film("--seconds 2.2 --abps 128000 --output " + file));
    ASSERT_EQ(result.exit, 0) << result.err;
    expectReported(result.err, file, 66, 104);
    EXPECT_NEAR(length(file), 2.2, 0.2);
    EXPECT_EQ(faults(file), "");

    RecordedFile recorded(path(file));
    ASSERT_TRUE(recorded.video() && recorded.audio());
    EXPECT_EQ(recorded.audio().codec->sample_rate, 48000);
    EXPECT_TRUE(recorded.video().packets.front()->flags & AV_PKT_FLAG_KEY);
    const std::vector<double> flashes = flashesOf(recorded.decodePictures());
    const std::vector<double> beeps = beepsOf(recorded.decodeSound());
    int compared = 0;
    for (const double beep : beeps) {
        // The flash of a beep near an end may be outside.
        if (beep < 0.2 || beep > 2) continue;
        const auto isNear = [beep](double flash) { return std::abs(flash - beep) < 0.05; };
        EXPECT_TRUE(std::ranges::any_of(flashes, isNear))
            << "flashes " << testing::PrintToString(flashes) << ", beeps " << testing::PrintToString(beeps);
        ++compared;
    }
    EXPECT_GT(compared, 0);
    EXPECT_TRUE(recorded.errors().empty()) << recorded.errors().front();
}

TEST_P(JoinedFormats, AreCompleteAfterASignal) {
    const std::string file = std::string("film.") + GetParam();
    for (const char* const signal : {"INT", "TERM", "HUP"}) {
        const Result result = signalled(signal, file);
        EXPECT_EQ(result.exit, 0) << signal << result.err;
        EXPECT_EQ(faults(file), "") << signal;
        std::smatch told;
        ASSERT_TRUE(std::regex_search(result.err, told, std::regex(": ([0-9]+) video frames"))) << result.err;
        EXPECT_EQ(packets(file, "v"), std::stoi(told[1])) << signal;
        EXPECT_NEAR(length(file), std::stoi(told[1]) / 30.0, 0.2) << signal;
        writeFile(path(file), "");
    }
}

INSTANTIATE_TEST_SUITE_P(Both, JoinedFormats, testing::Values("mp4", "ts"),
                         [](const auto& format) { return std::string(format.param); });

TEST_F(JoinedFilm, AnMp4FileIsFinished) {
    ASSERT_EQ(run(film("--seconds 1 --output film.mp4")).exit, 0);
    EXPECT_TRUE(std::regex_search(run("vncam info film.mp4").out,
                                  std::regex("\nfilm\\.mp4 +1\\.0 s +2 +yes +avc1 640x360, mp4a 48000 Hz 1")))
        << run("vncam info film.mp4").out;
}

TEST_F(JoinedFilm, AKilledMp4FilePlaysUpToItsEnd) {
    EXPECT_EQ(signalled("KILL", "film.mp4").exit, 137);
    EXPECT_GE(packets("film.mp4", "v"), 15);
    EXPECT_EQ(faults("film.mp4"), "");
    EXPECT_GE(length("film.mp4"), 0.4);
}

TEST_F(JoinedFilm, MayHaveNoSound) {
    ASSERT_EQ(run(film("--seconds 1 --no-audio --output film.mp4")).exit, 0);
    EXPECT_EQ(probe("film.mp4", "format=nb_streams"), "1");
    EXPECT_EQ(probe("film.mp4", "stream=codec_name"), "h264");
    EXPECT_NEAR(length("film.mp4"), 1, 0.1);
}

TEST_F(JoinedFilm, GoesThroughAPipeAsMpegTs) {
    const Result result = run(film("--seconds 1 --rate 16000 --channels 2 --output - 2>told | cat >film.ts"));
    ASSERT_EQ(result.exit, 0) << readFile(path("told"));
    EXPECT_EQ(probe("film.ts", "format=format_name"), "mpegts");
    expectReported(readFile(path("told")), "film.ts", 30, 16);
    EXPECT_EQ(probe("film.ts -select_streams a", "stream=channels"), "2");
    EXPECT_EQ(faults("film.ts"), "");
}

TEST_F(JoinedFilm, EndsQuietlyWhenThePipeIsClosed) {
    const Result result = run(film("--output - | head -c 5000 >/dev/null"));
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "");
}

TEST_F(JoinedFilm, SwitchesSizesInMpegTs) {
    const Result result = run(film("--seconds 1 --switch 320x180@0.5 --output film.ts"));
    ASSERT_EQ(result.exit, 0) << result.err;
    EXPECT_TRUE(std::regex_match(pictureRuns("film.ts"), std::regex("1[0-9] of 640x360, 1[0-9] of 320x180")))
        << pictureRuns("film.ts");
}

TEST_F(JoinedFilm, ASlowerCameraStaysInSync) {
    // Ten pictures a second where thirty are asked for.
    const Result result =
        run("ffmpeg -nostdin -v error -f lavfi -i testsrc=size=320x180:rate=10 -t 1 -c:v libx264 camera.mp4\n"
            "KEP_HOST_VIDEO=file:camera.mp4 " +
            film("--seconds 2 --output film.mp4"));
    ASSERT_EQ(result.exit, 0) << result.err;
    // A picture of each tenth of a second, and those that a stream begins with.
    EXPECT_NEAR(packets("film.mp4", "v"), 22, 2);
    EXPECT_NEAR(packets("film.mp4", "a"), 94, 6);
    EXPECT_NEAR(length("film.mp4"), 2, 0.2);
    const double pictures = std::stod(probe("film.mp4 -select_streams v", "stream=duration"));
    EXPECT_NEAR(pictures, std::stod(probe("film.mp4 -select_streams a", "stream=duration")), 0.15);
}

TEST_F(JoinedFilm, AFailedStartLeavesTheFileUntouched) {
    writeFile(path("old.mp4"), "of yesterday");
    EXPECT_EQ(run("KEP_HOST_VIDEO=file:missing.mp4 " + film("--output old.mp4")).exit, 1);
    EXPECT_EQ(readFile(path("old.mp4")), "of yesterday");
    EXPECT_EQ(run("KEP_HOST_AUDIO=file:missing.wav " + film("--output new.mp4")).exit, 1);
    EXPECT_FALSE(std::filesystem::exists(path("new.mp4")));
}

TEST_F(JoinedFilm, AFullDiskIsReported) {
    ASSERT_EQ(run("ln -s /dev/full full.ts; ln -s /dev/full full.mp4").exit, 0);
    for (const std::string file : {"full.ts", "full.mp4"}) {
        const Result result = run(film("--seconds 100 --output " + file));
        EXPECT_EQ(result.exit, 1);
        EXPECT_EQ(result.err, "vncam live: " + file + ": cannot write: No space left on device\n");
    }
}

TEST_F(JoinedFilm, AMissingFolderIsReported) {
    const Result result = run(film("--output missing/film.mp4"));
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam live: missing/film.mp4: cannot open: No such file or directory\n");
}

TEST_F(JoinedFilm, AMicrophoneThatDisappearsLeavesACompleteFile) {
    const Result result =
        run("mkfifo mic\n"
            "ffmpeg -nostdin -v error -f lavfi -i sine -t 1 -f wav - >mic &\n"
            "KEP_HOST_AUDIO=file:mic " +
            film("--seconds 100 --output film.mp4"));
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.err.find("vncam live: the audio device file:mic is lost\n"), std::string::npos)
        << result.err;
    EXPECT_EQ(faults("film.mp4"), "");
    EXPECT_GT(packets("film.mp4", "a"), 30);
    EXPECT_GT(packets("film.mp4", "v"), 15);
}

/** Sinks of a muxer, fed by the test. */
class JoinedSinks : public JoinedFilm {
  protected:
    vncam::StreamSinks open(const char* file) {
        return vncam::StreamMuxer::open(std::make_unique<vncam::Output>(path(file)),
                                        vncam::streamFormatOf(file), {{640, 360}, 30},
                                        vncam::AudioFormat{48000, 1});
    }
    static void write(vncam::FrameSink& sink, const std::string& frame, int milliseconds) {
        sink.write(frame, vncam::FrameSink::Time(std::chrono::milliseconds(milliseconds)));
    }
    const std::string keyFrame{"\0\0\0\1\x65", 5};
};

TEST_F(JoinedSinks, NothingIsWrittenBeforeBothStreamsHaveBegun) {
    writeFile(path("old.ts"), "of yesterday");
    const vncam::StreamSinks sinks = open("old.ts");
    write(*sinks.video, keyFrame, 0);
    EXPECT_EQ(readFile(path("old.ts")), "of yesterday");
    sinks.video->close();
    EXPECT_THROW(sinks.audio->close(), vncam::ClosedPipe);
    EXPECT_EQ(readFile(path("old.ts")), "of yesterday");
}

TEST_F(JoinedSinks, AStreamThatNeverBeginsIsNamed) {
    const vncam::StreamSinks sinks = open("film.ts");
    write(*sinks.video, keyFrame, 0);
    write(*sinks.video, keyFrame, 5000);
    try {
        write(*sinks.video, keyFrame, 5001);
        FAIL() << "no timeout";
    } catch (const vncam::Failure& failure) {
        EXPECT_STREQ(failure.what(), "no audio frame received");
    }
    EXPECT_FALSE(std::filesystem::exists(path("film.ts")));
}

TEST_F(JoinedSinks, DelayedFirstFramesAreMovedToTheirTimes) {
    ASSERT_EQ(
        run("ffmpeg -nostdin -v error -f lavfi -i color=size=64x64 -frames:v 1 -c:v libx264 -f h264 key")
            .exit,
        0);
    vncam::StreamSinks sinks =
        vncam::StreamMuxer::open(std::make_unique<vncam::Output>(path("film.mp4")), vncam::StreamFormat::mp4,
                                 {{64, 64}, 50}, std::nullopt);
    for (const int milliseconds : {1035, 1045, 1055, 1065, 1080, 1100, 1120, 1140, 1160})
        write(*sinks.video, readFile(path("key")), milliseconds);
    sinks.video->close();
    sinks = {};
    EXPECT_EQ(run("ffprobe -v error -show_entries packet=pts_time -of csv=p=0 film.mp4").out,
              "0.000000\n0.020000\n0.040000\n0.060000\n0.080000\n0.100000\n0.120000\n0.140000\n0.160000\n");
}

TEST_F(JoinedSinks, SoundWithoutAdtsIsRefusedForMp4) {
    const vncam::StreamSinks sinks = open("film.mp4");
    EXPECT_THROW(write(*sinks.audio, "no AAC unit", 0), vncam::Failure);
}

}  // namespace
}  // namespace vncam_test
