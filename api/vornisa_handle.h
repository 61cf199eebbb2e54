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
// All handles of an object are the same number: the first release ends the object.
inline bool hasHandle(const kep::object_base*) {
    return false;
}

#else

// An address does not fit into a handle: a table maps handles to live objects. These functions are
// thread-safe.

/** Returns a handle for `object` that was not used before; 0 when memory runs out. */
int newHandle(kep::object_base* object) noexcept;

/** The object of a handle; null when the handle is not live. */
kep::object_base* objectOf(int handle) noexcept;

/** Ends a handle and returns its object, to one caller only; null when the handle is not live. */
kep::object_base* endHandle(int handle) noexcept;

/** Whether an object has a handle left. It has several when it was acquired by its name more than once. */
bool hasHandle(const kep::object_base* object) noexcept;

#endif

/** A handle as a pointer, as some log lines show it. */
inline const void* asPointer(int handle) {
    return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(static_cast<unsigned>(handle)));
}

/** The object of a handle as a T; null when it is not a T or the handle is not live. */
template <class T>
T* objectAs(int handle) {
    return dynamic_cast<T*>(objectOf(handle));
}

}  // namespace vornisa

#endif
