#include "media/video/camera.h"
#include "picture/test_card.h"

namespace kep::host {

namespace {

using Clock = std::chrono::steady_clock;

// Like a driver's ring of buffers: pictures that are late by less are still delivered, older ones are missed.
constexpr std::chrono::seconds kRing(1);
constexpr std::int64_t kSecond = 1'000'000'000;  // nanoseconds

/** Index of the last point of the grid of `rate` at or before `time`; the exact inverse of gridTime(). */
std::int64_t gridIndex(Clock::time_point time, int rate) {
    const std::int64_t ns = time.time_since_epoch() / std::chrono::nanoseconds(1);
    return ns / kSecond * rate + ((ns % kSecond + 1) * rate - 1) / kSecond;
}

Clock::time_point gridTime(std::int64_t index, int rate) {
    return Clock::time_point(
        std::chrono::nanoseconds(index / rate * kSecond + index % rate * kSecond / rate));
}

/**
 * A camera that films the test card, at the highest rate that a consumer requests. The capture times are
 * whole multiples of the picture's duration on the steady clock.
 */
class TestCamera final : public Camera {
  public:
    CameraFormat format() const override {
        return {TestCard::width, TestCard::height, {0, 1}, AVCOL_SPC_BT709};
    }
    bool next(int wanted, Picture& picture, std::string& reason) override;

  private:
    TestCard card_;
    PicturePool pool_;
    Clock::time_point last_{};
};

bool TestCamera::next(int wanted, Picture& picture, std::string& reason) {
    const Clock::time_point now = Clock::now();
    const std::int64_t current = gridIndex(now, wanted);
    std::int64_t due = current;
    if (last_ != Clock::time_point{}) {
        due = gridIndex(last_, wanted) + 1;
        if (now - gridTime(due, wanted) > kRing) {
            picture.number += current - due;
            due = current;
        }
    }
    picture.stamp = last_ = gridTime(due, wanted);
    picture.frame = pool_.get(TestCard::width, TestCard::height);
    if (!picture.frame) {
        reason = "no memory for a picture";
        return false;
    }
    picture.frame->colorspace = AVCOL_SPC_BT709;
    card_.paint(picture.frame->data[0], static_cast<std::uint32_t>(picture.number), picture.stamp, wanted);
    return true;
}

}  // namespace

std::unique_ptr<Camera> openTestCamera() {
    return std::make_unique<TestCamera>();
}

}  // namespace kep::host
