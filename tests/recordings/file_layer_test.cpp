#include "recordings/file_layer.h"

#include <gtest/gtest.h>

#include "file_contents.h"
#include "scratch_folder.h"

namespace recordings {
namespace {

class SystemFiles : public recordings_test::ScratchFolder {
  protected:
    void make(const std::string& path, const std::string& text) {
        const auto file = layer_.create(path, reason_);
        ASSERT_TRUE(file) << reason_;
        EXPECT_TRUE(file->write(0, text.data(), text.size(), reason_)) << reason_;
        EXPECT_TRUE(file->close(reason_)) << reason_;
    }

    FileLayer& layer_ = FileLayer::system();
    std::string reason_;
};

TEST_F(SystemFiles, WriteAtTheGivenOffset) {
    const auto file = layer_.create(path("a"), reason_);
    ASSERT_TRUE(file) << reason_;
    EXPECT_TRUE(file->write(4, "efgh", 4, reason_));
    EXPECT_TRUE(file->write(0, "abcd", 4, reason_));
    EXPECT_TRUE(file->sync(reason_)) << reason_;
    EXPECT_TRUE(file->close(reason_)) << reason_;
    EXPECT_EQ(contentsOf(path("a")), "abcdefgh");
}

TEST_F(SystemFiles, AreTruncated) {
    const auto file = layer_.create(path("a"), reason_);
    ASSERT_TRUE(file) << reason_;
    EXPECT_TRUE(file->write(0, "abcdefgh", 8, reason_));
    EXPECT_TRUE(file->truncate(3, reason_)) << reason_;
    EXPECT_EQ(contentsOf(path("a")), "abc");
}

TEST_F(SystemFiles, AreNotCreatedOverAnother) {
    make(path("a"), "first");
    EXPECT_FALSE(layer_.create(path("a"), reason_));
    EXPECT_EQ(reason_, path("a") + ": File exists");
    EXPECT_EQ(contentsOf(path("a")), "first");
}

TEST_F(SystemFiles, AreNotCreatedInAMissingFolder) {
    EXPECT_FALSE(layer_.create(path("none/a"), reason_));
    EXPECT_EQ(reason_, path("none/a") + ": No such file or directory");
}

TEST_F(SystemFiles, AreRenamedUnlessTheNameIsTaken) {
    make(path("a"), "first");
    make(path("b"), "second");
    EXPECT_FALSE(layer_.rename(path("b"), path("a"), reason_));
    EXPECT_EQ(reason_, path("a") + ": File exists");
    EXPECT_EQ(contentsOf(path("a")), "first");
    EXPECT_EQ(contentsOf(path("b")), "second");
    EXPECT_TRUE(layer_.rename(path("b"), path("c"), reason_)) << reason_;
    EXPECT_FALSE(layer_.exists(path("b")));
    EXPECT_EQ(contentsOf(path("c")), "second");
    EXPECT_FALSE(layer_.rename(path("b"), path("d"), reason_));
    EXPECT_EQ(reason_, path("b") + " to " + path("d") + ": No such file or directory");
}

TEST_F(SystemFiles, ReplaceAnotherOnRequest) {
    make(path("a"), "first");
    make(path("b"), "second");
    EXPECT_TRUE(layer_.replace(path("b"), path("a"), reason_)) << reason_;
    EXPECT_EQ(contentsOf(path("a")), "second");
    EXPECT_FALSE(layer_.exists(path("b")));
}

TEST_F(SystemFiles, AreRemoved) {
    make(path("a"), "first");
    EXPECT_TRUE(layer_.exists(path("a")));
    EXPECT_TRUE(layer_.remove(path("a"), reason_)) << reason_;
    EXPECT_FALSE(layer_.exists(path("a")));
    EXPECT_FALSE(layer_.remove(path("a"), reason_));
    EXPECT_EQ(reason_, path("a") + ": No such file or directory");
}

TEST_F(SystemFiles, HaveTheirFolderSynced) {
    EXPECT_TRUE(layer_.syncFolder(folder(), reason_)) << reason_;
    EXPECT_FALSE(layer_.syncFolder(path("none"), reason_));
    EXPECT_EQ(reason_, path("none") + ": No such file or directory");
}

TEST(FileLayer, KnowsTheFolderOfAPath) {
    EXPECT_EQ(FileLayer::folderOf("/mnt/sd/a.mp4"), "/mnt/sd");
    EXPECT_EQ(FileLayer::folderOf("/a.mp4"), "/");
    EXPECT_EQ(FileLayer::folderOf("a.mp4"), ".");
}

}  // namespace
}  // namespace recordings
