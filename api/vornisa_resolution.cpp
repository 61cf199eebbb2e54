#include "vornisa_resolution.h"

namespace vornisa {

const std::map<int, resolution_t> resolutions = {
    {2073600, {1920, 1080}}, {921600, {1280, 720}}, {230400, {640, 360}}};

}  // namespace vornisa
