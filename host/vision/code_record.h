#ifndef KEP_HOST_CODE_RECORD_H
#define KEP_HOST_CODE_RECORD_H

#include <cstdint>

namespace kep::host {

/** The code that appeared last: the segment "vornisa_shm_code", which any process may read. */
struct CodeRecord {
    std::uint32_t sequence;  /**< odd while the rest is written; larger by 2 for each code */
    std::uint32_t length;    /**< bytes of the text */
    std::int64_t time;       /**< at which the picture was captured, in milliseconds since 1970 */
    std::int32_t x, y, w, h; /**< around the code, in a frame of 1920x1080 */
    char format[32];         /**< "QRCode" and the like, ended by a zero */
    char text[7168];         /**< in UTF-8; a QR code has 7089 characters at most */
};

static_assert(sizeof(CodeRecord) == 7232, "other programs rely on this layout");

constexpr const char* kCodeSegment = "vornisa_shm_code";

}  // namespace kep::host

#endif
