#ifndef VORNISA_RESOLUTION_H
#define VORNISA_RESOLUTION_H

#include <map>

namespace vornisa {

/** A picture size in pixels. */
struct resolution_t {
    int width;
    int height;
};

/** A table of the sizes that recordings may have, by their number of pixels. */
std::map<int, resolution_t> newResolutionTable();

/** The table of the whole process. It gains a row for every other number that is looked up for a recording.
 */
extern std::map<int, resolution_t> resolutions;

}  // namespace vornisa

#endif
