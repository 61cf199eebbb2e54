#ifndef RECORDINGS_FILE_BYTES_H
#define RECORDINGS_FILE_BYTES_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace recordings {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

/** Random read access to a file. */
class FileBytes {
  public:
    /** Throws Failure when the file cannot be opened, or is not a regular file. */
    explicit FileBytes(std::string path);
    ~FileBytes();
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    std::uint64_t size() const { return size_; }
    const std::string& path() const { return path_; }
    /** Reads up to `count` bytes; fewer at the end of the file. Throws Failure on a read error. */
    Bytes read(std::uint64_t offset, std::uint64_t count) const;
    /** The same, into `bytes`; returns the number of bytes read. */
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> bytes) const;

  private:
    const std::string path_;
    int descriptor_;
    std::uint64_t size_ = 0;
};

/** A big-endian integer. */
inline std::uint64_t bigEndian(ByteSpan bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes.subspan(at, count)) value = value << 8 | byte;
    return value;
}

}  // namespace recordings

#endif
