#ifndef VORNISA_OUTPUT_H
#define VORNISA_OUTPUT_H

#include "kep/streaming.h"

namespace vornisa {

/** The object of a handle as a source of frames; null when the object is none, or when there is no object. */
kep::api::streaming::common::IStreamOutput* outputOf(int handle);

}  // namespace vornisa

#endif
