#ifndef RECORDINGS_TS_CHECK_H
#define RECORDINGS_TS_CHECK_H

#include "recordings/file_bytes.h"
#include "recordings/recording_check.h"

namespace recordings {

/** Whether a file has packets of a transport stream near its beginning. */
bool isTs(const FileBytes& file);

/**
 * Goes through the packets of a transport stream; it can be played up to the last whole picture. What is
 * damaged in its middle is passed over.
 */
RecordingCheck checkTs(const FileBytes& file);

}  // namespace recordings

#endif
