#ifndef BENCH_ALLOCATION_COUNT_H
#define BENCH_ALLOCATION_COUNT_H

#include <cstddef>

/** Calls of malloc, calloc, realloc and their aligned forms in this process so far, by any library and by
 * `new`. */
std::size_t allocationCount();

#endif
