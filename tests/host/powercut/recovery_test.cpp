// Power cuts during a recovery: the next recovery keeps every packet that the first would have kept.
#include "recordings/recovery.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "file_contents.h"
#include "noted_disk.h"
#include "played_packets.h"
#include "power_cut.h"
#include "recorded.h"
#include "replay.h"
#include "sample_recording.h"

namespace kep::host {
namespace {

namespace fs = std::filesystem;

constexpr int kSeconds = 4;
constexpr std::size_t kHole = 4096;
/** Fewer than elsewhere: each outcome costs a recovery and a check of its files. */
constexpr int kDrawsPerRecovery = 100;

/** A finished recording of the sample by this muxer. */
Bytes recordedBy(const std::string& muxer) {
    static const SampleStream sample(kSeconds);
    const SampleRecording made(sample, 60, muxer);
    return DiskJudge::versionsOf(made).begin()->second.back().content->bytes;
}

/**
 * Cuts off the end of a recording and punches holes of `size` bytes at `places`, filled by turns with zeroes
 * and with old contents of the blocks.
 */
Bytes damaged(Bytes content, const std::vector<std::size_t>& places, std::size_t size) {
    content.resize(content.size() * 9 / 10 + 100);
    std::mt19937 random;
    bool isZero = true;
    for (const std::size_t place : places) {
        const auto begin = content.begin() + static_cast<std::ptrdiff_t>(place);
        std::generate_n(begin, size,
                        [&] { return isZero ? std::uint8_t{0} : static_cast<std::uint8_t>(random()); });
        isZero = !isZero;
    }
    return content;
}

/** The offsets of the boxes of one kind. */
std::vector<std::size_t> placesOf(const char* kind, const Bytes& content) {
    std::vector<std::size_t> places;
    for (const Box& box : boxesOf(content)) {
        if (box.kind == kind) places.push_back(box.begin);
    }
    return places;
}

bool hasPart(const Bytes& content, const Bytes& part) {
    return std::search(content.begin(), content.end(), part.begin(), part.end()) != content.end();
}

class RecoveryTest : public testing::Test {
  protected:
    RecoveryTest() {
        std::string pattern = fs::temp_directory_path() / "recoveryXXXXXX";
        folder_ = mkdtemp(pattern.data());
        part_ = folder_ / "rec.mp4.part";
    }
    ~RecoveryTest() override { fs::remove_all(folder_); }

    /** Replaces the contents of the folder. */
    void place(const std::map<std::string, Bytes>& files) const {
        for (const auto& entry : fs::directory_iterator(folder_)) fs::remove(entry.path());
        for (const auto& [path, content] : files) {
            std::ofstream(path, std::ios::binary)
                .write(reinterpret_cast<const char*>(content.data()),
                       static_cast<std::streamsize>(content.size()));
        }
    }

    /** The packets of all files with a final name. */
    std::set<PlayedPacket> played() const {
        std::set<PlayedPacket> packets;
        for (const auto& entry : fs::directory_iterator(folder_)) {
            const fs::path name = entry.path().filename();
            if (name.extension() == ".mp4") packets.merge(playedPackets(contentsOf<Bytes>(entry.path())));
        }
        return packets;
    }

    /** Whether one of the files contains these bytes. */
    bool holds(const Bytes& bytes) const {
        const fs::directory_iterator entries(folder_);
        return std::any_of(begin(entries), end(entries), [&](const auto& entry) {
            return hasPart(contentsOf<Bytes>(entry.path()), bytes);
        });
    }

    recordings::Recovery recoverOn(NotedDisk& disk) const {
        const InUse inUse(disk);
        return recordings::recoverFile(part_);
    }

    void expectToBeRecoveredAgain(const Bytes& before) {
        place({{part_, before}});
        NotedDisk disk(folder_);
        const std::size_t begin = disk.steps().size();
        const recordings::Recovery first = recoverOn(disk);
        ASSERT_EQ(first.check.state, recordings::RecordingCheck::State::damaged);
        const std::set<PlayedPacket> expected = played();
        ASSERT_GT(expected.size(), 20U);
        Bytes cut(before.begin() + static_cast<std::ptrdiff_t>(first.check.end), before.end());
        while (!cut.empty() && cut.back() == 0) cut.pop_back();
        std::set<std::map<std::string, std::uint64_t>> seen;
        std::size_t outcomes = 0;
        for (std::size_t done = begin; done <= disk.steps().size(); ++done) {
            PowerCut(disk.steps(), done).forEachDisk(draws(200) / kDrawsPerRecovery, [&](const Disk& found) {
                ++outcomes;
                // A rename may lose both names until the folder is synced.
                if (found.nameless.count(first.path)) return;
                std::map<std::string, Bytes> files;
                std::map<std::string, std::uint64_t> hashes;
                for (const auto& [path, content] : found.files) {
                    files[path] = content->bytes;
                    hashes[path] = content->hash;
                }
                if (!seen.insert(hashes).second) return;
                place(files);
                if (NotedDisk again(folder_); again.exists(part_)) recoverOn(again);
                const std::set<PlayedPacket> now = played();
                EXPECT_TRUE(std::includes(now.begin(), now.end(), expected.begin(), expected.end()))
                    << "after " << done << " steps";
                EXPECT_TRUE(holds(cut)) << "after " << done << " steps";
            });
        }
        EXPECT_GT(seen.size(), 4U);
        std::printf("%zu steps, %zu outcomes, %zu different, %zu packets\n", disk.steps().size() - begin,
                    outcomes, seen.size(), expected.size());
    }

  private:
    fs::path folder_;
    std::string part_;
};

TEST_F(RecoveryTest, ASecondPowerCutCostsNothing) {
    const Bytes whole = recordedBy("muxer-fmp4:flush=true");
    std::vector<std::size_t> places;
    for (const char* const kind : {"moof", "mdat"}) {
        const std::vector<std::size_t> all = placesOf(kind, whole);
        for (std::size_t i = kind[1] == 'o' ? 1 : 2; i + 2 < all.size(); i += 2) places.push_back(all[i]);
    }
    ASSERT_GE(places.size(), 4U);
    constexpr std::size_t kBox = 8;
    expectToBeRecoveredAgain(damaged(whole, places, kBox));
}

TEST_F(RecoveryTest, ASecondPowerCutCostsNothingWithARebuiltHeader) {
    const Bytes whole = recordedBy("muxer-fmp4:flush=true");
    expectToBeRecoveredAgain(damaged(whole, {0, whole.size() * 2 / 5}, kHole));
}

TEST_F(RecoveryTest, ASecondPowerCutCostsATransportStreamNothing) {
    const Bytes whole = recordedBy("muxer-ts:flush=false");
    expectToBeRecoveredAgain(damaged(whole, {whole.size() / 5, whole.size() / 2}, kHole));
}

TEST_F(RecoveryTest, ASecondPowerCutCostsAPlainFileNothing) {
    Bytes content = recordedBy("muxer-mp4:flush=false");
    // The state before it got an index: its data box has no size yet.
    const std::size_t data = placesOf("mdat", content).at(0);
    content.resize(placesOf("moov", content).at(0));
    std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(data), 4, std::uint8_t{0});
    expectToBeRecoveredAgain(content);
}

}  // namespace
}  // namespace kep::host
