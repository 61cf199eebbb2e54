#ifndef VORNISA_FILE_CONTENTS_H
#define VORNISA_FILE_CONTENTS_H

#include <filesystem>
#include <fstream>
#include <string>

/**
 * All bytes of a file, as it is when it is opened; nothing of a missing one. They are read at once, as one by
 * one takes an instrumented program long.
 */
template <class Bytes = std::string>
Bytes contentsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) return {};
    const std::streamsize size = file.tellg();
    Bytes bytes(static_cast<std::size_t>(size), 0);
    file.seekg(0);
    file.read(reinterpret_cast<char*>(bytes.data()), size);
    return bytes;
}

#endif
