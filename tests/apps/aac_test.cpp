// `vncam aac`, checked against another codec in both directions.
#include <cmath>
#include <cstring>
#include <regex>
#include <vector>

#include "shell.h"
#include "wav_bytes.h"

namespace vncam_test {
namespace {

constexpr std::size_t kUnit =
    1024; /**< samples per channel in an access unit; also the delay of the encoder */

class Aac : public Shell {
  protected:
    /** Makes a WAV file of a tone in each channel with another program. */
    void makeTone(const std::string& file, int rate, int channels, double seconds) const {
        const Result made = run(
            "ffmpeg -nostdin -y -v error -f lavfi -i sine=frequency=700:sample_rate=" + std::to_string(rate) +
            " -t " + std::to_string(seconds) + " -af volume=12dB -ac " + std::to_string(channels) +
            " -c:a pcm_s16le " + file);
        ASSERT_EQ(made.exit, 0) << made.err;
    }
    std::vector<std::int16_t> samplesIn(const std::string& file) const {
        const std::string bytes = run("ffmpeg -nostdin -v error -i " + file + " -f s16le -").out;
        std::vector<std::int16_t> samples(bytes.size() / 2);
        std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
        return samples;
    }
    /** Signal-to-noise ratio in decibels of decoded samples, which begin with the delay. */
    static double ratio(const std::vector<std::int16_t>& samples, const std::vector<std::int16_t>& decoded,
                        std::size_t delay) {
        double signal = 0;
        double noise = 0;
        for (std::size_t i = 0; i < samples.size() && i + delay < decoded.size(); ++i) {
            signal += double(samples[i]) * samples[i];
            noise += std::pow(double(samples[i]) - decoded[i + delay], 2);
        }
        return 10 * std::log10(signal / noise);
    }
};

TEST_F(Aac, EncodesWhatAnotherProgramDecodes) {
    for (const auto& [rate, channels] : {std::pair{48000, 2}, {44100, 1}, {16000, 1}, {8000, 2}}) {
        makeTone("in.wav", rate, channels, 1.5);
        const Result result = run("vncam aac encode in.wav out.aac");
        ASSERT_EQ(result.exit, 0) << result.err;
        EXPECT_EQ(result.err, "vncam aac: out.aac: 1.5 s, " +
                                  std::to_string(readFile(path("out.aac")).size()) + " bytes\n");
        EXPECT_EQ(probe("out.aac", "stream=codec_name"), "aac");
        EXPECT_EQ(probe("out.aac", "stream=profile"), "LC");
        EXPECT_EQ(probe("out.aac", "stream=sample_rate"), std::to_string(rate));
        EXPECT_EQ(probe("out.aac", "stream=channels"), std::to_string(channels));
        // One unit of delay, and the last one is padded.
        const int frames = rate * 3 / 2;
        EXPECT_EQ(probe("out.aac", "stream=nb_read_packets"), std::to_string(1 + (frames + 1023) / 1024));
        EXPECT_EQ(decodeErrors("out.aac"), "");
        EXPECT_GT(
            ratio(samplesIn("in.wav"), samplesIn("out.aac"), kUnit * static_cast<std::size_t>(channels)), 20);
    }
}

TEST_F(Aac, DecodesWhatAnotherProgramEncodes) {
    makeTone("in.wav", 44100, 2, 1);
    ASSERT_EQ(run("ffmpeg -nostdin -v error -i in.wav -c:a aac -b:a 128k other.aac").exit, 0);
    const Result result = run("vncam aac decode other.aac out.wav");
    ASSERT_EQ(result.exit, 0) << result.err;
    const std::size_t frames = samplesIn("out.wav").size() / 2;
    EXPECT_EQ(frames % kUnit, 0u);
    EXPECT_EQ(result.err, "vncam aac: out.wav: 1.0 s, " + std::to_string(frames) + " samples\n");
    EXPECT_EQ(probe("out.wav", "stream=sample_rate"), "44100");
    EXPECT_EQ(probe("out.wav", "stream=channels"), "2");
    EXPECT_GT(ratio(samplesIn("in.wav"), samplesIn("out.wav"), 2 * kUnit), 20);
}

TEST_F(Aac, ReportsATruncatedLastUnit) {
    makeTone("in.wav", 48000, 2, 1);
    ASSERT_EQ(run("vncam aac --quiet encode in.wav whole.aac").exit, 0);
    const std::string whole = readFile(path("whole.aac"));
    const std::size_t last =
        std::stoul(run("ffprobe -v error -show_entries packet=size -of csv=p=0 whole.aac | tail -1").out);
    writeFile(path("cut.aac"), whole.substr(0, whole.size() - 5));
    const Result result = run("vncam aac decode --quiet cut.aac out.wav");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "vncam aac: cut.aac: cut short: last access unit has " + std::to_string(last - 5) +
                              " of " + std::to_string(last) + " bytes\n");
    EXPECT_EQ(samplesIn("out.wav").size() / 2, 47 * kUnit) << "of 48 units";
}

TEST_F(Aac, EncodesAndDecodesThroughPipes) {
    makeTone("in.wav", 48000, 1, 2);
    const Result result =
        run("cat in.wav | vncam aac --quiet encode - - | vncam aac --quiet decode - - | cat >out.wav");
    ASSERT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_GT(ratio(samplesIn("in.wav"), samplesIn("out.wav"), kUnit), 20);
    const Result captured = run("vncam pcm --seconds 1 -o - --quiet | vncam aac encode - mic.aac");
    EXPECT_EQ(captured.exit, 0) << captured.err;
    EXPECT_EQ(probe("mic.aac", "stream=nb_read_packets"), "48") << "a second and the delay";
}

TEST_F(Aac, TheBitRateDecidesTheSize) {
    writeFile(path("in.wav"), wav(samplesOf(96000), {.rate = 48000}));
    ASSERT_EQ(run("vncam aac encode --bps 32000 in.wav small.aac && "
                  "vncam aac encode --bps 128000 in.wav large.aac")
                  .exit,
              0);
    const double small = static_cast<double>(readFile(path("small.aac")).size());
    EXPECT_NEAR(static_cast<double>(readFile(path("large.aac")).size()) / small, 4, 0.8);
}

TEST_F(Aac, BandwidthLimitsTheHighestFrequency) {
    writeFile(path("in.wav"), wav(samplesOf(96000), {.rate = 48000}));
    ASSERT_EQ(run("vncam aac encode --bps 128000 --bandwidth 4000 in.wav out.aac").exit, 0);
    const Result above =
        run("ffmpeg -nostdin -i out.aac -af "
            "highpass=f=6000,highpass=f=6000,highpass=f=6000,highpass=f=6000,volumedetect "
            "-f null - 2>&1 | grep -o 'mean_volume: -[0-9]*'");
    EXPECT_LT(std::stoi(above.out.substr(above.out.find('-'))), -35) << above.out;
}

TEST_F(Aac, EncodesAnEmptyFileToAnEmptyOne) {
    writeFile(path("in.wav"), wav(""));
    EXPECT_EQ(run("vncam aac encode in.wav out.aac").err, "vncam aac: out.aac: 0.0 s, 0 bytes\n");
    EXPECT_EQ(readFile(path("out.aac")), "");
}

TEST_F(Aac, RefusesInputOfAnotherFormat) {
    writeFile(path("in.aac"), "no access units, by no means");
    EXPECT_EQ(run("vncam aac decode in.aac out.wav").err, "vncam aac: in.aac: not an ADTS stream\n");
    EXPECT_EQ(run("vncam aac decode - out.wav </dev/null").err,
              "vncam aac: standard input: not an ADTS stream\n");
    EXPECT_EQ(run("vncam aac decode none.aac out.wav").err,
              "vncam aac: none.aac: cannot open: No such file or directory\n");
    EXPECT_EQ(run("vncam aac decode . out.wav").err, "vncam aac: .: cannot read: Is a directory\n");
    EXPECT_EQ(run("vncam aac encode in.aac out.aac").err, "vncam aac: in.aac: not a WAV file\n");
    EXPECT_FALSE(std::filesystem::exists(path("out.wav")));
    EXPECT_FALSE(std::filesystem::exists(path("out.aac")));
}

TEST_F(Aac, RefusesASampleRateThatAacLacks) {
    writeFile(path("in.wav"), wav(samplesOf(100), {.rate = 10000}));
    const Result result = run("vncam aac encode in.wav out.aac");
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.err.find("10000"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("vncam aac: VNAacCodecSet: "), std::string::npos) << result.err;
}

TEST_F(Aac, RefusesOneFileAsInputAndOutput) {
    writeFile(path("a.wav"), wav(samplesOf(100)));
    const std::string before = readFile(path("a.wav"));
    EXPECT_EQ(run("vncam aac encode a.wav ./a.wav").exit, 2);
    EXPECT_EQ(readFile(path("a.wav")), before);
}

TEST_F(Aac, AFullDiskIsReported) {
    writeFile(path("in.wav"), wav(samplesOf(4000)));
    const Result result = run("vncam aac encode in.wav /dev/full");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam aac: /dev/full: cannot write: No space left on device\n");
}

TEST_F(Aac, AnInterruptLeavesACompleteFile) {
    const Result result =
        run("mkfifo units; cat units >out.aac & cat=$!\n"
            "vncam pcm -o - --quiet | vncam aac encode - units & aac=$!\n"
            "until [ $(stat -c %s out.aac 2>/dev/null || echo 0) -gt 2000 ]; do sleep 0.05; done\n"
            "kill -INT $aac; wait $aac; code=$?; wait $cat; exit $code");
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(decodeErrors("out.aac"), "");
}

}  // namespace
}  // namespace vncam_test
