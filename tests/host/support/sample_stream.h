#ifndef VORNISA_SAMPLE_STREAM_H
#define VORNISA_SAMPLE_STREAM_H

#include <vector>

#include "media/pipeline/media_packet.h"

namespace kep::host {

/**
 * Encoded video and audio in time stamp order, generated faster than real time. The pictures are small so
 * that a test can read thousands of files per second. All packets differ.
 */
struct SampleStream {
    static constexpr int rate = 15;  /**< pictures per second */
    static constexpr int group = 15; /**< pictures per group, i.e. the key frame interval */

    explicit SampleStream(int seconds);

    MediaPtr video;
    MediaPtr audio;
    std::vector<SharedPacket> packets;
};

}  // namespace kep::host

#endif
