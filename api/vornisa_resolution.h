#ifndef VORNISA_RESOLUTION_H
#define VORNISA_RESOLUTION_H

#include <map>

namespace vornisa {

/** A picture size in pixels. */
struct resolution_t {
    int width;
    int height;
};

/** Returns a table of the picture sizes of recordings, by number of pixels. */
std::map<int, resolution_t> newResolutionTable();

/** The table of the process. Looking up any other number for a recording adds an entry of 0 by 0. */
extern std::map<int, resolution_t> resolutions;

}  // namespace vornisa

#endif
