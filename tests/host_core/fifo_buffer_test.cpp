#include "kep/fifo_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

using kep::base::FifoBuffer;

std::string popped(FifoBuffer& fifo, int size) {
    std::string bytes(static_cast<std::size_t>(size), '\0');
    const int taken = fifo.Pop(bytes.data(), size, true);
    bytes.resize(static_cast<std::size_t>(taken));
    return bytes;
}

TEST(FifoBuffer, StartsEmptyWithItsCapacity) {
    const FifoBuffer fifo("test", 131072, nullptr, nullptr);
    EXPECT_EQ(fifo.Max(), 131072);
    EXPECT_EQ(fifo.Size(), 0);
}

TEST(FifoBuffer, PopsInTheOrderOfPushes) {
    FifoBuffer fifo("test", 8, nullptr, nullptr);
    EXPECT_TRUE(fifo.Push("abc", 3, true));
    EXPECT_TRUE(fifo.Push("de", 2, false));
    EXPECT_EQ(fifo.Size(), 5);
    EXPECT_EQ(popped(fifo, 4), "abcd");
    EXPECT_EQ(fifo.Size(), 1);
    EXPECT_EQ(popped(fifo, 4), "e");
    EXPECT_EQ(popped(fifo, 4), "");
}

TEST(FifoBuffer, PushesAWholeBlockOrNothing) {
    FifoBuffer fifo("test", 4, nullptr, nullptr);
    EXPECT_TRUE(fifo.Push("abc", 3, true));
    EXPECT_FALSE(fifo.Push("de", 2, true));
    EXPECT_EQ(fifo.Size(), 3);
    EXPECT_TRUE(fifo.Push("d", 1, true));
    EXPECT_FALSE(fifo.Push("e", 1, true));
    EXPECT_EQ(popped(fifo, 4), "abcd");
    EXPECT_FALSE(fifo.Push("abcde", 5, true));
}

TEST(FifoBuffer, ABlockWrapsAround) {
    FifoBuffer fifo("test", 4, nullptr, nullptr);
    ASSERT_TRUE(fifo.Push("abc", 3, true));
    ASSERT_EQ(popped(fifo, 2), "ab");
    EXPECT_TRUE(fifo.Push("def", 3, true));
    EXPECT_EQ(fifo.Size(), 4);
    EXPECT_EQ(popped(fifo, 4), "cdef");
}

TEST(FifoBuffer, NegativeAndEmptyBlocksChangeNothing) {
    FifoBuffer fifo("test", 4, nullptr, nullptr);
    ASSERT_TRUE(fifo.Push("ab", 2, true));
    EXPECT_FALSE(fifo.Push("c", -1, true));
    EXPECT_TRUE(fifo.Push(nullptr, 0, true));
    EXPECT_EQ(fifo.Pop(nullptr, 0, true), 0);
    EXPECT_EQ(fifo.Pop(nullptr, -1, true), 0);
    EXPECT_EQ(popped(fifo, 4), "ab");
}

TEST(FifoBuffer, AcceptsNothingWithoutCapacity) {
    for (const int capacity : {0, -1}) {
        FifoBuffer fifo("test", capacity, nullptr, nullptr);
        char byte = 0;
        EXPECT_EQ(fifo.Max(), 0);
        EXPECT_TRUE(fifo.Push(&byte, 0, true));
        EXPECT_FALSE(fifo.Push(&byte, 1, true));
        EXPECT_EQ(fifo.Pop(&byte, 1, true), 0);
    }
}

void copyPlusOne(void* target, const void* source, int size) {
    for (int i = 0; i < size; ++i)
        static_cast<char*>(target)[i] = static_cast<char>(static_cast<const char*>(source)[i] + 1);
}

TEST(FifoBuffer, CopiesWithTheGivenFunctions) {
    FifoBuffer in("in", 4, copyPlusOne, nullptr);
    FifoBuffer out("out", 4, nullptr, copyPlusOne);
    for (FifoBuffer* fifo : {&in, &out}) {
        ASSERT_TRUE(fifo->Push("abc", 3, true));
        ASSERT_EQ(popped(*fifo, 2), "bc");
        ASSERT_TRUE(fifo->Push("def", 3, true));
        EXPECT_EQ(popped(*fifo, 4), "defg");
    }
}

TEST(FifoBuffer, IsDestroyedThroughItsRoot) {
    kep::object_base* object = new FifoBuffer("test", 16, nullptr, nullptr);
    EXPECT_NE(dynamic_cast<FifoBuffer*>(object), nullptr);
    delete object;
}

TEST(FifoBuffer, BehavesLikeAModelQueue) {
    std::mt19937 random(20231);
    for (const int capacity : {1, 2, 7, 64, 1000}) {
        FifoBuffer fifo("test", capacity, nullptr, nullptr);
        std::deque<unsigned char> model;
        std::uniform_int_distribution<int> size(0, capacity + 1);
        std::vector<unsigned char> block(static_cast<std::size_t>(capacity) + 1);
        unsigned char next = 0;
        for (int step = 0; step < 4000; ++step) {
            const int wanted = size(random);
            if (random() % 2) {
                std::iota(block.begin(), block.end(), next);
                const bool fits = static_cast<int>(model.size()) + wanted <= capacity;
                ASSERT_EQ(fifo.Push(block.data(), wanted, true), fits) << "step " << step;
                if (fits) {
                    model.insert(model.end(), block.begin(), block.begin() + wanted);
                    next = static_cast<unsigned char>(next + wanted);
                }
            } else {
                const int expected = std::min(wanted, static_cast<int>(model.size()));
                ASSERT_EQ(fifo.Pop(block.data(), wanted, true), expected) << "step " << step;
                ASSERT_TRUE(std::equal(block.begin(), block.begin() + expected, model.begin()))
                    << "step " << step;
                model.erase(model.begin(), model.begin() + expected);
            }
            ASSERT_EQ(fifo.Size(), static_cast<int>(model.size())) << "step " << step;
        }
    }
}

}  // namespace
