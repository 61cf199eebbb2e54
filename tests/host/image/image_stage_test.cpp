// Zones and flips in the pictures that applications get.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <thread>

#include "image_fixture.h"
#include "kep/shm_rects.h"
#include "picture/stamp_record.h"
#include "sanitizers.h"

namespace kep::host {
namespace {

/** A plane mirrored horizontally, vertically or both. */
std::string mirrored(const std::string& plane, std::size_t width, bool columns, bool rows) {
    std::string turned;
    const std::size_t height = plane.size() / width;
    for (std::size_t y = 0; y < height; ++y) {
        std::string row = plane.substr((rows ? height - 1 - y : y) * width, width);
        if (columns) std::reverse(row.begin(), row.end());
        turned += row;
    }
    return turned;
}

void fill(std::string& picture, std::size_t plane, std::size_t stride, std::size_t left, std::size_t top,
          std::size_t right, std::size_t bottom, int value) {
    for (std::size_t y = top; y < bottom; ++y)
        std::memset(&picture[plane + y * stride + left], value, right - left);
}

/** Describes the first unexpected sample; "" if there is none. */
std::string difference(const std::string& found, const std::string& expected) {
    if (found.size() != expected.size()) return std::to_string(found.size()) + " bytes";
    const auto [got, wanted] = std::mismatch(found.begin(), found.end(), expected.begin());
    if (got == found.end()) return "";
    return "sample " + std::to_string(got - found.begin()) + ": " +
           std::to_string(static_cast<unsigned char>(*got)) + ", expected " +
           std::to_string(static_cast<unsigned char>(*wanted));
}

class StageTest : public ImageTest {
  protected:
    void SetUp() override {
        ImageTest::SetUp();
        source_ = newYuv(kWidth, kHeight, 30);
        ASSERT_TRUE(source_->ChangeUp(State::play));
        plain_ = next(*source_);
        ASSERT_EQ(plain_.size(), kLuma * 3 / 2);
    }

    std::string picture() { return next(*source_); }
    const std::string& plain() const { return plain_; }
    /** The difference of the next picture from the expected one. */
    std::string wrong(const std::string& expected) { return difference(picture(), expected); }
    std::string flipped(bool columns, bool rows) const {
        return mirrored(plain_.substr(0, kLuma), kWidth, columns, rows) +
               mirrored(plain_.substr(kLuma, kLuma / 4), kWidth / 2, columns, rows) +
               mirrored(plain_.substr(kLuma * 5 / 4), kWidth / 2, columns, rows);
    }
    /**
     * The picture with a rectangle from 100, 100 to before 300, 200 in the table's red (BT.709, limited
     * range).
     */
    static std::string withRed(std::string picture) {
        fill(picture, 0, kWidth, 100, 100, 300, 200, 62);
        fill(picture, kLuma, kWidth / 2, 50, 50, 150, 100, 102);
        fill(picture, kLuma * 5 / 4, kWidth / 2, 50, 50, 150, 100, 240);
        return picture;
    }
    /** Sets the zone that withRed() paints. */
    static void setRed(int index) {
        EXPECT_EQ(VNZonesSet(index, 300, 300, 600, 300, 0xff0000), VNRES_SUCCEED);
        EXPECT_EQ(VNZonesEnable(index, 1), VNRES_SUCCEED);
    }

    Owned<IYuvSource> source_;

  private:
    std::string plain_;
};

TEST_F(StageTest, AZoneIsInTheNextPictureAndNothingElseIsPainted) {
    EXPECT_EQ(VNZonesSet(3, 300, 300, 600, 300, 0xff0000), VNRES_SUCCEED);
    EXPECT_EQ(wrong(plain()), "") << "set but not enabled";
    EXPECT_EQ(VNZonesEnable(3, 1), VNRES_SUCCEED);
    EXPECT_EQ(wrong(withRed(plain())), "");
    EXPECT_EQ(VNZonesEnable(3, 0), VNRES_SUCCEED);
    EXPECT_EQ(wrong(plain()), "");
}

TEST_F(StageTest, AZoneIsInTheFirstPicture) {
    ASSERT_TRUE(source_->ChangeDown(State::null));
    setRed(0);
    const auto another = newYuv(kWidth, kHeight, 30);
    ASSERT_TRUE(another->ChangeUp(State::play));
    EXPECT_EQ(difference(next(*another), withRed(plain())), "");
}

TEST_F(StageTest, APictureInUseIsNotChanged) {
    Frame held;
    ASSERT_TRUE(source_->PullFrame(held, true));
    setRed(0);
    ASSERT_EQ(wrong(withRed(plain())), "");
    EXPECT_EQ(std::memcmp(held->data, plain().data(), plain().size()), 0);
}

TEST_F(StageTest, AZoneCoversAStreamOfAnotherSize) {
    setRed(0);
    const auto small = newH264(320, 180, 30);
    ASSERT_TRUE(small->ChangeUp(State::play));
    Decoder decoder;
    const std::vector<Frame> units = pull(*small, 3);
    ASSERT_EQ(units.size(), 3u);
    const AVFrame* last = nullptr;
    for (const Frame& unit : units) ASSERT_TRUE(last = decoder.decode(*unit));
    for (int y = 52; y < 98; ++y)
        for (int x = 52; x < 148; ++x)
            ASSERT_NEAR(last->data[0][y * last->linesize[0] + x], 63, 8) << x << ' ' << y;
}

TEST_F(StageTest, EachFlipTurnsTheWholePicture) {
    for (const int mode : {1, 2, 3, 0}) {
        ASSERT_EQ(VNTurnVideo(mode), VNRES_SUCCEED);
        EXPECT_EQ(wrong(flipped(mode & 1, mode & 2)), "") << mode;
    }
}

TEST_F(StageTest, ZonesLieOnThePictureAsItIsSeen) {
    ASSERT_EQ(VNTurnVideo(3), VNRES_SUCCEED);
    setRed(15);
    EXPECT_EQ(wrong(withRed(flipped(true, true))), "");
}

TEST_F(StageTest, ASegmentThatIsTooShortIsReportedOnceAndNotPainted) {
    const ErrorLines lines;
    make("vornisa_shm_rects", 100);
    for (int i = 0; i < 5; ++i) ASSERT_EQ(wrong(plain()), "");
    EXPECT_EQ(lines.count("shared memory vornisa_shm_rects: too short: 100 bytes, 396 needed"), 1);
    remove("vornisa_shm_rects");
    setRed(0);
    EXPECT_EQ(wrong(withRed(plain())), "");
}

TEST_F(StageTest, ASegmentThatIsRemovedTakesItsZonesAlong) {
    setRed(0);
    ASSERT_EQ(wrong(withRed(plain())), "");
    remove("vornisa_shm_rects");
    EXPECT_EQ(wrong(plain()), "");
    setRed(1);
    EXPECT_EQ(wrong(withRed(plain())), "");
}

TEST_F(StageTest, RandomBytesInTheSegmentAreHarmless) {
    make("vornisa_shm_rects", sizeof(shm::shm_rects_t));
    make("vornisa_shm_image", 4);
    make("vornisa_shm_stamp", sizeof(StampTable));
    std::atomic<bool> isOver{false};
    std::thread writer([&] {
        std::mt19937 random(7);
        const int zones = shm_open(segment("vornisa_shm_rects").c_str(), O_RDWR, 0);
        const int image = shm_open(segment("vornisa_shm_image").c_str(), O_RDWR, 0);
        const int stamps = shm_open(segment("vornisa_shm_stamp").c_str(), O_RDWR, 0);
        while (!isOver) {
            const auto word = static_cast<std::uint32_t>(random());
            const off_t place = static_cast<off_t>(random() % (sizeof(shm::shm_rects_t) / 4) * 4);
            const off_t inStamps = static_cast<off_t>(random() % (sizeof(StampTable) / 4) * 4);
            if (pwrite(zones, &word, 4, place) != 4 || pwrite(image, &word, 4, 0) != 4 ||
                pwrite(stamps, &word, 4, inStamps) != 4)
                break;
            if (random() % 64 == 0 && ftruncate(zones, static_cast<off_t>(random() % 400)) != 0) break;
        }
        close(zones);
        close(image);
        close(stamps);
    });
    for (int i = 0; i < (kSanitized ? 20 : 90); ++i) EXPECT_EQ(picture().size(), plain().size());
    isOver = true;
    writer.join();
    remove("vornisa_shm_rects");
    remove("vornisa_shm_image");
    remove("vornisa_shm_stamp");
    EXPECT_EQ(wrong(plain()), "");
}

}  // namespace
}  // namespace kep::host
