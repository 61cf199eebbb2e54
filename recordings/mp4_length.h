#ifndef RECORDINGS_MP4_LENGTH_H
#define RECORDINGS_MP4_LENGTH_H

#include <cstdint>
#include <string>

#include "recordings/fragment_walk.h"

namespace recordings {

/**
 * Length of a fragmented MP4 file in milliseconds: from the beginning of its earliest sample to the end of
 * its latest, as its edit lists show them (ISO/IEC 14496-12). It is taken from the headers of boxes, never
 * from media data, and in memory that does not grow with the file. Fragments that are cut off, damaged or
 * left over from a deleted file do not count. A file with an index of all its fragments, at its end (`mfra`)
 * or behind its header (`sidx`), is not walked through, as long as that leads to what it says.
 *
 * Throws Failure for a file that cannot be read, is no MP4 or has no whole fragment.
 */
std::int64_t fragmentedLength(const std::string& path);
/** The same of a file that is open and expects fragments. */
std::int64_t fragmentedLength(const FileBytes& file, const Mp4Beginning& beginning);

}  // namespace recordings

#endif
