// What a process leaves that exits without stopping its recordings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "recorded_file.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ProcessExit : public testing::Test {
  protected:
    ProcessExit() {
        std::string pattern = std::filesystem::temp_directory_path() / "endsXXXXXX";
        folder_ = mkdtemp(pattern.data());
        std::filesystem::create_directory(folder_ / "files");
    }
    ~ProcessExit() override { std::filesystem::remove_all(folder_); }

    /** Runs the program; kills it after two minutes. */
    int run(const std::string& how, const std::string& environment = "") const {
        const std::string command = "KEP_HOST_VIDEO=test KEP_HOST_AUDIO=test KEP_HOST_PRERECORD=attached " +
                                    environment + " timeout -s KILL 120 " ENDING_CHILD " " + how + " " +
                                    (folder_ / "files").string() + " >/dev/null 2>" +
                                    (folder_ / "lines").string();
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string lines() const {
        std::ostringstream text;
        text << std::ifstream(folder_ / "lines").rdbuf();
        return text.str();
    }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_ / "files"))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    void expectPlayable(const std::string& name) const {
        RecordedFile file(folder_ / "files" / name);
        EXPECT_GT(file.decodePictures().size(), 5U) << name;
        EXPECT_THAT(file.errors(), IsEmpty()) << name;
    }

    std::filesystem::path folder_;
};

TEST_F(ProcessExit, AReturnFromMainFinishesRecordings) {
    EXPECT_EQ(run("return"), 0);
    EXPECT_THAT(files(), ElementsAre("plain.mp4", "protected.mp4"));
    expectPlayable("plain.mp4");
    expectPlayable("protected.mp4");
    EXPECT_EQ(lines(), "") << "no callback during exit";
}

TEST_F(ProcessExit, RecordingsOfTheFirstFunctionAreFinishedToo) {
    EXPECT_EQ(run("first-function"), 0);
    EXPECT_THAT(files(), ElementsAre("a.mp4"));
    expectPlayable("a.mp4");
}

TEST_F(ProcessExit, AnOpenClipOfTheServiceIsFinished) {
    EXPECT_EQ(run("clip"), 0);
    EXPECT_THAT(files(), ElementsAre("clip.mp4"));
    expectPlayable("clip.mp4");
}

TEST_F(ProcessExit, AnOpenClipThatACallWaitsForIsFinished) {
    EXPECT_EQ(run("one-shot"), 0);
    EXPECT_THAT(files(), ElementsAre("clip.mp4"));
    expectPlayable("clip.mp4");
}

TEST_F(ProcessExit, AnExitFromWithinACallbackFinishesRecordings) {
    EXPECT_EQ(run("exit-in-callback"), 3);
    EXPECT_THAT(files(), ElementsAre("a.mp4"));
    expectPlayable("a.mp4");
}

TEST_F(ProcessExit, TheExitOfAForkedProcessLeavesTheRecordingAlone) {
    EXPECT_EQ(run("fork"), 0);
    EXPECT_THAT(files(), ElementsAre("a.mp4"));
    expectPlayable("a.mp4");
}

TEST_F(ProcessExit, AHungDiskDoesNotBlockTheExitForEver) {
    const std::string sign = folder_ / "hangs";
    EXPECT_EQ(run("hung-disk", "HUNG_DISK=" + sign +
                                   " LD_PRELOAD=" HUNG_DISK_MODULE
                                   " ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0"),
              0);
    EXPECT_THAT(lines(), HasSubstr("shutdown not complete after 10 s"));
    EXPECT_THAT(files(), ElementsAre("a.mp4.part"));
}

}  // namespace
