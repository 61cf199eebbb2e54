#ifndef KEP_HOST_FILE_OUTPUT_H
#define KEP_HOST_FILE_OUTPUT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/common/ffmpeg.h"
#include "recordings/head_index.h"

namespace kep::host {

using recordings::FileLayer;
using recordings::HeadIndex;

/**
 * Buffers libavformat's output and passes it to the file layer in whole pieces, on request. Bytes behind the
 * last piece are still in memory and can be overwritten.
 */
class FileOutput {
  public:
    /** @param spill buffered bytes that trigger a write without a request; 0 for no limit */
    static std::unique_ptr<FileOutput> create(const std::string& path, std::size_t spill,
                                              std::string& reason);
    ~FileOutput();
    FileOutput(const FileOutput&) = delete;
    FileOutput& operator=(const FileOutput&) = delete;

    AVIOContext* context() { return context_; }

    /** Writes the buffered bytes. */
    bool write(std::string& reason);
    /** Writes the buffered header of a fragmented file, with room for the length and the segment index that
     * completeHeader() fills in. With `sync` the header is synced before the room for the index is written.
     * The next fragment carries a copy of the header. */
    bool writeHeader(bool sync, std::string& reason);
    /** Writes the buffered fragment as writeBox() does. */
    bool writeFragment(bool sync, std::string& reason);
    /**
     * Writes the buffered box atomically for readers: as a `free` box whose header is overwritten last. With
     * `sync` the free box is synced before that; the caller syncs the new header.
     */
    bool writeBox(bool sync, std::string& reason);
    /** Fills the length and the segment index into the header of a fragmented file whose fragments end at
     * `end`. */
    bool completeHeader(std::uint64_t end, bool sync, std::string& reason);
    /** The file, for the caller to sync, truncate and commit. */
    FileLayer::File& file() { return *file_; }
    /** Closes the file under its current name. Then only written(), failed() and reason() may be called. */
    void close() { file_.reset(); }

    /** Bytes passed to the file layer. */
    std::uint64_t written() const { return written_; }
    /** Whether a write has failed, including writes by libavformat. */
    bool failed() const { return failed_; }
    /** Why a write failed; empty if none did. */
    const std::string& reason() const { return reason_; }

  private:
    FileOutput(std::unique_ptr<FileLayer::File> file, std::size_t spill);

    static int onWrite(void* self, std::uint8_t* bytes, int size);
    static std::int64_t onSeek(void* self, std::int64_t offset, int whence);
    bool put(const std::uint8_t* bytes, std::size_t size);
    /**
     * Pads the buffered bytes so that the next box header lies within one sector, which a disk writes whole
     * or not at all. The header must not begin a sector either: a sector never written may hold deleted data.
     */
    void pad();
    bool writeKept();
    bool addLengthPlace();
    /** Adds the buffered fragment to index_. */
    void index();
    void addMark();
    void addHeaderCopy();
    bool noted(bool done, std::string& reason);

    std::unique_ptr<FileLayer::File> file_;
    const std::size_t spill_;
    AVIOContext* context_ = nullptr;
    std::vector<std::uint8_t> kept_;   /**< buffered bytes; they follow `written_` */
    std::vector<std::uint8_t> header_; /**< for the copy in the first fragment */
    std::optional<HeadIndex> index_;   /**< fragmented files only */
    /** Random; written behind the header and each fragment to tell them from those of deleted files. */
    std::uint64_t mark_ = 0;
    std::uint64_t written_ = 0;
    std::uint64_t position_ = 0;
    bool failed_ = false;
    std::string reason_;
};

}  // namespace kep::host

#endif
