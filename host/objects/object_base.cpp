#include "kep/object_base.h"

#include <new>

namespace kep {

object_base::~object_base() = default;

void* object_base::operator new(std::size_t size) {
    return ::operator new(size);
}

void object_base::operator delete(void* memory, std::size_t) {
    ::operator delete(memory);
}

}  // namespace kep
