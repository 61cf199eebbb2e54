// `vncam info` and `vncam demux` on files of another program, which also checks their output.
#include <gmock/gmock.h>

#include <fstream>

#include "shell.h"

namespace vncam_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

std::size_t sizeAt(const std::string& bytes, std::size_t at) {
    std::size_t size = 0;
    for (std::size_t i = 0; i < 4; ++i) size = size << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return size;
}

std::string sizeText(std::size_t size) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(size >> shift);
    return text;
}

class FileCommands : public Shell {
  protected:
    FileCommands() {
        const Result made = run(
            "ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=320x180:r=30 -f lavfi -i sine=r=48000 -t 4"
            " -c:v libx264 -preset ultrafast -g 15 -c:a aac -movflags frag_keyframe+empty_moov film.mp4 &&"
            " ffmpeg -nostdin -v error -y -i film.mp4 -map 0:v -c copy plain.mp4");
        EXPECT_EQ(made.exit, 0) << made.err;
    }
};

TEST_F(FileCommands, InfoPrintsATable) {
    writeFile(path("cut.mp4"), readFile(path("film.mp4")).substr(0, 100000));
    const Result result = run("vncam info film.mp4 plain.mp4 cut.mp4");
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_THAT(
        result.out,
        MatchesRegex(
            "FILE       LENGTH  FRAGMENTS  FINISHED  TRACKS\n"
            "film.mp4   4.0 s   8          yes       avc1 320x180, mp4a 48000 Hz 1 channel\n"
            "plain.mp4  4.0 s   0          yes       avc1 320x180\n"
            "cut.mp4    [0-9.]+ s   [1-7]          no        avc1 320x180, mp4a 48000 Hz 1 channel\n"));
}

TEST_F(FileCommands, InfoPrintsJsonAndReportsFilesThatAreNotMp4) {
    writeFile(path("a \"text\".mp4"), "text");
    const Result result = run("vncam info --json film.mp4 'a \"text\".mp4'");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.err, "vncam info: a \"text\".mp4: not an MP4 file\n");
    writeFile(path("info.json"), result.out);
    EXPECT_EQ(run("python3 -c 'import json; a, b = json.load(open(\"info.json\"));"
                  " print(a[\"duration_ms\"] // 100, a[\"fragments\"], a[\"finished\"],"
                  " [t[\"codec\"] for t in a[\"tracks\"]], a[\"tracks\"][1][\"sample_rate\"], b[\"error\"])'")
                  .out,
              "40 8 True ['avc1', 'mp4a'] 48000 a \"text\".mp4: not an MP4 file\n");
}

TEST_F(FileCommands, InfoPrintsValidJsonForAnyFileName) {
    run("cp film.mp4 $'\\xc3\\xa9 \\xff\\xed\\xa0\\x80 \\xe2\\x82.mp4'");
    writeFile(path("info.json"), run("vncam info --json *.mp4").out);
    EXPECT_EQ(run("python3 -c 'import json; print([ascii(each[\"file\"]) for each in"
                  " json.load(open(\"info.json\", encoding=\"utf-8\"))])'")
                  .out,
              "[\"'film.mp4'\", \"'plain.mp4'\","
              " \"'\\\\xe9 \\\\ufffd\\\\ufffd\\\\ufffd\\\\ufffd \\\\ufffd\\\\ufffd.mp4'\"]\n");
}

TEST_F(FileCommands, DemuxWritesStreamsThatAnotherProgramReads) {
    const Result result = run("vncam demux film.mp4 --video film.h264 --audio film.aac");
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_THAT(result.err, MatchesRegex("vncam demux: film.mp4: 120 pictures, 18[89] audio packets\n"));
    EXPECT_EQ(
        run("ffmpeg -nostdin -v error -i film.h264 -fps_mode passthrough -c:v rawvideo -f md5 -").out,
        run("ffmpeg -nostdin -v error -i film.mp4 -map 0:v -fps_mode passthrough -c:v rawvideo -f md5 -")
            .out);
    EXPECT_EQ(
        run("ffmpeg -nostdin -v error -y -i film.mp4 -map 0:a -c copy other.aac && cmp film.aac other.aac")
            .exit,
        0);
}

TEST_F(FileCommands, DemuxListsPacketsFromAPosition) {
    const Result result = run("vncam demux film.mp4 --list --seek 2.2 --quiet");
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("video 2.021 "));
    EXPECT_THAT(run("vncam demux film.mp4 --list --seek 2.2 | grep video | head -1").out,
                MatchesRegex("video 2.021 [0-9]+ key\n"));
    EXPECT_EQ(run("vncam demux film.mp4 --list | grep -c video").out, "120\n");
}

TEST_F(FileCommands, DemuxWritesToAPipeThatMayBeClosed) {
    EXPECT_EQ(run("vncam demux film.mp4 --video - | ffprobe -v error -count_packets -show_entries"
                  " stream=nb_read_packets -of default=nk=1:nw=1 -f h264 -i -")
                  .out,
              "120\n");
    const Result closed =
        run("vncam demux film.mp4 --video - | head -c 10 >/dev/null; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(closed.exit, 0) << closed.err;
}

TEST_F(FileCommands, DemuxReportsErrors) {
    EXPECT_EQ(run("vncam demux film.mp4").exit, 2);
    EXPECT_EQ(run("vncam demux --list").exit, 2);
    EXPECT_EQ(run("vncam demux film.mp4 --list --video -").exit, 2);
    const Result missing = run("vncam demux missing.mp4 --list");
    EXPECT_EQ(missing.exit, 1);
    EXPECT_THAT(missing.err, HasSubstr("missing.mp4: cannot open: No such file or directory"));
}

TEST_F(FileCommands, HeadersOfFinishedAndRecoveredRecordingsHaveTheirLength) {
    const Result made = run("vncam record --size 640x360 --segment 2 --seconds 2 --dir . --name rec.mp4");
    ASSERT_EQ(made.exit, 0) << made.err;
    const std::string whole = readFile(path("rec.mp4"));
    const std::size_t box = whole.find("mehd");
    ASSERT_LT(box, whole.find("moof"));
    EXPECT_THAT(run("vncam info --json rec.mp4").out, HasSubstr("\"finished\": true"));
    std::uint64_t units = 0;
    for (std::size_t i = box + 8; i < box + 16; ++i)
        units = units << 8 | static_cast<unsigned char>(whole[i]);
    // In units of the file, which are milliseconds.
    EXPECT_NEAR(static_cast<double>(units), 2000, 40);

    std::string open = whole;
    open.replace(box, 16, "free" + std::string(12, '\0'));
    // The place of the references is a box behind the mark of the file, which has 16 bytes, and a padding.
    const std::size_t first = whole.find("moof") - 4;
    const std::size_t references = whole.find("sidx") - 4;
    ASSERT_LT(references, first);
    std::size_t room = 0;
    for (std::size_t at = whole.find("free", whole.find("udta")) - 4; at < references;
         at += sizeAt(whole, at))
        room = at;
    open.replace(room, 8, sizeText(first - room) + "free");
    open.replace(room + 8, first - room - 8, first - room - 8, '\0');
    writeFile(path("open.mp4.part"), open);
    EXPECT_EQ(run("vncam recover .").exit, 0);
    EXPECT_TRUE(readFile(path("open.mp4")) == whole);
    EXPECT_EQ(run("ffmpeg -nostdin -v error -i rec.mp4 -f null - 2>&1").out, "");
}

}  // namespace
}  // namespace vncam_test
