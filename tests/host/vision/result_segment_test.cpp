// Records of detectors in shared memory.
#include "vision/result_segment.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <latch>
#include <thread>

#include "own_segments.h"

namespace kep::host {
namespace {

struct Record {
    std::uint32_t sequence;
    std::array<std::uint32_t, 1023> values;
};

TEST(ResultSegment, IsReadWholeWhileSeveralDetectorsWriteIt) {
    const OwnSegments segments;
    constexpr std::uint32_t kRecords = 50'000;
    std::latch start(2);
    std::atomic<int> writing{2};
    const auto write = [&] {
        ResultSegment<Record> segment;
        segment.open("vornisa_shm_results");
        Record record{};
        start.arrive_and_wait();
        for (std::uint32_t i = 1; i <= kRecords; ++i) {
            record.values.fill(i);
            segment.publish(record);
        }
        --writing;
    };
    ResultSegment<Record> made;
    made.open("vornisa_shm_results");
    // Reads through a file descriptor like another process, so that no sanitizer sees shared accesses.
    const int file = shm_open(segments.path("vornisa_shm_results").c_str(), O_RDONLY, 0);
    ASSERT_GE(file, 0);
    std::thread first(write), second(write);
    std::uint32_t sequence = 0;
    int read = 0;
    for (bool isLast = false; !isLast;) {
        isLast = writing == 0;
        Record record{};
        EXPECT_EQ(pread(file, &sequence, sizeof sequence, 0), static_cast<ssize_t>(sizeof sequence));
        EXPECT_EQ(pread(file, &record, sizeof record, 0), static_cast<ssize_t>(sizeof record));
        std::uint32_t after = 0;
        EXPECT_EQ(pread(file, &after, sizeof after, 0), static_cast<ssize_t>(sizeof after));
        if (sequence % 2 || after != sequence) continue;
        ++read;
        const auto isOther = [&](std::uint32_t value) { return value != record.values[0]; };
        EXPECT_TRUE(std::ranges::none_of(record.values, isOther)) << sequence;
    }
    first.join();
    second.join();
    EXPECT_GE(read, 1);
    EXPECT_EQ(sequence, 4 * kRecords) << "each record adds 2";
    close(file);
}

}  // namespace
}  // namespace kep::host
