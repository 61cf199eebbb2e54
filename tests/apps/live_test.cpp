// `vncam live` as a user runs it; its files are checked by another program.
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>

#include "shell.h"
#include "wait_until.h"

namespace vncam_test {
namespace {

using Live = Shell;

constexpr const char* smallFilm = "vncam live --size 640x360 --fps 30 --bps 500000 --gop 15 ";

TEST_F(Live, WritesVideoAndAudioOfTheSetProperties) {
    const Result film =
        run(std::string(smallFilm) +
            "--seconds 2 --video v.h264 --audio a.aac --rate 16000 --channels 2 --abps 48000");
    ASSERT_EQ(film.exit, 0) << film.err;
    EXPECT_EQ(film.out, "");
    EXPECT_EQ(probe("v.h264", "stream=codec_name"), "h264");
    EXPECT_EQ(probe("v.h264", "stream=r_frame_rate"), "30/1");
    EXPECT_EQ(pictureRuns("v.h264"), "60 of 640x360");
    EXPECT_EQ(decodeErrors("v.h264"), "");
    EXPECT_EQ(probe("a.aac", "stream=codec_name"), "aac");
    EXPECT_EQ(probe("a.aac", "stream=sample_rate"), "16000");
    EXPECT_EQ(probe("a.aac", "stream=channels"), "2");
    EXPECT_EQ(probe("a.aac", "stream=nb_read_packets"), "32") << "2 s of 16000 samples in frames of 1024";
    EXPECT_EQ(decodeErrors("a.aac"), "");
}

TEST_F(Live, KeyFramesAreOneGroupApart) {
    ASSERT_EQ(run(std::string(smallFilm) + "--seconds 1.5 --video v.h264").exit, 0);
    const Result types = run("ffprobe -v error -show_entries packet=flags -of csv=p=0 v.h264 | cut -c1");
    std::string expected;
    for (int frame = 0; frame < 45; ++frame) expected += frame % 15 == 0 ? "K\n" : "_\n";
    EXPECT_EQ(types.out, expected);
}

TEST_F(Live, SwitchesSizesAtTheirSeconds) {
    const Result film =
        run(std::string(smallFilm) + "--seconds 2 --switch 320x180@0.5 --switch 1280x720@1.5 --video v.h264");
    ASSERT_EQ(film.exit, 0) << film.err;
    EXPECT_EQ(pictureRuns("v.h264"), "15 of 640x360, 30 of 320x180, 15 of 1280x720");
    EXPECT_EQ(decodeErrors("v.h264"), "");
}

TEST_F(Live, PrintsASummaryOnStandardError) {
    const Result film = run(std::string(smallFilm) + "--seconds 1 --video v.h264 --audio a.aac");
    ASSERT_EQ(film.exit, 0) << film.err;
    const std::string bytes = std::to_string(readFile(path("v.h264")).size());
    EXPECT_TRUE(std::regex_match(
        film.err, std::regex("vncam live: v\\.h264: 30 video frames, " + bytes +
                             " bytes, 1\\.0 s, 0 lost\n"
                             "vncam live: a\\.aac: 47 audio frames, [0-9]+ bytes, 1\\.0 s, 0 lost\n")))
        << film.err;
}

TEST_F(Live, UsesTheSingularForOneFrame) {
    const Result film = run(std::string(smallFilm) + "--seconds 0.03 --video v.h264");
    EXPECT_NE(film.err.find("vncam live: v.h264: 1 video frame, "), std::string::npos) << film.err;
}

TEST_F(Live, QuietPrintsNothing) {
    const Result film = run(std::string(smallFilm) + "--seconds 0.5 --video v.h264 --quiet");
    EXPECT_EQ(film.exit, 0);
    EXPECT_EQ(film.err, "");
}

TEST_F(Live, PipesIntoAnotherProgram) {
    const Result film = run(std::string(smallFilm) + "--seconds 1 --audio a.aac --video - | cat >piped.h264");
    ASSERT_EQ(film.exit, 0) << film.err;
    EXPECT_EQ(pictureRuns("piped.h264"), "30 of 640x360");
    EXPECT_EQ(decodeErrors("piped.h264"), "");
    EXPECT_EQ(probe("a.aac", "stream=codec_name"), "aac");
}

TEST_F(Live, EndsQuietlyWhenThePipeIsClosed) {
    const Result film = run(std::string(smallFilm) + "--video - | head -c 5000 >/dev/null");
    EXPECT_EQ(film.exit, 0);
    EXPECT_EQ(film.err, "");
}

TEST_F(Live, AnInterruptLeavesCompleteFiles) {
    // The stop comes when both files have grown, by the signal that a terminal sends.
    const Result film =
        run(std::string(smallFilm) +
            "--video v.h264 --audio a.aac --seconds 100 & film=$!\n"
            "until [ $(stat -c %s v.h264 2>/dev/null || echo 0) -gt 20000 ] && [ -s a.aac ]; do\n"
            "  sleep 0.05; done\n"
            "kill -INT $film; wait $film");
    EXPECT_EQ(film.exit, 0) << film.err;
    EXPECT_NE(film.err.find("vncam live: v.h264: "), std::string::npos) << film.err;
    EXPECT_EQ(decodeErrors("v.h264"), "");
    EXPECT_EQ(decodeErrors("a.aac"), "");
}

TEST_F(Live, SigtermEndsItWhileThePipeIsFull) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t film = fork();
    ASSERT_GE(film, 0);
    if (film == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execl(VNCAM_FOLDER "/vncam", "vncam", "live", "--video", "-", "--bps", "20000000", "--quiet",
              nullptr);
        _exit(127);
    }
    close(ends[1]);
    int before = -1;
    const bool full = waitUntil([&] {
        int now = 0;
        ioctl(ends[0], FIONREAD, &now);
        const bool still = now > 60000 && now == before;
        before = now;
        return still;
    });
    EXPECT_TRUE(full) << "the film never filled the pipe";
    kill(film, SIGTERM);
    int status = 0;
    const bool ended = waitUntil([&] { return waitpid(film, &status, WNOHANG) == film; });
    if (!ended) kill(film, SIGKILL);
    EXPECT_TRUE(ended);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    close(ends[0]);
}

TEST_F(Live, ShowsProgressOnATerminal) {
    const Result film =
        run("script -qefc \"" + std::string(smallFilm) + "--seconds 2 --video v.h264\" /dev/null");
    EXPECT_EQ(film.exit, 0);
    EXPECT_TRUE(std::regex_search(film.out, std::regex("\rvncam live  0:0[01] / 0:02  video [0-9]+ frames")))
        << film.out;
}

TEST_F(Live, RefusesToWriteToATerminal) {
    const Result film = run("script -qefc \"" + std::string(smallFilm) + "--video -\" /dev/null");
    EXPECT_EQ(film.exit, 1);
    EXPECT_EQ(film.out.rfind("vncam live: standard output is a terminal", 0), 0u) << film.out;
}

TEST_F(Live, AnUnwritableFileIsNamed) {
    const Result film = run(std::string(smallFilm) + "--video missing/v.h264");
    EXPECT_EQ(film.exit, 1);
    EXPECT_EQ(film.err, "vncam live: missing/v.h264: cannot open: No such file or directory\n");
}

TEST_F(Live, AFullDiskEndsTheFilm) {
    const Result film = run(std::string(smallFilm) + "--video /dev/full --audio a.aac --seconds 100");
    EXPECT_EQ(film.exit, 1);
    EXPECT_EQ(film.err, "vncam live: /dev/full: cannot write: No space left on device\n");
}

TEST_F(Live, AMissingCameraIsNamed) {
    const Result film =
        run("KEP_HOST_VIDEO=file:missing.mp4 " + std::string(smallFilm) + "--video v.h264 --seconds 1");
    EXPECT_EQ(film.exit, 1);
    EXPECT_NE(film.err.find("missing.mp4"), std::string::npos) << film.err;
    EXPECT_NE(
        film.err.find("vncam live: VNStart: the framework refused the call or failed (VNRES_FAIL, -1)\n"),
        std::string::npos)
        << film.err;
}

TEST_F(Live, AFailedStartLeavesFilesUntouched) {
    writeFile(path("old.h264"), "of yesterday");
    const std::string camera = "KEP_HOST_VIDEO=file:missing.mp4 ";
    EXPECT_EQ(run(camera + smallFilm + "--video old.h264").exit, 1);
    EXPECT_EQ(readFile(path("old.h264")), "of yesterday");
    EXPECT_EQ(run(camera + smallFilm + "--video new.h264").exit, 1);
    EXPECT_FALSE(std::filesystem::exists(path("new.h264")));
}

TEST_F(Live, OneFileForBothStreamsIsRefused) {
    writeFile(path("old"), "of yesterday");
    ASSERT_EQ(run("ln -s old link; ln old hard; ln -s new to-new; mkdir d; mkfifo pipe").exit, 0);
    for (const auto& [video, audio] : {std::pair{"old", "old"},
                                       {"old", "./old"},
                                       {"link", "old"},
                                       {"hard", "old"},
                                       {"new", "d/../new"},
                                       {"to-new", "new"},
                                       {"pipe", "./pipe"}}) {
        const Result film = run(std::string(smallFilm) + "--video " + video + " --audio " + audio);
        EXPECT_EQ(film.exit, 2) << video << " " << audio;
        EXPECT_EQ(film.err, "vncam live: --video " + std::string(video) + " and --audio " + audio +
                                " are the same file\nTry 'vncam live --help'.\n");
    }
    EXPECT_EQ(run(std::string(smallFilm) + "--video - --audio old >>old").exit, 2);
    EXPECT_EQ(readFile(path("old")), "of yesterday");
    EXPECT_FALSE(std::filesystem::exists(path("new")));
}

TEST_F(Live, BothStreamsMayGoToTheNullDevice) {
    const Result film = run(std::string(smallFilm) + "--seconds 0.2 --video /dev/null --audio /dev/null");
    EXPECT_EQ(film.exit, 0) << film.err;
}

TEST_F(Live, AMicrophoneThatDisappearsIsNamedAndItsSoundKept) {
    const Result film =
        run("mkfifo mic\n"
            "ffmpeg -nostdin -v error -f lavfi -i sine -t 1 -f wav - >mic &\n"
            "KEP_HOST_AUDIO=file:mic vncam live --audio a.aac --seconds 100");
    EXPECT_EQ(film.exit, 1);
    EXPECT_NE(film.err.find("vncam live: the audio device file:mic is lost\n"), std::string::npos)
        << film.err;
    EXPECT_NE(film.err.find("vncam live: VNRead of audio: "), std::string::npos) << film.err;
    EXPECT_GT(std::stoi("0" + probe("a.aac", "stream=nb_read_packets")), 30) << "most of the second";
    EXPECT_EQ(decodeErrors("a.aac"), "");
}

}  // namespace
}  // namespace vncam_test
