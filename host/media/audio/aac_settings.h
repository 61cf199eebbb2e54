#ifndef KEP_HOST_AAC_SETTINGS_H
#define KEP_HOST_AAC_SETTINGS_H

#include <cstddef>
#include <string>

#include "media/common/ffmpeg.h"

namespace kep::host {

/** What an application chooses of an AAC codec. */
struct AacSettings {
    static constexpr int kUnitSamples = 1024; /**< of each channel, in an access unit */

    int rate = 48000;  /**< hertz; of a decoder for bare access units alone, as ADTS tells it */
    int channels = 2;  /**< likewise */
    int bitRate = 0;   /**< bits per second; 0 for 64,000 a channel. Of no use to a decoder, as the next */
    int bandWidth = 0; /**< highest audio frequency in hertz; 0 for what suits the bit rate */
    bool adts = true;  /**< each access unit has an ADTS header */

    bool operator==(const AacSettings&) const = default;
};

/** What one call has done with its buffers, in bytes. */
struct BlockUse {
    std::size_t taken = 0;
    std::size_t written = 0;
};

/** An encoder of planar floats, an access unit at a time; null, with `reason` filled, when there is none for
 * these settings. */
CodecPtr openAacEncoder(const AacSettings& settings, std::string& reason);
/** An empty frame of the samples of one access unit. */
FramePtr aacFrame(const AVCodecContext& codec);

}  // namespace kep::host

#endif
