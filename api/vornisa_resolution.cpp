#include "vornisa_resolution.h"

namespace vornisa {

std::map<int, resolution_t> newResolutionTable() {
    return {{2073600, {1920, 1080}}, {921600, {1280, 720}}, {230400, {640, 360}}};
}

std::map<int, resolution_t> resolutions = newResolutionTable();

}  // namespace vornisa
