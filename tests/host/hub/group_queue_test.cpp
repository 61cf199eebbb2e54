#include "media/hub/group_queue.h"

#include <gtest/gtest.h>

#include <thread>

namespace kep::host {
namespace {

using Queue = GroupQueue<int>;

TEST(GroupQueue, DeliversInOrderUntilEmpty) {
    Queue queue({8, 100});
    queue.open();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(queue.push(i, i == 0, 1).dropped.size(), 0U);
    int item = -1;
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(queue.pull(item, true));
        EXPECT_EQ(item, i);
    }
    EXPECT_FALSE(queue.pull(item, false));
    EXPECT_FALSE(queue.waitWithin(std::chrono::milliseconds(1)));
    EXPECT_TRUE(queue.isOpen());
}

TEST(GroupQueue, DropsTheOldestWholeGroupWhenFull) {
    Queue queue({6, 100});
    queue.open();
    for (int i = 0; i < 6; ++i) queue.push(i, i % 3 == 0, 1);
    EXPECT_EQ(queue.push(6, true, 1).dropped.size(), 3U);
    int item = -1;
    ASSERT_TRUE(queue.pull(item, false));
    EXPECT_EQ(item, 3);
}

TEST(GroupQueue, DropsTheRestOfAGroupThatIsBeingRead) {
    Queue queue({4, 100});
    queue.open();
    int item = -1;
    for (int i = 0; i < 4; ++i) queue.push(i, i % 3 == 0, 1);
    ASSERT_TRUE(queue.pull(item, false));
    queue.push(4, false, 1);
    EXPECT_EQ(queue.push(5, false, 1).dropped.size(), 2U);
    ASSERT_TRUE(queue.pull(item, false));
    EXPECT_EQ(item, 3);
}

TEST(GroupQueue, KeepsNoItemWithoutItsKey) {
    Queue queue({3, 100});
    queue.open();
    EXPECT_TRUE(queue.push(0, false, 1).awaitsKey);
    for (int i = 1; i < 4; ++i) EXPECT_FALSE(queue.push(i, i == 1, 1).awaitsKey);
    // The only group fills the queue: it is dropped, and so are the following items up to the next key.
    const Queue::PushResult pushed = queue.push(4, false, 1);
    EXPECT_EQ(pushed.dropped, (std::vector{1, 2, 3, 4}));
    EXPECT_TRUE(pushed.awaitsKey);
    EXPECT_EQ(queue.push(5, false, 1).dropped.size(), 1U);
    EXPECT_EQ(queue.push(6, true, 1).dropped.size(), 0U);
    int item = -1;
    ASSERT_TRUE(queue.pull(item, false));
    EXPECT_EQ(item, 6);
}

TEST(GroupQueue, IsBoundedInBytesToo) {
    Queue queue({100, 10});
    queue.open();
    queue.push(0, true, 6);
    EXPECT_EQ(queue.push(1, true, 6).dropped.size(), 1U);
    // An item larger than the bound is kept alone.
    EXPECT_EQ(queue.push(2, true, 60).dropped.size(), 1U);
    int item = -1;
    ASSERT_TRUE(queue.pull(item, false));
    EXPECT_EQ(item, 2);
}

TEST(GroupQueue, ClosingWakesTheReaderAndDropsQueuedItems) {
    Queue queue({4, 100});
    queue.open();
    std::thread reader([&] {
        int item = -1;
        EXPECT_FALSE(queue.pull(item, true));
    });
    queue.close();
    reader.join();
    EXPECT_FALSE(queue.push(1, true, 1).awaitsKey);
    int item = -1;
    EXPECT_FALSE(queue.pull(item, true));
    queue.open();
    EXPECT_FALSE(queue.pull(item, false));
}

TEST(GroupQueue, FinishingLeavesQueuedItemsToTheReader) {
    Queue queue({4, 100});
    queue.open();
    queue.push(1, true, 1);
    queue.finish();
    int item = -1;
    EXPECT_FALSE(queue.isOpen());
    EXPECT_TRUE(queue.pull(item, true));
    EXPECT_FALSE(queue.pull(item, true));
}

}  // namespace
}  // namespace kep::host
