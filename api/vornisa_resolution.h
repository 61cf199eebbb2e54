#ifndef VORNISA_RESOLUTION_H
#define VORNISA_RESOLUTION_H

#include <map>

namespace vornisa {

/** A picture size in pixels. */
struct resolution_t {
    int width;
    int height;
};

/** The sizes that recordings may have, by their number of pixels. */
extern const std::map<int, resolution_t> resolutions;

}  // namespace vornisa

#endif
