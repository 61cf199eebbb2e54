// Malformed boxes, class by class: each file has one right answer, given at once and with little memory. Also
// valid layouts that no flag of ffmpeg produces.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <functional>

#include "box_editor.h"
#include "command_output.h"
#include "error_lines.h"
#include "file_contents.h"
#include "file_layouts.h"
#include "playback_fixture.h"
#include "sanitizers.h"
#include "scratch_folder.h"

namespace {

using box_editor::find;
using box_editor::number;
using box_editor::put;

constexpr double kPicture = 1000.0 / 30;  // milliseconds
/** Time limit to detect a hang: far more than any of these files takes on a loaded machine. */
constexpr std::chrono::seconds kTimeLimit(10);
constexpr char kBase[] =
    "-c:v libx264 -preset ultrafast -c:a aac -movflags "
    "frag_keyframe+empty_moov+default_base_moof+skip_trailer";

std::int64_t lengthOf(const std::string& path) {
    std::int64_t milliseconds = -1;
    return VNGetFMp4Duration(path.c_str(), &milliseconds) == VNRES_SUCCEED ? milliseconds : -1;
}

/** Limit of the memory used; the sanitizers keep freed memory and data of their own. */
constexpr long kMostKiB = (kSanitized ? 512 : 16) << 10;

/** A value from /proc/self/status. */
long statusKiB(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(name + ":")) return std::stol(line.substr(name.size() + 1));
    return -1;
}

/** The length that a file is expected to report. */
enum class Answer { whole, withoutLast, firstTwo, refusal };

struct Malformation {
    const char* name;
    std::function<void(std::string& file)> apply;
    Answer answer;
};

void PrintTo(const Malformation& malformation, std::ostream* out) {
    *out << malformation.name;
}

/** The file has five fragments of half a second. */
constexpr char kLastMoof[] = "moof4";
constexpr char kLastRun[] = "moof4/traf/trun";

void setSize(std::string& file, const std::string& path, std::uint64_t size) {
    put(file, find(file, path).begin, size);
}

/** `count` boxes nested in one another. */
std::string nested(const std::string& kind, std::size_t count) {
    std::string boxes(8 * count, '\0');
    for (std::size_t i = 0; i < count; ++i) {
        put(boxes, 8 * i, boxes.size() - 8 * i);
        boxes.replace(8 * i + 4, 4, kind);
    }
    return boxes;
}

class HostileFile : public recordings_test::ScratchFolder {
  protected:
    HostileFile() {
        makeFile(path("made.mp4"), kBase, 2.5);
        whole_ = contentsOf(path("made.mp4"));
    }
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    /** The length of the fragments before `fragment`. */
    std::int64_t lengthBefore(const std::string& fragment) const {
        return lengthOf(write("before.mp4", whole_.substr(0, find(whole_, fragment).begin)));
    }

    std::string whole_;
};

class MalformedBoxes : public HostileFile, public testing::WithParamInterface<Malformation> {};

TEST_P(MalformedBoxes, HaveOneAnswer) {
    std::string bytes = whole_;
    GetParam().apply(bytes);
    const std::string file = write("malformed.mp4", bytes);
    std::int64_t expected = -1;
    if (GetParam().answer == Answer::whole) expected = lengthOf(path("made.mp4"));
    if (GetParam().answer == Answer::withoutLast) expected = lengthBefore(kLastMoof);
    if (GetParam().answer == Answer::firstTwo) expected = lengthBefore("moof2");
    ASSERT_TRUE(expected > 0 || GetParam().answer == Answer::refusal);

    ErrorLines lines;
    std::ofstream("/proc/self/clear_refs") << 5;  // resets VmHWM
    const long memory = statusKiB("VmRSS");
    const auto begin = std::chrono::steady_clock::now();
    const std::int64_t length = lengthOf(file);
    EXPECT_EQ(length, expected);
    EXPECT_EQ(lines.messages().size(), expected < 0 ? 2u : 0u);
    Playback playback;
    const int opened = playback.open(file);
    EXPECT_EQ(opened, expected < 0 ? VNRES_FAIL : VNRES_SUCCEED);
    if (opened == VNRES_SUCCEED) {
        EXPECT_EQ(playback.duration(), expected);
        playback.start();
        ASSERT_TRUE(playback.waitForEnd());
        EXPECT_GT(playback.packets().size(), 20u);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kTimeLimit);
    EXPECT_LT(statusKiB("VmHWM") - memory, kMostKiB);
}

/** Changes a number in a box, `at` bytes after its header. */
std::function<void(std::string&)> with(const std::string& path, std::size_t at, std::uint64_t value,
                                       std::size_t count = 4) {
    return [=](std::string& file) { put(file, find(file, path).contents() + at, value, count); };
}

std::function<void(std::string&)> sized(const std::string& path, std::uint64_t size) {
    return [=](std::string& file) { setSize(file, path, size); };
}

std::function<void(std::string&)> renamed(const std::string& path) {
    return [=](std::string& file) { file.replace(find(file, path).begin + 4, 4, "free"); };
}

INSTANTIATE_TEST_SUITE_P(
    Of, MalformedBoxes,
    testing::Values(
        // Size 0 means up to the end of the file, but a fragment's description of size 0 is unfinished.
        Malformation{"DataWithoutAnEnd", sized("mdat4", 0), Answer::whole},
        Malformation{"DescriptionWithoutAnEnd", sized(kLastMoof, 0), Answer::withoutLast},
        Malformation{"LongSizeThatIsNone", sized(kLastMoof, 1), Answer::withoutLast},
        Malformation{"LargerThanTheFile", sized(kLastMoof, 0x7fffffff), Answer::withoutLast},
        Malformation{"SmallerThanItsHeader", sized(kLastMoof, 4), Answer::withoutLast},
        Malformation{"OverlapsTheNext",
                     [](std::string& file) {
                         setSize(file, kLastMoof, number(file, find(file, kLastMoof).begin, 4) + 100);
                     },
                     Answer::withoutLast},
        Malformation{"InnerBoxLargerThanItsOuterOne", sized("moof4/traf", 0xffff), Answer::withoutLast},
        // The position of the next box is unknown.
        Malformation{"DataEndsEarly", sized("mdat1", 64), Answer::firstTwo},
        Malformation{"NestedPastReason",
                     [](std::string& file) { box_editor::replace(file, kLastMoof, nested("moof", 100'000)); },
                     Answer::withoutLast},
        Malformation{
            "NestedWhereNothingIsRead",
            [](std::string& file) { file.insert(find(file, kLastMoof).begin, nested("free", 100'000)); },
            Answer::whole},
        Malformation{"NestedIndex",
                     [](std::string& file) { box_editor::replace(file, "moov", nested("moov", 100'000)); },
                     Answer::refusal},
        Malformation{"MoreSamplesThanListed", with(kLastRun, 4, 0xffffffff), Answer::withoutLast},
        Malformation{"MoreSamplesThanListedByOne",
                     [](std::string& file) {
                         const std::size_t at = find(file, kLastRun).contents() + 4;
                         put(file, at, number(file, at, 4) + 1);
                     },
                     Answer::withoutLast},
        Malformation{"MoreEntriesThanThereAre", with("moov/trak/mdia/minf/stbl/stsd", 4, 0xffffffff),
                     Answer::whole},
        Malformation{"MoreChunksThanThereAre", with("moov/trak/mdia/minf/stbl/stco", 4, 0xffffffff),
                     Answer::whole},
        Malformation{"NoTimeScale", with("moov/trak/mdia/mdhd", 12, 0), Answer::refusal},
        Malformation{"NoTimeScaleOfTheFile", with("moov/mvhd", 12, 0), Answer::whole},
        Malformation{"SamplesBehindTheFile", with(kLastRun, 8, 0x7fffffff), Answer::withoutLast},
        Malformation{"SamplesBeforeTheFile", with(kLastRun, 8, 0x80000000), Answer::withoutLast},
        Malformation{"SampleOfFourGiB", with(kLastRun, 16, 0xffffffff), Answer::withoutLast},
        Malformation{"TrackThatIsNotThere", with("moof4/traf/tfhd", 4, 99), Answer::withoutLast},
        Malformation{"TrackNamedTwice", with("moov/trak1/tkhd", 12, 1), Answer::refusal},
        Malformation{"TrackNamedNever", with("moov/trak1/tkhd", 12, 0), Answer::refusal},
        Malformation{"NoDefaults", renamed("moov/mvex/trex1"), Answer::refusal},
        Malformation{"NoFragmentHeader", renamed("moof4/traf/tfhd"), Answer::withoutLast},
        Malformation{"NameWithoutAnEnd",
                     [](std::string& file) {
                         const auto box = find(file, "moov/trak/mdia/hdlr");
                         file.replace(box.begin + 32, box.end - box.begin - 32, box.end - box.begin - 32,
                                      'x');
                     },
                     Answer::whole}),
    [](const auto& malformation) { return std::string(malformation.param.name); });

TEST_F(HostileFile, EmptySamplesAreSkipped) {
    std::string bytes = whole_;
    const auto run = find(bytes, "moof4/traf/trun");
    const bool hasDurations = number(bytes, run.contents(), 4) & 0x100;
    put(bytes, run.contents() + (hasDurations ? 20 : 16), 0);
    const std::string file = write("empty.mp4", bytes);
    EXPECT_EQ(lengthOf(file), lengthOf(path("made.mp4")));
    Playback all;
    ASSERT_TRUE(all.playAll(path("made.mp4")));
    const std::size_t pictures = all.packets(true).size();
    all.release();
    Playback playback;
    ASSERT_TRUE(playback.playAll(file));
    EXPECT_LT(playback.packets(true).size(), pictures);
    EXPECT_GT(playback.packets(true).size(), pictures - 16);
}

TEST_F(HostileFile, EditListsBeyondTheMediaHideTheirTrack) {
    makeFile(path("edited.mp4"),
             "-c:v libx264 -preset veryfast -bf 2 -c:a aac -movflags frag_keyframe+empty_moov+delay_moov",
             2.5);
    const std::string bytes = contentsOf(path("edited.mp4"));
    for (const std::string track : {"trak", "trak1"}) {
        std::string malformed = bytes;
        const auto list = find(malformed, "moov/" + track + "/edts/elst");
        // The media time of the last entry, which has 12 bytes.
        put(malformed, list.end - 8, 0x7fffffff);
        // The length is that of the other track.
        EXPECT_NEAR(static_cast<double>(lengthOf(write("malformed.mp4", malformed))), 2500, kPicture + 1);
        put(malformed, list.contents() + 4, 0xffffffff);
        const std::int64_t length = lengthOf(write("malformed.mp4", malformed));
        EXPECT_NEAR(static_cast<double>(length), 2500, kPicture + 1);
    }
}

TEST_F(HostileFile, OverflowingTablesAreReadAsFarAsTheyGo) {
    makeFile(path("plain.mp4"), "-c:v libx264 -preset ultrafast -c:a aac", 2.5);
    const std::string bytes = contentsOf(path("plain.mp4"));
    const std::string table = "moov/trak/mdia/minf/stbl/";
    for (const auto& [name, at] : {std::pair("stts", 8),
                                   {"stts", 12},
                                   {"stsz", 12},
                                   {"stsc", 12},
                                   {"stco", 8},
                                   {"stsz", 8},
                                   {"stts", 4},
                                   {"stsc", 4},
                                   {"stss", 8},
                                   {"stsc", 8}}) {
        SCOPED_TRACE(name + std::to_string(at));
        for (const std::uint64_t value : {0xffffffffU, 0x80000000U, 0U}) {
            std::string malformed = bytes;
            put(malformed, find(malformed, table + name).contents() + static_cast<std::size_t>(at), value);
            Playback playback;
            ErrorLines lines;
            const auto begin = std::chrono::steady_clock::now();
            if (playback.open(write("malformed.mp4", malformed)) == VNRES_SUCCEED) {
                playback.start();
                ASSERT_TRUE(playback.waitForEnd());
                EXPECT_LE(playback.packets(true).size(), 75u);
            }
            EXPECT_LT(std::chrono::steady_clock::now() - begin, kTimeLimit);
        }
    }
}

/** Valid but rare layouts. */
class RareLayout : public HostileFile {
  protected:
    void expectTheSame(const std::string& bytes) {
        const std::string made = path("made.mp4");
        const std::string file = write("rare.mp4", bytes);
        EXPECT_NEAR(static_cast<double>(lengthOf(file)), static_cast<double>(lengthOf(made)), kPicture);
        std::vector<PlayedPacket> expected[2];
        for (const bool video : {false, true}) {
            Playback playback;
            ASSERT_TRUE(playback.playAll(made));
            expected[video] = playback.packets(video);
        }
        Playback playback;
        ASSERT_TRUE(playback.playAll(file));
        for (const bool video : {false, true}) {
            const std::vector<PlayedPacket> played = playback.packets(video);
            ASSERT_EQ(played.size(), expected[video].size());
            for (std::size_t i = 0; i < played.size(); ++i) {
                EXPECT_EQ(played[i].milliseconds, expected[video][i].milliseconds) << i;
                EXPECT_EQ(played[i].data, expected[video][i].data) << i;
            }
        }
        playback.clear();
        ASSERT_EQ(VNDemuxSeek(playback.id(), 1700), VNRES_SUCCEED);
        ASSERT_TRUE(playback.waitForEnd());
        EXPECT_TRUE(playback.packets(true).front().key);
        EXPECT_NEAR(static_cast<double>(playback.packets(true).front().milliseconds), 1523, 1);
    }
};

TEST_F(RareLayout, DataInBoxesWithSizesOf64Bits) {
    std::string bytes = whole_;
    box_editor::changeFragments(bytes, "none", nullptr, 16);
    ASSERT_NE(bytes.find(std::string("\0\0\0\1mdat", 8)), std::string::npos);
    expectTheSame(bytes);
}

TEST_F(RareLayout, TimesOf32Bits) {
    std::string bytes = whole_;
    ASSERT_EQ(bytes[find(bytes, "moof/traf/tfdt").contents()], '\1')
        << "expects 64-bit times in the original";
    box_editor::changeFragments(bytes, "tfdt", [](const std::string& box) {
        return box_editor::box("tfdt", std::string(4, '\0') + box.substr(16));
    });
    expectTheSame(bytes);
}

TEST_F(RareLayout, NoTimes) {
    std::string bytes = whole_;
    // The first fragment keeps its times: they are not 0, which is what missing times would mean.
    const std::string first = bytes.substr(0, find(bytes, "moof1").begin);
    std::string rest = bytes.substr(first.size());
    box_editor::changeFragments(rest, "tfdt", [](const std::string&) { return std::string(); });
    ASSERT_EQ(rest.find("tfdt"), std::string::npos);
    expectTheSame(first + rest);
}

TEST_F(RareLayout, SeveralParameterSets) {
    std::string bytes = whole_;
    const auto entry = find(bytes, "moov/trak/mdia/minf/stbl/stsd");
    const std::size_t avcc = bytes.find("avcC", entry.begin) - 4;
    const std::size_t end = avcc + number(bytes, avcc, 4);
    // One picture parameter set follows the sequence parameter set; it is duplicated.
    const std::size_t sequence = avcc + 8 + 6;
    const std::size_t count = sequence + 2 + number(bytes, sequence, 2);
    ASSERT_EQ(bytes[count], 1);
    const std::string set = bytes.substr(count + 1, 2 + number(bytes, count + 1, 2));
    std::string settings =
        bytes.substr(avcc + 8, count - avcc - 8) + '\2' + set + bytes.substr(count + 1, end - count - 1);
    const std::string avc1 =
        bytes.substr(entry.contents() + 8 + 8, avcc - entry.contents() - 16) +
        box_editor::box("avcC", settings) +
        bytes.substr(end, entry.contents() + 8 + number(bytes, entry.contents() + 8, 4) - end);
    box_editor::replace(
        bytes, "moov/trak/mdia/minf/stbl/stsd",
        box_editor::box("stsd", std::string("\0\0\0\0\0\0\0\1", 8) + box_editor::box("avc1", avc1)));
    const std::string file = write("sets.mp4", bytes);
    Playback playback;
    ASSERT_TRUE(playback.playAll(file));
    const std::string unit = std::string("\0\0\1", 3) + set.substr(2);
    for (const PlayedPacket& packet : playback.packets(true)) {
        std::size_t sets = 0;
        for (std::size_t at = packet.data.find(unit); at != std::string::npos;
             at = packet.data.find(unit, at + 1))
            ++sets;
        EXPECT_EQ(sets, packet.key ? 2u : 0u);
    }
    write("sets.h264", playback.stream(true));
    const std::string decoded = " -map 0:v:0 -fps_mode passthrough -c:v rawvideo -f md5 -";
    EXPECT_EQ(outputOf("ffmpeg -nostdin -v error -i " + path("sets.h264") + decoded),
              outputOf("ffmpeg -nostdin -v error -i " + path("made.mp4") + decoded));
}

}  // namespace
