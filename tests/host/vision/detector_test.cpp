// A slow detector sees the newest picture and delays nothing.
#include "media/pipeline/detector.h"

#include <gtest/gtest.h>

#include <vector>

namespace kep::host {
namespace {

/** Blocks on each picture until goOn(). */
class SlowDetector final : public Detector {
  public:
    ~SlowDetector() override { retire(); }

    void goOn() {
        const MutexLock lock(mutex_);
        ++allowed_;
        changed_.notifyAll();
    }
    /** Waits until it has begun `count` pictures; returns the numbers of all so far. */
    std::vector<std::int64_t> waitFor(std::size_t count) {
        MutexLock lock(mutex_);
        changed_.waitFor(lock, std::chrono::seconds(20),
                         [&]() REQUIRES(mutex_) { return seen_.size() >= count; });
        return seen_;
    }

  protected:
    void look(const MediaPacket& packet) override {
        MutexLock lock(mutex_);
        seen_.push_back(packet.number);
        changed_.notifyAll();
        changed_.wait(lock, [&]() REQUIRES(mutex_) { return allowed_ >= seen_.size(); });
    }

  private:
    Mutex mutex_;
    Condition changed_;
    std::size_t allowed_ GUARDED_BY(mutex_) = 0;
    std::vector<std::int64_t> seen_ GUARDED_BY(mutex_);
};

/** Counts the packets that it receives. */
class Counter final : public Element {
  public:
    void take(const SharedPacket&, const Element&) override { ++count; }
    int count = 0;
};

class DetectorTest : public testing::Test {
  protected:
    DetectorTest() {
        detector_.link(counter_);
        EXPECT_TRUE(counter_.changeUp(State::play));
        EXPECT_TRUE(detector_.changeUp(State::play));
    }

    void give(std::int64_t number, bool hasPicture = true) {
        auto packet = std::make_shared<MediaPacket>(std::make_shared<Media>(), SteadyTime());
        packet->number = number;
        if (hasPicture) packet->picture = std::make_shared<Picture>();
        detector_.take(packet, counter_);
    }

    Counter counter_;
    SlowDetector detector_;
};

using Numbers = std::vector<std::int64_t>;

TEST_F(DetectorTest, SeesTheNewestPictureAndPassesAllOn) {
    give(1);
    EXPECT_EQ(detector_.waitFor(1), Numbers{1});
    for (int number = 2; number <= 100; ++number) give(number);
    EXPECT_EQ(counter_.count, 100) << "delayed by the detector";
    detector_.goOn();
    EXPECT_EQ(detector_.waitFor(2), (Numbers{1, 100}));
    detector_.goOn();
}

TEST_F(DetectorTest, PassesPacketsWithoutPictures) {
    give(1, false);
    give(2);
    EXPECT_EQ(detector_.waitFor(1), Numbers{2});
    EXPECT_EQ(counter_.count, 2);
    detector_.goOn();
}

TEST_F(DetectorTest, DropsPendingPicturesWhenItStops) {
    give(1);
    EXPECT_EQ(detector_.waitFor(1), Numbers{1});
    give(2);
    std::thread stopping([&] { EXPECT_TRUE(detector_.changeDown(State::null)); });
    detector_.goOn();
    // It may have begun the second picture before the stop.
    detector_.goOn();
    stopping.join();
    const std::size_t before = detector_.waitFor(0).size();
    ASSERT_TRUE(detector_.changeUp(State::play));
    give(3);
    EXPECT_EQ(detector_.waitFor(before + 1).back(), 3);
    detector_.goOn();
}

}  // namespace
}  // namespace kep::host
