#ifndef RECORDINGS_SAMPLE_CHECK_H
#define RECORDINGS_SAMPLE_CHECK_H

#include "recordings/file_bytes.h"
#include "recordings/mp4_index.h"

namespace recordings {

/**
 * Whether a sample can be what an encoder made. A file may have its length on the disk before its contents:
 * what was not written then reads as zeros, of which neither pictures nor sound have a sector in a row.
 */
bool isWholeSample(const Mp4Track& track, ByteSpan sample);

}  // namespace recordings

#endif
