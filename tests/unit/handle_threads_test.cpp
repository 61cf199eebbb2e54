/** The handle table under many threads; run with the thread sanitizer as well. */
#include <atomic>
#include <thread>

#include "fixture.h"
#include "vornisa_handle.h"

namespace unit {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 4000;

template <class Work>
void runInThreads(Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
}

using HandleThreadsTest = PluginTest;

TEST_F(HandleThreadsTest, AHandleFindsItsOwnObjectOrNothing) {
    std::vector<PlainObject> objects(kThreads);
    std::atomic<int> published[kThreads] = {};
    std::atomic<int> wrong{0};
    runInThreads([&](int own) {
        for (int i = 0; i < kRounds; ++i) {
            const int handle = vornisa::newHandle(&objects[own]);
            wrong += vornisa::objectOf(handle) != &objects[own];
            published[own] = handle;
            for (int other = 0; other < kThreads; ++other) {
                kep::object_base* const found = vornisa::objectOf(published[other]);
                wrong += found && found != &objects[other];
            }
            wrong += vornisa::endHandle(handle) != &objects[own];
            wrong += vornisa::objectOf(handle) != nullptr;
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST_F(HandleThreadsTest, TheTableGrowsUnderReaders) {
    PlainObject object;
    const int old = vornisa::newHandle(&object);
    std::atomic<int> wrong{0};
    std::atomic<int> filling{kThreads - 1};
    runInThreads([&](int own) {
        if (own == 0) {
            do wrong += vornisa::objectOf(old) != &object;
            while (filling);
            return;
        }
        std::vector<int> handles;
        for (int i = 0; i < kRounds; ++i) handles.push_back(vornisa::newHandle(&object));
        for (const int handle : handles) wrong += vornisa::objectOf(handle) != &object;
        for (const int handle : handles) wrong += vornisa::endHandle(handle) != &object;
        --filling;
    });
    EXPECT_EQ(vornisa::endHandle(old), &object);
    EXPECT_EQ(wrong, 0);
}

TEST_F(HandleThreadsTest, OneOfTheThreadsThatEndAHandleGetsTheObject) {
    PlainObject object;
    std::vector<int> handles;
    for (int i = 0; i < kRounds; ++i) handles.push_back(vornisa::newHandle(&object));
    std::vector<std::atomic<int>> got(handles.size());
    std::atomic<int> arrived{0};
    runInThreads([&](int) {
        for (std::size_t i = 0; i < handles.size(); ++i) {
            // All threads at once, so that they contend.
            ++arrived;
            while (arrived < static_cast<int>(i + 1) * kThreads) std::this_thread::yield();
            got[i] += vornisa::endHandle(handles[i]) == &object;
        }
    });
    for (const std::atomic<int>& times : got) ASSERT_EQ(times, 1);
}

TEST_F(HandleThreadsTest, StreamsAreAcquiredUsedAndReleasedOnManyThreads) {
    keepLines(false);
    std::atomic<int> wrong{0};
    runInThreads([&](int) {
        for (int i = 0; i < kRounds / 10; ++i) {
            int id = 0;
            wrong += VNAcquire(VNRES_H264_SOURCE, &id) != VNRES_SUCCEED;
            wrong += VNSetBps(id, 1000000) != VNRES_SUCCEED;
            wrong += VNStart(id) != VNRES_SUCCEED;
            wrong += VNSwitchResolution(id, 640, 360) != VNRES_SUCCEED;
            wrong += VNStop(id) != VNRES_SUCCEED;
            wrong += VNRelease(id) != VNRES_SUCCEED;
            wrong += VNSetBps(id, 1000000) != VNRES_WRONG_DEVICE;
        }
    });
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace unit
