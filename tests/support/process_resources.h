#ifndef VORNISA_TESTS_PROCESS_RESOURCES_H
#define VORNISA_TESTS_PROCESS_RESOURCES_H

#include <filesystem>

/** What this process holds: values that must stay flat. Each count of descriptors has the one that it opens
 * itself. */
inline int openDescriptors() {
    const std::filesystem::directory_iterator folder("/proc/self/fd");
    return static_cast<int>(std::distance(begin(folder), end(folder)));
}

inline int runningThreads() {
    const std::filesystem::directory_iterator folder("/proc/self/task");
    return static_cast<int>(std::distance(begin(folder), end(folder)));
}

#endif
