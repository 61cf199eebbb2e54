#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

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

/** The numbers of a file's pictures; fails the test when it does not play. */
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

/** Whether there is something in a file that is still open. */
bool plays(const fs::path& path) {
    return fs::exists(path) && !RecordedFile(path.string()).video().packets.empty();
}

/** Pictures of the camera as an application reads them. */
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
        // Before the disk that its files are on is gone.
        disk_.stall(false);
        end();
    }

    /** Stops a recording that had trouble and has it go on; true when it makes a file that plays. */
    void expectToRecordAgain() {
        const std::size_t begun = messages("recordStart").size();
        const std::size_t ended = messages("recordStop").size();
        ASSERT_TRUE(stop());
        ASSERT_TRUE(start());
        ASSERT_TRUE(waitForMessage("recordStart", begun));
        ASSERT_TRUE(waitForMessage("recordStop", ended));
        ASSERT_FALSE(finished().empty());
        numbersOf(finished().back());
    }

    FaultyLayer disk_;
};

TEST_F(DiskTest, AStalledDiskCostsALiveStreamNothingAndTheRecordingNeither) {
    ASSERT_EQ(record(2), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    LivePictures live;
    disk_.stall(true);
    ASSERT_TRUE(waitUntil([&] { return disk_.isWaitedFor(); }));
    const std::uint32_t first = live.next();
    for (std::uint32_t i = 1; i <= 300; ++i) ASSERT_EQ(live.next(), first + i);
    EXPECT_TRUE(disk_.isWaitedFor());
    disk_.stall(false);
    ASSERT_TRUE(waitUntil([&] { return messages("recordStop").size() >= 3; }));
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
    EXPECT_GT(next, first + 300);
}

TEST_F(DiskTest, AFullDiskIsToldOfAndLeavesWhatWasFinished) {
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
}

TEST_F(DiskTest, WhatWasClosedBeforeTheDiskWasFullIsToldOf) {
    ASSERT_EQ(record(60), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    ASSERT_TRUE(waitUntil([&] { return plays(folder() / "rec.mp4.part"); }));
    disk_.failWrites(ENOSPC);
    ASSERT_TRUE(waitForMessage("failed"));
    ASSERT_TRUE(waitForMessage("recordStop"));
    EXPECT_THAT(messages("recordStop").front(), HasSubstr("rec.mp4"));
    ASSERT_FALSE(finished().empty());
    numbersOf(finished().front());
}

TEST_F(DiskTest, AReadOnlyFolderIsToldOf) {
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

TEST_F(DiskTest, AFolderThatIsRemovedIsToldOf) {
    ASSERT_EQ(record(60), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStart"));
    fs::remove_all(folder());
    ASSERT_TRUE(waitForMessage("failed"));
    EXPECT_THAT(messages("failed").front(), HasSubstr(folder().string()));
    fs::create_directory(folder());
    const std::size_t begun = messages("recordStart").size();
    ASSERT_TRUE(stop());
    ASSERT_TRUE(start());
    ASSERT_TRUE(waitForMessage("recordStart", begun));
    ASSERT_TRUE(waitUntil([&] { return plays(folder() / "rec.mp4.part"); }));
    ASSERT_TRUE(stop());
    ASSERT_FALSE(finished().empty());
    numbersOf(finished().front());
}

TEST_F(DiskTest, AFolderThatIsNotThereIsToldOf) {
    fs::remove_all(folder());
    ErrorLines lines;
    ASSERT_EQ(record(1), VNRES_SUCCEED);
    ASSERT_TRUE(
        waitUntil([&] { return lines.raw().find("No such file or directory") != std::string::npos; }));
    fs::create_directory(folder());
    expectToRecordAgain();
}

TEST_F(DiskTest, ARecordingGoesOnByItselfWhenThereIsSpaceAgain) {
    ASSERT_EQ(record(1), VNRES_SUCCEED);
    ASSERT_TRUE(waitForMessage("recordStop"));
    disk_.failWrites(ENOSPC);
    ASSERT_TRUE(waitForMessage("failed"));
    const std::size_t ended = messages("recordStop").size();
    disk_.failWrites(0);
    ASSERT_TRUE(waitForMessage("recordStop", ended));
    EXPECT_FALSE(messages("frameLost").empty());
}

}  // namespace
}  // namespace kep::host
