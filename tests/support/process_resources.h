#ifndef VORNISA_TESTS_PROCESS_RESOURCES_H
#define VORNISA_TESTS_PROCESS_RESOURCES_H

#include <filesystem>

/** Open descriptors of this process, including the one that the count itself opens. */
inline int openDescriptors() {
    const std::filesystem::directory_iterator folder("/proc/self/fd");
    return static_cast<int>(std::distance(begin(folder), end(folder)));
}

inline int runningThreads() {
    const std::filesystem::directory_iterator folder("/proc/self/task");
    return static_cast<int>(std::distance(begin(folder), end(folder)));
}

#endif
