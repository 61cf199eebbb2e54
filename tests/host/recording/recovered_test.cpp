// The result of recovering damaged recordings, as a player sees it.
#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <map>

#include "file_contents.h"
#include "media/recording/media_file.h"
#include "played_packets.h"
#include "recorder.h"
#include "recordings/failure.h"
#include "recordings/recovery.h"
#include "sample_stream.h"
#include "sanitizers.h"
#include "watched_disk.h"

namespace kep::host {
namespace {

using Container = MediaFileSettings::Container;
using FileBytes = std::vector<std::uint8_t>;
using recordings::Damage;
using recordings::Recovery;

constexpr int kSeconds = 30;
/** The sanitizers cost five times as much, so they try every fifth place. */
constexpr std::size_t kStep = kSanitized ? 5 : 1;
constexpr std::size_t kPlaces = 1000 / kStep;
constexpr std::size_t kHole = 4096;

class RecoveredFiles : public recording_test::RecordingTest {
  protected:
    static const SampleStream& sample() {
        static const SampleStream stream(kSeconds);
        return stream;
    }

    FileBytes record(Container container) const { return record(container, sample().video, 0); }
    /** @param video null to record the sound alone
     *  @param early the first `early` packets are each flushed to the disk */
    FileBytes record(Container container, const MediaPtr& video, std::size_t early) const {
        std::string reason;
        const std::string name = folder() / "made";
        const auto file = MediaFile::open(name, {container, false, ""}, video, sample().audio, reason);
        EXPECT_TRUE(file) << reason;
        std::size_t written = 0;
        for (const SharedPacket& packet : sample().packets) {
            if (packet->isVideo() && !video) continue;
            EXPECT_TRUE(file->write(*packet, reason)) << reason;
            if (++written > early) continue;
            EXPECT_TRUE(file->flush(reason)) << reason;
        }
        EXPECT_TRUE(file->finish(reason)) << reason;
        auto content = contentsOf<FileBytes>(name);
        std::filesystem::remove(name);
        return content;
    }

    /** Recovers a file with this content; returns the result, empty if nothing in it is playable. */
    FileBytes recovered(const FileBytes& content) {
        std::ofstream(part_, std::ios::binary)
            .write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
        recovery_ = recordings::recoverFile(part_);
        if (!recovery_.recovered()) return {};
        auto made = contentsOf<FileBytes>(recovery_.path);
        std::filesystem::remove(recovery_.path);
        return made;
    }

    /** The content with zeroes from `begin` to `end`. */
    static FileBytes holed(FileBytes content, std::size_t begin, std::size_t end) {
        std::fill(content.begin() + static_cast<std::ptrdiff_t>(begin),
                  content.begin() + static_cast<std::ptrdiff_t>(end), std::uint8_t{0});
        return content;
    }

    const std::string part_ = folder() / "rec.mp4.part";
    Recovery recovery_;
};

/** The offsets of the fragments: each is a description followed by its samples. */
std::vector<std::size_t> fragmentsOf(const FileBytes& content) {
    std::vector<std::size_t> begins;
    for (std::size_t at = 0; at + 8 <= content.size();) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < 4; ++i) size = size << 8 | content[at + i];
        if (std::memcmp(content.data() + at + 4, "moof", 4) == 0) begins.push_back(at);
        at += size;
    }
    return begins;
}

TEST_F(RecoveredFiles, AHoleLosesNoPacketOutsideItsFragment) {
    const FileBytes whole = record(Container::fragmentedMp4);
    const std::vector<PlacedPacket> packets = placedPackets(whole);
    ASSERT_EQ(packets.size(), sample().packets.size());
    std::vector<std::size_t> fragments = fragmentsOf(whole);
    ASSERT_GE(fragments.size(), static_cast<std::size_t>(kSeconds));
    fragments.push_back(whole.size());
    const auto fragmentAt = [&](std::size_t at) {
        return std::upper_bound(fragments.begin(), fragments.end(), at) - fragments.begin();
    };
    std::size_t missing = 0, kept = 0, hit = 0;
    for (std::size_t place = 0; place < kPlaces; ++place) {
        const std::size_t begin = place * (whole.size() - 1) / kPlaces;
        const std::size_t end = std::min(begin + kHole, whole.size());
        const std::set<PlayedPacket> played = playedPackets(recovered(holed(whole, begin, end)));
        // Earlier there may be unused space for the indexes of the header.
        if (end > fragments.front()) {
            EXPECT_FALSE(recovery_.check.damages.empty()) << "hole at " << begin;
        }
        const auto firstHit = fragmentAt(begin), lastHit = fragmentAt(end - 1);
        std::size_t lost = 0;
        for (const PlacedPacket& packet : packets) {
            const auto fragment = fragmentAt(packet.begin);
            const bool isHit = fragment >= firstHit && fragment <= lastHit;
            const bool there = played.count(packet.packet) > 0;
            if (isHit) ++hit;
            if (isHit && there) ++kept;
            if (!isHit && !there) ++lost;
        }
        EXPECT_EQ(lost, 0U) << "hole at " << begin;
        missing += lost;
    }
    std::printf(
        "%zu places, %zu packets in %zu fragments: %zu missing outside the fragments hit; of %zu "
        "inside them %zu are there undamaged\n",
        kPlaces, packets.size(), fragments.size() - 1, missing, hit, kept);
}

TEST_F(RecoveredFiles, AHoleInTheHeaderSparesItsCopy) {
    const FileBytes whole = record(Container::fragmentedMp4, nullptr, 10);
    ASSERT_LT(fragmentsOf(whole).at(2) - fragmentsOf(whole).at(0), kHole);
    const std::size_t all = playedPackets(whole).size();
    ASSERT_GT(all, 0U);
    EXPECT_GT(playedPackets(recovered(holed(whole, 0, kHole))).size(), all / 2);
}

TEST_F(RecoveredFiles, AHoleInATransportStreamLosesOnlyWhatItHits) {
    const FileBytes whole = record(Container::mpegTs);
    const std::vector<PlacedPacket> packets = placedPackets(whole);
    ASSERT_EQ(packets.size(), sample().packets.size());
    std::size_t worst = 0;
    constexpr std::size_t places = kPlaces / 10;
    for (std::size_t place = 1; place < places; ++place) {
        const std::size_t begin = place * (whole.size() - 1) / places;
        const std::size_t end = std::min(begin + kHole, whole.size());
        const std::set<PlayedPacket> played = playedPackets(recovered(holed(whole, begin, end)));
        // The loss is one stretch of the film, no longer than the hole: the stream has 16 KiB per second.
        std::size_t lost = 0;
        std::int64_t first = std::numeric_limits<std::int64_t>::max(), last = 0;
        for (const PlacedPacket& packet : packets) {
            if (played.count(packet.packet) > 0) continue;
            ++lost;
            first = std::min(first, packet.packet.time);
            last = std::max(last, packet.packet.time);
        }
        EXPECT_LT(last - first, 90'000) << "hole at " << begin;
        EXPECT_GT(lost, 0U);
        worst = std::max(worst, lost);
    }
    std::printf("%zu packets, at most %zu lost in a hole\n", packets.size(), worst);
}

/**
 * Logs the steps of a recovery and makes it fail before step `left`; all earlier steps have reached the disk.
 */
class FailingDisk final : public WatchedDisk {
  public:
    explicit FailingDisk(std::size_t left) : left_(left) { use(this); }
    ~FailingDisk() override { use(nullptr); }

    std::vector<Step> steps;
    Step refused = Step::create; /**< the step that failed */

  private:
    bool pass(Step step, const std::string& path, std::string& reason) override {
        reason = path + ": Input/output error";
        if (steps.size() == left_) {
            refused = step;
            return false;
        }
        steps.push_back(step);
        return true;
    }

    const std::size_t left_;
};

TEST_F(RecoveredFiles, AnInterruptedRecoveryCanBeRepeated) {
    using Step = FailingDisk::Step;
    for (const Container container : {Container::fragmentedMp4, Container::mpegTs}) {
        FileBytes torn = record(container);
        // Two holes, and a truncation in the middle of a fragment.
        for (const std::size_t part : {2, 5}) {
            const std::size_t begin = torn.size() * part / 10;
            torn = holed(std::move(torn), begin, begin + 3 * kHole);
        }
        torn.resize(torn.size() * 9 / 10 + 100);
        const FileBytes expected = recovered(torn);
        ASSERT_FALSE(placedPackets(expected).empty());
        if (!recovery_.rest.empty()) std::filesystem::remove(recovery_.rest);
        bool ended = true;
        std::vector<Step> steps;
        for (std::size_t done = 0; ended; ++done) {
            std::ofstream(part_, std::ios::binary)
                .write(reinterpret_cast<const char*>(torn.data()), static_cast<std::streamsize>(torn.size()));
            {
                FailingDisk disk(done);
                ended = false;
                try {
                    recovery_ = recordings::recoverFile(part_);
                } catch (const recordings::Failure&) {
                    ended = true;
                }
                steps = disk.steps;
                steps.push_back(disk.refused);
            }
            // The last step is the sync of the folder: the file exists even if that fails.
            if (std::filesystem::exists(part_)) recovery_ = recordings::recoverFile(part_);
            FileBytes result = contentsOf<FileBytes>(recovery_.path);
            if (recovery_.cut == 0) result.resize(std::min(result.size(), expected.size()));
            EXPECT_EQ(result, expected) << "ended before step " << done;
            for (const auto& entry : std::filesystem::directory_iterator(folder()))
                std::filesystem::remove(entry.path());
        }
        const std::vector<Step> tail(steps.end() - 4, steps.end());
        EXPECT_THAT(tail, testing::ElementsAre(Step::sync, Step::close, Step::rename, Step::syncFolder));
        EXPECT_EQ(std::count(steps.begin(), steps.end(), Step::open), 1);
    }
}

TEST_F(RecoveredFiles, NoDamagedHeaderYieldsAFileWithoutPackets) {
    FileBytes whole = record(Container::fragmentedMp4);
    const std::vector<std::size_t> fragments = fragmentsOf(whole);
    // Three fragments, without a copy of the header: each flipped bit must be detected or harmless.
    whole.resize(fragments[3]);
    const std::size_t header = fragments[0];
    const auto copy = std::search(whole.begin() + 8, whole.end(), whole.begin(), whole.begin() + 8);
    if (copy != whole.end()) copy[4] = 'x';
    std::size_t refused = 0, empty = 0, flips = 0;
    // Most of the header is space for indexes, which the recovery has overwritten: few flips there.
    constexpr std::size_t kFlipped = 1500;
    for (std::size_t at = 0; at < header; at += kStep * (at < kFlipped ? 1 : 499)) {
        for (const unsigned bits : {0x01U, 0xffU}) {
            FileBytes flipped = whole;
            flipped[at] = static_cast<std::uint8_t>(flipped[at] ^ bits);
            const FileBytes made = recovered(flipped);
            ++flips;
            if (made.empty()) {
                ++refused;
                EXPECT_TRUE(std::filesystem::exists(part_));
                continue;
            }
            if (placedPackets(made).empty()) ++empty;
            EXPECT_FALSE(placedPackets(made).empty()) << "byte " << at << " of the header, bits " << bits;
        }
    }
    std::printf("%zu flips: %zu refused, %zu finished without packets\n", flips, refused, empty);
}

}  // namespace
}  // namespace kep::host
