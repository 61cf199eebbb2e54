// What other threads may do with a handle while one is blocked reading it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <vector>

#include "vornisa_api.h"

namespace {

class ReadBeside : public testing::Test {
  protected:
    ReadBeside() {
        setenv("KEP_HOST_VIDEO", "test", 1);
        EXPECT_EQ(VNAcquire(VNRES_H264_SOURCE, &id_), VNRES_SUCCEED);
        VNSetResolution(id_, 320, 180);
        VNSetFramerate(id_, 30);
        EXPECT_EQ(VNStart(id_), VNRES_SUCCEED);
    }
    ~ReadBeside() override { VNRelease(id_); }

    /** Reads on another thread until no frame comes. */
    std::future<int> readAll() const {
        return std::async(std::launch::async, [id = id_] {
            std::vector<char> frames(8 << 20);
            int length = -1;
            const int result = VNRead(id, frames.data(), static_cast<int>(frames.size()), -1, &length);
            EXPECT_EQ(length, -1) << "written only on success";
            return result;
        });
    }

    int id_ = 0;
};

TEST_F(ReadBeside, SettingsAndKeyFrameRequestsSucceed) {
    std::future<int> read = readAll();
    for (int round = 0; round < 50; ++round) {
        int running = 0;
        EXPECT_EQ(VNIsRunning(id_, &running), VNRES_SUCCEED);
        EXPECT_EQ(running, 1);
        EXPECT_EQ(VNGetKeyFrame(id_), VNRES_SUCCEED);
        EXPECT_EQ(VNSetBps(id_, 200'000 + round), VNRES_SUCCEED);
        EXPECT_EQ(VNSetH264Gop(id_, 15 + round), VNRES_SUCCEED);
        EXPECT_EQ(VNSetFramerate(id_, 30), VNRES_SUCCEED);
    }
    EXPECT_EQ(VNStop(id_), VNRES_SUCCEED);
    EXPECT_EQ(read.get(), VNRES_FAIL);
}

TEST_F(ReadBeside, ASwitchEndsIt) {
    std::future<int> read = readAll();
    // The read may begin after a switch and then waits for the next one.
    while (read.wait_for(std::chrono::milliseconds(50)) != std::future_status::ready)
        EXPECT_EQ(VNSwitchResolution(id_, 640, 360), VNRES_SUCCEED);
    EXPECT_EQ(read.get(), VNRES_FAIL);
    std::vector<char> frame(1 << 20);
    int length = 0;
    EXPECT_EQ(VNRead(id_, frame.data(), static_cast<int>(frame.size()), 1, &length), VNRES_SUCCEED);
    EXPECT_GT(length, 0);
}

TEST_F(ReadBeside, AStopEndsAllOfThem) {
    std::future<int> one = readAll();
    std::future<int> other = readAll();
    EXPECT_EQ(VNStop(id_), VNRES_SUCCEED);
    EXPECT_EQ(one.get(), VNRES_FAIL);
    EXPECT_EQ(other.get(), VNRES_FAIL);
}

}  // namespace
