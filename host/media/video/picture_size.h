#ifndef KEP_HOST_PICTURE_SIZE_H
#define KEP_HOST_PICTURE_SIZE_H

namespace kep::host {

/** The sides that a picture can have: even numbers of pixels from the smallest to the largest. */
constexpr int kSmallestSide = 16;
constexpr int kLargestSide = 8192;
/** Pictures in a second; more than a camera gives. */
constexpr int kHighestRate = 120;

constexpr bool isSide(int pixels) {
    return pixels >= kSmallestSide && pixels <= kLargestSide && pixels % 2 == 0;
}

}  // namespace kep::host

#endif
