#include "media/common/relay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <thread>
#include <vector>

#include "pipeline_fixture.h"

namespace kep::host {
namespace {

/** More than any of these works takes, and less. */
constexpr std::chrono::seconds kTime(100);
constexpr std::chrono::nanoseconds kNoTime(0);

/** A relay of numbers with the thread that serves it, and who worked on which. */
class RelayTest : public testing::Test {
  protected:
    RelayTest() { relay_.queue().open(); }
    ~RelayTest() override { end(); }

    void serve() {
        own_ = std::thread([this] {
            relay_.serve([this](int number) { work(number); }, [this] { return prompt_.load(); });
            leftAtWork_ = atWork_.load();
        });
    }
    void end() {
        hold_ = false;
        relay_.queue().finish();
        if (own_.joinable()) own_.join();
    }
    void bring(int number, std::chrono::nanoseconds time) { relay_.bring(number, true, 1, time); }
    bool waitForWork(std::size_t count) {
        return waitUntil([&] { return worked_ >= count; });
    }
    /** Has items worked on until it is known how long that takes, and the relay's thread is at rest. */
    bool learn() {
        std::size_t brought = 0;
        const bool helped = waitUntil([&] {
            bring(-1, kTime);
            return waitForWork(++brought) && workers_.back() == std::this_thread::get_id();
        });
        numbers_.clear();
        workers_.clear();
        worked_ = 0;
        return helped;
    }

    Relay<int> relay_{{1000, 1000}};
    std::atomic<bool> prompt_{true};
    std::atomic<bool> hold_{false}; /**< keeps whoever works at work */
    std::atomic<bool> atWork_{false};
    std::atomic<bool> overlapped_{false};
    std::atomic<bool> leftAtWork_{false}; /**< the service was over while somebody worked */
    std::atomic<std::size_t> worked_{0};
    // To be read when worked_ says so.
    std::vector<int> numbers_;
    std::vector<std::thread::id> workers_;
    std::thread own_;

  private:
    void work(int number) {
        if (atWork_.exchange(true)) overlapped_ = true;
        while (hold_) std::this_thread::yield();
        numbers_.push_back(number);
        workers_.push_back(std::this_thread::get_id());
        atWork_ = false;
        ++worked_;
    }
};

TEST_F(RelayTest, ItsThreadWorksWhileNothingIsKnownOfTheWork) {
    serve();
    bring(1, kTime);
    ASSERT_TRUE(waitForWork(1));
    EXPECT_EQ(workers_[0], own_.get_id());
}

TEST_F(RelayTest, WhoeverBringsAnItemWorksHimselfWhereHeHasTheTime) {
    serve();
    ASSERT_TRUE(learn());
    bring(1, kTime);
    ASSERT_EQ(worked_, 1U);
    EXPECT_EQ(workers_[0], std::this_thread::get_id());
    bring(2, kNoTime);
    ASSERT_TRUE(waitForWork(2));
    EXPECT_EQ(workers_[1], own_.get_id());
}

TEST_F(RelayTest, WhoeverBringsAnItemDoesNotWorkWhereHeWouldHaveToWait) {
    serve();
    ASSERT_TRUE(learn());
    prompt_ = false;
    bring(1, kTime);
    ASSERT_TRUE(waitForWork(1));
    EXPECT_EQ(workers_[0], own_.get_id());
}

TEST_F(RelayTest, WhoeverBringsAnItemDoesNotWaitForTheOneAtWork) {
    serve();
    ASSERT_TRUE(learn());
    hold_ = true;
    bring(1, kNoTime);
    ASSERT_TRUE(waitUntil([&] { return atWork_.load(); }));
    bring(2, kTime);
    EXPECT_EQ(worked_, 0U);
    hold_ = false;
    ASSERT_TRUE(waitForWork(2));
    EXPECT_EQ(numbers_, (std::vector<int>{1, 2}));
}

TEST_F(RelayTest, EachItemIsWorkedOnOnceAndInOrderWhoeverDoesIt) {
    constexpr int kCount = 20'000;
    relay_.queue().open({kCount, kCount});
    serve();
    ASSERT_TRUE(learn());
    for (int i = 0; i < kCount; ++i) bring(i, i / 100 % 2 ? kTime : kNoTime);
    ASSERT_TRUE(waitForWork(kCount));
    EXPECT_FALSE(overlapped_);
    std::vector<int> all(kCount);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(numbers_, all);
    EXPECT_NE(std::count(workers_.begin(), workers_.end(), own_.get_id()), 0);
}

TEST_F(RelayTest, ItsServiceEndsAfterAllWork) {
    serve();
    ASSERT_TRUE(learn());
    hold_ = true;
    std::thread other([this] { bring(1, kTime); });
    EXPECT_TRUE(waitUntil([&] { return atWork_.load(); }));
    relay_.queue().finish();
    // Long enough for a service that does not wait to be over.
    std::this_thread::sleep_for(milliseconds(20));
    hold_ = false;
    end();
    other.join();
    EXPECT_FALSE(leftAtWork_);
    EXPECT_EQ(worked_, 1U);
}

TEST_F(RelayTest, WithoutItsServiceNobodyWorks) {
    serve();
    ASSERT_TRUE(learn());
    end();
    relay_.queue().open();
    bring(1, kTime);
    EXPECT_EQ(worked_, 0U);
    serve();
    EXPECT_TRUE(waitForWork(1));
}

}  // namespace
}  // namespace kep::host
