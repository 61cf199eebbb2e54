#ifndef VORNISA_SAMPLE_STREAM_H
#define VORNISA_SAMPLE_STREAM_H

#include <vector>

#include "media/pipeline/media_packet.h"

namespace kep::host {

/**
 * Pictures and sound as a camera's encoders give them, in the order of their stamps, made without waiting for
 * a clock. The pictures are small, so that thousands of files can be looked through in a second. No two
 * packets are the same.
 */
struct SampleStream {
    static constexpr int rate = 15;  /**< pictures in a second */
    static constexpr int group = 15; /**< pictures from one key frame to the next */

    explicit SampleStream(int seconds);

    MediaPtr video;
    MediaPtr audio;
    std::vector<SharedPacket> packets;
};

}  // namespace kep::host

#endif
