#ifndef KEP_HOST_AUDIO_FRAME_H
#define KEP_HOST_AUDIO_FRAME_H

#include <functional>
#include <memory>

#include "kep/frame.h"
#include "media/audio/audio_block.h"

namespace kep::host {

using SharedFrame = std::shared_ptr<api::streaming::common::frame_t>;

/** Wraps bytes into a frame that keeps `owner` alive for as long as anybody holds the frame. */
template <class Owner>
SharedFrame makeAudioFrame(Owner owner, const void* data, std::size_t size, SteadyTime stamp) {
    struct Held {
        explicit Held(Owner&& kept) : owner(std::move(kept)) {}
        Owner owner;
        api::streaming::common::frame_t frame;
    };
    auto held = std::make_shared<Held>(std::move(owner));
    // Nobody writes into a frame that was pulled; the field is not const because frames are also pushed.
    held->frame.data = const_cast<unsigned char*>(static_cast<const unsigned char*>(data));
    held->frame.size = static_cast<int>(size);
    held->frame.key = true;
    held->frame.stamp = stamp;
    return {held, &held->frame};
}

/** Makes the frames of a stream out of what the microphone captured. */
class FrameMaker {
  public:
    using Emit = std::function<void(SharedFrame)>;

    virtual ~FrameMaker() = default;
    /** Hands every frame that `block` completes to `emit`, oldest first. False, with an error line: give up.
     */
    virtual bool add(const SharedBlock& block, const Emit& emit) = 0;
};

}  // namespace kep::host

#endif
