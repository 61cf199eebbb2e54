#ifndef VNCAM_SAMPLE_CHECK_H
#define VNCAM_SAMPLE_CHECK_H

#include "file_bytes.h"
#include "mp4_boxes.h"

namespace vncam {

/**
 * Whether a sample can be what an encoder made. A file may have its length on the disk before its contents:
 * what was not written then reads as zeros, of which neither pictures nor sound have a sector in a row.
 */
bool isWholeSample(const Mp4Track& track, ByteSpan sample);

}  // namespace vncam

#endif
