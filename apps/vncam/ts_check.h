#ifndef VNCAM_TS_CHECK_H
#define VNCAM_TS_CHECK_H

#include "file_bytes.h"
#include "recording_check.h"

namespace vncam {

bool beginsLikeTs(const FileBytes& file);

/** Goes through the packets of a transport stream; it can be played up to the last whole picture. */
RecordingCheck checkTs(const FileBytes& file);

}  // namespace vncam

#endif
