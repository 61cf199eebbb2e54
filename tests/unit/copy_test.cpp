/** How often a call copies a frame. The program's calls of the copying functions end in counting ones. */
#include <cstring>

#include "fixture.h"
#include "quiet_stream.h"

namespace {

struct Copy {
    const void* target;
    const void* source;
    std::size_t size;
};

/** Without allocation, as it is filled from within the copying functions. */
struct Copies {
    Copy list[16];
    int count = 0;
    bool counting = false;

    void add(const void* target, const void* source, std::size_t size) {
        if (counting && count < 16) list[count++] = {target, source, size};
    }
} copies;

}  // namespace

extern "C" {
void* __real_memcpy(void* target, const void* source, std::size_t size);
void* __real_memmove(void* target, const void* source, std::size_t size);

void* __wrap_memcpy(void* target, const void* source, std::size_t size) {
    copies.add(target, source, size);
    return __real_memcpy(target, source, size);
}

void* __wrap_memmove(void* target, const void* source, std::size_t size) {
    copies.add(target, source, size);
    return __real_memmove(target, source, size);
}
}

namespace unit {
namespace {

constexpr int kFrameBytes = 16384;

class CopyTest : public PluginTest {
  protected:
    CopyTest() : stream(new QuietStream(kFrameBytes)), id(handleOf(stream)) {
        copies.count = 0;
        copies.counting = true;
    }
    ~CopyTest() override { copies.counting = false; }

    QuietStream* stream;
    int id;
    char buffer[3 * kFrameBytes];
};

TEST_F(CopyTest, ReadCopiesEachFrameOnceStraightIntoTheBuffer) {
    ASSERT_EQ(VNRead(id, buffer, sizeof buffer, 3, nullptr), VNRES_SUCCEED);
    copies.counting = false;
    ASSERT_EQ(copies.count, 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(copies.list[i].target, buffer + i * kFrameBytes);
        EXPECT_EQ(copies.list[i].source, stream->data());
        EXPECT_EQ(copies.list[i].size, static_cast<std::size_t>(kFrameBytes));
    }
}

TEST_F(CopyTest, FeedCopiesNothing) {
    ASSERT_EQ(VNFeed(id, buffer, kFrameBytes), VNRES_SUCCEED);
    copies.counting = false;
    EXPECT_EQ(copies.count, 0);
    EXPECT_EQ(static_cast<const void*>(stream->pushedData()), buffer);
}

}  // namespace
}  // namespace unit
