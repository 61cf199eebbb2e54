#include "media/audio/audio_device.h"

#include "objects/log.h"

namespace kep::host {

bool isPcmFormat(AudioFormat format, int maxChannels) {
    if (format.rate < 4000 || format.rate > 192000)
        KEP_HOST_ERROR("sample rate " + std::to_string(format.rate) + " is not within 4000 to 192000");
    else if (format.channels < 1 || format.channels > maxChannels)
        KEP_HOST_ERROR("channels " + std::to_string(format.channels) + " is not within 1 to " +
                       std::to_string(maxChannels));
    else
        return true;
    return false;
}

}  // namespace kep::host
