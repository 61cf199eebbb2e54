// Replaces the allocation functions of the C library in the whole process with counting ones; operator new
// uses them.
#include "allocation_count.h"

#include <atomic>
#include <cerrno>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

std::atomic<std::size_t> count{0};

void* aligned(std::size_t alignment, std::size_t size) {
    ++count;
    return __libc_memalign(alignment, size);
}

}  // namespace

#define REPLACEMENT extern "C" __attribute__((visibility("default")))

REPLACEMENT void* malloc(std::size_t size) {
    ++count;
    return __libc_malloc(size);
}
REPLACEMENT void* calloc(std::size_t number, std::size_t size) {
    ++count;
    return __libc_calloc(number, size);
}
REPLACEMENT void* realloc(void* memory, std::size_t size) {
    ++count;
    return __libc_realloc(memory, size);
}
REPLACEMENT void* memalign(std::size_t alignment, std::size_t size) {
    return aligned(alignment, size);
}
REPLACEMENT void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return aligned(alignment, size);
}
REPLACEMENT int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = aligned(alignment, size);
    return *memory ? 0 : ENOMEM;
}

std::size_t allocationCount() {
    return count;
}
