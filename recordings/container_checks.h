#ifndef RECORDINGS_CONTAINER_CHECKS_H
#define RECORDINGS_CONTAINER_CHECKS_H

#include "recordings/file_bytes.h"
#include "recordings/recording_check.h"

/** What checkRecording() has for each kind of file. */
namespace recordings {

/** Whether a file begins like MP4 or has a copy of such a beginning further on. */
bool isMp4(const FileBytes& file);

/**
 * Goes through the fragments of a recording. What is damaged is passed over: the next fragment is looked for
 * behind it. Every fragment that can be read counts, also one of whose samples some are damaged.
 */
RecordingCheck checkMp4(const FileBytes& file);

/** Whether a file has packets of a transport stream near its beginning. */
bool isTs(const FileBytes& file);

/**
 * Goes through the packets of a transport stream; it can be played up to the last whole picture. What is
 * damaged in its middle is passed over.
 */
RecordingCheck checkTs(const FileBytes& file);

}  // namespace recordings

#endif
