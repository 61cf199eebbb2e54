#ifndef RECORDINGS_SAMPLE_CHECK_H
#define RECORDINGS_SAMPLE_CHECK_H

#include "recordings/file_bytes.h"
#include "recordings/mp4_index.h"

namespace recordings {

/**
 * Whether a sample is plausible output of an encoder. After a power cut a file may have its length but not
 * all of its contents: unwritten sectors read as zeros, and neither video nor audio contains a sector of
 * zeros.
 */
bool isWholeSample(const Mp4Track& track, ByteSpan sample);

}  // namespace recordings

#endif
