// Several recordings in one process, and the handles that reach them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "kep/attr_set.h"
#include "recorded_file.h"
#include "vornisa_api.h"
#include "wait_until.h"

namespace {

constexpr int k720p = 921600;
constexpr int k360p = 230400;

std::mutex mutex;
std::vector<std::string> messages;

void keep(const char* message) {
    const std::lock_guard lock(mutex);
    messages.emplace_back(message);
}

/** Counts the messages of this name for a handle. */
int count(const std::string& name, int id) {
    const std::lock_guard lock(mutex);
    int found = 0;
    for (const std::string& message : messages) {
        const kep::base::AttrSet attributes(message.c_str());
        found += attributes.GetOrDef("name", "") == name && attributes.GetOrDef<int>("id", 0) == id ? 1 : 0;
    }
    return found;
}

class Recordings : public testing::Test {
  protected:
    Recordings() {
        setenv("KEP_HOST_VIDEO", "test", 1);
        setenv("KEP_HOST_AUDIO", "test", 1);
        std::string pattern = std::filesystem::temp_directory_path() / "recordingsXXXXXX";
        folder_ = mkdtemp(pattern.data());
    }
    ~Recordings() override { std::filesystem::remove_all(folder_); }

    void record(int size, const std::string& name) const {
        ASSERT_EQ(VNRecMan2(size, "bitrate=400000", "", 60, folder_.c_str(), name.c_str(),
                            "PowerFailProtection=true"),
                  VNRES_SUCCEED);
    }
    static int acquire() {
        int id = 0;
        EXPECT_EQ(VNAcquire(VNRES_REC_MAN, &id), VNRES_SUCCEED);
        EXPECT_EQ(VNRegisterMessageCallback(id, keep), VNRES_SUCCEED);
        return id;
    }
    static bool runs(int id) {
        int running = -1;
        EXPECT_EQ(VNIsRunning(id, &running), VNRES_SUCCEED);
        return running == 1;
    }
    static void end(int id) {
        EXPECT_EQ(VNStop(id), VNRES_SUCCEED);
        EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    }
    std::uintmax_t size(const std::string& name) const {
        std::error_code missing;
        const std::uintmax_t bytes = std::filesystem::file_size(folder_ / name, missing);
        return missing ? 0 : bytes;
    }
    /** Waits until a recording's file exceeds `bytes`. */
    bool waitFor(const std::string& name, std::uintmax_t bytes) const {
        return waitUntil([&] { return size(name + ".part") > bytes; });
    }
    void expectFile(const std::string& name, int width) const {
        RecordedFile file(folder_ / name);
        ASSERT_TRUE(file.video()) << name;
        EXPECT_EQ(file.video().codec->width, width) << name;
        EXPECT_GT(file.decodePictures().size(), 10U) << name;
        EXPECT_THAT(file.errors(), testing::IsEmpty()) << name;
    }

    std::filesystem::path folder_;
};

TEST_F(Recordings, MainAndSubStreamAreRecordedAtOnce) {
    record(k720p, "main.mp4");
    const int main = acquire();
    record(k360p, "sub.mp4");
    const int sub = acquire();
    ASSERT_TRUE(waitFor("main.mp4", 50'000));
    ASSERT_TRUE(waitFor("sub.mp4", 50'000));
    EXPECT_TRUE(runs(main));
    EXPECT_TRUE(runs(sub));

    EXPECT_EQ(VNStop(main), VNRES_SUCCEED);
    EXPECT_TRUE(waitUntil([&] { return count("recordStop", main) == 1; }));
    EXPECT_FALSE(runs(main));
    EXPECT_TRUE(runs(sub));
    expectFile("main.mp4", 1280);
    EXPECT_TRUE(waitFor("sub.mp4", size("sub.mp4.part"))) << "recording stopped growing";
    EXPECT_EQ(count("recordStop", sub), 0);

    EXPECT_EQ(VNStop(sub), VNRES_SUCCEED);
    EXPECT_TRUE(waitUntil([&] { return count("recordStop", sub) == 1; }));
    expectFile("sub.mp4", 640);
    EXPECT_EQ(count("recordStop", main), 1);
    EXPECT_EQ(VNRelease(main), VNRES_SUCCEED);
    EXPECT_EQ(VNRelease(sub), VNRES_SUCCEED);
}

TEST_F(Recordings, TwoHandlesReachOneRecordingUntilTheLastIsReleased) {
    record(k360p, "a.mp4");
    const int first = acquire();
    const int second = acquire();
    ASSERT_TRUE(waitFor("a.mp4", 50'000));
    EXPECT_EQ(VNRelease(first), VNRES_SUCCEED);
    EXPECT_TRUE(runs(second));
    EXPECT_TRUE(waitFor("a.mp4", size("a.mp4.part"))) << "recording stopped growing";
    EXPECT_EQ(VNRelease(second), VNRES_SUCCEED);
    expectFile("a.mp4", 640);
}

TEST_F(Recordings, AHandleAcquiredBeforehandGetsTheFirstMessage) {
    const int id = acquire();
    record(k360p, "a.mp4");
    EXPECT_TRUE(waitUntil([&] { return count("recordStart", id) == 1; }));
    EXPECT_TRUE(runs(id));
    EXPECT_TRUE(waitFor("a.mp4", 50'000));
    end(id);
    expectFile("a.mp4", 640);
}

TEST_F(Recordings, AfterAReleaseAHandleReachesThePreviousRecording) {
    record(k360p, "a.mp4");
    record(k360p, "b.mp4");
    ASSERT_TRUE(waitFor("a.mp4", 50'000));
    ASSERT_TRUE(waitFor("b.mp4", 50'000));
    end(acquire());
    expectFile("b.mp4", 640);
    EXPECT_EQ(size("a.mp4"), 0U);
    end(acquire());
    expectFile("a.mp4", 640);
    const int none = acquire();
    EXPECT_FALSE(runs(none));
    end(none);
}

TEST_F(Recordings, TwoEventServicesAreIndependent) {
    int first = 0;
    int second = 0;
    ASSERT_EQ(VNAcquire(VNRES_EVENT_SERVICE, &first), VNRES_SUCCEED);
    ASSERT_EQ(VNAcquire(VNRES_EVENT_SERVICE, &second), VNRES_SUCCEED);
    ASSERT_EQ(VNStart(first), VNRES_SUCCEED);
    ASSERT_EQ(VNStart(second), VNRES_SUCCEED);
    EXPECT_EQ(VNStop(first), VNRES_SUCCEED);
    EXPECT_EQ(VNRelease(first), VNRES_SUCCEED);
    EXPECT_TRUE(runs(second));
    end(second);
}

}  // namespace
