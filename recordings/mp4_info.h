#ifndef RECORDINGS_MP4_INFO_H
#define RECORDINGS_MP4_INFO_H

#include <map>
#include <string>

#include "recordings/mp4_index.h"

namespace recordings {

/** What an MP4 file is made of. */
struct Mp4Info {
    std::int64_t milliseconds = 0;
    std::uint64_t fragments = 0; /**< whole ones; 0 in a file whose index lists all samples */
    bool isFinished = false;     /**< has an index of all its fragments, or none of these */
    std::map<std::uint32_t, Mp4Track> tracks;
};

/** Reads it. Throws Failure for a file that cannot be read, is no MP4 or lists no samples. */
Mp4Info mp4Info(const std::string& path);

}  // namespace recordings

#endif
