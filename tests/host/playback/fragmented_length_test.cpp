// The length of fragmented MP4 files through the public header, in layouts made by another program.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <optional>
#include <random>
#include <sstream>
#include <vector>

#include "command_output.h"
#include "error_lines.h"
#include "file_contents.h"
#include "scratch_folder.h"
#include "vornisa_api.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr double kFrame = 1000.0 / 30;  // milliseconds
constexpr char kSources[] =
    "-f lavfi -i testsrc2=size=160x90:rate=30:duration=6.3 -f lavfi -i sine=440:duration=6.3 -pix_fmt "
    "yuv420p "
    "-g 15";
constexpr char kPlainPictures[] = "-c:v libx264 -preset ultrafast -c:a aac";
constexpr char kReordered[] = "-c:v libx264 -preset veryfast -bf 2 -c:a aac";

/** The result of VNGetFMp4Duration; nothing if it fails. */
std::optional<std::int64_t> lengthOf(const std::string& path) {
    std::int64_t milliseconds = -17;
    const int result = VNGetFMp4Duration(path.c_str(), &milliseconds);
    if (result == VNRES_SUCCEED) return milliseconds;
    EXPECT_EQ(result, VNRES_FAIL);
    EXPECT_EQ(milliseconds, -17);
    return std::nullopt;
}

struct Packet {
    double begin, end;  // milliseconds
    std::uint64_t place, bytes;
};

std::vector<Packet> packetsOf(const std::string& path) {
    std::istringstream lines(outputOf(
        "ffprobe -v quiet -show_entries packet=pts_time,duration_time,pos,size -of csv=p=0 " + path));
    std::vector<Packet> packets;
    std::string line;
    while (std::getline(lines, line)) {
        double begin = 0, length = 0;
        unsigned long long size = 0, place = 0;
        if (std::sscanf(line.c_str(), "%lf,%lf,%llu,%llu", &begin, &length, &size, &place) == 4)
            packets.push_back({begin * 1000, (begin + length) * 1000, place, size});
    }
    return packets;
}

/** From the beginning of the earliest packet to the end of the latest, in ms. */
double spanOf(const std::vector<Packet>& packets) {
    double begin = std::numeric_limits<double>::max(), end = 0;
    for (const Packet& packet : packets) {
        begin = std::min(begin, packet.begin);
        end = std::max(end, packet.end);
    }
    return end - begin;
}

double reportedLength(const std::string& path) {
    return 1000 * std::stod(outputOf("ffprobe -v quiet -show_entries format=duration -of csv=p=0 " + path));
}

using FragmentedLength = recordings_test::ScratchFolder;

struct Layout {
    const char* name;
    std::string options;
    double expected = 0; /**< in milliseconds; 0: as ffprobe reports it */
};

void PrintTo(const Layout& layout, std::ostream* out) {
    *out << layout.name;
}

class LayoutTest : public FragmentedLength, public testing::WithParamInterface<Layout> {
  protected:
    std::string make() const {
        std::string file = path("made.mp4");
        outputOf("ffmpeg -v error " + std::string(kSources) + " " + GetParam().options + " " + file);
        return file;
    }
};

TEST_P(LayoutTest, IsAsAnotherProgramReportsIt) {
    const std::string file = make();
    const double expected = GetParam().expected ? GetParam().expected : reportedLength(file);
    const auto length = lengthOf(file);
    ASSERT_TRUE(length);
    EXPECT_NEAR(static_cast<double>(*length), expected, kFrame);
}

INSTANTIATE_TEST_SUITE_P(
    Fragmented, LayoutTest,
    testing::Values(
        Layout{"ByKeyFrame", std::string(kPlainPictures) + " -movflags frag_keyframe+empty_moov"},
        Layout{"ByTime", std::string(kPlainPictures) + " -movflags empty_moov -frag_duration 700000"},
        Layout{"ByFrame", std::string(kPlainPictures) + " -movflags frag_every_frame+empty_moov"},
        Layout{"WithoutIndex",
               std::string(kPlainPictures) + " -movflags frag_keyframe+empty_moov+skip_trailer"},
        Layout{"WithSegmentIndex",
               std::string(kPlainPictures) + " -movflags frag_keyframe+empty_moov+global_sidx"},
        Layout{"InSegments", std::string(kPlainPictures) + " -movflags frag_keyframe+empty_moov+dash"},
        Layout{"DefaultBase",
               std::string(kPlainPictures) + " -movflags frag_keyframe+empty_moov+default_base_moof"},
        Layout{"TracksApart",
               std::string(kPlainPictures) + " -movflags frag_keyframe+empty_moov+separate_moof"},
        Layout{"SamplesInTheIndexToo", std::string(kReordered) + " -movflags frag_keyframe"},
        Layout{"EditLists", std::string(kReordered) + " -movflags frag_keyframe+empty_moov+delay_moov"},
        // ffprobe reports these pictures two frames later than the file: they are 189 of 1/30 s from 0; the
        // last unit of the sound ends at 6.315 s.
        Layout{"NegativeOffsets",
               std::string(kReordered) + " -movflags frag_keyframe+empty_moov+negative_cts_offsets", 6315},
        Layout{"PicturesAlone", "-an -c:v libx264 -preset ultrafast -movflags frag_keyframe+empty_moov"},
        Layout{"SoundAlone", "-vn -c:a aac -movflags empty_moov -frag_duration 500000"},
        Layout{"OtherCodecs",
               "-c:v libx265 -preset ultrafast -x265-params log-level=error -c:a libopus -strict -2 "
               "-movflags frag_keyframe+empty_moov"}),
    [](const auto& layout) { return std::string(layout.param.name); });

std::uint64_t number(const std::string& bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}

/** The offsets of the top-level boxes of one kind. */
std::vector<std::size_t> placesOf(const std::string& bytes, const std::string& kind) {
    std::vector<std::size_t> places;
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += number(bytes, at, 4)) {
        if (bytes.compare(at + 4, 4, kind) == 0) places.push_back(at);
        if (number(bytes, at, 4) < 8) break;
    }
    return places;
}

void write(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

/** A file made by ffmpeg, and the offsets of its fragments. */
class MadeFile : public FragmentedLength {
  protected:
    void makeFile(const std::string& options) {
        outputOf("ffmpeg -v error " + options + " " + file_);
        bytes_ = contentsOf(file_);
        packets_ = packetsOf(file_);
        fragments_ = placesOf(bytes_, "moof");
    }

    const std::string file_ = path("made.mp4");
    std::string bytes_;
    std::vector<Packet> packets_;
    std::vector<std::size_t> fragments_;
};

/** A file with half a second per fragment, and the expected lengths of parts of it. */
class CutTest : public MadeFile {
  protected:
    CutTest() {
        makeFile(std::string(kSources) + " " + kPlainPictures + " -movflags frag_keyframe+empty_moov");
    }

    /** The length of the fragments whose packets all end before `end`, in milliseconds; 0 without any. */
    double wholeBefore(std::size_t end) const {
        std::vector<Packet> whole;
        for (std::size_t i = 0; i < fragments_.size(); ++i) {
            std::vector<Packet> fragment;
            const std::uint64_t next = i + 1 < fragments_.size() ? fragments_[i + 1] : bytes_.size();
            std::ranges::copy_if(packets_, std::back_inserter(fragment), [&](const Packet& packet) {
                return packet.place > fragments_[i] && packet.place < next;
            });
            if (!std::ranges::all_of(
                    fragment, [&](const Packet& packet) { return packet.place + packet.bytes <= end; }))
                break;
            std::ranges::copy(fragment, std::back_inserter(whole));
        }
        return whole.empty() ? 0 : spanOf(whole);
    }

    /** Expects the length of the fragments that are complete before `end`. */
    void expectWhole(const std::string& bytes, std::size_t end) {
        const std::string file = path("cut.mp4");
        write(file, bytes);
        const double expected = wholeBefore(end);
        const auto length = lengthOf(file);
        SCOPED_TRACE("whole up to " + std::to_string(end));
        ASSERT_EQ(length.has_value(), expected > 0);
        EXPECT_NEAR(static_cast<double>(length.value_or(0)), expected, kFrame);
    }

    /** Offsets at which to cut the file: around each fragment, and anywhere. */
    std::vector<std::size_t> cuts() const {
        std::vector<std::size_t> cuts;
        for (const std::size_t place : fragments_) {
            for (const int beside : {-1, 0, 1, 7, 8, 40})
                cuts.push_back(place + static_cast<std::size_t>(beside));
        }
        std::mt19937 random(7);
        for (int i = 0; i < 200; ++i) cuts.push_back(random() % bytes_.size());
        return cuts;
    }
};

TEST_F(CutTest, CountsTheWholeFragmentsWhereverTheFileEnds) {
    ErrorLines lines;
    for (const std::size_t cut : cuts()) expectWhole(bytes_.substr(0, cut), cut);
}

TEST_F(CutTest, CountsTheWholeFragmentsBeforeZeros) {
    ErrorLines lines;
    // Media data is not examined, so only descriptions are zeroed.
    for (const std::size_t place : fragments_) {
        std::string bytes = bytes_.substr(0, place + 3);
        bytes.append(bytes_.size() - bytes.size(), '\0');
        expectWhole(bytes, place);
    }
}

TEST_F(CutTest, SkipsADamagedFragmentBetweenOthers) {
    std::string bytes = bytes_;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(fragments_.at(3)) + 8, 40, '\xee');
    write(path("damaged.mp4"), bytes);
    EXPECT_NEAR(static_cast<double>(lengthOf(path("damaged.mp4")).value_or(0)), spanOf(packets_), kFrame);
}

/** A file without an index, of hundreds of fragments with one packet each. */
class ManyFragments : public MadeFile {
  protected:
    /** Durations of the pictures and of the sound in seconds. */
    void make(int pictures, int sound) {
        makeFile("-f lavfi -i testsrc2=size=160x90:rate=30:duration=" + std::to_string(pictures) +
                 " -f lavfi -i sine=440:duration=" + std::to_string(sound) + " -pix_fmt yuv420p " +
                 kPlainPictures + " -movflags frag_every_frame+empty_moov+default_base_moof+skip_trailer");
        ASSERT_GT(fragments_.size(), 300u);
    }

    /** Removes the times of all fragments from number `first` on. */
    void hideTimes(std::size_t first) {
        for (std::size_t at = fragments_.at(first); (at = bytes_.find("tfdt", at)) != std::string::npos;)
            bytes_.replace(at, 4, "free");
    }

    bool isOfSound(std::size_t fragment) const {
        return number(bytes_, bytes_.find("tfhd", fragment) + 8, 4) == 2;
    }

    /** Keeps only these fragments, in this order. */
    void order(const std::vector<std::size_t>& fragments) {
        std::string bytes = bytes_.substr(0, fragments_.at(0));
        for (const std::size_t place : fragments) {
            const auto next = std::ranges::upper_bound(fragments_, place);
            bytes += bytes_.substr(place, next == fragments_.end() ? std::string::npos : *next - place);
        }
        bytes_ = bytes;
    }

    void expectLength(double expected) {
        write(file_, bytes_);
        EXPECT_NEAR(static_cast<double>(lengthOf(file_).value_or(0)), expected, kFrame);
    }
};

TEST_F(ManyFragments, EndWithBothTracks) {
    make(8, 8);
    expectLength(spanOf(packets_));
}

TEST_F(ManyFragments, MayEndWithSoundAlone) {
    make(2, 8);
    expectLength(spanOf(packets_));
}

TEST_F(ManyFragments, MayEndWithPicturesAlone) {
    make(11, 2);
    expectLength(spanOf(packets_));
}

TEST_F(ManyFragments, MayEndWithATrackThatEndsEarlier) {
    make(4, 8);
    auto fragments = fragments_;
    std::stable_partition(fragments.begin() + 64, fragments.end(),
                          [this](std::size_t place) { return isOfSound(place); });
    order(fragments);
    expectLength(spanOf(packets_));
}

TEST_F(ManyFragments, MayBeginWithATrackThatBeginsLater) {
    make(8, 8);
    std::vector<std::size_t> pictures, sound;
    for (const std::size_t place : fragments_) (isOfSound(place) ? sound : pictures).push_back(place);
    // The pictures of the last four seconds, in two parts around most of the sound.
    std::vector<std::size_t> fragments(pictures.begin() + 120, pictures.begin() + 190);
    fragments.insert(fragments.end(), sound.begin(), sound.end() - 20);
    fragments.insert(fragments.end(), pictures.begin() + 190, pictures.end());
    fragments.insert(fragments.end(), sound.end() - 20, sound.end());
    order(fragments);
    expectLength(spanOf(packets_));
}

/** Nothing is counted twice, wherever the fragments that are read first end. */
TEST_F(ManyFragments, MayBeAsManyAsAreRead) {
    make(8, 8);
    hideTimes(0);
    const std::string bytes = bytes_;
    for (std::size_t count = 62; count < 131; ++count) {
        bytes_ = bytes.substr(0, fragments_.at(count));
        std::vector<Packet> packets = packets_;
        std::erase_if(packets, [&](const Packet& packet) { return packet.place >= bytes_.size(); });
        SCOPED_TRACE(count);
        expectLength(spanOf(packets));
    }
}

TEST_F(ManyFragments, MayLackTheirTimes) {
    make(8, 8);
    hideTimes(0);
    expectLength(spanOf(packets_));
}

TEST_F(ManyFragments, MayLackTheirTimesAtTheEnd) {
    make(8, 8);
    hideTimes(fragments_.size() - 10);
    expectLength(spanOf(packets_));
}

TEST_F(ManyFragments, MayBeDamagedAtTheEnd) {
    make(8, 8);
    const std::size_t whole = fragments_.size() - 100;
    for (std::size_t i = whole; i < fragments_.size(); ++i)
        std::fill_n(bytes_.begin() + static_cast<std::ptrdiff_t>(fragments_[i]) + 8, 40, '\xee');
    std::erase_if(packets_, [&](const Packet& packet) { return packet.place > fragments_[whole]; });
    expectLength(spanOf(packets_));
}

TEST_F(CutTest, IgnoresAWrongIndex) {
    const std::size_t index = placesOf(bytes_, "mfra").at(0);
    std::mt19937 random(11);
    for (int i = 0; i < 300; ++i) {
        std::string bytes = bytes_;
        const std::size_t at = index + random() % (bytes.size() - index);
        bytes.at(at) = static_cast<char>(bytes.at(at) ^ static_cast<char>(1 + random() % 255));
        write(path("index.mp4"), bytes);
        EXPECT_NEAR(static_cast<double>(lengthOf(path("index.mp4")).value_or(0)), spanOf(packets_), kFrame)
            << "byte " << at - index << " of " << bytes.size() - index;
    }
}

TEST_F(CutTest, SurvivesEveryDamage) {
    ErrorLines lines;
    std::mt19937 random(13);
    const std::size_t header = fragments_.at(0);
    for (int i = 0; i < 2000; ++i) {
        std::string bytes = bytes_;
        // Mainly descriptions.
        const std::size_t begin =
            i % 2 ? random() % header : fragments_.at(random() % fragments_.size()) + random() % 600;
        const std::size_t count = 1 + random() % 4;
        for (std::size_t k = 0; k < count; ++k)
            bytes.at((begin + k) % bytes.size()) = static_cast<char>(random());
        write(path("damaged.mp4"), bytes);
        std::int64_t length = 0;
        const int result = VNGetFMp4Duration(path("damaged.mp4").c_str(), &length);
        ASSERT_TRUE(result == VNRES_SUCCEED || result == VNRES_FAIL);
        ASSERT_GE(length, 0);
    }
}

/**
 * A refused file yields -1, leaves the duration unchanged, and logs one line with its name and the reason.
 */
void expectRefusal(const std::string& file, const std::string& reason) {
    ErrorLines lines;
    EXPECT_FALSE(lengthOf(file));
    EXPECT_THAT(lines.messages(),
                ElementsAre(HasSubstr("fmp4-info \"fmp4info\": " + file + ": " + reason), HasSubstr("!obj")));
}

TEST_F(FragmentedLength, RefusesPathsThatAreNotFiles) {
    expectRefusal(path("missing.mp4"), "cannot open: No such file or directory");
    expectRefusal(folder().string(), "cannot open: Is a directory");
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    expectRefusal(path("pipe"), "cannot open: not a regular file");
    expectRefusal("/dev/zero", "cannot open: not a regular file");
}

TEST_F(FragmentedLength, RefusesOtherFormats) {
    write(path("empty.mp4"), "");
    expectRefusal(path("empty.mp4"), "not an MP4 file");
    write(path("text.mp4"), "The quick brown fox jumps over the lazy dog.");
    expectRefusal(path("text.mp4"), "not an MP4 file");
    write(path("short.mp4"), std::string("\0\0\0\x08"
                                         "ftyp",
                                         8));
    expectRefusal(path("short.mp4"), "the index of this MP4 is missing or damaged");
}

TEST_F(FragmentedLength, RefusesAnMp4WithoutFragments) {
    outputOf("ffmpeg -v error " + std::string(kSources) + " " + kPlainPictures + " " + path("plain.mp4"));
    expectRefusal(path("plain.mp4"), "not a fragmented MP4");
}

TEST_F(CutTest, RefusesAFileWhoseFirstFragmentIsNotWhole) {
    write(path("begun.mp4"), bytes_.substr(0, fragments_.at(1) - 1));
    expectRefusal(path("begun.mp4"), "no complete fragment in this MP4");
}

}  // namespace
