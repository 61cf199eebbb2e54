#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "vornisa_retention.h"

namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

constexpr std::int64_t kFileBytes = 1000;

class Retention : public testing::Test {
  protected:
    Retention() {
        std::string name = (fs::temp_directory_path() / "retention-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("cannot create the temporary folder " + name);
        folder_ = name;
    }
    ~Retention() override { fs::remove_all(folder_); }

    /** Creates a file of kFileBytes that is `age` seconds old. */
    void make(const std::string& name, int age) const {
        std::ofstream(path(name)) << std::string(kFileBytes, 'x');
        fs::last_write_time(path(name), fs::file_time_type::clock::now() - std::chrono::seconds(age));
    }
    std::string path(const std::string& name) const { return folder_ / name; }

    /** Applies limits to the recordings with a name. */
    int retain(const char* name, std::int64_t bytes, std::int64_t seconds = 0, std::int64_t free = 0) {
        const char* const names[] = {name, "b_%H.mp4"};
        const VNRetention limits{folder_.c_str(), names, 2, bytes, seconds, free};
        reported_.clear();
        errors_.clear();
        return VNRetain(&limits, &Retention::take, this);
    }
    std::set<std::string> left() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_)) names.insert(entry.path().filename());
        return names;
    }

    fs::path folder_;
    Names reported_; /**< names of the reported files, in order */
    std::vector<int> errors_;

  private:
    static void take(const char* path, std::int64_t bytes, int error, void* context) {
        auto& self = *static_cast<Retention*>(context);
        EXPECT_EQ(bytes, kFileBytes);
        EXPECT_EQ(fs::path(path).parent_path(), self.folder_);
        self.reported_.push_back(fs::path(path).filename());
        self.errors_.push_back(error);
    }
};

using Left = std::set<std::string>;

TEST_F(Retention, TheOldestAreDeletedUntilTheRestIsSmallEnough) {
    make("a.mp4", 10);
    make("a-1.mp4", 40);
    make("a-2.mp4", 20);
    make("b_07.mp4", 30);
    EXPECT_EQ(retain("a.mp4", 4 * kFileBytes), VN_RETAIN_KEPT);
    EXPECT_EQ(reported_, Names());
    EXPECT_EQ(retain("a.mp4", 2 * kFileBytes + 999), VN_RETAIN_KEPT);
    EXPECT_EQ(reported_, (Names{"a-1.mp4", "b_07.mp4"}));
    EXPECT_EQ(left(), (Left{"a.mp4", "a-2.mp4"}));
}

TEST_F(Retention, AgeIsThatOfTheFile) {
    make("a.mp4", 100);
    make("a-1.mp4", 50);
    EXPECT_EQ(retain("a.mp4", 0, 75), VN_RETAIN_KEPT);
    EXPECT_EQ(left(), (Left{"a-1.mp4"}));
}

TEST_F(Retention, FreeSpaceIsMadeWithTheFewestFiles) {
    make("a.mp4", 20);
    make("a-1.mp4", 10);
    EXPECT_EQ(retain("a.mp4", 0, 0, 1), VN_RETAIN_KEPT);
    EXPECT_EQ(reported_, Names());
    // More than other programs allocate or free meanwhile; one file frees four times as much.
    constexpr std::int64_t kLarge = 16 << 20;
    for (const char* const name : {"a.mp4", "a-1.mp4"}) {
        const int file = open(path(name).c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_EQ(posix_fallocate(file, 0, 4 * kLarge), 0);
        close(file);
    }
    fs::last_write_time(path("a.mp4"), fs::file_time_type::clock::now() - std::chrono::seconds(20));
    // A reader keeps the blocks; that is no reason to delete the other one.
    const std::ifstream reader(path("a.mp4"));
    struct statvfs system;
    ASSERT_EQ(statvfs(folder_.c_str(), &system), 0);
    const auto free = static_cast<std::int64_t>(system.f_bavail) * static_cast<std::int64_t>(system.f_frsize);
    const char* const names[] = {"a.mp4"};
    const VNRetention limits{folder_.c_str(), names, 1, 0, 0, free + kLarge};
    EXPECT_EQ(VNRetain(&limits, nullptr, nullptr), VN_RETAIN_KEPT);
    EXPECT_EQ(left(), (Left{"a-1.mp4"}));
}

TEST_F(Retention, OnlyFilesWithNamesOfTheRecordingsAreDeleted) {
    for (const char* const name :
         {"rec_2026-01-31_23-59-59.mp4", "rec_2026-01-31_23-59-59-12.mp4", "b_00.mp4"})
        make(name, 10);
    const Left others = {"rec_2026-01-31.mp4",
                         "rec_2026-1-31_23-59-59.mp4",
                         "rec_2026-13-01_23-59-59.mp4",
                         "rec_2026-01-31_23-59-59-0.mp4",
                         "rec_2026-01-31_23-59-59-x.mp4",
                         "rec_2026-01-31_23-59-59.mp4.part",
                         "rec_2026-01-31_23-59-59.mp4.rest",
                         "rec_2026-01-31_23-59-59_640x360.mp4",
                         "rec_2026-01-31_ 3-59-59.mp4",
                         "xrec_2026-01-31_23-59-59.mp4",
                         "b_24.mp4",
                         "b_7.mp4",
                         "notes.txt"};
    for (const std::string& name : others) make(name, 20);
    EXPECT_EQ(retain("rec_%Y-%m-%d_%H-%M-%S.mp4", 0, 1), VN_RETAIN_KEPT);
    EXPECT_EQ(left(), others);
}

TEST_F(Retention, LinksFoldersAndUnfinishedFilesAreKept) {
    make("far", 100);
    fs::create_symlink("far", path("a.mp4"));
    fs::create_directory(path("a-1.mp4"));
    make("a-2.mp4.part", 100);
    const char* const names[] = {"a.mp4", "a.mp4.part"};
    const VNRetention limits{folder_.c_str(), names, 2, 1, 1, 0};
    EXPECT_EQ(VNRetain(&limits, nullptr, nullptr), VN_RETAIN_KEPT);
    EXPECT_EQ(left(), (Left{"far", "a.mp4", "a-1.mp4", "a-2.mp4.part"}));
}

TEST_F(Retention, AFileThatIsBeingWrittenIsKept) {
    make("a.mp4", 20);
    make("a-1.mp4", 10);
    const int writer = open(path("a.mp4").c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(retain("a.mp4", 1), VN_RETAIN_EXCEEDED);
    EXPECT_EQ(reported_, (Names{"a-1.mp4"}));
    EXPECT_EQ(left(), (Left{"a.mp4"}));
    close(writer);
    EXPECT_EQ(retain("a.mp4", 1), VN_RETAIN_KEPT);
    EXPECT_EQ(left(), Left());
}

TEST_F(Retention, AFailedDeletionIsReportedAndTheNextFileTried) {
    make("a.mp4", 20);
    make("a-1.mp4", 10);
    // In a folder with the sticky bit users delete only their own files.
    ASSERT_EQ(chmod(folder_.c_str(), 01777), 0);
    const bool isRoot = geteuid() == 0;
    constexpr uid_t kNobody = 65534;
    if (isRoot) {
        ASSERT_EQ(chown(path("a-1.mp4").c_str(), kNobody, kNobody), 0);
        ASSERT_EQ(seteuid(kNobody), 0);
    } else {
        ASSERT_EQ(chmod(folder_.c_str(), 0555), 0);
    }
    const int result = retain("a.mp4", 1);
    EXPECT_TRUE(!isRoot || seteuid(0) == 0);
    chmod(folder_.c_str(), 0755);
    EXPECT_EQ(result, VN_RETAIN_EXCEEDED);
    EXPECT_EQ(reported_, (Names{"a.mp4", "a-1.mp4"}));
    EXPECT_EQ(errors_, isRoot ? (std::vector{EPERM, 0}) : (std::vector{EACCES, EACCES}));
    EXPECT_TRUE(fs::exists(path("a.mp4")));
    EXPECT_EQ(fs::exists(path("a-1.mp4")), !isRoot);
}

TEST_F(Retention, WrongLimitsAreRefused) {
    make("a.mp4", 20);
    for (const char* const name : {"", "x/a.mp4", "a_%D.mp4", "a_%Z.mp4"}) {
        EXPECT_EQ(retain(name, 1), VN_RETAIN_FAILED) << name;
        EXPECT_EQ(errno, EINVAL) << name;
    }
    for (const char* const name :
         {"a_%Y%m%d.mp4", "a_%s.mp4", "a_%F_%T.mp4", "a_%j.mp4", "100%%.mp4", "a_%b.mp4"})
        EXPECT_EQ(retain(name, 1), VN_RETAIN_KEPT) << name;
    EXPECT_EQ(retain("a.mp4", -1), VN_RETAIN_FAILED);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(VNRetain(nullptr, nullptr, nullptr), VN_RETAIN_FAILED);
    EXPECT_EQ(errno, EINVAL);
    const char* const names[] = {"a.mp4", nullptr};
    for (const VNRetention& limits :
         {VNRetention{nullptr, names, 1, 1, 0, 0}, VNRetention{folder_.c_str(), names, 0, 1, 0, 0},
          VNRetention{folder_.c_str(), names, 2, 1, 0, 0},
          VNRetention{folder_.c_str(), nullptr, 1, 1, 0, 0}}) {
        EXPECT_EQ(VNRetain(&limits, nullptr, nullptr), VN_RETAIN_FAILED);
        EXPECT_EQ(errno, EINVAL);
    }
    const VNRetention nowhere{"/nowhere", names, 1, 1, 0, 0};
    EXPECT_EQ(VNRetain(&nowhere, nullptr, nullptr), VN_RETAIN_FAILED);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(left(), (Left{"a.mp4"}));
}

}  // namespace
