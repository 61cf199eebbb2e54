/**
 * How often a call copies each frame, and casts its handle's object to the interface. The linker's --wrap
 * redirects memcpy, memmove and dynamic_cast to counting functions.
 */
#include <cstddef>
#include <cstring>

#include "fixture.h"
#include "quiet_stream.h"

namespace {

struct Copy {
    const void* target;
    const void* source;
    std::size_t size;
};

/** Allocates nothing, as it is filled within the copying functions. */
struct Copies {
    Copy list[16];
    int count = 0;
    bool counting = false;

    void add(const void* target, const void* source, std::size_t size) {
        if (counting && count < 16) list[count++] = {target, source, size};
    }
} copies;

int casts = 0;

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

void* __real___dynamic_cast(const void* object, const void* from, const void* to, std::ptrdiff_t hint);
void* __wrap___dynamic_cast(const void* object, const void* from, const void* to, std::ptrdiff_t hint) {
    ++casts;
    return __real___dynamic_cast(object, from, to, hint);
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

#if UINTPTR_MAX > UINT_MAX

TEST_F(CopyTest, ReadsCastToTheOutputOfAHandleOnce) {
    const int other = handleOf(new QuietStream(kFrameBytes));
    int length = 0;
    casts = 0;
    ASSERT_EQ(VNRead(id, buffer, sizeof buffer, 1, nullptr), VNRES_SUCCEED);
    EXPECT_EQ(casts, 1);
    ASSERT_EQ(VNRead(other, buffer, sizeof buffer, 1, nullptr), VNRES_SUCCEED);
    EXPECT_EQ(casts, 2);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(VNRead(id, buffer, sizeof buffer, 1, nullptr), VNRES_SUCCEED);
        ASSERT_EQ(VNReadPcm(id, buffer, kFrameBytes, &length), VNRES_SUCCEED);
        ASSERT_EQ(VNRead(other, buffer, sizeof buffer, 1, nullptr), VNRES_SUCCEED);
    }
    EXPECT_EQ(casts, 2);
}

#endif

}  // namespace
}  // namespace unit
