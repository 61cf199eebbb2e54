#ifndef RECORDINGS_MP4_INFO_H
#define RECORDINGS_MP4_INFO_H

#include <map>
#include <string>

#include "recordings/mp4_index.h"

namespace recordings {

/** Length, fragments and tracks of an MP4 file. */
struct Mp4Info {
    std::int64_t milliseconds = 0;
    std::uint64_t fragments = 0; /**< complete ones; 0 in a plain file */
    bool isFinished = false;     /**< has an index of all its fragments, or has no fragments */
    std::map<std::uint32_t, Mp4Track> tracks;
};

/** Throws Failure for a file that cannot be read, is not an MP4 or lists no samples. */
Mp4Info mp4Info(const std::string& path);

}  // namespace recordings

#endif
