#include "kep/shared_memory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "error_lines.h"

namespace {

struct Record {
    int number;
    char text[60];
};

using Memory = kep::stream::TSharedMemory<Record>;

/** A segment whose name no other process uses, removed after the test. */
class SharedMemoryTest : public ::testing::Test {
  protected:
    SharedMemoryTest() : name("kep_test_" + std::to_string(getpid())) {
        unsetenv("KEP_HOST_SHM");
        remove();
    }
    ~SharedMemoryTest() override { remove(); }

    void remove() { shm_unlink(("/" + name).c_str()); }

    /** The segment's size in bytes; -1 when there is no segment. */
    off_t size() const {
        const int file = shm_open(("/" + name).c_str(), O_RDONLY, 0);
        if (file < 0) return -1;
        struct stat status {};
        const int result = fstat(file, &status);
        close(file);
        return result == 0 ? status.st_size : -1;
    }

    static std::size_t mappings() {
        std::ifstream maps("/proc/self/maps");
        std::size_t count = 0;
        for (std::string line; std::getline(maps, line);)
            count += line.find("kep_test_") != std::string::npos;
        return count;
    }

    const std::string name;
};

TEST_F(SharedMemoryTest, APrefixGivesAProgramItsOwnSegments) {
    const std::string prefix = name + "_own_";
    setenv("KEP_HOST_SHM", prefix.c_str(), 1);
    Memory own(1);
    EXPECT_TRUE(own.ShmName(name.c_str()));
    EXPECT_EQ(size(), -1);
    EXPECT_EQ(shm_unlink(("/" + prefix + name).c_str()), 0);
}

TEST_F(SharedMemoryTest, HasNoRecordBeforeItIsAttached) {
    const Memory memory(1);
    EXPECT_EQ(memory.Record(), nullptr);
    EXPECT_EQ(size(), -1);
}

TEST_F(SharedMemoryTest, ANewSegmentHasTheSizeOfItsRecordsAndIsZero) {
    Memory memory(3);
    ASSERT_TRUE(memory.ShmName(name.c_str()));
    EXPECT_EQ(size(), static_cast<off_t>(3 * sizeof(Record)));
    ASSERT_NE(memory.Record(), nullptr);
    const std::array<char, 3 * sizeof(Record)> zeros{};
    EXPECT_EQ(std::memcmp(memory.Record(), zeros.data(), zeros.size()), 0);
}

TEST_F(SharedMemoryTest, TwoObjectsShareOneSegment) {
    Memory first(1);
    Memory second(1);
    ASSERT_TRUE(first.ShmName(name.c_str()));
    ASSERT_TRUE(second.ShmName(name.c_str()));
    ASSERT_NE(first.Record(), second.Record());
    first.Record()->number = 7;
    EXPECT_EQ(second.Record()->number, 7);
    second.Record()->number = 8;
    EXPECT_EQ(first.Record()->number, 8);
}

TEST_F(SharedMemoryTest, TwoProcessesShareOneSegment) {
    Memory memory(1);
    ASSERT_TRUE(memory.ShmName(name.c_str()));
    memory.Record()->number = 7;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        Memory other(1);
        if (!other.ShmName(name.c_str()) || other.Record()->number != 7) _exit(1);
        other.Record()->number = 8;
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(memory.Record()->number, 8);
}

TEST_F(SharedMemoryTest, ContentsOutliveTheLastMapping) {
    {
        Memory memory(1);
        ASSERT_TRUE(memory.ShmName(name.c_str()));
        memory.Record()->number = 7;
        EXPECT_EQ(mappings(), 1u);
    }
    EXPECT_EQ(mappings(), 0u);
    Memory memory(1);
    ASSERT_TRUE(memory.ShmName(name.c_str()));
    EXPECT_EQ(memory.Record()->number, 7);
}

TEST_F(SharedMemoryTest, ALargerSegmentIsNotTruncatedAndASmallerOneGrows) {
    Memory two(2);
    ASSERT_TRUE(two.ShmName(name.c_str()));
    two.Record()[1].number = 7;
    Memory one(1);
    ASSERT_TRUE(one.ShmName(name.c_str()));
    EXPECT_EQ(size(), static_cast<off_t>(2 * sizeof(Record)));
    EXPECT_EQ(two.Record()[1].number, 7);
    Memory three(3);
    ASSERT_TRUE(three.ShmName(name.c_str()));
    EXPECT_EQ(size(), static_cast<off_t>(3 * sizeof(Record)));
    EXPECT_EQ(three.Record()[1].number, 7);
    EXPECT_EQ(three.Record()[2].number, 0);
}

TEST_F(SharedMemoryTest, ASegmentIsAccessibleToUserAndGroup) {
    const mode_t before = umask(0);
    Memory memory(1);
    EXPECT_TRUE(memory.ShmName(name.c_str()));
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(("/dev/shm/" + name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0660u);
}

TEST_F(SharedMemoryTest, AttachingAgainDetachesTheFormerSegment) {
    const std::string other = name + "_other";
    Memory memory(1);
    ASSERT_TRUE(memory.ShmName(name.c_str()));
    memory.Record()->number = 7;
    ASSERT_TRUE(memory.ShmName(other.c_str()));
    EXPECT_EQ(memory.Record()->number, 0);
    EXPECT_EQ(mappings(), 1u);
    shm_unlink(("/" + other).c_str());
}

TEST_F(SharedMemoryTest, InvalidNamesAreLoggedAndTheRecordStays) {
    Memory memory(1);
    ASSERT_TRUE(memory.ShmName(name.c_str()));
    Record* const record = memory.Record();
    const ErrorLines lines;
    EXPECT_FALSE(memory.ShmName(nullptr));
    EXPECT_FALSE(memory.ShmName(""));
    EXPECT_FALSE(memory.ShmName("a/b"));
    const std::string longName(300, 'x');
    EXPECT_FALSE(memory.ShmName(longName.c_str()));
    EXPECT_EQ(lines.messages(),
              (std::vector<std::string>{"shared memory: invalid segment name \"\"",
                                        "shared memory: invalid segment name \"\"",
                                        "shared memory: invalid segment name \"a/b\"",
                                        "shared memory " + longName + ": Invalid argument"}));
    EXPECT_EQ(memory.Record(), record);
}

TEST_F(SharedMemoryTest, AFailedMappingIsLoggedAndTheRecordStays) {
    Memory memory(1);
    ASSERT_TRUE(memory.ShmName(name.c_str()));
    const ErrorLines lines;
    // mmap refuses a length of 0.
    Memory none(0);
    EXPECT_FALSE(none.ShmName(name.c_str()));
    EXPECT_EQ(none.Record(), nullptr);
    EXPECT_EQ(lines.messages(),
              std::vector<std::string>{"shared memory " + name + " of 0 bytes: Invalid argument"});
    EXPECT_EQ(size(), static_cast<off_t>(sizeof(Record)));
    EXPECT_NE(memory.Record(), nullptr);
}

}  // namespace
