#include "process_usage.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

long residentKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (long kib = 0; word == "VmRSS:" && status >> kib) return kib;
    return -1;
}

std::size_t openDescriptors() {
    namespace fs = std::filesystem;
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{}));
}
