#ifndef KEP_HOST_TEST_CAMERA_H
#define KEP_HOST_TEST_CAMERA_H

#include "media/video/camera.h"
#include "picture/test_card.h"

namespace kep::host {

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
    std::chrono::steady_clock::time_point last_{};
};

}  // namespace kep::host

#endif
