#ifndef VORNISA_TESTS_ACQUISITION_H
#define VORNISA_TESTS_ACQUISITION_H

namespace scripted {

/** From now on VNAcquire, as functions of the plug-in call it, succeeds without a handle. */
void acquireNothing();

}  // namespace scripted

#endif
