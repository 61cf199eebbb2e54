#ifndef KEP_HOST_STREAM_PARAMETERS_H
#define KEP_HOST_STREAM_PARAMETERS_H

#include <string>

#include "media/pipeline/media_packet.h"

namespace kep::host {

/**
 * Describes a stream for a file that is to hold it. What a decoder must know beforehand is taken from the
 * media or, where packets carry it with them, from `first`, a key packet. False, with `reason` filled, when
 * it is in neither.
 */
bool describeStream(const Media& media, const MediaPacket* first, AVCodecParameters& parameters,
                    std::string& reason);

}  // namespace kep::host

#endif
