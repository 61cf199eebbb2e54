// `vncam play` delivers exactly the samples of the file to the loudspeaker.
#include <cstdint>
#include <regex>

#include "shell.h"
#include "wav_bytes.h"

namespace vncam_test {
namespace {

class Play : public Shell {
  protected:
    /** The samples of a WAV file, decoded by another program. */
    std::string heard(const std::string& file) const {
        return run("ffmpeg -nostdin -v error -i " + file + " -f s16le -").out;
    }
};

TEST_F(Play, EverySampleArrives) {
    const std::string samples = samplesOf(16000 + 123);
    writeFile(path("in.wav"), wav(samples));
    const Result result = run("KEP_HOST_SPEAKER=file:out.wav vncam play in.wav");
    ASSERT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(probe("out.wav", "stream=sample_rate"), "16000");
    EXPECT_EQ(probe("out.wav", "stream=channels"), "1");
    EXPECT_TRUE(heard("out.wav") == samples)
        << heard("out.wav").size() << " of " << samples.size() << " bytes";
}

TEST_F(Play, StereoKeepsItsRate) {
    const std::string samples = samplesOf(2 * 24000);
    writeFile(path("in.wav"), wav(samples, {.rate = 48000, .channels = 2}));
    ASSERT_EQ(run("KEP_HOST_SPEAKER=file:out.wav vncam play in.wav").exit, 0);
    EXPECT_EQ(probe("out.wav", "stream=sample_rate"), "48000");
    EXPECT_EQ(probe("out.wav", "stream=channels"), "2");
    EXPECT_TRUE(heard("out.wav") == samples);
}

TEST_F(Play, StandardInputAndOtherChunksAreRead) {
    const std::string samples = samplesOf(4000);
    const std::string header = chunk("LIST", "odd") + chunk("fmt ", formatRecord({}) + little(0, 2));
    writeFile(path("in.wav"), riff(header + chunk("data", samples) + chunk("LIST", "tail")));
    ASSERT_EQ(run("cat in.wav | KEP_HOST_SPEAKER=file:out.wav vncam play -").exit, 0);
    EXPECT_TRUE(heard("out.wav") == samples);
}

TEST_F(Play, AStreamOfUnknownLengthIsPlayedToItsEnd) {
    writeFile(path("in.wav"), wav(samplesOf(8000)));
    const Result result =
        run("ffmpeg -nostdin -v error -i in.wav -f wav - | KEP_HOST_SPEAKER=file:out.wav vncam play -");
    ASSERT_EQ(result.exit, 0) << result.err;
    EXPECT_TRUE(heard("out.wav") == samplesOf(8000));
}

TEST_F(Play, TheExtensibleFormatIsAccepted) {
    const std::string samples = samplesOf(4000);
    const std::string extension = little(22, 2) + little(16, 2) + little(4, 4) + little(1, 2) +
                                  std::string("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14);
    writeFile(path("in.wav"),
              riff(chunk("fmt ", formatRecord({.format = 0xFFFE}) + extension) + chunk("data", samples)));
    ASSERT_EQ(run("KEP_HOST_SPEAKER=file:out.wav vncam play in.wav").exit, 0);
    EXPECT_TRUE(heard("out.wav") == samples);
}

TEST_F(Play, ShowsProgressOnATerminal) {
    writeFile(path("in.wav"), wav(samplesOf(32000)));
    const Result result = run("script -qefc 'vncam play in.wav' /dev/null");
    EXPECT_EQ(result.exit, 0);
    EXPECT_TRUE(std::regex_search(result.out, std::regex("\rvncam play  in\\.wav  0:01 / 0:02")))
        << result.out;
}

struct BadFile {
    const char* name;
    std::string content;
    const char* message;
};

class PlayRefuses : public Shell, public testing::WithParamInterface<BadFile> {};

TEST_P(PlayRefuses, WithOneLine) {
    writeFile(path("bad.wav"), GetParam().content);
    const Result result = run("vncam play bad.wav");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, std::string("vncam play: bad.wav: ") + GetParam().message + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Table, PlayRefuses,
    testing::Values(
        BadFile{"Empty", "", "not a WAV file"}, BadFile{"Text", "this is no sound at all", "not a WAV file"},
        BadFile{"OtherRiff", chunk("RIFF", "AVI LIST"), "not a WAV file"},
        BadFile{"Float", wav(samplesOf(100), {.format = 3, .bits = 32}),
                "samples are 32-bit floating point, not 16-bit PCM"},
        BadFile{"Bytes", wav(samplesOf(100), {.bits = 8}), "samples are 8-bit PCM, not 16-bit PCM"},
        BadFile{"Other", wav(samplesOf(100), {.format = 7, .bits = 8}),
                "samples are 8-bit format 7, not 16-bit PCM"},
        BadFile{"NoChannel", wav(samplesOf(100), {.channels = 0}), "0 channels, not 1 to 8"},
        BadFile{"NoRate", wav(samplesOf(100), {.rate = 0}), "sample rate 0 Hz, not 1 to 384000"},
        BadFile{"NoFormat", riff(chunk("data", samplesOf(100))), "samples precede the format chunk"},
        BadFile{"ShortFormat", riff(chunk("fmt ", "short")), "format chunk too short"},
        BadFile{"NoSamples", riff(chunk("fmt ", formatRecord({}))), "ends before the samples"},
        BadFile{"EndsInFormat", wav({}).substr(0, 30), "ends before the format"},
        BadFile{"Truncated", wav(samplesOf(100)).substr(0, 144),
                "cut short: 200 bytes of samples declared, 100 present"}),
    [](const auto& file) { return file.param.name; });

TEST_F(Play, AMissingFileIsNamed) {
    const Result result = run("vncam play nowhere.wav");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam play: nowhere.wav: cannot open: No such file or directory\n");
}

TEST_F(Play, AFolderIsRefused) {
    const Result result = run("vncam play .");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam play: .: cannot read: Is a directory\n");
}

TEST_F(Play, ATruncatedPipeIsReported) {
    writeFile(path("in.wav"), wav(samplesOf(4000)));
    const Result result = run("head -c 5000 in.wav | vncam play -");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err,
              "vncam play: standard input: cut short: 8000 bytes of samples declared, 4956 present\n");
}

TEST_F(Play, ASpeakerThatCannotBeOpenedIsNamed) {
    writeFile(path("in.wav"), wav(samplesOf(4000)));
    const Result result = run("KEP_HOST_SPEAKER=file:missing/out.wav vncam play in.wav");
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.err.find("missing/out.wav"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("vncam play: VNStart: "), std::string::npos) << result.err;
}

TEST_F(Play, AnInterruptPlaysWhatHasArrived) {
    writeFile(path("part"), wav(samplesOf(160000)).substr(0, 44 + 2 * 20001));
    const Result result =
        run("mkfifo in\n"
            "KEP_HOST_SPEAKER=file:out.wav vncam play - <in & play=$!\n"
            "exec 3>in; cat part >&3\n"
            "until [ -s out.wav ]; do sleep 0.05; done\n"
            "kill -INT $play; wait $play");
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(samplesOf(20001).rfind(heard("out.wav"), 0) == 0) << "the beginning of the file";
    EXPECT_GT(heard("out.wav").size(), 0u);
}

}  // namespace
}  // namespace vncam_test
