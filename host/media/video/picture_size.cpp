#include "media/video/picture_size.h"

#include <string>

#include "objects/log.h"

namespace kep::host {

bool isSide(const char* name, int pixels) {
    if (isSide(pixels)) return true;
    KEP_HOST_ERROR(std::string(name) + " " + std::to_string(pixels) + " is not an even number from " +
                   std::to_string(kSmallestSide) + " to " + std::to_string(kLargestSide));
    return false;
}

}  // namespace kep::host
