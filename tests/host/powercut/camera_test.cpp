#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "camera_recording.h"
#include "replay.h"
#include "wait_until.h"

namespace kep::host {
namespace {

constexpr int kSecondsOfFile = 2;
constexpr double kSeconds = 3.2;

/** Judges a recording made by the camera, encoder, synchroniser and writer threads. */
void expectToPlay(const Recorded& recorded) {
    DiskJudge judge(recorded, recovered);
    const Replay replay(recorded, judge, draws(3));
    EXPECT_TRUE(replay.faults.empty()) << replay.text();
    std::printf("%zu steps, %zu outcomes, %zu different files, most lost %.2f s\n", recorded.steps.size(),
                replay.disks, judge.filesSeen(), judge.mostLost());
}

TEST(CameraTest, EveryOutcomePlaysWithAMicrophone) {
    CameraRecording camera("test");
    camera.record(kSecondsOfFile);
    camera.waitFor(kSeconds);
    expectToPlay(camera.finish());
}

/** A file whose existence makes the microphone fail. */
class FaultFile {
  public:
    FaultFile() : path_(std::filesystem::temp_directory_path() / ("away" + std::to_string(getpid()))) {}
    ~FaultFile() { std::filesystem::remove(path_); }
    FaultFile(const FaultFile&) = delete;
    FaultFile& operator=(const FaultFile&) = delete;

    void begin() const { std::ofstream(path_) << "away"; }
    void end() const { std::filesystem::remove(path_); }
    const std::string& path() const { return path_; }

  private:
    const std::string path_;
};

/** Records with a microphone that has the fault from the beginning. */
void expectToPlayWith(const std::string& fault) {
    const FaultFile faultFile;
    faultFile.begin();
    CameraRecording camera("test:" + fault + "=" + faultFile.path());
    camera.record(kSecondsOfFile);
    camera.waitFor(kSeconds);
    expectToPlay(camera.finish());
}

TEST(CameraTest, EveryOutcomePlaysWithoutAMicrophone) {
    expectToPlayWith("lost");
}

TEST(CameraTest, EveryOutcomePlaysWithAMicrophoneThatStallsFromTheBeginning) {
    expectToPlayWith("stalled");
}

TEST(CameraTest, EveryOutcomePlaysWithAMicrophoneThatComesAndGoes) {
    const FaultFile faultFile;
    CameraRecording camera("test:stalled=" + faultFile.path());
    camera.record(kSecondsOfFile);
    camera.waitFor(1);
    faultFile.begin();
    camera.waitFor(kSeconds - 1);
    faultFile.end();
    camera.waitFor(1);
    expectToPlay(camera.finish());
}

TEST(CameraTest, EveryOutcomePlaysOnASlowDisk) {
    CameraRecording camera("test");
    camera.disk().setSyncTime(std::chrono::milliseconds(50));
    camera.record(kSecondsOfFile);
    camera.waitFor(kSeconds);
    expectToPlay(camera.finish());
}

TEST(CameraTest, EveryOutcomePlaysOnADiskThatWasFull) {
    CameraRecording camera("test");
    camera.allowLoss();
    camera.disk().setSpace(600'000);
    camera.record(kSecondsOfFile);
    ASSERT_TRUE(waitUntil([&] { return camera.disk().isFull(); }));
    camera.waitFor(0.2);
    camera.disk().setSpace(UINT64_MAX);
    camera.waitFor(kSeconds);
    const Recorded recorded = camera.finish();
    EXPECT_GE(recorded.begins.size(), 3U);
    expectToPlay(recorded);
}

TEST(CameraTest, ClipsAndPicturesAreCompleteUnderTheirNames) {
    CameraRecording camera("test");
    camera.trigger("file:///sd/one.mp4", 0, 2);
    camera.takePicture("/sd/picture.jpg");
    camera.trigger("file:///sd/two.mp4", 1, 1);
    camera.takePicture("/sd/picture.jpg");
    camera.waitForFile("/sd/one.mp4");
    camera.waitForFile("/sd/two.mp4");
    camera.takePicture("/sd/picture.jpg");
    const Recorded recorded = camera.finish();
    EXPECT_EQ(recorded.told.size(), 5U);
    expectToPlay(recorded);
}

}  // namespace
}  // namespace kep::host
