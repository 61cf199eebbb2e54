#ifndef VORNISA_HANDLE_H
#define VORNISA_HANDLE_H

#include <climits>
#include <cstdint>

#include "kep/object_base.h"

namespace vornisa {

#if UINTPTR_MAX <= UINT_MAX

// A handle is the address of its object.
inline int newHandle(kep::object_base* object) {
    return reinterpret_cast<int>(object);
}
inline kep::object_base* objectOf(int handle) {
    return reinterpret_cast<kep::object_base*>(handle);
}
inline kep::object_base* endHandle(int handle) {
    return objectOf(handle);
}
// Where it has several they are the same number, and nothing tells them apart.
inline bool hasHandle(const kep::object_base*) {
    return false;
}

#else

// An address does not fit a handle: a table of the live objects maps one to the other. All of these may run
// at the same time on any threads.

/** A handle for `object`, never 0 and not given before; 0 when there is no memory for it. */
int newHandle(kep::object_base* object) noexcept;

/** The object of a handle; null when the handle is not live. */
kep::object_base* objectOf(int handle) noexcept;

/** Ends a handle and gives its object to the one caller that ended it; null when the handle is not live. */
kep::object_base* endHandle(int handle) noexcept;

/** Whether a handle is left of an object, which has several when it was acquired by its name more than once.
 */
bool hasHandle(const kep::object_base* object) noexcept;

#endif

/** A handle as the lines show it where they show a pointer. */
inline const void* asPointer(int handle) {
    return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(static_cast<unsigned>(handle)));
}

/** The object of a handle as a T; null when the object is none, or when there is no object. */
template <class T>
T* objectAs(int handle) {
    return dynamic_cast<T*>(objectOf(handle));
}

}  // namespace vornisa

#endif
