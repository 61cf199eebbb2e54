#ifndef KEP_HOST_BLOCK_BUILDER_H
#define KEP_HOST_BLOCK_BUILDER_H

#include "media/audio/audio_block.h"

namespace kep::host {

/**
 * Makes blocks of one length out of what a device delivers in pieces of any length, and gives them smooth
 * times: small deviations of a device's own stamps are followed slowly, large ones at once.
 */
class BlockBuilder {
  public:
    explicit BlockBuilder(AudioFormat format) : format_(format) {}

    void add(const AudioBlock& captured);
    /** The next whole block; null while there is none. */
    std::shared_ptr<AudioBlock> take();

  private:
    const AudioFormat format_;
    std::vector<std::int16_t> pending_;
    SteadyTime end_;  // time of the sample after the last one pending
    bool started_ = false;
};

}  // namespace kep::host

#endif
