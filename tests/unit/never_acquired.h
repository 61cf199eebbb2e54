#ifndef VORNISA_TESTS_NEVER_ACQUIRED_H
#define VORNISA_TESTS_NEVER_ACQUIRED_H

#include <climits>
#include <cstdint>

#include "fixture.h"

namespace unit {

/**
 * A handle that no acquisition has given out. Where handles are addresses they are not checked, so it is the
 * address of `object`, which VNRelease then destroys. Elsewhere it is an invalid number, and `object` is
 * destroyed here.
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
