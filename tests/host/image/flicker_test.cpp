// Anti-flicker through the control of a V4L2 device.
#include "fake_video_device.h"
#include "image_fixture.h"
#include "media/video/flicker_control.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

using Values = std::vector<int>;

class FlickerTest : public ImageTest {
  protected:
    void SetUp() override {}
    void follow() {
        // Once per picture.
        for (int i = 0; i < 3; ++i) control_.follow();
    }

    FakeVideoDevice device_;

  private:
    FlickerControl control_{"/dev/null"};
};

TEST_F(FlickerTest, IsSetWhenItChanges) {
    follow();
    EXPECT_EQ(VNTurnVideo(1), VNRES_SUCCEED);
    EXPECT_EQ(VNAeFlick(0), VNRES_SUCCEED);
    follow();
    EXPECT_EQ(device_.set, Values{}) << "the device keeps its own setting";
    EXPECT_EQ(VNAeFlick(1), VNRES_SUCCEED);
    follow();
    EXPECT_EQ(device_.set, Values{3});
    EXPECT_EQ(VNAeFlick(0), VNRES_SUCCEED);
    follow();
    EXPECT_EQ(device_.set, (Values{3, 0}));
}

TEST_F(FlickerTest, TakesTheFrequencyThatTheDeviceOffers) {
    device_.maximum = 2;
    device_.usual = 2;
    EXPECT_EQ(VNAeFlick(1), VNRES_SUCCEED);
    follow();
    EXPECT_EQ(VNAeFlick(0), VNRES_SUCCEED);
    follow();
    device_.usual = 0;
    EXPECT_EQ(VNAeFlick(1), VNRES_SUCCEED);
    follow();
    EXPECT_EQ(device_.set, (Values{2, 0, 1}));
}

TEST_F(FlickerTest, IsReportedOnceIfRefused) {
    const ErrorLines lines;
    device_.refuses = true;
    EXPECT_EQ(VNAeFlick(1), VNRES_SUCCEED);
    follow();
    EXPECT_EQ(lines.count("camera v4l2:/dev/null: cannot set anti-flicker: Device or resource busy"), 1)
        << lines.raw();
}

TEST_F(FlickerTest, IsKeptWithoutAControl) {
    const ErrorLines lines;
    device_.isDisabled = true;
    EXPECT_EQ(VNAeFlick(1), VNRES_SUCCEED);
    follow();
    FlickerControl missing("/dev/video-not-here");
    missing.follow();
    EXPECT_EQ(device_.set, Values{});
    EXPECT_EQ(lines.raw(), "") << "logged nothing";
}

}  // namespace
}  // namespace kep::host
