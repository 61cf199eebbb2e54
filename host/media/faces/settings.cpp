#include "media/faces/settings.h"

#include <string>

#include "media/video/picture_size.h"
#include "objects/log.h"

namespace kep::host {
namespace {

bool refuse(const char* name, int value, const char* kind, int low, int high) {
    KEP_HOST_ERROR(std::string(name) + " " + std::to_string(value) + " is not " + kind + "from " +
                   std::to_string(low) + " to " + std::to_string(high));
    return false;
}

}  // namespace

bool isSetting(const char* name, int value, int low, int high) {
    return (value >= low && value <= high) || refuse(name, value, "", low, high);
}

bool isSideSetting(const char* name, int pixels) {
    return isSide(pixels) || refuse(name, pixels, "an even number ", kSmallestSide, kLargestSide);
}

bool isPcmSetting(AudioFormat format, int mostChannels) {
    return isSetting("sample rate", format.rate, 4000, 192'000) &&
           isSetting("channels", format.channels, 1, mostChannels);
}

}  // namespace kep::host
