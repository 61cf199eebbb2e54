#ifndef KEP_HOST_AAC_SETTINGS_H
#define KEP_HOST_AAC_SETTINGS_H

#include <cstddef>

namespace kep::host {

/** What an application chooses of an AAC codec. */
struct AacSettings {
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

}  // namespace kep::host

#endif
