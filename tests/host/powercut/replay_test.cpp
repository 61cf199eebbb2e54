#include "replay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "captured_pictures.h"
#include "recorded_file.h"
#include "sample_recording.h"

namespace kep::host {
namespace {

const SampleStream& sample() {
    static const SampleStream stream(8);
    return stream;
}

const SampleRecording& recording() {
    static const SampleRecording made(sample(), 3);
    return made;
}

/** A deleted recording of other pictures with the same settings. */
const Bytes& deleted() {
    static const Bytes content = [] {
        SampleStream later = sample();
        const auto begin =
            std::find_if(later.packets.begin() + 200, later.packets.end(),
                         [](const SharedPacket& packet) { return packet->isVideo() && packet->key; });
        later.packets.erase(later.packets.begin(), begin);
        const SampleRecording made(later, 3);
        UnsureFile file;
        for (const Step& step : made.steps) {
            if (step.kind == Step::Kind::write && step.file == 0) file.unsure.push_back(&step);
        }
        file.settle();
        return file.sure;
    }();
    return content;
}

Recorded without(Step::Kind kind) {
    Recorded recorded = recording();
    std::erase_if(recorded.steps, [&](const Step& step) { return step.kind == kind; });
    recorded.told.clear();
    return recorded;
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

TEST(SampleTest, IsInTheFilesByteForByte) {
    CapturedPictures captured;
    for (const SharedPacket& packet : sample().packets) {
        if (packet->isVideo()) captured.add(*packet);
    }
    std::size_t next = 0;
    const auto versions = DiskJudge::versionsOf(recording());
    for (const SampleRecording::Segment& segment : recording().segments) {
        const Bytes& content = versions.at(segment.path).front().content->bytes;
        const WholeFile file(content, 0);
        EXPECT_NEAR(captured.time(next), recording().begins.at(segment.path), 1e-3);
        for (std::size_t i = 0; i < file.pictures().size(); ++i)
            EXPECT_EQ(captured.find(file.picture(i)), next++);
        RecordedFile decoded(content);
        EXPECT_EQ(decoded.decodePictures().size(), file.pictures().size());
        decoded.decodeSound();
        EXPECT_TRUE(decoded.errors().empty()) << decoded.errors().front();
    }
    EXPECT_EQ(next, captured.count());
}

TEST(ReplayTest, EveryOutcomePlays) {
    DiskJudge judge(recording(), recovered);
    const Replay replay(recording(), judge, draws(8));
    EXPECT_TRUE(replay.faults.empty()) << replay.text();
    EXPECT_GT(replay.disks, 500U);
    EXPECT_GT(judge.mostLost(), 0.45) << "no outcome loses anything: the model tries too little";
    std::printf("%zu steps, %zu outcomes, %zu different files, most lost %.2f s\n", recording().steps.size(),
                replay.disks, judge.filesSeen(), judge.mostLost());
}

TEST(ReplayTest, EveryOutcomePlaysWithAnIndexInSeveralSectors) {
    const SampleRecording made(sample(), 60);
    const Bytes content = DiskJudge::versionsOf(made).begin()->second.back().content->bytes;
    const Box index = boxesOf(content).back();
    ASSERT_EQ(index.kind, "mfra");
    ASSERT_GT(index.end - index.begin, 512U);
    DiskJudge judge(made, recovered);
    const Replay replay(made, judge, draws(1));
    EXPECT_TRUE(replay.faults.empty()) << replay.text();
}

TEST(ReplayTest, EveryOutcomePlaysWhereAnotherRecordingWasDeleted) {
    DiskJudge judge(recording(), recovered);
    const Replay replay(recording(), judge, draws(8), deleted());
    EXPECT_TRUE(replay.faults.empty()) << replay.text();
    std::printf("%zu outcomes, %zu different files, most lost %.2f s\n", replay.disks, judge.filesSeen(),
                judge.mostLost());
}

TEST(ReplayTest, FilesWithoutProtectionAreCompleteUnderTheirNames) {
    for (const char* const muxer :
         {"muxer-fmp4:flush=false", "muxer-mp4:flush=false", "muxer-ts:flush=false"}) {
        SCOPED_TRACE(muxer);
        const SampleRecording made(sample(), 3, muxer);
        ASSERT_EQ(made.told.size(), 3U);
        DiskJudge judge(made, recovered);
        const Replay replay(made, judge, draws(2), deleted());
        EXPECT_TRUE(replay.faults.empty()) << replay.text();
        EXPECT_GT(replay.disks, 100U);
    }
}

/**
 * The sample with a longer first picture: `bytes` bytes of filler and `copies` more of its last parameter
 * set, which lengthen the beginning of the file.
 */
SampleStream filledUp(SampleStream stream, std::size_t bytes, std::size_t copies) {
    auto picture = std::make_shared<MediaPacket>(*stream.packets.front());
    const std::uint8_t* const data = picture->bytes.get();
    const Bytes whole(data, data + picture->size);
    constexpr std::uint8_t kParameters[] = {0, 0, 1, 0x68};
    constexpr std::uint8_t kStart[] = {0, 0, 1};
    const auto set = std::search(whole.begin(), whole.end(), std::begin(kParameters), std::end(kParameters));
    const auto next = std::search(set + 1, whole.end(), std::begin(kStart), std::end(kStart));
    auto longer = std::make_shared<Bytes>();
    for (std::size_t i = 0; i < copies; ++i) longer->insert(longer->end(), set, next);
    longer->insert(longer->begin(), whole.begin(), next);
    longer->insert(longer->end(), next, whole.end());
    constexpr std::uint8_t kFiller[] = {0, 0, 1, 12};
    longer->insert(longer->end(), std::begin(kFiller), std::end(kFiller));
    longer->insert(longer->end(), bytes, 0xff);
    longer->push_back(0x80);
    picture->size = static_cast<int>(longer->size());
    picture->bytes = {longer, longer->data()};
    stream.packets.front() = picture;
    return stream;
}

/**
 * The offsets of the first file's fragments: the header of a fragment is written last, as a write of 8 bytes.
 */
std::vector<std::uint64_t> fragmentsOf(const SampleRecording& recorded) {
    std::vector<std::uint64_t> begins;
    for (const Step& step : recorded.steps) {
        const bool isHeader = step.kind == Step::Kind::write && step.file == 0 && step.bytes.size() == 8;
        if (isHeader) begins.push_back(step.offset);
    }
    return begins;
}

/** Whether an offset is so near a sector boundary that padding of up to 8 bytes may move it there. */
bool isAtSector(std::uint64_t place) {
    constexpr std::uint64_t kSector = 512;
    constexpr std::uint64_t kNear = 16;
    return place % kSector < kNear || place % kSector > kSector - kNear;
}

void expectToPlayAsItIs(const SampleRecording& recorded) {
    const WholeFile whole(DiskJudge::versionsOf(recorded).begin()->second.back().content->bytes, 0);
    for (std::size_t done = 0; done <= recorded.steps.size(); ++done) {
        PowerCut(recorded.steps, done, deleted()).forEachDisk(0, [&](const Disk& disk) {
            for (const auto& [path, content] : disk.files) {
                std::string tail;
                whole.sameBytes(content->bytes, tail);
                ASSERT_FALSE(tail.starts_with("!")) << "after " << done << " steps: " << path << tail;
            }
        });
    }
}

TEST(ReplayTest, EveryOutcomePlaysWhereverAFragmentBegins) {
    const SampleStream stream(3);
    const SampleStream plainStream = filledUp(stream, 0, 0);
    const std::uint64_t plain = fragmentsOf(SampleRecording(plainStream, 3)).at(1);
    int tried = 0;
    for (std::size_t more = 0; more < 512; ++more) {
        if (!isAtSector(plain + more)) continue;
        SCOPED_TRACE(std::to_string(more) + " bytes more");
        const SampleStream filled = filledUp(stream, more, 0);
        expectToPlayAsItIs(SampleRecording(filled, 3));
        ++tried;
    }
    EXPECT_EQ(tried, 31);
}

TEST(ReplayTest, EveryOutcomePlaysForAnyLengthOfTheHeader) {
    const SampleStream stream(1);
    int tried = 0;
    for (std::size_t copies = 0; copies < 256; ++copies) {
        const SampleStream filled = filledUp(stream, 0, copies);
        const SampleRecording recorded(filled, 3);
        if (!isAtSector(fragmentsOf(recorded).at(0))) continue;
        SCOPED_TRACE(std::to_string(copies) + " more parameter sets");
        const Bytes whole = DiskJudge::versionsOf(recorded).begin()->second.back().content->bytes;
        EXPECT_TRUE(std::ranges::any_of(boxesOf(whole), [](const Box& box) { return box.kind == "sidx"; }))
            << "no index in the header";
        expectToPlayAsItIs(recorded);
        ++tried;
    }
    EXPECT_GT(tried, 8);
}

/** Few are enough: a bad writer is found by its first bad disk. */
constexpr int kDrawsOfBadWriters = 2;

/** Whether judging a bad writer's steps finds `fault`. */
bool isFound(const Recorded& recorded, const std::string& fault) {
    DiskJudge judge(recorded, recovered);
    return Replay(recorded, judge, kDrawsOfBadWriters).has(fault);
}

TEST(ReplayTest, FindsAWriterThatNeverSyncsItsFile) {
    EXPECT_TRUE(isFound(without(Step::Kind::sync), "has its final name but is incomplete"));
}

TEST(ReplayTest, FindsAWriterThatNeverSyncsItsFolder) {
    EXPECT_TRUE(isFound(without(Step::Kind::syncFolder), "s of pictures are lost"));
}

TEST(ReplayTest, FindsAWriterThatRenamesBeforeItSyncs) {
    Recorded recorded = recording();
    std::vector<Step>& steps = recorded.steps;
    for (std::size_t i = 1; i < steps.size(); ++i) {
        if (steps[i].kind != Step::Kind::rename) continue;
        ASSERT_EQ(steps[i - 1].kind, Step::Kind::sync);
        std::swap(steps[i - 1], steps[i]);
    }
    EXPECT_TRUE(isFound(recorded, "has its final name but is incomplete"));
}

TEST(ReplayTest, FindsAWriterThatSyncsTooSeldom) {
    Recorded recorded = recording();
    std::size_t syncs = 0;
    std::erase_if(recorded.steps,
                  [&](const Step& step) { return step.kind == Step::Kind::sync && ++syncs % 8; });
    recorded.told.clear();
    EXPECT_TRUE(isFound(recorded, "s of pictures are lost"));
}

TEST(ReplayTest, FindsAWriterThatMarksAFragmentAsCompleteBeforeItIs) {
    // Without these syncs, the last write before a sync may be present without the earlier ones.
    Recorded recorded = recording();
    const std::vector<Step>& all = recording().steps;
    recorded.steps.clear();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const bool nextWrites = i + 1 < all.size() && all[i + 1].kind == Step::Kind::write;
        if (all[i].kind != Step::Kind::sync || !nextWrites) recorded.steps.push_back(all[i]);
    }
    recorded.told.clear();
    EXPECT_TRUE(isFound(recorded, "damaged bytes"));
}

TEST(ReplayTest, FindsAFileThatSilentlyLosesItsEnd) {
    // Drops the last sync before each rename, so that synced data was promised but is not sure.
    Recorded recorded = recording();
    std::vector<Step>& steps = recorded.steps;
    for (std::size_t i = steps.size(); i-- > 1;) {
        if (steps[i].kind == Step::Kind::rename)
            steps.erase(steps.begin() + static_cast<std::ptrdiff_t>(--i));
    }
    recorded.told.clear();
    EXPECT_TRUE(isFound(recorded, "has its final name but is incomplete"));
}

TEST(ReplayTest, FindsANameReportedBeforeItIsSynced) {
    Recorded recorded = recording();
    std::erase_if(recorded.steps, [&, isRenamed = false](const Step& step) mutable {
        const bool isAfter = std::exchange(isRenamed, step.kind == Step::Kind::rename);
        return isAfter && step.kind == Step::Kind::syncFolder;
    });
    for (Recorded::Told& told : recorded.told) told.steps = recorded.steps.size();
    EXPECT_TRUE(isFound(recorded, "is missing though reported"));
}

}  // namespace
}  // namespace kep::host
