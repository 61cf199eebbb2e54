// `vncam watch` with stand-ins for players, which record their input, and with a real one.
#include <regex>

#include "shell.h"

namespace vncam_test {
namespace {

constexpr const char* kWatch = "vncam watch --size 640x360 --fps 30 --bps 500000 --gop 15 ";

class Watch : public Shell {
  protected:
    Watch() { std::filesystem::create_directory(path("bin")); }
    /** Installs a bash script as a player. */
    void install(const std::string& name, const std::string& text) const {
        const std::filesystem::path file = path("bin") / name;
        writeFile(file, "#!/bin/bash\n" + text + "\n");
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    }
    /** Runs a command with no other players installed. */
    Result watch(const std::string& arguments, const std::string& after = "") const {
        return run("PATH=$PWD/bin:" VNCAM_FOLDER "\n" + (kWatch + arguments) + after);
    }
    /** Whether the player that wrote its process into the file `process` has ended. */
    bool hasEnded() const { return run("kill -0 $(cat process)").exit != 0; }
};

TEST_F(Watch, ThePlayerGetsVideoAndAudio) {
    install("ffplay", "printf '%s\\n' \"$@\" >arguments; exec /bin/cat >shown.ts");
    const Result result = watch("--seconds 1");
    ASSERT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(result.out, "");
    std::smatch told;
    ASSERT_TRUE(std::regex_match(
        result.err, told,
        std::regex("vncam watch: ffplay: ([0-9]+) video frames, [0-9]+ bytes, [0-9.]+ s, 0 lost\n"
                   "vncam watch: ffplay: [0-9]+ audio frames, [0-9]+ bytes, [0-9.]+ s, 0 lost\n")))
        << result.err;
    EXPECT_EQ(probe("shown.ts", "format=format_name"), "mpegts");
    EXPECT_EQ(pictureRuns("shown.ts"), told[1].str() + " of 640x360");
    EXPECT_NEAR(std::stoi(told[1]), 30, 5);
    EXPECT_EQ(probe("shown.ts -select_streams a", "stream=codec_name"), "aac");
    EXPECT_NE(readFile(path("arguments")).find("-window_title\nvncam watch\n"), std::string::npos);
}

TEST_F(Watch, TheSoundMayBeLeftOut) {
    install("ffplay", "exec /bin/cat >shown.ts");
    EXPECT_EQ(watch("--seconds 0.5 --no-audio --quiet").err, "");
    EXPECT_EQ(probe("shown.ts", "format=nb_streams"), "1");
}

TEST_F(Watch, UsesTheNamedPlayerOrTheFirstInstalled) {
    install("mpv", "echo \"$0\" >player; exec /bin/cat >/dev/null");
    const auto taken = [this](const std::string& arguments) {
        writeFile(path("player"), "");
        EXPECT_EQ(watch("--no-audio --quiet --seconds 0.1 " + arguments).err, "");
        return readFile(path("player"));
    };
    const std::string bin = path("bin").string();
    EXPECT_EQ(taken(""), bin + "/mpv\n");
    install("ffplay", readFile(path("bin/mpv")));
    EXPECT_EQ(taken(""), bin + "/ffplay\n");
    EXPECT_EQ(taken("--player mpv"), bin + "/mpv\n");
    std::filesystem::rename(path("bin/mpv"), path("mpv"));
    EXPECT_EQ(taken("--player ./mpv"), "./mpv\n");
}

TEST_F(Watch, AMissingPlayerIsReported) {
    EXPECT_EQ(watch("").err,
              "vncam watch: no player installed: install ffplay or mpv; on Debian: apt install ffmpeg\n");
    EXPECT_EQ(watch("--player mpv").err, "vncam watch: mpv: not installed; on Debian: apt install mpv\n");
    const Result path = watch("--player missing/ffplay");
    EXPECT_EQ(path.exit, 1);
    EXPECT_EQ(path.err, "vncam watch: missing/ffplay: cannot run: No such file or directory\n");
}

TEST_F(Watch, AClosedWindowEndsIt) {
    install("ffplay", "/usr/bin/head -c 20000 >/dev/null");
    const Result result = watch("");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "");
}

TEST_F(Watch, AFailureOfThePlayerIsReportedWithItsOutput) {
    install("ffplay", "/usr/bin/head -c 100 >/dev/null; echo 'no display' >&2; echo 'at all' >&2; exit 3");
    const Result result = watch("");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam watch: ffplay: exit status 3: no display; at all\n");
}

TEST_F(Watch, ASignalThatEndsThePlayerIsReported) {
    install("ffplay", "/usr/bin/head -c 100 >/dev/null; kill -TERM $$");
    const Result result = watch("");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam watch: ffplay: terminated by signal: Terminated\n");
}

TEST_F(Watch, OutputOfThePlayerIsHidden) {
    install("ffplay", "echo out; echo err >&2; exec /bin/cat >/dev/null");
    const Result result = watch("--seconds 0.2 --quiet");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out + result.err, "");
}

TEST_F(Watch, ASignalEndsBoth) {
    install("ffplay", "echo $$ >process; exec /bin/cat >shown.ts");
    const std::string shown =
        "until [ -s shown.ts ]; do /bin/sleep 0.02; done\n"
        "kill -INT $watch; wait $watch";
    const Result result = watch("--quiet", " & watch=$!\n" + shown);
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(hasEnded());
}

TEST_F(Watch, ASignalEndsAPlayerThatHangs) {
    install("ffplay", "trap '' TERM; echo $$ >process; while :; do /bin/sleep 0.1; done");
    const Result result = watch("--quiet --bps 20M",
                                " & watch=$!\n"
                                "until [ -s process ]; do /bin/sleep 0.02; done\n"
                                "kill -TERM $watch; wait $watch");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(hasEnded());
}

TEST_F(Watch, AMissingCameraEndsThePlayer) {
    install("ffplay", "echo $$ >process; exec /bin/cat >/dev/null");
    const Result result =
        run("PATH=$PWD/bin:" VNCAM_FOLDER "; KEP_HOST_VIDEO=file:missing.mp4 " + std::string(kWatch));
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.err.find("vncam watch: VNStart: "), std::string::npos) << result.err;
    EXPECT_TRUE(!std::filesystem::exists(path("process")) || hasEnded());
}

TEST_F(Watch, ARealPlayerShowsTheStream) {
    const Result result = run("SDL_VIDEODRIVER=dummy SDL_AUDIODRIVER=dummy " + std::string(kWatch) +
                              "--player ffplay --seconds 1 --quiet");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "");
    const Result refused =
        run("SDL_VIDEODRIVER=none SDL_AUDIODRIVER=dummy " + std::string(kWatch) + "--player ffplay --quiet");
    EXPECT_EQ(refused.exit, 1);
    EXPECT_EQ(refused.err.rfind("vncam watch: ffplay: exit status 1: ", 0), 0u) << refused.err;
}

}  // namespace
}  // namespace vncam_test
