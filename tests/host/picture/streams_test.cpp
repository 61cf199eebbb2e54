#include <gmock/gmock.h>

#include <thread>

#include "jpeg_file.h"
#include "sanitizers.h"
#include "stream_fixture.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

class BesideStreamsTest : public VideoTest {};

TEST_F(BesideStreamsTest, AHundredPicturesCostALiveStreamNoFrame) {
    const Owned<IH264Source> stream = newH264(640, 360, 30);
    Messages messages(*stream);
    ASSERT_TRUE(stream->ChangeUp(State::play));
    std::atomic<bool> done{false};
    std::atomic<std::size_t> read{0};
    std::vector<Frame> frames;
    std::thread reader([&] {
        Frame frame;
        for (; !done && stream->PullFrame(frame, true); ++read) frames.push_back(std::move(frame));
    });
    int id = 0;
    EXPECT_EQ(VNAcquire(VNRES_PHOTOGRAPHY, &id), VNRES_SUCCEED);
    int taken = 0;
    std::uint32_t last = 0;
    int asked = 0;
    // At least 100 (20 with a sanitizer), and as many as fit into a second of the stream.
    for (; asked < (kSanitized ? 20 : 100) || read < 30; ++asked) {
        if (VNTakePic2(id, path("a.jpg").c_str()) == VNRES_SUCCEED) ++taken;
        const auto number = numberIn(path("a.jpg"));
        EXPECT_TRUE(number && *number >= last) << asked;
        last = number.value_or(last);
    }
    done = true;
    reader.join();
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    ASSERT_TRUE(stream->ChangeDown(State::null));
    EXPECT_EQ(taken, asked);
    // Pictures that a loaded machine cannot encode in time are reported; no others may be missing.
    expectRunningOn(numbersOf(frames), messages);
}

TEST_F(BesideStreamsTest, ConcurrentPicturesOfOneNameStayIntact) {
    std::vector<std::thread> takers;
    std::atomic<int> taken{0};
    for (int taker = 0; taker < 4; ++taker) {
        takers.emplace_back([&, taker] {
            int id = 0;
            if (VNAcquire(VNRES_PHOTOGRAPHY, &id) != VNRES_SUCCEED) return;
            for (int i = 0; i < 10; ++i) {
                if (VNTakePic2(id, path("a.jpg").c_str()) == VNRES_SUCCEED) ++taken;
                if (VNTakePic(path(taker % 2 ? "a.jpg" : "b.jpg").c_str(), 320, 180) == VNRES_SUCCEED)
                    ++taken;
            }
            VNRelease(id);
        });
    }
    int read = 0;
    while (taken < 80 && read < 200) {
        if (!std::filesystem::exists(path("a.jpg"))) continue;
        EXPECT_TRUE(numberIn(path("a.jpg")));
        ++read;
    }
    for (std::thread& taker : takers) taker.join();
    EXPECT_EQ(taken, 80);
    EXPECT_THAT(namesIn(path("")), testing::ElementsAre("a.jpg", "b.jpg"));
}

TEST_F(BesideStreamsTest, OneTakerServesSeveralThreads) {
    int id = 0;
    ASSERT_EQ(VNAcquire(VNRES_PHOTOGRAPHY, &id), VNRES_SUCCEED);
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 10; ++i) {
                const std::string name = std::to_string(thread) + ".jpg";
                if (VNTakePic2(id, path(name).c_str()) == VNRES_SUCCEED) ++taken;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(taken, 40);
    for (int thread = 0; thread < 4; ++thread) EXPECT_TRUE(numberIn(path(std::to_string(thread) + ".jpg")));
    EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
}

}  // namespace
}  // namespace kep::host
