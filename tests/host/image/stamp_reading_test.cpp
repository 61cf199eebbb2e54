// Reads stamps by optical character recognition.
#include <ctime>
#include <fstream>

#include "image_fixture.h"
#include "picture/picture.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

using std::chrono::milliseconds;

struct PictureSize {
    int width, height;
};

class StampReading : public ImageTest, public testing::WithParamInterface<PictureSize> {
  protected:
    void SetUp() override {
        const auto [width, height] = GetParam();
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
        makeFile("-f lavfi -i testsrc2=s=" + size + " -frames:v 1 -pix_fmt yuv420p still.png");
        choose("file:" + path("still.png").string());
        source_ = newYuv(width, height, 10);
        ASSERT_EQ(VNAcquire(VNRES_STAMP, &stamp_), VNRES_SUCCEED);
        ASSERT_TRUE(source_->ChangeUp(State::play));
    }
    ~StampReading() override { VNRelease(stamp_); }

    /** The capture time of a picture, in milliseconds of the time of day. */
    static std::int64_t timeOf(const Frame& frame) {
        return std::chrono::floor<milliseconds>(wallTimeOf(frame->stamp).time_since_epoch()).count();
    }
    static std::string text(std::int64_t time) {
        const std::time_t seconds = time / 1000;
        std::tm local{};
        localtime_r(&seconds, &local);
        char text[64];
        return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local)};
    }
    /**
     * A picture of a later second than `last`, and at least 100 ms from the second's ends: the stamp's time
     * may differ from ours by a few milliseconds.
     */
    Frame pictureAfter(std::int64_t last) {
        for (Frame frame; source_->PullFrame(frame, true);) {
            const std::int64_t time = timeOf(frame);
            if (time / 1000 > last / 1000 && time % 1000 > 100 && time % 1000 < 900) return frame;
        }
        return nullptr;
    }
    /** The text recognised in the upper left corner of a picture, which is enlarged first. */
    std::string read(const Frame& frame) const {
        const auto [width, height] = GetParam();
        std::ofstream(path("raw"), std::ios::binary)
            .write(reinterpret_cast<const char*>(frame->data), frame->size);
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
        makeFile("-f rawvideo -pix_fmt yuv420p -s " + size + " -i " + path("raw").string() +
                 " -vf crop=iw*0.35:ih*0.09:iw*0.01:0,scale=-1:120,format=gray,negate corner.png");
        const std::string found = outputOf("OMP_THREAD_LIMIT=1 tesseract " + path("corner.png").string() +
                                           " - --psm 7 2>/dev/null");
        return found.substr(0, found.find('\n'));
    }

    int stamp_ = 0;
    Owned<IYuvSource> source_;
};

TEST_P(StampReading, ShowsTheSecondInWhichThePictureWasCaptured) {
    // The default font has a dotted zero, which OCR misreads at small sizes.
    ASSERT_EQ(VNStampInit0(stamp_, 24, 48, "DejaVu Sans"), VNRES_SUCCEED);
    ASSERT_EQ(VNStampSet0(stamp_, 32, 8, 0xFFFFFF, "%Y-%m-%d %H:%M:%S"), VNRES_SUCCEED);
    ASSERT_EQ(VNStampEnable0(stamp_, 1), VNRES_SUCCEED);
    // A dark background.
    ASSERT_EQ(VNZonesSet(0, 0, 0, 1920, 100, 0), VNRES_SUCCEED);
    ASSERT_EQ(VNZonesEnable(0, 1), VNRES_SUCCEED);
    // The first pictures may have been captured earlier.
    Frame frame;
    for (const auto begin = Clock::now(); !frame || frame->stamp < begin;)
        ASSERT_TRUE(source_->PullFrame(frame, true));
    for (int seconds = 0; seconds < 2; ++seconds) {
        frame = pictureAfter(timeOf(frame));
        ASSERT_TRUE(frame);
        EXPECT_EQ(read(frame), text(timeOf(frame)));
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, StampReading,
                         testing::Values(PictureSize{640, 360}, PictureSize{1280, 720},
                                         PictureSize{1920, 1080}),
                         [](const auto& size) { return "High" + std::to_string(size.param.height); });

}  // namespace
}  // namespace kep::host
