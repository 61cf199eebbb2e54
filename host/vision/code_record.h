#ifndef KEP_HOST_CODE_RECORD_H
#define KEP_HOST_CODE_RECORD_H

#include <cstdint>

namespace kep::host {

/** The code that appeared last, in the segment "vornisa_shm_code", which any process may read. */
struct CodeRecord {
    std::uint32_t sequence;  /**< odd while the rest is written; grows by 2 with each code */
    std::uint32_t length;    /**< bytes of the text */
    std::int64_t time;       /**< of the capture of the picture, in milliseconds since 1970 */
    std::int32_t x, y, w, h; /**< bounding box of the code in a frame of 1920x1080 */
    char format[32];         /**< such as "QRCode", zero-terminated */
    char text[7168];         /**< in UTF-8; a QR code has 7089 characters at most */
};

static_assert(sizeof(CodeRecord) == 7232, "other programs rely on this layout");

constexpr const char* kCodeSegment = "vornisa_shm_code";

}  // namespace kep::host

#endif
