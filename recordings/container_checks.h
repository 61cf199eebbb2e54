#ifndef RECORDINGS_CONTAINER_CHECKS_H
#define RECORDINGS_CONTAINER_CHECKS_H

#include "recordings/file_bytes.h"
#include "recordings/recording_check.h"

/** The checks behind checkRecording(), one per container. */
namespace recordings {

/** Whether a file begins like MP4 or contains a copy of an MP4 header. */
bool isMp4(const FileBytes& file);

/**
 * Checks the fragments of a recording. Skips damaged parts and resumes at the next fragment. Every readable
 * fragment counts, even with damaged samples.
 */
RecordingCheck checkMp4(const FileBytes& file);

/** Whether a file has packets of a transport stream near its beginning. */
bool isTs(const FileBytes& file);

/**
 * Checks the packets of a transport stream, which is playable up to its last complete picture. Skips damaged
 * parts.
 */
RecordingCheck checkTs(const FileBytes& file);

}  // namespace recordings

#endif
