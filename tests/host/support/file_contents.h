#ifndef VORNISA_FILE_CONTENTS_H
#define VORNISA_FILE_CONTENTS_H

#include <filesystem>
#include <fstream>
#include <string>

/**
 * Reads a whole file; empty if the file is missing. Reads it in one call: byte by byte is slow with
 * sanitizers.
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
