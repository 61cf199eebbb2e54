#ifndef VORNISA_TESTS_NEVER_ACQUIRED_H
#define VORNISA_TESTS_NEVER_ACQUIRED_H

#include <climits>
#include <cstdint>

#include "fixture.h"

namespace unit {

/**
 * A handle that no acquisition has given out. Where a handle is an address it must be that of an object, as
 * nothing checks it: that of `object`, which VNRelease then destroys. Elsewhere it stands for nothing, and
 * `object` ends here.
 */
inline int neverAcquired(kep::object_base* object) {
#if UINTPTR_MAX <= UINT_MAX
    const int handle = static_cast<int>(reinterpret_cast<std::uintptr_t>(object));
#else
    delete object;
    const int handle = madeUpHandle;
#endif
    Script::instance().takeEvents();
    return handle;
}

}  // namespace unit

#endif
