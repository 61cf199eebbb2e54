#ifndef KEP_HOST_IMAGE_RECORD_H
#define KEP_HOST_IMAGE_RECORD_H

#include <cstdint>

namespace kep::host {

/**
 * Settings of the camera's picture for all consumers, in the segment "vornisa_shm_image", which any process
 * may write. Members are booleans: zero or non-zero.
 */
struct ImageRecord {
    std::uint8_t hflip;       /**< swaps left and right */
    std::uint8_t vflip;       /**< swaps top and bottom */
    std::uint8_t antiFlicker; /**< adapts the exposure to the flicker of lamps */
    std::uint8_t reserved;
};

constexpr const char* kImageSegment = "vornisa_shm_image";

}  // namespace kep::host

#endif
