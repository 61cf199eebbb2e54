#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "disk_judge.h"
#include "file_contents.h"
#include "recovery.h"

namespace kep::host {
namespace {

namespace fs = std::filesystem;

/** How many outcomes of each kind are drawn for each prefix; a number in the environment makes a longer run.
 */
int draws() {
    const char* const wanted = std::getenv("POWERCUT_DRAWS");
    return wanted ? std::atoi(wanted) : 24;
}

const SampleStream& sample() {
    static const SampleStream stream(8);
    return stream;
}

const SampleRecording& recording() {
    static const SampleRecording made(sample(), 3);
    return made;
}

/** Whether a file has come to its first fragment: before that there is nothing in it to be played. */
bool hasFragment(const Bytes& content) {
    for (std::size_t at = 0; at + 8 <= content.size();) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < 4; ++i) size = size << 8 | content[at + i];
        if (std::equal(content.begin() + static_cast<std::ptrdiff_t>(at) + 4,
                       content.begin() + static_cast<std::ptrdiff_t>(at) + 8, "moof"))
            return true;
        if (size < 8) return false;
        at += size;
    }
    return false;
}

std::optional<Bytes> asItIs(const Bytes& content) {
    if (!hasFragment(content)) return std::nullopt;
    return content;
}

/** Recovery as its users have it, on a disk. */
class Recovering {
  public:
    Recovering() {
        std::string pattern = fs::temp_directory_path() / "powercutXXXXXX";
        folder_ = mkdtemp(pattern.data());
    }
    ~Recovering() { fs::remove_all(folder_); }

    std::optional<Bytes> operator()(const Bytes& content) const {
        const fs::path final = folder_ / "rec.mp4";
        const fs::path open = folder_ / "rec.mp4.part";
        fs::remove(final);
        std::ofstream(open, std::ios::binary)
            .write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
        const bool recovered = vncam::recoverFile(open).recovered();
        EXPECT_EQ(fs::exists(final), recovered);
        EXPECT_EQ(fs::exists(open), !recovered);
        if (!recovered) return std::nullopt;
        return contentsOf<Bytes>(final);
    }

  private:
    fs::path folder_;
};

/** What is wrong after a power cut behind any of the steps; each fault once for each step. */
struct Replay {
    Replay(const std::vector<Step>& steps, DiskJudge& judge, int drawn) {
        const std::size_t all = recording().stream.packets.size();
        for (std::size_t done = 0; done <= steps.size(); ++done) {
            // Until the next step is asked for the writer is given more.
            const std::size_t captured = done < steps.size() ? steps[done].progress : all;
            std::set<std::string> found;
            PowerCut(steps, done).forEachDisk(drawn, [&](const Disk& disk) {
                ++disks;
                const std::string fault = judge.faultOf(disk, captured);
                if (!fault.empty()) found.insert(fault);
            });
            for (const std::string& fault : found)
                faults.push_back("after " + std::to_string(done) + " steps: " + fault);
        }
    }

    std::string text() const {
        std::string joined;
        for (std::size_t i = 0; i < std::min<std::size_t>(faults.size(), 10); ++i) joined += faults[i] + "\n";
        return joined;
    }

    std::size_t disks = 0;
    std::vector<std::string> faults;
};

std::vector<Step> without(Step::Kind kind) {
    std::vector<Step> steps = recording().steps;
    steps.erase(
        std::remove_if(steps.begin(), steps.end(), [&](const Step& step) { return step.kind == kind; }),
        steps.end());
    return steps;
}

TEST(SampleTest, NoTwoPacketsAreTheSame) {
    std::set<Bytes> different;
    for (const SharedPacket& packet : sample().packets)
        different.emplace(packet->bytes.get(), packet->bytes.get() + packet->size);
    EXPECT_EQ(different.size(), sample().packets.size());
}

TEST(SampleTest, IsRecordedInFilesOfTheLengthAsked) {
    ASSERT_EQ(recording().segments.size(), 3U);
    EXPECT_GT(recording().steps.size(), 20U);
}

TEST(ReplayTest, EveryOutcomePlaysAsItIs) {
    DiskJudge judge(recording(), asItIs);
    const Replay replay(recording().steps, judge, draws());
    EXPECT_TRUE(replay.faults.empty()) << replay.text();
    EXPECT_GT(replay.disks, 1000U);
    EXPECT_GT(judge.worstLoss(), 0.75) << "nothing was ever lost: nothing was tried";
    std::printf("%zu steps, %zu outcomes, %zu different files, most lost %.2f s\n", recording().steps.size(),
                replay.disks, judge.filesSeen(), judge.worstLoss());
}

TEST(ReplayTest, EveryOutcomePlaysOnceItIsRecovered) {
    const Recovering recovering;
    DiskJudge judge(recording(), std::cref(recovering));
    const Replay replay(recording().steps, judge, draws() / 3);
    EXPECT_TRUE(replay.faults.empty()) << replay.text();
    EXPECT_GT(replay.disks, 500U);
    std::printf("%zu outcomes recovered, most lost %.2f s\n", replay.disks, judge.worstLoss());
}

/** A bad writer is found by its first bad disk. */
constexpr int kDrawsOfBadWriters = 2;

/** Has a bad writer's steps judged; true when that finds `fault` in them. */
bool isFound(const std::vector<Step>& steps, const std::string& fault) {
    DiskJudge judge(recording(), asItIs);
    const Replay replay(steps, judge, kDrawsOfBadWriters);
    return std::any_of(replay.faults.begin(), replay.faults.end(),
                       [&](const std::string& each) { return each.find(fault) != std::string::npos; });
}

TEST(ReplayTest, FindsAWriterThatNeverSyncsItsFile) {
    EXPECT_TRUE(isFound(without(Step::Kind::sync), "has its final name and is not whole"));
}

TEST(ReplayTest, FindsAWriterThatNeverSyncsItsFolder) {
    EXPECT_TRUE(isFound(without(Step::Kind::syncFolder), "s of pictures are lost"));
}

TEST(ReplayTest, FindsAWriterThatRenamesBeforeItSyncs) {
    std::vector<Step> steps = recording().steps;
    for (std::size_t i = 1; i < steps.size(); ++i) {
        if (steps[i].kind != Step::Kind::rename) continue;
        ASSERT_EQ(steps[i - 1].kind, Step::Kind::sync);
        std::swap(steps[i - 1], steps[i]);
    }
    EXPECT_TRUE(isFound(steps, "has its final name and is not whole"));
}

TEST(ReplayTest, FindsAWriterThatSyncsTooSeldom) {
    std::vector<Step> steps;
    std::size_t syncs = 0;
    for (const Step& step : recording().steps) {
        if (step.kind != Step::Kind::sync || ++syncs % 8 == 0) steps.push_back(step);
    }
    EXPECT_TRUE(isFound(steps, "s of pictures are lost"));
}

TEST(ReplayTest, FindsAWriterThatMarksAFragmentAsCompleteBeforeItIs) {
    // The last of the writes before a sync is there, and the others are not.
    std::vector<Step> steps;
    for (std::size_t i = 0; i < recording().steps.size(); ++i) {
        const bool nextWrites =
            i + 1 < recording().steps.size() && recording().steps[i + 1].kind == Step::Kind::write;
        if (recording().steps[i].kind != Step::Kind::sync || !nextWrites)
            steps.push_back(recording().steps[i]);
    }
    DiskJudge judge(recording(), asItIs);
    EXPECT_FALSE(Replay(steps, judge, kDrawsOfBadWriters).faults.empty());
}

TEST(ReplayTest, FindsAFileThatLosesItsEndInSilence) {
    // What was promised to be on the disk and is not: each last write before a renaming is left out.
    std::vector<Step> steps = recording().steps;
    for (std::size_t i = steps.size(); i-- > 0;) {
        if (steps[i].kind != Step::Kind::rename) continue;
        std::size_t write = i;
        while (steps[write].kind != Step::Kind::write || steps[write].bytes.size() < 512) --write;
        steps.erase(steps.begin() + static_cast<std::ptrdiff_t>(write));
        i = write;
    }
    EXPECT_TRUE(isFound(steps, "has its final name and is not whole"));
}

}  // namespace
}  // namespace kep::host
