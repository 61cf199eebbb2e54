#ifndef RECORDINGS_FILE_BYTES_H
#define RECORDINGS_FILE_BYTES_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace recordings {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

/** Random access to a file, for reading. */
class FileBytes {
  public:
    /** Throws Failure when the file cannot be opened. */
    explicit FileBytes(std::string path);
    ~FileBytes();
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    std::uint64_t size() const { return size_; }
    /** So many bytes, fewer at the end of the file. Throws Failure when they cannot be read. */
    Bytes read(std::uint64_t offset, std::uint64_t count) const;

  private:
    const std::string path_;
    int descriptor_;
    std::uint64_t size_ = 0;
};

/** A big-endian integer. */
std::uint64_t bigEndian(ByteSpan bytes, std::size_t at, std::size_t count);

}  // namespace recordings

#endif
