#ifndef KEP_HOST_TEST_CARD_H
#define KEP_HOST_TEST_CARD_H

#include <chrono>
#include <cstdint>
#include <vector>

#include "picture/stroke_font.h"

namespace kep::host {

/**
 * The test picture: colour bars, a grey ramp with a sweeping mark, a ball that circles once a second, the
 * clock, the picture's number in digits and as a FrameCode, a field that flashes for the first tenth of each
 * second of the steady clock, and a band of snow that keeps an encoder busy at any bit rate.
 */
class TestCard {
  public:
    static constexpr int width = 1920;
    static constexpr int height = 1080;

    TestCard();

    /** Paints picture `number`, captured at `stamp`, at `rate` pictures per second, into `planes`: contiguous
     * planar YUV 4:2:0, BT.709, limited range. */
    void paint(std::uint8_t* planes, std::uint32_t number, std::chrono::steady_clock::time_point stamp,
               int rate);

  private:
    void paintBackground();
    void paintSnow(std::uint8_t* luma);
    void paintCode(std::uint8_t* luma, std::uint32_t number) const;
    void paintClock(std::uint8_t* luma, std::uint32_t number, std::chrono::steady_clock::time_point stamp,
                    int rate) const;
    void paintMotion(std::uint8_t* luma, std::chrono::nanoseconds intoSecond) const;

    StrokeFont clockFont_;
    StrokeFont lineFont_;
    std::vector<std::uint8_t> background_;
    std::vector<std::uint8_t> snow_;
    std::vector<std::uint8_t> ball_;
    std::uint32_t random_ = 1;
};

}  // namespace kep::host

#endif
