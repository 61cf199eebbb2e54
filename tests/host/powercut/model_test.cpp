#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "power_cut.h"

namespace kep::host {
namespace {

using testing::Contains;
using testing::UnorderedElementsAre;

constexpr int kDraws = 40;
using Texts = std::map<std::string, std::string>;

/** A file layer that a test writes to, and the possible outcomes of power cuts. */
class ModelTest : public testing::Test {
  protected:
    std::unique_ptr<FileLayer::File> create(const std::string& path) { return log_.create(path, reason_); }
    void write(FileLayer::File& file, std::uint64_t offset, const std::string& text) {
        file.write(offset, text.data(), text.size(), reason_);
    }
    /** All disks possible after the last step, with zeroes shown as dots. */
    std::set<Texts> disks() {
        std::set<Texts> found;
        PowerCut(log_.steps(), log_.steps().size(), bytesOf(old_)).forEachDisk(kDraws, [&](const Disk& disk) {
            Texts texts;
            for (const auto& [path, content] : disk.files) {
                std::string text(content->bytes.begin(), content->bytes.end());
                std::replace(text.begin(), text.end(), '\0', '.');
                texts[path] = text;
            }
            found.insert(texts);
        });
        return found;
    }

    static std::span<const std::uint8_t> bytesOf(const std::string& text) {
        return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
    }

    StepLog log_;
    std::string reason_;
    std::string old_; /**< a deleted file */
};

TEST_F(ModelTest, TheDiskIsEmptyAtFirst) {
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{}));
}

TEST_F(ModelTest, ASyncedFileInASyncedFolderIsTheOnlyOutcome) {
    const auto file = create("d/a");
    write(*file, 0, "bytes");
    file->sync(reason_);
    log_.syncFolder("d", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", "bytes"}}));
}

TEST_F(ModelTest, ASyncedFileMayLackItsName) {
    const auto file = create("d/a");
    write(*file, 0, "bytes");
    file->sync(reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{}, Texts{{"d/a", "bytes"}}));
}

TEST_F(ModelTest, TheSyncOfAnotherFolderSecuresNoName) {
    create("d/a");
    log_.syncFolder("e", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{}, Texts{{"d/a", ""}}));
}

TEST_F(ModelTest, AWriteMayBeMissingTornOrZeroes) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "abcdefghij");
    const std::set<Texts> found = disks();
    EXPECT_THAT(found, Contains(Texts{{"d/a", ""}}));
    EXPECT_THAT(found, Contains(Texts{{"d/a", ".........."}}));
    EXPECT_THAT(found, Contains(Texts{{"d/a", "abcdefghij"}}));
    EXPECT_THAT(found, Contains(Texts{{"d/a", "a"}}));
    EXPECT_THAT(found, Contains(Texts{{"d/a", "abcdefghi"}}));
}

TEST_F(ModelTest, ALaterWriteMayBeThereWithoutAnEarlierOne) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "abc");
    write(*file, 3, "def");
    EXPECT_THAT(disks(), Contains(Texts{{"d/a", "...def"}}));
}

TEST_F(ModelTest, SyncedBytesAreInEveryOutcome) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "sure");
    file->sync(reason_);
    for (int i = 0; i < 7; ++i) write(*file, 4 + static_cast<std::uint64_t>(i) * 3, "xyz");
    const std::set<Texts> found = disks();
    EXPECT_GT(found.size(), 20U);
    for (const Texts& disk : found) EXPECT_EQ(disk.at("d/a").substr(0, 4), "sure");
}

TEST_F(ModelTest, OverwrittenBytesMayBeTheOldOnes) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "old");
    file->sync(reason_);
    write(*file, 0, "new");
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", "old"}}, Texts{{"d/a", "new"}}));
}

TEST_F(ModelTest, OfBytesInTwoSectorsOneMayBeTheOldOne) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    const std::string before(1024, 'x');
    write(*file, 0, before);
    file->sync(reason_);
    write(*file, 511, "12");
    const auto with = [&](const char* bytes) {
        return Texts{{"d/a", before.substr(0, 511) + bytes + before.substr(513)}};
    };
    EXPECT_THAT(disks(), UnorderedElementsAre(with("xx"), with("12"), with("1x"), with("x2")));
}

TEST_F(ModelTest, TruncatedBytesMayStillBeThere) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "abcdef");
    file->sync(reason_);
    file->truncate(3, reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", "abcdef"}}, Texts{{"d/a", "abc"}}));
    file->sync(reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", "abc"}}));
}

TEST_F(ModelTest, NewBlocksMayHoldADeletedFile) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, std::string(100, 'a'));
    file->sync(reason_);
    write(*file, 100, std::string(1436, 'a'));
    old_ = std::string(512, '1') + std::string(512, '2') + std::string(512, '3');
    const std::set<Texts> found = disks();
    // The first sector was written earlier, so its rest is zero.
    const std::string begin = std::string(100, 'a') + std::string(412, '.');
    EXPECT_THAT(found, Contains(Texts{{"d/a", begin + std::string(512, '2') + std::string(512, '3')}}));
    EXPECT_THAT(found, Contains(Texts{{"d/a", begin + std::string(1024, '.')}}));
    EXPECT_THAT(
        found,
        Contains(Texts{{"d/a", std::string(512, 'a') + std::string(512, '2') + std::string(512, 'a')}}));
}

TEST_F(ModelTest, AFullDiskTakesPartOfAWrite) {
    const auto file = create("d/a");
    log_.setSpace(3);
    EXPECT_FALSE(file->write(0, "abcde", 5, reason_));
    EXPECT_EQ(reason_, "d/a: No space left on device");
    EXPECT_FALSE(file->write(3, "d", 1, reason_));
    log_.setSpace(UINT64_MAX);
    EXPECT_TRUE(file->write(3, "d", 1, reason_));
    file->sync(reason_);
    log_.syncFolder("d", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", "abcd"}}));
}

TEST_F(ModelTest, ALongWriteLosesSingleSectors) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, std::string(2048, 'x'));
    const std::string hole = std::string(512, 'x') + std::string(512, '.') + std::string(1024, 'x');
    EXPECT_THAT(disks(), Contains(Texts{{"d/a", hole}}));
    EXPECT_THAT(disks(), Contains(Texts{{"d/a", std::string(512, 'x')}}));
}

TEST_F(ModelTest, ARenamedFileHasOneOfItsNamesOrBothOrNone) {
    const auto file = create("d/a.part");
    write(*file, 0, "b");
    file->sync(reason_);
    log_.syncFolder("d", reason_);
    log_.rename("d/a.part", "d/a", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a.part", "b"}}, Texts{{"d/a", "b"}},
                                              Texts{{"d/a.part", "b"}, {"d/a", "b"}}, Texts{}));
    PowerCut(log_.steps(), log_.steps().size()).forEachDisk(0, [](const Disk& disk) {
        EXPECT_EQ(disk.nameless.count("d/a"), disk.files.empty() ? 1U : 0U);
    });
    log_.syncFolder("d", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", "b"}}));
}

TEST_F(ModelTest, AFileThatIsReplacedIsTheOldOneOrTheNewOne) {
    const auto old = create("d/a");
    write(*old, 0, "old");
    old->sync(reason_);
    const auto fresh = create("d/b");
    write(*fresh, 0, "new");
    fresh->sync(reason_);
    log_.syncFolder("d", reason_);
    log_.replace("d/b", "d/a", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", "old"}, {"d/b", "new"}}, Texts{{"d/a", "new"}},
                                              Texts{{"d/a", "new"}, {"d/b", "new"}}, Texts{{"d/a", "old"}}));
}

TEST_F(ModelTest, NamesAreIndependentOfEachOther) {
    create("d/a");
    create("d/b");
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{}, Texts{{"d/a", ""}}, Texts{{"d/b", ""}},
                                              Texts{{"d/a", ""}, {"d/b", ""}}));
}

TEST_F(ModelTest, ARemovedFileMayStillBeThere) {
    create("d/a");
    log_.syncFolder("d", reason_);
    log_.remove("d/a", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", ""}}, Texts{}));
}

TEST_F(ModelTest, OnlyStepsDoneCount) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "bytes");
    std::set<std::size_t> sizes;
    PowerCut(log_.steps(), 2).forEachDisk(kDraws, [&](const Disk& disk) {
        sizes.insert(disk.files.at("d/a")->bytes.size());
    });
    EXPECT_THAT(sizes, UnorderedElementsAre(0U));
}

TEST_F(ModelTest, OutcomesAreTheSameInEveryRun) {
    const auto file = create("d/a");
    for (int i = 0; i < 9; ++i) write(*file, static_cast<std::uint64_t>(i) * 700, std::string(700, 'x'));
    EXPECT_EQ(disks(), disks());
}

TEST_F(ModelTest, TheLogRefusesWhatADiskRefuses) {
    create("d/a");
    create("d/b");
    EXPECT_EQ(create("d/a"), nullptr);
    EXPECT_FALSE(log_.rename("d/a", "d/b", reason_));
    EXPECT_EQ(reason_, "d/b: File exists");
    EXPECT_FALSE(log_.rename("d/c", "d/d", reason_));
    EXPECT_FALSE(log_.remove("d/c", reason_));
    EXPECT_TRUE(log_.replace("d/a", "d/b", reason_));
    EXPECT_FALSE(log_.exists("d/a"));
    EXPECT_TRUE(log_.exists("d/b"));
    EXPECT_EQ(log_.steps().size(), 3U);
}

TEST_F(ModelTest, AStepHasTheTimeCapturedByThen) {
    double captured = 3;
    StepLog log([&] { return captured; });
    log.create("d/a", reason_);
    captured = 5;
    log.syncFolder("d", reason_);
    EXPECT_EQ(log.steps()[0].captured, 3);
    EXPECT_EQ(log.steps()[1].captured, 5);
}

}  // namespace
}  // namespace kep::host
