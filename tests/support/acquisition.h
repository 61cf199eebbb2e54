#ifndef VORNISA_TESTS_ACQUISITION_H
#define VORNISA_TESTS_ACQUISITION_H

namespace scripted {

/** From now on VNAcquire, when called by functions of the plug-in, succeeds without setting a handle. */
void acquireNothing();

}  // namespace scripted

#endif
