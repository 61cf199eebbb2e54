#ifndef KEP_HOST_STAMP_RECORD_H
#define KEP_HOST_STAMP_RECORD_H

#include <cstdint>
#include <type_traits>

namespace kep::host {

/** One text in the picture. Everything of zeros is a stamp that is not drawn. */
struct StampRecord {
    std::uint8_t draw; /**< drawn or not */
    std::uint8_t reserved[3];
    std::int32_t
        referenceWidth; /**< of the frame that x, y, w and h are pixels of; 1920x1080 unless positive */
    std::int32_t referenceHeight;
    std::int32_t x;           /**< left edge of the text */
    std::int32_t y;           /**< top edge of its first line */
    std::int32_t w;           /**< width of a figure */
    std::int32_t h;           /**< height of a line */
    std::uint32_t colour;     /**< 0xAARRGGBB; alpha 255 is opaque, and so is 0 */
    std::uint32_t background; /**< 0xAARRGGBB; alpha 255 is opaque, 0 paints none */
    char font[256];           /**< name or file, ended by a zero unless it fills the field */
    char pattern[1024];       /**< the text with fields of the time, in UTF-8, ended as the font */
};

/** The segment "vornisa_shm_stamp", which any process may write. Higher stamps lie above lower ones. */
struct StampTable {
    StampRecord stamps[16];
};

static_assert(std::is_trivially_copyable_v<StampTable>);
static_assert(sizeof(StampRecord) == 1316, "other programs rely on this layout");

constexpr const char* kStampSegment = "vornisa_shm_stamp";

/** Of a figure of a stamp for which no size is set: legible in a picture of 640x360. */
constexpr int kUsualStampWidth = 16;
constexpr int kUsualStampHeight = 32;
/** Half the height of the reference frame; a larger character would take seconds and megabytes to draw. */
constexpr int kLargestStampSide = 540;

}  // namespace kep::host

#endif
