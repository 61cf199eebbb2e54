#ifndef BENCH_PROCESS_USAGE_H
#define BENCH_PROCESS_USAGE_H

#include <cstddef>

/** Resident memory of this process in KiB. */
long residentKiB();

/** Open file descriptors of this process. */
std::size_t openDescriptors();

#endif
