#include <atomic>
#include <future>
#include <thread>

#include "media/video/video_hub.h"
#include "stream_fixture.h"

namespace kep::host {
namespace {

constexpr int kRate = 30;
constexpr bool kPrompt = true;
constexpr auto kPeriod = std::chrono::nanoseconds(std::chrono::seconds(1)) / kRate;
/** Half as much again would not be done when the next picture comes, at this rate and at a file's usual one.
 */
constexpr auto kTooLong = kPeriod * 5 / 6;

/** A consumer whose tap is served by a thread of its own, and what came of it. */
class Consumer final : private TapListener {
  public:
    using Work = std::function<bool(std::int64_t number)>;

    Consumer(bool prompt, Work work) : work_(std::move(work)) {
        tap_ = VideoHub::instance().open(kRate, -1, *this);
        if (!tap_) return;
        own_ = std::thread([this, prompt] {
            const std::thread::id own = std::this_thread::get_id();
            tap_->serve([&](const PicturePtr& picture) { return workOn(*picture, own); },
                        [prompt] { return prompt; });
            served_ = true;
        });
    }
    ~Consumer() { close(); }

    bool isOpen() const { return tap_ != nullptr; }
    void close() {
        if (!own_.joinable()) return;
        tap_->close();
        own_.join();
    }

    /** Waits until so many pictures have been worked on. */
    bool waitForWork(std::size_t count) {
        return waitUntil([&] { return numbers_.size() >= count; });
    }
    bool waitForHelp() {
        return waitUntil([&] { return helped_ > 0; });
    }
    bool waitServed() {
        return waitUntil([&] { return served_.load(); });
    }
    // For when the tap is closed.
    const std::vector<std::int64_t>& numbers() const { return numbers_; }
    int helped() const { return helped_; }
    std::size_t lost() const { return lost_; }
    bool overlapped() const { return overlapped_; }

  private:
    bool workOn(const Picture& picture, std::thread::id own) {
        if (working_.exchange(true)) overlapped_ = true;
        const bool goesOn = work_(picture.number);
        working_ = false;
        const std::lock_guard lock(mutex_);
        numbers_.push_back(picture.number);
        helped_ += std::this_thread::get_id() != own;
        changed_.notify_all();
        return goesOn;
    }

    template <class Condition>
    bool waitUntil(Condition met) {
        const auto limit = Clock::now() + patience;
        std::unique_lock lock(mutex_);
        while (!met() && Clock::now() < limit) changed_.wait_for(lock, std::chrono::milliseconds(10));
        return met();
    }

    void picturesLost(std::size_t count) override { lost_ += count; }
    void cameraLost(const std::string&) override {}

    const Work work_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::int64_t> numbers_;
    int helped_ = 0;
    std::atomic<std::size_t> lost_{0};
    std::atomic<bool> working_{false};
    std::atomic<bool> overlapped_{false};
    std::atomic<bool> served_{false};
    std::unique_ptr<VideoTap> tap_;
    std::thread own_;
};

/** With a camera whose pictures cost next to nothing, whatever the build: what it has to spare is time. */
class TapTest : public VideoTest {
  protected:
    TapTest() {
        makeFile("-f lavfi -i color=c=gray:s=64x36 -frames:v 1 still.png");
        choose("file:" + path("still.png").string());
    }
};

TEST_F(TapTest, TheCameraDoesWorkThatIsQuickItself) {
    Consumer consumer(kPrompt, [](std::int64_t) { return true; });
    ASSERT_TRUE(consumer.isOpen());
    EXPECT_TRUE(consumer.waitForHelp());
}

TEST_F(TapTest, EveryPictureIsWorkedOnOnceAndInOrderWhoeverDoesIt) {
    // By turns too long for the camera, which then leaves the next one to the consumer's thread, and quick.
    Consumer consumer(kPrompt, [](std::int64_t number) {
        if (number / 5 % 2) std::this_thread::sleep_for(kTooLong);
        return true;
    });
    ASSERT_TRUE(consumer.isOpen());
    ASSERT_TRUE(consumer.waitForWork(60));
    ASSERT_TRUE(consumer.waitForHelp());
    consumer.close();
    EXPECT_LT(consumer.helped(), static_cast<int>(consumer.numbers().size()));
    EXPECT_FALSE(consumer.overlapped());
    const std::vector<std::int64_t>& numbers = consumer.numbers();
    for (std::size_t i = 1; i < numbers.size(); ++i) EXPECT_GT(numbers[i], numbers[i - 1]);
    const auto span = static_cast<std::size_t>(numbers.back() - numbers.front()) + 1;
    EXPECT_LE(span, numbers.size() + consumer.lost());
}

TEST_F(TapTest, WorkThatTakesLongIsNeverLeftToTheCamera) {
    Consumer consumer(kPrompt, [](std::int64_t) {
        std::this_thread::sleep_for(kTooLong);
        return true;
    });
    ASSERT_TRUE(consumer.isOpen());
    ASSERT_TRUE(consumer.waitForWork(20));
    consumer.close();
    EXPECT_EQ(consumer.helped(), 0);
}

TEST_F(TapTest, WorkThatMayWaitIsNeverLeftToTheCamera) {
    Consumer consumer(!kPrompt, [](std::int64_t) { return true; });
    ASSERT_TRUE(consumer.isOpen());
    ASSERT_TRUE(consumer.waitForWork(20));
    consumer.close();
    EXPECT_EQ(consumer.helped(), 0);
}

TEST_F(TapTest, OneConsumerIsHelpedAndTheOthersWorkBesideIt) {
    Consumer first(kPrompt, [](std::int64_t) { return true; });
    Consumer second(kPrompt, [](std::int64_t) { return true; });
    ASSERT_TRUE(first.isOpen());
    ASSERT_TRUE(second.isOpen());
    EXPECT_TRUE(first.waitForHelp());
    ASSERT_TRUE(second.waitForWork(20));
    ASSERT_TRUE(first.waitForWork(20));
    first.close();
    // What it had to do falls to the next one.
    EXPECT_TRUE(second.waitForHelp());
}

TEST_F(TapTest, ClosingWaitsForTheWorkThatTheCameraIsDoing) {
    std::atomic<bool> asked{false};
    std::atomic<bool> working{false};
    std::atomic<bool> done{false};
    std::promise<void> begun;
    std::thread::id own;
    std::atomic<int> count{0};
    Consumer consumer(kPrompt, [&](std::int64_t) {
        if (count++ == 0) own = std::this_thread::get_id();
        if (std::this_thread::get_id() == own || working.exchange(true)) return true;
        begun.set_value();
        while (!asked) std::this_thread::yield();
        // Long enough for a close that does not wait to be back.
        std::this_thread::sleep_for(kPeriod);
        done = true;
        return true;
    });
    ASSERT_TRUE(consumer.isOpen());
    ASSERT_EQ(begun.get_future().wait_for(patience), std::future_status::ready);
    asked = true;
    consumer.close();
    EXPECT_TRUE(done);
}

TEST_F(TapTest, WorkThatFailsEndsTheServiceOfTheTap) {
    Consumer consumer(kPrompt, [](std::int64_t number) { return number % 10 != 0; });
    ASSERT_TRUE(consumer.isOpen());
    EXPECT_TRUE(consumer.waitServed());
    consumer.close();
    EXPECT_EQ(consumer.numbers().back() % 10, 0);
}

}  // namespace
}  // namespace kep::host
