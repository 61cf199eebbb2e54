#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "error_lines.h"
#include "faulty_layer.h"
#include "file_contents.h"
#include "picture_probe.h"
#include "pipeline_fixture.h"
#include "public_recording.h"
#include "recorded_file.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr int kWidth = 640;
constexpr int kHeight = 360;
constexpr int kFramesPerSecond = 30;

/** The numbers of a file's pictures; fails the test if the file does not play. */
std::vector<std::uint32_t> numbersOf(const fs::path& path) {
    RecordedFile file(path.string());
    std::vector<std::uint32_t> numbers;
    for (const RecordedPicture& picture : file.decodePictures()) {
        EXPECT_TRUE(picture.number) << path;
        numbers.push_back(picture.number.value_or(0));
    }
    file.decodeSound();
    EXPECT_TRUE(file.errors().empty()) << path << ": " << file.errors().front();
    EXPECT_FALSE(numbers.empty()) << path;
    return numbers;
}

/** Whether a file that is still open has pictures to play. */
bool plays(const fs::path& path) {
    return fs::exists(path) && !RecordedFile(path.string()).video().packets.empty();
}

/** The camera's pictures, read as an application does. */
class LivePictures {
  public:
    LivePictures() : picture_(kWidth * kHeight * 3 / 2) {
        EXPECT_EQ(VNAcquire(VNRES_YUV_SOURCE, &id_), VNRES_SUCCEED);
        EXPECT_EQ(VNSetResolution(id_, kWidth, kHeight), VNRES_SUCCEED);
        EXPECT_EQ(VNStart(id_), VNRES_SUCCEED);
    }
    ~LivePictures() {
        VNStop(id_);
        VNRelease(id_);
    }
    LivePictures(const LivePictures&) = delete;
    LivePictures& operator=(const LivePictures&) = delete;

    std::uint32_t next() {
        int length = 0;
        EXPECT_EQ(VNRead(id_, picture_.data(), static_cast<int>(picture_.size()), 1, &length), VNRES_SUCCEED);
        const auto number = readPictureNumber(
            {reinterpret_cast<const std::uint8_t*>(picture_.data()), kWidth, kWidth, kHeight});
        EXPECT_TRUE(number);
        return number.value_or(0);
    }

  private:
    int id_ = 0;
    std::vector<char> picture_;
};

class DiskTest : public PublicRecording {
  protected:
    ~DiskTest() override {
        // Before disk_, which the recording's files use, is destroyed.
        disk_.stall(false);
        end();
    }

    /** Expects a recording to resume by itself after a failure, and to make a file that plays. */
    void expectToRecordAgain() {
        const std::size_t begun = messages("recordStart").size();
        const std::size_t ended = messages("recordStop").size();
        ASSERT_TRUE(waitForMessage("recordStart", begun));
        ASSERT_TRUE(waitForMessage("recordStop", ended));
        ASSERT_FALSE(finished().empty());
        numbersOf(finished().back());
    }

    /** Ends the recording and expects its files to lack exactly the pictures reported as lost. */
    void expectExactLosses() {
        ASSERT_TRUE(stop());
        std::vector<std::uint32_t> all;
        for (const fs::path& path : finished()) {
            for (const std::uint32_t number : numbersOf(path)) all.push_back(number);
        }
        std::sort(all.begin(), all.end());
        ASSERT_FALSE(all.empty());
        EXPECT_EQ(all.back() - all.front() + 1, all.size() + static_cast<std::size_t>(lostPictures()));
    }

    FaultyLayer disk_;
};

TEST_F(DiskTest, AStalledDiskLosesNoPictures) {
    constexpr int kSecondsOfFile = 2;
    ASSERT_EQ(record(kSecondsOfFile), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    LivePictures live;
    disk_.stall(true);
    ASSERT_TRUE(waitUntil([&] { return disk_.isWaitedFor(); }));
    // A reader delayed by a busy machine misses pictures; one blocked by the disk would get none.
    std::uint32_t last = live.next();
    for (int i = 0; i < 300; ++i) {
        const std::uint32_t next = live.next();
        ASSERT_GT(next, last);
        last = next;
    }
    EXPECT_TRUE(disk_.isWaitedFor());
    disk_.stall(false);
    // A stop ends the recording before any picture not encoded yet.
    const std::size_t filesUntilLast = last / (kSecondsOfFile * kFramesPerSecond) + 1;
    ASSERT_TRUE(waitUntil([&] { return messages("recordStop").size() >= filesUntilLast; }));
    ASSERT_TRUE(stop());
    EXPECT_TRUE(messages("frameLost").empty()) << messages("frameLost").front();
    EXPECT_TRUE(messages("failed").empty());
    std::vector<std::vector<std::uint32_t>> files;
    for (const fs::path& path : finished()) files.push_back(numbersOf(path));
    std::sort(files.begin(), files.end());
    std::uint32_t next = files.front().front();
    for (const auto& numbers : files) {
        for (const std::uint32_t number : numbers) ASSERT_EQ(number, next++);
    }
    EXPECT_GT(next, last);
}

/** Ends the stall of a disk on leaving the test, even after a fatal failure. */
class StallEnd {
  public:
    explicit StallEnd(FaultyLayer& disk) : disk_(disk) {}
    ~StallEnd() { disk_.stall(false); }
    StallEnd(const StallEnd&) = delete;
    StallEnd& operator=(const StallEnd&) = delete;

  private:
    FaultyLayer& disk_;
};

TEST_F(DiskTest, AStopWaitsForAHungDiskAndBlocksNothingElse) {
    ASSERT_EQ(record(60), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    ASSERT_TRUE(waitUntil([&] { return plays(folder() / "rec.mp4.part"); }));
    disk_.stall(true);
    auto stopping = std::async(std::launch::async, [this] { return stop(); });
    const StallEnd stallEnd(disk_);
    ASSERT_TRUE(waitUntil([&] { return disk_.isWaitedFor(); }));
    // Each of these would block for ever if it waited for the stop.
    EXPECT_TRUE(runs());
    EXPECT_EQ(set("no_such_setting=1"), VNRES_SUCCEED) << "the call itself succeeds";
    for (int round = 0; round < 2; ++round) {
        LivePictures live;
        const std::uint32_t first = live.next();
        EXPECT_EQ(live.next(), first + 1);
    }
    for (const int type : {VNRES_H264_SOURCE, VNRES_AAC_SOURCE, VNRES_PCM_SOURCE, VNRES_PHOTOGRAPHY}) {
        int id = 0;
        ASSERT_EQ(VNAcquire(type, &id), VNRES_SUCCEED) << type;
        EXPECT_EQ(VNStart(id), VNRES_SUCCEED) << type;
        EXPECT_EQ(VNStop(id), VNRES_SUCCEED) << type;
        EXPECT_EQ(VNRelease(id), VNRES_SUCCEED) << type;
    }
    EXPECT_EQ(stopping.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_TRUE(disk_.isWaitedFor());
    disk_.stall(false);
    EXPECT_TRUE(stopping.get());
    EXPECT_FALSE(runs());
    ASSERT_EQ(finished().size(), 1U);
    numbersOf(finished().front());
}

TEST_F(DiskTest, AFullDiskIsReportedAndKeepsFinishedFiles) {
    ErrorLines lines;
    ASSERT_EQ(record(1), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStop"));
    const fs::path first = finished().front();
    const std::string before = contentsOf(first);
    disk_.failWrites(ENOSPC);
    ASSERT_TRUE(waitForMessage("failed"));
    EXPECT_THAT(messages("failed").front(), HasSubstr("No space left on device"));
    EXPECT_THAT(messages("failed").front(), HasSubstr("rec"));
    const std::vector<std::string> told = lines.messages();
    EXPECT_EQ(
        std::count_if(told.begin(), told.end(),
                      [](const auto& line) { return line.find("No space left on device") != line.npos; }),
        1);
    EXPECT_EQ(contentsOf(first), before);
    disk_.failWrites(0);
    expectToRecordAgain();
    EXPECT_EQ(contentsOf(first), before);
    expectExactLosses();
}

TEST_F(DiskTest, FilesClosedBeforeTheDiskWasFullAreReported) {
    ASSERT_EQ(record(60), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    ASSERT_TRUE(waitUntil([&] { return plays(folder() / "rec.mp4.part"); }));
    disk_.failWrites(ENOSPC);
    ASSERT_TRUE(waitForMessage("failed"));
    const std::string url = "file://" + (folder() / "rec.mp4").string();
    EXPECT_THAT(messages("failed").front(), HasSubstr("url=" + url + ",kept=" + url + ","));
    ASSERT_FALSE(finished().empty());
    numbersOf(finished().front());
}

TEST_F(DiskTest, AReadOnlyFolderIsReported) {
    disk_.failCreations(EROFS);
    ErrorLines lines;
    ASSERT_EQ(record(1), VNRES_SUCCEED);
    ASSERT_TRUE(waitUntil([&] {
        const auto told = lines.messages();
        return std::any_of(told.begin(), told.end(), [](const auto& line) {
            return line.find("Read-only file system") != line.npos && line.find("rec.mp4") != line.npos;
        });
    }));
    EXPECT_TRUE(messages("recordStart").empty());
    EXPECT_TRUE(finished().empty());
    disk_.failCreations(0);
    expectToRecordAgain();
}

TEST_F(DiskTest, ARemovedFolderIsReported) {
    ASSERT_EQ(record(60), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    fs::remove_all(folder());
    ASSERT_TRUE(waitForMessage("failed"));
    EXPECT_THAT(messages("failed").front(), HasSubstr(folder().string()));
    fs::create_directory(folder());
    ASSERT_TRUE(waitForMessage("recordStart", 1));
    ASSERT_TRUE(stop());
    ASSERT_FALSE(finished().empty());
    numbersOf(finished().front());
}

TEST_F(DiskTest, AMissingFolderIsReported) {
    fs::remove_all(folder());
    ErrorLines lines;
    ASSERT_EQ(record(1), VNRES_SUCCEED);
    ASSERT_TRUE(
        waitUntil([&] { return lines.raw().find("No such file or directory") != std::string::npos; }));
    fs::create_directory(folder());
    // As an application that does not wait.
    ASSERT_TRUE(stop());
    ASSERT_TRUE(start());
    expectToRecordAgain();
}

/** Also if the encoder makes key frames only on request. */
TEST_F(DiskTest, ARecordingResumesWithinTwoSecondsOnceThereIsSpace) {
    ASSERT_EQ(record(1, "rec.mp4", "bitrate=500000,gop=0"), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStop"));
    LivePictures live;
    disk_.failWrites(ENOSPC);
    ASSERT_TRUE(waitForMessage("failed"));
    const std::size_t begun = messages("recordStart").size();
    // A retry has failed meanwhile.
    std::uint32_t last = live.next();
    for (const std::uint32_t until = last + 45; last < until;) last = live.next();
    EXPECT_EQ(messages("recordStart").size(), begun);
    EXPECT_EQ(messages("failed").size(), 1U);
    disk_.failWrites(0);
    expectToRecordAgain();
    EXPECT_LE(numbersOf(finished().back()).front(), last + 60);
    expectExactLosses();
}

}  // namespace
}  // namespace kep::host
