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

/** A file layer that a test writes to, and what power cuts make of it. */
class ModelTest : public testing::Test {
  protected:
    std::unique_ptr<FileLayer::File> create(const std::string& path) { return log_.create(path, reason_); }
    void write(FileLayer::File& file, std::uint64_t offset, const std::string& text) {
        file.write(offset, text.data(), text.size(), reason_);
    }
    /** All disks after the last step, zeroes as dots. */
    std::set<Texts> disks() {
        std::set<Texts> found;
        PowerCut(log_.steps(), log_.steps().size()).forEachDisk(kDraws, [&](const Disk& disk) {
            Texts texts;
            for (const auto& [path, bytes] : disk) {
                std::string text(bytes->begin(), bytes->end());
                std::replace(text.begin(), text.end(), '\0', '.');
                texts[path] = text;
            }
            found.insert(texts);
        });
        return found;
    }

    StepLog log_;
    std::string reason_;
};

TEST_F(ModelTest, NothingIsThereBeforeAnythingIsDone) {
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{}));
}

TEST_F(ModelTest, WhatIsSyncedWithItsNameIsTheOnlyOutcome) {
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

TEST_F(ModelTest, TheSyncOfAnotherFolderSettlesNoName) {
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
    EXPECT_THAT(found, Contains(Texts{{"d/a", "abcdefghi."}}));
}

TEST_F(ModelTest, ALaterWriteMayBeThereWithoutAnEarlierOne) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "abc");
    write(*file, 3, "def");
    EXPECT_THAT(disks(), Contains(Texts{{"d/a", "...def"}}));
}

TEST_F(ModelTest, WhatWasSyncedIsInEveryOutcome) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "sure");
    file->sync(reason_);
    for (int i = 0; i < 7; ++i) write(*file, 4 + static_cast<std::uint64_t>(i) * 3, "xyz");
    const std::set<Texts> found = disks();
    EXPECT_GT(found.size(), 20U);
    for (const Texts& disk : found) EXPECT_EQ(disk.at("d/a").substr(0, 4), "sure");
}

TEST_F(ModelTest, BytesThatAreWrittenOverMayBeTheOldOnes) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "old");
    file->sync(reason_);
    write(*file, 0, "new");
    const std::set<Texts> found = disks();
    EXPECT_THAT(found, Contains(Texts{{"d/a", "old"}}));
    EXPECT_THAT(found, Contains(Texts{{"d/a", "new"}}));
    EXPECT_THAT(found, Contains(Texts{{"d/a", "nld"}}));
}

TEST_F(ModelTest, ALongWriteLosesSingleSectors) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, std::string(2048, 'x'));
    const std::string hole = std::string(512, 'x') + std::string(512, '.') + std::string(1024, 'x');
    EXPECT_THAT(disks(), Contains(Texts{{"d/a", hole}}));
    EXPECT_THAT(disks(), Contains(Texts{{"d/a", std::string(512, 'x')}}));
}

TEST_F(ModelTest, ARenamedFileBearsOneOfItsNames) {
    const auto file = create("d/a.part");
    write(*file, 0, "b");
    file->sync(reason_);
    log_.syncFolder("d", reason_);
    log_.rename("d/a.part", "d/a", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a.part", "b"}}, Texts{{"d/a", "b"}}));
}

TEST_F(ModelTest, NamesAreIndependentOfEachOther) {
    create("d/a.part");
    log_.syncFolder("d", reason_);
    log_.rename("d/a.part", "d/a", reason_);
    create("d/b.part");
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a.part", ""}}, Texts{{"d/a", ""}},
                                              Texts{{"d/a.part", ""}, {"d/b.part", ""}},
                                              Texts{{"d/a", ""}, {"d/b.part", ""}}));
}

TEST_F(ModelTest, ARemovedFileMayStillBeThere) {
    create("d/a");
    log_.syncFolder("d", reason_);
    log_.remove("d/a", reason_);
    EXPECT_THAT(disks(), UnorderedElementsAre(Texts{{"d/a", ""}}, Texts{}));
}

TEST_F(ModelTest, OnlyWhatWasDoneCounts) {
    const auto file = create("d/a");
    log_.syncFolder("d", reason_);
    write(*file, 0, "bytes");
    std::set<std::size_t> sizes;
    PowerCut(log_.steps(), 2).forEachDisk(kDraws, [&](const Disk& disk) {
        sizes.insert(disk.at("d/a")->size());
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

TEST_F(ModelTest, AStepKnowsHowFarItsWriterWas) {
    std::size_t given = 3;
    StepLog log([&] { return given; });
    log.create("d/a", reason_);
    given = 5;
    log.syncFolder("d", reason_);
    EXPECT_EQ(log.steps()[0].progress, 3U);
    EXPECT_EQ(log.steps()[1].progress, 5U);
}

}  // namespace
}  // namespace kep::host
