#ifndef KEP_HOST_AUDIO_DEVICE_H
#define KEP_HOST_AUDIO_DEVICE_H

#include "media/audio/audio_block.h"

namespace kep::host {

/** Whether uncompressed sound can have this format; an error line naming the value when not. */
bool isPcmFormat(AudioFormat format, int maxChannels);

}  // namespace kep::host

#endif
