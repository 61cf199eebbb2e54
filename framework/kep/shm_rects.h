#ifndef KEP_SHM_RECTS_H
#define KEP_SHM_RECTS_H

#include <cstddef>
#include <cstdint>

namespace kep {
namespace shm {

/** One privacy zone. */
struct shm_rect_t {
    bool draw;      /**< painted or not */
    std::int32_t x; /**< pixels of the reference frame, like y, w and h */
    std::int32_t y;
    std::int32_t w;
    std::int32_t h;
    std::uint32_t color; /**< packed YUV: U in bits 0-7, Y in 8-15, V in 16-23 */
};

/** The table of privacy zones, shared with the element that draws them. */
struct shm_rects_t {
    shm_rect_t rects[16];
    std::int32_t width; /**< of the reference frame, in pixels */
    std::int32_t height;
    bool valid; /**< the table has been written and may be drawn */
};

static_assert(sizeof(shm_rect_t) == 24, "zone entry layout");
static_assert(offsetof(shm_rect_t, draw) == 0, "zone entry layout");
static_assert(offsetof(shm_rect_t, x) == 4, "zone entry layout");
static_assert(offsetof(shm_rect_t, y) == 8, "zone entry layout");
static_assert(offsetof(shm_rect_t, w) == 12, "zone entry layout");
static_assert(offsetof(shm_rect_t, h) == 16, "zone entry layout");
static_assert(offsetof(shm_rect_t, color) == 20, "zone entry layout");
static_assert(sizeof(shm_rects_t) == 396, "zone table layout");
static_assert(offsetof(shm_rects_t, rects) == 0, "zone table layout");
static_assert(offsetof(shm_rects_t, width) == 384, "zone table layout");
static_assert(offsetof(shm_rects_t, height) == 388, "zone table layout");
static_assert(offsetof(shm_rects_t, valid) == 392, "zone table layout");

}  // namespace shm
}  // namespace kep

#endif
