#include "media/video/camera.h"
#include "picture/test_card.h"

namespace kep::host {

namespace {

using Clock = std::chrono::steady_clock;

// Like a driver's ring of buffers: younger pictures are delivered late, older ones are missed.
constexpr std::chrono::seconds ring(1);
constexpr std::int64_t second = 1'000'000'000;

/** Index of the last point of the grid of `rate` at or before `time`; the exact reverse of gridTime(). */
std::int64_t gridIndex(Clock::time_point time, int rate) {
    const std::int64_t ns = time.time_since_epoch() / std::chrono::nanoseconds(1);
    return ns / second * rate + ((ns % second + 1) * rate - 1) / second;
}

Clock::time_point gridTime(std::int64_t index, int rate) {
    return Clock::time_point(std::chrono::nanoseconds(index / rate * second + index % rate * second / rate));
}

/**
 * The test picture as a camera. It films at the highest rate that a consumer asks for; the capture times are
 * the whole multiples of the picture's duration on the steady clock.
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
        if (now - gridTime(due, wanted) > ring) {
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
