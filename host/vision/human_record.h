#ifndef KEP_HOST_HUMAN_RECORD_H
#define KEP_HOST_HUMAN_RECORD_H

#include <cstdint>

namespace kep::host {

/** A person in a frame of 1920x1080. */
struct HumanPlace {
    std::int32_t x, y, w, h;
    float score; /**< distance from the model's border; larger is surer */
};

constexpr int kMaxHumans = 32;

/** Who was in the last picture looked at: the segment "vornisa_shm_human", which any process may read. */
struct HumanRecord {
    std::uint32_t sequence; /**< odd while the rest is written; larger by 2 for each picture */
    std::uint32_t count;    /**< how many of `people` are filled */
    std::int64_t time;      /**< at which the picture was captured, in milliseconds since 1970 */
    HumanPlace people[kMaxHumans];
};

static_assert(sizeof(HumanRecord) == 656, "other programs rely on this layout");

constexpr const char* kHumanSegment = "vornisa_shm_human";

}  // namespace kep::host

#endif
