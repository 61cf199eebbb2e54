#ifndef KEP_HOST_HUMAN_RECORD_H
#define KEP_HOST_HUMAN_RECORD_H

#include <cstdint>

namespace kep::host {

/** A person in a frame of 1920x1080. */
struct HumanPlace {
    std::int32_t x, y, w, h;
    float score; /**< distance from the classifier's decision boundary; larger is more certain */
};

constexpr int kMaxHumans = 32;

/** People in the last analysed picture: the segment "vornisa_shm_human", which any process may read. */
struct HumanRecord {
    std::uint32_t sequence; /**< odd while the rest is written; grows by 2 with each picture */
    std::uint32_t count;    /**< number of valid entries of `people` */
    std::int64_t time;      /**< of the capture of the picture, in milliseconds since 1970 */
    HumanPlace people[kMaxHumans];
};

static_assert(sizeof(HumanRecord) == 656, "other programs rely on this layout");

constexpr const char* kHumanSegment = "vornisa_shm_human";

}  // namespace kep::host

#endif
