// Finding people in a camera's pictures, and how applications are notified.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "error_lines.h"
#include "own_segments.h"
#include "people_model.h"
#include "stream_fixture.h"
#include "vision/human_record.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

constexpr const char* kClip = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";

std::int64_t now() {
    return std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1);
}

class HumanDetection : public VideoTest {
  protected:
    HumanDetection() { box_ = &messages_; }
    ~HumanDetection() override {
        // A detection runs until its process ends, and so does its callback: detach it from the fixture.
        for (const int id : ids_) VNRegisterMessageCallback(id, [](const char*) {});
        for (const int id : ids_) VNRelease(id);
        unsetenv("KEP_HOST_PEOPLE_MODEL");
    }

    /** Installs a detector that finds someone everywhere, so that no picture of people is needed. */
    void findEverywhere() {
        writeModel(path("everyone.yml").string(), 3);
        setenv("KEP_HOST_PEOPLE_MODEL", path("everyone.yml").c_str(), 1);
    }
    int attach() {
        int id = 0;
        EXPECT_EQ(VNAcquire(VNRES_HUMAN_SHM, &id), VNRES_SUCCEED);
        EXPECT_EQ(VNRegisterMessageCallback(id, [](const char* message) { box_->put(message); }),
                  VNRES_SUCCEED);
        ids_.push_back(id);
        return id;
    }
    void release(int id) {
        std::erase(ids_, id);
        EXPECT_EQ(VNRelease(id), VNRES_SUCCEED);
    }
    /** Waits for `count` more results. */
    bool receivesMore(std::size_t count = 2) {
        const std::size_t before = messages_.all("name=human").size();
        const auto end = Clock::now() + patience;
        while (messages_.all("name=human").size() < before + count) {
            if (Clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }
    std::string segment() const { return segments_.path(kHumanSegment); }
    HumanRecord record() const {
        HumanRecord found{};
        const int file = shm_open(segment().c_str(), O_RDONLY, 0);
        EXPECT_EQ(pread(file, &found, sizeof found, 0), static_cast<ssize_t>(sizeof found));
        close(file);
        return found;
    }

    /** Waits until `count` pictures have been processed; returns the record's sequence number. */
    std::uint32_t waitForPictures(std::uint32_t count) const {
        const auto end = Clock::now() + patience;
        std::uint32_t sequence = 0;
        while (sequence < 2 * count && Clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            if (std::filesystem::exists("/dev/shm" + segment())) sequence = record().sequence;
        }
        EXPECT_GE(sequence, 2 * count);
        return sequence;
    }

    MessageBox messages_;

  private:
    static inline MessageBox* box_ = nullptr;
    std::vector<int> ids_;
    const OwnSegments segments_;
};

TEST_F(HumanDetection, FindsThePeopleOfAFilm) {
    if (!std::filesystem::exists(kClip)) GTEST_SKIP() << "needs the package opencv-doc";
    choose(std::string("file:") + kClip);
    attach();
    ASSERT_EQ(VNHumanDetect(640, 360, 5), VNRES_SUCCEED);
    const std::string message = messages_.waitFor("name=human,count=", ",person0={x=");
    int count = 0, x = 0, y = 0, w = 0, h = 0, read = 0;
    double score = 0;
    ASSERT_EQ(std::sscanf(message.c_str(), "name=human,count=%d,person0={x=%d,y=%d,w=%d,h=%d,score=%lf}%n",
                          &count, &x, &y, &w, &h, &score, &read),
              6)
        << message;
    EXPECT_GT(read, 0) << message;
    EXPECT_GE(count, 1);
    // The people in the clip are from an eighth to half as high as the picture, and completely inside it.
    EXPECT_GE(h, 1080 / 8);
    EXPECT_LE(h, 1080 / 2);
    EXPECT_LT(w, h);
    EXPECT_GE(std::min(x, y), 0);
    EXPECT_LE(x + w, 1920);
    EXPECT_LE(y + h, 1080);
    EXPECT_GE(score, 0.5);
    const std::size_t at = message.rfind(",time=");
    ASSERT_NE(at, std::string::npos) << message;
    const std::int64_t time = std::stoll(message.substr(at + 6));
    EXPECT_LE(time, now());
    EXPECT_GT(time, now() - 60'000);
}

TEST_F(HumanDetection, FindsNobodyInTheTestPicture) {
    attach();
    ASSERT_EQ(VNHumanDetect(640, 360, 30), VNRES_SUCCEED);
    waitForPictures(8);
    EXPECT_EQ(record().count, 0u);
    EXPECT_TRUE(messages_.all("name=human").empty()) << messages_.all("name=human").front();
}

TEST_F(HumanDetection, UsesTheDetectorOfAnIntegratorAndPublishesARecord) {
    findEverywhere();
    attach();
    ASSERT_EQ(VNHumanDetect(320, 240, 10), VNRES_SUCCEED);
    const std::string message = messages_.waitFor("name=human,count=");
    HumanRecord found = record();
    while (found.sequence & 1) found = record();
    EXPECT_GE(found.sequence, 2u);
    ASSERT_GE(found.count, 1u) << message;
    EXPECT_LE(found.count, 32u);
    const HumanPlace& first = found.people[0];
    EXPECT_FLOAT_EQ(first.score, 3);
    EXPECT_GE(std::min(first.x, first.y), 0);
    EXPECT_GT(std::min(first.w, first.h), 0);
    EXPECT_LE(first.x + first.w, 1920);
    EXPECT_LE(first.y + first.h, 1080);
    EXPECT_LE(found.time, now());
    EXPECT_GT(found.time, now() - 60'000);
    EXPECT_NE(message.find(",score=3.00}"), std::string::npos) << message;
}

TEST_F(HumanDetection, RefusesAnInvalidDetector) {
    const ErrorLines lines;
    const auto refused = [&](const std::string& model, const std::string& reason) {
        setenv("KEP_HOST_PEOPLE_MODEL", model.c_str(), 1);
        EXPECT_EQ(VNHumanDetect(640, 360, 5), VNRES_FAIL);
        EXPECT_EQ(lines.count("KEP_HOST_PEOPLE_MODEL " + model + ": " + reason), 1) << lines.raw();
    };
    refused("/no/such/file.yml", "No such file or directory");
    const std::string other = path("other.yml").string();
    std::ofstream(other) << "%YAML:1.0\n---\nsomething: 1\n";
    refused(other, "not an OpenCV HOGDescriptor model");
    const std::string noise = path("noise.yml").string();
    std::ofstream(noise) << "nothing of the kind";
    refused(noise, "not an OpenCV HOGDescriptor model");
}

TEST_F(HumanDetection, ContinuesWithoutAttachedHandles) {
    findEverywhere();
    const int first = attach();
    ASSERT_EQ(VNHumanDetect(640, 360, 10), VNRES_SUCCEED);
    EXPECT_TRUE(receivesMore()) << "a handle attached before the detection gets no messages";
    const int second = attach();
    release(first);
    EXPECT_TRUE(receivesMore());
    release(second);
    attach();
    EXPECT_TRUE(receivesMore()) << "stopped while no handle was attached";
}

TEST_F(HumanDetection, MayShareItsIndexWithACodeReader) {
    findEverywhere();
    int codes = 0;
    ASSERT_EQ(VNAcquire(VNRES_QRCODE, &codes), VNRES_SUCCEED);
    ASSERT_EQ(VNStart(codes), VNRES_SUCCEED);
    attach();
    ASSERT_EQ(VNHumanDetect(640, 360, 10), VNRES_SUCCEED);
    EXPECT_TRUE(receivesMore());
    EXPECT_EQ(VNStop(codes), VNRES_SUCCEED);
    EXPECT_EQ(VNRelease(codes), VNRES_SUCCEED);
    EXPECT_TRUE(receivesMore());
}

TEST_F(HumanDetection, AnotherSizeDoesNotBreakTheFirst) {
    findEverywhere();
    ASSERT_EQ(VNHumanDetect(640, 360, 10), VNRES_SUCCEED);
    attach();
    EXPECT_TRUE(receivesMore());
    ASSERT_EQ(VNHumanDetect(320, 180, 5), VNRES_SUCCEED);
    EXPECT_TRUE(receivesMore(4)) << "the handle gets no messages of the first detection";
    EXPECT_EQ(VNHumanDetect(-1, 360, 5), VNRES_FAIL) << "invalid size";
    EXPECT_TRUE(receivesMore());
}

TEST_F(HumanDetection, DelaysNoStream) {
    // Three times as many pictures as a fast machine can process.
    ASSERT_EQ(VNHumanDetect(1280, 720, 60), VNRES_SUCCEED);
    const std::uint32_t before = waitForPictures(1);
    const auto stream = newYuv(320, 180, 60);
    Messages messages(*stream);
    ASSERT_TRUE(stream->ChangeUp(State::play));
    std::vector<Frame> pictures;
    std::uint32_t looked = 0;
    // One detection may take longer than a second and must complete beside the stream.
    while (looked == 0) {
        std::vector<Frame> more = pull(*stream, 60);
        ASSERT_EQ(more.size(), 60u);
        std::ranges::move(more, std::back_inserter(pictures));
        looked = (record().sequence - before) / 2;
    }
    expectRunningOn(numbersOf(pictures, 320, 180), messages);
    EXPECT_LT(looked, pictures.size() * 3 / 4) << "the detector must skip pictures that it has no time for";
}

}  // namespace
}  // namespace kep::host
