#ifndef KEP_OBJECT_BASE_H
#define KEP_OBJECT_BASE_H

#include <cstddef>

#include "kep/visibility.h"

namespace kep {

/**
 * Root of every framework object. Deleting an object through it destroys the whole object; memory comes from
 * and returns to the framework's own allocator.
 */
class KEP_API object_base {
  public:
    virtual ~object_base();

    static void* operator new(std::size_t size);
    static void operator delete(void* memory, std::size_t size);

    /** Checked downcast; null when the object is not a T. */
    template <class T>
    T* AsType() {
        return dynamic_cast<T*>(this);
    }
};

}  // namespace kep

#endif
