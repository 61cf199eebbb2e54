#ifndef VORNISA_OUTPUT_H
#define VORNISA_OUTPUT_H

#include "kep/streaming.h"

namespace vornisa {

/** The frame output of a handle's object; null when it has none or the handle is not live. */
kep::api::streaming::common::IStreamOutput* outputOf(int handle);

}  // namespace vornisa

#endif
