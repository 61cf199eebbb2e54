/** Heap allocations of the calls. Counting allocation functions replace the program's. */
#include <atomic>
#include <cstdlib>
#include <new>

#include "fixture.h"
#include "quiet_stream.h"
#include "vornisa_handle.h"

namespace {

std::atomic<std::size_t> allocations{0};
std::atomic<bool> refusing{false};
/** Refuses only allocations that may fail: the growth of the handle table. */
std::atomic<bool> refusingGrowth{false};
std::atomic<int> growths{0};
/** Called once, during the next growth of the handle table. */
std::atomic<void (*)()> duringGrowth{nullptr};

void* counted(std::size_t size) noexcept {
    ++allocations;
    return refusing ? nullptr : std::malloc(size ? size : 1);
}

void* countedOrThrown(std::size_t size) {
    if (void* const memory = counted(size)) return memory;
    throw std::bad_alloc();
}

std::size_t countAllocations() {
    return allocations;
}

}  // namespace

void* operator new(std::size_t size) {
    return countedOrThrown(size);
}
void* operator new[](std::size_t size) {
    return countedOrThrown(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return counted(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (refusingGrowth) return nullptr;
    ++growths;
    void* const memory = counted(size);
    if (auto* const meanwhile = duringGrowth.exchange(nullptr)) meanwhile();
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace unit {
namespace {

constexpr int kFrameBytes = 16384;

class AllocationTest : public PluginTest {
  protected:
    AllocationTest() : stream(new QuietStream(kFrameBytes)), id(handleOf(stream)) {
        keepLines(false);
        stream->countAllocations = countAllocations;
    }

    /** Allocations of the library in a call: all but those of the framework's pull. */
    template <class Call>
    std::size_t allocationsOf(Call call) {
        stream->pullAllocations = 0;
        const std::size_t before = allocations;
        EXPECT_EQ(call(), VNRES_SUCCEED);
        return allocations - before - stream->pullAllocations;
    }

    QuietStream* stream;
    int id;
    char buffer[4 * kFrameBytes];
};

TEST_F(AllocationTest, ReadAllocatesNothing) {
    int length = 0;
    EXPECT_EQ(allocationsOf([&] { return VNRead(id, buffer, sizeof buffer, 4, &length); }), 0u);
    EXPECT_EQ(length, 4 * kFrameBytes);
    EXPECT_EQ(stream->pullAllocations, 4u);
}

TEST_F(AllocationTest, ReadPcmAllocatesNothingOnceItHasItsStore) {
    int length = 0;
    ASSERT_EQ(VNReadPcm(id, buffer, 1, &length), VNRES_SUCCEED);
    for (int block = 0; block < 1000; ++block)
        ASSERT_EQ(allocationsOf([&] { return VNReadPcm(id, buffer, 1 + 37 * block, &length); }), 0u) << block;
}

TEST_F(AllocationTest, FeedAllocatesTheFrameOnly) {
    EXPECT_EQ(allocationsOf([&] { return VNFeed(id, buffer, kFrameBytes); }), 1u);
}

TEST_F(AllocationTest, ASettingAllocatesNothing) {
    EXPECT_EQ(allocationsOf([&] { return VNSetBps(id, 2000000); }), 0u);
}

TEST_F(AllocationTest, WithoutMemoryForTheFrameFeedFailsAndTheNextCallWorks) {
    refusing = true;
    const int result = VNFeed(id, buffer, 1);
    refusing = false;
    EXPECT_EQ(result, VNRES_FAIL);
    EXPECT_EQ(VNFeed(id, buffer, 1), VNRES_SUCCEED);
}

TEST_F(AllocationTest, WithoutMemoryForTheTextAnEventIsNotTriggeredAndTheNextIs) {
    const std::string url = "file:///" + std::string(1000, 'a') + ".mp4";
    const int service = handleOf(new PlainObject);
    refusing = true;
    const int result = VNRecordEventServiceTrigger(service, url.c_str(), 1, 2);
    refusing = false;
    EXPECT_EQ(result, VNRES_FAIL);
    EXPECT_EQ(happened(), Events{});
    EXPECT_EQ(VNRecordEventServiceTrigger(service, url.c_str(), 1, 2), VNRES_SUCCEED);
    const Events events = happened();
    const std::string sent = "IAttributes::fromString('trigger={pre=1s,post=2s,tp=";
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].substr(0, sent.size()), sent);
    const std::string tail = "ms,url=" + url + "}')";
    ASSERT_GT(events[0].size(), tail.size());
    EXPECT_EQ(events[0].substr(events[0].size() - tail.size()), tail);
}

#if UINTPTR_MAX > UINT_MAX

TEST_F(AllocationTest, HandlesReuseTheSlotsOfEndedOnes) {
    PlainObject object;
    const std::size_t before = allocations;
    for (int i = 0; i < 100000; ++i) {
        const int handle = vornisa::newHandle(&object);
        ASSERT_EQ(vornisa::endHandle(handle), &object);
    }
    EXPECT_EQ(allocations, before);
}

TEST_F(AllocationTest, WithoutMemoryForAHandleTheObjectIsDestroyed) {
    keepLines(true);
    PlainObject object;
    std::vector<int> handles;
    refusingGrowth = true;
    while (handles.size() < 10000) {
        const int handle = vornisa::newHandle(&object);
        if (handle == 0) break;
        handles.push_back(handle);
    }
    script.offer(new Stream<>);
    int other = 17;
    EXPECT_EQ(VNAcquire(VNRES_SHARED_MEMORY, &other), VNRES_FAIL);
    refusingGrowth = false;
    EXPECT_EQ(other, 17);
    EXPECT_EQ(happened(), (Events{trace("VNAcquire", "(int)type=75"),
                                  "kepCreate(type=VornisaSharedMemory,name=shm,free=false)",
                                  error("VNAcquire", "!handle"), "delete stream"}));
    for (const int given : handles) EXPECT_EQ(vornisa::endHandle(given), &object);
}

PlainObject* growing;
std::vector<int>* grownMeanwhile;

TEST_F(AllocationTest, AThreadThatGrowsTheTableTooLateUsesTheOthersSlots) {
    PlainObject own;
    PlainObject others;
    std::vector<int> handles;
    std::vector<int> meanwhile;
    handles.reserve(1 << 16);
    meanwhile.reserve(1 << 16);
    growing = &others;
    grownMeanwhile = &meanwhile;
    const int before = growths;
    duringGrowth = [] {
        const int begun = growths;
        while (growths == begun) grownMeanwhile->push_back(vornisa::newHandle(growing));
    };
    while (growths == before) handles.push_back(vornisa::newHandle(&own));
    EXPECT_EQ(growths, before + 2);
    for (const int handle : handles) ASSERT_EQ(vornisa::objectOf(handle), &own);
    for (const int handle : meanwhile) ASSERT_EQ(vornisa::objectOf(handle), &others);
    for (const int handle : handles) ASSERT_EQ(vornisa::endHandle(handle), &own);
    for (const int handle : meanwhile) ASSERT_EQ(vornisa::endHandle(handle), &others);
}

// Must be the last test: the table never shrinks.
TEST_F(AllocationTest, AFullTableGivesNoHandleUntilOneEnds) {
    PlainObject object;
    std::vector<int> handles;
    while (const int handle = vornisa::newHandle(&object)) handles.push_back(handle);
    EXPECT_GT(handles.size(), 60000u);
    std::size_t found = 0;
    for (const int handle : handles) found += vornisa::objectOf(handle) == &object;
    EXPECT_EQ(found, handles.size());
    for (const int handle : handles) ASSERT_EQ(vornisa::endHandle(handle), &object);
    const int next = vornisa::newHandle(&object);
    EXPECT_GT(next, 0);
    EXPECT_EQ(vornisa::endHandle(next), &object);
}

#endif

}  // namespace
}  // namespace unit
