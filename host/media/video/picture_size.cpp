#include "media/video/picture_size.h"

#include <string>

#include "core/log.h"

namespace kep::host {

namespace {
constexpr int smallest = 16;
constexpr int largest = 8192;
}  // namespace

bool isSide(const char* name, int pixels) {
    if (pixels >= smallest && pixels <= largest && pixels % 2 == 0) return true;
    KEP_HOST_ERROR(std::string(name) + " " + std::to_string(pixels) + " is not an even number from " +
                   std::to_string(smallest) + " to " + std::to_string(largest));
    return false;
}

}  // namespace kep::host
