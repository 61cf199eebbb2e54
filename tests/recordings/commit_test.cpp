// How a file gets its final name: the order of the steps, and the state when one of them fails.
#include <gmock/gmock.h>

#include "file_contents.h"
#include "recordings/file_layer.h"
#include "scratch_folder.h"
#include "watched_disk.h"

namespace recordings {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Committed = FileLayer::Committed;
using Taken = FileLayer::Taken;

/** Records each step with its file, and fails one of them. */
class Disk final : public kep::host::WatchedDisk {
  public:
    std::vector<std::string> notes;
    std::string failing;

  private:
    bool pass(Step step, const std::string& path, std::string& reason) override {
        static constexpr const char* names[kSteps] = {"create", "write",   "truncate",   "sync",   "close",
                                                      "rename", "replace", "syncFolder", "remove", "open"};
        const std::string name = names[static_cast<int>(step)];
        notes.push_back(name + " " + std::filesystem::path(path).filename().string());
        if (name != failing) return true;
        reason = path + ": Input/output error";
        return false;
    }
};

class Commit : public recordings_test::ScratchFolder {
  protected:
    Committed commit(const std::string& from, const std::string& to, Taken taken) {
        const auto file = disk_.create(path(from), reason_);
        EXPECT_TRUE(file && file->write(0, "new", 3, reason_)) << reason_;
        disk_.notes.clear();
        return disk_.commit(*file, path(from), path(to), taken, reason_);
    }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder()))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    void make(const std::string& name) const { std::ofstream(path(name)) << "old"; }

    Disk disk_;
    std::string reason_;
};

TEST_F(Commit, SyncsTheFileBeforeItIsRenamedAndTheFolderAfterwards) {
    EXPECT_EQ(commit("a.part", "a", Taken::refuse), Committed::durable);
    EXPECT_THAT(disk_.notes, ElementsAre("sync a.part", "close a.part", "rename a.part",
                                         "syncFolder " + folder().filename().string()));
    EXPECT_THAT(files(), ElementsAre("a"));
    EXPECT_EQ(reason_, "");
}

TEST_F(Commit, ReplacesAnOlderFileOnRequest) {
    make("a");
    EXPECT_EQ(commit("a.part", "a", Taken::replace), Committed::durable);
    EXPECT_THAT(disk_.notes, ElementsAre("sync a.part", "close a.part", "replace a.part",
                                         "syncFolder " + folder().filename().string()));
    EXPECT_EQ(contentsOf(path("a")), "new");
}

TEST_F(Commit, KeepsAnOlderFileOtherwise) {
    make("a");
    EXPECT_EQ(commit("a.part", "a", Taken::refuse), Committed::no);
    EXPECT_EQ(reason_, path("a") + ": File exists");
    EXPECT_EQ(contentsOf(path("a")), "old");
    EXPECT_EQ(contentsOf(path("a.part")), "new");
}

TEST_F(Commit, UnderTheSameNameRenamesNothing) {
    EXPECT_EQ(commit("a", "a", Taken::refuse), Committed::durable);
    EXPECT_THAT(disk_.notes, ElementsAre("sync a", "close a", "syncFolder " + folder().filename().string()));
}

TEST_F(Commit, KeepsTheOldNameWhenAStepFails) {
    for (const char* const step : {"sync", "close", "rename"}) {
        disk_.failing = step;
        EXPECT_EQ(commit("a.part", "a", Taken::refuse), Committed::no) << step;
        EXPECT_THAT(reason_, HasSubstr("Input/output error")) << step;
        EXPECT_THAT(files(), ElementsAre("a.part")) << step;
        std::filesystem::remove(path("a.part"));
    }
}

TEST_F(Commit, ReportsANameThatIsNotOnTheDisk) {
    disk_.failing = "syncFolder";
    EXPECT_EQ(commit("a.part", "a", Taken::refuse), Committed::renamed);
    EXPECT_EQ(reason_, folder().string() + ": Input/output error");
    EXPECT_THAT(files(), ElementsAre("a"));
}

}  // namespace
}  // namespace recordings
