#ifndef KEP_FRAME_H
#define KEP_FRAME_H

#include <chrono>
#include <functional>

namespace kep {
namespace api {
namespace streaming {
namespace common {

/** One frame of any kind of media, shared through std::shared_ptr. */
struct frame_t {
    int index = 0;
    unsigned char* data = nullptr;
    int size = 0; /**< bytes */
    bool key = false;
    std::chrono::steady_clock::time_point stamp; /**< when it was captured */
    std::function<void(frame_t*)> release;       /**< gives the data back to its owner */

    frame_t() = default;
    frame_t(const frame_t&) = delete;
    frame_t& operator=(const frame_t&) = delete;
    ~frame_t() {
        if (release) release(this);
    }
};

}  // namespace common
}  // namespace streaming
}  // namespace api
}  // namespace kep

#endif
