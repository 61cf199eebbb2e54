// `vncam recover` on files as a power cut leaves them; another program makes and checks them.
#include <gmock/gmock.h>

#include <fstream>
#include <random>

#include "recordings/failure.h"
#include "recordings/recovery.h"
#include "shell.h"

namespace vncam_test {
namespace {

using recordings::checkRecording;
using recordings::RecordingCheck;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class Recover : public Shell {
  protected:
    /** Makes a recording of six seconds, in groups of half a second. */
    void film(const std::string& name, const std::string& options = "") {
        const Result made = run(
            "ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=320x180:r=30 -f lavfi -i sine=r=48000 -t 6"
            " -c:v libx264 -preset ultrafast -g 15 -c:a aac " +
            options + " " + name);
        ASSERT_EQ(made.exit, 0) << made.err;
    }
    void filmFragments(const std::string& name, const std::string& options = "") {
        film(name, options + " -movflags frag_keyframe+empty_moov+default_base_moof -f mp4");
    }
    std::uintmax_t sizeOf(const std::string& name) const { return std::filesystem::file_size(path(name)); }
    void cut(const std::string& name, std::uintmax_t size) const {
        std::filesystem::resize_file(path(name), size);
    }
    void overwrite(const std::string& name, std::uintmax_t at, const std::string& bytes) const {
        std::fstream file(path(name), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(at));
        file << bytes;
    }
    std::string pictures(const std::string& name) const {
        return run("ffprobe -v error -count_packets -select_streams v -show_entries stream=nb_read_packets"
                   " -of csv=p=0 " +
                   name + " | head -1")
            .out;
    }
};

TEST_F(Recover, ACompleteRecordingIsRenamed) {
    filmFragments("a.mp4.part");
    const std::string before = readFile(path("a.mp4.part"));
    const Result result = run("vncam recover .");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out, "./a.mp4.part -> ./a.mp4: 6.0 s\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(readFile(path("a.mp4")), before);
    EXPECT_FALSE(std::filesystem::exists(path("a.mp4.part")));
}

TEST_F(Recover, ATornTailIsSkippedAndKept) {
    filmFragments("a.mp4.part");
    const std::uintmax_t size = sizeOf("a.mp4.part") * 2 / 3;
    cut("a.mp4.part", size);
    const std::string before = readFile(path("a.mp4.part"));
    const Result result = run("vncam recover .");
    EXPECT_EQ(result.exit, 0);
    EXPECT_THAT(result.out, MatchesRegex("./a.mp4.part -> ./a.mp4: 4.0 s\n"
                                         "  end at byte [0-9]+: [0-9]+ bytes, incomplete\n"));
    EXPECT_EQ(pictures("a.mp4"), "120\n");
    EXPECT_EQ(decodeErrors("a.mp4"), "");
    const std::string after = readFile(path("a.mp4"));
    ASSERT_EQ(after.size(), before.size());
    const std::size_t end = std::stoul(result.out.substr(result.out.find("byte ") + 5));
    // Only the header of a skipped box is new; all other bytes are unchanged.
    EXPECT_EQ(after.substr(0, end), before.substr(0, end));
    EXPECT_EQ(after.substr(end + 4, 4), "free");
    EXPECT_EQ(after.substr(end + 8), before.substr(end + 8));
}

TEST_F(Recover, DataAfterAHoleIsKeptAndTheHoleReported) {
    // The length of a file can reach the disk before its contents, which then are zeros.
    filmFragments("whole.mp4");
    for (const std::uintmax_t part : {2, 4, 6}) {
        std::filesystem::copy_file(path("whole.mp4"), path("a.mp4.part"));
        overwrite("a.mp4.part", sizeOf("whole.mp4") / 8 * part / 512 * 512, std::string(1024, '\0'));
        const Result result = run("vncam recover .");
        EXPECT_EQ(result.exit, 0);
        EXPECT_THAT(result.out, MatchesRegex("./a.mp4.part -> ./a.mp4: 6.0 s\n"
                                             "(  hole at byte [0-9]+: [0-9]+ bytes, [^\n]+\n)+"
                                             // An index that refers to skipped parts is dropped.
                                             "(  end at byte [0-9]+: [0-9]+ bytes, incomplete\n)?"));
        // All but those of one group of pictures at the most.
        EXPECT_GE(std::stoi(pictures("a.mp4")), 165) << part;
        std::filesystem::remove(path("a.mp4"));
    }
}

TEST_F(Recover, ADryRunReportsAndChangesNothing) {
    filmFragments("a.mp4.part");
    overwrite("a.mp4.part", sizeOf("a.mp4.part") / 2, std::string(4096, '\0'));
    film("b.mp4.part", "-f mp4");
    cut("b.mp4.part", sizeOf("b.mp4.part") / 2);
    const std::string before = readFile(path("a.mp4.part"));
    const Result planned = run("vncam recover --dry-run .");
    EXPECT_EQ(planned.exit, 0);
    EXPECT_THAT(planned.out, testing::StartsWith("./a.mp4.part would be ./a.mp4: 6.0 s\n  hole at byte "));
    EXPECT_THAT(planned.out, HasSubstr("./b.mp4.part: would be unchanged: a plain MP4 without its index"));
    EXPECT_EQ(readFile(path("a.mp4.part")), before);
    EXPECT_FALSE(std::filesystem::exists(path("a.mp4")));
    const Result done = run("vncam recover .");
    EXPECT_THAT(done.out, testing::StartsWith("./a.mp4.part -> ./a.mp4: 6.0 s\n  hole at byte "));
}

TEST_F(Recover, EverySectorThatWasNeverWrittenIsDetected) {
    // Some of the sound is longer than a sector.
    filmFragments("a.mp4", "-ac 2 -b:a 500000");
    const std::string whole = readFile(path("a.mp4"));
    constexpr std::size_t kSector = 512;
    for (std::size_t at = 0; at + kSector <= whole.size(); at += kSector) {
        std::string holed = whole;
        holed.replace(at, kSector, kSector, '\0');
        writeFile(path("holed"), holed);
        const RecordingCheck check = checkRecording(path("holed"));
        if (check.state >= RecordingCheck::State::unplayable) {
            EXPECT_LT(at, 4 * kSector) << "only in the header, of which other programs make no copy";
            continue;
        }
        ASSERT_FALSE(check.damages.empty()) << at;
        EXPECT_LE(check.damages.front().begin, at + kSector) << at;
        EXPECT_GE(check.damages.back().end, at) << at;
    }
}

TEST_F(Recover, ZerosThatAreSoundAreKept) {
    // Where a beep begins, an encoder may find nothing for many frequencies in a row.
    const Result made =
        run("ffmpeg -nostdin -v error -y -f lavfi -i sine=frequency=440:beep_factor=4:sample_rate=48000 -t 80"
            " -c:a aac -ac 2 -b:a 128000 -movflags empty_moov+default_base_moof -frag_duration 800000 -f mp4"
            " a.mp4.part");
    ASSERT_EQ(made.exit, 0) << made.err;
    const std::string before = readFile(path("a.mp4.part"));
    ASSERT_NE(before.find(std::string(64, '\0')), std::string::npos)
        << "the encoder wrote no such run of zeros";
    EXPECT_THAT(run("vncam recover .").out, Not(HasSubstr("hole")));
    EXPECT_EQ(readFile(path("a.mp4")), before);
}

TEST_F(Recover, FragmentOffsetsMayBeAbsolute) {
    film("a.mp4.part", "-movflags frag_keyframe+empty_moov -f mp4");
    cut("a.mp4.part", sizeOf("a.mp4.part") / 2);
    EXPECT_EQ(run("vncam recover .").exit, 0);
    EXPECT_EQ(decodeErrors("a.mp4"), "");
    EXPECT_GE(std::stoi(pictures("a.mp4")), 75);
}

TEST_F(Recover, ATransportStreamKeepsItsCompletePictures) {
    film("a.ts.part", "-f mpegts");
    cut("a.ts.part", sizeOf("a.ts.part") / 2);
    const std::string before = readFile(path("a.ts.part"));
    const Result result = run("vncam recover .");
    EXPECT_THAT(result.out, MatchesRegex("./a.ts.part -> ./a.ts: [0-9.]+ s\n"
                                         "  end at byte [0-9]+: [0-9]+ bytes, incomplete, moved to "
                                         "./a.ts.rest\n"));
    EXPECT_EQ(decodeErrors("a.ts"), "");
    EXPECT_GE(std::stoi(pictures("a.ts")), 75);
    EXPECT_EQ(readFile(path("a.ts")) + readFile(path("a.ts.rest")), before);
}

TEST_F(Recover, AWholeTransportStreamLosesNothing) {
    film("a.ts.part", "-f mpegts");
    const std::string before = readFile(path("a.ts.part"));
    const Result result = run("vncam recover .");
    EXPECT_THAT(result.out, testing::StartsWith("./a.ts.part -> ./a.ts: "));
    // One in 184 cannot be told from a torn one, and its last picture is moved to a file beside it.
    EXPECT_EQ(readFile(path("a.ts")) + readFile(path("a.ts.rest")), before);
    EXPECT_GE(std::stoi(pictures("a.ts")), 179);
}

TEST_F(Recover, ATransportStreamPlaysPastAHole) {
    film("whole.ts", "-f mpegts");
    std::filesystem::copy_file(path("whole.ts"), path("a.ts.part"));
    const std::uintmax_t third = sizeOf("whole.ts") / 3;
    // More than a player searches for the next packet.
    overwrite("a.ts.part", third, std::string(third, '\0'));
    const Result result = run("vncam recover .");
    EXPECT_THAT(result.out, HasSubstr("  hole at byte "));
    // A group of pictures at each end of the hole may go with it.
    EXPECT_GE(std::stoi(pictures("a.ts")), 180 * 2 / 3 - 30);
    EXPECT_EQ(readFile(path("a.ts")).substr(2 * third), readFile(path("whole.ts")).substr(2 * third));
}

TEST_F(Recover, UnplayableFilesAreReportedAndLeft) {
    filmFragments("a.mp4.part");
    cut("a.mp4.part", 3000);
    film("b.mp4.part", "-f mp4");
    cut("b.mp4.part", sizeOf("b.mp4.part") / 2);
    writeFile(path("c.mp4.part"), "");
    writeFile(path("d.mp4.part"), "no film");
    const Result result = run("vncam recover .");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out,
              "./a.mp4.part: unchanged: no complete picture\n"
              "./b.mp4.part: unchanged: a plain MP4 without its index cannot be recovered\n"
              "./c.mp4.part: unchanged: empty file\n"
              "./d.mp4.part: unchanged: neither MP4 nor MPEG-TS\n");
    EXPECT_EQ(sizeOf("a.mp4.part"), 3000U);
    EXPECT_EQ(readFile(path("d.mp4.part")), "no film");
}

TEST_F(Recover, APlainFileWithItsIndexIsWhole) {
    film("a.mp4.part", "-f mp4");
    EXPECT_EQ(run("vncam recover .").out, "./a.mp4.part -> ./a.mp4: 6.0 s\n");
    EXPECT_EQ(pictures("a.mp4"), "180\n");
}

TEST_F(Recover, NothingIsOverwritten) {
    filmFragments("a.mp4.part");
    writeFile(path("a.mp4"), "one");
    writeFile(path("a-1.mp4"), "two");
    EXPECT_EQ(run("vncam recover .").out, "./a.mp4.part -> ./a-2.mp4: 6.0 s\n");
    EXPECT_EQ(readFile(path("a.mp4")), "one");
    EXPECT_EQ(readFile(path("a-1.mp4")), "two");
}

TEST_F(Recover, AFileThatIsBeingWrittenIsLeft) {
    filmFragments("a.mp4.part");
    const Result result = run("exec 5>>a.mp4.part; vncam recover .");
    EXPECT_EQ(result.out, "./a.mp4.part: unchanged: still being written\n");
    EXPECT_TRUE(std::filesystem::exists(path("a.mp4.part")));
}

TEST_F(Recover, OtherFilesAreNotTouched) {
    filmFragments("a.mp4");
    filmFragments(".picture_1.part");
    std::filesystem::create_directory(path("b.part"));
    const Result result = run("vncam recover .");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "vncam recover: .: no unfinished recordings\n");
    EXPECT_TRUE(std::filesystem::exists(path(".picture_1.part")));
}

TEST_F(Recover, RefusalsNameTheFile) {
    EXPECT_EQ(run("vncam recover").exit, 2);
    const Result none = run("vncam recover no");
    EXPECT_EQ(none.exit, 1);
    EXPECT_EQ(none.err, "vncam recover: no: cannot read the folder: No such file or directory\n");
    writeFile(path("a.mp4"), "");
    EXPECT_THROW(recordings::recoverFile(path("a.mp4")), recordings::Failure);
}

TEST_F(Recover, SurvivesRandomDamage) {
    filmFragments("a.mp4");
    film("a.ts", "-f mpegts");
    std::minstd_rand random(7);
    for (const char* name : {"a.mp4", "a.ts"}) {
        const std::string whole = readFile(path(name));
        for (int round = 0; round < 150; ++round) {
            std::string damaged = whole.substr(0, random() % whole.size());
            for (int i = 0; i < round % 7 && !damaged.empty(); ++i)
                damaged[random() % std::min<std::size_t>(damaged.size(), 4000)] = static_cast<char>(random());
            writeFile(path("damaged"), damaged);
            const RecordingCheck check = checkRecording(path("damaged"));
            EXPECT_LE(check.end, damaged.size());
            std::uint64_t at = 0;
            for (const recordings::Damage& damage : check.damages) {
                EXPECT_LE(at, damage.begin);
                EXPECT_LE(damage.begin, damage.end);
                EXPECT_LE(damage.end, damaged.size());
                at = damage.begin;
            }
        }
    }
}

std::string bigEndian(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(value >> shift));
    return bytes;
}

std::string box(const std::string& kind, const std::string& contents) {
    return bigEndian(static_cast<std::uint32_t>(contents.size() + 8)) + kind + contents;
}

TEST_F(Recover, BoxesThatMultiplyReadsAreRejected) {
    filmFragments("a.mp4");
    const std::string whole = readFile(path("a.mp4"));
    const std::string header = whole.substr(0, whole.find("moof") - 4);
    constexpr std::uint32_t kSize = 1 << 20;
    // A million samples of one byte in a fragment of 100, and a description of the whole file every eight
    // bytes.
    const std::string listed =
        box("moof", box("traf", box("tfhd", bigEndian(0x20010) + bigEndian(1) + bigEndian(1) + bigEndian(0)) +
                                    box("tfdt", bigEndian(0) + bigEndian(0)) +
                                    box("trun", bigEndian(1) + bigEndian(kSize / 2) + bigEndian(84))));
    const std::string nested = bigEndian(kSize / 2) + "moof";
    for (const std::string& part : {listed + bigEndian(kSize / 2 + 8) + "mdat", listed, nested}) {
        std::string hostile = header;
        while (hostile.size() < kSize) hostile += part;
        writeFile(path("hostile"), hostile + whole);
        const RecordingCheck check = checkRecording(path("hostile"));
        EXPECT_LE(check.end, hostile.size() + whole.size());
        // Fragments are read, even if their samples have no fields of their own.
        EXPECT_EQ(check.state,
                  part == nested ? RecordingCheck::State::unplayable : RecordingCheck::State::damaged);
    }
}

}  // namespace
}  // namespace vncam_test
