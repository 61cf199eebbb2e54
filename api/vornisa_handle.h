#ifndef VORNISA_HANDLE_H
#define VORNISA_HANDLE_H

#include <atomic>
#include <climits>
#include <cstddef>
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
inline void endHandlesOf(const kep::object_base*) {}

#else

// An address does not fit a handle: a table of the live objects maps one to the other. All of these may run
// at the same time on any threads.

/** A handle for `object`, never 0 and not given before; 0 when there is no memory for it. */
int newHandle(kep::object_base* object) noexcept;

/** The object of a handle; null when the handle is not live. */
kep::object_base* objectOf(int handle) noexcept;

/** Ends a handle and gives its object to the one caller that ended it; null when the handle is not live. */
kep::object_base* endHandle(int handle) noexcept;

/** Ends the handles that are left of an object, which has several when it was acquired by its name more than
 * once. */
void endHandlesOf(const kep::object_base* object) noexcept;

#endif

/** A handle as the lines show it where they show a pointer. */
inline const void* asPointer(int handle) {
    return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(static_cast<unsigned>(handle)));
}

#if UINTPTR_MAX <= UINT_MAX

/** The object of a handle as a T; null when the object is none, or when there is no object. */
template <class T>
T* objectAs(int handle) {
    return dynamic_cast<T*>(objectOf(handle));
}

#else

/**
 * Where the T of an object was found. A cast through the interfaces' virtual bases takes longer than all else
 * that a call does, while a handle is not given twice and its object does not change its kind.
 */
template <class T>
class FoundCasts {
  public:
    T* cast(int handle, kep::object_base* object) {
        std::atomic<std::uint64_t>& entry = entries_[static_cast<unsigned>(handle) % kEntries];
        // Handle and distance are one word, so that threads may read and write it at the same time.
        const std::uint64_t known = entry.load(std::memory_order_relaxed);
        if (static_cast<int>(known >> 32) == handle) return at(object, static_cast<std::int32_t>(known));
        T* const found = dynamic_cast<T*>(object);
        const std::ptrdiff_t distance =
            found ? reinterpret_cast<char*>(found) - reinterpret_cast<char*>(object) : kNone;
        if (distance >= INT32_MIN && distance <= INT32_MAX)
            entry.store(static_cast<std::uint64_t>(handle) << 32 | static_cast<std::uint32_t>(distance),
                        std::memory_order_relaxed);
        return found;
    }

  private:
    static constexpr unsigned kEntries = 16;
    static constexpr std::int32_t kNone = INT32_MIN;

    static T* at(kep::object_base* object, std::int32_t distance) {
        return distance == kNone ? nullptr : reinterpret_cast<T*>(reinterpret_cast<char*>(object) + distance);
    }

    std::atomic<std::uint64_t> entries_[kEntries]{};
};

/** The object of a handle as a T; null when the object is none, or when there is no object. */
template <class T>
T* objectAs(int handle) {
    static FoundCasts<T> found;
    kep::object_base* const object = objectOf(handle);
    return object ? found.cast(handle, object) : nullptr;
}

#endif

}  // namespace vornisa

#endif
