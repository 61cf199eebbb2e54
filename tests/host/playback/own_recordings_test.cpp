// Reads this project's recordings through the public header: finished, open, cut off and recovered; and
// checks the indexes in their headers for other programs.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "command_output.h"
#include "error_lines.h"
#include "file_contents.h"
#include "media/recording/media_file.h"
#include "playback_fixture.h"
#include "recordings/fragment_map.h"
#include "recordings/recovery.h"
#include "sample_stream.h"
#include "scratch_folder.h"

namespace {

using kep::host::MediaFile;
using kep::host::MediaPacket;
using kep::host::SampleStream;
using recordings::FileBytes;
using recordings::SegmentIndex;

constexpr int kSeconds = 8;
constexpr double kPicture = 1000.0 / SampleStream::rate;  // milliseconds

const SampleStream& sample() {
    static const SampleStream stream(kSeconds);
    return stream;
}

/** The result of VNGetFMp4Duration; negative if it fails. */
std::int64_t lengthOf(const std::string& path) {
    std::int64_t milliseconds = -1;
    return VNGetFMp4Duration(path.c_str(), &milliseconds) == VNRES_SUCCEED ? milliseconds : -1;
}

double probedLength(const std::string& path) {
    return 1000 * std::stod(outputOf("ffprobe -v error -show_entries format=duration -of csv=p=0 " + path));
}

class OwnRecordings : public recordings_test::ScratchFolder {
  protected:
    /** Opens a recording as `NAME.part`. */
    std::unique_ptr<MediaFile> open(const std::string& name, bool sound = true) {
        auto file = MediaFile::open(path(name),
                                    {kep::host::MediaFileSettings::Container::fragmentedMp4, false, "part"},
                                    sample().video, sound ? sample().audio : nullptr, reason_);
        EXPECT_TRUE(file) << reason_;
        return file;
    }
    /** Writes the sample `times` times. */
    void write(MediaFile& file, int times = 1) {
        for (int i = 0; i < times; ++i) {
            for (const auto& packet : sample().packets) {
                auto later = std::make_shared<MediaPacket>(*packet);
                later->stamp += std::chrono::seconds(i * kSeconds);
                ASSERT_TRUE(file.write(*later, reason_)) << reason_;
            }
        }
    }
    std::string finished(const std::string& name, int times = 1, bool sound = true) {
        const auto file = open(name, sound);
        write(*file, times);
        EXPECT_TRUE(file->finish(reason_)) << reason_;
        return path(name);
    }
    /** Leaves the file as a killed process does. */
    std::string killed(const std::string& name) {
        write(*open(name));
        return path(name) + ".part";
    }
    static std::string recovered(const std::string& part) {
        const recordings::Recovery recovery = recordings::recoverFile(part);
        EXPECT_TRUE(recovery.recovered()) << recovery.check.reason;
        return recovery.path;
    }

    static std::vector<SegmentIndex> indexesOf(const std::string& path) {
        const FileBytes file(path);
        recordings::BoxWindow window(file);
        const auto beginning = recordings::readBeginning(file, window, 1 << 20);
        return recordings::readSegmentIndexes(file, window, beginning.firstBox, 1 << 20);
    }

    /** Plays a file; its packets of one kind must be the first ones of the sample. Returns their number. */
    static std::size_t expectBeginning(Playback& playback, bool video) {
        std::vector<const MediaPacket*> given;
        for (const auto& packet : sample().packets)
            if (packet->isVideo() == video) given.push_back(packet.get());
        const std::vector<PlayedPacket> played = playback.packets(video);
        EXPECT_LE(played.size(), given.size());
        const auto zero = sample().packets.front()->stamp;
        for (std::size_t i = 0; i < std::min(played.size(), given.size()); ++i) {
            const MediaPacket& packet = *given[i];
            const double expected = std::chrono::duration<double, std::milli>(packet.stamp - zero).count();
            EXPECT_NEAR(static_cast<double>(played[i].milliseconds), expected, 1) << i;
            EXPECT_EQ(played[i].key, packet.key) << i;
            const char* const bytes = reinterpret_cast<const char*>(packet.bytes.get());
            // Start codes may differ in length.
            if (!video) {
                EXPECT_TRUE(played[i].data == std::string(bytes, static_cast<std::size_t>(packet.size))) << i;
            }
        }
        return played.size();
    }

    std::string reason_;
};

TEST_F(OwnRecordings, AreReadBackWhole) {
    const std::string file = finished("whole.mp4");
    EXPECT_NEAR(static_cast<double>(lengthOf(file)), kSeconds * 1000, kPicture);
    EXPECT_NEAR(static_cast<double>(lengthOf(file)), probedLength(file), kPicture);
    Playback playback;
    ASSERT_TRUE(playback.playAll(file));
    EXPECT_EQ(playback.duration(), lengthOf(file));
    EXPECT_EQ(expectBeginning(playback, true), static_cast<std::size_t>(kSeconds * SampleStream::rate));
    EXPECT_EQ(expectBeginning(playback, false),
              static_cast<std::size_t>(std::ranges::count_if(
                  sample().packets, [](const auto& packet) { return !packet->isVideo(); })));
}

TEST_F(OwnRecordings, AreReadBackWhileTheyGrow) {
    const auto file = open("open.mp4");
    const std::string part = path("open.mp4.part");
    std::int64_t last = 0;
    std::size_t given = 0;
    for (const auto& packet : sample().packets) {
        ASSERT_TRUE(file->write(*packet, reason_));
        if (!packet->isVideo() || ++given % SampleStream::rate != 0 || given == SampleStream::rate) continue;
        const std::int64_t length = lengthOf(part);
        const double now = static_cast<double>(given) * kPicture;
        // A fragment lasts half a second, and a picture waits for the next one.
        EXPECT_GE(static_cast<double>(length), now - 500 - 2 * kPicture);
        EXPECT_LE(static_cast<double>(length), now);
        EXPECT_GE(length, last);
        last = length;
    }
    // Only what was in the file when it was opened is read.
    Playback playback;
    ASSERT_EQ(playback.open(part), VNRES_SUCCEED);
    EXPECT_EQ(playback.duration(), last);
    ASSERT_TRUE(file->finish(reason_));
    playback.start();
    ASSERT_TRUE(playback.waitForEnd());
    EXPECT_LT(expectBeginning(playback, true), given);
    EXPECT_GE(static_cast<double>(playback.packets(true).back().milliseconds),
              static_cast<double>(last) - 2 * kPicture);
}

TEST_F(OwnRecordings, AreReadAsFarAsTheyGoWhenTruncatedAndOnceRecovered) {
    const std::string part = killed("killed.mp4");
    const std::string bytes = contentsOf(part);
    const std::size_t first = bytes.find("moof");
    for (std::size_t end = bytes.size(); end > first + bytes.size() / 8; end -= bytes.size() / 7) {
        SCOPED_TRACE(end);
        std::ofstream(part, std::ios::binary) << bytes.substr(0, end);
        const std::int64_t length = lengthOf(part);
        Playback cut;
        ASSERT_TRUE(cut.playAll(part));
        EXPECT_EQ(cut.duration(), length);
        const std::size_t pictures = expectBeginning(cut, true);
        const std::size_t sounds = expectBeginning(cut, false);
        EXPECT_NEAR(static_cast<double>(length), static_cast<double>(pictures) * kPicture, kPicture);
        cut.release();

        const std::string whole = recovered(part);
        EXPECT_EQ(lengthOf(whole), length);
        EXPECT_NEAR(probedLength(whole), static_cast<double>(length), kPicture);
        EXPECT_EQ(indexesOf(whole).size(), 2u);
        Playback again;
        ASSERT_TRUE(again.playAll(whole));
        EXPECT_EQ(expectBeginning(again, true), pictures);
        EXPECT_EQ(expectBeginning(again, false), sounds);
        std::filesystem::remove(whole);
    }
}

/** Each track's index in the header must cover the fragments without a gap up to `end`. */
void expectRightIndexes(const std::string& file, std::uint64_t end, std::size_t tracks) {
    const FileBytes bytes(file);
    recordings::BoxWindow window(bytes);
    const auto beginning = recordings::readBeginning(bytes, window, 1 << 20);
    const auto indexes = recordings::readSegmentIndexes(bytes, window, beginning.firstBox, 1 << 20);
    ASSERT_EQ(indexes.size(), tracks);
    recordings::FragmentWalk walk(bytes, beginning);
    for (const SegmentIndex& index : indexes) {
        SCOPED_TRACE("track " + std::to_string(index.track));
        const bool video = beginning.index.tracks.at(index.track).handler == "vide";
        for (const recordings::SegmentReference& reference : index.references) {
            walk.moveTo(reference.offset);
            ASSERT_TRUE(walk.isFragment(reference.offset));
            ASSERT_TRUE(walk.next(bytes.size()));
            const auto& runs = walk.fragment().runs;
            const auto run = std::ranges::find(runs, index.track, &recordings::Mp4Run::track);
            ASSERT_NE(run, runs.end());
            EXPECT_EQ(reference.time, run->begin);
            recordings::Mp4Sample sample;
            ASSERT_TRUE(recordings::Mp4RunSamples(*run).next(sample));
            EXPECT_TRUE(sample.key || !video);
        }
        const auto& last = index.references.back();
        EXPECT_EQ(last.offset + last.bytes, end);
        // Nothing between an index and the first fragment.
        EXPECT_TRUE(walk.isFragment(index.references.front().offset));
    }
}

std::uint64_t beginOfTrailer(const std::string& file) {
    return contentsOf(file).rfind("mfra") - 4;
}

TEST_F(OwnRecordings, HaveACorrectIndexInTheirHeaders) {
    const std::string file = finished("whole.mp4");
    expectRightIndexes(file, beginOfTrailer(file), 2);
    // Two fragments per second, every other one begins with a key frame.
    EXPECT_EQ(indexesOf(file).front().references.size(), static_cast<std::size_t>(kSeconds));
    const std::string silent = finished("silent.mp4", 1, false);
    expectRightIndexes(silent, beginOfTrailer(silent), 1);
}

TEST_F(OwnRecordings, OfAnyLengthHaveAnIndexThatFits) {
    // More fragments than reserved index entries.
    constexpr int kTimes = 100;
    const std::string file = finished("long.mp4", kTimes);
    expectRightIndexes(file, beginOfTrailer(file), 2);
    const std::size_t references = indexesOf(file).front().references.size();
    EXPECT_LT(references, static_cast<std::size_t>(kTimes * kSeconds));
    EXPECT_GT(references, 330u);
    EXPECT_LT(contentsOf(file).find("moof"), 20'000u);
    EXPECT_NEAR(static_cast<double>(lengthOf(file)), kTimes * kSeconds * 1000, kPicture);
    EXPECT_NEAR(probedLength(file), kTimes * kSeconds * 1000, kPicture);
    // Another program seeks by it.
    for (const int second : {1, 399, 400, 401, 799}) {
        const std::string found =
            outputOf("ffprobe -v error -select_streams v -read_intervals " + std::to_string(second) +
                     "%+#1 -show_entries packet=pts_time -of csv=p=0 " + file);
        EXPECT_LE(std::stod(found), second);
        EXPECT_GT(std::stod(found), second - 3);
    }
}

TEST_F(OwnRecordings, HaveTheRightLengthDespiteAWrongIndex) {
    const std::string file = recovered(killed("killed.mp4"));
    const std::int64_t length = lengthOf(file);
    const std::string bytes = contentsOf(file);
    const std::size_t begin = bytes.find("sidx") - 4;
    const std::size_t end = bytes.find("moof") - 4;
    ASSERT_LT(end, bytes.size());
    ASSERT_GT(end - begin, 200u);
    const std::size_t box = (end - begin) / 2;
    ErrorLines lines;
    std::fstream damaged(file, std::ios::binary | std::ios::in | std::ios::out);
    const auto put = [&](std::size_t at, char byte) {
        damaged.seekp(static_cast<std::streamoff>(at));
        damaged.put(byte).flush();
    };
    for (std::size_t at = begin; at < end; ++at) {
        for (const int bits : {0x01, 0x80, 0xff}) {
            put(at, static_cast<char>(bytes[at] ^ static_cast<char>(bits)));
            // Without the header of a box the position of the next one is unknown.
            const bool isHeader = (at - begin) % box < 8;
            const std::int64_t told = lengthOf(file);
            EXPECT_TRUE(told == length || (isHeader && told < 0)) << at - begin << " " << bits << " " << told;
        }
        put(at, bytes[at]);
    }
}

}  // namespace
