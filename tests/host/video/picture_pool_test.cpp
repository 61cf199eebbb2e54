#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <set>
#include <thread>
#include <vector>

#include "picture/picture.h"

#if defined(VORNISA_ADDRESS_SANITIZER) || defined(VORNISA_THREAD_SANITIZER)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace {

using kep::host::FramePtr;
using kep::host::PicturePool;

std::set<const std::uint8_t*> places(const std::vector<FramePtr>& pictures) {
    std::set<const std::uint8_t*> found;
    for (const FramePtr& picture : pictures) found.insert(picture->data[0]);
    return found;
}

std::vector<FramePtr> take(PicturePool& pool, std::size_t count, int width = 640, int height = 360) {
    std::vector<FramePtr> pictures;
    while (pictures.size() < count) pictures.push_back(pool.get(width, height));
    return pictures;
}

TEST(PicturePoolTest, PicturesAreReused) {
    PicturePool pool;
    const auto first = places(take(pool, PicturePool::kMostIdle));
    EXPECT_EQ(first.size(), PicturePool::kMostIdle);
    EXPECT_EQ(places(take(pool, PicturePool::kMostIdle)), first);
}

/** Memory allocated by the process, on the heap or by mmap. */
std::size_t allocatedBytes() {
#if defined(VORNISA_ADDRESS_SANITIZER) || defined(VORNISA_THREAD_SANITIZER)
    return __sanitizer_get_current_allocated_bytes();
#else
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
#endif
}

TEST(PicturePoolTest, MemoryOfABurstIsReturnedToTheSystem) {
    constexpr std::size_t kPicture = 1920 * 1080 * 3 / 2;
    constexpr std::size_t kMetadata = 64 * 1024;  // the frames' metadata
    PicturePool pool;
    const std::size_t before = allocatedBytes();
    {
        const auto burst = take(pool, 30, 1920, 1080);
        EXPECT_GE(allocatedBytes() - before, 30 * kPicture);
    }
    EXPECT_LT(allocatedBytes() - before, PicturePool::kMostIdle * kPicture + kMetadata);
}

TEST(PicturePoolTest, APictureOutlivesThePoolAndAnotherSize) {
    FramePtr kept;
    {
        PicturePool pool;
        kept = pool.get(640, 360);
        EXPECT_EQ(pool.get(320, 180)->linesize[0], 320);
        EXPECT_EQ(pool.get(640, 360)->linesize[0], 640);
    }
    kept->data[0][0] = 1;
    kept->data[2][320 * 180 - 1] = 2;
    EXPECT_TRUE(kep::host::isOneBlock(*kept));
}

TEST(PicturePoolTest, PicturesMayBeReturnedOnOtherThreads) {
    PicturePool pool;
    for (int i = 0; i < 20; ++i) {
        auto pictures = take(pool, 2 * PicturePool::kMostIdle, 64, 32);
        ASSERT_EQ(places(pictures).size(), pictures.size());
        auto half = pictures.begin() + static_cast<std::ptrdiff_t>(pictures.size() / 2);
        std::vector<FramePtr> others(std::make_move_iterator(half), std::make_move_iterator(pictures.end()));
        pictures.erase(half, pictures.end());
        std::thread away([&] { others.clear(); });
        pictures.clear();
        away.join();
    }
}

}  // namespace
