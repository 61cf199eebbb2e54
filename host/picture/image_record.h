#ifndef KEP_HOST_IMAGE_RECORD_H
#define KEP_HOST_IMAGE_RECORD_H

#include <cstdint>

namespace kep::host {

/**
 * How the camera's picture is made, for all who see it: the segment "vornisa_shm_image", which any process
 * may write. Each member is 0 or not.
 */
struct ImageRecord {
    std::uint8_t hflip;       /**< left and right change places */
    std::uint8_t vflip;       /**< top and bottom change places */
    std::uint8_t antiFlicker; /**< exposure follows the flicker of lamps */
    std::uint8_t reserved;
};

constexpr const char* kImageSegment = "vornisa_shm_image";

}  // namespace kep::host

#endif
