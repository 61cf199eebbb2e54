#ifndef VNCAM_MP4_CHECK_H
#define VNCAM_MP4_CHECK_H

#include "file_bytes.h"
#include "recording_check.h"

namespace vncam {

bool beginsLikeMp4(const FileBytes& file);

/** Goes through the fragments of a recording up to the first that is not complete. */
RecordingCheck checkMp4(const FileBytes& file);

}  // namespace vncam

#endif
