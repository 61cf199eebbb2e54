// `vncam volume`, `vncam mute`, and the keys that change both while another command runs.
#include <algorithm>
#include <regex>

#include "shell.h"
#include "wav_bytes.h"

namespace vncam_test {
namespace {

class VolumeCommand : public Shell {
  protected:
    static constexpr std::int16_t kLevel = 20000;

    VolumeCommand() { writeFile(path("level.wav"), wav(levelOf(kLevel, 48000), {.rate = 48000})); }

    std::string samplesIn(const std::string& file) const {
        return run("ffmpeg -nostdin -v error -i " + file + " -f s16le -").out;
    }

    /**
     * Runs a command on a terminal, where these shell lines press keys: `shown TEXT` waits until the terminal
     * shows it, `press KEYS` presses keys.
     */
    Result onTerminal(const std::string& command, const std::string& lines) const {
        return run(
            "mkfifo keys\n"
            "shown() { until grep -aqF -- \"$1\" screen; do kill -0 $terminal || exit 9; sleep 0.05; done; "
            "}\n"
            "press() { printf '%b' \"$1\" >&3; }\n"
            "touch screen\n"
            "script -qefc \"" +
            command +
            "\" screen <keys >/dev/null & terminal=$!\n"
            "exec 3>keys\n" +
            lines + "\nwait $terminal");
    }
};

TEST_F(VolumeCommand, AppliesToTheCommandAfterIt) {
    const std::string mic = "KEP_HOST_AUDIO=file:level.wav ";
    Result result = run(mic + "vncam volume mic 50 pcm --seconds 0.2 -o half.wav --quiet");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(samplesIn("half.wav") == levelOf(kLevel / 2, 9600));
    result = run(mic + "vncam mute mic pcm --seconds 0.2 -o mute.wav");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "vncam pcm: mute.wav: 9600 samples, 0.2 s, peak silence, 0 frames lost\n");
    EXPECT_TRUE(samplesIn("mute.wav") == levelOf(0, 9600));
    EXPECT_EQ(run(mic + "vncam mute mic mute --off mic volume mic 100 pcm --seconds 0.2 -o full.wav").exit,
              0);
    EXPECT_TRUE(samplesIn("full.wav") == levelOf(kLevel, 9600));
}

TEST_F(VolumeCommand, SpeakerAndMicrophoneAreIndependent) {
    const std::string speaker = "KEP_HOST_SPEAKER=file:out.wav ";
    EXPECT_EQ(run(speaker + "vncam volume speaker 50 play level.wav").exit, 0);
    EXPECT_TRUE(samplesIn("out.wav") == levelOf(kLevel / 2, 48000));
    EXPECT_EQ(run(speaker + "vncam mute mic play level.wav").exit, 0);
    EXPECT_TRUE(samplesIn("out.wav") == levelOf(kLevel, 48000));
    EXPECT_EQ(run(speaker + "vncam volume mic 30 mute speaker play level.wav").exit, 0);
    EXPECT_TRUE(samplesIn("out.wav") == levelOf(0, 48000));
}

TEST_F(VolumeCommand, WithoutACommandReportsTheSetting) {
    EXPECT_EQ(run("vncam volume mic 50").err, "vncam volume: mic 50 %\n");
    EXPECT_EQ(run("vncam volume speaker 0").err, "vncam volume: speaker 0 %\n");
    EXPECT_EQ(run("vncam mute speaker").err, "vncam mute: speaker muted\n");
    EXPECT_EQ(run("vncam mute --off mic").err, "vncam mute: mic 100 %\n");
}

TEST_F(VolumeCommand, PassesOnExitCodeAndHelp) {
    EXPECT_EQ(run("vncam volume mic 50 play none.wav").exit, 1);
    EXPECT_EQ(run("vncam volume mic 50 pcm --help").out, run("vncam pcm --help").out);
}

TEST_F(VolumeCommand, KeysChangeTheMicrophoneOfACapture) {
    const Result result = onTerminal("KEP_HOST_AUDIO=file:level.wav vncam pcm -o out.wav",
                                     "shown 'mic 100 %'\n"
                                     "press '--'; shown 'mic 80 %'\n"
                                     "press '=x+++'; shown 'mic 100 %  ['\n"
                                     "press '-----'; shown 'mic 50 %'\n"
                                     "press m; shown 'mic muted'; shown silence\n"
                                     "press '\\003'");
    EXPECT_EQ(result.exit, 0) << readFile(path("screen"));
    const std::string samples = samplesIn("out.wav");
    // Full level, steps down to half of it, then silence, joined by ramps.
    EXPECT_TRUE(samples.starts_with(levelOf(kLevel, 960)));
    EXPECT_NE(samples.find(levelOf(kLevel / 10 * 8, 960)), std::string::npos);
    EXPECT_NE(samples.find(levelOf(kLevel / 2, 960)), std::string::npos);
    EXPECT_TRUE(samples.ends_with(levelOf(0, 960)));
}

TEST_F(VolumeCommand, KeysChangeTheSpeakerOfAPlayback) {
    writeFile(path("long.wav"), wav(levelOf(kLevel, 16000 * 30)));
    const Result result = onTerminal("vncam volume speaker 40 play long.wav",
                                     "shown 'speaker 40 %'\n"
                                     "press '-----'; shown 'speaker 0 %'\n"
                                     "press '+'; shown 'speaker 10 %'\n"
                                     "press m; shown 'speaker muted'\n"
                                     "press m; press +; shown 'speaker 20 %'\n"
                                     "press '\\003'");
    EXPECT_EQ(result.exit, 0) << readFile(path("screen"));
}

TEST_F(VolumeCommand, KeysChangeTheMicrophoneOfAFilm) {
    const Result result = onTerminal("vncam live --audio a.aac",
                                     "shown 'audio'; shown 'mic 100 %'\n"
                                     "press -; shown 'mic 90 %'\n"
                                     "press m; shown 'mic muted'\n"
                                     "press '\\003'");
    EXPECT_EQ(result.exit, 0) << readFile(path("screen"));
    EXPECT_EQ(decodeErrors("a.aac"), "");
}

TEST_F(VolumeCommand, KeysChangeTheMicrophoneOfARecording) {
    const Result result = onTerminal("vncam record --size 640x360 --name a.mp4",
                                     "shown 'a.mp4'; shown 'mic 100 %'\n"
                                     "press m; shown 'mic muted'\n"
                                     "press '\\003'");
    EXPECT_EQ(result.exit, 0) << readFile(path("screen"));
    EXPECT_EQ(decodeErrors("a.mp4"), "");
}

TEST_F(VolumeCommand, AFilmWithoutSoundHasNoKeys) {
    const Result result =
        run("script -qefc 'vncam live --size 640x360 --video v.h264 --seconds 1' /dev/null");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out.find("mic "), std::string::npos) << result.out;
}

TEST_F(VolumeCommand, RestoresTheTerminal) {
    const Result result = onTerminal(
        "stty -a >before; vncam pcm --seconds 0.5; stty -a >after; vncam pcm --rate 8000 --seconds 0.1 -o "
        "none/a; "
        "stty -a >failed",
        "");
    EXPECT_NE(readFile(path("before")).find(" icanon"), std::string::npos) << result.err;
    EXPECT_EQ(readFile(path("after")), readFile(path("before")));
    EXPECT_EQ(readFile(path("failed")), readFile(path("before")));
}

}  // namespace
}  // namespace vncam_test
