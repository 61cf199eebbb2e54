#include "vornisa_handle.h"

#if UINTPTR_MAX > UINT_MAX

#include <atomic>

#include "vornisa_handle_table.h"

namespace vornisa {

static HandleTable<kep::object_base, std::atomic> table;

int newHandle(kep::object_base* object) noexcept {
    return table.add(object);
}

kep::object_base* objectOf(int handle) noexcept {
    return table.find(handle);
}

kep::object_base* endHandle(int handle) noexcept {
    return table.take(handle);
}

bool hasHandle(const kep::object_base* object) noexcept {
    return table.contains(object);
}

}  // namespace vornisa

#endif
