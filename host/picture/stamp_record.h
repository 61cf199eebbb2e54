#ifndef KEP_HOST_STAMP_RECORD_H
#define KEP_HOST_STAMP_RECORD_H

#include <cstdint>
#include <type_traits>

namespace kep::host {

/** One text in the picture. A record of zeros is not drawn. */
struct StampRecord {
    std::uint8_t draw; /**< drawn if non-zero */
    std::uint8_t reserved[3];
    std::int32_t referenceWidth; /**< of the frame of x, y, w and h; 1920x1080 unless both are positive */
    std::int32_t referenceHeight;
    std::int32_t x;           /**< left edge of the text */
    std::int32_t y;           /**< top edge of its first line */
    std::int32_t w;           /**< width of a digit */
    std::int32_t h;           /**< height of a line */
    std::uint32_t colour;     /**< 0xAARRGGBB; alpha 255 is opaque, and so is 0 */
    std::uint32_t background; /**< 0xAARRGGBB; alpha 255 is opaque, 0 paints none */
    char font[256];           /**< name or file, zero-terminated unless it fills the field */
    char pattern[1024];       /**< the text with time fields, in UTF-8, terminated like the font */
};

/** The segment "vornisa_shm_stamp", which any process may write. Later stamps are drawn over earlier ones. */
struct StampTable {
    StampRecord stamps[16];
};

static_assert(std::is_trivially_copyable_v<StampTable>);
static_assert(sizeof(StampRecord) == 1316, "other programs rely on this layout");

constexpr const char* kStampSegment = "vornisa_shm_stamp";

/** Size of a digit in a stamp without a size: legible in a picture of 640x360. */
constexpr int kUsualStampWidth = 16;
constexpr int kUsualStampHeight = 32;
/** Half the height of the reference frame; a larger character would take seconds and megabytes to draw. */
constexpr int kLargestStampSide = 540;

}  // namespace kep::host

#endif
