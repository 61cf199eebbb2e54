#ifndef RECORDINGS_MP4_CHECK_H
#define RECORDINGS_MP4_CHECK_H

#include "recordings/file_bytes.h"
#include "recordings/recording_check.h"

namespace recordings {

/** Whether a file begins like MP4 or has a copy of such a beginning further on. */
bool isMp4(const FileBytes& file);

/**
 * Goes through the fragments of a recording. What is damaged is passed over: the next fragment is looked for
 * behind it. Every fragment that can be read counts, also one of whose samples some are damaged.
 */
RecordingCheck checkMp4(const FileBytes& file);

}  // namespace recordings

#endif
