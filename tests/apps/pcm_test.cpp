// `vncam pcm` writes exactly the samples of the microphone.
#include <regex>

#include "shell.h"
#include "wav_bytes.h"

namespace vncam_test {
namespace {

class Pcm : public Shell {
  protected:
    /** The setting of a microphone that repeats these samples at 48 kHz. */
    std::string hearing(const std::string& samples, std::uint16_t channels = 1) const {
        writeFile(path("heard.wav"), wav(samples, {.rate = 48000, .channels = channels}));
        return "KEP_HOST_AUDIO=file:heard.wav ";
    }
    /** The samples of a file, decoded by another program. */
    std::string samplesIn(const std::string& file) const {
        return run("ffmpeg -nostdin -v error -i " + file + " -f s16le -").out;
    }
};

TEST_F(Pcm, WritesAllSamplesToAWavFile) {
    const std::string samples = samplesOf(48000);
    const Result result = run(hearing(samples) + "vncam pcm --seconds 1 -o out.wav");
    ASSERT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(std::regex_match(
        result.err,
        std::regex("vncam pcm: out\\.wav: 48000 samples, 1\\.0 s, peak 0\\.0 dB, 0 frames lost\n")))
        << result.err;
    EXPECT_EQ(probe("out.wav", "stream=codec_name"), "pcm_s16le");
    EXPECT_EQ(probe("out.wav", "stream=sample_rate"), "48000");
    EXPECT_EQ(probe("out.wav", "stream=channels"), "1");
    EXPECT_EQ(probe("out.wav", "stream=duration"), "1.000000");
    EXPECT_TRUE(samplesIn("out.wav") == samples);
    EXPECT_EQ(readFile(path("out.wav")).size(), 44u + 96000u) << "the plain header";
}

TEST_F(Pcm, EndsExactlyAfterItsSeconds) {
    const std::string samples = samplesOf(2 * 48000);
    ASSERT_EQ(run(hearing(samples, 2) + "vncam pcm --channels 2 --seconds 0.1234 -o out.wav").exit, 0);
    EXPECT_TRUE(samplesIn("out.wav") == samples.substr(0, 4 * 5923));
}

TEST_F(Pcm, ConvertsToTheRateAndChannelsAskedFor) {
    for (const auto& [rate, channels] : {std::pair{8000, 2}, {16000, 1}, {44100, 2}, {96000, 1}}) {
        const Result result = run("vncam pcm --rate " + std::to_string(rate) + " --channels " +
                                  std::to_string(channels) + " --seconds 1 -o out.wav --quiet");
        ASSERT_EQ(result.exit, 0);
        EXPECT_EQ(result.err, "") << "no line about a short block either";
        EXPECT_EQ(probe("out.wav", "stream=sample_rate"), std::to_string(rate));
        EXPECT_EQ(probe("out.wav", "stream=channels"), std::to_string(channels));
        EXPECT_EQ(probe("out.wav", "stream=duration"), "1.000000");
        const std::string loudness =
            run("ffmpeg -nostdin -i out.wav -af volumedetect -f null - 2>&1 | grep -o 'mean_volume.*'").out;
        // A sine of a quarter of full scale has a mean of -12.04 - 3.01 dB.
        EXPECT_TRUE(std::regex_match(loudness, std::regex("mean_volume: -15\\.[01] dB\n"))) << loudness;
    }
}

TEST_F(Pcm, PipesIntoAnotherProgram) {
    const std::string samples = samplesOf(48000);
    const Result piped =
        run(hearing(samples) + "vncam pcm --seconds 0.5 -o - | ffmpeg -v error -i - -f s16le -");
    EXPECT_EQ(piped.exit, 0) << piped.err;
    EXPECT_TRUE(piped.out == samples.substr(0, 48000));
    const Result bare = run(hearing(samples) + "vncam pcm --seconds 0.5 --raw -o - | cat");
    EXPECT_EQ(bare.exit, 0) << bare.err;
    EXPECT_TRUE(bare.out == samples.substr(0, 48000));
}

TEST_F(Pcm, EndsQuietlyWhenThePipeIsClosed) {
    const Result result = run("vncam pcm -o - | head -c 5000 >/dev/null");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "");
}

TEST_F(Pcm, RefusesToWriteToATerminal) {
    const Result result = run("script -qefc 'vncam pcm -o -' /dev/null");
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.out.find("standard output is a terminal"), std::string::npos) << result.out;
}

TEST_F(Pcm, WithoutAFileReportsTheLevel) {
    const Result result = run("vncam pcm --seconds 0.5");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "vncam pcm: microphone: 24000 samples, 0.5 s, peak -12.0 dB, 0 frames lost\n");
    EXPECT_EQ(run(hearing(levelOf(0, 4800)) + "vncam pcm --seconds 0.1").err,
              "vncam pcm: microphone: 4800 samples, 0.1 s, peak silence, 0 frames lost\n");
}

TEST_F(Pcm, ShowsTheLevelOnATerminal) {
    const Result result = run("script -qefc 'vncam pcm --seconds 1' /dev/null");
    EXPECT_EQ(result.exit, 0);
    EXPECT_TRUE(std::regex_search(
        result.out,
        std::regex("\rvncam pcm  0:0[01] / 0:01  mic 100 %  \\[################----\\] -12\\.0 dB")))
        << result.out;
}

TEST_F(Pcm, AnInterruptLeavesACompleteFile) {
    const Result result =
        run("vncam pcm -o out.wav & pcm=$!\n"
            "until [ $(stat -c %s out.wav 2>/dev/null || echo 0) -gt 60000 ]; do sleep 0.05; done\n"
            "kill -INT $pcm; wait $pcm");
    EXPECT_EQ(result.exit, 0) << result.err;
    const std::string file = readFile(path("out.wav"));
    EXPECT_EQ(file.substr(40, 4), little(static_cast<std::uint32_t>(file.size() - 44), 4));
    EXPECT_EQ(file.substr(4, 4), little(static_cast<std::uint32_t>(file.size() - 8), 4));
    EXPECT_EQ(decodeErrors("out.wav"), "");
}

TEST_F(Pcm, AnInterruptEndsItWhileTheMicrophoneIsStalled) {
    const Result result =
        run("touch quiet\n"
            "KEP_HOST_AUDIO=test:stalled=quiet vncam pcm -o out.wav & pcm=$!\n"
            "until [ -e out.wav ]; do sleep 0.05; done\n"
            "kill -INT $pcm; wait $pcm");
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(readFile(path("out.wav")).size(), 44u);
}

TEST_F(Pcm, ALostMicrophoneIsReportedAndItsSoundKept) {
    const Result result =
        run("KEP_HOST_AUDIO=test:lost=away vncam pcm -o out.wav & pcm=$!\n"
            "until [ $(stat -c %s out.wav 2>/dev/null || echo 0) -gt 60000 ]; do sleep 0.05; done\n"
            "touch away; wait $pcm");
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.err.find("vncam pcm: the audio device test:lost=away is lost\n"), std::string::npos)
        << result.err;
    EXPECT_NE(
        result.err.find("vncam pcm: VNReadPcm: the framework refused the call or failed (VNRES_FAIL, -1)\n"),
        std::string::npos)
        << result.err;
    const std::string file = readFile(path("out.wav"));
    EXPECT_GT(file.size(), 60000u);
    EXPECT_EQ(file.substr(40, 4), little(static_cast<std::uint32_t>(file.size() - 44), 4));
}

TEST_F(Pcm, AMissingMicrophoneIsNamed) {
    const Result result = run("KEP_HOST_AUDIO=file:none.wav vncam pcm --seconds 1");
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.err.find("none.wav"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("vncam pcm: VNStart: "), std::string::npos) << result.err;
}

TEST_F(Pcm, AnUnwritableFileIsNamed) {
    Result result = run("vncam pcm --seconds 1 -o none/out.wav");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam pcm: none/out.wav: cannot open: No such file or directory\n");
    result = run("vncam pcm --seconds 1 -o /dev/full");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam pcm: /dev/full: cannot write: No space left on device\n");
}

}  // namespace
}  // namespace vncam_test
