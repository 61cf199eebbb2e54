// Stamps set through the API, in the pictures that applications get.
#include <cstring>

#include "full_memory.h"
#include "image_fixture.h"
#include "kep/attr_set.h"
#include "kep/entry_points.h"
#include "kep/object.h"
#include "picture/stamp_record.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

/** FULL BLOCK, which fills its cell in DejaVu Sans Mono. */
constexpr const char* kBlock = "\u2588";

class StampObjectTest : public ImageTest {
  protected:
    void SetUp() override {
        ImageTest::SetUp();
        ASSERT_EQ(VNAcquire(VNRES_STAMP, &stamp_), VNRES_SUCCEED);
    }
    ~StampObjectTest() override { VNRelease(stamp_); }

    void film() {
        source_ = newYuv(kWidth, kHeight, 30);
        ASSERT_TRUE(source_->ChangeUp(State::play));
        plain_ = next(*source_);
        ASSERT_EQ(plain_.size(), kLuma * 3 / 2);
    }
    std::string picture() { return next(*source_); }
    /** Sets a block of 100 by 100 pixels at 200, 100. */
    void setBlock(int stamp) {
        EXPECT_EQ(VNStampInit0(stamp, 300, 300, ""), VNRES_SUCCEED);
        EXPECT_EQ(VNStampSet0(stamp, 600, 300, 0xFFFFFF, kBlock), VNRES_SUCCEED);
        EXPECT_EQ(VNStampEnable0(stamp, 1), VNRES_SUCCEED);
    }
    static int lumaAt(const std::string& picture, std::size_t x, std::size_t y) {
        return static_cast<unsigned char>(picture[y * kWidth + x]);
    }
    StampTable table() const {
        StampTable found{};
        const int file = shm_open(segment("vornisa_shm_stamp").c_str(), O_RDONLY, 0);
        EXPECT_EQ(pread(file, &found, sizeof found, 0), static_cast<ssize_t>(sizeof found));
        close(file);
        return found;
    }

    int stamp_ = 0;
    Owned<IYuvSource> source_;
    std::string plain_;
};

TEST_F(StampObjectTest, AStampIsInTheNextPictureAndNothingElseIsPainted) {
    film();
    setBlock(stamp_);
    const std::string with = picture();
    EXPECT_EQ(lumaAt(with, 250, 150), 235);
    for (std::size_t y = 0; y < kHeight; ++y) {
        for (std::size_t x = 0; x < kWidth; ++x) {
            if (x >= 198 && x < 302 && y >= 98 && y < 202) continue;
            ASSERT_EQ(lumaAt(with, x, y), lumaAt(plain_, x, y)) << x << ' ' << y;
        }
    }
    EXPECT_EQ(VNStampEnable0(stamp_, 0), VNRES_SUCCEED);
    EXPECT_TRUE(picture() == plain_);
}

TEST_F(StampObjectTest, AStampLiesAboveZones) {
    film();
    setBlock(stamp_);
    EXPECT_EQ(VNZonesSet(0, 0, 0, 1920, 1080, 0), VNRES_SUCCEED);
    EXPECT_EQ(VNZonesEnable(0, 1), VNRES_SUCCEED);
    const std::string with = picture();
    EXPECT_EQ(lumaAt(with, 250, 150), 235);
    EXPECT_EQ(lumaAt(with, 50, 50), 16);
}

TEST_F(StampObjectTest, AStampIsSetAsTheFunctionsSay) {
    EXPECT_EQ(VNStampInit0(stamp_, 20, 40, "DejaVu Serif"), VNRES_SUCCEED);
    EXPECT_EQ(VNStampSet11(stamp_, 10, 20, 0xFF123456, "one, {two} + %H"), VNRES_SUCCEED);
    EXPECT_EQ(VNStampBgColorSet1(stamp_, 0x80ABCDEF), VNRES_SUCCEED);
    EXPECT_EQ(VNStampEnable0(stamp_, 7), VNRES_SUCCEED);
    StampRecord set = table().stamps[0];
    EXPECT_EQ(set.draw, 1);
    EXPECT_EQ(set.referenceWidth, 1920);
    EXPECT_EQ(set.referenceHeight, 1080);
    EXPECT_EQ(set.w, 20);
    EXPECT_EQ(set.h, 40);
    EXPECT_STREQ(set.font, "DejaVu Serif");
    EXPECT_EQ(set.x, 10);
    EXPECT_EQ(set.y, 20);
    EXPECT_EQ(set.colour, 0xFF123456);
    EXPECT_EQ(set.background, 0x80ABCDEF);
    EXPECT_STREQ(set.pattern, "one, {two} + %H");
    // Attributes that are not sent keep their values.
    EXPECT_EQ(VNStampSet0(stamp_, 0, 0, 0xFF654321, nullptr), VNRES_SUCCEED);
    EXPECT_EQ(VNStampEnable0(stamp_, 0), VNRES_SUCCEED);
    set = table().stamps[0];
    EXPECT_EQ(set.draw, 0);
    EXPECT_EQ(set.x, 10);
    EXPECT_EQ(set.y, 20);
    EXPECT_EQ(set.colour, 0x654321u);
    EXPECT_STREQ(set.pattern, "one, {two} + %H");
}

TEST_F(StampObjectTest, AStampWrittenByAnotherProcessIsShown) {
    film();
    make("vornisa_shm_stamp", sizeof(StampTable));
    setBlock(stamp_);
    const StampTable mine = table();
    ASSERT_EQ(VNStampEnable0(stamp_, 0), VNRES_SUCCEED);
    ASSERT_TRUE(picture() == plain_);
    const int file = shm_open(segment("vornisa_shm_stamp").c_str(), O_RDWR, 0);
    EXPECT_EQ(pwrite(file, &mine.stamps[0], sizeof(StampRecord), 15 * sizeof(StampRecord)),
              static_cast<ssize_t>(sizeof(StampRecord)));
    EXPECT_EQ(lumaAt(picture(), 250, 150), 235);
    EXPECT_EQ(ftruncate(file, 100), 0);
    close(file);
    EXPECT_TRUE(picture() == plain_) << "truncated segment";
    remove("vornisa_shm_stamp");
    EXPECT_TRUE(picture() == plain_) << "removed segment";
    setBlock(stamp_);
    EXPECT_EQ(lumaAt(picture(), 250, 150), 235);
}

TEST_F(StampObjectTest, ASegmentThatIsTooShortIsReportedOnce) {
    const ErrorLines lines;
    make("vornisa_shm_stamp", 100);
    film();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(picture() == plain_);
    EXPECT_EQ(lines.count("shared memory vornisa_shm_stamp: too short: 100 bytes, 21056 needed"), 1);
}

TEST_F(StampObjectTest, InvalidSizesAreRefused) {
    const ErrorLines lines;
    EXPECT_EQ(VNStampInit0(stamp_, -16, 32, ""), VNRES_FAIL);
    EXPECT_EQ(lines.count("StampParam: init0: w=-16 is not from 1 to 540"), 1) << lines.raw();
    EXPECT_EQ(VNStampInit0(stamp_, 16, 541, ""), VNRES_FAIL);
    EXPECT_EQ(lines.count("StampParam: init0: h=541 is not from 1 to 540"), 1) << lines.raw();
    EXPECT_EQ(VNStampInit0(stamp_, 0, 32, ""), VNRES_INVALID_ARG);
}

TEST_F(StampObjectTest, AnUnknownFontIsReportedToItsCaller) {
    const ErrorLines lines;
    EXPECT_EQ(VNStampInit0(stamp_, 16, 32, "No Such Family"), VNRES_SUCCEED);
    EXPECT_EQ(lines.count("font No Such Family: using DejaVu Sans Mono instead: not installed"), 1)
        << lines.raw();
}

TEST_F(StampObjectTest, APatternThatIsTooLongIsCutBetweenCharacters) {
    const ErrorLines lines;
    std::string pattern = "1";
    while (pattern.size() < 10'000) pattern += "ä";
    EXPECT_EQ(VNStampSet0(stamp_, 1, 1, 0, pattern.c_str()), VNRES_SUCCEED);
    EXPECT_EQ(lines.count("StampParam: pattern: only the first 1023 of 10001 bytes are used"), 1)
        << lines.raw();
    EXPECT_EQ(std::string(table().stamps[0].pattern), pattern.substr(0, 1023));
    EXPECT_EQ(VNStampSet0(stamp_, 1, 1, 0, std::string(1024, 'a').c_str()), VNRES_SUCCEED);
    EXPECT_EQ(lines.count("only the first"), 1);
    film();
    EXPECT_EQ(VNStampEnable0(stamp_, 1), VNRES_SUCCEED);
    EXPECT_FALSE(picture() == plain_) << "pattern fills its field, without a terminator";
}

TEST_F(StampObjectTest, OtherStampsHaveOtherObjects) {
    const auto make = [](const std::string& attributes) {
        return std::unique_ptr<object_base>(kepCreate(("type=StampParam," + attributes).c_str()));
    };
    const ErrorLines lines;
    const auto third = make("name=third,ShmMax=16,ShmIdx=3,ShmName=vornisa_shm_stamp");
    ASSERT_TRUE(third);
    base::AttrSet draw("draw=true");
    EXPECT_TRUE(dynamic_cast<base::object&>(*third).Set("draw0", &draw, &typeid(base::AttrSet)));
    EXPECT_EQ(table().stamps[3].draw, 1);
    EXPECT_EQ(table().stamps[0].draw, 0);
    EXPECT_FALSE(make("ShmIdx=16"));
    EXPECT_EQ(lines.count("ShmIdx=16 is not from 0 to 15"), 1) << lines.raw();
    EXPECT_FALSE(make("ShmMax=17"));
    EXPECT_EQ(lines.count("ShmMax=17 is not from 1 to 16"), 1) << lines.raw();
    const auto beyond = make("ShmMax=2,ShmIdx=2");
    ASSERT_TRUE(beyond);
    EXPECT_FALSE(dynamic_cast<base::object&>(*beyond).Set("draw0", &draw, &typeid(base::AttrSet)));
    EXPECT_EQ(lines.count("ShmIdx=2 is not from 0 to 1"), 1) << lines.raw();
}

TEST_F(StampObjectTest, AttributesThatAreWrongChangeNothing) {
    const ErrorLines lines;
    const std::unique_ptr<object_base> object(kepCreate("type=StampParam"));
    const auto refused = [&](const char* property, const char* text, const std::string& line) {
        base::AttrSet set(text);
        EXPECT_FALSE(dynamic_cast<base::object&>(*object).Set(property, &set, &typeid(base::AttrSet)));
        EXPECT_EQ(lines.count(std::string("StampParam: ") + property + ": " + line), 1) << lines.raw();
    };
    setBlock(stamp_);
    const StampTable before = table();
    refused("init0", "w=16", "h is missing");
    refused("init0", "w=wide,h=2", "w=wide is not from 1 to 540");
    refused("change0", "x=1,color=-1", "color=-1 is not from 0 to 4294967295");
    refused("change0", "x=1,refw=0", "refw=0 is not from 1 to 2147483647");
    refused("bgcolor", "bgcolor=1", "alpha is missing");
    refused("bgcolor", "bgcolor=1,alpha=256", "alpha=256 is not from 0 to 255");
    refused("draw0", "draw=perhaps", "draw=perhaps is neither true nor false");
    const StampTable after = table();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

TEST_F(StampObjectTest, SharedMemoryThatIsFullIsRefusedWithALine) {
    const ErrorLines lines;
    {
        const FullMemory full;
        EXPECT_EQ(VNStampEnable0(stamp_, 1), VNRES_FAIL);
        EXPECT_EQ(VNZonesEnable(0, 1), VNRES_FAIL);
        EXPECT_EQ(VNTurnVideo(1), VNRES_FAIL);
    }
    EXPECT_EQ(lines.count("shared memory vornisa_shm_stamp of 21056 bytes: No space left on device"), 1)
        << lines.raw();
    EXPECT_EQ(lines.count("No space left on device"), 3) << lines.raw();
    EXPECT_EQ(VNStampEnable0(stamp_, 1), VNRES_SUCCEED);
}

}  // namespace
}  // namespace kep::host
