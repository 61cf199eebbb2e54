#ifndef RECORDINGS_MP4_LENGTH_H
#define RECORDINGS_MP4_LENGTH_H

#include <cstdint>
#include <string>

#include "recordings/fragment_walk.h"

namespace recordings {

/**
 * Length of a fragmented MP4 file in milliseconds: from the start of its earliest sample to the end of its
 * latest, after its edit lists (ISO/IEC 14496-12). Reads only box headers and descriptions, never media data;
 * memory does not grow with the file. Fragments that are cut off, damaged or
 * left over from a deleted file do not count. A file with an index of all its fragments, at its end (`mfra`)
 * or behind its header (`sidx`), is not read in full, unless the index turns out to be wrong.
 *
 * Throws Failure for a file that cannot be read, is not a fragmented MP4 or has no complete fragment.
 */
std::int64_t fragmentedLength(const std::string& path);
/** The same for an open file that expects fragments. */
std::int64_t fragmentedLength(const FileBytes& file, const Mp4Beginning& beginning);

}  // namespace recordings

#endif
