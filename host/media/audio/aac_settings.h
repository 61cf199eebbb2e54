#ifndef KEP_HOST_AAC_SETTINGS_H
#define KEP_HOST_AAC_SETTINGS_H

#include <cstddef>
#include <string>

#include "media/common/ffmpeg.h"

namespace kep::host {

/** Settings of an AAC codec. */
struct AacSettings {
    static constexpr int kUnitSamples = 1024; /**< of each channel, in an access unit */

    int rate = 48000;  /**< hertz; a decoder of ADTS takes it from the headers */
    int channels = 2;  /**< likewise */
    int bitRate = 0;   /**< bits per second; 0 for 64,000 per channel; encoder only */
    int bandWidth = 0; /**< highest audio frequency in hertz; 0: chosen by the bit rate; encoder only */
    bool adts = true;  /**< each access unit has an ADTS header */

    bool operator==(const AacSettings&) const = default;
};

/** Bytes that one call has consumed and produced. */
struct BlockUse {
    std::size_t taken = 0;
    std::size_t written = 0;
};

/** An encoder of planar floats, an access unit at a time; null, with `reason` filled, when there is none for
 * these settings. */
CodecPtr openAacEncoder(const AacSettings& settings, std::string& reason);
/** A frame with buffers for the samples of one access unit. */
FramePtr aacFrame(const AVCodecContext& codec);

}  // namespace kep::host

#endif
